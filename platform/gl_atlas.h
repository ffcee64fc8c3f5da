#pragma once
// Lightmap-sized textures (GL_ATLAS_BLOCK texels a side, one level) share a
// few large OpenGL textures, the pages, so that drawing face after face with
// a lightmap of its own binds nothing new. Each texture keeps its surface and
// its pixels; only where its texels sit on the GPU changes. A texture's cell
// holds its texels with a border of one texel that repeats its edge: texture
// coordinates within the block, filtered or not, then read what the texture
// clamped at its edges would give, and never a neighbour's texels.
#include <SDL_opengl.h>

#include <cstddef>
#include <cstdint>
#include <vector>

class CMemorySurface;

constexpr uint32_t GL_ATLAS_BLOCK = 16;
constexpr uint32_t GL_ATLAS_CELL = GL_ATLAS_BLOCK + 2;
constexpr uint32_t GL_ATLAS_PAGE = 2048; // texels a side
constexpr uint32_t GL_ATLAS_ROW_CELLS = GL_ATLAS_PAGE / GL_ATLAS_CELL;
constexpr uint32_t GL_ATLAS_PAGE_CELLS = GL_ATLAS_ROW_CELLS * GL_ATLAS_ROW_CELLS;
// How far texture coordinates may stray outside 0..1 and still read the
// block's own texels or its border: half a texel.
constexpr float GL_ATLAS_MARGIN = 0.5f / GL_ATLAS_BLOCK;

// One page: its texture and the sampling it was last given.
struct CGLAtlasPage {
    GLuint nName = 0;
    GLint nMin = 0;
    GLint nMag = 0;
};

// Where texture coordinates (u, v) of a cell's block land on its page:
// (fOffsetU + u * fScale, fOffsetV + v * fScale).
struct CGLAtlasPlacement {
    float fOffsetU = 0.0f;
    float fOffsetV = 0.0f;
    float fScale = 1.0f;
};

class CGLAtlas {
public:
    CGLAtlas() = default;
    CGLAtlas(const CGLAtlas&) = delete;
    CGLAtlas& operator=(const CGLAtlas&) = delete;
    ~CGLAtlas();

    // A free cell for a texture; its texels count as changed.
    int32_t Allocate(const CMemorySurface* pOwner);
    void Free(int32_t nCell);
    // The owner's texels changed: they go up with the next UploadChanged.
    void MarkChanged(int32_t nCell);
    bool HasChanges() const { return !Changed.empty(); }
    // Writes the texels of every changed cell, with its border, into its
    // page, making pages as needed. Binds pages on the active texture unit.
    void UploadChanged();
    // The page of a cell; its texture exists once UploadChanged has run.
    CGLAtlasPage& PageOf(int32_t nCell)
    {
        return Pages[static_cast<size_t>(nCell) / GL_ATLAS_PAGE_CELLS];
    }
    static CGLAtlasPlacement PlacementOf(int32_t nCell);

private:
    void UploadCell(int32_t nCell);

    std::vector<const CMemorySurface*> Owners; // by cell; null when free
    std::vector<uint8_t> bChanged;             // by cell
    std::vector<int32_t> Changed;
    std::vector<int32_t> FreeCells;
    std::vector<CGLAtlasPage> Pages;
    std::vector<uint8_t> Texels; // one cell as RGBA, reused
};
