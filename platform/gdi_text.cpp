// Text on a drawing context: one line of character bytes in the selected
// font, and the measures of characters and of the font.
#include "platform/gdi_fonts.h"

#include <cstring>

namespace {

// Format bits honoured beside those the core names: vertical placement of a
// single line, and measuring without drawing.
constexpr uint32_t DT_VCENTER = 0x0004;
constexpr uint32_t DT_BOTTOM = 0x0008;
constexpr uint32_t DT_CALCRECT = 0x0400;

int Length(const char* pszText, int nCount)
{
    return nCount < 0 ? static_cast<int>(std::strlen(pszText)) : nCount;
}

void DrawGlyph(CPixelTarget& target, const CGlyph& glyph, int xPen, int yBaseline,
               const RECT& clip, COLORREF colour)
{
    int xLeft = xPen + glyph.nLeft;
    int yTop = yBaseline - glyph.nTop;
    RECT box = IntersectRects(clip, RECT{xLeft, yTop, xLeft + glyph.nWidth, yTop + glyph.nRows});
    for (int y = box.top; y < box.bottom; ++y) {
        const uint8_t* pRow = glyph.Coverage.data() + static_cast<size_t>(y - yTop) * glyph.nWidth;
        for (int x = box.left; x < box.right; ++x)
            target.Blend(x, y, colour, pRow[x - xLeft]);
    }
}

// Draws the characters with the top of their cells at y, clipped to the
// rectangle and the target. An opaque background fills the cells first.
void DrawLine(CDrawContext& dc, int x, int y, const char* pszText, int nCount, const RECT& clip)
{
    CFontInstance& font = dc.Font().Instance();
    RECT visible = ClipRect(clip, dc.Target.Width(), dc.Target.Height());
    if (dc.nBkMode == OPAQUE) {
        RECT cells{x, y, x + font.TextWidth(pszText, nCount), y + font.Height()};
        dc.Target.Fill(IntersectRects(cells, visible), dc.crBack);
    }
    int yBaseline = y + font.Metrics().nAscent;
    for (int i = 0; i < nCount; ++i) {
        const CGlyph& glyph = font.Glyph(static_cast<uint8_t>(pszText[i]));
        DrawGlyph(dc.Target, glyph, x, yBaseline, visible, dc.crText);
        x += glyph.nAdvance;
    }
}

RECT Everywhere(const CDrawContext& dc)
{
    return RECT{0, 0, dc.Target.Width(), dc.Target.Height()};
}

} // namespace

int DrawTextA(HDC hdc, const char* pszText, int nCount, RECT* pRect, uint32_t nFormat)
{
    if (!hdc || !pszText || !pRect)
        return 0;
    nCount = Length(pszText, nCount);
    CFontInstance& font = hdc->Font().Instance();
    int nWidth = font.TextWidth(pszText, nCount);
    int nHeight = font.Height();
    if (nFormat & DT_CALCRECT) {
        pRect->right = pRect->left + nWidth;
        pRect->bottom = pRect->top + nHeight;
        return nHeight;
    }
    int x = pRect->left;
    if (nFormat & DT_CENTER)
        x = pRect->left + (pRect->right - pRect->left - nWidth) / 2;
    else if (nFormat & DT_RIGHT)
        x = pRect->right - nWidth;
    int y = pRect->top;
    if ((nFormat & DT_SINGLELINE) && (nFormat & DT_VCENTER))
        y = pRect->top + (pRect->bottom - pRect->top - nHeight) / 2;
    else if ((nFormat & DT_SINGLELINE) && (nFormat & DT_BOTTOM))
        y = pRect->bottom - nHeight;
    DrawLine(*hdc, x, y, pszText, nCount, (nFormat & DT_NOCLIP) ? Everywhere(*hdc) : *pRect);
    return nHeight;
}

bool TextOutA(HDC hdc, int x, int y, const char* pszText, int nCount)
{
    if (!hdc || !pszText)
        return false;
    DrawLine(*hdc, x, y, pszText, Length(pszText, nCount), Everywhere(*hdc));
    return true;
}

bool GetCharABCWidthsA(HDC hdc, uint32_t nFirst, uint32_t nLast, ABC* pOut)
{
    if (!hdc || !pOut || nLast < nFirst)
        return false;
    CFontInstance& font = hdc->Font().Instance();
    for (uint64_t nChar = nFirst; nChar <= nLast; ++nChar) {
        const CGlyph& glyph = font.Glyph(static_cast<uint32_t>(nChar));
        ABC& abc = pOut[nChar - nFirst];
        abc.abcA = glyph.nLeft;
        // A blank glyph still counts one pixel of ink; C makes up the advance.
        abc.abcB = glyph.nWidth > 0 ? glyph.nWidth : 1;
        abc.abcC = glyph.nAdvance - abc.abcA - static_cast<int32_t>(abc.abcB);
    }
    return true;
}

bool GetCharWidth32A(HDC hdc, uint32_t nFirst, uint32_t nLast, int32_t* pOut)
{
    if (!hdc || !pOut || nLast < nFirst)
        return false;
    CFontInstance& font = hdc->Font().Instance();
    for (uint64_t nChar = nFirst; nChar <= nLast; ++nChar)
        pOut[nChar - nFirst] = font.Glyph(static_cast<uint32_t>(nChar)).nAdvance;
    return true;
}

bool GetTextMetricsA(HDC hdc, TEXTMETRICA* pOut)
{
    if (!hdc || !pOut)
        return false;
    CFontInstance& font = hdc->Font().Instance();
    const CFontMetrics& m = font.Metrics();
    pOut->tmHeight = font.Height();
    pOut->tmAscent = m.nAscent;
    pOut->tmDescent = m.nDescent;
    pOut->tmInternalLeading = m.nInternalLeading;
    pOut->tmExternalLeading = m.nExternalLeading;
    pOut->tmAveCharWidth = m.nAveWidth;
    pOut->tmMaxCharWidth = m.nMaxWidth;
    return true;
}
