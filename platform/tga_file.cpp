#include "platform/tga_file.h"

#include <SDL.h>
#include <SDL_image.h>

#include <cstring>
#include <memory>

namespace {

struct CSurfaceFree {
    void operator()(SDL_Surface* p) const { SDL_FreeSurface(p); }
};
using CSurface = std::unique_ptr<SDL_Surface, CSurfaceFree>;

} // namespace

bool ReadTgaRgb(const std::string& path, int* pWidth, int* pHeight, std::vector<uint8_t>* pRgb)
{
    if (!pWidth || !pHeight || !pRgb)
        return false;
    SDL_RWops* pFile = SDL_RWFromFile(path.c_str(), "rb");
    if (!pFile)
        return false;
    // TGA has no signature to recognise it by: the type is named.
    CSurface loaded(IMG_LoadTyped_RW(pFile, 1, "TGA"));
    if (!loaded)
        return false;
    CSurface rgb(SDL_ConvertSurfaceFormat(loaded.get(), SDL_PIXELFORMAT_RGB24, 0));
    if (!rgb || SDL_LockSurface(rgb.get()) != 0)
        return false;
    const size_t nRowBytes = static_cast<size_t>(rgb->w) * 3;
    std::vector<uint8_t> pixels(nRowBytes * static_cast<size_t>(rgb->h));
    for (int y = 0; y < rgb->h; ++y)
        std::memcpy(pixels.data() + nRowBytes * static_cast<size_t>(y),
                    static_cast<const uint8_t*>(rgb->pixels) + static_cast<size_t>(y) * rgb->pitch,
                    nRowBytes);
    SDL_UnlockSurface(rgb.get());
    *pWidth = rgb->w;
    *pHeight = rgb->h;
    *pRgb = std::move(pixels);
    return true;
}
