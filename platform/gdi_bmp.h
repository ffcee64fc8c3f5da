#pragma once
// Reading Windows bitmap files (".bmp") held in memory.
#include <cstddef>
#include <cstdint>
#include <vector>

// Pictures larger than this on either side are refused.
constexpr int MAX_BITMAP_SIDE = 16384;

// Top row first, 0x00RRGGBB.
struct CDecodedBitmap {
    int nWidth = 0;
    int nHeight = 0;
    std::vector<uint32_t> Pixels;
};

// Decodes a file of 1, 4 or 8 bits with a palette, or 16, 24 or 32 bits
// (plain or with channel masks), rows either way up. False for anything
// else, and for a file whose sizes or offsets do not fit in its length.
bool DecodeBmp(const uint8_t* pData, size_t nSize, CDecodedBitmap& out);
