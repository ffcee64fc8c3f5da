// CPU surfaces: pixel formats, fills, converting and stretching copies,
// locks and device contexts, flip and mip chains, reference counts.
#include "platform/gdi.h"
#include "platform/memory_surface.h"
#include "platform/null_backend.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

const DDPIXELFORMAT RGB565 = MakeRGBFormat(16, 5, 6, 5, 0);
const DDPIXELFORMAT ARGB1555 = MakeRGBFormat(16, 5, 5, 5, 1);
const DDPIXELFORMAT ARGB4444 = MakeRGBFormat(16, 4, 4, 4, 4);
const DDPIXELFORMAT ARGB8888 = MakeRGBFormat(32, 8, 8, 8, 8);
const DDPIXELFORMAT RGB888 = MakeRGBFormat(24, 8, 8, 8, 0);

// Releases the surface at the end of a test; ASan reports what stays.
struct CSurfaceRef {
    CMemorySurface* p;
    explicit CSurfaceRef(CMemorySurface* pSurface) : p(pSurface) {}
    ~CSurfaceRef()
    {
        if (p)
            p->Release();
    }
    CMemorySurface* operator->() const { return p; }
};

CMemorySurface* MakeSurface(uint32_t w, uint32_t h, const DDPIXELFORMAT& format,
                            uint32_t nCaps = DDSCAPS_OFFSCREENPLAIN)
{
    return new CMemorySurface(w, h, format, nCaps);
}

// Counts the hook calls a GPU-backed surface would act on.
class CCountingSurface : public CMemorySurface {
public:
    using CMemorySurface::CMemorySurface;
    int nSyncs = 0;
    int nWrites = 0;

protected:
    void BeforeCpuAccess() override { ++nSyncs; }
    void AfterCpuWrite() override
    {
        ++nWrites;
        CMemorySurface::AfterCpuWrite();
    }
};

class CPlainFactory : public CSurfaceFactory {
public:
    CMemorySurface* MakeSurface(uint32_t w, uint32_t h, const DDPIXELFORMAT& format,
                                uint32_t nCaps, uint32_t) override
    {
        ++nMade;
        return new CMemorySurface(w, h, format, nCaps);
    }
    int nMade = 0;
};

DDSURFACEDESC2 TextureDesc(uint32_t w, uint32_t h, uint32_t nMips)
{
    DDSURFACEDESC2 desc{};
    desc.dwFlags = DDSD_CAPS | DDSD_WIDTH | DDSD_HEIGHT;
    desc.dwWidth = w;
    desc.dwHeight = h;
    desc.ddsCaps.dwCaps = DDSCAPS_TEXTURE | DDSCAPS_SYSTEMMEMORY;
    if (nMips) {
        desc.dwFlags |= DDSD_MIPMAPCOUNT;
        desc.dwMipMapCount = nMips;
        desc.ddsCaps.dwCaps |= DDSCAPS_MIPMAP | DDSCAPS_COMPLEX;
    }
    return desc;
}

} // namespace

TEST(PixelFormat, ChannelsWidenToFullBytesAndNarrowBack)
{
    CRgba8 white = UnpackPixel(0xFFFF, RGB565);
    EXPECT_EQ(white.r, 255);
    EXPECT_EQ(white.g, 255);
    EXPECT_EQ(white.b, 255);
    EXPECT_EQ(white.a, 255); // no alpha channel reads as opaque
    CRgba8 red = UnpackPixel(0xF800, RGB565);
    EXPECT_EQ(red.r, 255);
    EXPECT_EQ(red.g, 0);
    EXPECT_EQ(red.b, 0);
    // Every 5-6-5 value survives a trip through 8-bit channels.
    for (uint32_t v = 0; v < 0x10000; ++v)
        ASSERT_EQ(PackPixel(UnpackPixel(v, RGB565), RGB565), v) << v;
    // Narrowing drops low bits: 0x7F in 5 bits is 15, in 6 bits 31.
    EXPECT_EQ(PackPixel({0x7F, 0x7F, 0x7F, 255}, RGB565), (15u << 11) | (31u << 5) | 15u);
}

TEST(PixelFormat, AlphaFormatsCarryAlpha)
{
    EXPECT_EQ(ARGB1555.dwRGBAlphaBitMask, 0x8000u);
    EXPECT_EQ(PackPixel({255, 0, 0, 0}, ARGB1555), 0x7C00u);
    EXPECT_EQ(PackPixel({0, 0, 255, 255}, ARGB1555), 0x801Fu);
    EXPECT_EQ(PackPixel({0x10, 0x20, 0x30, 0x40}, ARGB4444), 0x4123u);
    CRgba8 c = UnpackPixel(0x8A123456u, ARGB8888);
    EXPECT_EQ(c.a, 0x8A);
    EXPECT_EQ(c.r, 0x12);
    EXPECT_EQ(c.g, 0x34);
    EXPECT_EQ(c.b, 0x56);
    // Widening rounds to the nearest 8-bit value: 4-bit 3 is 51, 5-bit 3 is 25.
    EXPECT_EQ(UnpackPixel(0x3000, ARGB4444).a, 0x33);
    EXPECT_EQ(UnpackPixel(3u << 11, RGB565).r, 25); // 3 * 255 / 31 = 24.7
}

TEST(MemorySurface, RowsArePaddedToFourBytes)
{
    CSurfaceRef a(MakeSurface(3, 2, RGB565));
    EXPECT_EQ(a->GetPitch(), 8u);
    CSurfaceRef b(MakeSurface(3, 2, RGB888));
    EXPECT_EQ(b->GetPitch(), 12u);
    CSurfaceRef c(MakeSurface(5, 1, ARGB8888));
    EXPECT_EQ(c->GetPitch(), 20u);
    CSurfaceRef z(new CMemorySurface(8, 8, MakeZFormat(24, 8), DDSCAPS_ZBUFFER));
    EXPECT_EQ(z->GetPixels(), nullptr);
}

TEST(MemorySurface, ColourFillWritesRawValueInsideClippedRect)
{
    CSurfaceRef s(MakeSurface(4, 3, RGB565));
    DDBLTFX fx{};
    fx.dwFillColor = 0x1234;
    ASSERT_EQ(s->Blt(nullptr, nullptr, nullptr, DDBLT_COLORFILL | DDBLT_WAIT, &fx), DD_OK);
    for (uint32_t y = 0; y < 3; ++y)
        for (uint32_t x = 0; x < 4; ++x)
            EXPECT_EQ(s->ReadPixel(x, y), 0x1234u);
    // A rectangle reaching past the right and bottom edges is clipped.
    RECT rect{2, 1, 9, 9};
    fx.dwFillColor = 0xABCDEF; // only the low two bytes fit a 16-bit pixel
    ASSERT_EQ(s->Blt(&rect, nullptr, nullptr, DDBLT_COLORFILL, &fx), DD_OK);
    EXPECT_EQ(s->ReadPixel(1, 1), 0x1234u);
    EXPECT_EQ(s->ReadPixel(2, 1), 0xCDEFu);
    EXPECT_EQ(s->ReadPixel(3, 2), 0xCDEFu);
    EXPECT_EQ(s->ReadPixel(3, 0), 0x1234u);
}

TEST(MemorySurface, CopyConvertsFormats)
{
    CSurfaceRef source(MakeSurface(2, 1, ARGB8888));
    source->WritePixel(0, 0, 0xFFFF0000u); // red
    source->WritePixel(1, 0, 0x80FFFFFFu); // half-transparent white
    CSurfaceRef dest(MakeSurface(2, 1, RGB565));
    ASSERT_EQ(dest->Blt(nullptr, source.p, nullptr, DDBLT_WAIT, nullptr), DD_OK);
    EXPECT_EQ(dest->ReadPixel(0, 0), 0xF800u);
    EXPECT_EQ(dest->ReadPixel(1, 0), 0xFFFFu);
    CSurfaceRef keyed(MakeSurface(2, 1, ARGB1555));
    ASSERT_EQ(keyed->Blt(nullptr, source.p, nullptr, 0, nullptr), DD_OK);
    EXPECT_EQ(keyed->ReadPixel(0, 0), 0xFC00u); // red, alpha bit set
    EXPECT_EQ(keyed->ReadPixel(1, 0), 0xFFFFu); // alpha 0x80 keeps the bit
    // Back to 32 bits: 5-6-5 white widens to full bytes, alpha opaque.
    CSurfaceRef wide(MakeSurface(2, 1, ARGB8888));
    ASSERT_EQ(wide->Blt(nullptr, dest.p, nullptr, 0, nullptr), DD_OK);
    EXPECT_EQ(wide->ReadPixel(1, 0), 0xFFFFFFFFu);
    EXPECT_EQ(wide->ReadPixel(0, 0), 0xFFFF0000u);
}

TEST(MemorySurface, CopyStretchesNearestPixel)
{
    CSurfaceRef source(MakeSurface(2, 2, RGB565));
    source->WritePixel(0, 0, 1);
    source->WritePixel(1, 0, 2);
    source->WritePixel(0, 1, 3);
    source->WritePixel(1, 1, 4);
    CSurfaceRef big(MakeSurface(4, 4, RGB565));
    ASSERT_EQ(big->Blt(nullptr, source.p, nullptr, 0, nullptr), DD_OK);
    const uint32_t expected[4][4] = {{1, 1, 2, 2}, {1, 1, 2, 2}, {3, 3, 4, 4}, {3, 3, 4, 4}};
    for (uint32_t y = 0; y < 4; ++y)
        for (uint32_t x = 0; x < 4; ++x)
            EXPECT_EQ(big->ReadPixel(x, y), expected[y][x]) << x << "," << y;
    // Shrinking 4x4 to 2x2 takes every other pixel from the top-left.
    big->WritePixel(2, 2, 9);
    CSurfaceRef small(MakeSurface(2, 2, RGB565));
    ASSERT_EQ(small->Blt(nullptr, big.p, nullptr, 0, nullptr), DD_OK);
    EXPECT_EQ(small->ReadPixel(0, 0), 1u);
    EXPECT_EQ(small->ReadPixel(1, 1), 9u);
}

TEST(MemorySurface, CopyRectanglesAreClippedOnBothSides)
{
    CSurfaceRef source(MakeSurface(4, 1, RGB565));
    for (uint32_t x = 0; x < 4; ++x)
        source->WritePixel(x, 0, 10 + x);
    CSurfaceRef dest(MakeSurface(3, 2, RGB565));
    RECT from{1, 0, 3, 1}; // pixels 11, 12
    RECT to{2, 1, 4, 2};   // the second pixel falls off the right edge
    ASSERT_EQ(dest->Blt(&to, source.p, &from, 0, nullptr), DD_OK);
    EXPECT_EQ(dest->ReadPixel(2, 1), 11u);
    EXPECT_EQ(dest->ReadPixel(1, 1), 0u);
    EXPECT_EQ(dest->ReadPixel(2, 0), 0u);
    // A source rectangle past the source's edge copies only what exists.
    RECT past{3, 0, 5, 1};
    RECT left{0, 0, 2, 1};
    ASSERT_EQ(dest->Blt(&left, source.p, &past, 0, nullptr), DD_OK);
    EXPECT_EQ(dest->ReadPixel(0, 0), 13u);
    EXPECT_EQ(dest->ReadPixel(1, 0), 0u);
    RECT reversed{2, 0, 1, 1};
    EXPECT_EQ(dest->Blt(&reversed, source.p, nullptr, 0, nullptr), DDERR_INVALIDPARAMS);
    // The source key override leaves keyed pixels of the destination alone.
    DDBLTFX fx{};
    fx.ddckSrcColorkey = {12, 12};
    RECT three{0, 1, 3, 2};
    RECT first{0, 0, 3, 1};
    ASSERT_EQ(dest->Blt(&three, source.p, &first, DDBLT_KEYSRCOVERRIDE, &fx), DD_OK);
    EXPECT_EQ(dest->ReadPixel(0, 1), 10u);
    EXPECT_EQ(dest->ReadPixel(1, 1), 11u);
    EXPECT_EQ(dest->ReadPixel(2, 1), 11u); // 12 was the key
}

TEST(MemorySurface, LockDescribesTheSurface)
{
    CSurfaceRef s(MakeSurface(5, 3, RGB565));
    DDSURFACEDESC2 desc{};
    desc.dwFlags = DDSD_PIXELFORMAT;
    ASSERT_EQ(s->Lock(nullptr, &desc, DDLOCK_WAIT, nullptr), DD_OK);
    EXPECT_EQ(desc.dwWidth, 5u);
    EXPECT_EQ(desc.dwHeight, 3u);
    EXPECT_EQ(desc.lPitch, 12);
    EXPECT_EQ(desc.lpSurface, s->GetPixels());
    EXPECT_EQ(desc.ddpfPixelFormat.dwRGBBitCount, 16u);
    EXPECT_EQ(desc.ddpfPixelFormat.dwRBitMask, 0xF800u);
    const uint32_t nNeeded = DDSD_WIDTH | DDSD_HEIGHT | DDSD_PITCH | DDSD_LPSURFACE |
                             DDSD_PIXELFORMAT;
    EXPECT_EQ(desc.dwFlags & nNeeded, nNeeded);
    static_cast<uint16_t*>(desc.lpSurface)[6 + 2] = 0x5555; // row 1, x 2
    ASSERT_EQ(s->Unlock(nullptr), DD_OK);
    EXPECT_EQ(s->ReadPixel(2, 1), 0x5555u);
    RECT rect{2, 1, 4, 3};
    ASSERT_EQ(s->Lock(&rect, &desc, 0, nullptr), DD_OK);
    EXPECT_EQ(*static_cast<uint16_t*>(desc.lpSurface), 0x5555);
    s->Unlock(&rect);
    RECT outside{4, 0, 6, 1};
    EXPECT_EQ(s->Lock(&outside, &desc, 0, nullptr), DDERR_INVALIDPARAMS);
}

TEST(MemorySurface, DrawingThroughTheDeviceContextLandsInThePixels)
{
    CSurfaceRef s(MakeSurface(8, 4, RGB565));
    HDC hdc = nullptr;
    ASSERT_EQ(s->GetDC(&hdc), DD_OK);
    ASSERT_NE(hdc, nullptr);
    HDC hSecond = nullptr;
    EXPECT_TRUE(FAILED(s->GetDC(&hSecond))); // one context at a time
    SetPixel(hdc, 3, 2, RGB(255, 0, 0));
    SetPixel(hdc, 0, 0, RGB(0, 0, 255));
    EXPECT_EQ(GetPixel(hdc, 3, 2), RGB(255, 0, 0));
    uint64_t nBefore = s->GetContentVersion();
    ASSERT_EQ(s->ReleaseDC(hdc), DD_OK);
    EXPECT_GT(s->GetContentVersion(), nBefore);
    EXPECT_EQ(s->ReadPixel(3, 2), 0xF800u);
    EXPECT_EQ(s->ReadPixel(0, 0), 0x001Fu);
    EXPECT_EQ(s->ReleaseDC(hdc), DDERR_INVALIDPARAMS); // already given back
    // The texture code draws on a level it holds locked.
    DDSURFACEDESC2 desc{};
    ASSERT_EQ(s->Lock(nullptr, &desc, DDLOCK_WAIT, nullptr), DD_OK);
    ASSERT_EQ(s->GetDC(&hdc), DD_OK);
    EXPECT_EQ(GetPixel(hdc, 3, 2), RGB(255, 0, 0));
    s->ReleaseDC(hdc);
    s->Unlock(nullptr);
}

TEST(MemorySurface, HooksRunAroundCpuAccess)
{
    auto* pRaw = new CCountingSurface(4, 4, RGB565, DDSCAPS_OFFSCREENPLAIN);
    CSurfaceRef s(pRaw);
    DDBLTFX fx{};
    // A whole fill replaces everything: no need to bring pixels up to date.
    s->Blt(nullptr, nullptr, nullptr, DDBLT_COLORFILL, &fx);
    EXPECT_EQ(pRaw->nSyncs, 0);
    EXPECT_EQ(pRaw->nWrites, 1);
    RECT part{0, 0, 2, 2};
    s->Blt(&part, nullptr, nullptr, DDBLT_COLORFILL, &fx);
    EXPECT_EQ(pRaw->nSyncs, 1);
    DDSURFACEDESC2 desc{};
    s->Lock(nullptr, &desc, 0, nullptr);
    EXPECT_EQ(pRaw->nSyncs, 2);
    s->Unlock(nullptr);
    EXPECT_EQ(pRaw->nWrites, 3);
    // As a copy's source it is synced, not written.
    CSurfaceRef dest(MakeSurface(4, 4, RGB565));
    uint64_t nVersion = s->GetContentVersion();
    dest->Blt(nullptr, s.p, nullptr, 0, nullptr);
    EXPECT_EQ(pRaw->nSyncs, 3);
    EXPECT_EQ(pRaw->nWrites, 3);
    EXPECT_EQ(s->GetContentVersion(), nVersion);
    DDPIXELFORMAT format{};
    s->GetPixelFormat(&format);
    EXPECT_EQ(s->GetContentVersion(), nVersion);
}

TEST(SurfaceChain, MipLevelsHalveDownToOnePixel)
{
    CPlainFactory factory;
    CMemorySurface* pTop = nullptr;
    DDSURFACEDESC2 desc = TextureDesc(8, 2, 4);
    ASSERT_EQ(CreateSurfaceChain(factory, desc, 0, 0, RGB565, &pTop), DD_OK);
    CSurfaceRef top(pTop);
    const uint32_t sizes[4][2] = {{8, 2}, {4, 1}, {2, 1}, {1, 1}};
    CMemorySurface* p = pTop;
    for (const auto& size : sizes) {
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(p->GetWidth(), size[0]);
        EXPECT_EQ(p->GetHeight(), size[1]);
        p = p->GetNextLevel();
    }
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(pTop->CountLevels(), 4u);
    DDSURFACEDESC2 out{};
    pTop->GetSurfaceDesc(&out);
    EXPECT_TRUE(out.dwFlags & DDSD_MIPMAPCOUNT);
    EXPECT_EQ(out.dwMipMapCount, 4u);
}

TEST(SurfaceChain, LevelCountsAreCappedAndDefaulted)
{
    CPlainFactory factory;
    CMemorySurface* p = nullptr;
    // 2x1 has just one level below it.
    ASSERT_EQ(CreateSurfaceChain(factory, TextureDesc(2, 1, 5), 0, 0, RGB565, &p), DD_OK);
    EXPECT_EQ(p->CountLevels(), 2u);
    EXPECT_EQ(p->GetNextLevel()->GetWidth(), 1u);
    EXPECT_EQ(p->GetNextLevel()->GetHeight(), 1u);
    p->Release();
    // A mip chain without a count runs down to 1x1.
    DDSURFACEDESC2 desc = TextureDesc(16, 4, 3);
    desc.dwFlags &= ~DDSD_MIPMAPCOUNT;
    ASSERT_EQ(CreateSurfaceChain(factory, desc, 0, 0, RGB565, &p), DD_OK);
    EXPECT_EQ(p->CountLevels(), 5u);
    p->Release();
    // The count without DDSCAPS_MIPMAP makes no levels.
    desc = TextureDesc(16, 4, 3);
    desc.ddsCaps.dwCaps &= ~DDSCAPS_MIPMAP;
    ASSERT_EQ(CreateSurfaceChain(factory, desc, 0, 0, RGB565, &p), DD_OK);
    EXPECT_EQ(p->CountLevels(), 1u);
    p->Release();
}

TEST(SurfaceChain, DescriptionsDecideFormatAndRefusals)
{
    CPlainFactory factory;
    CMemorySurface* p = nullptr;
    DDSURFACEDESC2 desc = TextureDesc(4, 4, 0);
    desc.dwFlags |= DDSD_PIXELFORMAT | DDSD_CKSRCBLT;
    desc.ddpfPixelFormat = ARGB4444;
    desc.ddckCKSrcBlt = {0x0707, 0x0707};
    ASSERT_EQ(CreateSurfaceChain(factory, desc, 0, 0, RGB565, &p), DD_OK);
    EXPECT_EQ(p->GetFormat().dwRGBAlphaBitMask, 0xF000u);
    EXPECT_TRUE(p->HasColorKey());
    EXPECT_EQ(p->GetColorKey(), 0x0707u);
    p->Release();
    // Without a format the display's is taken.
    ASSERT_EQ(CreateSurfaceChain(factory, TextureDesc(4, 4, 0), 0, 0, RGB565, &p), DD_OK);
    EXPECT_TRUE(SameRGBFormat(p->GetFormat(), RGB565));
    p->Release();
    // A zeroed z-buffer format and a zero size are refused.
    DDSURFACEDESC2 z{};
    z.dwFlags = DDSD_CAPS | DDSD_WIDTH | DDSD_HEIGHT | DDSD_PIXELFORMAT;
    z.dwWidth = 4;
    z.dwHeight = 4;
    z.ddsCaps.dwCaps = DDSCAPS_ZBUFFER;
    EXPECT_EQ(CreateSurfaceChain(factory, z, 0, 0, RGB565, &p), DDERR_INVALIDPIXELFORMAT);
    EXPECT_EQ(p, nullptr);
    z.ddpfPixelFormat = MakeZFormat(16, 0);
    ASSERT_EQ(CreateSurfaceChain(factory, z, 0, 0, RGB565, &p), DD_OK);
    p->Release();
    desc = TextureDesc(0, 4, 0);
    EXPECT_EQ(CreateSurfaceChain(factory, desc, 0, 0, RGB565, &p), DDERR_INVALIDPARAMS);
}

TEST(SurfaceChain, FlipChainOwnsItsBackSurface)
{
    CPlainFactory factory;
    DDSURFACEDESC2 desc{};
    desc.dwFlags = DDSD_CAPS | DDSD_BACKBUFFERCOUNT;
    desc.dwBackBufferCount = 1;
    desc.ddsCaps.dwCaps =
        DDSCAPS_PRIMARYSURFACE | DDSCAPS_FLIP | DDSCAPS_COMPLEX | DDSCAPS_3DDEVICE;
    CMemorySurface* pPrimary = nullptr;
    EXPECT_EQ(CreateSurfaceChain(factory, desc, 0, 0, RGB565, &pPrimary), DDERR_NOEXCLUSIVEMODE);
    ASSERT_EQ(CreateSurfaceChain(factory, desc, 64, 48, RGB565, &pPrimary), DD_OK);
    DDSCAPS2 caps{DDSCAPS_BACKBUFFER, 0, 0, 0};
    IDirectDrawSurface7* pBack = nullptr;
    ASSERT_EQ(pPrimary->GetAttachedSurface(&caps, &pBack), DD_OK);
    auto* pBackSurface = static_cast<CMemorySurface*>(pBack);
    EXPECT_EQ(pBackSurface->GetWidth(), 64u);
    EXPECT_EQ(pBackSurface->GetHeight(), 48u);
    EXPECT_TRUE(pBackSurface->GetCaps() & DDSCAPS_BACKBUFFER);
    EXPECT_FALSE(pBackSurface->GetCaps() & DDSCAPS_PRIMARYSURFACE);
    EXPECT_EQ(pBackSurface->GetRefCount(), 2u);
    EXPECT_EQ(pPrimary->Flip(nullptr, DDFLIP_WAIT), DD_OK);
    EXPECT_EQ(pBackSurface->Flip(nullptr, DDFLIP_WAIT), DDERR_NOFLIPHW);
    // Nothing but the back surface hangs there.
    DDSCAPS2 mip{DDSCAPS_MIPMAP, 0, 0, 0};
    IDirectDrawSurface7* pNone = pBack;
    EXPECT_EQ(pPrimary->GetAttachedSurface(&mip, &pNone), DDERR_NOTFOUND);
    EXPECT_EQ(pNone, nullptr);
    // The application's extra references do not keep the back alive on
    // its own, and the primary takes it along; ASan checks both.
    pBack->AddRef();
    EXPECT_EQ(pBack->Release(), 2u);
    EXPECT_EQ(pBack->Release(), 1u);
    EXPECT_EQ(pBack->Release(), 0u);
    EXPECT_EQ(pPrimary->GetBackSurface(), pBackSurface);
    EXPECT_EQ(pPrimary->Release(), 0u);
}

TEST(SurfaceChain, AttachedZBufferIsCountedAndReplaced)
{
    CSurfaceRef back(MakeSurface(8, 8, RGB565, DDSCAPS_BACKBUFFER | DDSCAPS_3DDEVICE));
    auto* pZ1 = new CMemorySurface(8, 8, MakeZFormat(16, 0), DDSCAPS_ZBUFFER);
    auto* pZ2 = new CMemorySurface(8, 8, MakeZFormat(24, 8), DDSCAPS_ZBUFFER);
    auto* pWrongSize = new CMemorySurface(4, 8, MakeZFormat(16, 0), DDSCAPS_ZBUFFER);
    ASSERT_EQ(back->AddAttachedSurface(pZ1), DD_OK);
    EXPECT_EQ(pZ1->GetRefCount(), 2u);
    EXPECT_EQ(back->AddAttachedSurface(pWrongSize), DDERR_INVALIDPARAMS);
    ASSERT_EQ(back->AddAttachedSurface(pZ2), DD_OK);
    EXPECT_EQ(pZ1->GetRefCount(), 1u);
    EXPECT_EQ(back->GetZBuffer(), pZ2);
    DDSURFACEDESC2 desc{};
    EXPECT_EQ(pZ2->Lock(nullptr, &desc, 0, nullptr), DDERR_INVALIDPARAMS); // no pixels
    EXPECT_EQ(pZ1->Release(), 0u);
    EXPECT_EQ(pZ2->Release(), 1u); // the back surface still holds it
    pWrongSize->Release();
}
