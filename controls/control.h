#pragma once
// CControl: a screen control, a resource that draws flat in screen pixels
// and reacts to the application's cursor. Controls form a tree: each has a
// hit region of its own, an optional handler that gets its messages, an
// owner (null at the top) and a list of child controls that it owns.
#include "controls/region.h"
#include "resources/resource.h"

class CControl : public CResource {
public:
    // No region, handler or owner; Depth 1.0.
    CControl();
    CControl(const CControl&) = delete;
    CControl& operator=(const CControl&) = delete;
    // Frees the region; children still listed go with the list. Does not
    // leave the owner: Release does.
    ~CControl() override;

    // Destroys the children, drops the handler, leaves the owner, frees the
    // region, then what the base frees.
    void Release(CApplication* pApp) override;
    // Stores a copy of pRegionIn in place of the old region; true when the
    // copy exists. Null leaves the control without a region.
    virtual bool SetRegion(const CRegion* pRegionIn);

    // Makes pChild a child of this control, taking it away from its old
    // owner first. Null is ignored.
    void AddChild(CControl* pChild);
    // The child of that name, unlinked and handed to the caller; null for a
    // null name or none found.
    CResource* DetachChild(const char* pszName);
    // Leaves the old owner's list, then remembers pOwnerIn. Does
    // not add itself to pOwnerIn's list: AddChild does.
    void SetOwner(CControl* pOwnerIn);
    void SetHandler(CResource* pHandlerIn) { pHandler = pHandlerIn; }
    CRegion* GetRegion() const { return pRegion; }
    float GetDepth() const { return Depth; }
    void SetDepth(float fDepth) { Depth = fDepth; }
    void UpdateChildren(CApplication* pApp) { Children.UpdateAll(pApp); }
    void DrawChildren(CApplication* pApp) { Children.DrawAll(pApp); }
    void DestroyChildren(CApplication* pApp) { Children.DestroyAll(pApp); }

    CRegion* pRegion;     // owned copy
    CResource* pHandler;  // not owned; may be null
    CControl* pOwner;     // not owned; null for a top-level control
    CResourceList Children;
    float Depth;          // z of a text's vertices

private:
    void LeaveOwner();
};
