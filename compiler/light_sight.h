#pragma once
// Line of sight for the light passes. LineOfSight (light.h) walks one
// segment through the tree. CSightTree holds the same tree in a compact
// copy for the passes, which walk it millions of times: it walks single
// segments the same way, bit for bit, and answers for whole blocks of
// segments at once, so that a pass can skip the walks of blocks it settles.
#include "compiler/build_tree.h"
#include "geometry/plane.h"
#include "geometry/vector.h"

#include <cstdint>
#include <vector>

// An axis-aligned box of points, in double; empty until a point is added.
struct CSightBox {
    double Low[3] = {1e300, 1e300, 1e300};
    double High[3] = {-1e300, -1e300, -1e300};

    void Add(const CVector& p);
    void Add(const CSightBox& box);
    bool IsEmpty() const { return Low[0] > High[0] || Low[1] > High[1] || Low[2] > High[2]; }
};

class CSightTree {
public:
    // A place in the tree: an inner node's index, or one of these ends.
    static constexpr int32_t SOLID = -1; // no child, or a leaf outside the world
    static constexpr int32_t OPEN = -2;  // a reached leaf

    // A half of a cut segment, or the other side of a segment along a
    // plane, waiting to be walked.
    struct CStep {
        int32_t Node;
        bool bAlternative; // passes when the walk before it failed (else: must pass too)
        CVector From;
        CVector To;
    };

    explicit CSightTree(const CBuildNode* pRoot);

    int32_t Root() const { return nRoot; }
    // Room that a walk's stack needs: the deepest chain of inner nodes.
    int32_t StackSize() const { return nDepth + 1; }

    // LineOfSight of the segment from the place `node`, with a stack of
    // StackSize() entries.
    bool Sees(int32_t node, const CVector& from, const CVector& to, CStep* pStack) const;

    // The deepest place that every segment between the two boxes enters
    // whole, on the way that LineOfSight takes from the root: their walks
    // may start there. SOLID or OPEN when they all end in one.
    int32_t Entry(const CSightBox& a, const CSightBox& b) const;

    // True when every segment between the boxes that enters the place
    // `node` whole passes from there. False when that is not certain: one
    // may meet solid or a leaf outside the world, or the walk grew past its
    // bound of work.
    bool BoxesSee(int32_t node, const CSightBox& a, const CSightBox& b) const;

    // True when no segment between the boxes that enters the place `node`
    // whole passes from there; false when that is not certain.
    bool BoxesBlocked(int32_t node, const CSightBox& a, const CSightBox& b) const;

private:
    // An inner node; its plane as it stands in the tree is Planes[index],
    // apart, so that the nodes that walks read stay small.
    struct CNode {
        double Exact[4]; // the plane's normal and distance, widened once
        int32_t Back = SOLID;
        int32_t Front = SOLID;
    };
    CNode MakeNode(const CPlane& plane);
    struct CView;
    int32_t Add(const CBuildNode* pNode);
    int32_t Collapse();
    bool BoxesBlockedFrom(int32_t node, CSightBox a, CSightBox b, int32_t* pWork) const;
    bool BoxesSeeFrom(int32_t node, const CSightBox& a, const CSightBox& b, int32_t* pWork,
                      int32_t alternatives) const;

    std::vector<CNode> Nodes;
    std::vector<CPlane> Planes;
    int32_t nRoot = SOLID;
    int32_t nDepth = 0;
};
