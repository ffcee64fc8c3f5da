#pragma once
// Test helpers: WAD files made in memory.
#include <cstdint>
#include <string>
#include <vector>

struct CTestLump {
    std::string Name;
    uint8_t nType = 0;
    std::string Data;
};

inline std::string U32Text(uint32_t value)
{
    return {char(value), char(value >> 8), char(value >> 16), char(value >> 24)};
}

// Header, the lumps in order, then the directory of plain lumps.
inline std::string MakeWad(const char* pszMagic, const std::vector<CTestLump>& lumps)
{
    std::string body, directory;
    for (const CTestLump& lump : lumps) {
        directory += U32Text(12 + static_cast<uint32_t>(body.size())) +
                     U32Text(static_cast<uint32_t>(lump.Data.size())) +
                     U32Text(static_cast<uint32_t>(lump.Data.size())) + char(lump.nType) +
                     std::string(3, '\0') + lump.Name + std::string(16 - lump.Name.size(), '\0');
        body += lump.Data;
    }
    return pszMagic + U32Text(static_cast<uint32_t>(lumps.size())) +
           U32Text(12 + static_cast<uint32_t>(body.size())) + body + directory;
}

// A 4x4 texture lump: header, the indices, three smaller levels of zeros
// (4, 1 and 0 bytes), then, for WAD3, the palette's count and colours.
inline std::string MakeMiptex(const std::string& name, const std::string& indices,
                              const std::string* pColours = nullptr)
{
    std::string lump = name + std::string(16 - name.size(), '\0') + U32Text(4) + U32Text(4) +
                       U32Text(40) + U32Text(56) + U32Text(60) + U32Text(61) + indices +
                       std::string(5, '\0');
    if (pColours)
        lump += std::string{char(pColours->size() / 3), char(pColours->size() / 3 >> 8)} +
                *pColours;
    return lump;
}
