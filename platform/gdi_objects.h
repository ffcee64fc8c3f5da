#pragma once
// The drawing objects behind the GDI handles, and the drawing context that
// selects them. An object counts the contexts it is selected into: deleting
// it while it is still selected only marks it, and the last context to let
// go of it frees it, so that no context ever holds a freed object.
#include "platform/gdi.h"
#include "platform/gdi_pixels.h"

#include <memory>
#include <string>
#include <vector>

enum class EGdiKind { Font, Pen, Brush, Bitmap };

class CGdiObject {
public:
    explicit CGdiObject(EGdiKind kind) : Kind(kind) {}
    virtual ~CGdiObject() = default;
    CGdiObject(const CGdiObject&) = delete;
    CGdiObject& operator=(const CGdiObject&) = delete;

    const EGdiKind Kind;
    bool bStock = false;
    bool bDeletePending = false;
    int nSelections = 0;
};

class CGdiPen : public CGdiObject {
public:
    CGdiPen(bool bNull, int nWidth, COLORREF crColour)
        : CGdiObject(EGdiKind::Pen), bNull(bNull), nWidth(nWidth < 1 ? 1 : nWidth),
          crColour(crColour)
    {
    }
    bool bNull;
    int nWidth;
    COLORREF crColour;
};

class CGdiBrush : public CGdiObject {
public:
    CGdiBrush(bool bNull, COLORREF crColour)
        : CGdiObject(EGdiKind::Brush), bNull(bNull), crColour(crColour)
    {
    }
    bool bNull;
    COLORREF crColour;
};

// Top row first, 0x00RRGGBB.
class CGdiBitmap : public CGdiObject {
public:
    CGdiBitmap(int nWidth, int nHeight)
        : CGdiObject(EGdiKind::Bitmap), nWidth(nWidth), nHeight(nHeight),
          Pixels(static_cast<size_t>(nWidth) * nHeight, 0)
    {
    }
    CPixelTarget Target()
    {
        return CPixelTarget(Pixels.data(), nWidth, nHeight, nWidth * 4, BitmapPixelFormat());
    }
    const int nWidth;
    const int nHeight;
    std::vector<uint32_t> Pixels;
};

class CFontInstance;

// What CreateFontA asked for; the sized face behind it is found on first use.
struct CFontRequest {
    int nHeight = 16;
    int nWidth = 0;
    int nWeight = FW_NORMAL;
    bool bItalic = false;
    bool bAntialiased = false;
    std::string Face;
};

class CGdiFont : public CGdiObject {
public:
    explicit CGdiFont(const CFontRequest& request) : CGdiObject(EGdiKind::Font), Request(request) {}
    CFontInstance& Instance();

    const CFontRequest Request;

private:
    std::shared_ptr<CFontInstance> pInstance;
};

// A pointer to the object when it is of that kind, else null.
template <class T> T* AsKind(CGdiObject* pObject, EGdiKind kind)
{
    return pObject && pObject->Kind == kind ? static_cast<T*>(pObject) : nullptr;
}

// Selection counting: a deleted object goes when its last context lets go.
void RetainObject(CGdiObject* pObject);
void ReleaseObject(CGdiObject* pObject);

// Shared objects that DeleteObject never frees; null for other numbers.
constexpr int WHITE_PEN = 6;
constexpr int BLACK_PEN = 7;
constexpr int NULL_PEN = 8;
CGdiBrush* StockBrush(int nObject);
CGdiPen* StockPen(int nObject);
CGdiFont* StockFont();
CGdiBitmap* StockBitmap();

class CDrawContext {
public:
    // A context over a pixel buffer, or a memory context on the 1x1 stock
    // bitmap when bMemory.
    CDrawContext(const CPixelTarget& target, bool bMemory);
    ~CDrawContext();
    CDrawContext(const CDrawContext&) = delete;
    CDrawContext& operator=(const CDrawContext&) = delete;

    // Gives the object of the same kind selected before, or null when the
    // object can not be selected here (a bitmap into a buffer context).
    CGdiObject* Select(CGdiObject* pObject);

    CGdiFont& Font() { return *static_cast<CGdiFont*>(pFont); }
    CGdiPen& Pen() { return *static_cast<CGdiPen*>(pPen); }
    CGdiBrush& Brush() { return *static_cast<CGdiBrush*>(pBrush); }

    CPixelTarget Target;
    const bool bMemory;
    COLORREF crText = RGB(0, 0, 0);
    COLORREF crBack = RGB(255, 255, 255);
    int nBkMode = OPAQUE;
    POINT Position{0, 0};

private:
    CGdiObject** SlotOf(EGdiKind kind);

    CGdiObject* pFont;
    CGdiObject* pPen;
    CGdiObject* pBrush;
    CGdiObject* pBitmap;
};
