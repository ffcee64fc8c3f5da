// CPU surfaces: pixel formats, fills, converting and stretching copies,
// locks and device contexts, flip and mip chains.
#include "platform/gdi.h"
#include "platform/memory_surface.h"
#include "tests/display_fixture.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace {

const DDPIXELFORMAT RGB565 = MakeRGBFormat(16, 5, 6, 5, 0);
const DDPIXELFORMAT ARGB1555 = MakeRGBFormat(16, 5, 5, 5, 1);
const DDPIXELFORMAT ARGB4444 = MakeRGBFormat(16, 4, 4, 4, 4);
const DDPIXELFORMAT ARGB8888 = MakeRGBFormat(32, 8, 8, 8, 8);

// Lets go of a surface at the end of a test; ASan reports what stays.
struct CSurfaceRelease {
    void operator()(CMemorySurface* p) const { p->Release(); }
};
using CSurfacePtr = std::unique_ptr<CMemorySurface, CSurfaceRelease>;

CSurfacePtr MakeSurface(uint32_t w, uint32_t h, const DDPIXELFORMAT& format = RGB565,
                        uint32_t nCaps = DDSCAPS_OFFSCREENPLAIN)
{
    return CSurfacePtr(new CMemorySurface(w, h, format, nCaps));
}

class CPlainFactory : public CSurfaceFactory {
public:
    CMemorySurface* MakeSurface(uint32_t w, uint32_t h, const DDPIXELFORMAT& format,
                                uint32_t nCaps, uint32_t) override
    {
        return new CMemorySurface(w, h, format, nCaps);
    }
};

CSurfacePtr MakeChain(const DDSURFACEDESC2& desc, HRESULT nExpected = DD_OK)
{
    CPlainFactory factory;
    CMemorySurface* p = nullptr;
    EXPECT_EQ(CreateSurfaceChain(factory, desc, 0, 0, RGB565, &p), nExpected);
    return CSurfacePtr(p);
}

struct CPackCase {
    const char* pszName;
    DDPIXELFORMAT Format;
    CRgba8 Colour;
    uint32_t nPacked;
};

class PixelFormatTest : public ::testing::TestWithParam<CPackCase> {};

// Packing drops low bits; unpacking widens to the nearest 8-bit value, so
// that each of these comes back as it went in.
TEST_P(PixelFormatTest, ChannelsPackByMaskAndWidenToTheNearest)
{
    const CPackCase& c = GetParam();
    EXPECT_EQ(PackPixel(c.Colour, c.Format), c.nPacked);
    const CRgba8 back = UnpackPixel(c.nPacked, c.Format);
    EXPECT_EQ(back.r, c.Colour.r);
    EXPECT_EQ(back.g, c.Colour.g);
    EXPECT_EQ(back.b, c.Colour.b);
    EXPECT_EQ(back.a, c.Colour.a);
}

const CPackCase PACK_CASES[] = {
    {"White565", RGB565, {255, 255, 255, 255}, 0xFFFF},
    {"Red565", RGB565, {255, 0, 0, 255}, 0xF800},
    {"DarkRed565", RGB565, {25, 0, 0, 255}, 3u << 11},     // 3 * 255 / 31 = 24.7
    {"MidGreen565", RGB565, {0, 130, 0, 255}, 32u << 5},   // 32 * 255 / 63 = 129.5
    {"Transparent1555", ARGB1555, {255, 0, 0, 0}, 0x7C00},
    {"Opaque1555", ARGB1555, {0, 0, 255, 255}, 0x801F},
    {"Nibbles4444", ARGB4444, {0x11, 0x22, 0x33, 0x44}, 0x4123},
    {"Bytes8888", ARGB8888, {0x12, 0x34, 0x56, 0x8A}, 0x8A123456},
};
INSTANTIATE_TEST_SUITE_P(Formats, PixelFormatTest, ::testing::ValuesIn(PACK_CASES),
                         [](const auto& info) { return std::string(info.param.pszName); });

TEST(PixelFormat, Every565ValueSurvivesATripThroughBytes)
{
    for (uint32_t v = 0; v < 0x10000; ++v)
        ASSERT_EQ(PackPixel(UnpackPixel(v, RGB565), RGB565), v) << v;
    // 0x7F in 5 bits is 15, in 6 bits 31.
    EXPECT_EQ(PackPixel({0x7F, 0x7F, 0x7F, 255}, RGB565), (15u << 11) | (31u << 5) | 15u);
}

TEST(MemorySurface, ColourFillWritesTheRawValueInsideTheClippedRect)
{
    CSurfacePtr s = MakeSurface(4, 3);
    DDBLTFX fx{};
    fx.dwFillColor = 0x1234;
    ASSERT_EQ(s->Blt(nullptr, nullptr, nullptr, DDBLT_COLORFILL | DDBLT_WAIT, &fx), DD_OK);
    RECT rect{2, 1, 9, 9};
    fx.dwFillColor = 0xABCDEF; // only the low two bytes fit a 16-bit pixel
    ASSERT_EQ(s->Blt(&rect, nullptr, nullptr, DDBLT_COLORFILL, &fx), DD_OK);
    const uint32_t expected[3][4] = {{0x1234, 0x1234, 0x1234, 0x1234},
                                     {0x1234, 0x1234, 0xCDEF, 0xCDEF},
                                     {0x1234, 0x1234, 0xCDEF, 0xCDEF}};
    for (uint32_t y = 0; y < 3; ++y)
        for (uint32_t x = 0; x < 4; ++x)
            EXPECT_EQ(s->ReadPixel(x, y), expected[y][x]) << x << "," << y;
}

TEST(MemorySurface, CopyConvertsBetweenFormats)
{
    CSurfacePtr source = MakeSurface(2, 1, ARGB8888);
    source->WritePixel(0, 0, 0xFFFF0000u); // red
    source->WritePixel(1, 0, 0x80FFFFFFu); // half-transparent white
    CSurfacePtr narrow = MakeSurface(2, 1);
    ASSERT_EQ(narrow->Blt(nullptr, source.get(), nullptr, DDBLT_WAIT, nullptr), DD_OK);
    EXPECT_EQ(narrow->ReadPixel(0, 0), 0xF800u);
    EXPECT_EQ(narrow->ReadPixel(1, 0), 0xFFFFu);
    CSurfacePtr keyed = MakeSurface(2, 1, ARGB1555);
    ASSERT_EQ(keyed->Blt(nullptr, source.get(), nullptr, 0, nullptr), DD_OK);
    EXPECT_EQ(keyed->ReadPixel(0, 0), 0xFC00u);
    EXPECT_EQ(keyed->ReadPixel(1, 0), 0xFFFFu); // alpha 0x80 keeps the bit
    CSurfacePtr wide = MakeSurface(2, 1, ARGB8888);
    ASSERT_EQ(wide->Blt(nullptr, narrow.get(), nullptr, 0, nullptr), DD_OK);
    EXPECT_EQ(wide->ReadPixel(0, 0), 0xFFFF0000u); // no alpha channel reads opaque
}

TEST(MemorySurface, CopyStretchesByTheNearestPixel)
{
    CSurfacePtr source = MakeSurface(2, 2);
    for (uint32_t i = 0; i < 4; ++i)
        source->WritePixel(i % 2, i / 2, i + 1);
    CSurfacePtr big = MakeSurface(4, 4);
    ASSERT_EQ(big->Blt(nullptr, source.get(), nullptr, 0, nullptr), DD_OK);
    const uint32_t expected[4][4] = {{1, 1, 2, 2}, {1, 1, 2, 2}, {3, 3, 4, 4}, {3, 3, 4, 4}};
    for (uint32_t y = 0; y < 4; ++y)
        for (uint32_t x = 0; x < 4; ++x)
            EXPECT_EQ(big->ReadPixel(x, y), expected[y][x]) << x << "," << y;
    // Shrinking takes every other pixel from the top-left.
    big->WritePixel(2, 2, 9);
    CSurfacePtr small = MakeSurface(2, 2);
    ASSERT_EQ(small->Blt(nullptr, big.get(), nullptr, 0, nullptr), DD_OK);
    EXPECT_EQ(small->ReadPixel(0, 0), 1u);
    EXPECT_EQ(small->ReadPixel(1, 1), 9u);
}

TEST(MemorySurface, CopyRectanglesAreClippedOnBothSidesAndKeyedPixelsSkipped)
{
    CSurfacePtr source = MakeSurface(4, 1);
    for (uint32_t x = 0; x < 4; ++x)
        source->WritePixel(x, 0, 10 + x);
    CSurfacePtr dest = MakeSurface(3, 2);
    RECT from{1, 0, 3, 1}; // pixels 11, 12
    RECT to{2, 1, 4, 2};   // the second pixel falls off the right edge
    ASSERT_EQ(dest->Blt(&to, source.get(), &from, 0, nullptr), DD_OK);
    EXPECT_EQ(dest->ReadPixel(2, 1), 11u);
    EXPECT_EQ(dest->ReadPixel(1, 1), 0u);
    RECT past{3, 0, 5, 1}; // only pixel 13 exists
    RECT left{0, 0, 2, 1};
    ASSERT_EQ(dest->Blt(&left, source.get(), &past, 0, nullptr), DD_OK);
    EXPECT_EQ(dest->ReadPixel(0, 0), 13u);
    EXPECT_EQ(dest->ReadPixel(1, 0), 0u);
    RECT reversed{2, 0, 1, 1};
    EXPECT_EQ(dest->Blt(&reversed, source.get(), nullptr, 0, nullptr), DDERR_INVALIDPARAMS);
    DDBLTFX fx{};
    fx.ddckSrcColorkey = {12, 12};
    RECT three{0, 1, 3, 2};
    RECT first{0, 0, 3, 1};
    ASSERT_EQ(dest->Blt(&three, source.get(), &first, DDBLT_KEYSRCOVERRIDE, &fx), DD_OK);
    EXPECT_EQ(dest->ReadPixel(0, 1), 10u);
    EXPECT_EQ(dest->ReadPixel(2, 1), 11u); // 12 was the key
}

TEST(MemorySurface, LockGivesFourBytePaddedRowsAtTheRectangle)
{
    EXPECT_EQ(MakeSurface(3, 2, MakeRGBFormat(24, 8, 8, 8, 0))->GetPitch(), 12u);
    EXPECT_EQ(MakeSurface(5, 1, ARGB8888)->GetPitch(), 20u);
    CSurfacePtr s = MakeSurface(5, 3);
    DDSURFACEDESC2 desc{};
    ASSERT_EQ(s->Lock(nullptr, &desc, DDLOCK_WAIT, nullptr), DD_OK);
    EXPECT_EQ(desc.dwWidth, 5u);
    EXPECT_EQ(desc.dwHeight, 3u);
    EXPECT_EQ(desc.lPitch, 12);
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
    CSurfacePtr s = MakeSurface(8, 4);
    HDC hdc = nullptr;
    ASSERT_EQ(s->GetDC(&hdc), DD_OK);
    HDC hSecond = nullptr;
    EXPECT_TRUE(FAILED(s->GetDC(&hSecond))); // one context at a time
    SetPixel(hdc, 3, 2, RGB(255, 0, 0));
    SetPixel(hdc, 0, 0, RGB(0, 0, 255));
    const uint64_t nBefore = s->GetContentVersion();
    ASSERT_EQ(s->ReleaseDC(hdc), DD_OK);
    EXPECT_GT(s->GetContentVersion(), nBefore) << "a device texture must be uploaded again";
    EXPECT_EQ(s->ReadPixel(3, 2), 0xF800u);
    EXPECT_EQ(s->ReadPixel(0, 0), 0x001Fu);
    EXPECT_EQ(s->ReleaseDC(hdc), DDERR_INVALIDPARAMS);
    // The texture code draws on a level it holds locked.
    DDSURFACEDESC2 desc{};
    ASSERT_EQ(s->Lock(nullptr, &desc, DDLOCK_WAIT, nullptr), DD_OK);
    ASSERT_EQ(s->GetDC(&hdc), DD_OK);
    EXPECT_EQ(GetPixel(hdc, 3, 2), RGB(255, 0, 0));
    s->ReleaseDC(hdc);
    s->Unlock(nullptr);
}

struct CChainCase {
    const char* pszName;
    uint32_t w, h, nMips;
    uint32_t nFlagsOff, nCapsOff; // taken away from the description
    std::vector<std::pair<uint32_t, uint32_t>> Sizes;
};

class SurfaceChainTest : public ::testing::TestWithParam<CChainCase> {};

// Each level halves both sides down to 1; the count is capped at the full
// chain, and without a count the chain runs down to 1x1.
TEST_P(SurfaceChainTest, MipLevelsHalveDownToOnePixel)
{
    const CChainCase& c = GetParam();
    DDSURFACEDESC2 desc = TextureDesc(c.w, c.h, c.nMips);
    desc.dwFlags &= ~c.nFlagsOff;
    desc.ddsCaps.dwCaps &= ~c.nCapsOff;
    CSurfacePtr top = MakeChain(desc);
    std::vector<std::pair<uint32_t, uint32_t>> sizes;
    for (CMemorySurface* p = top.get(); p; p = p->GetNextLevel())
        sizes.emplace_back(p->GetWidth(), p->GetHeight());
    EXPECT_EQ(sizes, c.Sizes);
    DDSURFACEDESC2 out{};
    top->GetSurfaceDesc(&out);
    EXPECT_EQ((out.dwFlags & DDSD_MIPMAPCOUNT) ? out.dwMipMapCount : 1u, c.Sizes.size());
}

const CChainCase CHAIN_CASES[] = {
    {"Counted", 8, 2, 4, 0, 0, {{8, 2}, {4, 1}, {2, 1}, {1, 1}}},
    {"CappedAtOnePixel", 2, 1, 5, 0, 0, {{2, 1}, {1, 1}}},
    {"NoCountRunsToTheEnd", 16, 4, 3, DDSD_MIPMAPCOUNT, 0, {{16, 4}, {8, 2}, {4, 1}, {2, 1}, {1, 1}}},
    {"CountWithoutMipmapCaps", 16, 4, 3, 0, DDSCAPS_MIPMAP, {{16, 4}}},
};
INSTANTIATE_TEST_SUITE_P(Levels, SurfaceChainTest, ::testing::ValuesIn(CHAIN_CASES),
                         [](const auto& info) { return std::string(info.param.pszName); });

TEST(SurfaceChain, KeysReachTheSurfaceAndBadDescriptionsAreRefused)
{
    const DDCOLORKEY key{0x0707, 0x0707};
    EXPECT_EQ(MakeChain(TextureDesc(4, 4, 0, &ARGB4444, &key))->GetColorKey(), 0x0707u);
    DDSURFACEDESC2 z{};
    z.dwFlags = DDSD_CAPS | DDSD_WIDTH | DDSD_HEIGHT | DDSD_PIXELFORMAT;
    z.dwWidth = z.dwHeight = 4;
    z.ddsCaps.dwCaps = DDSCAPS_ZBUFFER;
    EXPECT_EQ(MakeChain(z, DDERR_INVALIDPIXELFORMAT), nullptr) << "a zeroed depth format";
    EXPECT_EQ(MakeChain(TextureDesc(0, 4), DDERR_INVALIDPARAMS), nullptr);
}

TEST(SurfaceChain, AttachedZBufferIsCountedAndReplaced)
{
    CSurfacePtr back = MakeSurface(8, 8, RGB565, DDSCAPS_BACKBUFFER | DDSCAPS_3DDEVICE);
    CSurfacePtr z1(new CMemorySurface(8, 8, MakeZFormat(16, 0), DDSCAPS_ZBUFFER));
    CSurfacePtr z2(new CMemorySurface(8, 8, MakeZFormat(24, 8), DDSCAPS_ZBUFFER));
    CSurfacePtr wrongSize(new CMemorySurface(4, 8, MakeZFormat(16, 0), DDSCAPS_ZBUFFER));
    ASSERT_EQ(back->AddAttachedSurface(z1.get()), DD_OK);
    EXPECT_EQ(z1->GetRefCount(), 2u);
    EXPECT_EQ(back->AddAttachedSurface(wrongSize.get()), DDERR_INVALIDPARAMS);
    ASSERT_EQ(back->AddAttachedSurface(z2.get()), DD_OK);
    EXPECT_EQ(z1->GetRefCount(), 1u);
    EXPECT_EQ(back->GetZBuffer(), z2.get());
    EXPECT_EQ(z2->GetRefCount(), 2u);
}

} // namespace
