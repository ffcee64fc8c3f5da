#include "compiler/texsize.h"

#include <cstring>
#include <vector>

namespace {

// The name as a table row holds it: cut to 31 characters, zero-padded.
struct CNameKey {
    char sz[TEXTURE_NAME_SIZE] = {};
    explicit CNameKey(const char* pszName) { std::strncpy(sz, pszName, TEXTURE_NAME_SIZE - 1); }
};

// The link where a node of this name stands, or where it would be added.
CTexSizeNode** FindLink(CTexSizeNode** ppRoot, const CNameKey& key)
{
    CTexSizeNode** ppLink = ppRoot;
    while (*ppLink) {
        int order = std::strcmp(key.sz, (*ppLink)->Name);
        if (order == 0)
            break;
        ppLink = order > 0 ? &(*ppLink)->pHigher : &(*ppLink)->pLower;
    }
    return ppLink;
}

// Visits every node, node first, then the higher subtree, then the lower one.
// Iterative, so that a degenerate tree of many names cannot exhaust the stack.
template <typename Node, typename Visit>
Node* WalkPreOrder(Node* pRoot, Visit visit)
{
    std::vector<Node*> stack;
    if (pRoot)
        stack.push_back(pRoot);
    while (!stack.empty()) {
        Node* pNode = stack.back();
        stack.pop_back();
        if (visit(pNode))
            return pNode;
        if (pNode->pLower)
            stack.push_back(pNode->pLower);
        if (pNode->pHigher)
            stack.push_back(pNode->pHigher);
    }
    return nullptr;
}

} // namespace

int32_t FindOrAddTexSize(CTexSizeNode** ppRoot, const char* pszName, int32_t width,
                         int32_t height, int32_t* pCounter)
{
    CNameKey key(pszName);
    CTexSizeNode** ppLink = FindLink(ppRoot, key);
    if (!*ppLink) {
        CTexSizeNode* pNode = new CTexSizeNode;
        std::memcpy(pNode->Name, key.sz, TEXTURE_NAME_SIZE);
        pNode->Index = (*pCounter)++;
        pNode->Width = width;
        pNode->Height = height;
        *ppLink = pNode;
    }
    return (*ppLink)->Index;
}

CTexSizeNode* FindTexSizeByName(CTexSizeNode* pRoot, const char* pszName)
{
    return *FindLink(&pRoot, CNameKey(pszName));
}

CTexSizeNode* FindTexSizeByIndex(CTexSizeNode* pRoot, int32_t index)
{
    return WalkPreOrder(pRoot, [index](CTexSizeNode* pNode) { return pNode->Index == index; });
}

void CopyTexSizeNames(const CTexSizeNode* pRoot, char* pTable)
{
    WalkPreOrder(pRoot, [pTable](const CTexSizeNode* pNode) {
        std::memcpy(pTable + TEXTURE_NAME_SIZE * pNode->Index, pNode->Name, TEXTURE_NAME_SIZE);
        return false;
    });
}

void FreeTexSizes(CTexSizeNode** ppRoot)
{
    // Post-order without recursion: a node is deleted once both of its
    // subtrees are gone, the higher one first.
    std::vector<CTexSizeNode*> stack;
    if (*ppRoot)
        stack.push_back(*ppRoot);
    while (!stack.empty()) {
        CTexSizeNode* pNode = stack.back();
        if (pNode->pHigher) {
            stack.push_back(pNode->pHigher);
            pNode->pHigher = nullptr;
        } else if (pNode->pLower) {
            stack.push_back(pNode->pLower);
            pNode->pLower = nullptr;
        } else {
            delete pNode;
            stack.pop_back();
        }
    }
    *ppRoot = nullptr;
}
