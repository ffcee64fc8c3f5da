#include "geometry/vertex.h"

#include <utility>

namespace {

// Scales a channel to 0..255 and truncates it toward zero. The 64-bit step
// keeps out-of-range channels defined; the low 32 bits are what gets packed.
uint32_t ScaleChannel(float fChannel)
{
    return static_cast<uint32_t>(static_cast<int64_t>(static_cast<double>(fChannel) * 255.0));
}

} // namespace

uint32_t MakeARGB(float r, float g, float b, float a)
{
    // Unsigned shifts: an alpha of 255 moved into the top byte must not
    // overflow a signed int.
    return (ScaleChannel(a) << 24) | (ScaleChannel(r) << 16) | (ScaleChannel(g) << 8) |
           ScaleChannel(b);
}

CNormalVertex& CTriangle::operator[](uint16_t i)
{
    if (i > 2)
        throw GEOMETRY_BAD_TRIANGLE_INDEX;
    return Vertices[i];
}

const CNormalVertex& CTriangle::operator[](uint16_t i) const
{
    if (i > 2)
        throw GEOMETRY_BAD_TRIANGLE_INDEX;
    return Vertices[i];
}

CTriangle CTriangle::Flip()
{
    std::swap(Vertices[0], Vertices[1]);
    return *this;
}

CTriangle operator+(const CTriangle& t, const CVector& v)
{
    CTriangle r = t;
    for (CNormalVertex& vertex : r.Vertices)
        vertex.Position += v;
    return r;
}

CTriangle operator+(const CVector& v, const CTriangle& t)
{
    CTriangle r = t;
    for (CNormalVertex& vertex : r.Vertices)
        vertex.Position = v + vertex.Position;
    return r;
}

CTriangle operator*(const CTriangle& t, float s)
{
    CTriangle r = t;
    for (CNormalVertex& vertex : r.Vertices)
        vertex.Position *= s;
    return r;
}

CTriangle operator*(float s, const CTriangle& t)
{
    return t * s;
}

CTriangle operator/(const CTriangle& t, float s)
{
    CTriangle r = t;
    for (CNormalVertex& vertex : r.Vertices)
        vertex.Position /= s;
    return r;
}

uint16_t& CIndexTriangle::operator[](uint16_t i)
{
    if (i > 2)
        throw GEOMETRY_BAD_TRIANGLE_INDEX;
    return Indices[i];
}

const uint16_t& CIndexTriangle::operator[](uint16_t i) const
{
    if (i > 2)
        throw GEOMETRY_BAD_TRIANGLE_INDEX;
    return Indices[i];
}

CIndexTriangle CIndexTriangle::Flip()
{
    std::swap(Indices[0], Indices[1]);
    return *this;
}
