// End-to-end tests of vorlane-compile: the real program runs on the shared
// map texts and the fixtures, and its files are read back with the viewer's
// reader.
#include "viewer/map_info.h"
#include "viewer/map_reader.h"

#include "tests/scratch_dir.h"

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

struct CRun {
    int Exit = -1;
    std::string Out;
    std::string Err;
};

std::string ReadText(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

std::string Quote(const std::string& text) { return "'" + text + "'"; }

// A compiled map read back; owns its image.
class CReadBack {
public:
    explicit CReadBack(const std::string& path)
    {
        Result = ReadMapImage(path.c_str(), &Image, &Problem);
    }
    ~CReadBack() { FreeMapImage(&Image); }
    CReadBack(const CReadBack&) = delete;
    CReadBack& operator=(const CReadBack&) = delete;

    bool Open(float x, float y, float z) const { return IsPointOpen(Image, CVector(x, y, z)); }

    CMapImage Image{};
    EMapRead Result = MAP_READ_INVALID;
    std::string Problem;
};

class CompilePipelineTest : public ScratchDirTest {
protected:
    // Runs vorlane-compile with the words of args (already quoted where
    // needed) in the scratch directory.
    CRun Compile(const std::string& args) const
    {
        const std::string command = "cd " + Quote(Dir.string()) + " && " +
                                    Quote(VORLANE_COMPILE_BIN) + " " + args + " >" +
                                    Quote(Path("run.out")) + " 2>" + Quote(Path("run.err"));
        CRun run;
        const int status = std::system(command.c_str());
        run.Exit = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        run.Out = ReadText(Path("run.out"));
        run.Err = ReadText(Path("run.err"));
        std::filesystem::remove(Path("run.out"));
        std::filesystem::remove(Path("run.err"));
        return run;
    }

    // The names in the scratch directory other than the fixed logs, sorted.
    std::vector<std::string> Listing() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(Dir)) {
            if (entry.path().extension() != ".txt")
                names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }
};

struct CMapCase {
    const char* pszMap;
    bool bListBuilder;
    bool bSealed;
};

class EveryMap : public CompilePipelineTest, public ::testing::WithParamInterface<CMapCase> {};

// Each shared map compiles with each builder into a file the reader takes
// without a remark: every face held by a reached leaf, every node and leaf
// reached from node 0, full-bright lightmaps for a map without a light list.
TEST_P(EveryMap, CompilesToASoundFile)
{
    const CMapCase& param = GetParam();
    const CRun run = Compile(std::string(param.bListBuilder ? "--builder list " : "") + "-o " +
                             Quote(Path("out.vmz")) + " " + Quote(SharedMap(param.pszMap)));
    ASSERT_EQ(run.Exit, 0) << run.Out << run.Err;
    EXPECT_NE(run.Out.find("\nCompiled in "), std::string::npos) << run.Out;
    EXPECT_NE(run.Err.find("warning: "), std::string::npos) << "no light list: full-bright";
    // The fixed logs land beside the output.
    EXPECT_TRUE(std::filesystem::exists(Path("vis.txt")));
    EXPECT_TRUE(std::filesystem::exists(Path("tokens.txt")));

    const CReadBack map(Path("out.vmz"));
    ASSERT_EQ(map.Result, MAP_READ_OK) << map.Problem;
    EXPECT_EQ(FindMapWarnings(map.Image), std::vector<std::string>());
    EXPECT_GT(map.Image.nFaces, 0);
    EXPECT_GT(map.Image.nNodes, 0);
    EXPECT_EQ(map.Image.nLeaves, map.Image.nLeafRecords);
    EXPECT_EQ(map.Image.nLightmapBytes, static_cast<uint32_t>(map.Image.nFaces) * 768u);
    EXPECT_TRUE(std::all_of(map.Image.pLightmaps, map.Image.pLightmaps + map.Image.nLightmapBytes,
                            [](uint8_t b) { return b == 255; }));
    for (int32_t i = 0; i < map.Image.nLeaves; ++i)
        for (int32_t j = 0; j < map.Image.nLeaves; ++j)
            ASSERT_TRUE(map.Image.pVisibility[i * map.Image.nRowBytes + j / 8] & (1 << (j % 8)));

    // The start location is the origin, and it is open; the void round a
    // sealed map is solid.
    EXPECT_TRUE(map.Open(0, 0, 0));
    if (param.bSealed) {
        EXPECT_FALSE(map.Open(4000, 4000, 4000));
        EXPECT_FALSE(map.Open(-4000, 0, 0));
    }
}

const CMapCase MAP_CASES[] = {
    {"q1_cubes.map", false, false},
    {"q1_cubes.map", true, false},
    {"qbsp_simple_sealed.map", false, true},
    {"qbsp_simple_sealed.map", true, true},
    {"qbsp_simple_sealed2.map", false, true},
    {"qbsp_simple_sealed2.map", true, true},
    {"qbsp_angled_brush.map", false, true},
    {"qbsp_angled_brush.map", true, true},
    {"hl_currents.map", false, true},
    {"hl_currents.map", true, true},
    {"glasstest.map", false, true},
    {"q2_liquids.map", false, true},
    {"q2_detail_non_sealing.map", true, true},
    {"q1_csg_detail_fence_detail_wall.map", false, false},
};

INSTANTIATE_TEST_SUITE_P(Maps, EveryMap, ::testing::ValuesIn(MAP_CASES), [](const auto& info) {
    std::string name = info.param.pszMap;
    return name.substr(0, name.find('.')) + (info.param.bListBuilder ? "_list" : "_set");
});

// Texture coordinate u of a face vertex, in texels.
double TexelU(const CMapImage& image, const CMapFace& face, int32_t vertex)
{
    const CTexMapping& mapping = image.pMappings[face.nMapping];
    return Dot(mapping.UAxis, image.pVertices[face.pIndices[vertex]]) / mapping.UScale +
           mapping.UOffset;
}
double TexelV(const CMapImage& image, const CMapFace& face, int32_t vertex)
{
    const CTexMapping& mapping = image.pMappings[face.nMapping];
    return Dot(mapping.VAxis, image.pVertices[face.pIndices[vertex]]) / mapping.VScale +
           mapping.VOffset;
}

double SurfaceArea(const CMapImage& image)
{
    double area = 0;
    for (int32_t f = 0; f < image.nFaces; ++f) {
        const CMapFace& face = image.pFaces[f];
        const CVector& p0 = image.pVertices[face.pIndices[0]];
        CVector sum;
        for (int32_t v = 1; v + 1 < face.nVertices; ++v)
            sum += Cross(image.pVertices[face.pIndices[v]] - p0,
                         image.pVertices[face.pIndices[v + 1]] - p0);
        area += sum.Length() / 2;
    }
    return area;
}

// The builders cut the surfaces differently, but both passes of each must
// keep every surface that faces the inside of a sealed map, and nothing else.
TEST_F(CompilePipelineTest, BothBuildersKeepTheSameSurfaces)
{
    for (const char* pszMap : {"qbsp_simple_sealed2.map", "hl_currents.map"}) {
        const std::string map = Quote(SharedMap(pszMap));
        ASSERT_EQ(Compile("-q --builder set -o set.vmz " + map).Exit, 0);
        ASSERT_EQ(Compile("-q --builder list -o list.vmz " + map).Exit, 0);
        const CReadBack set(Path("set.vmz"));
        const CReadBack list(Path("list.vmz"));
        ASSERT_EQ(set.Result, MAP_READ_OK);
        ASSERT_EQ(list.Result, MAP_READ_OK);
        const double area = SurfaceArea(set.Image);
        EXPECT_GT(area, 0);
        EXPECT_NEAR(SurfaceArea(list.Image), area, area * 1e-5) << pszMap;
    }
}

// Moving the start to the origin moves the geometry, the planes and the
// texture offsets together: against a compile that keeps the map where it
// stands, every vertex is shifted by the start, the point tests follow, and
// the texture stays on the surfaces (to the rounding of whole texels).
TEST_F(CompilePipelineTest, StartMovesToTheOrigin)
{
    const std::string map = Quote(SharedMap("qbsp_simple_sealed.map"));
    ASSERT_EQ(Compile("-q -o moved.vmz " + map).Exit, 0);
    ASSERT_EQ(Compile("-q --keep-origin -o kept.vmz " + map).Exit, 0);
    const CReadBack moved(Path("moved.vmz"));
    const CReadBack kept(Path("kept.vmz"));
    ASSERT_EQ(moved.Result, MAP_READ_OK);
    ASSERT_EQ(kept.Result, MAP_READ_OK);

    // The second pass builds from the six inner walls alone: a node per wall
    // and one leaf, the room.
    EXPECT_EQ(moved.Image.nFaces, 6);
    EXPECT_EQ(moved.Image.nLeafRecords, 1);
    EXPECT_EQ(moved.Image.nNodes, 6);

    // info_player_start "-56 -96 120": the world point (-56, 120, -96).
    const CVector start(-56, 120, -96);
    EXPECT_TRUE(moved.Open(0, 0, 0));
    EXPECT_FALSE(moved.Open(start.x, start.y, start.z));
    EXPECT_TRUE(kept.Open(start.x, start.y, start.z));
    EXPECT_FALSE(kept.Open(0, 0, 0));

    ASSERT_EQ(moved.Image.nFaces, kept.Image.nFaces);
    for (int32_t f = 0; f < moved.Image.nFaces; ++f) {
        const CMapFace& a = moved.Image.pFaces[f];
        const CMapFace& b = kept.Image.pFaces[f];
        ASSERT_EQ(a.nVertices, b.nVertices);
        for (int32_t v = 0; v < a.nVertices; ++v) {
            const CVector shifted = kept.Image.pVertices[b.pIndices[v]] - start;
            ASSERT_EQ(moved.Image.pVertices[a.pIndices[v]], shifted) << f << " " << v;
            EXPECT_NEAR(TexelU(moved.Image, a, v), TexelU(kept.Image, b, v), 0.501);
            EXPECT_NEAR(TexelV(moved.Image, a, v), TexelV(kept.Image, b, v), 0.501);
        }
    }
}

// The light passes give the same file whatever the number of threads, and
// they light what the emitter sees: a lit face that is neither dark nor
// full-bright everywhere.
TEST_F(CompilePipelineTest, LightIsTheSameOnOneAndTwoThreads)
{
    Write("walls.lights", "tsl_wall1 255 220 180 40\n");
    const std::string args =
        "--no-textures --lights walls.lights " + Quote(SharedMap("qbsp_angled_brush.map"));
    const CRun one = Compile("--threads 1 -o one.vmz " + args);
    const CRun two = Compile("--threads 2 -o two.vmz " + args);
    ASSERT_EQ(one.Exit, 0) << one.Err;
    ASSERT_EQ(two.Exit, 0) << two.Err;
    EXPECT_EQ(one.Err, "");
    const std::string file = ReadText(Path("one.vmz"));
    ASSERT_FALSE(file.empty());
    EXPECT_TRUE(file == ReadText(Path("two.vmz")));

    const CReadBack map(Path("one.vmz"));
    ASSERT_EQ(map.Result, MAP_READ_OK);
    int32_t partlyLit = 0;
    for (int32_t f = 0; f < map.Image.nFaces; ++f) {
        const uint8_t* pBlock = map.Image.pLightmaps + f * 768;
        const bool bAllFull = std::all_of(pBlock, pBlock + 768, [](uint8_t b) { return b == 255; });
        const bool bAllDark = std::all_of(pBlock, pBlock + 768, [](uint8_t b) { return b == 0; });
        partlyLit += !bAllFull && !bAllDark ? 1 : 0;
    }
    EXPECT_GT(partlyLit, 0);
}

// Bad command lines: exit 2, the reason and the usage on standard error,
// nothing on standard output.
TEST_F(CompilePipelineTest, BadCommandLinesExitWithUsage)
{
    Write("a.map", "");
    for (const char* pszArgs :
         {"", "--bogus a.map", "a.map a.map", "-o", "a.map -o", "--threads 0 a.map",
          "--threads two a.map", "--bounces -1 a.map", "--builder tree a.map",
          "--start 1 2 a.map", "--start 1 2 x3 a.map", "--lights", "--format quake3 a.map",
          "--format"}) {
        const CRun run = Compile(pszArgs);
        EXPECT_EQ(run.Exit, 2) << pszArgs;
        EXPECT_NE(run.Err.find("vorlane-compile: "), std::string::npos) << pszArgs;
        EXPECT_NE(run.Err.find("usage: "), std::string::npos) << pszArgs;
        EXPECT_EQ(run.Out, "") << pszArgs;
    }
    const CRun help = Compile("--help");
    EXPECT_EQ(help.Exit, 0);
    EXPECT_NE(help.Out.find("usage: "), std::string::npos);
    EXPECT_EQ(Compile("--version").Exit, 0);
}

// Input that can't be compiled: exit 1 with a message naming the file and
// the reason; no output file and no temporary left behind, and an older
// output stays as it was. With -q the stage lines appear only now.
TEST_F(CompilePipelineTest, FailuresNameTheFileAndLeaveNoOutput)
{
    Write("old.vmz", "an older compile");
    const std::string cube = Fixture("cube.map");
    struct CCase {
        std::string Args;
        std::string Named;
        std::string Reason;
    } cases[] = {
        {"missing.map", "missing.map", "cannot open"},
        {Quote(cube), "cube.map", "start location"},
        {Quote(Fixture("empty.map")), "empty.map", "no brush faces"},
        {Quote(Fixture("quake3_patch.map")), "quake3_patch.map: line 8: a Quake 3 patch",
         "this compiler reads"},
        {"--lights nowhere.lights " + Quote(cube) + " --start 0 0 300", "nowhere.lights",
         "light list"},
    };
    for (const CCase& c : cases) {
        for (const char* pszOutput : {"new.vmz", "old.vmz"}) {
            const CRun run = Compile("-q -o " + std::string(pszOutput) + " " + c.Args);
            EXPECT_EQ(run.Exit, 1) << c.Args;
            EXPECT_NE(run.Err.find(c.Named), std::string::npos) << run.Err;
            EXPECT_NE(run.Err.find(c.Reason), std::string::npos) << run.Err;
            EXPECT_NE(run.Out.find("Reading map text."), std::string::npos) << run.Out;
            EXPECT_EQ(Listing(), (std::vector<std::string>{"old.vmz"}))
                << c.Args;
            EXPECT_EQ(ReadText(Path("old.vmz")), "an older compile");
        }
    }

    // The cube with a start given outside it compiles quietly.
    const CRun run = Compile("-q --start 0 0 300 -o new.vmz " + Quote(cube));
    EXPECT_EQ(run.Exit, 0) << run.Err;
    EXPECT_EQ(run.Out, "");
    EXPECT_TRUE(std::filesystem::exists(Path("new.vmz")));
}

} // namespace

// The sample maps compile with the tool and stay sealed: the start is open
// and the void round them solid. The room is lit by its light list; the
// level's light passes take seconds and are measured by bench_compile.
TEST_F(CompilePipelineTest, SampleMapsCompileSealed)
{
    for (const std::string name : {"room", "level"}) {
        const bool bLight = name == "room";
        const std::string map = std::string(VORLANE_DATA_MAPS_DIR) + "/" + name + ".map";
        const CRun run = Compile(std::string(bLight ? "" : "--no-light ") + "-o " +
                                 Quote(Path("out.vmz")) + " " + Quote(map));
        ASSERT_EQ(run.Exit, 0) << run.Out << run.Err;
        // Without light the tool says why the lightmaps are full-bright.
        EXPECT_EQ(run.Err.find("warning: ") != std::string::npos, !bLight) << run.Err;

        const CReadBack image(Path("out.vmz"));
        ASSERT_EQ(image.Result, MAP_READ_OK) << image.Problem;
        EXPECT_TRUE(image.Open(0, 0, 0)) << name;
        EXPECT_FALSE(image.Open(4000, 4000, 4000)) << name;
        EXPECT_FALSE(image.Open(0, -4000, 0)) << name;
        const uint8_t* pFirst = image.Image.pLightmaps;
        const uint8_t* pEnd = pFirst + image.Image.nLightmapBytes;
        // Light leaves the lightmaps uneven; no light leaves them full-bright.
        EXPECT_EQ(std::all_of(pFirst, pEnd, [](uint8_t b) { return b == 255; }), !bLight) << name;
    }
}

// A map whose faces do not close the start in is told of; a sealed one is not.
TEST_F(CompilePipelineTest, LeakingMapsGetAWarning)
{
    for (const char* pszBuilder : {"set", "list"}) {
        CRun run = Compile(std::string("--no-light --builder ") + pszBuilder + " -o " +
                           Quote(Path("out.vmz")) + " " + Quote(SharedMap("q1_cubes.map")));
        ASSERT_EQ(run.Exit, 0) << run.Err;
        EXPECT_NE(run.Err.find("q1_cubes.map: the map leaks"), std::string::npos) << run.Err;
        run = Compile(std::string("--no-light --builder ") + pszBuilder + " -o " +
                      Quote(Path("out.vmz")) + " " + Quote(SharedMap("qbsp_simple_sealed.map")));
        ASSERT_EQ(run.Exit, 0) << run.Err;
        EXPECT_EQ(run.Err.find("leaks"), std::string::npos) << run.Err;
    }
}
