#pragma once
// The real machine: an SDL2 window with an OpenGL 2.1 context (Mesa works
// with or without a GPU; SDL_VIDEODRIVER=offscreen needs no X server), the
// display surfaces over an OpenGL framebuffer object, the 3D device over
// fixed-function OpenGL, input from SDL events and joysticks, sound through
// an SDL audio device.
#include "platform/backend.h"

#include <string>

struct CSdlOptions {
    bool bWindowed = false;  // a 1024x768 window instead of full screen
    bool bScripted = false;  // input comes from GetInputState as a script writes it
    bool bTimedemo = false;  // no waiting for the display's refresh
};

// Opens SDL's video, joystick, haptic and audio parts as far as they are
// there. False, with a message in pszError, when there is no video at all.
bool InitSdlBackend(const CSdlOptions& options, std::string* pError);
IPlatformBackend* GetSdlBackend();
void ShutdownSdlBackend();

// The picture of the next presented frame, as drawn before it is shown, is
// written to the file as PNG. Only the last request counts.
void RequestShot(const std::string& path);
// Warnings of the run (no sound device, no joystick support, a picture a
// map names that is missing, ...): one line each on standard error, or to
// the handler when one is set.
void SetBackendWarningHandler(void (*pHandler)(const char* pszText));
void ReportBackendWarning(const char* pszText);
