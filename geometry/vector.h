#pragma once
// CVector and CVector2: the float vectors under all geometry of the viewer and
// the compiler.
//
// Arithmetic rule of the whole geometry kernel: components are stored as
// 32-bit floats, every expression is evaluated in double precision, and a
// result is rounded to float only where it lands in a component. Scalar
// results (Dot, Length, LengthSquared) stay double. Saved maps and compiled
// trees depend on these results bit for bit, so every operand below is widened
// to double before it takes part in any arithmetic.

// Tolerance for comparing points and the side of a point to a plane.
constexpr float POINT_EPSILON = 0.001f;
// Tolerance for comparing normals.
constexpr float NORMAL_EPSILON = 0.001f;
// Band round a plane used by the compiler's face splitting and by collision.
constexpr float PLANE_EPSILON = 0.2f;

class CVector {
public:
    float x, y, z;

    // Starts at the origin; callers treat the value as unset and assign first.
    constexpr CVector() : x(0.0f), y(0.0f), z(0.0f) {}
    constexpr CVector(float fX, float fY, float fZ) : x(fX), y(fY), z(fZ) {}

    double LengthSquared() const;
    double Length() const;

    // Divides each component by the length rounded to float, in place, and
    // returns the new value. The zero vector becomes three NaNs.
    CVector Normalize();

    // The projection of this vector on b.
    CVector Project(const CVector& b) const;

    CVector& operator*=(float s)
    {
        x = static_cast<float>(static_cast<double>(x) * s);
        y = static_cast<float>(static_cast<double>(y) * s);
        z = static_cast<float>(static_cast<double>(z) * s);
        return *this;
    }
    CVector& operator/=(float s)
    {
        x = static_cast<float>(static_cast<double>(x) / s);
        y = static_cast<float>(static_cast<double>(y) / s);
        z = static_cast<float>(static_cast<double>(z) / s);
        return *this;
    }
    CVector& operator+=(const CVector& b)
    {
        x = static_cast<float>(static_cast<double>(x) + b.x);
        y = static_cast<float>(static_cast<double>(y) + b.y);
        z = static_cast<float>(static_cast<double>(z) + b.z);
        return *this;
    }
    CVector& operator-=(const CVector& b)
    {
        x = static_cast<float>(static_cast<double>(x) - b.x);
        y = static_cast<float>(static_cast<double>(y) - b.y);
        z = static_cast<float>(static_cast<double>(z) - b.z);
        return *this;
    }
};

inline double Dot(const CVector& a, const CVector& b)
{
    return static_cast<double>(a.x) * b.x + static_cast<double>(a.y) * b.y +
           static_cast<double>(a.z) * b.z;
}

// True when every component of a and b differs by at most NORMAL_EPSILON:
// the compiler's test for two equal normals, and for two equal points where
// a face's plane is made.
inline bool ComponentsNear(const CVector& a, const CVector& b)
{
    const double bound = NORMAL_EPSILON;
    const double dx = static_cast<double>(a.x) - b.x;
    const double dy = static_cast<double>(a.y) - b.y;
    const double dz = static_cast<double>(a.z) - b.z;
    return (dx < 0 ? -dx : dx) <= bound && (dy < 0 ? -dy : dy) <= bound &&
           (dz < 0 ? -dz : dz) <= bound;
}

CVector Cross(const CVector& a, const CVector& b);

// A unit copy of a; a itself is left as it was.
CVector Normalized(const CVector& a);

inline CVector operator*(const CVector& a, float s)
{
    CVector r = a;
    r *= s;
    return r;
}
inline CVector operator*(float s, const CVector& a) { return a * s; }

// Divides by s itself; the divisor is never turned into a reciprocal, which
// would round differently.
inline CVector operator/(const CVector& a, float s)
{
    CVector r = a;
    r /= s;
    return r;
}

inline CVector operator+(const CVector& a, const CVector& b)
{
    CVector r = a;
    r += b;
    return r;
}
inline CVector operator-(const CVector& a, const CVector& b)
{
    CVector r = a;
    r -= b;
    return r;
}

// Multiplies by -1.0, so a zero component turns into negative zero.
inline CVector operator-(const CVector& a)
{
    return CVector(static_cast<float>(static_cast<double>(a.x) * -1.0),
                   static_cast<float>(static_cast<double>(a.y) * -1.0),
                   static_cast<float>(static_cast<double>(a.z) * -1.0));
}

// Points are equal when every component differs by at most POINT_EPSILON,
// taken as the double nearest the float; the bound itself still counts as
// equal.
bool operator==(const CVector& a, const CVector& b);
inline bool operator!=(const CVector& a, const CVector& b) { return !(a == b); }

class CVector2 {
public:
    float x, y;

    constexpr CVector2() : x(0.0f), y(0.0f) {}
    constexpr CVector2(float fX, float fY) : x(fX), y(fY) {}

    double LengthSquared() const;
    double Length() const;

    CVector2& operator+=(const CVector2& b)
    {
        x = static_cast<float>(static_cast<double>(x) + b.x);
        y = static_cast<float>(static_cast<double>(y) + b.y);
        return *this;
    }
    CVector2& operator-=(const CVector2& b)
    {
        x = static_cast<float>(static_cast<double>(x) - b.x);
        y = static_cast<float>(static_cast<double>(y) - b.y);
        return *this;
    }
};

inline double Dot(const CVector2& a, const CVector2& b)
{
    return static_cast<double>(a.x) * b.x + static_cast<double>(a.y) * b.y;
}

// a divided by its length rounded to float.
CVector2 Normalized(const CVector2& a);

inline CVector2 operator+(const CVector2& a, const CVector2& b)
{
    CVector2 r = a;
    r += b;
    return r;
}
inline CVector2 operator-(const CVector2& a, const CVector2& b)
{
    CVector2 r = a;
    r -= b;
    return r;
}
inline CVector2 operator*(const CVector2& a, float s)
{
    return CVector2(static_cast<float>(static_cast<double>(a.x) * s),
                    static_cast<float>(static_cast<double>(a.y) * s));
}
inline CVector2 operator*(float s, const CVector2& a) { return a * s; }
inline CVector2 operator/(const CVector2& a, float s)
{
    return CVector2(static_cast<float>(static_cast<double>(a.x) / s),
                    static_cast<float>(static_cast<double>(a.y) / s));
}
// Plain negation of each component.
inline CVector2 operator-(const CVector2& a) { return CVector2(-a.x, -a.y); }
