// The null backend: its call log, forced failures, what it enumerates and
// the recording device.
#include "platform/backend.h"
#include "platform/memory_surface.h"
#include "platform/null_backend.h"
#include "platform/null_device.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

class NullDeviceTest : public ::testing::Test {
protected:
    void SetUp() override { ResetNullBackend(); }
    void TearDown() override
    {
        if (pDevice)
            pDevice->Release();
        if (pD3D)
            pD3D->Release();
        if (pBack)
            pBack->Release();
        if (pPrimary)
            pPrimary->Release();
        if (pDD)
            pDD->Release();
        ResetNullBackend();
    }

    // The display set-up of the application: mode, flip chain, back.
    void OpenDisplay()
    {
        void* p = nullptr;
        ASSERT_EQ(DirectDrawCreateEx(nullptr, &p, IID_IDirectDraw7, nullptr), S_OK);
        pDD = static_cast<IDirectDraw7*>(p);
        ASSERT_EQ(pDD->SetCooperativeLevel(nullptr, 0x13), S_OK);
        ASSERT_EQ(pDD->SetDisplayMode(1024, 768, 16, 0, 0), S_OK);
        DDSURFACEDESC2 desc{};
        desc.dwSize = 124;
        desc.dwFlags = DDSD_CAPS | DDSD_BACKBUFFERCOUNT;
        desc.dwBackBufferCount = 1;
        desc.ddsCaps.dwCaps = 0x2218;
        ASSERT_EQ(pDD->CreateSurface(&desc, &pPrimary, nullptr), S_OK);
        DDSCAPS2 caps{DDSCAPS_BACKBUFFER, 0, 0, 0};
        ASSERT_EQ(pPrimary->GetAttachedSurface(&caps, &pBack), S_OK);
    }

    void OpenDevice(const GUID& device)
    {
        OpenDisplay();
        void* p = nullptr;
        ASSERT_EQ(pDD->QueryInterface(IID_IDirect3D7, &p), S_OK);
        pD3D = static_cast<IDirect3D7*>(p);
        ASSERT_EQ(pD3D->CreateDevice(device, pBack, &pDevice), S_OK);
    }

    IDirectDrawSurface7* MakeTexture(uint32_t w, uint32_t h, uint32_t nMips, bool bSystem,
                                     const DDPIXELFORMAT* pFormat = nullptr)
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
        IDirectDrawSurface7* pSurface = nullptr;
        EXPECT_EQ(pDD->CreateSurface(&desc, &pSurface, nullptr), S_OK);
        return pSurface;
    }

    const std::vector<std::string>& Log() { return GetNullCallLog(); }

    IDirectDraw7* pDD = nullptr;
    IDirectDrawSurface7* pPrimary = nullptr;
    IDirectDrawSurface7* pBack = nullptr;
    IDirect3D7* pD3D = nullptr;
    IDirect3DDevice7* pDevice = nullptr;
};

struct CEnumResult {
    std::vector<GUID> Devices;
    std::vector<uint32_t> FilterCaps;
    std::vector<DDPIXELFORMAT> Formats;
    size_t nStopAfter = 100;
};

HRESULT CollectDevice(char*, char*, D3DDEVICEDESC7* pDesc, void* pContext)
{
    auto* pResult = static_cast<CEnumResult*>(pContext);
    pResult->Devices.push_back(pDesc->deviceGUID);
    pResult->FilterCaps.push_back(pDesc->dpcTriCaps.dwTextureFilterCaps);
    return pResult->Devices.size() >= pResult->nStopAfter ? D3DENUMRET_CANCEL : D3DENUMRET_OK;
}

HRESULT CollectFormat(DDPIXELFORMAT* pFormat, void* pContext)
{
    auto* pResult = static_cast<CEnumResult*>(pContext);
    pResult->Formats.push_back(*pFormat);
    return pResult->Formats.size() >= pResult->nStopAfter ? D3DENUMRET_CANCEL : D3DENUMRET_OK;
}

} // namespace

TEST_F(NullDeviceTest, DisplaySetUpIsLoggedInOrder)
{
    OpenDisplay();
    DDBLTFX fx{};
    fx.dwSize = 100;
    ASSERT_EQ(pBack->Blt(nullptr, nullptr, nullptr, 0x1000400, &fx), S_OK);
    RECT rect{1, 2, 30, 40};
    fx.dwFillColor = 65535;
    ASSERT_EQ(pBack->Blt(&rect, nullptr, nullptr, DDBLT_COLORFILL, &fx), S_OK);
    ASSERT_EQ(pPrimary->Flip(nullptr, DDFLIP_WAIT), S_OK);
    const std::vector<std::string> expected = {
        "SetCooperativeLevel 19", "SetDisplayMode 1024 768 16", "CreateSurface primary",
        "GetAttachedSurface 4",   "Blt fill 0",                 "Blt fill 65535 1 2 30 40",
        "Flip"};
    EXPECT_EQ(Log(), expected);
    DDSURFACEDESC2 desc{};
    ASSERT_EQ(pBack->GetSurfaceDesc(&desc), S_OK);
    EXPECT_EQ(desc.dwWidth, 1024u);
    EXPECT_EQ(desc.dwHeight, 768u);
    EXPECT_EQ(desc.ddpfPixelFormat.dwGBitMask, 0x07E0u);
}

TEST_F(NullDeviceTest, ForcedFailuresLogAndChangeNothing)
{
    OpenDisplay();
    GetNullConfig().Failures = {{"Blt", DDERR_SURFACELOST}, {"Flip", E_FAIL}};
    DDBLTFX fx{};
    fx.dwFillColor = 0xFFFF;
    EXPECT_EQ(pBack->Blt(nullptr, nullptr, nullptr, DDBLT_COLORFILL, &fx), DDERR_SURFACELOST);
    EXPECT_EQ(static_cast<CMemorySurface*>(pBack)->ReadPixel(0, 0), 0u);
    EXPECT_EQ(pPrimary->Flip(nullptr, DDFLIP_WAIT), E_FAIL);
    EXPECT_EQ(Log().back(), "Flip");
    EXPECT_EQ(Log()[Log().size() - 2], "Blt fill 65535");
    // A failing CreateSurface gives no surface.
    GetNullConfig().Failures = {{"CreateSurface", DDERR_OUTOFVIDEOMEMORY}};
    DDSURFACEDESC2 desc{};
    desc.dwFlags = DDSD_CAPS | DDSD_WIDTH | DDSD_HEIGHT;
    desc.dwWidth = 16;
    desc.dwHeight = 16;
    desc.ddsCaps.dwCaps = DDSCAPS_OFFSCREENPLAIN;
    IDirectDrawSurface7* pSurface = nullptr;
    EXPECT_EQ(pDD->CreateSurface(&desc, &pSurface, nullptr), DDERR_OUTOFVIDEOMEMORY);
    EXPECT_EQ(pSurface, nullptr);
    EXPECT_EQ(Log().back(), "CreateSurface offscreen 16 16");
    // A name that is not a method of the object fails nothing.
    GetNullConfig().Failures = {{"Bltx", E_FAIL}};
    EXPECT_EQ(pBack->Blt(nullptr, nullptr, nullptr, DDBLT_COLORFILL, &fx), S_OK);
}

TEST_F(NullDeviceTest, BackendSwitchesRefuseTheirObjects)
{
    GetNullConfig().bDirectDraw = false;
    void* p = reinterpret_cast<void*>(1);
    EXPECT_TRUE(FAILED(DirectDrawCreateEx(nullptr, &p, IID_IDirectDraw7, nullptr)));
    EXPECT_EQ(p, nullptr);
    GetNullConfig().bDirectDraw = true;
    EXPECT_EQ(DirectDrawCreateEx(nullptr, &p, IID_IDirect3D7, nullptr), E_NOINTERFACE);
    GetNullConfig().bWindow = false;
    EXPECT_FALSE(GetNullBackend()->OpenWindow("x", 10, 10));
    GetNullConfig().bDirectInput = false;
    IDirectInput7A* pInput = nullptr;
    EXPECT_EQ(GetNullBackend()->CreateDirectInput(&pInput), E_FAIL);
    EXPECT_EQ(pInput, nullptr);
    GetNullConfig().bDirectSound = false;
    IDirectSound* pSound = nullptr;
    EXPECT_EQ(GetNullBackend()->CreateDirectSound(&pSound), E_FAIL);
    EXPECT_EQ(pSound, nullptr);
}

TEST_F(NullDeviceTest, EnumerationsFollowTheConfigurationAndStopOnCancel)
{
    OpenDisplay();
    void* p = nullptr;
    ASSERT_EQ(pDD->QueryInterface(IID_IDirect3D7, &p), S_OK);
    pD3D = static_cast<IDirect3D7*>(p);
    CEnumResult devices;
    ASSERT_EQ(pD3D->EnumDevices(CollectDevice, &devices), S_OK);
    ASSERT_EQ(devices.Devices.size(), 3u);
    EXPECT_EQ(devices.Devices[0], IID_IDirect3DRGBDevice);
    EXPECT_EQ(devices.Devices[1], IID_IDirect3DHALDevice);
    EXPECT_EQ(devices.Devices[2], IID_IDirect3DTnLHalDevice);
    EXPECT_EQ(devices.FilterCaps[0], D3DPTFILTERCAPS_MIPNEAREST | D3DPTFILTERCAPS_MIPLINEAR);
    CEnumResult first;
    first.nStopAfter = 1;
    GetNullConfig().nTextureFilterCaps = 0;
    ASSERT_EQ(pD3D->EnumDevices(CollectDevice, &first), S_OK);
    EXPECT_EQ(first.Devices.size(), 1u);
    EXPECT_EQ(first.FilterCaps[0], 0u);

    CEnumResult z;
    ASSERT_EQ(pD3D->EnumZBufferFormats(IID_IDirect3DHALDevice, CollectFormat, &z), S_OK);
    ASSERT_EQ(z.Formats.size(), 3u);
    EXPECT_EQ(z.Formats[0].dwZBufferBitDepth, 16u);
    EXPECT_EQ(z.Formats[1].dwZBufferBitDepth, 24u);
    EXPECT_EQ(z.Formats[1].dwStencilBitDepth, 0u);
    EXPECT_EQ(z.Formats[2].dwStencilBitDepth, 8u);
    EXPECT_EQ(z.Formats[2].dwFlags, DDPF_ZBUFFER | DDPF_STENCILBUFFER);

    // A device the machine does not offer cannot be made.
    GetNullConfig().Devices = {IID_IDirect3DRGBDevice};
    EXPECT_EQ(pD3D->CreateDevice(IID_IDirect3DHALDevice, pBack, &pDevice), E_FAIL);
    EXPECT_EQ(pDevice, nullptr);
    EXPECT_EQ(Log().back(), "CreateDevice hal");
    ASSERT_EQ(pD3D->CreateDevice(IID_IDirect3DRGBDevice, pBack, &pDevice), S_OK);
    D3DDEVICEDESC7 caps{};
    ASSERT_EQ(pDevice->GetCaps(&caps), S_OK);
    EXPECT_EQ(caps.deviceGUID, IID_IDirect3DRGBDevice);

    CEnumResult textures;
    ASSERT_EQ(pDevice->EnumTextureFormats(CollectFormat, &textures), S_OK);
    ASSERT_EQ(textures.Formats.size(), 4u);
    EXPECT_EQ(textures.Formats[0].dwRBitMask, 0xF800u);
    EXPECT_EQ(textures.Formats[0].dwFlags, DDPF_RGB);
    EXPECT_EQ(textures.Formats[1].dwRGBAlphaBitMask, 0x8000u);
    EXPECT_EQ(textures.Formats[1].dwRBitMask, 0x7C00u);
    EXPECT_EQ(textures.Formats[2].dwGBitMask, 0x00F0u);
    EXPECT_EQ(textures.Formats[3].dwRGBBitCount, 32u);
    EXPECT_EQ(textures.Formats[3].dwFlags, DDPF_RGB | DDPF_ALPHAPIXELS);
}

TEST_F(NullDeviceTest, DeviceCallsAreLoggedAndRemembered)
{
    OpenDevice(IID_IDirect3DTnLHalDevice);
    GetNullCallLog().clear();
    IDirectDrawSurface7* pTexture = MakeTexture(8, 8, 0, false);
    ASSERT_EQ(pDevice->BeginScene(), S_OK);
    ASSERT_EQ(pDevice->SetRenderState(D3DRENDERSTATE_CULLMODE, D3DCULL_NONE), S_OK);
    ASSERT_EQ(pDevice->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1), S_OK);
    ASSERT_EQ(pDevice->SetTexture(0, pTexture), S_OK);
    ASSERT_EQ(pDevice->SetTexture(1, nullptr), S_OK);
    D3DVIEWPORT7 viewport{0, 0, 1024, 768, 0.0f, 1.0f};
    ASSERT_EQ(pDevice->SetViewport(&viewport), S_OK);
    D3DMATRIX m{};
    m.m[0] = 2.0f;
    ASSERT_EQ(pDevice->SetTransform(D3DTRANSFORMSTATE_PROJECTION, &m), S_OK);
    ASSERT_EQ(pDevice->Clear(0, nullptr, D3DCLEAR_ZBUFFER, 0, 1.0f, 0), S_OK);
    float quad[4 * 9] = {};
    quad[9 * 3] = 5.0f;
    ASSERT_EQ(pDevice->DrawPrimitive(D3DPT_TRIANGLEFAN, 0x244, quad, 4, 0), S_OK);
    ASSERT_EQ(pDevice->LightEnable(2, true), S_OK);
    ASSERT_EQ(pDevice->EndScene(), S_OK);
    const std::vector<std::string> expected = {
        "CreateSurface texture 8 8 1 device",
        "BeginScene",
        "SetRenderState 22 1",
        "SetTextureStageState 0 1 2",
        "SetTexture 0 tex",
        "SetTexture 1 null",
        "SetViewport 0 0 1024 768",
        "SetTransform 3",
        "Clear 2",
        "DrawPrimitive 6 580 4",
        "LightEnable 2 1",
        "EndScene"};
    EXPECT_EQ(Log(), expected);

    const CNullDeviceState& state = GetNullDeviceState();
    EXPECT_EQ(state.RenderState(D3DRENDERSTATE_CULLMODE), D3DCULL_NONE);
    EXPECT_EQ(state.RenderState(D3DRENDERSTATE_FILLMODE, 77), 77u);
    EXPECT_EQ(state.StageState(0, D3DTSS_COLOROP), D3DTOP_SELECTARG1);
    EXPECT_EQ(state.Textures[0], pTexture);
    EXPECT_EQ(state.Textures[1], nullptr);
    EXPECT_EQ(state.Transforms[D3DTRANSFORMSTATE_PROJECTION].m[0], 2.0f);
    EXPECT_EQ(state.Transforms[D3DTRANSFORMSTATE_WORLD].m[15], 1.0f); // identity
    EXPECT_EQ(state.Viewport.dwWidth, 1024u);
    ASSERT_EQ(state.Draws.size(), 1u);
    EXPECT_EQ(state.Draws[0].nCount, 4u);
    ASSERT_EQ(state.Draws[0].Vertices.size(), 4u * 36u);
    float x3 = 0;
    std::memcpy(&x3, state.Draws[0].Vertices.data() + 3 * 36, 4);
    EXPECT_EQ(x3, 5.0f);
    EXPECT_EQ(state.nScenes, 1);
    EXPECT_FALSE(state.bInScene);
    EXPECT_TRUE(state.LightEnabled.at(2));

    // The bound texture outlives the application's reference.
    EXPECT_EQ(pTexture->Release(), 1u);
    ASSERT_EQ(pDevice->SetTexture(0, nullptr), S_OK);
    EXPECT_EQ(GetNullDeviceState().Textures[0], nullptr);
}

TEST_F(NullDeviceTest, DeviceFailuresAndUnknownVertexFormats)
{
    OpenDevice(IID_IDirect3DHALDevice);
    GetNullConfig().Failures = {{"SetRenderState", E_FAIL}, {"BeginScene", DDERR_SURFACELOST}};
    EXPECT_EQ(pDevice->SetRenderState(D3DRENDERSTATE_FILLMODE, D3DFILL_WIREFRAME), E_FAIL);
    EXPECT_EQ(GetNullDeviceState().RenderState(D3DRENDERSTATE_FILLMODE), 0u);
    EXPECT_EQ(Log().back(), "SetRenderState 8 2");
    EXPECT_EQ(pDevice->BeginScene(), DDERR_SURFACELOST);
    EXPECT_EQ(GetNullDeviceState().nScenes, 0);
    float v[10] = {};
    EXPECT_EQ(pDevice->DrawPrimitive(D3DPT_TRIANGLEFAN, 0x102, v, 1, 0), DDERR_INVALIDPARAMS);
    EXPECT_TRUE(GetNullDeviceState().Draws.empty());
    EXPECT_EQ(pDevice->SetTextureStageState(8, D3DTSS_COLOROP, 1), DDERR_INVALIDPARAMS);
}

TEST_F(NullDeviceTest, LoadCopiesEveryLevelWithConversion)
{
    OpenDevice(IID_IDirect3DHALDevice);
    IDirectDrawSurface7* pStaging = MakeTexture(4, 2, 3, true);
    const DDPIXELFORMAT argb = MakeRGBFormat(32, 8, 8, 8, 8);
    IDirectDrawSurface7* pFinal = MakeTexture(4, 2, 3, false, &argb);
    // Red on the top level, then green, then blue.
    const uint32_t colours[3] = {0xF800, 0x07E0, 0x001F};
    int nLevel = 0;
    for (auto* p = static_cast<CMemorySurface*>(pStaging); p; p = p->GetNextLevel(), ++nLevel)
        for (uint32_t y = 0; y < p->GetHeight(); ++y)
            for (uint32_t x = 0; x < p->GetWidth(); ++x)
                p->WritePixel(x, y, colours[nLevel]);
    ASSERT_EQ(pDevice->Load(pFinal, nullptr, pStaging, nullptr, 0), S_OK);
    auto* pTo = static_cast<CMemorySurface*>(pFinal);
    ASSERT_EQ(pTo->CountLevels(), 3u);
    EXPECT_EQ(pTo->ReadPixel(3, 1), 0xFFFF0000u);
    EXPECT_EQ(pTo->GetNextLevel()->ReadPixel(1, 0), 0xFF00FF00u);
    EXPECT_EQ(pTo->GetNextLevel()->GetNextLevel()->ReadPixel(0, 0), 0xFF0000FFu);
    EXPECT_EQ(Log().back(), "Load");
    GetNullConfig().Failures = {{"Load", E_FAIL}};
    EXPECT_EQ(pDevice->Load(pFinal, nullptr, pStaging, nullptr, 0), E_FAIL);
    pStaging->Release();
    pFinal->Release();
}

TEST_F(NullDeviceTest, DeviceMayOutliveItsFlipChain)
{
    OpenDevice(IID_IDirect3DRGBDevice);
    pBack->Release();
    pBack = nullptr;
    EXPECT_EQ(pPrimary->Release(), 0u);
    pPrimary = nullptr;
    // The device kept no hold on the back surface: nothing dangles.
    EXPECT_EQ(pDevice->BeginScene(), S_OK);
    EXPECT_EQ(pDevice->Release(), 0u);
    pDevice = nullptr;
}
