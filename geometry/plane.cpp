#include "geometry/plane.h"

#include <cmath>

CPlane::CPlane(const CVector& normal, float distance)
    : Distance(distance), Normal(Normalized(normal))
{
}

CPlane::CPlane(const CVector& p0, const CVector& p1, const CVector& p2)
{
    Set(p0, p1, p2);
}

CPlane::CPlane(const CTriangle& triangle)
{
    Set(triangle.Vertices[0].Position, triangle.Vertices[1].Position,
        triangle.Vertices[2].Position);
}

CPlane::CPlane(const CVector& point, const CVector& normal)
    : Distance(0.0f), Normal(Normalized(normal))
{
    Distance = static_cast<float>(-Dot(Normal, point));
}

CPlane CPlane::Set(const CVector& p0, const CVector& p1, const CVector& p2)
{
    Normal = Normalized(Cross(p1 - p0, p2 - p0));
    Distance = static_cast<float>(-Dot(Normal, p0));
    return *this;
}

CVector CPlane::Intersect(const CVector& a, const CVector& b) const
{
    const float da = static_cast<float>(Dot(a, Normal));
    const float db = static_cast<float>(Dot(b, Normal));
    const float t = static_cast<float>((-static_cast<double>(Distance) - da) /
                                       (static_cast<double>(db) - da));
    return a + (b - a) * t;
}

CPolygon CPlane::Clip(const CPolygon& polygon) const
{
    const int nCount = polygon.GetCount();
    CPolygon result(nCount);
    for (int i = 0; i < nCount; ++i) {
        const CVector& p0 = polygon.pPoints[i];
        const CVector& p1 = polygon.pPoints[(i + 1) % nCount];
        const float d0 = static_cast<float>(DistanceTo(p0));
        const float d1 = static_cast<float>(DistanceTo(p1));
        if (d0 >= 0.0f && d1 >= 0.0f) {
            result.Add(p0);
        } else if (d0 < 0.0f && d1 < 0.0f) {
            // Edge wholly behind: nothing of it is kept.
        } else {
            const CVector crossing = Intersect(p0, p1);
            if (d0 >= 0.0f)
                result.Add(p0);
            result.Add(crossing);
        }
    }
    return result;
}

void CPlane::Split(const CPolygon& polygon, CPolygon& front, CPolygon& back) const
{
    // The outputs are emptied first; work from a copy when one of them is the
    // input itself.
    if (&polygon == &front || &polygon == &back) {
        const CPolygon copy(polygon);
        Split(copy, front, back);
        return;
    }

    const int nCount = polygon.GetCount();
    front.Free();
    back.Free();
    front.Resize(nCount >> 1);
    back.Resize(nCount >> 1);

    for (int i = 0; i < nCount; ++i) {
        const CVector& p0 = polygon.pPoints[i];
        const CVector& p1 = polygon.pPoints[(i + 1) % nCount];
        const float d0 = static_cast<float>(DistanceTo(p0));
        const float d1 = static_cast<float>(DistanceTo(p1));
        if (d0 >= 0.0f && d1 >= 0.0f) {
            front.Add(p0);
        } else if (d0 <= 0.0f && d1 <= 0.0f) {
            back.Add(p0);
        } else {
            // The edge crosses, so p0 lies strictly on one side.
            const CVector crossing = Intersect(p0, p1);
            if (d0 > 0.0f)
                front.Add(p0);
            if (d0 < 0.0f)
                back.Add(p0);
            front.Add(crossing);
            back.Add(crossing);
        }
    }
}

CPlane operator-(const CPlane& plane)
{
    CPlane result;
    result.Distance = static_cast<float>(static_cast<double>(plane.Distance) * -1.0);
    result.Normal = -plane.Normal;
    return result;
}

bool operator==(const CPlane& plane, const CVector& point)
{
    return std::fabs(plane.DistanceTo(point)) <= static_cast<double>(POINT_EPSILON);
}
