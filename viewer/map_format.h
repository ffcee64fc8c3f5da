#pragma once
// The compiled map file (".vmz"): a 68-byte header with the magic "VMZF" and
// a directory of eight lumps (offset and size each, little-endian), then the
// lumps in any order. The records below are the file's records byte for
// byte, so that a lump is read straight into an array of them.
#include "compiler/face.h"
#include "geometry/vector.h"

#include <cstdint>

constexpr char MAP_MAGIC[4] = {'V', 'M', 'Z', 'F'};

enum EMapLump : int {
    LUMP_VERTICES = 0, // CVector, 12 bytes
    LUMP_MAPPINGS,     // CTexMapping, 44 bytes
    LUMP_NAMES,        // 32-byte zero-terminated names; a row's place is its texture index
    LUMP_FACES,        // 32-bit words: n, mapping, texture, n vertex indices; walked, not indexed
    LUMP_LEAVES,       // CMapLeaf, 28 bytes
    LUMP_NODES,        // CMapNode, 28 bytes; node 0 is the root
    LUMP_VISIBILITY,   // one row of (leaves + 7) >> 3 bytes per leaf, bit j: leaf j visible
    LUMP_LIGHTMAPS,    // 768 bytes per face: 16 x 16 texels of red, green, blue
    MAP_LUMP_COUNT
};

struct CMapLump {
    uint32_t Offset; // from the start of the file
    uint32_t Size;   // in bytes; 0 means the lump is absent
};

struct CMapFileHeader {
    char Magic[4];
    CMapLump Lumps[MAP_LUMP_COUNT];
};

struct CMapLeaf {
    int32_t FirstFace; // face number of the leaf's first face
    int32_t FaceCount;
    int32_t Reserved;  // written 0, not read
    float Plane[4];    // written 0, not read
};

struct CMapNode {
    float Distance;    // the plane's d, ahead of its normal
    CVector Normal;
    int32_t Front;     // child encoding: > 0 node value - 1, 0 solid, < 0 leaf -(value + 1)
    int32_t Back;
    int32_t Reserved;  // written 0, not read
};

constexpr int MAP_HEADER_SIZE = 68;
constexpr int MAP_NAME_SIZE = 32;
constexpr int MAP_FACE_HEADER_WORDS = 3; // n, mapping index, texture index
constexpr int LIGHTMAP_SIZE = 16;        // texels per side of a face's lightmap
constexpr int LIGHTMAP_BLOCK_SIZE = LIGHTMAP_SIZE * LIGHTMAP_SIZE * 3; // 768 bytes

static_assert(sizeof(CMapFileHeader) == MAP_HEADER_SIZE);
static_assert(sizeof(CVector) == 12);
static_assert(sizeof(CTexMapping) == 44);
static_assert(sizeof(CMapLeaf) == 28);
static_assert(sizeof(CMapNode) == 28);

// The child encoding of the nodes lump.
constexpr int32_t EncodeNodeChild(int32_t node) { return node + 1; }
constexpr int32_t EncodeLeafChild(int32_t leaf) { return -(leaf + 1); }
constexpr int32_t MAP_SOLID_CHILD = 0;

// Bytes of one visibility row for a map of nLeaves leaves.
constexpr int32_t VisibilityRowBytes(int32_t nLeaves) { return (nLeaves + 7) >> 3; }
