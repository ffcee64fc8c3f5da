#include "compiler/face_lightmap.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

// A face of the given points, mapped at once; owns its vertices, whose
// lightmap coordinates start at 9 so that every one written shows.
struct Mapped {
    explicit Mapped(const std::vector<CVector>& points) : vertices(points.size())
    {
        for (size_t i = 0; i < points.size(); ++i)
            vertices[i] = CVertex(points[i], 0, 0, 0, 9.0f, 9.0f);
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
    EXPECT_NEAR(a.x, b.x, 1e-5);
    EXPECT_NEAR(a.y, b.y, 1e-5);
    EXPECT_NEAR(a.z, b.z, 1e-5);
}

TEST(FaceLightmapTest, RectangleRunsFromTheLowCornerInSixteenTexelSteps)
{
    // U runs from the second vertex towards the first, V = U x normal; the
    // apex lies half a unit beyond the second vertex, so no vertex is the
    // corner and the rectangle is 10.5 by 6.
    const Mapped tri({{10, 0, 0}, {0, 0, 0}, {-0.5f, 0, 6}});
    const float expectedU[3] = {1, 0.5f / 10.5f, 0};
    const float expectedV[3] = {0, 0, 1};
    for (int i = 0; i < 3; ++i) {
        EXPECT_NEAR(tri.vertices[i].LightU, expectedU[i], 1e-6) << i;
        EXPECT_NEAR(tri.vertices[i].LightV, expectedV[i], 1e-6) << i;
    }
    ExpectNear(tri.normal, {0, 1, 0});
    ExpectNear(tri.origin, {-0.5f, 0, 0});
    ExpectNear(tri.u, {10.5f / 16, 0, 0});
    ExpectNear(tri.v, {0, 0, 6.0f / 16});
}

TEST(FaceLightmapTest, DegenerateFacesGetZeroCoordinatesAndFiniteOutputs)
{
    // Collinear first three vertices (the polygon itself has area), the first
    // two on one point, and too few vertices.
    for (const Mapped& bad : {Mapped({{0, 0, 0}, {4, 0, 0}, {8, 0, 0}, {4, 0, 6}}),
                              Mapped({{1, 2, 3}, {1, 2, 3}, {5, 2, 3}}),
                              Mapped({{1, 1, 1}, {2, 2, 2}})}) {
        for (const CVertex& vertex : bad.vertices)
            EXPECT_TRUE(vertex.LightU == 0.0f && vertex.LightV == 0.0f);
        for (const CVector* pOut : {&bad.normal, &bad.u, &bad.v})
            ExpectNear(*pOut, {0, 0, 0});
        ExpectNear(bad.origin, bad.vertices[0].Position);
    }
    MapFaceLightmap(nullptr, nullptr, nullptr, nullptr, nullptr);
}

} // namespace
