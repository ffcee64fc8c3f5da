#include "compiler/portal_fragments.h"

#include "compiler/clip.h"
#include "compiler/parallel_for.h"
#include "compiler/portal_box.h"
#include "compiler/portal_flat_tree.h"
#include "compiler/progress.h"

#include <algorithm>

namespace {

// A polygon of the pool with its box. Chain is the newest of the links that
// record where the descent cut it or passed it close to a plane; bOnPlane
// tells that it went through a node whose plane its array lay on.
struct CFragment {
    uint32_t First;
    uint32_t Count;
    CPortalBox Box;
    int32_t Chain;
    bool bOnPlane;
};

// One node on a fragment's way down where its leaf search could turn off:
// the fragment went to Side (FACE_FRONT or FACE_BACK) of the node's plane
// without lying surely clear of the band. Links are shared by the pieces of
// one fragment.
struct CChainLink {
    CPlane Plane; // the node's
    int32_t Side;
    int32_t Previous; // -1 at the end
};

// What one node's plane makes of one fragment: the side that its box shows
// (FACE_SPANNING when the box can't tell), and unless the box shows it on one
// side, the distance of every vertex in the cutter's Distance buffer.
struct CSideTest {
    CBoxRange Range;
    int32_t BoxSide;
};

// One pending call of the descent, as in SplitThroughTree. Its input array
// lies on top of the work stack. An array that lies on the node's plane runs
// through the back child and then, as it came out, through the front child;
// any other is cut into a back and a front array, and the result is the
// front's, then the back's. Results gather in order on the output.
struct CCall {
    enum EStage { START, AFTER_COPLANAR_BACK, AFTER_FRONT, DONE };
    int32_t Node;
    EStage Stage;
    uint32_t Begin; // the input's place on the work stack
    uint32_t Count;
    uint32_t OutStart;  // on the plane: where the back child's results begin
    uint32_t BackCount; // cut: the back array, at Begin, waiting for its turn
};

// The leaves that AssignPortal finds for a fragment.
struct CFoundLeaves {
    CBuildNode* pNodes[2] = {nullptr, nullptr};
    int32_t NodeCount = 0;
    bool bBlocked = false;
};

// Cuts one oriented plane after another; one per thread.
class CPlaneCutter {
public:
    explicit CPlaneCutter(const CFlatTree& tree) : Tree(tree) {}

    std::vector<CPortal> Cut(CPlane plane);

private:
    CFragment Stored(uint32_t first, uint32_t count, const CFragment& from) const;
    int32_t Link(int32_t node, int32_t side, int32_t previous);
    CSideTest Test(const CPlane& plane, const CFragment& fragment);
    bool IsCoplanar(const CSideTest& test, uint32_t count) const;
    int32_t Classify(const CPlane& plane, const CFragment& fragment) const;
    void Pass(int32_t index, CFragment& fragment, int32_t side);
    void PassBeside(int32_t index, CFragment& fragment, const CSideTest& test);
    void CutFragment(int32_t index, const CFragment& fragment, const CSideTest& test);
    void CutArray(CCall& call, const CSideTest& first);
    void Enter(int32_t node, uint32_t begin, uint32_t count);
    void Start(CCall& call);
    void Descend(const CFragment& base);
    bool StaysInItsLeaf(const CFragment& fragment) const;
    bool IsCovered(const CFragment& fragment, const CFlatLeaf& leaf) const;
    CFoundLeaves Assign(const CFragment& fragment);

    const CFlatTree& Tree;
    std::vector<CVertex> Pool;
    std::vector<CChainLink> Links;
    std::vector<float> Distance;
    std::vector<CFragment> Work; // the input arrays of the pending calls
    std::vector<CFragment> Out;  // the descent's results so far
    std::vector<CFragment> FrontArray;
    std::vector<CFragment> BackArray;
    std::vector<CCall> Calls;
    std::vector<int32_t> Pending;
    std::vector<int32_t> Reached; // leaves met by the search, in order
};

// The polygon of count vertices from first in the pool, as a fragment with
// the chain and flag of the fragment it was cut from.
CFragment CPlaneCutter::Stored(uint32_t first, uint32_t count, const CFragment& from) const
{
    return {first, count, PolygonBox(&Pool[first], count), from.Chain, from.bOnPlane};
}

int32_t CPlaneCutter::Link(int32_t node, int32_t side, int32_t previous)
{
    Links.push_back({Tree.Nodes[static_cast<size_t>(node)].Plane, side, previous});
    return static_cast<int32_t>(Links.size()) - 1;
}

CSideTest CPlaneCutter::Test(const CPlane& plane, const CFragment& fragment)
{
    const CBoxRange range = BoxRange(plane, fragment.Box);
    const int32_t side = BoxSide(range, BOX_MARGIN);
    if (side != FACE_FRONT && side != FACE_BACK) {
        if (Distance.size() < fragment.Count)
            Distance.resize(std::max<size_t>(fragment.Count, 2 * Distance.size()));
        const CVertex* pVertices = &Pool[fragment.First];
        for (uint32_t i = 0; i < fragment.Count; ++i)
            Distance[i] = VertexDistance(plane, pVertices[i].Position);
    }
    return {range, side};
}

// IsCoplanar of the clipping code, on a test of count vertices.
bool CPlaneCutter::IsCoplanar(const CSideTest& test, uint32_t count) const
{
    if (test.BoxSide != FACE_SPANNING)
        return test.BoxSide == FACE_ON;
    return std::all_of(Distance.data(), Distance.data() + count,
                       [](float v) { return v >= -PLANE_EPSILON && v <= PLANE_EPSILON; });
}

// ClassifyFace of the clipping code.
int32_t CPlaneCutter::Classify(const CPlane& plane, const CFragment& fragment) const
{
    const int32_t side = BoxSide(BoxRange(plane, fragment.Box), BOX_MARGIN);
    if (side != FACE_SPANNING)
        return side;
    bool bFront = false;
    bool bBack = false;
    const CVertex* pVertices = &Pool[fragment.First];
    for (uint32_t i = 0; i < fragment.Count && !(bFront && bBack); ++i) {
        const float d = VertexDistance(plane, pVertices[i].Position);
        bFront = bFront || d > PLANE_EPSILON;
        bBack = bBack || d < -PLANE_EPSILON;
    }
    if (bFront && bBack)
        return FACE_SPANNING;
    return bFront ? FACE_FRONT : bBack ? FACE_BACK : FACE_ON;
}

// Records in the fragment's chain that it went to a side of node 'index'
// (FACE_FRONT or FACE_BACK) on which its leaf search might not follow it.
// Nothing is recorded for a fragment that lay on a node's plane (its search
// is made in full), at a leaf (where the search stops), or below a node
// with the same plane that it passed on the same side: what was recorded or
// made sure there holds here.
void CPlaneCutter::Pass(int32_t index, CFragment& fragment, int32_t side)
{
    const CFlatNode& node = Tree.Nodes[static_cast<size_t>(index)];
    if (!fragment.bOnPlane && node.Leaf < 0 && node.SameSide != side)
        fragment.Chain = Link(index, side, fragment.Chain);
}

// Pass for a fragment whose box shows it on one side of the plane; nothing
// is recorded where the box clears the band by SURE_MARGIN.
void CPlaneCutter::PassBeside(int32_t index, CFragment& fragment, const CSideTest& test)
{
    if (BoxSide(test.Range, SURE_MARGIN) != test.BoxSide)
        Pass(index, fragment, test.BoxSide);
}

// SplitFace of the clipping code, by the plane of node 'index', into
// FrontArray and BackArray. A piece that would be an unchanged copy of the
// fragment (every vertex on its side, no crossing) is the fragment itself,
// handed on without a copy. Unless the fragment went through a node whose
// plane it lay on, each piece records the node in its chain where its leaf
// search might leave the descent's way; a leaf's own cut doesn't count, as
// the search stops at a leaf.
void CPlaneCutter::CutFragment(int32_t index, const CFragment& fragment, const CSideTest& test)
{
    if (test.BoxSide == FACE_FRONT || test.BoxSide == FACE_BACK) {
        PassBeside(index, (test.BoxSide == FACE_FRONT ? FrontArray : BackArray).emplace_back(fragment),
                   test);
        return;
    }
    const float* d = Distance.data();
    const uint32_t count = fragment.Count;
    auto next = [count](uint32_t i) { return i + 1 == count ? 0 : i + 1; };
    auto crosses = [&](uint32_t i) {
        const float d1 = d[next(i)];
        return (d[i] > PLANE_EPSILON && d1 < -PLANE_EPSILON) ||
               (d[i] < -PLANE_EPSILON && d1 > PLANE_EPSILON);
    };
    uint32_t frontCount = 0; // vertices of the input in each piece
    uint32_t backCount = 0;
    uint32_t crossings = 0;
    for (uint32_t i = 0; i < count; ++i) {
        frontCount += d[i] > -PLANE_EPSILON ? 1 : 0;
        backCount += d[i] < PLANE_EPSILON ? 1 : 0;
        crossings += crosses(i) ? 1 : 0;
    }
    // With every vertex on a piece's side there is nothing across the band to
    // cross to, so no crossing either: the piece is the fragment.
    if (frontCount == count)
        Pass(index, FrontArray.emplace_back(fragment), FACE_FRONT);
    if (backCount == count)
        Pass(index, BackArray.emplace_back(fragment), FACE_BACK);
    // Pieces of 2 or fewer vertices are lost, as SplitFace drops them.
    auto size = [&](uint32_t kept) { return kept < count && kept + crossings > 2 ? kept + crossings : 0; };
    const uint32_t frontSize = size(frontCount);
    const uint32_t backSize = size(backCount);
    if (frontSize + backSize == 0)
        return;

    // Both pieces are written straight into the pool, the front piece first.
    const uint32_t at = static_cast<uint32_t>(Pool.size());
    Pool.resize(at + frontSize + backSize);
    const CVertex* pIn = Pool.data() + fragment.First;
    CVertex* pFront = Pool.data() + at;
    CVertex* pBack = pFront + frontSize;
    const CPlane& plane = Tree.Nodes[static_cast<size_t>(index)].Plane;
    for (uint32_t i = 0; i < count; ++i) {
        if (d[i] > -PLANE_EPSILON && frontSize)
            *pFront++ = pIn[i];
        if (d[i] < PLANE_EPSILON && backSize)
            *pBack++ = pIn[i];
        if (crosses(i)) {
            const CVertex crossing = CrossingVertex(plane, pIn[i], pIn[next(i)]);
            if (frontSize)
                *pFront++ = crossing;
            if (backSize)
                *pBack++ = crossing;
        }
    }
    if (frontSize)
        Pass(index, FrontArray.emplace_back(Stored(at, frontSize, fragment)), FACE_FRONT);
    if (backSize)
        Pass(index, BackArray.emplace_back(Stored(at + frontSize, backSize, fragment)), FACE_BACK);
}

// Cuts the call's input and leaves the back array at its place on the work
// stack with the front array above it. The first fragment's test is made.
void CPlaneCutter::CutArray(CCall& call, const CSideTest& first)
{
    FrontArray.clear();
    BackArray.clear();
    const CPlane& plane = Tree.Nodes[static_cast<size_t>(call.Node)].Plane;
    for (uint32_t i = 0; i < call.Count; ++i) {
        const CFragment& fragment = Work[call.Begin + i];
        CutFragment(call.Node, fragment, i == 0 ? first : Test(plane, fragment));
    }
    Work.resize(call.Begin);
    Work.insert(Work.end(), BackArray.begin(), BackArray.end());
    Work.insert(Work.end(), FrontArray.begin(), FrontArray.end());
    call.BackCount = static_cast<uint32_t>(BackArray.size());
}

// A call on the array on top of the work stack. With no node or no
// fragments the array is the result at once.
void CPlaneCutter::Enter(int32_t node, uint32_t begin, uint32_t count)
{
    if (node < 0 || count == 0) {
        Out.insert(Out.end(), Work.begin() + begin, Work.end());
        Work.resize(begin);
        return;
    }
    Calls.push_back({node, CCall::START, begin, count, 0, 0});
}

// The first step of a call: a lone fragment on one side of the plane goes on
// to the child there, as if the call had been made with it; an array that
// lies on the plane goes to the back child; any other is cut.
void CPlaneCutter::Start(CCall& call)
{
    const CFlatNode& node = Tree.Nodes[static_cast<size_t>(call.Node)];
    // Only the first fragment decides whether the array lies on the plane.
    const CSideTest first = Test(node.Plane, Work[call.Begin]);
    const bool bBeside = first.BoxSide == FACE_FRONT || first.BoxSide == FACE_BACK;
    if (call.Count == 1 && bBeside) {
        CFragment& fragment = Work[call.Begin];
        PassBeside(call.Node, fragment, first);
        call.Node = first.BoxSide == FACE_FRONT ? node.Front : node.Back;
        if (call.Node < 0) {
            Out.push_back(fragment);
            Work.pop_back();
            Calls.pop_back();
        }
    } else if (IsCoplanar(first, Work[call.Begin].Count)) {
        for (uint32_t i = 0; i < call.Count; ++i)
            Work[call.Begin + i].bOnPlane = true;
        call.Stage = CCall::AFTER_COPLANAR_BACK;
        call.OutStart = static_cast<uint32_t>(Out.size());
        Enter(node.Back, call.Begin, call.Count);
    } else {
        CutArray(call, first);
        call.Stage = CCall::AFTER_FRONT;
        Enter(node.Front, call.Begin + call.BackCount,
              static_cast<uint32_t>(Work.size()) - call.Begin - call.BackCount);
    }
}

// SplitThroughTree from the root, on its own stack; the fragments that come
// out stand in Out, in order.
void CPlaneCutter::Descend(const CFragment& base)
{
    Work.assign(1, base);
    Out.clear();
    Calls.clear();
    Enter(Tree.Nodes.empty() ? -1 : 0, 0, 1);
    while (!Calls.empty()) {
        CCall& at = Calls.back(); // valid until the next Enter
        const CFlatNode& node = Tree.Nodes[static_cast<size_t>(at.Node)];
        switch (at.Stage) {
        case CCall::START:
            Start(at);
            break;
        case CCall::AFTER_COPLANAR_BACK: {
            // What came out of the back child goes whole into the front child.
            const uint32_t count = static_cast<uint32_t>(Out.size()) - at.OutStart;
            Work.insert(Work.end(), Out.begin() + at.OutStart, Out.end());
            Out.resize(at.OutStart);
            at.Stage = CCall::DONE;
            Enter(node.Front, at.Begin, count);
            break;
        }
        case CCall::AFTER_FRONT:
            at.Stage = CCall::DONE;
            Enter(node.Back, at.Begin, at.BackCount);
            break;
        case CCall::DONE:
            Calls.pop_back();
            break;
        }
    }
}

// True when the leaf search of a fragment that never lay on a node's plane
// surely follows the descent's way, so that it meets one leaf at most: at
// every node of the way it lies on the side that it went to. Where its box
// cleared the band by SURE_MARGIN, the pieces cut from it later do too; at
// the other nodes the chain holds the node, or one above with the same
// plane, and there the fragment must lie on that side as ClassifyFace sees
// it, not on the plane, from which the search would branch.
bool CPlaneCutter::StaysInItsLeaf(const CFragment& fragment) const
{
    if (fragment.bOnPlane)
        return false;
    for (int32_t i = fragment.Chain; i >= 0; i = Links[static_cast<size_t>(i)].Previous) {
        const CChainLink& link = Links[static_cast<size_t>(i)];
        if (Classify(link.Plane, fragment) != link.Side)
            return false;
    }
    return true;
}
bool CPlaneCutter::IsCovered(const CFragment& fragment, const CFlatLeaf& leaf) const
{
    for (size_t i = 0; i < leaf.Walls.size(); ++i) {
        const CWallPlane& wall = leaf.Walls[i];
        if (!wall.bUsable)
            continue;
        // Off the wall's plane: the box shows it for most walls.
        const int32_t side = BoxSide(BoxRange(wall.Plane, fragment.Box), BOX_MARGIN);
        if (side == FACE_FRONT || side == FACE_BACK)
            continue;
        if (WallCovers(&Pool[fragment.First], static_cast<int32_t>(fragment.Count),
                       &leaf.pNode->pFaces[i], wall.Plane))
            return true;
    }
    return false;
}

// AssignPortal from the root: behind a plane the search goes back, on it
// back and then front, in front front, and a spanning fragment finds nothing
// below. A leaf with a covering wall blocks; the first two leaves stay. The
// walls are looked at only when the search met two leaves or more: with
// fewer the fragment can't join two and is dropped whatever they say.
CFoundLeaves CPlaneCutter::Assign(const CFragment& fragment)
{
    CFoundLeaves found;
    Pending.clear();
    Reached.clear();
    if (!Tree.Nodes.empty())
        Pending.push_back(0);
    while (!Pending.empty()) {
        const int32_t index = Pending.back();
        Pending.pop_back();
        if (index < 0)
            continue;
        const CFlatNode& node = Tree.Nodes[static_cast<size_t>(index)];
        if (node.Leaf < 0) {
            // The back child is pushed last, so its subtree is searched first.
            switch (Classify(node.Plane, fragment)) {
            case FACE_BACK:
                Pending.push_back(node.Back);
                break;
            case FACE_ON:
                Pending.push_back(node.Front);
                Pending.push_back(node.Back);
                break;
            case FACE_FRONT:
                Pending.push_back(node.Front);
                break;
            default:
                break;
            }
            continue;
        }
        Reached.push_back(node.Leaf);
    }
    if (Reached.size() < 2)
        return found;
    for (const int32_t index : Reached) {
        const CFlatLeaf& leaf = Tree.Leaves[static_cast<size_t>(index)];
        if (found.pNodes[0] == leaf.pNode || found.pNodes[1] == leaf.pNode)
            continue;
        if (IsCovered(fragment, leaf)) {
            found.bBlocked = true;
            continue;
        }
        if (found.NodeCount < 2)
            found.pNodes[found.NodeCount++] = leaf.pNode;
    }
    return found;
}

std::vector<CPortal> CPlaneCutter::Cut(CPlane plane)
{
    CLeafFace base;
    MakeBaseFace(g_fBaseFaceSize, plane, &base);
    Pool.clear();
    Links.clear();
    std::vector<CPortal> kept;
    if (!base.pVertices)
        return kept;
    Pool.assign(base.pVertices, base.pVertices + base.VertexCount);
    FreeFace(&base);

    Descend(Stored(0, static_cast<uint32_t>(Pool.size()), CFragment{0, 0, {}, -1, false}));
    const uint32_t colour = PortalColour();
    for (const CFragment& fragment : Out) {
        if (StaysInItsLeaf(fragment))
            continue;
        const CFoundLeaves found = Assign(fragment);
        if (found.NodeCount != 2)
            continue;
        CPortal& portal = kept.emplace_back();
        portal.Plane = plane;
        portal.Winding.VertexCount = static_cast<int32_t>(fragment.Count);
        portal.Winding.pVertices = new CVertex[fragment.Count];
        std::copy_n(&Pool[fragment.First], fragment.Count, portal.Winding.pVertices);
        for (uint32_t i = 0; i < fragment.Count; ++i)
            portal.Winding.pVertices[i].Colour = colour;
        portal.pNodes[0] = found.pNodes[0];
        portal.pNodes[1] = found.pNodes[1];
        portal.NodeCount = 2;
        portal.bBlocked = found.bBlocked;
    }
    return kept;
}

void FreeBlocks(std::vector<std::vector<CPortal>>& blocks)
{
    for (std::vector<CPortal>& block : blocks) {
        for (CPortal& portal : block)
            FreeFace(&portal.Winding);
    }
    blocks.clear();
}

} // namespace

CWallPlane WallPlane(const CLeafFace* pFace)
{
    if (!pFace->pVertices || pFace->VertexCount < 3)
        return {false, CPlane()};
    const CVertex* v = pFace->pVertices;
    if (ComponentsNear(v[0].Position, v[1].Position) ||
        ComponentsNear(v[0].Position, v[2].Position) ||
        ComponentsNear(v[1].Position, v[2].Position))
        return {false, CPlane()};
    return {true, CPlane(v[0].Position, v[1].Position, v[2].Position)};
}

bool WallCovers(const CVertex* pVertices, int32_t count, const CLeafFace* pFace,
                const CPlane& facePlane)
{
    if (!pVertices)
        return false;
    for (int32_t j = 0; j < count; ++j) {
        const float d = VertexDistance(facePlane, pVertices[j].Position);
        if (d < -PLANE_EPSILON || d > PLANE_EPSILON)
            return false;
    }
    const int32_t edges = pFace->VertexCount;
    for (int32_t i = 0; i < edges; ++i) {
        const CVector& a = pFace->pVertices[i].Position;
        const CVector& b = pFace->pVertices[(i + 1) % edges].Position;
        const CPlane edgePlane(a, a - facePlane.Normal, b);
        for (int32_t j = 0; j < count; ++j) {
            if (VertexDistance(edgePlane, pVertices[j].Position) > PLANE_EPSILON)
                return false;
        }
    }
    return true;
}

std::vector<std::vector<CPortal>> MakePlaneBlocks(const CPlane* pPlanes, int32_t planeCount,
                                                  CBuildNode* pRoot, int32_t threads,
                                                  CProgress* pProgress)
{
    const CFlatTree tree = MakeFlatTree(pRoot);
    const int64_t total = 2 * static_cast<int64_t>(std::max(planeCount, 0));
    std::vector<std::vector<CPortal>> blocks(static_cast<size_t>(total));

    try {
        ParallelFor(
            total, threads, [&] { return CPlaneCutter(tree); },
            [&](CPlaneCutter& cutter, int64_t i) {
                const CPlane& source = pPlanes[i / 2];
                blocks[static_cast<size_t>(i)] = cutter.Cut(i % 2 == 0 ? -source : source);
                if (pProgress)
                    pProgress->Step();
            });
    } catch (...) {
        FreeBlocks(blocks);
        throw;
    }
    return blocks;
}
