// Polygons: growth in steps of five, the extending index operator and its
// bounds, resizing, and deep copies.
#include "geometry_checks.h"

#include "frame/error.h"

#include <string>

namespace {

// The message of the CError that polygon[i] throws, or "" when none.
std::string IndexError(CPolygon& polygon, int i)
{
    try {
        polygon[i];
    } catch (const CError& error) {
        return error.GetMessage();
    }
    return "";
}

bool HasShape(const CPolygon& polygon, int nCapacity, int nCount)
{
    return polygon.GetCapacity() == nCapacity && polygon.GetCount() == nCount;
}

TEST(Polygon, AddGrowsTheArrayInStepsOfFive)
{
    CPolygon polygon;
    EXPECT_TRUE(polygon.pPoints == nullptr && HasShape(polygon, 0, 0) && polygon.IsFull());
    for (int i = 0; i < 5; ++i)
        polygon.Add(CVector(static_cast<float>(i), 0, 0));
    EXPECT_TRUE(HasShape(polygon, 5, 5) && polygon.IsFull());
    polygon.Add(CVector(5, 0, 0));
    EXPECT_TRUE(HasShape(polygon, 10, 6) && !polygon.IsFull());
    EXPECT_TRUE(polygon[0].x == 0.0f && polygon[5].x == 5.0f);

    const CNormalVertex a(CVector(1, 2, 3), CVector(), 0, 0, 0, 0);
    const CPolygon fromTriangle{CTriangle(a, a, CNormalVertex(CVector(7, 8, 9), CVector(), 0, 0, 0, 0))};
    EXPECT_TRUE(HasShape(fromTriangle, 3, 3) && fromTriangle.IsValid() && fromTriangle[2].z == 9.0f);
    EXPECT_FALSE(CPolygon(2).IsValid());
}

TEST(Polygon, IndexExtendsTheCountWithinTheCapacity)
{
    CPolygon polygon(5);
    polygon[4] = CVector(4, 4, 4);
    EXPECT_TRUE(HasShape(polygon, 5, 5) && polygon.pPoints[4].y == 4.0f);
    polygon.SetCount(2);
    polygon[1].y = 9.0f; // within Count: only the point changes
    EXPECT_TRUE(HasShape(polygon, 5, 2) && polygon.pPoints[1].y == 9.0f);

    const std::string message = "Polygon: [] operator out of bounds.";
    EXPECT_EQ(IndexError(polygon, 5), message);
    EXPECT_EQ(IndexError(polygon, -1), message);
    EXPECT_TRUE(HasShape(polygon, 5, 2));
    CPolygon empty;
    EXPECT_EQ(IndexError(empty, 0), message);
}

TEST(Polygon, ResizeKeepsTheFirstPointsAndSetCountStaysBelowTheCapacity)
{
    CPolygon polygon = MakePolygon({CVector(1, 0, 0), CVector(2, 0, 0), CVector(3, 0, 0)});
    polygon.Resize(2);
    EXPECT_TRUE(HasShape(polygon, 2, 2) && polygon[1].x == 2.0f);
    polygon.Resize(20);
    EXPECT_TRUE(HasShape(polygon, 20, 2) && polygon[0].x == 1.0f);
    polygon.SetCount(-1);
    polygon.SetCount(20); // equal to Capacity: ignored
    EXPECT_EQ(polygon.GetCount(), 2);
    polygon.SetCount(19);
    EXPECT_EQ(polygon.GetCount(), 19);
    polygon.Free();
    EXPECT_TRUE(polygon.pPoints == nullptr && HasShape(polygon, 0, 0));
}

TEST(Polygon, CopiesOwnAnArrayOfTheirOwn)
{
    CPolygon original = MakePolygon({CVector(1, 0, 0), CVector(2, 0, 0)});
    CPolygon copy(original);
    copy[0].x = 42.0f;
    EXPECT_TRUE(HasShape(copy, 5, 2) && original[0].x == 1.0f);
    CPolygon assigned = MakePolygon({CVector(7, 7, 7)});
    assigned = original;
    assigned[1].x = 42.0f;
    EXPECT_TRUE(HasShape(assigned, 5, 2) && assigned[0].x == 1.0f && original[1].x == 2.0f);
}

} // namespace
