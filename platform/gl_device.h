#pragma once
// The Direct3D object of the OpenGL display: device records by renderer,
// depth formats, and devices drawing into the display's back surface.
#include "platform/gl_surfaces.h"

IDirect3D7* CreateGLDirect3D(CGLSharedPtr pShared);
