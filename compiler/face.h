#pragma once
// The face record shared by the compiler and the viewer: a convex polygon of
// vertices with its texture mapping, plus the routines that make the square a
// brush side starts from and that compute texture coordinates.
#include "geometry/plane.h"
#include "geometry/vertex.h"

#include <cstdint>

struct CTexSizeNode;

constexpr float BASE_FACE_SIZE = 5800.0f;
// The size the parser and the portal stage give their squares: BASE_FACE_SIZE
// unless a compile raises it for a map that reaches further.
extern float g_fBaseFaceSize;
constexpr float DEFAULT_TEXTURE_SIZE = 256.0f;

// A face's texture parameters; the compiled map stores the same eleven words.
struct CTexMapping {
    CVector UAxis;   // direction of the texture's U axis in world space
    CVector VAxis;   // direction of the V axis
    int32_t UOffset; // shift along U, in texels
    int32_t VOffset; // shift along V, in texels
    float UScale;    // world units per texel along U
    float VScale;    // world units per texel along V
    float Rotation;  // degrees, as read; already applied to the axes
};
static_assert(sizeof(CTexMapping) == 11 * 4);

struct CLeafFace {
    int32_t VertexCount = 0;
    CVertex* pVertices = nullptr; // owned
    CPlane* pPlane = nullptr;     // owned, or null
    CTexMapping Mapping;          // unset until a mapping is given
    int32_t TextureIndex = 0;     // row in the texture name table
    int32_t MappingIndex = 0;     // row in the mapping table
};

// True when |a - b| < tolerance, strictly.
inline bool FloatNear(double a, double b, double tolerance)
{
    double d = a - b;
    return (d < 0 ? -d : d) < tolerance;
}

// Deep copy of pFrom into pTo. False when an allocation failed.
bool CopyFace(CLeafFace* pTo, const CLeafFace* pFrom);

// Frees the vertices and the plane; the mapping and indices stay.
void FreeFace(CLeafFace* pFace);

// Replaces the face's vertices by a square of half-side up to size centred on
// the plane. May normalise plane.Normal. False when memory fails.
bool MakeBaseFace(float size, CPlane& plane, CLeafFace* pFace);

// Writes TexU/TexV of every vertex from the mapping, divided by the texture's
// size (or DEFAULT_TEXTURE_SIZE when pSize is null or has a zero side), then
// copies the mapping into the face. False, changing nothing, for a face of
// fewer than three vertices. mapping may be the face's own Mapping.
bool SetTexCoords(CLeafFace* pFace, const CTexMapping& mapping, const CTexSizeNode* pSize);
