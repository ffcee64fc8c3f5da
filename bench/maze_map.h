#pragma once
// A map of about 3,400 brushes with walls that hide things, for the compile
// benchmarks: a 16 by 16 grid of rooms whose walls have a doorway only where
// a spanning tree of the grid joins two rooms, and in a share of the other
// walls, each doorway at its own place along its wall. Every room has a
// ceiling light and pillars, crates and steps on its free places. (The dense
// map's doorways all stand in the middle of their walls and line up, so
// nearly every room sees nearly every other one.) The same arguments always
// give the same map.
#include "tools/sample_maps.h"

#include <algorithm>
#include <numeric>
#include <string>
#include <vector>

namespace bench {

constexpr int MAZE_GRID = 16;
constexpr int MAZE_PILLARS = 7;
constexpr int MAZE_EXTRA_DOORS_PERCENT = 15;

namespace maze {

// The grid's rooms joined into sets while the spanning tree grows.
class CRoomSets {
public:
    explicit CRoomSets(int count) : Parent(static_cast<size_t>(count))
    {
        std::iota(Parent.begin(), Parent.end(), 0);
    }
    int Find(int room)
    {
        while (Parent[size_t(room)] != room)
            room = Parent[size_t(room)] = Parent[size_t(Parent[size_t(room)])];
        return room;
    }
    bool Join(int a, int b)
    {
        a = Find(a);
        b = Find(b);
        if (a == b)
            return false;
        Parent[size_t(a)] = b;
        return true;
    }

private:
    std::vector<int> Parent;
};

// A wall between two neighbouring rooms: wall `line` (1 to g - 1) across the
// grid, in cell `cell` along it; bAlongX for the walls between rows.
struct CInnerWall {
    bool bAlongX;
    int Line, Cell;
    bool bDoor = false;
};

// The inner walls of a g by g grid, with doorways where a random spanning
// tree joins two rooms and in extraPercent of the others.
inline std::vector<CInnerWall> MazeWalls(int g, int extraPercent, mapgen::Random& random)
{
    std::vector<CInnerWall> walls;
    for (int line = 1; line < g; ++line) {
        for (int cell = 0; cell < g; ++cell) {
            walls.push_back({true, line, cell});
            walls.push_back({false, line, cell});
        }
    }
    // A fixed shuffle, then the walls in that order join what they part.
    for (size_t k = walls.size(); k > 1; --k)
        std::swap(walls[k - 1], walls[random.Next() % k]);
    CRoomSets sets(g * g);
    for (CInnerWall& wall : walls) {
        const int a =
            wall.bAlongX ? (wall.Line - 1) * g + wall.Cell : wall.Cell * g + wall.Line - 1;
        const int b = wall.bAlongX ? a + g : a + 1;
        wall.bDoor = sets.Join(a, b) || random.Range(0, 99) < extraPercent;
    }
    return walls;
}

} // namespace maze

// grid by grid rooms with `pillars` things in each and extraPercent of the
// walls off the spanning tree opened.
inline samples::CSampleMap MazeMap(int grid = MAZE_GRID, int pillars = MAZE_PILLARS,
                                   int extraPercent = MAZE_EXTRA_DOORS_PERCENT)
{
    using samples::Box;
    samples::CSampleMap map;
    map.Title = "maze";
    std::vector<samples::Brush>& b = map.Brushes;
    const double cell = samples::LARGE_CELL;
    const double h = samples::LARGE_HEIGHT;
    const int g = grid;
    const double o = -g * cell / 2;
    samples::AddShell(b, {o, o, 0}, {-o, -o, h}, 16, "concrete", nullptr, nullptr);
    const char* lights[] = {"light_white", "light_warm", "light_blue"};
    for (int j = 0; j < g; ++j) {
        for (int i = 0; i < g; ++i) {
            const double x = o + i * cell;
            const double y = o + j * cell;
            b.push_back(Box(x, y, -16, x + cell, y + cell, 0,
                            (i + j) % 2 ? "floor_tiles" : "floor_planks"));
            b.push_back(Box(x, y, h, x + cell, y + cell, h + 16, "ceil_plaster"));
            b.push_back(samples::Panel(x + cell / 2, y + cell / 2, h, lights[(i + 2 * j) % 3]));
        }
    }
    mapgen::Random random(20261125u);
    // Walls between rows run whole along x; those between columns fit
    // between them. A doorway is 96 wide and 128 high, 32 or more from the
    // wall's ends.
    std::vector<std::vector<samples::COpening>> rows(static_cast<size_t>(g));
    for (const maze::CInnerWall& wall : maze::MazeWalls(g, extraPercent, random)) {
        const double s0 = o + wall.Cell * cell;
        std::vector<samples::COpening> doors;
        if (wall.bDoor) {
            const double at = s0 + 32 + 16 * random.Range(0, (int(cell) - 160) / 16);
            doors.push_back({at, at + 96, 0, 128});
        }
        const double across = o + wall.Line * cell;
        if (wall.bAlongX) {
            rows[size_t(wall.Line)].insert(rows[size_t(wall.Line)].end(), doors.begin(),
                                           doors.end());
            continue;
        }
        const double a = s0 + (wall.Cell > 0 ? 8 : 0);
        const double z = s0 + cell - (wall.Cell < g - 1 ? 8 : 0);
        samples::AddWall(b, false, a, z, across - 8, across + 8, 0, h, doors, "wall_stone");
    }
    for (int line = 1; line < g; ++line) {
        std::vector<samples::COpening>& doors = rows[size_t(line)];
        std::sort(doors.begin(), doors.end(),
                  [](const samples::COpening& p, const samples::COpening& q) { return p.a < q.a; });
        const double across = o + line * cell;
        samples::AddWall(b, true, o, -o, across - 8, across + 8, 0, h, doors, "wall_brick");
    }
    // Things on the eight places round each room's centre, one left free.
    for (int room = 0; room < g * g; ++room) {
        const int skip = random.Range(0, 7);
        for (int k = 0, placed = 0; k < 8 && placed < pillars; ++k) {
            if (k == skip)
                continue;
            ++placed;
            const int slot = k >= 4 ? k + 1 : k;
            const double cx = o + (room % g) * cell + cell * (1 + slot % 3) / 4;
            const double cy = o + (room / g) * cell + cell * (1 + slot / 3) / 4;
            const double half = 8 * random.Range(2, 4);
            const int kind = random.Range(0, 6);
            if (kind == 0)
                b.push_back(Box(cx - 40, cy - 40, 0, cx + 40, cy + 40, 16 * random.Range(1, 2),
                                "step_stone"));
            else if (kind <= 3)
                b.push_back(mapgen::TurnedBox({cx, cy, 0}, half, half * 0.75, 0, h,
                                              samples::Radians(random.Range(10, 80)),
                                              "pillar_marble"));
            else
                b.push_back(Box(cx - half, cy - half, 0, cx + half, cy + half,
                                16 * random.Range(4, 14), "crate_wood"));
        }
    }
    // In a corner of a middle room: the compiler moves the start to the
    // origin, and the map stays within its base square.
    map.Start = {20, 20, 48};
    for (const char* pszLight : lights)
        map.Lights.push_back(samples::PanelLight(pszLight));
    return map;
}

// The maze as MapFiles.
inline std::vector<samples::CSampleFile> MazeFiles(const std::string& mapName)
{
    return samples::MapFiles(MazeMap(), mapName);
}

} // namespace bench
