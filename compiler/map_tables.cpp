#include "compiler/map_tables.h"

#include "compiler/face_list.h"

#include <cmath>
#include <cstring>
#include <new>
#include <vector>

namespace {

// Exact order of two floats: the first difference decides. A NaN equals
// another NaN and sorts above every number, so that a damaged value still
// has one place in a table instead of matching whatever it meets.
int CompareFloat(float a, float b)
{
    if (a < b)
        return -1;
    if (a > b)
        return 1;
    const bool bNanA = std::isnan(a);
    const bool bNanB = std::isnan(b);
    if (bNanA == bNanB)
        return 0;
    return bNanA ? 1 : -1;
}

int CompareVector(const CVector& a, const CVector& b)
{
    if (int c = CompareFloat(a.x, b.x))
        return c;
    if (int c = CompareFloat(a.y, b.y))
        return c;
    return CompareFloat(a.z, b.z);
}

int CompareInt(int32_t a, int32_t b)
{
    return a < b ? -1 : (a > b ? 1 : 0);
}

// Rotation takes no part: it is already turned into the axes.
int Compare(const CTexMapping& a, const CTexMapping& b)
{
    if (int c = CompareVector(a.UAxis, b.UAxis))
        return c;
    if (int c = CompareVector(a.VAxis, b.VAxis))
        return c;
    if (int c = CompareInt(a.UOffset, b.UOffset))
        return c;
    if (int c = CompareInt(a.VOffset, b.VOffset))
        return c;
    if (int c = CompareFloat(a.UScale, b.UScale))
        return c;
    return CompareFloat(a.VScale, b.VScale);
}

int Compare(const CPlane& a, const CPlane& b)
{
    if (int c = CompareFloat(a.Distance, b.Distance))
        return c;
    return CompareVector(a.Normal, b.Normal);
}

// Byte order of the texts; a token that holds nothing sorts as the empty text.
int CompareNames(const char* pszA, const char* pszB)
{
    return std::strcmp(pszA ? pszA : "", pszB ? pszB : "");
}

// The walk shared by the three tables: descend by the comparison (greater to
// pHigher) and make the node in the empty place when none matches.
template <typename TNode, typename TCompare, typename TMake>
TNode* FindOrAdd(TNode** ppRoot, TCompare compare, TMake make)
{
    TNode** ppPlace = ppRoot;
    while (*ppPlace) {
        const int c = compare(**ppPlace);
        if (c == 0)
            return *ppPlace;
        ppPlace = c > 0 ? &(*ppPlace)->pHigher : &(*ppPlace)->pLower;
    }
    *ppPlace = make();
    return *ppPlace;
}

// Numbering: node first, then its pHigher subtree, then its pLower subtree.
// The walk keeps its own stack, so a table built from sorted input, a tree as
// deep as it is long, can't exhaust the call stack.
template <typename TNode>
int32_t Number(TNode* pRoot, int32_t* pCounter)
{
    const int32_t nStart = *pCounter;
    std::vector<TNode*> stack;
    if (pRoot)
        stack.push_back(pRoot);
    while (!stack.empty()) {
        TNode* pNode = stack.back();
        stack.pop_back();
        pNode->Index = (*pCounter)++;
        if (pNode->pLower)
            stack.push_back(pNode->pLower);
        if (pNode->pHigher)
            stack.push_back(pNode->pHigher);
    }
    return *pCounter - nStart;
}

// Deletes children before their node, pLower before pHigher, and nulls the root.
template <typename TNode>
void FreeTree(TNode** ppRoot)
{
    struct CItem {
        TNode* pNode;
        bool bChildrenDone;
    };
    std::vector<CItem> stack;
    if (*ppRoot)
        stack.push_back({*ppRoot, false});
    while (!stack.empty()) {
        CItem& item = stack.back();
        if (item.bChildrenDone) {
            delete item.pNode;
            stack.pop_back();
            continue;
        }
        item.bChildrenDone = true;
        TNode* pNode = item.pNode; // item is invalidated by the pushes below
        if (pNode->pHigher)
            stack.push_back({pNode->pHigher, false});
        if (pNode->pLower)
            stack.push_back({pNode->pLower, false});
    }
    *ppRoot = nullptr;
}

} // namespace

CTexMappingNode* FindOrAddMapping(CTexMappingNode** ppRoot, const CTexMapping& mapping)
{
    return FindOrAdd(
        ppRoot, [&](const CTexMappingNode& node) { return Compare(mapping, node.Mapping); },
        [&]() {
            CTexMappingNode* pNode = new (std::nothrow) CTexMappingNode;
            if (pNode)
                pNode->Mapping = mapping;
            return pNode;
        });
}

CTexNameNode* FindOrAddName(CTexNameNode** ppRoot, const CToken& name)
{
    return FindOrAdd(
        ppRoot,
        [&](const CTexNameNode& node) {
            return CompareNames(name.GetString(), node.Name.GetString());
        },
        [&]() {
            CTexNameNode* pNode = new (std::nothrow) CTexNameNode;
            if (pNode && name.GetString() && !pNode->Name.Set(name.GetString())) {
                delete pNode;
                pNode = nullptr;
            }
            return pNode;
        });
}

CPlaneNode* FindOrAddPlane(CPlaneNode** ppRoot, const CPlane& plane)
{
    return FindOrAdd(
        ppRoot, [&](const CPlaneNode& node) { return Compare(plane, node.Plane); },
        [&]() {
            CPlaneNode* pNode = new (std::nothrow) CPlaneNode;
            if (pNode)
                pNode->Plane = plane;
            return pNode;
        });
}

CTexNameNode* FindName(CTexNameNode* pRoot, const char* pszName)
{
    if (!pszName)
        return nullptr;
    CTexNameNode* pNode = pRoot;
    while (pNode) {
        const int c = CompareNames(pszName, pNode->Name.GetString());
        if (c == 0)
            return pNode;
        pNode = c > 0 ? pNode->pHigher : pNode->pLower;
    }
    return nullptr;
}

int32_t NumberMappings(CTexMappingNode* pRoot, int32_t* pCounter)
{
    return Number(pRoot, pCounter);
}

int32_t NumberNames(CTexNameNode* pRoot, int32_t* pCounter)
{
    return Number(pRoot, pCounter);
}

int32_t NumberPlanes(CPlaneNode* pRoot, int32_t* pCounter)
{
    return Number(pRoot, pCounter);
}

void CopyPlanes(CPlane* pArray, const CPlaneNode* pRoot)
{
    std::vector<const CPlaneNode*> stack;
    if (pRoot)
        stack.push_back(pRoot);
    while (!stack.empty()) {
        const CPlaneNode* pNode = stack.back();
        stack.pop_back();
        pArray[pNode->Index] = pNode->Plane;
        if (pNode->pLower)
            stack.push_back(pNode->pLower);
        if (pNode->pHigher)
            stack.push_back(pNode->pHigher);
    }
}

void FreeMappings(CTexMappingNode** ppRoot)
{
    FreeTree(ppRoot);
}

void FreeNames(CTexNameNode** ppRoot)
{
    FreeTree(ppRoot);
}

void FreePlanes(CPlaneNode** ppRoot)
{
    FreeTree(ppRoot);
}

void FreeMapData(CMapData* pMap)
{
    if (!pMap)
        return;
    FreePlanes(&pMap->pPlanes);
    FreeMappings(&pMap->pMappings);
    FreeNames(&pMap->pNames);
    FreeFaceEntries(&pMap->pFaces);
    pMap->FaceCount = 0;
}
