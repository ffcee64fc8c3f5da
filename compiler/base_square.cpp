#include "compiler/base_square.h"

#include <algorithm>
#include <cmath>

namespace {

// Corners closer than this to a plane belong to its side.
constexpr double SIDE_TOLERANCE = 0.1;

// The half-axes of a plane's square of size 1: the square is made on the
// parallel plane through the origin, so its corners are -a-b, -a+b, a+b,
// a-b exactly. a and b are perpendicular to the normal and of one length.
void SquareAxes(const CPlane& plane, CVector* pA, CVector* pB)
{
    CPlane through(plane.Normal, 0.0f);
    CLeafFace square;
    MakeBaseFace(1.0f, through, &square);
    *pA = (square.pVertices[2].Position - square.pVertices[1].Position) * 0.5f;
    *pB = (square.pVertices[1].Position - square.pVertices[0].Position) * 0.5f;
    FreeFace(&square);
}

} // namespace

double BrushReach(const CMapBrush& brush, const CVector& origin)
{
    const std::vector<CVector> corners = BrushCorners(brush);
    double reach = 0.0;
    for (const CPlane& plane : brush.Planes) {
        CVector a, b;
        SquareAxes(plane, &a, &b);
        const double lengthSquared = a.LengthSquared();
        if (lengthSquared <= 0.0)
            continue;
        // The square's centre, the plane's point nearest the origin, lies
        // on the normal: only the offsets along a and b count.
        for (const CVector& corner : corners) {
            if (std::fabs(plane.DistanceTo(corner)) > SIDE_TOLERANCE)
                continue;
            const CVector offset = corner - origin;
            reach = std::max({reach, std::fabs(Dot(offset, a)) / lengthSquared,
                              std::fabs(Dot(offset, b)) / lengthSquared});
        }
    }
    return reach;
}
