#include "compiler/light.h"

#include "compiler/compile_driver.h"
#include "compiler/compile_pipeline.h"
#include "compiler/entities.h"
#include "compiler/light_entities.h"
#include "compiler/light_list_check.h"
#include "compiler/light_passes.h"
#include "compiler/light_shot.h"
#include "compiler/light_shot_block.h"
#include "compiler/light_sight.h"
#include "compiler/map_parser.h"
#include "compiler/portal.h"
#include "compiler/visibility.h"

#include "tests/scratch_dir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <sstream>
#include <string>
#include <vector>

namespace {

CLightRecord Record(int32_t r, int32_t g, int32_t b, int32_t intensity = 0)
{
    CLightRecord record;
    record.Red = r;
    record.Green = g;
    record.Blue = b;
    record.Intensity = intensity;
    return record;
}

TEST(LightRecordTest, ScaleTruncatesTowardZeroAndSaturateAddCapsAt255)
{
    CLightRecord light = Record(10, -10, 255, 7);
    light.ScaleLight(0.55);
    EXPECT_EQ(light.Red, 5);
    EXPECT_EQ(light.Green, -5);
    EXPECT_EQ(light.Blue, 140);
    EXPECT_EQ(light.Intensity, 7);
    light.ScaleLight(1e30); // held at the ends of the 32-bit range
    EXPECT_EQ(light.Red, INT32_MAX);
    EXPECT_EQ(light.Green, INT32_MIN);

    CLightRecord sample = Record(200, 200, 10, 0);
    sample.SaturateAdd(Record(55, 56, -30, 99));
    EXPECT_EQ(sample.Red, 255);   // a sum of 255 is still below 256
    EXPECT_EQ(sample.Green, 255); // 256 saturates
    EXPECT_EQ(sample.Blue, -20);  // negative light darkens
    EXPECT_EQ(sample.Intensity, 0);
    sample.Add(Record(300, 0, 0, 9));
    EXPECT_EQ(sample.Red, 555);
    EXPECT_EQ(sample.Intensity, 0);
}

// A name tree of the given names, numbered.
CTexNameNode* Names(std::initializer_list<const char*> names)
{
    CTexNameNode* pNames = nullptr;
    for (const char* pszName : names) {
        CToken name;
        name.Set(pszName);
        FindOrAddName(&pNames, name);
    }
    int32_t counter = 0;
    NumberNames(pNames, &counter);
    return pNames;
}

class LightListTest : public ScratchDirTest {};

TEST_F(LightListTest, KnownNamesWithIntensityBecomeLights)
{
    CTexNameNode* pNames = Names({"lamp", "wall", "dim"});
    const std::string path =
        Write("lights.txt", "lamp 10 20 30 5\nnosuch 1 1 1 1\ndim 1 2 3 0\nlamp 300 -4 0 7\nwall 9");
    CLightNode* pLights = ReadLightList(pNames, path.c_str());
    // The later entry wins; a colour outside 0..255 stays as it stands.
    ASSERT_TRUE(pLights && !pLights->pLeft && !pLights->pRight);
    EXPECT_EQ(pLights->Key, FindName(pNames, "lamp")->Index);
    EXPECT_TRUE(pLights->Record.Red == 300 && pLights->Record.Green == -4 && pLights->Record.Intensity == 7);
    // Intensity 0 is stored in the name but makes no light; an entry cut off
    // by the end of the file is dropped.
    EXPECT_EQ(FindName(pNames, "dim")->Light.Blue, 3);
    EXPECT_EQ(FindName(pNames, "wall")->Light.Red, 0);
    FreeLights(&pLights);
    EXPECT_EQ(ReadLightList(pNames, Path("missing.txt").c_str()), nullptr);
    std::ostringstream err;
    EXPECT_FALSE(CheckLightList(Path("missing.txt").c_str(), pNames, err));
    FreeNames(&pNames);
}

struct CListCase {
    const char* pszText;
    const char* pszWarning; // after "warning: PATH:"; empty for none
};

class LightListCheckTest : public ScratchDirTest, public ::testing::WithParamInterface<CListCase> {};

TEST_P(LightListCheckTest, WarnsOfEachDoubtfulEntryWithItsLine)
{
    CTexNameNode* pNames = Names({"lamp"});
    const std::string path = Write("list.lights", GetParam().pszText);
    std::ostringstream err;
    ASSERT_TRUE(CheckLightList(path.c_str(), pNames, err));
    const std::string warning = GetParam().pszWarning;
    EXPECT_EQ(err.str(), warning.empty() ? "" : "warning: " + path + ":" + warning + "\n");
    FreeNames(&pNames);
}

INSTANTIATE_TEST_SUITE_P(
    Entries, LightListCheckTest,
    ::testing::Values(
        CListCase{"lamp 10 20 30 5\n\n", ""}, CListCase{"", ""},
        CListCase{"lamp 1.5 0 0 1\n", "1: red '1.5' is not a whole number; it is read as 1"},
        CListCase{"\nlamp 0 0x10 0 1\n", "2: green '0x10' is not a whole number; it is read as 0"},
        CListCase{"lamp 0 0 300 1\n", "1: blue '300' is outside 0 to 255; it is kept as it stands"},
        CListCase{"lamp 0 -1 0 1\n", "1: green '-1' is outside 0 to 255; it is kept as it stands"},
        CListCase{"lamp 0 0 0 -2\n",
                  "1: intensity '-2' is negative: the texture darkens what it lights"},
        CListCase{"lamp 0 0 0 2147483648\n",
                  "1: intensity '2147483648' is out of range (a 32-bit whole number)"},
        CListCase{"lamp 1 1 1 1\n\n\nsky 1 1 1 1\n",
                  "4: texture 'sky' is not in the map; its entry lights nothing"},
        CListCase{"lamp 1 1 1 1\nlamp 1\n", "2: the last entry has 2 of its 5 words; it is dropped"}));

// A reached leaf holding a 32-unit square at y = 0 facing +y: sample (x, y)
// of its grid stands at (2x, 0, 2y), with area 4.
struct CSquareLeaf {
    CSquareLeaf()
    {
        Face.VertexCount = 4;
        Face.pVertices = new CVertex[4];
        const CVector corners[4] = {{32, 0, 0}, {0, 0, 0}, {0, 0, 32}, {32, 0, 32}};
        for (int i = 0; i < 4; ++i)
            Face.pVertices[i].Position = corners[i];
        InitGrid(&Grid, &Face);
        Leaf.pFaces = &Face;
        Leaf.FaceCount = 1;
        Leaf.bVisited = true;
        Leaf.pGrids = &Grid;
    }
    ~CSquareLeaf()
    {
        FreeGrid(&Grid);
        FreeFace(&Face);
        Leaf.pFaces = nullptr;
        Leaf.pGrids = nullptr;
    }
    int32_t Red(int x, int y) { return GetLumel(&Grid, x, y)->Light.Red; }

    CLeafFace Face;
    CLumelGrid Grid;
    CBuildNode Leaf;
};

TEST(ShootLumelTest, ShotIsIntensityTimesAreaSquaredOverPiDistanceSquaredInFrontOfTheSource)
{
    CSquareLeaf square;
    const CLumel* pLumel = GetLumel(&square.Grid, 3, 5);
    ASSERT_EQ(pLumel, &square.Grid.pLumels[5 * 16 + 3]);
    EXPECT_FLOAT_EQ(pLumel->Position.x, 6.0f);
    EXPECT_FLOAT_EQ(pLumel->Position.z, 10.0f);
    EXPECT_FLOAT_EQ(pLumel->Area, 4.0f);
    EXPECT_EQ(GetLumel(&square.Grid, 0, 16), nullptr);

    // Area 2, intensity 3, 4 units above sample (0, 0): the factor is
    // 3 * 2 / (16 * 3.14159) * 2 = 0.2387; at (2, 0), 32 units squared
    // away, half that.
    CLumel source;
    source.Area = 2.0f;
    source.Position = CVector(0, 4, 0);
    source.Light = Record(100, 50, -100, 3);
    const CVector down(0, -1, 0);
    ShootLumel(&square.Leaf, &down, &source, &square.Leaf);
    const CLightRecord& near = GetLumel(&square.Grid, 0, 0)->Light;
    EXPECT_TRUE(near.Red == 23 && near.Green == 11 && near.Blue == -23);
    EXPECT_EQ(square.Red(2, 0), 11);
    EXPECT_EQ(square.Red(0, 2), 11);
    EXPECT_EQ(square.Red(15, 15), 0); // 0.0055 of 100 truncates to nothing

    // From sample (0, 0) facing -x: column x = 0 lies on the source's plane
    // and is lit, every other column lies behind it; a sample on the
    // source's own point gets nothing.
    source.Area = 1.0f;
    source.Position = CVector();
    source.Light = Record(10000, 0, 0, 1);
    const CVector west(-1, 0, 0);
    ShootLumel(&square.Leaf, &west, &source, &square.Leaf);
    EXPECT_EQ(square.Red(0, 0), 23);   // as before
    EXPECT_EQ(square.Red(0, 15), 3);   // 10000 / (900 pi)
    EXPECT_EQ(square.Red(1, 15), 0);
    EXPECT_EQ(square.Red(15, 1), 0);

    FreeGrid(&square.Grid);
    EXPECT_EQ(GetLumel(&square.Grid, 0, 0), nullptr);
}

// A block of shots is MakeShot and the source-plane test, lane by lane.
TEST(ShotBlockTest, EachLaneIsTheShotOfItsOwnSample)
{
    CLumel source;
    source.Area = 2.0f;
    source.Position = CVector(0, 4, 0);
    source.Light = Record(100, 50, -100, 3);
    const CPlane plane(source.Position, CVector(0, -1, 0)); // facing down
    const float nan = std::nanf("");
    const CVector points[SHOT_BLOCK_SIZE] = {
        {0, 0, 0},          // the hand-worked shot of ShootLumelTest: green 11
        {0, 4, 0},          // the source's own point: nothing
        {0, 4.0f, 7},       // on the source's plane: lit
        {0, 4.5f, 0},       // behind it
        {0, 3.9999f, 0.1f}, // just in front, very near: held at the range's ends
        {0, -1e6f, 0},      // too far for a whole unit
        {nan, 0, 0},        // not a number: nothing
        {1, 2, 3},          {-5, -1, 2}, {7, 0.5f, -3}, {0.25f, 3.5f, 0}, {-2, -2, -2},
        {10, 0, 10},        {0, -30, 0}, {3, 1, -8},    {-0.5f, 3.75f, 0.5f}};
    CShotPoints columns;
    for (int32_t k = 0; k < SHOT_BLOCK_SIZE; ++k) {
        columns.X[k] = points[k].x;
        columns.Y[k] = points[k].y;
        columns.Z[k] = points[k].z;
    }
    // Channels that the nearest shot takes past the 32-bit range.
    source.Light.Red = 2000000000;
    source.Light.Blue = -2000000000;
    for (const bool bPlaneTest : {true, false}) {
        CShotBlock block;
        MakeShotBlock(CShotSource(source, plane, ShotPower(source), ShotReach(source), bPlaneTest),
                      columns, &block);
        for (int32_t k = 0; k < SHOT_BLOCK_SIZE; ++k) {
            SCOPED_TRACE(k);
            CLightRecord shot;
            const bool bLit = MakeShot(source, ShotPower(source), points[k], &shot) &&
                              (!bPlaneTest || !(plane.DistanceTo(points[k]) < 0.0));
            EXPECT_EQ((block.Lit >> k) & 1u, bLit ? 1u : 0u);
            if (bLit) {
                EXPECT_EQ(block.Channels[0][k], shot.Red);
                EXPECT_EQ(block.Channels[1][k], shot.Green);
                EXPECT_EQ(block.Channels[2][k], shot.Blue);
            }
        }
        EXPECT_EQ(block.Lit & 0x7Fu, bPlaneTest ? 0x15u : 0x1Du);
        EXPECT_EQ(block.Channels[0][4], INT32_MAX);
        EXPECT_EQ(block.Channels[2][4], INT32_MIN);
        EXPECT_EQ(block.Channels[1][0], 11);
    }
}

// The source of ShotBlockTest reaches 1200 / pi = 381.97 (peak 100, power
// 3 * 2, area 2): a block lies beyond it when its squared distance tops
// 381.97 / 0.999, that is from 19.554 on. Its plane (y = 4, facing down)
// passes over blocks wholly more than the margin 0.001 behind it.
TEST(ShotBlockTest, BlocksBeyondReachOrWhollyBehindThePlaneArePassedOver)
{
    CLumel source;
    source.Area = 2.0f;
    source.Position = CVector(0, 4, 0);
    source.Light = Record(100, 50, -100, 3);
    const CPlane plane(source.Position, CVector(0, -1, 0));
    CBlockBoxes boxes;
    auto setBox = [&](int32_t b, CVector low, CVector high) {
        const double lows[3] = {low.x, low.y, low.z};
        const double highs[3] = {high.x, high.y, high.z};
        for (int32_t k = 0; k < 3; ++k) {
            boxes.Low[k][b] = lows[k];
            boxes.High[k][b] = highs[k];
        }
    };
    for (int32_t b = 0; b < SHOT_GRID_BLOCKS; ++b)
        setBox(b, CVector(-1, -1, -1), CVector(1, 1, 1));
    setBox(1, CVector(0, -16, 0), CVector(1, -15.5f, 1));    // 19.5 away: in reach
    setBox(2, CVector(0, -16, 0), CVector(1, -15.625f, 1));  // 19.625 away: beyond
    setBox(3, CVector(-1, 4.0011f, -1), CVector(1, 5, 1));   // 0.0011 behind
    setBox(4, CVector(-1, 4.0009f, -1), CVector(1, 5, 1));   // within the margin
    setBox(5, CVector(1e30f, 1e30f, 1e30f), CVector(-1e30f, -1e30f, -1e30f)); // empty
    setBox(6, CVector(-1e30f, 0, 0), CVector(1e30f, 1, 1)); // round the source's x
    const double reach = ShotReach(source);
    EXPECT_EQ(BlocksInReach(CShotSource(source, plane, ShotPower(source), reach, true), boxes,
                            0.001),
              0xFFD3u);
    EXPECT_EQ(BlocksInReach(CShotSource(source, plane, ShotPower(source), reach, false), boxes,
                            0.001),
              0xFFDBu);
}

// A shot changes a sample unless it adds nothing to every channel, or only
// positive amounts to full ones; AddShots adds as SaturateAdd does.
TEST(ShotBlockTest, ShotsChangeLightThatIsNotFullAndAddAsManyTimesAsAsked)
{
    CShotBlock shots = {};
    CBlockLight light = {};
    auto set = [](int32_t (&channels)[3][SHOT_BLOCK_SIZE], int32_t k, int32_t r, int32_t g,
                  int32_t b) {
        channels[0][k] = r;
        channels[1][k] = g;
        channels[2][k] = b;
    };
    set(shots.Channels, 0, 0, 0, 0); // nothing
    set(light.Channels, 0, 7, 7, 7);
    set(shots.Channels, 1, 5, 0, 9); // onto full channels
    set(light.Channels, 1, 255, 3, 255);
    set(shots.Channels, 2, -5, 0, 0); // taken off a full channel
    set(light.Channels, 2, 255, 0, 0);
    set(shots.Channels, 3, 5, 0, 0); // up to full
    set(light.Channels, 3, 254, 0, 0);
    set(shots.Channels, 4, 0, 0, 1); // one channel that is not full
    set(light.Channels, 4, 255, 255, 0);
    set(shots.Channels, 5, -2000000000, 0, 0); // held at the 32-bit range's end
    set(light.Channels, 5, INT32_MIN + 5, 0, 0);
    set(shots.Channels, 6, 3, 0, 0); // changed, but not added below
    set(light.Channels, 6, 10, 0, 0);
    EXPECT_EQ(ChangedBy(shots, light) & 0x7Fu, 0x7Cu);
    AddShots(shots, 0x3Fu, 2, &light);
    const int32_t expected[7][3] = {{7, 7, 7},         {255, 3, 255}, {245, 0, 0}, {255, 0, 0},
                                    {255, 255, 2},     {INT32_MIN, 0, 0}, {10, 0, 0}};
    for (int32_t k = 0; k < 7; ++k) {
        SCOPED_TRACE(k);
        for (int32_t c = 0; c < 3; ++c)
            EXPECT_EQ(light.Channels[c][k], expected[k][c]);
    }
}

// Whether a segment sees, by LineOfSight or by the compact sight tree.
using CSightTest = bool (*)(CBuildNode* pRoot, CVector a, CVector b);

bool SeesByTree(CBuildNode* pRoot, CVector a, CVector b) { return LineOfSight(pRoot, &a, &b); }

bool SeesByCopy(CBuildNode* pRoot, CVector a, CVector b)
{
    const CSightTree sight(pRoot);
    std::vector<CSightTree::CStep> stack(static_cast<size_t>(sight.StackSize()));
    return sight.Sees(sight.Root(), a, b, stack.data());
}

class LineOfSightTest : public ::testing::TestWithParam<CSightTest> {};

TEST_P(LineOfSightTest, SegmentsPassOnlyThroughReachedLeaves)
{
    // Two leaves on either side of the plane x = 0 (front: x > 0).
    CLeafFace dummy;
    CBuildNode root, front, back;
    root.Plane = CPlane(CVector(1, 0, 0), 0.0f);
    root.pFront = &front;
    root.pBack = &back;
    front.pFaces = back.pFaces = &dummy;
    front.bVisited = back.bVisited = true;
    auto sees = [&](CVector a, CVector b) { return GetParam()(&root, a, b); };
    EXPECT_TRUE(sees({-5, 0, 0}, {9, 3, 0}));

    back.bVisited = false; // the back is outside the world
    EXPECT_TRUE(sees({5, 0, 0}, {9, 3, 0}));
    EXPECT_FALSE(sees({5, 0, 0}, {-9, 3, 0}));
    EXPECT_FALSE(sees({-5, 0, 0}, {9, 3, 0}));
    EXPECT_FALSE(sees({0.1f, 0, 0}, {-9, 0, 0})); // from within the band
    // Along the plane: passes when either side does.
    EXPECT_TRUE(sees({0, 0, 0}, {0.1f, 50, 0}));
    front.bVisited = false;
    EXPECT_FALSE(sees({0, 0, 0}, {0.1f, 50, 0}));

    front.bVisited = true;
    root.pBack = nullptr; // a missing child is solid
    EXPECT_FALSE(sees({-5, 0, 0}, {-9, 0, 0}));
    EXPECT_TRUE(sees({5, 0, 0}, {0, 0, 0}));
    EXPECT_FALSE(LineOfSight(nullptr, &root.Plane.Normal, &root.Plane.Normal));
}

INSTANTIATE_TEST_SUITE_P(Walks, LineOfSightTest, ::testing::Values(&SeesByTree, &SeesByCopy));

// A brush from (x0, y0, z0) to (x1, y1, z1) in file axes; the bottom face
// may have a texture of its own.
std::string Box(int x0, int y0, int z0, int x1, int y1, int z1, const std::string& texture,
                const std::string& bottom = "")
{
    auto p = [](int x, int y, int z) {
        return "( " + std::to_string(x) + " " + std::to_string(y) + " " + std::to_string(z) + " ) ";
    };
    const std::string axes = " [ 1 0 0 0 ] [ 0 -1 0 0 ] 0 1 1\n";
    const std::string side = texture + axes;
    return "{\n" + p(x0, y0, z0) + p(x0, y0 + 64, z0) + p(x0, y0, z0 + 64) + side +
           p(x1, y0, z0) + p(x1, y0, z0 + 64) + p(x1, y0 + 64, z0) + side + p(x0, y0, z0) +
           p(x0, y0, z0 + 64) + p(x0 + 64, y0, z0) + side + p(x0, y1, z0) + p(x0 + 64, y1, z0) +
           p(x0, y1, z0 + 64) + side + p(x0, y0, z0) + p(x0 + 64, y0, z0) + p(x0, y0 + 64, z0) +
           (bottom.empty() ? texture : bottom) + axes + p(x0, y0, z1) + p(x0, y0 + 64, z1) +
           p(x0 + 64, y0, z1) + side + "}\n";
}

// A room of x -256..256, y -128..128, z 32..160 (file axes), cut in two by a
// full-height wall at x -8..8 with a doorway at y 64..128 unless bSealed. A
// light panel hangs from the west ceiling, a small "shade" from the east
// one; the start is in the west. No plane passes through the origin: the
// builders place a face lying in a splitter's band by distance alone, so a
// floor at height 0 would go to the solid side of the opposite plane.
std::string TwoRoomMap(const std::string& entities = "", const std::string& brushes = "")
{
    return "{\n\"classname\" \"worldspawn\"\n" + brushes + Box(-272, -144, 16, 272, 144, 32, "floor") +
           Box(-272, -144, 160, 272, 144, 176, "ceiling") +
           Box(-272, -144, 32, -256, 144, 160, "wall") + Box(256, -144, 32, 272, 144, 160, "wall") +
           Box(-256, -144, 32, 256, -128, 160, "wall") + Box(-256, 128, 32, 256, 144, 160, "wall") +
           Box(-8, -128, 32, 8, 64, 160, "wall") +
           Box(-192, -32, 144, -128, 32, 160, "wall", "panel") +
           Box(128, -16, 144, 160, 16, 160, "wall", "shade") +
           "}\n{\n\"classname\" \"info_player_start\"\n\"origin\" \"-64 0 56\"\n}\n" + entities;
}

// A map compiled, every reached leaf seeing every reached leaf, ready to
// light by the fast passes or step by step.
struct LitMap {
    explicit LitMap(const std::string& mapPath)
    {
        std::vector<CEntity> entities;
        bReady = ReadEntities(mapPath.c_str(), &entities) &&
                 FindStartLocation(entities, &Start) && ParseMapFile(mapPath.c_str(), &Map) &&
                 CompileMapData(&Map, &Start, &pPortals, &PortalCount, &pRoot, Log);
        for (std::vector<CBuildNode*> pending{pRoot}; !pending.empty();) {
            CBuildNode* pNode = pending.back();
            pending.pop_back();
            if (pNode && pNode->IsLeaf() && pNode->bVisited)
                Leaves.push_back(pNode);
            if (pNode)
                pending.insert(pending.end(), {pNode->pFront, pNode->pBack});
        }
        for (CBuildNode* pLeaf : Leaves) {
            pLeaf->pVisibleLeaves = new CBuildNode*[Leaves.size()];
            std::copy(Leaves.begin(), Leaves.end(), pLeaf->pVisibleLeaves);
            pLeaf->VisibleLeafCount = static_cast<int32_t>(Leaves.size());
        }
    }
    ~LitMap()
    {
        FreeLights(&pLights);
        FreePortals(&pPortals, PortalCount);
        FreeTree(&pRoot);
        FreeMapData(&Map);
    }

    // Every visible list twice over: each shot goes twice into each leaf.
    void RepeatVisibleLists()
    {
        for (CBuildNode* pLeaf : Leaves) {
            delete[] pLeaf->pVisibleLeaves;
            pLeaf->pVisibleLeaves = new CBuildNode*[2 * Leaves.size()];
            std::copy(Leaves.begin(), Leaves.end(), pLeaf->pVisibleLeaves);
            std::copy(Leaves.begin(), Leaves.end(), pLeaf->pVisibleLeaves + Leaves.size());
            pLeaf->VisibleLeafCount = static_cast<int32_t>(2 * Leaves.size());
        }
    }

    // Each leaf's list leaves out the leaf after it: lists of one length
    // that differ from leaf to leaf.
    void DropNextFromVisibleLists()
    {
        const size_t count = Leaves.size();
        for (size_t i = 0; i < count; ++i) {
            CBuildNode* pLeaf = Leaves[i];
            int32_t n = 0;
            for (size_t j = 0; j < count; ++j) {
                if (j != (i + 1) % count)
                    pLeaf->pVisibleLeaves[n++] = Leaves[j];
            }
            pLeaf->VisibleLeafCount = n;
        }
    }

    // Fresh grids, emitting by the light list at lightPath (empty: none).
    void MakeFreshGrids(const std::string& lightPath)
    {
        FreeLights(&pLights);
        if (!lightPath.empty())
            pLights = ReadLightList(Map.pNames, lightPath.c_str());
        MakeGrids(pRoot, pLights);
        Grids.clear();
        for (const CBuildNode* pLeaf : Leaves)
            for (int32_t i = 0; pLeaf->pGrids && i < pLeaf->FaceCount; ++i)
                Grids.push_back(&pLeaf->pGrids[i]);
    }

    void Light(const std::string& lightPath, int32_t bounces, int32_t threads,
               const std::vector<CPointLight>& points = {})
    {
        MakeFreshGrids(lightPath);
        CLightRun run;
        run.Bounces = bounces;
        run.Threads = threads;
        run.pPoints = &points;
        RunLightPasses(pRoot, run);
    }

    // Every colour and mean of every grid, in order.
    std::vector<int32_t> Values() const
    {
        std::vector<int32_t> values;
        for (const CLumelGrid* pGrid : Grids) {
            values.insert(values.end(), {pGrid->Mean.Red, pGrid->Mean.Intensity});
            for (int32_t i = 0; i < pGrid->LumelCount; ++i) {
                const CLightRecord& light = pGrid->pLumels[i].Light;
                values.insert(values.end(), {light.Red, light.Green, light.Blue});
            }
        }
        return values;
    }

    // The samples at world height y on faces whose normal has y component
    // normalY, within world x0..x1, z0..z1; the largest red among them.
    std::vector<const CLumel*> Samples(float normalY, float y, float x0, float x1, float z0,
                                       float z1) const
    {
        std::vector<const CLumel*> found;
        for (const CLumelGrid* pGrid : Grids) {
            for (int32_t i = 0; pGrid->Normal.y * normalY > 0.9f && i < pGrid->LumelCount; ++i) {
                const CVector& p = pGrid->pLumels[i].Position;
                if (std::abs(p.y - y) < 0.01f && p.x >= x0 && p.x <= x1 && p.z >= z0 && p.z <= z1)
                    found.push_back(&pGrid->pLumels[i]);
            }
        }
        return found;
    }
    int32_t MaxRed(float normalY, float y, float x0, float x1, float z0, float z1) const
    {
        int32_t best = -1;
        for (const CLumel* pLumel : Samples(normalY, y, x0, x1, z0, z1))
            best = std::max(best, pLumel->Light.Red);
        return best;
    }

    bool bReady = false;
    CVector Start;
    CMapData Map;
    CPortal* pPortals = nullptr;
    int32_t PortalCount = 0;
    CBuildNode* pRoot = nullptr;
    CLightNode* pLights = nullptr;
    std::vector<CBuildNode*> Leaves;
    std::vector<const CLumelGrid*> Grids;
    std::ostringstream Log;
};

// The passes step by step, every shot by ShootLumel, nothing skipped: what
// the fast passes must give bit for bit.
void ShootEmittersStepByStep(CBuildNode* pRoot, CBuildNode* pNode)
{
    if (!pNode)
        return;
    ShootEmittersStepByStep(pRoot, pNode->pFront);
    ShootEmittersStepByStep(pRoot, pNode->pBack);
    if (!pNode->pFaces || !pNode->pVisibleLeaves || !pNode->bVisited)
        return;
    for (int32_t g = 0; g < pNode->FaceCount; ++g) {
        CLumelGrid* pGrid = &pNode->pGrids[g];
        for (int32_t i = 0; i < LUMEL_GRID_COUNT; ++i) {
            const CLumel* pLumel = GetLumel(pGrid, i / 16, i % 16);
            if (!pLumel || pLumel->Light.Intensity == 0)
                break;
            for (int32_t v = 0; v < pNode->VisibleLeafCount; ++v)
                ShootLumel(pRoot, &pGrid->Normal, pLumel, pNode->pVisibleLeaves[v]);
        }
    }
}

void ShootBounceStepByStep(CBuildNode* pRoot, CBuildNode* pNode)
{
    if (!pNode)
        return;
    for (int32_t g = 0; pNode->pGrids && pNode->bVisited && g < pNode->FaceCount; ++g) {
        CLumelGrid* pGrid = &pNode->pGrids[g];
        if (pGrid->pLumels[0].Light.Intensity != 0)
            continue;
        CLumel source;
        source.Area = static_cast<float>(BOUNCE_POWER);
        source.Position = GetLumel(pGrid, 7, 7)->Position;
        source.Light = pGrid->Mean;
        for (int32_t i = 0; i < LUMEL_GRID_COUNT; ++i)
            pGrid->pLumels[i].Light.Intensity = 1;
        for (int32_t v = 0; pNode->pVisibleLeaves && v < pNode->VisibleLeafCount; ++v)
            ShootLumel(pRoot, &pGrid->Normal, &source, pNode->pVisibleLeaves[v]);
        for (int32_t i = 0; i < LUMEL_GRID_COUNT; ++i)
            pGrid->pLumels[i].Light.Intensity = 0;
    }
    ShootBounceStepByStep(pRoot, pNode->pFront);
    ShootBounceStepByStep(pRoot, pNode->pBack);
}

// A point light step by step: ShootLumel's loop without its source plane.
void ShootPointStepByStep(CBuildNode* pRoot, const CPointLight& point)
{
    CVector at = point.Position;
    const CBuildNode* pHome = FindLeaf(pRoot, &at);
    for (int32_t v = 0; v < pHome->VisibleLeafCount; ++v) {
        const CBuildNode* pLeaf = pHome->pVisibleLeaves[v];
        for (int32_t g = 0; g < pLeaf->FaceCount; ++g) {
            CLumelGrid& grid = pLeaf->pGrids[g];
            if (CPlane(grid.pLumels[0].Position, grid.Normal).DistanceTo(at) < 0.0)
                continue;
            for (int32_t i = 0; i < LUMEL_GRID_COUNT; ++i) {
                CLumel& sample = grid.pLumels[i];
                const CVector d = sample.Position - at;
                const double d2 = static_cast<double>(d.x) * d.x + static_cast<double>(d.y) * d.y +
                                  static_cast<double>(d.z) * d.z;
                if (sample.Light.Intensity != 0 || d2 == 0.0 ||
                    !LineOfSight(pRoot, &at, &sample.Position))
                    continue;
                CLightRecord shot = point.Light;
                const double power = static_cast<double>(point.Light.Intensity) * point.Area;
                shot.ScaleLight(static_cast<float>(power / (d2 * LIGHT_PI) * point.Area));
                sample.Light.SaturateAdd(shot);
            }
        }
    }
}

// Faces on slanted planes, whose samples and crossings the boxes of the
// sight tests hold far to both sides of the plane: a ramp under the light
// panel, rising to the east, and a pillar of three sides in the east room.
std::string SlantedBrushes()
{
    const std::string axes = " [ 1 0 0 0 ] [ 0 -1 0 0 ] 0 1 1\n";
    auto face = [&](const std::string& points) { return points + " wall" + axes; };
    return "{\n" + face("( -160 -64 32 ) ( -160 0 32 ) ( -96 -64 96 )") +
           face("( -96 -64 32 ) ( -96 -64 96 ) ( -96 0 32 )") +
           face("( -160 -64 32 ) ( -160 -64 96 ) ( -96 -64 32 )") +
           face("( -160 0 32 ) ( -96 0 32 ) ( -160 0 96 )") +
           face("( -160 -64 32 ) ( -96 -64 32 ) ( -160 0 32 )") + "}\n{\n" +
           face("( 128 -32 32 ) ( 128 -32 96 ) ( 64 32 32 )") +
           face("( 64 -32 32 ) ( 64 32 32 ) ( 64 -32 96 )") +
           face("( 64 -32 32 ) ( 64 -32 96 ) ( 128 -32 32 )") +
           face("( 64 -32 32 ) ( 128 -32 32 ) ( 64 32 32 )") +
           face("( 64 -32 160 ) ( 64 32 160 ) ( 128 -32 160 )") + "}\n";
}

class LitMapTest : public ScratchDirTest, public ::testing::WithParamInterface<bool> {};

TEST_P(LitMapTest, FastPassesOnAnyThreadsMatchThePassesStepByStep)
{
    // Negative light from the shade makes the order of the additions matter:
    // saturation at 255 does not commute with subtraction. Without it, light
    // only adds, and the passes take the shots in another order and pass
    // over the samples that are full. Every leaf stands twice in every
    // visible list.
    LitMap map(Write("rooms.map", TwoRoomMap("", GetParam() ? SlantedBrushes() : "")));
    ASSERT_TRUE(map.bReady);
    map.RepeatVisibleLists();
    CPointLight point;
    point.Position = CVector(-100, 120, 40);
    point.Area = 60.0f;
    point.Light = Record(200, 150, 250, 1);
    const std::vector<CPointLight> points{point};
    for (const char* pszLights :
         {"panel 300 200 100 1000\nshade -90 -60 -30 400\n",
          "panel 300 200 100 1000\nshade 90 60 30 -400\n", "panel 300 200 100 1000\n"}) {
        const std::string lights = Write("lights.txt", pszLights);
        map.MakeFreshGrids(lights);
        ShootEmittersStepByStep(map.pRoot, map.pRoot);
        ShootPointStepByStep(map.pRoot, point);
        for (int bounce = 0; bounce < 2; ++bounce) {
            AverageGrids(map.pRoot);
            ShootBounceStepByStep(map.pRoot, map.pRoot);
        }
        const std::vector<int32_t> expected = map.Values();
        ASSERT_GT(expected.size(), 1000u);
        // Some samples are full in all three channels, some in one or two.
        int32_t full[4] = {};
        for (const CLumelGrid* pGrid : map.Grids) {
            for (int32_t i = 0; i < pGrid->LumelCount; ++i) {
                const CLightRecord& light = pGrid->pLumels[i].Light;
                ++full[(light.Red == 255) + (light.Green == 255) + (light.Blue == 255)];
            }
        }
        ASSERT_GT(full[3], 100);
        ASSERT_GT(full[1] + full[2], 0);
        for (int32_t threads : {1, 3}) {
            map.Light(lights, 2, threads, points);
            EXPECT_TRUE(map.Values() == expected) << pszLights << threads << " threads";
        }
    }
}

// In a pass that only adds light, a sample that is full in every channel
// takes no more shots: a map whose samples are all full before the passes
// shoots none, and they stay full.
class FullSampleTest : public ScratchDirTest {};

TEST_F(FullSampleTest, PassesThatOnlyAddLightShootNothingIntoThem)
{
    LitMap map(Write("rooms.map", TwoRoomMap("", "")));
    ASSERT_TRUE(map.bReady);
    map.MakeFreshGrids(Write("lights.txt", "panel 300 200 100 1000\n"));
    int32_t filled = 0;
    for (CBuildNode* pLeaf : map.Leaves) {
        for (int32_t g = 0; pLeaf->pGrids && g < pLeaf->FaceCount; ++g) {
            CLumelGrid& grid = pLeaf->pGrids[g];
            for (int32_t i = 0; i < grid.LumelCount; ++i) {
                CLightRecord& light = grid.pLumels[i].Light;
                if (light.Intensity == 0) {
                    light.Red = light.Green = light.Blue = 255;
                    ++filled;
                }
            }
        }
    }
    ASSERT_GT(filled, 1000);
    CLightStats stats;
    CLightRun run;
    run.Threads = 2;
    run.pStats = &stats;
    RunLightPasses(map.pRoot, run);
    EXPECT_EQ(stats.Shots, 0);
    EXPECT_EQ(stats.LineTests, 0);
    EXPECT_GT(stats.Pairs, 0); // there were faces in reach
    int32_t full = 0;
    for (const CLumelGrid* pGrid : map.Grids) {
        for (int32_t i = 0; i < pGrid->LumelCount; ++i) {
            const CLightRecord& light = pGrid->pLumels[i].Light;
            full += light.Intensity == 0 && light.Red == 255 && light.Green == 255 &&
                    light.Blue == 255;
        }
    }
    EXPECT_EQ(full, filled);
}

// A shared map of a few brushes at odd angles, lit by its light entity with
// one bounce: its slanted faces meet planes in every way that the tests of
// blocks must allow for. Each leaf's visible list is one leaf short, so that
// lists of one length differ from shooter to shooter.
TEST(SharedLitMapTest, AngledBrushesLightAsStepByStep)
{
    const std::string path = SharedMap("qbsp_angled_brush.map");
    LitMap map(path);
    ASSERT_TRUE(map.bReady);
    ASSERT_GT(map.Leaves.size(), 2u);
    map.DropNextFromVisibleLists();
    std::vector<CEntity> entities;
    ASSERT_TRUE(ReadEntities(path.c_str(), &entities));
    const std::vector<CPointLight> points = ReadLightEntities(entities, CVector()).Points;
    ASSERT_EQ(points.size(), 1u);

    map.MakeFreshGrids("");
    ShootPointStepByStep(map.pRoot, points[0]);
    AverageGrids(map.pRoot);
    ShootBounceStepByStep(map.pRoot, map.pRoot);
    const std::vector<int32_t> expected = map.Values();
    ASSERT_GT(std::count_if(expected.begin(), expected.end(), [](int32_t v) { return v > 0; }),
              1000);
    map.Light("", 1, 2, points);
    EXPECT_TRUE(map.Values() == expected);
}

INSTANTIATE_TEST_SUITE_P(Rooms, LitMapTest, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "Slanted" : "Square"; });

// Fans of segments walked together answer, lane by lane, as each segment's
// own walk: across the rooms, through the wall and the slanted brushes,
// along the floor's plane (those pieces as a fan of their own), and to a point
// that is not a number (measured by the rule of single walks). So do fans
// that pass over the nodes that all of them go by whole.
class SightFanTest : public ScratchDirTest {};

TEST_F(SightFanTest, EachLaneAnswersAsItsOwnWalk)
{
    LitMap map(Write("rooms.map", TwoRoomMap("", SlantedBrushes())));
    ASSERT_TRUE(map.bReady);
    const CSightTree sight(map.pRoot);
    std::vector<CSightTree::CStep> stack(static_cast<size_t>(sight.StackSize()));
    std::vector<CSightTree::CFanStep> fan(static_cast<size_t>(sight.FanStackSize()));
    // Few entries, so that nodes share them.
    CSightTree::CSkips skips(2);
    std::vector<CVector> points;
    // World y is height: the floor's top lies at 32.
    for (float x = -250; x < 256; x += 41)
        for (float z = -120; z < 128; z += 37)
            for (float y : {32.0f, 33.5f, 90.0f, 150.0f})
                points.emplace_back(x, y, z);
    points.emplace_back(NAN, 0.0f, 60.0f);
    int32_t counts[2] = {0, 0};
    int32_t mixed = 0;
    for (size_t s = 0; s < points.size(); s += 7) {
        for (size_t first = 0; first < points.size(); first += 16) {
            const int32_t count =
                static_cast<int32_t>(std::min<size_t>(CSightTree::FAN_SIZE, points.size() - first));
            const uint32_t sees =
                sight.SeesFan(sight.Root(), points[s], &points[first], count, fan.data(), stack.data());
            CSightBox from;
            CSightBox to;
            from.Add(points[s]);
            for (int32_t k = 0; k < count; ++k)
                to.Add(points[first + k]);
            sight.SetSkips(&skips, from, to);
            ASSERT_EQ(sight.SeesFan(sight.Root(), points[s], &points[first], count, fan.data(),
                                    stack.data(), &skips),
                      sees)
                << s << " to " << first;
            for (int32_t k = 0; k < count; ++k) {
                const bool bOwn = sight.Sees(sight.Root(), points[s], points[first + k], stack.data());
                ASSERT_EQ((sees >> k) & 1u, bOwn ? 1u : 0u) << s << " to " << first + k;
                ++counts[bOwn];
            }
            const int32_t seen = std::popcount(sees);
            mixed += seen > 0 && seen < count;
        }
    }
    EXPECT_GT(counts[0], 1000) << counts[1] << " " << mixed;
    EXPECT_GT(counts[1], 400);
    EXPECT_GT(mixed, 30);
}

// Tests of whole boxes of segments prove only what every segment's own walk
// gives: boxes found in sight have every segment between their corners and
// centres seeing, boxes found blocked none, from the root or from their
// entry with skips. Boxes stand in the rooms, in the walls and across them,
// and flat on the floor's plane; each answer is proved many times.
TEST_F(SightFanTest, BoxesFoundInSightOrBlockedHoldForEverySegment)
{
    LitMap map(Write("rooms.map", TwoRoomMap("", SlantedBrushes())));
    ASSERT_TRUE(map.bReady);
    const CSightTree sight(map.pRoot);
    std::vector<CSightTree::CStep> stack(static_cast<size_t>(sight.StackSize()));
    std::vector<CSightBox> boxes;
    std::vector<std::vector<CVector>> points;
    // World y is height: the floor's top lies at 32.
    for (float x = -264; x < 270; x += 44)
        for (float z = -136; z < 140; z += 68)
            for (float y : {24.0f, 29.0f, 32.0f, 60.0f, 150.0f}) {
                CSightBox box;
                std::vector<CVector> in;
                const float height = y == 32.0f ? 0.0f : 6.0f;
                for (const float dx : {0.0f, 6.0f})
                    for (const float dy : {0.0f, height})
                        for (const float dz : {0.0f, 6.0f})
                            in.emplace_back(x + dx, y + dy, z + dz);
                in.emplace_back(x + 3.0f, y + height / 2, z + 3.0f);
                for (const CVector& p : in)
                    box.Add(p);
                boxes.push_back(box);
                points.push_back(in);
            }
    // The same tests from the pair's entry, passing over the nodes that the
    // pair goes by whole, and the walks from that entry.
    CSightTree::CSkips skips(2);
    int32_t proved[2][2] = {};
    for (size_t i = 0; i < boxes.size(); ++i) {
        for (size_t j = i; j < boxes.size(); j += 3) {
            sight.SetSkips(&skips, boxes[i], boxes[j]);
            const int32_t entry = sight.Entry(boxes[i], boxes[j], &skips);
            for (const bool bSkip : {false, true}) {
                const int32_t from = bSkip ? entry : sight.Root();
                CSightTree::CSkips* pSkips = bSkip ? &skips : nullptr;
                const bool bSee = sight.BoxesSee(from, boxes[i], boxes[j], pSkips);
                const bool bBlocked = sight.BoxesBlocked(from, boxes[i], boxes[j], pSkips);
                ASSERT_FALSE(bSee && bBlocked) << i << " " << j;
                const bool bProved = bSee || bBlocked;
                proved[bSkip][bSee] += bProved;
                for (const CVector& a : points[i])
                    for (const CVector& b : points[j]) {
                        const bool bSees = sight.Sees(sight.Root(), a, b, stack.data());
                        ASSERT_EQ(sight.Sees(from, a, b, stack.data()), bSees) << i << " " << j;
                        ASSERT_TRUE(!bProved || bSees == bSee) << i << " " << j;
                    }
            }
        }
    }
    for (const auto& counts : proved) {
        EXPECT_GT(counts[0], 1000);
        EXPECT_GT(counts[1], 150);
    }
}

// A solid place that a blocked walk met stops every segment from the walk's
// start to a box only when the walk of each of them is blocked: from points
// across both rooms, at the floor, and on it, to small boxes everywhere.
TEST_F(SightFanTest, ASolidPlaceThatShadowsABoxBlocksEverySegmentToIt)
{
    LitMap map(Write("rooms.map", TwoRoomMap("", SlantedBrushes())));
    ASSERT_TRUE(map.bReady);
    const CSightTree sight(map.pRoot);
    std::vector<CSightTree::CStep> stack(static_cast<size_t>(sight.StackSize()));
    int32_t shadowed = 0;
    int32_t blocked = 0;
    // World y is height: the floor's top lies at 32.
    for (float x = -264; x < 270; x += 66)
        for (float z = -136; z < 140; z += 68)
            for (float y : {24.0f, 32.0f, 60.0f, 150.0f}) {
                const CVector from(x, y, z);
                for (float bx = -250; bx < 270; bx += 52)
                    for (float bz = -120; bz < 140; bz += 60)
                        for (float by : {32.0f, 40.0f, 120.0f}) {
                            std::vector<CVector> in;
                            CSightBox box;
                            for (const float dx : {0.0f, 4.0f, 8.0f})
                                for (const float dy : {0.0f, by == 32.0f ? 0.0f : 8.0f})
                                    for (const float dz : {0.0f, 4.0f, 8.0f}) {
                                        in.emplace_back(bx + dx, by + dy, bz + dz);
                                        box.Add(in.back());
                                    }
                            CSightTree::CBlocker blocker;
                            if (sight.Sees(sight.Root(), from, in[4], stack.data(), &blocker))
                                continue;
                            ++blocked;
                            if (!sight.Shadows(blocker, from, box))
                                continue;
                            ++shadowed;
                            for (const CVector& to : in)
                                ASSERT_FALSE(sight.Sees(sight.Root(), from, to, stack.data()))
                                    << x << " " << y << " " << z << " to " << to.x << " "
                                    << to.y << " " << to.z;
                        }
            }
    EXPECT_GT(shadowed, 1000);
    EXPECT_GT(blocked, shadowed);
}

// A tree made by hand for exact values: the root holds faces, so every line
// of sight ends at once (the root counts as a reached leaf); below it a
// front and a back leaf. Each grid's samples stand where a test puts them.
struct CHandTree {
    CHandTree()
    {
        for (CBuildNode* pNode : {&Root, &Front, &Back}) {
            pNode->pFaces = &Face;
            pNode->FaceCount = 1;
            pNode->bVisited = true;
        }
        Root.pFront = &Front;
        Root.pBack = &Back;
        CBuildNode* nodes[3] = {&Root, &Front, &Back};
        for (int n = 0; n < 3; ++n) {
            Grids[n].pLumels = new CLumel[LUMEL_GRID_COUNT];
            Grids[n].LumelCount = LUMEL_GRID_COUNT;
            nodes[n]->pGrids = &Grids[n];
        }
    }
    ~CHandTree()
    {
        for (CBuildNode* pNode : {&Root, &Front, &Back}) {
            FreeGrid(pNode->pGrids);
            pNode->pFaces = nullptr;
            pNode->pGrids = nullptr;
            pNode->pVisibleLeaves = nullptr;
            pNode->pFront = pNode->pBack = nullptr;
        }
    }
    // Every sample of grid n at one place, facing normal, with this light.
    void Fill(int n, const CVector& at, const CVector& normal, const CLightRecord& light,
              float area)
    {
        Grids[n].Normal = normal;
        for (int32_t i = 0; i < LUMEL_GRID_COUNT; ++i) {
            Grids[n].pLumels[i].Position = at;
            Grids[n].pLumels[i].Light = light;
            Grids[n].pLumels[i].Area = area;
        }
    }
    // Node n shoots into the back leaf.
    void Aim(CBuildNode* pNode)
    {
        pNode->pVisibleLeaves = Targets;
        pNode->VisibleLeafCount = 1;
    }

    CLeafFace Face;
    CBuildNode Root, Front, Back;
    CLumelGrid Grids[3]; // of the root, the front and the back leaf
    CBuildNode* Targets[1] = {&Back};
};

TEST(LightOrderTest, EmitterWalkShootsChildrenBeforeTheirNode)
{
    // The front leaf's one emitting sample floods the back leaf's samples
    // (10000 / pi from 1 unit away); the root's darkens them by 100 / pi.
    // Front first: 255 - 31. Root first: -31 + 3183, saturated.
    CHandTree tree;
    const CVector down(0, -1, 0);
    tree.Fill(0, CVector(0, 1, 0), down, Record(-100, 0, 0), 1.0f);
    tree.Fill(1, CVector(0, 1, 0), down, Record(10000, 0, 0), 1.0f);
    tree.Fill(2, CVector(0, 0, 0), CVector(0, 1, 0), Record(0, 0, 0), 1.0f);
    tree.Grids[0].pLumels[0].Light.Intensity = 1; // the first sample alone emits
    tree.Grids[1].pLumels[0].Light.Intensity = 1;
    tree.Aim(&tree.Root);
    tree.Aim(&tree.Front);
    RunLightPasses(&tree.Root, 0, 1);
    EXPECT_EQ(tree.Grids[2].pLumels[200].Light.Red, 224);
}

TEST(LightOrderTest, BounceShootsItsMeanFromSampleSevenSevenWithPowerTwenty)
{
    // The root's face has a mean of 100 in each channel, so intensity
    // trunc(300 * 0.013) = 3, and shoots from sample (7, 7), 20 units above
    // the back leaf's face: 3 * 20 / (400 pi) * 20 = 0.955 of 100. The front
    // leaf's face lies 82.5 units from it: 0.056 of 100, a shot that only a
    // cut of the reach at one unit keeps.
    CHandTree tree;
    tree.Fill(0, CVector(0, 60, 0), CVector(0, -1, 0), Record(100, 100, 100), 1.0f);
    tree.Grids[0].pLumels[7 * 16 + 7].Position = CVector(0, 20, 0);
    tree.Fill(1, CVector(0, 0, 80), CVector(0, 1, 0), Record(0, 0, 0), 1.0f);
    tree.Fill(2, CVector(0, 0, 0), CVector(0, 1, 0), Record(0, 0, 0), 1.0f);
    CBuildNode* targets[2] = {&tree.Back, &tree.Front};
    tree.Root.pVisibleLeaves = targets;
    tree.Root.VisibleLeafCount = 2;
    RunLightPasses(&tree.Root, 1, 1);
    EXPECT_EQ(tree.Grids[0].Mean.Intensity, 3);
    EXPECT_EQ(tree.Grids[2].pLumels[0].Light.Red, 95);
    EXPECT_EQ(tree.Grids[1].pLumels[0].Light.Green, 5);
}

TEST(LightEntityTest, OriginColourStrengthAndTheWorldsFloorAreRead)
{
    std::vector<CEntity> entities(7);
    entities[0].Keys = {{"classname", "worldspawn"}, {"light", "20"}, {"_sunlight", "100"}};
    entities[1].Keys = {{"classname", "light"}, {"origin", "10 20 30"}, {"light", "200"}};
    entities[2].Keys = {{"classname", "light_torch_small"}, {"origin", "0 0 0"},
                        {"_color", "1 0.5 0"}, {"target", "t1"}};
    entities[3].Keys = {{"classname", "light"}, {"origin", "0 0 0"}, {"_color", "300 64 0"},
                        {"light", "-100"}, {"style", "5"}};
    entities[4].Keys = {{"classname", "light"}, {"origin", "0 0"}};
    entities[5].Keys = {{"classname", "light"}, {"origin", "0 0 0"}, {"light", "0"}};
    entities[6].Keys = {{"classname", "info_null"}, {"origin", "0 0 0"}};
    const CEntityLights lights = ReadLightEntities(entities, CVector(1, 2, 3));
    EXPECT_EQ(lights.MinLight, 20);
    ASSERT_EQ(lights.Points.size(), 3u);
    // Map text axes a b c are the world vector (a, c, b), less the shift.
    const CPointLight& first = lights.Points[0];
    EXPECT_TRUE(first.Position.x == 9 && first.Position.y == 28 && first.Position.z == 17);
    EXPECT_FLOAT_EQ(first.Area, 177.245385f); // 200 * sqrt(pi) / 2
    EXPECT_EQ(first.Light.Intensity, 1);
    EXPECT_TRUE(first.Light.Red == 255 && first.Light.Green == 255 && first.Light.Blue == 255);
    const CLightRecord& torch = lights.Points[1].Light;
    EXPECT_TRUE(torch.Red == 255 && torch.Green == 128 && torch.Blue == 0);
    EXPECT_FLOAT_EQ(lights.Points[1].Area, 265.868077f); // the default 300
    const CPointLight& dark = lights.Points[2];
    EXPECT_TRUE(dark.Light.Red == 255 && dark.Light.Green == 64 && dark.Light.Intensity == -1);
    EXPECT_FLOAT_EQ(dark.Area, 88.622693f);
    EXPECT_EQ(lights.Spots, 1);
    EXPECT_EQ(lights.Suns, 1);
    EXPECT_EQ(lights.Styled, 1);
    ASSERT_EQ(lights.Problems.size(), 1u);
    EXPECT_EQ(lights.Problems[0], "entity 4 (light): no origin of three numbers; the light is left out");
}

TEST(LightEntityTest, MinimumLightRaisesEveryChannelToTheFloor)
{
    CSquareLeaf square;
    GetLumel(&square.Grid, 1, 0)->Light = Record(100, 10, -5);
    ApplyMinLight(&square.Leaf, 30);
    const CLightRecord& raised = GetLumel(&square.Grid, 1, 0)->Light;
    EXPECT_TRUE(raised.Red == 100 && raised.Green == 30 && raised.Blue == 30);
    EXPECT_EQ(square.Red(0, 0), 30);
}

// Point lights in the two-room map, without bounces: every shot can be
// worked out by hand.
class PointLightTest : public ScratchDirTest {};

TEST_F(PointLightTest, ShotIsFullColourAtHalfTheStrengthAndAWallKeepsItOut)
{
    LitMap map(Write("rooms.map", TwoRoomMap()));
    ASSERT_TRUE(map.bReady);
    map.Light("", 1, 2); // no light at all
    const std::vector<int32_t> values = map.Values();
    EXPECT_TRUE(std::all_of(values.begin(), values.end(), [](int32_t v) { return v == 0; }));

    // Strength 100 (as an entity gives it), 100 units above the west floor
    // sample nearest to world (-128, 32, 0): (L / 2d)^2 of 255 is a quarter;
    // the samples farther along the floor get less.
    const std::vector<const CLumel*> floor = map.Samples(1, 32, -256, -8, -128, 128);
    const CLumel* pBelow = floor[0];
    for (const CLumel* pLumel : floor) {
        if (std::hypot(pLumel->Position.x + 128, pLumel->Position.z) <
            std::hypot(pBelow->Position.x + 128, pBelow->Position.z))
            pBelow = pLumel;
    }
    std::vector<CEntity> entities(1);
    entities[0].Keys = {{"classname", "light"}, {"origin", "0 0 0"}, {"light", "100"}};
    CPointLight point = ReadLightEntities(entities, CVector()).Points.at(0);
    const CVector below = pBelow->Position;
    point.Position = below + CVector(0, 100, 0);
    map.Light("", 0, 2, {point});
    EXPECT_EQ(map.MaxRed(1, 32, below.x, below.x, below.z, below.z), 63);
    EXPECT_LT(map.MaxRed(1, 32, below.x, below.x, below.z + 100, 128), 50);

    // West of the wall, south of the doorway (file y < 64 is world z < 64):
    // the east floor behind the wall stays black; through the doorway the
    // light reaches the east ceiling.
    point.Position = CVector(-200, 100, 20);
    point.Area = 1000.0f;
    map.Light("", 0, 2, {point});
    EXPECT_EQ(map.MaxRed(1, 32, 24, 250, -120, -40), 0);
    EXPECT_GT(map.MaxRed(-1, 160, 24, 250, 64, 128), 0);
}

// Lit by their light lists and light entities (without the world's
// minimum), at most a tenth of the sample maps' floor texels within 256
// units of a light entity stay black (those under crates and pillars).
TEST_F(PointLightTest, SampleMapFloorsNearEveryLightAreLit)
{
    for (const std::string name : {"room", "level"}) {
        const std::string path = std::string(VORLANE_DATA_MAPS_DIR) + "/" + name;
        LitMap map(path + ".map");
        ASSERT_TRUE(map.bReady);
        std::vector<CEntity> entities;
        ReadEntities((path + ".map").c_str(), &entities);
        const CEntityLights lights = ReadLightEntities(entities, CVector());
        map.Light(path + ".lights", 1, 2, lights.Points);
        int near = 0;
        int black = 0;
        for (const CLumelGrid* pGrid : map.Grids) {
            for (int32_t i = 0; pGrid->Normal.y > 0.99f && i < pGrid->LumelCount; ++i) {
                const CLumel& sample = pGrid->pLumels[i];
                const bool bNear = std::any_of(
                    lights.Points.begin(), lights.Points.end(), [&](const CPointLight& point) {
                        const CVector d = sample.Position - point.Position;
                        return Dot(d, d) <= 256.0 * 256.0;
                    });
                const CLightRecord& light = sample.Light;
                near += bNear;
                black += bNear && std::max({light.Red, light.Green, light.Blue}) <= 0;
            }
        }
        EXPECT_GT(near, 200) << name;
        EXPECT_LE(black * 10, near) << name << ": " << black << " black";
    }
}

TEST_F(PointLightTest, CompileLightsByEntitiesAndWarnsOfThoseItTakesAsPoints)
{
    const std::string entities =
        "{\n\"classname\" \"light\"\n\"origin\" \"-128 0 100\"\n\"light\" \"400\"\n}\n"
        "{\n\"classname\" \"light_spot\"\n\"origin\" \"-200 0 100\"\n}\n"
        "{\n\"classname\" \"light\"\n\"origin\" \"-128 0 500\"\n}\n";
    const std::string mapPath = Write("rooms.map", TwoRoomMap(entities));
    for (const bool bLeaveOut : {false, true}) {
        CCompileOptions options;
        options.MapPath = mapPath;
        options.OutputPath = Path("rooms.vmz");
        options.bNoEntityLights = bLeaveOut;
        options.bNoTextures = true;
        std::ostringstream out, err;
        ASSERT_EQ(RunCompile(options, out, err), COMPILE_EXIT_OK) << err.str();
        const std::string warnings = err.str();
        if (bLeaveOut) {
            EXPECT_NE(out.str().find("Light entities:\t3 (left out)"), std::string::npos);
            EXPECT_NE(warnings.find("no light entities: lightmaps are full-bright"),
                      std::string::npos);
            continue;
        }
        EXPECT_NE(out.str().find("Light entities:\t3\n"), std::string::npos);
        EXPECT_NE(warnings.find("1 of the light entities are spot lights; they are lit as "
                                "plain points"),
                  std::string::npos)
            << warnings;
        EXPECT_NE(warnings.find("1 light entities stand in solid or outside the world (the "
                                "first at -128 0 500); they light nothing"),
                  std::string::npos)
            << warnings;
    }
}

} // namespace
