// How far a brush reaches on the squares its sides start from.
#include "compiler/base_square.h"

#include <gtest/gtest.h>

namespace {

// The box x 0..100, y 0..100, z 0..300 with its corner at x 100, y 100 cut
// off by the tilted plane 0.8x + 0.6y = 100, through (100, 33.3) and
// (50, 100).
CMapBrush CutBox()
{
    CMapBrush brush;
    brush.Planes = {CPlane(CVector(-1, 0, 0), 0.0f),   CPlane(CVector(1, 0, 0), -100.0f),
                    CPlane(CVector(0, -1, 0), 0.0f),   CPlane(CVector(0, 1, 0), -100.0f),
                    CPlane(CVector(0, 0, -1), 0.0f),   CPlane(CVector(0, 0, 1), -300.0f),
                    CPlane(CVector(0.8f, 0.6f, 0), -100.0f)};
    return brush;
}

// The tilted side's square has half-axes of length 0.8, the sine of its
// normal's angle to y, so its corners 300 from the centre along z need a
// size of 300 / 0.8 = 375; the axis-aligned sides need at most 300. Round a
// point at z 150 the tilted side needs 150 / 0.8 = 187.5, the others 150.
TEST(BrushReach, TiltedSidesNeedTheLargerSquare)
{
    EXPECT_NEAR(BrushReach(CutBox(), CVector()), 375.0, 0.01);
    EXPECT_NEAR(BrushReach(CutBox(), CVector(0, 0, 150)), 187.5, 0.01);
}

} // namespace
