#include "compiler/face_list.h"
#include "compiler/face_set.h"
#include "compiler/map_tables.h"
#include "frame/error.h"

#include <gtest/gtest.h>

#include <cmath>
#include <deque>
#include <random>
#include <vector>

namespace {

// The six sides of the cube [-64, 64]^3, normals pointing out of the solid.
std::vector<CPlane> CubePlanes()
{
    return {CPlane(CVector(1, 0, 0), -64.0f),  CPlane(CVector(-1, 0, 0), -64.0f),
            CPlane(CVector(0, 1, 0), -64.0f),  CPlane(CVector(0, -1, 0), -64.0f),
            CPlane(CVector(0, 0, 1), -64.0f),  CPlane(CVector(0, 0, -1), -64.0f)};
}

// A face list built the way the parser lays down a brush: one base square per
// side, each entry pointing at its plane node. Entries go to the head, so the
// side added last stands first.
class FaceListTest : public ::testing::Test {
protected:
    std::deque<CPlaneNode> Nodes; // stable addresses for the entries
    CFaceEntry* pHead = nullptr;
    int32_t Count = 0;

    ~FaceListTest() override { FreeFaceEntries(&pHead); }

    CPlaneNode* AddNode(const CPlane& plane)
    {
        Nodes.emplace_back();
        Nodes.back().Plane = plane;
        Nodes.back().Index = static_cast<int32_t>(Nodes.size()) - 1;
        return &Nodes.back();
    }

    // Adds a side on the plane of node; the texture marks follow the node.
    CFaceEntry* AddSide(CPlaneNode* pNode)
    {
        CLeafFace face{};
        EXPECT_TRUE(MakeBaseFace(BASE_FACE_SIZE, pNode->Plane, &face));
        face.TextureIndex = 100 + pNode->Index;
        face.MappingIndex = 200 + pNode->Index;
        face.Mapping.UOffset = pNode->Index;
        CFaceEntry* pEntry = AddFaceEntry(&pHead, face);
        FreeFace(&face);
        EXPECT_NE(pEntry, nullptr);
        pEntry->pPlaneNode = pNode;
        ++Count;
        return pEntry;
    }

    void AddBrush(const std::vector<CPlane>& planes)
    {
        for (const CPlane& plane : planes)
            AddSide(AddNode(plane));
    }

    std::vector<CFaceEntry*> Entries() const
    {
        std::vector<CFaceEntry*> result;
        for (CFaceEntry* p = pHead; p; p = p->pNext)
            result.push_back(p);
        return result;
    }
};

// Checks that a face is a 128 by 128 square on the cube's surface, on its own
// plane and wound towards that plane's normal.
void ExpectCubeSquare(const CLeafFace& face, const CPlane& plane)
{
    ASSERT_EQ(face.VertexCount, 4);
    for (int i = 0; i < 4; ++i) {
        const CVector& p = face.pVertices[i].Position;
        EXPECT_NEAR(std::fabs(p.x), 64.0, 1e-3);
        EXPECT_NEAR(std::fabs(p.y), 64.0, 1e-3);
        EXPECT_NEAR(std::fabs(p.z), 64.0, 1e-3);
        EXPECT_NEAR(plane.DistanceTo(p), 0.0, 1e-3);
        for (int j = 0; j < i; ++j)
            EXPECT_FALSE(p == face.pVertices[j].Position) << i << " repeats " << j;
    }
    const CPlane wound(face.pVertices[0].Position, face.pVertices[1].Position,
                       face.pVertices[2].Position);
    EXPECT_NEAR(Dot(wound.Normal, plane.Normal), 1.0, 1e-5);
}

void ExpectSamePolygon(const CLeafFace& a, const CLeafFace& b)
{
    ASSERT_EQ(a.VertexCount, b.VertexCount);
    for (int i = 0; i < a.VertexCount; ++i) {
        EXPECT_NEAR(a.pVertices[i].Position.x, b.pVertices[i].Position.x, 1e-3) << i;
        EXPECT_NEAR(a.pVertices[i].Position.y, b.pVertices[i].Position.y, 1e-3) << i;
        EXPECT_NEAR(a.pVertices[i].Position.z, b.pVertices[i].Position.z, 1e-3) << i;
    }
}

// Random convex brushes: planes with random normals at random distances, all
// facing away from the origin so that the origin lies inside the solid.
std::vector<CPlane> RandomBrush(std::mt19937& rng)
{
    std::uniform_real_distribution<float> unit(-1.0f, 1.0f);
    std::uniform_real_distribution<float> distance(20.0f, 200.0f);
    std::uniform_int_distribution<int> sides(6, 12);
    std::vector<CPlane> planes;
    const int n = sides(rng);
    while (static_cast<int>(planes.size()) < n) {
        CVector normal(unit(rng), unit(rng), unit(rng));
        if (normal.LengthSquared() < 0.01)
            continue;
        planes.emplace_back(normal, -distance(rng));
    }
    return planes;
}

} // namespace

// ---------------------------------------------------------------------------
// The list itself

TEST_F(FaceListTest, AddPutsADeepCopyAtTheHead)
{
    CLeafFace face{};
    CPlane plane(CVector(0, 0, 1), -8.0f);
    ASSERT_TRUE(MakeBaseFace(16.0f, plane, &face));
    face.pPlane = new CPlane(plane);
    face.TextureIndex = 3;

    CFaceEntry* pFirst = AddFaceEntry(&pHead, face);
    ASSERT_NE(pFirst, nullptr);
    EXPECT_EQ(pHead, pFirst);
    EXPECT_EQ(pFirst->pNext, nullptr);
    EXPECT_EQ(pFirst->pPlaneNode, nullptr);
    EXPECT_EQ(pFirst->pNameNode, nullptr);
    EXPECT_EQ(pFirst->pMappingNode, nullptr);
    EXPECT_NE(pFirst->Face.pVertices, face.pVertices);
    EXPECT_NE(pFirst->Face.pPlane, face.pPlane);
    EXPECT_EQ(pFirst->Face.TextureIndex, 3);

    face.pVertices[0].Position.x = 999.0f;
    EXPECT_NE(pFirst->Face.pVertices[0].Position.x, 999.0f);

    CFaceEntry* pSecond = AddFaceEntry(&pHead, face);
    ASSERT_NE(pSecond, nullptr);
    EXPECT_EQ(pHead, pSecond);
    EXPECT_EQ(pSecond->pNext, pFirst);
    FreeFace(&face);

    FreeFaceEntries(&pHead);
    EXPECT_EQ(pHead, nullptr);
    FreeFaceEntries(&pHead); // an empty list is fine too
}

TEST(FaceStack, PushAndPopAreLastInFirstOutAndDeep)
{
    CFaceStackNode* pTop = nullptr;
    CLeafFace out{};
    out.TextureIndex = 42;
    EXPECT_FALSE(PopFace(&pTop, &out));
    EXPECT_EQ(out.TextureIndex, 42);
    EXPECT_EQ(out.pVertices, nullptr);

    CLeafFace face{};
    for (int i = 0; i < 3; ++i) {
        CPlane plane(CVector(0, 0, 1), static_cast<float>(-i));
        ASSERT_TRUE(MakeBaseFace(4.0f, plane, &face));
        face.TextureIndex = i;
        ASSERT_TRUE(PushFace(&pTop, face));
    }
    face.pVertices[0].Position.z = 77.0f; // the stack holds its own copy
    FreeFace(&face);

    for (int i = 2; i >= 0; --i) {
        ASSERT_TRUE(PopFace(&pTop, &out));
        EXPECT_EQ(out.TextureIndex, i);
        ASSERT_EQ(out.VertexCount, 4);
        EXPECT_EQ(out.pVertices[0].Position.z, static_cast<float>(i));
    }
    EXPECT_EQ(pTop, nullptr);
    EXPECT_FALSE(PopFace(&pTop, &out));
    FreeFace(&out);
}

// ---------------------------------------------------------------------------
// Clipping the sides of a brush

TEST_F(FaceListTest, CubeSidesEndAsSquaresOnTheSurface)
{
    AddBrush(CubePlanes());
    ClipBrushFaces(pHead, Count);

    const std::vector<CFaceEntry*> entries = Entries();
    ASSERT_EQ(entries.size(), 6u);
    for (CFaceEntry* pEntry : entries) {
        SCOPED_TRACE(pEntry->pPlaneNode->Index);
        ExpectCubeSquare(pEntry->Face, pEntry->pPlaneNode->Plane);
        // The texture data goes through the cuts unchanged.
        EXPECT_EQ(pEntry->Face.TextureIndex, 100 + pEntry->pPlaneNode->Index);
        EXPECT_EQ(pEntry->Face.MappingIndex, 200 + pEntry->pPlaneNode->Index);
        EXPECT_EQ(pEntry->Face.Mapping.UOffset, pEntry->pPlaneNode->Index);
    }
}

TEST_F(FaceListTest, SideOutsideTheSolidEndsEmptyAndLeavesTheOthersAlone)
{
    // The reference: the plain cube.
    AddBrush(CubePlanes());
    ClipBrushFaces(pHead, Count);
    CFaceEntry* pReference = pHead;
    pHead = nullptr;
    Count = 0;

    // The same cube with a seventh side at x = 100, beyond the side at x = 64,
    // added in the middle of the others.
    std::vector<CPlane> planes = CubePlanes();
    planes.insert(planes.begin() + 3, CPlane(CVector(1, 0, 0), -100.0f));
    AddBrush(planes);
    CFaceEntry* pOutside = nullptr;
    for (CFaceEntry* p = pHead; p; p = p->pNext)
        if (p->pPlaneNode->Plane.Distance == -100.0f)
            pOutside = p;
    ASSERT_NE(pOutside, nullptr);
    ClipBrushFaces(pHead, Count);

    ASSERT_EQ(Entries().size(), 7u);
    EXPECT_EQ(pOutside->Face.VertexCount, 0);
    EXPECT_EQ(pOutside->Face.pVertices, nullptr);
    EXPECT_NE(pOutside->pPlaneNode, nullptr);
    EXPECT_EQ(pOutside->Face.TextureIndex, 100 + pOutside->pPlaneNode->Index);

    // The other six are the faces of the plain cube, in list order.
    CFaceEntry* pRef = pReference;
    for (CFaceEntry* p = pHead; p; p = p->pNext) {
        if (p == pOutside)
            continue;
        ASSERT_NE(pRef, nullptr);
        // The outside plane may cut a face's far reaches before the cube's
        // own side does, so the corners agree to rounding, not bit for bit.
        ExpectSamePolygon(p->Face, pRef->Face);
        pRef = pRef->pNext;
    }
    FreeFaceEntries(&pReference);

    // Freeing a list that holds an emptied face frees everything (the
    // sanitizer build checks for leaks).
    FreeFaceEntries(&pHead);
    EXPECT_EQ(pHead, nullptr);
}

TEST_F(FaceListTest, SideGivenTwiceKeepsBothAsTheSamePolygon)
{
    std::vector<CPlane> planes = CubePlanes();
    AddBrush(planes);
    CFaceEntry* pFirst = pHead; // the side z = -64 facing down
    CFaceEntry* pTwin = AddSide(pFirst->pPlaneNode);
    ClipBrushFaces(pHead, Count);

    ASSERT_EQ(Entries().size(), 7u);
    ExpectCubeSquare(pFirst->Face, pFirst->pPlaneNode->Plane);
    ExpectSamePolygon(pTwin->Face, pFirst->Face);
    for (CFaceEntry* p = pHead; p; p = p->pNext)
        ExpectCubeSquare(p->Face, p->pPlaneNode->Plane);
}

TEST_F(FaceListTest, OnlyTheFirstCountEntriesAreClipped)
{
    // An older brush further down the list is neither cut nor cuts.
    AddBrush(CubePlanes());
    CFaceEntry* pOlder = pHead;
    CLeafFace before{};
    ASSERT_TRUE(CopyFace(&before, &pOlder->Face));
    Count = 0;

    std::vector<CPlane> shifted = {
        CPlane(CVector(1, 0, 0), -96.0f),  CPlane(CVector(-1, 0, 0), -32.0f),
        CPlane(CVector(0, 1, 0), -96.0f),  CPlane(CVector(0, -1, 0), -32.0f),
        CPlane(CVector(0, 0, 1), -96.0f),  CPlane(CVector(0, 0, -1), -32.0f)};
    AddBrush(shifted);
    ClipBrushFaces(pHead, Count);

    int n = 0;
    for (CFaceEntry* p = pHead; p && n < Count; p = p->pNext, ++n)
        ASSERT_EQ(p->Face.VertexCount, 4);
    ExpectSamePolygon(pOlder->Face, before);
    FreeFace(&before);

    // A count of 1 cuts nothing: the head stays a base square.
    ASSERT_TRUE(CopyFace(&before, &pHead->Face));
    ClipBrushFaces(pHead, 1);
    ExpectSamePolygon(pHead->Face, before);
    ClipBrushFaces(pHead, 0);
    ExpectSamePolygon(pHead->Face, before);
    FreeFace(&before);

    ClipBrushFaces(nullptr, 6); // a null list is ignored
}

TEST_F(FaceListTest, SideIsNeverCutByItsOwnPlane)
{
    // A side whose face lies well in front of its own plane node: only the
    // other sides cut, so alone it keeps its square, and among others it is
    // cut by them alone.
    CPlaneNode* pLow = AddNode(CPlane(CVector(0, 0, 1), 0.0f));
    CPlane high(CVector(0, 0, 1), -64.0f);
    CLeafFace face{};
    ASSERT_TRUE(MakeBaseFace(BASE_FACE_SIZE, high, &face));
    CFaceEntry* pEntry = AddFaceEntry(&pHead, face);
    ASSERT_NE(pEntry, nullptr);
    pEntry->pPlaneNode = pLow;
    ClipBrushFaces(pHead, 1);
    ExpectSamePolygon(pEntry->Face, face);

    AddSide(AddNode(CPlane(CVector(1, 0, 0), -64.0f)));
    ClipBrushFaces(pHead, 2);
    ASSERT_EQ(pEntry->Face.VertexCount, 4);
    EXPECT_NEAR(pEntry->Face.pVertices[0].Position.z, 64.0, 1e-3);
    FreeFace(&face);
}

TEST_F(FaceListTest, EntryWithoutPlaneNodeCutsNothing)
{
    // The head is the side z = -64. Without its plane node it is still cut by
    // the others, but it cuts nothing: the four walls reach far below.
    AddBrush(CubePlanes());
    CFaceEntry* pLoose = pHead;
    pLoose->pPlaneNode = nullptr;
    ClipBrushFaces(pHead, Count);

    ExpectCubeSquare(pLoose->Face, CubePlanes()[5]);
    for (CFaceEntry* p = pHead->pNext; p; p = p->pNext) {
        ASSERT_EQ(p->Face.VertexCount, 4);
        double lowest = 0, highest = -1e9;
        for (int i = 0; i < 4; ++i) {
            lowest = std::fmin(lowest, p->Face.pVertices[i].Position.z);
            highest = std::fmax(highest, p->Face.pVertices[i].Position.z);
        }
        if (p->pPlaneNode->Plane.Normal.z == 0.0f) {
            EXPECT_LT(lowest, -1000.0);
            EXPECT_NEAR(highest, 64.0, 1e-3);
        } else {
            ExpectCubeSquare(p->Face, p->pPlaneNode->Plane);
        }
    }
}

TEST_F(FaceListTest, RandomBrushFacesLieBehindEveryOtherSide)
{
    std::mt19937 rng(2024);
    int kept = 0;
    for (int trial = 0; trial < 60; ++trial) {
        FreeFaceEntries(&pHead);
        Nodes.clear();
        Count = 0;
        const std::vector<CPlane> planes = RandomBrush(rng);
        AddBrush(planes);
        ClipBrushFaces(pHead, Count);

        for (CFaceEntry* p = pHead; p; p = p->pNext) {
            const CLeafFace& face = p->Face;
            if (face.VertexCount == 0)
                continue;
            ASSERT_GE(face.VertexCount, 3);
            ++kept;
            for (int i = 0; i < face.VertexCount; ++i) {
                const CVector& v = face.pVertices[i].Position;
                EXPECT_NEAR(p->pPlaneNode->Plane.DistanceTo(v), 0.0, 0.02);
                for (const CPlaneNode& other : Nodes) {
                    if (&other == p->pPlaneNode)
                        continue;
                    EXPECT_LE(other.Plane.DistanceTo(v), PLANE_EPSILON + 0.02)
                        << "trial " << trial;
                }
            }
        }

        // The exact builder keeps its faces behind every other side.
        std::vector<CPlane> copy = planes;
        std::vector<CLeafFace> faces(copy.size());
        MakeBrushFaces(copy.data(), nullptr, faces.data(), static_cast<int32_t>(copy.size()));
        for (size_t i = 0; i < faces.size(); ++i) {
            for (int k = 0; k < faces[i].VertexCount; ++k) {
                const CVector& v = faces[i].pVertices[k].Position;
                EXPECT_NEAR(copy[i].DistanceTo(v), 0.0, 0.02);
                for (size_t j = 0; j < copy.size(); ++j) {
                    if (j == i)
                        continue;
                    EXPECT_LE(copy[j].DistanceTo(v), 0.02) << "trial " << trial;
                }
            }
            FreeFace(&faces[i]);
        }
    }
    EXPECT_GT(kept, 200);
}

// ---------------------------------------------------------------------------
// MakeBrushFaces

TEST(BrushFaces, CubeFromArraysWithMappings)
{
    std::vector<CPlane> planes = CubePlanes();
    std::vector<CTexMapping> mappings(6);
    for (int i = 0; i < 6; ++i) {
        mappings[i] = CTexMapping{CVector(1, 0, 0), CVector(0, 0, 1), 8 * i, 0, 1.0f, 2.0f, 0.0f};
    }
    std::vector<CLeafFace> faces(6);
    ASSERT_TRUE(MakeBrushFaces(planes.data(), mappings.data(), faces.data(), 6));
    for (int i = 0; i < 6; ++i) {
        SCOPED_TRACE(i);
        ExpectCubeSquare(faces[i], planes[i]);
        EXPECT_EQ(faces[i].Mapping.UOffset, 8 * i);
        const CVertex& v = faces[i].pVertices[0];
        EXPECT_FLOAT_EQ(v.TexU, (v.Position.x / 1.0f + 8.0f * i) / DEFAULT_TEXTURE_SIZE);
        EXPECT_FLOAT_EQ(v.TexV, (v.Position.z / 2.0f) / DEFAULT_TEXTURE_SIZE);
        FreeFace(&faces[i]);
    }
}

TEST(BrushFaces, SideOutsideMakesTheResultFalseButTheOthersStand)
{
    std::vector<CPlane> planes = CubePlanes();
    planes.push_back(CPlane(CVector(0, 1, 0), -100.0f));
    std::vector<CLeafFace> faces(planes.size());
    EXPECT_FALSE(MakeBrushFaces(planes.data(), nullptr, faces.data(),
                                static_cast<int32_t>(planes.size())));
    for (size_t i = 0; i < 6; ++i)
        ExpectCubeSquare(faces[i], planes[i]);
    EXPECT_LT(faces[6].VertexCount, 3);
    for (CLeafFace& face : faces)
        FreeFace(&face);
}

// ---------------------------------------------------------------------------
// The flat face set

TEST(FaceSet, AddCountsAlwaysAndFillsUnlessCounting)
{
    CFaceSet set;
    CLeafFace face{};
    CPlane plane(CVector(0, 1, 0), -2.0f);
    ASSERT_TRUE(MakeBaseFace(8.0f, plane, &face));
    face.pPlane = new CPlane(plane);

    AddToSet(face, plane, 4, &set, true); // no arrays needed when counting
    AddToSet(face, plane, 4, &set, true);
    EXPECT_EQ(set.Count, 2);

    set.Count = 0;
    set.pFaces = new CLeafFace[2];
    set.pPlanes = new CPlane[2];
    set.pPlaneIndices = new int32_t[2];
    AddToSet(face, plane, 4, &set, false);
    AddToSet(face, CPlane(CVector(1, 0, 0), 3.0f), 9, &set, false);
    FreeFace(&face);
    ASSERT_EQ(set.Count, 2);
    EXPECT_EQ(set.pFaces[0].VertexCount, 4);
    EXPECT_NE(set.pFaces[0].pVertices, set.pFaces[1].pVertices);
    ASSERT_NE(set.pFaces[1].pPlane, nullptr);
    EXPECT_EQ(set.pPlanes[1].Distance, 3.0f);
    EXPECT_EQ(set.pPlaneIndices[0], 4);
    EXPECT_EQ(set.pPlaneIndices[1], 9);

    FreeFaceSet(&set);
    EXPECT_EQ(set.pFaces, nullptr);
    EXPECT_EQ(set.pPlanes, nullptr);
    EXPECT_EQ(set.pPlaneIndices, nullptr);
    EXPECT_EQ(set.Count, 2);
    FreeFaceSet(&set); // twice is harmless
    FreeFaceSet(nullptr);
}

TEST(FaceSet, FillFacePlanesGivesEachFaceItsOwnCopy)
{
    EXPECT_FALSE(FillFacePlanes(nullptr));

    CFaceSet set;
    set.pFaces = new CLeafFace[3];
    set.pPlanes = new CPlane[3];
    set.pPlaneIndices = new int32_t[3]{0, 1, 2};
    set.Count = 3;
    for (int i = 0; i < 3; ++i)
        set.pPlanes[i] = CPlane(CVector(0, 0, 1), static_cast<float>(i));
    set.pFaces[1].pPlane = new CPlane(CVector(1, 0, 0), 50.0f); // a stale record

    EXPECT_TRUE(FillFacePlanes(&set));
    for (int i = 0; i < 3; ++i) {
        ASSERT_NE(set.pFaces[i].pPlane, nullptr);
        EXPECT_EQ(set.pFaces[i].pPlane->Distance, static_cast<float>(i));
        EXPECT_EQ(set.pFaces[i].pPlane->Normal.z, 1.0f);
        EXPECT_NE(set.pFaces[i].pPlane, &set.pPlanes[i]);
    }
    FreeFaceSet(&set);
}
