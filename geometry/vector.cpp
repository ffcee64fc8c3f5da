#include "geometry/vector.h"

#include <cmath>

double CVector::LengthSquared() const
{
    return Dot(*this, *this);
}

double CVector::Length() const
{
    return std::sqrt(LengthSquared());
}

CVector CVector::Normalize()
{
    // The length is rounded to float before dividing; no guard against zero.
    const double dLength = static_cast<float>(Length());
    x = static_cast<float>(x / dLength);
    y = static_cast<float>(y / dLength);
    z = static_cast<float>(z / dLength);
    return *this;
}

CVector CVector::Project(const CVector& b) const
{
    const float fDot = static_cast<float>(Dot(*this, b));
    const float fScale = static_cast<float>(fDot / b.LengthSquared());
    return b * fScale;
}

CVector Cross(const CVector& a, const CVector& b)
{
    const double ax = a.x, ay = a.y, az = a.z;
    const double bx = b.x, by = b.y, bz = b.z;
    return CVector(static_cast<float>(ay * bz - az * by),
                   static_cast<float>(az * bx - ax * bz),
                   static_cast<float>(ax * by - ay * bx));
}

CVector Normalized(const CVector& a)
{
    CVector r = a;
    return r.Normalize();
}

bool operator==(const CVector& a, const CVector& b)
{
    const double dBound = POINT_EPSILON;
    return std::fabs(static_cast<double>(a.x) - b.x) <= dBound &&
           std::fabs(static_cast<double>(a.y) - b.y) <= dBound &&
           std::fabs(static_cast<double>(a.z) - b.z) <= dBound;
}

double CVector2::LengthSquared() const
{
    return Dot(*this, *this);
}

double CVector2::Length() const
{
    return std::sqrt(LengthSquared());
}

CVector2 Normalized(const CVector2& a)
{
    const double dLength = static_cast<float>(a.Length());
    return CVector2(static_cast<float>(a.x / dLength), static_cast<float>(a.y / dLength));
}
