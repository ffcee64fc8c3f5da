#include "platform/gdi_bmp.h"

#include "platform/gdi_pixels.h"

#include <climits>

namespace {

const size_t FILE_HEADER_SIZE = 14;
const uint32_t CORE_HEADER_SIZE = 12;
const uint32_t INFO_HEADER_SIZE = 40;
const uint32_t BI_RGB = 0;
const uint32_t BI_BITFIELDS = 3;
const uint32_t BI_ALPHABITFIELDS = 6;
// The channel masks stand at the same place after every header kind that
// has them: right after the 40 bytes of the info header.
const size_t MASKS_OFFSET = FILE_HEADER_SIZE + INFO_HEADER_SIZE;

uint16_t U16(const uint8_t* p)
{
    return static_cast<uint16_t>(p[0] | (p[1] << 8));
}

uint32_t U32(const uint8_t* p)
{
    return p[0] | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) | (uint32_t(p[3]) << 24);
}

// The plain info header and its later versions (52 and 56 bytes with
// masks, 108 and 124 with colour spaces), which all begin alike.
bool IsInfoHeaderSize(uint32_t nSize)
{
    return nSize == INFO_HEADER_SIZE || nSize == 52 || nSize == 56 || nSize == 108 || nSize == 124;
}

// What the headers say about the pixel rows.
struct CLayout {
    uint32_t nHeaderSize = 0;
    int nWidth = 0;
    int nHeight = 0;
    bool bTopDown = false;
    int nBits = 0;
    uint32_t nCompression = BI_RGB;
    uint32_t nColoursUsed = 0;
    size_t nPixelsOffset = 0;
    CPixelFormat Masks;
    std::vector<uint32_t> Palette;
};

bool ReadHeader(const uint8_t* pData, size_t nSize, CLayout& layout)
{
    if (nSize < FILE_HEADER_SIZE + 4 || pData[0] != 'B' || pData[1] != 'M')
        return false;
    layout.nPixelsOffset = U32(pData + 10);
    layout.nHeaderSize = U32(pData + 14);
    const uint8_t* pInfo = pData + FILE_HEADER_SIZE;
    if (layout.nHeaderSize == CORE_HEADER_SIZE) {
        if (nSize < FILE_HEADER_SIZE + CORE_HEADER_SIZE)
            return false;
        layout.nWidth = U16(pInfo + 4);
        layout.nHeight = U16(pInfo + 6);
        layout.nBits = U16(pInfo + 10);
        return true;
    }
    if (!IsInfoHeaderSize(layout.nHeaderSize) || nSize < FILE_HEADER_SIZE + layout.nHeaderSize)
        return false;
    int32_t nHeight = static_cast<int32_t>(U32(pInfo + 8));
    if (nHeight == INT32_MIN)
        return false;
    layout.nWidth = static_cast<int32_t>(U32(pInfo + 4));
    layout.bTopDown = nHeight < 0;
    layout.nHeight = nHeight < 0 ? -nHeight : nHeight;
    layout.nBits = U16(pInfo + 14);
    layout.nCompression = U32(pInfo + 16);
    layout.nColoursUsed = U32(pInfo + 32);
    return true;
}

bool IsMasked(const CLayout& layout)
{
    return layout.nCompression == BI_BITFIELDS || layout.nCompression == BI_ALPHABITFIELDS;
}

bool CheckFormat(const CLayout& layout)
{
    if (layout.nWidth <= 0 || layout.nHeight <= 0 || layout.nWidth > MAX_BITMAP_SIDE ||
        layout.nHeight > MAX_BITMAP_SIDE)
        return false;
    switch (layout.nBits) {
    case 1:
    case 4:
    case 8:
    case 24:
        return layout.nCompression == BI_RGB;
    case 16:
    case 32:
        return layout.nCompression == BI_RGB || IsMasked(layout);
    default:
        return false;
    }
}

// The channel masks, and where the palette begins.
bool ReadMasks(const uint8_t* pData, size_t nSize, CLayout& layout, size_t& nPaletteOffset)
{
    nPaletteOffset = FILE_HEADER_SIZE + layout.nHeaderSize;
    if (!IsMasked(layout)) {
        layout.Masks = layout.nBits == 16 ? CPixelFormat::FromMasks(2, 0x7C00, 0x03E0, 0x001F)
                                          : BitmapPixelFormat();
        return true;
    }
    if (nSize < MASKS_OFFSET + 12)
        return false;
    const uint8_t* p = pData + MASKS_OFFSET;
    layout.Masks = CPixelFormat::FromMasks(layout.nBits / 8, U32(p), U32(p + 4), U32(p + 8));
    // After a plain info header the masks follow it.
    if (layout.nHeaderSize == INFO_HEADER_SIZE)
        nPaletteOffset += layout.nCompression == BI_ALPHABITFIELDS ? 16 : 12;
    return true;
}

bool ReadPalette(const uint8_t* pData, size_t nSize, size_t nOffset, CLayout& layout)
{
    if (layout.nBits > 8)
        return true;
    uint32_t nFull = 1u << layout.nBits;
    uint32_t nCount = layout.nColoursUsed == 0 || layout.nColoursUsed > nFull ? nFull
                                                                                : layout.nColoursUsed;
    size_t nEntry = layout.nHeaderSize == CORE_HEADER_SIZE ? 3 : 4;
    if (nOffset > nSize || (nSize - nOffset) / nEntry < nCount)
        return false;
    for (uint32_t i = 0; i < nCount; ++i) {
        const uint8_t* p = pData + nOffset + i * nEntry;
        layout.Palette.push_back((uint32_t(p[2]) << 16) | (uint32_t(p[1]) << 8) | p[0]);
    }
    return true;
}

size_t Stride(const CLayout& layout)
{
    return (static_cast<size_t>(layout.nWidth) * layout.nBits + 31) / 32 * 4;
}

// The rows must lie in the file, after the headers; the last row may lack
// its padding.
bool CheckPixels(size_t nSize, const CLayout& layout)
{
    size_t nRowBytes = (static_cast<size_t>(layout.nWidth) * layout.nBits + 7) / 8;
    size_t nNeeded = Stride(layout) * (layout.nHeight - 1) + nRowBytes;
    return layout.nPixelsOffset >= FILE_HEADER_SIZE + layout.nHeaderSize &&
           layout.nPixelsOffset <= nSize && nSize - layout.nPixelsOffset >= nNeeded;
}

uint32_t FromMasks(const CPixelFormat& masks, uint32_t nPixel)
{
    return (uint32_t(masks.Red.Unpack(nPixel)) << 16) | (uint32_t(masks.Green.Unpack(nPixel)) << 8) |
           masks.Blue.Unpack(nPixel);
}

uint32_t PixelAt(const CLayout& layout, const uint8_t* pRow, int x)
{
    switch (layout.nBits) {
    case 1:
    case 4:
    case 8: {
        int nBit = x * layout.nBits;
        uint32_t nIndex = (pRow[nBit >> 3] >> (8 - layout.nBits - (nBit & 7))) &
                          ((1u << layout.nBits) - 1);
        return nIndex < layout.Palette.size() ? layout.Palette[nIndex] : 0;
    }
    case 16:
        return FromMasks(layout.Masks, U16(pRow + x * 2));
    case 24: {
        const uint8_t* p = pRow + x * 3;
        return (uint32_t(p[2]) << 16) | (uint32_t(p[1]) << 8) | p[0];
    }
    default:
        return FromMasks(layout.Masks, U32(pRow + x * 4));
    }
}

} // namespace

bool DecodeBmp(const uint8_t* pData, size_t nSize, CDecodedBitmap& out)
{
    CLayout layout;
    size_t nPaletteOffset = 0;
    if (!pData || !ReadHeader(pData, nSize, layout) || !CheckFormat(layout) ||
        !ReadMasks(pData, nSize, layout, nPaletteOffset) ||
        !ReadPalette(pData, nSize, nPaletteOffset, layout) || !CheckPixels(nSize, layout))
        return false;
    out.nWidth = layout.nWidth;
    out.nHeight = layout.nHeight;
    out.Pixels.resize(static_cast<size_t>(layout.nWidth) * layout.nHeight);
    size_t nStride = Stride(layout);
    for (int y = 0; y < layout.nHeight; ++y) {
        int nStored = layout.bTopDown ? y : layout.nHeight - 1 - y;
        const uint8_t* pRow = pData + layout.nPixelsOffset + nStride * nStored;
        uint32_t* pOut = out.Pixels.data() + static_cast<size_t>(y) * layout.nWidth;
        for (int x = 0; x < layout.nWidth; ++x)
            pOut[x] = PixelAt(layout, pRow, x);
    }
    return true;
}
