#pragma once
// The backend of the unit tests: no display, no input hardware (the devices
// read GetInputState), no audio output. Everything the device objects are
// asked is written to a call log, one line a call ("SetRenderState 22 1"),
// and a configuration decides what the machine offers and which calls fail.
//
// The call log: every call of the DirectDraw, Direct3D, device and surface
// objects except AddRef and Release writes one line, before anything else
// happens, also when it then fails. Words are one blank apart, numbers in
// decimal. The lines:
//   DirectDraw:  "SetCooperativeLevel FLAGS", "SetDisplayMode W H BITS",
//                "QueryInterface IDirect3D7" (or "QueryInterface other"),
//                "CreateSurface primary", "CreateSurface offscreen W H",
//                "CreateSurface texture W H LEVELS system|device" (LEVELS is
//                dwMipMapCount with DDSD_MIPMAPCOUNT, else 1),
//                "CreateSurface zbuffer W H DEPTH STENCIL"
//   Surfaces:    "Blt fill VALUE" or "Blt copy", followed by " L T R B" when
//                a destination rectangle is given; "Flip",
//                "GetAttachedSurface CAPS", "AddAttachedSurface", "GetDC",
//                "ReleaseDC", "Lock", "Unlock", "GetPixelFormat",
//                "GetSurfaceDesc"
//   Direct3D:    "EnumDevices", "EnumZBufferFormats",
//                "CreateDevice rgb|hal|tnlhal|ref|other"
//   Device:      "GetCaps", "EnumTextureFormats", "BeginScene", "EndScene",
//                "SetRenderState STATE VALUE",
//                "SetTextureStageState STAGE STATE VALUE",
//                "SetTexture STAGE tex|null", "SetMaterial", "GetMaterial",
//                "SetLight I", "GetLight I", "LightEnable I 0|1",
//                "SetTransform TYPE", "SetViewport X Y W H", "Clear FLAGS",
//                "DrawPrimitive TYPE FVF COUNT", "Load"
// A forced failure is named by the method name alone ("CreateSurface",
// "Blt", "SetRenderState"): that call logs its line and gives the result.
// What the device was told can also be read back: platform/null_device.h.
#include "platform/backend.h"
#include "platform/ddraw.h"

#include <string>
#include <vector>

struct CNullConfig {
    bool bWindow = true;        // OpenWindow succeeds
    bool bDirectDraw = true;    // CreateDirectDraw succeeds
    bool bDirectInput = true;
    bool bDirectSound = true;
    // Device records offered by EnumDevices, in this order.
    std::vector<GUID> Devices;  // default: RGB, HAL, TnLHal
    uint32_t nTextureFilterCaps = D3DPTFILTERCAPS_MIPNEAREST | D3DPTFILTERCAPS_MIPLINEAR;
    std::vector<DDPIXELFORMAT> ZFormats;       // default: 16, 24, 24+8
    std::vector<DDPIXELFORMAT> TextureFormats; // default: 5-6-5, 5-5-5-1, 4-4-4-4, 8-8-8-8
    DDPIXELFORMAT DisplayFormat;               // default: 16-bit 5-6-5
    // Results forced on calls by name ("CreateSurface", "SetRenderState",
    // "Flip", ...): the named call gives this result without doing anything.
    std::vector<std::pair<std::string, HRESULT>> Failures;
    // False: nothing is written to the call log and draws keep no vertex
    // copies, so that a benchmark measures the code above the device.
    bool bRecord = true;
};

CNullConfig& GetNullConfig();
std::vector<std::string>& GetNullCallLog();
// Default configuration, empty log.
void ResetNullBackend();

// The forced result for a call, or S_OK.
HRESULT NullFailure(const char* pszCall);
void NullLog(const std::string& line);

// The null backend object (the default of GetPlatformBackend).
IPlatformBackend* GetNullBackend();

// Pixel formats by channel widths, for tests and backends.
DDPIXELFORMAT MakeRGBFormat(uint32_t nBits, uint32_t nRed, uint32_t nGreen, uint32_t nBlue,
                            uint32_t nAlpha);
DDPIXELFORMAT MakeZFormat(uint32_t nDepth, uint32_t nStencil);
