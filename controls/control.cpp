#include "controls/control.h"

CControl::CControl()
    : pRegion(nullptr), pHandler(nullptr), pOwner(nullptr), Children(), Depth(1.0f)
{
}

CControl::~CControl()
{
    delete pRegion;
}

void CControl::Release(CApplication* pApp)
{
    Children.DestroyAll(pApp);
    pHandler = nullptr;
    LeaveOwner();
    pOwner = nullptr;
    delete pRegion;
    pRegion = nullptr;
    CResource::Release(pApp);
}

bool CControl::SetRegion(const CRegion* pRegionIn)
{
    delete pRegion;
    pRegion = pRegionIn ? pRegionIn->Clone() : nullptr;
    return pRegion != nullptr;
}

void CControl::AddChild(CControl* pChild)
{
    if (!pChild)
        return;
    // The list links its items through the items themselves, so the child
    // leaves its old owner's list before it enters this one.
    pChild->SetOwner(this);
    Children.Add(pChild);
}

CResource* CControl::DetachChild(const char* pszName)
{
    if (!pszName)
        return nullptr;
    return Children.DetachByName(pszName);
}

void CControl::SetOwner(CControl* pOwnerIn)
{
    LeaveOwner();
    pOwner = pOwnerIn;
}

// Detaches by name, but only when the name leads to this control: while the
// owner's list is being destroyed this control has already left it, and a
// sibling of the same name must stay where it is.
void CControl::LeaveOwner()
{
    if (!pOwner)
        return;
    const char* pszName = GetName() ? GetName() : "";
    if (pOwner->Children.FindByName(pszName) == this)
        pOwner->DetachChild(pszName);
}
