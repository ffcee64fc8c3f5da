#include "compiler/leaf_visibility.h"

#include "bench/map_generator.h"
#include "compiler/build_tree.h"
#include "compiler/compile_driver.h"
#include "compiler/compile_pipeline.h"
#include "compiler/light.h"
#include "compiler/map_parser.h"
#include "compiler/visibility.h"
#include "compiler/visible_leaves.h"
#include "viewer/map_format.h"
#include "viewer/map_reader.h"

#include "tests/scratch_dir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr double CELL = 64;
// Where the grid's corner stands: away from the origin, as a plane through
// the origin puts both of its sides in front.
constexpr double OFFSET = 1000;

// A map drawn on a grid of CELL-sized cells, north row first: '#' is a solid
// column from the floor to the ceiling, any other cell open space under one
// ceiling and over one floor; 'L' hangs a lamp from the ceiling, 'S' is the
// start. Map text axes: x east, y north, z up.
std::string GridMap(const std::vector<std::string>& plan)
{
    const double o = OFFSET;
    const double rows = static_cast<double>(plan.size());
    const double width = static_cast<double>(plan[0].size()) * CELL;
    std::string text = "{\n\"classname\" \"worldspawn\"\n";
    auto add = [&](const mapgen::Vec3& low, const mapgen::Vec3& high, const char* pszTexture) {
        text += "{\n";
        for (const mapgen::Side& side : mapgen::Box(low, high, pszTexture))
            mapgen::AppendSide(text, side);
        text += "}\n";
    };
    add({o, o, o - 16}, {o + width, o + rows * CELL, o}, "floor");
    add({o, o, o + 128}, {o + width, o + rows * CELL, o + 144}, "ceiling");
    std::string start;
    for (size_t row = 0; row < plan.size(); ++row) {
        const double y = o + (rows - 1 - static_cast<double>(row)) * CELL;
        for (size_t column = 0; column < plan[row].size(); ++column) {
            const double x = o + static_cast<double>(column) * CELL;
            const char cell = plan[row][column];
            if (cell == '#')
                add({x, y, o}, {x + CELL, y + CELL, o + 128}, "wall");
            if (cell == 'L')
                add({x + 16, y + 16, o + 112}, {x + 48, y + 48, o + 128}, "lamp");
            if (cell == 'S')
                start = mapgen::FormatNumber(x + CELL / 2) + " " +
                        mapgen::FormatNumber(y + CELL / 2) + " " + mapgen::FormatNumber(o + 64);
        }
    }
    return text + "}\n{\n\"classname\" \"info_player_start\"\n\"origin\" \"" + start + "\"\n}\n";
}

// Two rooms joined by a corridor that leaves the first eastwards and turns
// north to the second: no line from the first room reaches the second.
const std::vector<std::string> BENT_CORRIDOR = {
    "############", //
    "#####.....##", // second room: columns 5..9, rows 8..10
    "#####.....##", //
    "#####.....##", //
    "########.###", // the corridor north: column 8, rows 3..7
    "########.###", //
    "########.###", //
    "#....###.###", // first room: columns 1..4, rows 1..4
    "#.L..###.###", //
    "#...S....###", // the corridor east: columns 5..8, row 2
    "#....#######", //
    "############", //
};

// Three by three rooms with a doorway in the middle of each wall: lines
// thread through doorways at all sorts of angles.
const std::vector<std::string> ROOMS = {
    "#################", "#.....#.....#...#", "#.....#.....#...#", "#...............#",
    "#.....#.....#...#", "#.....#.....#...#", "###.#####.####.##", "#.....#.....#...#",
    "#.....#.....#...#", "#...............#", "#.....#.....#...#", "#.....#.....#...#",
    "###.#####.####.##", "#.....#.....#...#", "#.....#.....#...#", "#.S.............#",
    "#.....#.....#...#", "#.....#.....#...#", "#################",
};

// A point in the middle of a cell (columns east, rows north from the
// south-west corner) at half height, in world axes: (x, z, y) of the map
// text.
CVector CellCentre(double column, double row)
{
    return CVector(float(OFFSET + (column + 0.5) * CELL), float(OFFSET + 64),
                   float(OFFSET + (row + 0.5) * CELL));
}

// A map compiled by the set driver, with its leaf visibility.
class LeafVisibilityTest : public ScratchDirTest {
protected:
    void Compile(const std::vector<std::string>& plan, const CVector& start)
    {
        ASSERT_TRUE(ParseMapFile(Write("grid.map", GridMap(plan)).c_str(), &Map));
        ASSERT_TRUE(MakeFaceSetFromMap(&Map, &Set));
        std::ostringstream log;
        ASSERT_TRUE(CompileFaceSet(&Set, &start, &pPortals, &PortalCount, &pRoot, log));
        Vis = FlowVisibility(pRoot, pPortals, PortalCount, {2, nullptr});
    }
    void TearDown() override
    {
        FreePortals(&pPortals, PortalCount);
        FreeTree(&pRoot);
        FreeFaceSet(&Set);
        FreeMapData(&Map);
        ScratchDirTest::TearDown();
    }
    int32_t LeafAt(double column, double row) const
    {
        const CVector point = CellCentre(column, row);
        return Vis.IndexOf(FindLeaf(pRoot, &point));
    }

    CMapData Map;
    CFaceSet Set;
    CPortal* pPortals = nullptr;
    int32_t PortalCount = 0;
    CBuildNode* pRoot = nullptr;
    CLeafVisibility Vis = CLeafVisibility::AllVisible({});
};

TEST_F(LeafVisibilityTest, ABendInTheCorridorHidesEachRoomFromTheOther)
{
    Compile(BENT_CORRIDOR, CellCentre(4, 2));
    const int32_t firstRoom = LeafAt(2, 3);
    const int32_t secondRoom = LeafAt(7, 9);
    const int32_t bend = LeafAt(8, 2);
    ASSERT_TRUE(firstRoom >= 0 && secondRoom >= 0 && bend >= 0);
    EXPECT_FALSE(Vis.Sees(firstRoom, secondRoom));
    EXPECT_FALSE(Vis.Sees(secondRoom, firstRoom));
    EXPECT_TRUE(Vis.Sees(bend, firstRoom));
    EXPECT_TRUE(Vis.Sees(bend, secondRoom));
    EXPECT_TRUE(Vis.Sees(firstRoom, bend));
    EXPECT_TRUE(Vis.Sees(firstRoom, firstRoom));
}

// A row of four rooms whose doorways alternate between the north and the
// south end of each wall: every room sees the rooms beside it, and no line
// runs from the first or the second room through two doorways to the last.
const std::vector<std::string> ZIGZAG = {
    "#########################", //
    "#...........#...........#", // doorways at the north end: columns 6, 18
    "#.....#.....#.....#.....#", //
    "#.....#.....#.....#.....#", //
    "#.....#.....#.....#.....#", //
    "#.S...#...........#.....#", // doorway at the south end: column 12
    "#########################", //
};

TEST_F(LeafVisibilityTest, FarRoomsAreCulledAndNearRoomsKept)
{
    Compile(ZIGZAG, CellCentre(2, 1));
    const int32_t rooms[4] = {LeafAt(3, 3), LeafAt(9, 3), LeafAt(15, 3), LeafAt(21, 3)};
    for (const int32_t room : rooms)
        ASSERT_GE(room, 0);
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(Vis.Sees(rooms[i], rooms[i + 1])) << i;
        EXPECT_TRUE(Vis.Sees(rooms[i + 1], rooms[i])) << i;
    }
    for (int i = 0; i < 2; ++i) {
        EXPECT_FALSE(Vis.Sees(rooms[i], rooms[3])) << i;
        EXPECT_FALSE(Vis.Sees(rooms[3], rooms[i])) << i;
    }
}

// Random segments between open cells: whenever the light's line-of-sight
// test lets one through, the leaf at each end is in the other's set.
TEST_F(LeafVisibilityTest, EveryLineOfSightIsInTheSets)
{
    Compile(ROOMS, CellCentre(2, 3));
    std::mt19937 random(7);
    std::uniform_real_distribution<float> unit(0.01f, 0.99f);
    auto pointIn = [&](int column, int row) {
        return CVector(float(OFFSET + (column + unit(random)) * CELL),
                       float(OFFSET + 128 * unit(random)),
                       float(OFFSET + (row + unit(random)) * CELL));
    };
    std::vector<std::pair<int, int>> open;
    for (size_t row = 0; row < ROOMS.size(); ++row) {
        for (size_t column = 0; column < ROOMS[row].size(); ++column) {
            if (ROOMS[row][column] != '#')
                open.push_back({int(column), int(ROOMS.size() - 1 - row)});
        }
    }
    int passed = 0;
    int hidden = 0;
    for (int k = 0; k < 40000; ++k) {
        const auto [c0, r0] = open[random() % open.size()];
        const auto [c1, r1] = open[random() % open.size()];
        const CVector from = pointIn(c0, r0);
        const CVector to = pointIn(c1, r1);
        const int32_t a = Vis.IndexOf(FindLeaf(pRoot, &from));
        const int32_t b = Vis.IndexOf(FindLeaf(pRoot, &to));
        ASSERT_TRUE(a >= 0 && b >= 0);
        if (LineOfSight(pRoot, &from, &to)) {
            ++passed;
            ASSERT_TRUE(Vis.Sees(a, b) && Vis.Sees(b, a)) << k;
        }
        hidden += Vis.Sees(a, b) ? 0 : 1;
    }
    // Both kinds of pair came up.
    EXPECT_GT(passed, 1000);
    EXPECT_GT(hidden, 1000);
}

// The file's rows hold each leaf's set, itself left out, whether the file
// lists the leaves in the visibility's order or in another.
TEST_F(LeafVisibilityTest, FileRowsHoldTheSetsInAnyLeafOrder)
{
    Compile(ROOMS, CellCentre(2, 3));
    std::vector<CBuildNode*> order = Vis.Leaves();
    ASSERT_GT(order.size(), 32u) << "rows reach into the high half of a word";
    for (const bool bReversed : {false, true}) {
        if (bReversed)
            std::reverse(order.begin(), order.end());
        const std::vector<uint8_t> rows = FileRows(Vis, order);
        const size_t rowBytes = size_t(VisibilityRowBytes(int32_t(order.size())));
        ASSERT_EQ(rows.size(), rowBytes * order.size());
        int hidden = 0;
        for (size_t i = 0; i < order.size(); ++i) {
            for (size_t j = 0; j < order.size(); ++j) {
                const bool bRow = (rows[i * rowBytes + (j >> 3)] >> (j & 7)) & 1;
                const bool bSees = i != j && Vis.Sees(Vis.IndexOf(order[i]), Vis.IndexOf(order[j]));
                ASSERT_EQ(bRow, bSees) << i << " " << j << (bReversed ? " reversed" : "");
                hidden += bSees ? 0 : 1;
            }
        }
        EXPECT_GT(hidden, int(order.size())) << "some pairs are culled";
    }
}

// The compile as the tool runs it, with the lamp in the first room.
class LeafVisibilityCompileTest : public ScratchDirTest {
protected:
    // Compiles the bent corridor map lit into NAME and reads the file back.
    void Compile(const std::string& name, bool bNoVis, CMapImage* pImage)
    {
        CCompileOptions options;
        options.MapPath = Write("bent.map", GridMap(BENT_CORRIDOR));
        options.LightsPath = Write("bent.lights", "lamp 255 240 200 10\n");
        options.OutputPath = Path(name);
        options.bKeepOrigin = true;
        options.bNoVis = bNoVis;
        options.bQuiet = true;
        std::ostringstream out;
        std::ostringstream err;
        ASSERT_EQ(RunCompile(options, out, err), COMPILE_EXIT_OK) << err.str();
        ASSERT_EQ(ReadMapImage(Path(name).c_str(), pImage), MAP_READ_OK);
    }
};

// The leaf of the file that holds a cell's centre, by the viewer's descent.
int32_t FileLeafAt(const CMapImage& image, double column, double row)
{
    const CVector point = CellCentre(column, row);
    int32_t child = 1; // node 0
    while (child > 0) {
        const CMapNode& node = image.pNodes[child - 1];
        const double d = Dot(point, node.Normal) + double(node.Distance);
        child = d > 0 ? node.Front : node.Back;
    }
    return -child - 1;
}

bool RowHas(const CMapImage& image, int32_t from, int32_t to)
{
    return (image.pVisibility[size_t(from) * size_t(image.nRowBytes) + size_t(to >> 3)] >>
            (to & 7)) & 1;
}

TEST_F(LeafVisibilityCompileTest, RowsCullTheHiddenRoomAndLightStaysTheSame)
{
    CMapImage flow{};
    CMapImage all{};
    Compile("flow.vmz", false, &flow);
    Compile("all.vmz", true, &all);
    const int32_t firstRoom = FileLeafAt(flow, 2, 3);
    const int32_t secondRoom = FileLeafAt(flow, 7, 9);
    const int32_t bend = FileLeafAt(flow, 8, 2);
    EXPECT_FALSE(RowHas(flow, firstRoom, secondRoom));
    EXPECT_TRUE(RowHas(flow, bend, firstRoom) && RowHas(flow, bend, secondRoom));
    EXPECT_FALSE(RowHas(flow, firstRoom, firstRoom)) << "the viewer draws its own leaf anyway";
    EXPECT_TRUE(RowHas(all, firstRoom, secondRoom));

    // The lamp lights the first room and nothing reaches the second, with
    // the flow's lists as with every leaf in every list.
    ASSERT_EQ(flow.nLightmapBytes, all.nLightmapBytes);
    EXPECT_EQ(std::vector<uint8_t>(flow.pLightmaps, flow.pLightmaps + flow.nLightmapBytes),
              std::vector<uint8_t>(all.pLightmaps, all.pLightmaps + all.nLightmapBytes));
    const CMapLeaf& lit = flow.pLeaves[firstRoom];
    const CMapLeaf& dark = flow.pLeaves[secondRoom];
    auto brightest = [&](const CMapLeaf& leaf) {
        const uint8_t* pFirst = flow.pLightmaps + size_t(leaf.FirstFace) * LIGHTMAP_BLOCK_SIZE;
        return *std::max_element(pFirst, pFirst + size_t(leaf.FaceCount) * LIGHTMAP_BLOCK_SIZE);
    };
    EXPECT_GT(brightest(lit), 0);
    EXPECT_EQ(brightest(dark), 0);
    FreeMapImage(&flow);
    FreeMapImage(&all);
}

// A reached leaf with the given faces, each a square of side 1000 at one
// height.
CBuildNode* SlabLeaf(std::initializer_list<float> heights)
{
    CBuildNode* pLeaf = new CBuildNode();
    pLeaf->bVisited = true;
    pLeaf->FaceCount = static_cast<int32_t>(heights.size());
    pLeaf->pFaces = new CLeafFace[heights.size()];
    int32_t f = 0;
    for (const float y : heights) {
        CLeafFace& face = pLeaf->pFaces[f++];
        face.VertexCount = 4;
        face.pVertices = new CVertex[4];
        const float corners[4][2] = {{0, 0}, {0, 1000}, {1000, 1000}, {1000, 0}};
        for (int32_t v = 0; v < 4; ++v)
            face.pVertices[v].Position = CVector(corners[v][0], y, corners[v][1]);
    }
    return pLeaf;
}

// Two reached leaves meet at a face on y = 0 with no portal between them:
// the line-of-sight test lets light through, so each is in the other's set.
TEST(FlowVisibility, AFaceWithAReachedLeafBehindItLetsSightThrough)
{
    CBuildNode* pRoot = new CBuildNode();
    pRoot->Plane = CPlane(CVector(0, 1, 0), 0.0f);
    pRoot->pFront = SlabLeaf({0, 100});
    pRoot->pBack = SlabLeaf({0, -100});
    const CVector above(500, 50, 500);
    const CVector below(500, -50, 500);
    ASSERT_TRUE(LineOfSight(pRoot, &above, &below));
    const CLeafVisibility vis = FlowVisibility(pRoot, nullptr, 0);
    EXPECT_TRUE(vis.Sees(0, 1));
    EXPECT_TRUE(vis.Sees(1, 0));
    FreeTree(&pRoot);
}

// Two reached leaves on either side of y = 0 and no portal between them, so
// each sees only itself; each has one grid, its samples at the height given.
CBuildNode* TwoLeavesApart(float frontHeight, float backHeight)
{
    CBuildNode* pRoot = new CBuildNode();
    pRoot->Plane = CPlane(CVector(0, 1, 0), 0.0f);
    CBuildNode* pFront = pRoot->pFront = new CBuildNode();
    CBuildNode* pBack = pRoot->pBack = new CBuildNode();
    for (CBuildNode* pLeaf : {pFront, pBack}) {
        pLeaf->bVisited = true;
        pLeaf->FaceCount = 1;
        pLeaf->pFaces = new CLeafFace[1];
        pLeaf->pGrids = new CLumelGrid[1];
        pLeaf->pGrids[0].pLumels = new CLumel[LUMEL_GRID_COUNT];
        pLeaf->pGrids[0].LumelCount = LUMEL_GRID_COUNT;
        for (int32_t i = 0; i < LUMEL_GRID_COUNT; ++i) {
            const float height = pLeaf == pFront ? frontHeight : backHeight;
            pLeaf->pGrids[0].pLumels[i].Position = CVector(float(i % 16), height, float(i / 16));
        }
    }
    return pRoot;
}

// A grid whose samples lie on the plane counts on both sides, as a line of
// sight from a point in the band may go either way.
TEST(FillVisibleLeaves, SamplesInTheBandOfAPlaneCountOnBothSides)
{
    CBuildNode* pRoot = TwoLeavesApart(5.0f, 0.0f);
    CBuildNode* pFront = pRoot->pFront;
    CBuildNode* pBack = pRoot->pBack;
    const CLeafVisibility vis = FlowVisibility(pRoot, nullptr, 0);
    ASSERT_FALSE(vis.Sees(0, 1));
    // Filled twice: the second fill replaces the lists of the first.
    FillVisibleLeaves(pRoot, vis);
    FillVisibleLeaves(pRoot, vis);
    // The front leaf's light reaches the back leaf's samples, and the back
    // leaf's light starts in the front leaf too; both lists in walk order,
    // and the same list is one array.
    for (CBuildNode* pLeaf : {pFront, pBack}) {
        ASSERT_EQ(pLeaf->VisibleLeafCount, 2);
        EXPECT_EQ(pLeaf->pVisibleLeaves[0], pFront);
        EXPECT_EQ(pLeaf->pVisibleLeaves[1], pBack);
    }
    EXPECT_EQ(pBack->pVisibleLeaves, pFront->pVisibleLeaves);
    EXPECT_TRUE(pBack->bSharesVisibleLeaves && !pFront->bSharesVisibleLeaves);
    FreeTree(&pRoot);
}

// Samples clear of the plane: each leaf sees itself alone, and its list
// holds only itself, not the list of the leaf before it.
TEST(FillVisibleLeaves, LeavesThatSeeDifferentLeavesGetListsOfTheirOwn)
{
    CBuildNode* pRoot = TwoLeavesApart(5.0f, -5.0f);
    const CLeafVisibility vis = FlowVisibility(pRoot, nullptr, 0);
    FillVisibleLeaves(pRoot, vis);
    for (CBuildNode* pLeaf : {pRoot->pFront, pRoot->pBack}) {
        ASSERT_EQ(pLeaf->VisibleLeafCount, 1);
        EXPECT_EQ(pLeaf->pVisibleLeaves[0], pLeaf);
        EXPECT_FALSE(pLeaf->bSharesVisibleLeaves);
    }
    FreeTree(&pRoot);
}

} // namespace
