#include "render/device_select.h"

#include "app_fixture.h"

#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

class DeviceSelectTest : public AppTest {
protected:
    uint32_t ZBufferCaps()
    {
        DDSURFACEDESC2 desc = {};
        App->pZBuffer->GetSurfaceDesc(&desc);
        return desc.ddsCaps.dwCaps;
    }
};

// An application that refuses one device type.
class CPickyApp : public CApplication {
public:
    bool ConfirmDevice(D3DDEVICEDESC7* pDesc) override
    {
        return !(pDesc->deviceGUID == IID_IDirect3DTnLHalDevice);
    }
};

TEST_F(DeviceSelectTest, TheAllowedKindsAndTheOrderPickTheDevice)
{
    GetNullConfig().Devices = {IID_IDirect3DRefDevice, IID_IDirect3DRGBDevice,
                               IID_IDirect3DHALDevice, IID_IDirect3DTnLHalDevice};
    StartDevices();
    EXPECT_TRUE(App->DeviceInfo.deviceGUID == IID_IDirect3DTnLHalDevice);
    EXPECT_TRUE(App->IsHardwareDevice());
    EXPECT_TRUE(LoggedInOrder({"CreateSurface zbuffer 1024 768 24 8", "CreateDevice tnlhal",
                               "SetViewport 0 0 1024 768", "SetTransform 3", "SetTransform 1",
                               "SetTransform 2"}));
    EXPECT_NE(ZBufferCaps() & DDSCAPS_VIDEOMEMORY, 0u);
    Config.bHardwareDevices = 0;
    StartDevices();
    EXPECT_TRUE(App->DeviceInfo.deviceGUID == IID_IDirect3DRGBDevice);
    EXPECT_FALSE(App->IsHardwareDevice());
    EXPECT_NE(ZBufferCaps() & DDSCAPS_SYSTEMMEMORY, 0u);
    Config.bSoftwareDevices = 0;
    EXPECT_EQ(ThrownMessage([&] { StartDevices(); }),
              "CreateD3D: Device enumeration failed, or no compatible devices could be found.");
    // A device the application refuses leaves its pass empty.
    Config.bHardwareDevices = Config.bSoftwareDevices = 1;
    UseApp(std::make_unique<CPickyApp>());
    StartDevices();
    EXPECT_TRUE(App->DeviceInfo.deviceGUID == IID_IDirect3DHALDevice);
}

TEST_F(DeviceSelectTest, CreateD3DFailuresThrowTheirMessages)
{
    EXPECT_EQ(ThrownMessage([&] { App->CreateD3D(nullptr); }),
              "CreateD3D: Not enough information to initalize.");
    const std::string noDisplay = "CreateD3D: Can not create Direct3D without DirectDraw.";
    EXPECT_EQ(ThrownMessage([&] { App->CreateD3D(&Config); }), noDisplay);
    App->CreateDD(&Config);
    Config.nDevices = DEVICE_DIRECT3D;
    EXPECT_EQ(ThrownMessage([&] { App->CreateD3D(&Config); }), noDisplay);
    Config.nDevices = DEVICE_ALL;
    const std::pair<const char*, const char*> cases[] = {
        {"QueryInterface", "CreateD3D: Can not acquire a Direct3D interface from DirectDraw."},
        {"EnumZBufferFormats", "CreateD3D: Failed to enumerate z-buffer formats."},
        {"CreateDevice", "CreateD3D: Failed to create a Direct3D device."},
    };
    for (const auto& [pszCall, pszText] : cases) {
        GetNullConfig().Failures = {{pszCall, E_FAIL}};
        EXPECT_EQ(ThrownMessage([&] { App->CreateD3D(&Config); }), pszText);
    }
}

TEST_F(DeviceSelectTest, ChooseZBufferFormatWantsTwentyFourAndEight)
{
    DDPIXELFORMAT chosen = {};
    const int orders[][3] = {{16, 24, 248}, {248, 16, 24}, {24, 248, 16}};
    for (const auto& order : orders) {
        CFormatStack formats;
        for (int nCode : order)
            formats.Push(MakeZFormat(nCode == 248 ? 24 : nCode, nCode == 248 ? 8 : 0));
        App->ChooseZBufferFormat(&chosen, &formats);
        EXPECT_EQ(chosen.dwStencilBitDepth, 8u);
        EXPECT_TRUE(formats.IsEmpty());
    }
    // Equal scores (16 and 32 bits): the one enumerated later stays.
    CFormatStack ties;
    ties.Push(MakeZFormat(16, 0));
    ties.Push(MakeZFormat(32, 0));
    EXPECT_EQ(App->ChooseZBufferFormat(&chosen, &ties)->dwZBufferBitDepth, 32u);
}

TEST_F(DeviceSelectTest, CreateZBufferNamesTheRefusal)
{
    EXPECT_EQ(App->CreateZBuffer(nullptr), 2);
    App->CreateDD(&Config);
    const DDPIXELFORMAT format = MakeZFormat(16, 0);
    const std::pair<HRESULT, const char*> cases[] = {
        {DDERR_NOALPHAHW, "CreateZBuffer: DDERR_NOALPHAHW Operation could not be carried out because "
                          "there is no alpha accleration hardware present or available. "},
        {E_FAIL, "CreateZBuffer: Unknow Error"},
    };
    for (const auto& [nResult, pszText] : cases) {
        GetNullConfig().Failures = {{"CreateSurface", nResult}};
        EXPECT_EQ(ThrownMessage([&] { App->CreateZBuffer(&format); }), pszText);
    }
    // An empty list leaves the all-zero format, which the surface refuses.
    GetNullConfig().Failures.clear();
    GetNullConfig().ZFormats.clear();
    EXPECT_EQ(ThrownMessage([&] { App->CreateD3D(&Config); }),
              "CreateZBuffer: DDERR_INVALIDPIXELFORMAT The pixel format was invalid as specified. ");
}

TEST_F(DeviceSelectTest, AcceptedTextureFormatsAreLogged)
{
    const std::filesystem::path saved = std::filesystem::current_path();
    std::filesystem::current_path(Dir);
    DDPIXELFORMAT out = {};
    DDSURFACEDESC2 desc = {};
    desc.ddpfPixelFormat = MakeRGBFormat(32, 8, 8, 8, 8);
    EXPECT_EQ(SurfaceCallback(nullptr, &desc, &out), 1);
    EXPECT_FALSE(std::filesystem::exists("confirm format.txt"));
    // The surface callback stops at an accepted format and fills its context.
    desc.ddpfPixelFormat = MakeRGBFormat(16, 4, 4, 4, 4);
    EXPECT_EQ(SurfaceCallback(nullptr, &desc, &out), 0);
    EXPECT_EQ(out.dwRBitMask, 0x0F00u);
    DDPIXELFORMAT plain = MakeRGBFormat(16, 5, 6, 5, 0);
    EXPECT_TRUE(App->ConfirmTextureFormat(&out, &plain));
    plain.dwBBitMask = 0;
    EXPECT_FALSE(App->ConfirmTextureFormat(&out, &plain));

    std::stringstream text;
    text << std::ifstream("confirm format.txt").rdbuf();
    std::filesystem::current_path(saved);
    EXPECT_EQ(text.str(), "61440\n3840\n240\n15\n\n0\n63488\n2016\n31\n\n");
}

} // namespace
