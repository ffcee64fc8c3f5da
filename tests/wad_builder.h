#pragma once
// Test helpers: WAD files made in memory, lump by lump.
#include <cstdint>
#include <string>
#include <vector>

struct CTestLump {
    std::string Name;
    uint8_t nType = 0;
    std::string Data;
};

inline void PutU32(std::string* pOut, uint32_t value)
{
    for (int shift = 0; shift < 32; shift += 8)
        *pOut += static_cast<char>((value >> shift) & 0xFF);
}

// Header, the lumps in order, then the directory.
inline std::string MakeWad(const char* pszMagic, const std::vector<CTestLump>& lumps)
{
    std::string body;
    std::vector<uint32_t> offsets;
    for (const CTestLump& lump : lumps) {
        offsets.push_back(12 + static_cast<uint32_t>(body.size()));
        body += lump.Data;
    }
    std::string wad = pszMagic;
    PutU32(&wad, static_cast<uint32_t>(lumps.size()));
    PutU32(&wad, 12 + static_cast<uint32_t>(body.size()));
    wad += body;
    for (size_t i = 0; i < lumps.size(); ++i) {
        PutU32(&wad, offsets[i]);
        PutU32(&wad, static_cast<uint32_t>(lumps[i].Data.size())); // size on disk
        PutU32(&wad, static_cast<uint32_t>(lumps[i].Data.size())); // size in memory
        wad += static_cast<char>(lumps[i].nType);
        wad += std::string(3, '\0'); // not compressed, padding
        std::string name = lumps[i].Name;
        name.resize(16, '\0');
        wad += name;
    }
    return wad;
}

// A texture lump: header, the full-size indices, three smaller levels of
// zeros, then (WAD3) a palette of colours.size() / 3 colours.
inline std::string MakeMiptex(const std::string& name, uint32_t width, uint32_t height,
                              const std::string& indices, const std::string& colours = "",
                              bool bPalette = false)
{
    std::string lump = name;
    lump.resize(16, '\0');
    PutU32(&lump, width);
    PutU32(&lump, height);
    uint32_t offset = 40;
    std::string levels = indices;
    for (int level = 0; level < 4; ++level) {
        PutU32(&lump, offset);
        offset += (width >> level) * (height >> level);
        if (level > 0)
            levels += std::string((width >> level) * (height >> level), '\0');
    }
    lump += levels;
    if (bPalette) {
        const uint32_t count = static_cast<uint32_t>(colours.size() / 3);
        lump += static_cast<char>(count & 0xFF);
        lump += static_cast<char>(count >> 8);
        lump += colours;
    }
    return lump;
}
