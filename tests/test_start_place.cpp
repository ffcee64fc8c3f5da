// Where the start location stands among the brushes.
#include "compiler/start_place.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

// A cube x, y 0..64, z 8..72 and a slab z -16..0 beside it, x 100..200.
std::vector<CMapBrush> Brushes()
{
    auto box = [](const CVector& lo, const CVector& hi) {
        CMapBrush brush;
        brush.Planes = {CPlane(CVector(-1, 0, 0), lo.x), CPlane(CVector(1, 0, 0), -hi.x),
                        CPlane(CVector(0, -1, 0), lo.y), CPlane(CVector(0, 1, 0), -hi.y),
                        CPlane(CVector(0, 0, -1), lo.z), CPlane(CVector(0, 0, 1), -hi.z)};
        return brush;
    };
    std::vector<CMapBrush> brushes = {box(CVector(0, 0, 8), CVector(64, 64, 72)),
                                      box(CVector(100, 0, -16), CVector(200, 64, 0))};
    brushes[1].Number = 1;
    return brushes;
}

// On the slab's top plane the start moves 1 unit off it; at a corner of the
// cube, on three planes, only a step along all three axes clears them, and
// it lands outside the cube.
TEST(PlaceStart, StartOnPlanesMovesClearOfThem)
{
    const std::vector<CMapBrush> brushes = Brushes();
    CStartPlace place = PlaceStart(brushes, CVector(150, 32, 0));
    EXPECT_EQ(place.Place, EStartPlace::Moved);
    EXPECT_EQ(place.pBrush, &brushes[1]);
    EXPECT_EQ(place.Start, CVector(150, 32, 1));

    place = PlaceStart(brushes, CVector(64, 64, 72));
    ASSERT_EQ(place.Place, EStartPlace::Moved);
    const CVector step = place.Start - CVector(64, 64, 72);
    for (const float c : {step.x, step.y, step.z})
        EXPECT_EQ(std::fabs(c), 1.0f);
    EXPECT_FALSE(step.x < 0 && step.y < 0 && step.z < 0);
}

// Inside a brush names it; beyond the box of all corners (x 0..200, y 0..64,
// z -16..72) is outside; between the brushes, within the box, is open.
TEST(PlaceStart, InsideABrushOrOutsideTheBox)
{
    const std::vector<CMapBrush> brushes = Brushes();
    CStartPlace place = PlaceStart(brushes, CVector(150, 32, -8));
    EXPECT_EQ(place.Place, EStartPlace::InsideBrush);
    EXPECT_EQ(place.pBrush, &brushes[1]);
    place = PlaceStart(brushes, CVector(80, 32, 80));
    EXPECT_EQ(place.Place, EStartPlace::OutsideMap);
    EXPECT_EQ(place.Min, CVector(0, 0, -16));
    EXPECT_EQ(place.Max, CVector(200, 64, 72));
    EXPECT_EQ(PlaceStart(brushes, CVector(80, 32, 10)).Place, EStartPlace::Open);
}

} // namespace
