#pragma once
// WAD texture packages as level editors use them: WAD3, where every texture
// carries its own palette, and WAD2, whose 8-bit textures share one palette
// kept outside them. The whole file is held in memory; every size and
// offset of the directory and of a texture is checked against it, so a
// damaged file costs warnings, never a read outside the file.
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

// One 256-colour palette: red, green, blue a colour.
constexpr size_t PALETTE_BYTES = 768;

// Lump types of textures: "C" in WAD3 files, "D" in WAD2 files.
constexpr uint8_t WAD_TYPE_MIPTEX3 = 0x43;
constexpr uint8_t WAD_TYPE_MIPTEX2 = 0x44;

// 8-bit RGB pixels, top row first, rows packed.
struct CRgbPicture {
    int nWidth = 0;
    int nHeight = 0;
    std::vector<uint8_t> Rgb;
};

enum class EWadKind { Wad2, Wad3 };

struct CWadLump {
    std::string Name; // as stored, without its terminator
    uint32_t nOffset = 0;
    uint32_t nSize = 0;
    uint8_t nType = 0;
};

struct CWad {
    std::string Path;
    EWadKind Kind = EWadKind::Wad3;
    std::vector<uint8_t> Data; // the whole file
    std::vector<CWadLump> Lumps;
    std::unordered_map<std::string, size_t> ByName; // lower-case name -> first lump

    // The first lump of this name, ignoring ASCII case, or null.
    const CWadLump* Find(const std::string& name) const;
};

// Reads the file at path and its directory. False with the reason in
// *pProblem when the file can't be read, is no WAD, or its directory lies
// outside it. Damaged entries (a negative or outside offset or size, a name
// without a terminator, a compressed lump) are left out and told in one line
// in *pProblem while the result stays true.
bool ReadWad(const std::string& path, CWad* pWad, std::string* pProblem);

// The pixels of a texture lump at full size. A WAD3 texture takes its own
// palette, a WAD2 texture pPalette (PALETTE_BYTES), or a grey ramp when that
// is null. False with the reason in *pProblem when the lump is damaged.
bool DecodeMiptex(const CWad& wad, const CWadLump& lump, const uint8_t* pPalette,
                  CRgbPicture* pOut, std::string* pProblem);

// The palette lump of a WAD2 file ("palette", as its graphics package has
// it), or null.
const uint8_t* FindPaletteLump(const CWad& wad);

// Reads a palette file (palette.lmp: PALETTE_BYTES, or a longer file whose
// first PALETTE_BYTES are the palette). False with the reason in *pProblem.
bool ReadPalette(const std::string& path, std::vector<uint8_t>* pPalette, std::string* pProblem);

// Lower-case ASCII, the key of every case-blind texture name lookup.
std::string LowerName(const std::string& name);
