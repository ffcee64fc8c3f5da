#include "compiler/start_place.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

// The brush whose plane lies nearest to point, and that distance.
const CMapBrush* NearestPlane(const std::vector<CMapBrush>& brushes, const CVector& point,
                              double* pDistance)
{
    const CMapBrush* pNearest = nullptr;
    *pDistance = std::numeric_limits<double>::infinity();
    for (const CMapBrush& brush : brushes) {
        for (const CPlane& plane : brush.Planes) {
            const double distance = std::fabs(plane.DistanceTo(point));
            if (distance < *pDistance) {
                *pDistance = distance;
                pNearest = &brush;
            }
        }
    }
    return pNearest;
}

const CMapBrush* BrushHolding(const std::vector<CMapBrush>& brushes, const CVector& point)
{
    for (const CMapBrush& brush : brushes) {
        if (IsInsideBrush(brush, point, 0.0))
            return &brush;
    }
    return nullptr;
}

// The ways a start may move: along an axis, then across two axes, then
// across all three, since a start may lie on the planes of a corner.
std::vector<CVector> MoveDirections()
{
    std::vector<CVector> directions;
    for (int axes = 1; axes <= 3; ++axes) {
        for (int code = 0; code < 27; ++code) {
            const int d[3] = {code % 3 - 1, code / 3 % 3 - 1, code / 9 - 1};
            if (std::abs(d[0]) + std::abs(d[1]) + std::abs(d[2]) == axes)
                directions.emplace_back(static_cast<float>(d[0]), static_cast<float>(d[1]),
                                        static_cast<float>(d[2]));
        }
    }
    return directions;
}

// A point near start clear of every plane and in no brush; false when none
// of the tries is.
bool MoveOffPlanes(const std::vector<CMapBrush>& brushes, const CVector& start, CVector* pOut)
{
    const std::vector<CVector> directions = MoveDirections();
    for (const float step : {1.0f, 2.0f, 4.0f, 8.0f}) {
        for (const CVector& direction : directions) {
            const CVector tried = start + direction * step;
            double distance = 0.0;
            NearestPlane(brushes, tried, &distance);
            if (distance >= START_CLEARANCE && !BrushHolding(brushes, tried)) {
                *pOut = tried;
                return true;
            }
        }
    }
    return false;
}

} // namespace

CStartPlace PlaceStart(const std::vector<CMapBrush>& brushes, const CVector& start)
{
    CStartPlace result;
    result.Start = start;
    const bool bAny = BrushesBox(brushes, &result.Min, &result.Max);

    double distance = 0.0;
    const CMapBrush* pNearest = NearestPlane(brushes, start, &distance);
    if (pNearest && distance < PLANE_EPSILON) {
        result.pBrush = pNearest;
        result.Place = MoveOffPlanes(brushes, start, &result.Start) ? EStartPlace::Moved
                                                                     : EStartPlace::OnPlane;
        if (result.Place == EStartPlace::OnPlane)
            return result;
    }
    if (const CMapBrush* pHolder = BrushHolding(brushes, result.Start)) {
        result.Place = EStartPlace::InsideBrush;
        result.pBrush = pHolder;
        return result;
    }
    const CVector& p = result.Start;
    if (bAny && (p.x < result.Min.x || p.y < result.Min.y || p.z < result.Min.z ||
                 p.x > result.Max.x || p.y > result.Max.y || p.z > result.Max.z))
        result.Place = EStartPlace::OutsideMap;
    return result;
}
