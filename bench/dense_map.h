#pragma once
// A larger map for the compile benchmarks than the large sample map can be:
// that map's largest grid of rooms, with up to 16 more small pillars in each
// room on a 4 by 4 pattern between the pillars already there (at 1/8, 3/8,
// 5/8 and 7/8 of the room's side, where the first pattern stands at 1/4,
// 1/2 and 3/4). The rooms keep their size, so the map stays as far from its
// start as the large map does. The same count always gives the same map.
#include "tools/sample_maps.h"

#include <algorithm>
#include <string>
#include <vector>

namespace bench {

constexpr int DENSE_SLOTS = 16;

inline int MaxDenseBrushCount()
{
    const int rooms = samples::LARGE_MAX_GRID * samples::LARGE_MAX_GRID;
    return samples::MaxLargeBrushCount() + DENSE_SLOTS * rooms;
}

// brushCount brushes, at least those of the largest large map and at most
// MaxDenseBrushCount.
inline samples::CSampleMap DenseMap(int brushCount)
{
    samples::CSampleMap map = samples::LargeMap(samples::MaxLargeBrushCount());
    std::vector<samples::Brush>& b = map.Brushes;
    const int g = samples::LARGE_MAX_GRID;
    const double cell = samples::LARGE_CELL;
    const double o = -g * cell / 2;
    const int rooms = g * g;
    mapgen::Random random(20240612u);
    // Half sides of 8 to 12 keep clear of the first pattern's pillars, whose
    // half sides reach 32, 48 units away.
    for (int k = 0; int(b.size()) < brushCount && k < rooms * DENSE_SLOTS; ++k) {
        const int room = k % rooms;
        const int slot = k / rooms;
        const double cx = o + (room % g) * cell + cell * (1 + 2 * (slot % 4)) / 8;
        const double cy = o + (room / g) * cell + cell * (1 + 2 * (slot / 4)) / 8;
        const double half = 4 * random.Range(2, 3);
        if (k % 5 == 2) {
            b.push_back(mapgen::TurnedBox({cx, cy, 0}, half, half * 0.75, 0,
                                          samples::LARGE_HEIGHT,
                                          samples::Radians(random.Range(10, 80)), "pillar_marble"));
        } else {
            b.push_back(samples::Box(cx - half, cy - half, 0, cx + half, cy + half,
                                     16 * random.Range(2, 10), "crate_wood"));
        }
    }
    map.Title = "dense";
    return map;
}

// The dense map as MapFiles.
inline std::vector<samples::CSampleFile> DenseFiles(int brushCount, const std::string& mapName)
{
    return samples::MapFiles(DenseMap(brushCount), mapName);
}

} // namespace bench
