// Vectors and vertex records: the double-precision arithmetic, the point
// tolerance, the vertex defaults and packing, and the triangle types.
#include "geometry/vector.h"
#include "geometry/vertex.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

// 1 + 2^-12: its square needs more bits than a float holds, so float and
// double evaluation of products of it differ.
const float ONE_PLUS = 1.0f + 0x1p-12f;
const float INF = std::numeric_limits<float>::infinity();

void ExpectVec(const CVector& v, float x, float y, float z)
{
    EXPECT_EQ(v.x, x);
    EXPECT_EQ(v.y, y);
    EXPECT_EQ(v.z, z);
}

CVector OnAxis(int axis, float f)
{
    return CVector(axis == 0 ? f : 0.0f, axis == 1 ? f : 0.0f, axis == 2 ? f : 0.0f);
}

} // namespace

TEST(VectorPrecision, ExpressionsRunInDoubleAndRoundOnStore)
{
    // x^2 - 1 = 2^-11 + 2^-24 exactly; in float the square loses 2^-24.
    EXPECT_EQ(Dot(CVector(ONE_PLUS, 1, 0), CVector(ONE_PLUS, -1, 0)), 0x1p-11 + 0x1p-24);
    EXPECT_EQ(CVector(ONE_PLUS, 0, 0).LengthSquared(), 1.0 + 0x1p-11 + 0x1p-24);
    EXPECT_EQ(Dot(CVector2(ONE_PLUS, 1), CVector2(ONE_PLUS, -1)), 0x1p-11 + 0x1p-24);
    ExpectVec(Cross(CVector(ONE_PLUS, 1, 0), CVector(1, ONE_PLUS, 0)), 0, 0, 0x1p-11f + 0x1p-24f);

    // Normalize divides by the length rounded to float; by the double length
    // x would be 0x1.f0b684p-3.
    CVector v(1, 4, 0);
    const CVector copy = v.Normalize();
    EXPECT_EQ(v.x, 0x1.f0b686p-3f);
    EXPECT_EQ(copy.y, v.y);

    // Project rounds the dot and the quotient; unrounded x is 0x1.2935b2p+0.
    EXPECT_EQ(CVector(1, 1, 0).Project(CVector(14, 3, 0)).x, 0x1.2935b4p+0f);
    EXPECT_EQ(CVector(1, 2, 3).Project(CVector(0, 0, 2)).z, 3.0f);
}

TEST(Vector, ArithmeticAndLength)
{
    const CVector a(1, 2, 3), b(0.5f, -1, 4);
    ExpectVec(a + b, 1.5f, 1, 7);
    ExpectVec(a - b, 0.5f, 3, -1);
    ExpectVec(2.0f * a * 0.5f, 1, 2, 3);
    // A true division, not a multiplication by the rounded reciprocal.
    EXPECT_EQ((CVector(10, 0, 0) / 3.0f).x, 10.0f / 3.0f);

    CVector c = a;
    EXPECT_EQ(&(c += b), &c);
    c -= b;
    c *= -2.0f;
    c /= 4.0f;
    ExpectVec(c, -0.5f, -1, -1.5f);

    const CVector d(3, 0, 4);
    EXPECT_EQ(d.Length(), 5.0);
    ExpectVec(Normalized(d), 0.6f, 0, 0.8f);
    ExpectVec(d, 3, 0, 4); // Normalized leaves its argument alone
}

TEST(Vector, SpecialValues)
{
    CVector zero(0, 0, 0);
    zero.Normalize();
    EXPECT_TRUE(std::isnan(zero.x) && std::isnan(zero.y) && std::isnan(zero.z));
    EXPECT_TRUE(std::isnan(Normalized(CVector(0, 0, 0)).z));

    const CVector q = CVector(1, -1, 0) / 0.0f;
    EXPECT_EQ(q.x, INF);
    EXPECT_EQ(q.y, -INF);
    EXPECT_TRUE(std::isnan(q.z));

    const CVector n = -CVector(0, 1, -2);
    ExpectVec(n, 0, -1, 2);
    EXPECT_TRUE(std::signbit(n.x));
}

TEST(Vector, EqualityBoundIsTheWidenedPointEpsilon)
{
    const CVector origin(0, 0, 0);
    const float fAbove = std::nextafter(POINT_EPSILON, 1.0f);
    for (int axis = 0; axis < 3; ++axis) {
        EXPECT_TRUE(origin == OnAxis(axis, POINT_EPSILON)) << axis;
        EXPECT_TRUE(origin == OnAxis(axis, -POINT_EPSILON)) << axis;
        EXPECT_FALSE(origin != OnAxis(axis, POINT_EPSILON)) << axis;
        EXPECT_FALSE(origin == OnAxis(axis, fAbove)) << axis;
        EXPECT_TRUE(OnAxis(axis, -fAbove) != origin) << axis;
    }
    // The difference is taken in double: 1.001f - 1.0f is just above.
    EXPECT_FALSE(CVector(1.001f, 0, 0) == CVector(1, 0, 0));
}

TEST(Vector2, Operations)
{
    const CVector2 a(3, 4), b(1, -2);
    EXPECT_EQ(Dot(a, b), -5.0);
    EXPECT_EQ(a.Length(), 5.0);
    const CVector2 n = Normalized(a);
    EXPECT_EQ(n.x, 0.6f);
    EXPECT_EQ(n.y, 0.8f);
    EXPECT_TRUE(std::isnan(Normalized(CVector2(0, 0)).x));

    const CVector2 r = (a + b) * 2.0f - 0.5f * a / 0.25f; // (8, 4) - (6, 8)
    EXPECT_EQ(r.x, 2.0f);
    EXPECT_EQ(r.y, -4.0f);
    CVector2 c = a;
    c += b;
    c -= CVector2(4, 2);
    EXPECT_TRUE(std::signbit((-c).x)); // plain negation of +0
}

TEST(Vertex, DefaultsConstructorsAndPacking)
{
    const CVertex v;
    EXPECT_EQ(v.Colour, 0xFFFFFFFFu);
    EXPECT_EQ(v.Reserved + v.Specular, 0u);
    EXPECT_EQ(v.Position.x + v.TexU + v.TexV + v.LightU + v.LightV, 0.0f);
    const CVertex w(CVector(1, 2, 3), 0x80402010u, 0.25f, 0.5f, 0.75f, 1.0f);
    EXPECT_EQ(w.Colour, 0x80402010u);
    EXPECT_EQ(w.Reserved + w.Specular, 0u);
    EXPECT_EQ(w.TexU * 8 + w.TexV * 4 + w.LightU * 2 + w.LightV, 2 + 2 + 1.5f + 1);

    const CScreenVertex s;
    EXPECT_EQ(s.Colour, 0u);
    EXPECT_EQ(s.Rhw, 1.0f);
    EXPECT_EQ(CScreenVertex(CVector(10, 20, 0.5f), 7u, 1, 2, 3, 4).Rhw, 1.0f);

    const CNormalVertex nv(CVector(1, 2, 3), CVector(0, 1, 0), 5, 6, 7, 8);
    ExpectVec(nv.Normal, 0, 1, 0);
    EXPECT_EQ(nv.LightV, 8.0f);

    EXPECT_EQ(MakeARGB(1, 1, 1, 1), 0xFFFFFFFFu);
    EXPECT_EQ(MakeARGB(1, 0, 0, 1), 0xFFFF0000u);
    EXPECT_EQ(MakeARGB(0, 1, 0, 0), 0x0000FF00u);
    EXPECT_EQ(MakeARGB(0.5f, 0.5f, 0.999f, 0.5f), 0x7F7F7FFEu); // truncated, not rounded
}

TEST(Triangle, IndexFlipAndArithmetic)
{
    CTriangle t(CNormalVertex(CVector(0, 0, 0), CVector(0, 0, 1), 1, 2, 3, 4),
                CNormalVertex(CVector(2, 0, 0), CVector(0, 1, 0), 5, 6, 7, 8),
                CNormalVertex(CVector(0, 4, 0), CVector(1, 0, 0), 9, 10, 11, 12));
    EXPECT_EQ(t[1].Position.x, 2.0f);
    try {
        const CTriangle& view = t;
        (void)view[3];
        FAIL() << "no throw";
    } catch (int nCode) {
        EXPECT_EQ(nCode, 1024);
    }

    const CVector v(1, 1, 1);
    const CVector two(2, 2, 2);
    for (const CTriangle& r : {t + v, v + t, (t * 2.0f + two) / 2.0f, 2.0f * t / 2.0f + v}) {
        // Positions move or scale; normals and texture coordinates do not.
        ExpectVec(r[1].Position, 3, 1, 1);
        ExpectVec(r[1].Normal, 0, 1, 0);
        EXPECT_EQ(r[2].TexU, 9.0f);
    }

    const CTriangle flipped = t.Flip();
    EXPECT_EQ(t[0].TexU, 5.0f);
    EXPECT_EQ(t[1].TexU, 1.0f);
    EXPECT_EQ(flipped[0].TexU, 5.0f);
    EXPECT_EQ(CTriangle()[2].Position.z, 0.0f);
}

TEST(IndexTriangle, IndexAndFlip)
{
    EXPECT_EQ(CIndexTriangle()[2], 0);
    CIndexTriangle t(3, 7, 9);
    t[2] = 11;
    const CIndexTriangle f = t.Flip();
    EXPECT_EQ(t[0] * 10000 + t[1] * 100 + t[2], 70311);
    EXPECT_EQ(f[0], 7);
    try {
        t[3];
        FAIL() << "no throw";
    } catch (int nCode) {
        EXPECT_EQ(nCode, 1024);
    }
}
