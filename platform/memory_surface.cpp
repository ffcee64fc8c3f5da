#include "platform/memory_surface.h"

#include "platform/gdi_bmp.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace {

// Bits of a channel mask and where it starts.
struct CChannel {
    uint32_t nMask;
    uint32_t nShift;
    uint32_t nBits;
};

CChannel MakeChannel(uint32_t nMask)
{
    if (nMask == 0)
        return {0, 0, 0};
    uint32_t nShift = static_cast<uint32_t>(std::countr_zero(nMask));
    return {nMask, nShift, static_cast<uint32_t>(std::popcount(nMask))};
}

// Widens a channel to 8 bits, rounded to the nearest, as OpenGL widens
// packed texels: a full channel gives 255, and narrowing by dropping low
// bits gives the same value back.
uint8_t Widen(uint32_t nValue, const CChannel& channel, uint8_t nMissing)
{
    if (channel.nBits == 0)
        return nMissing;
    uint32_t v = (nValue & channel.nMask) >> channel.nShift;
    if (channel.nBits >= 8)
        return static_cast<uint8_t>(v >> (channel.nBits - 8));
    uint32_t nMax = (1u << channel.nBits) - 1;
    return static_cast<uint8_t>((v * 255 + nMax / 2) / nMax);
}

// Narrows an 8-bit channel by dropping its low bits.
uint32_t Narrow(uint8_t nValue, const CChannel& channel)
{
    if (channel.nBits == 0)
        return 0;
    uint32_t v = channel.nBits >= 8 ? static_cast<uint32_t>(nValue) << (channel.nBits - 8)
                                    : static_cast<uint32_t>(nValue) >> (8 - channel.nBits);
    return (v << channel.nShift) & channel.nMask;
}

bool IsValidRGBFormat(const DDPIXELFORMAT& format)
{
    uint32_t nBits = format.dwRGBBitCount;
    return (format.dwFlags & DDPF_RGB) && (nBits == 16 || nBits == 24 || nBits == 32) &&
           format.dwRBitMask && format.dwGBitMask && format.dwBBitMask;
}

bool IsValidZFormat(const DDPIXELFORMAT& format)
{
    uint32_t nDepth = format.dwZBufferBitDepth;
    return (format.dwFlags & DDPF_ZBUFFER) && (nDepth == 16 || nDepth == 24 || nDepth == 32);
}

// Intersects a rectangle with 0,0..width,height; false when nothing is left.
bool ClipRect(RECT& rect, uint32_t nWidth, uint32_t nHeight)
{
    rect.left = std::max<int32_t>(rect.left, 0);
    rect.top = std::max<int32_t>(rect.top, 0);
    rect.right = std::min<int32_t>(rect.right, static_cast<int32_t>(nWidth));
    rect.bottom = std::min<int32_t>(rect.bottom, static_cast<int32_t>(nHeight));
    return rect.left < rect.right && rect.top < rect.bottom;
}

RECT WholeRect(const CMemorySurface& surface)
{
    return {0, 0, static_cast<int32_t>(surface.GetWidth()),
            static_cast<int32_t>(surface.GetHeight())};
}

bool IsOrdered(const RECT& rect) { return rect.left < rect.right && rect.top < rect.bottom; }

// Sides of 0, or beyond what a bitmap may have (a negative size passed as
// unsigned among them), are refused instead of allocated.
bool IsValidSize(uint32_t nWidth, uint32_t nHeight)
{
    const uint32_t nMax = MAX_BITMAP_SIDE;
    return nWidth > 0 && nHeight > 0 && nWidth <= nMax && nHeight <= nMax;
}

uint32_t FullChainLength(uint32_t nWidth, uint32_t nHeight)
{
    uint32_t nLevels = 1;
    while (nWidth > 1 || nHeight > 1) {
        nWidth = HalfSize(nWidth);
        nHeight = HalfSize(nHeight);
        ++nLevels;
    }
    return nLevels;
}

} // namespace

// ---- Pixel formats --------------------------------------------------------

DDPIXELFORMAT DisplayPixelFormat()
{
    DDPIXELFORMAT format{};
    format.dwSize = sizeof(DDPIXELFORMAT);
    format.dwFlags = DDPF_RGB;
    format.dwRGBBitCount = 16;
    format.dwRBitMask = 0xF800;
    format.dwGBitMask = 0x07E0;
    format.dwBBitMask = 0x001F;
    return format;
}

CRgba8 UnpackPixel(uint32_t nValue, const DDPIXELFORMAT& format)
{
    uint32_t nAlphaMask = (format.dwFlags & DDPF_ALPHAPIXELS) ? format.dwRGBAlphaBitMask : 0;
    return {Widen(nValue, MakeChannel(format.dwRBitMask), 0),
            Widen(nValue, MakeChannel(format.dwGBitMask), 0),
            Widen(nValue, MakeChannel(format.dwBBitMask), 0),
            Widen(nValue, MakeChannel(nAlphaMask), 255)};
}

uint32_t PackPixel(CRgba8 colour, const DDPIXELFORMAT& format)
{
    uint32_t nAlphaMask = (format.dwFlags & DDPF_ALPHAPIXELS) ? format.dwRGBAlphaBitMask : 0;
    return Narrow(colour.r, MakeChannel(format.dwRBitMask)) |
           Narrow(colour.g, MakeChannel(format.dwGBitMask)) |
           Narrow(colour.b, MakeChannel(format.dwBBitMask)) |
           Narrow(colour.a, MakeChannel(nAlphaMask));
}

uint32_t PixelBytes(const DDPIXELFORMAT& format) { return format.dwRGBBitCount / 8; }

bool SameRGBFormat(const DDPIXELFORMAT& a, const DDPIXELFORMAT& b)
{
    uint32_t nAlphaA = (a.dwFlags & DDPF_ALPHAPIXELS) ? a.dwRGBAlphaBitMask : 0;
    uint32_t nAlphaB = (b.dwFlags & DDPF_ALPHAPIXELS) ? b.dwRGBAlphaBitMask : 0;
    return a.dwRGBBitCount == b.dwRGBBitCount && a.dwRBitMask == b.dwRBitMask &&
           a.dwGBitMask == b.dwGBitMask && a.dwBBitMask == b.dwBBitMask && nAlphaA == nAlphaB;
}

// ---- CMemorySurface -------------------------------------------------------

CMemorySurface::CMemorySurface(uint32_t nWidth, uint32_t nHeight, const DDPIXELFORMAT& format,
                               uint32_t nCaps)
    : nWidth(nWidth), nHeight(nHeight), nBytes(0), nPitch(0), nCaps(nCaps), Format(format)
{
    Format.dwSize = sizeof(DDPIXELFORMAT);
    if (!(nCaps & DDSCAPS_ZBUFFER)) {
        nBytes = PixelBytes(format);
        nPitch = (nWidth * nBytes + 3) & ~3u;
        Pixels.assign(static_cast<size_t>(nPitch) * nHeight, 0);
    }
}

CMemorySurface::~CMemorySurface() { Destroy(); }

void CMemorySurface::Destroy()
{
    if (hDC) {
        DeleteDC(hDC);
        hDC = nullptr;
    }
    // Owned parts go with their owner whatever their counts say.
    if (pBack) {
        delete pBack;
        pBack = nullptr;
    }
    if (pNextLevel) {
        delete pNextLevel;
        pNextLevel = nullptr;
    }
    if (pZBuffer) {
        pZBuffer->Release();
        pZBuffer = nullptr;
    }
}

uint32_t CMemorySurface::AddRef() { return ++nRefs; }

uint32_t CMemorySurface::Release()
{
    if (nRefs > 0)
        --nRefs;
    if (nRefs > 0 || bOwned)
        return nRefs;
    delete this;
    return 0;
}

void CMemorySurface::SetBackSurface(CMemorySurface* pSurface)
{
    if (pBack)
        delete pBack;
    pBack = pSurface;
    if (pBack)
        pBack->bOwned = true;
}

void CMemorySurface::SetNextLevel(CMemorySurface* pLevel)
{
    if (pNextLevel)
        delete pNextLevel;
    pNextLevel = pLevel;
    if (pNextLevel)
        pNextLevel->bOwned = true;
}

uint32_t CMemorySurface::CountLevels() const
{
    uint32_t nCount = 1;
    for (const CMemorySurface* p = pNextLevel; p; p = p->pNextLevel)
        ++nCount;
    return nCount;
}

void CMemorySurface::SetColorKey(uint32_t nKey)
{
    bColorKey = true;
    nColorKey = nKey;
}

uint32_t CMemorySurface::ReadPixel(uint32_t x, uint32_t y) const
{
    const uint8_t* p = Pixels.data() + static_cast<size_t>(y) * nPitch + x * nBytes;
    uint32_t nValue = 0;
    std::memcpy(&nValue, p, nBytes); // little-endian: low byte first
    return nValue;
}

void CMemorySurface::WritePixel(uint32_t x, uint32_t y, uint32_t nValue)
{
    uint8_t* p = Pixels.data() + static_cast<size_t>(y) * nPitch + x * nBytes;
    std::memcpy(p, &nValue, nBytes);
}

HRESULT CMemorySurface::Blt(RECT* pDest, IDirectDrawSurface7* pSource, RECT* pSourceRect,
                            uint32_t nFlags, DDBLTFX* pFx)
{
    if (Pixels.empty())
        return DDERR_INVALIDCAPS;
    RECT dest = pDest ? *pDest : WholeRect(*this);
    if (!IsOrdered(dest))
        return DDERR_INVALIDPARAMS;
    if (nFlags & DDBLT_COLORFILL) {
        if (!pFx)
            return DDERR_INVALIDPARAMS;
        if (ClipRect(dest, nWidth, nHeight))
            FillRect(dest, pFx->dwFillColor);
        return DD_OK;
    }
    auto* pFrom = dynamic_cast<CMemorySurface*>(pSource);
    if (!pFrom || pFrom->Pixels.empty())
        return DDERR_INVALIDPARAMS;
    RECT source = pSourceRect ? *pSourceRect : WholeRect(*pFrom);
    if (!IsOrdered(source))
        return DDERR_INVALIDPARAMS;
    bool bKeyed = (nFlags & DDBLT_KEYSRCOVERRIDE) && pFx;
    return CopyRect(dest, pFrom, source, bKeyed, bKeyed ? pFx->ddckSrcColorkey.dwColorSpaceLowValue : 0);
}

void CMemorySurface::FillRect(const RECT& rect, uint32_t nValue)
{
    bool bWhole = rect.left == 0 && rect.top == 0 && rect.right == static_cast<int32_t>(nWidth) &&
                  rect.bottom == static_cast<int32_t>(nHeight);
    if (!bWhole)
        BeforeCpuAccess();
    for (int32_t y = rect.top; y < rect.bottom; ++y)
        for (int32_t x = rect.left; x < rect.right; ++x)
            WritePixel(static_cast<uint32_t>(x), static_cast<uint32_t>(y), nValue);
    AfterCpuWrite();
}

// Nearest-pixel stretch of source onto dest; pixels that fall outside either
// surface are skipped, which clips both sides consistently.
HRESULT CMemorySurface::CopyRect(const RECT& dest, CMemorySurface* pSource, const RECT& source,
                                 bool bKeyed, uint32_t nKey)
{
    pSource->BeforeCpuAccess();
    BeforeCpuAccess();
    bool bSameFormat = SameRGBFormat(Format, pSource->Format);
    int64_t nDestW = dest.right - dest.left;
    int64_t nDestH = dest.bottom - dest.top;
    int64_t nSourceW = source.right - source.left;
    int64_t nSourceH = source.bottom - source.top;
    for (int64_t dy = 0; dy < nDestH; ++dy) {
        int64_t y = dest.top + dy;
        int64_t sy = source.top + dy * nSourceH / nDestH;
        if (y < 0 || y >= nHeight || sy < 0 || sy >= pSource->nHeight)
            continue;
        for (int64_t dx = 0; dx < nDestW; ++dx) {
            int64_t x = dest.left + dx;
            int64_t sx = source.left + dx * nSourceW / nDestW;
            if (x < 0 || x >= nWidth || sx < 0 || sx >= pSource->nWidth)
                continue;
            uint32_t nValue =
                pSource->ReadPixel(static_cast<uint32_t>(sx), static_cast<uint32_t>(sy));
            if (bKeyed && nValue == nKey)
                continue;
            if (!bSameFormat)
                nValue = PackPixel(UnpackPixel(nValue, pSource->Format), Format);
            WritePixel(static_cast<uint32_t>(x), static_cast<uint32_t>(y), nValue);
        }
    }
    AfterCpuWrite();
    return DD_OK;
}

HRESULT CMemorySurface::CopyFrom(CMemorySurface* pSource)
{
    if (!pSource || Pixels.empty() || pSource->Pixels.empty())
        return DDERR_INVALIDPARAMS;
    return CopyRect(WholeRect(*this), pSource, WholeRect(*pSource), false, 0);
}

HRESULT CMemorySurface::Flip(IDirectDrawSurface7*, uint32_t)
{
    return pBack ? DD_OK : DDERR_NOFLIPHW;
}

HRESULT CMemorySurface::GetAttachedSurface(DDSCAPS2* pCaps, IDirectDrawSurface7** ppOut)
{
    if (!pCaps || !ppOut)
        return DDERR_INVALIDPARAMS;
    *ppOut = nullptr;
    CMemorySurface* pFound = nullptr;
    if (pCaps->dwCaps & DDSCAPS_BACKBUFFER)
        pFound = pBack;
    else if (pCaps->dwCaps & DDSCAPS_MIPMAP)
        pFound = pNextLevel;
    else if (pCaps->dwCaps & DDSCAPS_ZBUFFER)
        pFound = pZBuffer;
    if (!pFound)
        return DDERR_NOTFOUND;
    pFound->AddRef();
    *ppOut = pFound;
    return DD_OK;
}

HRESULT CMemorySurface::AddAttachedSurface(IDirectDrawSurface7* pAttach)
{
    auto* pSurface = dynamic_cast<CMemorySurface*>(pAttach);
    if (!pSurface || !(pSurface->nCaps & DDSCAPS_ZBUFFER) || pSurface == this)
        return DDERR_INVALIDPARAMS;
    if (pSurface->nWidth != nWidth || pSurface->nHeight != nHeight)
        return DDERR_INVALIDPARAMS;
    pSurface->AddRef();
    if (pZBuffer)
        pZBuffer->Release();
    pZBuffer = pSurface;
    return DD_OK;
}

HRESULT CMemorySurface::GetDC(HDC* pOut)
{
    if (!pOut)
        return DDERR_INVALIDPARAMS;
    *pOut = nullptr;
    if (Pixels.empty() || hDC)
        return E_FAIL;
    BeforeCpuAccess();
    hDC = CreateBufferDC(Pixels.data(), static_cast<int>(nWidth), static_cast<int>(nHeight),
                         static_cast<int>(nPitch), static_cast<int>(nBytes), Format.dwRBitMask,
                         Format.dwGBitMask, Format.dwBBitMask);
    if (!hDC)
        return E_FAIL;
    *pOut = hDC;
    return DD_OK;
}

HRESULT CMemorySurface::ReleaseDC(HDC hdc)
{
    if (!hdc || hdc != hDC)
        return DDERR_INVALIDPARAMS;
    DeleteDC(hDC);
    hDC = nullptr;
    AfterCpuWrite();
    return DD_OK;
}

HRESULT CMemorySurface::Lock(RECT* pRect, DDSURFACEDESC2* pDesc, uint32_t, void*)
{
    if (!pDesc || Pixels.empty())
        return DDERR_INVALIDPARAMS;
    RECT rect = pRect ? *pRect : WholeRect(*this);
    if (!IsOrdered(rect) || rect.left < 0 || rect.top < 0 ||
        rect.right > static_cast<int32_t>(nWidth) || rect.bottom > static_cast<int32_t>(nHeight))
        return DDERR_INVALIDPARAMS;
    BeforeCpuAccess();
    ++nLocks;
    GetSurfaceDesc(pDesc);
    pDesc->dwFlags |= DDSD_LPSURFACE;
    pDesc->lpSurface = Pixels.data() + static_cast<size_t>(rect.top) * nPitch + rect.left * nBytes;
    return DD_OK;
}

HRESULT CMemorySurface::Unlock(RECT*)
{
    if (nLocks > 0)
        --nLocks;
    AfterCpuWrite();
    return DD_OK;
}

HRESULT CMemorySurface::GetPixelFormat(DDPIXELFORMAT* pOut)
{
    if (!pOut)
        return DDERR_INVALIDPARAMS;
    *pOut = Format;
    return DD_OK;
}

HRESULT CMemorySurface::GetSurfaceDesc(DDSURFACEDESC2* pOut)
{
    if (!pOut)
        return DDERR_INVALIDPARAMS;
    *pOut = DDSURFACEDESC2{};
    pOut->dwSize = sizeof(DDSURFACEDESC2);
    pOut->dwFlags = DDSD_CAPS | DDSD_WIDTH | DDSD_HEIGHT | DDSD_PIXELFORMAT;
    pOut->dwWidth = nWidth;
    pOut->dwHeight = nHeight;
    if (!Pixels.empty()) {
        pOut->dwFlags |= DDSD_PITCH;
        pOut->lPitch = static_cast<int32_t>(nPitch);
    }
    if (pNextLevel) {
        pOut->dwFlags |= DDSD_MIPMAPCOUNT;
        pOut->dwMipMapCount = CountLevels();
    }
    if (pBack) {
        pOut->dwFlags |= DDSD_BACKBUFFERCOUNT;
        pOut->dwBackBufferCount = 1;
    }
    if (bColorKey) {
        pOut->dwFlags |= DDSD_CKSRCBLT;
        pOut->ddckCKSrcBlt = {nColorKey, nColorKey};
    }
    pOut->ddpfPixelFormat = Format;
    pOut->ddsCaps.dwCaps = nCaps;
    return DD_OK;
}

// ---- Surface creation -----------------------------------------------------

namespace {

HRESULT CreateFlipChain(CSurfaceFactory& factory, uint32_t nCaps, uint32_t nWidth,
                        uint32_t nHeight, const DDPIXELFORMAT& display, CMemorySurface** ppOut)
{
    if (nWidth == 0 || nHeight == 0)
        return DDERR_NOEXCLUSIVEMODE;
    CMemorySurface* pPrimary = factory.MakeSurface(nWidth, nHeight, display, nCaps, 0);
    if (!pPrimary)
        return DDERR_OUTOFMEMORY;
    uint32_t nBackCaps =
        (nCaps & ~(DDSCAPS_PRIMARYSURFACE | DDSCAPS_COMPLEX)) | DDSCAPS_BACKBUFFER;
    CMemorySurface* pBack = factory.MakeSurface(nWidth, nHeight, display, nBackCaps, 0);
    if (!pBack) {
        pPrimary->Release();
        return DDERR_OUTOFMEMORY;
    }
    pPrimary->SetBackSurface(pBack);
    *ppOut = pPrimary;
    return DD_OK;
}

HRESULT CreatePlain(CSurfaceFactory& factory, const DDSURFACEDESC2& desc, uint32_t nCaps,
                    const DDPIXELFORMAT& format, CMemorySurface** ppOut)
{
    uint32_t nWidth = desc.dwWidth;
    uint32_t nHeight = desc.dwHeight;
    if (!(desc.dwFlags & DDSD_WIDTH) || !(desc.dwFlags & DDSD_HEIGHT) ||
        !IsValidSize(nWidth, nHeight))
        return DDERR_INVALIDPARAMS;
    if (!IsValidRGBFormat(format))
        return DDERR_INVALIDPIXELFORMAT;
    uint32_t nLevels = 1;
    if (nCaps & DDSCAPS_MIPMAP) {
        uint32_t nFull = FullChainLength(nWidth, nHeight);
        nLevels = (desc.dwFlags & DDSD_MIPMAPCOUNT) ? std::clamp(desc.dwMipMapCount, 1u, nFull)
                                                    : nFull;
    }
    CMemorySurface* pTop = nullptr;
    CMemorySurface* pAbove = nullptr;
    for (uint32_t nLevel = 0; nLevel < nLevels; ++nLevel) {
        CMemorySurface* pLevel = factory.MakeSurface(nWidth, nHeight, format, nCaps, nLevel);
        if (!pLevel) {
            if (pTop)
                pTop->Release();
            return DDERR_OUTOFMEMORY;
        }
        if (desc.dwFlags & DDSD_CKSRCBLT)
            pLevel->SetColorKey(desc.ddckCKSrcBlt.dwColorSpaceLowValue);
        if (pAbove)
            pAbove->SetNextLevel(pLevel);
        else
            pTop = pLevel;
        pAbove = pLevel;
        nWidth = HalfSize(nWidth);
        nHeight = HalfSize(nHeight);
    }
    *ppOut = pTop;
    return DD_OK;
}

} // namespace

HRESULT CreateSurfaceChain(CSurfaceFactory& factory, const DDSURFACEDESC2& desc,
                           uint32_t nDisplayWidth, uint32_t nDisplayHeight,
                           const DDPIXELFORMAT& display, CMemorySurface** ppOut)
{
    if (!ppOut)
        return DDERR_INVALIDPARAMS;
    *ppOut = nullptr;
    if (!(desc.dwFlags & DDSD_CAPS))
        return DDERR_INVALIDCAPS;
    uint32_t nCaps = desc.ddsCaps.dwCaps;
    if (nCaps & DDSCAPS_PRIMARYSURFACE)
        return CreateFlipChain(factory, nCaps, nDisplayWidth, nDisplayHeight, display, ppOut);
    bool bFormat = (desc.dwFlags & DDSD_PIXELFORMAT) != 0;
    if (nCaps & DDSCAPS_ZBUFFER) {
        if (!(desc.dwFlags & DDSD_WIDTH) || !(desc.dwFlags & DDSD_HEIGHT) ||
            !IsValidSize(desc.dwWidth, desc.dwHeight))
            return DDERR_INVALIDPARAMS;
        if (!bFormat || !IsValidZFormat(desc.ddpfPixelFormat))
            return DDERR_INVALIDPIXELFORMAT;
        CMemorySurface* pZ =
            factory.MakeSurface(desc.dwWidth, desc.dwHeight, desc.ddpfPixelFormat, nCaps, 0);
        if (!pZ)
            return DDERR_OUTOFMEMORY;
        *ppOut = pZ;
        return DD_OK;
    }
    return CreatePlain(factory, desc, nCaps, bFormat ? desc.ddpfPixelFormat : display, ppOut);
}

HRESULT LoadSurfaceLevels(IDirectDrawSurface7* pDest, IDirectDrawSurface7* pSource)
{
    auto* pTo = dynamic_cast<CMemorySurface*>(pDest);
    auto* pFrom = dynamic_cast<CMemorySurface*>(pSource);
    if (!pTo || !pFrom)
        return DDERR_INVALIDPARAMS;
    for (; pTo && pFrom; pTo = pTo->GetNextLevel(), pFrom = pFrom->GetNextLevel())
        if (HRESULT hr = pTo->CopyFrom(pFrom); FAILED(hr))
            return hr;
    return S_OK;
}
