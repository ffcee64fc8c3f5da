// End-to-end tests of vorlane-compile: the real program runs on the shared
// map texts and the fixtures, and its files are read back with the viewer's
// reader.
#include "viewer/map_info.h"
#include "viewer/map_reader.h"

#include "tests/run_program.h"
#include "tests/scratch_dir.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

using CRun = CSplitRun;

// A compiled map read back; owns its image.
class CReadBack {
public:
    explicit CReadBack(const std::string& path)
    {
        Result = ReadMapImage(path.c_str(), &Image, &Problem);
    }
    ~CReadBack() { FreeMapImage(&Image); }

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
        return RunSplit(Quote(VORLANE_COMPILE_BIN) + " " + args, Dir);
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
    // Without light entities too, the maps have no light at all.
    const CRun run = Compile(std::string(param.bListBuilder ? "--builder list " : "") +
                             "--no-entity-lights -o " + Quote(Path("out.vmz")) + " " +
                             Quote(SharedMap(param.pszMap)));
    ASSERT_EQ(run.nExitCode, 0) << run.Out << run.Err;
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
    // Every leaf sees every other one; its own bit stays clear, so that the
    // viewer draws the camera's leaf once.
    for (int32_t i = 0; i < map.Image.nLeaves; ++i)
        for (int32_t j = 0; j < map.Image.nLeaves; ++j)
            ASSERT_EQ((map.Image.pVisibility[i * map.Image.nRowBytes + j / 8] >> (j % 8)) & 1,
                      i == j ? 0 : 1)
                << i << " " << j;

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
        ASSERT_EQ(Compile("-q --builder set -o set.vmz " + map).nExitCode, 0);
        ASSERT_EQ(Compile("-q --builder list -o list.vmz " + map).nExitCode, 0);
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
    ASSERT_EQ(Compile("-q -o moved.vmz " + map).nExitCode, 0);
    ASSERT_EQ(Compile("-q --keep-origin -o kept.vmz " + map).nExitCode, 0);
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
    ASSERT_EQ(one.nExitCode, 0) << one.Err;
    ASSERT_EQ(two.nExitCode, 0) << two.Err;
    EXPECT_EQ(one.Err, "");
    const std::string file = ReadFile(Path("one.vmz"));
    ASSERT_FALSE(file.empty());
    EXPECT_TRUE(file == ReadFile(Path("two.vmz")));

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
          "--format", "--base-size 5799 a.map", "--base-size 262145 a.map"}) {
        const CRun run = Compile(pszArgs);
        EXPECT_EQ(run.nExitCode, 2) << pszArgs;
        EXPECT_NE(run.Err.find("vorlane-compile: "), std::string::npos) << pszArgs;
        EXPECT_NE(run.Err.find("usage: "), std::string::npos) << pszArgs;
        EXPECT_EQ(run.Out, "") << pszArgs;
    }
    const CRun help = Compile("--help");
    EXPECT_EQ(help.nExitCode, 0);
    EXPECT_NE(help.Out.find("usage: "), std::string::npos);
    EXPECT_EQ(Compile("--version").nExitCode, 0);
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
            EXPECT_EQ(run.nExitCode, 1) << c.Args;
            EXPECT_NE(run.Err.find(c.Named), std::string::npos) << run.Err;
            EXPECT_NE(run.Err.find(c.Reason), std::string::npos) << run.Err;
            EXPECT_NE(run.Out.find("Reading map text."), std::string::npos) << run.Out;
            EXPECT_EQ(Listing(), (std::vector<std::string>{"old.vmz"}))
                << c.Args;
            EXPECT_EQ(ReadFile(Path("old.vmz")), "an older compile");
        }
    }

    // The cube with a start given outside it compiles quietly.
    const CRun run = Compile("-q --start 0 0 300 -o new.vmz " + Quote(cube));
    EXPECT_EQ(run.nExitCode, 0) << run.Err;
    EXPECT_EQ(run.Out, "");
    EXPECT_TRUE(std::filesystem::exists(Path("new.vmz")));
}

// The lines of a point file as numbers, three a line.
std::vector<std::vector<double>> ReadPoints(const std::string& path)
{
    std::vector<std::vector<double>> points;
    std::ifstream file(path);
    for (double x, y, z; file >> x >> y >> z;)
        points.push_back({x, y, z});
    return points;
}

class LeakTrace : public CompilePipelineTest, public ::testing::WithParamInterface<const char*> {};

// A leak writes the point file beside the output, from the start to a point
// outside the box of the brushes (x, y -144..144, z -16..144), and names the
// brushes at the gap: the shortened wall 3 and the wall 5 it should meet. A
// sealed map writes none and takes away a stale one.
TEST_P(LeakTrace, PointFileRunsFromTheStartToTheOutside)
{
    const std::string builder = std::string("--no-light --builder ") + GetParam() + " -o out.vmz ";
    const CRun run = Compile(builder + Quote(Fixture("room6_gap.map")));
    ASSERT_EQ(run.nExitCode, 0) << run.Err;
    EXPECT_NE(run.Err.find("room6_gap.map: the map leaks"), std::string::npos) << run.Err;
    EXPECT_NE(run.Err.find("brush 3 (line 29)"), std::string::npos) << run.Err;
    EXPECT_NE(run.Err.find("brush 5 (line 45)"), std::string::npos) << run.Err;
    EXPECT_NE(run.Err.find("; out.pts draws the way out"), std::string::npos) << run.Err;

    const auto points = ReadPoints(Path("out.pts"));
    ASSERT_GE(points.size(), 2u);
    EXPECT_EQ(points.front(), (std::vector<double>{0, 0, 24}));
    const std::vector<double>& last = points.back();
    EXPECT_TRUE(std::fabs(last[0]) > 144 || std::fabs(last[1]) > 144 || last[2] < -16 ||
                last[2] > 144)
        << last[0] << " " << last[1] << " " << last[2];

    const CRun sealed = Compile(builder + Quote(Fixture("room6.map")));
    ASSERT_EQ(sealed.nExitCode, 0) << sealed.Err;
    EXPECT_EQ(sealed.Err.find("leak"), std::string::npos) << sealed.Err;
    EXPECT_FALSE(std::filesystem::exists(Path("out.pts")));
}

INSTANTIATE_TEST_SUITE_P(Builders, LeakTrace, ::testing::Values("set", "list"));

// --leak-fail: a leak, or a start outside the map, exits 1 without an output
// file; the point file of the leak is still there to be loaded.
TEST_F(CompilePipelineTest, LeakFailExitsOneWithoutOutput)
{
    CRun run = Compile("--no-light --leak-fail -o out.vmz " + Quote(Fixture("room6_gap.map")));
    EXPECT_EQ(run.nExitCode, 1);
    EXPECT_NE(run.Err.find("vorlane-compile: " + Fixture("room6_gap.map") + ": the map leaks"),
              std::string::npos)
        << run.Err;
    EXPECT_EQ(Listing(), (std::vector<std::string>{"out.pts"}));

    run = Compile("--no-light --leak-fail --start 0 0 500 -o out.vmz " +
                  Quote(Fixture("room6.map")));
    EXPECT_EQ(run.nExitCode, 1);
    EXPECT_NE(run.Err.find("lies outside the map"), std::string::npos) << run.Err;
    EXPECT_EQ(Listing(), std::vector<std::string>());
}

// A start beyond every brush, or in the solid of one, is told of as such and
// not as a gap: outside compiles with a warning (the flood fills the space
// round the map), inside stops.
TEST_F(CompilePipelineTest, StartOutsideOrInsideABrushHasItsOwnMessage)
{
    const std::string room = Quote(Fixture("room6.map"));
    CRun run = Compile("--no-light -o out.vmz --start 0 0 500 " + room);
    EXPECT_EQ(run.nExitCode, 0) << run.Err;
    EXPECT_NE(run.Err.find("the start location 0 0 500 lies outside the map (its brushes span "
                           "-144 -144 -16 to 144 144 144)"),
              std::string::npos)
        << run.Err;
    EXPECT_EQ(run.Err.find("leaks"), std::string::npos) << run.Err;
    EXPECT_EQ(Listing(), (std::vector<std::string>{"out.vmz"}));

    run = Compile("--no-light -o new.vmz --start 0 0 -8 " + room);
    EXPECT_EQ(run.nExitCode, 1);
    EXPECT_NE(run.Err.find("the start location 0 0 -8 lies inside brush 0 (line 5), in solid"),
              std::string::npos)
        << run.Err;
    EXPECT_EQ(Listing(), (std::vector<std::string>{"out.vmz"}));
}

// A start on the floor's plane breaks the flood (the tree's band round the
// plane puts it under the floor); it moves 1 unit up and compiles to the
// same file as a start given there.
TEST_F(CompilePipelineTest, StartOnAPlaneCompilesAsOneUnitOff)
{
    const std::string room = Quote(Fixture("room6.map"));
    const CRun on = Compile("--no-light -o on.vmz --start 0 0 0 " + room);
    ASSERT_EQ(on.nExitCode, 0) << on.Err;
    EXPECT_NE(on.Err.find("the start location 0 0 0 lies on the plane of a side of brush 0 "
                          "(line 5), where the flood may start on the wrong side; moved to 0 0 1"),
              std::string::npos)
        << on.Err;
    ASSERT_EQ(Compile("-q --no-light -o off.vmz --start 0 0 1 " + room).nExitCode, 0);
    const std::string file = ReadFile(Path("on.vmz"));
    EXPECT_TRUE(file == ReadFile(Path("off.vmz")));
}

// The room moved to x 8856..9144 loses sides to the parser's square of 5800
// round the file's origin and leaks; --base-size 9216, the next multiple of
// 256 above 9144, keeps the six walls whole and the room sealed.
TEST_F(CompilePipelineTest, BaseSizeTakesInBrushesBeyondTheSquare)
{
    const std::string room = Quote(Fixture("room6_far.map"));
    CRun run = Compile("--no-light -o out.vmz " + room);
    ASSERT_EQ(run.nExitCode, 0) << run.Err;
    EXPECT_NE(run.Err.find("6 brushes reach beyond the base square of 5800 units and lose sides: "
                           "brush 0 (line 5), brush 1 (line 13), brush 2 (line 21), brush 3 (line "
                           "29), brush 4 (line 37), brush 5 (line 45); --base-size 9216 keeps them "
                           "whole"),
              std::string::npos)
        << run.Err;
    EXPECT_NE(run.Out.find(", brushes beyond the base square 6."), std::string::npos) << run.Out;

    run = Compile("--no-light --base-size 9216 -o out.vmz " + room);
    ASSERT_EQ(run.nExitCode, 0) << run.Err;
    EXPECT_EQ(run.Err.find("base square"), std::string::npos) << run.Err;
    EXPECT_EQ(run.Err.find("leaks"), std::string::npos) << run.Err;
    const CReadBack map(Path("out.vmz"));
    ASSERT_EQ(map.Result, MAP_READ_OK);
    EXPECT_EQ(map.Image.nFaces, 6);
}

// Paths that would replace a device, write over the map, hang on a pipe or
// need a folder made are refused before anything is read or written: exit
// 1, the path named, the scratch folder as it was (no output, no logs).
TEST_F(CompilePipelineTest, RefusedPathsNameThePathAndWriteNothing)
{
    const std::string map = Write("a.map", ReadFile(Fixture("room6.map")));
    ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
    std::filesystem::create_directory(Path("folder"));
    const struct {
        std::string Args;
        std::string Message;
    } cases[] = {
        {"-o a.map a.map", "the output a.map is the map itself"},
        {"-o /dev/null a.map", "the output /dev/null exists and is not a regular file"},
        {"-o pipe a.map", "the output pipe exists and is not a regular file"},
        {"-o missing/out.vmz a.map", "the output folder missing does not exist"},
        {"--log-dir logs a.map", "the log folder logs does not exist"},
        {"pipe", "pipe: not a regular file"},
        {"folder", "folder: a folder, not a map text"},
    };
    for (const auto& c : cases) {
        const CRun run = Compile("--no-light " + c.Args);
        EXPECT_EQ(run.nExitCode, 1) << c.Args;
        EXPECT_NE(run.Err.find(c.Message), std::string::npos) << c.Args << ": " << run.Err;
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(Dir))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        EXPECT_EQ(names, (std::vector<std::string>{"a.map", "folder", "pipe"})) << c.Args;
        EXPECT_EQ(ReadFile(map), ReadFile(Fixture("room6.map")));
    }
}

} // namespace
