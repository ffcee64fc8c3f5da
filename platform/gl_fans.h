#pragma once
// The vertices of world fans as OpenGL reads them, kept in a vertex and an
// index buffer from one frame to the next. A fan is known by the address of
// its vertices: the core draws each face from the same array every frame, so
// after its first draw a face costs one lookup and one comparison with the
// copy kept of its vertices, and consecutive faces become ranges of one
// index buffer that a single draw call covers. A fan whose vertices, count
// or texture placement changed is stored anew.
#include "platform/gl_state.h"

#include <SDL_opengl.h>

#include <cstdint>
#include <unordered_map>
#include <vector>

// The vertex formats the core draws (laid out in geometry/vertex.h).
constexpr uint32_t GL_SCREEN_FVF = 0x244; // x y z rhw, diffuse, two pairs
constexpr uint32_t GL_WORLD_FVF = 0x2E2;  // x y z, reserved, diffuse, specular, two pairs

// One vertex as OpenGL reads it: the texture pairs already chosen per unit.
struct CGLVertex {
    float x, y, z;
    uint8_t rgba[4];
    float uv[GL_DEVICE_UNITS][2];
};

// Where a unit's coordinates come from: which pair of the vertex record,
// and the atlas cell whose block they address (-1: taken as they are).
struct CGLUnitSource {
    uint32_t nPair = 0;
    int32_t nCell = -1;
    bool operator==(const CGLUnitSource&) const = default;
};
struct CGLVertexSource {
    CGLUnitSource Units[GL_DEVICE_UNITS];
    bool operator==(const CGLVertexSource&) const = default;
};

// Converts nCount vertex records of format nFvf.
void ConvertVertices(const uint8_t* pSource, uint32_t nCount, uint32_t nFvf,
                     const CGLVertexSource& source, CGLVertex* pOut);

// A stored fan: its triangles are nIndices indices from nFirstIndex on.
struct CGLFan {
    const void* pKey = nullptr;
    uint32_t nCount = 0;
    size_t nRaw = 0;            // where the copy of its records starts
    uint8_t nPairsInBlock = 0;  // bit p: pair p lies within 0..1, give or take the atlas margin
    bool bConverted = false;
    CGLVertexSource Source;
    uint32_t nFirstIndex = 0;
    uint32_t nIndices = 0;
    uint64_t nLastScene = 0;
};

// An OpenGL buffer that mirrors a growing array of records.
struct CGLBufferState {
    GLuint nName = 0;
    size_t nCapacity = 0; // records its storage holds
    size_t nUploaded = 0; // records it holds up to date
};

class CGLFanCache {
public:
    CGLFanCache() = default;
    CGLFanCache(const CGLFanCache&) = delete;
    CGLFanCache& operator=(const CGLFanCache&) = delete;
    ~CGLFanCache();

    // The fan of world vertex records at pVertices (nCount of them, at
    // least 3); its copy is taken or renewed when they changed.
    CGLFan& Find(const void* pVertices, uint32_t nCount);
    // Converts the fan's vertices with the source unless they already were.
    void Convert(CGLFan& fan, const CGLVertexSource& source);
    // Binds both buffers, bringing them up to date with what was converted.
    void BindAndUpload();
    // A new scene begins: when most of what is stored went unused lately
    // (another map, other leaves), everything is dropped and stored again
    // as it is drawn. Nothing that is stored may be waiting to be drawn.
    void BeginScene();

private:
    void Clear();

    std::vector<CGLFan> Fans;
    std::unordered_map<const void*, uint32_t> Index;
    std::vector<uint8_t> Raw;
    std::vector<CGLVertex> Vertices;
    std::vector<uint32_t> Indices;
    CGLBufferState VertexBuffer;
    CGLBufferState IndexBuffer;
    uint64_t nScene = 1;
    uint64_t nSceneVertices = 0;     // converted vertices drawn in this scene
    uint64_t nRecentVertices[4] = {}; // the same for the scenes before
};
