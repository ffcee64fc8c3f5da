#include "resources/texture_list.h"

#include "frame/application.h"
#include "resources/texture_surface.h"

#include <cstring>
#include <memory>
#include <new>

namespace {

const char* NameOf(const CAVLNode* pNode)
{
    return static_cast<const CTextureItem*>(pNode)->GetName();
}

} // namespace

CTextureItem::CTextureItem(const char* pszName, CTextureSurface* pSurfaceIn, CAVLNode* pParentIn,
                           CAVLNode* pLeftIn, CAVLNode* pRightIn)
    : CAVLNode(0, pParentIn, pLeftIn, pRightIn), pSurface(pSurfaceIn), pName(nullptr)
{
    SetName(pszName);
    SetKey(1);
}

CTextureItem::~CTextureItem()
{
    if (pSurface) {
        pSurface->Free();
        delete pSurface;
    }
    delete[] pName;
}

bool CTextureItem::IsEqual(const CAVLNode* pOther) const
{
    return std::strcmp(NameOf(pOther), pName) == 0;
}

bool CTextureItem::IsGreater(const CAVLNode* pOther) const
{
    return std::strcmp(NameOf(pOther), pName) > 0;
}

void CTextureItem::SetName(const char* pszName)
{
    delete[] pName;
    pName = nullptr;
    if (!pszName)
        return;
    const size_t nLength = std::strlen(pszName);
    pName = new char[nLength + 1];
    std::memcpy(pName, pszName, nLength + 1);
}

void CTextureItem::AddRef()
{
    SetKey(GetKey() + 1);
}

bool CTextureItem::Release()
{
    SetKey(GetKey() - 1);
    return GetKey() <= 0;
}

CTextureList::CTextureList() : pRoot(nullptr)
{
    ppRoot = &pRoot;
}

CTextureList::~CTextureList()
{
    // Emptied while the root link is still a live member.
    Clear();
}

void CTextureList::Clear()
{
    CAVLTree::Clear();
}

bool CTextureList::Add(CApplication* pApp, const char* pszName, const char* pszPath,
                       int nMipCount)
{
    std::unique_ptr<CTextureSurface> pSurface(new (std::nothrow) CTextureSurface);
    if (!pSurface)
        return false;
    if (pSurface->LoadFromBitmap(pApp, pszPath, 0, 0, nMipCount) != TEXTURE_LOAD_OK)
        return false;
    CTextureItem* pItem =
        new (std::nothrow) CTextureItem(pszName, pSurface.get(), nullptr, nullptr, nullptr);
    if (!pItem) {
        pSurface->Free();
        return false;
    }
    pSurface.release();
    // No look for an existing name: a second item of the same name goes right.
    Insert(pItem, ppRoot, nullptr);
    return true;
}

bool CTextureList::Remove(const char* pszName)
{
    const CTextureItem probe(pszName, nullptr, nullptr, nullptr, nullptr);
    auto* pItem = static_cast<CTextureItem*>(CAVLTree::Find(&probe, pRoot));
    if (!pItem)
        return false;
    if (!pItem->Release())
        return false;
    CAVLNode* pUnlinked = CAVLTree::Remove(&probe, ppRoot);
    if (!pUnlinked)
        return false;
    delete pUnlinked;
    return true;
}

CTextureSurface* CTextureList::Find(const char* pszName)
{
    const CTextureItem probe(pszName, nullptr, nullptr, nullptr, nullptr);
    auto* pItem = static_cast<CTextureItem*>(CAVLTree::Find(&probe, pRoot));
    return pItem ? pItem->GetSurface() : nullptr;
}

CTextureSurface* CTextureList::Acquire(const char* pszName)
{
    const CTextureItem probe(pszName, nullptr, nullptr, nullptr, nullptr);
    auto* pItem = static_cast<CTextureItem*>(CAVLTree::Find(&probe, pRoot));
    if (!pItem)
        return nullptr;
    pItem->AddRef();
    return pItem->GetSurface();
}

// The application's forwarders. AddTexture takes the path first, the list
// the name first.
bool CApplication::AddTexture(const char* pszPath, const char* pszName, int nMipCount)
{
    return TextureList.Add(this, pszName, pszPath, nMipCount);
}

bool CApplication::ReleaseTexture(const char* pszName)
{
    return TextureList.Remove(pszName);
}

CTextureSurface* CApplication::FindTexture(const char* pszName)
{
    return TextureList.Find(pszName);
}

CTextureSurface* CApplication::AcquireTexture(const char* pszName)
{
    return TextureList.Acquire(pszName);
}
