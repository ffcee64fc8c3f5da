#include "compiler/clip.h"

#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
#include <numbers>
#include <random>
#include <vector>

namespace {

constexpr uint32_t WHITE = 0xFFFFFFFFu;
constexpr uint32_t RED = 0xFFFF0000u;

// A face that frees itself, so that a failed assertion leaks nothing.
struct OwnedFace {
    CLeafFace f{};
    OwnedFace() = default;
    OwnedFace(const OwnedFace&) = delete;
    OwnedFace& operator=(const OwnedFace&) = delete;
    ~OwnedFace() { FreeFace(&f); }
    CLeafFace* operator->() { return &f; }
    CLeafFace* get() { return &f; }
    const CVertex& operator[](int i) const { return f.pVertices[i]; }
};

// Fills face with vertices at the given points; TexU/TexV are the x and y of
// each point so that interpolation can be checked, and the mapping and indices
// carry marks that the cuts must pass on.
void Build(OwnedFace& face, std::initializer_list<CVector> points,
           std::initializer_list<uint32_t> colours = {})
{
    FreeFace(face.get());
    face->VertexCount = static_cast<int32_t>(points.size());
    face->pVertices = new CVertex[points.size()];
    int i = 0;
    for (const CVector& p : points) {
        CVertex& v = face->pVertices[i++];
        v.Position = p;
        v.TexU = p.x;
        v.TexV = p.y;
        v.Specular = 0x11223344u;
        v.Reserved = 7;
        v.LightU = 0.25f;
        v.LightV = 0.75f;
    }
    i = 0;
    for (uint32_t c : colours)
        face->pVertices[i++].Colour = c;
    face->Mapping.UAxis = CVector(1, 0, 0);
    face->Mapping.VAxis = CVector(0, 1, 0);
    face->Mapping.UOffset = 12;
    face->Mapping.VOffset = -3;
    face->Mapping.UScale = 2.0f;
    face->Mapping.VScale = 0.5f;
    face->Mapping.Rotation = 45.0f;
    face->TextureIndex = 5;
    face->MappingIndex = 9;
}

void ExpectAt(const CVertex& v, float x, float y, float z)
{
    EXPECT_FLOAT_EQ(v.Position.x, x);
    EXPECT_FLOAT_EQ(v.Position.y, y);
    EXPECT_FLOAT_EQ(v.Position.z, z);
}

void ExpectTextureDataOf(const CLeafFace& from, const CLeafFace& to)
{
    EXPECT_EQ(to.Mapping.UOffset, from.Mapping.UOffset);
    EXPECT_EQ(to.Mapping.VOffset, from.Mapping.VOffset);
    EXPECT_EQ(to.Mapping.UScale, from.Mapping.UScale);
    EXPECT_EQ(to.Mapping.Rotation, from.Mapping.Rotation);
    EXPECT_EQ(to.TextureIndex, from.TextureIndex);
    EXPECT_EQ(to.MappingIndex, from.MappingIndex);
}

void ExpectSameVertices(const CLeafFace& a, const CLeafFace& b)
{
    ASSERT_EQ(a.VertexCount, b.VertexCount);
    for (int i = 0; i < a.VertexCount; ++i) {
        EXPECT_EQ(a.pVertices[i].Position.x, b.pVertices[i].Position.x) << i;
        EXPECT_EQ(a.pVertices[i].Position.y, b.pVertices[i].Position.y) << i;
        EXPECT_EQ(a.pVertices[i].Position.z, b.pVertices[i].Position.z) << i;
        EXPECT_EQ(a.pVertices[i].Colour, b.pVertices[i].Colour) << i;
    }
}

// Area of a planar polygon, from the length of the summed cross products.
double Area(const CLeafFace& face)
{
    double sx = 0, sy = 0, sz = 0;
    const CVector& o = face.pVertices[0].Position;
    for (int i = 1; i + 1 < face.VertexCount; ++i) {
        const CVector& p = face.pVertices[i].Position;
        const CVector& q = face.pVertices[i + 1].Position;
        const double ax = double(p.x) - o.x, ay = double(p.y) - o.y, az = double(p.z) - o.z;
        const double bx = double(q.x) - o.x, by = double(q.y) - o.y, bz = double(q.z) - o.z;
        sx += ay * bz - az * by;
        sy += az * bx - ax * bz;
        sz += ax * by - ay * bx;
    }
    return 0.5 * std::sqrt(sx * sx + sy * sy + sz * sz);
}

// The plane x = value, facing +x.
CPlane PlaneX(float value) { return CPlane(CVector(1, 0, 0), -value); }
// The plane z = 0, facing +z.
const CPlane FLOOR(CVector(0, 0, 1), 0.0f);

} // namespace

// ---------------------------------------------------------------------------
// IntersectEdge and the vertex queue

TEST(Clip, IntersectEdgeGivesTheFractionAndThePoint)
{
    const CVector a(-1, 2, 3);
    const CVector b(3, 2, 3);
    CVector out;
    EXPECT_FLOAT_EQ(IntersectEdge(PlaneX(0.0f), &a, &b, &out), 0.25f);
    ExpectAt(CVertex(out, 0, 0, 0, 0, 0), 0, 2, 3);

    // The plane's own orientation doesn't change t.
    EXPECT_FLOAT_EQ(IntersectEdge(CPlane(CVector(-1, 0, 0), 2.0f), &a, &b, &out), 0.75f);
    EXPECT_FLOAT_EQ(out.x, 2.0f);

    // Agrees with the plane's own intersection bit for bit.
    const CVector c(0.3f, -7.1f, 2.9f);
    const CVector d(-4.7f, 5.3f, -1.3f);
    const CPlane slanted(CVector(0.3f, 0.8f, -0.5f), 0.37f);
    IntersectEdge(slanted, &c, &d, &out);
    const CVector expected = slanted.Intersect(c, d);
    EXPECT_EQ(out.x, expected.x);
    EXPECT_EQ(out.y, expected.y);
    EXPECT_EQ(out.z, expected.z);
}

TEST(Clip, VertexQueueKeepsOrderAndPopsToEmpty)
{
    CVertexListNode* pHead = nullptr;
    CVertex v;
    EXPECT_EQ(PopVertex(&pHead, &v), nullptr);

    CVertex marked;
    marked.TexU = 42.0f;
    EXPECT_EQ(PopVertex(&pHead, &marked), nullptr);
    EXPECT_EQ(marked.TexU, 42.0f); // nothing written on an empty list

    for (int i = 0; i < 3; ++i) {
        v.TexU = static_cast<float>(i);
        CVertexListNode* pNode = AppendVertex(&pHead, v);
        ASSERT_NE(pNode, nullptr);
        EXPECT_EQ(pNode->pNext, nullptr);
    }
    for (int i = 0; i < 3; ++i) {
        CVertexListNode* pNext = PopVertex(&pHead, &v);
        EXPECT_EQ(v.TexU, static_cast<float>(i));
        EXPECT_EQ(pNext, pHead);
        EXPECT_EQ(pNext == nullptr, i == 2);
    }
}

// ---------------------------------------------------------------------------
// SplitFace

TEST(Clip, SplitThroughTheMiddleMakesTwoQuadsInWalkOrder)
{
    OwnedFace quad, back, front;
    Build(quad, {CVector(0, 0, 0), CVector(4, 0, 0), CVector(4, 4, 0), CVector(0, 4, 0)});
    quad->pPlane = new CPlane(FLOOR);

    ASSERT_TRUE(SplitFace(PlaneX(2.0f), quad.get(), back.get(), front.get()));

    // Back: vertex 0, the crossing of edge 0-1, the crossing of edge 2-3, vertex 3.
    ASSERT_EQ(back->VertexCount, 4);
    ExpectAt(back[0], 0, 0, 0);
    ExpectAt(back[1], 2, 0, 0);
    ExpectAt(back[2], 2, 4, 0);
    ExpectAt(back[3], 0, 4, 0);
    // Front: crossing 0-1, vertices 1 and 2, crossing 2-3.
    ASSERT_EQ(front->VertexCount, 4);
    ExpectAt(front[0], 2, 0, 0);
    ExpectAt(front[1], 4, 0, 0);
    ExpectAt(front[2], 4, 4, 0);
    ExpectAt(front[3], 2, 4, 0);

    // Crossing vertices: texture coordinates follow the cut, colours come from
    // the edge's first vertex, the rest is cleared.
    const CVertex& c = front[0];
    EXPECT_FLOAT_EQ(c.TexU, 2.0f);
    EXPECT_FLOAT_EQ(c.TexV, 0.0f);
    EXPECT_EQ(c.Specular, 0x11223344u);
    EXPECT_EQ(c.Colour, WHITE);
    EXPECT_EQ(c.Reserved, 0u);
    EXPECT_EQ(c.LightU, 0.0f);
    EXPECT_EQ(c.LightV, 0.0f);
    // Original vertices are copied whole.
    EXPECT_EQ(front[1].Reserved, 7u);
    EXPECT_EQ(front[1].LightU, 0.25f);

    // Each piece gets its own copy of the plane and the texture data.
    ASSERT_NE(back->pPlane, nullptr);
    ASSERT_NE(front->pPlane, nullptr);
    EXPECT_NE(back->pPlane, quad->pPlane);
    EXPECT_NE(front->pPlane, back->pPlane);
    EXPECT_EQ(front->pPlane->Normal.z, 1.0f);
    ExpectTextureDataOf(quad.f, back.f);
    ExpectTextureDataOf(quad.f, front.f);

    // The input is untouched.
    ASSERT_EQ(quad->VertexCount, 4);
    ExpectAt(quad[1], 4, 0, 0);
}

TEST(Clip, SplitCornerInsideTheBandGoesToBothWithoutCrossings)
{
    // Corner 1 lies 0.1 in front of the diagonal plane, the others well behind.
    OwnedFace square, back, front;
    Build(square, {CVector(0, 0, 0), CVector(10, 0, 0), CVector(10, 10, 0), CVector(0, 10, 0)});
    const CVector n(1, -1, 0);
    const float d = static_cast<float>(0.1 - 10.0 / std::sqrt(2.0));
    const CPlane diagonal(n, d);
    ASSERT_NEAR(diagonal.DistanceTo(square[1].Position), 0.1, 1e-5);

    // A front output that already holds a face keeps it: the queue of one
    // vertex is dropped.
    Build(front, {CVector(7, 7, 7), CVector(8, 8, 8), CVector(9, 9, 9)});
    CVertex* pOld = front->pVertices;

    ASSERT_TRUE(SplitFace(diagonal, square.get(), back.get(), front.get()));
    ExpectSameVertices(square.f, back.f);
    EXPECT_EQ(front->pVertices, pOld);
    ASSERT_EQ(front->VertexCount, 3);
    ExpectAt(front[0], 7, 7, 7);
}

TEST(Clip, SplitWhollyInFrontLeavesBackEmptyButMapped)
{
    OwnedFace tri, back, front;
    Build(tri, {CVector(1, 0, 0), CVector(3, 0, 0), CVector(3, 2, 0)});
    back->TextureIndex = -1;
    back->MappingIndex = -1;

    ASSERT_TRUE(SplitFace(PlaneX(0.0f), tri.get(), back.get(), front.get()));
    ExpectSameVertices(tri.f, front.f);
    EXPECT_EQ(back->VertexCount, 0);
    EXPECT_EQ(back->pVertices, nullptr);
    EXPECT_EQ(back->pPlane, nullptr);
    ExpectTextureDataOf(tri.f, back.f);
    ExpectTextureDataOf(tri.f, front.f);
}

TEST(Clip, SplitFaceInsideTheBandCopiesItToBothSides)
{
    OwnedFace face, back, front;
    Build(face, {CVector(0, 0, 0.1f), CVector(5, 0, -0.1f), CVector(5, 5, 0.15f),
                 CVector(0, 5, -0.19f)});
    face->pPlane = new CPlane(FLOOR);
    ASSERT_TRUE(SplitFace(FLOOR, face.get(), back.get(), front.get()));
    ExpectSameVertices(face.f, back.f);
    ExpectSameVertices(face.f, front.f);
    ASSERT_NE(back->pPlane, nullptr);
    ASSERT_NE(front->pPlane, nullptr);
}

TEST(Clip, SplitReplacesOldArraysAndRejectsFacesWithoutVertices)
{
    OwnedFace quad, back, front;
    Build(quad, {CVector(0, 0, 0), CVector(4, 0, 0), CVector(4, 4, 0), CVector(0, 4, 0)});
    // Outputs that still hold arrays from an earlier cut: they are replaced,
    // which the sanitizer build checks for leaks.
    Build(back, {CVector(1, 1, 1), CVector(2, 2, 2), CVector(3, 3, 3)});
    Build(front, {CVector(1, 1, 1), CVector(2, 2, 2), CVector(3, 3, 3)});
    back->pPlane = new CPlane(FLOOR);
    ASSERT_TRUE(SplitFace(PlaneX(2.0f), quad.get(), back.get(), front.get()));
    EXPECT_EQ(back->VertexCount, 4);
    EXPECT_EQ(front->VertexCount, 4);

    OwnedFace empty;
    empty->TextureIndex = 77;
    EXPECT_FALSE(SplitFace(FLOOR, empty.get(), back.get(), front.get()));
    EXPECT_EQ(back->VertexCount, 4); // outputs untouched on failure
    EXPECT_EQ(back->TextureIndex, 5);
}

TEST(Clip, BandEdgesAreFrontOnlyAtPlusAndBackOnlyAtMinus)
{
    // A vertex at exactly +0.2 as a float: IsCoplanar still counts it in the
    // band, but SplitFace gives it to the front alone.
    OwnedFace tri, back, front;
    Build(tri, {CVector(0, 0, PLANE_EPSILON), CVector(1, 0, 0), CVector(0, 1, 0)});
    EXPECT_TRUE(IsCoplanar(FLOOR, tri.get()));
    EXPECT_EQ(ClassifyFace(tri.get(), FLOOR), FACE_ON);
    ASSERT_TRUE(SplitFace(FLOOR, tri.get(), back.get(), front.get()));
    EXPECT_EQ(front->VertexCount, 3);
    EXPECT_EQ(back->VertexCount, 0); // two vertices only: dropped

    OwnedFace below, back2, front2;
    Build(below, {CVector(0, 0, -PLANE_EPSILON), CVector(1, 0, 0), CVector(0, 1, 0)});
    EXPECT_TRUE(IsCoplanar(FLOOR, below.get()));
    ASSERT_TRUE(SplitFace(FLOOR, below.get(), back2.get(), front2.get()));
    EXPECT_EQ(back2->VertexCount, 3);
    EXPECT_EQ(front2->VertexCount, 0);

    // Band-edge vertices take no part in a crossing: the edge from +0.2 to -5
    // makes no new vertex, the back piece is vertices 1 to 3 and the front
    // queue of two is dropped.
    OwnedFace edge, back3, front3;
    Build(edge, {CVector(0, 0, PLANE_EPSILON), CVector(1, 0, -5), CVector(1, 1, -5),
                 CVector(0, 1, 0)});
    ASSERT_TRUE(SplitFace(FLOOR, edge.get(), back3.get(), front3.get()));
    EXPECT_EQ(front3->VertexCount, 0);
    ASSERT_EQ(back3->VertexCount, 3);
    ExpectAt(back3[0], 1, 0, -5);
    ExpectAt(back3[1], 1, 1, -5);
    ExpectAt(back3[2], 0, 1, 0);

    // Likewise a vertex just inside the band makes no crossing with a
    // neighbour far on the other side: only the edge from -5 to +5 is cut.
    OwnedFace shallow, back4, front4;
    Build(shallow, {CVector(0, 0, 5), CVector(1, 0, -0.1f), CVector(0, 1, -5)});
    ASSERT_TRUE(SplitFace(FLOOR, shallow.get(), back4.get(), front4.get()));
    ASSERT_EQ(front4->VertexCount, 3);
    ASSERT_EQ(back4->VertexCount, 3);
    ExpectAt(front4[0], 0, 0, 5);
    ExpectAt(front4[1], 1, 0, -0.1f);
    ExpectAt(front4[2], 0, 0.5f, 0);
    ExpectAt(back4[0], 1, 0, -0.1f);
    ExpectAt(back4[1], 0, 1, -5);
    ExpectAt(back4[2], 0, 0.5f, 0);
}

TEST(Clip, CrossingColourFollowsTheWinding)
{
    // Vertex 1 is red, the others white. The crossing at the bottom edge takes
    // the colour of whichever end the walk leaves from.
    const CVector p0(-1, 0, 0), p1(1, 0, 0), p2(1, 1, 0), p3(-1, 1, 0);
    OwnedFace forward, reverse, back, front;
    Build(forward, {p0, p1, p2, p3}, {WHITE, RED, WHITE, WHITE});
    Build(reverse, {p0, p3, p2, p1}, {WHITE, WHITE, WHITE, RED});

    ASSERT_TRUE(SplitFace(PlaneX(0.0f), forward.get(), back.get(), front.get()));
    ASSERT_EQ(front->VertexCount, 4);
    ExpectAt(front[0], 0, 0, 0); // walked white to red
    EXPECT_EQ(front[0].Colour, WHITE);

    ASSERT_TRUE(SplitFace(PlaneX(0.0f), reverse.get(), back.get(), front.get()));
    ASSERT_EQ(back->VertexCount, 4);
    ExpectAt(back[3], 0, 0, 0); // walked red to white
    EXPECT_EQ(back[3].Colour, RED);
    ExpectAt(back[2], 0, 1, 0); // walked white to white
    EXPECT_EQ(back[2].Colour, WHITE);
}

TEST(Clip, SplitAreasAddUpForRandomCuts)
{
    std::mt19937 rng(1234);
    std::uniform_real_distribution<float> coord(-100.0f, 100.0f);
    std::uniform_real_distribution<float> unit(-1.0f, 1.0f);
    int spanning = 0;
    for (int trial = 0; trial < 500; ++trial) {
        // A regular polygon of 3 to 10 sides in a random plane, cut by a
        // random plane through a point near it.
        const int sides = 3 + trial % 8;
        const CVector centre(coord(rng), coord(rng), coord(rng));
        const CVector axis = Normalized(CVector(unit(rng), unit(rng), unit(rng)));
        const CVector u = Normalized(Cross(axis, CVector(0.3f, 0.5f, 0.7f)));
        const CVector v = Cross(axis, u);
        const float radius = 10.0f + 50.0f * std::fabs(unit(rng));
        OwnedFace face;
        face->VertexCount = sides;
        face->pVertices = new CVertex[sides];
        for (int i = 0; i < sides; ++i) {
            const double a = 2.0 * std::numbers::pi * i / sides;
            face->pVertices[i].Position =
                centre + u * static_cast<float>(radius * std::cos(a)) +
                v * static_cast<float>(radius * std::sin(a));
        }
        const CVector through = centre + CVector(unit(rng), unit(rng), unit(rng)) * radius;
        const CPlane cut(through, CVector(unit(rng), unit(rng), unit(rng)));

        // With a vertex inside the band the pieces overlap by design; the
        // areas only add up when no vertex is there.
        bool bInBand = false;
        for (int i = 0; i < sides; ++i)
            if (std::fabs(cut.DistanceTo(face[i].Position)) <= PLANE_EPSILON)
                bInBand = true;
        if (bInBand)
            continue;

        OwnedFace back, front;
        ASSERT_TRUE(SplitFace(cut, face.get(), back.get(), front.get()));
        const double whole = Area(face.f);
        const double pieces = (back->VertexCount > 2 ? Area(back.f) : 0.0) +
                              (front->VertexCount > 2 ? Area(front.f) : 0.0);
        EXPECT_NEAR(pieces, whole, whole * 1e-4) << "trial " << trial;
        if (back->VertexCount > 2 && front->VertexCount > 2) {
            ++spanning;
            // Every vertex of a piece lies on its side (or on the cut).
            for (int i = 0; i < back->VertexCount; ++i)
                EXPECT_LT(cut.DistanceTo(back[i].Position), 1e-3);
            for (int i = 0; i < front->VertexCount; ++i)
                EXPECT_GT(cut.DistanceTo(front[i].Position), -1e-3);
            // A convex polygon cut by a line gains at most two vertices.
            EXPECT_EQ(back->VertexCount + front->VertexCount, sides + 4);
        }
    }
    EXPECT_GT(spanning, 100);
}

// ---------------------------------------------------------------------------
// ClipFace

TEST(Clip, ClipKeepsFewerThanThreeVertices)
{
    // One vertex on the plane, two behind: the result is that vertex alone.
    OwnedFace tri, out;
    Build(tri, {CVector(0, 0, 0), CVector(1, 0, -1), CVector(0, 1, -1)});
    ASSERT_TRUE(ClipFace(FLOOR, tri.get(), out.get()));
    ASSERT_EQ(out->VertexCount, 1);
    ExpectAt(out[0], 0, 0, 0);
    ExpectTextureDataOf(tri.f, out.f);

    // Wholly behind: true, with no vertices and a null array.
    OwnedFace below;
    Build(below, {CVector(0, 0, -1), CVector(1, 0, -1), CVector(0, 1, -1)});
    ASSERT_TRUE(ClipFace(FLOOR, below.get(), out.get()));
    EXPECT_EQ(out->VertexCount, 0);
    EXPECT_EQ(out->pVertices, nullptr);

    // An empty input is refused and the output left alone.
    Build(out, {CVector(1, 1, 1), CVector(2, 2, 2), CVector(3, 3, 3)});
    OwnedFace empty;
    EXPECT_FALSE(ClipFace(FLOOR, empty.get(), out.get()));
    EXPECT_EQ(out->VertexCount, 3);
}

TEST(Clip, ClipHasNoBand)
{
    // A vertex 0.1 behind the plane is cut away, where SplitFace would keep it
    // on both sides.
    OwnedFace quad, out;
    Build(quad, {CVector(0, 0, -0.1f), CVector(4, 0, 1), CVector(4, 4, 1), CVector(0, 4, 1)});
    quad->pPlane = new CPlane(FLOOR);
    ASSERT_TRUE(ClipFace(FLOOR, quad.get(), out.get()));
    ASSERT_EQ(out->VertexCount, 5);
    for (int i = 0; i < out->VertexCount; ++i)
        EXPECT_GE(FLOOR.DistanceTo(out[i].Position), -1e-6);
    // Crossing of edge 3-0 comes last, crossing of edge 0-1 first.
    EXPECT_NEAR(out[0].Position.z, 0.0, 1e-6);
    EXPECT_NEAR(out[4].Position.z, 0.0, 1e-6);
    EXPECT_GT(out[0].Position.x, 0.0f);
    EXPECT_GT(out[4].Position.y, 0.0f);
    ASSERT_NE(out->pPlane, nullptr);
    EXPECT_NE(out->pPlane, quad->pPlane);

    // A vertex at exactly 0 is kept and makes no crossing.
    OwnedFace touching;
    Build(touching, {CVector(0, 0, 0), CVector(4, 0, 1), CVector(0, 4, 1)});
    ASSERT_TRUE(ClipFace(FLOOR, touching.get(), out.get()));
    ExpectSameVertices(touching.f, out.f);
}

// ---------------------------------------------------------------------------
// Queries

TEST(Clip, ClassifyFaceByTheBand)
{
    OwnedFace face;
    Build(face, {CVector(0, 0, 1), CVector(1, 0, 0), CVector(0, 1, -1)});
    EXPECT_EQ(ClassifyFace(face.get(), FLOOR), FACE_SPANNING);
    Build(face, {CVector(0, 0, 1), CVector(1, 0, 0), CVector(0, 1, 0)});
    EXPECT_EQ(ClassifyFace(face.get(), FLOOR), FACE_FRONT);
    Build(face, {CVector(0, 0, 0.1f), CVector(1, 0, -0.1f), CVector(0, 1, 0)});
    EXPECT_EQ(ClassifyFace(face.get(), FLOOR), FACE_ON);
    Build(face, {CVector(0, 0, -3), CVector(1, 0, 0.1f), CVector(0, 1, -1)});
    EXPECT_EQ(ClassifyFace(face.get(), FLOOR), FACE_BACK);
    // Turning the plane round turns the answer round.
    EXPECT_EQ(ClassifyFace(face.get(), -FLOOR), FACE_FRONT);

    OwnedFace empty;
    EXPECT_EQ(ClassifyFace(empty.get(), FLOOR), FACE_ON);
}

TEST(Clip, IsCoplanarNeedsVerticesAllInsideTheClosedBand)
{
    OwnedFace face;
    EXPECT_FALSE(IsCoplanar(FLOOR, face.get()));
    Build(face, {CVector(0, 0, 0.2f), CVector(1, 0, -0.2f), CVector(0, 1, 0)});
    EXPECT_TRUE(IsCoplanar(FLOOR, face.get()));
    EXPECT_TRUE(IsCoplanar(-FLOOR, face.get()));
    Build(face, {CVector(0, 0, 0.21f), CVector(1, 0, 0), CVector(0, 1, 0)});
    EXPECT_FALSE(IsCoplanar(FLOOR, face.get()));
    // Distance counts, not only the normal.
    Build(face, {CVector(0, 0, 5), CVector(1, 0, 5), CVector(0, 1, 5)});
    EXPECT_FALSE(IsCoplanar(FLOOR, face.get()));
    EXPECT_TRUE(IsCoplanar(CPlane(CVector(0, 0, 1), -5.0f), face.get()));
}
