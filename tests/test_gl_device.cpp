// The OpenGL display and device on Mesa's software rasteriser, headless:
// pictures are read back from the framebuffer and compared texel by texel.
#include "platform/gdi.h"
#include "platform/gl_display.h"
#include "platform/gl_state.h"
#include "platform/gl_surfaces.h"
#include "platform/sdl_backend.h"
#include "platform/sdl_window.h"
#include "tests/display_fixture.h"
#include "tests/picture.h"
#include "tests/run_program.h"

#include <SDL.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace {

constexpr uint32_t W = 64;
constexpr uint32_t H = 48;
const DDPIXELFORMAT ARGB8888 = MakeRGBFormat(32, 8, 8, 8, 8);

bool g_bContext = false;

struct CScreenVertex {
    float x, y, z, rhw;
    uint32_t nColour;
    float u0, v0, u1, v1;
};

struct CWorldVertex {
    float x, y, z;
    uint32_t nReserved;
    uint32_t nColour;
    uint32_t nSpecular;
    float u0, v0, u1, v1;
};

HRESULT CollectDevice(char*, char*, D3DDEVICEDESC7* pDesc, void* pContext)
{
    static_cast<std::vector<GUID>*>(pContext)->push_back(pDesc->deviceGUID);
    return D3DENUMRET_OK;
}

class GLDeviceTest : public DisplayTest {
protected:
    // A software context without a display, so pictures are exact. The
    // window and its context stay to the end of the process: closing the
    // video driver unloads OpenGL libraries that keep blocks of their own,
    // which a leak checker then can no longer tell apart.
    static void SetUpTestSuite()
    {
        if (g_bContext)
            return;
        setenv("SDL_VIDEODRIVER", "offscreen", 1);
        setenv("GALLIUM_DRIVER", "llvmpipe", 1);
        setenv("LIBGL_ALWAYS_SOFTWARE", "1", 1);
        CSdlOptions options;
        options.bScripted = true;
        std::string error;
        g_bContext = InitSdlBackend(options, &error) && GetSdlBackend()->OpenWindow("test", W, H);
    }

    void SetUp() override
    {
        DisplayTest::SetUp();
        if (!g_bContext)
            GTEST_SKIP() << "no OpenGL context: " << SDL_GetError();
        ASSERT_EQ(CreateGLDirectDraw(&pDD), S_OK);
        OpenDisplay(W, H);
    }

    // The first device offered, over the whole picture, culling nothing.
    void Open(uint32_t nDepth = 0, uint32_t nStencil = 0)
    {
        void* p = nullptr;
        ASSERT_EQ(pDD->QueryInterface(IID_IDirect3D7, &p), S_OK);
        std::vector<GUID> devices;
        static_cast<IDirect3D7*>(p)->EnumDevices(CollectDevice, &devices);
        static_cast<IDirect3D7*>(p)->Release();
        ASSERT_FALSE(devices.empty());
        OpenDevice(devices[0], nDepth, nStencil);
        D3DVIEWPORT7 viewport{0, 0, W, H, 0.0f, 1.0f};
        ASSERT_EQ(pDevice->SetViewport(&viewport), S_OK);
        pDevice->SetRenderState(D3DRENDERSTATE_CULLMODE, D3DCULL_NONE);
        pDevice->SetRenderState(D3DRENDERSTATE_LIGHTING, 0);
    }

    // A texture of 32-bit ARGB texels, each level filled with its colour
    // (the last colour for the levels past the list).
    IDirectDrawSurface7* MakeTexture(uint32_t w, uint32_t h, uint32_t nMips,
                                     const std::vector<uint32_t>& levelColours,
                                     const DDCOLORKEY* pKey = nullptr)
    {
        IDirectDrawSurface7* pTexture =
            DisplayTest::MakeTexture(TextureDesc(w, h, nMips, &ARGB8888, pKey));
        size_t i = 0;
        for (auto* p = static_cast<CMemorySurface*>(pTexture); p; p = p->GetNextLevel(), ++i)
            Fill(p, levelColours[std::min(i, levelColours.size() - 1)]);
        return pTexture;
    }

    // A screen quad from (x0, y0) to (x1, y1) with texture 0..1 on both pairs.
    void DrawQuad(float x0, float y0, float x1, float y1, float z = 0.5f,
                  uint32_t nColour = 0xFFFFFFFFu)
    {
        CScreenVertex quad[4] = {{x0, y0, z, 1, nColour, 0, 0, 0, 0},
                                 {x1, y0, z, 1, nColour, 1, 0, 1, 0},
                                 {x1, y1, z, 1, nColour, 1, 1, 1, 1},
                                 {x0, y1, z, 1, nColour, 0, 1, 0, 1}};
        ASSERT_EQ(pDevice->DrawPrimitive(D3DPT_TRIANGLEFAN, 0x244, quad, 4, 0), S_OK);
    }

    // A world quad from (x0, y0) to (x1, y1) at depth z, both texture pairs
    // running 0..1 from its top-left corner: in clip space as long as the
    // transforms stay the identity.
    static std::array<CWorldVertex, 4> WorldQuad(float x0, float y0, float x1, float y1,
                                                 float z = 0.5f, uint32_t nColour = 0xFFFFFFFFu)
    {
        return {{{x0, y1, z, 0, nColour, 0, 0, 0, 0, 0},
                 {x1, y1, z, 0, nColour, 0, 1, 0, 1, 0},
                 {x1, y0, z, 0, nColour, 0, 1, 1, 1, 1},
                 {x0, y0, z, 0, nColour, 0, 0, 1, 0, 1}}};
    }
    void DrawWorld(std::array<CWorldVertex, 4>& quad)
    {
        ASSERT_EQ(pDevice->DrawPrimitive(D3DPT_TRIANGLEFAN, 0x2E2, quad.data(), 4, 0), S_OK);
    }

    // Stage 0 gives the source alone, stage 1 is off; the texture, when
    // given, is bound at stage 0.
    void UseOnly(uint32_t nSource, IDirectDrawSurface7* pTexture = nullptr)
    {
        pDevice->SetTextureStageState(0, D3DTSS_COLORARG1, nSource);
        pDevice->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1);
        pDevice->SetTextureStageState(1, D3DTSS_COLOROP, D3DTOP_DISABLE);
        if (pTexture)
            pDevice->SetTexture(0, pTexture);
    }

    // The walk-through's lightmapped set-up: texture times lightmap, the
    // lightmap clamped and read through the second pair.
    void UseLightmapped()
    {
        UseOnly(D3DTA_TEXTURE);
        pDevice->SetTextureStageState(1, D3DTSS_COLORARG2, D3DTA_CURRENT);
        pDevice->SetTextureStageState(1, D3DTSS_COLORARG1, D3DTA_TEXTURE);
        pDevice->SetTextureStageState(1, D3DTSS_COLOROP, D3DTOP_MODULATE);
        pDevice->SetTextureStageState(1, D3DTSS_ADDRESS, D3DTADDRESS_CLAMP);
        pDevice->SetTextureStageState(1, D3DTSS_TEXCOORDINDEX, 1);
    }

    // The framebuffer's picture.
    CPicture Picture()
    {
        CPicture picture{static_cast<int>(W), static_cast<int>(H), {}};
        dynamic_cast<CGLBackSurface*>(pBack)->ReadPicture(&picture.Rgb);
        return picture;
    }
    // The picture of one scene drawn on black.
    CPicture Scene(const std::function<void()>& draw)
    {
        Fill(pBack, 0);
        EXPECT_EQ(pDevice->BeginScene(), S_OK);
        draw();
        EXPECT_EQ(pDevice->EndScene(), S_OK);
        return Picture();
    }
    // A pixel as six hex digits, RRGGBB.
    static std::string Hex(const CPicture& picture, int x, int y)
    {
        char szText[8];
        std::snprintf(szText, sizeof(szText), "%06x", picture.At(x, y));
        return szText;
    }
    static uint32_t CpuPixel(IDirectDrawSurface7* pSurface, uint32_t x, uint32_t y)
    {
        DDSURFACEDESC2 desc{};
        EXPECT_EQ(pSurface->Lock(nullptr, &desc, DDLOCK_WAIT, nullptr), S_OK);
        uint16_t v = static_cast<uint16_t*>(desc.lpSurface)[y * desc.lPitch / 2 + x];
        pSurface->Unlock(nullptr);
        return v;
    }
};

} // namespace

// Forced to llvmpipe where Mesa is the driver; a machine whose only OpenGL
// is a GPU vendor's renders on the GPU.
TEST_F(GLDeviceTest, DevicesFollowTheRenderer)
{
    Open();
    const std::string renderer = reinterpret_cast<const char*>(glGetString(GL_RENDERER));
    std::vector<GUID> devices;
    ASSERT_EQ(pD3D->EnumDevices(CollectDevice, &devices), S_OK);
    IDirect3DDevice7* pOther = nullptr;
    if (renderer.find("llvmpipe") != std::string::npos) {
        EXPECT_EQ(devices, std::vector<GUID>{IID_IDirect3DRGBDevice});
        EXPECT_EQ(pD3D->CreateDevice(IID_IDirect3DHALDevice, pBack, &pOther), E_FAIL);
    } else {
        EXPECT_EQ(devices, (std::vector<GUID>{IID_IDirect3DHALDevice, IID_IDirect3DTnLHalDevice}));
    }
    EXPECT_EQ(pD3D->CreateDevice(devices[0], pPrimary, &pOther), DDERR_INVALIDPARAMS);
}

// The back surface's CPU side (fills, device contexts) and the device's
// drawing meet in one picture, read back in the display's 5-6-5 format.
TEST_F(GLDeviceTest, CpuAndGpuDrawingShareOnePicture)
{
    Open();
    Fill(pBack, 0x001F); // blue
    UseOnly(D3DTA_DIFFUSE);
    ASSERT_EQ(pDevice->BeginScene(), S_OK);
    DrawQuad(0, 0, 32, 48, 0.5f, 0xFFFF0000u);
    HDC hdc = nullptr;
    ASSERT_EQ(pBack->GetDC(&hdc), S_OK);
    EXPECT_EQ(GetPixel(hdc, 10, 10), RGB(255, 0, 0)); // read back from the GPU side
    SetPixel(hdc, 40, 10, RGB(0, 255, 0));
    ASSERT_EQ(pBack->ReleaseDC(hdc), S_OK);
    DrawQuad(48, 0, 64, 48, 0.5f, 0xFFFFFFFFu); // uploads the CPU side first
    ASSERT_EQ(pDevice->EndScene(), S_OK);
    CPicture rgb = Picture();
    EXPECT_EQ(Hex(rgb, 10, 10), "ff0000");
    EXPECT_EQ(Hex(rgb, 40, 10), "00ff00");
    EXPECT_EQ(Hex(rgb, 40, 11), "0000ff");
    EXPECT_EQ(Hex(rgb, 60, 10), "ffffff");
    EXPECT_EQ(CpuPixel(pBack, 10, 10), 0xF800u);
    EXPECT_EQ(CpuPixel(pBack, 40, 10), 0x07E0u);
    // A fill of part of the surface keeps what the device drew beside it.
    DrawQuad(48, 0, 64, 48, 0.5f, 0xFF00FFFFu);
    RECT corner{0, 0, 4, 4};
    Fill(pBack, 0xFFFF, &corner);
    rgb = Picture();
    EXPECT_EQ(Hex(rgb, 1, 1), "ffffff");
    EXPECT_EQ(Hex(rgb, 60, 10), "00ffff");
}

TEST_F(GLDeviceTest, TexturedScreenQuadIsUprightAndChangedTexelsAreUploaded)
{
    Open();
    IDirectDrawSurface7* pTexture = MakeTexture(2, 2, 0, {0});
    auto* pLevel = static_cast<CMemorySurface*>(pTexture);
    DDSURFACEDESC2 desc{};
    ASSERT_EQ(pTexture->Lock(nullptr, &desc, DDLOCK_WAIT, nullptr), S_OK);
    pLevel->WritePixel(0, 0, 0xFFFF0000u); // top-left red
    pLevel->WritePixel(1, 0, 0xFF00FF00u); // top-right green
    pLevel->WritePixel(0, 1, 0xFF0000FFu); // bottom-left blue
    pLevel->WritePixel(1, 1, 0xFFFFFFFFu);
    pTexture->Unlock(nullptr);
    UseOnly(D3DTA_TEXTURE, pTexture);
    DrawQuad(0, 0, W, H);
    CPicture rgb = Picture();
    EXPECT_EQ(Hex(rgb, 1, 1), "ff0000");
    EXPECT_EQ(Hex(rgb, 62, 1), "00ff00");
    EXPECT_EQ(Hex(rgb, 1, 46), "0000ff");
    EXPECT_EQ(Hex(rgb, 62, 46), "ffffff");
    ASSERT_EQ(pTexture->Lock(nullptr, &desc, DDLOCK_WAIT, nullptr), S_OK);
    pLevel->WritePixel(0, 0, 0xFF000000u);
    pTexture->Unlock(nullptr);
    DrawQuad(0, 0, W, H);
    EXPECT_EQ(Hex(Picture(), 1, 1), "000000");
}

TEST_F(GLDeviceTest, LightmapStageMultipliesTheTexture)
{
    Open();
    IDirectDrawSurface7* pTexture = MakeTexture(4, 4, 0, {0xFFC08040u});
    IDirectDrawSurface7* pLightmap = MakeTexture(4, 4, 0, {0xFF80FF40u});
    UseLightmapped();
    pDevice->SetTexture(0, pTexture);
    pDevice->SetTexture(1, pLightmap);
    DrawQuad(0, 0, W, H);
    // 0xC0 * 0x80, 0x80 * 0xFF, 0x40 * 0x40, each over 255.
    EXPECT_PRED3(NearColour, Picture().At(30, 20), 0x608010u, 1);
    // Without a texture the stage samples white: the lightmap shows alone.
    pDevice->SetTexture(0, nullptr);
    DrawQuad(0, 0, W, H);
    EXPECT_PRED3(NearColour, Picture().At(30, 20), 0x80FF40u, 1);
}

TEST_F(GLDeviceTest, WireframeDrawsTheEdgesOfEachTriangleOnly)
{
    Open();
    UseOnly(D3DTA_TFACTOR);
    pDevice->SetRenderState(D3DRENDERSTATE_TEXTUREFACTOR, 0xFFFFFF00u);
    pDevice->SetRenderState(D3DRENDERSTATE_FILLMODE, D3DFILL_WIREFRAME);
    const CPicture rgb = Scene([&] { DrawQuad(10.5f, 10.5f, 50.5f, 40.5f); });
    // Both triangles of the fan show their edges, the shared one included.
    EXPECT_EQ(Hex(rgb, 20, 30), "000000");
    EXPECT_EQ(Hex(rgb, 45, 15), "000000");
    EXPECT_EQ(Hex(rgb, 30, 25), "ffff00");
    EXPECT_EQ(Hex(rgb, 30, 10), "ffff00");
    EXPECT_EQ(Hex(rgb, 10, 25), "ffff00");
    pDevice->SetRenderState(D3DRENDERSTATE_FILLMODE, D3DFILL_SOLID);
    DrawQuad(10.5f, 10.5f, 50.5f, 40.5f);
    EXPECT_EQ(Hex(Picture(), 20, 30), "ffff00");
}

// Screen vertices, projected world vertices and the cleared z-buffer all
// count depth from 0 (near) to 1 (far); the nearer fragment wins.
TEST_F(GLDeviceTest, DepthsOfClearScreenAndWorldShareTheZeroToOneRange)
{
    Open(24, 8);
    UseOnly(D3DTA_DIFFUSE);
    pDevice->SetRenderState(D3DRENDERSTATE_ZFUNC, D3DCMP_LESSEQUAL);
    // Near 1, far 2: z' = 2 (z - 1) over w = z, a depth of 2 - 2 / z, which
    // is 0.4 at z 1.25 and 0.6 at z 1 / 0.7.
    D3DMATRIX projection{};
    projection.m[0] = projection.m[5] = 1.0f;
    projection.m[10] = 2.0f;
    projection.m[11] = 1.0f;
    projection.m[14] = -2.0f;
    pDevice->SetTransform(D3DTRANSFORMSTATE_PROJECTION, &projection);
    ASSERT_EQ(pDevice->Clear(0, nullptr, D3DCLEAR_ZBUFFER | D3DCLEAR_TARGET, 0, 0.5f, 0), S_OK);
    DrawQuad(0, 0, 16, H, 0.4f, 0xFFFF0000u);
    DrawQuad(16, 0, 32, H, 0.6f, 0xFFFF0000u);
    std::array<CWorldVertex, 4> nearer = WorldQuad(0, -5, 5, 5, 1.25f, 0xFF00FF00u);
    std::array<CWorldVertex, 4> farther = WorldQuad(-5, -5, 0, 5, 1.0f / 0.7f, 0xFF00FF00u);
    DrawWorld(nearer);
    DrawWorld(farther);
    DrawQuad(0, 0, W, H, 0.45f, 0xFF0000FFu); // between the world quads
    CPicture rgb = Picture();
    EXPECT_EQ(Hex(rgb, 8, 24), "ff0000");
    EXPECT_EQ(Hex(rgb, 24, 24), "0000ff");
    EXPECT_EQ(Hex(rgb, 56, 24), "00ff00");
    // Clearing the depth alone keeps the colours.
    ASSERT_EQ(pDevice->Clear(0, nullptr, D3DCLEAR_ZBUFFER, 0, 1.0f, 0), S_OK);
    DrawQuad(0, 0, 16, 24, 0.9f, 0xFFFFFFFFu);
    rgb = Picture();
    EXPECT_EQ(Hex(rgb, 8, 12), "ffffff");
    EXPECT_EQ(Hex(rgb, 8, 36), "ff0000");
}

TEST_F(GLDeviceTest, WorldVerticesGoThroughWorldViewAndProjection)
{
    Open(16);
    UseOnly(D3DTA_DIFFUSE);
    // A perspective projection of 90 degrees vertically, near 1, far 100.
    const float fQ = 100.0f / 99.0f;
    D3DMATRIX projection{};
    projection.m[0] = static_cast<float>(H) / W;
    projection.m[5] = 1.0f;
    projection.m[10] = fQ;
    projection.m[11] = 1.0f;
    projection.m[14] = -fQ;
    pDevice->SetTransform(D3DTRANSFORMSTATE_PROJECTION, &projection);
    // World before view: y halved, then moved up by 2.
    D3DMATRIX world = IdentityMatrix();
    world.m[5] = 0.5f;
    pDevice->SetTransform(D3DTRANSFORMSTATE_WORLD, &world);
    D3DMATRIX view = IdentityMatrix();
    view.m[13] = 2.0f;
    pDevice->SetTransform(D3DTRANSFORMSTATE_VIEW, &view);
    pDevice->Clear(0, nullptr, D3DCLEAR_ZBUFFER, 0, 1.0f, 0);
    // From y 0 to 8 at depth 10, so 2 to 6 after the transforms: its lower
    // edge 0.2 of the half height (4.8 pixels) above the picture's centre.
    std::array<CWorldVertex, 4> quad = WorldQuad(-2, 0, 2, 8, 10.0f);
    const CPicture rgb = Scene([&] { DrawWorld(quad); });
    EXPECT_EQ(Hex(rgb, 32, 18), "ffffff");
    EXPECT_EQ(Hex(rgb, 32, 19), "000000");
    // Beyond the far plane it is clipped away.
    quad = WorldQuad(-40, 0, 40, 8, 101.0f);
    EXPECT_EQ(Hex(Scene([&] { DrawWorld(quad); }), 32, 23), "000000");
}

TEST_F(GLDeviceTest, CullingFollowsScreenWinding)
{
    Open();
    UseOnly(D3DTA_DIFFUSE);
    // Top-left, top-right, bottom-left: clockwise as seen on the screen.
    CScreenVertex clockwise[3] = {{0, 0, 0.5f, 1, 0xFFFFFFFFu, 0, 0, 0, 0},
                                  {64, 0, 0.5f, 1, 0xFFFFFFFFu, 0, 0, 0, 0},
                                  {0, 48, 0.5f, 1, 0xFFFFFFFFu, 0, 0, 0, 0}};
    const std::pair<uint32_t, uint32_t> cases[] = {
        {D3DCULL_CCW, 0xFFFFFF}, {D3DCULL_CW, 0}, {D3DCULL_NONE, 0xFFFFFF}};
    for (const auto& [nCull, nExpected] : cases) {
        pDevice->SetRenderState(D3DRENDERSTATE_CULLMODE, nCull);
        const CPicture rgb =
            Scene([&] { pDevice->DrawPrimitive(D3DPT_TRIANGLEFAN, 0x244, clockwise, 3, 0); });
        EXPECT_EQ(rgb.At(5, 5), nExpected) << "cull mode " << nCull;
    }
}

TEST_F(GLDeviceTest, ColourKeyedTexelsAreTransparent)
{
    Open();
    const uint32_t nKey = 0xFF7F007Fu;
    DDCOLORKEY key{nKey, nKey};
    IDirectDrawSurface7* pGlyph = MakeTexture(2, 1, 0, {nKey}, &key);
    static_cast<CMemorySurface*>(pGlyph)->WritePixel(1, 0, 0xFFFFFFFFu);
    Fill(pBack, 0xF800); // red
    UseOnly(D3DTA_TEXTURE, pGlyph);
    pDevice->SetRenderState(D3DRENDERSTATE_COLORKEYENABLE, 1);
    DrawQuad(0, 0, W, H);
    CPicture rgb = Picture();
    EXPECT_EQ(Hex(rgb, 10, 10), "ff0000");     // keyed half: background
    EXPECT_EQ(Hex(rgb, 50, 10), "ffffff"); // white half drawn
    pDevice->SetRenderState(D3DRENDERSTATE_COLORKEYENABLE, 0);
    DrawQuad(0, 0, W, H);
    EXPECT_EQ(Hex(Picture(), 10, 10), "7f007f"); // the key colour itself
}

TEST_F(GLDeviceTest, MipFilterChoosesTheLevel)
{
    Open();
    IDirectDrawSurface7* pTexture = MakeTexture(16, 16, 3, {0xFFFF0000u, 0xFF00FF00u, 0xFF0000FFu});
    UseOnly(D3DTA_TEXTURE, pTexture);
    // 16 texels on 4 pixels: level 2 (4x4) fits.
    pDevice->SetTextureStageState(0, D3DTSS_MIPFILTER, D3DTFP_POINT);
    DrawQuad(0, 0, 4, 4);
    EXPECT_EQ(Hex(Picture(), 1, 1), "0000ff");
    pDevice->SetTextureStageState(0, D3DTSS_MIPFILTER, D3DTFP_NONE);
    DrawQuad(0, 0, 4, 4);
    EXPECT_EQ(Hex(Picture(), 1, 1), "ff0000");
}

TEST_F(GLDeviceTest, ShotIsWrittenOnceWithTheTopRowFirst)
{
    Fill(pBack, 0);
    RECT corner{0, 0, 1, 1};
    Fill(pBack, 0xFFFF, &corner);
    const std::string path = Path("shot.png");
    RequestShot(path);
    ASSERT_EQ(pPrimary->Flip(nullptr, DDFLIP_WAIT), S_OK);
    CPicture shot;
    ASSERT_TRUE(LoadPicture(path, &shot));
    EXPECT_EQ(shot.nWidth, static_cast<int>(W));
    EXPECT_EQ(shot.nHeight, static_cast<int>(H));
    EXPECT_EQ(shot.At(0, 0), 0xFFFFFFu);
    EXPECT_EQ(shot.At(1, 0), 0u);
    EXPECT_EQ(shot.At(0, H - 1), 0u);
    std::filesystem::remove(path);
    ASSERT_EQ(pPrimary->Flip(nullptr, DDFLIP_WAIT), S_OK);
    EXPECT_FALSE(std::filesystem::exists(path));
    // The back surface keeps its picture across the flip.
    EXPECT_EQ(CpuPixel(pBack, 0, 0), 0xFFFFu);
}

TEST_F(GLDeviceTest, DeviceWithoutItsFlipChainReportsTheLoss)
{
    Open(16);
    ReleaseObject(pBack);
    ReleaseObject(pPrimary);
    EXPECT_EQ(pDevice->BeginScene(), DDERR_SURFACELOST);
    D3DVIEWPORT7 viewport{0, 0, W, H, 0.0f, 1.0f};
    EXPECT_EQ(pDevice->SetViewport(&viewport), DDERR_SURFACELOST);
    CScreenVertex v[3] = {};
    EXPECT_EQ(pDevice->DrawPrimitive(D3DPT_TRIANGLEFAN, 0x244, v, 3, 0), DDERR_SURFACELOST);
}

// ---- Batches of world fans -------------------------------------------------

struct CFrameCase {
    const char* pszName;
    uint32_t nDepth;
    uint32_t nFill;
    bool bFlat; // the wireframe mode's flat colour, which reads no texture
    uint64_t nDraws;
    uint64_t nBinds;
};

class GLFrameTest : public GLDeviceTest, public ::testing::WithParamInterface<CFrameCase> {};

// Four faces in the four quarters, textures red, blue, red, blue at stage 0,
// a lightmap of their own at stage 1. Opaque depth-tested faces may be drawn
// in any order: one call per texture. Otherwise only neighbours join.
TEST_P(GLFrameTest, DrawCallsAndBindsOfAFrame)
{
    const CFrameCase& c = GetParam();
    Open(c.nDepth);
    IDirectDrawSurface7* textures[2] = {MakeTexture(8, 8, 0, {0xFFFF0000u}),
                                        MakeTexture(8, 8, 0, {0xFF0000FFu})};
    UseLightmapped();
    if (c.bFlat) {
        pDevice->SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_TFACTOR);
        pDevice->SetTextureStageState(1, D3DTSS_COLOROP, D3DTOP_DISABLE);
    }
    pDevice->SetRenderState(D3DRENDERSTATE_FILLMODE, c.nFill);
    std::array<CWorldVertex, 4> quads[4] = {WorldQuad(-1, 0, 0, 1), WorldQuad(0, 0, 1, 1),
                                            WorldQuad(-1, -1, 0, 0), WorldQuad(0, -1, 1, 0)};
    IDirectDrawSurface7* lightmaps[4];
    for (IDirectDrawSurface7*& p : lightmaps)
        p = MakeTexture(16, 16, 0, {0xFFFFFFFFu});
    const CGLDeviceCounters before = GetGLDeviceCounters();
    const CPicture rgb = Scene([&] {
        pDevice->Clear(0, nullptr, D3DCLEAR_ZBUFFER, 0, 1.0f, 0);
        for (int i = 0; i < 4; ++i) {
            pDevice->SetTexture(0, textures[i % 2]);
            pDevice->SetTexture(1, lightmaps[i]);
            DrawWorld(quads[i]);
        }
    });
    EXPECT_EQ(GetGLDeviceCounters().nDrawCalls - before.nDrawCalls, c.nDraws);
    EXPECT_EQ(GetGLDeviceCounters().nTextureBinds - before.nTextureBinds, c.nBinds);
    if (c.nFill != D3DFILL_SOLID || c.bFlat)
        return;
    EXPECT_EQ(Hex(rgb, 16, 12), "ff0000");
    EXPECT_EQ(Hex(rgb, 48, 12), "0000ff");
    EXPECT_EQ(Hex(rgb, 16, 36), "ff0000");
    EXPECT_EQ(Hex(rgb, 48, 36), "0000ff");
}

// Binds: red and the atlas page, then blue; in call order red and blue
// twice; the flat colour binds white once and keeps it.
const CFrameCase FRAME_CASES[] = {
    {"SolidWithDepth", 16, D3DFILL_SOLID, false, 2, 3},
    {"Wireframe", 16, D3DFILL_WIREFRAME, false, 4, 5},
    {"SolidWithoutDepth", 0, D3DFILL_SOLID, false, 4, 5},
    {"FlatColourWireframe", 16, D3DFILL_WIREFRAME, true, 1, 1},
};
INSTANTIATE_TEST_SUITE_P(Batches, GLFrameTest, ::testing::ValuesIn(FRAME_CASES),
                         [](const auto& info) { return std::string(info.param.pszName); });

struct CAtlasCase {
    const char* pszName;
    uint32_t nCell;
    uint32_t nMagFilter;
};

class GLAtlasTest : public GLDeviceTest, public ::testing::WithParamInterface<CAtlasCase> {};

// A lightmap of four coloured quarters among red ones, at the page's corner
// or at the end of a row, stretched over the whole picture: its corner
// pixels, filtered or not, show its own corner texels only, as a clamped
// texture of its own would.
TEST_P(GLAtlasTest, LightmapAtAnAtlasBorderReadsOnlyItsOwnTexels)
{
    const CAtlasCase& c = GetParam();
    Open();
    UseLightmapped();
    pDevice->SetTextureStageState(1, D3DTSS_MAGFILTER, c.nMagFilter);
    IDirectDrawSurface7* pLightmap = nullptr;
    // Enough cells that the one below the quartered one is taken too.
    for (uint32_t i = 0; i <= c.nCell + GL_ATLAS_ROW_CELLS; ++i) {
        IDirectDrawSurface7* p = MakeTexture(16, 16, 0, {i == c.nCell ? 0xFF20C040u : 0xFFFF0000u});
        if (i == c.nCell)
            pLightmap = p;
    }
    RECT quarters[3] = {{8, 0, 16, 8}, {0, 8, 8, 16}, {8, 8, 16, 16}};
    Fill(pLightmap, 0xFF20C0C0u, &quarters[0]);
    Fill(pLightmap, 0xFF2040C0u, &quarters[1]);
    Fill(pLightmap, 0xFFC0C040u, &quarters[2]);
    ASSERT_EQ(static_cast<CGLTextureSurface*>(pLightmap)->GetAtlasCell(),
              static_cast<int32_t>(c.nCell));
    pDevice->SetTexture(1, pLightmap);
    std::array<CWorldVertex, 4> quad = WorldQuad(-1, -1, 1, 1);
    DrawWorld(quad);
    CPicture rgb = Picture();
    EXPECT_EQ(Hex(rgb, 0, 0), "20c040");
    EXPECT_EQ(Hex(rgb, W - 1, 0), "20c0c0");
    EXPECT_EQ(Hex(rgb, 0, H - 1), "2040c0");
    EXPECT_EQ(Hex(rgb, W - 1, H - 1), "c0c040");
    // The same face with a red neighbour's lightmap shows that one.
    pDevice->SetTexture(1, Textures[Textures.size() - 2]);
    DrawWorld(quad);
    EXPECT_EQ(Hex(Picture(), 0, 0), "ff0000");
}

const CAtlasCase ATLAS_CASES[] = {
    {"PageCornerNearest", 0, D3DTFG_POINT},
    {"PageCornerLinear", 0, D3DTFG_LINEAR},
    {"RowEndNearest", GL_ATLAS_ROW_CELLS - 1, D3DTFG_POINT},
    {"RowEndLinear", GL_ATLAS_ROW_CELLS - 1, D3DTFG_LINEAR},
};
INSTANTIATE_TEST_SUITE_P(Cells, GLAtlasTest, ::testing::ValuesIn(ATLAS_CASES),
                         [](const auto& info) { return std::string(info.param.pszName); });

// A lightmap-sized texture that is wrapped, or whose coordinates run past
// its edge (0..2 here), is drawn from a texture of its own, wrapped or
// clamped as its stage says: the atlas stands in only for clamping.
TEST_F(GLDeviceTest, LightmapSizedTexturesKeepTheirAddressing)
{
    Open();
    IDirectDrawSurface7* pTexture = MakeTexture(16, 16, 0, {0xFFFF0000u});
    RECT right{8, 0, 16, 16};
    Fill(pTexture, 0xFF0000FFu, &right);
    MakeTexture(16, 16, 0, {0xFF00FF00u}); // the next cell of the atlas
    UseOnly(D3DTA_TEXTURE, pTexture);
    std::array<CWorldVertex, 4> quad = WorldQuad(-1, -1, 1, 1);
    for (CWorldVertex& v : quad)
        v.u0 *= 2.0f;
    DrawWorld(quad); // wrapped by default: red, blue, red, blue
    CPicture rgb = Picture();
    EXPECT_EQ(Hex(rgb, 8, 24), "ff0000");
    EXPECT_EQ(Hex(rgb, 24, 24), "0000ff");
    EXPECT_EQ(Hex(rgb, 40, 24), "ff0000");
    EXPECT_EQ(Hex(rgb, 56, 24), "0000ff");
    pDevice->SetTextureStageState(0, D3DTSS_ADDRESS, D3DTADDRESS_CLAMP);
    DrawWorld(quad); // clamped: the right edge's blue beyond the middle
    rgb = Picture();
    EXPECT_EQ(Hex(rgb, 8, 24), "ff0000");
    EXPECT_EQ(Hex(rgb, 40, 24), "0000ff");
    EXPECT_EQ(Hex(rgb, 56, 24), "0000ff");
    // Within 0..1, filtered and wrapped: the left edge pixel reads texel 0
    // (red) by 0.625 and, across the wrap, texel 15 (blue) by 0.375.
    pDevice->SetTextureStageState(0, D3DTSS_ADDRESS, D3DTADDRESS_WRAP);
    pDevice->SetTextureStageState(0, D3DTSS_MAGFILTER, D3DTFG_LINEAR);
    quad = WorldQuad(-1, -1, 1, 1);
    DrawWorld(quad);
    EXPECT_PRED3(NearColour, Picture().At(0, 24), 0x9F0060u, 1);
}

// What changes between two draws of one scene (the vertices at an address,
// a texture's texels, a state, a texture let go) reaches only the draws
// after it.
TEST_F(GLDeviceTest, GatheredFansKeepWhatHeldWhenTheyWereDrawn)
{
    Open(16);
    IDirectDrawSurface7* pTexture = MakeTexture(8, 8, 0, {0xFFFF0000u});
    UseOnly(D3DTA_TEXTURE, pTexture);
    std::array<CWorldVertex, 4> quad = WorldQuad(-1, -1, 0, 1);
    Scene([&] { DrawWorld(quad); });
    // The same array moved to the right half.
    quad = WorldQuad(0, -1, 1, 1);
    CPicture rgb = Scene([&] { DrawWorld(quad); });
    EXPECT_EQ(Hex(rgb, 16, 24), "000000");
    EXPECT_EQ(Hex(rgb, 48, 24), "ff0000");

    // Red, then its top half blue, then all of it green.
    std::array<CWorldVertex, 4> thirds[3] = {WorldQuad(-1, -1, -0.25f, 1),
                                             WorldQuad(-0.25f, -1, 0.25f, 1),
                                             WorldQuad(0.25f, -1, 1, 1)};
    rgb = Scene([&] {
        DrawWorld(thirds[0]);
        // Written through a lock, as the viewer writes its lightmaps.
        DDSURFACEDESC2 desc{};
        ASSERT_EQ(pTexture->Lock(nullptr, &desc, DDLOCK_WAIT, nullptr), S_OK);
        for (uint32_t y = 0; y < 4; ++y)
            for (uint32_t x = 0; x < 8; ++x)
                static_cast<CMemorySurface*>(pTexture)->WritePixel(x, y, 0xFF0000FFu);
        pTexture->Unlock(nullptr);
        DrawWorld(thirds[1]);
        Fill(pTexture, 0xFF00FF00u);
        DrawWorld(thirds[2]);
    });
    EXPECT_EQ(Hex(rgb, 10, 6), "ff0000");
    EXPECT_EQ(Hex(rgb, 32, 6), "0000ff");
    EXPECT_EQ(Hex(rgb, 32, 40), "ff0000");
    EXPECT_EQ(Hex(rgb, 53, 6), "00ff00");

    // Off the diagonals: the left face filled, the right one only outlined.
    std::array<CWorldVertex, 4> left = WorldQuad(-1, -1, 0, 1);
    std::array<CWorldVertex, 4> right = WorldQuad(0, -1, 1, 1);
    rgb = Scene([&] {
        DrawWorld(left);
        pDevice->SetRenderState(D3DRENDERSTATE_FILLMODE, D3DFILL_WIREFRAME);
        DrawWorld(right);
    });
    EXPECT_EQ(Hex(rgb, 8, 36), "00ff00");
    EXPECT_EQ(Hex(rgb, 56, 12), "000000");

    // A lightmap, never drawn before, let go right after its face.
    pDevice->SetRenderState(D3DRENDERSTATE_FILLMODE, D3DFILL_SOLID);
    UseLightmapped();
    IDirectDrawSurface7* pLightmap = MakeTexture(16, 16, 0, {0xFF808080u});
    Textures.pop_back();
    rgb = Scene([&] {
        pDevice->SetTexture(1, pLightmap);
        DrawWorld(left);
        pDevice->SetTexture(1, nullptr);
        pLightmap->Release();
    });
    EXPECT_PRED3(NearColour, rgb.At(16, 24), 0x008000u, 1);
}

// ---- Sample maps -------------------------------------------------------------

// The room, lit, walked and turned, in all three modes: the batched device
// against one that draws every call as it comes with every texture on its
// own. Only the lightmaps' new places in the atlas may move a sample across
// a texel edge here and there.
class GLPictureTest : public ScratchDirTest {};

TEST_F(GLPictureTest, SampleMapPicturesMatchDrawingInCallOrder)
{
    const std::filesystem::path root = Dir / "root";
    const CProgramRun compile = CompileSampleMap("room", root, Dir);
    ASSERT_EQ(compile.nExitCode, 0) << compile.Output;
    // Two places: where the map starts, and a step in and a turn later.
    const std::pair<const char*, const char*> PLACES[] = {
        {"start", ""}, {"moved", "down W\nwait 15\nup W\nmouse 200 30\nwait 1\n"}};
    const char* MODES[] = {"lit", "wire", "unlit"};
    auto shoot = [&](const std::string& tag, const std::string& env) {
        std::string script = "wait 2\npress RETURN\nwait 3\n";
        for (const auto& [pszPlace, pszMove] : PLACES) {
            script += pszMove;
            for (const char* pszMode : MODES)
                script += "shot " + Path(tag + pszPlace + pszMode + ".png") + "\nwait 1\npress TAB\n";
        }
        script += "press ESCAPE\nwait 2\npress ESCAPE\nwait 2\n";
        const CProgramRun run =
            RunProgram(env + " " + VORLANE_VIEWER_BIN + " --step-ms 50 --root " +
                       Quote(root.string()) + " --script " + Quote(Write(tag + ".script", script)));
        ASSERT_EQ(run.nExitCode, 0) << run.Output;
    };
    shoot("plain", "VORLANE_GL_PLAIN=1");
    shoot("batched", "");
    for (const auto& [pszPlace, pszMove] : PLACES)
        for (const char* pszMode : MODES) {
            const std::string name = std::string(pszPlace) + pszMode + ".png";
            CPicture plain, batched;
            ASSERT_TRUE(LoadPicture(Path("plain" + name), &plain)) << name;
            ASSERT_TRUE(LoadPicture(Path("batched" + name), &batched)) << name;
            const int nDifferent = CountDifferent(plain, batched);
            if (std::string(pszMode) == "lit")
                EXPECT_LT(nDifferent, 1024 * 768 / 2000) << name;
            else
                EXPECT_EQ(nDifferent, 0) << name;
        }
}
