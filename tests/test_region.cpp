// Hit regions: which points, circles and rectangles each shape holds, with
// edges included and 32-bit arithmetic, and its bounds.
#include "controls/region.h"

#include <gtest/gtest.h>

namespace {

bool SameRect(const RECT& a, const RECT& b)
{
    return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

RECT BoundsOf(const CRegion& region)
{
    RECT bounds{};
    EXPECT_EQ(region.GetBounds(&bounds), &bounds);
    return bounds;
}

TEST(Region, RectHoldsItsEdgesAndNothingBeyond)
{
    const CRectRegion rect(10, 20, 30, 40);
    for (POINT p : {POINT{10, 20}, POINT{30, 20}, POINT{30, 40}, POINT{10, 40}})
        EXPECT_TRUE(rect.Contains(p)) << p.x << "," << p.y;
    for (POINT p : {POINT{9, 30}, POINT{31, 30}, POINT{20, 19}, POINT{20, 41}})
        EXPECT_FALSE(rect.Contains(p)) << p.x << "," << p.y;
    EXPECT_TRUE(rect.ContainsCircle(POINT{20, 30}, 10)); // touches all four edges
    for (POINT c : {POINT{19, 30}, POINT{21, 30}, POINT{20, 29}, POINT{20, 31}})
        EXPECT_FALSE(rect.ContainsCircle(c, 10)) << c.x << "," << c.y;
    EXPECT_TRUE(rect.ContainsRect(RECT{10, 20, 30, 40}));
    for (RECT r : {RECT{9, 20, 30, 40}, RECT{10, 19, 30, 40}, RECT{10, 20, 31, 40}, RECT{10, 20, 30, 41}})
        EXPECT_FALSE(rect.ContainsRect(r)) << r.left << "," << r.top << "," << r.right << "," << r.bottom;
    EXPECT_TRUE(SameRect(BoundsOf(rect), RECT{10, 20, 30, 40}));
}

TEST(Region, PointHoldsOnlyShapesShrunkToIt)
{
    const CPointRegion point(POINT{5, -7});
    EXPECT_TRUE(point.Contains(POINT{5, -7}) && !point.Contains(POINT{5, -6}));
    EXPECT_TRUE(point.ContainsCircle(POINT{5, -7}, 0));
    EXPECT_FALSE(point.ContainsCircle(POINT{5, -7}, 1));
    EXPECT_TRUE(point.ContainsRect(RECT{5, -7, 5, -7}));
    EXPECT_FALSE(point.ContainsRect(RECT{5, -7, 6, -7}));
    EXPECT_FALSE(point.ContainsRect(RECT{5, -8, 5, -7}));
    EXPECT_TRUE(SameRect(BoundsOf(point), RECT{5, -7, 5, -7}));
}

TEST(Region, CircleComparesSquaresAndTheDifferenceOfSquares)
{
    const CCircleRegion circle(POINT{0, 0}, 5);
    EXPECT_TRUE(circle.Contains(POINT{3, -4})); // on the rim
    EXPECT_FALSE(circle.Contains(POINT{4, 4}));
    // 16 <= 25 - 9, although 4 + 3 > 5.
    EXPECT_TRUE(circle.ContainsCircle(POINT{4, 0}, 3));
    EXPECT_FALSE(circle.ContainsCircle(POINT{4, 0}, 4));
    // Every corner counts: each rectangle below has one corner outside.
    EXPECT_TRUE(circle.ContainsRect(RECT{-3, -4, 3, 4}));
    for (RECT r : {RECT{-4, -4, 3, 3}, RECT{-3, -4, 4, 3}, RECT{-3, -3, 4, 4}, RECT{-4, -3, 3, 4}})
        EXPECT_FALSE(circle.ContainsRect(r)) << r.left << "," << r.top;
    EXPECT_TRUE(SameRect(BoundsOf(CCircleRegion(10, 20, 5)), RECT{5, 15, 15, 25}));
    // Radius 0 holds exactly its centre.
    const CCircleRegion dot(7, 8, 0);
    EXPECT_TRUE(dot.Contains(POINT{7, 8}) && !dot.Contains(POINT{8, 8}) && !dot.Contains(POINT{7, 9}));
    // 32-bit arithmetic: 50000 squared wraps negative, so not even the centre is in.
    EXPECT_FALSE(CCircleRegion(0, 0, 50000).Contains(POINT{0, 0}));
}

} // namespace
