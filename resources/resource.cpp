#include "resources/resource.h"

#include <cstring>

namespace {

// Every node of a resource list is a resource.
const CResource* AsResource(const CAVLNode* pNode)
{
    return static_cast<const CResource*>(pNode);
}

CResource* AsResource(CAVLNode* pNode)
{
    return static_cast<CResource*>(pNode);
}

} // namespace

CResource::CResource() : CAVLNode(0, nullptr, nullptr, nullptr), nNameLength(0), pName(nullptr), bActive(true)
{
}

CResource::CResource(const CResource& other) : CResource()
{
    Assign(&other);
}

CResource& CResource::operator=(const CResource& other)
{
    Assign(&other);
    return *this;
}

CResource::~CResource()
{
    FreeName();
}

void CResource::FreeName()
{
    delete[] pName;
    pName = nullptr;
    nNameLength = 0;
}

bool CResource::IsEqual(const CAVLNode* pOther) const
{
    const CResource* pRes = AsResource(pOther);
    if (nNameLength != pRes->nNameLength)
        return false;
    return nNameLength == 0 || std::memcmp(pName, pRes->pName, nNameLength) == 0;
}

bool CResource::IsGreater(const CAVLNode* pOther) const
{
    const char* pszOwn = pName ? pName : "";
    const char* pszOther = AsResource(pOther)->pName;
    if (!pszOther)
        pszOther = "";
    for (size_t i = 0;; ++i) {
        if (pszOwn[i] == 0)
            return false;
        if (pszOther[i] == 0)
            return true;
        // Bytes are signed here, so 128 and above come before ASCII.
        signed char nOwn = static_cast<signed char>(pszOwn[i]);
        signed char nOther = static_cast<signed char>(pszOther[i]);
        if (nOwn != nOther)
            return nOwn > nOther;
    }
}

CResource* CResource::Assign(const CResource* pOther)
{
    if (!pOther || pOther == this)
        return this;
    SetName(pOther->pName);
    bActive = pOther->bActive;
    return this;
}

bool CResource::SetName(const char* pszName)
{
    FreeName();
    if (!pszName)
        return false;
    size_t nLength = std::strlen(pszName);
    pName = new char[nLength + 1];
    std::memcpy(pName, pszName, nLength + 1);
    nNameLength = static_cast<uint32_t>(nLength);
    return true;
}

bool CResource::OnMessage(uintptr_t, uintptr_t, uintptr_t)
{
    return true;
}

void CResource::Update(CApplication*)
{
}

void CResource::Draw(CApplication*)
{
}

void CResource::Release(CApplication*)
{
    FreeName();
}

bool CResource::Activate()
{
    if (bActive)
        return false;
    bActive = true;
    return true;
}

bool CResource::Deactivate()
{
    if (!bActive)
        return false;
    bActive = false;
    return true;
}

CResourceList::CResourceList() : pRoot(nullptr)
{
    ppRoot = &pRoot;
}

CResourceList::~CResourceList()
{
    // Emptied here, while the root link is still a live member; the base
    // destructor then finds nothing left.
    Clear();
}

bool CResourceList::Add(CResource* pItem)
{
    Insert(pItem, ppRoot, nullptr);
    return true;
}

CResource* CResourceList::FindByName(const char* pszName)
{
    CResource Probe;
    Probe.SetName(pszName);
    return AsResource(Find(&Probe, pRoot));
}

CResource* CResourceList::DetachByName(const char* pszName)
{
    CResource Probe;
    Probe.SetName(pszName);
    return AsResource(Remove(&Probe, ppRoot));
}

bool CResourceList::DeleteByName(CApplication* pApp, const char* pszName)
{
    CResource* pItem = DetachByName(pszName);
    if (!pItem)
        return false;
    pItem->Release(pApp);
    delete pItem;
    return true;
}

void CResourceList::UpdateAll(CApplication* pApp)
{
    UpdateSubtree(pRoot, pApp);
}

void CResourceList::DrawAll(CApplication* pApp)
{
    DrawSubtree(pRoot, pApp);
}

void CResourceList::DestroyAll(CApplication* pApp)
{
    DestroySubtree(ppRoot, pApp);
}

void CResourceList::BroadcastAll(uintptr_t a, uintptr_t b, uintptr_t c)
{
    BroadcastSubtree(pRoot, a, b, c);
}

bool CResourceList::SendByName(uintptr_t a, const char* pszName, uintptr_t b, uintptr_t c)
{
    CResource* pItem = FindByName(pszName);
    return pItem ? pItem->OnMessage(a, b, c) : false;
}

void CResourceList::UpdateSubtree(CAVLNode* pNode, CApplication* pApp)
{
    if (!pNode)
        return;
    UpdateSubtree(pNode->pLeft, pApp);
    CResource* pItem = AsResource(pNode);
    if (pItem->IsActive())
        pItem->Update(pApp);
    UpdateSubtree(pNode->pRight, pApp);
}

void CResourceList::DrawSubtree(CAVLNode* pNode, CApplication* pApp)
{
    if (!pNode)
        return;
    DrawSubtree(pNode->pLeft, pApp);
    CResource* pItem = AsResource(pNode);
    if (pItem->IsActive())
        pItem->Draw(pApp);
    DrawSubtree(pNode->pRight, pApp);
}

void CResourceList::DestroySubtree(CAVLNode** ppNode, CApplication* pApp)
{
    if (!ppNode || !*ppNode)
        return;
    CAVLNode* pNode = *ppNode;
    DestroySubtree(&pNode->pLeft, pApp);
    DestroySubtree(&pNode->pRight, pApp);
    // The item, a leaf by now, leaves the tree before its Release runs: a
    // Release that looks itself up in this list (a control detaching from its
    // owner) then finds nothing, and no rotation can move the links this walk
    // still holds.
    *ppNode = nullptr;
    pNode->pParent = nullptr;
    CResource* pItem = AsResource(pNode);
    pItem->Release(pApp);
    delete pItem;
}

void CResourceList::BroadcastSubtree(CAVLNode* pNode, uintptr_t a, uintptr_t b, uintptr_t c)
{
    if (!pNode)
        return;
    BroadcastSubtree(pNode->pLeft, a, b, c);
    AsResource(pNode)->OnMessage(a, b, c);
    BroadcastSubtree(pNode->pRight, a, b, c);
}
