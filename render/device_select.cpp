// Device selection: turns the flip chain into a 3D device with a z-buffer.
// The device types the configuration allows are enumerated onto a stack,
// one virtual operation picks the device, another its depth format.
#include "render/device_select.h"

#include "frame/application.h"
#include "frame/error.h"
#include "platform/files.h"
#include "render/matrix_convert.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// Size of the surface description record as the display layer expects it.
constexpr uint32_t SURFACE_DESC_SIZE = 124;
constexpr int32_t Z_WANTED_DEPTH = 24;
constexpr int32_t Z_WANTED_STENCIL = 8;
constexpr const char* FORMAT_LOG_NAME = "confirm format.txt";

struct CZBufferMessage {
    HRESULT nResult;
    const char* pszMessage;
};

const CZBufferMessage Z_BUFFER_MESSAGES[] = {
    {DDERR_INVALIDOBJECT,
     "CreateZBuffer: DDERR_INVALIDOBJECT DirectDraw received a pointer that was an invalid "
     "DirectDraw object. "},
    {DDERR_INVALIDPARAMS,
     "CreateZBuffer: DDERR_INVALIDPARAMS One or more of the input parameters is invalid. "},
    {DDERR_OUTOFVIDEOMEMORY,
     "CreateZBuffer: DDERR_OUTOFVIDEOMEMORY DirectDraw does not have enough memory to perform "
     "the operation. "},
    {DDERR_NODIRECTDRAWHW,
     "CreateZBuffer: DDERR_NODIRECTDRAWHW A hardware-only DirectDraw object creation was "
     "attempted but the driver did not support any hardware. "},
    {DDERR_NOCOOPERATIVELEVELSET,
     "CreateZBuffer: DDERR_NOCOOPERATIVELEVELSET Create function called without "
     "SetCooperativeLevel being called. "},
    {DDERR_INVALIDCAPS,
     "CreateZBuffer: DDERR_INVALIDCAPS One or more of the caps bits passed to the callback are "
     "incorrect. "},
    {DDERR_INVALIDPIXELFORMAT,
     "CreateZBuffer: DDERR_INVALIDPIXELFORMAT The pixel format was invalid as specified. "},
    {DDERR_NOALPHAHW,
     "CreateZBuffer: DDERR_NOALPHAHW Operation could not be carried out because there is no "
     "alpha accleration hardware present or available. "},
    {DDERR_NOFLIPHW,
     "CreateZBuffer: DDERR_NOFLIPHW Flipping visible surfaces is not supported. "},
    {DDERR_NOZBUFFERHW,
     "CreateZBuffer: DDERR_NOZBUFFERHW Operation could not be carried out because there is no "
     "hardware support for zbuffer blitting. "},
    {DDERR_NOEXCLUSIVEMODE,
     "CreateZBuffer: DDERR_NOEXCLUSIVEMODE Operation requires the application to have "
     "exclusive mode but the application does not have exclusive mode. "},
    {DDERR_OUTOFMEMORY,
     "CreateZBuffer: DDERR_OUTOFMEMORY DirectDraw does not have enough memory to perform the "
     "operation. "},
    {DDERR_PRIMARYSURFACEALREADYEXISTS,
     "CreateZBuffer: DDERR_PRIMARYSURFACEALREADYEXISTS This process already has created a "
     "primary surface. "},
    {DDERR_NOEMULATION, "CreateZBuffer: DDERR_NOEMULATION Software emulation not available. "},
    {DDERR_INCOMPATIBLEPRIMARY,
     "CreateZBuffer: DDERR_INCOMPATIBLEPRIMARY Unable to match primary surface creation request "
     "with existing primary surface."},
};

bool IsSoftwareGuid(const GUID& guid)
{
    return guid == IID_IDirect3DRefDevice || guid == IID_IDirect3DRGBDevice;
}

int ZBufferScore(const DDPIXELFORMAT& format)
{
    return std::abs(static_cast<int32_t>(format.dwZBufferBitDepth) - Z_WANTED_DEPTH) +
           std::abs(static_cast<int32_t>(format.dwStencilBitDepth) - Z_WANTED_STENCIL);
}

// One enumeration pass that looks for one device type.
void EnumeratePass(IDirect3D7* pDirect3D, CDeviceSearch* pSearch, const GUID& wanted)
{
    pSearch->pWanted = &wanted;
    pDirect3D->EnumDevices(DeviceCallback, pSearch);
}

// Appends the four masks of an accepted texture format to the log in the
// current directory, five lines a format.
void LogTextureFormat(const DDPIXELFORMAT& format)
{
    const int hFile =
        open(MapPath(FORMAT_LOG_NAME).c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    if (hFile < 0)
        return;
    char text[64];
    const int nLength = std::snprintf(text, sizeof(text), "%u\n%u\n%u\n%u\n\n",
                                      format.dwRGBAlphaBitMask, format.dwRBitMask,
                                      format.dwGBitMask, format.dwBBitMask);
    if (nLength > 0 && write(hFile, text, static_cast<size_t>(nLength)) < 0) {
        // Nothing to do: the log is a trace, not a result.
    }
    close(hFile);
}

} // namespace

const char* ZBufferMessage(HRESULT nResult)
{
    for (const CZBufferMessage& entry : Z_BUFFER_MESSAGES) {
        if (entry.nResult == nResult)
            return entry.pszMessage;
    }
    return "CreateZBuffer: Unknow Error";
}

HRESULT DeviceCallback(char*, char*, D3DDEVICEDESC7* pDesc, void* pContext)
{
    auto* pSearch = static_cast<CDeviceSearch*>(pContext);
    if (!pSearch->pWanted || !IsEqualGUID(pDesc->deviceGUID, *pSearch->pWanted))
        return D3DENUMRET_OK;
    CApplication* pApp = CApplication::GetApp();
    if (pApp && pApp->ConfirmDevice(pDesc))
        pSearch->Devices.Push(*pDesc);
    // A pass stops at the device it looked for.
    return D3DENUMRET_CANCEL;
}

HRESULT SurfaceCallback(IDirectDrawSurface7*, DDSURFACEDESC2* pDesc, void* pContext)
{
    CApplication* pApp = CApplication::GetApp();
    if (pApp && pApp->ConfirmTextureFormat(static_cast<DDPIXELFORMAT*>(pContext),
                                           &pDesc->ddpfPixelFormat))
        return 0;
    return 1;
}

int CApplication::CreateD3D(const CAppConfig* pConfigIn)
{
    CDeviceSearch search;
    CFormatStack formats;
    if (!pConfigIn)
        throw CError("CreateD3D: Not enough information to initalize.");
    if (!(pConfigIn->nDevices & DEVICE_DIRECTDRAW) || !(pConfigIn->nDevices & DEVICE_DIRECT3D))
        throw CError("CreateD3D: Can not create Direct3D without DirectDraw.");
    if (!pDirectDraw || !pPrimary || !pBack)
        throw CError("CreateD3D: Can not create Direct3D without DirectDraw.");

    // An earlier device goes.
    if (pDevice)
        pDevice->Release();
    pDevice = nullptr;
    if (pZBuffer)
        pZBuffer->Release();
    pZBuffer = nullptr;
    if (pDirect3D)
        pDirect3D->Release();
    pDirect3D = nullptr;

    if (FAILED(pDirectDraw->QueryInterface(IID_IDirect3D7, reinterpret_cast<void**>(&pDirect3D))))
        throw CError("CreateD3D: Can not acquire a Direct3D interface from DirectDraw.");
    if (EnumerateDevices(pConfigIn, &search) != 0)
        throw CError(
            "CreateD3D: Device enumeration failed, or no compatible devices could be found.");

    D3DDEVICEDESC7 chosen = {};
    if (const D3DDEVICEDESC7* pChosen = ChooseDevice(&chosen, &search.Devices))
        DeviceInfo = *pChosen;

    if (FAILED(pDirect3D->EnumZBufferFormats(DeviceInfo.deviceGUID, FormatCallback, &formats)))
        throw CError("CreateD3D: Failed to enumerate z-buffer formats.");
    DDPIXELFORMAT zFormat = {};
    const DDPIXELFORMAT* pZFormat = ChooseZBufferFormat(&zFormat, &formats);
    if (CreateZBuffer(pZFormat ? pZFormat : &zFormat) != 0)
        throw CError("CreateD3D: Failed to create z-buffer.");

    if (FAILED(pDirect3D->CreateDevice(DeviceInfo.deviceGUID, pBack, &pDevice)))
        throw CError("CreateD3D: Failed to create a Direct3D device.");

    SetViewport();
    SetProjection(pConfigIn);
    D3DMATRIX identity = ToD3DMatrix(CMatrix(true));
    pDevice->SetTransform(D3DTRANSFORMSTATE_WORLD, &identity);
    pDevice->SetTransform(D3DTRANSFORMSTATE_VIEW, &identity);
    return 0;
}

int CApplication::EnumerateDevices(const CAppConfig* pConfigIn, CDeviceSearch* pSearch)
{
    if (!pDirect3D)
        return 1;
    // The order of the passes makes the preference: the last pushed is
    // popped first.
    if (!pConfigIn || pConfigIn->bSoftwareDevices) {
        EnumeratePass(pDirect3D, pSearch, IID_IDirect3DRefDevice);
        EnumeratePass(pDirect3D, pSearch, IID_IDirect3DRGBDevice);
    }
    if (!pConfigIn || pConfigIn->bHardwareDevices) {
        EnumeratePass(pDirect3D, pSearch, IID_IDirect3DHALDevice);
        EnumeratePass(pDirect3D, pSearch, IID_IDirect3DTnLHalDevice);
    }
    return pSearch->Devices.IsEmpty() ? 1 : 0;
}

int CApplication::CreateZBuffer(const DDPIXELFORMAT* pFormat)
{
    if (!pDirectDraw)
        return 2;
    if (pZBuffer)
        pZBuffer->Release();
    pZBuffer = nullptr;

    DDSURFACEDESC2 desc = {};
    desc.dwSize = SURFACE_DESC_SIZE;
    desc.dwFlags = DDSD_CAPS | DDSD_HEIGHT | DDSD_WIDTH | DDSD_PIXELFORMAT;
    desc.dwWidth = static_cast<uint32_t>(ScreenRect.right - ScreenRect.left);
    desc.dwHeight = static_cast<uint32_t>(ScreenRect.bottom - ScreenRect.top);
    desc.ddpfPixelFormat = *pFormat;
    desc.ddsCaps.dwCaps =
        DDSCAPS_ZBUFFER | (bHardwareDevice ? DDSCAPS_VIDEOMEMORY : DDSCAPS_SYSTEMMEMORY);

    const HRESULT nResult = pDirectDraw->CreateSurface(&desc, &pZBuffer, nullptr);
    if (nResult != DD_OK)
        throw CError(ZBufferMessage(nResult));
    if (pBack)
        pBack->AddAttachedSurface(pZBuffer);
    return 0;
}

bool CApplication::ConfirmDevice(D3DDEVICEDESC7* pDesc)
{
    return pDesc != nullptr;
}

bool CApplication::ConfirmZBufferFormat(DDPIXELFORMAT* pFormat)
{
    return pFormat && (pFormat->dwFlags & DDPF_ZBUFFER);
}

DDPIXELFORMAT* CApplication::ChooseZBufferFormat(DDPIXELFORMAT* pOut, CFormatStack* pList)
{
    // The all-zero start scores 32; only a strictly lower score replaces the
    // best, so of two equal formats the one enumerated last stays.
    DDPIXELFORMAT best = {};
    int nBestScore = ZBufferScore(best);
    DDPIXELFORMAT format = {};
    while (pList->Pop(&format)) {
        const int nScore = ZBufferScore(format);
        if (nScore < nBestScore) {
            best = format;
            nBestScore = nScore;
        }
    }
    *pOut = best;
    return pOut;
}

D3DDEVICEDESC7* CApplication::ChooseDevice(D3DDEVICEDESC7* pOut, CDeviceStack* pList)
{
    pList->Pop(pOut);
    bHardwareDevice = IsSoftwareGuid(pOut->deviceGUID) ? 0 : 1;
    return pOut;
}

bool CApplication::ConfirmTextureFormat(DDPIXELFORMAT* pOut, DDPIXELFORMAT* pFormat)
{
    if (!pFormat || !pConfig || !(pFormat->dwFlags & DDPF_RGB) ||
        pFormat->dwRGBBitCount != static_cast<uint32_t>(pConfig->nBitDepth) ||
        !pFormat->dwRBitMask || !pFormat->dwGBitMask || !pFormat->dwBBitMask)
        return false;
    LogTextureFormat(*pFormat);
    *pOut = *pFormat;
    return true;
}
