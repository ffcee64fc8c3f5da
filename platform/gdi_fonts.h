#pragma once
// Fonts for the drawing context: the installed face fontconfig finds nearest
// to a requested name, opened by FreeType at the requested size, with its
// rendered glyphs kept. Instances are shared by all font objects that ask for
// the same thing, so that making a font each frame costs a table look-up.
#include "platform/gdi_objects.h"

#include <array>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

struct FT_FaceRec_;

// One rendered character: coverage 0..255 per pixel, rows top first; the
// bitmap's top-left lies nLeft right of the pen and nTop above the baseline.
struct CGlyph {
    int nLeft = 0;
    int nTop = 0;
    int nWidth = 0;
    int nRows = 0;
    int nAdvance = 0;
    std::vector<uint8_t> Coverage;
};

struct CFontMetrics {
    int nAscent = 0;
    int nDescent = 0;
    int nInternalLeading = 0;
    int nExternalLeading = 0;
    int nAveWidth = 0;
    int nMaxWidth = 0;
};

// The Unicode code point of a character byte, read as Windows-1252.
uint32_t CodePointOfByte(uint8_t nChar);

class CFontInstance {
public:
    static std::shared_ptr<CFontInstance> Get(const CFontRequest& request);
    explicit CFontInstance(const CFontRequest& request);
    ~CFontInstance();
    CFontInstance(const CFontInstance&) = delete;
    CFontInstance& operator=(const CFontInstance&) = delete;

    const CFontMetrics& Metrics() const { return FontMetrics; }
    int Height() const { return FontMetrics.nAscent + FontMetrics.nDescent; }
    // The glyph of a character byte; codes above 255 are code points.
    const CGlyph& Glyph(uint32_t nChar);
    // The sum of the advances of the bytes.
    int TextWidth(const char* pszText, int nCount);

private:
    void SetSize(const CFontRequest& request);
    CGlyph Render(uint32_t nCodePoint) const;

    FT_FaceRec_* pFace = nullptr;
    bool bAntialiased = false;
    CFontMetrics FontMetrics;
    std::array<std::unique_ptr<CGlyph>, 256> ByteGlyphs;
    std::unordered_map<uint32_t, CGlyph> OtherGlyphs;
};
