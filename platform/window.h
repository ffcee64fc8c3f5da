#pragma once
// The window and its message queue. There is one window at a time; its
// procedure receives WM_CREATE from CreateWindowExA and WM_DESTROY from
// DestroyWindow, synchronously, as on the system these calls stand in for.
// The queue is our own: the backend turns its events (a close request, for
// one) into posted messages, and PeekMessageA/GetMessageA/DispatchMessageA
// keep the usual rules. A close request goes through DefWindowProcA, which
// destroys the window.
#include "platform/window_types.h"

constexpr uint32_t WM_CREATE = 0x0001;
constexpr uint32_t WM_DESTROY = 0x0002;
constexpr uint32_t WM_CLOSE = 0x0010;
constexpr uint32_t WM_QUIT = 0x0012;

constexpr uint32_t PM_NOREMOVE = 0x0000;
constexpr uint32_t PM_REMOVE = 0x0001;

constexpr uint32_t CS_VREDRAW = 0x0001;
constexpr uint32_t CS_HREDRAW = 0x0002;
constexpr uint32_t WS_OVERLAPPEDWINDOW = 0x00CF0000;
constexpr int SW_SHOW = 5;

using WNDPROC = LRESULT (*)(HWND, uint32_t, WPARAM, LPARAM);

struct MSG {
    HWND hwnd;
    uint32_t message;
    WPARAM wParam;
    LPARAM lParam;
};

struct WNDCLASSEXA {
    uint32_t cbSize;
    uint32_t style;
    WNDPROC lpfnWndProc;
    int32_t cbClsExtra;
    int32_t cbWndExtra;
    HINSTANCE hInstance;
    void* hIcon;
    void* hCursor;
    void* hbrBackground;
    const char* lpszMenuName;
    const char* lpszClassName;
    void* hIconSm;
};

// The class is remembered by name; 0 for a null record, a null procedure or
// a null name.
uint16_t RegisterClassExA(const WNDCLASSEXA* pClass);
// Makes the window of a registered class through the backend and sends it
// WM_CREATE; null when the class is unknown or the backend fails.
HWND CreateWindowExA(uint32_t nExStyle, const char* pszClassName, const char* pszCaption,
                     uint32_t nStyle, int x, int y, int nWidth, int nHeight, HWND hParent,
                     void* hMenu, HINSTANCE hInstance, void* pParam);
bool ShowWindow(HWND hWnd, int nCmdShow);
bool UpdateWindow(HWND hWnd);
// Sends WM_DESTROY to the procedure, then closes the backend's window;
// false for a window that is not the live one.
bool DestroyWindow(HWND hWnd);
// The live window, or null.
HWND GetLiveWindow();

// Pumps the backend's events first. PM_REMOVE takes the message it gives.
bool PeekMessageA(MSG* pMsg, HWND hWnd, uint32_t nMin, uint32_t nMax, uint32_t nRemove);
// Takes the next message, waiting for the backend's events when the queue is
// empty; 0 for WM_QUIT, and 0 as well when the queue is empty and nothing
// can come any more (no live window), so that a drain never hangs.
int GetMessageA(MSG* pMsg, HWND hWnd, uint32_t nMin, uint32_t nMax);
bool TranslateMessage(const MSG* pMsg);
// Calls the procedure of the live window's class.
LRESULT DispatchMessageA(const MSG* pMsg);
// WM_CLOSE destroys the window; everything else gives 0.
LRESULT DefWindowProcA(HWND hWnd, uint32_t nMessage, WPARAM wParam, LPARAM lParam);
void PostQuitMessage(int nExitCode);
bool PostMessageA(HWND hWnd, uint32_t nMessage, WPARAM wParam, LPARAM lParam);

HINSTANCE GetModuleHandleA(const char* pszModule);

// Forgets the queue, the classes and the window; for tests.
void ResetWindowSystem();

// Called each time PeekMessageA finds the queue empty, which is the moment
// the frame loop starts a frame; a script run feeds its input here. An empty
// function removes the hook.
#include <functional>
void SetFrameHook(std::function<void()> hook);
