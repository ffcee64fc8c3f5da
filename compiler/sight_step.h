#pragma once
// The one rule by which every segment walk of the light's line of sight
// takes a piece of segment at a node, from the distances of its two ends to
// the node's plane rounded to float: an end within PLANE_EPSILON lies on the
// plane and goes the way of the other end.
#include "compiler/clip.h"
#include "geometry/vector.h"

#include <cstdint>

enum class EStep : uint8_t {
    Back,  // whole, behind
    Front, // whole, in front
    Cut,   // the ends lie on either side: a half goes each way
    Along  // both ends on the plane: it passes when either side passes it
};

inline EStep StepOf(float da, float db)
{
    const bool bAOn = da > -PLANE_EPSILON && da < PLANE_EPSILON;
    const bool bBOn = db > -PLANE_EPSILON && db < PLANE_EPSILON;
    if (bAOn && bBOn)
        return EStep::Along;
    if (bAOn)
        return db <= -PLANE_EPSILON ? EStep::Back : EStep::Front;
    if (bBOn)
        return da <= -PLANE_EPSILON ? EStep::Back : EStep::Front;
    // Both ends on one side (a distance that is not a number counts as in
    // front).
    if (da <= -PLANE_EPSILON ? !(db >= PLANE_EPSILON) : !(db <= -PLANE_EPSILON))
        return da <= -PLANE_EPSILON ? EStep::Back : EStep::Front;
    return EStep::Cut;
}

// The halves of a cut piece from a to b, da being a's distance as StepOf
// took it: the half behind runs from the end behind to the crossing, the
// half in front from the crossing to the other end.
struct CHalves {
    CVector Behind;
    CVector Crossing;
    CVector Ahead;
};

inline CHalves CutHalves(const CPlane& plane, const CVector& a, const CVector& b, float da)
{
    CHalves halves;
    IntersectEdge(plane, &a, &b, &halves.Crossing);
    const bool bABehind = da <= -PLANE_EPSILON;
    halves.Behind = bABehind ? a : b;
    halves.Ahead = bABehind ? b : a;
    return halves;
}
