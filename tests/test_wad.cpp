#include "compiler/wad.h"

#include "tests/scratch_dir.h"
#include "tests/wad_builder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>

namespace {

class WadTest : public ScratchDirTest {
protected:
    bool Read(const std::string& bytes) { return ReadWad(Write("t.wad", bytes), &Wad, &Problem); }

    // The decoded texture's pixel, 0xRRGGBB.
    uint32_t At(int x, int y) const
    {
        const uint8_t* p = &Picture.Rgb[(size_t(y) * Picture.nWidth + x) * 3];
        return (uint32_t(p[0]) << 16) | (uint32_t(p[1]) << 8) | p[2];
    }

    CWad Wad;
    CRgbPicture Picture;
    std::string Problem;
};

// The indices 0..15 of a 4x4 texture.
std::string Ramp16()
{
    std::string indices;
    for (char i = 0; i < 16; ++i)
        indices += i;
    return indices;
}

} // namespace

TEST_F(WadTest, Wad2TextureRoundTripsThroughItsPaletteOrAGreyRamp)
{
    std::string palette;
    for (int i = 0; i < 256; ++i)
        palette += {char(i), char(2 * i), char(255 - i)};
    const CTestLump texture = {"floor", WAD_TYPE_MIPTEX2, MakeMiptex("floor", Ramp16())};
    ASSERT_TRUE(Read(MakeWad("WAD2", {{"PALETTE", 0x40, palette}, texture})));
    ASSERT_NE(FindPaletteLump(Wad), nullptr);
    ASSERT_TRUE(DecodeMiptex(Wad, *Wad.Find("FLOOR"), FindPaletteLump(Wad), &Picture, &Problem));
    EXPECT_EQ(At(3, 0), 0x0306FCu);
    EXPECT_EQ(At(1, 3), 0x0D1AF2u); // index 13
    ASSERT_TRUE(DecodeMiptex(Wad, *Wad.Find("floor"), nullptr, &Picture, &Problem));
    EXPECT_EQ(At(3, 3), 0x0F0F0Fu);
}

TEST_F(WadTest, IndexPastAShortPaletteIsBlack)
{
    const std::string colours("\x10\x20\x30\x40\x50\x60", 6);
    const CTestLump texture = {"t", WAD_TYPE_MIPTEX3, MakeMiptex("t", Ramp16(), &colours)};
    ASSERT_TRUE(Read(MakeWad("WAD3", {texture})));
    ASSERT_TRUE(DecodeMiptex(Wad, Wad.Lumps[0], nullptr, &Picture, &Problem)) << Problem;
    EXPECT_EQ(At(1, 0), 0x405060u);
    EXPECT_EQ(At(2, 0), 0x000000u);
}

// One damage of a one-texture WAD3: the 32-bit value written at a byte
// offset (from the start, or from the directory when bInDirectory).
struct CDirectoryDamage {
    const char* pszName;
    bool bInDirectory;
    size_t nOffset;
    uint32_t nValue;
    bool bReadable; // the file as a whole can still be used
    const char* pszProblem;
};

void PrintTo(const CDirectoryDamage& damage, std::ostream* pOut) { *pOut << damage.pszName; }

class WadDamageTest : public WadTest, public ::testing::WithParamInterface<CDirectoryDamage> {};

TEST_P(WadDamageTest, DamagedDirectoryGivesAProblemAndNoTexture)
{
    const CDirectoryDamage& damage = GetParam();
    // Twelve characters: the damage at 28 fills the name's last four bytes.
    const std::string name = "abcdefghijkl", colours = "abc";
    std::string bytes =
        MakeWad("WAD3", {{name, WAD_TYPE_MIPTEX3, MakeMiptex(name, Ramp16(), &colours)}});
    const size_t directory = static_cast<uint8_t>(bytes[8]); // a small file: below 256
    const size_t at = (damage.bInDirectory ? directory : 0) + damage.nOffset;
    bytes.replace(at, 4, U32Text(damage.nValue));
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

// One damage of a sound 4x4 WAD3 texture lump of two colours.
struct CTextureDamage {
    const char* pszName;
    std::function<void(std::string*)> Damage;
    const char* pszProblem;
};

void PrintTo(const CTextureDamage& damage, std::ostream* pOut) { *pOut << damage.pszName; }

class TextureDamageTest : public WadTest, public ::testing::WithParamInterface<CTextureDamage> {};

TEST_P(TextureDamageTest, DamagedTextureIsRefusedWithItsProblem)
{
    const std::string colours = "abcdef";
    std::string lump = MakeMiptex("t", Ramp16(), &colours);
    GetParam().Damage(&lump);
    ASSERT_TRUE(Read(MakeWad("WAD3", {{"t", WAD_TYPE_MIPTEX3, lump}})));
    EXPECT_FALSE(DecodeMiptex(Wad, Wad.Lumps[0], nullptr, &Picture, &Problem));
    EXPECT_NE(Problem.find(GetParam().pszProblem), std::string::npos) << Problem;
}

// Header fields: width at 16, height at 20, the pixels' offset at 24; the
// palette's count at 61.
std::function<void(std::string*)> Put(size_t at, uint32_t value)
{
    return [=](std::string* p) { p->replace(at, 4, U32Text(value)); };
}

INSTANTIATE_TEST_SUITE_P(
    Cases, TextureDamageTest,
    ::testing::Values(
        CTextureDamage{"ShorterThanItsHeader", [](std::string* p) { p->resize(39); },
                       "shorter than a texture header"},
        CTextureDamage{"ZeroWidth", Put(16, 0), "a size of 0 by 4"},
        CTextureDamage{"HugeHeight", Put(20, 0x40000000), "a size of 4 by 1073741824"},
        CTextureDamage{"PixelsInTheHeader", Put(24, 8), "its pixels lie outside the lump"},
        CTextureDamage{"PixelsPastTheLump", Put(24, 70), "its pixels lie outside the lump"},
        CTextureDamage{"NoPaletteCount", [](std::string* p) { p->resize(62); },
                       "its palette lies outside the lump"},
        CTextureDamage{"PaletteCountPastTheLump", [](std::string* p) { (*p)[61] = 3; },
                       "its palette of 3 colours lies outside the lump"},
        CTextureDamage{"PaletteOfMoreThan256",
                       [](std::string* p) { p->replace(61, 2, "\x01\x01").append(257 * 3, 'x'); },
                       "a palette of 257 colours, more than 256"}),
    [](const auto& info) { return std::string(info.param.pszName); });
