#include "compiler/wad.h"

#include "tests/scratch_dir.h"
#include "tests/wad_builder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>

namespace {

class WadTest : public ScratchDirTest {
protected:
    // Reads the bytes as a WAD file; the problem text in Problem.
    bool Read(const std::string& bytes)
    {
        return ReadWad(Write("test.wad", bytes), &Wad, &Problem);
    }

    uint32_t At(const CRgbPicture& picture, int x, int y) const
    {
        const uint8_t* p = &picture.Rgb[(size_t(y) * picture.nWidth + x) * 3];
        return (uint32_t(p[0]) << 16) | (uint32_t(p[1]) << 8) | p[2];
    }

    CWad Wad;
    std::string Problem;
};

// Sixteen indices 0..15 of a 4x4 texture.
std::string Ramp16()
{
    std::string indices;
    for (int i = 0; i < 16; ++i)
        indices += static_cast<char>(i);
    return indices;
}

} // namespace

TEST_F(WadTest, Wad3TextureTakesItsOwnPalette)
{
    ASSERT_TRUE(ReadWad(SharedMap("hl_currents.wad"), &Wad, &Problem)) << Problem;
    EXPECT_EQ(Problem, "");
    EXPECT_EQ(Wad.Kind, EWadKind::Wad3);
    EXPECT_EQ(Wad.Lumps.size(), 6u);
    const CWadLump* pLump = Wad.Find("!CUR_0"); // editors match names ignoring case
    ASSERT_NE(pLump, nullptr);
    CRgbPicture picture;
    ASSERT_TRUE(DecodeMiptex(Wad, *pLump, nullptr, &picture, &Problem)) << Problem;
    ASSERT_EQ(picture.nWidth, 64);
    ASSERT_EQ(picture.nHeight, 64);
    // Each of the texture's six colours where it first stands (read from the
    // file by hand: index at the pixel, then its entry of the palette after
    // the fourth level).
    EXPECT_EQ(At(picture, 0, 0), 0x13131Au);
    EXPECT_EQ(At(picture, 6, 0), 0x000000u);
    EXPECT_EQ(At(picture, 4, 1), 0x2E2E3Fu);
    EXPECT_EQ(At(picture, 5, 1), 0x37374Bu);
    EXPECT_EQ(At(picture, 7, 1), 0xEBEBEBu);
    EXPECT_EQ(At(picture, 18, 16), 0x060000u);
    EXPECT_EQ(At(picture, 0, 63), 0x2E2E3Fu);
}

TEST_F(WadTest, Wad2TextureRoundTripsThroughTheSharedPaletteOrAGreyRamp)
{
    std::string palette;
    for (int i = 0; i < 256; ++i)
        palette += {static_cast<char>(i), static_cast<char>(2 * i), static_cast<char>(255 - i)};
    ASSERT_TRUE(Read(MakeWad("WAD2", {{"PALETTE", 0x40, palette},
                                      {"floor", WAD_TYPE_MIPTEX2, MakeMiptex("floor", 4, 4, Ramp16())}})));
    EXPECT_EQ(Wad.Kind, EWadKind::Wad2);
    const uint8_t* pPalette = FindPaletteLump(Wad);
    ASSERT_NE(pPalette, nullptr);
    CRgbPicture picture;
    ASSERT_TRUE(DecodeMiptex(Wad, *Wad.Find("FLOOR"), pPalette, &picture, &Problem));
    EXPECT_EQ(At(picture, 0, 0), 0x0000FFu);
    EXPECT_EQ(At(picture, 3, 0), 0x0306FCu);
    EXPECT_EQ(At(picture, 1, 3), 0x0D1AF2u); // index 13
    ASSERT_TRUE(DecodeMiptex(Wad, *Wad.Find("floor"), nullptr, &picture, &Problem));
    EXPECT_EQ(At(picture, 3, 3), 0x0F0F0Fu);
}

TEST_F(WadTest, IndexPastAShortPaletteIsBlack)
{
    const std::string colours("\x10\x20\x30\x40\x50\x60", 6);
    ASSERT_TRUE(Read(MakeWad("WAD3", {{"t", WAD_TYPE_MIPTEX3,
                                       MakeMiptex("t", 4, 4, Ramp16(), colours, true)}})));
    CRgbPicture picture;
    ASSERT_TRUE(DecodeMiptex(Wad, Wad.Lumps[0], nullptr, &picture, &Problem)) << Problem;
    EXPECT_EQ(At(picture, 1, 0), 0x405060u);
    EXPECT_EQ(At(picture, 2, 0), 0x000000u);
}

// One damage of a one-texture WAD3: the byte offset (from the start, or from
// the directory when bFromDirectory) and the 32-bit value written there.
struct CDirectoryDamage {
    const char* pszName;
    bool bFromDirectory;
    size_t nOffset;
    uint32_t nValue;
    bool bReadable;   // the file as a whole can still be used
    const char* pszProblem;
};

class WadDamageTest : public WadTest, public ::testing::WithParamInterface<CDirectoryDamage> {};

TEST_P(WadDamageTest, DamagedDirectoryGivesAProblemAndNoTexture)
{
    const CDirectoryDamage& damage = GetParam();
    // Twelve characters: the damage at 28 fills the name's last four bytes.
    const std::string name = "abcdefghijkl";
    std::string bytes = MakeWad("WAD3", {{name, WAD_TYPE_MIPTEX3,
                                          MakeMiptex(name, 4, 4, Ramp16(), "abc", true)}});
    uint32_t directory = 0;
    std::memcpy(&directory, &bytes[8], 4);
    const size_t at = (damage.bFromDirectory ? directory : 0) + damage.nOffset;
    std::memcpy(&bytes[at], &damage.nValue, 4);
    EXPECT_EQ(Read(bytes), damage.bReadable);
    EXPECT_NE(Problem.find(damage.pszProblem), std::string::npos) << Problem;
    EXPECT_EQ(Wad.Find(name), nullptr);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, WadDamageTest,
    ::testing::Values(
        CDirectoryDamage{"BadMagic", false, 0, 0x39444157, false, "not a WAD2 or WAD3 file"},
        CDirectoryDamage{"CountPastTheEnd", false, 4, 2, false, "lies outside the file"},
        CDirectoryDamage{"NegativeDirectory", false, 8, 0xFFFFFFFC, false, "lies outside"},
        CDirectoryDamage{"NegativeOffset", true, 0, 0xFFFFFFF4, true,
                         "1 of 1 directory entries are damaged and left out (entry 0: a "
                         "negative offset or size)"},
        CDirectoryDamage{"NegativeSize", true, 4, 0x80000000, true, "negative offset or size"},
        CDirectoryDamage{"SizePastTheEnd", true, 4, 100000, true, "runs past the end"},
        CDirectoryDamage{"OffsetAndSizeOverflow", true, 0, 0x7FFFFFFF, true, "runs past the end"},
        CDirectoryDamage{"NameWithoutTerminator", true, 28, 0x41414141, true, "no terminator"},
        CDirectoryDamage{"Compressed", true, 12, 0x00000143, true, "compressed"}),
    [](const auto& info) { return std::string(info.param.pszName); });

TEST_F(WadTest, ShortFileIsNoWad)
{
    EXPECT_FALSE(Read("WAD3\1\0\0"));
    EXPECT_EQ(Problem, "not a WAD2 or WAD3 file");
    EXPECT_FALSE(ReadWad(Path("absent.wad"), &Wad, &Problem));
    EXPECT_EQ(Problem, "cannot be opened");
}

// One damage of a texture lump, made from a sound 4x4 WAD3 texture.
struct CTextureDamage {
    const char* pszName;
    std::function<void(std::string*)> Damage;
    const char* pszProblem;
};

class TextureDamageTest : public WadTest, public ::testing::WithParamInterface<CTextureDamage> {};

TEST_P(TextureDamageTest, DamagedTextureIsRefusedWithItsProblem)
{
    std::string lump = MakeMiptex("t", 4, 4, Ramp16(), "abcdef", true);
    GetParam().Damage(&lump);
    ASSERT_TRUE(Read(MakeWad("WAD3", {{"t", WAD_TYPE_MIPTEX3, lump}})));
    CRgbPicture picture;
    EXPECT_FALSE(DecodeMiptex(Wad, Wad.Lumps[0], nullptr, &picture, &Problem));
    EXPECT_NE(Problem.find(GetParam().pszProblem), std::string::npos) << Problem;
}

void Put(std::string* pLump, size_t at, uint32_t value) { std::memcpy(&(*pLump)[at], &value, 4); }

INSTANTIATE_TEST_SUITE_P(
    Cases, TextureDamageTest,
    ::testing::Values(
        CTextureDamage{"ShorterThanItsHeader", [](std::string* p) { p->resize(39); },
                       "shorter than a texture header"},
        CTextureDamage{"ZeroWidth", [](std::string* p) { Put(p, 16, 0); }, "a size of 0 by 4"},
        CTextureDamage{"HugeHeight", [](std::string* p) { Put(p, 20, 0x40000000); },
                       "a size of 4 by 1073741824"},
        CTextureDamage{"PixelsInTheHeader", [](std::string* p) { Put(p, 24, 8); },
                       "its pixels lie outside the lump"},
        CTextureDamage{"PixelsPastTheLump", [](std::string* p) { Put(p, 24, 70); },
                       "its pixels lie outside the lump"},
        CTextureDamage{"NoPaletteCount", [](std::string* p) { p->resize(40 + 21 + 1); },
                       "its palette lies outside the lump"},
        CTextureDamage{"PaletteCountPastTheLump", [](std::string* p) { (*p)[61] = 3; },
                       "its palette of 3 colours lies outside the lump"},
        CTextureDamage{"PaletteOfMoreThan256",
                       [](std::string* p) {
                           (*p)[61] = 1;
                           (*p)[62] = 1;
                           p->append(257 * 3, 'x');
                       },
                       "a palette of 257 colours, more than 256"}),
    [](const auto& info) { return std::string(info.param.pszName); });
