#pragma once
// The display surfaces and 3D device over OpenGL, for the SDL backend: the
// back surface is a framebuffer object of the screen's size; Flip presents
// it in the SDL window, scaled with its aspect kept.
#include "platform/ddraw.h"

HRESULT CreateGLDirectDraw(IDirectDraw7** ppOut);
