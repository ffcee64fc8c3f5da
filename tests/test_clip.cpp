#include "compiler/clip.h"

#include "tests/front_faces.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

// A face of the points with texture data for the cuts to pass on.
CLeafFace Marked(const std::vector<CVector>& points)
{
    CLeafFace face = MakeFace(points);
    face.Mapping = {CVector(1, 0, 0), CVector(0, 1, 0), 12, -3, 2.0f, 0.5f, 45.0f};
    face.TextureIndex = 5;
    face.MappingIndex = 9;
    return face;
}

void ExpectTextureData(const CLeafFace& face)
{
    EXPECT_EQ(face.Mapping.UOffset, 12);
    EXPECT_EQ(face.TextureIndex, 5);
    EXPECT_EQ(face.MappingIndex, 9);
}

void ExpectSameVertices(const CLeafFace& a, const CLeafFace& b)
{
    ASSERT_EQ(a.VertexCount, b.VertexCount);
    for (int i = 0; i < a.VertexCount; ++i) {
        const CVector& p = a.pVertices[i].Position;
        ExpectAt(b.pVertices[i].Position, p.x, p.y, p.z);
    }
}

// The plane x = value, facing +x.
CPlane PlaneX(float value)
{
    return CPlane(CVector(1, 0, 0), -value);
}
const CPlane FLOOR(CVector(0, 0, 1), 0.0f); // z = 0, facing +z

} // namespace

TEST(Clip, IntersectEdgeGivesTheFractionAndThePoint)
{
    const CVector a(-1, 2, 3);
    const CVector b(3, 2, 3);
    CVector out;
    EXPECT_EQ(IntersectEdge(PlaneX(0.0f), &a, &b, &out), 0.25f);
    ExpectAt(out, 0, 2, 3);
    // The plane x = 2 facing -x: t = (-2 - (-1)) / (-3 - (-1)).
    EXPECT_EQ(IntersectEdge(CPlane(CVector(-1, 0, 0), 2.0f), &a, &b, &out), 0.75f);
    ExpectAt(out, 2, 2, 3);
}

TEST(Clip, SplitKeepsTheWindingAndInterpolatesTheCrossings)
{
    COwnedFace quad(
        Marked({CVector(0, 0, 0), CVector(4, 0, 0), CVector(4, 4, 0), CVector(0, 4, 0)}));
    quad->pPlane = new CPlane(FLOOR);
    quad->pVertices[2].Colour = 0xFFFF0000u;
    quad->pVertices[2].Specular = 0x11223344u;
    COwnedFace back, front;
    ASSERT_TRUE(SplitFace(PlaneX(1.0f), quad.get(), back.get(), front.get()));
    // Back: vertex 0, the crossing of edge 0-1, the crossing of edge 2-3,
    // vertex 3. Front: crossing 0-1, vertices 1 and 2, crossing 2-3.
    ASSERT_EQ(back->VertexCount, 4);
    ExpectAt(back[1], 1, 0, 0);
    ExpectAt(back[2], 1, 4, 0);
    ExpectAt(back[3], 0, 4, 0);
    ASSERT_EQ(front->VertexCount, 4);
    ExpectAt(front[0], 1, 0, 0);
    ExpectAt(front[1], 4, 0, 0);
    ExpectAt(front[3], 1, 4, 0);
    // Edge 2-3 runs from x = 4 to 0: t = 0.75, TexU 4 + (0 - 4) * 0.75 = 1;
    // the colours are those of vertex 2, where the walk leaves the edge.
    const CVertex& crossing = front->pVertices[3];
    EXPECT_EQ(crossing.TexU, 1.0f);
    EXPECT_EQ(crossing.TexV, 4.0f);
    EXPECT_EQ(crossing.Colour, 0xFFFF0000u);
    EXPECT_EQ(crossing.Specular, 0x11223344u);
    ASSERT_TRUE(back->pPlane && front->pPlane);
    EXPECT_NE(front->pPlane, quad->pPlane);
    ExpectTextureData(back.f);
    ExpectTextureData(front.f);
}

TEST(Clip, CornerInsideTheBandGoesToBothPiecesWithoutCrossings)
{
    // Corner 1 lies 0.15 in front of the plane x = 9.85: the back piece is the
    // whole triangle, and the front queue of one vertex is dropped, leaving
    // the old front face as it was.
    COwnedFace tri(MakeFace({CVector(0, 0, 0), CVector(10, 0, 0), CVector(0, 10, 0)}));
    COwnedFace back, front(MakeFace({CVector(7, 7, 7), CVector(8, 8, 8), CVector(9, 9, 9)}));
    ASSERT_TRUE(SplitFace(PlaneX(9.85f), tri.get(), back.get(), front.get()));
    ExpectSameVertices(tri.f, back.f);
    ASSERT_EQ(front->VertexCount, 3);
    ExpectAt(front[0], 7, 7, 7);
}

TEST(Clip, WhollyOnOneSideLeavesTheOtherEmptyButMapped)
{
    COwnedFace tri(Marked({CVector(1, 0, 0), CVector(3, 0, 0), CVector(3, 2, 0)}));
    COwnedFace back, front;
    ASSERT_TRUE(SplitFace(PlaneX(0.0f), tri.get(), back.get(), front.get()));
    ExpectSameVertices(tri.f, front.f);
    EXPECT_EQ(back->pVertices, nullptr);
    ExpectTextureData(back.f);
    // A face in the band of the plane comes back whole on both sides.
    COwnedFace flat(MakeFace({CVector(0, 0, 0.1f), CVector(5, 0, -0.1f), CVector(5, 5, 0.19f)}));
    ASSERT_TRUE(SplitFace(FLOOR, flat.get(), back.get(), front.get()));
    ExpectSameVertices(flat.f, back.f);
    ExpectSameVertices(flat.f, front.f);
    COwnedFace empty;
    EXPECT_FALSE(SplitFace(FLOOR, empty.get(), back.get(), front.get()));
}

struct CBandCase {
    const char* pszName;
    std::vector<CVector> Points;
    int32_t BackCount, FrontCount;
};

class SplitBand : public ::testing::TestWithParam<CBandCase> {};

// A vertex at exactly +0.2 goes to the front only, one at -0.2 to the back
// only, and only an edge with both ends beyond the band makes a crossing.
TEST_P(SplitBand, EdgesBelongToOneSideAndMakeNoCrossings)
{
    COwnedFace face(MakeFace(GetParam().Points));
    COwnedFace back, front;
    ASSERT_TRUE(SplitFace(FLOOR, face.get(), back.get(), front.get()));
    EXPECT_EQ(back->VertexCount, GetParam().BackCount);
    EXPECT_EQ(front->VertexCount, GetParam().FrontCount);
}

INSTANTIATE_TEST_SUITE_P(
    Faces, SplitBand,
    ::testing::Values(
        CBandCase{"plus_edge", {CVector(0, 0, 0.2f), CVector(1, 0, 0), CVector(0, 1, 0)}, 0, 3},
        CBandCase{"minus_edge", {CVector(0, 0, -0.2f), CVector(1, 0, 0), CVector(0, 1, 0)}, 3, 0},
        // +0.2 next to -5: the back piece is the other three vertices.
        CBandCase{"edge_to_far_side",
                  {CVector(0, 0, 0.2f), CVector(1, 0, -5), CVector(1, 1, -5), CVector(0, 1, 0)},
                  3,
                  0},
        // -0.1 lies in the band: only the edge from -5 to +5 is cut.
        CBandCase{"inside_to_far_side",
                  {CVector(0, 0, 5), CVector(1, 0, -0.1f), CVector(0, 1, -5)},
                  3,
                  3}),
    [](const auto& info) { return std::string(info.param.pszName); });

TEST(Clip, ClipFaceHasNoBandAndKeepsFewerThanThreeVertices)
{
    // A vertex 0.1 behind is cut away: crossings on edges 0-1 and 3-0.
    COwnedFace quad(Marked(
        {CVector(0, 0, -0.1f), CVector(4, 0, 0.9f), CVector(4, 4, 0.9f), CVector(0, 4, 0.9f)}));
    COwnedFace out;
    ASSERT_TRUE(ClipFace(FLOOR, quad.get(), out.get()));
    ASSERT_EQ(out->VertexCount, 5);
    ExpectAt(out[0], 0.4f, 0, 0);
    ExpectAt(out[4], 0, 0.4f, 0);
    ExpectTextureData(out.f);
    // One vertex on the plane, two behind: that vertex alone.
    COwnedFace touching(MakeFace({CVector(0, 0, 0), CVector(1, 0, -1), CVector(0, 1, -1)}));
    ASSERT_TRUE(ClipFace(FLOOR, touching.get(), out.get()));
    ASSERT_EQ(out->VertexCount, 1);
    ExpectAt(out[0], 0, 0, 0);
}

struct CSideCase {
    float z0, z1, z2;
    int32_t Side;
    bool bCoplanar;
};

class FaceSide : public ::testing::TestWithParam<CSideCase> {};

// Distances beyond +-0.2 decide ClassifyFace; IsCoplanar takes the band
// with both ends.
TEST_P(FaceSide, ClassifyAndCoplanarByTheBand)
{
    const CSideCase& c = GetParam();
    COwnedFace face(MakeFace({CVector(0, 0, c.z0), CVector(1, 0, c.z1), CVector(0, 1, c.z2)}));
    EXPECT_EQ(ClassifyFace(face.get(), FLOOR), c.Side);
    EXPECT_EQ(IsCoplanar(FLOOR, face.get()), c.bCoplanar);
}

INSTANTIATE_TEST_SUITE_P(Triangles, FaceSide,
                         ::testing::Values(CSideCase{1, 0, -1, FACE_SPANNING, false},
                                           CSideCase{1, 0, 0, FACE_FRONT, false},
                                           CSideCase{-3, 0.1f, -1, FACE_BACK, false},
                                           CSideCase{0.2f, -0.2f, 0, FACE_ON, true},
                                           CSideCase{0.21f, 0, 0, FACE_FRONT, false}));
