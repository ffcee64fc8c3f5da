#include "compiler/plane_set.h"

#include <cstddef>
#include <new>
#include <utility>
#include <vector>

namespace {

// Drops from the middle group each plane whose normal matches that of a plane
// at a lower position; the last plane moves into the hole and is compared in
// its turn.
void MergeMiddle(std::vector<CPlane>& middle)
{
    size_t count = middle.size();
    for (size_t i = 0; i < count; ++i) {
        size_t j = i + 1;
        while (j < count) {
            if (ComponentsNear(middle[i].Normal, middle[j].Normal)) {
                middle[j] = middle[count - 1];
                --count;
            } else {
                ++j;
            }
        }
    }
    middle.resize(count);
}

// A piece of the sort still to do: a group to divide round its pivot, or a
// finished middle group to append to the output.
struct CPlaneTask {
    std::vector<CPlane> Planes;
    bool bFinished;
};

// Faces of one reached leaf go to the set with their planes from the source.
bool AddLeafFaces(const CBuildNode* pLeaf, const CFaceSet* pSource, CFaceSet* pSet)
{
    for (int32_t i = 0; i < pLeaf->FaceCount; ++i) {
        const int32_t index = pLeaf->pPlaneIndices[i];
        AddToSet(pLeaf->pFaces[i], pSource->pPlanes[index], index, pSet, false);
        const CLeafFace& copy = pSet->pFaces[pSet->Count - 1];
        if (copy.VertexCount > 0 && pLeaf->pFaces[i].pVertices && !copy.pVertices)
            return false;
        if (pLeaf->pFaces[i].pPlane && !copy.pPlane)
            return false;
    }
    return true;
}

bool HasFloodedFaces(const CBuildNode* pNode)
{
    return pNode->bVisited && pNode->pFaces && pNode->FaceCount > 0;
}

bool IndicesValid(const CBuildNode* pLeaf, const CFaceSet* pSource)
{
    if (!pLeaf->pPlaneIndices || !pSource->pPlanes)
        return false;
    for (int32_t i = 0; i < pLeaf->FaceCount; ++i) {
        if (pLeaf->pPlaneIndices[i] < 0 || pLeaf->pPlaneIndices[i] >= pSource->Count)
            return false;
    }
    return true;
}

} // namespace

void MakeUniquePlanes(const CPlane* pPlanes, int32_t count, CPlane** ppUnique,
                      int32_t* pUniqueCount)
{
    *ppUnique = nullptr;
    *pUniqueCount = 0;
    if (!pPlanes || count < 1)
        return;

    try {
        // The recursion of the sort runs on a stack of tasks: a group's below
        // part is finished before its middle group is appended and its above
        // part is begun, which gives the output order below, middle, above.
        // With unlucky pivots the sort goes as deep as the input is long.
        std::vector<CPlane> output;
        output.reserve(static_cast<size_t>(count));
        std::vector<CPlaneTask> tasks;
        tasks.push_back({std::vector<CPlane>(pPlanes, pPlanes + count), false});
        while (!tasks.empty()) {
            CPlaneTask task = std::move(tasks.back());
            tasks.pop_back();
            if (task.bFinished) {
                output.insert(output.end(), task.Planes.begin(), task.Planes.end());
                continue;
            }
            const std::vector<CPlane>& planes = task.Planes;
            if (planes.empty())
                continue;

            const double pivot = planes[planes.size() / 2].Distance;
            const double band = PLANE_EPSILON;
            std::vector<CPlane> below;
            std::vector<CPlane> middle;
            std::vector<CPlane> above;
            for (const CPlane& plane : planes) {
                const double diff = static_cast<double>(plane.Distance) - pivot;
                if (diff < -band)
                    below.push_back(plane);
                else if (diff > band)
                    above.push_back(plane);
                else
                    middle.push_back(plane);
            }
            MergeMiddle(middle);
            tasks.push_back({std::move(above), false});
            tasks.push_back({std::move(middle), true});
            tasks.push_back({std::move(below), false});
        }

        CPlane* pUnique = new (std::nothrow) CPlane[output.size()];
        if (!pUnique)
            return;
        for (size_t i = 0; i < output.size(); ++i)
            pUnique[i] = output[i];
        *ppUnique = pUnique;
        *pUniqueCount = static_cast<int32_t>(output.size());
    } catch (const std::bad_alloc&) {
        // The outputs stay null and 0.
    }
}

bool FlattenTree(const CBuildNode* pNode, const CFaceSet* pSource, CFaceSet** ppSet)
{
    *ppSet = nullptr;
    if (!pNode || !pSource)
        return false;

    // Concatenating the children's sets node by node, front before back,
    // gives the reached leaves' faces in the order of a front-first walk; an
    // inner node fails exactly when nothing was collected under it. So the
    // leaves are gathered in that order first and copied once, instead of
    // once per level.
    std::vector<const CBuildNode*> leaves;
    int64_t total = 0;
    const bool bRootIsLeaf = !pNode->pFront && !pNode->pBack;
    try {
        std::vector<const CBuildNode*> pending{pNode};
        while (!pending.empty()) {
            const CBuildNode* pCurrent = pending.back();
            pending.pop_back();
            if (!pCurrent->pFront && !pCurrent->pBack) {
                if (HasFloodedFaces(pCurrent)) {
                    leaves.push_back(pCurrent);
                    total += pCurrent->FaceCount;
                }
                continue;
            }
            if (pCurrent->pBack)
                pending.push_back(pCurrent->pBack);
            if (pCurrent->pFront)
                pending.push_back(pCurrent->pFront);
        }
    } catch (const std::bad_alloc&) {
        return false;
    }
    if (total > INT32_MAX)
        return false;
    if (!bRootIsLeaf && total < 1)
        return false;
    for (const CBuildNode* pLeaf : leaves) {
        if (!IndicesValid(pLeaf, pSource))
            return false;
    }

    CFaceSet* pSet = new (std::nothrow) CFaceSet();
    if (!pSet)
        return false;
    if (total > 0) {
        const size_t room = static_cast<size_t>(total);
        pSet->pFaces = new (std::nothrow) CLeafFace[room];
        pSet->pPlanes = new (std::nothrow) CPlane[room];
        pSet->pPlaneIndices = new (std::nothrow) int32_t[room];
        bool bOk = pSet->pFaces && pSet->pPlanes && pSet->pPlaneIndices;
        for (size_t i = 0; bOk && i < leaves.size(); ++i)
            bOk = AddLeafFaces(leaves[i], pSource, pSet);
        if (!bOk) {
            FreeFaceSet(pSet);
            delete pSet;
            return false;
        }
    }
    *ppSet = pSet;
    return true;
}
