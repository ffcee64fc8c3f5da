#pragma once
// A walk over every node of a built tree that takes the front subtree before
// the back one, on an explicit stack so that deep trees stay off the call
// stack. With bNodeFirst a node comes before its subtrees (pre-order), else
// after them (post-order).
#include "compiler/build_tree.h"

#include <utility>
#include <vector>

template <typename Visit>
void WalkFrontFirst(CBuildNode* pNode, bool bNodeFirst, Visit visit)
{
    // Each entry: a node and whether its subtrees are already pushed.
    std::vector<std::pair<CBuildNode*, bool>> pending;
    if (pNode)
        pending.push_back({pNode, false});
    while (!pending.empty()) {
        auto [pTop, bExpanded] = pending.back();
        pending.pop_back();
        if (bNodeFirst || bExpanded) {
            visit(pTop);
            if (bExpanded)
                continue;
        } else {
            pending.push_back({pTop, true});
        }
        if (pTop->pBack)
            pending.push_back({pTop->pBack, false});
        if (pTop->pFront)
            pending.push_back({pTop->pFront, false});
    }
}

// The leaves the flood reached, in the order of a front-first walk: the order
// of the compiled file's leaves.
inline std::vector<CBuildNode*> ReachedLeaves(CBuildNode* pRoot)
{
    std::vector<CBuildNode*> leaves;
    WalkFrontFirst(pRoot, true, [&](CBuildNode* pNode) {
        if (pNode->IsLeaf() && pNode->bVisited)
            leaves.push_back(pNode);
    });
    return leaves;
}

// Calls visit(pLeaf) for each leaf that the convex polygon through the given
// points may touch, counting a point within `reach` of a node's plane on
// both of its sides.
template <typename Visit>
void VisitLeavesNear(const CBuildNode* pRoot, const CVector* pPoints, int32_t count, double reach,
                     Visit visit)
{
    std::vector<const CBuildNode*> pending{pRoot};
    while (!pending.empty()) {
        const CBuildNode* pNode = pending.back();
        pending.pop_back();
        if (!pNode)
            continue;
        if (pNode->IsLeaf()) {
            visit(pNode);
            continue;
        }
        bool bFront = false;
        bool bBack = false;
        for (int32_t i = 0; i < count; ++i) {
            const double d = pNode->Plane.DistanceTo(pPoints[i]);
            bFront = bFront || d > -reach;
            bBack = bBack || d < reach;
        }
        if (bFront)
            pending.push_back(pNode->pFront);
        if (bBack)
            pending.push_back(pNode->pBack);
    }
}
