// Portal generation. Each plane of the map, flipped first and then as it
// stands, is laid down as one large square and pushed down the tree; the
// fragments that come out are assigned to the leaves they lie against, and
// those that join exactly two leaves are kept. BuildPortals then links each
// kept portal into the lists of its two leaves, once per plane orientation
// and neighbour.
//
// The tree can be thousands of levels deep, so none of the walks here
// recurse: each keeps its own stack and visits the nodes in the order of the
// recursive walk it stands for.
#include "compiler/portal.h"

#include "compiler/clip.h"
#include "compiler/face_list.h"
#include "compiler/portal_fragments.h"
#include "compiler/progress.h"
#include "frame/error.h"

#include <cmath>
#include <cstdint>
#include <functional>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

namespace {

// Cuts a face by a plane, as SplitFace does, into *pBack and *pFront (both
// empty on entry). A face with no vertex inside or behind the band goes to
// the front as it is, and one with none inside or in front of it to the
// back: SplitFace would give that side an exact copy and the other side
// nothing, so the face is handed over instead of copied. On return *pFace
// is empty either way.
void CutFace(const CPlane& plane, CLeafFace* pFace, CLeafFace* pBack, CLeafFace* pFront)
{
    bool bAnyFront = false; // some vertex goes to the front queue
    bool bAnyBack = false;  // some vertex goes to the back queue
    for (int32_t i = 0; pFace->pVertices && i < pFace->VertexCount; ++i) {
        const float d = VertexDistance(plane, pFace->pVertices[i].Position);
        if (d > -PLANE_EPSILON)
            bAnyFront = true;
        if (d < PLANE_EPSILON)
            bAnyBack = true;
    }
    if (pFace->pVertices && pFace->VertexCount > 2 && bAnyFront != bAnyBack) {
        *(bAnyFront ? pFront : pBack) = *pFace;
        *pFace = CLeafFace();
        return;
    }
    SplitFace(plane, pFace, pBack, pFront);
    FreeFace(pFace);
}

// The faces that a descent of SplitThroughTree has in hand.
using CFaceList = std::vector<CLeafFace>;

// One pending call of the descent. A fragment array that lies on the node's
// plane runs through the back child and then, as it came out, through the
// front child. Any other array is cut into a front and a back array, which
// run through their children; the result is the front's, then the back's.
struct CSplitCall {
    enum EStage { START, AFTER_COPLANAR_BACK, AFTER_COPLANAR_FRONT, AFTER_FRONT, AFTER_BACK };
    CBuildNode* pNode;
    EStage Stage;
    CFaceList Input;       // the array handed to this call, until it is used
    CFaceList Back;        // cut case: the back array, waiting for its turn
    CFaceList FrontResult; // cut case: what came out of the front child
};

// The descent of SplitThroughTree on vectors. Each call's result comes back
// in 'result'; a call with no node or no faces gives its input back as is.
CFaceList SplitThroughSubtree(CFaceList faces, CBuildNode* pNode)
{
    CFaceList result;
    std::vector<CSplitCall> calls;
    // The input is taken by value: it may be 'result' itself.
    auto call = [&](CBuildNode* pChild, CFaceList input) {
        if (!pChild || input.empty()) {
            result = std::move(input);
            return;
        }
        calls.push_back({pChild, CSplitCall::START, std::move(input), {}, {}});
    };

    call(pNode, std::move(faces));
    while (!calls.empty()) {
        const size_t top = calls.size() - 1;
        CBuildNode* pAt = calls[top].pNode;
        switch (calls[top].Stage) {
        case CSplitCall::START:
            // Only the first fragment decides whether the array lies on the
            // plane: an array holds the pieces of one polygon, so the first
            // stands for all of them.
            if (IsCoplanar(pAt->Plane, &calls[top].Input[0])) {
                calls[top].Stage = CSplitCall::AFTER_COPLANAR_BACK;
                call(pAt->pBack, std::move(calls[top].Input));
            } else {
                CFaceList front;
                CFaceList back;
                for (CLeafFace& face : calls[top].Input) {
                    CLeafFace backPart;
                    CLeafFace frontPart;
                    CutFace(pAt->Plane, &face, &backPart, &frontPart);
                    if (frontPart.VertexCount > 2)
                        front.push_back(frontPart);
                    else
                        FreeFace(&frontPart);
                    if (backPart.VertexCount > 2)
                        back.push_back(backPart);
                    else
                        FreeFace(&backPart);
                }
                calls[top].Input.clear();
                calls[top].Back = std::move(back);
                calls[top].Stage = CSplitCall::AFTER_FRONT;
                call(pAt->pFront, std::move(front));
            }
            break;
        case CSplitCall::AFTER_COPLANAR_BACK:
            calls[top].Stage = CSplitCall::AFTER_COPLANAR_FRONT;
            call(pAt->pFront, std::move(result));
            break;
        case CSplitCall::AFTER_COPLANAR_FRONT:
            // The front child's result is this call's result.
            calls.pop_back();
            break;
        case CSplitCall::AFTER_FRONT:
            calls[top].FrontResult = std::move(result);
            calls[top].Stage = CSplitCall::AFTER_BACK;
            call(pAt->pBack, std::move(calls[top].Back));
            break;
        case CSplitCall::AFTER_BACK: {
            CFaceList joined = std::move(calls[top].FrontResult);
            joined.insert(joined.end(), result.begin(), result.end());
            result = std::move(joined);
            calls.pop_back();
            break;
        }
        }
    }
    return result;
}

// A new array of portals, one per face, each with the plane and reset. The
// faces' vertex arrays are handed over to the windings.
CPortal* PortalsFromFaces(CLeafFace* pFaces, int32_t count, const CPlane& plane)
{
    CPortal* pPortals = new CPortal[count];
    for (int32_t i = 0; i < count; ++i) {
        pPortals[i].Plane = plane;
        pPortals[i].Winding = pFaces[i];
        ResetPortal(&pPortals[i]);
    }
    return pPortals;
}

// What the leaf search needs again and again within one pass: its stack,
// and the wall planes of each leaf met so far, which would otherwise be
// made anew for every fragment that reaches the leaf.
struct CAssignScratch {
    std::vector<CBuildNode*> Pending;
    std::unordered_map<const CBuildNode*, std::vector<CWallPlane>> Walls;

    const std::vector<CWallPlane>& WallsOf(const CBuildNode* pLeaf)
    {
        auto [it, bNew] = Walls.try_emplace(pLeaf);
        if (bNew) {
            it->second.reserve(pLeaf->FaceCount);
            for (int32_t i = 0; i < pLeaf->FaceCount; ++i)
                it->second.push_back(WallPlane(&pLeaf->pFaces[i]));
        }
        return it->second;
    }
};

// AssignPortal with scratch space that the caller may keep between portals
// as long as the leaves' faces stay as they are.
void AssignPortalWith(CBuildNode* pRoot, CPortal* pPortal, CAssignScratch& scratch)
{
    std::vector<CBuildNode*>& pending = scratch.Pending;
    pending.clear();
    pending.push_back(pRoot);
    while (!pending.empty()) {
        CBuildNode* pNode = pending.back();
        pending.pop_back();
        if (!pNode)
            continue;
        if (!pNode->IsLeaf()) {
            // The back child is pushed last, so its subtree is searched first.
            switch (ClassifyFace(&pPortal->Winding, pNode->Plane)) {
            case FACE_BACK:
                pending.push_back(pNode->pBack);
                break;
            case FACE_ON:
                pending.push_back(pNode->pFront);
                pending.push_back(pNode->pBack);
                break;
            case FACE_FRONT:
                pending.push_back(pNode->pFront);
                break;
            default: // spanning: no leaf below holds the whole fragment
                break;
            }
            continue;
        }
        if (pPortal->pNodes[0] == pNode || pPortal->pNodes[1] == pNode)
            continue;
        const std::vector<CWallPlane>& walls = scratch.WallsOf(pNode);
        bool bCovered = false;
        for (int32_t i = 0; i < pNode->FaceCount && !bCovered; ++i)
            bCovered = walls[i].bUsable && WallCovers(pPortal->Winding.pVertices,
                                                      pPortal->Winding.VertexCount,
                                                      &pNode->pFaces[i], walls[i].Plane);
        if (bCovered) {
            pPortal->bBlocked = true;
            continue;
        }
        // A third leaf is ignored.
        if (pPortal->NodeCount < 2)
            pPortal->pNodes[pPortal->NodeCount++] = pNode;
    }
}

// True when the entry joins the same two leaves on the same plane, in the
// same orientation, as the portal.
bool IsDuplicateLink(const CPortal* pEntry, const CPortal* pPortal, const CBuildNode* pLeaf,
                     const CBuildNode* pOther)
{
    if (!ComponentsNear(pEntry->Plane.Normal, pPortal->Plane.Normal))
        return false;
    if (!FloatNear(pEntry->Plane.Distance, pPortal->Plane.Distance, PLANE_EPSILON))
        return false;
    if (pEntry->pNodes[0] == pLeaf)
        return pEntry->pNodes[1] == pOther;
    return pEntry->pNodes[0] == pOther;
}

} // namespace

uint32_t PortalColour()
{
    return MakeARGB(1.0f, 1.0f, 1.0f, 0.15f);
}

int32_t BuildPortals(const CPlane* pPlanes, int32_t planeCount, CBuildNode* pRoot,
                     CPortal** ppPortals, const CPortalRun& run)
{
    if (!ppPortals)
        return 0;
    const int32_t count = MakeAllPortals(pPlanes, planeCount, pRoot, ppPortals, run);
    CPortal* pPortals = *ppPortals;

    // The lists grow in vectors of their own, started from what each leaf
    // already holds, and go back into the leaves' arrays once at the end.
    std::unordered_map<CBuildNode*, std::vector<CPortal*>> lists;
    for (int64_t k = 0; k < 2 * static_cast<int64_t>(count); ++k) {
        CPortal* pPortal = &pPortals[k / 2];
        const int side = static_cast<int>(k % 2);
        CBuildNode* pLeaf = pPortal->pNodes[side];
        CBuildNode* pOther = pPortal->pNodes[1 - side];
        if (!pLeaf)
            continue;
        pPortal->bBlocked = true;

        auto [it, bNew] = lists.try_emplace(pLeaf);
        std::vector<CPortal*>& list = it->second;
        if (bNew && pLeaf->pPortals)
            list.assign(pLeaf->pPortals, pLeaf->pPortals + pLeaf->PortalCount);

        bool bDuplicate = false;
        for (const CPortal* pEntry : list) {
            if (pEntry && IsDuplicateLink(pEntry, pPortal, pLeaf, pOther)) {
                bDuplicate = true;
                break;
            }
        }
        if (bDuplicate)
            continue; // stays blocked
        list.push_back(pPortal);
        pPortal->bBlocked = false;
    }

    for (auto& [pLeaf, list] : lists) {
        const int32_t length = static_cast<int32_t>(list.size());
        if (length == pLeaf->PortalCount)
            continue;
        CPortal** pArray = new CPortal*[length];
        for (int32_t i = 0; i < length; ++i)
            pArray[i] = list[i];
        delete[] pLeaf->pPortals;
        pLeaf->pPortals = pArray;
        pLeaf->PortalCount = length;
    }
    return count;
}

int32_t MakeAllPortals(const CPlane* pPlanes, int32_t planeCount, CBuildNode* pRoot,
                       CPortal** ppPortals, const CPortalRun& run)
{
    if (!ppPortals)
        return 0;
    *ppPortals = nullptr;
    if (!pPlanes || planeCount <= 0)
        return 0;

    CProgress progress(run.pProgress, "portals", "plane sides", 2 * int64_t(planeCount));
    std::vector<std::vector<CPortal>> blocks =
        MakePlaneBlocks(pPlanes, planeCount, pRoot, run.Threads, &progress);
    size_t total = 0;
    for (const std::vector<CPortal>& block : blocks)
        total += block.size();
    // The newest plane's block first; the windings are handed over.
    CPortal* pAll = new CPortal[total];
    size_t at = 0;
    for (auto block = blocks.rbegin(); block != blocks.rend(); ++block) {
        for (const CPortal& portal : *block)
            pAll[at++] = portal;
    }
    *ppPortals = pAll;
    return static_cast<int32_t>(total);
}

int32_t MakePlanePortals(const CPlane* pPlane, CBuildNode* pRoot, CPortal** ppPortals)
{
    CPlane plane = *pPlane;
    CLeafFace* pFaces = new CLeafFace[1];
    MakeBaseFace(g_fBaseFaceSize, plane, &pFaces[0]);
    const int32_t count = SplitThroughTree(&pFaces, 1, pRoot);
    *ppPortals = PortalsFromFaces(pFaces, count, plane);
    delete[] pFaces;
    return count;
}

int32_t SplitThroughTree(CLeafFace** ppFaces, int32_t faceCount, CBuildNode* pNode)
{
    if (!pNode || !ppFaces || !*ppFaces || faceCount <= 0)
        return faceCount;

    CFaceList faces(*ppFaces, *ppFaces + faceCount);
    CFaceList result = SplitThroughSubtree(std::move(faces), pNode);

    CLeafFace* pOld = *ppFaces;
    delete[] pOld;
    const int32_t count = static_cast<int32_t>(result.size());
    *ppFaces = new CLeafFace[count];
    for (int32_t i = 0; i < count; ++i)
        (*ppFaces)[i] = result[i];
    return count;
}

void AssignPortals(CBuildNode* pRoot, CPortal* pPortals, int32_t count)
{
    CAssignScratch scratch;
    for (int32_t i = 0; pPortals && i < count; ++i)
        AssignPortalWith(pRoot, &pPortals[i], scratch);
}

void AssignPortal(CBuildNode* pNode, CPortal* pPortal)
{
    CAssignScratch scratch;
    AssignPortalWith(pNode, pPortal, scratch);
}

bool FaceCoversPortal(const CPortal* pPortal, const CLeafFace* pFace)
{
    const CWallPlane wall = WallPlane(pFace);
    return wall.bUsable && pPortal->Winding.pVertices &&
           WallCovers(pPortal->Winding.pVertices, pPortal->Winding.VertexCount, pFace, wall.Plane);
}

void ResetPortal(CPortal* pPortal)
{
    const uint32_t colour = PortalColour();
    for (int32_t i = 0; pPortal->Winding.pVertices && i < pPortal->Winding.VertexCount; ++i)
        pPortal->Winding.pVertices[i].Colour = colour;
    pPortal->pNodes[0] = nullptr;
    pPortal->pNodes[1] = nullptr;
    pPortal->NodeCount = 0;
    pPortal->bBlocked = false;
}

bool CopyPortal(CPortal* pTo, const CPortal* pFrom)
{
    pTo->Plane = pFrom->Plane;
    pTo->pNodes[0] = pFrom->pNodes[0];
    pTo->pNodes[1] = pFrom->pNodes[1];
    pTo->NodeCount = pFrom->NodeCount;
    pTo->bBlocked = pFrom->bBlocked;
    return CopyFace(&pTo->Winding, &pFrom->Winding);
}

void RecutPortals(CPortal* pPortals, int32_t count)
{
    for (int32_t i = 0; pPortals && i < count; ++i) {
        CPortal& portal = pPortals[i];
        FreeFace(&portal.Winding);
        if (portal.bBlocked)
            continue;
        CPlane plane = portal.Plane;
        MakeBaseFace(g_fBaseFaceSize, plane, &portal.Winding);

        for (CBuildNode* pLeaf : portal.pNodes) {
            if (!pLeaf)
                continue;
            const CVector centre = LeafCentre(pLeaf);
            // The leaf's own plane first, then each plane above it.
            for (CBuildNode* pNode = pLeaf; pNode && portal.Winding.pVertices;
                 pNode = pNode->pParent) {
                if (IsCoplanar(pNode->Plane, &portal.Winding))
                    continue;
                CLeafFace back;
                CLeafFace front;
                SplitFace(pNode->Plane, &portal.Winding, &back, &front);
                FreeFace(&portal.Winding);
                if (VertexDistance(pNode->Plane, centre) > PLANE_EPSILON) {
                    portal.Winding = front;
                    FreeFace(&back);
                } else {
                    portal.Winding = back;
                    FreeFace(&front);
                }
            }
        }
    }
}

CVector LeafCentre(const CBuildNode* pNode)
{
    if (!pNode || !pNode->pFaces)
        return CVector();
    CVector sum;
    int32_t count = 0;
    for (int32_t i = 0; i < pNode->FaceCount; ++i) {
        const CLeafFace& face = pNode->pFaces[i];
        for (int32_t j = 0; face.pVertices && j < face.VertexCount; ++j) {
            sum += face.pVertices[j].Position;
            ++count;
        }
    }
    if (count == 0)
        return CVector();
    return sum / static_cast<float>(count);
}

void FreePortals(CPortal** ppPortals, int32_t count)
{
    if (!ppPortals || !*ppPortals)
        return;
    CPortal* pPortals = *ppPortals;
    const CPortal* pEnd = pPortals + count;
    const std::less<const CPortal*> before;

    // Every link to a portal of this array sits in one of its two leaves;
    // each such leaf's list is cleared of them once.
    std::unordered_set<CBuildNode*> cleared;
    for (int32_t i = 0; i < count; ++i) {
        for (CBuildNode* pLeaf : pPortals[i].pNodes) {
            if (!pLeaf || !cleared.insert(pLeaf).second)
                continue;
            for (int32_t j = 0; pLeaf->pPortals && j < pLeaf->PortalCount; ++j) {
                const CPortal* pEntry = pLeaf->pPortals[j];
                if (pEntry && !before(pEntry, pPortals) && before(pEntry, pEnd))
                    pLeaf->pPortals[j] = nullptr;
            }
        }
    }
    for (int32_t i = 0; i < count; ++i)
        FreeFace(&pPortals[i].Winding);
    delete[] pPortals;
    *ppPortals = nullptr;
}

int32_t MakePortals(const CPlane* pPlane, CBuildNode* pRoot, CPortal** ppPortals)
{
    CPlane plane = *pPlane;
    CLeafFace base;
    MakeBaseFace(g_fBaseFaceSize, plane, &base);

    // A polygon that reaches a null child is a portal. Front parts are
    // taken before back parts, so the portals come out front first at
    // every level, as a concatenation of front and back results would.
    std::vector<CLeafFace> found;
    std::vector<std::pair<CBuildNode*, CLeafFace>> pending;
    pending.emplace_back(pRoot, base);
    while (!pending.empty()) {
        auto [pNode, face] = pending.back();
        pending.pop_back();
        if (!pNode) {
            found.push_back(face);
            continue;
        }
        CLeafFace back;
        CLeafFace front;
        SplitFace(pNode->Plane, &face, &back, &front);
        FreeFace(&face);
        if (back.VertexCount > 2)
            pending.emplace_back(pNode->pBack, back);
        else
            FreeFace(&back);
        if (front.VertexCount > 2)
            pending.emplace_back(pNode->pFront, front);
        else
            FreeFace(&front);
    }

    const int32_t count = static_cast<int32_t>(found.size());
    *ppPortals = PortalsFromFaces(found.data(), count, plane);
    return count;
}

int32_t MakePortals2(const CPlane* pPlane, const CPlane* pPlanes, int32_t planeCount,
                     CPortal** ppPortals)
{
    CPlane plane = *pPlane;
    int32_t count = 1;
    CPortal* pPortals = new CPortal[1];
    pPortals[0].Plane = *pPlane;
    MakeBaseFace(g_fBaseFaceSize, plane, &pPortals[0].Winding);
    CFaceStackNode* pStack = nullptr;

    // What is held is freed before an error leaves.
    auto fail = [&](const char* pszText) {
        for (int32_t i = 0; i < count; ++i)
            FreeFace(&pPortals[i].Winding);
        delete[] pPortals;
        CLeafFace face;
        while (PopFace(&pStack, &face))
            FreeFace(&face);
        throw CError(pszText);
    };

    for (int32_t p = 0; pPlanes && p < planeCount; ++p) {
        const CPlane& cut = pPlanes[p];
        if (IsCoplanar(cut, &pPortals[0].Winding))
            continue;
        // Every part is counted, pushed or not, so that a push that fails
        // shows up as a stack too short.
        int32_t pushes = 0;
        for (int32_t i = 0; i < count; ++i) {
            CLeafFace back;
            CLeafFace front;
            SplitFace(cut, &pPortals[i].Winding, &back, &front);
            if (front.VertexCount > 2) {
                PushFace(&pStack, front);
                ++pushes;
            }
            if (back.VertexCount > 2) {
                PushFace(&pStack, back);
                ++pushes;
            }
            FreeFace(&back);
            FreeFace(&front);
        }
        if (pushes == 0)
            fail("Lost all faces.");

        for (int32_t i = 0; i < count; ++i)
            FreeFace(&pPortals[i].Winding);
        delete[] pPortals;
        pPortals = new CPortal[pushes];
        count = pushes;
        for (int32_t i = 0; i < count; ++i) {
            pPortals[i].Plane = *pPlane;
            if (!PopFace(&pStack, &pPortals[i].Winding))
                fail("MakePortals2(): Missing Faces.");
        }
        if (pStack)
            fail("Face without a home.");
    }

    for (int32_t i = 0; i < count; ++i)
        ResetPortal(&pPortals[i]);
    *ppPortals = pPortals;
    return count;
}
