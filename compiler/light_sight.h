#pragma once
// Line of sight for the light passes. LineOfSight (light.h) walks one
// segment through the tree. CSightTree holds the same tree in a compact
// copy for the passes, which walk it millions of times: it walks single
// segments the same way, bit for bit, and answers for whole blocks of
// segments at once, so that a pass can skip the walks of blocks it settles.
#include "compiler/build_tree.h"
#include "geometry/plane.h"
#include "geometry/vector.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

// An axis-aligned box of points, in double; empty until a point is added.
// Points that all lie close to one plane of a CSightTree (the samples of a
// face, the crossings of a plane) may also carry that plane's number and
// how far from it they lie, as a walk measures: a box round points on a
// slanted plane stands far to both sides of it, the points do not.
struct CSightBox {
    double Low[3] = {1e300, 1e300, 1e300};
    double High[3] = {-1e300, -1e300, -1e300};
    int32_t PlaneId = -1; // none
    double Round = 0.0;

    // A point added drops the plane: it need not lie near it.
    void Add(const CVector& p);
    // The plane stays when both boxes have it (or this one is empty).
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

    // Segments from one point to several, walked together: a fan.
    static constexpr int32_t FAN_SIZE = 32;
    // The pieces of a fan's segments that enter a node: a segment has one
    // piece there at most, whose ends stand in the column of its lane (its
    // number in the fan).
    struct CFanStep {
        int32_t Node = 0;
        uint32_t Lanes = 0; // the lanes with a piece here
        // Float points, held widened as the walk measures them; the columns
        // of other lanes hold numbers too, which nothing reads.
        alignas(64) double A[3][FAN_SIZE] = {};
        alignas(64) double B[3][FAN_SIZE] = {};
    };

    // The nodes that the fans between two boxes pass over. Where every
    // point between the boxes lies out of a node's band on one side of its
    // plane, every piece of their segments goes that way uncut, so a fan
    // may go straight on to the first node below where they may part.
    // Found on first use and kept for the pair in 2^sizeLog2 entries, by
    // node number; one per thread.
    class CSkips {
    public:
        explicit CSkips(int32_t sizeLog2 = 11) : Entries(std::size_t{1} << sizeLog2) {}

    private:
        friend class CSightTree;
        struct CEntry {
            int32_t Node = SOLID; // none
            int32_t Target = SOLID;
            uint32_t Pair = 0;
        };
        CEntry& EntryOf(int32_t node)
        {
            return Entries[static_cast<std::size_t>(node) & (Entries.size() - 1)];
        }
        std::vector<CEntry> Entries;
        uint32_t nPair = 0; // the pair that the entries of this number hold
        bool bActive = false;
        CSightBox Boxes[2];
        double Slack = 0.0; // how far the pieces' ends may stray from the boxes
    };
    // Sets *pSkips for the fans between boxes a and b.
    void SetSkips(CSkips* pSkips, const CSightBox& a, const CSightBox& b) const;

    explicit CSightTree(const CBuildNode* pRoot);

    int32_t Root() const { return nRoot; }
    // Room that a walk's stack needs: the deepest chain of inner nodes.
    int32_t StackSize() const { return nDepth + 1; }

    // LineOfSight of the segment from the place `node`, with a stack of
    // StackSize() entries.
    bool Sees(int32_t node, const CVector& from, const CVector& to, CStep* pStack) const;

    // A solid place that a walk came down to: the inner node over it, and
    // the side of that node's plane it stands on.
    struct CBlocker {
        int32_t Node = SOLID; // none
        bool bFront = false;
    };
    // The same, noting in *pBlocker the first solid place that the walk met
    // (left as it is when it met none).
    bool Sees(int32_t node, const CVector& from, const CVector& to, CStep* pStack,
              CBlocker* pBlocker) const;
    // True when the solid place of `blocker` surely stops every segment from
    // `from` to a point of the box; false when that is not certain.
    bool Shadows(const CBlocker& blocker, const CVector& from, const CSightBox& box) const;

    // Sees from the place `node` for the segments from `from` to each of
    // the first `count` points of pTo (count <= FAN_SIZE): bit k of the
    // answer is the sight of pTo[k]. The walks go node by node together, each
    // piece with the rounding of its own walk; a piece found lying along a
    // plane goes on as a fan of its own, with the others along it there.
    // pStack holds StackSize() entries and pFan FanStackSize(). With pSkips
    // (set for boxes that hold every point of the fan), the walk passes
    // over the nodes that it finds.
    uint32_t SeesFan(int32_t node, const CVector& from, const CVector* pTo, int32_t count,
                     CFanStep* pFan, CStep* pStack, CSkips* pSkips = nullptr) const;
    // Room for a fan's steps: its own, and those of the fans along a plane.
    int32_t FanStackSize() const { return 2 * StackSize(); }

    // The deepest place that every segment between the two boxes enters
    // whole, on the way that LineOfSight takes from the root: their walks
    // may start there. SOLID or OPEN when they all end in one. This and the
    // tests below pass over the nodes of pSkips, when given, which must be
    // set for boxes that hold a and b.
    int32_t Entry(const CSightBox& a, const CSightBox& b, CSkips* pSkips = nullptr) const;

    // True when every segment between the boxes that enters the place
    // `node` whole passes from there. False when that is not certain: one
    // may meet solid or a leaf outside the world, or the walk grew past its
    // bound of work.
    bool BoxesSee(int32_t node, const CSightBox& a, const CSightBox& b,
                  CSkips* pSkips = nullptr) const;

    // True when no segment between the boxes that enters the place `node`
    // whole passes from there; false when that is not certain.
    bool BoxesBlocked(int32_t node, const CSightBox& a, const CSightBox& b,
                      CSkips* pSkips = nullptr) const;

    // The number of the tree's planes equal to `plane`, or to it turned
    // round; -1 when there is none.
    int32_t PlaneNumber(const CPlane& plane) const;
    // How far a point lies from plane number `id` (0 <= id), as a walk
    // measures it at a node of that plane: the size of the distance.
    double DistanceFrom(int32_t id, const CVector& point) const;

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
    void NumberPlanes();
    // The plane key of a plane: turned so that its first non-zero component
    // is positive; false when it is not finite.
    static bool KeyOf(const CPlane& plane, std::array<float, 4>* pKey);
    // What a fan's walk uses besides its steps: fans along a plane on the
    // way use pAlong (StackSize() steps), or walk their pieces one by one
    // when it is null; pSkips may be null.
    struct CFanWalk {
        CStep* pStack;
        CFanStep* pAlong;
        CSkips* pSkips;
    };
    uint32_t WalkFan(CFanStep* pFan, const CFanWalk& walk) const;
    uint32_t Part(CFanStep* pStep, CFanStep* pBack, const CFanWalk& walk) const;
    uint32_t Split(CFanStep* pStep, CFanStep* pBack, const float* pDa, const float* pDb,
                   const int32_t* pWays, const CFanWalk& walk) const;
    uint32_t AlongSees(const CFanStep& step, uint32_t along, int32_t node,
                       const CFanWalk& walk) const;
    // The place that a fan's walk goes on to from `node`.
    int32_t SkipFrom(CSkips* pSkips, int32_t node) const
    {
        if (pSkips == nullptr || node < 0)
            return node;
        const CSkips::CEntry& entry = pSkips->EntryOf(node);
        if (entry.Node == node && entry.Pair == pSkips->nPair)
            return entry.Target;
        return FindSkip(pSkips, node);
    }
    int32_t FindSkip(CSkips* pSkips, int32_t node) const;
    // How far a piece's ends may stray from their segment through rounding,
    // for points no larger than `largest` in any coordinate.
    double WalkSlack(double largest) const;
    bool BoxesBlockedFrom(int32_t node, CSightBox a, CSightBox b, int32_t* pWork,
                          CSkips* pSkips) const;
    bool BoxesSeeFrom(int32_t node, const CSightBox& a, const CSightBox& b, int32_t* pWork,
                      int32_t alternatives, CSkips* pSkips) const;

    std::vector<CNode> Nodes;
    std::vector<CPlane> Planes;
    // Per node: nodes whose planes are equal, or equal once turned round,
    // share a number; PlaneKeys holds each number's plane.
    std::vector<int32_t> PlaneIds;
    std::map<std::array<float, 4>, int32_t> PlaneKeys;
    std::vector<int32_t> PlaneNodes; // a node of each number
    std::vector<int32_t> Parents;    // by node: the node over it, SOLID for the root
    int32_t nRoot = SOLID;
    int32_t nDepth = 0;
};
