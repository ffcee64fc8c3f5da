#pragma once
// Line of sight for the light passes. LineOfSight (light.h) tests one
// segment; BoxesInSight below answers for every segment between two boxes
// at once, so that a pass can skip the segment tests of whole blocks of
// samples that it proves clear.
#include "compiler/build_tree.h"
#include "geometry/vector.h"

// An axis-aligned box of points, in double; empty until a point is added.
struct CSightBox {
    double Low[3] = {1e300, 1e300, 1e300};
    double High[3] = {-1e300, -1e300, -1e300};

    void Add(const CVector& p);
    void Add(const double p[3]);
    void Add(const CSightBox& box);
    bool IsEmpty() const { return Low[0] > High[0]; }
};

// The walk of one segment through the tree, without recursion: halves and
// alternatives still to be tested wait on the caller's stack. LineOfSight is
// this walk with a stack of its own.
struct CSightStep {
    const CBuildNode* pNode;
    CVector From;
    CVector To;
    bool bAlternative; // passes when the walk before it failed (else: must pass too)
};
// False when the stack of `capacity` entries would overflow: the caller then
// has no answer and must walk with a larger one (depth of the tree + 1 is
// always enough).
bool WalkSight(const CBuildNode* pNode, const CVector& from, const CVector& to,
               CSightStep* pStack, int32_t capacity, bool* pSees);

// True when LineOfSight from pRoot holds for every segment from a point of a
// to a point of b. False when that is not certain: a segment may meet solid
// or a leaf outside the world, or the walk grew past its bound of work.
bool BoxesInSight(const CBuildNode* pRoot, const CSightBox& a, const CSightBox& b);
