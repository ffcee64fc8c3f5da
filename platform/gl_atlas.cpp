#include "platform/gl_atlas.h"

#include "platform/gl_surfaces.h"

#include <algorithm>

namespace {

// The texel origin of a cell's border on its page.
void CellOrigin(int32_t nCell, uint32_t* pX, uint32_t* pY)
{
    uint32_t nOnPage = static_cast<uint32_t>(nCell) % GL_ATLAS_PAGE_CELLS;
    *pX = nOnPage % GL_ATLAS_ROW_CELLS * GL_ATLAS_CELL;
    *pY = nOnPage / GL_ATLAS_ROW_CELLS * GL_ATLAS_CELL;
}

} // namespace

CGLAtlas::~CGLAtlas()
{
    if (!HasGLContext())
        return;
    for (CGLAtlasPage& page : Pages)
        if (page.nName)
            glDeleteTextures(1, &page.nName);
}

int32_t CGLAtlas::Allocate(const CMemorySurface* pOwner)
{
    int32_t nCell;
    if (!FreeCells.empty()) {
        nCell = FreeCells.back();
        FreeCells.pop_back();
    } else {
        nCell = static_cast<int32_t>(Owners.size());
        Owners.push_back(nullptr);
        bChanged.push_back(0);
        if (Pages.size() * GL_ATLAS_PAGE_CELLS < Owners.size())
            Pages.emplace_back();
    }
    Owners[static_cast<size_t>(nCell)] = pOwner;
    MarkChanged(nCell);
    return nCell;
}

void CGLAtlas::Free(int32_t nCell)
{
    Owners[static_cast<size_t>(nCell)] = nullptr;
    FreeCells.push_back(nCell);
}

void CGLAtlas::MarkChanged(int32_t nCell)
{
    uint8_t& bFlag = bChanged[static_cast<size_t>(nCell)];
    if (bFlag)
        return;
    bFlag = 1;
    Changed.push_back(nCell);
}

CGLAtlasPlacement CGLAtlas::PlacementOf(int32_t nCell)
{
    uint32_t x = 0;
    uint32_t y = 0;
    CellOrigin(nCell, &x, &y);
    const float fPage = static_cast<float>(GL_ATLAS_PAGE);
    return {static_cast<float>(x + 1) / fPage, static_cast<float>(y + 1) / fPage,
            static_cast<float>(GL_ATLAS_BLOCK) / fPage};
}

void CGLAtlas::UploadChanged()
{
    glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
    for (int32_t nCell : Changed) {
        bChanged[static_cast<size_t>(nCell)] = 0;
        if (Owners[static_cast<size_t>(nCell)])
            UploadCell(nCell);
    }
    Changed.clear();
}

void CGLAtlas::UploadCell(int32_t nCell)
{
    CGLAtlasPage& page = PageOf(nCell);
    if (!page.nName) {
        glGenTextures(1, &page.nName);
        glBindTexture(GL_TEXTURE_2D, page.nName);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAX_LEVEL, 0);
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, GL_ATLAS_PAGE, GL_ATLAS_PAGE, 0, GL_RGBA,
                     GL_UNSIGNED_BYTE, nullptr);
    }
    glBindTexture(GL_TEXTURE_2D, page.nName);
    // The block with its edge texels repeated once round it.
    const CMemorySurface& owner = *Owners[static_cast<size_t>(nCell)];
    Texels.resize(GL_ATLAS_CELL * GL_ATLAS_CELL * 4);
    uint8_t* p = Texels.data();
    for (uint32_t y = 0; y < GL_ATLAS_CELL; ++y) {
        uint32_t nY = std::clamp<uint32_t>(y, 1, GL_ATLAS_BLOCK) - 1;
        for (uint32_t x = 0; x < GL_ATLAS_CELL; ++x, p += 4) {
            uint32_t nX = std::clamp<uint32_t>(x, 1, GL_ATLAS_BLOCK) - 1;
            CRgba8 c = TextureTexel(owner, nX, nY);
            p[0] = c.r;
            p[1] = c.g;
            p[2] = c.b;
            p[3] = c.a;
        }
    }
    uint32_t x = 0;
    uint32_t y = 0;
    CellOrigin(nCell, &x, &y);
    glTexSubImage2D(GL_TEXTURE_2D, 0, static_cast<GLint>(x), static_cast<GLint>(y), GL_ATLAS_CELL,
                    GL_ATLAS_CELL, GL_RGBA, GL_UNSIGNED_BYTE, Texels.data());
}
