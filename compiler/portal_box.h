#pragma once
// The box round a portal fragment and what it tells of the fragment's side
// of a plane without looking at the vertices: the portal stage's quick side
// test.
#include "compiler/clip.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

// How far a box must clear a band edge before the box alone answers a side
// test of its own polygon. The distance of a vertex inside differs from the
// box's bound only by the rounding of a few double operations, far below
// this.
constexpr double BOX_MARGIN = 1e-3;

// How far a box must clear a band edge before the pieces that later cuts
// make of its polygon count as surely on that side too. A crossing vertex
// strays from its edge by less than 1e-3, so this allows for a hundred cuts
// in a row.
constexpr double SURE_MARGIN = 0.1;

// The lowest and highest position along each axis.
struct CPortalBox {
    float Low[3];
    float High[3];
};

inline CPortalBox PolygonBox(const CVertex* pVertices, size_t count)
{
    CPortalBox box{{pVertices[0].Position.x, pVertices[0].Position.y, pVertices[0].Position.z},
                   {pVertices[0].Position.x, pVertices[0].Position.y, pVertices[0].Position.z}};
    for (size_t i = 1; i < count; ++i) {
        const float p[3] = {pVertices[i].Position.x, pVertices[i].Position.y,
                            pVertices[i].Position.z};
        for (int axis = 0; axis < 3; ++axis) {
            box.Low[axis] = std::min(box.Low[axis], p[axis]);
            box.High[axis] = std::max(box.High[axis], p[axis]);
        }
    }
    return box;
}

// The lowest and highest distance from a plane of a point in the box.
struct CBoxRange {
    double Low;
    double High;
};

inline CBoxRange BoxRange(const CPlane& plane, const CPortalBox& box)
{
    const double normal[3] = {plane.Normal.x, plane.Normal.y, plane.Normal.z};
    double centre = plane.Distance;
    double reach = 0;
    for (int axis = 0; axis < 3; ++axis) {
        centre += normal[axis] * ((double(box.Low[axis]) + box.High[axis]) * 0.5);
        reach += std::fabs(normal[axis]) * ((double(box.High[axis]) - box.Low[axis]) * 0.5);
    }
    return {centre - reach, centre + reach};
}

// FACE_FRONT or FACE_BACK when the range, widened by margin, lies wholly
// beyond the band on that side, FACE_ON when it lies wholly inside, and
// FACE_SPANNING when only the vertices can tell.
inline int32_t BoxSide(const CBoxRange& range, double margin)
{
    // A NaN anywhere fails every comparison and leaves the vertices to decide.
    const double low = range.Low - margin;
    const double high = range.High + margin;
    if (low > PLANE_EPSILON)
        return FACE_FRONT;
    if (high < -PLANE_EPSILON)
        return FACE_BACK;
    if (low > -PLANE_EPSILON && high < PLANE_EPSILON)
        return FACE_ON;
    return FACE_SPANNING;
}
