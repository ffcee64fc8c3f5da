#include "compiler/light.h"
#include "compiler/light_passes.h"

#include "compiler/compile_driver.h"
#include "compiler/entities.h"
#include "compiler/map_parser.h"
#include "compiler/portal.h"

#include "tests/scratch_dir.h"

#include <gtest/gtest.h>

#include <algorithm>
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

class LightListTest : public ScratchDirTest {};

TEST_F(LightListTest, KnownNamesWithIntensityBecomeLights)
{
    CTexNameNode* pNames = nullptr;
    for (const char* pszName : {"lamp", "wall", "dim"}) {
        CToken name;
        name.Set(pszName);
        FindOrAddName(&pNames, name);
    }
    int32_t counter = 0;
    NumberNames(pNames, &counter);
    const std::string path =
        Write("lights.txt", "lamp 10 20 30 5\nnosuch 1 1 1 1\ndim 1 2 3 0\nlamp 300 -4 0 7\nwall 9");
    CLightNode* pLights = ReadLightList(pNames, path.c_str());
    ASSERT_NE(pLights, nullptr);
    EXPECT_TRUE(pLights->pLeft == nullptr && pLights->pRight == nullptr);
    // The later entry wins; a colour outside 0..255 stays as it stands.
    const CLightNode* pLamp = FindLight(pLights, FindName(pNames, "lamp")->Index);
    ASSERT_NE(pLamp, nullptr);
    EXPECT_TRUE(pLamp->Record.Red == 300 && pLamp->Record.Green == -4 && pLamp->Record.Intensity == 7);
    // Intensity 0 is stored in the name but makes no light; an entry cut off
    // by the end of the file is dropped.
    EXPECT_EQ(FindName(pNames, "dim")->Light.Blue, 3);
    EXPECT_EQ(FindLight(pLights, FindName(pNames, "dim")->Index), nullptr);
    EXPECT_EQ(FindName(pNames, "wall")->Light.Red, 0);
    FreeLights(&pLights);
    EXPECT_EQ(pLights, nullptr);

    const std::string off = Write("off.txt", "lamp 1 1 1 0\n");
    EXPECT_EQ(ReadLightList(pNames, off.c_str()), nullptr);
    EXPECT_EQ(ReadLightList(pNames, Path("missing.txt").c_str()), nullptr);
    FreeNames(&pNames);
}

TEST(LightGridTest, ShotReachesSamplesOnOrInFrontOfTheSourcePlane)
{
    // A reached leaf holding a 32-unit square at y = 0 facing +y: sample
    // (x, y) stands at (2x, 0, 2y).
    CLeafFace face;
    face.VertexCount = 4;
    face.pVertices = new CVertex[4];
    const CVector corners[4] = {{32, 0, 0}, {0, 0, 0}, {0, 0, 32}, {32, 0, 32}};
    for (int i = 0; i < 4; ++i)
        face.pVertices[i].Position = corners[i];
    CLumelGrid grid;
    ASSERT_TRUE(InitGrid(&grid, &face));
    CBuildNode leaf;
    leaf.pFaces = &face;
    leaf.FaceCount = 1;
    leaf.bVisited = true;
    leaf.pGrids = &grid;
    const CLumel* pLumel = GetLumel(&grid, 3, 5);
    ASSERT_EQ(pLumel, &grid.pLumels[5 * 16 + 3]);
    EXPECT_FLOAT_EQ(pLumel->Position.x, 6.0f);
    EXPECT_FLOAT_EQ(pLumel->Position.z, 10.0f);
    EXPECT_FLOAT_EQ(pLumel->Area, 4.0f);
    EXPECT_EQ(GetLumel(&grid, 0, 16), nullptr);

    // A source on sample (0, 0) facing -x: column x = 0 lies on its plane,
    // everything else behind it.
    CLumel source;
    source.Area = 1.0f;
    source.Light = Record(10000, 0, -10000, 1);
    const CVector west(-1, 0, 0);
    ShootLumel(&leaf, &west, &source, &leaf);
    EXPECT_EQ(GetLumel(&grid, 0, 0)->Light.Red, 0); // no light from a coincident point
    EXPECT_EQ(GetLumel(&grid, 0, 1)->Light.Red, 255);
    for (int y = 1; y < 16; ++y)
        EXPECT_TRUE(GetLumel(&grid, 0, y)->Light.Red > 0 && GetLumel(&grid, 0, y)->Light.Blue < 0);
    for (int x = 1; x < 16; ++x)
        EXPECT_EQ(GetLumel(&grid, x, 8)->Light.Red, 0) << x;

    FreeGrid(&grid);
    EXPECT_EQ(GetLumel(&grid, 0, 0), nullptr);
    FreeFace(&face);
}

TEST(LineOfSightTest, SegmentsPassOnlyThroughReachedLeaves)
{
    // Two leaves on either side of the plane x = 0 (front: x > 0).
    CLeafFace dummy;
    CBuildNode root, front, back;
    root.Plane = CPlane(CVector(1, 0, 0), 0.0f);
    root.pFront = &front;
    root.pBack = &back;
    front.pFaces = back.pFaces = &dummy;
    front.bVisited = back.bVisited = true;
    auto sees = [&](CVector a, CVector b) { return LineOfSight(&root, &a, &b); };
    EXPECT_TRUE(sees({-5, 0, 0}, {9, 3, 0}));
    EXPECT_FALSE(LineOfSight(nullptr, &root.Plane.Normal, &root.Plane.Normal));

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
}

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

// A room of x -256..256, y -128..128, z 32..160 (file axes) cut in two by a
// full-height wall at x -8..8 with a doorway at y 64..128. A light panel
// hangs from the west ceiling, a small "shade" from the east one; the start
// is in the west. No plane passes through the origin: the builders place a
// face lying in a splitter's band by distance alone, so a floor at height 0
// would go to the solid side of the opposite plane.
std::string TwoRoomMap()
{
    return "{\n\"classname\" \"worldspawn\"\n" + Box(-272, -144, 16, 272, 144, 32, "floor") +
           Box(-272, -144, 160, 272, 144, 176, "ceiling") +
           Box(-272, -144, 32, -256, 144, 160, "wall") + Box(256, -144, 32, 272, 144, 160, "wall") +
           Box(-256, -144, 32, 256, -128, 160, "wall") + Box(-256, 128, 32, 256, 144, 160, "wall") +
           Box(-8, -128, 32, 8, 64, 160, "wall") +
           Box(-192, -32, 144, -128, 32, 160, "wall", "panel") +
           Box(128, -16, 144, 160, 16, 160, "wall", "shade") +
           "}\n{\n\"classname\" \"info_player_start\"\n\"origin\" \"-64 0 56\"\n}\n";
}

// The map compiled, every reached leaf seeing every reached leaf, and lit.
struct LitMap {
    LitMap(const std::string& mapPath, const std::string& lightPath, int32_t bounces,
           int32_t threads)
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
        pLights = ReadLightList(Map.pNames, lightPath.c_str());
        MakeGrids(pRoot, pLights);
        RunLightPasses(pRoot, bounces, threads);
        for (const CBuildNode* pLeaf : Leaves)
            for (int32_t i = 0; pLeaf->pGrids && i < pLeaf->FaceCount; ++i)
                Grids.push_back(&pLeaf->pGrids[i]);
    }
    ~LitMap()
    {
        FreeLights(&pLights);
        FreePortals(&pPortals, PortalCount);
        FreeTree(&pRoot);
        FreeMapData(&Map);
    }

    // The largest red of the samples at world height y on faces whose normal
    // has y component normalY, within world x0..x1, z0..z1; -1 for none.
    int32_t MaxRed(float normalY, float y, float x0, float x1, float z0, float z1) const
    {
        int32_t best = -1;
        for (const CLumelGrid* pGrid : Grids) {
            for (int32_t i = 0; pGrid->Normal.y * normalY > 0.9f && i < pGrid->LumelCount; ++i) {
                const CVector& p = pGrid->pLumels[i].Position;
                if (std::abs(p.y - y) < 0.01f && p.x >= x0 && p.x <= x1 && p.z >= z0 && p.z <= z1)
                    best = std::max(best, pGrid->pLumels[i].Light.Red);
            }
        }
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

class LitMapTest : public ScratchDirTest {};

TEST_F(LitMapTest, PanelLightsWhatItSeesAndBounceReachesTheRest)
{
    const std::string map = Write("rooms.map", TwoRoomMap());
    const std::string lights = Write("lights.txt", "panel 300 200 100 1000\n");
    LitMap direct(map, lights, 0, 1);
    ASSERT_TRUE(direct.bReady);
    // World axes: file (a, b, c) is (a, c, b). Lit: the floor under the
    // panel. Dark: the east floor behind the wall, away from the doorway, and
    // the ceiling behind the panel's plane.
    EXPECT_GT(direct.MaxRed(1, 32, -180, -140, -20, 20), 0);
    EXPECT_EQ(direct.MaxRed(1, 32, 150, 250, -120, -60), 0);
    EXPECT_EQ(direct.MaxRed(-1, 160, -250, -20, -120, 120), 0);
    int emitters = 0;
    for (const CLumelGrid* pGrid : direct.Grids) {
        for (int32_t i = 0; pGrid->LumelCount && pGrid->pLumels[0].bEmitter && i < 256; ++i) {
            emitters += i == 0;
            EXPECT_EQ(pGrid->pLumels[i].Light.Red, 300); // kept, above 255
            EXPECT_EQ(pGrid->pLumels[i].Light.Blue, 100);
        }
    }
    EXPECT_GT(emitters, 0);

    // The light bounced off the floor reaches the ceiling.
    LitMap bounced(map, lights, 1, 1);
    EXPECT_GT(bounced.MaxRed(-1, 160, -250, -20, -120, 120), 0);
}

TEST_F(LitMapTest, ThreadCountDoesNotChangeAnySample)
{
    // Negative light from the shade makes the order of the additions matter:
    // saturation at 255 does not commute with subtraction.
    const std::string map = Write("rooms.map", TwoRoomMap());
    const std::string lights = Write("mixed.txt", "panel 300 200 100 1000\nshade -90 -60 -30 400\n");
    std::vector<std::vector<int32_t>> results;
    for (int32_t threads : {1, 2, 3}) {
        LitMap lit(map, lights, 2, threads);
        ASSERT_TRUE(lit.bReady);
        std::vector<int32_t> values;
        for (const CLumelGrid* pGrid : lit.Grids) {
            values.push_back(pGrid->Mean.Intensity);
            for (int32_t i = 0; i < pGrid->LumelCount; ++i) {
                const CLightRecord& light = pGrid->pLumels[i].Light;
                values.insert(values.end(), {light.Red, light.Green, light.Blue});
            }
        }
        results.push_back(values);
    }
    EXPECT_GT(results[0].size(), 1000u);
    EXPECT_EQ(results[0], results[1]);
    EXPECT_EQ(results[0], results[2]);
}

} // namespace
