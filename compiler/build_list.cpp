// The list builder: takes the parser's face list and uses each plane of the
// plane table as a splitter in the order in which the list meets it. Also the
// placing rule that the set builder shares.
#include "compiler/build_tree.h"
#include "compiler/clip.h"
#include "compiler/face_list.h"
#include "compiler/place_face.h"

#include <new>
#include <vector>

EFacePlacement PlaceFace(const CPlane& splitter, const CLeafFace* pFace, float faceDistance,
                         CLeafFace* pBack, CLeafFace* pFront)
{
    if (IsCoplanar(splitter, pFace)) {
        // Only the distances are compared: near the origin a face turned the
        // other way has nearly the same Distance and goes to the front too.
        return FloatNear(splitter.Distance, faceDistance, PLANE_EPSILON)
                   ? EFacePlacement::WholeFront
                   : EFacePlacement::WholeBack;
    }
    SplitFace(splitter, pFace, pBack, pFront);
    return EFacePlacement::Pieces;
}

void CountPlacedFace(const CPlane& splitter, const CLeafFace* pFace, float faceDistance,
                     int32_t* pBackCount, int32_t* pFrontCount)
{
    // The scoring passes place every face of a set once per candidate, so
    // this walks the vertices the way PlaceFace's two steps do, counting the
    // vertices each piece would get instead of building the pieces.
    *pBackCount = 0;
    *pFrontCount = 0;
    if (!pFace->pVertices)
        return; // neither coplanar nor cut: the face is lost
    const int32_t count = pFace->VertexCount;
    const float band = PLANE_EPSILON;
    auto distance = [&](int32_t i) {
        // As the cuts measure it: in double, rounded to float.
        return static_cast<float>(Dot(splitter.Normal, pFace->pVertices[i].Position) +
                                  static_cast<double>(splitter.Distance));
    };

    bool bCoplanar = true;
    int32_t nFront = 0;
    int32_t nBack = 0;
    float d1 = count > 0 ? distance(0) : 0.0f;
    for (int32_t i = 0; i < count; ++i) {
        const float d0 = d1;
        d1 = distance(i + 1 == count ? 0 : i + 1);
        if (d0 < -band || d0 > band)
            bCoplanar = false;
        if (d0 > -band)
            ++nFront;
        if (d0 < band)
            ++nBack;
        if ((d0 > band && d1 < -band) || (d0 < -band && d1 > band)) {
            ++nFront;
            ++nBack;
        }
    }
    if (bCoplanar) {
        if (FloatNear(splitter.Distance, faceDistance, PLANE_EPSILON))
            *pFrontCount = 1;
        else
            *pBackCount = 1;
        return;
    }
    *pFrontCount = nFront > 2 ? 1 : 0;
    *pBackCount = nBack > 2 ? 1 : 0;
}

namespace {

// Distance of the plane through a list face's vertices 0, 1 and 2. A face of
// fewer vertices can only give pieces that are dropped, so its value is moot.
float ListFaceDistance(const CLeafFace& face)
{
    if (face.VertexCount < 3 || !face.pVertices)
        return 0.0f;
    const CPlane own(face.pVertices[0].Position, face.pVertices[1].Position,
                     face.pVertices[2].Position);
    return own.Distance;
}

// Puts a copy of face at the head of pSet's list, carrying the source entry's
// table nodes. The plane node is kept only while it has not served as a
// splitter on this path; keeping one makes the set an inner node.
bool AddListPiece(const CLeafFace& face, const CFaceEntry* pSource, const CPlaneNode* pSplitter,
                  CMapData* pSet)
{
    CFaceEntry* pEntry = AddFaceEntry(&pSet->pFaces, face);
    if (!pEntry)
        return false;
    pEntry->pNameNode = pSource->pNameNode;
    pEntry->pMappingNode = pSource->pMappingNode;
    ++pSet->FaceCount;
    if (pSource->pPlaneNode && pSource->pPlaneNode != pSplitter) {
        pEntry->pPlaneNode = pSource->pPlaneNode;
        pSet->bLeaf = false;
    }
    return true;
}

// One face set waiting to become a node, and where that node is to be hung.
// The set is held by value: its list and nothing else is owned by it.
struct CListWork {
    CMapData Set;
    CBuildNode** ppSlot;
};

// Makes the node for one set: a leaf when no face has a plane left, else an
// inner node whose two child sets come back through pFront and pBack (both
// left empty when partitioning fails). Null when nothing is made.
CBuildNode* MakeListNode(CMapData* pMap, CMapData* pFront, CMapData* pBack)
{
    if (!pMap || !pMap->pFaces)
        return nullptr;

    CBuildNode* pNode = new (std::nothrow) CBuildNode();
    if (!pNode)
        return nullptr;

    if (pMap->bLeaf) {
        pNode->pFaces = new (std::nothrow) CLeafFace[pMap->FaceCount];
        if (!pNode->pFaces) {
            delete pNode;
            return nullptr;
        }
        pNode->FaceCount = pMap->FaceCount;
        int32_t i = 0;
        for (const CFaceEntry* pEntry = pMap->pFaces; pEntry && i < pNode->FaceCount;
             pEntry = pEntry->pNext, ++i)
            CopyFace(&pNode->pFaces[i], &pEntry->Face);
        return pNode;
    }

    CPlaneNode* pPlaneNode = nullptr;
    PickListPlane(pMap, &pNode->Plane, &pPlaneNode);
    if (!PartitionList(pNode, pPlaneNode, pMap, pFront, pBack)) {
        FreeMapData(pFront);
        FreeMapData(pBack);
    }
    return pNode;
}

} // namespace

void PickListPlane(CMapData* pMap, CPlane* pOutPlane, CPlaneNode** ppNode)
{
    *ppNode = nullptr;
    if (!pMap)
        return;
    for (const CFaceEntry* pEntry = pMap->pFaces; pEntry; pEntry = pEntry->pNext) {
        if (pEntry->pPlaneNode) {
            *ppNode = pEntry->pPlaneNode;
            *pOutPlane = pEntry->pPlaneNode->Plane;
            return;
        }
    }
}

bool PartitionList(CBuildNode* pNode, CPlaneNode* pPlaneNode, CMapData* pMap, CMapData* pFront,
                   CMapData* pBack)
{
    if (!pNode || !pPlaneNode || !pMap || !pFront || !pBack)
        return false;

    pFront->bLeaf = true;
    pBack->bLeaf = true;
    const CPlane& splitter = pNode->Plane;
    bool bOk = true;
    CLeafFace back;
    CLeafFace front;
    for (const CFaceEntry* pEntry = pMap->pFaces; pEntry; pEntry = pEntry->pNext) {
        const CLeafFace& face = pEntry->Face;
        switch (PlaceFace(splitter, &face, ListFaceDistance(face), &back, &front)) {
        case EFacePlacement::WholeFront:
            if (face.VertexCount > 2)
                bOk &= AddListPiece(face, pEntry, pPlaneNode, pFront);
            break;
        case EFacePlacement::WholeBack:
            if (face.VertexCount > 2)
                bOk &= AddListPiece(face, pEntry, pPlaneNode, pBack);
            break;
        case EFacePlacement::Pieces:
            if (back.VertexCount > 2)
                bOk &= AddListPiece(back, pEntry, pPlaneNode, pBack);
            if (front.VertexCount > 2)
                bOk &= AddListPiece(front, pEntry, pPlaneNode, pFront);
            FreeFace(&back);
            FreeFace(&front);
            break;
        }
    }
    return bOk;
}

CBuildNode* BuildTreeFromList(CMapData* pMap)
{
    // The tree can be deeper than a thread's stack allows for recursion on a
    // large map, so the child sets wait on an explicit stack. The front set is
    // pushed last and so taken first: nodes are made in the order of a
    // recursive walk that builds each front subtree before its back subtree.
    CMapData front;
    CMapData back;
    CBuildNode* pRoot = MakeListNode(pMap, &front, &back);
    if (!pRoot || pRoot->IsLeaf())
        return pRoot;

    std::vector<CListWork> pending;
    pending.push_back({back, &pRoot->pBack});
    pending.push_back({front, &pRoot->pFront});
    while (!pending.empty()) {
        CListWork work = pending.back();
        pending.pop_back();

        CMapData childFront;
        CMapData childBack;
        CBuildNode* pNode = MakeListNode(&work.Set, &childFront, &childBack);
        *work.ppSlot = pNode;
        // A child set is needed only until its node is made.
        FreeMapData(&work.Set);
        if (!pNode || pNode->IsLeaf())
            continue;
        pending.push_back({childBack, &pNode->pBack});
        pending.push_back({childFront, &pNode->pFront});
    }
    return pRoot;
}
