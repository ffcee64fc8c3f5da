#pragma once
// Pixel buffers the drawing context writes to: a pointer, the size, the row
// pitch, 2, 3 or 4 bytes a pixel and the channel masks, with the conversions
// between COLORREF values and the buffer's packed pixels.
#include "platform/gdi.h"

#include <cstdint>

// One colour channel of a packed pixel: where its bits lie and how many.
struct CChannel {
    uint32_t nMask = 0;
    int nShift = 0;
    int nBits = 0;

    static CChannel FromMask(uint32_t nMask);
    // An 8-bit value scaled down to the channel's width (low bits dropped).
    uint32_t Pack(uint8_t nValue) const;
    // The channel of a packed pixel widened to 8 bits by repeating its high
    // bits, so that a full channel reads back as 0xFF.
    uint8_t Unpack(uint32_t nPixel) const;
};

struct CPixelFormat {
    int nBytes = 4;
    CChannel Red, Green, Blue;

    static CPixelFormat FromMasks(int nBytes, uint32_t nRed, uint32_t nGreen, uint32_t nBlue);
    uint32_t Encode(COLORREF colour) const;
    COLORREF Decode(uint32_t nPixel) const;
    bool operator==(const CPixelFormat& other) const;
};

// The 32-bit 0x00RRGGBB pixels of bitmaps.
CPixelFormat BitmapPixelFormat();

class CPixelTarget {
public:
    CPixelTarget() = default;
    CPixelTarget(void* pPixels, int nWidth, int nHeight, int nPitch, const CPixelFormat& format);

    int Width() const { return nWidth; }
    int Height() const { return nHeight; }
    const CPixelFormat& PixelFormat() const { return Format; }
    const void* Pixels() const { return pPixels; }
    bool Contains(int x, int y) const { return x >= 0 && y >= 0 && x < nWidth && y < nHeight; }

    // Raw packed pixels; the point must lie inside.
    uint32_t ReadRaw(int x, int y) const;
    void WriteRaw(int x, int y, uint32_t nPixel);

    COLORREF Read(int x, int y) const { return Format.Decode(ReadRaw(x, y)); }
    void Write(int x, int y, COLORREF colour) { WriteRaw(x, y, Format.Encode(colour)); }
    // Mixes the colour over the pixel by a coverage of 0..255.
    void Blend(int x, int y, COLORREF colour, uint8_t nCoverage);
    // Fills [left,right) x [top,bottom), clipped to the buffer.
    void Fill(RECT rect, COLORREF colour);

private:
    uint8_t* Address(int x, int y) const;

    uint8_t* pPixels = nullptr;
    int nWidth = 0;
    int nHeight = 0;
    int nPitch = 0;
    CPixelFormat Format;
};

// The part of a rectangle inside [0,width) x [0,height); empty when right <=
// left or bottom <= top.
RECT ClipRect(RECT rect, int nWidth, int nHeight);
RECT IntersectRects(const RECT& a, const RECT& b);
