#include "app_fixture.h"

namespace {

using DisplayTest = AppTest;

TEST_F(DisplayTest, CreateDDTakesTheDisplayAndShowsLoadingOnBlack)
{
    EXPECT_EQ(App->CreateDD(&Config), 0);
    EXPECT_EQ(App->ScreenRect.right, 1024);
    EXPECT_TRUE(LoggedInOrder({"SetCooperativeLevel 19", "SetDisplayMode 1024 768 16",
                               "CreateSurface primary", "GetAttachedSurface 4", "Blt fill 0",
                               "GetDC", "ReleaseDC", "Flip"}));
    // White text centred across the top edge, black elsewhere.
    bool bText = false;
    for (int y = 0; y < 30; ++y)
        for (int x = 462; x < 562; ++x)
            bText = bText || PixelAt(App->pBack, x, y) == RGB(255, 255, 255);
    EXPECT_TRUE(bText);
    EXPECT_EQ(PixelAt(App->pBack, 100, 20), 0u);
}

TEST_F(DisplayTest, CreateDDFailuresThrowTheirMessages)
{
    const std::string prefix = "DirectDraw creation failed.  ";
    EXPECT_EQ(ThrownMessage([&] { App->CreateDD(nullptr); }), prefix + "Invalid parameter.");
    GetNullConfig().bDirectDraw = false;
    EXPECT_EQ(ThrownMessage([&] { App->CreateDD(&Config); }), prefix + "Interface unavailable.");
    const std::pair<const char*, const char*> cases[] = {
        {"SetCooperativeLevel", "Can not set cooperative level."},
        {"SetDisplayMode", "Can not set screen resolution."},
        {"CreateSurface", "Can not create primary surface."},
        {"GetAttachedSurface", "Can not create secondary surface."},
    };
    for (const auto& [pszCall, pszText] : cases) {
        ResetNullBackend();
        GetNullConfig().Failures = {{pszCall, E_FAIL}};
        EXPECT_EQ(ThrownMessage([&] { App->CreateDD(&Config); }), prefix + pszText);
        App->ReleaseDevices(DEVICE_ALL);
    }
}

TEST_F(DisplayTest, ReleaseDevicesEmptiesTheListsWhateverTheMask)
{
    StartDevices();
    WriteBitmap("pic.bmp", samples::CImage(4, 4));
    ASSERT_TRUE(App->AddTexture("C:\\pic.bmp", "pic", 0));
    App->ReleaseDevices(0);
    EXPECT_EQ(App->FindTexture("pic"), nullptr);
    App->ReleaseDevices(DEVICE_DIRECT3D);
    EXPECT_EQ(App->pDevice, nullptr);
    EXPECT_EQ(App->pDirect3D, nullptr);
    EXPECT_NE(App->pBack, nullptr);
    App->ReleaseDevices(DEVICE_ALL);
    App->ReleaseDevices(DEVICE_ALL);
    EXPECT_EQ(App->pPrimary, nullptr);
    EXPECT_EQ(App->pDirectDraw, nullptr);
    EXPECT_EQ(CountLogged("SetCooperativeLevel 8"), 1);
}

TEST_F(DisplayTest, FlipAndDrawNeedTheChain)
{
    EXPECT_EQ(ThrownMessage([&] { App->Flip(); }), "Cannot flip surfaces.  Surfaces do not exist.");
    EXPECT_EQ(ThrownMessage([&] { App->Draw(nullptr, nullptr, nullptr, 0x1000400, 0); }),
              "Draw: Blt failed.");
    App->CreateDD(&Config);
    EXPECT_EQ(App->Draw(nullptr, nullptr, nullptr, 0x1000400, 0xF800), 0);
    EXPECT_EQ(PixelAt(App->pBack, 7, 9), RGB(255, 0, 0));
    GetNullConfig().Failures = {{"Flip", DDERR_SURFACELOST}};
    EXPECT_EQ(ThrownMessage([&] { App->Flip(); }),
              "Cannot flip surfaces.  Flip failed.\r\nPossible loss of full screen mode.");
}

TEST_F(DisplayTest, MakePixelPacksChannelsIntoTheFormat)
{
    EXPECT_EQ(App->MakePixel(1, 1, 1, nullptr), 0u);
    App->CreateDD(&Config);
    EXPECT_EQ(App->MakePixel(0.3f, 0.3f, 0.3f, nullptr), (9u << 11) | (18u << 5) | 9u);
    EXPECT_EQ(App->PixelFormat.dwRBitMask, 0xF800u);
    EXPECT_EQ(App->MakePixel(1, 1, 1, nullptr), 0xFFFFu);
    const DDPIXELFORMAT wide = MakeRGBFormat(32, 8, 8, 8, 0);
    EXPECT_EQ(App->MakePixel(1, 0.5f, 0, &wide), 0xFF7F00u);
}

TEST_F(DisplayTest, ImagesAreFilledOrLoaded)
{
    EXPECT_EQ(ThrownMessage([&] { App->CreateImage(8, 8, 0); }),
              "CreateImage: DirectDraw interface in not available.");
    App->CreateDD(&Config);
    IDirectDrawSurface7* pImage = App->CreateImage(6, 5, RGB(0, 0, 255));
    EXPECT_EQ(PixelAt(pImage, 5, 4), RGB(0, 0, 255));
    EXPECT_EQ(PixelAt(pImage, 0, 0), RGB(0, 0, 255));
    pImage->Release();
    // A size the display can not make is refused with the message, whatever
    // the sign.
    for (int nSide : {-16, 0, 100000})
        EXPECT_EQ(ThrownMessage([&] { App->CreateImage(nSide, nSide, 0); }),
                  "CreateImage: Cannot create a surface.");

    samples::CImage image(2, 2);
    image.Set(1, 0, 255, 0, 0);
    WriteBitmap("pic.bmp", image);
    pImage = App->LoadImage("C:\\pic.bmp", 0, 0);
    EXPECT_EQ(PixelAt(pImage, 1, 0), RGB(255, 0, 0));
    pImage->Release();
    pImage = App->LoadImage("C:\\pic.bmp", 4, 6);
    EXPECT_EQ(PixelAt(pImage, 3, 2), RGB(255, 0, 0));
    EXPECT_EQ(PixelAt(pImage, 1, 5), 0u);
    pImage->Release();
    EXPECT_EQ(ThrownMessage([&] { App->LoadImage("C:\\none.bmp", 0, 0); }),
              "LoadImage: File not found.");
}

} // namespace
