#pragma once
// CButton: a panel with three textures (up, hover, down) and a mouse state
// machine that tells its handler when the left button goes down on it and
// when it comes up again.
#include "controls/panel.h"

#include <cstdint>

// Flags bits.
constexpr uint32_t BUTTON_HOVER = 1;   // the cursor is inside the region
constexpr uint32_t BUTTON_DOWN = 2;    // pressed inside and not yet released
constexpr uint32_t BUTTON_CLICKED = 4; // set on release; never cleared here

// Sent as pHandler->OnMessage(button, code, address of the cursor position).
constexpr uint32_t BUTTON_MSG_DOWN = 0x1000001;
constexpr uint32_t BUTTON_MSG_UP = 0x1000002;

class CButton : public CPanel {
public:
    CButton();

    // The state machine, then the children. Without a region: nothing.
    void Update(CApplication* pApp) override;
    // The region, then a quad on its bounds; true when both worked.
    bool SetRegion(const CRegion* pRegionIn) override;
    // Does nothing and gives false: a button has its three textures.
    bool SetTexture(CApplication* pApp, const char* pszName) override;
    // Names the button and makes it textured; false for a null name.
    virtual bool SetButtonName(const char* pszName);

    // Acquires the up texture and shows it at once; true when it exists.
    bool SetUpTexture(CApplication* pApp, const char* pszName);
    bool SetHoverTexture(CApplication* pApp, const char* pszName);
    bool SetDownTexture(CApplication* pApp, const char* pszName);

    CTextureSurface* pUpTexture;    // shared, null until set
    CTextureSurface* pHoverTexture;
    CTextureSurface* pDownTexture;
    uint32_t Flags;

private:
    void Send(uint32_t nCode, const void* pCursor);
};
