#include "compiler/light_sight.h"
#include "compiler/sight_step.h"

#include <cstddef>

// A walk's answer does not depend on the order its pieces are taken in (a
// cut segment sees when both halves do), and each piece's ends come from its
// own segment alone. So the segments of a fan go down the tree together: at
// each node the pieces that enter it are measured in one loop, go on
// together while they all go one way, and part only where they do. A lane
// is out once a piece of it meets solid. A piece found lying along a plane
// (it passes when either side passes it) is walked on its own from there.

// The loops of a fan's step run eight or four lanes at a time where the
// processor can (512-bit or 256-bit vectors); the sums are the same,
// operation for operation, since the build never fuses a multiply and an
// add.
#if defined(__x86_64__) && defined(__GNUC__)
#define FAN_CLONES __attribute__((target_clones("arch=x86-64-v4", "avx2", "default")))
#else
#define FAN_CLONES
#endif

namespace {

using CFanStep = CSightTree::CFanStep;
static_assert(CSightTree::FAN_SIZE <= 32, "a fan's lanes are the bits of a 32-bit word");

void Put(CFanStep* pTo, uint8_t lane, const CVector& a, const CVector& b)
{
    const int32_t n = pTo->Count++;
    pTo->Lane[n] = lane;
    pTo->A[0][n] = a.x;
    pTo->A[1][n] = a.y;
    pTo->A[2][n] = a.z;
    pTo->B[0][n] = b.x;
    pTo->B[1][n] = b.y;
    pTo->B[2][n] = b.z;
}

// Piece k of `from` put in *pTo as it stands (pTo may be from itself, as
// long as no piece after k has been written).
void Move(CFanStep* pTo, const CFanStep& from, int32_t k)
{
    const int32_t n = pTo->Count++;
    pTo->Lane[n] = from.Lane[k];
    for (int32_t axis = 0; axis < 3; ++axis) {
        pTo->A[axis][n] = from.A[axis][k];
        pTo->B[axis][n] = from.B[axis][k];
    }
}

// Piece k's end in the columns `end` (A or B), as a point.
CVector EndOf(const double (&end)[3][CSightTree::FAN_SIZE], int32_t k)
{
    return CVector(static_cast<float>(end[0][k]), static_cast<float>(end[1][k]),
                   static_cast<float>(end[2][k]));
}

// Keeps the pieces whose lanes are not in `out`, in order.
void DropLanes(CFanStep* pStep, uint32_t out)
{
    const int32_t count = pStep->Count;
    pStep->Count = 0;
    for (int32_t k = 0; k < count; ++k) {
        if (!(out & (1u << pStep->Lane[k])))
            Move(pStep, *pStep, k);
    }
}

uint32_t LanesOf(const CFanStep& step)
{
    uint32_t lanes = 0;
    for (int32_t k = 0; k < step.Count; ++k)
        lanes |= 1u << step.Lane[k];
    return lanes;
}

} // namespace

uint32_t CSightTree::SeesFan(int32_t node, const CVector& from, const CVector* pTo, int32_t count,
                             CFanStep* pFan, CStep* pStack) const
{
    const uint32_t all = count >= 32 ? ~0u : (1u << count) - 1u; // a shift by 32 is undefined
    uint32_t out = 0; // lanes blocked
    int32_t top = 1;
    pFan[0].Node = node;
    pFan[0].Count = 0;
    pFan[0].Out = 0;
    for (int32_t k = 0; k < count; ++k)
        Put(&pFan[0], static_cast<uint8_t>(k), from, pTo[k]);
    while (top > 0 && out != all) {
        CFanStep& step = pFan[top - 1];
        if (step.Out != out) {
            DropLanes(&step, out);
            step.Out = out;
        }
        if (step.Node < 0 || step.Count == 0) {
            if (step.Node == SOLID)
                out |= LanesOf(step);
            --top;
            continue;
        }
        out |= Part(&step, &pFan[top], pStack);
        if (pFan[top].Count > 0) {
            pFan[top].Out = out;
            ++top;
        }
    }
    return all & ~out;
}

// The walk of a fan's step down from its node: while its pieces all go one
// way it follows them. Where they part, those that go whole behind and the
// halves behind of those that are cut move to *pBack (for the back child),
// the rest stay in the step for the front child; a piece that lies along
// the plane there is walked on its own (with pStack) and dropped. Returns
// the lanes that such a walk found blocked. Stops at once when the step is
// at a leaf or empty; *pBack is left empty unless it parts.
FAN_CLONES uint32_t CSightTree::Part(CFanStep* pStep, CFanStep* pBack, CStep* pStack) const
{
    CFanStep& step = *pStep;
    pBack->Count = 0;
    // Every column is measured, the unused ones too (they hold numbers), so
    // that the loops have a fixed length; the words of `live` mask them.
    int32_t live[FAN_SIZE];
    for (int32_t k = 0; k < FAN_SIZE; ++k)
        live[k] = k < step.Count ? -1 : 0;
    float da[FAN_SIZE];
    float db[FAN_SIZE];
    int32_t ways[FAN_SIZE];
    while (step.Node >= 0 && step.Count > 0) {
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
        return Split(&step, pBack, da, db, ways, pStack);
    }
    return 0;
}

// The parting of a step's pieces at its node, by their ways as Part found
// them.
uint32_t CSightTree::Split(CFanStep* pStep, CFanStep* pBack, const float* pDa, const float* pDb,
                           const int32_t* pWays, CStep* pStack) const
{
    CFanStep& step = *pStep;
    const int32_t n = step.Node;
    const CNode& inner = Nodes[static_cast<size_t>(n)];
    pBack->Node = inner.Back;
    const int32_t pieces = step.Count;
    step.Node = inner.Front;
    step.Count = 0;
    uint32_t blocked = 0;
    for (int32_t k = 0; k < pieces; ++k) {
        EStep way = EStep::Along;
        if (pWays[k] > 3)
            way = StepOf(pDa[k], pDb[k]);
        else if (pWays[k] > 0)
            way = pWays[k] == 1 ? EStep::Back : pWays[k] == 2 ? EStep::Front : EStep::Cut;
        if (way == EStep::Back) {
            Move(pBack, step, k);
        } else if (way == EStep::Front) {
            Move(&step, step, k);
        } else if (way == EStep::Cut) {
            const uint8_t lane = step.Lane[k];
            const CHalves halves =
                CutHalves(Planes[static_cast<size_t>(n)], EndOf(step.A, k), EndOf(step.B, k), pDa[k]);
            Put(pBack, lane, halves.Behind, halves.Crossing);
            Put(&step, lane, halves.Crossing, halves.Ahead);
        } else {
            // Along the plane: walked from here on its own, both ways.
            if (!Sees(n, EndOf(step.A, k), EndOf(step.B, k), pStack))
                blocked |= 1u << step.Lane[k];
        }
    }
    return blocked;
}
