#pragma once
// The table of texture sizes: a binary search tree by texture name whose
// nodes never move, so that a node's Index stays its row number.
#include "compiler/light_record.h"

#include <cstdint>

constexpr int TEXTURE_NAME_SIZE = 32; // bytes of a name row, terminator included

struct CTexSizeNode {
    char Name[TEXTURE_NAME_SIZE] = {}; // at most 31 characters, zero-padded
    int32_t Index = 0;
    int32_t Width = 0;
    int32_t Height = 0;
    CLightRecord Light; // cleared; this table does not fill it
    CTexSizeNode* pHigher = nullptr;
    CTexSizeNode* pLower = nullptr;
};

// The Index of the texture called pszName. A new node takes *pCounter as its
// Index, adds one to it and keeps width and height; a known name keeps its old
// size. Names are cut to 31 characters before they are stored or compared.
int32_t FindOrAddTexSize(CTexSizeNode** ppRoot, const char* pszName, int32_t width,
                         int32_t height, int32_t* pCounter);

// The node of that name, or null.
CTexSizeNode* FindTexSizeByName(CTexSizeNode* pRoot, const char* pszName);

// The node of that Index, or null, by a walk of the whole tree: node first,
// then pHigher, then pLower.
CTexSizeNode* FindTexSizeByIndex(CTexSizeNode* pRoot, int32_t index);

// Copies each node's Name to pTable + 32 * Index; the table must have a row
// for every Index in the tree.
void CopyTexSizeNames(const CTexSizeNode* pRoot, char* pTable);

// Deletes the tree, pHigher before pLower, children before their node, and
// nulls the root.
void FreeTexSizes(CTexSizeNode** ppRoot);
