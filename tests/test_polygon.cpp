// Polygons: growth, the extending index operator and its bounds, resizing,
// and ownership of the point array through copies and moves.
#include "geometry/polygon.h"

#include "frame/error.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace {

// The message of the CError that polygon[i] throws, or "" when none.
std::string IndexError(CPolygon& polygon, int i)
{
    try {
        polygon[i];
    } catch (const CError& error) {
        return error.GetMessage() ? error.GetMessage() : "(null)";
    }
    return "";
}

// Points (0, 0, 0), (1, 0, 0), ... added one by one.
CPolygon Numbered(int n)
{
    CPolygon polygon;
    for (int i = 0; i < n; ++i)
        polygon.Add(CVector(static_cast<float>(i), 0, 0));
    return polygon;
}

void ExpectShape(const CPolygon& polygon, int nCapacity, int nCount)
{
    EXPECT_EQ(polygon.GetCapacity(), nCapacity);
    EXPECT_EQ(polygon.GetCount(), nCount);
}

} // namespace

TEST(Polygon, ConstructionAndGrowth)
{
    const CPolygon empty;
    EXPECT_EQ(empty.pPoints, nullptr);
    ExpectShape(empty, 0, 0);
    EXPECT_TRUE(empty.IsFull());
    EXPECT_FALSE(CPolygon(7).IsFull());

    const CNormalVertex a(CVector(1, 2, 3), CVector(), 0, 0, 0, 0),
        b(CVector(4, 5, 6), CVector(), 0, 0, 0, 0), c(CVector(7, 8, 9), CVector(), 0, 0, 0, 0);
    const CPolygon fromTriangle{CTriangle(a, b, c)};
    ExpectShape(fromTriangle, 3, 3);
    EXPECT_TRUE(fromTriangle.IsValid());
    EXPECT_EQ(fromTriangle[2].z, 9.0f);

    // The first Add makes room for five, the sixth for ten.
    CPolygon polygon = Numbered(5);
    ExpectShape(polygon, 5, 5);
    EXPECT_TRUE(polygon.IsFull());
    polygon.Add(CVector(5, 0, 0));
    ExpectShape(polygon, 10, 6);
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(polygon[i].x, static_cast<float>(i));
    CPolygon sized(2);
    sized.Add(CVector(1, 1, 1));
    sized.Add(CVector(2, 2, 2));
    sized.Add(CVector(3, 3, 3));
    ExpectShape(sized, 7, 3);
    EXPECT_EQ(sized[0].x, 1.0f);
}

TEST(Polygon, IndexExtendsCountWithinCapacity)
{
    CPolygon polygon(5);
    polygon[4] = CVector(4, 4, 4);
    ExpectShape(polygon, 5, 5);
    EXPECT_EQ(polygon.pPoints[4].y, 4.0f);

    CPolygon partly = Numbered(3);
    partly[1].y = 9.0f; // within Count: only the point changes
    EXPECT_EQ(partly.GetCount(), 3);
    EXPECT_EQ(partly.pPoints[1].y, 9.0f);
    const CPolygon& view = partly;
    EXPECT_EQ(view[4].x, 0.0f); // reading never moves Count
    EXPECT_EQ(partly.GetCount(), 3);

    const std::string message = "Polygon: [] operator out of bounds.";
    CPolygon bounded(5);
    EXPECT_EQ(IndexError(bounded, 5), message);
    EXPECT_EQ(IndexError(bounded, -1), message);
    ExpectShape(bounded, 5, 0);
    CPolygon empty;
    EXPECT_EQ(IndexError(empty, 0), message);
    EXPECT_THROW(view[5], CError);
}

TEST(Polygon, ResizeSetCountAndFree)
{
    CPolygon polygon = Numbered(6);
    polygon.Resize(3);
    ExpectShape(polygon, 3, 3);
    polygon.Resize(20);
    ExpectShape(polygon, 20, 3);
    EXPECT_EQ(polygon[0].x + polygon[1].x * 10 + polygon[2].x * 100, 210.0f);

    polygon.SetCount(2);
    EXPECT_EQ(polygon.GetCount(), 2);
    polygon.SetCount(-1);
    polygon.SetCount(20); // equal to Capacity: ignored
    EXPECT_EQ(polygon.GetCount(), 2);
    polygon.SetCount(19);
    EXPECT_EQ(polygon.GetCount(), 19);

    polygon.Free();
    EXPECT_EQ(polygon.pPoints, nullptr);
    ExpectShape(polygon, 0, 0);
    polygon.Add(CVector(1, 1, 1));
    ExpectShape(polygon, 5, 1);
}

TEST(Polygon, CopiesAreDeepAndMovesTakeTheArray)
{
    CPolygon original = Numbered(6);
    CPolygon copy(original);
    EXPECT_NE(copy.pPoints, original.pPoints);
    ExpectShape(copy, 10, 6);
    EXPECT_EQ(copy[5].x, 5.0f);
    copy[0].x = 42.0f;
    EXPECT_EQ(original[0].x, 0.0f);

    CPolygon assigned = Numbered(2);
    assigned = original;
    EXPECT_NE(assigned.pPoints, original.pPoints);
    ExpectShape(assigned, 10, 6);
    CPolygon& self = assigned;
    assigned = self;
    ExpectShape(assigned, 10, 6);
    EXPECT_EQ(assigned[5].x, 5.0f);

    const CVector* pArray = original.pPoints;
    CPolygon moved(std::move(original));
    EXPECT_EQ(moved.pPoints, pArray);
    EXPECT_EQ(original.pPoints, nullptr);
    ExpectShape(original, 0, 0);
    assigned = std::move(moved);
    EXPECT_EQ(assigned.pPoints, pArray);
    ExpectShape(assigned, 10, 6);
    EXPECT_EQ(moved.pPoints, nullptr);
}
