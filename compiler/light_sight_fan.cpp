#include "compiler/light_sight.h"
#include "compiler/sight_step.h"
#include "compiler/vector_clones.h"

#include <algorithm>
#include <bit>
#include <cstddef>

// A walk's answer does not depend on the order its pieces are taken in (a
// cut segment sees when both halves do), and each piece's ends come from its
// own segment alone. So the segments of a fan go down the tree together: at
// each node the pieces that enter it are measured in one loop, go on
// together while they all go one way, and part only where they do. A lane
// is out once a piece of it meets solid. Pieces found lying along a plane
// (one passes when either side passes it) go on from there as a fan of
// their own, behind and then in front; a lone one is walked on its own.
// Given the skips of the boxes that hold the fan, a fan that starts or parts
// goes straight on to the first node below where its pieces may part.

namespace {

using CFanStep = CSightTree::CFanStep;
static_assert(CSightTree::FAN_SIZE <= 32, "a fan's lanes are the bits of a 32-bit word");

// Lane `lane`'s piece, from a to b.
void SetPiece(CFanStep* pTo, int32_t lane, const CVector& a, const CVector& b)
{
    pTo->A[0][lane] = a.x;
    pTo->A[1][lane] = a.y;
    pTo->A[2][lane] = a.z;
    pTo->B[0][lane] = b.x;
    pTo->B[1][lane] = b.y;
    pTo->B[2][lane] = b.z;
}

// A lane's end in the columns `end` (A or B), as a point.
CVector EndOf(const double (&end)[3][CSightTree::FAN_SIZE], int32_t lane)
{
    return CVector(static_cast<float>(end[0][lane]), static_cast<float>(end[1][lane]),
                   static_cast<float>(end[2][lane]));
}

// The pieces of a step at the node of plane `plane` (normal and
// distance), for both children: *pBack gets every lane's piece as it stands
// and the step keeps its own, except that a cut lane (way 3) gets its half
// behind in *pBack and keeps its half in front. Every lane is worked out,
// as CutHalves does, and the cut ones are kept.
VECTOR_CLONES void CutLanes(const double* plane, const float* pDa, const int32_t* pWays,
                            CFanStep* __restrict pStep, CFanStep* __restrict pBack)
{
    constexpr int32_t n = CSightTree::FAN_SIZE;
    float t[n];
    for (int32_t k = 0; k < n; ++k) {
        const float da = static_cast<float>(pStep->A[0][k] * plane[0] + pStep->A[1][k] * plane[1] +
                                            pStep->A[2][k] * plane[2]);
        const float db = static_cast<float>(pStep->B[0][k] * plane[0] + pStep->B[1][k] * plane[1] +
                                            pStep->B[2][k] * plane[2]);
        t[k] = static_cast<float>((-plane[3] - da) / (static_cast<double>(db) - da));
    }
    for (int32_t axis = 0; axis < 3; ++axis) {
        double* const pA = pStep->A[axis];
        double* const pB = pStep->B[axis];
        double* const pBackA = pBack->A[axis];
        double* const pBackB = pBack->B[axis];
        for (int32_t k = 0; k < n; ++k) {
            const double a = pA[k];
            const double b = pB[k];
            const float run = static_cast<float>(b - a);
            const float part = static_cast<float>(static_cast<double>(run) * t[k]);
            const double crossing = static_cast<float>(a + part);
            const bool bCut = pWays[k] == 3;
            const bool bABehind = pDa[k] <= -PLANE_EPSILON;
            pBackA[k] = bCut && !bABehind ? b : a;
            pBackB[k] = bCut ? crossing : b;
            pA[k] = bCut ? crossing : a;
            pB[k] = bCut && !bABehind ? a : b;
        }
    }
}

} // namespace

uint32_t CSightTree::SeesFan(int32_t node, const CVector& from, const CVector* pTo, int32_t count,
                             CFanStep* pFan, CStep* pStack, CSkips* pSkips) const
{
    pFan[0].Node = SkipFrom(pSkips, node);
    pFan[0].Lanes = count >= 32 ? ~0u : (1u << count) - 1u; // a shift by 32 is undefined
    for (int32_t k = 0; k < count; ++k)
        SetPiece(&pFan[0], k, from, pTo[k]);
    return WalkFan(pFan, {pStack, pFan + StackSize(), pSkips});
}

// The lanes of the step in pFan[0] that pass from its node, its walk taking
// the rest of pFan.
uint32_t CSightTree::WalkFan(CFanStep* pFan, const CFanWalk& walk) const
{
    const uint32_t all = pFan[0].Lanes;
    uint32_t out = 0; // lanes blocked
    int32_t top = 1;
    while (top > 0 && out != all) {
        CFanStep& step = pFan[top - 1];
        step.Lanes &= ~out;
        if (step.Node < 0 || step.Lanes == 0) {
            if (step.Node == SOLID)
                out |= step.Lanes;
            --top;
            continue;
        }
        out |= Part(&step, &pFan[top], walk);
        if (pFan[top].Lanes != 0)
            ++top;
    }
    return all & ~out;
}

// The walk of a fan's step down from its node: while its pieces all go one
// way it follows them. Where they part, those that go whole behind and the
// halves behind of those that are cut go to *pBack (for the back child),
// the rest stay in the step for the front child; the pieces that lie along
// the plane there are walked from there (AlongSees) and dropped. Returns
// the lanes that those walks found blocked. Stops at once when the step is
// at a leaf or empty; *pBack is left empty unless it parts.
VECTOR_CLONES uint32_t CSightTree::Part(CFanStep* pStep, CFanStep* pBack,
                                        const CFanWalk& walk) const
{
    CFanStep& step = *pStep;
    pBack->Lanes = 0;
    // Every column is measured, so that the loops have a fixed length; the
    // words of `live` mask the lanes without a piece.
    int32_t live[FAN_SIZE];
    for (int32_t k = 0; k < FAN_SIZE; ++k)
        live[k] = (step.Lanes >> k) & 1u ? -1 : 0;
    alignas(64) float da[FAN_SIZE];
    alignas(64) float db[FAN_SIZE];
    alignas(64) int32_t ways[FAN_SIZE];
    while (step.Node >= 0 && step.Lanes != 0) {
        const CNode& inner = Nodes[static_cast<size_t>(step.Node)];
        const double* p = inner.Exact;
        for (int32_t k = 0; k < FAN_SIZE; ++k) {
            da[k] = static_cast<float>(step.A[0][k] * p[0] + step.A[1][k] * p[1] +
                                       step.A[2][k] * p[2] + p[3]);
            db[k] = static_cast<float>(step.B[0][k] * p[0] + step.B[1][k] * p[1] +
                                       step.B[2][k] * p[2] + p[3]);
        }
        // With both distances numbers, a piece goes behind (way 1) when an
        // end is behind and none in front, in front (2) likewise, is cut (3)
        // when one end is behind and the other in front, and lies along the
        // plane (0) when both are on it. Way 4 and up: a distance that is not
        // a number, for StepOf.
        int32_t notBack = 0;
        int32_t notFront = 0;
        for (int32_t k = 0; k < FAN_SIZE; ++k) {
            const int32_t behind = (da[k] <= -PLANE_EPSILON) | (db[k] <= -PLANE_EPSILON);
            const int32_t ahead = (da[k] >= PLANE_EPSILON) | (db[k] >= PLANE_EPSILON);
            const int32_t odd = (da[k] != da[k]) | (db[k] != db[k]);
            ways[k] = behind | ahead << 1 | odd << 2;
            notBack |= (ways[k] ^ 1) & live[k];
            notFront |= (ways[k] ^ 2) & live[k];
        }
        if (notBack == 0 || notFront == 0) {
            step.Node = notBack == 0 ? inner.Back : inner.Front;
            continue;
        }
        return Split(&step, pBack, da, db, ways, walk);
    }
    return 0;
}

// The parting of a step's pieces at its node, by their ways as Part found
// them: the lanes of each way are found for all columns at once; a distance
// that is not a number is settled by StepOf, lane by lane.
VECTOR_CLONES uint32_t CSightTree::Split(CFanStep* pStep, CFanStep* pBack, const float* pDa,
                                         const float* pDb, const int32_t* pWays,
                                         const CFanWalk& walk) const
{
    CFanStep& step = *pStep;
    const int32_t n = step.Node;
    const CNode& inner = Nodes[static_cast<size_t>(n)];
    CutLanes(inner.Exact, pDa, pWays, &step, pBack);
    pBack->Node = SkipFrom(walk.pSkips, inner.Back);
    step.Node = SkipFrom(walk.pSkips, inner.Front);
    uint32_t back = 0;
    uint32_t front = 0;
    uint32_t along = 0;
    uint32_t odd = 0;
    for (int32_t k = 0; k < FAN_SIZE; ++k) {
        const int32_t way = pWays[k];
        back |= static_cast<uint32_t>(way == 1 || way == 3) << k;
        front |= static_cast<uint32_t>(way == 2 || way == 3) << k;
        along |= static_cast<uint32_t>(way == 0) << k;
        odd |= static_cast<uint32_t>(way > 3) << k;
    }
    const uint32_t lanes = step.Lanes;
    back &= lanes;
    front &= lanes;
    along &= lanes;
    for (uint32_t left = odd & lanes; left != 0; left &= left - 1u) {
        const int32_t k = std::countr_zero(left);
        const uint32_t bit = 1u << k;
        const EStep way = StepOf(pDa[k], pDb[k]);
        if (way == EStep::Back) {
            back |= bit;
        } else if (way == EStep::Front) {
            front |= bit;
        } else if (way == EStep::Cut) {
            const CHalves halves = CutHalves(Planes[static_cast<size_t>(n)], EndOf(step.A, k),
                                             EndOf(step.B, k), pDa[k]);
            SetPiece(pBack, k, halves.Behind, halves.Crossing);
            SetPiece(&step, k, halves.Crossing, halves.Ahead);
            back |= bit;
            front |= bit;
        } else {
            along |= bit;
        }
    }
    const uint32_t blocked = along & ~AlongSees(step, along, n, walk);
    pBack->Lanes = back;
    step.Lanes = front;
    return blocked;
}

// The lanes of `along`, whose pieces in the step lie along the plane of
// node n, that pass from there: a piece along a plane passes when it passes
// on either side. Several go on together, behind and then (those blocked
// there) in front, as a fan in pAlong; else each is walked on its own.
uint32_t CSightTree::AlongSees(const CFanStep& step, uint32_t along, int32_t n,
                               const CFanWalk& walk) const
{
    CStep* const pStack = walk.pStack;
    CFanStep* const pAlong = walk.pAlong;
    if (!pAlong || std::popcount(along) < 2) {
        uint32_t sees = 0;
        for (uint32_t left = along; left != 0; left &= left - 1u) {
            const int32_t k = std::countr_zero(left);
            if (Sees(n, EndOf(step.A, k), EndOf(step.B, k), pStack))
                sees |= 1u << k;
        }
        return sees;
    }
    const CNode& inner = Nodes[static_cast<size_t>(n)];
    uint32_t sees = 0;
    for (const int32_t child : {inner.Back, inner.Front}) {
        const uint32_t lanes = along & ~sees;
        if (lanes == 0)
            break;
        CFanStep& start = pAlong[0];
        std::copy(&step.A[0][0], &step.A[0][0] + 3 * FAN_SIZE, &start.A[0][0]);
        std::copy(&step.B[0][0], &step.B[0][0] + 3 * FAN_SIZE, &start.B[0][0]);
        start.Node = SkipFrom(walk.pSkips, child);
        start.Lanes = lanes;
        sees |= WalkFan(pAlong, {pStack, nullptr, walk.pSkips});
    }
    return sees;
}
