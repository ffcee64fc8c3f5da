#include "platform/sdl_backend.h"

#include "platform/dinput_devices.h"
#include "platform/gl_display.h"
#include "platform/input_state.h"
#include "platform/message_box.h"
#include "platform/sdl_audio.h"
#include "platform/sdl_events.h"
#include "platform/sdl_joysticks.h"
#include "platform/sdl_window.h"
#include "platform/sound_mixer.h"
#include "platform/window.h"

#include <SDL2/SDL.h>

#include <dlfcn.h>
#include <link.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr uint32_t WAIT_TIMEOUT_MS = 100;
constexpr const char* OFFSCREEN_DRIVER = "offscreen";

struct CSdlRun {
    bool bInit = false;
    CSdlOptions Options;
    SDL_Window* pWindow = nullptr;
    SDL_GLContext hContext = nullptr;
    bool bCloseSent = false;
    MessageBoxHandler PreviousBox;
    void (*pWarningHandler)(const char*) = nullptr;
};

CSdlRun& SdlRun()
{
    static CSdlRun run;
    return run;
}

bool LiveInput()
{
    return !SdlRun().Options.bScripted;
}

// Without a display server a scripted run takes the offscreen driver (real
// OpenGL through EGL); a live run has nothing to show on and stops.
bool ChooseVideoDriver(const CSdlOptions& options, std::string* pError)
{
    if (std::getenv("SDL_VIDEODRIVER") || std::getenv("DISPLAY") || std::getenv("WAYLAND_DISPLAY"))
        return true;
    if (options.bScripted) {
        setenv("SDL_VIDEODRIVER", OFFSCREEN_DRIVER, 1);
        return true;
    }
    if (pError)
        *pError = "No display found (DISPLAY is not set). Run under a desktop session, "
                  "or give --script FILE to run headless.";
    return false;
}

void InitOptionalPart(uint32_t nFlags, const char* pszPart)
{
    if (SDL_InitSubSystem(nFlags) == 0)
        return;
    std::string text;
    if (nFlags == SDL_INIT_AUDIO)
        text = std::string("No sound device: running without sound (") + SDL_GetError() + ")";
    else
        text = std::string("No ") + pszPart + " support: " + SDL_GetError();
    ReportBackendWarning(text.c_str());
}

uint32_t BoxFlags(uint32_t nType)
{
    return (nType & MB_ICONEXCLAMATION) ? SDL_MESSAGEBOX_WARNING : SDL_MESSAGEBOX_INFORMATION;
}

// Every box goes to standard error, in the default box's form; a live run
// on a real display also shows it in a window of its own.
int ShowBox(HWND, const char* pszText, const char* pszCaption, uint32_t nType)
{
    const char* pszCap = pszCaption ? pszCaption : "";
    const char* pszMsg = pszText ? pszText : "";
    if (*pszCap)
        std::fprintf(stderr, "%s %s\n", pszCap, pszMsg);
    else
        std::fprintf(stderr, "%s\n", pszMsg);
    std::fflush(stderr);
    if (SdlRun().bInit && !SdlRun().Options.bScripted && !IsOffscreenVideo()) {
        // The pointer must be free to press the button.
        SDL_SetRelativeMouseMode(SDL_FALSE);
        SDL_ShowCursor(SDL_ENABLE);
        SDL_ShowSimpleMessageBox(BoxFlags(nType), pszCap, pszMsg, SdlRun().pWindow);
    }
    return 1;
}

void WarnSdl(const char* pszWhat)
{
    std::string text = std::string(pszWhat) + ": " + SDL_GetError();
    ReportBackendWarning(text.c_str());
}

void SetContextAttributes()
{
    SDL_GL_SetAttribute(SDL_GL_CONTEXT_MAJOR_VERSION, 2);
    SDL_GL_SetAttribute(SDL_GL_CONTEXT_MINOR_VERSION, 1);
    SDL_GL_SetAttribute(SDL_GL_CONTEXT_PROFILE_MASK, SDL_GL_CONTEXT_PROFILE_COMPATIBILITY);
    SDL_GL_SetAttribute(SDL_GL_DOUBLEBUFFER, 1);
    SDL_GL_SetAttribute(SDL_GL_RED_SIZE, 8);
    SDL_GL_SetAttribute(SDL_GL_GREEN_SIZE, 8);
    SDL_GL_SetAttribute(SDL_GL_BLUE_SIZE, 8);
    // The back surface is a framebuffer object with its own depth buffer.
    SDL_GL_SetAttribute(SDL_GL_DEPTH_SIZE, 0);
}

uint32_t WindowFlags()
{
    uint32_t nFlags = SDL_WINDOW_OPENGL | SDL_WINDOW_SHOWN;
    if (!SdlRun().Options.bWindowed && !IsOffscreenVideo())
        nFlags |= SDL_WINDOW_FULLSCREEN_DESKTOP;
    return nFlags;
}

// A live run steers by relative motion, with the system pointer hidden.
void CapturePointer()
{
    if (!LiveInput() || IsOffscreenVideo())
        return;
    SDL_ShowCursor(SDL_DISABLE);
    SDL_SetRelativeMouseMode(SDL_TRUE);
}

void PostCloseOnce()
{
    if (SdlRun().bCloseSent || !GetLiveWindow())
        return;
    SdlRun().bCloseSent = true;
    PostMessageA(GetLiveWindow(), WM_CLOSE, 0, 0);
}

void HandleEvent(const SDL_Event& event)
{
    if (ApplySdlEvent(event, GetInputState(), LiveInput()) == ESdlEventResult::CloseRequested)
        PostCloseOnce();
    if (event.type == SDL_WINDOWEVENT && event.window.event == SDL_WINDOWEVENT_FOCUS_GAINED)
        CapturePointer();
}

int PinLibrary(dl_phdr_info* pInfo, size_t, void*)
{
    if (pInfo->dlpi_name && pInfo->dlpi_name[0])
        dlopen(pInfo->dlpi_name, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
    return 0;
}

// The OpenGL driver and the system libraries SDL loads on demand (D-Bus,
// for one) keep allocations for the life of the process. When SDL unloads
// them they are left unreachable and leak checkers report them, so every
// library loaded so far is made to stay resident.
void KeepLibrariesResident()
{
    dl_iterate_phdr(PinLibrary, nullptr);
}

class CSdlBackend : public IPlatformBackend {
public:
    bool OpenWindow(const char* pszCaption, int nWidth, int nHeight) override;
    void CloseWindow() override;
    void PumpEvents(bool bWait) override;
    uint32_t Milliseconds() override { return SDL_GetTicks(); }
    HRESULT CreateDirectDraw(IDirectDraw7** ppOut) override { return CreateGLDirectDraw(ppOut); }
    HRESULT CreateDirectInput(IDirectInput7A** ppOut) override { return CreateInputSystem(ppOut); }
    HRESULT CreateDirectSound(IDirectSound** ppOut) override;
};

bool CSdlBackend::OpenWindow(const char* pszCaption, int nWidth, int nHeight)
{
    CSdlRun& run = SdlRun();
    if (!run.bInit || run.pWindow)
        return false;
    SetContextAttributes();
    run.pWindow = SDL_CreateWindow(pszCaption, SDL_WINDOWPOS_CENTERED, SDL_WINDOWPOS_CENTERED,
                                   nWidth, nHeight, WindowFlags());
    if (!run.pWindow) {
        WarnSdl("Cannot create the window");
        return false;
    }
    run.hContext = SDL_GL_CreateContext(run.pWindow);
    if (!run.hContext || SDL_GL_MakeCurrent(run.pWindow, run.hContext) != 0) {
        WarnSdl("Cannot create an OpenGL 2.1 context");
        CloseWindow();
        return false;
    }
    KeepLibrariesResident();
    // The swap interval is the display's to set (gl_display.cpp).
    run.bCloseSent = false;
    CapturePointer();
    return true;
}

void CSdlBackend::CloseWindow()
{
    CSdlRun& run = SdlRun();
    if (run.hContext)
        SDL_GL_DeleteContext(run.hContext);
    if (run.pWindow)
        SDL_DestroyWindow(run.pWindow);
    run.hContext = nullptr;
    run.pWindow = nullptr;
}

void CSdlBackend::PumpEvents(bool bWait)
{
    if (!SdlRun().bInit)
        return;
    SDL_Event event;
    if (bWait && SDL_WaitEventTimeout(&event, WAIT_TIMEOUT_MS))
        HandleEvent(event);
    while (SDL_PollEvent(&event))
        HandleEvent(event);
    if (LiveInput())
        RefreshSdlJoysticks(GetInputState());
}

HRESULT CSdlBackend::CreateDirectSound(IDirectSound** ppOut)
{
    const HRESULT hr = CreateSoundSystem(ppOut);
    if (SUCCEEDED(hr))
        OpenSdlAudio(); // without a device the sound system plays silently
    return hr;
}

CSdlBackend g_Backend;

} // namespace

bool InitSdlBackend(const CSdlOptions& options, std::string* pError)
{
    CSdlRun& run = SdlRun();
    if (run.bInit)
        return true;
    const bool bDriverGiven = std::getenv("SDL_VIDEODRIVER") != nullptr;
    if (!ChooseVideoDriver(options, pError))
        return false;
    bool bVideo = SDL_Init(SDL_INIT_VIDEO) == 0;
    if (!bVideo && options.bScripted && !bDriverGiven) {
        // A display that is named but cannot be reached (a stale DISPLAY):
        // a script needs none.
        setenv("SDL_VIDEODRIVER", OFFSCREEN_DRIVER, 1);
        bVideo = SDL_Init(SDL_INIT_VIDEO) == 0;
    }
    if (!bVideo) {
        if (pError)
            *pError = std::string("Cannot start the video system: ") + SDL_GetError();
        return false;
    }
    run.bInit = true;
    run.Options = options;
    InitOptionalPart(SDL_INIT_JOYSTICK, "joystick");
    InitOptionalPart(SDL_INIT_HAPTIC, "force feedback");
    InitOptionalPart(SDL_INIT_AUDIO, "audio");
    // A scripted run has only the joystick its script declares.
    if (!options.bScripted)
        OpenSdlJoysticks(GetInputState());
    run.PreviousBox = SetMessageBoxHandler(ShowBox);
    return true;
}

IPlatformBackend* GetSdlBackend()
{
    return &g_Backend;
}

void ShutdownSdlBackend()
{
    CSdlRun& run = SdlRun();
    if (!run.bInit)
        return;
    CloseSdlAudio();
    CloseSdlJoysticks();
    g_Backend.CloseWindow();
    SetMessageBoxHandler(std::move(run.PreviousBox));
    run.PreviousBox = nullptr;
    run.bInit = false;
    KeepLibrariesResident();
    SDL_Quit();
}

SDL_Window* GetSdlWindow()
{
    return SdlRun().pWindow;
}

const CSdlOptions& GetSdlOptions()
{
    return SdlRun().Options;
}

bool IsOffscreenVideo()
{
    const char* pszDriver = SDL_GetCurrentVideoDriver();
    return pszDriver && std::strcmp(pszDriver, OFFSCREEN_DRIVER) == 0;
}

void SetBackendWarningHandler(void (*pHandler)(const char* pszText))
{
    SdlRun().pWarningHandler = pHandler;
}

void ReportBackendWarning(const char* pszText)
{
    if (SdlRun().pWarningHandler) {
        SdlRun().pWarningHandler(pszText);
        return;
    }
    std::fprintf(stderr, "vorlane: warning: %s\n", pszText);
    std::fflush(stderr);
}
