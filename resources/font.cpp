#include "resources/font.h"

#include "frame/application.h"
#include "geometry/vertex.h"

namespace {

// Font request values of the drawing context.
constexpr uint32_t ANSI_CHARSET = 0;
constexpr uint32_t OUT_TT_PRECIS = 4;
constexpr uint32_t OUT_DEVICE_PRECIS = 5;
constexpr uint32_t CLIP_DEFAULT_PRECIS = 0;
constexpr uint32_t NONANTIALIASED_QUALITY = 3;
// Bottom alignment of a single line; the drawing context knows the bit, its
// header does not name it.
constexpr uint32_t DT_BOTTOM_LINE = 0x0008;
// Centred, standing on the cell's bottom edge, one line: 0x29.
constexpr uint32_t GLYPH_FORMAT = DT_CENTER | DT_BOTTOM_LINE | DT_SINGLELINE;

// A cell of 16 pixels asks the face for 15: the glyphs then keep a free
// pixel at the top of their cell.
int FaceHeight(int nSize)
{
    return nSize == 16 ? 15 : nSize;
}

} // namespace

CFont::CFont()
    : nWidths(), fWidthRatios(), nSize(FONT_DEFAULT_SIZE), bTrueType(0), nRefCount(1)
{
}

void CFont::Release(CApplication* pApp)
{
    for (int i = 0; i < FONT_GLYPHS; ++i)
        Glyphs[i].Free();
    CResource::Release(pApp);
}

bool CFont::Create(const char* pszName, int nSizeIn, int nWeight, bool bItalic, bool bUnderline,
                   bool bStrikeOut, bool bTrueTypeIn, uint32_t nPitchAndFamily,
                   const char* pszFaceName, COLORREF colour)
{
    nSize = nSizeIn;
    bTrueType = bTrueTypeIn ? 1 : 0;
    nRefCount = 1;
    HFONT hFont = CreateFontA(FaceHeight(nSizeIn), 0, 0, 0, nWeight, bItalic, bUnderline,
                              bStrikeOut, ANSI_CHARSET,
                              bTrueTypeIn ? OUT_TT_PRECIS : OUT_DEVICE_PRECIS,
                              CLIP_DEFAULT_PRECIS, NONANTIALIASED_QUALITY, nPitchAndFamily,
                              pszFaceName);
    HBRUSH hBrush = nullptr;
    // One way out for every failure: nothing made here stays behind.
    auto fail = [&]() {
        if (hBrush)
            DeleteObject(hBrush);
        if (hFont)
            DeleteObject(hFont);
        for (int i = 0; i < FONT_GLYPHS; ++i)
            Glyphs[i].Free();
        return false;
    };
    if (!hFont)
        return fail();

    CApplication* pApp = GetApp();
    for (int i = 0; i < FONT_GLYPHS; ++i) {
        Glyphs[i].SetColorKey(0.5f, 0.0f, 0.5f);
        if (Glyphs[i].Create(pApp, nSizeIn, nSizeIn, nullptr, 0) != 0)
            return fail();
    }

    hBrush = CreateSolidBrush(FONT_KEY_COLOUR);
    RECT cell;
    cell.left = 0;
    cell.top = 0;
    cell.right = nSizeIn;
    cell.bottom = nSizeIn;
    for (int i = 0; i < FONT_GLYPHS; ++i) {
        HDC hdc = Glyphs[i].GetDC();
        if (!hdc)
            return fail();
        SelectObject(hdc, hFont);
        FillRect(hdc, &cell, hBrush);
        SetTextColor(hdc, colour);
        SetBkColor(hdc, FONT_KEY_COLOUR);
        DrawGlyph(hdc, 0, 0, static_cast<char>(i));
        MeasureGlyph(hdc, i);
        Glyphs[i].ReleaseDC(hdc);
    }

    DeleteObject(hBrush);
    DeleteObject(hFont);
    SetName(pszName);
    return true;
}

void CFont::MeasureGlyph(HDC hdc, int nCode)
{
    const uint32_t nChar = static_cast<uint32_t>(nCode);
    if (bTrueType) {
        ABC abc = {};
        GetCharABCWidthsA(hdc, nChar, nChar, &abc);
        nWidths[nCode] = abc.abcA + static_cast<int32_t>(abc.abcB) + abc.abcC;
    } else {
        GetCharWidth32A(hdc, nChar, nChar, &nWidths[nCode]);
    }
    fWidthRatios[nCode] = static_cast<float>(nWidths[nCode]) / static_cast<float>(nSize);
}

bool CFont::LoadSheet(const char* pszPath, int nCell)
{
    // A cell of 0 would ask for the sheet at its own size and cut nothing.
    if (nCell < 1)
        return false;
    CApplication* pApp = GetApp();
    IDirectDrawSurface7* pSheet = pApp->LoadImage(pszPath, nCell * 16, nCell * 16);
    if (!pSheet)
        return false;
    HDC hSheet = nullptr;
    pSheet->GetDC(&hSheet);
    nSize = nCell;
    for (int i = 0; i < FONT_GLYPHS; ++i) {
        const int nColumn = i % 16;
        const int nRow = i / 16;
        Glyphs[i].Create(pApp, nCell, nCell, nullptr, 0);
        HDC hdc = Glyphs[i].GetDC();
        StretchBlt(hdc, 0, 0, nCell, nCell, hSheet, nColumn * nCell, nRow * nCell, nCell, nCell,
                   SRCCOPY);
        Glyphs[i].ReleaseDC(hdc);
        nWidths[i] = nCell;
        fWidthRatios[i] = 1.0f;
    }
    pSheet->ReleaseDC(hSheet);
    pSheet->Release();
    bTrueType = 0;
    nRefCount = 1;
    return true;
}

void CFont::BindGlyph(CApplication* pApp, unsigned char c)
{
    pApp->SetTexture(0, &Glyphs[c]);
}

void CFont::SetQuadTexCoords(CScreenVertex* pQuad, int c) const
{
    // A negative code is a signed character byte: its table entry is the
    // byte's unsigned value.
    const unsigned char nCode = static_cast<unsigned char>(c);
    const float w = static_cast<float>(nWidths[nCode]) / static_cast<float>(nSize);
    const float u0 = (1.0f - w) / 2.0f;
    pQuad[0].TexU = u0;
    pQuad[1].TexU = u0 + w;
    pQuad[2].TexU = u0 + w;
    pQuad[3].TexU = u0;
    pQuad[0].TexV = 0.0f;
    pQuad[1].TexV = 0.0f;
    pQuad[2].TexV = 1.0f;
    pQuad[3].TexV = 1.0f;
}

void CFont::DrawGlyph(HDC hdc, int x, int y, char c) const
{
    char text[2] = {c, 0};
    RECT cell;
    cell.left = x;
    cell.top = y;
    cell.right = x + nSize;
    cell.bottom = y + nSize;
    DrawTextA(hdc, text, 1, &cell, GLYPH_FORMAT);
}
