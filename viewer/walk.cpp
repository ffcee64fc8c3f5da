// The walk-through: moving the camera by keys, mouse and joystick with the
// move taken back when it ends in solid space, the view matrix, and the
// drawing in the three view modes.
#include "viewer/viewer_app.h"

#include "input/joystick.h"
#include "viewer/stick.h"

#include <algorithm>
#include <cstdio>

namespace {

constexpr double WALK_SPEED = 256.0;    // units a second by keys
constexpr float MOUSE_COUNTS = 80.0f;   // counts a radian
constexpr double STICK_MOVE = 0.01562;  // units a second per count past the dead zone
constexpr double STICK_TURN = 0.0003125; // radians a second per count past the dead zone
constexpr int VIEW_MODES = 3;
// The frame after a load carries the whole load in its FrameSeconds; no
// frame takes more than this off the missing-picture notice.
constexpr double NOTICE_STEP_LIMIT = 0.25;
constexpr COLORREF NOTICE_COLOUR = 0xC8C8C8;

} // namespace

void CViewerApp::WalkUpdate()
{
    if (GetKeyState(DIK_ESCAPE) == INPUT_RELEASED || IsJoyButtonPressed(2)) {
        UnloadMap();
        delete[] pszPath;
        pszPath = CopyRootPattern();
        nState = VIEWER_BROWSER;
    }
    const CVector saved = Camera.Position;
    const double dSeconds = GetFrameSeconds();
    MoveByKeys(dSeconds * WALK_SPEED);
    DIMOUSESTATE mouse;
    GetMouseState(&mouse);
    Camera.fYaw += -static_cast<float>(mouse.lX) / MOUSE_COUNTS;
    Camera.fPitch += -static_cast<float>(mouse.lY) / MOUSE_COUNTS;
    if (const CJoystick* pJoystick = GetJoystick(0))
        MoveByJoystick(*pJoystick, dSeconds);
    if (GetKeyState(DIK_TAB) == INPUT_PRESSED || IsJoyButtonPressed(1))
        nViewMode = (nViewMode + 1) % VIEW_MODES;
    if (!World.IsOpen(Camera.Position))
        Camera.Position = saved;
}

void CViewerApp::MoveByKeys(double dStep)
{
    const float fStep = static_cast<float>(dStep);
    if (GetKeyState(DIK_W) == INPUT_HELD)
        Camera.MoveForward(fStep);
    if (GetKeyState(DIK_S) == INPUT_HELD)
        Camera.MoveForward(-fStep);
    if (GetKeyState(DIK_A) == INPUT_HELD)
        Camera.MoveSideways(-fStep);
    if (GetKeyState(DIK_D) == INPUT_HELD)
        Camera.MoveSideways(fStep);
}

// Axes 1 and 2 move, 4 pitches and 3 turns, in that order, each by how far
// it stands past the dead zone: pushing an axis towards 0 moves forward, to
// the left, up and to the left. An axis the device lacks stands at rest.
void CViewerApp::MoveByJoystick(const CJoystick& stick, double dSeconds)
{
    const double dForward = static_cast<double>(PastDeadZone(stick.GetStickAxis(1)));
    if (dForward != 0.0)
        Camera.MoveForward(static_cast<float>(-dForward * STICK_MOVE * dSeconds));
    const double dSide = static_cast<double>(PastDeadZone(stick.GetStickAxis(2)));
    if (dSide != 0.0)
        Camera.MoveSideways(static_cast<float>(dSide * STICK_MOVE * dSeconds));
    const double dPitch = static_cast<double>(PastDeadZone(stick.GetStickAxis(4)));
    if (dPitch != 0.0)
        Camera.fPitch += static_cast<float>(-dPitch * STICK_TURN * dSeconds);
    const double dYaw = static_cast<double>(PastDeadZone(stick.GetStickAxis(3)));
    if (dYaw != 0.0)
        Camera.fYaw += static_cast<float>(-dYaw * STICK_TURN * dSeconds);
}

void CViewerApp::WalkProcess()
{
    CMatrix view;
    SetViewTransform(*Camera.GetViewMatrix(&view));
}

void CViewerApp::WalkDraw()
{
    BeginScene();
    ClearZBuffer();
    SetTextureStageState(0, D3DTSS_MAXANISOTROPY, 6);
    SetTextureStageState(0, D3DTSS_MINFILTER, D3DTFN_ANISOTROPIC);
    SetTextureStageState(0, D3DTSS_MAGFILTER, D3DTFG_FLATCUBIC);
    SetTextureStageState(0, D3DTSS_MIPFILTER, D3DTFP_POINT);
    SetViewModeStates();
    if (nViewMode == 2) {
        World.DrawAll(this);
    } else {
        World.DrawVisible(this, Camera.Position);
        SetTexture(0, nullptr);
        SetTexture(1, nullptr);
    }
    EndScene();
}

void CViewerApp::DrawMissingNotice()
{
    if (nMissingPictures <= 0 || dNoticeSeconds <= 0.0)
        return;
    dNoticeSeconds -= std::min(GetFrameSeconds(), NOTICE_STEP_LIMIT);
    HDC hdc = GetBackDC();
    if (!hdc)
        return;
    char szText[64];
    std::snprintf(szText, sizeof(szText), "%d %s missing", nMissingPictures,
                  nMissingPictures == 1 ? "picture" : "pictures");
    RECT rect;
    GetScreenRect(&rect);
    rect = {rect.left + 8, rect.bottom - 40, rect.right - 8, rect.bottom - 8};
    HGDIOBJ hOldFont = SelectObject(hdc, hFonts[1]);
    SetTextColor(hdc, NOTICE_COLOUR);
    SetBkMode(hdc, OPAQUE);
    SetBkColor(hdc, 0);
    DrawTextA(hdc, szText, -1, &rect, DT_LEFT);
    SelectObject(hdc, hOldFont);
    GetBackSurface()->ReleaseDC(hdc);
}

void CViewerApp::SetViewModeStates()
{
    switch (nViewMode) {
    case 0:
        SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_TEXTURE);
        SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1);
        SetTextureStageState(1, D3DTSS_COLORARG2, D3DTA_CURRENT);
        SetTextureStageState(1, D3DTSS_COLORARG1, D3DTA_TEXTURE);
        SetTextureStageState(1, D3DTSS_COLOROP, D3DTOP_MODULATE);
        SetTextureStageState(1, D3DTSS_ADDRESS, D3DTADDRESS_CLAMP);
        SetTextureStageState(1, D3DTSS_TEXCOORDINDEX, 1);
        break;
    case 1:
        Draw(nullptr, nullptr, nullptr, DDBLT_WAIT | DDBLT_COLORFILL, MakePixel(0.3f, 0.3f, 0.3f, nullptr));
        SetRenderState(D3DRENDERSTATE_TEXTUREFACTOR, MakeARGB(1, 1, 1, 1));
        SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_TFACTOR);
        SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1);
        SetTextureStageState(1, D3DTSS_COLOROP, D3DTOP_DISABLE);
        break;
    default:
        SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_TEXTURE);
        SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1);
        break;
    }
    SetRenderState(D3DRENDERSTATE_FILLMODE, nViewMode == 1 ? D3DFILL_WIREFRAME : D3DFILL_SOLID);
    SetRenderState(D3DRENDERSTATE_ZFUNC, D3DCMP_LESSEQUAL);
}

void CViewerApp::SetFaceTexture(int32_t nIndex)
{
    if (nIndex >= 0 && nIndex < nTextures)
        SetTexture(0, ppTextures[nIndex]);
}
