#pragma once
// Generates map texts of any number of brushes for benchmarks and tests: a
// square grid of rooms (floor, ceiling, walls with doorways) closed by outer
// walls, with pillars standing in the rooms, every third pillar turned about
// the vertical axis and some rooms holding a ramp. The same count and seed
// always give the same text.
//
// The text is in the bracketed-axis format of the map parser. A file triple
// a b c is the world vector (a, c, b); the parser takes a face's normal as
// Cross(p1 - p0, p2 - p0) of the world vectors and keeps the solid behind it.
// Exchanging two axes mirrors the cross product, so in file axes the three
// points are written so that their cross product points into the solid.
//
// Everything stays within about 3100 units of the origin, where the parser's
// base squares still cover every brush side.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

namespace mapgen {

// File axes: x and y horizontal, z up.
struct Vec3 {
    double x, y, z;
};

inline Vec3 operator+(Vec3 a, Vec3 b)
{
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
inline Vec3 operator-(Vec3 a, Vec3 b)
{
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
inline Vec3 operator*(Vec3 a, double s)
{
    return {a.x * s, a.y * s, a.z * s};
}
inline double Dot(Vec3 a, Vec3 b)
{
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
inline Vec3 Cross(Vec3 a, Vec3 b)
{
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline Vec3 Unit(Vec3 a)
{
    const double l = std::sqrt(Dot(a, a));
    return {a.x / l, a.y / l, a.z / l};
}

// One brush side: a point on it and the normal that points out of the solid.
struct Side {
    Vec3 Point;
    Vec3 Outward;
    const char* Texture;
};
using Brush = std::vector<Side>;

// A small fixed generator, so that the text does not depend on the standard
// library's distributions.
class Random {
public:
    explicit Random(uint32_t seed) : state(seed ? seed : 0x9E3779B9u) {}
    uint32_t Next()
    {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        return state;
    }
    // An integer in [lo, hi].
    int Range(int lo, int hi) { return lo + static_cast<int>(Next() % uint32_t(hi - lo + 1)); }

private:
    uint32_t state;
};

// Sizes of the grid, in map units.
constexpr double CELL = 384.0;
constexpr double WALL = 16.0;
constexpr double SLAB = 16.0;
constexpr double ROOM_HEIGHT = 224.0;
constexpr double DOOR_WIDTH = 96.0;
constexpr double DOOR_HEIGHT = 128.0;
constexpr int MAX_GRID = 16;
constexpr int PILLAR_SLOTS = 8;

inline std::string FormatNumber(double v)
{
    char text[64];
    std::snprintf(text, sizeof(text), "%.3f", v);
    std::string s = text;
    while (!s.empty() && s.back() == '0')
        s.pop_back();
    if (!s.empty() && s.back() == '.')
        s.pop_back();
    if (s == "-0")
        s = "0";
    return s;
}

inline void AppendTriple(std::string& out, Vec3 v, const char* open, const char* close)
{
    out += open;
    out += FormatNumber(v.x) + " " + FormatNumber(v.y) + " " + FormatNumber(v.z);
    out += close;
}

// One face line. The texture axes follow the dominant axis of the normal, as
// level editors lay them.
inline void AppendSide(std::string& out, const Side& side)
{
    const Vec3 n = Unit(side.Outward);
    // A tangent from the axis least aligned with the normal.
    const double ax = std::fabs(n.x);
    const double ay = std::fabs(n.y);
    const double az = std::fabs(n.z);
    Vec3 axis{0, 1, 0};
    double least = ay;
    if (az < least) {
        axis = {0, 0, 1};
        least = az;
    }
    if (ax < least)
        axis = {1, 0, 0};
    const Vec3 t1 = Unit(Cross(n, axis));
    const Vec3 t2 = Cross(n, t1);
    // Cross(t2, t1) = -n: the points run so that their cross product points
    // into the solid, as the exchange of axes requires.
    const double length = 64.0;
    const Vec3 p0 = side.Point;
    const Vec3 p1 = p0 + t2 * length;
    const Vec3 p2 = p0 + t1 * length;
    AppendTriple(out, p0, "( ", " ) ");
    AppendTriple(out, p1, "( ", " ) ");
    AppendTriple(out, p2, "( ", " ) ");
    out += side.Texture;

    Vec3 u{1, 0, 0};
    Vec3 v{0, 0, -1};
    if (az >= ax && az >= ay)
        v = {0, -1, 0};
    else if (ax >= ay)
        u = {0, 1, 0};
    AppendTriple(out, u, " [ ", " 0 ]");
    AppendTriple(out, v, " [ ", " 0 ]");
    out += " 0 1 1\n";
}

inline Brush Box(Vec3 lo, Vec3 hi, const char* texture)
{
    return {
        {lo, {-1, 0, 0}, texture}, {hi, {1, 0, 0}, texture},  {lo, {0, -1, 0}, texture},
        {hi, {0, 1, 0}, texture},  {lo, {0, 0, -1}, texture}, {hi, {0, 0, 1}, texture},
    };
}

// A box of half-sides hx, hy around centre, turned by angle radians about the
// vertical axis, from z0 to z1.
inline Brush TurnedBox(Vec3 centre, double hx, double hy, double z0, double z1, double angle,
                       const char* texture)
{
    const Vec3 ex{std::cos(angle), std::sin(angle), 0};
    const Vec3 ey{-std::sin(angle), std::cos(angle), 0};
    const Vec3 base{centre.x, centre.y, z0};
    return {
        {base + ex * hx, ex, texture}, {base - ex * hx, ex * -1.0, texture},
        {base + ey * hy, ey, texture}, {base - ey * hy, ey * -1.0, texture},
        {base, {0, 0, -1}, texture},   {{centre.x, centre.y, z1}, {0, 0, 1}, texture},
    };
}

// A wedge on the floor rising along +x from height 0 at x0 to height h at x1.
inline Brush Ramp(double x0, double x1, double y0, double y1, double z, double h,
                  const char* texture)
{
    return {
        {{x0, y0, z}, {0, 0, -1}, texture},       {{x1, y0, z}, {1, 0, 0}, texture},
        {{x0, y0, z}, {0, -1, 0}, texture},       {{x0, y1, z}, {0, 1, 0}, texture},
        {{x0, y0, z}, {-h, 0, x1 - x0}, texture},
    };
}

// A wall along x (bAlongX) or along y starting at (x, y), length long, with a
// doorway in its middle when bDoor: two posts and a lintel.
inline void AddWall(std::vector<Brush>& brushes, double x, double y, double length, bool bAlongX,
                    bool bDoor)
{
    const char* texture = "wall_plain";
    auto piece = [&](double s0, double s1, double z0, double z1) {
        if (bAlongX)
            brushes.push_back(Box({x + s0, y, z0}, {x + s1, y + WALL, z1}, texture));
        else
            brushes.push_back(Box({x, y + s0, z0}, {x + WALL, y + s1, z1}, texture));
    };
    if (!bDoor) {
        piece(0, length, 0, ROOM_HEIGHT);
        return;
    }
    const double d0 = (length - DOOR_WIDTH) / 2;
    const double d1 = d0 + DOOR_WIDTH;
    piece(0, d0, 0, ROOM_HEIGHT);
    piece(d1, length, 0, ROOM_HEIGHT);
    piece(d0, d1, DOOR_HEIGHT, ROOM_HEIGHT);
}

// Brushes of the rooms and walls of a grid of g by g cells.
inline int GridBrushCount(int g)
{
    // Per cell a floor and a ceiling; inner walls have doorways (3 brushes),
    // the outer walls are whole (1 brush per cell side).
    return g * g * 2 + 2 * (g * 3 * (g - 1) + g) + 2 * g;
}

// The grid for a map of brushCount brushes: the largest one that leaves at
// least one pillar per room on average, capped so that the map stays near
// the origin.
inline int GridSize(int brushCount)
{
    int g = 1;
    while (g < MAX_GRID && GridBrushCount(g + 1) + (g + 1) * (g + 1) <= brushCount)
        ++g;
    return g;
}

// The world origin of the grid's corner: the grid stands centred on it.
inline double GridOrigin(int g)
{
    return -g * CELL / 2;
}

// The brushes of a map of brushCount brushes (fewer than the grid itself
// needs just truncate the grid).
inline std::vector<Brush> GenerateBrushes(int brushCount, uint32_t seed)
{
    std::vector<Brush> brushes;
    if (brushCount <= 0)
        return brushes;
    const int g = GridSize(brushCount);
    const double o = GridOrigin(g);
    const double span = g * CELL;

    for (int j = 0; j < g; ++j) {
        for (int i = 0; i < g; ++i) {
            const double x = o + i * CELL;
            const double y = o + j * CELL;
            brushes.push_back(Box({x, y, -SLAB}, {x + CELL, y + CELL, 0}, "floor_stone"));
            brushes.push_back(
                Box({x, y, ROOM_HEIGHT}, {x + CELL, y + CELL, ROOM_HEIGHT + SLAB}, "ceil_tile"));
            AddWall(brushes, x, y, CELL, false, i > 0);
            AddWall(brushes, x, y, CELL, true, j > 0);
        }
    }
    for (int j = 0; j < g; ++j)
        AddWall(brushes, o + span, o + j * CELL, CELL, false, false);
    for (int i = 0; i < g; ++i)
        AddWall(brushes, o + i * CELL, o + span, CELL, true, false);

    // Pillars and ramps fill the rest, room by room, in the eight places of a
    // 3 by 3 pattern round the room's centre, which stays free for the start.
    Random random(seed);
    const int rooms = g * g;
    const double pi = 3.14159265358979;
    for (int k = 0; static_cast<int>(brushes.size()) < brushCount; ++k) {
        const int room = k % rooms;
        const int layer = k / rooms;
        int slot = layer % PILLAR_SLOTS;
        if (slot >= 4)
            ++slot; // skip the centre
        const double cx = o + (room % g) * CELL + CELL * (1 + slot % 3) / 4.0 + WALL / 2;
        const double cy = o + (room / g) * CELL + CELL * (1 + slot / 3) / 4.0 + WALL / 2;
        // Layers past the eighth stand on top of those below, as blocks.
        const int level = layer / PILLAR_SLOTS;
        const double z0 = level == 0 ? 0.0 : 16.0 * level;
        const double half = random.Range(12, 32);
        if (k % 7 == 3 && level == 0) {
            const double h = random.Range(32, 96);
            brushes.push_back(Ramp(cx - 40, cx + 40, cy - 24, cy + 24, 0, h, "ramp_metal"));
        } else if (k % 3 == 1) {
            const double angle = random.Range(10, 80) * pi / 180.0;
            const double top = level == 0 ? ROOM_HEIGHT : z0 + 12;
            brushes.push_back(
                TurnedBox({cx, cy, 0}, half, half * 0.75, z0, top, angle, "pillar_turned"));
        } else {
            const double top = level == 0 ? random.Range(64, 224) : z0 + 12;
            brushes.push_back(
                Box({cx - half, cy - half, z0}, {cx + half, cy + half, top}, "pillar_block"));
        }
    }
    brushes.resize(brushCount);
    return brushes;
}

// The start location: the middle of the first room, in file axes.
inline Vec3 StartLocation(int brushCount)
{
    const int g = GridSize(brushCount);
    const double o = GridOrigin(g);
    return {o + CELL / 2 + WALL / 2, o + CELL / 2 + WALL / 2, 64};
}

// The whole map text: the world entity with the brushes, then the player
// start.
inline std::string GenerateMapText(int brushCount, uint32_t seed = 20240611u)
{
    std::string out;
    out += "// generated map: ";
    out += std::to_string(brushCount);
    out += " brushes\n{\n\"classname\" \"worldspawn\"\n\"mapversion\" \"220\"\n";
    int n = 0;
    for (const Brush& brush : GenerateBrushes(brushCount, seed)) {
        out += "// brush " + std::to_string(n++) + "\n{\n";
        for (const Side& side : brush)
            AppendSide(out, side);
        out += "}\n";
    }
    out += "}\n{\n\"classname\" \"info_player_start\"\n\"origin\" \"";
    const Vec3 start = StartLocation(brushCount);
    out += FormatNumber(start.x) + " " + FormatNumber(start.y) + " " + FormatNumber(start.z);
    out += "\"\n}\n";
    return out;
}

// Writes GenerateMapText to path; false when the file can't be written.
inline bool WriteMapFile(const std::string& path, int brushCount, uint32_t seed = 20240611u)
{
    std::ofstream file(path, std::ios::binary);
    if (!file)
        return false;
    file << GenerateMapText(brushCount, seed);
    return static_cast<bool>(file);
}

} // namespace mapgen
