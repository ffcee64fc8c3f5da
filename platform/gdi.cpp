// Drawing contexts and the making, selecting and freeing of drawing objects.
#include "platform/gdi.h"

#include "platform/gdi_objects.h"

#include <string>

namespace {

constexpr int PS_NULL = 5;
constexpr uint32_t BS_NULL = 1;
constexpr int BOLD_WEIGHT = 700;

} // namespace

HFONT CreateFontA(int nHeight, int nWidth, int, int, int nWeight, uint32_t bItalic, uint32_t,
                  uint32_t, uint32_t, uint32_t, uint32_t, uint32_t nQuality, uint32_t,
                  const char* pszFace)
{
    CFontRequest request;
    request.nHeight = nHeight;
    request.nWidth = nWidth;
    // Only regular and bold are told apart.
    request.nWeight = nWeight >= BOLD_WEIGHT ? BOLD_WEIGHT : FW_NORMAL;
    request.bItalic = bItalic != 0;
    request.bAntialiased = nQuality == ANTIALIASED_QUALITY;
    request.Face = pszFace ? pszFace : "";
    return new CGdiFont(request);
}

HPEN CreatePen(int nStyle, int nWidth, COLORREF colour)
{
    return new CGdiPen(nStyle == PS_NULL, nWidth, colour);
}

HBRUSH CreateSolidBrush(COLORREF colour)
{
    return new CGdiBrush(false, colour);
}

HBRUSH CreateBrushIndirect(const LOGBRUSH* pBrush)
{
    if (!pBrush)
        return nullptr;
    // Hatches and patterns paint in their colour.
    return new CGdiBrush(pBrush->lbStyle == BS_NULL, pBrush->lbColor);
}

HGDIOBJ GetStockObject(int nObject)
{
    if (CGdiBrush* pBrush = StockBrush(nObject))
        return pBrush;
    return StockPen(nObject); // null for the objects there are none of
}

HGDIOBJ SelectObject(HDC hdc, HGDIOBJ hObject)
{
    if (!hdc || !hObject)
        return nullptr;
    return hdc->Select(hObject);
}

bool DeleteObject(HGDIOBJ hObject)
{
    if (!hObject)
        return false;
    if (hObject->bStock)
        return true;
    if (hObject->nSelections > 0)
        hObject->bDeletePending = true;
    else
        delete hObject;
    return true;
}

COLORREF SetTextColor(HDC hdc, COLORREF colour)
{
    if (!hdc)
        return CLR_INVALID;
    COLORREF previous = hdc->crText;
    hdc->crText = colour;
    return previous;
}

COLORREF SetBkColor(HDC hdc, COLORREF colour)
{
    if (!hdc)
        return CLR_INVALID;
    COLORREF previous = hdc->crBack;
    hdc->crBack = colour;
    return previous;
}

int SetBkMode(HDC hdc, int nMode)
{
    if (!hdc || (nMode != TRANSPARENT && nMode != OPAQUE))
        return 0;
    int nPrevious = hdc->nBkMode;
    hdc->nBkMode = nMode;
    return nPrevious;
}

COLORREF SetPixel(HDC hdc, int x, int y, COLORREF colour)
{
    if (!hdc || !hdc->Target.Contains(x, y))
        return CLR_INVALID;
    hdc->Target.Write(x, y, colour);
    return hdc->Target.Read(x, y);
}

COLORREF GetPixel(HDC hdc, int x, int y)
{
    if (!hdc || !hdc->Target.Contains(x, y))
        return CLR_INVALID;
    return hdc->Target.Read(x, y);
}

HDC CreateBufferDC(void* pPixels, int nWidth, int nHeight, int nPitch, int nBytes,
                   uint32_t nRedMask, uint32_t nGreenMask, uint32_t nBlueMask)
{
    if (!pPixels || nWidth <= 0 || nHeight <= 0 || nBytes < 2 || nBytes > 4 ||
        nPitch < nWidth * nBytes)
        return nullptr;
    CPixelFormat format = CPixelFormat::FromMasks(nBytes, nRedMask, nGreenMask, nBlueMask);
    return new CDrawContext(CPixelTarget(pPixels, nWidth, nHeight, nPitch, format), false);
}

bool DeleteDC(HDC hdc)
{
    if (!hdc)
        return false;
    delete hdc;
    return true;
}
