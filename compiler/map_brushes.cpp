#include "compiler/map_brushes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <sstream>

namespace {

// A side's corner lies on its plane within this; a corner of the solid lies
// no further than this in front of any plane.
constexpr double CORNER_TOLERANCE = 0.01;

bool IsFinite(const CPlane& plane)
{
    return std::isfinite(plane.Distance) && std::isfinite(plane.Normal.x) &&
           std::isfinite(plane.Normal.y) && std::isfinite(plane.Normal.z);
}

// The plane of a side as the parser makes it: the importer hands it each
// number rounded to float, and a file triple a b c is the world (a, c, b).
CPlane SidePlane(const CImportSide& side)
{
    CVector points[3];
    for (int i = 0; i < 3; ++i) {
        const CMapTriple& p = side.Points[i];
        points[i] = CVector(static_cast<float>(p[0]), static_cast<float>(p[2]),
                            static_cast<float>(p[1]));
    }
    CPlane plane;
    plane.Set(points[0], points[1], points[2]);
    return plane;
}

bool IsKept(const CImportEntity& entity, const CMapImport& import)
{
    const char* pszClass = entity.Entity.Get("classname");
    return pszClass && std::any_of(import.KeptBrushes.begin(), import.KeptBrushes.end(),
                                   [&](const auto& kept) { return kept.first == pszClass; });
}

using CPoint = std::array<double, 3>;

CPoint Point(const CVector& v) { return {v.x, v.y, v.z}; }

CPoint CrossOf(const CPoint& a, const CPoint& b)
{
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

double DotOf(const CPoint& a, const CPoint& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

// Where three planes meet, or false when two of them are parallel.
bool Meet(const CPlane& p, const CPlane& q, const CPlane& r, CPoint* pOut)
{
    const CPoint n1 = Point(p.Normal), n2 = Point(q.Normal), n3 = Point(r.Normal);
    const CPoint c23 = CrossOf(n2, n3), c31 = CrossOf(n3, n1), c12 = CrossOf(n1, n2);
    const double det = DotOf(n1, c23);
    if (std::fabs(det) < 1e-9)
        return false;
    for (int i = 0; i < 3; ++i)
        (*pOut)[i] = -(p.Distance * c23[i] + q.Distance * c31[i] + r.Distance * c12[i]) / det;
    return true;
}

} // namespace

std::vector<CMapBrush> BrushesFromImport(const CMapImport& import)
{
    std::vector<CMapBrush> brushes;
    for (size_t e = 0; e < import.Entities.size(); ++e) {
        const CImportEntity& entity = import.Entities[e];
        if (!IsKept(entity, import))
            continue;
        for (size_t b = 0; b < entity.Brushes.size(); ++b) {
            CMapBrush brush;
            brush.Entity = static_cast<int32_t>(e);
            brush.Number = static_cast<int32_t>(b);
            brush.Line = entity.Brushes[b].Line;
            for (const CImportSide& side : entity.Brushes[b].Sides) {
                const CPlane plane = SidePlane(side);
                if (IsFinite(plane))
                    brush.Planes.push_back(plane);
            }
            brushes.push_back(std::move(brush));
        }
    }
    return brushes;
}

std::vector<CVector> BrushCorners(const CMapBrush& brush)
{
    std::vector<CVector> corners;
    const std::vector<CPlane>& planes = brush.Planes;
    const size_t count = planes.size();
    for (size_t i = 0; i < count; ++i) {
        for (size_t j = i + 1; j < count; ++j) {
            for (size_t k = j + 1; k < count; ++k) {
                CPoint p;
                if (!Meet(planes[i], planes[j], planes[k], &p))
                    continue;
                const bool bInside = std::all_of(planes.begin(), planes.end(), [&](const CPlane& q) {
                    return DotOf(Point(q.Normal), p) + q.Distance <= CORNER_TOLERANCE;
                });
                if (bInside)
                    corners.emplace_back(static_cast<float>(p[0]), static_cast<float>(p[1]),
                                         static_cast<float>(p[2]));
            }
        }
    }
    return corners;
}

bool BrushesBox(const std::vector<CMapBrush>& brushes, CVector* pMin, CVector* pMax)
{
    bool bAny = false;
    for (const CMapBrush& brush : brushes) {
        for (const CVector& c : BrushCorners(brush)) {
            const CVector& lo = bAny ? *pMin : c;
            const CVector& hi = bAny ? *pMax : c;
            *pMin = CVector(std::min(lo.x, c.x), std::min(lo.y, c.y), std::min(lo.z, c.z));
            *pMax = CVector(std::max(hi.x, c.x), std::max(hi.y, c.y), std::max(hi.z, c.z));
            bAny = true;
        }
    }
    return bAny;
}

double DistanceToBrush(const CMapBrush& brush, const CVector& point)
{
    double distance = 0.0;
    for (const CPlane& plane : brush.Planes)
        distance = std::max(distance, plane.DistanceTo(point));
    return distance;
}

bool IsInsideBrush(const CMapBrush& brush, const CVector& point, double depth)
{
    if (brush.Planes.empty())
        return false;
    return std::all_of(brush.Planes.begin(), brush.Planes.end(),
                       [&](const CPlane& plane) { return plane.DistanceTo(point) < -depth; });
}

std::string BrushName(const CMapBrush& brush)
{
    std::ostringstream text;
    if (brush.Entity != 0)
        text << "entity " << brush.Entity << " ";
    text << "brush " << brush.Number << " (line " << brush.Line << ")";
    return text.str();
}

std::string MapTextPoint(const CVector& point)
{
    // Tenths of a unit are all a designer needs; adding 0 turns -0 into 0.
    auto tenths = [](float v) { return std::round(static_cast<double>(v) * 10.0) / 10.0 + 0.0; };
    std::ostringstream text;
    text << tenths(point.x) << " " << tenths(point.z) << " " << tenths(point.y);
    return text.str();
}
