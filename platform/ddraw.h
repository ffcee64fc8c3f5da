#pragma once
// The display surfaces and the 3D device the core draws through: records and
// interfaces shaped like the DirectDraw 7 and Direct3D 7 ones, holding only
// the fields and operations the core uses. The objects come from the
// backend: CPU surfaces with a recording device in the null backend, an
// OpenGL framebuffer, textures and fixed-function state in the SDL backend.
// Objects are reference counted: Release frees at zero.
#include "platform/d3d_types.h"
#include "platform/gdi.h"
#include "platform/window_types.h"

#include <cstdint>

// ---- DirectDraw records ---------------------------------------------------

constexpr uint32_t DDPF_ALPHAPIXELS = 0x00000001;
constexpr uint32_t DDPF_FOURCC = 0x00000004;
constexpr uint32_t DDPF_RGB = 0x00000040;
constexpr uint32_t DDPF_ZBUFFER = 0x00000400;
constexpr uint32_t DDPF_STENCILBUFFER = 0x00004000;

// The union members of the original record stand side by side here; a
// z-buffer format uses the second group, a colour format the first.
struct DDPIXELFORMAT {
    uint32_t dwSize;
    uint32_t dwFlags;
    uint32_t dwFourCC;
    uint32_t dwRGBBitCount;
    uint32_t dwRBitMask;
    uint32_t dwGBitMask;
    uint32_t dwBBitMask;
    uint32_t dwRGBAlphaBitMask;
    uint32_t dwZBufferBitDepth;
    uint32_t dwStencilBitDepth;
    uint32_t dwZBitMask;
    uint32_t dwStencilBitMask;
};

struct DDCOLORKEY {
    uint32_t dwColorSpaceLowValue;
    uint32_t dwColorSpaceHighValue;
};

struct DDSCAPS2 {
    uint32_t dwCaps;
    uint32_t dwCaps2;
    uint32_t dwCaps3;
    uint32_t dwCaps4;
};

constexpr uint32_t DDSD_CAPS = 0x00000001;
constexpr uint32_t DDSD_HEIGHT = 0x00000002;
constexpr uint32_t DDSD_WIDTH = 0x00000004;
constexpr uint32_t DDSD_PITCH = 0x00000008;
constexpr uint32_t DDSD_BACKBUFFERCOUNT = 0x00000020;
constexpr uint32_t DDSD_LPSURFACE = 0x00000800;
constexpr uint32_t DDSD_PIXELFORMAT = 0x00001000;
constexpr uint32_t DDSD_CKSRCBLT = 0x00010000;
constexpr uint32_t DDSD_MIPMAPCOUNT = 0x00020000;
constexpr uint32_t DDSD_TEXTURESTAGE = 0x00100000;

constexpr uint32_t DDSCAPS_BACKBUFFER = 0x00000004;
constexpr uint32_t DDSCAPS_COMPLEX = 0x00000008;
constexpr uint32_t DDSCAPS_FLIP = 0x00000010;
constexpr uint32_t DDSCAPS_OFFSCREENPLAIN = 0x00000040;
constexpr uint32_t DDSCAPS_PRIMARYSURFACE = 0x00000200;
constexpr uint32_t DDSCAPS_SYSTEMMEMORY = 0x00000800;
constexpr uint32_t DDSCAPS_TEXTURE = 0x00001000;
constexpr uint32_t DDSCAPS_3DDEVICE = 0x00002000;
constexpr uint32_t DDSCAPS_VIDEOMEMORY = 0x00004000;
constexpr uint32_t DDSCAPS_ZBUFFER = 0x00020000;
constexpr uint32_t DDSCAPS_MIPMAP = 0x00400000;
constexpr uint32_t DDSCAPS2_TEXTUREMANAGE = 0x00000010;

struct DDSURFACEDESC2 {
    uint32_t dwSize;
    uint32_t dwFlags;
    uint32_t dwHeight;
    uint32_t dwWidth;
    int32_t lPitch;
    uint32_t dwBackBufferCount;
    uint32_t dwMipMapCount;
    void* lpSurface;
    DDCOLORKEY ddckCKSrcBlt;
    DDPIXELFORMAT ddpfPixelFormat;
    DDSCAPS2 ddsCaps;
    uint32_t dwTextureStage;
};

struct DDBLTFX {
    uint32_t dwSize;
    uint32_t dwFillColor;
    DDCOLORKEY ddckSrcColorkey;
};

constexpr uint32_t DDBLT_COLORFILL = 0x00000400;
constexpr uint32_t DDBLT_KEYSRCOVERRIDE = 0x00010000;
constexpr uint32_t DDBLT_WAIT = 0x01000000;
constexpr uint32_t DDFLIP_WAIT = 0x00000001;
constexpr uint32_t DDLOCK_WAIT = 0x00000001;
constexpr uint32_t DDSCL_FULLSCREEN = 0x00000001;
constexpr uint32_t DDSCL_ALLOWREBOOT = 0x00000002;
constexpr uint32_t DDSCL_NORMAL = 0x00000008;
constexpr uint32_t DDSCL_EXCLUSIVE = 0x00000010;

// Results of surface creation the core names in its messages.
constexpr HRESULT DDERR_INVALIDOBJECT = static_cast<HRESULT>(0x88760082u);
constexpr HRESULT DDERR_INVALIDPARAMS = static_cast<HRESULT>(0x80070057u);
constexpr HRESULT DDERR_OUTOFVIDEOMEMORY = static_cast<HRESULT>(0x8876017Cu);
constexpr HRESULT DDERR_NODIRECTDRAWHW = static_cast<HRESULT>(0x88760233u);
constexpr HRESULT DDERR_NOCOOPERATIVELEVELSET = static_cast<HRESULT>(0x887600D4u);
constexpr HRESULT DDERR_INVALIDCAPS = static_cast<HRESULT>(0x88760064u);
constexpr HRESULT DDERR_INVALIDPIXELFORMAT = static_cast<HRESULT>(0x88760091u);
constexpr HRESULT DDERR_NOALPHAHW = static_cast<HRESULT>(0x887600B4u);
constexpr HRESULT DDERR_NOFLIPHW = static_cast<HRESULT>(0x887600E6u);
constexpr HRESULT DDERR_NOZBUFFERHW = static_cast<HRESULT>(0x88760154u);
constexpr HRESULT DDERR_NOEXCLUSIVEMODE = static_cast<HRESULT>(0x887600E1u);
constexpr HRESULT DDERR_OUTOFMEMORY = static_cast<HRESULT>(0x8007000Eu);
constexpr HRESULT DDERR_PRIMARYSURFACEALREADYEXISTS = static_cast<HRESULT>(0x88760234u);
constexpr HRESULT DDERR_NOEMULATION = static_cast<HRESULT>(0x88760235u);
constexpr HRESULT DDERR_INCOMPATIBLEPRIMARY = static_cast<HRESULT>(0x8876005Fu);
constexpr HRESULT DDERR_SURFACELOST = static_cast<HRESULT>(0x887601C2u);
constexpr HRESULT DDERR_NOTFOUND = static_cast<HRESULT>(0x887600FFu);

class IDirectDrawSurface7 {
public:
    virtual uint32_t AddRef() = 0;
    virtual uint32_t Release() = 0;
    // Colour fill (DDBLT_COLORFILL, fx->dwFillColor in the surface's format)
    // or a copy from source, stretched when the rectangles differ; null
    // rectangles mean the whole surface.
    virtual HRESULT Blt(RECT* pDest, IDirectDrawSurface7* pSource, RECT* pSourceRect,
                        uint32_t nFlags, DDBLTFX* pFx) = 0;
    // Presents the back surface of a flip chain (call on the primary).
    virtual HRESULT Flip(IDirectDrawSurface7* pTarget, uint32_t nFlags) = 0;
    // The back surface of a flip chain (DDSCAPS_BACKBUFFER) or the next mip
    // level (DDSCAPS_MIPMAP); a new reference. DDERR_NOTFOUND when none.
    virtual HRESULT GetAttachedSurface(DDSCAPS2* pCaps, IDirectDrawSurface7** ppOut) = 0;
    // Attaches a z-buffer to a back surface.
    virtual HRESULT AddAttachedSurface(IDirectDrawSurface7* pAttach) = 0;
    // A drawing context over the pixels; the surface is locked until ReleaseDC.
    virtual HRESULT GetDC(HDC* pOut) = 0;
    virtual HRESULT ReleaseDC(HDC hdc) = 0;
    // Fills size, pitch, pixel pointer and pixel format of the whole surface.
    virtual HRESULT Lock(RECT* pRect, DDSURFACEDESC2* pDesc, uint32_t nFlags, void* hEvent) = 0;
    virtual HRESULT Unlock(RECT* pRect) = 0;
    virtual HRESULT GetPixelFormat(DDPIXELFORMAT* pOut) = 0;
    virtual HRESULT GetSurfaceDesc(DDSURFACEDESC2* pOut) = 0;

protected:
    virtual ~IDirectDrawSurface7() = default;
};

class IDirect3D7;

class IDirectDraw7 {
public:
    virtual uint32_t AddRef() = 0;
    virtual uint32_t Release() = 0;
    // Gives the 3D object for IID_IDirect3D7.
    virtual HRESULT QueryInterface(const GUID& iid, void** ppOut) = 0;
    virtual HRESULT SetCooperativeLevel(HWND hWnd, uint32_t nFlags) = 0;
    virtual HRESULT SetDisplayMode(uint32_t nWidth, uint32_t nHeight, uint32_t nBits,
                                   uint32_t nRefresh, uint32_t nFlags) = 0;
    // A primary with its back surface (DDSCAPS_PRIMARYSURFACE|FLIP|COMPLEX),
    // an off-screen plain surface, a texture (in system memory with
    // DDSCAPS_SYSTEMMEMORY, else a device texture), with mip levels
    // (DDSD_MIPMAPCOUNT), or a z-buffer. A surface without DDSD_PIXELFORMAT
    // has the display's format.
    virtual HRESULT CreateSurface(DDSURFACEDESC2* pDesc, IDirectDrawSurface7** ppOut,
                                  void* pOuter) = 0;

protected:
    virtual ~IDirectDraw7() = default;
};

HRESULT DirectDrawCreateEx(GUID* pDriver, void** ppOut, const GUID& iid, void* pOuter);

// ---- Direct3D records -----------------------------------------------------

extern const GUID IID_IDirectDraw7;
extern const GUID IID_IDirect3D7;
extern const GUID IID_IDirect3DRefDevice;
extern const GUID IID_IDirect3DRGBDevice;
extern const GUID IID_IDirect3DHALDevice;
extern const GUID IID_IDirect3DTnLHalDevice;

constexpr uint32_t D3DPTFILTERCAPS_MIPNEAREST = 0x00000004;
constexpr uint32_t D3DPTFILTERCAPS_MIPLINEAR = 0x00000008;

struct D3DPRIMCAPS {
    uint32_t dwSize;
    uint32_t dwTextureFilterCaps;
};

struct D3DDEVICEDESC7 {
    uint32_t dwDevCaps;
    D3DPRIMCAPS dpcLineCaps;
    D3DPRIMCAPS dpcTriCaps;
    uint32_t dwMaxTextureWidth;
    uint32_t dwMaxTextureHeight;
    GUID deviceGUID;
    char szDescription[64];
};

constexpr HRESULT D3DENUMRET_CANCEL = 0;
constexpr HRESULT D3DENUMRET_OK = 1;

using LPD3DENUMDEVICESCALLBACK7 = HRESULT (*)(char* pszDescription, char* pszName,
                                              D3DDEVICEDESC7* pDesc, void* pContext);
using LPD3DENUMPIXELFORMATSCALLBACK = HRESULT (*)(DDPIXELFORMAT* pFormat, void* pContext);

constexpr uint32_t D3DPT_TRIANGLEFAN = 6;
constexpr uint32_t D3DCLEAR_TARGET = 0x1;
constexpr uint32_t D3DCLEAR_ZBUFFER = 0x2;

enum D3DTRANSFORMSTATETYPE : uint32_t {
    D3DTRANSFORMSTATE_WORLD = 1,
    D3DTRANSFORMSTATE_VIEW = 2,
    D3DTRANSFORMSTATE_PROJECTION = 3,
};

// Render states the device knows; others are recorded and accepted.
constexpr uint32_t D3DRENDERSTATE_FILLMODE = 8;
constexpr uint32_t D3DRENDERSTATE_CULLMODE = 22;
constexpr uint32_t D3DRENDERSTATE_ZFUNC = 23;
constexpr uint32_t D3DRENDERSTATE_COLORKEYENABLE = 41;
constexpr uint32_t D3DRENDERSTATE_TEXTUREFACTOR = 60;
constexpr uint32_t D3DRENDERSTATE_LIGHTING = 137;
constexpr uint32_t D3DCULL_NONE = 1;
constexpr uint32_t D3DCULL_CW = 2;
constexpr uint32_t D3DCULL_CCW = 3;
constexpr uint32_t D3DFILL_POINT = 1;
constexpr uint32_t D3DFILL_WIREFRAME = 2;
constexpr uint32_t D3DFILL_SOLID = 3;
constexpr uint32_t D3DCMP_LESSEQUAL = 4;

// Texture stage states and values.
constexpr uint32_t D3DTSS_COLOROP = 1;
constexpr uint32_t D3DTSS_COLORARG1 = 2;
constexpr uint32_t D3DTSS_COLORARG2 = 3;
constexpr uint32_t D3DTSS_TEXCOORDINDEX = 11;
constexpr uint32_t D3DTSS_ADDRESS = 12;
constexpr uint32_t D3DTSS_MAGFILTER = 16;
constexpr uint32_t D3DTSS_MINFILTER = 17;
constexpr uint32_t D3DTSS_MIPFILTER = 18;
constexpr uint32_t D3DTSS_MAXANISOTROPY = 21;
constexpr uint32_t D3DTA_DIFFUSE = 0;
constexpr uint32_t D3DTA_CURRENT = 1;
constexpr uint32_t D3DTA_TEXTURE = 2;
constexpr uint32_t D3DTA_TFACTOR = 3;
constexpr uint32_t D3DTOP_DISABLE = 1;
constexpr uint32_t D3DTOP_SELECTARG1 = 2;
constexpr uint32_t D3DTOP_SELECTARG2 = 3;
constexpr uint32_t D3DTOP_MODULATE = 4;
constexpr uint32_t D3DTADDRESS_WRAP = 1;
constexpr uint32_t D3DTADDRESS_CLAMP = 3;
constexpr uint32_t D3DTFG_POINT = 1;
constexpr uint32_t D3DTFG_LINEAR = 2;
constexpr uint32_t D3DTFG_FLATCUBIC = 3;
constexpr uint32_t D3DTFN_ANISOTROPIC = 3;
constexpr uint32_t D3DTFP_NONE = 1;
constexpr uint32_t D3DTFP_POINT = 2;
constexpr uint32_t D3DTFP_LINEAR = 3;

struct D3DVIEWPORT7 {
    uint32_t dwX;
    uint32_t dwY;
    uint32_t dwWidth;
    uint32_t dwHeight;
    float dvMinZ;
    float dvMaxZ;
};

// Sixteen floats, row by row; a point is a row vector multiplied from the left.
struct D3DMATRIX {
    float m[16];
};

class IDirect3DDevice7 {
public:
    virtual uint32_t AddRef() = 0;
    virtual uint32_t Release() = 0;
    virtual HRESULT GetCaps(D3DDEVICEDESC7* pOut) = 0;
    virtual HRESULT EnumTextureFormats(LPD3DENUMPIXELFORMATSCALLBACK pCallback,
                                       void* pContext) = 0;
    virtual HRESULT BeginScene() = 0;
    virtual HRESULT EndScene() = 0;
    virtual HRESULT SetRenderState(uint32_t nState, uint32_t nValue) = 0;
    virtual HRESULT SetTextureStageState(uint32_t nStage, uint32_t nState, uint32_t nValue) = 0;
    virtual HRESULT SetTexture(uint32_t nStage, IDirectDrawSurface7* pTexture) = 0;
    virtual HRESULT SetMaterial(D3DMATERIAL7* pMaterial) = 0;
    virtual HRESULT GetMaterial(D3DMATERIAL7* pOut) = 0;
    virtual HRESULT SetLight(uint32_t nIndex, D3DLIGHT7* pLight) = 0;
    virtual HRESULT GetLight(uint32_t nIndex, D3DLIGHT7* pOut) = 0;
    virtual HRESULT LightEnable(uint32_t nIndex, bool bEnable) = 0;
    virtual HRESULT SetTransform(D3DTRANSFORMSTATETYPE nType, D3DMATRIX* pMatrix) = 0;
    virtual HRESULT SetViewport(D3DVIEWPORT7* pViewport) = 0;
    // Only D3DCLEAR_ZBUFFER and D3DCLEAR_TARGET are known.
    virtual HRESULT Clear(uint32_t nRects, const RECT* pRects, uint32_t nFlags, uint32_t nColour,
                          float fZ, uint32_t nStencil) = 0;
    // Triangle fans of FVF_WORLD_VERTEX, FVF_SCREEN_VERTEX or FVF_NORMAL_VERTEX.
    virtual HRESULT DrawPrimitive(uint32_t nType, uint32_t nFvf, void* pVertices,
                                  uint32_t nCount, uint32_t nFlags) = 0;
    // Copies the source texture's levels into the destination's.
    virtual HRESULT Load(IDirectDrawSurface7* pDest, POINT* pDestPoint,
                         IDirectDrawSurface7* pSource, RECT* pSourceRect, uint32_t nFlags) = 0;

protected:
    virtual ~IDirect3DDevice7() = default;
};

class IDirect3D7 {
public:
    virtual uint32_t AddRef() = 0;
    virtual uint32_t Release() = 0;
    virtual HRESULT EnumDevices(LPD3DENUMDEVICESCALLBACK7 pCallback, void* pContext) = 0;
    virtual HRESULT EnumZBufferFormats(const GUID& device, LPD3DENUMPIXELFORMATSCALLBACK pCallback,
                                       void* pContext) = 0;
    // A device rendering into the surface (the back surface of the chain).
    virtual HRESULT CreateDevice(const GUID& device, IDirectDrawSurface7* pTarget,
                                 IDirect3DDevice7** ppOut) = 0;

protected:
    virtual ~IDirect3D7() = default;
};
