#include "compiler/face_lightmap.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

// A face of the given points, mapped at once; owns its vertices.
struct Mapped {
    explicit Mapped(const std::vector<CVector>& points) : vertices(points.size())
    {
        for (size_t i = 0; i < points.size(); ++i)
            vertices[i].Position = points[i];
        face.VertexCount = static_cast<int32_t>(points.size());
        face.pVertices = vertices.data();
        MapFaceLightmap(&face, &normal, &u, &v, &origin);
        face.pVertices = nullptr;
    }
    std::vector<CVertex> vertices;
    CLeafFace face;
    CVector normal, u, v, origin;
};

void ExpectNear(const CVector& a, const CVector& b)
{
    EXPECT_NEAR(a.x, b.x, 1e-4);
    EXPECT_NEAR(a.y, b.y, 1e-4);
    EXPECT_NEAR(a.z, b.z, 1e-4);
}

TEST(FaceLightmapTest, SquareRunsFromSecondVertexTowardsFirst)
{
    const Mapped square({{32, 5, 0}, {0, 5, 0}, {0, 5, 32}, {32, 5, 32}});
    const float expectedU[4] = {1, 0, 0, 1};
    // V = U x normal = +z: from the first edge towards the third vertex.
    const float expectedV[4] = {0, 0, 1, 1};
    for (int i = 0; i < 4; ++i) {
        EXPECT_FLOAT_EQ(square.vertices[i].LightU, expectedU[i]) << i;
        EXPECT_FLOAT_EQ(square.vertices[i].LightV, expectedV[i]) << i;
    }
    ExpectNear(square.normal, {0, 1, 0});
    // One texel long; 16 of them from the corner reach the opposite corner.
    ExpectNear(square.u, {2, 0, 0});
    ExpectNear(square.v, {0, 0, 2});
    ExpectNear(square.origin, {0, 5, 0});
    ExpectNear(square.origin + square.u * 16.0f + square.v * 16.0f, {32, 5, 32});
}

TEST(FaceLightmapTest, TriangleSpansBothAxesWithoutCornerVertex)
{
    // The apex lies beyond the second vertex, so no vertex is the corner.
    const Mapped tri({{10, 0, 0}, {0, 0, 0}, {-4, 0, 6}});
    const float expectedU[3] = {1, 4.0f / 14, 0};
    const float expectedV[3] = {0, 0, 1};
    for (int i = 0; i < 3; ++i) {
        EXPECT_NEAR(tri.vertices[i].LightU, expectedU[i], 1e-6) << i;
        EXPECT_NEAR(tri.vertices[i].LightV, expectedV[i], 1e-6) << i;
    }
    ExpectNear(tri.origin, {-4, 0, 0});
    EXPECT_NEAR(tri.u.Length(), 14.0 / 16, 1e-6);
    EXPECT_NEAR(tri.v.Length(), 6.0 / 16, 1e-6);
}

TEST(FaceLightmapTest, TwiceAsLongFaceHasTwiceAsLongTexels)
{
    const Mapped shortFace({{16, 0, 0}, {0, 0, 0}, {0, 0, 16}, {16, 0, 16}});
    const Mapped longFace({{32, 0, 0}, {0, 0, 0}, {0, 0, 16}, {32, 0, 16}});
    EXPECT_NEAR(longFace.u.Length(), 2 * shortFace.u.Length(), 1e-6);
    EXPECT_NEAR(longFace.v.Length(), shortFace.v.Length(), 1e-6);
    for (int i = 0; i < 4; ++i) {
        EXPECT_FLOAT_EQ(longFace.vertices[i].LightU, shortFace.vertices[i].LightU);
        EXPECT_FLOAT_EQ(longFace.vertices[i].LightV, shortFace.vertices[i].LightV);
    }
}

TEST(FaceLightmapTest, DegenerateFacesGetZeroCoordinatesAndFiniteOutputs)
{
    // Collinear first three vertices (the polygon itself has area), the first
    // two on one point, and too few vertices.
    for (const Mapped& bad : {Mapped({{0, 0, 0}, {4, 0, 0}, {8, 0, 0}, {4, 0, 6}}),
                              Mapped({{1, 2, 3}, {1, 2, 3}, {5, 2, 3}}),
                              Mapped({{1, 1, 1}, {2, 2, 2}})}) {
        for (const CVertex& vertex : bad.vertices) {
            EXPECT_EQ(vertex.LightU, 0.0f);
            EXPECT_EQ(vertex.LightV, 0.0f);
        }
        for (const CVector* pOut : {&bad.normal, &bad.u, &bad.v})
            ExpectNear(*pOut, {0, 0, 0});
        ExpectNear(bad.origin, bad.vertices[0].Position);
    }
    MapFaceLightmap(nullptr, nullptr, nullptr, nullptr, nullptr);
}

} // namespace
