#include "compiler/face_set.h"

#include "frame/error.h"

#include <new>

void AddToSet(const CLeafFace& face, const CPlane& plane, int32_t planeIndex, CFaceSet* pSet,
              bool bCountOnly)
{
    if (!bCountOnly) {
        const int32_t i = pSet->Count;
        // CopyFace frees whatever the slot held; a slot fresh from new[]
        // holds nothing.
        CopyFace(&pSet->pFaces[i], &face);
        pSet->pPlanes[i] = plane;
        pSet->pPlaneIndices[i] = planeIndex;
    }
    ++pSet->Count;
}

void FreeFaceSet(CFaceSet* pSet)
{
    if (!pSet)
        return;
    if (pSet->pFaces) {
        for (int32_t i = 0; i < pSet->Count; ++i)
            FreeFace(&pSet->pFaces[i]);
    }
    delete[] pSet->pFaces;
    delete[] pSet->pPlanes;
    delete[] pSet->pPlaneIndices;
    pSet->pFaces = nullptr;
    pSet->pPlanes = nullptr;
    pSet->pPlaneIndices = nullptr;
}

bool FillFacePlanes(CFaceSet* pSet)
{
    if (!pSet)
        return false;
    for (int32_t i = 0; i < pSet->Count; ++i) {
        CLeafFace& face = pSet->pFaces[i];
        delete face.pPlane;
        face.pPlane = new (std::nothrow) CPlane(pSet->pPlanes[i]);
        if (!face.pPlane)
            throw CError("FillFacePlanes: Not enough memoery.");
    }
    return true;
}
