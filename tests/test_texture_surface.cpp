// Texture surfaces: filling the staging surface, the mip box filter, the
// choice of a texture format and the codes of the two ways to make one.
#include "resources/texture_surface.h"

#include "app_fixture.h"
#include "platform/memory_surface.h"

namespace {

class TextureSurfaceTest : public AppTest {
protected:
    void SetUp() override
    {
        AppTest::SetUp();
        StartDevices();
    }
    IDirectDrawSurface7* Staging(int nWidth, int nHeight)
    {
        return Texture.CreateStaging(App->GetDirectDraw(), App->GetDevice(), nWidth, nHeight, 0);
    }
    static CMemorySurface* Level(IDirectDrawSurface7* pSurface, int nLevel)
    {
        auto* p = static_cast<CMemorySurface*>(pSurface);
        while (p && nLevel-- > 0)
            p = p->GetNextLevel();
        return p;
    }

    CTextureSurface Texture;
};

TEST_F(TextureSurfaceTest, FillFromRGBScalesEachByteIntoItsMask)
{
    const unsigned char pixels[] = {255, 255, 255, 16, 16, 16, 0, 0, 0, 255, 0, 0};
    IDirectDrawSurface7* pStaging = Staging(2, 2);
    EXPECT_EQ(Texture.FillFromRGB(App.get(), pStaging, pixels), 0);
    EXPECT_EQ(Level(pStaging, 0)->ReadPixel(0, 0), 0xFFFFu);
    EXPECT_EQ(Level(pStaging, 0)->ReadPixel(1, 0), (1u << 11) | (3u << 5) | 1u);
    EXPECT_EQ(Level(pStaging, 0)->ReadPixel(0, 1), 0u);
    EXPECT_EQ(Level(pStaging, 0)->ReadPixel(1, 1), 0xF800u);
    GetNullConfig().Failures = {{"Lock", E_FAIL}};
    EXPECT_EQ(Texture.FillFromRGB(App.get(), pStaging, pixels), 0x200);
    pStaging->Release();
}

TEST_F(TextureSurfaceTest, MipLevelsAreTwoByTwoBoxAverages)
{
    // 8 bits a channel keep the averages exact.
    GetNullConfig().DisplayFormat = MakeRGBFormat(32, 8, 8, 8, 0);
    GetNullConfig().TextureFormats = {MakeRGBFormat(32, 8, 8, 8, 0)};
    const unsigned char pixels[] = {
        8, 16, 24, 12, 24, 36, 0, 0, 0, 100, 0, 0,
        8, 16, 24, 12, 24, 36, 100, 0, 0, 100, 0, 0,
    };
    ASSERT_EQ(Texture.Create(App.get(), 4, 2, pixels, 3), 0);
    EXPECT_EQ(Texture.bMipmapped, 1);
    EXPECT_EQ(Level(Texture.GetSurface(), 1)->ReadPixel(0, 0), 0x1E140Au);
    EXPECT_EQ(Level(Texture.GetSurface(), 1)->ReadPixel(1, 0), 0x4Bu);
    // The 2x1 level has no second row: its own row counts twice.
    EXPECT_EQ(Level(Texture.GetSurface(), 2)->ReadPixel(0, 0), 0x0F0A2Au);
}

TEST_F(TextureSurfaceTest, MipLevelsNeedACountAndTheFilterCaps)
{
    ASSERT_EQ(Texture.Create(App.get(), 8, 8, nullptr, 0), 0);
    EXPECT_TRUE(Texture.bMipmapped == 0 && Level(Texture.GetSurface(), 1) == nullptr);
    GetNullConfig().nTextureFilterCaps = 0;
    StartDevices();
    ASSERT_EQ(Texture.Create(App.get(), 8, 8, nullptr, 4), 0);
    EXPECT_TRUE(Texture.bMipmapped == 0 && Level(Texture.GetSurface(), 1) == nullptr);
}

TEST_F(TextureSurfaceTest, ChooseFormatTakesTheLastMatchingWidthsAndKeysHalfRedAndBlue)
{
    IDirectDrawSurface7* pStaging = Staging(2, 2);
    DDPIXELFORMAT swapped = MakeRGBFormat(16, 5, 6, 5, 0);
    std::swap(swapped.dwRBitMask, swapped.dwBBitMask);
    DDPIXELFORMAT fourCC = MakeRGBFormat(16, 5, 6, 5, 0);
    fourCC.dwFourCC = 0x31545844;
    GetNullConfig().TextureFormats = {MakeRGBFormat(16, 5, 6, 5, 0), swapped, fourCC};
    Texture.SetColorKey(1, 0, 1);
    EXPECT_EQ(Texture.ChooseFormat(App->GetDevice(), pStaging), 0);
    EXPECT_EQ(Texture.Desc.ddpfPixelFormat.dwRBitMask, 0x1Fu);
    EXPECT_EQ(Texture.Desc.ddckCKSrcBlt.dwColorSpaceLowValue, 0x780Fu);
    EXPECT_EQ(Texture.Desc.ddckCKSrcBlt.dwColorSpaceHighValue, 0x780Fu);
    GetNullConfig().TextureFormats = {fourCC, MakeRGBFormat(16, 5, 5, 5, 1)};
    EXPECT_EQ(Texture.ChooseFormat(App->GetDevice(), pStaging), 0x8000);
    pStaging->Release();
}

TEST_F(TextureSurfaceTest, LoadFromBitmapAnswersACodeForEachStep)
{
    EXPECT_EQ(Texture.LoadFromBitmap(nullptr, "x", 0, 0, 0), 1);
    EXPECT_EQ(Texture.LoadFromBitmap(App.get(), "C:\\none.bmp", 0, 0, 0), 2);
    samples::CImage image(4, 2);
    image.Set(3, 1, 255, 0, 0);
    WriteBitmap("pic.bmp", image);
    Texture.SetStage(7);
    Texture.SetStage(8); // stages run from 0 to 7
    Texture.SetStage(-1);
    ASSERT_EQ(Texture.LoadFromBitmap(App.get(), "C:\\pic.bmp", 0, 0, 0), 0);
    EXPECT_TRUE(Texture.GetWidth() == 4 && Texture.Desc.dwTextureStage == 7);
    EXPECT_EQ(Level(Texture.GetSurface(), 0)->ReadPixel(3, 1), 0xF800u);
    // The hardware device loads the final surface; nothing is blitted.
    EXPECT_TRUE(CountLogged("Load") == 1 && CountLogged("Blt copy") == 0);

    const std::pair<const char*, int> failures[] = {{"CreateSurface", 3}, {"Load", 5}};
    for (const auto& [pszCall, nCode] : failures) {
        GetNullConfig().Failures = {{pszCall, E_FAIL}};
        EXPECT_EQ(Texture.LoadFromBitmap(App.get(), "C:\\pic.bmp", 0, 0, 0), nCode);
    }
    GetNullConfig().Failures.clear();
    GetNullConfig().TextureFormats = {MakeRGBFormat(16, 5, 5, 5, 1)};
    EXPECT_EQ(Texture.LoadFromBitmap(App.get(), "C:\\pic.bmp", 0, 0, 0), 4);
    EXPECT_TRUE(Texture.GetSurface() == nullptr && Texture.GetWidth() == 0);
}

TEST_F(TextureSurfaceTest, CreateOnASoftwareDeviceBlitsEveryLevelWithoutAFittingFormat)
{
    Config.bHardwareDevices = 0;
    StartDevices();
    GetNullConfig().TextureFormats.clear();
    const unsigned char pixels[] = {255, 0, 0, 0, 0, 255, 0, 255, 0, 255, 255, 255};
    ASSERT_EQ(Texture.Create(App.get(), 2, 2, pixels, 2), 0);
    EXPECT_EQ(CountLogged("Load"), 0);
    EXPECT_EQ(Level(Texture.GetSurface(), 0)->ReadPixel(1, 0), 0x1Fu);
    EXPECT_EQ(Level(Texture.GetSurface(), 1)->ReadPixel(0, 0), 0x7BEFu);
    EXPECT_EQ(Texture.Create(nullptr, 2, 2, pixels, 0), 2);
}

} // namespace
