#pragma once
// CTextBox: a panel that shows a string in a font inside its region's
// bounding rectangle. The text is laid out again only after a change, into
// one screen quad per visible character, and drawn glyph by glyph with the
// colour key on. The panel's own polygon is not drawn.
#include "controls/panel.h"

#include <cstdint>

class CFont;

constexpr int32_t TEXT_BOX_DEFAULT_LINE_HEIGHT = 64;

class CTextBox : public CPanel {
public:
    CTextBox();
    // Frees the text and the layout; the font is given back by Release only.
    ~CTextBox() override;

    // The children, then the layout when something has changed.
    void Update(CApplication* pApp) override;
    // The laid-out glyphs, then the children.
    void Draw(CApplication* pApp) override;
    // Frees text and layout, gives back the font, then what CPanel frees.
    void Release(CApplication* pApp) override;
    // The region and its quad; the layout is made again. Always true.
    bool SetRegion(const CRegion* pRegionIn) override;

    // Keeps a copy and marks the layout dirty; null only clears the text.
    void SetText(const char* pszText);
    // The text, also copied to pszOut when both are not null; pszOut must
    // hold TextLength + 1 bytes.
    const char* GetText(char* pszOut) const;
    // Gives back the old font and acquires the named one; true, and the
    // layout marked dirty, when it exists.
    bool SetFont(CApplication* pApp, const char* pszName);
    // Takes effect at the next change that marks the layout dirty.
    void SetLineHeight(int32_t nHeight) { LineHeight = nHeight; }

    char* pText;             // owned, or null
    uint8_t* pGlyphs;        // owned; the characters laid out
    int32_t TextLength;
    int32_t LineHeight;      // pixels of a line and of each glyph
    uint8_t bDirty;          // the layout must be made again
    CFont* pFont;            // shared, from AcquireFont
    CScreenVertex* pQuads;   // owned; 4 per character of the text
    int32_t GlyphCount;      // quads in use

private:
    void FreeText();
    void FreeLayout();
    void GiveBackFont(CApplication* pApp);
    void LayOut();
    void PlaceGlyph(float x, float y, unsigned char c, float fWidth);
};
