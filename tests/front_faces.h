#pragma once
// Test helpers for the compiler's front: faces made from points, their
// planes and areas, and a face that frees itself.
#include "compiler/face.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

// A face with vertices at the points; each vertex's TexU and TexV are the x
// and y of its point, so that the cuts' interpolation can be read back.
inline CLeafFace MakeFace(const std::vector<CVector>& points)
{
    CLeafFace face;
    face.VertexCount = static_cast<int32_t>(points.size());
    face.pVertices = new CVertex[points.size()];
    int i = 0;
    for (const CVector& p : points) {
        face.pVertices[i].Position = p;
        face.pVertices[i].TexU = p.x;
        face.pVertices[i++].TexV = p.y;
    }
    return face;
}

// A square of half-side h round centre, facing an axis: the plane through its
// first three vertices faces normal.
inline CLeafFace MakeSquare(const CVector& centre, const CVector& normal, float h)
{
    CVector u = std::fabs(normal.x) > 0.5f ? CVector(0, 1, 0) : CVector(1, 0, 0);
    const CVector v = Cross(normal, u);
    u = Cross(v, normal);
    return MakeFace({centre - u * h - v * h, centre + u * h - v * h, centre + u * h + v * h,
                     centre - u * h + v * h});
}

inline CPlane PlaneOf(const CLeafFace& face)
{
    return CPlane(face.pVertices[0].Position, face.pVertices[1].Position,
                  face.pVertices[2].Position);
}

inline double FaceArea(const CLeafFace& face)
{
    CVector sum;
    const CVector& p0 = face.pVertices[0].Position;
    for (int32_t i = 1; i + 1 < face.VertexCount; ++i)
        sum += Cross(face.pVertices[i].Position - p0, face.pVertices[i + 1].Position - p0);
    return sum.Length() / 2;
}

inline void ExpectAt(const CVector& p, float x, float y, float z)
{
    EXPECT_FLOAT_EQ(p.x, x);
    EXPECT_FLOAT_EQ(p.y, y);
    EXPECT_FLOAT_EQ(p.z, z);
}

// A face that frees itself, so that a failed assertion leaks nothing.
struct COwnedFace {
    CLeafFace f{};
    COwnedFace() = default;
    explicit COwnedFace(const CLeafFace& face) : f(face) {}
    COwnedFace(const COwnedFace&) = delete;
    COwnedFace& operator=(const COwnedFace&) = delete;
    ~COwnedFace() { FreeFace(&f); }
    CLeafFace* operator->() { return &f; }
    CLeafFace* get() { return &f; }
    const CVector& operator[](int i) const { return f.pVertices[i].Position; }
};
