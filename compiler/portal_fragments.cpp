#include "compiler/portal_fragments.h"

#include "compiler/clip.h"
#include "compiler/progress.h"

#include "compiler/parallel_for.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

constexpr float BAND = PLANE_EPSILON;

// How far a box must clear a band edge before the box alone answers a side
// test. The distance of a vertex inside differs from the box's bound only by
// the rounding of a few double operations, far below this.
constexpr double BOX_MARGIN = 1e-3;


// A plane made ready for the box test: normal, absolute normal and distance
// in double.
struct CBoxPlane {
    double Normal[3];
    double Absolute[3];
    double Distance;

    explicit CBoxPlane(const CPlane& plane)
        : Normal{plane.Normal.x, plane.Normal.y, plane.Normal.z},
          Absolute{std::fabs(Normal[0]), std::fabs(Normal[1]), std::fabs(Normal[2])},
          Distance(plane.Distance)
    {
    }
};

struct CFlatNode {
    CPlane Plane;
    CBoxPlane Box;
    int32_t Front = -1; // child indices; -1 for a null child
    int32_t Back = -1;
    int32_t Leaf = -1; // index in CFlatTree::Leaves for a node with faces
};

struct CFlatLeaf {
    CBuildNode* pNode;
    std::vector<CWallPlane> Walls; // one per face
    std::vector<CBoxPlane> WallBoxes;
};

// The tree as arrays, root first, with each leaf's wall planes made once.
struct CFlatTree {
    std::vector<CFlatNode> Nodes;
    std::vector<CFlatLeaf> Leaves;
};

CFlatTree FlattenTree(CBuildNode* pRoot)
{
    CFlatTree tree;
    if (!pRoot)
        return tree;
    std::vector<std::pair<CBuildNode*, int32_t>> pending{{pRoot, 0}};
    tree.Nodes.push_back({pRoot->Plane, CBoxPlane(pRoot->Plane)});
    while (!pending.empty()) {
        const auto [pNode, index] = pending.back();
        pending.pop_back();
        if (pNode->IsLeaf()) {
            tree.Nodes[static_cast<size_t>(index)].Leaf = static_cast<int32_t>(tree.Leaves.size());
            CFlatLeaf& leaf = tree.Leaves.emplace_back();
            leaf.pNode = pNode;
            for (int32_t i = 0; i < pNode->FaceCount; ++i) {
                leaf.Walls.push_back(WallPlane(&pNode->pFaces[i]));
                leaf.WallBoxes.emplace_back(leaf.Walls.back().Plane);
            }
        }
        for (CBuildNode* pChild : {pNode->pFront, pNode->pBack}) {
            if (!pChild)
                continue;
            const int32_t child = static_cast<int32_t>(tree.Nodes.size());
            tree.Nodes.push_back({pChild->Plane, CBoxPlane(pChild->Plane)});
            CFlatNode& flat = tree.Nodes[static_cast<size_t>(index)];
            (pChild == pNode->pFront ? flat.Front : flat.Back) = child;
            pending.emplace_back(pChild, child);
        }
    }
    return tree;
}

// A polygon of the pool, with the centre and half size of the box round its
// positions.
struct CFragment {
    uint32_t First;
    uint32_t Count;
    double Centre[3];
    double Half[3];
};
using CFragmentList = std::vector<CFragment>;

// The lowest and highest distance that a vertex inside the box can have,
// widened by BOX_MARGIN.
struct CBoxRange {
    double Low;
    double High;
};

CBoxRange BoxRange(const CBoxPlane& plane, const CFragment& fragment)
{
    const double centre = plane.Normal[0] * fragment.Centre[0] +
                          plane.Normal[1] * fragment.Centre[1] +
                          plane.Normal[2] * fragment.Centre[2] + plane.Distance;
    const double reach = plane.Absolute[0] * fragment.Half[0] +
                         plane.Absolute[1] * fragment.Half[1] +
                         plane.Absolute[2] * fragment.Half[2] + BOX_MARGIN;
    return {centre - reach, centre + reach};
}

// What the box alone tells of the distances of all vertices inside it.
enum class EBoxSide { Front, Back, On, Unknown };

EBoxSide BoxSide(const CBoxRange& range)
{
    // A NaN anywhere fails every comparison and leaves the vertices to decide.
    if (range.Low > BAND)
        return EBoxSide::Front;
    if (range.High < -BAND)
        return EBoxSide::Back;
    if (range.Low > -BAND && range.High < BAND)
        return EBoxSide::On;
    return EBoxSide::Unknown;
}

EBoxSide BoxSide(const CBoxPlane& plane, const CFragment& fragment)
{
    return BoxSide(BoxRange(plane, fragment));
}

// One pending call of the descent, as in SplitThroughTree: an array that
// lies on the node's plane runs through the back child and then, as it came
// out, through the front child; any other is cut into a front and a back
// array, and the result is the front's, then the back's.
struct CCall {
    enum EStage { START, AFTER_COPLANAR_BACK, AFTER_COPLANAR_FRONT, AFTER_FRONT, AFTER_BACK };
    int32_t Node;
    EStage Stage;
    CFragmentList Input;
    CFragmentList Back;
    CFragmentList FrontResult;
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
    CFragment Store(const std::vector<CVertex>& vertices);
    const float* Distances(const CPlane& plane, const CFragment& fragment);
    bool IsCoplanar(const CFlatNode& node, const CFragment& fragment);
    int32_t Classify(const CFlatNode& node, const CFragment& fragment);
    void CutFragment(const CFlatNode& node, const CFragment& fragment, CFragmentList& front,
                     CFragmentList& back);
    CFragmentList Descend(CFragmentList fragments);
    CFragmentList TakeList();
    void Recycle(CFragmentList& list);
    bool IsCovered(const CFragment& fragment, const CFlatLeaf& leaf);
    CFoundLeaves Assign(const CFragment& fragment);

    const CFlatTree& Tree;
    std::vector<CVertex> Pool;
    std::vector<float> Distance;
    std::vector<CVertex> FrontPiece;
    std::vector<CVertex> BackPiece;
    std::vector<CCall> Calls;
    std::vector<CFragmentList> Spare; // emptied arrays that keep their storage
    std::vector<int32_t> Pending;
    std::vector<int32_t> Reached; // leaves met by the search, in order
};

CFragment CPlaneCutter::Store(const std::vector<CVertex>& vertices)
{
    CVector low = vertices[0].Position;
    CVector high = low;
    for (const CVertex& vertex : vertices) {
        const CVector& p = vertex.Position;
        low = CVector(std::min(low.x, p.x), std::min(low.y, p.y), std::min(low.z, p.z));
        high = CVector(std::max(high.x, p.x), std::max(high.y, p.y), std::max(high.z, p.z));
    }
    CFragment fragment{static_cast<uint32_t>(Pool.size()),
                       static_cast<uint32_t>(vertices.size()),
                       {(double(low.x) + high.x) * 0.5, (double(low.y) + high.y) * 0.5,
                        (double(low.z) + high.z) * 0.5},
                       {(double(high.x) - low.x) * 0.5, (double(high.y) - low.y) * 0.5,
                        (double(high.z) - low.z) * 0.5}};
    Pool.insert(Pool.end(), vertices.begin(), vertices.end());
    return fragment;
}

const float* CPlaneCutter::Distances(const CPlane& plane, const CFragment& fragment)
{
    Distance.resize(fragment.Count);
    const CVertex* pVertices = &Pool[fragment.First];
    for (uint32_t i = 0; i < fragment.Count; ++i)
        Distance[i] = VertexDistance(plane, pVertices[i].Position);
    return Distance.data();
}

// IsCoplanar of the clipping code.
bool CPlaneCutter::IsCoplanar(const CFlatNode& node, const CFragment& fragment)
{
    const CPlane& plane = node.Plane;
    switch (BoxSide(node.Box, fragment)) {
    case EBoxSide::On:
        return true;
    case EBoxSide::Front:
    case EBoxSide::Back:
        return false;
    default:
        break;
    }
    const float* d = Distances(plane, fragment);
    return std::all_of(d, d + fragment.Count, [](float v) { return v >= -BAND && v <= BAND; });
}

// ClassifyFace of the clipping code.
int32_t CPlaneCutter::Classify(const CFlatNode& node, const CFragment& fragment)
{
    const CPlane& plane = node.Plane;
    switch (BoxSide(node.Box, fragment)) {
    case EBoxSide::Front:
        return FACE_FRONT;
    case EBoxSide::Back:
        return FACE_BACK;
    case EBoxSide::On:
        return FACE_ON;
    default:
        break;
    }
    const float* d = Distances(plane, fragment);
    bool bFront = false;
    bool bBack = false;
    for (uint32_t i = 0; i < fragment.Count; ++i) {
        bFront = bFront || d[i] > BAND;
        bBack = bBack || d[i] < -BAND;
    }
    if (bFront && bBack)
        return FACE_SPANNING;
    return bFront ? FACE_FRONT : bBack ? FACE_BACK : FACE_ON;
}

// SplitFace of the clipping code. A piece that would be an unchanged copy of
// the fragment (every vertex on its side, no crossing) is the fragment
// itself, handed on without a copy.
void CPlaneCutter::CutFragment(const CFlatNode& node, const CFragment& fragment,
                               CFragmentList& front, CFragmentList& back)
{
    const EBoxSide side = BoxSide(node.Box, fragment);
    if (side == EBoxSide::Front || side == EBoxSide::Back) {
        (side == EBoxSide::Front ? front : back).push_back(fragment);
        return;
    }
    const CPlane& plane = node.Plane;
    const float* d = Distances(plane, fragment);
    const uint32_t count = fragment.Count;
    auto crosses = [&](uint32_t i) {
        const float d1 = d[(i + 1) % count];
        return (d[i] > BAND && d1 < -BAND) || (d[i] < -BAND && d1 > BAND);
    };
    uint32_t frontCount = 0; // vertices of the input in each piece
    uint32_t backCount = 0;
    uint32_t crossings = 0;
    for (uint32_t i = 0; i < count; ++i) {
        frontCount += d[i] > -BAND ? 1 : 0;
        backCount += d[i] < BAND ? 1 : 0;
        crossings += crosses(i) ? 1 : 0;
    }
    // With every vertex on a piece's side there is nothing across the band to
    // cross to, so no crossing either: the piece is the fragment.
    const bool bFrontWhole = frontCount == count;
    const bool bBackWhole = backCount == count;

    FrontPiece.clear();
    BackPiece.clear();
    for (uint32_t i = 0; i < count && !(bFrontWhole && bBackWhole); ++i) {
        const CVertex& a = Pool[fragment.First + i];
        if (d[i] > -BAND)
            FrontPiece.push_back(a);
        if (d[i] < BAND)
            BackPiece.push_back(a);
        if (crosses(i)) {
            const CVertex crossing = CrossingVertex(plane, a, Pool[fragment.First + (i + 1) % count]);
            FrontPiece.push_back(crossing);
            BackPiece.push_back(crossing);
        }
    }
    // Pieces of 2 or fewer vertices are lost, as SplitFace drops them.
    if (bFrontWhole)
        front.push_back(fragment);
    else if (frontCount + crossings > 2)
        front.push_back(Store(FrontPiece));
    if (bBackWhole)
        back.push_back(fragment);
    else if (backCount + crossings > 2)
        back.push_back(Store(BackPiece));
}

CFragmentList CPlaneCutter::TakeList()
{
    if (Spare.empty())
        return {};
    CFragmentList list = std::move(Spare.back());
    Spare.pop_back();
    return list;
}

void CPlaneCutter::Recycle(CFragmentList& list)
{
    if (list.capacity() == 0)
        return;
    list.clear();
    Spare.push_back(std::move(list));
    list = CFragmentList();
}

// SplitThroughTree from the root, on its own stack. The arrays' storage goes
// round through Spare instead of back to the heap.
CFragmentList CPlaneCutter::Descend(CFragmentList fragments)
{
    CFragmentList result;
    Calls.clear();
    // The input may be 'result' itself.
    auto call = [&](int32_t child, CFragmentList&& input) {
        if (child < 0 || input.empty()) {
            if (&input != &result) {
                Recycle(result);
                result = std::move(input);
            }
            return;
        }
        CCall& added = Calls.emplace_back();
        added.Node = child;
        added.Stage = CCall::START;
        added.Input = std::move(input);
    };
    auto finish = [&](CCall& done) {
        Recycle(done.Input);
        Recycle(done.Back);
        Recycle(done.FrontResult);
        Calls.pop_back();
    };

    call(Tree.Nodes.empty() ? -1 : 0, std::move(fragments));
    while (!Calls.empty()) {
        CCall& at = Calls.back(); // valid until the next call()
        const CFlatNode& node = Tree.Nodes[static_cast<size_t>(at.Node)];
        switch (at.Stage) {
        case CCall::START:
            // Only the first fragment decides whether the array lies on the plane.
            if (IsCoplanar(node, at.Input[0])) {
                at.Stage = CCall::AFTER_COPLANAR_BACK;
                CFragmentList input = std::move(at.Input);
                call(node.Back, std::move(input));
            } else {
                CFragmentList front = TakeList();
                at.Back = TakeList();
                for (const CFragment& fragment : at.Input)
                    CutFragment(node, fragment, front, at.Back);
                Recycle(at.Input);
                at.Stage = CCall::AFTER_FRONT;
                call(node.Front, std::move(front));
            }
            break;
        case CCall::AFTER_COPLANAR_BACK:
            at.Stage = CCall::AFTER_COPLANAR_FRONT;
            call(node.Front, std::move(result));
            break;
        case CCall::AFTER_COPLANAR_FRONT:
            finish(at);
            break;
        case CCall::AFTER_FRONT: {
            at.FrontResult = std::move(result);
            result = CFragmentList();
            at.Stage = CCall::AFTER_BACK;
            CFragmentList back = std::move(at.Back);
            call(node.Back, std::move(back));
            break;
        }
        case CCall::AFTER_BACK:
            at.FrontResult.insert(at.FrontResult.end(), result.begin(), result.end());
            std::swap(result, at.FrontResult);
            finish(at);
            break;
        }
    }
    return result;
}

bool CPlaneCutter::IsCovered(const CFragment& fragment, const CFlatLeaf& leaf)
{
    for (size_t i = 0; i < leaf.Walls.size(); ++i) {
        const CWallPlane& wall = leaf.Walls[i];
        if (!wall.bUsable)
            continue;
        // Off the wall's plane: the box shows it for most walls.
        const EBoxSide side = BoxSide(leaf.WallBoxes[i], fragment);
        if (side == EBoxSide::Front || side == EBoxSide::Back)
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
            switch (Classify(node, fragment)) {
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
    std::vector<CPortal> kept;
    if (!base.pVertices)
        return kept;
    const std::vector<CVertex> square(base.pVertices, base.pVertices + base.VertexCount);
    FreeFace(&base);

    const uint32_t colour = PortalColour();
    for (const CFragment& fragment : Descend({Store(square)})) {
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
        if (d < -BAND || d > BAND)
            return false;
    }
    const int32_t edges = pFace->VertexCount;
    for (int32_t i = 0; i < edges; ++i) {
        const CVector& a = pFace->pVertices[i].Position;
        const CVector& b = pFace->pVertices[(i + 1) % edges].Position;
        const CPlane edgePlane(a, a - facePlane.Normal, b);
        for (int32_t j = 0; j < count; ++j) {
            if (VertexDistance(edgePlane, pVertices[j].Position) > BAND)
                return false;
        }
    }
    return true;
}

std::vector<std::vector<CPortal>> MakePlaneBlocks(const CPlane* pPlanes, int32_t planeCount,
                                                  CBuildNode* pRoot, int32_t threads,
                                                  CProgress* pProgress)
{
    const CFlatTree tree = FlattenTree(pRoot);
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
