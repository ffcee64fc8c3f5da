#include "frame/application.h"

#include "frame/error.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/message_box.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>

CApplication* g_pApp = nullptr;
int32_t g_nFrameResult = 0;
uint8_t g_bQuit = 0;

namespace {

constexpr uint32_t SCENE_DEVICES = DEVICE_DIRECTDRAW | DEVICE_DIRECT3D;

} // namespace

CApplication::CApplication()
{
    g_pApp = this;
}

CApplication::~CApplication()
{
    ReleaseDevices(DEVICE_ALL);
    // The pointer is not left dangling once the object is gone.
    if (g_pApp == this)
        g_pApp = nullptr;
}

CApplication* CApplication::GetApp()
{
    return g_pApp;
}

void* CApplication::AllocMem(size_t nSize)
{
    void* pBlock = std::malloc(nSize);
    if (!pBlock)
        throw CError("AllocMem: Not enough memory.");
    return pBlock;
}

void* AllocMem(size_t nSize)
{
    CApplication* pApp = GetApp();
    return pApp ? pApp->AllocMem(nSize) : nullptr;
}

int CApplication::ReportError(CError&) { return 0; }
int CApplication::Init() { return 0; }
int CApplication::Draw() { return 0; }
int CApplication::Shutdown() { return 0; }
int CApplication::Reserved() { return 0; }
int CApplication::Process() { return 0; }

int CApplication::Update()
{
    if (GetKeyState(DIK_ESCAPE) == INPUT_RELEASED)
        return 1;
    if (GetKeyState(DIK_E) == INPUT_RELEASED)
        throw CError("You are having an error.");
    return 0;
}

int CApplication::Run(const CAppConfig* pConfigIn, HINSTANCE hInstanceIn)
{
    hInstance = hInstanceIn;
    if (!pConfigIn)
        return 2;
    DeleteFileAt(ERROR_LOG_NAME);
    try {
        pConfig = pConfigIn;
        int nResult = CreateAppWindow(pConfig);
        if (nResult != 0)
            return nResult;
        std::srand(static_cast<unsigned>(std::time(nullptr)));
        if (pConfig->nDevices & DEVICE_DIRECTDRAW)
            CreateDD(pConfig);
        if (pConfig->nDevices & DEVICE_DIRECTINPUT)
            CreateDI(pConfig);
        if (pConfig->nDevices & DEVICE_DIRECTSOUND)
            CreateDS(pConfig);
        if (pConfig->nDevices & DEVICE_DIRECT3D)
            CreateD3D(pConfig);
        Init();
        return FrameLoop();
    } catch (const CError& thrown) {
        // The handler works on its own copy, as a catch by value would.
        CError error(thrown);
        ReleaseDevices(DEVICE_ALL);
        ReportError(error);
        Shutdown();
        ReleaseDevices(DEVICE_ALL);
        error.ShowMessageBox(hWnd);
        DestroyWindow(hWnd);
    }
    MSG msg;
    while (GetMessageA(&msg, nullptr, 0, 0)) {
        TranslateMessage(&msg);
        DispatchMessageA(&msg);
    }
    return 0;
}

int CApplication::CreateAppWindow(const CAppConfig* pConfigIn)
{
    if (!pConfigIn)
        return 2;
    WNDCLASSEXA windowClass = {};
    windowClass.cbSize = 48;
    windowClass.style = CS_VREDRAW | CS_HREDRAW;
    windowClass.lpfnWndProc = &CApplication::WindowProc;
    windowClass.hInstance = hInstance;
    windowClass.lpszClassName = pConfigIn->pszClassName;
    if (!RegisterClassExA(&windowClass))
        return 4;
    hWnd = CreateWindowExA(0, pConfigIn->pszClassName, pConfigIn->pszCaption, WS_OVERLAPPEDWINDOW,
                           0, 0, pConfigIn->nWidth, pConfigIn->nHeight, nullptr, nullptr,
                           hInstance, const_cast<CAppConfig*>(pConfigIn));
    if (!hWnd)
        return 4;
    ShowWindow(hWnd, SW_SHOW);
    UpdateWindow(hWnd);
    return 0;
}

int CApplication::FrameLoop()
{
    LastClock = PlatformClock();
    FrameSeconds = 0.0;
    while (!g_bQuit) {
        MSG msg;
        if (PeekMessageA(&msg, nullptr, 0, 0, PM_NOREMOVE)) {
            GetMessageA(&msg, nullptr, 0, 0);
            if (msg.message == WM_QUIT)
                g_bQuit = 1;
            TranslateMessage(&msg);
            DispatchMessageA(&msg);
            continue;
        }
        uint32_t nNow = PlatformClock();
        FrameSeconds = static_cast<double>(static_cast<uint32_t>(nNow - LastClock)) / 1000.0;
        LastClock = nNow;
        g_nFrameResult = 0;
        ReadInput();
        g_nFrameResult |= Update();
        g_nFrameResult |= Process();
        FontList.UpdateAll(this);
        SceneList.UpdateAll(this);
        OverlayList.UpdateAll(this);
        if (bWindowAlive)
            DrawFrame();
        if (g_nFrameResult != 0)
            EndRun();
    }
    return 0;
}

// Step 8 of a frame: the application's own drawing, the scene of the lists,
// the cursor and the flip.
void CApplication::DrawFrame()
{
    g_nFrameResult |= Draw();
    const uint32_t nDevices = pConfig ? pConfig->nDevices : 0;
    if (nDevices & SCENE_DEVICES) {
        BeginScene();
        SceneList.DrawAll(this);
        ClearZBuffer();
        OverlayList.DrawAll(this);
        if (!bCursorEnabled)
            EndScene();
    }
    if (bCursorEnabled) {
        g_nFrameResult |= DrawCursor();
        if (nDevices & DEVICE_DIRECT3D)
            EndScene();
    }
    g_nFrameResult |= Flip();
}

// Step 9: a non-zero word ends the run; without bit 0 it is a failure code.
void CApplication::EndRun()
{
    Shutdown();
    ReleaseDevices(DEVICE_ALL);
    if ((g_nFrameResult & 1) == 0) {
        {
            CError error("Old style error thrown.  No information");
            ReportError(error);
        }
        char szText[64];
        std::snprintf(szText, sizeof(szText), "Error: %i", static_cast<int>(g_nFrameResult));
        PlatformMessageBox(hWnd, szText, nullptr, 0);
    }
    DestroyWindow(hWnd);
    g_bQuit = 1;
}

LRESULT CApplication::WindowProc(HWND hWndIn, uint32_t nMessage, WPARAM wParam, LPARAM lParam)
{
    CApplication* pApp = GetApp();
    if (!pApp)
        return -1;
    return pApp->HandleMessage(hWndIn, nMessage, wParam, lParam);
}

LRESULT CApplication::HandleMessage(HWND hWndIn, uint32_t nMessage, WPARAM wParam, LPARAM lParam)
{
    switch (nMessage) {
    case WM_CREATE:
        bWindowAlive = 1;
        return 0;
    case WM_DESTROY:
        bWindowAlive = 0;
        Shutdown();
        ReleaseDevices(DEVICE_ALL);
        PostQuitMessage(0);
        return 0;
    default:
        return DefWindowProcA(hWndIn, nMessage, wParam, lParam);
    }
}

void CApplication::RequestQuit(int nCode)
{
    g_nFrameResult |= nCode | 1;
}

DDPIXELFORMAT* CApplication::GetPixelFormat(DDPIXELFORMAT* pOut) const
{
    *pOut = PixelFormat;
    return pOut;
}

RECT* CApplication::GetScreenRect(RECT* pOut) const
{
    *pOut = ScreenRect;
    return pOut;
}

IDirect3DDevice7* CApplication::GetDevice()
{
    if (!pDevice)
        throw CError("Tried to use an invalid D3D device.");
    return pDevice;
}
