#include "platform/gdi_pixels.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>

CChannel CChannel::FromMask(uint32_t nMask)
{
    CChannel channel;
    if (nMask == 0)
        return channel;
    channel.nMask = nMask;
    channel.nShift = std::countr_zero(nMask);
    channel.nBits = std::countr_one(nMask >> channel.nShift);
    return channel;
}

uint32_t CChannel::Pack(uint8_t nValue) const
{
    if (nBits == 0)
        return 0;
    uint32_t nScaled = nBits <= 8 ? nValue >> (8 - nBits) : uint32_t(nValue) << (nBits - 8);
    return (nScaled << nShift) & nMask;
}

uint8_t CChannel::Unpack(uint32_t nPixel) const
{
    if (nBits == 0)
        return 0;
    uint32_t nValue = (nPixel & nMask) >> nShift;
    if (nBits >= 8)
        return static_cast<uint8_t>(nValue >> (nBits - 8));
    // Repeat the bits downwards until all eight are filled: 5 bits abcde
    // become abcdeabc.
    uint32_t nResult = 0;
    for (int nPos = 8 - nBits; nPos > -nBits; nPos -= nBits)
        nResult |= nPos >= 0 ? nValue << nPos : nValue >> -nPos;
    return static_cast<uint8_t>(nResult);
}

CPixelFormat CPixelFormat::FromMasks(int nBytes, uint32_t nRed, uint32_t nGreen, uint32_t nBlue)
{
    CPixelFormat format;
    format.nBytes = nBytes;
    format.Red = CChannel::FromMask(nRed);
    format.Green = CChannel::FromMask(nGreen);
    format.Blue = CChannel::FromMask(nBlue);
    return format;
}

uint32_t CPixelFormat::Encode(COLORREF colour) const
{
    return Red.Pack(GetRValue(colour)) | Green.Pack(GetGValue(colour)) |
           Blue.Pack(GetBValue(colour));
}

COLORREF CPixelFormat::Decode(uint32_t nPixel) const
{
    return RGB(Red.Unpack(nPixel), Green.Unpack(nPixel), Blue.Unpack(nPixel));
}

bool CPixelFormat::operator==(const CPixelFormat& other) const
{
    return nBytes == other.nBytes && Red.nMask == other.Red.nMask &&
           Green.nMask == other.Green.nMask && Blue.nMask == other.Blue.nMask;
}

CPixelFormat BitmapPixelFormat()
{
    return CPixelFormat::FromMasks(4, 0xFF0000, 0x00FF00, 0x0000FF);
}

CPixelTarget::CPixelTarget(void* pPixels, int nWidth, int nHeight, int nPitch,
                           const CPixelFormat& format)
    : pPixels(static_cast<uint8_t*>(pPixels)), nWidth(pPixels ? nWidth : 0),
      nHeight(pPixels ? nHeight : 0), nPitch(nPitch), Format(format)
{
}

uint8_t* CPixelTarget::Address(int x, int y) const
{
    return pPixels + static_cast<std::ptrdiff_t>(y) * nPitch + static_cast<std::ptrdiff_t>(x) * Format.nBytes;
}

uint32_t CPixelTarget::ReadRaw(int x, int y) const
{
    const uint8_t* p = Address(x, y);
    switch (Format.nBytes) {
    case 2: {
        uint16_t n;
        std::memcpy(&n, p, 2);
        return n;
    }
    case 3:
        return p[0] | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16);
    default: {
        uint32_t n;
        std::memcpy(&n, p, 4);
        return n;
    }
    }
}

void CPixelTarget::WriteRaw(int x, int y, uint32_t nPixel)
{
    uint8_t* p = Address(x, y);
    switch (Format.nBytes) {
    case 2: {
        uint16_t n = static_cast<uint16_t>(nPixel);
        std::memcpy(p, &n, 2);
        break;
    }
    case 3:
        p[0] = static_cast<uint8_t>(nPixel);
        p[1] = static_cast<uint8_t>(nPixel >> 8);
        p[2] = static_cast<uint8_t>(nPixel >> 16);
        break;
    default:
        std::memcpy(p, &nPixel, 4);
        break;
    }
}

namespace {

uint8_t Mix(uint8_t nTop, uint8_t nUnder, uint32_t nCoverage)
{
    return static_cast<uint8_t>((nTop * nCoverage + nUnder * (255 - nCoverage) + 127) / 255);
}

} // namespace

void CPixelTarget::Blend(int x, int y, COLORREF colour, uint8_t nCoverage)
{
    if (nCoverage == 0)
        return;
    if (nCoverage == 255) {
        Write(x, y, colour);
        return;
    }
    COLORREF under = Read(x, y);
    Write(x, y,
          RGB(Mix(GetRValue(colour), GetRValue(under), nCoverage),
              Mix(GetGValue(colour), GetGValue(under), nCoverage),
              Mix(GetBValue(colour), GetBValue(under), nCoverage)));
}

void CPixelTarget::Fill(RECT rect, COLORREF colour)
{
    rect = ClipRect(rect, nWidth, nHeight);
    if (rect.right <= rect.left)
        return;
    // The first row pixel by pixel, the others as copies of it.
    uint32_t nPixel = Format.Encode(colour);
    for (int x = rect.left; x < rect.right; ++x)
        WriteRaw(x, rect.top, nPixel);
    size_t nRowBytes = static_cast<size_t>(rect.right - rect.left) * Format.nBytes;
    const uint8_t* pFirst = Address(rect.left, rect.top);
    for (int y = rect.top + 1; y < rect.bottom; ++y)
        std::memcpy(Address(rect.left, y), pFirst, nRowBytes);
}

RECT IntersectRects(const RECT& a, const RECT& b)
{
    RECT result{std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
                std::min(a.bottom, b.bottom)};
    if (result.right <= result.left || result.bottom <= result.top)
        return RECT{0, 0, 0, 0};
    return result;
}

RECT ClipRect(RECT rect, int nWidth, int nHeight)
{
    return IntersectRects(rect, RECT{0, 0, nWidth, nHeight});
}
