// The null backend that the unit tests draw on: its call log, forced
// failures, what it enumerates and what its device remembers.
#include "platform/memory_surface.h"
#include "platform/null_device.h"
#include "tests/display_fixture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

class NullDeviceTest : public DisplayTest {
protected:
    void SetUp() override
    {
        DisplayTest::SetUp();
        ResetNullBackend();
        void* p = nullptr;
        ASSERT_EQ(DirectDrawCreateEx(nullptr, &p, IID_IDirectDraw7, nullptr), S_OK);
        pDD = static_cast<IDirectDraw7*>(p);
        OpenDisplay(1024, 768);
    }
    void TearDown() override
    {
        DisplayTest::TearDown();
        ResetNullBackend();
    }
    static const std::vector<std::string>& Log() { return GetNullCallLog(); }
};

} // namespace

TEST_F(NullDeviceTest, DisplayCallsAreLoggedInOrderAndForcedFailuresChangeNothing)
{
    RECT rect{1, 2, 30, 40};
    Fill(pBack, 65535, &rect);
    ASSERT_EQ(pPrimary->Flip(nullptr, DDFLIP_WAIT), S_OK);
    EXPECT_EQ(Log(), (std::vector<std::string>{"SetCooperativeLevel 19", "SetDisplayMode 1024 768 16",
                                               "CreateSurface primary", "GetAttachedSurface 4",
                                               "Blt fill 65535 1 2 30 40", "Flip"}));
    EXPECT_EQ(static_cast<CMemorySurface*>(pBack)->ReadPixel(1, 2), 0xFFFFu);

    GetNullConfig().Failures = {{"Blt", DDERR_SURFACELOST}, {"CreateSurface", E_FAIL}};
    DDBLTFX fx{};
    EXPECT_EQ(pBack->Blt(&rect, nullptr, nullptr, DDBLT_COLORFILL, &fx), DDERR_SURFACELOST);
    EXPECT_EQ(Log().back(), "Blt fill 0 1 2 30 40");
    EXPECT_EQ(static_cast<CMemorySurface*>(pBack)->ReadPixel(1, 2), 0xFFFFu);
    DDSURFACEDESC2 desc = TextureDesc(16, 8);
    IDirectDrawSurface7* pSurface = nullptr;
    EXPECT_EQ(pDD->CreateSurface(&desc, &pSurface, nullptr), E_FAIL);
    EXPECT_EQ(pSurface, nullptr);
    EXPECT_EQ(Log().back(), "CreateSurface texture 16 8 1 device");
}

TEST_F(NullDeviceTest, DeviceCallsAreLoggedAndRemembered)
{
    OpenDevice(IID_IDirect3DTnLHalDevice);
    GetNullCallLog().clear();
    IDirectDrawSurface7* pTexture = MakeTexture(TextureDesc(8, 8));
    ASSERT_EQ(pDevice->BeginScene(), S_OK);
    ASSERT_EQ(pDevice->SetRenderState(D3DRENDERSTATE_CULLMODE, D3DCULL_NONE), S_OK);
    ASSERT_EQ(pDevice->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1), S_OK);
    ASSERT_EQ(pDevice->SetTexture(0, pTexture), S_OK);
    D3DVIEWPORT7 viewport{0, 0, 1024, 768, 0.0f, 1.0f};
    ASSERT_EQ(pDevice->SetViewport(&viewport), S_OK);
    D3DMATRIX m{};
    m.m[0] = 2.0f;
    ASSERT_EQ(pDevice->SetTransform(D3DTRANSFORMSTATE_PROJECTION, &m), S_OK);
    ASSERT_EQ(pDevice->Clear(0, nullptr, D3DCLEAR_ZBUFFER, 0, 0.5f, 0), S_OK);
    float quad[4 * 9] = {};
    quad[9 * 3] = 5.0f;
    ASSERT_EQ(pDevice->DrawPrimitive(D3DPT_TRIANGLEFAN, 0x244, quad, 4, 0), S_OK);
    ASSERT_EQ(pDevice->EndScene(), S_OK);
    EXPECT_EQ(Log(), (std::vector<std::string>{
                         "CreateSurface texture 8 8 1 device", "BeginScene", "SetRenderState 22 1",
                         "SetTextureStageState 0 1 2", "SetTexture 0 tex",
                         "SetViewport 0 0 1024 768", "SetTransform 3", "Clear 2",
                         "DrawPrimitive 6 580 4", "EndScene"}));

    const CNullDeviceState& state = GetNullDeviceState();
    EXPECT_EQ(state.RenderState(D3DRENDERSTATE_CULLMODE), D3DCULL_NONE);
    EXPECT_EQ(state.RenderState(D3DRENDERSTATE_FILLMODE, 77), 77u);
    EXPECT_EQ(state.StageState(0, D3DTSS_COLOROP), D3DTOP_SELECTARG1);
    EXPECT_EQ(state.Transforms[D3DTRANSFORMSTATE_PROJECTION].m[0], 2.0f);
    EXPECT_EQ(state.Transforms[D3DTRANSFORMSTATE_WORLD].m[15], 1.0f); // identity
    EXPECT_EQ(state.fClearZ, 0.5f);
    ASSERT_EQ(state.Draws.size(), 1u);
    ASSERT_EQ(state.Draws[0].Vertices.size(), 4u * 36u);
    float x3 = 0;
    std::memcpy(&x3, state.Draws[0].Vertices.data() + 3 * 36, 4);
    EXPECT_EQ(x3, 5.0f);
    EXPECT_EQ(state.nScenes, 1);
    EXPECT_FALSE(state.bInScene);

    // The bound texture outlives the application's reference.
    EXPECT_EQ(pTexture->Release(), 1u);
    Textures.clear();
    EXPECT_EQ(state.Textures[0], pTexture);
    ASSERT_EQ(pDevice->SetTexture(0, nullptr), S_OK);
    EXPECT_EQ(state.Textures[0], nullptr);

    // Failures leave the state as it was; unknown formats and stages are refused.
    GetNullConfig().Failures = {{"SetRenderState", E_FAIL}, {"BeginScene", DDERR_SURFACELOST}};
    EXPECT_EQ(pDevice->SetRenderState(D3DRENDERSTATE_CULLMODE, D3DCULL_CW), E_FAIL);
    EXPECT_EQ(state.RenderState(D3DRENDERSTATE_CULLMODE), D3DCULL_NONE);
    EXPECT_EQ(pDevice->BeginScene(), DDERR_SURFACELOST);
    EXPECT_EQ(state.nScenes, 1);
    EXPECT_EQ(pDevice->DrawPrimitive(D3DPT_TRIANGLEFAN, 0x102, quad, 1, 0), DDERR_INVALIDPARAMS);
    EXPECT_EQ(pDevice->SetTextureStageState(8, D3DTSS_COLOROP, 1), DDERR_INVALIDPARAMS);
    EXPECT_EQ(state.Draws.size(), 1u);
}

// The texture loader fills a staging chain in the display's format and has
// the device carry every level into the final texture's format.
TEST_F(NullDeviceTest, LoadCopiesEveryLevelWithConversion)
{
    OpenDevice(IID_IDirect3DHALDevice);
    IDirectDrawSurface7* pStaging = MakeTexture(TextureDesc(4, 2, 3, nullptr, nullptr, true));
    const DDPIXELFORMAT argb = MakeRGBFormat(32, 8, 8, 8, 8);
    IDirectDrawSurface7* pFinal = MakeTexture(TextureDesc(4, 2, 3, &argb));
    const uint32_t colours[3] = {0xF800, 0x07E0, 0x001F}; // red, green, blue levels
    int nLevel = 0;
    for (auto* p = static_cast<CMemorySurface*>(pStaging); p; p = p->GetNextLevel())
        Fill(p, colours[nLevel++]);
    ASSERT_EQ(pDevice->Load(pFinal, nullptr, pStaging, nullptr, 0), S_OK);
    auto* pTo = static_cast<CMemorySurface*>(pFinal);
    ASSERT_EQ(pTo->CountLevels(), 3u);
    EXPECT_EQ(pTo->ReadPixel(3, 1), 0xFFFF0000u);
    EXPECT_EQ(pTo->GetNextLevel()->ReadPixel(1, 0), 0xFF00FF00u);
    EXPECT_EQ(pTo->GetNextLevel()->GetNextLevel()->ReadPixel(0, 0), 0xFF0000FFu);
    GetNullConfig().Failures = {{"Load", E_FAIL}};
    EXPECT_EQ(pDevice->Load(pFinal, nullptr, pStaging, nullptr, 0), E_FAIL);
}

TEST_F(NullDeviceTest, DeviceMayOutliveItsFlipChain)
{
    OpenDevice(IID_IDirect3DRGBDevice);
    ReleaseObject(pBack);
    ASSERT_EQ(pPrimary->Release(), 0u);
    pPrimary = nullptr;
    // The device kept no hold on the back surface: nothing dangles.
    EXPECT_EQ(pDevice->BeginScene(), S_OK);
}
