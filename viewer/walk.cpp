// The walk-through: moving the camera by keys, mouse and joystick with the
// move taken back when it ends in solid space, the view matrix, and the
// drawing in the three view modes.
#include "viewer/viewer_app.h"

#include "input/joystick.h"


namespace {

constexpr double WALK_SPEED = 256.0;    // units a second by keys
constexpr float MOUSE_COUNTS = 80.0f;   // counts a radian
constexpr double STICK_MOVE = 0.01562;  // units a second per count past the dead zone
constexpr double STICK_TURN = 0.0003125;
constexpr uint32_t DEAD_LOW = 16381;    // the dead zone, inclusive
constexpr uint32_t DEAD_HIGH = 49149;
constexpr int VIEW_MODES = 3;

} // namespace

void CViewerApp::WalkUpdate()
{
    CJoystick* pJoystick = JoystickCount > 0 ? GetJoystick(0) : nullptr;
    if (GetKeyState(DIK_ESCAPE) == INPUT_RELEASED ||
        (pJoystick && pJoystick->GetButtonState(2) == INPUT_PRESSED)) {
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
    if (pJoystick)
        MoveByJoystick(pJoystick, dSeconds);
    if (GetKeyState(DIK_TAB) == INPUT_PRESSED ||
        (pJoystick && pJoystick->GetButtonState(1) == INPUT_PRESSED))
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

// Axes 1 and 2 move, 4 pitches and 3 turns, in that order; values are
// compared unsigned, and the dead zone's bounds themselves do nothing.
void CViewerApp::MoveByJoystick(CJoystick* pJoystick, double dSeconds)
{
    const uint32_t nForward = static_cast<uint32_t>(pJoystick->GetAxis(1));
    if (nForward < DEAD_LOW)
        Camera.MoveForward(static_cast<float>((DEAD_LOW - nForward) * STICK_MOVE * dSeconds));
    else if (nForward > DEAD_HIGH)
        Camera.MoveForward(static_cast<float>((nForward - DEAD_HIGH) * -STICK_MOVE * dSeconds));
    const uint32_t nSide = static_cast<uint32_t>(pJoystick->GetAxis(2));
    if (nSide < DEAD_LOW)
        Camera.MoveSideways(static_cast<float>((DEAD_LOW - nSide) * -STICK_MOVE * dSeconds));
    else if (nSide > DEAD_HIGH)
        Camera.MoveSideways(static_cast<float>((nSide - DEAD_HIGH) * STICK_MOVE * dSeconds));
    const uint32_t nPitch = static_cast<uint32_t>(pJoystick->GetAxis(4));
    if (nPitch < DEAD_LOW)
        Camera.fPitch += static_cast<float>((DEAD_LOW - nPitch) * STICK_TURN * dSeconds);
    else if (nPitch > DEAD_HIGH)
        Camera.fPitch += static_cast<float>((nPitch - DEAD_HIGH) * -STICK_TURN * dSeconds);
    const uint32_t nYaw = static_cast<uint32_t>(pJoystick->GetAxis(3));
    if (nYaw < DEAD_LOW)
        Camera.fYaw += static_cast<float>((DEAD_LOW - nYaw) * STICK_TURN * dSeconds);
    else if (nYaw > DEAD_HIGH)
        Camera.fYaw += static_cast<float>((nYaw - DEAD_HIGH) * -STICK_TURN * dSeconds);
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
