// Matrices: the builders against hand-worked rows, the row-vector reading of
// the camera matrices, products, and the column-vector Transform.
#include "geometry_checks.h"

#include <cmath>
#include <numbers>

namespace {

// p * M with p the row (x, y, z, 1), as the render device applies a matrix.
CVector RowTimes(const CVector& p, const CMatrix& M)
{
    const double x = p.x, y = p.y, z = p.z;
    return CVector(static_cast<float>(x * M.m[0] + y * M.m[4] + z * M.m[8] + M.m[12]),
                   static_cast<float>(x * M.m[1] + y * M.m[5] + z * M.m[9] + M.m[13]),
                   static_cast<float>(x * M.m[2] + y * M.m[6] + z * M.m[10] + M.m[14]));
}

const float IDENTITY[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
const float A = 0.5f;
const float C = static_cast<float>(std::cos(0.5)), S = static_cast<float>(std::sin(0.5));
const float HALF_TURN = static_cast<float>(std::numbers::pi);

CMatrix Translation(float x, float y, float z)
{
    return CMatrix(CVector(1, 0, 0), CVector(0, 1, 0), CVector(0, 0, 1), CVector(x, y, z));
}

TEST(Matrix, RotationsHaveTheirRowsAndSetReplacesTheWholeMatrix)
{
    CMatrix M = Translation(5, 6, 7);
    ExpectMatrix(M.RotateX(A, false), {1, 0, 0, 0, 0, C, S, 0, 0, -S, C, 0, 0, 0, 0, 1});
    ExpectMatrix(M.RotateY(A, false), {C, 0, -S, 0, 0, 1, 0, 0, S, 0, C, 0, 0, 0, 0, 1});
    ExpectMatrix(M.RotateZ(A, false), {C, S, 0, 0, -S, C, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1});
    ExpectMatrix(M, Translation(5, 6, 7).m);
    // With bSet the rotation replaces the translation; nothing accumulates.
    M.RotateZ(A, true);
    M.RotateZ(A, true);
    ExpectMatrix(M, {C, S, 0, 0, -S, C, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1});

    // About each unit axis RotateAxis is that axis's rotation.
    CMatrix R(true);
    ExpectMatrix(R.RotateAxis(CVector(1, 0, 0), A, false), R.RotateX(A, false).m, 1e-7f);
    ExpectMatrix(R.RotateAxis(CVector(0, 1, 0), A, false), R.RotateY(A, false).m, 1e-7f);
    ExpectMatrix(R.RotateAxis(CVector(0, 0, 1), A, false), R.RotateZ(A, false).m, 1e-7f);
    // The axis is used as given: length 2 and half a turn (c = -1, t = 2).
    const CMatrix L = R.RotateAxis(CVector(0, 0, 2), HALF_TURN, false);
    EXPECT_TRUE(L.m[0] == -1.0f && L.m[10] == 7.0f && L.m[15] == 1.0f);
}

TEST(Matrix, OrientAndLookAtBuildAnOrthonormalFrame)
{
    CMatrix M(true);
    // Forward along +x with y up: right is -z in a left-handed frame.
    ExpectMatrix(M.Orient(CVector(2, 0, 0), CVector(0, 3, 0), false),
                 {0, 0, -1, 0, 0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0, 1});
    // An up leaning into the forward direction is straightened.
    ExpectMatrix(M.Orient(CVector(0, 0, 2), CVector(0, 1, 1), false), IDENTITY);
    ExpectMatrix(M.LookAt(CVector(1, 2, 3), CVector(1, 2, 10), CVector(0, 1, 0), false),
                 Translation(1, 2, 3).m);
    ExpectMatrix(M, IDENTITY);

    // The view matrix takes the eye to the origin and the target straight
    // ahead at its distance.
    const CVector eye(3, 4, -5), target(10, -2, 8);
    const CMatrix V = M.ViewLookAt(eye, target, CVector(0, 1, 0), true);
    ExpectMatrix(M, V.m);
    const CVector atEye = RowTimes(eye, V), atTarget = RowTimes(target, V);
    EXPECT_NEAR(atEye.Length() + std::hypot(atTarget.x, atTarget.y), 0, 1e-4);
    EXPECT_NEAR(atTarget.z, (target - eye).Length(), 1e-4);
}

TEST(Matrix, RigidInverseTransposesAndTakesTheTranslationBack)
{
    CMatrix R = CMatrix().RotateY(A, false);
    R.m[12] = 4;
    R.m[13] = -2;
    R.m[14] = 1;
    R.m[3] = 9; // ignored: the fourth column of the result is always affine
    ExpectMatrix(RigidInverse(R), {C, 0, S, 0, 0, 1, 0, 0, -S, 0, C, 0,
                                   static_cast<float>(-(4.0 * C - S)), 2,
                                   static_cast<float>(-(4.0 * S + C)), 1});
}

TEST(Matrix, ProductsRunOverRowsTimesColumnsInDouble)
{
    const CMatrix T = Translation(1, 2, 3);
    const CMatrix S2(CVector(2, 0, 0), CVector(0, 2, 0), CVector(0, 0, 2), CVector(0, 0, 0));
    ExpectMatrix(T * S2, {2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 2, 4, 6, 1});
    ExpectMatrix(S2 * T, {2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 1, 2, 3, 1});
    CMatrix P(false), Q(false);
    for (int i = 0; i < 16; ++i) {
        P.m[i] = static_cast<float>(i + 1);
        Q.m[i] = static_cast<float>(16 - i);
    }
    // Row 1 of P (5, 6, 7, 8) with column 2 of Q (14, 10, 6, 2); *= is the same.
    P *= Q;
    EXPECT_EQ(P.m[6], 5 * 14 + 6 * 10 + 7 * 6 + 8 * 2);
    // 1 + 2^-24 + 2^-24: a float running sum would lose both small terms.
    CMatrix F(false), G(false);
    F.m[0] = 1.0f;
    F.m[1] = F.m[2] = 0x1p-24f;
    G.m[0] = G.m[4] = G.m[8] = 1.0f;
    EXPECT_EQ((F * G).m[0], 1.0f + 0x1p-23f);
    EXPECT_EQ((2.0f * T).m[13], 4.0f);
    EXPECT_EQ((T / 3.0f).m[0], 1.0f / 3.0f); // a true division
}

TEST(Matrix, TransformReadsTheMatrixByColumnsAndDividesByW)
{
    EXPECT_TRUE(Same(Transform(CVector(1.5f, -2, 3.25f), CMatrix(true)), 1.5f, -2, 3.25f));
    // The fourth column translates and row 3 feeds w.
    CMatrix M(true);
    M.m[3] = 1;
    M.m[11] = -1;
    EXPECT_TRUE(Same(Transform(CVector(1.5f, -2, 3.25f), M), 2.5f, -2, 2.25f));
    EXPECT_TRUE(Same(Transform(CVector(2, 4, 6), Translation(1, 0, 0)), 2.0f / 3, 4.0f / 3, 2));
    // A rotation turns the other way from the row-vector reading.
    const CVector turned = Transform(CVector(1, 0, 0), CMatrix().RotateZ(HALF_TURN / 2, false));
    EXPECT_NEAR(turned.y, -1.0f, 1e-6);
    M = CMatrix(true);
    M.m[15] = 0;
    EXPECT_EQ(Thrown([&] { Transform(CVector(0, 0, 0), M); }), 2048);
}

} // namespace
