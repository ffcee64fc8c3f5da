#include "compiler/face_list.h"

#include "compiler/clip.h"
#include "compiler/map_tables.h"

#include <new>

CFaceEntry* AddFaceEntry(CFaceEntry** ppHead, const CLeafFace& face)
{
    CFaceEntry* pEntry = new (std::nothrow) CFaceEntry(*ppHead);
    if (!pEntry)
        return nullptr;
    if (!CopyFace(&pEntry->Face, &face)) {
        FreeFace(&pEntry->Face);
        delete pEntry;
        return nullptr;
    }
    *ppHead = pEntry;
    return pEntry;
}

void FreeFaceEntries(CFaceEntry** ppHead)
{
    CFaceEntry* pEntry = *ppHead;
    while (pEntry) {
        CFaceEntry* pNext = pEntry->pNext;
        FreeFace(&pEntry->Face);
        delete pEntry;
        pEntry = pNext;
    }
    *ppHead = nullptr;
}

void ClipBrushFaces(CFaceEntry* pHead, int32_t count)
{
    if (!pHead)
        return;

    CLeafFace back{};
    CLeafFace front{};
    int32_t e = 0;
    for (CFaceEntry* pE = pHead; pE && e < count; pE = pE->pNext, ++e) {
        int32_t o = 0;
        for (CFaceEntry* pO = pHead; pO && o < count; pO = pO->pNext, ++o) {
            // A side is never cut by its own plane. A side without a plane
            // node has nothing to cut with; the parser always sets one, so
            // skipping it only guards against a malformed list.
            if (pO == pE || !pO->pPlaneNode)
                continue;
            // The brush's solid lies behind every side, so what is in front of
            // another side's plane is thrown away. Once E has no vertices left
            // SplitFace fails, back stays empty and E stays empty.
            SplitFace(pO->pPlaneNode->Plane, &pE->Face, &back, &front);
            FreeFace(&front);
            CopyFace(&pE->Face, &back);
            FreeFace(&back);
        }
    }
}

bool MakeBrushFaces(CPlane* pPlanes, const CTexMapping* pMappings, CLeafFace* pFaces,
                    int32_t count)
{
    bool bResult = true;
    CLeafFace work{};
    CLeafFace clipped{};
    for (int32_t i = 0; i < count; ++i) {
        if (!MakeBaseFace(BASE_FACE_SIZE, pPlanes[i], &work)) {
            bResult = false;
            FreeFace(&work);
            continue;
        }
        for (int32_t j = 0; j < count; ++j) {
            if (j == i)
                continue;
            // ClipFace keeps the front; turning plane j round keeps what lies
            // behind it, inside the solid.
            const CPlane inward(-pPlanes[j].Normal,
                                static_cast<float>(-static_cast<double>(pPlanes[j].Distance)));
            if (!ClipFace(inward, &work, &clipped)) {
                // Either nothing is left to cut or memory ran out; the latter
                // leaves a face that isn't the brush's.
                if (work.VertexCount != 0)
                    bResult = false;
                FreeFace(&clipped);
                break;
            }
            // The result becomes the working face; its old arrays go.
            FreeFace(&work);
            work.VertexCount = clipped.VertexCount;
            work.pVertices = clipped.pVertices;
            work.pPlane = clipped.pPlane;
            work.Mapping = clipped.Mapping;
            work.TextureIndex = clipped.TextureIndex;
            work.MappingIndex = clipped.MappingIndex;
            clipped.VertexCount = 0;
            clipped.pVertices = nullptr;
            clipped.pPlane = nullptr;
        }
        if (work.VertexCount < 3)
            bResult = false;
        if (pMappings)
            SetTexCoords(&work, pMappings[i], nullptr);
        if (!CopyFace(&pFaces[i], &work))
            bResult = false;
        FreeFace(&work);
    }
    FreeFace(&clipped);
    return bResult;
}

bool PushFace(CFaceStackNode** ppTop, const CLeafFace& face)
{
    CFaceStackNode* pNode = new (std::nothrow) CFaceStackNode;
    if (!pNode)
        return false;
    if (!CopyFace(&pNode->Face, &face)) {
        FreeFace(&pNode->Face);
        delete pNode;
        return false;
    }
    pNode->pNext = *ppTop;
    *ppTop = pNode;
    return true;
}

bool PopFace(CFaceStackNode** ppTop, CLeafFace* pOut)
{
    CFaceStackNode* pNode = *ppTop;
    if (!pNode)
        return false;
    CopyFace(pOut, &pNode->Face);
    FreeFace(&pNode->Face);
    *ppTop = pNode->pNext;
    delete pNode;
    return true;
}
