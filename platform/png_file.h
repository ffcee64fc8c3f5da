#pragma once
// Pictures as PNG files: 8-bit RGB, top row first, rows packed.
#include <cstdint>
#include <string>
#include <vector>

bool WritePngRgb(const std::string& path, int nWidth, int nHeight, const uint8_t* pRgb);
// Any PNG libpng reads, turned into 8-bit RGB; false when it cannot be read.
bool ReadPngRgb(const std::string& path, int* pWidth, int* pHeight, std::vector<uint8_t>* pRgb);
