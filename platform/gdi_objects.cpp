#include "platform/gdi_objects.h"

namespace {

template <class T> T* MakeStock(T* pObject)
{
    pObject->bStock = true;
    return pObject;
}

} // namespace

void RetainObject(CGdiObject* pObject)
{
    if (pObject)
        ++pObject->nSelections;
}

void ReleaseObject(CGdiObject* pObject)
{
    if (!pObject)
        return;
    --pObject->nSelections;
    if (pObject->nSelections == 0 && pObject->bDeletePending && !pObject->bStock)
        delete pObject;
}

// Stock objects live as long as the program; they are made on first use.
CGdiBrush* StockBrush(int nObject)
{
    static CGdiBrush* s_pWhite = MakeStock(new CGdiBrush(false, RGB(255, 255, 255)));
    static CGdiBrush* s_pBlack = MakeStock(new CGdiBrush(false, RGB(0, 0, 0)));
    static CGdiBrush* s_pNull = MakeStock(new CGdiBrush(true, 0));
    switch (nObject) {
    case WHITE_BRUSH:
        return s_pWhite;
    case BLACK_BRUSH:
        return s_pBlack;
    case NULL_BRUSH:
        return s_pNull;
    default:
        return nullptr;
    }
}

CGdiPen* StockPen(int nObject)
{
    static CGdiPen* s_pWhite = MakeStock(new CGdiPen(false, 1, RGB(255, 255, 255)));
    static CGdiPen* s_pBlack = MakeStock(new CGdiPen(false, 1, RGB(0, 0, 0)));
    static CGdiPen* s_pNull = MakeStock(new CGdiPen(true, 1, 0));
    switch (nObject) {
    case WHITE_PEN:
        return s_pWhite;
    case BLACK_PEN:
        return s_pBlack;
    case NULL_PEN:
        return s_pNull;
    default:
        return nullptr;
    }
}

CGdiFont* StockFont()
{
    static CGdiFont* s_pFont = [] {
        CFontRequest request;
        request.nHeight = 16;
        request.Face = "sans-serif";
        return MakeStock(new CGdiFont(request));
    }();
    return s_pFont;
}

CGdiBitmap* StockBitmap()
{
    static CGdiBitmap* s_pBitmap = MakeStock(new CGdiBitmap(1, 1));
    return s_pBitmap;
}

CDrawContext::CDrawContext(const CPixelTarget& target, bool bMemory)
    : Target(target), bMemory(bMemory), pFont(StockFont()), pPen(StockPen(BLACK_PEN)),
      pBrush(StockBrush(WHITE_BRUSH)), pBitmap(bMemory ? StockBitmap() : nullptr)
{
    for (CGdiObject* pObject : {pFont, pPen, pBrush, pBitmap})
        RetainObject(pObject);
    if (bMemory)
        Target = StockBitmap()->Target();
}

CDrawContext::~CDrawContext()
{
    for (CGdiObject* pObject : {pFont, pPen, pBrush, pBitmap})
        ReleaseObject(pObject);
}

CGdiObject** CDrawContext::SlotOf(EGdiKind kind)
{
    switch (kind) {
    case EGdiKind::Font:
        return &pFont;
    case EGdiKind::Pen:
        return &pPen;
    case EGdiKind::Brush:
        return &pBrush;
    case EGdiKind::Bitmap:
        return bMemory ? &pBitmap : nullptr;
    }
    return nullptr;
}

CGdiObject* CDrawContext::Select(CGdiObject* pObject)
{
    CGdiObject** ppSlot = SlotOf(pObject->Kind);
    if (!ppSlot)
        return nullptr;
    CGdiObject* pPrevious = *ppSlot;
    RetainObject(pObject);
    *ppSlot = pObject;
    if (pObject->Kind == EGdiKind::Bitmap)
        Target = static_cast<CGdiBitmap*>(pObject)->Target();
    // The previous object may go here if it was deleted while selected; the
    // caller gets back a handle it had already given up.
    ReleaseObject(pPrevious);
    return pPrevious;
}
