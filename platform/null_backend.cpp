#include "platform/null_backend.h"

#include "platform/dinput_devices.h"
#include "platform/memory_surface.h"
#include "platform/null_device.h"
#include "platform/sound_mixer.h"

#include <chrono>
#include <cstdio>
#include <string>

namespace {

HRESULT Enter(const std::string& line, const char* pszName)
{
    NullLog(line);
    return NullFailure(pszName);
}

CNullConfig DefaultConfig()
{
    CNullConfig config;
    config.Devices = {IID_IDirect3DRGBDevice, IID_IDirect3DHALDevice, IID_IDirect3DTnLHalDevice};
    config.ZFormats = {MakeZFormat(16, 0), MakeZFormat(24, 0), MakeZFormat(24, 8)};
    config.TextureFormats = {MakeRGBFormat(16, 5, 6, 5, 0), MakeRGBFormat(16, 5, 5, 5, 1),
                             MakeRGBFormat(16, 4, 4, 4, 4), MakeRGBFormat(32, 8, 8, 8, 8)};
    config.DisplayFormat = MakeRGBFormat(16, 5, 6, 5, 0);
    return config;
}

// The log word and the description of each device kind.
struct CDeviceName {
    const GUID* pGuid;
    const char* pszWord;
    const char* pszDescription;
};

const CDeviceName DEVICE_NAMES[] = {
    {&IID_IDirect3DRGBDevice, "rgb", "Null software rasteriser"},
    {&IID_IDirect3DHALDevice, "hal", "Null hardware rasteriser"},
    {&IID_IDirect3DTnLHalDevice, "tnlhal", "Null hardware transform and lighting"},
    {&IID_IDirect3DRefDevice, "ref", "Null reference rasteriser"},
};

const CDeviceName& NameOf(const GUID& device)
{
    static const CDeviceName OTHER = {nullptr, "other", "Null device"};
    for (const CDeviceName& name : DEVICE_NAMES)
        if (*name.pGuid == device)
            return name;
    return OTHER;
}

const char* DeviceWord(const GUID& device) { return NameOf(device).pszWord; }
const char* DeviceDescription(const GUID& device) { return NameOf(device).pszDescription; }

D3DDEVICEDESC7 DeviceRecord(const GUID& device)
{
    D3DDEVICEDESC7 desc{};
    desc.dpcLineCaps.dwSize = sizeof(D3DPRIMCAPS);
    desc.dpcTriCaps.dwSize = sizeof(D3DPRIMCAPS);
    desc.dpcTriCaps.dwTextureFilterCaps = GetNullConfig().nTextureFilterCaps;
    desc.dpcLineCaps.dwTextureFilterCaps = GetNullConfig().nTextureFilterCaps;
    desc.dwMaxTextureWidth = 2048;
    desc.dwMaxTextureHeight = 2048;
    desc.deviceGUID = device;
    std::snprintf(desc.szDescription, sizeof(desc.szDescription), "%s",
                  DeviceDescription(device));
    return desc;
}

// A memory surface that writes each call to the log and obeys forced
// failures.
class CNullSurface : public CMemorySurface {
public:
    using CMemorySurface::CMemorySurface;

    HRESULT Blt(RECT* pDest, IDirectDrawSurface7* pSource, RECT* pSourceRect, uint32_t nFlags,
                DDBLTFX* pFx) override
    {
        std::string line = (nFlags & DDBLT_COLORFILL)
                               ? NullCallLine("Blt fill", {pFx ? pFx->dwFillColor : 0})
                               : std::string("Blt copy");
        if (pDest)
            line += NullCallLine("", {pDest->left, pDest->top, pDest->right, pDest->bottom});
        if (HRESULT hr = Enter(line, "Blt"); hr != S_OK)
            return hr;
        return CMemorySurface::Blt(pDest, pSource, pSourceRect, nFlags, pFx);
    }
    HRESULT Flip(IDirectDrawSurface7* pTarget, uint32_t nFlags) override
    {
        if (HRESULT hr = Enter("Flip", "Flip"); hr != S_OK)
            return hr;
        return CMemorySurface::Flip(pTarget, nFlags);
    }
    HRESULT GetAttachedSurface(DDSCAPS2* pCaps, IDirectDrawSurface7** ppOut) override
    {
        if (HRESULT hr = Enter(NullCallLine("GetAttachedSurface", {pCaps ? pCaps->dwCaps : 0}),
                               "GetAttachedSurface");
            hr != S_OK)
            return hr;
        return CMemorySurface::GetAttachedSurface(pCaps, ppOut);
    }
    HRESULT AddAttachedSurface(IDirectDrawSurface7* pAttach) override
    {
        if (HRESULT hr = Enter("AddAttachedSurface", "AddAttachedSurface"); hr != S_OK)
            return hr;
        return CMemorySurface::AddAttachedSurface(pAttach);
    }
    HRESULT GetDC(HDC* pOut) override
    {
        if (HRESULT hr = Enter("GetDC", "GetDC"); hr != S_OK) {
            if (pOut)
                *pOut = nullptr;
            return hr;
        }
        return CMemorySurface::GetDC(pOut);
    }
    HRESULT ReleaseDC(HDC hdc) override
    {
        if (HRESULT hr = Enter("ReleaseDC", "ReleaseDC"); hr != S_OK)
            return hr;
        return CMemorySurface::ReleaseDC(hdc);
    }
    HRESULT Lock(RECT* pRect, DDSURFACEDESC2* pDesc, uint32_t nFlags, void* hEvent) override
    {
        if (HRESULT hr = Enter("Lock", "Lock"); hr != S_OK)
            return hr;
        return CMemorySurface::Lock(pRect, pDesc, nFlags, hEvent);
    }
    HRESULT Unlock(RECT* pRect) override
    {
        if (HRESULT hr = Enter("Unlock", "Unlock"); hr != S_OK)
            return hr;
        return CMemorySurface::Unlock(pRect);
    }
    HRESULT GetPixelFormat(DDPIXELFORMAT* pOut) override
    {
        if (HRESULT hr = Enter("GetPixelFormat", "GetPixelFormat"); hr != S_OK)
            return hr;
        return CMemorySurface::GetPixelFormat(pOut);
    }
    HRESULT GetSurfaceDesc(DDSURFACEDESC2* pOut) override
    {
        if (HRESULT hr = Enter("GetSurfaceDesc", "GetSurfaceDesc"); hr != S_OK)
            return hr;
        return CMemorySurface::GetSurfaceDesc(pOut);
    }
};

class CNullFactory : public CSurfaceFactory {
public:
    CMemorySurface* MakeSurface(uint32_t nWidth, uint32_t nHeight, const DDPIXELFORMAT& format,
                                uint32_t nCaps, uint32_t) override
    {
        return new CNullSurface(nWidth, nHeight, format, nCaps);
    }
};

// The words of a CreateSurface line; see null_backend.h.
std::string CreateSurfaceLine(const DDSURFACEDESC2* pDesc)
{
    if (!pDesc)
        return "CreateSurface";
    uint32_t nCaps = pDesc->ddsCaps.dwCaps;
    if (nCaps & DDSCAPS_PRIMARYSURFACE)
        return "CreateSurface primary";
    if (nCaps & DDSCAPS_ZBUFFER)
        return NullCallLine("CreateSurface zbuffer",
                            {pDesc->dwWidth, pDesc->dwHeight,
                             pDesc->ddpfPixelFormat.dwZBufferBitDepth,
                             pDesc->ddpfPixelFormat.dwStencilBitDepth});
    if (!(nCaps & DDSCAPS_TEXTURE))
        return NullCallLine("CreateSurface offscreen", {pDesc->dwWidth, pDesc->dwHeight});
    uint32_t nLevels = (pDesc->dwFlags & DDSD_MIPMAPCOUNT) ? pDesc->dwMipMapCount : 1;
    std::string line =
        NullCallLine("CreateSurface texture", {pDesc->dwWidth, pDesc->dwHeight, nLevels});
    line += (nCaps & DDSCAPS_SYSTEMMEMORY) ? " system" : " device";
    return line;
}

class CNullDirect3D : public IDirect3D7 {
public:
    uint32_t AddRef() override { return ++nRefs; }
    uint32_t Release() override
    {
        if (--nRefs > 0)
            return nRefs;
        delete this;
        return 0;
    }

    HRESULT EnumDevices(LPD3DENUMDEVICESCALLBACK7 pCallback, void* pContext) override
    {
        if (HRESULT hr = Enter("EnumDevices", "EnumDevices"); hr != S_OK)
            return hr;
        if (!pCallback)
            return DDERR_INVALIDPARAMS;
        for (const GUID& device : std::vector<GUID>(GetNullConfig().Devices)) {
            D3DDEVICEDESC7 desc = DeviceRecord(device);
            std::string name = DeviceWord(device);
            if (pCallback(desc.szDescription, name.data(), &desc, pContext) == D3DENUMRET_CANCEL)
                break;
        }
        return S_OK;
    }

    HRESULT EnumZBufferFormats(const GUID&, LPD3DENUMPIXELFORMATSCALLBACK pCallback,
                               void* pContext) override
    {
        if (HRESULT hr = Enter("EnumZBufferFormats", "EnumZBufferFormats"); hr != S_OK)
            return hr;
        if (!pCallback)
            return DDERR_INVALIDPARAMS;
        for (DDPIXELFORMAT format : std::vector<DDPIXELFORMAT>(GetNullConfig().ZFormats))
            if (pCallback(&format, pContext) == D3DENUMRET_CANCEL)
                break;
        return S_OK;
    }

    HRESULT CreateDevice(const GUID& device, IDirectDrawSurface7* pTarget,
                         IDirect3DDevice7** ppOut) override
    {
        if (HRESULT hr = Enter(std::string("CreateDevice ") + DeviceWord(device), "CreateDevice");
            hr != S_OK)
            return hr;
        if (!ppOut || !pTarget)
            return DDERR_INVALIDPARAMS;
        *ppOut = nullptr;
        bool bOffered = false;
        for (const GUID& offered : GetNullConfig().Devices)
            bOffered = bOffered || offered == device;
        if (!bOffered)
            return E_FAIL;
        *ppOut = CreateNullDevice(DeviceRecord(device));
        return S_OK;
    }

private:
    uint32_t nRefs = 1;
};

class CNullDirectDraw : public IDirectDraw7 {
public:
    uint32_t AddRef() override { return ++nRefs; }
    uint32_t Release() override
    {
        if (--nRefs > 0)
            return nRefs;
        delete this;
        return 0;
    }

    HRESULT QueryInterface(const GUID& iid, void** ppOut) override
    {
        bool b3D = iid == IID_IDirect3D7;
        if (HRESULT hr = Enter(b3D ? "QueryInterface IDirect3D7" : "QueryInterface other",
                               "QueryInterface");
            hr != S_OK)
            return hr;
        if (!ppOut)
            return DDERR_INVALIDPARAMS;
        *ppOut = nullptr;
        if (!b3D)
            return E_NOINTERFACE;
        *ppOut = static_cast<IDirect3D7*>(new CNullDirect3D);
        return S_OK;
    }

    HRESULT SetCooperativeLevel(HWND, uint32_t nFlags) override
    {
        return Enter(NullCallLine("SetCooperativeLevel", {nFlags}), "SetCooperativeLevel");
    }

    HRESULT SetDisplayMode(uint32_t nWidth, uint32_t nHeight, uint32_t nBits, uint32_t,
                           uint32_t) override
    {
        if (HRESULT hr =
                Enter(NullCallLine("SetDisplayMode", {nWidth, nHeight, nBits}), "SetDisplayMode");
            hr != S_OK)
            return hr;
        nModeWidth = nWidth;
        nModeHeight = nHeight;
        return S_OK;
    }

    HRESULT CreateSurface(DDSURFACEDESC2* pDesc, IDirectDrawSurface7** ppOut, void*) override
    {
        if (HRESULT hr = Enter(CreateSurfaceLine(pDesc), "CreateSurface"); hr != S_OK)
            return hr;
        if (!pDesc || !ppOut)
            return DDERR_INVALIDPARAMS;
        *ppOut = nullptr;
        CNullFactory factory;
        CMemorySurface* pSurface = nullptr;
        HRESULT hr = CreateSurfaceChain(factory, *pDesc, nModeWidth, nModeHeight,
                                        GetNullConfig().DisplayFormat, &pSurface);
        *ppOut = pSurface;
        return hr;
    }

private:
    uint32_t nRefs = 1;
    uint32_t nModeWidth = 0;
    uint32_t nModeHeight = 0;
};

class CNullBackend : public IPlatformBackend {
public:
    bool OpenWindow(const char*, int, int) override { return GetNullConfig().bWindow; }
    void CloseWindow() override {}
    void PumpEvents(bool) override {}
    uint32_t Milliseconds() override
    {
        using namespace std::chrono;
        return static_cast<uint32_t>(
            duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
    }
    HRESULT CreateDirectDraw(IDirectDraw7** ppOut) override
    {
        if (!ppOut)
            return E_INVALIDARG;
        *ppOut = nullptr;
        if (!GetNullConfig().bDirectDraw)
            return E_FAIL;
        *ppOut = new CNullDirectDraw;
        return S_OK;
    }
    HRESULT CreateDirectInput(IDirectInput7A** ppOut) override
    {
        if (!GetNullConfig().bDirectInput) {
            if (ppOut)
                *ppOut = nullptr;
            return E_FAIL;
        }
        return CreateInputSystem(ppOut);
    }
    HRESULT CreateDirectSound(IDirectSound** ppOut) override
    {
        if (!GetNullConfig().bDirectSound) {
            if (ppOut)
                *ppOut = nullptr;
            return E_FAIL;
        }
        return CreateSoundSystem(ppOut);
    }
};

} // namespace

CNullConfig& GetNullConfig()
{
    static CNullConfig config = DefaultConfig();
    return config;
}

std::vector<std::string>& GetNullCallLog()
{
    static std::vector<std::string> log;
    return log;
}

void ResetNullBackend()
{
    GetNullConfig() = DefaultConfig();
    GetNullCallLog().clear();
    GetNullDeviceState() = CNullDeviceState{};
}

HRESULT NullFailure(const char* pszCall)
{
    for (const auto& [name, result] : GetNullConfig().Failures)
        if (name == pszCall && result != S_OK)
            return result;
    return S_OK;
}

void NullLog(const std::string& line)
{
    if (GetNullConfig().bRecord)
        GetNullCallLog().push_back(line);
}

IPlatformBackend* GetNullBackend()
{
    static CNullBackend backend;
    return &backend;
}

DDPIXELFORMAT MakeRGBFormat(uint32_t nBits, uint32_t nRed, uint32_t nGreen, uint32_t nBlue,
                            uint32_t nAlpha)
{
    auto ones = [](uint32_t n) { return n >= 32 ? 0xFFFFFFFFu : (1u << n) - 1; };
    DDPIXELFORMAT format{};
    format.dwSize = sizeof(DDPIXELFORMAT);
    format.dwFlags = DDPF_RGB | (nAlpha ? DDPF_ALPHAPIXELS : 0);
    format.dwRGBBitCount = nBits;
    format.dwBBitMask = ones(nBlue);
    format.dwGBitMask = ones(nGreen) << nBlue;
    format.dwRBitMask = ones(nRed) << (nBlue + nGreen);
    format.dwRGBAlphaBitMask = ones(nAlpha) << (nBlue + nGreen + nRed);
    return format;
}

DDPIXELFORMAT MakeZFormat(uint32_t nDepth, uint32_t nStencil)
{
    auto ones = [](uint32_t n) { return n >= 32 ? 0xFFFFFFFFu : (1u << n) - 1; };
    DDPIXELFORMAT format{};
    format.dwSize = sizeof(DDPIXELFORMAT);
    format.dwFlags = DDPF_ZBUFFER | (nStencil ? DDPF_STENCILBUFFER : 0);
    format.dwZBufferBitDepth = nDepth;
    format.dwStencilBitDepth = nStencil;
    format.dwZBitMask = ones(nDepth) << nStencil;
    format.dwStencilBitMask = ones(nStencil);
    return format;
}
