#pragma once
// What the SDL backend shares with the OpenGL display inside the platform
// layer: the window with its current OpenGL context, and the run's options.
#include "platform/sdl_backend.h"

struct SDL_Window;

// The live SDL window (its OpenGL 2.1 context is current), or null.
SDL_Window* GetSdlWindow();
const CSdlOptions& GetSdlOptions();
// True when SDL runs on the offscreen video driver, where swapping shows
// nothing.
bool IsOffscreenVideo();
