#include "compiler/light_sight.h"

#include "compiler/clip.h"
#include "compiler/light.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

constexpr double BAND = static_cast<double>(PLANE_EPSILON);
// Slack on a box's distance range: the segment walk rounds each distance,
// computed in double, to float; the range here is exact to far less.
constexpr double RANGE_SLACK = 1e-4;
// Bounds of one BoxesInSight call: pending pairs and pairs looked at.
constexpr int32_t BOX_STACK_SIZE = 48;
constexpr int32_t BOX_WORK_LIMIT = 256;
// LineOfSight's own stack; deeper trees fall back to a heap stack.
constexpr int32_t SIGHT_STACK_SIZE = 64;

// The lowest and highest signed distance of a box's points from a plane.
void DistanceRange(const CPlane& plane, const CSightBox& box, double* pLow, double* pHigh)
{
    const double normal[3] = {plane.Normal.x, plane.Normal.y, plane.Normal.z};
    double low = plane.Distance;
    double high = plane.Distance;
    for (int k = 0; k < 3; ++k) {
        const bool bUp = normal[k] >= 0.0;
        low += normal[k] * (bUp ? box.Low[k] : box.High[k]);
        high += normal[k] * (bUp ? box.High[k] : box.Low[k]);
    }
    *pLow = low;
    *pHigh = high;
}

// Which sides of a plane a box's points may be classified on by the segment
// walk: behind (at -0.2 or less), on (strictly within the band), in front.
struct CSides {
    bool bBack;
    bool bOn;
    bool bFront;
    double Low;
    double High;
};

CSides SidesOf(const CPlane& plane, const CSightBox& box)
{
    CSides sides;
    DistanceRange(plane, box, &sides.Low, &sides.High);
    sides.bBack = sides.Low <= -BAND + RANGE_SLACK;
    sides.bFront = sides.High >= BAND - RANGE_SLACK;
    sides.bOn = sides.Low < BAND + RANGE_SLACK && sides.High > -BAND - RANGE_SLACK;
    return sides;
}

double LargestCoordinate(const CSightBox& box)
{
    double largest = 0.0;
    for (int k = 0; k < 3; ++k)
        largest = std::max({largest, std::abs(box.Low[k]), std::abs(box.High[k])});
    return largest;
}

// A box round the crossing points of the segments from a box behind the
// plane to a box in front of it. A crossing lies at the fraction t = u / (u
// + v) of its segment, u and v the distances of its ends from the plane;
// t is bounded from the boxes' distance ranges and the point from t and the
// boxes, axis by axis. The walk computes t from distances rounded to float
// and the point in float: both bounds grow by what that rounding can do.
CSightBox CrossingBox(const CPlane& plane, const CSightBox& back, const CSides& backSides,
                      const CSightBox& front, const CSides& frontSides)
{
    CSightBox hull = back;
    hull.Add(front);
    const double largest = LargestCoordinate(hull);
    // A distance rounded to float is off by 2^-24 of the dot product at
    // most, which is below twice the largest coordinate; t and the point
    // each take a few such roundings.
    const double rounding = 4e-6 * largest + 1e-4;
    const double uLow = std::max(BAND, -backSides.High);
    const double uHigh = std::max(uLow, -backSides.Low);
    const double vLow = std::max(BAND, frontSides.Low);
    const double vHigh = std::max(vLow, frontSides.High);
    const double drift = 4e-7 * largest / (2.0 * BAND);
    const double tLow = std::max(0.0, uLow / (uLow + vHigh) - drift);
    const double tHigh = std::min(1.0, uHigh / (uHigh + vLow) + drift);
    CSightBox box;
    for (int k = 0; k < 3; ++k) {
        double low = 1e300;
        double high = -1e300;
        for (const double t : {tLow, tHigh}) {
            for (const double a : {back.Low[k], back.High[k]}) {
                for (const double b : {front.Low[k], front.High[k]}) {
                    const double at = (1.0 - t) * a + t * b;
                    low = std::min(low, at);
                    high = std::max(high, at);
                }
            }
        }
        box.Low[k] = low - rounding;
        box.High[k] = high + rounding;
    }
    // On a plane across one axis the crossing lies at that axis' value, give
    // or take the rounding.
    const double normal[3] = {plane.Normal.x, plane.Normal.y, plane.Normal.z};
    const int nonZero = (normal[0] != 0.0) + (normal[1] != 0.0) + (normal[2] != 0.0);
    if (nonZero == 1) {
        const int k = normal[0] != 0.0 ? 0 : normal[1] != 0.0 ? 1 : 2;
        const double at = -static_cast<double>(plane.Distance) / normal[k];
        box.Low[k] = std::max(box.Low[k], at - rounding);
        box.High[k] = std::min(box.High[k], at + rounding);
    }
    return box;
}

bool IsFinite(const CSightBox& box)
{
    for (int k = 0; k < 3; ++k) {
        if (!std::isfinite(box.Low[k]) || !std::isfinite(box.High[k]))
            return false;
    }
    return true;
}

} // namespace

void CSightBox::Add(const CVector& p)
{
    const double q[3] = {p.x, p.y, p.z};
    for (int k = 0; k < 3; ++k) {
        Low[k] = std::min(Low[k], q[k]);
        High[k] = std::max(High[k], q[k]);
    }
}

void CSightBox::Add(const CSightBox& box)
{
    for (int k = 0; k < 3; ++k) {
        Low[k] = std::min(Low[k], box.Low[k]);
        High[k] = std::max(High[k], box.High[k]);
    }
}

bool WalkSight(const CBuildNode* pNode, const CVector& from, const CVector& to,
               CSightStep* pStack, int32_t capacity, bool* pSees)
{
    int32_t top = 0;
    CVector a = from;
    CVector b = to;
    for (;;) {
        // Down to a leaf or solid; the second half of a cut segment, or the
        // other side of a segment lying along a plane, waits on the stack.
        bool bSees = false;
        for (;;) {
            if (!pNode) {
                bSees = false; // a missing child is solid
                break;
            }
            if (pNode->pFaces) {
                bSees = pNode->bVisited;
                break;
            }
            const float da = static_cast<float>(pNode->Plane.DistanceTo(a));
            const float db = static_cast<float>(pNode->Plane.DistanceTo(b));
            const bool bAOn = da > -PLANE_EPSILON && da < PLANE_EPSILON;
            const bool bBOn = db > -PLANE_EPSILON && db < PLANE_EPSILON;
            if (bAOn && bBOn) {
                if (top == capacity)
                    return false;
                pStack[top++] = {pNode->pFront, a, b, true};
                pNode = pNode->pBack;
            } else if (bAOn) {
                pNode = db <= -PLANE_EPSILON ? pNode->pBack : pNode->pFront;
            } else if (bBOn) {
                pNode = da <= -PLANE_EPSILON ? pNode->pBack : pNode->pFront;
            } else if (da <= -PLANE_EPSILON ? !(db >= PLANE_EPSILON) : !(db <= -PLANE_EPSILON)) {
                // Both ends on one side (a distance that is not a number
                // counts as in front).
                pNode = da <= -PLANE_EPSILON ? pNode->pBack : pNode->pFront;
            } else {
                if (top == capacity)
                    return false;
                CVector crossing;
                IntersectEdge(pNode->Plane, &a, &b, &crossing);
                // The back half first, from its end behind the plane; the
                // front half runs from the crossing to the end in front.
                if (da <= -PLANE_EPSILON) {
                    pStack[top++] = {pNode->pFront, crossing, b, false};
                    b = crossing;
                } else {
                    pStack[top++] = {pNode->pFront, crossing, a, false};
                    a = b;
                    b = crossing;
                }
                pNode = pNode->pBack;
            }
        }
        // Up to the next test that can still change the answer: the second
        // half of a cut passes only if the first did, an alternative is
        // needed only if the walk before it failed.
        for (;;) {
            if (top == 0) {
                *pSees = bSees;
                return true;
            }
            const CSightStep& step = pStack[--top];
            if (step.bAlternative != bSees) {
                pNode = step.pNode;
                a = step.From;
                b = step.To;
                break;
            }
        }
    }
}

bool LineOfSight(const CBuildNode* pNode, const CVector* pFrom, const CVector* pTo)
{
    if (!pFrom || !pTo)
        return false;
    CSightStep stack[SIGHT_STACK_SIZE];
    bool bSees = false;
    if (WalkSight(pNode, *pFrom, *pTo, stack, SIGHT_STACK_SIZE, &bSees))
        return bSees;
    // A very deep tree: grow the stack until it holds the walk.
    std::vector<CSightStep> heap(static_cast<size_t>(SIGHT_STACK_SIZE) * 4);
    while (!WalkSight(pNode, *pFrom, *pTo, heap.data(), static_cast<int32_t>(heap.size()),
                      &bSees))
        heap.resize(heap.size() * 4);
    return bSees;
}

bool BoxesInSight(const CBuildNode* pRoot, const CSightBox& a, const CSightBox& b)
{
    if (a.IsEmpty() || b.IsEmpty() || !IsFinite(a) || !IsFinite(b))
        return false;
    // Pairs of end boxes still to walk, each with the node it enters. The
    // segment walk of any segment between the boxes enters no node that this
    // walk does not, so if every node entered here is a reached leaf or leads
    // on to one, every such segment sees.
    struct CPending {
        const CBuildNode* pNode;
        CSightBox A;
        CSightBox B;
    };
    CPending stack[BOX_STACK_SIZE];
    int32_t top = 0;
    int32_t work = 0;
    auto push = [&](const CBuildNode* pNode, const CSightBox& p, const CSightBox& q) {
        if (!pNode || top == BOX_STACK_SIZE)
            return false;
        if (pNode->pFaces)
            return pNode->bVisited; // a leaf: nothing more to walk
        stack[top++] = {pNode, p, q};
        return true;
    };
    if (!push(pRoot, a, b))
        return false;
    while (top > 0) {
        if (++work > BOX_WORK_LIMIT)
            return false;
        const CPending pending = stack[--top];
        const CPlane& plane = pending.pNode->Plane;
        const CSides p = SidesOf(plane, pending.A);
        const CSides q = SidesOf(plane, pending.B);
        const CBuildNode* pBack = pending.pNode->pBack;
        const CBuildNode* pFront = pending.pNode->pFront;
        // Whole segments go behind when one end is behind and the other not
        // in front, in front when one end is in front and the other not
        // behind. A segment with both ends on the plane sees when either
        // side passes it: it is taken in front only, which proves enough.
        if (((p.bBack && (q.bOn || q.bBack)) || (p.bOn && q.bBack)) &&
            !push(pBack, pending.A, pending.B))
            return false;
        if ((p.bOn || p.bFront) && (q.bOn || q.bFront) && !push(pFront, pending.A, pending.B))
            return false;
        // Cut segments: the half behind runs from the end behind to the
        // crossing, the half in front from the crossing to the end in front.
        if (p.bBack && q.bFront) {
            const CSightBox x = CrossingBox(plane, pending.A, p, pending.B, q);
            if (!push(pBack, pending.A, x) || !push(pFront, x, pending.B))
                return false;
        }
        if (p.bFront && q.bBack) {
            const CSightBox x = CrossingBox(plane, pending.B, q, pending.A, p);
            if (!push(pBack, pending.B, x) || !push(pFront, x, pending.A))
                return false;
        }
    }
    return true;
}
