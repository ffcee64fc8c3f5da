#include "platform/png_file.h"

#include <png.h>

#include <cstdio>
#include <memory>

namespace {

struct CFileCloser {
    void operator()(FILE* p) const { std::fclose(p); }
};
using CFile = std::unique_ptr<FILE, CFileCloser>;

} // namespace

bool WritePngRgb(const std::string& path, int nWidth, int nHeight, const uint8_t* pRgb)
{
    if (nWidth <= 0 || nHeight <= 0 || !pRgb)
        return false;
    CFile file(std::fopen(path.c_str(), "wb"));
    if (!file)
        return false;
    png_structp pPng = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop pInfo = pPng ? png_create_info_struct(pPng) : nullptr;
    if (!pInfo) {
        png_destroy_write_struct(&pPng, nullptr);
        return false;
    }
    if (setjmp(png_jmpbuf(pPng))) {
        png_destroy_write_struct(&pPng, &pInfo);
        return false;
    }
    png_init_io(pPng, file.get());
    png_set_IHDR(pPng, pInfo, static_cast<png_uint_32>(nWidth), static_cast<png_uint_32>(nHeight),
                 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    png_write_info(pPng, pInfo);
    for (int y = 0; y < nHeight; ++y)
        png_write_row(pPng, pRgb + static_cast<size_t>(y) * nWidth * 3);
    png_write_end(pPng, nullptr);
    png_destroy_write_struct(&pPng, &pInfo);
    return true;
}

bool ReadPngRgb(const std::string& path, int* pWidth, int* pHeight, std::vector<uint8_t>* pRgb)
{
    CFile file(std::fopen(path.c_str(), "rb"));
    if (!file || !pWidth || !pHeight || !pRgb)
        return false;
    // Declared before setjmp so that a jump back still frees it.
    std::vector<uint8_t> rgb;
    png_structp pPng = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop pInfo = pPng ? png_create_info_struct(pPng) : nullptr;
    if (!pInfo) {
        png_destroy_read_struct(&pPng, nullptr, nullptr);
        return false;
    }
    if (setjmp(png_jmpbuf(pPng))) {
        png_destroy_read_struct(&pPng, &pInfo, nullptr);
        return false;
    }
    png_init_io(pPng, file.get());
    png_read_info(pPng, pInfo);
    // Everything becomes 8-bit RGB: palettes expanded, grey widened, alpha dropped.
    png_set_expand(pPng);
    png_set_strip_16(pPng);
    png_set_strip_alpha(pPng);
    png_set_gray_to_rgb(pPng);
    png_read_update_info(pPng, pInfo);
    png_uint_32 nWidth = png_get_image_width(pPng, pInfo);
    png_uint_32 nHeight = png_get_image_height(pPng, pInfo);
    rgb.resize(static_cast<size_t>(nWidth) * nHeight * 3);
    for (png_uint_32 y = 0; y < nHeight; ++y)
        png_read_row(pPng, rgb.data() + static_cast<size_t>(y) * nWidth * 3, nullptr);
    png_read_end(pPng, nullptr);
    png_destroy_read_struct(&pPng, &pInfo, nullptr);
    *pWidth = static_cast<int>(nWidth);
    *pHeight = static_cast<int>(nHeight);
    *pRgb = std::move(rgb);
    return true;
}
