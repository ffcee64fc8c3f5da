#pragma once
// Test helpers for the display objects of a backend: surface descriptions,
// and a fixture that opens the application's 16-bit flip chain and a device
// on a DirectDraw object and lets go of all it made at the end of the test.
#include "platform/ddraw.h"
#include "platform/null_backend.h"
#include "tests/scratch_dir.h"

#include <vector>

// A texture: with nMips levels when nMips > 0, the given format and source
// colour key when not null, in system memory when bSystem.
inline DDSURFACEDESC2 TextureDesc(uint32_t w, uint32_t h, uint32_t nMips = 0,
                                  const DDPIXELFORMAT* pFormat = nullptr,
                                  const DDCOLORKEY* pKey = nullptr, bool bSystem = false)
{
    DDSURFACEDESC2 desc{};
    desc.dwFlags = DDSD_CAPS | DDSD_WIDTH | DDSD_HEIGHT;
    desc.dwWidth = w;
    desc.dwHeight = h;
    desc.ddsCaps.dwCaps = DDSCAPS_TEXTURE | (bSystem ? DDSCAPS_SYSTEMMEMORY : 0);
    if (nMips) {
        desc.dwFlags |= DDSD_MIPMAPCOUNT;
        desc.dwMipMapCount = nMips;
        desc.ddsCaps.dwCaps |= DDSCAPS_MIPMAP | DDSCAPS_COMPLEX;
    }
    if (pFormat) {
        desc.dwFlags |= DDSD_PIXELFORMAT;
        desc.ddpfPixelFormat = *pFormat;
    }
    if (pKey) {
        desc.dwFlags |= DDSD_CKSRCBLT;
        desc.ddckCKSrcBlt = *pKey;
    }
    return desc;
}

template <class T>
void ReleaseObject(T*& p)
{
    if (p)
        p->Release();
    p = nullptr;
}

class DisplayTest : public ScratchDirTest {
protected:
    void TearDown() override
    {
        for (IDirectDrawSurface7*& p : Textures)
            ReleaseObject(p);
        ReleaseObject(pDevice);
        ReleaseObject(pZ);
        ReleaseObject(pD3D);
        ReleaseObject(pBack);
        ReleaseObject(pPrimary);
        ReleaseObject(pDD);
        ScratchDirTest::TearDown();
    }

    // Full-screen exclusive mode at w x h in 16 bits, the flip chain and its
    // back surface, on pDD.
    void OpenDisplay(uint32_t w, uint32_t h)
    {
        ASSERT_EQ(pDD->SetCooperativeLevel(nullptr, 0x13), S_OK);
        ASSERT_EQ(pDD->SetDisplayMode(w, h, 16, 0, 0), S_OK);
        DDSURFACEDESC2 desc{};
        desc.dwFlags = DDSD_CAPS | DDSD_BACKBUFFERCOUNT;
        desc.dwBackBufferCount = 1;
        desc.ddsCaps.dwCaps =
            DDSCAPS_PRIMARYSURFACE | DDSCAPS_FLIP | DDSCAPS_COMPLEX | DDSCAPS_3DDEVICE;
        ASSERT_EQ(pDD->CreateSurface(&desc, &pPrimary, nullptr), S_OK);
        DDSCAPS2 caps{DDSCAPS_BACKBUFFER, 0, 0, 0};
        ASSERT_EQ(pPrimary->GetAttachedSurface(&caps, &pBack), S_OK);
    }

    // The device on the back surface, with a z-buffer of nDepth bits
    // attached first unless nDepth is 0.
    void OpenDevice(const GUID& device, uint32_t nDepth = 0, uint32_t nStencil = 0)
    {
        void* p = nullptr;
        ASSERT_EQ(pDD->QueryInterface(IID_IDirect3D7, &p), S_OK);
        pD3D = static_cast<IDirect3D7*>(p);
        if (nDepth) {
            DDSURFACEDESC2 back{};
            ASSERT_EQ(pBack->GetSurfaceDesc(&back), S_OK);
            DDSURFACEDESC2 desc{};
            desc.dwFlags = DDSD_CAPS | DDSD_WIDTH | DDSD_HEIGHT | DDSD_PIXELFORMAT;
            desc.dwWidth = back.dwWidth;
            desc.dwHeight = back.dwHeight;
            desc.ddpfPixelFormat = MakeZFormat(nDepth, nStencil);
            desc.ddsCaps.dwCaps = DDSCAPS_ZBUFFER | DDSCAPS_SYSTEMMEMORY;
            ASSERT_EQ(pDD->CreateSurface(&desc, &pZ, nullptr), S_OK);
            ASSERT_EQ(pBack->AddAttachedSurface(pZ), S_OK);
        }
        ASSERT_EQ(pD3D->CreateDevice(device, pBack, &pDevice), S_OK);
    }

    // A surface that the test lets go of at its end.
    IDirectDrawSurface7* MakeTexture(DDSURFACEDESC2 desc)
    {
        IDirectDrawSurface7* pTexture = nullptr;
        EXPECT_EQ(pDD->CreateSurface(&desc, &pTexture, nullptr), S_OK);
        Textures.push_back(pTexture);
        return pTexture;
    }

    static void Fill(IDirectDrawSurface7* pSurface, uint32_t nValue, RECT* pRect = nullptr)
    {
        DDBLTFX fx{};
        fx.dwFillColor = nValue;
        ASSERT_EQ(pSurface->Blt(pRect, nullptr, nullptr, DDBLT_COLORFILL, &fx), S_OK);
    }

    IDirectDraw7* pDD = nullptr;
    IDirectDrawSurface7* pPrimary = nullptr;
    IDirectDrawSurface7* pBack = nullptr;
    IDirectDrawSurface7* pZ = nullptr;
    IDirect3D7* pD3D = nullptr;
    IDirect3DDevice7* pDevice = nullptr;
    std::vector<IDirectDrawSurface7*> Textures;
};
