#pragma once
// Test helpers for captured frames: PNG reading and colour checks with a
// tolerance, since the display keeps 5-6-5 colours on its 2D surfaces.
#include <png.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

struct CPicture {
    int nWidth = 0;
    int nHeight = 0;
    std::vector<uint8_t> Rgb; // three bytes a pixel, top row first

    uint32_t At(int x, int y) const
    {
        const uint8_t* p = &Rgb[(static_cast<size_t>(y) * nWidth + x) * 3];
        return (uint32_t(p[0]) << 16) | (uint32_t(p[1]) << 8) | p[2];
    }
};

// A COLORREF (0x00BBGGRR) as 0xRRGGBB.
inline uint32_t FromColorRef(uint32_t colour)
{
    return ((colour & 0xFF) << 16) | (colour & 0xFF00) | ((colour >> 16) & 0xFF);
}

inline bool NearColour(uint32_t a, uint32_t b, int nTolerance = 12)
{
    for (int nShift : {0, 8, 16}) {
        const int nA = (a >> nShift) & 0xFF, nB = (b >> nShift) & 0xFF;
        if (std::abs(nA - nB) > nTolerance)
            return false;
    }
    return true;
}

// Pixels of the rectangle [x0,x1) x [y0,y1) near the colour.
inline int CountNear(const CPicture& picture, int x0, int y0, int x1, int y1, uint32_t rgb,
                     int nTolerance = 12)
{
    int nCount = 0;
    for (int y = y0; y < y1; ++y)
        for (int x = x0; x < x1; ++x)
            nCount += NearColour(picture.At(x, y), rgb, nTolerance) ? 1 : 0;
    return nCount;
}

// Pixels of two pictures of one size whose channels differ by more than
// the tolerance.
inline int CountDifferent(const CPicture& a, const CPicture& b, int nTolerance = 8)
{
    int nCount = 0;
    for (int y = 0; y < a.nHeight; ++y)
        for (int x = 0; x < a.nWidth; ++x)
            nCount += NearColour(a.At(x, y), b.At(x, y), nTolerance) ? 0 : 1;
    return nCount;
}

inline bool LoadPicture(const std::string& path, CPicture* pOut)
{
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str()))
        return false;
    image.format = PNG_FORMAT_RGB;
    pOut->nWidth = static_cast<int>(image.width);
    pOut->nHeight = static_cast<int>(image.height);
    pOut->Rgb.assign(PNG_IMAGE_SIZE(image), 0);
    const bool bOk = png_image_finish_read(&image, nullptr, pOut->Rgb.data(), 0, nullptr) != 0;
    png_image_free(&image);
    return bOk;
}
