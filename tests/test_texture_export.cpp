#include "compiler/texture_export.h"

#include "compiler/texture_source.h"
#include "platform/bmp_file.h"
#include "platform/gdi_bmp.h"
#include "platform/png_file.h"
#include "viewer/map_format.h"

#include "tests/picture.h"
#include "tests/run_program.h"
#include "tests/scratch_dir.h"
#include "tests/wad_builder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

namespace {

const std::vector<std::string> HL_NAMES = {"hltest",  "!cur_0",      "!cur_270", "!cur_90",
                                           "!cur_up", "!liquidtest", "!cur_dwn", "!cur_180"};

// A 2x2 picture: red, green on top; blue, white below.
const uint8_t QUAD[12] = {255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 255};

class TextureExportTest : public ScratchDirTest {
protected:
    // Exports the names for the map at Path(map) into Path("out/map.vmz").
    bool Export(const std::vector<std::string>& names, const std::string& map = "map.map")
    {
        std::vector<char> rows(names.size() * MAP_NAME_SIZE, '\0');
        for (size_t i = 0; i < names.size(); ++i)
            std::memcpy(&rows[i * MAP_NAME_SIZE], names[i].data(), names[i].size());
        Options.MapPath = map.front() == '/' ? map : Path(map);
        Log.str("");
        Err.str("");
        return ExportTextures(Options, Path("out/map.vmz"), rows, Log, Err, &Result, &Failure);
    }

    // A map text whose world entity has this "wad" value.
    void WriteMap(const std::string& wadKey)
    {
        Write("map.map", "{\n\"classname\" \"worldspawn\"\n\"wad\" \"" + wadKey + "\"\n}\n");
    }

    // Writes bytes to a file below the scratch directory, making folders.
    void Place(const std::string& name, const std::string& bytes)
    {
        fs::create_directories((Dir / name).parent_path());
        Write(name, bytes);
    }

    // The picture written for a texture, 0x00RRGGBB top row first.
    CDecodedBitmap Written(const std::string& name)
    {
        std::ifstream file(Path("out/" + name + ".bmp"), std::ios::binary);
        const std::string bytes((std::istreambuf_iterator<char>(file)), {});
        CDecodedBitmap bitmap;
        EXPECT_TRUE(DecodeBmp(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), bitmap))
            << name;
        return bitmap;
    }

    CCompileOptions Options;
    std::ostringstream Log, Err;
    CTextureExport Result;
    std::string Failure;
};

std::string OneTextureWad3(const std::string& name, char index)
{
    const std::string colours("\x11\x22\x33\x44\x55\x66", 6);
    return MakeWad("WAD3", {{name, WAD_TYPE_MIPTEX3,
                             MakeMiptex(name, 4, 4, std::string(16, index), colours, true)}});
}

} // namespace

TEST_F(TextureExportTest, HlCurrentsWritesEveryTextureOfItsWadAndNamesTheMissing)
{
    ASSERT_TRUE(Export(HL_NAMES, SharedMap("hl_currents.map"))) << Failure;
    // The map's WAD holds six of its eight textures; hltest and !liquidtest
    // live in a WAD that is not there.
    EXPECT_EQ(Result.nWritten, 6);
    EXPECT_EQ(Result.Missing, (std::vector<std::string>{"hltest", "!liquidtest"}));
    EXPECT_NE(Log.str().find("Textures found:\t6 of 8\n\t" + SharedMap("hl_currents.wad") +
                             ":\t!cur_0 !cur_270 !cur_90 !cur_up !cur_dwn !cur_180\n"),
              std::string::npos)
        << Log.str();
    EXPECT_NE(Err.str().find("deprecated/hlwad.wad"), std::string::npos) << Err.str();
    // The viewer's own reader sees the WAD's pixels through its palette.
    const CDecodedBitmap picture = Written("!cur_0");
    ASSERT_EQ(picture.nWidth, 64);
    ASSERT_EQ(picture.nHeight, 64);
    EXPECT_EQ(picture.Pixels[0], 0x13131Au);
    EXPECT_EQ(picture.Pixels[1 * 64 + 7], 0xEBEBEBu);
    EXPECT_EQ(picture.Pixels[63 * 64 + 0], 0x2E2E3Fu);
    EXPECT_EQ(ReadBmpMark(Path("out/!cur_0.bmp")), TEXTURE_BMP_MARK);
}

// Where a "wad" entry's file lies, and the folders given with --wad-dir.
struct CWadPlace {
    const char* pszName;
    const char* pszKey;
    const char* pszFile;
    const char* pszWadDir;
};

class WadPlaceTest : public TextureExportTest, public ::testing::WithParamInterface<CWadPlace> {};

TEST_P(WadPlaceTest, WadKeyEntryIsFoundWhereEditorsPutIt)
{
    WriteMap(GetParam().pszKey);
    Place(GetParam().pszFile, OneTextureWad3("Floor", 1));
    if (*GetParam().pszWadDir)
        Options.WadDirs = {"elsewhere", Path(GetParam().pszWadDir)};
    ASSERT_TRUE(Export({"floor"}));
    EXPECT_EQ(Result.nWritten, 1) << Err.str();
    EXPECT_EQ(Written("floor").Pixels[5], 0x445566u);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, WadPlaceTest,
    ::testing::Values(CWadPlace{"RelativeToTheMapIgnoringCase", "sub/Pack.wad", "SUB/pack.WAD", ""},
                      CWadPlace{"ByFileNameBesideTheMap", "C:\\quake\\id1\\pack.wad", "pack.wad", ""},
                      CWadPlace{"ByFileNameInAWadDir", "/nowhere/pack.wad", "wads/pack.wad", "wads"},
                      CWadPlace{"SecondEntryOfTheList", " gone.wad ; other\\pack.wad", "other/pack.wad",
                                ""}),
    [](const auto& info) { return std::string(info.param.pszName); });

// Where a WAD2's palette comes from, and the colour of index 1 it gives.
struct CPaletteSource {
    const char* pszName;
    const char* pszPaletteFile; // written with colour 1 = 0x0A0B0C, or ""
    bool bPaletteLump;          // a "palette" lump in a second WAD, colour 1 = 0x010203
    bool bOption;               // the file named with --palette
    uint32_t nColour;
};

class PaletteSourceTest : public TextureExportTest,
                          public ::testing::WithParamInterface<CPaletteSource> {};

TEST_P(PaletteSourceTest, Wad2TakesTheFirstPaletteFoundOrAGreyRamp)
{
    const CPaletteSource& source = GetParam();
    WriteMap("gfx/tex.wad;gfx/gfx.wad");
    Place("gfx/tex.wad", MakeWad("WAD2", {{"floor", WAD_TYPE_MIPTEX2,
                                           MakeMiptex("floor", 4, 4, std::string(16, '\1'))}}));
    std::string palette(PALETTE_BYTES, '\0');
    palette.replace(3, 3, "\x01\x02\x03");
    Place("gfx/gfx.wad", MakeWad("WAD2", {{source.bPaletteLump ? "palette" : "other", 0x40, palette}}));
    if (*source.pszPaletteFile)
        Place(source.pszPaletteFile, palette.replace(3, 3, "\x0A\x0B\x0C"));
    if (source.bOption)
        Options.PalettePath = Path(source.pszPaletteFile);
    ASSERT_TRUE(Export({"floor"})) << Failure;
    EXPECT_EQ(Written("floor").Pixels[0], source.nColour);
    EXPECT_EQ(Err.str().find("grey ramp") != std::string::npos, source.nColour == 0x010101u);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, PaletteSourceTest,
    ::testing::Values(CPaletteSource{"PaletteLmpBesideTheWad", "gfx/palette.lmp", false, false, 0x0A0B0Cu},
                      CPaletteSource{"PaletteLumpOfAWad", "", true, false, 0x010203u},
                      CPaletteSource{"OptionBeforeTheLump", "my.pal", true, true, 0x0A0B0Cu},
                      CPaletteSource{"NoneGivesAGreyRamp", "", false, false, 0x010101u}),
    [](const auto& info) { return std::string(info.param.pszName); });

TEST_F(TextureExportTest, NamedFilesThatCannotBeUsedFailTheCompile)
{
    WriteMap("");
    Options.WadPaths = {Path("absent.wad")};
    EXPECT_FALSE(Export({"floor"}));
    EXPECT_EQ(Failure, "--wad " + Path("absent.wad") + ": cannot be opened");
    Options.WadPaths.clear();
    Options.PalettePath = Write("short.lmp", "abc");
    EXPECT_FALSE(Export({"floor"}));
    EXPECT_EQ(Failure, "--palette " + Path("short.lmp") + ": not a palette: 3 bytes where 768 are needed");
}

// A loose picture's file, written from QUAD.
struct CLoosePicture {
    const char* pszName;
    const char* pszTexture;
    const char* pszFile;
};

std::string Tga24(const uint8_t* pRgb, int width, int height)
{
    // Uncompressed true-colour, rows from the bottom, blue first.
    std::string tga("\0\0\2\0\0\0\0\0\0\0\0\0", 12);
    tga += {char(width), char(width >> 8), char(height), char(height >> 8), 24, 0};
    for (int y = height - 1; y >= 0; --y)
        for (int x = 0; x < width; ++x)
            for (int c = 2; c >= 0; --c)
                tga += static_cast<char>(pRgb[(y * width + x) * 3 + c]);
    return tga;
}

class LoosePictureTest : public TextureExportTest,
                         public ::testing::WithParamInterface<CLoosePicture> {};

TEST_P(LoosePictureTest, LoosePictureIsFoundAndKeepsItsPixels)
{
    WriteMap("");
    const std::string file = GetParam().pszFile;
    const std::string extension = LowerName(file.substr(file.size() - 4));
    fs::create_directories((Dir / file).parent_path());
    if (extension == ".png")
        ASSERT_TRUE(WritePngRgb(Path(file), 2, 2, QUAD));
    else if (extension == ".tga")
        Place(file, Tga24(QUAD, 2, 2));
    else {
        const std::vector<uint8_t> bmp = EncodeBmp24(2, 2, QUAD, 0);
        Place(file, std::string(bmp.begin(), bmp.end()));
    }
    ASSERT_TRUE(Export({GetParam().pszTexture}));
    ASSERT_EQ(Result.nWritten, 1) << Err.str();
    const CDecodedBitmap picture = Written(GetParam().pszTexture);
    EXPECT_EQ(picture.Pixels, (std::vector<uint32_t>{0xFF0000, 0x00FF00, 0x0000FF, 0xFFFFFF}));
}

INSTANTIATE_TEST_SUITE_P(
    Cases, LoosePictureTest,
    ::testing::Values(CLoosePicture{"PngBesideTheMap", "stone", "Stone.PNG"},
                      CLoosePicture{"TgaUnderTextures", "stone", "textures/stone.tga"},
                      CLoosePicture{"BmpBesideTheMap", "stone", "stone.bmp"},
                      CLoosePicture{"FolderInTheName", "e1u1/floor", "Textures/E1U1/floor.png"}),
    [](const auto& info) { return std::string(info.param.pszName); });

TEST_F(TextureExportTest, HandMadePicturesAreKeptAndOwnPicturesReplaced)
{
    WriteMap("pack.wad");
    Place("pack.wad", MakeWad("WAD3", {{"a", WAD_TYPE_MIPTEX3, MakeMiptex("a", 4, 4, std::string(16, '\0'), "\x11\x22\x33", true)},
                                       {"b", WAD_TYPE_MIPTEX3, MakeMiptex("b", 4, 4, std::string(16, '\0'), "\x11\x22\x33", true)}}));
    const std::vector<uint8_t> hand = EncodeBmp24(2, 2, QUAD, 0);
    const std::vector<uint8_t> own = EncodeBmp24(2, 2, QUAD, TEXTURE_BMP_MARK);
    Place("out/A.bmp", std::string(hand.begin(), hand.end()));
    Place("out/b.bmp", std::string(own.begin(), own.end()));
    ASSERT_TRUE(Export({"a", "b"}));
    EXPECT_EQ(Result.nKept, 1);
    EXPECT_EQ(Result.nWritten, 1);
    std::ifstream file(Path("out/A.bmp"), std::ios::binary);
    EXPECT_EQ(std::vector<uint8_t>((std::istreambuf_iterator<char>(file)), {}), hand);
    EXPECT_EQ(Written("b").Pixels[15], 0x112233u);
    EXPECT_FALSE(fs::exists(Path("out/a.bmp")));
    // A picture the compiler wrote beside the map is an output, not a source.
    Place("c.bmp", std::string(own.begin(), own.end()));
    ASSERT_TRUE(Export({"c"}));
    EXPECT_EQ(Result.Missing, std::vector<std::string>{"c"});
}

TEST_F(TextureExportTest, NamesBecomeFilesOnlyBelowTheOutput)
{
    for (const char* pszName : {"floor", "e1u1/floor", "{grate", "+0~light", "sub\\name"})
        EXPECT_TRUE(IsSafeTextureName(pszName)) << pszName;
    for (const char* pszName : {"", "/etc/x", "../x", "a/../../x", "a//b", "a/./b", "a/", "\\x"})
        EXPECT_FALSE(IsSafeTextureName(pszName)) << pszName;
    std::vector<char> rows(4 * MAP_NAME_SIZE, '\0');
    std::memcpy(&rows[0], "Floor", 5);
    std::memcpy(&rows[2 * MAP_NAME_SIZE], "FLOOR", 5);
    std::memcpy(&rows[3 * MAP_NAME_SIZE], std::string(MAP_NAME_SIZE, 'x').data(), MAP_NAME_SIZE);
    EXPECT_EQ(TextureNamesOfLump(rows), (std::vector<std::string>{"Floor", std::string(32, 'x')}));
}

TEST_F(TextureExportTest, OptionsNameWadsFoldersAndPalette)
{
    CCompileOptions options;
    std::string error;
    ASSERT_TRUE(ParseCompileOptions({"--wad", "a.wad", "--wad-dir", "d", "--wad", "b.wad",
                                     "--palette", "p.lmp", "--no-textures", "m.map"},
                                    &options, &error));
    EXPECT_EQ(options.WadPaths, (std::vector<std::string>{"a.wad", "b.wad"}));
    EXPECT_EQ(options.WadDirs, (std::vector<std::string>{"d"}));
    EXPECT_EQ(options.PalettePath, "p.lmp");
    EXPECT_TRUE(options.bNoTextures);
    EXPECT_FALSE(ParseCompileOptions({"m.map", "--wad-dir", ""}, &options, &error));
    EXPECT_EQ(error, "option --wad-dir needs a directory");
}

// End to end: hl_currents compiled with its WAD and opened in the viewer
// headless shows the texture's own colours on the floor ahead of the start
// (full-bright lightmaps leave them as they are; a face without a picture
// would be white).
TEST_F(TextureExportTest, ViewerShowsTheWadColoursOnTheCompiledMap)
{
    const fs::path root = Dir / "root";
    fs::create_directories(root);
    const CProgramRun compile = RunProgram(
        std::string(VORLANE_COMPILE_BIN) + " -q --log-dir " + Quote(Dir.string()) + " -o " +
        Quote((root / "hl.vmz").string()) + " " + Quote(SharedMap("hl_currents.map")));
    ASSERT_EQ(compile.nExitCode, 0) << compile.Output;
    const CProgramRun view = RunProgram(
        std::string(VORLANE_VIEWER_BIN) + " --step-ms 100 --root " + Quote(root.string()) +
        " --script " +
        Quote(Write("run.script", "wait 2\npress RETURN\nwait 5\nshot " + Path("start.png") +
                                      "\nwait 1\npress ESCAPE\npress ESCAPE\n")));
    ASSERT_EQ(view.nExitCode, 0) << view.Output;
    CPicture shot;
    ASSERT_TRUE(LoadPicture(Path("start.png"), &shot));
    // Pixels of the floor near one of the texture's colours (the filtering
    // blends neighbours, and the display keeps 5-6-5 colours); white, the
    // colour of a face without a picture, is not near any of them.
    int nInTexture = 0;
    for (int y = 600; y < 760; ++y)
        for (int x = 50; x < 550; ++x)
            for (uint32_t colour : {0x13131Au, 0x000000u, 0x2E2E3Fu, 0x37374Bu, 0xEBEBEBu}) {
                if (NearColour(shot.At(x, y), colour, 16)) {
                    ++nInTexture;
                    break;
                }
            }
    EXPECT_GT(nInTexture, 500 * 160 * 8 / 10);
}
