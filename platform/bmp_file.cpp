#include "platform/bmp_file.h"

#include <fstream>

namespace {

constexpr uint32_t FILE_HEADER_SIZE = 14;
constexpr uint32_t INFO_HEADER_SIZE = 40;
constexpr uint32_t MARK_OFFSET = 6;

void Put16(std::vector<uint8_t>* pOut, uint32_t value)
{
    pOut->push_back(static_cast<uint8_t>(value & 0xFF));
    pOut->push_back(static_cast<uint8_t>((value >> 8) & 0xFF));
}

void Put32(std::vector<uint8_t>* pOut, uint32_t value)
{
    Put16(pOut, value & 0xFFFF);
    Put16(pOut, value >> 16);
}

} // namespace

std::vector<uint8_t> EncodeBmp24(int nWidth, int nHeight, const uint8_t* pRgb, uint32_t nMark)
{
    std::vector<uint8_t> out;
    if (nWidth < 1 || nHeight < 1 || !pRgb)
        return out;
    const uint32_t nStride = (static_cast<uint32_t>(nWidth) * 3 + 3) & ~3u;
    const uint32_t nPixelBytes = nStride * static_cast<uint32_t>(nHeight);
    const uint32_t nHeaders = FILE_HEADER_SIZE + INFO_HEADER_SIZE;
    out.reserve(nHeaders + nPixelBytes);
    out.push_back('B');
    out.push_back('M');
    Put32(&out, nHeaders + nPixelBytes);
    Put32(&out, nMark);
    Put32(&out, nHeaders);
    Put32(&out, INFO_HEADER_SIZE);
    Put32(&out, static_cast<uint32_t>(nWidth));
    Put32(&out, static_cast<uint32_t>(nHeight)); // positive: bottom row first
    Put16(&out, 1);                              // planes
    Put16(&out, 24);                             // bits a pixel
    Put32(&out, 0);                              // no compression
    Put32(&out, nPixelBytes);
    Put32(&out, 2835); // 72 dots an inch, both ways
    Put32(&out, 2835);
    Put32(&out, 0); // no palette
    Put32(&out, 0);
    for (int y = nHeight - 1; y >= 0; --y) {
        const uint8_t* pRow = pRgb + static_cast<size_t>(y) * static_cast<size_t>(nWidth) * 3;
        for (int x = 0; x < nWidth; ++x) {
            out.push_back(pRow[x * 3 + 2]);
            out.push_back(pRow[x * 3 + 1]);
            out.push_back(pRow[x * 3]);
        }
        out.resize(out.size() + (nStride - static_cast<uint32_t>(nWidth) * 3), 0);
    }
    return out;
}

uint32_t ReadBmpMark(const std::string& path)
{
    uint8_t header[MARK_OFFSET + 4] = {};
    std::ifstream file(path, std::ios::binary);
    if (!file.read(reinterpret_cast<char*>(header), sizeof(header)) || header[0] != 'B' ||
        header[1] != 'M')
        return 0;
    const uint8_t* p = header + MARK_OFFSET;
    return uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) | (uint32_t(p[3]) << 24);
}
