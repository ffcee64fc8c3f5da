#include "platform/gl_fans.h"

#include "platform/gl_functions.h"
#include "platform/null_device.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr uint32_t SCREEN_FVF = 0x244; // x y z rhw, diffuse, two pairs
constexpr uint32_t WORLD_FVF = 0x2E2;  // x y z, reserved, diffuse, specular, two pairs
constexpr uint32_t WORLD_PAIRS = 24;   // byte offset of the pairs in a world record
constexpr uint32_t PAIRS = 2;
// Below this many stored vertices nothing is dropped.
constexpr size_t KEEP_VERTICES = 65536;

// Where the parts of a vertex record lie, in bytes; -1 where absent.
struct CVertexLayout {
    int nDiffuse;
    int nPairs;
};

CVertexLayout LayoutOf(uint32_t nFvf)
{
    switch (nFvf) {
    case SCREEN_FVF: return {16, 20};
    case WORLD_FVF: return {16, static_cast<int>(WORLD_PAIRS)};
    default: return {-1, 24}; // normal vertex: no diffuse, lit white
    }
}

// Bit p set when pair p of every record lies within the block of an atlas
// cell, give or take its margin.
uint8_t PairsInBlock(const uint8_t* pRecords, uint32_t nCount)
{
    uint8_t nBits = (1u << PAIRS) - 1;
    const size_t nSize = VertexSize(WORLD_FVF);
    for (uint32_t i = 0; i < nCount; ++i, pRecords += nSize) {
        float uv[PAIRS * 2];
        std::memcpy(uv, pRecords + WORLD_PAIRS, sizeof(uv));
        for (uint32_t p = 0; p < PAIRS; ++p)
            for (uint32_t c = 0; c < 2; ++c)
                if (!(uv[p * 2 + c] >= -GL_ATLAS_MARGIN && uv[p * 2 + c] <= 1.0f + GL_ATLAS_MARGIN))
                    nBits &= static_cast<uint8_t>(~(1u << p));
    }
    return nBits;
}

} // namespace

void ConvertVertices(const uint8_t* pSource, uint32_t nCount, uint32_t nFvf,
                     const CGLVertexSource& source, CGLVertex* pOut)
{
    uint32_t nSize = VertexSize(nFvf);
    CVertexLayout layout = LayoutOf(nFvf);
    CGLAtlasPlacement placements[GL_DEVICE_UNITS];
    for (uint32_t nUnit = 0; nUnit < GL_DEVICE_UNITS; ++nUnit)
        if (source.Units[nUnit].nCell >= 0)
            placements[nUnit] = CGLAtlas::PlacementOf(source.Units[nUnit].nCell);
    for (uint32_t i = 0; i < nCount; ++i, pSource += nSize) {
        CGLVertex& v = pOut[i];
        std::memcpy(&v.x, pSource, 3 * sizeof(float));
        uint32_t nArgb = 0xFFFFFFFFu;
        if (layout.nDiffuse >= 0)
            std::memcpy(&nArgb, pSource + layout.nDiffuse, 4);
        v.rgba[0] = static_cast<uint8_t>(nArgb >> 16);
        v.rgba[1] = static_cast<uint8_t>(nArgb >> 8);
        v.rgba[2] = static_cast<uint8_t>(nArgb);
        v.rgba[3] = static_cast<uint8_t>(nArgb >> 24);
        for (uint32_t nUnit = 0; nUnit < GL_DEVICE_UNITS; ++nUnit) {
            const CGLUnitSource& unit = source.Units[nUnit];
            std::memcpy(v.uv[nUnit], pSource + layout.nPairs + unit.nPair * 8, 8);
            if (unit.nCell < 0)
                continue;
            const CGLAtlasPlacement& place = placements[nUnit];
            v.uv[nUnit][0] = place.fOffsetU + v.uv[nUnit][0] * place.fScale;
            v.uv[nUnit][1] = place.fOffsetV + v.uv[nUnit][1] * place.fScale;
        }
    }
}

CGLFanCache::~CGLFanCache()
{
    if (!HasGLContext())
        return;
    const CGLFunctions& gl = GLFn();
    if (nVertexBuffer)
        gl.DeleteBuffers(1, &nVertexBuffer);
    if (nIndexBuffer)
        gl.DeleteBuffers(1, &nIndexBuffer);
}

CGLFan& CGLFanCache::Find(const void* pVertices, uint32_t nCount)
{
    const auto* pRecords = static_cast<const uint8_t*>(pVertices);
    const size_t nBytes = static_cast<size_t>(nCount) * VertexSize(WORLD_FVF);
    auto [found, bNew] = Index.try_emplace(pVertices, static_cast<uint32_t>(Fans.size()));
    if (bNew)
        Fans.push_back({});
    CGLFan& fan = Fans[found->second];
    if (!bNew && fan.nCount == nCount && std::memcmp(&Raw[fan.nRaw], pRecords, nBytes) == 0)
        return fan;
    // New, or changed since it was stored: a copy of its records, in place
    // when the count stayed.
    if (bNew || fan.nCount != nCount) {
        fan.nRaw = Raw.size();
        Raw.resize(Raw.size() + nBytes);
    }
    std::memcpy(&Raw[fan.nRaw], pRecords, nBytes);
    fan.pKey = pVertices;
    fan.nCount = nCount;
    fan.nPairsInBlock = PairsInBlock(pRecords, nCount);
    fan.bConverted = false;
    return fan;
}

void CGLFanCache::Convert(CGLFan& fan, const CGLVertexSource& source)
{
    if (fan.nLastScene != nScene) {
        fan.nLastScene = nScene;
        nSceneVertices += fan.nCount;
    }
    if (fan.bConverted && fan.Source == source)
        return;
    // Always appended: the old triangles may still wait to be drawn.
    const uint32_t nBase = static_cast<uint32_t>(Vertices.size());
    Vertices.resize(Vertices.size() + fan.nCount);
    ConvertVertices(&Raw[fan.nRaw], fan.nCount, WORLD_FVF, source, &Vertices[nBase]);
    fan.nFirstIndex = static_cast<uint32_t>(Indices.size());
    fan.nIndices = 3 * (fan.nCount - 2);
    // Triangle i of the fan in the corner order OpenGL's own fans take.
    for (uint32_t i = 0; i + 2 < fan.nCount; ++i) {
        Indices.push_back(nBase);
        Indices.push_back(nBase + i + 1);
        Indices.push_back(nBase + i + 2);
    }
    fan.Source = source;
    fan.bConverted = true;
}

void CGLFanCache::BindAndUpload()
{
    const CGLFunctions& gl = GLFn();
    if (!nVertexBuffer) {
        gl.GenBuffers(1, &nVertexBuffer);
        gl.GenBuffers(1, &nIndexBuffer);
    }
    gl.BindBuffer(GL_ARRAY_BUFFER, nVertexBuffer);
    gl.BindBuffer(GL_ELEMENT_ARRAY_BUFFER, nIndexBuffer);
    if (Vertices.size() > nVertexCapacity) {
        nVertexCapacity = std::max(Vertices.size(), 2 * nVertexCapacity);
        gl.BufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(nVertexCapacity * sizeof(CGLVertex)),
                      nullptr, GL_STATIC_DRAW);
        nUploadedVertices = 0;
    }
    if (Indices.size() > nIndexCapacity) {
        nIndexCapacity = std::max(Indices.size(), 2 * nIndexCapacity);
        gl.BufferData(GL_ELEMENT_ARRAY_BUFFER,
                      static_cast<GLsizeiptr>(nIndexCapacity * sizeof(uint32_t)), nullptr,
                      GL_STATIC_DRAW);
        nUploadedIndices = 0;
    }
    if (nUploadedVertices < Vertices.size()) {
        gl.BufferSubData(GL_ARRAY_BUFFER,
                         static_cast<GLintptr>(nUploadedVertices * sizeof(CGLVertex)),
                         static_cast<GLsizeiptr>((Vertices.size() - nUploadedVertices) *
                                                 sizeof(CGLVertex)),
                         &Vertices[nUploadedVertices]);
        nUploadedVertices = Vertices.size();
    }
    if (nUploadedIndices < Indices.size()) {
        gl.BufferSubData(GL_ELEMENT_ARRAY_BUFFER,
                         static_cast<GLintptr>(nUploadedIndices * sizeof(uint32_t)),
                         static_cast<GLsizeiptr>((Indices.size() - nUploadedIndices) *
                                                 sizeof(uint32_t)),
                         &Indices[nUploadedIndices]);
        nUploadedIndices = Indices.size();
    }
}

void CGLFanCache::BeginScene()
{
    uint64_t nRecent = nSceneVertices;
    for (uint64_t n : nRecentVertices)
        nRecent = std::max(nRecent, n);
    std::copy_backward(std::begin(nRecentVertices), std::end(nRecentVertices) - 1,
                       std::end(nRecentVertices));
    nRecentVertices[0] = nSceneVertices;
    nSceneVertices = 0;
    ++nScene;
    if (Vertices.size() > KEEP_VERTICES && Vertices.size() > 2 * nRecent)
        Clear();
}

void CGLFanCache::Clear()
{
    Fans.clear();
    Index.clear();
    Raw.clear();
    Vertices.clear();
    Indices.clear();
    nUploadedVertices = 0;
    nUploadedIndices = 0;
}
