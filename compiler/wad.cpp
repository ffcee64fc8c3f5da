#include "compiler/wad.h"

#include "platform/gdi_bmp.h"

#include <cstring>
#include <fstream>

namespace {

constexpr size_t WAD_HEADER_SIZE = 12;
constexpr size_t WAD_ENTRY_SIZE = 32;
constexpr size_t WAD_NAME_SIZE = 16;
constexpr size_t MIPTEX_HEADER_SIZE = 40;
constexpr int MIP_LEVELS = 4;
// Larger files are refused rather than read whole.
constexpr uint64_t MAX_WAD_BYTES = uint64_t(1) << 30;

uint32_t U32(const uint8_t* p)
{
    return uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) | (uint32_t(p[3]) << 24);
}

int32_t S32(const uint8_t* p) { return static_cast<int32_t>(U32(p)); }

bool ReadFileBytes(const std::string& path, std::vector<uint8_t>* pData, std::string* pProblem)
{
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    if (!file) {
        *pProblem = "cannot be opened";
        return false;
    }
    const std::streamoff size = file.tellg();
    if (size < 0 || static_cast<uint64_t>(size) > MAX_WAD_BYTES) {
        *pProblem = "cannot be read whole: larger than 1 GiB";
        return false;
    }
    pData->resize(static_cast<size_t>(size));
    file.seekg(0);
    if (!file.read(reinterpret_cast<char*>(pData->data()), size)) {
        *pProblem = "cannot be read";
        return false;
    }
    return true;
}

// One directory entry; an empty text when it is sound, else what is wrong.
std::string ReadEntry(const uint8_t* p, size_t fileSize, CWadLump* pLump)
{
    const int32_t offset = S32(p);
    const int32_t size = S32(p + 4);
    const uint8_t compression = p[13];
    const char* pszName = reinterpret_cast<const char*>(p + 16);
    const size_t nameLength = strnlen(pszName, WAD_NAME_SIZE);
    if (nameLength == WAD_NAME_SIZE)
        return "its name has no terminator";
    pLump->Name.assign(pszName, nameLength);
    if (offset < 0 || size < 0)
        return "a negative offset or size";
    if (static_cast<uint64_t>(offset) + static_cast<uint64_t>(size) > fileSize)
        return "it runs past the end of the file";
    if (compression != 0)
        return "it is compressed";
    pLump->nOffset = static_cast<uint32_t>(offset);
    pLump->nSize = static_cast<uint32_t>(size);
    pLump->nType = p[12];
    return "";
}

} // namespace

std::string LowerName(const std::string& name)
{
    std::string lower = name;
    for (char& c : lower)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return lower;
}

const CWadLump* CWad::Find(const std::string& name) const
{
    const auto it = ByName.find(LowerName(name));
    return it == ByName.end() ? nullptr : &Lumps[it->second];
}

bool ReadWad(const std::string& path, CWad* pWad, std::string* pProblem)
{
    *pWad = CWad();
    pWad->Path = path;
    pProblem->clear();
    if (!ReadFileBytes(path, &pWad->Data, pProblem))
        return false;
    const std::vector<uint8_t>& data = pWad->Data;
    if (data.size() < WAD_HEADER_SIZE ||
        (std::memcmp(data.data(), "WAD2", 4) != 0 && std::memcmp(data.data(), "WAD3", 4) != 0)) {
        *pProblem = "not a WAD2 or WAD3 file";
        return false;
    }
    pWad->Kind = data[3] == '2' ? EWadKind::Wad2 : EWadKind::Wad3;
    const int32_t count = S32(&data[4]);
    const int32_t directory = S32(&data[8]);
    if (count < 0 || directory < 0 ||
        static_cast<uint64_t>(directory) + uint64_t(count) * WAD_ENTRY_SIZE > data.size()) {
        *pProblem = "its directory (" + std::to_string(count) + " entries at " +
                    std::to_string(directory) + ") lies outside the file";
        return false;
    }

    int32_t damaged = 0;
    std::string firstDamage;
    for (int32_t i = 0; i < count; ++i) {
        CWadLump lump;
        const std::string damage = ReadEntry(
            &data[static_cast<size_t>(directory) + size_t(i) * WAD_ENTRY_SIZE], data.size(), &lump);
        if (!damage.empty()) {
            if (damaged++ == 0)
                firstDamage = "entry " + std::to_string(i) + ": " + damage;
            continue;
        }
        pWad->ByName.emplace(LowerName(lump.Name), pWad->Lumps.size());
        pWad->Lumps.push_back(lump);
    }
    if (damaged > 0)
        *pProblem = std::to_string(damaged) + " of " + std::to_string(count) +
                    " directory entries are damaged and left out (" + firstDamage + ")";
    return true;
}

bool DecodeMiptex(const CWad& wad, const CWadLump& lump, const uint8_t* pPalette,
                  CRgbPicture* pOut, std::string* pProblem)
{
    if (lump.nSize < MIPTEX_HEADER_SIZE) {
        *pProblem = "shorter than a texture header";
        return false;
    }
    const uint8_t* p = &wad.Data[lump.nOffset];
    const uint32_t width = U32(p + 16);
    const uint32_t height = U32(p + 20);
    const uint32_t pixelsAt = U32(p + 24);
    if (width < 1 || height < 1 || width > uint32_t(MAX_BITMAP_SIDE) ||
        height > uint32_t(MAX_BITMAP_SIDE)) {
        *pProblem = "a size of " + std::to_string(width) + " by " + std::to_string(height);
        return false;
    }
    const uint64_t pixelCount = uint64_t(width) * height;
    if (pixelsAt < MIPTEX_HEADER_SIZE || pixelsAt + pixelCount > lump.nSize) {
        *pProblem = "its pixels lie outside the lump";
        return false;
    }

    std::vector<uint8_t> grey;
    uint32_t colours = 256;
    if (wad.Kind == EWadKind::Wad3) {
        // The palette follows the four levels: a 16-bit count, then the colours.
        uint64_t paletteAt = pixelsAt;
        for (int level = 0; level < MIP_LEVELS; ++level)
            paletteAt += uint64_t(width >> level) * (height >> level);
        if (paletteAt + 2 > lump.nSize) {
            *pProblem = "its palette lies outside the lump";
            return false;
        }
        colours = uint32_t(p[paletteAt]) | (uint32_t(p[paletteAt + 1]) << 8);
        if (colours > 256) {
            *pProblem = "a palette of " + std::to_string(colours) + " colours, more than 256";
            return false;
        }
        if (paletteAt + 2 + uint64_t(colours) * 3 > lump.nSize) {
            *pProblem =
                "its palette of " + std::to_string(colours) + " colours lies outside the lump";
            return false;
        }
        pPalette = p + paletteAt + 2;
    } else if (!pPalette) {
        grey.resize(PALETTE_BYTES);
        for (size_t i = 0; i < PALETTE_BYTES; ++i)
            grey[i] = static_cast<uint8_t>(i / 3);
        pPalette = grey.data();
    }

    pOut->nWidth = static_cast<int>(width);
    pOut->nHeight = static_cast<int>(height);
    pOut->Rgb.assign(pixelCount * 3, 0);
    const uint8_t* pIndices = p + pixelsAt;
    for (uint64_t i = 0; i < pixelCount; ++i) {
        // An index past a short palette stays black.
        if (pIndices[i] < colours)
            std::memcpy(&pOut->Rgb[i * 3], pPalette + size_t(pIndices[i]) * 3, 3);
    }
    return true;
}

bool ReadPalette(const std::string& path, std::vector<uint8_t>* pPalette, std::string* pProblem)
{
    if (!ReadFileBytes(path, pPalette, pProblem))
        return false;
    if (pPalette->size() < PALETTE_BYTES) {
        *pProblem = "not a palette: " + std::to_string(pPalette->size()) + " bytes where " +
                    std::to_string(PALETTE_BYTES) + " are needed";
        return false;
    }
    pPalette->resize(PALETTE_BYTES);
    return true;
}

const uint8_t* FindPaletteLump(const CWad& wad)
{
    const CWadLump* pLump = wad.Find("palette");
    if (!pLump || pLump->nSize < PALETTE_BYTES)
        return nullptr;
    return &wad.Data[pLump->nOffset];
}
