#pragma once
// CPlane: an oriented plane, distance first, then the unit normal pointing to
// its front. The signed distance of p is Dot(p, Normal) + Distance, so the
// point -Distance * Normal lies on the plane. Clip and Split here work with no
// tolerance band; the side comparisons use POINT_EPSILON.
#include "geometry/polygon.h"
#include "geometry/vector.h"
#include "geometry/vertex.h"

class CPlane {
public:
    float Distance;
    CVector Normal;

    // The plane through the origin with a zero normal; callers set it first.
    CPlane() : Distance(0.0f), Normal() {}
    // Normal is the unit copy of normal; distance is kept as given, not
    // rescaled by the length of normal.
    CPlane(const CVector& normal, float distance);
    // As Set on the three points.
    CPlane(const CVector& p0, const CVector& p1, const CVector& p2);
    // As Set on the positions of vertices 0, 1 and 2.
    explicit CPlane(const CTriangle& triangle);
    // The plane through point with the unit copy of normal.
    CPlane(const CVector& point, const CVector& normal);

    // The plane through the three points, facing the side from which they run
    // p0, p1, p2 with a normal of Cross(p1 - p0, p2 - p0). Collinear points
    // give the NaN normal of a normalised zero vector. Returns the plane.
    CPlane Set(const CVector& p0, const CVector& p1, const CVector& p2);

    // Signed distance of p: positive in front, negative behind.
    double DistanceTo(const CVector& p) const
    {
        return Dot(p, Normal) + static_cast<double>(Distance);
    }

    // Where the line through a and b crosses the plane. A line parallel to the
    // plane divides by zero and gives non-finite components.
    CVector Intersect(const CVector& a, const CVector& b) const;

    // The part of polygon on or in front of the plane, as a new polygon.
    CPolygon Clip(const CPolygon& polygon) const;

    // Divides polygon into the parts in front and behind. A point exactly on
    // the plane goes to the side of the edge that leaves it, never to both.
    // Either output may come back with fewer than three points.
    void Split(const CPolygon& polygon, CPolygon& front, CPolygon& back) const;
};

static_assert(sizeof(CPlane) == 4 * 4, "CPlane is copied as four floats");

// Distance and every normal component multiplied by -1.
CPlane operator-(const CPlane& plane);

// Side tests of a point. In front and behind are strict beyond POINT_EPSILON,
// so a point at exactly that distance counts as on the plane and on neither
// side.
inline bool operator>(const CVector& point, const CPlane& plane)
{
    return plane.DistanceTo(point) > static_cast<double>(POINT_EPSILON);
}
inline bool operator<(const CPlane& plane, const CVector& point) { return point > plane; }
inline bool operator<(const CVector& point, const CPlane& plane)
{
    return plane.DistanceTo(point) < -static_cast<double>(POINT_EPSILON);
}
inline bool operator>(const CPlane& plane, const CVector& point) { return point < plane; }

bool operator==(const CPlane& plane, const CVector& point);
inline bool operator==(const CVector& point, const CPlane& plane) { return plane == point; }
inline bool operator!=(const CPlane& plane, const CVector& point) { return !(plane == point); }
inline bool operator!=(const CVector& point, const CPlane& plane) { return !(plane == point); }
