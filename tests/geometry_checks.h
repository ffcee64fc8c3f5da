#pragma once
// Checks shared by the geometry tests: exact comparisons of vectors and
// matrices, and the plain integers the kernel throws.
#include "geometry/matrix.h"
#include "geometry/plane.h"
#include "geometry/polygon.h"
#include "geometry/vertex.h"

#include <gtest/gtest.h>

#include <initializer_list>

inline bool Same(const CVector& v, float x, float y, float z)
{
    return v.x == x && v.y == y && v.z == z;
}

// The plain integer the call throws, or 0.
template <typename F>
int Thrown(F&& call)
{
    try {
        call();
    } catch (int nCode) {
        return nCode;
    }
    return 0;
}

inline void ExpectMatrix(const CMatrix& m, const float (&expected)[16], float fTolerance = 0.0f)
{
    for (int i = 0; i < 16; ++i)
        EXPECT_NEAR(m.m[i], expected[i], fTolerance) << "element " << i;
}

inline CPolygon MakePolygon(std::initializer_list<CVector> points)
{
    CPolygon polygon;
    for (const CVector& p : points)
        polygon.Add(p);
    return polygon;
}

// The points in use, bit for bit.
inline void ExpectPoints(const CPolygon& polygon, std::initializer_list<CVector> expected)
{
    ASSERT_EQ(polygon.GetCount(), static_cast<int>(expected.size()));
    const CVector* p = polygon.pPoints;
    for (const CVector& e : expected) {
        EXPECT_TRUE(Same(*p, e.x, e.y, e.z))
            << "point " << (p - polygon.pPoints) << ": " << p->x << " " << p->y << " " << p->z;
        ++p;
    }
}
