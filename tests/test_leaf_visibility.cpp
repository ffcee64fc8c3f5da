#include "compiler/leaf_visibility.h"

#include "bench/map_generator.h"
#include "compiler/build_tree.h"
#include "compiler/compile_driver.h"
#include "compiler/map_parser.h"
#include "compiler/visibility.h"
#include "compiler/light.h"

#include "tests/scratch_dir.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr double CELL = 64;
// Where the grid's corner stands: away from the origin, as a plane through
// the origin puts both of its sides in front.
constexpr double OFFSET = 1000;

// A map drawn on a grid of CELL-sized cells, north row first: every '#' is a
// solid column from the floor to the ceiling, every other cell open space,
// under one ceiling and over one floor. The start stands in the cell marked
// 'S'; map text axes x east, y north, z up.
std::string GridMap(const std::vector<std::string>& plan)
{
    const double rows = static_cast<double>(plan.size());
    const double width = static_cast<double>(plan[0].size()) * CELL;
    std::string text = "{\n\"classname\" \"worldspawn\"\n";
    auto add = [&](const mapgen::Brush& brush) {
        text += "{\n";
        for (const mapgen::Side& side : brush)
            mapgen::AppendSide(text, side);
        text += "}\n";
    };
    const double o = OFFSET;
    add(mapgen::Box({o, o, o - 16}, {o + width, o + rows * CELL, o}, "floor"));
    add(mapgen::Box({o, o, o + 128}, {o + width, o + rows * CELL, o + 144}, "ceiling"));
    std::string start;
    for (size_t row = 0; row < plan.size(); ++row) {
        const double y = o + (rows - 1 - static_cast<double>(row)) * CELL;
        for (size_t column = 0; column < plan[row].size(); ++column) {
            const double x = o + static_cast<double>(column) * CELL;
            if (plan[row][column] == '#')
                add(mapgen::Box({x, y, o}, {x + CELL, y + CELL, o + 128}, "wall"));
            if (plan[row][column] == 'S')
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
    "#####.....##", // second room: cells x 5..9, y 8..10
    "#####.....##", //
    "#####.....##", //
    "########.###", // the corridor north: x 8, y 3..7
    "########.###", //
    "########.###", //
    "#....###.###", // first room: x 1..4, y 1..4
    "#....###.###", //
    "#...S....###", // the corridor east: x 5..8, y 2
    "#....#######", //
    "############", //
};

// A map compiled by the set driver, with its leaf visibility.
class VisibilityMapTest : public ScratchDirTest {
protected:
    void Compile(const std::vector<std::string>& plan, const CVector& start)
    {
        SCOPED_TRACE("compile");
        ASSERT_TRUE(ParseMapFile(Write("grid.map", GridMap(plan)).c_str(), &Map));
        ASSERT_TRUE(MakeFaceSetFromMap(&Map, &Set));
        std::ostringstream log;
        ASSERT_TRUE(CompileFaceSet(&Set, &start, &pPortals, &PortalCount, &pRoot, log));
        Vis = FlowVisibility(pRoot, pPortals, PortalCount);
    }
    void TearDown() override
    {
        FreePortals(&pPortals, PortalCount);
        FreeTree(&pRoot);
        FreeFaceSet(&Set);
        FreeMapData(&Map);
        ScratchDirTest::TearDown();
    }

    // A point in the middle of a cell (columns east, rows north from the
    // south-west corner) at half height, in world axes: (x, z, y) of the map
    // text.
    static CVector CellCentre(double column, double row)
    {
        return CVector(float(OFFSET + (column + 0.5) * CELL), float(OFFSET + 64),
                       float(OFFSET + (row + 0.5) * CELL));
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

TEST_F(VisibilityMapTest, ABendInTheCorridorHidesEachRoomFromTheOther)
{
    Compile(BENT_CORRIDOR, CellCentre(4, 2));
    const int32_t firstRoom = LeafAt(2, 3);
    const int32_t secondRoom = LeafAt(7, 9);
    const int32_t bend = LeafAt(8, 2);
    ASSERT_GE(firstRoom, 0);
    ASSERT_GE(secondRoom, 0);
    ASSERT_GE(bend, 0);
    EXPECT_FALSE(Vis.Sees(firstRoom, secondRoom));
    EXPECT_FALSE(Vis.Sees(secondRoom, firstRoom));
    EXPECT_TRUE(Vis.Sees(bend, firstRoom));
    EXPECT_TRUE(Vis.Sees(bend, secondRoom));
    EXPECT_TRUE(Vis.Sees(firstRoom, bend));
}

} // namespace
