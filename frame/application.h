#pragma once
// CApplication: the one application object. It owns the window, every
// device interface, the input snapshots and the resource lists, and runs the
// frame loop. It is one class whose operations stand in several folders:
// the frame here, the display and 3D device in render/, textures in
// resources/, input and sound in input/.
#include "frame/app_config.h"
#include "geometry/matrix.h"
#include "platform/ddraw.h"
#include "platform/dinput.h"
#include "platform/dsound.h"
#include "platform/gdi.h"
#include "platform/window.h"
#include "render/colors.h"
#include "resources/resource.h"
#include "resources/texture_list.h"

#include <cstddef>
#include <cstdint>

class CError;
class CFont;
class CJoystick;
class CTextureSurface;
class CFormatStack;
class CDeviceStack;
struct CDeviceSearch;

// Button states of keys, mouse buttons and joystick buttons, by the previous
// and the current frame's snapshot.
constexpr int INPUT_PRESSED = 1;
constexpr int INPUT_HELD = 2;
constexpr int INPUT_RELEASED = 3;
constexpr int INPUT_UP = 4;

// One loaded sound, in a list ascending by id.
struct CSoundNode {
    uint32_t Id;
    IDirectSoundBuffer* pBuffer;
    CSoundNode* pNext;
};

struct CCursorPos {
    int32_t x, y;
};

class CApplication {
public:
    CApplication();
    // ReleaseDevices(31), then the lists go in reverse order of construction.
    virtual ~CApplication();
    CApplication(const CApplication&) = delete;
    CApplication& operator=(const CApplication&) = delete;

    // ---- virtual operations, in table order ----
    virtual int ReportError(CError& error);
    virtual int Init();
    virtual int Draw();
    virtual int Shutdown();
    // Escape released gives 1; E released throws "You are having an error.".
    virtual int Update();
    virtual int Reserved();
    virtual int Process();
    virtual bool ConfirmDevice(D3DDEVICEDESC7* pDesc);
    virtual bool ConfirmZBufferFormat(DDPIXELFORMAT* pFormat);
    virtual DDPIXELFORMAT* ChooseZBufferFormat(DDPIXELFORMAT* pOut, CFormatStack* pList);
    virtual D3DDEVICEDESC7* ChooseDevice(D3DDEVICEDESC7* pOut, CDeviceStack* pList);
    virtual bool ConfirmTextureFormat(DDPIXELFORMAT* pOut, DDPIXELFORMAT* pFormat);
    virtual int DrawCursor();

    // ---- frame (frame/) ----
    // 0 after a normal end or a caught CError, 2 for a null config, 4 when
    // the window could not be made.
    int Run(const CAppConfig* pConfig, HINSTANCE hInstance);
    int CreateAppWindow(const CAppConfig* pConfig);
    int FrameLoop();
    static LRESULT WindowProc(HWND hWnd, uint32_t nMessage, WPARAM wParam, LPARAM lParam);
    LRESULT HandleMessage(HWND hWnd, uint32_t nMessage, WPARAM wParam, LPARAM lParam);
    // ORs nCode | 1 into g_nFrameResult.
    static void RequestQuit(int nCode);
    // Steps 8 and 9 of a frame: drawing, and the end of the run.
    void DrawFrame();
    void EndRun();

    static CApplication* GetApp();
    HWND GetWindow() const { return hWnd; }
    IDirectDrawSurface7* GetBackSurface() const { return pBack; }
    IDirectDraw7* GetDirectDraw() const { return pDirectDraw; }
    IDirectInput7A* GetDirectInput() const { return pDirectInput; }
    IDirectSound* GetDirectSound() const { return pDirectSound; }
    IDirect3D7* GetDirect3D() const { return pDirect3D; }
    DDPIXELFORMAT* GetPixelFormat(DDPIXELFORMAT* pOut) const;
    RECT* GetScreenRect(RECT* pOut) const;
    bool IsWindowAlive() const { return bWindowAlive != 0; }
    bool IsHardwareDevice() const { return bHardwareDevice != 0; }
    double GetFrameSeconds() const { return FrameSeconds; }
    const CAppConfig* GetConfig() const { return pConfig; }
    // Throws "Tried to use an invalid D3D device." when there is none.
    IDirect3DDevice7* GetDevice();

    // Allocates nSize bytes with malloc; throws CError
    // "AllocMem: Not enough memory." when that fails.
    void* AllocMem(size_t nSize);

    // ---- display surfaces (render/display.cpp) ----
    int CreateDD(const CAppConfig* pConfig);
    int ReleaseDevices(unsigned nMask);
    int Flip();
    int Draw(const RECT* pDest, IDirectDrawSurface7* pSource, const RECT* pSourceRect,
             unsigned nFlags, unsigned nColour);
    uint32_t MakePixel(float r, float g, float b, const DDPIXELFORMAT* pFormat);
    int SetPen(HDC hdc, int nWidth, COLORREF colour);
    int SetBrush(HDC hdc, COLORREF colour);
    IDirectDrawSurface7* CreateImage(int nWidth, int nHeight, COLORREF colour);
    IDirectDrawSurface7* LoadImage(const char* pszName, int nWidth, int nHeight);

    // ---- device selection (render/device_select.cpp) ----
    int CreateD3D(const CAppConfig* pConfig);
    int EnumerateDevices(const CAppConfig* pConfig, CDeviceSearch* pSearch);
    int CreateZBuffer(const DDPIXELFORMAT* pFormat);

    // ---- render calls (render/render_calls.cpp) ----
    int BeginScene();
    int EndScene();
    int SetRenderState(uint32_t nState, uint32_t nValue);
    int SetTextureStageState(uint32_t nStage, uint32_t nState, uint32_t nValue);
    int SetTexture(uint32_t nStage, CTextureSurface* pSurface);
    int SetMaterial(const CMaterial& material);
    CMaterial GetMaterial();
    int SetLight(uint32_t nIndex, const CLight& light, bool bEnable);
    CLight GetLight(uint32_t nIndex);
    int EnableLight(uint32_t nIndex, bool bEnable);
    int DrawPrimitive(uint32_t nType, uint32_t nFvf, void* pVertices, uint32_t nCount,
                      uint32_t nFlags);
    int SetWorldTransform(const CMatrix& matrix);
    int SetViewTransform(const CMatrix& matrix);
    int ClearZBuffer();
    int SetViewport();
    int SetProjection(const CAppConfig* pConfig);

    // ---- textures (resources/texture_list.cpp) ----
    bool AddTexture(const char* pszPath, const char* pszName, int nMipCount);
    bool ReleaseTexture(const char* pszName);
    CTextureSurface* FindTexture(const char* pszName);
    CTextureSurface* AcquireTexture(const char* pszName);

    // ---- fonts (resources/font_list.cpp) ----
    bool AddFont(const char* pszName, int nSize, int nWeight, bool bItalic, bool bUnderline,
                 bool bStrikeOut, bool bTrueType, uint32_t nPitchAndFamily,
                 const char* pszFaceName, COLORREF colour);
    // The font is named by its path.
    bool LoadFont(const char* pszPath, int nCell);
    CFont* AcquireFont(const char* pszName);
    bool ReleaseFont(const char* pszName);

    // ---- keyboard, mouse and cursor (input/input.cpp) ----
    int CreateDI(const CAppConfig* pConfig);
    int InitKeyboard();
    int InitMouse();
    bool ReadInput();
    int GetKeyState(int nScanCode) const;
    int GetMouseButtonState(int nButton) const;
    DIMOUSESTATE* GetMouseState(DIMOUSESTATE* pOut) const;
    const uint8_t* GetKeyTable() const { return CurKeys; }
    CCursorPos* GetCursorPos(CCursorPos* pOut) const;
    float GetMouseSpeed() const { return MouseSpeed; }
    void SetMouseSpeed(float fSpeed) { MouseSpeed = fSpeed; }
    void ClampToScreen(CCursorPos* pPoint) const;
    bool AcquireDevice(IDirectInputDevice7A* pInput);
    bool UnacquireDevice(IDirectInputDevice7A* pInput);
    int GetJoystickCount() const { return JoystickCount; }
    // Null outside 0..JoystickCount-1.
    CJoystick* GetJoystick(int nIndex) const;
    void ReleaseInput();

    // ---- sound (input/sound.cpp) ----
    int CreateDS(const CAppConfig* pConfig);
    uint32_t LoadWAV(const char* pszPath, uint32_t nFlags);
    bool PlaySound(uint32_t nId, int bLoop);
    bool StopSound(uint32_t nId);
    uint32_t GetFreeSoundId() const;
    void FreeSounds();
    void ReleaseSound();

    // ---- members, in declaration order ----
    HINSTANCE hInstance = nullptr;
    HWND hWnd = nullptr;
    const CAppConfig* pConfig = nullptr;
    IDirectDraw7* pDirectDraw = nullptr;
    IDirectInput7A* pDirectInput = nullptr;
    IDirectSound* pDirectSound = nullptr;
    IDirect3D7* pDirect3D = nullptr;
    IDirectDrawSurface7* pPrimary = nullptr;
    IDirectDrawSurface7* pBack = nullptr;
    IDirectInputDevice7A* pMouse = nullptr;
    IDirectInputDevice7A* pKeyboard = nullptr;
    IDirectDrawSurface7* pZBuffer = nullptr;
    IDirect3DDevice7* pDevice = nullptr;
    uint8_t bWindowAlive = 0;
    DDPIXELFORMAT PixelFormat = {};
    RECT ScreenRect = {0, 0, 640, 480};
    uint8_t bDirectInputReady = 0;
    uint8_t bMouseReady = 0;
    uint8_t bKeyboardReady = 0;
    DIMOUSESTATE PrevMouse = {};
    DIMOUSESTATE CurMouse = {};
    uint8_t PrevKeys[256] = {};
    uint8_t CurKeys[256] = {};
    uint32_t LastClock = 0;
    double FrameSeconds = 0.0;
    uint8_t bHardwareDevice = 0;
    D3DDEVICEDESC7 DeviceInfo = {};
    uint8_t bCursorEnabled = 0;
    CCursorPos Cursor = {0, 0};
    float MouseSpeed = 0.0f;
    CJoystick* pJoysticks = nullptr;
    int32_t JoystickCount = 0;
    CResourceList SceneList;
    CResourceList OverlayList;
    CSoundNode* pSoundList = nullptr;
    CTextureList TextureList;
    CResourceList FontList;
};

extern CApplication* g_pApp;
extern int32_t g_nFrameResult;
extern uint8_t g_bQuit;

inline CApplication* GetApp() { return CApplication::GetApp(); }

// GetApp()->AllocMem(nSize), or null when there is no application.
void* AllocMem(size_t nSize);
