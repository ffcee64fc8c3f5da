#pragma once
// The containers of faces in the compiler's front: the linked face list that
// carries the map from the parser through the list builder, and a small stack
// of faces for the portal stage. Also the clipping of a brush's sides.
#include "compiler/face.h"

#include <cstdint>

struct CTexMappingNode;
struct CTexNameNode;
struct CPlaneNode;

struct CFaceEntry {
    CLeafFace Face;
    CTexMappingNode* pMappingNode = nullptr; // not owned
    CTexNameNode* pNameNode = nullptr;       // not owned
    CPlaneNode* pPlaneNode = nullptr; // not owned; null in the tree stage once the plane has split
    CFaceEntry* pNext = nullptr;

    explicit CFaceEntry(CFaceEntry* pNextEntry) : pNext(pNextEntry) {}
};

struct CFaceStackNode {
    CLeafFace Face;
    CFaceStackNode* pNext = nullptr;
};

// A new head entry holding a copy of face; null when it can't be made.
CFaceEntry* AddFaceEntry(CFaceEntry** ppHead, const CLeafFace& face);
// Frees every entry and its face; *ppHead ends null.
void FreeFaceEntries(CFaceEntry** ppHead);

// Cuts each of the first count entries by the planes of the others, keeping
// what lies behind all of them: the solid of a brush.
void ClipBrushFaces(CFaceEntry* pHead, int32_t count);

// The faces of one brush from arrays of count planes (and mappings, may be
// null). True when every face kept at least 3 vertices.
bool MakeBrushFaces(CPlane* pPlanes, const CTexMapping* pMappings, CLeafFace* pFaces,
                    int32_t count);

bool PushFace(CFaceStackNode** ppTop, const CLeafFace& face);
// False on an empty stack, pOut untouched.
bool PopFace(CFaceStackNode** ppTop, CLeafFace* pOut);
