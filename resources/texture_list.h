#pragma once
// CTextureList: the one store of named textures, with reference counts, so
// that several users share one picture. CTextureItem: one entry, owning its
// surface and a copy of its name; its key is the reference count.
#include "resources/avltree.h"

class CApplication;
class CTextureSurface;

class CTextureItem : public CAVLNode {
public:
    // The links are passed as null by every caller; the count starts at 1.
    CTextureItem(const char* pszName, CTextureSurface* pSurfaceIn, CAVLNode* pParentIn,
                 CAVLNode* pLeftIn, CAVLNode* pRightIn);
    CTextureItem(const CTextureItem&) = delete;
    CTextureItem& operator=(const CTextureItem&) = delete;
    // Frees the surface's platform object, deletes the surface, frees the name.
    ~CTextureItem() override;

    // strcmp of the other name with this one: equal, or the other sorts after.
    bool IsEqual(const CAVLNode* pOther) const override;
    bool IsGreater(const CAVLNode* pOther) const override;

    void SetName(const char* pszName);
    const char* GetName() const { return pName; }
    CTextureSurface* GetSurface() const { return pSurface; }
    void AddRef();
    // True when no reference is left.
    bool Release();

    CTextureSurface* pSurface;
    char* pName;
};

class CTextureList : public CAVLTree {
public:
    CTextureList();
    ~CTextureList() override;
    // Deletes every item whatever its count.
    void Clear() override;

    // Loads the picture at pszPath at its own size and stores it under the
    // name; false when it can not be loaded.
    bool Add(CApplication* pApp, const char* pszName, const char* pszPath, int nMipCount);
    // Drops one reference; true when the picture is gone.
    bool Remove(const char* pszName);
    CTextureSurface* Find(const char* pszName);
    CTextureSurface* Acquire(const char* pszName);

    CAVLNode* pRoot;
};
