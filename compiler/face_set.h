#pragma once
// CFaceSet: the flat form of a set of faces, parallel arrays of one length,
// which the set builder divides node by node.
#include "compiler/face.h"

#include <cstdint>

struct CFaceSet {
    CLeafFace* pFaces = nullptr;      // owned; pPlane is the face's own plane until it has split
    CPlane* pPlanes = nullptr;        // owned; the plane of each face, kept when pPlane goes
    int32_t* pPlaneIndices = nullptr; // owned; index of each face's plane in the source set
    int32_t Count = 0;                // used entries
};

// Appends a copy of the face with its plane and plane index, unless
// bCountOnly; adds 1 to Count in both cases. The arrays must have room.
void AddToSet(const CLeafFace& face, const CPlane& plane, int32_t planeIndex, CFaceSet* pSet,
              bool bCountOnly);

// Frees each face, then the three arrays, and nulls them; Count stays. A null
// set is allowed.
void FreeFaceSet(CFaceSet* pSet);

// Gives each face a plane record of its own, a copy of pPlanes at its index.
// False for a null set; throws CError "FillFacePlanes: Not enough memoery."
// when a record can't be allocated.
bool FillFacePlanes(CFaceSet* pSet);
