#pragma once
// CFont: a font for drawing in 3D. One small square texture per character
// code, 256 in all, rendered once from a system face or cut from a bitmap
// sheet; a text is then drawn by binding one glyph texture per character on
// a screen quad. Fonts live in the application's font list, shared by name
// with a reference count.
#include "platform/gdi.h"
#include "resources/resource.h"
#include "resources/texture_surface.h"

#include <cstdint>

class CScreenVertex;

constexpr int FONT_GLYPHS = 256;
constexpr int FONT_DEFAULT_SIZE = 128;
// The colour behind each glyph, which the colour key turns transparent.
constexpr COLORREF FONT_KEY_COLOUR = 0x7F007F;

class CFont : public CResource {
public:
    CFont();

    // Frees the 256 glyphs, then what the base frees.
    void Release(CApplication* pApp) override;
    // Renders the 256 glyphs from the face: cells of size x size pixels,
    // each character centred and standing on the cell's bottom edge on the
    // key colour. False when the face or a glyph can not be made.
    virtual bool Create(const char* pszName, int nSizeIn, int nWeight, bool bItalic,
                        bool bUnderline, bool bStrikeOut, bool bTrueTypeIn,
                        uint32_t nPitchAndFamily, const char* pszFaceName, COLORREF colour);

    // Cuts the glyphs from a bitmap of 16 by 16 cells, codes in rows of 16
    // from the top left; every character is one cell wide. False for a cell
    // size below 1 or a sheet that gives no picture.
    bool LoadSheet(const char* pszPath, int nCell);
    int GetCharWidth(unsigned char c) const { return nWidths[c]; }
    float GetWidthRatio(unsigned char c) const { return fWidthRatios[c]; }
    int GetSize() const { return nSize; }
    void BindGlyph(CApplication* pApp, unsigned char c);
    // Texture coordinates of a quad of four vertices running round it that
    // shows just the character's width out of its centred cell.
    void SetQuadTexCoords(CScreenVertex* pQuad, int c) const;
    void DrawGlyph(HDC hdc, int x, int y, char c) const;
    void AddRef() { ++nRefCount; }
    // True when the count is exactly 0 afterwards.
    bool Unref() { return --nRefCount == 0; }

    // Held by value: a font is as uncopyable as its glyph surfaces.
    CTextureSurface Glyphs[FONT_GLYPHS];
    int32_t nWidths[FONT_GLYPHS];
    float fWidthRatios[FONT_GLYPHS];
    int32_t nSize;
    uint8_t bTrueType;
    int32_t nRefCount;

private:
    // The advance of code nCode in the font selected into hdc, and its share
    // of the cell.
    void MeasureGlyph(HDC hdc, int nCode);
};
