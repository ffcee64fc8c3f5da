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

// A 2x2 picture: red, green on top; blue, white below.
const uint8_t QUAD[12] = {255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 255};
const std::vector<uint32_t> QUAD_PIXELS = {0xFF0000, 0x00FF00, 0x0000FF, 0xFFFFFF};

class TextureExportTest : public ScratchDirTest {
protected:
    // Exports the names for the map (Path("map.map") by default) into
    // Path("out/map.vmz").
    bool Export(const std::vector<std::string>& names, const std::string& map = "")
    {
        std::vector<char> rows(names.size() * MAP_NAME_SIZE, '\0');
        for (size_t i = 0; i < names.size(); ++i)
            std::memcpy(&rows[i * MAP_NAME_SIZE], names[i].data(), names[i].size());
        Options.MapPath = map.empty() ? Path("map.map") : map;
        Log.str("");
        Err.str("");
        return ExportTextures(Options, Path("out/map.vmz"), rows, Log, Err, &Result, &Failure);
    }

    // A map whose world entity has this "wad" value.
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

    std::string Bytes(const std::string& name) const { return ReadFile(Path(name)); }

    // The pixels written for a texture, 0x00RRGGBB top row first, as the
    // viewer's reader sees them.
    std::vector<uint32_t> Written(const std::string& name)
    {
        const std::string bytes = Bytes("out/" + name + ".bmp");
        CDecodedBitmap bitmap;
        const auto* pData = reinterpret_cast<const uint8_t*>(bytes.data());
        EXPECT_TRUE(DecodeBmp(pData, bytes.size(), bitmap)) << name;
        return bitmap.Pixels;
    }

    CCompileOptions Options;
    std::ostringstream Log, Err;
    CTextureExport Result;
    std::string Failure;
};

std::string Bmp(uint32_t nMark)
{
    const std::vector<uint8_t> bmp = EncodeBmp24(2, 2, QUAD, nMark);
    return std::string(bmp.begin(), bmp.end());
}

// A 4x4 WAD3 texture whose pixels are index 1, 0x445566.
CTestLump Wad3Texture(const std::string& name)
{
    const std::string colours("\x11\x22\x33\x44\x55\x66", 6);
    return {name, WAD_TYPE_MIPTEX3, MakeMiptex(name, std::string(16, '\1'), &colours)};
}

} // namespace

TEST_F(TextureExportTest, HlCurrentsWritesEveryTextureOfItsWadAndNamesTheMissing)
{
    ASSERT_TRUE(Export({"hltest", "!cur_0", "!cur_270", "!cur_90", "!cur_up", "!liquidtest",
                        "!cur_dwn", "!cur_180"},
                       SharedMap("hl_currents.map")));
    // The map's WAD holds six of its eight textures; hltest and !liquidtest
    // are in a WAD that is not there.
    EXPECT_EQ(Result.nWritten, 6);
    EXPECT_EQ(Result.Missing, (std::vector<std::string>{"hltest", "!liquidtest"}));
    EXPECT_NE(Log.str().find("Textures found:\t6 of 8\n\t" + SharedMap("hl_currents.wad") +
                             ":\t!cur_0 !cur_270 !cur_90 !cur_up !cur_dwn !cur_180\n"),
              std::string::npos)
        << Log.str();
    EXPECT_NE(Err.str().find("not found: deprecated/hlwad.wad"), std::string::npos) << Err.str();
    // Colours of !cur_0 read from the file by hand: the index at the pixel,
    // then its colour in the palette after the fourth level.
    const std::vector<uint32_t> pixels = Written("!cur_0");
    ASSERT_EQ(pixels.size(), 64u * 64u);
    EXPECT_EQ(pixels[0], 0x13131Au);
    EXPECT_EQ(pixels[1 * 64 + 5], 0x37374Bu);
    EXPECT_EQ(pixels[1 * 64 + 7], 0xEBEBEBu);
    EXPECT_EQ(pixels[63 * 64 + 0], 0x2E2E3Fu);
    EXPECT_EQ(ReadBmpMark(Path("out/!cur_0.bmp")), TEXTURE_BMP_MARK);
}

// A "wad" value, where its file lies, and a folder given with --wad-dir.
using CWadPlace = std::tuple<const char*, const char*, const char*, const char*>;

class WadPlaceTest : public TextureExportTest, public ::testing::WithParamInterface<CWadPlace> {};

TEST_P(WadPlaceTest, WadKeyEntryIsFoundWhereEditorsPutIt)
{
    const auto& [pszName, pszKey, pszFile, pszWadDir] = GetParam();
    WriteMap(pszKey);
    Place(pszFile, MakeWad("WAD3", {Wad3Texture("Floor")}));
    Options.WadDirs = {"elsewhere", Path(pszWadDir)};
    ASSERT_TRUE(Export({"floor"}));
    EXPECT_EQ(Written("floor")[5], 0x445566u) << Err.str();
}

INSTANTIATE_TEST_SUITE_P(
    Cases, WadPlaceTest,
    ::testing::Values(
        CWadPlace{"RelativeToTheMapIgnoringCase", "sub/Pack.wad", "SUB/pack.WAD", "none"},
        CWadPlace{"ByFileNameBesideTheMap", "C:\\quake\\id1\\pack.wad", "pack.wad", "none"},
        CWadPlace{"ByFileNameInAWadDir", "/nowhere/pack.wad", "wads/pack.wad", "wads"},
        CWadPlace{"SecondEntryOfTheList", " gone.wad ; other\\pack.wad", "other/pack.wad", "none"}),
    [](const auto& info) { return std::string(std::get<0>(info.param)); });

// Where the WAD2's palette comes from: a palette.lmp file (colour 1 =
// 0x0A0B0C), a "palette" lump of a second WAD (0x010203), --palette.
using CPaletteSource = std::tuple<const char*, const char*, bool, bool, uint32_t>;

class PaletteSourceTest : public TextureExportTest,
                          public ::testing::WithParamInterface<CPaletteSource> {};

TEST_P(PaletteSourceTest, Wad2TakesTheFirstPaletteFoundOrAGreyRamp)
{
    const auto& [pszName, pszPaletteFile, bPaletteLump, bOption, nColour] = GetParam();
    WriteMap("gfx/tex.wad;gfx/gfx.wad");
    Place("gfx/tex.wad", MakeWad("WAD2", {{"floor", WAD_TYPE_MIPTEX2,
                                           MakeMiptex("floor", std::string(16, '\1'))}}));
    std::string palette(PALETTE_BYTES, '\0');
    palette.replace(3, 3, "\x01\x02\x03");
    Place("gfx/gfx.wad", MakeWad("WAD2", {{bPaletteLump ? "palette" : "other", 0x40, palette}}));
    if (*pszPaletteFile)
        Place(pszPaletteFile, palette.replace(3, 3, "\x0A\x0B\x0C"));
    if (bOption)
        Options.PalettePath = Path(pszPaletteFile);
    ASSERT_TRUE(Export({"floor"})) << Failure;
    EXPECT_EQ(Written("floor")[0], nColour);
    EXPECT_EQ(Err.str().find("grey ramp") != std::string::npos, nColour == 0x010101u);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, PaletteSourceTest,
    ::testing::Values(CPaletteSource{"PaletteLmpBesideTheWad", "gfx/palette.lmp", 0, 0, 0x0A0B0C},
                      CPaletteSource{"PaletteLumpOfAWad", "", true, false, 0x010203},
                      CPaletteSource{"OptionBeforeTheLump", "my.pal", true, true, 0x0A0B0C},
                      CPaletteSource{"NoneGivesAGreyRamp", "", false, false, 0x010101}),
    [](const auto& info) { return std::string(std::get<0>(info.param)); });

TEST_F(TextureExportTest, NamedFilesThatCannotBeUsedFailTheCompile)
{
    WriteMap("");
    Options.WadPaths = {Path("absent.wad")};
    EXPECT_FALSE(Export({"floor"}));
    EXPECT_EQ(Failure, "--wad " + Path("absent.wad") + ": cannot be opened");
    Options.WadPaths.clear();
    Options.PalettePath = Write("short.lmp", "abc");
    EXPECT_FALSE(Export({"floor"}));
    EXPECT_EQ(Failure, "--palette " + Path("short.lmp") +
                           ": not a palette: 3 bytes where 768 are needed");
}

// An uncompressed true-colour TGA of QUAD: rows from the bottom, blue first.
std::string QuadTga()
{
    std::string tga = std::string("\0\0\2\0\0\0\0\0\0\0\0\0\2\0\2\0\x18\0", 18);
    for (int i : {2, 3, 0, 1})
        tga += {char(QUAD[i * 3 + 2]), char(QUAD[i * 3 + 1]), char(QUAD[i * 3])};
    return tga;
}

// A texture name and the file of its loose picture.
using CLoosePicture = std::pair<const char*, const char*>;

class LoosePictureTest : public TextureExportTest,
                         public ::testing::WithParamInterface<CLoosePicture> {};

TEST_P(LoosePictureTest, LoosePictureIsFoundAndKeepsItsPixels)
{
    const auto& [pszTexture, pszFile] = GetParam();
    const std::string file = pszFile, extension = LowerName(file.substr(file.size() - 4));
    WriteMap("");
    if (extension == ".png") {
        fs::create_directories((Dir / file).parent_path());
        ASSERT_TRUE(WritePngRgb(Path(file), 2, 2, QUAD));
    } else {
        Place(file, extension == ".tga" ? QuadTga() : Bmp(0));
    }
    ASSERT_TRUE(Export({pszTexture}));
    EXPECT_EQ(Written(pszTexture), QUAD_PIXELS) << Err.str();
}

INSTANTIATE_TEST_SUITE_P(Cases, LoosePictureTest,
                         ::testing::Values(std::pair{"stone", "Stone.PNG"},
                                           std::pair{"stone", "textures/stone.tga"},
                                           std::pair{"stone", "stone.bmp"},
                                           std::pair{"e1u1/floor", "Textures/E1U1/floor.png"}));

TEST_F(TextureExportTest, HandMadePicturesAreKeptAndOwnPicturesReplaced)
{
    WriteMap("pack.wad");
    Place("pack.wad", MakeWad("WAD3", {Wad3Texture("a"), Wad3Texture("b")}));
    Place("out/A.bmp", Bmp(0));
    Place("out/b.bmp", Bmp(TEXTURE_BMP_MARK));
    Place("c.bmp", Bmp(TEXTURE_BMP_MARK)); // beside the map: an output, not a source
    ASSERT_TRUE(Export({"a", "b", "c"}));
    EXPECT_EQ(Result.nKept, 1);
    EXPECT_EQ(Bytes("out/A.bmp"), Bmp(0));
    EXPECT_EQ(Written("b")[15], 0x445566u);
    EXPECT_EQ(Result.Missing, std::vector<std::string>{"c"});
}

TEST_F(TextureExportTest, NamesBecomeFilesOnlyBelowTheOutput)
{
    for (const char* pszName : {"floor", "e1u1/floor", "{grate", "+0~light", "sub\\name"})
        EXPECT_TRUE(IsSafeTextureName(pszName)) << pszName;
    for (const char* pszName : {"", "/etc/x", "../x", "a/../../x", "a//b", "a/./b", "a/", "\\x"})
        EXPECT_FALSE(IsSafeTextureName(pszName)) << pszName;
}

TEST_F(TextureExportTest, OptionsNameWadsFoldersAndPalette)
{
    std::string error;
    ASSERT_TRUE(ParseCompileOptions({"--wad", "a.wad", "--wad-dir", "d", "--wad", "b.wad",
                                     "--palette", "p.lmp", "--no-textures", "m.map"},
                                    &Options, &error));
    EXPECT_EQ(Options.WadPaths, (std::vector<std::string>{"a.wad", "b.wad"}));
    EXPECT_EQ(Options.WadDirs, std::vector<std::string>{"d"});
    EXPECT_EQ(Options.PalettePath, "p.lmp");
    EXPECT_TRUE(Options.bNoTextures);
}

// End to end: hl_currents compiled with its WAD and opened in the viewer
// headless shows the texture's colours on the floor ahead of the start
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
    const std::string script = "wait 2\npress RETURN\nwait 5\nshot " + Path("start.png") +
                               "\nwait 1\npress ESCAPE\npress ESCAPE\n";
    const CProgramRun view = RunProgram(std::string(VORLANE_VIEWER_BIN) + " --root " +
                                        Quote(root.string()) + " --script " +
                                        Quote(Write("run.script", script)));
    ASSERT_EQ(view.nExitCode, 0) << view.Output;
    CPicture shot;
    ASSERT_TRUE(LoadPicture(Path("start.png"), &shot));
    // Pixels of the floor near one of the texture's colours (filtering blends
    // neighbours, and the display keeps 5-6-5 colours); white is near none.
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
