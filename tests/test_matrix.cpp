// Matrices: the builders against hand-computed rows, the row-vector reading
// of the camera matrices, products, and the column-vector Transform.
#include "geometry/matrix.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace {

// p * M with p the row (x, y, z, 1), as the render device applies a matrix.
CVector RowTimes(const CVector& p, const CMatrix& M)
{
    const double x = p.x, y = p.y, z = p.z;
    const double w = x * M.m[3] + y * M.m[7] + z * M.m[11] + M.m[15];
    return CVector(static_cast<float>((x * M.m[0] + y * M.m[4] + z * M.m[8] + M.m[12]) / w),
                   static_cast<float>((x * M.m[1] + y * M.m[5] + z * M.m[9] + M.m[13]) / w),
                   static_cast<float>((x * M.m[2] + y * M.m[6] + z * M.m[10] + M.m[14]) / w));
}

void ExpectMatrix(const CMatrix& M, const float (&expected)[16], float fTolerance = 0.0f)
{
    for (int i = 0; i < 16; ++i)
        EXPECT_NEAR(M.m[i], expected[i], fTolerance) << "element " << i;
}

void ExpectNear(const CVector& v, float x, float y, float z, float fTolerance = 1e-5f)
{
    EXPECT_NEAR(v.x, x, fTolerance);
    EXPECT_NEAR(v.y, y, fTolerance);
    EXPECT_NEAR(v.z, z, fTolerance);
}

const float IDENTITY[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
const float ANGLE = 0.5f;
const float C = static_cast<float>(std::cos(0.5));
const float S = static_cast<float>(std::sin(0.5));
const float QUARTER = static_cast<float>(std::numbers::pi / 2);
const float HALF = static_cast<float>(std::numbers::pi);

CMatrix Translation(float x, float y, float z)
{
    return CMatrix(CVector(1, 0, 0), CVector(0, 1, 0), CVector(0, 0, 1), CVector(x, y, z));
}

} // namespace

TEST(MatrixBuilders, ConstructionAndAxisRotations)
{
    ExpectMatrix(CMatrix(true), IDENTITY);
    ExpectMatrix(CMatrix(), IDENTITY);
    ExpectMatrix(CMatrix(false), {});
    ExpectMatrix(CMatrix(CVector(1, 2, 3), CVector(4, 5, 6), CVector(7, 8, 9), CVector(10, 11, 12)),
                 {1, 2, 3, 0, 4, 5, 6, 0, 7, 8, 9, 0, 10, 11, 12, 1});

    CMatrix M(true);
    ExpectMatrix(M.RotateX(ANGLE, false), {1, 0, 0, 0, 0, C, S, 0, 0, -S, C, 0, 0, 0, 0, 1});
    ExpectMatrix(M.RotateY(ANGLE, false), {C, 0, -S, 0, 0, 1, 0, 0, S, 0, C, 0, 0, 0, 0, 1});
    ExpectMatrix(M.RotateZ(ANGLE, false), {C, S, 0, 0, -S, C, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1});
    // Left-handed, y up: quarter turns take x to y about z, z to x about y,
    // y to z about x.
    ExpectNear(RowTimes(CVector(1, 0, 0), M.RotateZ(QUARTER, false)), 0, 1, 0);
    ExpectNear(RowTimes(CVector(0, 0, 1), M.RotateY(QUARTER, false)), 1, 0, 0);
    ExpectNear(RowTimes(CVector(0, 1, 0), M.RotateX(QUARTER, false)), 0, 0, 1);
}

TEST(MatrixBuilders, SetFlagReplacesTheWholeMatrix)
{
    CMatrix M = Translation(5, 6, 7);
    M.RotateX(ANGLE, false);
    ExpectMatrix(M, Translation(5, 6, 7).m);
    const CMatrix R = M.RotateX(ANGLE, true);
    M.RotateX(ANGLE, true); // nothing accumulates
    ExpectMatrix(M, {1, 0, 0, 0, 0, C, S, 0, 0, -S, C, 0, 0, 0, 0, 1});
    ExpectMatrix(R, M.m);
}

TEST(MatrixBuilders, RotateAxis)
{
    CMatrix M(true);
    const CMatrix Z = M.RotateZ(ANGLE, false);
    ExpectMatrix(M.RotateAxis(CVector(0, 0, 1), ANGLE, false), Z.m, 1e-6f);
    // Half a turn about (1, 1, 0) / sqrt 2 swaps x and y and turns z round.
    const float h = static_cast<float>(1.0 / std::sqrt(2.0));
    ExpectMatrix(M.RotateAxis(CVector(h, h, 0), HALF, false),
                 {0, 1, 0, 0, 1, 0, 0, 0, 0, 0, -1, 0, 0, 0, 0, 1}, 1e-6f);
    // The axis is used as given: length 2 and half a turn (c = -1, t = 2).
    const CMatrix L = M.RotateAxis(CVector(0, 0, 2), HALF, false);
    EXPECT_EQ(L.m[0], -1.0f);
    EXPECT_EQ(L.m[10], 7.0f);
    EXPECT_EQ(L.m[15], 1.0f);
}

TEST(MatrixBuilders, OrientAndLookAt)
{
    CMatrix M(true);
    // Forward along +x with y up: right is -z in a left-handed frame.
    ExpectMatrix(M.Orient(CVector(2, 0, 0), CVector(0, 3, 0), false),
                 {0, 0, -1, 0, 0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0, 1});
    // An up leaning into the forward direction is straightened.
    ExpectMatrix(M.Orient(CVector(0, 0, 2), CVector(0, 1, 1), false), IDENTITY);
    EXPECT_TRUE(std::isnan(M.Orient(CVector(0, 1, 0), CVector(0, 1, 0), false).m[4]));

    const CMatrix L = M.LookAt(CVector(1, 2, 3), CVector(1, 2, 10), CVector(0, 1, 0), false);
    ExpectMatrix(L, Translation(1, 2, 3).m);
    ExpectMatrix(M, IDENTITY);
}

TEST(MatrixBuilders, ViewLookAtMovesTheEyeToTheOrigin)
{
    const CVector eye(3, 4, -5), target(10, -2, 8), up(0, 1, 0);
    CMatrix M(true);
    const CMatrix V = M.ViewLookAt(eye, target, up, false);
    ExpectMatrix(M, IDENTITY);
    ExpectNear(RowTimes(eye, V), 0, 0, 0);
    // The target lies straight ahead at its distance.
    ExpectNear(RowTimes(target, V), 0, 0, static_cast<float>((target - eye).Length()), 1e-4f);
    M.ViewLookAt(eye, target, up, true);
    ExpectMatrix(M, V.m);
    // View and object matrices undo each other.
    ExpectMatrix(M.LookAt(eye, target, up, false) * V, IDENTITY, 1e-5f);
}

TEST(MatrixFree, RigidInverse)
{
    CMatrix R = CMatrix().RotateY(ANGLE, false);
    R.m[12] = 4;
    R.m[13] = -2;
    R.m[14] = 1;
    R.m[3] = 9; // ignored: the result's fourth column is always affine
    const CMatrix I = RigidInverse(R);
    // Transposed rotation; row 3 is minus the translation in the rotated frame.
    ExpectMatrix(I, {C, 0, S, 0, 0, 1, 0, 0, -S, 0, C, 0,
                     static_cast<float>(-(4.0 * C - 1.0 * S)), 2,
                     static_cast<float>(-(4.0 * S + 1.0 * C)), 1});
    R.m[3] = 0;
    ExpectNear(RowTimes(RowTimes(CVector(1, 2, 3), R), I), 1, 2, 3);
}

TEST(MatrixFree, ProductAndScalars)
{
    const CMatrix T = Translation(1, 2, 3);
    const CMatrix S2(CVector(2, 0, 0), CVector(0, 2, 0), CVector(0, 0, 2), CVector(0, 0, 0));
    // Translate then scale: the translation is scaled too; not the other way.
    ExpectMatrix(T * S2, {2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 2, 4, 6, 1});
    ExpectMatrix(S2 * T, {2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 1, 2, 3, 1});

    CMatrix A(false), B(false);
    for (int i = 0; i < 16; ++i) {
        A.m[i] = static_cast<float>(i + 1);
        B.m[i] = static_cast<float>(16 - i);
    }
    // Row 1 of A (5, 6, 7, 8) with column 2 of B (14, 10, 6, 2).
    EXPECT_EQ((A * B).m[6], 5 * 14 + 6 * 10 + 7 * 6 + 8 * 2);
    CMatrix AB = A;
    AB *= B;
    ExpectMatrix(AB, (A * B).m);

    // 1 + 2^-24 + 2^-24: a float running sum would lose both small terms.
    CMatrix P(false), Q(false);
    P.m[0] = 1.0f;
    P.m[1] = P.m[2] = 0x1p-24f;
    Q.m[0] = Q.m[4] = Q.m[8] = 1.0f;
    EXPECT_EQ((P * Q).m[0], 1.0f + 0x1p-23f);

    ExpectMatrix(2.0f * T, (T * 2.0f).m);
    EXPECT_EQ((T * 2.0f).m[13], 4.0f);
    EXPECT_EQ((T / 3.0f).m[0], 1.0f / 3.0f); // a true division
    EXPECT_TRUE(std::isinf((T / 0.0f).m[0]));
}

TEST(MatrixTransform, ColumnVectorReading)
{
    const CVector same = Transform(CVector(1.5f, -2, 3.25f), CMatrix(true));
    EXPECT_TRUE(same.x == 1.5f && same.y == -2 && same.z == 3.25f);

    // The fourth column translates; a row-3 translation feeds w instead.
    CMatrix M(true);
    M.m[3] = 1;
    M.m[11] = -1;
    const CVector t = Transform(CVector(1.5f, -2, 3.25f), M);
    EXPECT_TRUE(t.x == 2.5f && t.y == -2 && t.z == 2.25f);
    EXPECT_EQ(Transform(CVector(1, 0, 0), Translation(1, 0, 0)).x, 0.5f);

    // A rotation turns the other way from the row-vector reading.
    const CMatrix R = CMatrix().RotateZ(QUARTER, false);
    ExpectNear(Transform(CVector(1, 0, 0), R), 0, -1, 0);

    M = CMatrix(true);
    M.m[15] = 2;
    const CVector h = Transform(CVector(2, 4, 6), M);
    EXPECT_TRUE(h.x == 1 && h.y == 2 && h.z == 3);
    M.m[15] = 0;
    try {
        Transform(CVector(0, 0, 0), M);
        FAIL() << "no throw";
    } catch (int nCode) {
        EXPECT_EQ(nCode, 2048);
    }
    // w from the point itself: x * m[12] + 1.
    CMatrix P(true);
    P.m[12] = -1;
    EXPECT_THROW(Transform(CVector(1, 0, 0), P), int);
    EXPECT_NO_THROW(Transform(CVector(2, 0, 0), P));
}
