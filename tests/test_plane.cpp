// Planes: construction, signed distances, the side comparisons with their
// tolerance, line crossings, and the clip and split of polygons.
#include "geometry_checks.h"

#include <cmath>

namespace {

// The plane y = 0, front towards +y.
const CPlane GROUND(CVector(0, 1, 0), 0.0f);

// A diamond with its left and right corners on GROUND.
const CPolygon DIAMOND =
    MakePolygon({CVector(0, 0, 0), CVector(1, 1, 0), CVector(2, 0, 0), CVector(1, -1, 0)});

TEST(Plane, ConstructorsNormaliseTheNormalButKeepAGivenDistance)
{
    const CPlane byDistance(CVector(0, 2, 0), -3.0f);
    EXPECT_TRUE(Same(byDistance.Normal, 0, 1, 0) && byDistance.Distance == -3.0f);
    EXPECT_EQ(CPlane(CVector(5, 3, 7), CVector(0, 2, 0)).Distance, -3.0f);
    // Set: the normal is (p1 - p0) x (p2 - p0), so the winding decides it.
    CPlane plane;
    const CPlane copy = plane.Set(CVector(0, 5, 0), CVector(0, 5, 1), CVector(1, 5, 0));
    EXPECT_TRUE(Same(plane.Normal, 0, 1, 0) && plane.Distance == -5.0f && copy.Distance == -5.0f);
    EXPECT_EQ(CPlane(CVector(0, 5, 0), CVector(1, 5, 0), CVector(0, 5, 1)).Normal.y, -1.0f);
    const CNormalVertex n0(CVector(0, 0, 2), CVector(), 0, 0, 0, 0),
        n1(CVector(1, 0, 2), CVector(), 0, 0, 0, 0), n2(CVector(0, 1, 2), CVector(), 0, 0, 0, 0);
    const CPlane fromTriangle{CTriangle(n0, n1, n2)};
    EXPECT_TRUE(Same(fromTriangle.Normal, 0, 0, 1) && fromTriangle.Distance == -2.0f);
    const CPlane turned = -CPlane(CVector(0, 0, 1), 4.0f);
    EXPECT_TRUE(Same(turned.Normal, 0, 0, -1) && turned.Distance == -4.0f);
    EXPECT_TRUE(std::signbit(turned.Normal.x));
}

TEST(Plane, DistanceIsEvaluatedInDoubleAndTheBoundCountsAsOnThePlane)
{
    const CPlane offset(CVector(1, 0, 0), 0x1p-30f);
    EXPECT_EQ(offset.DistanceTo(CVector(1, 0, 0)), 1.0 + 0x1p-30);

    for (const CVector& p : {CVector(0, POINT_EPSILON, 0), CVector(0, -POINT_EPSILON, 0)}) {
        EXPECT_TRUE(GROUND == p && p == GROUND);
        EXPECT_FALSE(GROUND != p || p != GROUND);
        EXPECT_FALSE(p > GROUND || GROUND < p || p < GROUND || GROUND > p);
    }
    const float fAbove = std::nextafter(POINT_EPSILON, 1.0f);
    const CVector front(0, fAbove, 0), back(0, -fAbove, 0);
    EXPECT_TRUE(front > GROUND && GROUND < front && front != GROUND && GROUND != front);
    EXPECT_FALSE(front < GROUND || GROUND > front || front == GROUND);
    EXPECT_TRUE(back < GROUND && GROUND > back && back != GROUND);
    EXPECT_FALSE(back > GROUND || GROUND < back || back == GROUND);
}

TEST(Plane, IntersectFindsWhereTheLineCrosses)
{
    EXPECT_TRUE(Same(GROUND.Intersect(CVector(0, -1, 0), CVector(2, 1, 4)), 1, 0, 2));
    // The plane y = 2, crossed a quarter of the way along, and beyond the end.
    const CPlane high(CVector(0, 1, 0), -2.0f);
    EXPECT_TRUE(Same(high.Intersect(CVector(0, 0, 0), CVector(4, 8, -4)), 1, 2, -1));
    EXPECT_EQ(high.Intersect(CVector(0, 4, 0), CVector(0, 3, 1)).z, 2.0f);
    // Parallel to the plane: no guard.
    EXPECT_FALSE(std::isfinite(GROUND.Intersect(CVector(0, 1, 0), CVector(1, 1, 0)).x));
}

TEST(Plane, ClipKeepsWhatIsOnOrInFront)
{
    const CPolygon quad =
        MakePolygon({CVector(0, 1, 0), CVector(1, 1, 0), CVector(1, 2, 0), CVector(0, 2, 0)});
    ExpectPoints(GROUND.Clip(quad),
                 {CVector(0, 1, 0), CVector(1, 1, 0), CVector(1, 2, 0), CVector(0, 2, 0)});
    EXPECT_EQ((-GROUND).Clip(quad).GetCount(), 0);
    ExpectPoints(GROUND.Clip(MakePolygon({CVector(0, 1, 0), CVector(2, 1, 0), CVector(2, -1, 0)})),
                 {CVector(0, 1, 0), CVector(2, 1, 0), CVector(2, 0, 0), CVector(1, 0, 0)});
    // An edge from the plane to behind it counts as crossing, so its start
    // comes out twice, and the edge back to the plane adds its end.
    ExpectPoints(GROUND.Clip(DIAMOND), {CVector(0, 0, 0), CVector(1, 1, 0), CVector(2, 0, 0),
                                        CVector(2, 0, 0), CVector(0, 0, 0)});
}

TEST(Plane, SplitSendsEachSideItsPointsAndBothTheCrossings)
{
    const CPolygon triangle = MakePolygon({CVector(0, 1, 0), CVector(1, -1, 0), CVector(-1, -1, 0)});
    CPolygon front = MakePolygon({CVector(9, 9, 9)}), back;
    GROUND.Split(triangle, front, back);
    ExpectPoints(front, {CVector(0, 1, 0), CVector(0.5f, 0, 0), CVector(-0.5f, 0, 0)});
    ExpectPoints(back, {CVector(0.5f, 0, 0), CVector(1, -1, 0), CVector(-1, -1, 0),
                        CVector(-0.5f, 0, 0)});
    // Both start from half the input count and grow in steps of five.
    EXPECT_TRUE(front.GetCapacity() == 6 && back.GetCapacity() == 6);

    // A point on the plane goes with the edge that leaves it: corner 0 leads
    // in front, corner 2 behind, and neither half is a polygon.
    GROUND.Split(DIAMOND, front, back);
    ExpectPoints(front, {CVector(0, 0, 0), CVector(1, 1, 0)});
    ExpectPoints(back, {CVector(2, 0, 0), CVector(1, -1, 0)});
    // Wholly on the plane: everything goes in front.
    GROUND.Split(MakePolygon({CVector(0, 0, 0), CVector(1, 0, 0), CVector(0, 0, 1)}), front, back);
    EXPECT_TRUE(front.GetCount() == 3 && back.GetCount() == 0);
}

} // namespace
