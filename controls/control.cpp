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

// By identity, not by name: a sibling may carry the same name (or none).
// While the owner's list is being destroyed this control has already left
// it, and the owner's tree then does not hold it.
void CControl::LeaveOwner()
{
    if (pOwner)
        pOwner->Children.Detach(this);
}
