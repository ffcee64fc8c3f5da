#pragma once
// The drawing context the core draws its 2D pictures with: text, lines,
// rectangles and pixels on a CPU pixel buffer, plus the bitmap loader.
// A context draws onto a surface (the back surface, a texture level, a
// lightmap) or onto a bitmap selected into a memory context. Colours are
// COLORREF values, 0x00BBGGRR; writes convert them to the target's pixel
// format (5-6-5 surfaces lose the low bits), reads convert back.
//
// Text is drawn by FreeType with the face fontconfig finds nearest to the
// name asked for, so that "Harrington" or "Century Gothic" give some face on
// any machine. Heights follow the usual convention: a positive height is the
// cell height (ascent plus descent), a negative one the character height.
#include "platform/window_types.h"

#include <cstdint>

using COLORREF = uint32_t;

class CGdiObject;   // fonts, pens, brushes, bitmaps
class CDrawContext; // a device context

using HDC = CDrawContext*;
using HGDIOBJ = CGdiObject*;
using HFONT = CGdiObject*;
using HPEN = CGdiObject*;
using HBRUSH = CGdiObject*;
using HBITMAP = CGdiObject*;

constexpr COLORREF RGB(uint8_t r, uint8_t g, uint8_t b)
{
    return static_cast<COLORREF>(r) | (static_cast<COLORREF>(g) << 8) |
           (static_cast<COLORREF>(b) << 16);
}
constexpr uint8_t GetRValue(COLORREF c) { return static_cast<uint8_t>(c); }
constexpr uint8_t GetGValue(COLORREF c) { return static_cast<uint8_t>(c >> 8); }
constexpr uint8_t GetBValue(COLORREF c) { return static_cast<uint8_t>(c >> 16); }

constexpr COLORREF CLR_INVALID = 0xFFFFFFFFu;
constexpr int TRANSPARENT = 1;
constexpr int OPAQUE = 2;
constexpr int PS_SOLID = 0;
constexpr uint32_t BS_SOLID = 0;
constexpr uint32_t DT_LEFT = 0x0000;
constexpr uint32_t DT_CENTER = 0x0001;
constexpr uint32_t DT_RIGHT = 0x0002;
constexpr uint32_t DT_SINGLELINE = 0x0020;
constexpr uint32_t DT_NOCLIP = 0x0100;
constexpr uint32_t SRCCOPY = 0x00CC0020;
constexpr uint32_t IMAGE_BITMAP = 0;
constexpr uint32_t LR_LOADFROMFILE = 0x0010;
constexpr uint32_t LR_CREATEDIBSECTION = 0x2000;
constexpr int FW_NORMAL = 400;
constexpr int ANTIALIASED_QUALITY = 4;

struct LOGBRUSH {
    uint32_t lbStyle;
    COLORREF lbColor;
    uintptr_t lbHatch;
};

struct ABC {
    int32_t abcA;
    uint32_t abcB;
    int32_t abcC;
};

struct BITMAP {
    int32_t bmType;
    int32_t bmWidth;
    int32_t bmHeight;
    int32_t bmWidthBytes;
    uint16_t bmPlanes;
    uint16_t bmBitsPixel;
    void* bmBits;
};

struct TEXTMETRICA {
    int32_t tmHeight;
    int32_t tmAscent;
    int32_t tmDescent;
    int32_t tmInternalLeading;
    int32_t tmExternalLeading;
    int32_t tmAveCharWidth;
    int32_t tmMaxCharWidth;
};

// Fonts. Weight 700 and above asks for a bold face, italic for an italic one.
HFONT CreateFontA(int nHeight, int nWidth, int nEscapement, int nOrientation, int nWeight,
                  uint32_t bItalic, uint32_t bUnderline, uint32_t bStrikeOut, uint32_t nCharSet,
                  uint32_t nOutPrecision, uint32_t nClipPrecision, uint32_t nQuality,
                  uint32_t nPitchAndFamily, const char* pszFace);

HPEN CreatePen(int nStyle, int nWidth, COLORREF colour);
HBRUSH CreateSolidBrush(COLORREF colour);
HBRUSH CreateBrushIndirect(const LOGBRUSH* pBrush);
HGDIOBJ GetStockObject(int nObject); // BLACK_BRUSH 4, WHITE_BRUSH 0, NULL_BRUSH 5
constexpr int WHITE_BRUSH = 0;
constexpr int BLACK_BRUSH = 4;
constexpr int NULL_BRUSH = 5;

// Selecting gives the object of the same kind that was selected before (the
// context's default one at first); null for a null context or object.
HGDIOBJ SelectObject(HDC hdc, HGDIOBJ hObject);
// Frees an object that is not selected anywhere; stock objects stay.
bool DeleteObject(HGDIOBJ hObject);
// BITMAP of a bitmap object; gives the bytes written, 0 for other objects.
int GetObjectA(HGDIOBJ hObject, int nSize, void* pOut);

COLORREF SetTextColor(HDC hdc, COLORREF colour);
COLORREF SetBkColor(HDC hdc, COLORREF colour);
int SetBkMode(HDC hdc, int nMode);

// Draws nCount characters (all up to the zero when -1) on one line in the
// rectangle: DT_CENTER centres across it, DT_RIGHT aligns right, the top of
// the text cell at the rectangle's top; clipped to the rectangle unless
// DT_NOCLIP. Gives the text height.
int DrawTextA(HDC hdc, const char* pszText, int nCount, RECT* pRect, uint32_t nFormat);
bool TextOutA(HDC hdc, int x, int y, const char* pszText, int nCount);
// Widths of the characters first..last in the selected font, in pixels.
bool GetCharABCWidthsA(HDC hdc, uint32_t nFirst, uint32_t nLast, ABC* pOut);
bool GetCharWidth32A(HDC hdc, uint32_t nFirst, uint32_t nLast, int32_t* pOut);
bool GetTextMetricsA(HDC hdc, TEXTMETRICA* pOut);

// Lines with the selected pen (width 0 draws one pixel wide).
bool MoveToEx(HDC hdc, int x, int y, POINT* pOld);
bool LineTo(HDC hdc, int x, int y);
bool Polyline(HDC hdc, const POINT* pPoints, int nCount);
// Outline with the pen, inside with the brush; right and bottom excluded.
bool Rectangle(HDC hdc, int nLeft, int nTop, int nRight, int nBottom);
// Fills with the brush, right and bottom excluded.
int FillRect(HDC hdc, const RECT* pRect, HBRUSH hBrush);

COLORREF SetPixel(HDC hdc, int x, int y, COLORREF colour);
// CLR_INVALID outside the target.
COLORREF GetPixel(HDC hdc, int x, int y);

// A memory context with a 1x1 default bitmap; a bitmap selected into it
// becomes its target.
HDC CreateCompatibleDC(HDC hdc);
bool DeleteDC(HDC hdc);
// Nearest-pixel stretch of the source rectangle onto the destination one.
bool StretchBlt(HDC hDest, int x, int y, int nWidth, int nHeight, HDC hSource, int xSource,
                int ySource, int nSourceWidth, int nSourceHeight, uint32_t nRop);
bool BitBlt(HDC hDest, int x, int y, int nWidth, int nHeight, HDC hSource, int xSource,
            int ySource, uint32_t nRop);

// Bitmaps. There are no resources in the executable: a name is looked up as
// a file only with LR_LOADFROMFILE (through the drive mapping, exact name
// first), and LoadBitmapA always gives null. Width and height of 0 keep the
// picture's own size, others stretch it. A ".bmp" file of 1, 4, 8, 16, 24 or
// 32 bits loads; anything else gives null.
HBITMAP LoadImageA(HINSTANCE hInstance, const char* pszName, uint32_t nType, int nWidth,
                   int nHeight, uint32_t nFlags);
HBITMAP LoadBitmapA(HINSTANCE hInstance, const char* pszName);
// A bitmap of 32-bit pixels, 0x00RRGGBB, filled with black.
HBITMAP CreateBitmap32(int nWidth, int nHeight);

// A context over a caller's pixel buffer, for the surfaces: nBytes 2, 3 or
// 4 a pixel, masks as in the surface's pixel format, rows nPitch bytes
// apart, top row first. The buffer must outlive the context; DeleteDC frees
// the context only.
HDC CreateBufferDC(void* pPixels, int nWidth, int nHeight, int nPitch, int nBytes,
                   uint32_t nRedMask, uint32_t nGreenMask, uint32_t nBlueMask);
