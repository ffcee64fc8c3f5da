#include "platform/gl_fans.h"

#include "platform/gl_functions.h"
#include "platform/null_device.h"

#include <algorithm>
#include <cstring>

namespace {

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
    case GL_SCREEN_FVF: return {16, 20};
    case GL_WORLD_FVF: return {16, 24};
    default: return {-1, 24}; // normal vertex: no diffuse, lit white
    }
}

// Bit p set when pair p of every record lies within the block of an atlas
// cell, give or take its margin.
uint8_t PairsInBlock(const uint8_t* pRecords, uint32_t nCount)
{
    uint8_t nBits = (1u << PAIRS) - 1;
    const size_t nSize = VertexSize(GL_WORLD_FVF);
    const int nPairs = LayoutOf(GL_WORLD_FVF).nPairs;
    for (uint32_t i = 0; i < nCount; ++i, pRecords += nSize) {
        float uv[PAIRS * 2];
        std::memcpy(uv, pRecords + nPairs, sizeof(uv));
        for (uint32_t p = 0; p < PAIRS; ++p)
            for (uint32_t c = 0; c < 2; ++c)
                if (!(uv[p * 2 + c] >= -GL_ATLAS_MARGIN && uv[p * 2 + c] <= 1.0f + GL_ATLAS_MARGIN))
                    nBits &= static_cast<uint8_t>(~(1u << p));
    }
    return nBits;
}

// Binds the buffer and brings it up to date with the records: all of them
// into new storage when they outgrew it, else those added since.
template <typename T>
void SyncBuffer(GLenum nTarget, const std::vector<T>& records, CGLBufferState* pBuffer)
{
    const CGLFunctions& gl = GLFn();
    if (!pBuffer->nName)
        gl.GenBuffers(1, &pBuffer->nName);
    gl.BindBuffer(nTarget, pBuffer->nName);
    if (records.size() > pBuffer->nCapacity) {
        pBuffer->nCapacity = std::max(records.size(), 2 * pBuffer->nCapacity);
        gl.BufferData(nTarget, static_cast<GLsizeiptr>(pBuffer->nCapacity * sizeof(T)), nullptr,
                      GL_STATIC_DRAW);
        pBuffer->nUploaded = 0;
    }
    if (pBuffer->nUploaded == records.size())
        return;
    gl.BufferSubData(nTarget, static_cast<GLintptr>(pBuffer->nUploaded * sizeof(T)),
                     static_cast<GLsizeiptr>((records.size() - pBuffer->nUploaded) * sizeof(T)),
                     &records[pBuffer->nUploaded]);
    pBuffer->nUploaded = records.size();
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
    for (GLuint nName : {VertexBuffer.nName, IndexBuffer.nName})
        if (nName)
            GLFn().DeleteBuffers(1, &nName);
}

CGLFan& CGLFanCache::Find(const void* pVertices, uint32_t nCount)
{
    const auto* pRecords = static_cast<const uint8_t*>(pVertices);
    const size_t nBytes = static_cast<size_t>(nCount) * VertexSize(GL_WORLD_FVF);
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
    ConvertVertices(&Raw[fan.nRaw], fan.nCount, GL_WORLD_FVF, source, &Vertices[nBase]);
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
    SyncBuffer(GL_ARRAY_BUFFER, Vertices, &VertexBuffer);
    SyncBuffer(GL_ELEMENT_ARRAY_BUFFER, Indices, &IndexBuffer);
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
    VertexBuffer.nUploaded = 0;
    IndexBuffer.nUploaded = 0;
}
