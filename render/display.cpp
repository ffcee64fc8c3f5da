// The display side of the application: the flip chain in exclusive full
// screen, presenting frames, fills and blits on the back surface, off-screen
// images, and releasing the devices again.
#include "frame/application.h"
#include "frame/error.h"
#include "resources/texture_surface.h"

namespace {

// Size of the surface description record as the display layer expects it.
constexpr uint32_t SURFACE_DESC_SIZE = 124;
constexpr uint32_t PIXEL_FORMAT_SIZE = 32;
constexpr uint32_t BLT_FX_SIZE = 100;
constexpr uint32_t CLEAR_FLAGS = DDBLT_WAIT | DDBLT_COLORFILL;
constexpr uint32_t PRIMARY_CAPS =
    DDSCAPS_PRIMARYSURFACE | DDSCAPS_FLIP | DDSCAPS_COMPLEX | DDSCAPS_3DDEVICE;
constexpr uint32_t EXCLUSIVE_LEVEL = DDSCL_FULLSCREEN | DDSCL_ALLOWREBOOT | DDSCL_EXCLUSIVE;
constexpr COLORREF TEXT_WHITE = 0xFFFFFF;
// The stock black pen (BLACK_PEN).
constexpr int STOCK_BLACK_PEN = 7;
constexpr const char* LOADING_TEXT = "Loading...";
constexpr int LOADING_LENGTH = 10;

template <typename T>
void ReleaseAndNull(T*& pObject)
{
    if (pObject)
        pObject->Release();
    pObject = nullptr;
}

// The largest value of a channel of nBits bits, within one byte: a channel
// wider than 8 bits still gets 0xFF.
uint32_t ChannelMax(int nBits)
{
    const int nShift = nBits >= 8 ? 0 : 8 - nBits;
    return 0xFFu >> nShift;
}

uint32_t ScaleChannel(float fValue, int nBits)
{
    return static_cast<uint32_t>(static_cast<int32_t>(static_cast<float>(ChannelMax(nBits)) * fValue));
}

} // namespace

int CApplication::CreateDD(const CAppConfig* pConfigIn)
{
    if (!pConfigIn)
        throw CError("DirectDraw creation failed.  Invalid parameter.");
    ScreenRect = {0, 0, pConfigIn->nWidth, pConfigIn->nHeight};

    DirectDrawCreateEx(nullptr, reinterpret_cast<void**>(&pDirectDraw), IID_IDirectDraw7, nullptr);
    if (!pDirectDraw)
        throw CError("DirectDraw creation failed.  Interface unavailable.");
    if (FAILED(pDirectDraw->SetCooperativeLevel(hWnd, EXCLUSIVE_LEVEL)))
        throw CError("DirectDraw creation failed.  Can not set cooperative level.");
    if (FAILED(pDirectDraw->SetDisplayMode(static_cast<uint32_t>(pConfigIn->nWidth),
                                           static_cast<uint32_t>(pConfigIn->nHeight),
                                           static_cast<uint32_t>(pConfigIn->nBitDepth), 0, 0)))
        throw CError("DirectDraw creation failed.  Can not set screen resolution.");

    DDSURFACEDESC2 desc = {};
    desc.dwSize = SURFACE_DESC_SIZE;
    desc.dwFlags = DDSD_CAPS | DDSD_BACKBUFFERCOUNT;
    desc.dwBackBufferCount = 1;
    desc.ddsCaps.dwCaps = PRIMARY_CAPS;
    if (FAILED(pDirectDraw->CreateSurface(&desc, &pPrimary, nullptr)))
        throw CError("DirectDraw creation failed.  Can not create primary surface.");

    DDSCAPS2 backCaps = {DDSCAPS_BACKBUFFER, 0, 0, 0};
    if (FAILED(pPrimary->GetAttachedSurface(&backCaps, &pBack)))
        throw CError("DirectDraw creation failed.  Can not create secondary surface.");
    pBack->AddRef();

    // The first frame: black with "Loading..." centred across the top.
    Draw(nullptr, nullptr, nullptr, CLEAR_FLAGS, 0);
    HDC hdc = nullptr;
    if (SUCCEEDED(pBack->GetDC(&hdc)) && hdc) {
        SetTextColor(hdc, TEXT_WHITE);
        SetBkColor(hdc, 0);
        DrawTextA(hdc, LOADING_TEXT, LOADING_LENGTH, &ScreenRect, DT_CENTER);
        pBack->ReleaseDC(hdc);
    }
    Flip();
    return 0;
}

int CApplication::ReleaseDevices(unsigned nMask)
{
    // Every resource goes first, while the devices it came from still exist.
    SceneList.DestroyAll(this);
    OverlayList.DestroyAll(this);
    FontList.DestroyAll(this);
    TextureList.Clear();

    if (nMask & DEVICE_DIRECT3D) {
        ReleaseAndNull(pDevice);
        ReleaseAndNull(pZBuffer);
        ReleaseAndNull(pDirect3D);
    }
    if (nMask & DEVICE_DIRECTDRAW) {
        // pBack holds the reference taken in CreateDD; the chain's own goes
        // with the primary.
        ReleaseAndNull(pBack);
        ReleaseAndNull(pPrimary);
        if (pDirectDraw) {
            pDirectDraw->SetCooperativeLevel(hWnd, DDSCL_NORMAL);
            pDirectDraw->Release();
        }
        pDirectDraw = nullptr;
    }
    if (nMask & DEVICE_DIRECTINPUT)
        ReleaseInput();
    if (nMask & DEVICE_DIRECTSOUND)
        ReleaseSound();
    return 0;
}

int CApplication::Flip()
{
    if (!pPrimary || !pBack)
        throw CError("Cannot flip surfaces.  Surfaces do not exist.");
    if (FAILED(pPrimary->Flip(nullptr, DDFLIP_WAIT)))
        throw CError("Cannot flip surfaces.  Flip failed.\r\nPossible loss of full screen mode.");
    return 0;
}

int CApplication::Draw(const RECT* pDest, IDirectDrawSurface7* pSource, const RECT* pSourceRect,
                       unsigned nFlags, unsigned nColour)
{
    // One value serves as fill colour and as source key, whichever the flags use.
    DDBLTFX fx = {};
    fx.dwSize = BLT_FX_SIZE;
    fx.dwFillColor = nColour;
    fx.ddckSrcColorkey.dwColorSpaceLowValue = nColour;
    fx.ddckSrcColorkey.dwColorSpaceHighValue = nColour;
    if (!pBack ||
        FAILED(pBack->Blt(const_cast<RECT*>(pDest), pSource, const_cast<RECT*>(pSourceRect), nFlags,
                          &fx)))
        throw CError("Draw: Blt failed.");
    return 0;
}

uint32_t CApplication::MakePixel(float r, float g, float b, const DDPIXELFORMAT* pFormat)
{
    if (!pFormat)
        pFormat = &PixelFormat;
    if (!pPrimary)
        return 0;

    int nRedBits = CountBits(pFormat->dwRBitMask);
    int nGreenBits = CountBits(pFormat->dwGBitMask);
    int nBlueBits = CountBits(pFormat->dwBBitMask);
    if (nRedBits == 0 || nGreenBits == 0 || nBlueBits == 0) {
        // The display's own format, kept for later calls.
        PixelFormat.dwSize = PIXEL_FORMAT_SIZE;
        pPrimary->GetPixelFormat(&PixelFormat);
        pFormat = &PixelFormat;
        nRedBits = CountBits(pFormat->dwRBitMask);
        nGreenBits = CountBits(pFormat->dwGBitMask);
        nBlueBits = CountBits(pFormat->dwBBitMask);
    }

    // Blue at bit 0, green above it, red above that.
    const uint32_t nRed = ScaleChannel(r, nRedBits) << (nGreenBits + nBlueBits);
    const uint32_t nGreen = ScaleChannel(g, nGreenBits) << nBlueBits;
    const uint32_t nBlue = ScaleChannel(b, nBlueBits);
    return (nRed & pFormat->dwRBitMask) | (nGreen & pFormat->dwGBitMask) |
           (nBlue & pFormat->dwBBitMask);
}

int CApplication::SetPen(HDC hdc, int nWidth, COLORREF colour)
{
    HPEN hPen = CreatePen(PS_SOLID, nWidth, colour);
    if (!hPen)
        return 1;
    if (!DeleteObject(SelectObject(hdc, hPen)))
        return 2;
    return 0;
}

int CApplication::SetBrush(HDC hdc, COLORREF colour)
{
    const LOGBRUSH brush = {BS_SOLID, colour, 0};
    HBRUSH hBrush = CreateBrushIndirect(&brush);
    if (!hBrush)
        return 1;
    if (!DeleteObject(SelectObject(hdc, hBrush)))
        return 2;
    return 0;
}

IDirectDrawSurface7* CApplication::CreateImage(int nWidth, int nHeight, COLORREF colour)
{
    if (!pDirectDraw)
        throw CError("CreateImage: DirectDraw interface in not available.");
    DDSURFACEDESC2 desc = {};
    desc.dwSize = SURFACE_DESC_SIZE;
    desc.dwFlags = DDSD_CAPS | DDSD_HEIGHT | DDSD_WIDTH;
    desc.dwWidth = static_cast<uint32_t>(nWidth);
    desc.dwHeight = static_cast<uint32_t>(nHeight);
    desc.ddsCaps.dwCaps = DDSCAPS_OFFSCREENPLAIN;
    IDirectDrawSurface7* pSurface = nullptr;
    if (FAILED(pDirectDraw->CreateSurface(&desc, &pSurface, nullptr)) || !pSurface)
        throw CError("CreateImage: Cannot create a surface.");

    HDC hdc = nullptr;
    if (FAILED(pSurface->GetDC(&hdc))) {
        pSurface->Release();
        throw CError("CreateImage: Failed to aquire a device content.");
    }
    SetPen(hdc, 0, colour);
    SetBrush(hdc, colour);
    Rectangle(hdc, 0, 0, nWidth, nHeight);
    // The pen and brush of the fill are not wanted past it: stock objects
    // take their place and they are deleted before the context goes.
    DeleteObject(SelectObject(hdc, GetStockObject(STOCK_BLACK_PEN)));
    DeleteObject(SelectObject(hdc, GetStockObject(WHITE_BRUSH)));
    pSurface->ReleaseDC(hdc);
    return pSurface;
}

IDirectDrawSurface7* CApplication::LoadImage(const char* pszName, int nWidth, int nHeight)
{
    // A resource of the executable first, then a file.
    HINSTANCE hModule = GetModuleHandleA(nullptr);
    HBITMAP hBitmap = LoadBitmapA(hModule, pszName);
    if (!hBitmap)
        hBitmap = LoadImageA(hModule, pszName, IMAGE_BITMAP, nWidth, nHeight, LR_CREATEDIBSECTION);
    if (!hBitmap)
        hBitmap = LoadImageA(nullptr, pszName, IMAGE_BITMAP, nWidth, nHeight,
                             LR_CREATEDIBSECTION | LR_LOADFROMFILE);
    if (!hBitmap)
        throw CError("LoadImage: File not found.");

    BITMAP bitmap = {};
    GetObjectA(hBitmap, sizeof(bitmap), &bitmap);
    if (nWidth == 0)
        nWidth = bitmap.bmWidth;
    if (nHeight == 0)
        nHeight = bitmap.bmHeight;

    IDirectDrawSurface7* pSurface = CreateImage(nWidth, nHeight, 0);
    if (!pSurface) {
        DeleteObject(hBitmap);
        throw CError("LoadImage: Failed to create surface.");
    }
    HDC hMemory = CreateCompatibleDC(nullptr);
    if (!hMemory) {
        pSurface->Release();
        DeleteObject(hBitmap);
        throw CError("LoadImage: Failed to create a cmpatible device content.");
    }
    SelectObject(hMemory, hBitmap);
    HDC hdc = nullptr;
    pSurface->GetDC(&hdc);
    if (!hdc) {
        pSurface->Release();
        DeleteDC(hMemory);
        DeleteObject(hBitmap);
        throw CError("LoadImage: Failed to aquire a device content.");
    }
    StretchBlt(hdc, 0, 0, nWidth, nHeight, hMemory, 0, 0, bitmap.bmWidth, bitmap.bmHeight,
               SRCCOPY);
    pSurface->ReleaseDC(hdc);
    DeleteDC(hMemory);
    DeleteObject(hBitmap);
    return pSurface;
}
