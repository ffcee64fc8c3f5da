#include "resources/texture_surface.h"

#include "frame/application.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace {

// Result codes of the steps.
constexpr int STEP_OK = 0;
constexpr int STEP_BAD_ARGUMENT = 2;
constexpr int STEP_NO_CONTEXT = 4;
constexpr int STEP_SURFACE_FAILED = 0x40;
constexpr int STEP_BLT_FAILED = 0x100;
constexpr int STEP_LOCK_FAILED = 0x200;
constexpr int STEP_LOAD_FAILED = 0x4000;
constexpr int STEP_NO_FORMAT = 0x8000;

// Size of the surface description record as the display layer expects it.
constexpr uint32_t SURFACE_DESC_SIZE = 124;
// System memory, texture and a device context of its own.
constexpr uint32_t STAGING_CAPS = 0x3800;
// DDSCAPS_MIPMAP | DDSCAPS_COMPLEX: what a surface with levels adds.
constexpr uint32_t MIPMAP_CAPS = DDSCAPS_MIPMAP | DDSCAPS_COMPLEX;
// DDSCAPS_TEXTURE | DDSCAPS_MIPMAP | DDSCAPS_COMPLEX: the next level of a chain.
constexpr uint32_t LEVEL_CAPS = 0x401008;
// The pixel rows, their pitch and pointer and the format, when filling.
constexpr uint32_t FILL_LOCK_FLAGS = 0x180E;
constexpr uint32_t MIP_FILTER_CAPS = D3DPTFILTERCAPS_MIPNEAREST | D3DPTFILTERCAPS_MIPLINEAR;

DDSURFACEDESC2 EmptyDesc(uint32_t nFlags)
{
    DDSURFACEDESC2 desc = {};
    desc.dwSize = SURFACE_DESC_SIZE;
    desc.dwFlags = nFlags;
    return desc;
}

bool IsHardwareGuid(const GUID& guid)
{
    return guid == IID_IDirect3DTnLHalDevice || guid == IID_IDirect3DHALDevice;
}

// A level 2 pixels wide and 1 high has a 1x1 next level, and the filter then
// reads row 1, which the level lacks (likewise a column of a 1-wide level).
// Such a read counts as the pixel at the clamped row or column, so that an
// edge level averages its own pixels instead of adding an invalid colour.
COLORREF ReadLevelPixel(HDC hdc, int x, int y, int nWidth, int nHeight)
{
    return GetPixel(hdc, std::min(x, nWidth - 1), std::min(y, nHeight - 1));
}

// The 2x2 box filter from one level into the next, through the contexts.
void FilterLevel(HDC hSource, int nSourceWidth, int nSourceHeight, HDC hDest, int nDestWidth,
                 int nDestHeight)
{
    for (int x = 0; x < nDestWidth; ++x) {
        for (int y = 0; y < nDestHeight; ++y) {
            const COLORREF samples[4] = {
                ReadLevelPixel(hSource, 2 * x, 2 * y, nSourceWidth, nSourceHeight),
                ReadLevelPixel(hSource, 2 * x, 2 * y + 1, nSourceWidth, nSourceHeight),
                ReadLevelPixel(hSource, 2 * x + 1, 2 * y, nSourceWidth, nSourceHeight),
                ReadLevelPixel(hSource, 2 * x + 1, 2 * y + 1, nSourceWidth, nSourceHeight),
            };
            unsigned nRed = 0, nGreen = 0, nBlue = 0;
            for (COLORREF sample : samples) {
                nRed += GetRValue(sample);
                nGreen += GetGValue(sample);
                nBlue += GetBValue(sample);
            }
            SetPixel(hDest, x, y,
                     RGB(static_cast<uint8_t>(nRed / 4), static_cast<uint8_t>(nGreen / 4),
                         static_cast<uint8_t>(nBlue / 4)));
        }
    }
}

// One 2-byte pixel: each byte scaled into its channel's mask.
uint16_t PackPixel16(const unsigned char* pSource, const DDPIXELFORMAT& format)
{
    const uint32_t masks[3] = {format.dwRBitMask, format.dwGBitMask, format.dwBBitMask};
    uint32_t nPixel = 0;
    for (int i = 0; i < 3; ++i) {
        const float fChannel = static_cast<float>(pSource[i]) / 255.0f;
        nPixel |= static_cast<uint32_t>(fChannel * static_cast<float>(masks[i])) & masks[i];
    }
    return static_cast<uint16_t>(nPixel);
}

bool SameChannelWidths(const DDPIXELFORMAT& a, const DDPIXELFORMAT& b)
{
    return CountBits(a.dwRBitMask) == CountBits(b.dwRBitMask) &&
           CountBits(a.dwGBitMask) == CountBits(b.dwGBitMask) &&
           CountBits(a.dwBBitMask) == CountBits(b.dwBBitMask) &&
           CountBits(a.dwRGBAlphaBitMask) == CountBits(b.dwRGBAlphaBitMask);
}

} // namespace

int CountBits(uint32_t nMask)
{
    int nCount = 0;
    while (nMask) {
        nMask &= nMask - 1;
        ++nCount;
    }
    return nCount;
}

HRESULT FormatCallback(DDPIXELFORMAT* pFormat, void* pContext)
{
    static_cast<CFormatStack*>(pContext)->Push(*pFormat);
    return D3DENUMRET_OK;
}

CTextureSurface::CTextureSurface()
    : pSurface(nullptr), Desc(), nStage(0), bMipmapped(0), bColorKey(0), fKeyRed(0),
      fKeyGreen(0), fKeyBlue(0)
{
}

CTextureSurface::~CTextureSurface()
{
    Free();
}

void CTextureSurface::Free()
{
    if (pSurface)
        pSurface->Release();
    pSurface = nullptr;
    Desc = DDSURFACEDESC2{};
}

HDC CTextureSurface::GetDC()
{
    if (!pSurface)
        return nullptr;
    HDC hdc = nullptr;
    if (FAILED(pSurface->GetDC(&hdc)))
        return nullptr;
    return hdc;
}

void CTextureSurface::ReleaseDC(HDC hdc)
{
    if (pSurface)
        pSurface->ReleaseDC(hdc);
}

void CTextureSurface::SetStage(short nStageIn)
{
    if (nStageIn >= 0 && nStageIn <= 7)
        nStage = nStageIn;
}

void CTextureSurface::SetColorKey(float r, float g, float b)
{
    fKeyRed = r;
    fKeyGreen = g;
    fKeyBlue = b;
    bColorKey = 1;
}

int CTextureSurface::LoadFromBitmap(CApplication* pApp, const char* pszPath, int nWidth,
                                    int nHeight, int nMipCount)
{
    if (!pApp || !pszPath || !pApp->GetDirectDraw())
        return TEXTURE_LOAD_BAD_ARGUMENT;
    IDirect3DDevice7* pDevice = pApp->GetDevice();
    IDirectDraw7* pDD = pApp->GetDirectDraw();

    // A resource of the executable first, then a file.
    HBITMAP hBitmap = LoadImageA(GetModuleHandleA(nullptr), pszPath, IMAGE_BITMAP, 0, 0,
                                 LR_CREATEDIBSECTION);
    if (!hBitmap)
        hBitmap = LoadImageA(nullptr, pszPath, IMAGE_BITMAP, 0, 0,
                             LR_CREATEDIBSECTION | LR_LOADFROMFILE);
    if (!hBitmap)
        return TEXTURE_LOAD_NO_PICTURE;

    HDC hMemory = CreateCompatibleDC(nullptr);
    SelectObject(hMemory, hBitmap);
    BITMAP bitmap = {};
    GetObjectA(hBitmap, sizeof(bitmap), &bitmap);
    if (nWidth == 0)
        nWidth = bitmap.bmWidth;
    if (nHeight == 0)
        nHeight = bitmap.bmHeight;

    IDirectDrawSurface7* pStaging = CreateStaging(pDD, pDevice, nWidth, nHeight, nMipCount);
    if (!pStaging) {
        // The memory context goes first so that the bitmap is free to delete.
        DeleteDC(hMemory);
        DeleteObject(hBitmap);
        return TEXTURE_LOAD_NO_STAGING;
    }

    HDC hStaging = nullptr;
    pStaging->GetDC(&hStaging);
    StretchBlt(hStaging, 0, 0, nWidth, nHeight, hMemory, 0, 0, bitmap.bmWidth, bitmap.bmHeight,
               SRCCOPY);
    DeleteDC(hMemory);
    if (hStaging)
        pStaging->ReleaseDC(hStaging);
    DeleteObject(hBitmap);

    BuildMipChain(pStaging);
    if (ChooseFormat(pDevice, pStaging) != STEP_OK) {
        pStaging->Release();
        Free();
        return TEXTURE_LOAD_NO_FORMAT;
    }
    if (CreateFinal(pDD, pDevice, pStaging) != STEP_OK) {
        pStaging->Release();
        Free();
        return TEXTURE_LOAD_NO_FINAL;
    }
    pStaging->Release();
    return TEXTURE_LOAD_OK;
}

int CTextureSurface::Create(CApplication* pApp, int nWidth, int nHeight,
                            const unsigned char* pPixels, int nMipCount)
{
    if (!pApp)
        return STEP_BAD_ARGUMENT;
    IDirect3DDevice7* pDevice = pApp->GetDevice();
    IDirectDraw7* pDD = pApp->GetDirectDraw();

    IDirectDrawSurface7* pStaging = CreateStaging(pDD, pDevice, nWidth, nHeight, nMipCount);
    if (!pStaging)
        return STEP_SURFACE_FAILED;
    if (pPixels)
        FillFromRGB(pApp, pStaging, pPixels);
    BuildMipChain(pStaging);
    // Without a fitting format the final surface takes the default one.
    ChooseFormat(pDevice, pStaging);
    if (CreateFinal(pDD, pDevice, pStaging) != STEP_OK) {
        pStaging->Release();
        return STEP_SURFACE_FAILED;
    }
    pStaging->Release();
    return STEP_OK;
}

IDirectDrawSurface7* CTextureSurface::CreateStaging(IDirectDraw7* pDD, IDirect3DDevice7* pDevice,
                                                    int nWidth, int nHeight, int nMipCount)
{
    Free();
    if (!pDD || !pDevice)
        return nullptr;

    D3DDEVICEDESC7 caps = {};
    pDevice->GetCaps(&caps);
    // Worked out afresh on every load, so that an object loaded again without
    // levels does not keep the flag of an earlier load.
    bMipmapped = (caps.dpcTriCaps.dwTextureFilterCaps & MIP_FILTER_CAPS) && nMipCount > 0;

    Desc = EmptyDesc(DDSD_CAPS | DDSD_HEIGHT | DDSD_WIDTH);
    Desc.ddsCaps.dwCaps = STAGING_CAPS;
    Desc.dwWidth = static_cast<uint32_t>(nWidth);
    Desc.dwHeight = static_cast<uint32_t>(nHeight);
    if (bMipmapped) {
        Desc.dwMipMapCount = static_cast<uint32_t>(nMipCount);
        Desc.dwFlags |= DDSD_MIPMAPCOUNT;
        Desc.ddsCaps.dwCaps |= MIPMAP_CAPS;
    }

    // No pixel format is given: the staging surface has the display's.
    IDirectDrawSurface7* pStaging = nullptr;
    if (FAILED(pDD->CreateSurface(&Desc, &pStaging, nullptr)) || !pStaging) {
        Free();
        return nullptr;
    }
    return pStaging;
}

int CTextureSurface::FillFromRGB(CApplication* pApp, IDirectDrawSurface7* pStaging,
                                 const unsigned char* pPixels)
{
    if (!pApp || !pStaging || !pPixels)
        return STEP_BAD_ARGUMENT;
    DDSURFACEDESC2 locked = EmptyDesc(FILL_LOCK_FLAGS);
    if (FAILED(pStaging->Lock(nullptr, &locked, DDLOCK_WAIT, nullptr)))
        return STEP_LOCK_FAILED;

    const uint32_t nBytes = locked.ddpfPixelFormat.dwRGBBitCount / 8;
    const unsigned char* pSource = pPixels;
    for (uint32_t y = 0; y < locked.dwHeight; ++y) {
        unsigned char* pRow = static_cast<unsigned char*>(locked.lpSurface) +
                              static_cast<ptrdiff_t>(y) * locked.lPitch;
        for (uint32_t x = 0; x < locked.dwWidth; ++x, pSource += 3) {
            unsigned char* pPixel = pRow + x * nBytes;
            switch (nBytes) {
            case 2: {
                const uint16_t nValue = PackPixel16(pSource, locked.ddpfPixelFormat);
                std::memcpy(pPixel, &nValue, sizeof(nValue));
                break;
            }
            case 4:
                // The fourth byte is made opaque, so that a format with alpha
                // in it shows the picture.
                pPixel[3] = 0xFF;
                [[fallthrough]];
            case 3:
                std::memcpy(pPixel, pSource, 3);
                break;
            default:
                pStaging->Unlock(nullptr);
                return STEP_LOCK_FAILED;
            }
        }
    }
    pStaging->Unlock(nullptr);
    return STEP_OK;
}

int CTextureSurface::BuildMipChain(IDirectDrawSurface7* pStaging)
{
    DDSCAPS2 levelCaps = {LEVEL_CAPS, 0, 0, 0};
    IDirectDrawSurface7* pCurrent = pStaging;
    while (pCurrent) {
        IDirectDrawSurface7* pNext = nullptr;
        if (FAILED(pCurrent->GetAttachedSurface(&levelCaps, &pNext)) || !pNext)
            return STEP_OK;

        DDSURFACEDESC2 current = EmptyDesc(0);
        DDSURFACEDESC2 next = EmptyDesc(0);
        pCurrent->Lock(nullptr, &current, DDLOCK_WAIT, nullptr);
        pNext->Lock(nullptr, &next, DDLOCK_WAIT, nullptr);
        int nResult = STEP_OK;
        HDC hCurrent = nullptr;
        HDC hNext = nullptr;
        if (current.dwWidth / 2 != next.dwWidth && current.dwHeight / 2 != next.dwHeight) {
            nResult = STEP_SURFACE_FAILED;
        } else {
            pCurrent->GetDC(&hCurrent);
            pNext->GetDC(&hNext);
            if (!hCurrent || !hNext)
                nResult = STEP_NO_CONTEXT;
            else
                FilterLevel(hCurrent, static_cast<int>(current.dwWidth),
                            static_cast<int>(current.dwHeight), hNext,
                            static_cast<int>(next.dwWidth), static_cast<int>(next.dwHeight));
        }
        if (hCurrent)
            pCurrent->ReleaseDC(hCurrent);
        if (hNext)
            pNext->ReleaseDC(hNext);
        pCurrent->Unlock(nullptr);
        pNext->Unlock(nullptr);
        // The chain keeps the level alive; this reference is not needed.
        pNext->Release();
        if (nResult != STEP_OK)
            return nResult;
        pCurrent = pNext;
    }
    return STEP_OK;
}

int CTextureSurface::ChooseFormat(IDirect3DDevice7* pDevice, IDirectDrawSurface7* pStaging)
{
    if (!pStaging || !pDevice)
        return STEP_BAD_ARGUMENT;
    CFormatStack formats;
    if (FAILED(pDevice->EnumTextureFormats(FormatCallback, &formats)))
        return STEP_NO_FORMAT;

    DDSURFACEDESC2 locked = EmptyDesc(DDSD_PIXELFORMAT);
    if (SUCCEEDED(pStaging->Lock(nullptr, &locked, DDLOCK_WAIT, nullptr)))
        pStaging->Unlock(nullptr);
    const DDPIXELFORMAT staging = locked.ddpfPixelFormat;

    // Popping starts at the last enumerated format, so that one wins a tie.
    DDPIXELFORMAT format = {};
    while (formats.Pop(&format)) {
        if (format.dwFourCC != 0 || !SameChannelWidths(format, staging))
            continue;
        Desc.dwFlags |= DDSD_PIXELFORMAT;
        Desc.ddpfPixelFormat = format;
        if (bColorKey) {
            // Red and blue just under half intensity, no green: each mask
            // without its top bit.
            const uint32_t nRed = format.dwRBitMask;
            const uint32_t nBlue = format.dwBBitMask;
            const uint32_t nKey = ((nRed >> 1) & nRed) | ((nBlue >> 1) & nBlue);
            Desc.dwFlags |= DDSD_CKSRCBLT;
            Desc.ddckCKSrcBlt.dwColorSpaceLowValue = nKey;
            Desc.ddckCKSrcBlt.dwColorSpaceHighValue = nKey;
        }
        formats.Clear();
        return STEP_OK;
    }
    return STEP_NO_FORMAT;
}

int CTextureSurface::CreateFinal(IDirectDraw7* pDD, IDirect3DDevice7* pDevice,
                                 IDirectDrawSurface7* pStaging)
{
    if (!pDD || !pDevice)
        return STEP_BAD_ARGUMENT;
    if (pSurface) {
        pSurface->Release();
        pSurface = nullptr;
    }

    D3DDEVICEDESC7 caps = {};
    pDevice->GetCaps(&caps);
    // A hardware device manages the texture in its own memory; a software
    // one samples it from system memory.
    const bool bHardware = IsHardwareGuid(caps.deviceGUID);
    if (bHardware) {
        Desc.ddsCaps.dwCaps2 = DDSCAPS2_TEXTUREMANAGE;
        Desc.ddsCaps.dwCaps &= ~DDSCAPS_SYSTEMMEMORY;
    }
    Desc.dwFlags |= DDSD_TEXTURESTAGE;
    Desc.dwTextureStage = static_cast<uint32_t>(nStage);

    if (FAILED(pDD->CreateSurface(&Desc, &pSurface, nullptr)))
        return STEP_SURFACE_FAILED;

    if (bHardware) {
        if (FAILED(pDevice->Load(pSurface, nullptr, pStaging, nullptr, 0)))
            return STEP_LOAD_FAILED;
        return STEP_OK;
    }

    if (FAILED(pSurface->Blt(nullptr, pStaging, nullptr, DDBLT_WAIT, nullptr)))
        return STEP_BLT_FAILED;
    // The levels below the top, walked in step on both chains.
    DDSCAPS2 levelCaps = {LEVEL_CAPS, 0, 0, 0};
    IDirectDrawSurface7* pSource = pStaging;
    IDirectDrawSurface7* pDest = pSurface;
    for (;;) {
        IDirectDrawSurface7* pSourceNext = nullptr;
        IDirectDrawSurface7* pDestNext = nullptr;
        if (FAILED(pSource->GetAttachedSurface(&levelCaps, &pSourceNext)))
            return STEP_OK;
        if (FAILED(pDest->GetAttachedSurface(&levelCaps, &pDestNext))) {
            pSourceNext->Release();
            return STEP_OK;
        }
        pDestNext->Blt(nullptr, pSourceNext, nullptr, DDBLT_WAIT, nullptr);
        // Both chains keep their levels alive.
        pSourceNext->Release();
        pDestNext->Release();
        pSource = pSourceNext;
        pDest = pDestNext;
    }
}
