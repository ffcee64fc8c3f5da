#pragma once
// The context of the device enumeration: the GUID the current pass looks
// for and the stack of records found.
#include "platform/ddraw.h"
#include "resources/texture_surface.h"

struct CDeviceSearch {
    const GUID* pWanted = nullptr;
    CDeviceStack Devices;
};

// The callbacks handed to the platform's enumerations.
// Pushes the record when it is the wanted type and the application confirms
// it; stops the pass at the wanted type either way.
HRESULT DeviceCallback(char* pszDescription, char* pszName, D3DDEVICEDESC7* pDesc, void* pContext);
// Pushes the format on the CFormatStack of the context and goes on.
HRESULT FormatCallback(DDPIXELFORMAT* pFormat, void* pContext);

// The callback of a surface enumeration: its context is the DDPIXELFORMAT to
// fill. Stops (0) at the first format ConfirmTextureFormat accepts, else goes
// on (1). No enumeration of the normal flow passes it.
using LPDDENUMSURFACESCALLBACK7 = HRESULT (*)(IDirectDrawSurface7* pSurface,
                                              DDSURFACEDESC2* pDesc, void* pContext);
HRESULT SurfaceCallback(IDirectDrawSurface7* pSurface, DDSURFACEDESC2* pDesc, void* pContext);

// The message CreateZBuffer throws for a result of surface creation.
const char* ZBufferMessage(HRESULT nResult);
