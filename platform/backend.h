#pragma once
// The machine under the platform layer. The default is the null backend,
// which has no display, no input and no sound hardware and records what it
// is asked (platform/null_backend.h); the programs install the SDL/OpenGL
// backend (platform/sdl_backend.h). The window, DirectDraw, DirectInput and
// DirectSound stand-ins reach the machine only through this interface.
#include "platform/window_types.h"

#include <cstdint>

class IDirectDraw7;
class IDirectInput7A;
class IDirectSound;

class IPlatformBackend {
public:
    virtual ~IPlatformBackend() = default;

    // The native window of the one application window; false on failure.
    virtual bool OpenWindow(const char* pszCaption, int nWidth, int nHeight) = 0;
    virtual void CloseWindow() = 0;
    // Turns pending native events into posted messages (a close request
    // becomes WM_CLOSE to the live window). With bWait, blocks until at least
    // one event came or nothing can come any more.
    virtual void PumpEvents(bool bWait) = 0;
    // Real milliseconds since some start.
    virtual uint32_t Milliseconds() = 0;

    // Device objects, each a new reference; a negative result on failure.
    virtual HRESULT CreateDirectDraw(IDirectDraw7** ppOut) = 0;
    virtual HRESULT CreateDirectInput(IDirectInput7A** ppOut) = 0;
    virtual HRESULT CreateDirectSound(IDirectSound** ppOut) = 0;
};

// The backend in use; never null (the null backend until one is set).
IPlatformBackend* GetPlatformBackend();
// Installs a backend, not owned; null restores the null backend.
void SetPlatformBackend(IPlatformBackend* pBackend);
