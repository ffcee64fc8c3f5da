#include "platform/window.h"

#include "platform/backend.h"

#include <deque>
#include <map>
#include <string>

namespace {

struct CWindowSystem {
    std::map<std::string, WNDCLASSEXA> Classes;
    std::deque<MSG> Queue;
    HWND hLive = nullptr;
    WNDPROC pProc = nullptr;
    std::function<void()> FrameHook;
};

CWindowSystem& System()
{
    static CWindowSystem system;
    return system;
}

// The one window's handle: any non-null value serves, as the core only
// passes it back.
HWND const LIVE_WINDOW = reinterpret_cast<HWND>(static_cast<uintptr_t>(0x10));

} // namespace

uint16_t RegisterClassExA(const WNDCLASSEXA* pClass)
{
    if (!pClass || !pClass->lpfnWndProc || !pClass->lpszClassName)
        return 0;
    System().Classes[pClass->lpszClassName] = *pClass;
    return static_cast<uint16_t>(System().Classes.size());
}

HWND CreateWindowExA(uint32_t, const char* pszClassName, const char* pszCaption, uint32_t, int,
                     int, int nWidth, int nHeight, HWND, void*, HINSTANCE, void*)
{
    CWindowSystem& system = System();
    if (!pszClassName || system.hLive)
        return nullptr;
    auto found = system.Classes.find(pszClassName);
    if (found == system.Classes.end())
        return nullptr;
    if (!GetPlatformBackend()->OpenWindow(pszCaption ? pszCaption : "", nWidth, nHeight))
        return nullptr;
    system.hLive = LIVE_WINDOW;
    system.pProc = found->second.lpfnWndProc;
    system.pProc(system.hLive, WM_CREATE, 0, 0);
    return system.hLive;
}

bool ShowWindow(HWND hWnd, int) { return hWnd && hWnd == System().hLive; }
bool UpdateWindow(HWND hWnd) { return hWnd && hWnd == System().hLive; }
HWND GetLiveWindow() { return System().hLive; }

bool DestroyWindow(HWND hWnd)
{
    CWindowSystem& system = System();
    if (!hWnd || hWnd != system.hLive)
        return false;
    system.pProc(hWnd, WM_DESTROY, 0, 0);
    system.hLive = nullptr;
    GetPlatformBackend()->CloseWindow();
    return true;
}

bool PeekMessageA(MSG* pMsg, HWND, uint32_t, uint32_t, uint32_t nRemove)
{
    CWindowSystem& system = System();
    GetPlatformBackend()->PumpEvents(false);
    if (system.Queue.empty()) {
        if (system.FrameHook)
            system.FrameHook();
        return false;
    }
    *pMsg = system.Queue.front();
    if (nRemove & PM_REMOVE)
        system.Queue.pop_front();
    return true;
}

int GetMessageA(MSG* pMsg, HWND, uint32_t, uint32_t)
{
    CWindowSystem& system = System();
    if (system.Queue.empty() && system.hLive)
        GetPlatformBackend()->PumpEvents(true);
    if (system.Queue.empty()) {
        *pMsg = MSG{nullptr, WM_QUIT, 0, 0};
        return 0;
    }
    *pMsg = system.Queue.front();
    system.Queue.pop_front();
    return pMsg->message == WM_QUIT ? 0 : 1;
}

bool TranslateMessage(const MSG*) { return false; }

LRESULT DispatchMessageA(const MSG* pMsg)
{
    CWindowSystem& system = System();
    if (!pMsg || !pMsg->hwnd || pMsg->hwnd != system.hLive || !system.pProc)
        return 0;
    return system.pProc(pMsg->hwnd, pMsg->message, pMsg->wParam, pMsg->lParam);
}

LRESULT DefWindowProcA(HWND hWnd, uint32_t nMessage, WPARAM, LPARAM)
{
    if (nMessage == WM_CLOSE)
        DestroyWindow(hWnd);
    return 0;
}

void PostQuitMessage(int nExitCode)
{
    System().Queue.push_back(MSG{nullptr, WM_QUIT, static_cast<WPARAM>(nExitCode), 0});
}

bool PostMessageA(HWND hWnd, uint32_t nMessage, WPARAM wParam, LPARAM lParam)
{
    System().Queue.push_back(MSG{hWnd, nMessage, wParam, lParam});
    return true;
}

HINSTANCE GetModuleHandleA(const char*)
{
    static int nModule = 0;
    return &nModule;
}

void SetFrameHook(std::function<void()> hook)
{
    System().FrameHook = std::move(hook);
}

void ResetWindowSystem()
{
    CWindowSystem& system = System();
    system.Classes.clear();
    system.Queue.clear();
    system.hLive = nullptr;
    system.pProc = nullptr;
    system.FrameHook = nullptr;
}
