#include "geometry/matrix.h"

#include <bit>
#include <cmath>
#include <cstdint>

namespace {

// Cosine and sine of the angle, each rounded to float as the builders use them.
struct CSinCos {
    float c;
    float s;
};

CSinCos SinCos(float fAngle)
{
    return {static_cast<float>(std::cos(static_cast<double>(fAngle))),
            static_cast<float>(std::sin(static_cast<double>(fAngle)))};
}

// Stores result into target when asked, and hands it back.
CMatrix Apply(CMatrix& target, const CMatrix& result, bool bSet)
{
    if (bSet)
        target = result;
    return result;
}

// Right and up vectors for a normalised forward direction F: U is up with its
// part along F removed, R = U x F.
void OrthonormalBasis(const CVector& F, const CVector& up, CVector& R, CVector& U)
{
    const float fAlong = static_cast<float>(Dot(F, up));
    U = Normalized(up - F * fAlong);
    R = Cross(U, F);
}

} // namespace

CMatrix::CMatrix(bool bIdentity)
{
    for (int i = 0; i < 16; ++i)
        m[i] = 0.0f;
    if (bIdentity)
        m[0] = m[5] = m[10] = m[15] = 1.0f;
}

CMatrix::CMatrix(CVector row0, CVector row1, CVector row2, CVector row3)
    : m{row0.x, row0.y, row0.z, 0.0f,
        row1.x, row1.y, row1.z, 0.0f,
        row2.x, row2.y, row2.z, 0.0f,
        row3.x, row3.y, row3.z, 1.0f}
{
}

CMatrix CMatrix::RotateX(float fAngle, bool bSet)
{
    const CSinCos a = SinCos(fAngle);
    CMatrix r(true);
    r.m[5] = a.c;
    r.m[6] = a.s;
    r.m[9] = -a.s;
    r.m[10] = a.c;
    return Apply(*this, r, bSet);
}

CMatrix CMatrix::RotateY(float fAngle, bool bSet)
{
    const CSinCos a = SinCos(fAngle);
    CMatrix r(true);
    r.m[0] = a.c;
    r.m[2] = -a.s;
    r.m[8] = a.s;
    r.m[10] = a.c;
    return Apply(*this, r, bSet);
}

CMatrix CMatrix::RotateZ(float fAngle, bool bSet)
{
    const CSinCos a = SinCos(fAngle);
    CMatrix r(true);
    r.m[0] = a.c;
    r.m[1] = a.s;
    r.m[4] = -a.s;
    r.m[5] = a.c;
    return Apply(*this, r, bSet);
}

CMatrix CMatrix::RotateAxis(const CVector& axis, float fAngle, bool bSet)
{
    const CSinCos a = SinCos(fAngle);
    const double c = a.c;
    const double s = a.s;
    const double t = static_cast<float>(1.0 - c);
    const double x = axis.x, y = axis.y, z = axis.z;

    CMatrix r(true);
    r.m[0] = static_cast<float>(x * x * t + c);
    r.m[1] = static_cast<float>(x * y * t + z * s);
    r.m[2] = static_cast<float>(x * z * t - y * s);
    r.m[4] = static_cast<float>(x * y * t - z * s);
    r.m[5] = static_cast<float>(y * y * t + c);
    r.m[6] = static_cast<float>(y * z * t + x * s);
    r.m[8] = static_cast<float>(x * z * t + y * s);
    r.m[9] = static_cast<float>(y * z * t - x * s);
    r.m[10] = static_cast<float>(z * z * t + c);
    return Apply(*this, r, bSet);
}

CMatrix CMatrix::Orient(const CVector& forward, const CVector& up, bool bSet)
{
    const CVector F = Normalized(forward);
    CVector R, U;
    OrthonormalBasis(F, up, R, U);
    return Apply(*this, CMatrix(R, U, F, CVector(0.0f, 0.0f, 0.0f)), bSet);
}

CMatrix CMatrix::LookAt(const CVector& position, const CVector& target, const CVector& up,
                        bool bSet)
{
    const CVector F = Normalized(target - position);
    CVector R, U;
    OrthonormalBasis(F, up, R, U);
    return Apply(*this, CMatrix(R, U, F, position), bSet);
}

CMatrix CMatrix::ViewLookAt(const CVector& position, const CVector& target, const CVector& up,
                            bool bSet)
{
    return Apply(*this, RigidInverse(LookAt(position, target, up, false)), bSet);
}

CMatrix& CMatrix::operator*=(const CMatrix& b)
{
    *this = *this * b;
    return *this;
}

CMatrix RigidInverse(const CMatrix& m)
{
    const CVector r0(m.m[0], m.m[1], m.m[2]);
    const CVector r1(m.m[4], m.m[5], m.m[6]);
    const CVector r2(m.m[8], m.m[9], m.m[10]);
    const CVector t(m.m[12], m.m[13], m.m[14]);

    CMatrix r(true);
    for (int row = 0; row < 3; ++row)
        for (int col = 0; col < 3; ++col)
            r.m[4 * row + col] = m.m[4 * col + row];
    r.m[12] = static_cast<float>(-Dot(r0, t));
    r.m[13] = static_cast<float>(-Dot(r1, t));
    r.m[14] = static_cast<float>(-Dot(r2, t));
    return r;
}

CMatrix operator*(const CMatrix& a, const CMatrix& b)
{
    CMatrix r(false);
    for (int row = 0; row < 4; ++row) {
        for (int col = 0; col < 4; ++col) {
            double dSum = static_cast<double>(a.m[4 * row]) * b.m[col];
            for (int k = 1; k < 4; ++k)
                dSum += static_cast<double>(a.m[4 * row + k]) * b.m[4 * k + col];
            r.m[4 * row + col] = static_cast<float>(dSum);
        }
    }
    return r;
}

CMatrix operator*(const CMatrix& a, float s)
{
    CMatrix r(false);
    for (int i = 0; i < 16; ++i)
        r.m[i] = static_cast<float>(static_cast<double>(a.m[i]) * s);
    return r;
}

CMatrix operator*(float s, const CMatrix& a)
{
    return a * s;
}

CMatrix operator/(const CMatrix& a, float s)
{
    CMatrix r(false);
    for (int i = 0; i < 16; ++i)
        r.m[i] = static_cast<float>(static_cast<double>(a.m[i]) / s);
    return r;
}

CVector Transform(const CVector& v, const CMatrix& m)
{
    const double x = v.x, y = v.y, z = v.z;
    const float fX = static_cast<float>(x * m.m[0] + y * m.m[1] + z * m.m[2] + m.m[3]);
    const float fY = static_cast<float>(x * m.m[4] + y * m.m[5] + z * m.m[6] + m.m[7]);
    const float fZ = static_cast<float>(x * m.m[8] + y * m.m[9] + z * m.m[10] + m.m[11]);
    const float fW = static_cast<float>(x * m.m[12] + y * m.m[13] + z * m.m[14] + m.m[15]);

    // Only the exact bits of 1.0 skip the division.
    if (std::bit_cast<uint32_t>(fW) == std::bit_cast<uint32_t>(1.0f))
        return CVector(fX, fY, fZ);
    if (fW == 0.0f)
        throw GEOMETRY_ZERO_W;
    const double dW = fW;
    return CVector(static_cast<float>(fX / dW), static_cast<float>(fY / dW),
                   static_cast<float>(fZ / dW));
}
