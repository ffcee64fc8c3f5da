#pragma once
// Writing Windows bitmap files (".bmp"): 24 bits a pixel, rows bottom-up and
// padded to four bytes, the layout every bitmap reader takes.
#include <cstdint>
#include <string>
#include <vector>

// The file's bytes for 8-bit RGB pixels given top row first. nMark is stored
// in the file header's two reserved words, which readers ignore; a writer may
// use it to know its own files again. Empty for a size below 1.
std::vector<uint8_t> EncodeBmp24(int nWidth, int nHeight, const uint8_t* pRgb, uint32_t nMark);

// The reserved words of a bitmap file's header, or 0 when the file can't be
// read or does not start like a bitmap.
uint32_t ReadBmpMark(const std::string& path);
