// Keyboard, mouse and cursor of the application: one snapshot of each device
// per frame, button edges by comparing it with the snapshot before, and a
// cursor of our own moved by the mouse deltas.
#include "frame/application.h"
#include "frame/error.h"
#include "geometry/vertex.h"
#include "input/joystick.h"

#include <cmath>
#include <cstdint>
#include <cstring>

namespace {

constexpr uint32_t INPUT_COOPERATION = DISCL_EXCLUSIVE | DISCL_FOREGROUND | DISCL_NOWINKEY; // 0x15
constexpr uint8_t DOWN_BIT = 0x80;
constexpr float CURSOR_SIZE = 32.0f;
constexpr const char* CURSOR_TEXTURE = "mouse";

int ButtonState(uint8_t nPrevious, uint8_t nCurrent)
{
    bool bWasDown = (nPrevious & DOWN_BIT) != 0;
    bool bIsDown = (nCurrent & DOWN_BIT) != 0;
    if (bWasDown)
        return bIsDown ? INPUT_HELD : INPUT_RELEASED;
    return bIsDown ? INPUT_PRESSED : INPUT_UP;
}

// One read of a device; on failure it acquires the device again (the focus
// may have come back) and reads once more.
bool ReadDevice(IDirectInputDevice7A* pDevice, uint32_t nSize, void* pData)
{
    if (SUCCEEDED(pDevice->GetDeviceState(nSize, pData)))
        return true;
    pDevice->Acquire();
    return SUCCEEDED(pDevice->GetDeviceState(nSize, pData));
}

// The cursor position after a delta: whole pixels, the fraction dropped.
// Values beyond the 32-bit range (a very long frame) stop at its ends; the
// screen clamp follows anyway.
int32_t MoveAxis(int32_t nPosition, int32_t nDelta, float fSpeed, double dSeconds)
{
    double dPosition = std::trunc(nPosition + (nDelta * static_cast<double>(fSpeed)) * dSeconds);
    if (!(dPosition > INT32_MIN))
        return INT32_MIN;
    if (dPosition > INT32_MAX)
        return INT32_MAX;
    return static_cast<int32_t>(dPosition);
}

// The four calls of InitKeyboard and InitMouse, each with its message.
// A device that was created but failed a later call is released again, as
// the release of the input devices only looks at ready ones.
struct CDeviceMessages {
    const char* pszCreate;
    const char* pszFormat;
    const char* pszCooperation;
    const char* pszAcquire;
};

void InitDevice(CApplication& app, const GUID& guid, const DIDATAFORMAT& format,
                IDirectInputDevice7A** ppDevice, const CDeviceMessages& messages)
{
    if (FAILED(app.pDirectInput->CreateDeviceEx(guid, IID_IDirectInputDevice7A,
                                                reinterpret_cast<void**>(ppDevice), nullptr)))
        throw CError(messages.pszCreate);
    const char* pszFailure = nullptr;
    if (FAILED((*ppDevice)->SetDataFormat(&format)))
        pszFailure = messages.pszFormat;
    else if (FAILED((*ppDevice)->SetCooperativeLevel(app.hWnd, INPUT_COOPERATION)))
        pszFailure = messages.pszCooperation;
    else if (FAILED((*ppDevice)->Acquire()))
        pszFailure = messages.pszAcquire;
    if (pszFailure) {
        (*ppDevice)->Release();
        *ppDevice = nullptr;
        throw CError(pszFailure);
    }
}

void ReleaseDevice(IDirectInputDevice7A** ppDevice, uint8_t bReady)
{
    if (*ppDevice && bReady) {
        (*ppDevice)->Unacquire();
        (*ppDevice)->Release();
        *ppDevice = nullptr;
    }
}

} // namespace

int CApplication::CreateDI(const CAppConfig* pConfigIn)
{
    if (!pConfigIn)
        return 0;
    if (FAILED(DirectInputCreateEx(hInstance, DIRECTINPUT_VERSION, IID_IDirectInput7A,
                                   reinterpret_cast<void**>(&pDirectInput), nullptr))) {
        bDirectInputReady = 0;
        throw CError("CreateDI: Failed to create DirectInput.");
    }
    bDirectInputReady = 1;
    if (!pConfigIn->bKeyboard && !pConfigIn->bMouse)
        return 2;
    if (pConfigIn->bKeyboard) {
        InitKeyboard();
        bKeyboardReady = 1;
    }
    if (pConfigIn->bMouse) {
        InitMouse();
        bMouseReady = 1;
    }
    // A machine without joysticks, or whose enumeration fails, runs on
    // keyboard and mouse.
    EnumerateJoysticks(this, &pJoysticks, &JoystickCount);
    if (pConfigIn->bMouse && FAILED(pMouse->GetDeviceState(sizeof(CurMouse), &CurMouse)))
        throw CError("CreateDI: Failed to get mouse status.");
    if (pConfigIn->bKeyboard && FAILED(pKeyboard->GetDeviceState(sizeof(CurKeys), CurKeys)))
        throw CError("CreateDI: Failed to get keyboard status.");
    bCursorEnabled = pConfigIn->bCursor;
    Cursor.x = pConfigIn->nCursorX;
    Cursor.y = pConfigIn->nCursorY;
    MouseSpeed = pConfigIn->fMouseSpeed;
    return 0;
}

int CApplication::InitKeyboard()
{
    if (!bDirectInputReady)
        throw CError(
            "InitKeyboard: Can not initalize the keyboard before initalizing DirectInput.");
    InitDevice(*this, GUID_SysKeyboard, c_dfDIKeyboard, &pKeyboard,
               {"InitKeyboard: Keyboard failed to initalize.",
                "InitKeyboard: Failed to set data format.",
                "InitKeyboard: Failed to set cooperative level.",
                "InitKeyboard: Failed to aquire keyboard."});
    return 1;
}

int CApplication::InitMouse()
{
    if (!bDirectInputReady)
        throw CError("InitMouse: Can not initalize a mouse before initalizing DirectInput.");
    InitDevice(*this, GUID_SysMouse, c_dfDIMouse, &pMouse,
               {"InitMouse: Mouse failed to initalize.", "InitMouse: Failed to set data format.",
                "InitMouse: Failed to set cooperative level.",
                "InitMouse: Failed to aquire mouse."});
    return 1;
}

bool CApplication::ReadInput()
{
    bool bResult = true;
    PrevMouse = CurMouse;
    std::memcpy(PrevKeys, CurKeys, sizeof(CurKeys));
    if (bMouseReady && pMouse && !ReadDevice(pMouse, sizeof(CurMouse), &CurMouse))
        bResult = false;
    if (bCursorEnabled && bResult) {
        Cursor.x = MoveAxis(Cursor.x, CurMouse.lX, MouseSpeed, FrameSeconds);
        Cursor.y = MoveAxis(Cursor.y, CurMouse.lY, MouseSpeed, FrameSeconds);
        ClampToScreen(&Cursor);
    }
    if (bKeyboardReady && pKeyboard && !ReadDevice(pKeyboard, sizeof(CurKeys), CurKeys))
        bResult = false;
    if (JoystickCount >= 0 && pJoysticks) {
        for (int32_t i = 0; i < JoystickCount; ++i)
            pJoysticks[i].Poll();
    }
    return bResult;
}

int CApplication::GetKeyState(int nScanCode) const
{
    return ButtonState(PrevKeys[nScanCode], CurKeys[nScanCode]);
}

int CApplication::GetMouseButtonState(int nButton) const
{
    return ButtonState(PrevMouse.rgbButtons[nButton], CurMouse.rgbButtons[nButton]);
}

DIMOUSESTATE* CApplication::GetMouseState(DIMOUSESTATE* pOut) const
{
    *pOut = CurMouse;
    return pOut;
}

CCursorPos* CApplication::GetCursorPos(CCursorPos* pOut) const
{
    *pOut = Cursor;
    return pOut;
}

// Right and bottom are allowed values themselves.
void CApplication::ClampToScreen(CCursorPos* pPoint) const
{
    if (!pPoint)
        return;
    if (pPoint->x < ScreenRect.left)
        pPoint->x = ScreenRect.left;
    else if (pPoint->x > ScreenRect.right)
        pPoint->x = ScreenRect.right;
    if (pPoint->y < ScreenRect.top)
        pPoint->y = ScreenRect.top;
    else if (pPoint->y > ScreenRect.bottom)
        pPoint->y = ScreenRect.bottom;
}

bool CApplication::AcquireDevice(IDirectInputDevice7A* pInput)
{
    return pInput && SUCCEEDED(pInput->Acquire());
}

bool CApplication::UnacquireDevice(IDirectInputDevice7A* pInput)
{
    return pInput && SUCCEEDED(pInput->Unacquire());
}

CJoystick* CApplication::GetJoystick(int nIndex) const
{
    if (!pJoysticks || nIndex < 0 || nIndex >= JoystickCount)
        return nullptr;
    return &pJoysticks[nIndex];
}

void CApplication::ReleaseInput()
{
    delete[] pJoysticks;
    pJoysticks = nullptr;
    JoystickCount = 0;
    ReleaseDevice(&pMouse, bMouseReady);
    ReleaseDevice(&pKeyboard, bKeyboardReady);
    if (pDirectInput) {
        pDirectInput->Release();
        pDirectInput = nullptr;
    }
}

int CApplication::DrawCursor()
{
    CTextureSurface* pTexture = FindTexture(CURSOR_TEXTURE);
    if (!pTexture)
        return 0;
    if (!pConfig || !(pConfig->nDevices & DEVICE_DIRECT3D))
        return 0;
    const uint32_t nWhite = MakeARGB(1.0f, 1.0f, 1.0f, 1.0f);
    const float x = static_cast<float>(Cursor.x);
    const float y = static_cast<float>(Cursor.y);
    auto corner = [&](float fDx, float fDy, float fU, float fV) {
        return CScreenVertex(CVector(x + fDx, y + fDy, 1.0f), nWhite, fU, fV, 0.0f, 0.0f);
    };
    CScreenVertex vertices[4] = {
        corner(0.0f, 0.0f, 0.0f, 0.0f),
        corner(CURSOR_SIZE, 0.0f, 1.0f, 0.0f),
        corner(CURSOR_SIZE, CURSOR_SIZE, 1.0f, 1.0f),
        corner(0.0f, CURSOR_SIZE, 0.0f, 1.0f),
    };
    SetTexture(0, pTexture);
    SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_TEXTURE);
    SetTextureStageState(0, D3DTSS_COLORARG2, D3DTA_DIFFUSE);
    SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_MODULATE);
    DrawPrimitive(D3DPT_TRIANGLEFAN, FVF_SCREEN_VERTEX, vertices, 4, 0);
    SetTexture(0, nullptr);
    return 0;
}
