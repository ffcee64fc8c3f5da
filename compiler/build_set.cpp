// The set builder: divides a flat face set node by node, choosing each
// splitter among the first candidates by how evenly it divides the set and
// how few faces it cuts. Also the conversion of a parsed map into a face set,
// and the freeing of a built tree.
#include "compiler/build_tree.h"
#include "compiler/face_list.h"
#include "compiler/light.h"
#include "compiler/place_face.h"
#include "frame/error.h"

#include <cstdlib>
#include <new>
#include <vector>

namespace {

constexpr int32_t MAX_PLANE_CANDIDATES = 32;

// One face set waiting to become a node: its parent and the child pointer
// that is to receive it. The set is held by value and owned by the work item.
struct CSetWork {
    CFaceSet Set;
    CBuildNode* pParent;
    CBuildNode** ppSlot;
};

// Makes the node of one set and hangs it in *ppSlot at once, so that a throw
// further down leaves it reachable from the root. An inner node's two child
// sets come back through pFront and pBack. Null when the set is empty or
// memory fails.
CBuildNode* MakeSetNode(CFaceSet* pSet, CBuildNode* pParent, CBuildNode** ppSlot, CFaceSet* pFront,
                        CFaceSet* pBack)
{
    *ppSlot = nullptr;
    if (!pSet || pSet->Count < 1 || !pSet->pFaces)
        return nullptr;

    CBuildNode* pNode = new (std::nothrow) CBuildNode();
    if (!pNode)
        return nullptr;
    pNode->pParent = pParent;
    *ppSlot = pNode;

    if (!IsConvexSet(pSet, true)) {
        const int32_t i = PickPlane(pSet);
        CLeafFace& splitFace = pSet->pFaces[i];
        if (!splitFace.pPlane)
            throw CError("Splitting plane does not exist... wtf?!");
        pNode->Plane = *splitFace.pPlane;
        delete splitFace.pPlane;
        splitFace.pPlane = nullptr;
        if (!PartitionSet(pNode->Plane, pSet, pFront, pBack, false)) {
            // Both outputs were freed; with no faces on either side the node
            // simply ends without children.
            pFront->Count = 0;
            pBack->Count = 0;
        }
        return pNode;
    }

    const int32_t count = pSet->Count;
    pNode->pPlaneIndices = new (std::nothrow) int32_t[count];
    pNode->pFaces = new (std::nothrow) CLeafFace[count];
    if (!pNode->pPlaneIndices || !pNode->pFaces) {
        delete[] pNode->pPlaneIndices;
        delete[] pNode->pFaces;
        delete pNode;
        *ppSlot = nullptr;
        return nullptr;
    }
    pNode->FaceCount = count;

    // The leaf takes the first plane not yet used; a set whose planes have
    // all served falls back to the plane of its first face.
    bool bFound = false;
    for (int32_t i = 0; i < count; ++i) {
        CLeafFace& face = pSet->pFaces[i];
        if (face.pPlane) {
            pNode->Plane = *face.pPlane;
            delete face.pPlane;
            face.pPlane = nullptr;
            bFound = true;
            break;
        }
    }
    if (!bFound && pSet->pPlanes)
        pNode->Plane = pSet->pPlanes[0];

    for (int32_t i = 0; i < count; ++i) {
        pNode->pPlaneIndices[i] = pSet->pPlaneIndices ? pSet->pPlaneIndices[i] : 0;
        CopyFace(&pNode->pFaces[i], &pSet->pFaces[i]);
    }
    return pNode;
}

} // namespace

CBuildNode* BuildTreeFromSet(CFaceSet* pSet, CBuildNode* pParent)
{
    // The tree can be deeper than a thread's stack allows for recursion on a
    // large map, so the child sets wait on an explicit stack. The back set is
    // pushed last and so taken first: nodes are made in the order of a
    // recursive walk that builds each back subtree before its front subtree.
    CBuildNode* pRoot = nullptr;
    std::vector<CSetWork> pending;
    try {
        CFaceSet front;
        CFaceSet back;
        MakeSetNode(pSet, pParent, &pRoot, &front, &back);
        if (!pRoot || pRoot->IsLeaf())
            return pRoot;
        pending.push_back({front, pRoot, &pRoot->pFront});
        pending.push_back({back, pRoot, &pRoot->pBack});

        while (!pending.empty()) {
            CSetWork work = pending.back();
            pending.pop_back();

            CFaceSet childFront;
            CFaceSet childBack;
            CBuildNode* pNode = nullptr;
            try {
                pNode = MakeSetNode(&work.Set, work.pParent, work.ppSlot, &childFront, &childBack);
            } catch (...) {
                FreeFaceSet(&work.Set);
                throw;
            }
            // A child set is needed only until its node is made.
            FreeFaceSet(&work.Set);
            if (!pNode || pNode->IsLeaf())
                continue;
            pending.push_back({childFront, pNode, &pNode->pFront});
            pending.push_back({childBack, pNode, &pNode->pBack});
        }
    } catch (...) {
        // The error goes on to the caller; what was built so far is freed.
        for (CSetWork& work : pending)
            FreeFaceSet(&work.Set);
        FreeTree(&pRoot);
        throw;
    }
    return pRoot;
}

int32_t PickPlane(CFaceSet* pSet)
{
    if (!pSet)
        throw CError("PickPlane(): Null plane set partitioning faces.");

    int32_t tries = pSet->Count >> 4;
    if (tries > MAX_PLANE_CANDIDATES)
        tries = MAX_PLANE_CANDIDATES;
    if (tries < 1)
        tries = 1;

    int32_t bestScore = -1;
    int32_t bestIndex = -1;
    for (int32_t i = 0; pSet->pFaces && i < pSet->Count; ++i) {
        const CPlane* pPlane = pSet->pFaces[i].pPlane;
        if (!pPlane)
            continue;
        CFaceSet front;
        CFaceSet back;
        PartitionSet(*pPlane, pSet, &front, &back, true);
        // Imbalance plus the faces that cutting adds; dropped slivers can
        // make the second term, and so the score, negative.
        const int32_t score =
            std::abs(front.Count - back.Count) + (front.Count + back.Count - pSet->Count);
        if (score < bestScore || bestScore == -1) {
            bestScore = score;
            bestIndex = i;
        }
        if (--tries == 0)
            return bestIndex;
    }
    if (bestScore >= 0)
        return bestIndex;
    throw CError("PickPlane(): Could not find a splitting plane.");
}

bool PartitionSet(const CPlane& plane, CFaceSet* pSet, CFaceSet* pFront, CFaceSet* pBack,
                  bool bCountOnly)
{
    if (!pFront || !pBack || !pSet)
        return false;
    *pFront = CFaceSet();
    *pBack = CFaceSet();
    if (pSet->Count > 0 && (!pSet->pFaces || !pSet->pPlanes || !pSet->pPlaneIndices))
        return false;

    if (!bCountOnly) {
        // A face gives each side at most one piece, so Count is room enough.
        const int32_t room = pSet->Count;
        pFront->pFaces = new (std::nothrow) CLeafFace[room];
        pFront->pPlanes = new (std::nothrow) CPlane[room];
        pFront->pPlaneIndices = new (std::nothrow) int32_t[room];
        pBack->pFaces = new (std::nothrow) CLeafFace[room];
        pBack->pPlanes = new (std::nothrow) CPlane[room];
        pBack->pPlaneIndices = new (std::nothrow) int32_t[room];
        if (!pFront->pFaces || !pFront->pPlanes || !pFront->pPlaneIndices || !pBack->pFaces ||
            !pBack->pPlanes || !pBack->pPlaneIndices) {
            pFront->Count = 0;
            pBack->Count = 0;
            FreeFaceSet(pFront);
            FreeFaceSet(pBack);
            return false;
        }
    }
    pFront->Count = 0;
    pBack->Count = 0;

    for (int32_t i = 0; i < pSet->Count; ++i) {
        const CLeafFace& face = pSet->pFaces[i];
        const CPlane& facePlane = pSet->pPlanes[i];
        const int32_t planeIndex = pSet->pPlaneIndices[i];
        if (bCountOnly) {
            int32_t backCount = 0;
            int32_t frontCount = 0;
            CountPlacedFace(plane, &face, facePlane.Distance, &backCount, &frontCount);
            pBack->Count += backCount;
            pFront->Count += frontCount;
            continue;
        }
        CLeafFace back;
        CLeafFace front;
        switch (PlaceFace(plane, &face, facePlane.Distance, &back, &front)) {
        case EFacePlacement::WholeFront:
            AddToSet(face, facePlane, planeIndex, pFront, false);
            break;
        case EFacePlacement::WholeBack:
            AddToSet(face, facePlane, planeIndex, pBack, false);
            break;
        case EFacePlacement::Pieces:
            if (back.VertexCount > 2)
                AddToSet(back, facePlane, planeIndex, pBack, false);
            if (front.VertexCount > 2)
                AddToSet(front, facePlane, planeIndex, pFront, false);
            FreeFace(&back);
            FreeFace(&front);
            break;
        }
    }
    return true;
}

bool IsConvexSet(const CFaceSet* pSet, bool bRequireUsed)
{
    if (!pSet || !pSet->pFaces || !pSet->pPlanes || pSet->Count < 2)
        return true;

    // A face whose plane has not served yet rules the set out whatever the
    // geometry, so that cheap test runs over all faces first.
    if (bRequireUsed) {
        for (int32_t i = 0; i < pSet->Count; ++i) {
            if (pSet->pFaces[i].pPlane)
                return false;
        }
    }
    const float limit = -PLANE_EPSILON;
    for (int32_t p = 0; p < pSet->Count; ++p) {
        const CPlane& plane = pSet->pPlanes[p];
        for (int32_t i = 0; i < pSet->Count; ++i) {
            const CLeafFace& face = pSet->pFaces[i];
            for (int32_t v = 0; v < face.VertexCount; ++v) {
                if (static_cast<float>(plane.DistanceTo(face.pVertices[v].Position)) < limit)
                    return false;
            }
        }
    }
    return true;
}

bool MakeFaceSetFromMap(const CMapData* pMap, CFaceSet* pSet)
{
    if (!pMap || !pSet)
        return false;
    *pSet = CFaceSet();

    int32_t count = 0;
    for (const CFaceEntry* pEntry = pMap->pFaces; pEntry; pEntry = pEntry->pNext) {
        if (pEntry->pPlaneNode && pEntry->Face.VertexCount >= 3)
            ++count;
    }
    if (count == 0)
        return true;

    pSet->pFaces = new (std::nothrow) CLeafFace[count];
    pSet->pPlanes = new (std::nothrow) CPlane[count];
    pSet->pPlaneIndices = new (std::nothrow) int32_t[count];
    if (!pSet->pFaces || !pSet->pPlanes || !pSet->pPlaneIndices) {
        FreeFaceSet(pSet);
        return false;
    }

    int32_t i = 0;
    for (const CFaceEntry* pEntry = pMap->pFaces; pEntry; pEntry = pEntry->pNext) {
        if (!pEntry->pPlaneNode || pEntry->Face.VertexCount < 3)
            continue;
        CLeafFace& face = pSet->pFaces[i];
        pSet->Count = i + 1;
        if (!CopyFace(&face, &pEntry->Face)) {
            FreeFaceSet(pSet);
            pSet->Count = 0;
            return false;
        }
        // The face's own plane record is made from the plane table below.
        delete face.pPlane;
        face.pPlane = nullptr;
        pSet->pPlanes[i] = pEntry->pPlaneNode->Plane;
        pSet->pPlaneIndices[i] = i; // the plane's place in this set's own array
        ++i;
    }
    return FillFacePlanes(pSet);
}

void FreeTree(CBuildNode** ppNode)
{
    if (!ppNode)
        return;
    // Each node's own arrays go first, then its back subtree, then its front
    // subtree; an explicit stack keeps deep trees off the call stack.
    std::vector<CBuildNode*> pending;
    if (*ppNode)
        pending.push_back(*ppNode);
    *ppNode = nullptr;
    while (!pending.empty()) {
        CBuildNode* pNode = pending.back();
        pending.pop_back();
        if (pNode->pFront)
            pending.push_back(pNode->pFront);
        if (pNode->pBack)
            pending.push_back(pNode->pBack);

        delete[] pNode->pPlaneIndices;
        for (int32_t i = 0; pNode->pFaces && i < pNode->FaceCount; ++i)
            FreeFace(&pNode->pFaces[i]);
        delete[] pNode->pFaces;
        // The portals belong to the portal array of the compile; only this
        // leaf's array of pointers to them is freed here.
        delete[] pNode->pPortals;
        if (!pNode->bSharesVisibleLeaves)
            delete[] pNode->pVisibleLeaves;
        for (int32_t i = 0; pNode->pGrids && i < pNode->FaceCount; ++i)
            FreeGrid(&pNode->pGrids[i]);
        delete[] pNode->pGrids;
        delete pNode;
    }
}
