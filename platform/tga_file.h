#pragma once
// Pictures as Truevision TGA files, read through SDL_image.
#include <cstdint>
#include <string>
#include <vector>

// Any TGA SDL_image reads (colour-mapped, true-colour or grey, plain or
// run-length encoded), turned into 8-bit RGB, top row first, rows packed;
// false when it cannot be read.
bool ReadTgaRgb(const std::string& path, int* pWidth, int* pHeight, std::vector<uint8_t>* pRgb);
