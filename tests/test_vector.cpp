// Vectors and vertex records: double-precision evaluation with rounding on
// store, the point tolerance, vertex defaults, colour packing and triangles.
#include "geometry_checks.h"

#include <cmath>

namespace {

// 1 + 2^-12: its square needs more bits than a float holds.
const float ONE_PLUS = 1.0f + 0x1p-12f;

TEST(Vector, ExpressionsRunInDoubleAndRoundOnStore)
{
    // x^2 - 1 = 2^-11 + 2^-24 exactly; a float square loses the 2^-24.
    EXPECT_EQ(Dot(CVector(ONE_PLUS, 1, 0), CVector(ONE_PLUS, -1, 0)), 0x1p-11 + 0x1p-24);
    EXPECT_EQ(Dot(CVector(0, 0, 3), CVector(0, 0, 4)), 12.0);
    EXPECT_EQ(CVector(ONE_PLUS, 0, 0).LengthSquared(), 1.0 + 0x1p-11 + 0x1p-24);
    EXPECT_EQ(Dot(CVector2(ONE_PLUS, 1), CVector2(ONE_PLUS, -1)), 0x1p-11 + 0x1p-24);
    EXPECT_TRUE(Same(Cross(CVector(1, 2, 3), CVector(4, 5, 6)), -3, 6, -3));

    // Normalize divides by the length rounded to float (by the double length
    // x would be 0x1.f0b684p-3), in place, and hands back the new value.
    CVector v(1, 4, 0);
    const CVector copy = v.Normalize();
    EXPECT_TRUE(Same(v, 0x1.f0b686p-3f, 0x1.f0b686p-1f, 0));
    EXPECT_TRUE(Same(copy, v.x, v.y, v.z));
    // Project rounds the dot product (the same vector would give a factor
    // of 1) and the quotient (unrounded, x would be 0x1.2935b2p+0).
    EXPECT_EQ(CVector(ONE_PLUS, 0, 0).Project(CVector(ONE_PLUS, 0, 0)).x, ONE_PLUS - 0x1p-23f);
    EXPECT_EQ(CVector(1, 1, 0).Project(CVector(14, 3, 0)).x, 0x1.2935b4p+0f);
}

TEST(Vector, ArithmeticWorksByComponents)
{
    const CVector a(1, 2, 3), b(0.5f, -1, 4);
    EXPECT_TRUE(Same(a + b, 1.5f, 1, 7));
    EXPECT_TRUE(Same(a - b, 0.5f, 3, -1));
    EXPECT_TRUE(Same(2.0f * a * 0.5f, 1, 2, 3));
    // A true division, not a multiplication by the rounded reciprocal.
    EXPECT_EQ((CVector(10, 0, 0) / 3.0f).x, 10.0f / 3.0f);
    EXPECT_TRUE(Same(Normalized(CVector(3, 0, 4)), 0.6f, 0, 0.8f));
    // The zero vector normalises to NaN, a division by zero to infinity, and
    // negation multiplies by -1, so that +0 turns into -0.
    EXPECT_TRUE(std::isnan(Normalized(CVector(0, 0, 0)).y));
    EXPECT_EQ((CVector(1, 0, 0) / 0.0f).x, INFINITY);
    EXPECT_TRUE(Same(-CVector(0, 1, -2), 0, -1, 2) && std::signbit((-CVector(0, 1, 0)).x));

    const CVector2 r = (CVector2(3, 4) + CVector2(1, -2)) * 2.0f - 0.5f * CVector2(3, 4) / 0.25f;
    EXPECT_TRUE(r.x == 2.0f && r.y == -4.0f);
    EXPECT_EQ(Normalized(CVector2(3, 4)).y, 0.8f);
}

TEST(Vector, EqualityHoldsUpToTheWidenedPointEpsilon)
{
    const float fAbove = std::nextafter(POINT_EPSILON, 1.0f);
    const CVector origin(0, 0, 0);
    for (const CVector& unit : {CVector(1, 0, 0), CVector(0, 1, 0), CVector(0, 0, 1)}) {
        EXPECT_TRUE(origin == unit * POINT_EPSILON && origin == unit * -POINT_EPSILON);
        EXPECT_FALSE(origin != unit * POINT_EPSILON);
        EXPECT_FALSE(origin == unit * fAbove);
        EXPECT_TRUE(unit * -fAbove != origin);
    }
}

TEST(Vertex, ConstructorsFillTheFieldsTheirArgumentsDoNotName)
{
    const CVertex plain, v(CVector(1, 2, 3), 0x80402010u, 0.25f, 0.5f, 0.75f, 1.5f);
    EXPECT_TRUE(plain.Colour == 0xFFFFFFFFu && plain.Specular == 0 && plain.Reserved == 0);
    EXPECT_TRUE(v.Colour == 0x80402010u && v.Specular == 0 && v.Reserved == 0 && v.TexU == 0.25f &&
                v.TexV == 0.5f && v.LightU == 0.75f && v.LightV == 1.5f);
    const CScreenVertex screen, placed(CVector(10, 20, 0.5f), 7u, 1, 2, 3, 4);
    EXPECT_TRUE(screen.Colour == 0 && screen.Rhw == 1.0f && placed.Rhw == 1.0f && placed.Colour == 7u);
}

// Channels are scaled by 255 and truncated, alpha on top, then red, green, blue.
struct CPacking {
    float r, g, b, a;
    uint32_t nPacked;
};
class MakeARGBPacks : public ::testing::TestWithParam<CPacking> {};

TEST_P(MakeARGBPacks, TruncatedChannelsInAlphaRedGreenBlueOrder)
{
    const CPacking& p = GetParam();
    EXPECT_EQ(MakeARGB(p.r, p.g, p.b, p.a), p.nPacked);
}

INSTANTIATE_TEST_SUITE_P(Vertex, MakeARGBPacks,
                         ::testing::Values(CPacking{1, 1, 1, 1, 0xFFFFFFFF},
                                           CPacking{1, 0, 0, 0.5f, 0x7FFF0000},
                                           CPacking{0, 1, 0, 0, 0x0000FF00},
                                           CPacking{0.5f, 0, 0.999f, 0, 0x007F00FE}));

TEST(Triangle, IndexFlipAndArithmeticOnPositions)
{
    CTriangle t(CNormalVertex(CVector(0, 0, 0), CVector(0, 0, 1), 1, 2, 3, 4),
                CNormalVertex(CVector(2, 0, 0), CVector(0, 1, 0), 5, 6, 7, 8),
                CNormalVertex(CVector(0, 4, 0), CVector(1, 0, 0), 9, 10, 11, 12));
    const CTriangle& view = t;
    CIndexTriangle indices(3, 7, 9);
    EXPECT_EQ(view[2].TexU, 9.0f);
    EXPECT_TRUE(Thrown([&] { t[3]; }) == 1024 && Thrown([&] { view[3]; }) == 1024);
    EXPECT_TRUE(Thrown([&] { indices[3]; }) == 1024 && Thrown([&] { view[2]; }) == 0);

    const CVector one(1, 1, 1);
    for (const CTriangle& r : {t + one, one + t, (t * 2.0f + one * 2.0f) / 2.0f, 2.0f * t / 2.0f + one}) {
        // Positions move or scale; normals and texture coordinates do not.
        EXPECT_TRUE(Same(r[1].Position, 3, 1, 1) && Same(r[1].Normal, 0, 1, 0));
        EXPECT_EQ(r[2].TexU, 9.0f);
    }
    const CTriangle flipped = t.Flip();
    EXPECT_TRUE(t[0].TexU == 5.0f && t[1].TexU == 1.0f && flipped[0].TexU == 5.0f);
    const CIndexTriangle turned = indices.Flip();
    EXPECT_TRUE(indices[0] == 7 && indices[1] == 3 && indices[2] == 9 && turned[0] == 7);
}

} // namespace
