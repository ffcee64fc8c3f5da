#pragma once
// The map in the making: the face list and three sorted tables of what faces
// share (texture mappings, texture names, planes). Table nodes never move and
// are never rebalanced, so face entries can point at them.
#include "compiler/face.h"
#include "compiler/light_record.h"
#include "compiler/token.h"
#include "geometry/plane.h"

#include <cstdint>
#include <vector>

struct CFaceEntry;

struct CTexMappingNode {
    CTexMapping Mapping;
    int32_t Index = 0;
    CTexMappingNode* pHigher = nullptr;
    CTexMappingNode* pLower = nullptr;
};

struct CTexNameNode {
    CLightRecord Light; // cleared; the light list fills it
    CToken Name;
    int32_t Index = 0;
    CTexNameNode* pHigher = nullptr;
    CTexNameNode* pLower = nullptr;
};

struct CPlaneNode {
    CPlane Plane;
    int32_t Index = 0;
    CPlaneNode* pHigher = nullptr;
    CPlaneNode* pLower = nullptr;
};

struct CMapData {
    CTexMappingNode* pMappings = nullptr;
    CTexNameNode* pNames = nullptr;
    CPlaneNode* pPlanes = nullptr;
    CFaceEntry* pFaces = nullptr; // the face read last stands first
    int32_t FaceCount = 0;
    int32_t NameCount = 0;    // set at the end of parsing
    int32_t MappingCount = 0; // set at the end of parsing
    bool bLeaf = false;       // the tree builder's: no entry has a plane left
};

// Find the node with this value, or make it in the empty place. Mappings
// compare UAxis, VAxis, UOffset, VOffset, UScale, VScale exactly (Rotation
// takes no part); names by byte order; planes by Distance then Normal, exactly.
CTexMappingNode* FindOrAddMapping(CTexMappingNode** ppRoot, const CTexMapping& mapping);
CTexNameNode* FindOrAddName(CTexNameNode** ppRoot, const CToken& name);
CPlaneNode* FindOrAddPlane(CPlaneNode** ppRoot, const CPlane& plane);
CTexNameNode* FindName(CTexNameNode* pRoot, const char* pszName);

// Give each node Index = *pCounter++, node first, then pHigher, then pLower.
// The result is the number of nodes in the subtree.
int32_t NumberMappings(CTexMappingNode* pRoot, int32_t* pCounter);
int32_t NumberNames(CTexNameNode* pRoot, int32_t* pCounter);
int32_t NumberPlanes(CPlaneNode* pRoot, int32_t* pCounter);

// pArray[Index] = each node's plane.
void CopyPlanes(CPlane* pArray, const CPlaneNode* pRoot);

// Delete a table, children first (pLower, then pHigher), and null the root.
void FreeMappings(CTexMappingNode** ppRoot);
void FreeNames(CTexNameNode** ppRoot);
void FreePlanes(CPlaneNode** ppRoot);

// Frees the plane table, the mapping table, the name table and the face list,
// in that order, and zeroes FaceCount. A null map is allowed.
void FreeMapData(CMapData* pMap);

// Visits every node of one of the parser's tables (pHigher/pLower trees,
// which are never balanced and so may be deep) without recursion.
template <typename TNode, typename TVisit> void ForEachTableNode(TNode* pRoot, TVisit visit)
{
    std::vector<TNode*> pending;
    if (pRoot)
        pending.push_back(pRoot);
    while (!pending.empty()) {
        TNode* pNode = pending.back();
        pending.pop_back();
        visit(pNode);
        if (pNode->pHigher)
            pending.push_back(pNode->pHigher);
        if (pNode->pLower)
            pending.push_back(pNode->pLower);
    }
}
