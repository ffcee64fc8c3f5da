#include "compiler/face_list.h"
#include "compiler/face_set.h"
#include "compiler/map_tables.h"

#include "tests/front_faces.h"

#include <gtest/gtest.h>

#include <deque>
#include <vector>

namespace {

// The six sides of a cube of half-side 64 round centre, normals pointing out
// of the solid.
std::vector<CPlane> CubePlanes(const CVector& centre = CVector(0, 0, 0))
{
    std::vector<CPlane> planes;
    for (const CVector& n : {CVector(1, 0, 0), CVector(-1, 0, 0), CVector(0, 1, 0),
                             CVector(0, -1, 0), CVector(0, 0, 1), CVector(0, 0, -1)})
        planes.emplace_back(n, static_cast<float>(-Dot(n, centre)) - 64.0f);
    return planes;
}

// A face list laid down the way the parser lays down a brush: one base square
// per side, at the head, pointing at its plane node.
class FaceListTest : public ::testing::Test {
protected:
    std::deque<CPlaneNode> Nodes; // stable addresses for the entries
    CFaceEntry* pHead = nullptr;

    ~FaceListTest() override { FreeFaceEntries(&pHead); }

    // Adds a side on the plane of a node; its texture index is the node's.
    CFaceEntry* AddSide(CPlaneNode* pNode)
    {
        CLeafFace face;
        EXPECT_TRUE(MakeBaseFace(BASE_FACE_SIZE, pNode->Plane, &face));
        face.TextureIndex = pNode->Index;
        CFaceEntry* pEntry = AddFaceEntry(&pHead, face);
        FreeFace(&face);
        pEntry->pPlaneNode = pNode;
        return pEntry;
    }
    int32_t AddBrush(const std::vector<CPlane>& planes)
    {
        for (const CPlane& plane : planes) {
            Nodes.push_back({plane, static_cast<int32_t>(Nodes.size()), nullptr, nullptr});
            AddSide(&Nodes.back());
        }
        return static_cast<int32_t>(planes.size());
    }
};

// A 128 by 128 square on the surface of the cube round centre, on its plane
// and wound towards the plane's normal.
void ExpectCubeSquare(const CLeafFace& face, const CPlane& plane,
                      const CVector& centre = CVector(0, 0, 0))
{
    ASSERT_EQ(face.VertexCount, 4);
    for (int i = 0; i < 4; ++i) {
        const CVector p = face.pVertices[i].Position - centre;
        EXPECT_NEAR(std::fabs(p.x), 64.0, 1e-3);
        EXPECT_NEAR(std::fabs(p.y), 64.0, 1e-3);
        EXPECT_NEAR(std::fabs(p.z), 64.0, 1e-3);
        EXPECT_NEAR(plane.DistanceTo(face.pVertices[i].Position), 0.0, 1e-3);
    }
    EXPECT_NEAR(FaceArea(face), 128.0 * 128.0, 0.1);
    EXPECT_NEAR(Dot(PlaneOf(face).Normal, plane.Normal), 1.0, 1e-5);
}

} // namespace

TEST_F(FaceListTest, CubeSidesEndAsSquaresOnItsSurface)
{
    ClipBrushFaces(pHead, AddBrush(CubePlanes()));
    int32_t count = 0;
    for (CFaceEntry* p = pHead; p; p = p->pNext, ++count) {
        ExpectCubeSquare(p->Face, p->pPlaneNode->Plane);
        EXPECT_EQ(p->Face.TextureIndex, p->pPlaneNode->Index); // carried through the cuts
    }
    EXPECT_EQ(count, 6);
}

TEST_F(FaceListTest, SideOutsideTheSolidEndsEmptyInTheList)
{
    // A seventh side at x = 100 lies in front of the side x = 64: all of it
    // is thrown away, and it cuts nothing from the others.
    std::vector<CPlane> planes = CubePlanes();
    planes.insert(planes.begin() + 3, CPlane(CVector(1, 0, 0), -100.0f));
    ClipBrushFaces(pHead, AddBrush(planes));
    int32_t count = 0;
    for (CFaceEntry* p = pHead; p; p = p->pNext, ++count) {
        if (p->pPlaneNode->Index == 3)
            EXPECT_EQ(p->Face.pVertices, nullptr);
        else
            ExpectCubeSquare(p->Face, p->pPlaneNode->Plane);
    }
    EXPECT_EQ(count, 7);
}

TEST_F(FaceListTest, OnlyTheFirstCountEntriesAreClipped)
{
    // An older brush further down the list is neither cut nor cuts.
    AddBrush(CubePlanes());
    const int32_t count = AddBrush(CubePlanes(CVector(-32, -32, -32)));
    ClipBrushFaces(pHead, count);
    CFaceEntry* p = pHead;
    for (int32_t i = 0; i < count; ++i, p = p->pNext)
        EXPECT_NEAR(FaceArea(p->Face), 128.0 * 128.0, 0.1);
    EXPECT_NEAR(FaceArea(p->Face), 4.0 * 5800 * 5800, 1e3); // still a base square
}

TEST(BrushFaces, CubeFromArraysWithMappingsOnTheDefaultSize)
{
    const CVector centre(32, 0, -16);
    std::vector<CPlane> planes = CubePlanes(centre);
    std::vector<CTexMapping> mappings(6, {CVector(1, 0, 0), CVector(0, 0, 1), 8, 0, 1, 2, 0});
    std::vector<CLeafFace> faces(6);
    ASSERT_TRUE(MakeBrushFaces(planes.data(), mappings.data(), faces.data(), 6));
    for (int i = 0; i < 6; ++i) {
        ExpectCubeSquare(faces[i], planes[i], centre);
        const CVertex& v = faces[i].pVertices[0];
        EXPECT_EQ(v.TexU, (v.Position.x + 8) / 256.0f);
        EXPECT_EQ(v.TexV, v.Position.z / 2 / 256.0f);
        FreeFace(&faces[i]);
    }
    // A side outside the others makes the result false; the others stand.
    planes.push_back(CPlane(CVector(0, 1, 0), -100.0f)); // beyond y = 64
    faces.resize(7);
    EXPECT_FALSE(MakeBrushFaces(planes.data(), nullptr, faces.data(), 7));
    for (int i = 0; i < 6; ++i)
        ExpectCubeSquare(faces[i], planes[i], centre);
    EXPECT_LT(faces[6].VertexCount, 3);
    for (CLeafFace& face : faces)
        FreeFace(&face);
}

TEST(FaceSet, AddCountsAlwaysAndFillsUnlessCounting)
{
    CFaceSet set;
    CLeafFace face = MakeFace({CVector(0, 0, 0), CVector(1, 0, 0), CVector(0, 1, 0)});
    AddToSet(face, PlaneOf(face), 4, &set, true); // no arrays needed to count
    EXPECT_EQ(set.Count, 1);
    set = {new CLeafFace[1], new CPlane[1], new int32_t[1], 0};
    AddToSet(face, CPlane(CVector(1, 0, 0), 3.0f), 9, &set, false);
    FreeFace(&face);
    EXPECT_EQ(set.Count, 1);
    EXPECT_EQ(set.pPlaneIndices[0], 9);
    // FillFacePlanes gives the face a record of its plane of its own.
    ASSERT_TRUE(FillFacePlanes(&set));
    EXPECT_EQ(set.pFaces[0].pPlane->Distance, 3.0f);
    FreeFaceSet(&set);
}
