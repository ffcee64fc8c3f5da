#pragma once
// The compiler's binary tree of planes, and its two builders. The list
// builder takes the parser's face list and uses splitters as they come; the
// set builder takes flat arrays and chooses each splitter by a score. Both
// keep every polygon in the leaves; an inner node holds only its plane.
#include "compiler/face.h"
#include "compiler/face_set.h"
#include "compiler/map_tables.h"

#include <cstdint>

struct CPortal;
struct CLumelGrid;

struct CBuildNode {
    CPlane Plane;                     // splitter of an inner node; all zero at first
    int32_t* pPlaneIndices = nullptr; // set builder leaves: plane index of each face
    CLeafFace* pFaces = nullptr;      // leaves only, owned; non-null marks a leaf
    int32_t FaceCount = 0;
    bool bVisited = false; // set by the flood
    CPortal** pPortals = nullptr;
    int32_t PortalCount = 0;
    CBuildNode** pVisibleLeaves = nullptr;
    int32_t VisibleLeafCount = 0;
    bool bSharesVisibleLeaves = false; // pVisibleLeaves belongs to an earlier leaf
    CLumelGrid* pGrids = nullptr;
    CBuildNode* pParent = nullptr; // set builder only
    CBuildNode* pFront = nullptr;  // child on the side of positive distance, or null
    CBuildNode* pBack = nullptr;

    bool IsLeaf() const { return pFaces != nullptr; }
};

// Neither builder recurses: a tree can grow thousands of levels deep (a long
// chain of faces on one plane), so the sets still to be built wait on a stack
// of their own, taken in the order of the recursive description.

// The list builder: the root, or null when there are no faces. pMap is read
// and left as it is.
CBuildNode* BuildTreeFromList(CMapData* pMap);

// The set builder: the root, or null for a null or empty set. Frees the
// pPlane of each face whose plane serves as a splitter. Throws CError (the
// one that a single thread meets first). The tree does not depend on the
// number of threads (0: one per core).
CBuildNode* BuildTreeFromSet(CFaceSet* pSet, CBuildNode* pParent, int32_t threads = 1);

// Index of the face whose plane splits next. Throws CError.
int32_t PickPlane(CFaceSet* pSet, int32_t threads = 1);

// Divides the faces of pSet among two new sets by the placing rule; with
// bCountOnly only the counts are made. False when an output is null or an
// allocation failed.
bool PartitionSet(const CPlane& plane, CFaceSet* pSet, CFaceSet* pFront, CFaceSet* pBack,
                  bool bCountOnly);

bool IsConvexSet(const CFaceSet* pSet, bool bRequireUsed);

// The first entry in list order with a plane node: *ppNode and its plane, or
// *ppNode null.
void PickListPlane(CMapData* pMap, CPlane* pOutPlane, CPlaneNode** ppNode);
bool PartitionList(CBuildNode* pNode, CPlaneNode* pPlaneNode, CMapData* pMap, CMapData* pFront,
                   CMapData* pBack);

// The set builder's input from a parsed map: a copy of each face of 3 or more
// vertices that has a plane node, in list order, with that node's plane; each
// face's plane index is its own place in the set (the index that FlattenTree
// reads back), and each face gets its own plane record (FillFacePlanes).
// *pSet is overwritten, not freed: pass an empty set. False for a null
// argument or when memory fails.
bool MakeFaceSetFromMap(const CMapData* pMap, CFaceSet* pSet);

// Frees a node and everything below it and nulls *ppNode: of each node the
// plane indices, the faces, the portal pointer array (not the portals), the
// visible leaf array and the node itself. A null ppNode is allowed.
void FreeTree(CBuildNode** ppNode);
