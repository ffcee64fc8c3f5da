#include "controls/button.h"

#include "frame/application.h"

CButton::CButton()
    : pUpTexture(nullptr), pHoverTexture(nullptr), pDownTexture(nullptr), Flags(0)
{
}

void CButton::Update(CApplication* pApp)
{
    CCursorPos cursor;
    pApp->GetCursorPos(&cursor);
    if (!pRegion)
        return;

    if (pRegion->Contains(POINT{cursor.x, cursor.y})) {
        Flags |= BUTTON_HOVER;
        if (!(Flags & BUTTON_DOWN) && pHoverTexture)
            pTexture = pHoverTexture;
    } else {
        Flags &= ~BUTTON_HOVER;
        if (!(Flags & BUTTON_DOWN))
            pTexture = pUpTexture;
    }

    // A press counts only when it begins inside; once down, the button
    // waits for the release wherever the cursor goes.
    if ((Flags & BUTTON_HOVER) && pApp->GetMouseButtonState(0) == INPUT_PRESSED) {
        Flags |= BUTTON_DOWN;
        if (pDownTexture)
            pTexture = pDownTexture;
        Send(BUTTON_MSG_DOWN, &cursor);
    }
    if ((Flags & BUTTON_DOWN) && pApp->GetMouseButtonState(0) == INPUT_RELEASED) {
        Flags &= ~BUTTON_DOWN;
        Flags |= BUTTON_CLICKED;
        if ((Flags & BUTTON_HOVER) && pHoverTexture)
            pTexture = pHoverTexture;
        else
            pTexture = pUpTexture;
        Send(BUTTON_MSG_UP, &cursor);
    }

    UpdateChildren(pApp);
}

void CButton::Send(uint32_t nCode, const void* pCursor)
{
    if (pHandler)
        pHandler->OnMessage(reinterpret_cast<uintptr_t>(this), nCode,
                            reinterpret_cast<uintptr_t>(pCursor));
}

bool CButton::SetRegion(const CRegion* pRegionIn)
{
    const bool bRegion = CControl::SetRegion(pRegionIn);
    const bool bQuad = BuildQuad();
    return bRegion && bQuad;
}

bool CButton::SetTexture(CApplication*, const char*)
{
    return false;
}

bool CButton::SetButtonName(const char* pszName)
{
    if (!SetName(pszName))
        return false;
    SetFlat(false);
    return true;
}

bool CButton::SetUpTexture(CApplication* pApp, const char* pszName)
{
    pUpTexture = pszName ? pApp->AcquireTexture(pszName) : nullptr;
    pTexture = pUpTexture;
    return pUpTexture != nullptr;
}

bool CButton::SetHoverTexture(CApplication* pApp, const char* pszName)
{
    pHoverTexture = pszName ? pApp->AcquireTexture(pszName) : nullptr;
    return pHoverTexture != nullptr;
}

bool CButton::SetDownTexture(CApplication* pApp, const char* pszName)
{
    pDownTexture = pszName ? pApp->AcquireTexture(pszName) : nullptr;
    return pDownTexture != nullptr;
}
