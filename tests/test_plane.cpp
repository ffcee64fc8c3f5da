// Planes: construction, signed distances, the side comparisons with their
// tolerance, line crossings, and the clip and split of polygons.
#include "geometry/plane.h"

#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>

namespace {

// The plane y = 0, front towards +y.
const CPlane GROUND(CVector(0, 1, 0), 0.0f);

CPolygon MakePolygon(std::initializer_list<CVector> points)
{
    CPolygon polygon;
    for (const CVector& p : points)
        polygon.Add(p);
    return polygon;
}

// The points in use, bit for bit.
void ExpectPoints(const CPolygon& polygon, std::initializer_list<CVector> expected)
{
    ASSERT_EQ(polygon.GetCount(), static_cast<int>(expected.size()));
    const CVector* p = polygon.pPoints;
    for (const CVector& e : expected) {
        EXPECT_TRUE(p->x == e.x && p->y == e.y && p->z == e.z)
            << "point " << (p - polygon.pPoints) << ": " << p->x << " " << p->y << " " << p->z;
        ++p;
    }
}

// A diamond with its left and right corners on GROUND.
const CPolygon DIAMOND =
    MakePolygon({CVector(0, 0, 0), CVector(1, 1, 0), CVector(2, 0, 0), CVector(1, -1, 0)});

} // namespace

TEST(PlaneConstruction, Constructors)
{
    // Through a point the length of the normal does not matter; given a
    // distance, it is kept as given.
    const CPlane byDistance(CVector(0, 2, 0), -3.0f);
    const CPlane byPoint(CVector(5, 3, 7), CVector(0, 2, 0));
    EXPECT_EQ(byDistance.Normal.y, 1.0f);
    EXPECT_EQ(byDistance.Distance, -3.0f);
    EXPECT_EQ(byPoint.Normal.y, 1.0f);
    EXPECT_EQ(byPoint.DistanceTo(CVector(0, 5, 0)), 2.0);

    const CVector p0(0, 5, 0), p1(0, 5, 1), p2(1, 5, 0);
    CPlane plane;
    const CPlane copy = plane.Set(p0, p1, p2);
    EXPECT_EQ(plane.Normal.y, 1.0f);
    EXPECT_EQ(plane.Distance, -5.0f);
    EXPECT_EQ(copy.Distance, -5.0f);
    // The other winding faces the other way.
    EXPECT_EQ(CPlane(p0, p2, p1).Normal.y, -1.0f);
    const CNormalVertex n0(p0, CVector(), 0, 0, 0, 0), n1(p1, CVector(), 0, 0, 0, 0),
        n2(p2, CVector(), 0, 0, 0, 0);
    EXPECT_EQ(CPlane(CTriangle(n0, n1, n2)).Distance, -5.0f);

    const CPlane collinear(CVector(0, 0, 0), CVector(1, 1, 1), CVector(2, 2, 2));
    EXPECT_TRUE(std::isnan(collinear.Normal.x));

    const CPlane turned = -CPlane(CVector(0, 0, 1), 4.0f);
    EXPECT_EQ(turned.Distance, -4.0f);
    EXPECT_EQ(turned.Normal.z, -1.0f);
    EXPECT_TRUE(std::signbit(turned.Normal.x));
}

TEST(PlaneDistance, EvaluatedInDouble)
{
    CPlane plane;
    plane.Normal = CVector(1, 0, 0);
    plane.Distance = 0x1p-30f;
    // In float 1 + 2^-30 would collapse to 1.
    EXPECT_EQ(plane.DistanceTo(CVector(1, 0, 0)), 1.0 + 0x1p-30);
}

TEST(PlaneSides, ToleranceBoundCountsAsOnThePlane)
{
    const float fAbove = std::nextafter(POINT_EPSILON, 1.0f);
    for (const CVector& p : {CVector(0, POINT_EPSILON, 0), CVector(0, -POINT_EPSILON, 0)}) {
        EXPECT_TRUE(GROUND == p && p == GROUND);
        EXPECT_FALSE(GROUND != p || p != GROUND);
        EXPECT_FALSE(p > GROUND || GROUND < p || p < GROUND || GROUND > p);
    }
    const CVector front(0, fAbove, 0), back(0, -fAbove, 0);
    EXPECT_TRUE(front > GROUND && GROUND < front && front != GROUND && GROUND != front);
    EXPECT_FALSE(front < GROUND || GROUND > front || front == GROUND || GROUND == front);
    EXPECT_TRUE(back < GROUND && GROUND > back && back != GROUND && GROUND != back);
    EXPECT_FALSE(back > GROUND || GROUND < back || back == GROUND || GROUND == back);
}

TEST(PlaneIntersect, CrossingPoints)
{
    const CVector c = GROUND.Intersect(CVector(0, -1, 0), CVector(2, 1, 4));
    EXPECT_TRUE(c.x == 1 && c.y == 0 && c.z == 2);
    // The plane y = 2, crossed a quarter of the way along, and beyond the
    // segment's end.
    const CPlane high(CVector(0, 1, 0), -2.0f);
    const CVector d = high.Intersect(CVector(0, 0, 0), CVector(4, 8, -4));
    EXPECT_TRUE(d.x == 1 && d.y == 2 && d.z == -1);
    EXPECT_EQ(high.Intersect(CVector(0, 4, 0), CVector(0, 3, 1)).z, 2.0f);
    // Parallel to the plane: no guard, the division by zero shows.
    EXPECT_FALSE(std::isfinite(GROUND.Intersect(CVector(0, 1, 0), CVector(1, 1, 0)).x));
}

TEST(PlaneClip, KeepsWhatIsOnOrInFront)
{
    const CPolygon quad =
        MakePolygon({CVector(0, 1, 0), CVector(1, 1, 0), CVector(1, 2, 0), CVector(0, 2, 0)});
    ExpectPoints(GROUND.Clip(quad),
                 {CVector(0, 1, 0), CVector(1, 1, 0), CVector(1, 2, 0), CVector(0, 2, 0)});
    EXPECT_EQ((-GROUND).Clip(quad).GetCount(), 0);
    EXPECT_EQ(GROUND.Clip(CPolygon()).GetCount(), 0);

    // One point behind: the triangle becomes a quad. One in front: a smaller
    // triangle.
    ExpectPoints(GROUND.Clip(MakePolygon({CVector(0, 1, 0), CVector(2, 1, 0), CVector(2, -1, 0)})),
                 {CVector(0, 1, 0), CVector(2, 1, 0), CVector(2, 0, 0), CVector(1, 0, 0)});
    ExpectPoints(GROUND.Clip(MakePolygon({CVector(0, 2, 0), CVector(2, -2, 0), CVector(-2, -2, 0)})),
                 {CVector(0, 2, 0), CVector(1, 0, 0), CVector(-1, 0, 0)});

    // An edge that starts on the plane and runs behind counts as crossing, so
    // its start comes out twice, and the edge back to the plane adds its end.
    ExpectPoints(GROUND.Clip(DIAMOND), {CVector(0, 0, 0), CVector(1, 1, 0), CVector(2, 0, 0),
                                        CVector(2, 0, 0), CVector(0, 0, 0)});
}

TEST(PlaneSplit, TriangleWithOnePointInFront)
{
    const CPolygon triangle =
        MakePolygon({CVector(0, 1, 0), CVector(1, -1, 0), CVector(-1, -1, 0)});
    CPolygon front = MakePolygon({CVector(9, 9, 9)});
    CPolygon back;
    GROUND.Split(triangle, front, back);
    ExpectPoints(front, {CVector(0, 1, 0), CVector(0.5f, 0, 0), CVector(-0.5f, 0, 0)});
    ExpectPoints(back, {CVector(0.5f, 0, 0), CVector(1, -1, 0), CVector(-1, -1, 0),
                        CVector(-0.5f, 0, 0)});
    // Both start from half the input count and grow in steps of five.
    EXPECT_EQ(front.GetCapacity(), 6);
    EXPECT_EQ(back.GetCapacity(), 6);

    (-GROUND).Split(triangle, front, back);
    EXPECT_EQ(front.GetCount(), 4);
    EXPECT_EQ(back.GetCount(), 3);

    // The input may be one of the outputs.
    CPolygon same = triangle;
    GROUND.Split(same, same, back);
    ExpectPoints(same, {CVector(0, 1, 0), CVector(0.5f, 0, 0), CVector(-0.5f, 0, 0)});
}

TEST(PlaneSplit, PointOnThePlaneGoesWithTheEdgeThatLeavesIt)
{
    CPolygon front, back;
    GROUND.Split(DIAMOND, front, back);
    // Corner 0 leads in front, corner 2 leads behind; neither is shared, so
    // both halves come out short of a polygon.
    ExpectPoints(front, {CVector(0, 0, 0), CVector(1, 1, 0)});
    ExpectPoints(back, {CVector(2, 0, 0), CVector(1, -1, 0)});
    EXPECT_FALSE(front.IsValid() || back.IsValid());

    // Wholly on the plane: everything goes in front.
    GROUND.Split(MakePolygon({CVector(0, 0, 0), CVector(1, 0, 0), CVector(0, 0, 1)}), front, back);
    EXPECT_EQ(front.GetCount(), 3);
    EXPECT_EQ(back.GetCount(), 0);
}
