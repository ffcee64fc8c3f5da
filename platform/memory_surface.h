#pragma once
// CMemorySurface: a display surface whose pixels live in CPU memory, top row
// first, rows padded to 4 bytes. Both backends build on it: the null backend
// uses it as it is (plus a call log), the OpenGL backend derives its back
// surface (a framebuffer object with a CPU shadow) and its textures from it.
//
// Complex surfaces follow the DirectDraw rule: the back surface of a flip
// chain and the lower mip levels belong to the surface they hang from. Their
// own reference counts move, but they are destroyed with their owner, never
// on their own. An explicitly attached z-buffer is a counted reference.
#include "platform/ddraw.h"

#include <cstdint>
#include <vector>

class CMemorySurface : public IDirectDrawSurface7 {
public:
    // A surface of the given size and format, reference count 1. nCaps are
    // DDSCAPS_ flags; a z-buffer (DDSCAPS_ZBUFFER) gets no CPU pixels.
    CMemorySurface(uint32_t nWidth, uint32_t nHeight, const DDPIXELFORMAT& format,
                   uint32_t nCaps);
    CMemorySurface(const CMemorySurface&) = delete;
    CMemorySurface& operator=(const CMemorySurface&) = delete;

    uint32_t AddRef() override;
    uint32_t Release() override;
    HRESULT Blt(RECT* pDest, IDirectDrawSurface7* pSource, RECT* pSourceRect, uint32_t nFlags,
                DDBLTFX* pFx) override;
    // Succeeds on a surface with a back surface; the picture stays where it
    // is (there is nothing to show it on).
    HRESULT Flip(IDirectDrawSurface7* pTarget, uint32_t nFlags) override;
    HRESULT GetAttachedSurface(DDSCAPS2* pCaps, IDirectDrawSurface7** ppOut) override;
    // Attaches a z-buffer, replacing one attached before.
    HRESULT AddAttachedSurface(IDirectDrawSurface7* pAttach) override;
    HRESULT GetDC(HDC* pOut) override;
    HRESULT ReleaseDC(HDC hdc) override;
    // A rectangle moves lpSurface to its top-left pixel. Locking does not
    // stop GetDC: the texture code draws on a locked level.
    HRESULT Lock(RECT* pRect, DDSURFACEDESC2* pDesc, uint32_t nFlags, void* hEvent) override;
    HRESULT Unlock(RECT* pRect) override;
    HRESULT GetPixelFormat(DDPIXELFORMAT* pOut) override;
    HRESULT GetSurfaceDesc(DDSURFACEDESC2* pOut) override;

    // Hangs an owned back surface or next mip level on this one; takes over
    // the caller's reference.
    void SetBackSurface(CMemorySurface* pBack);
    void SetNextLevel(CMemorySurface* pLevel);
    CMemorySurface* GetBackSurface() const { return pBack; }
    CMemorySurface* GetNextLevel() const { return pNextLevel; }
    CMemorySurface* GetZBuffer() const { return pZBuffer; }
    // Levels from this one down, this one included.
    uint32_t CountLevels() const;

    uint32_t GetWidth() const { return nWidth; }
    uint32_t GetHeight() const { return nHeight; }
    uint32_t GetPitch() const { return nPitch; }
    uint32_t GetBytesPerPixel() const { return nBytes; }
    uint32_t GetCaps() const { return nCaps; }
    uint32_t GetRefCount() const { return nRefs; }
    const DDPIXELFORMAT& GetFormat() const { return Format; }
    // The CPU pixels as they stand, without bringing them up to date.
    uint8_t* GetPixels() { return Pixels.empty() ? nullptr : Pixels.data(); }
    const uint8_t* GetPixels() const { return Pixels.empty() ? nullptr : Pixels.data(); }

    // The source colour key (DDSD_CKSRCBLT): pixels of this raw value are
    // transparent when the surface is used as a texture.
    void SetColorKey(uint32_t nKey);
    bool HasColorKey() const { return bColorKey; }
    uint32_t GetColorKey() const { return nColorKey; }

    // Moves on with every CPU write, so that a copy elsewhere (a GL texture)
    // knows it is stale.
    uint64_t GetContentVersion() const { return nContentVersion; }

    // Raw pixel value at (x, y); the caller keeps inside the surface.
    uint32_t ReadPixel(uint32_t x, uint32_t y) const;
    void WritePixel(uint32_t x, uint32_t y, uint32_t nValue);

    // Whole-surface copy with format conversion and stretching, for Load.
    HRESULT CopyFrom(CMemorySurface* pSource);
    // Makes the CPU pixels current (a GPU-backed surface reads back here).
    void SyncToCpu() { BeforeCpuAccess(); }

protected:
    ~CMemorySurface() override;

    // Before the CPU pixels are read or written.
    virtual void BeforeCpuAccess() {}
    // After the CPU pixels were written; the base moves the content version
    // on, overrides call it.
    virtual void AfterCpuWrite() { ++nContentVersion; }
    // The fill of the whole surface or a rectangle of it, already clipped.
    virtual void FillRect(const RECT& rect, uint32_t nValue);

private:
    void Destroy();
    HRESULT CopyRect(const RECT& dest, CMemorySurface* pSource, const RECT& source,
                     bool bKeyed, uint32_t nKey);

    uint32_t nWidth;
    uint32_t nHeight;
    uint32_t nBytes;
    uint32_t nPitch;
    uint32_t nCaps;
    DDPIXELFORMAT Format;
    std::vector<uint8_t> Pixels;
    uint32_t nRefs = 1;
    bool bOwned = false; // an implicit part of another surface's chain
    CMemorySurface* pBack = nullptr;
    CMemorySurface* pNextLevel = nullptr;
    CMemorySurface* pZBuffer = nullptr;
    HDC hDC = nullptr;
    uint32_t nLocks = 0;
    bool bColorKey = false;
    uint32_t nColorKey = 0;
    uint64_t nContentVersion = 0;
};

// ---- Pixel formats --------------------------------------------------------

// The display format of both backends: 16-bit 5-6-5.
DDPIXELFORMAT DisplayPixelFormat();
// 8-bit channels of a raw pixel; a format without alpha gives alpha 255.
struct CRgba8 {
    uint8_t r, g, b, a;
};
CRgba8 UnpackPixel(uint32_t nValue, const DDPIXELFORMAT& format);
uint32_t PackPixel(CRgba8 colour, const DDPIXELFORMAT& format);
// Bytes a pixel: dwRGBBitCount / 8.
uint32_t PixelBytes(const DDPIXELFORMAT& format);
bool SameRGBFormat(const DDPIXELFORMAT& a, const DDPIXELFORMAT& b);

// Sizes of the level below one of nSize: the integer half, at least 1.
inline uint32_t HalfSize(uint32_t nSize) { return nSize > 1 ? nSize / 2 : 1; }

// The surfaces a CreateSurface call asks for: a flip chain, a z-buffer, or
// a plain surface with its mip levels. The backend supplies how one surface
// is made; this makes the chain. Results as CreateSurface gives them.
class CSurfaceFactory {
public:
    virtual ~CSurfaceFactory() = default;
    virtual CMemorySurface* MakeSurface(uint32_t nWidth, uint32_t nHeight,
                                        const DDPIXELFORMAT& format, uint32_t nCaps,
                                        uint32_t nLevel) = 0;
};
// nDisplayWidth/Height size the flip chain; display is the format used when
// the description has none.
HRESULT CreateSurfaceChain(CSurfaceFactory& factory, const DDSURFACEDESC2& desc,
                           uint32_t nDisplayWidth, uint32_t nDisplayHeight,
                           const DDPIXELFORMAT& display, CMemorySurface** ppOut);

// The device's Load: copies every level of the source's mip chain into the
// destination's, level by level, as far as both chains go.
HRESULT LoadSurfaceLevels(IDirectDrawSurface7* pDest, IDirectDrawSurface7* pSource);
