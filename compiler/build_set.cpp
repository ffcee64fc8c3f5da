// The set builder: divides a flat face set node by node, choosing each
// splitter among the first candidates by how evenly it divides the set and
// how few faces it cuts. Also the conversion of a parsed map into a face set,
// and the freeing of a built tree.
#include "compiler/build_tree.h"
#include "compiler/face_list.h"
#include "compiler/light.h"
#include "compiler/parallel_for.h"
#include "compiler/place_face.h"
#include "frame/error.h"

#include <array>
#include <climits>
#include <cstdlib>
#include <exception>
#include <new>
#include <vector>

namespace {

constexpr int32_t MAX_PLANE_CANDIDATES = 32;
// Subtrees built side by side per thread, so that uneven ones even out.
constexpr int32_t TASKS_PER_THREAD = 8;
// Sets of at least this many faces score their candidates side by side.
constexpr int32_t PARALLEL_PICK_FACES = 2048;

// One face set waiting to become a node: its parent and the child pointer
// that is to receive it. The set is held by value and owned by the work item.
struct CSetWork {
    CFaceSet Set;
    CBuildNode* pParent;
    CBuildNode** ppSlot;
    int32_t Depth; // the root's children are at 1
};

// Makes the node of one set and hangs it in *ppSlot at once, so that a throw
// further down leaves it reachable from the root. An inner node's two child
// sets come back through pFront and pBack. Null when the set is empty or
// memory fails. Threads score the candidates of a large set.
CBuildNode* MakeSetNode(CFaceSet* pSet, CBuildNode* pParent, CBuildNode** ppSlot, CFaceSet* pFront,
                        CFaceSet* pBack, int32_t threads)
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
        const int32_t i = PickPlane(pSet, threads);
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

// Sets one level deeper than this are built as subtrees of their own, side
// by side: 2^depth of them at most, enough to share out among the threads.
int32_t TaskDepth(int32_t threads)
{
    int32_t depth = 0;
    while ((int64_t(1) << depth) < int64_t(TASKS_PER_THREAD) * threads)
        ++depth;
    return depth;
}

void FreeWork(std::vector<CSetWork>* pWork)
{
    for (CSetWork& work : *pWork)
        FreeFaceSet(&work.Set);
    pWork->clear();
}

// Makes the nodes of the sets on the stack and of all their child sets, in
// the order of the recursive description, except that a set taken at
// stopDepth is moved to *pStopped instead. On a throw the sets still waiting
// are freed; the nodes made hang in the tree.
void BuildPending(std::vector<CSetWork>* pPending, int32_t stopDepth,
                  std::vector<CSetWork>* pStopped, int32_t threads)
{
    std::vector<CSetWork>& pending = *pPending;
    try {
        while (!pending.empty()) {
            CSetWork work = pending.back();
            pending.pop_back();
            if (work.Depth >= stopDepth) {
                pStopped->push_back(work);
                continue;
            }
            CFaceSet childFront;
            CFaceSet childBack;
            CBuildNode* pNode = nullptr;
            try {
                pNode = MakeSetNode(&work.Set, work.pParent, work.ppSlot, &childFront, &childBack,
                                    threads);
            } catch (...) {
                FreeFaceSet(&work.Set);
                throw;
            }
            // A child set is needed only until its node is made.
            FreeFaceSet(&work.Set);
            if (!pNode || pNode->IsLeaf())
                continue;
            pending.push_back({childFront, pNode, &pNode->pFront, work.Depth + 1});
            pending.push_back({childBack, pNode, &pNode->pBack, work.Depth + 1});
        }
    } catch (...) {
        FreeWork(pPending);
        throw;
    }
}

// Builds the stopped subtrees side by side and returns the failure that one
// thread building them in order would meet first: the first subtree's that
// failed, else 'after', the failure that came after them all.
std::exception_ptr BuildSubtrees(std::vector<CSetWork>* pSubtrees, int32_t threads,
                                 std::exception_ptr after)
{
    std::vector<std::exception_ptr> failures(pSubtrees->size());
    ParallelFor(
        static_cast<int64_t>(pSubtrees->size()), threads, [] { return 0; },
        [&](int&, int64_t i) {
            try {
                std::vector<CSetWork> pending{(*pSubtrees)[static_cast<size_t>(i)]};
                std::vector<CSetWork> none;
                BuildPending(&pending, INT32_MAX, &none, 1);
            } catch (...) {
                failures[static_cast<size_t>(i)] = std::current_exception();
            }
        });
    pSubtrees->clear();
    for (const std::exception_ptr& failure : failures) {
        if (failure)
            return failure;
    }
    return after;
}

} // namespace

CBuildNode* BuildTreeFromSet(CFaceSet* pSet, CBuildNode* pParent, int32_t threads)
{
    // The tree can be deeper than a thread's stack allows for recursion on a
    // large map, so the child sets wait on an explicit stack. The back set is
    // pushed last and so taken first: nodes are made in the order of a
    // recursive walk that builds each back subtree before its front subtree.
    // With more than one thread the sets at TaskDepth are put aside and built
    // afterwards side by side; each subtree depends only on its own set, so
    // the tree is the same.
    threads = ThreadCount(threads);
    const int32_t stopDepth = threads > 1 ? TaskDepth(threads) : INT32_MAX;
    CBuildNode* pRoot = nullptr;
    CFaceSet front;
    CFaceSet back;
    try {
        MakeSetNode(pSet, pParent, &pRoot, &front, &back, threads);
    } catch (...) {
        FreeTree(&pRoot);
        throw;
    }
    if (!pRoot || pRoot->IsLeaf())
        return pRoot;
    std::vector<CSetWork> pending{{front, pRoot, &pRoot->pFront, 1},
                                  {back, pRoot, &pRoot->pBack, 1}};
    std::vector<CSetWork> subtrees;
    std::exception_ptr failure;
    try {
        BuildPending(&pending, stopDepth, &subtrees, threads);
    } catch (...) {
        // Every subtree put aside comes before the failure in the order of
        // one thread, which would have built it first.
        failure = std::current_exception();
    }
    failure = BuildSubtrees(&subtrees, threads, failure);
    if (failure) {
        FreeTree(&pRoot);
        std::rethrow_exception(failure);
    }
    return pRoot;
}

int32_t PickPlane(CFaceSet* pSet, int32_t threads)
{
    if (!pSet)
        throw CError("PickPlane(): Null plane set partitioning faces.");

    int32_t tries = pSet->Count >> 4;
    if (tries > MAX_PLANE_CANDIDATES)
        tries = MAX_PLANE_CANDIDATES;
    if (tries < 1)
        tries = 1;

    // The candidates: the first faces whose planes have not served yet.
    // Every node of the tree picks, so they stay off the heap.
    std::array<int32_t, MAX_PLANE_CANDIDATES> candidates;
    int32_t count = 0;
    for (int32_t i = 0; pSet->pFaces && i < pSet->Count && count < tries; ++i) {
        if (pSet->pFaces[i].pPlane)
            candidates[static_cast<size_t>(count++)] = i;
    }
    // Each candidate's score: the imbalance plus the faces that cutting
    // adds; dropped slivers can make the second term, and so the score,
    // negative. The scores only read the set, so a large one shares them out.
    std::array<int32_t, MAX_PLANE_CANDIDATES> scores;
    auto score = [&](int& /*state*/, int64_t k) {
        CFaceSet front;
        CFaceSet back;
        PartitionSet(*pSet->pFaces[candidates[static_cast<size_t>(k)]].pPlane, pSet, &front, &back,
                     true);
        scores[static_cast<size_t>(k)] =
            std::abs(front.Count - back.Count) + (front.Count + back.Count - pSet->Count);
    };
    if (threads > 1 && pSet->Count >= PARALLEL_PICK_FACES) {
        ParallelFor(count, threads, [] { return 0; }, score);
    } else {
        int state = 0;
        for (int32_t k = 0; k < count; ++k)
            score(state, k);
    }

    // The pick, in the candidates' order: a score of -1 counts as none yet.
    int32_t bestScore = -1;
    int32_t bestIndex = -1;
    for (size_t k = 0; k < static_cast<size_t>(count); ++k) {
        if (scores[k] < bestScore || bestScore == -1) {
            bestScore = scores[k];
            bestIndex = candidates[k];
        }
    }
    // With all its tries made the pick stands whatever its score.
    if (count == tries || bestScore >= 0)
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
