#pragma once
// The vertex records handed to the render device, one per vertex format, and
// the triangle types built from them. The field order of each record is the
// order the device reads, so the records are plain data with fixed sizes.
#include "geometry/vector.h"

#include <cstdint>

// Vertex formats of the three records.
constexpr uint32_t FVF_NORMAL_VERTEX = 0x212; // position, normal, two texture pairs
constexpr uint32_t FVF_SCREEN_VERTEX = 0x244; // screen position and rhw, diffuse, two pairs
constexpr uint32_t FVF_WORLD_VERTEX = 0x2E2;  // position, reserved, diffuse, specular, two pairs

// Thrown as a plain int by the triangle index operators: a programming fault,
// not a failure the application reports.
constexpr int GEOMETRY_BAD_TRIANGLE_INDEX = 1024;

// The vertex of every face: compiler faces, compiled map faces, world drawing.
class CVertex {
public:
    CVector Position;
    uint32_t Reserved;
    uint32_t Colour;   // packed ARGB diffuse
    uint32_t Specular; // packed ARGB
    float TexU, TexV;     // surface texture
    float LightU, LightV; // lightmap on faces

    // At the origin, opaque white, everything else zero.
    constexpr CVertex()
        : Position(), Reserved(0), Colour(0xFFFFFFFFu), Specular(0), TexU(0.0f), TexV(0.0f),
          LightU(0.0f), LightV(0.0f)
    {
    }
    constexpr CVertex(const CVector& position, uint32_t colour, float texU, float texV,
                      float lightU, float lightV)
        : Position(position), Reserved(0), Colour(colour), Specular(0), TexU(texU), TexV(texV),
          LightU(lightU), LightV(lightV)
    {
    }
};

class CNormalVertex {
public:
    CVector Position;
    CVector Normal;
    float TexU, TexV;
    float LightU, LightV;

    constexpr CNormalVertex()
        : Position(), Normal(), TexU(0.0f), TexV(0.0f), LightU(0.0f), LightV(0.0f)
    {
    }
    constexpr CNormalVertex(const CVector& position, const CVector& normal, float texU,
                            float texV, float lightU, float lightV)
        : Position(position), Normal(normal), TexU(texU), TexV(texV), LightU(lightU),
          LightV(lightV)
    {
    }
};

// A transformed vertex: x and y in pixels. Screen quads are arrays of four.
class CScreenVertex {
public:
    CVector Position;
    float Rhw;
    uint32_t Colour; // packed ARGB diffuse
    float TexU, TexV;
    float LightU, LightV;

    // At the origin, transparent black, Rhw 1.
    constexpr CScreenVertex()
        : Position(), Rhw(1.0f), Colour(0), TexU(0.0f), TexV(0.0f), LightU(0.0f), LightV(0.0f)
    {
    }
    constexpr CScreenVertex(const CVector& position, uint32_t colour, float texU, float texV,
                            float lightU, float lightV)
        : Position(position), Rhw(1.0f), Colour(colour), TexU(texU), TexV(texV),
          LightU(lightU), LightV(lightV)
    {
    }
};

static_assert(sizeof(CVertex) == 10 * 4, "CVertex is ten 32-bit words");
static_assert(sizeof(CNormalVertex) == 10 * 4, "CNormalVertex is ten 32-bit words");
static_assert(sizeof(CScreenVertex) == 9 * 4, "CScreenVertex is nine 32-bit words");

// Packs four channels, each expected in 0..1, into an ARGB word. Each channel
// is scaled by 255 and truncated toward zero; nothing is clamped.
uint32_t MakeARGB(float r, float g, float b, float a);

class CTriangle {
public:
    CNormalVertex Vertices[3];

    constexpr CTriangle() = default;
    constexpr CTriangle(const CNormalVertex& a, const CNormalVertex& b, const CNormalVertex& c)
        : Vertices{a, b, c}
    {
    }

    // Throws GEOMETRY_BAD_TRIANGLE_INDEX for i above 2.
    CNormalVertex& operator[](uint16_t i);
    const CNormalVertex& operator[](uint16_t i) const;

    // Swaps vertices 0 and 1, turning the winding round; returns the result.
    CTriangle Flip();
};

// These move or scale the three positions; normals and texture coordinates
// pass through unchanged.
CTriangle operator+(const CTriangle& t, const CVector& v);
CTriangle operator+(const CVector& v, const CTriangle& t);
CTriangle operator*(const CTriangle& t, float s);
CTriangle operator*(float s, const CTriangle& t);
CTriangle operator/(const CTriangle& t, float s);

class CIndexTriangle {
public:
    uint16_t Indices[3];

    constexpr CIndexTriangle() : Indices{0, 0, 0} {}
    constexpr CIndexTriangle(uint16_t a, uint16_t b, uint16_t c) : Indices{a, b, c} {}

    // Throws GEOMETRY_BAD_TRIANGLE_INDEX for i above 2.
    uint16_t& operator[](uint16_t i);
    const uint16_t& operator[](uint16_t i) const;

    // Swaps indices 0 and 1; returns the result.
    CIndexTriangle Flip();
};
