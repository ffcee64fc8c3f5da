#pragma once
// CResource: the base of everything the application keeps by name and drives
// every frame. CResourceList: the tree that holds them, ordered by name, with
// lookups by name and the walks the frame loop runs over a whole list.
#include "resources/avltree.h"

#include <cstdint>

class CApplication;

class CResource : public CAVLNode {
public:
    // Nameless and active.
    CResource();
    // The empty state, then Assign(&other): name and active flag, no links.
    CResource(const CResource& other);
    // Assign(&other); the links of this resource stay as they are.
    CResource& operator=(const CResource& other);
    ~CResource() override;

    // Same name bytes and same length. A missing name counts as empty.
    bool IsEqual(const CAVLNode* pOther) const override;
    // Name order: bytes compared as signed 8-bit values, case significant,
    // a proper prefix first, so bytes of 128 and above sort below ASCII.
    bool IsGreater(const CAVLNode* pOther) const override;

    // Drops the own name, copies pOther's name (none if it has none) and its
    // active flag. Assigning from itself or from null changes nothing.
    virtual CResource* Assign(const CResource* pOther);
    // Drops the own name and stores a copy of pszName. Null leaves the
    // resource nameless and gives false.
    virtual bool SetName(const char* pszName);
    // Three machine words (numbers or pointers) whose meaning belongs to the
    // class. The base does nothing and answers true.
    virtual bool OnMessage(uintptr_t a, uintptr_t b, uintptr_t c);
    // Once per frame for active resources.
    virtual void Update(CApplication* pApp);
    // Once per drawn frame for active resources.
    virtual void Draw(CApplication* pApp);
    // Gives up what the resource holds; the base frees the name. A derived
    // class frees its own holdings first and calls this last.
    virtual void Release(CApplication* pApp);

    const char* GetName() const { return pName; }
    bool IsActive() const { return bActive; }
    // True when the flag changed.
    bool Activate();
    bool Deactivate();

    uint32_t nNameLength; // without the terminator, 0 with no name
    char* pName;          // owned copy, null with no name
    bool bActive;

private:
    void FreeName();
};

class CResourceList : public CAVLTree {
public:
    CResourceList();
    CResourceList(const CResourceList&) = delete;
    CResourceList& operator=(const CResourceList&) = delete;
    // Deletes what is left without calling Release; a list whose items hold
    // something is emptied with DestroyAll first.
    ~CResourceList() override;

    // Links the item; an existing name does not stop it. Always true.
    bool Add(CResource* pItem);
    // The item of that name nearest the root, or null.
    CResource* FindByName(const char* pszName);
    // Unlinks the item and hands it to the caller, neither released nor
    // deleted; null when no item has the name.
    CResource* DetachByName(const char* pszName);
    // Unlinks, releases and deletes the item; false when no item has the name.
    bool DeleteByName(CApplication* pApp, const char* pszName);
    // Update or Draw on every active item in ascending name order; an
    // inactive item is skipped, not its subtrees.
    void UpdateAll(CApplication* pApp);
    void DrawAll(CApplication* pApp);
    // Releases and deletes every item, children first, and empties the list.
    void DestroyAll(CApplication* pApp);
    // OnMessage on every item, active or not, in ascending name order.
    void BroadcastAll(uintptr_t a, uintptr_t b, uintptr_t c);
    // OnMessage(a, b, c) of the named item; false when there is none.
    bool SendByName(uintptr_t a, const char* pszName, uintptr_t b, uintptr_t c);

    CAVLNode* pRoot;

private:
    void UpdateSubtree(CAVLNode* pNode, CApplication* pApp);
    void DrawSubtree(CAVLNode* pNode, CApplication* pApp);
    void DestroySubtree(CAVLNode** ppNode, CApplication* pApp);
    void BroadcastSubtree(CAVLNode* pNode, uintptr_t a, uintptr_t b, uintptr_t c);
};
