// The walk-through on the null backend: keys, mouse and joystick moving the
// camera, moves taken back at walls, the view-mode and exit inputs, the draw
// of each view mode; and the loading of a map: its pictures, its view, and
// what a failed load leads to.
#include "app_fixture.h"
#include "world_map.h"

#include "compiler/map_writer.h"
#include "platform/sdl_backend.h"
#include "resources/texture_surface.h"

#include <fstream>
#include <iterator>
#include <random>

namespace {

// Two open leaves either side of the plane x = 0, solid beyond x = 10 and
// x = -10 (z is free); each leaf has one face and sees the other. The camera
// stands at (5, 0, 0) looking along +x, so that its right is -z.
class WalkTest : public WorldTest {
protected:
    void SetUp() override
    {
        WorldTest::SetUp();
        Map.AddFan(4);
        Map.AddFan(5);
        Map.Leaves = {Leaf(0, 1), Leaf(1, 1)};
        Map.Nodes = {NodeX(0, 2, 3), NodeX(10, 0, -1), NodeX(-10, -2, 0)};
        Map.SetVisibility({{1}, {0}});
        ASSERT_TRUE(Map.BuildWorld(App.World, &App));
        App.nState = VIEWER_WALK;
        App.Camera.Position = CVector(5, 0, 0);
        SetPath("C:\\maps\\room.vmz");
        GetNullCallLog().clear();
    }

    void ExpectAt(float x, float z)
    {
        EXPECT_NEAR(App.Camera.Position.x, x, 1e-4);
        EXPECT_EQ(App.Camera.Position.y, 0.0f);
        EXPECT_NEAR(App.Camera.Position.z, z, 1e-4);
    }
};

struct CKeyMove {
    uint8_t nKey;
    float fX, fZ;
};

class WalkKeyTest : public WalkTest, public ::testing::WithParamInterface<CKeyMove> {};

TEST_P(WalkKeyTest, KeysMove256UnitsASecondFromTheFrameAfterThePress)
{
    Frame({GetParam().nKey});
    ExpectAt(5, 0);
    Frame({GetParam().nKey}, 0.01);
    ExpectAt(GetParam().fX, GetParam().fZ);
}

INSTANTIATE_TEST_SUITE_P(WSAD, WalkKeyTest,
                         ::testing::Values(CKeyMove{DIK_W, 7.56f, 0}, CKeyMove{DIK_S, 2.44f, 0},
                                           CKeyMove{DIK_A, 5, 2.56f}, CKeyMove{DIK_D, 5, -2.56f}));

TEST_F(WalkTest, AMoveThatEndsInSolidIsTakenBack)
{
    Frame({DIK_W});
    Frame({DIK_W}, 0.02); // 10.12: within the band of x = 10, open
    ExpectAt(10.12f, 0);
    Frame({DIK_W}, 0.01); // 12.68 is solid
    ExpectAt(10.12f, 0);
    // One long frame carries the camera through the middle plane.
    App.Camera.fYaw = 3.14159265f;
    Frame({DIK_W}, 0.05);
    ExpectAt(-2.68f, 0);
}

TEST_F(WalkTest, MouseTurnsOneRadianPer80CountsWhateverTheFrameTime)
{
    GetInputState().nMouseX = 8;
    GetInputState().nMouseY = -16;
    Frame({}, 0.0);
    EXPECT_FLOAT_EQ(App.Camera.fYaw, -0.1f);
    EXPECT_FLOAT_EQ(App.Camera.fPitch, 0.2f);
}

struct CStickCase {
    int nAxes, nAxis;
    int32_t nValue;
    float fX, fZ, fYaw, fPitch;
};

class WalkStickTest : public WalkTest, public ::testing::WithParamInterface<CStickCase> {};

// Frames of 0.1 s: a count past the dead zone moves 0.001562 units or turns
// 0.00003125 radians.
TEST_P(WalkStickTest, AxesActOnlyPastTheDeadZoneAndMissingAxesRest)
{
    const CStickCase& stick = GetParam();
    AddJoystick(stick.nAxes, 3, 0).Axes[stick.nAxis] = stick.nValue;
    Frame({}, 0.1);
    ExpectAt(stick.fX, stick.fZ);
    EXPECT_FLOAT_EQ(App.Camera.fYaw, stick.fYaw);
    EXPECT_FLOAT_EQ(App.Camera.fPitch, stick.fPitch);
}

INSTANTIATE_TEST_SUITE_P(
    Axes, WalkStickTest,
    ::testing::Values(CStickCase{5, 1, 16381, 5, 0, 0, 0}, CStickCase{5, 1, 49149, 5, 0, 0, 0},
                      CStickCase{5, 1, 16380, 5.001562f, 0, 0, 0},
                      CStickCase{5, 1, 49150, 4.998438f, 0, 0, 0},
                      CStickCase{5, 2, 0, 5, 25.587122f, 0, 0},
                      CStickCase{5, 3, 0, 5, 0, 0.51190625f, 0},
                      CStickCase{5, 4, 65535, 5, 0, 0, -0.5120625f},
                      // A pad of two axes: 2, 3 and 4 are not there.
                      CStickCase{2, 0, 32767, 5, 0, 0, 0}));

TEST_F(WalkTest, TabOrButtonOneStepsTheViewModeOnPressRoundThree)
{
    for (int i = 1; i <= 3; ++i) {
        Frame({DIK_TAB});
        Frame({DIK_TAB});
        Frame({});
        EXPECT_EQ(App.nViewMode, i % 3);
    }
    AddJoystick(5, 3, 0);
    GetInputState().Controllers[0].Buttons[1] = 0x80;
    Frame({});
    Frame({});
    EXPECT_EQ(App.nViewMode, 1);
}

TEST_F(WalkTest, EscapeOnReleaseOrButtonTwoLeavesForTheRoot)
{
    Frame({DIK_ESCAPE});
    EXPECT_EQ(App.nState, VIEWER_WALK);
    Frame({});
    EXPECT_EQ(App.nState, VIEWER_BROWSER);
    EXPECT_STREQ(App.pszPath, "C:\\*");
    EXPECT_EQ(App.World.pFront, nullptr);
    EXPECT_EQ(g_nFrameResult, 0);

    App.nState = VIEWER_WALK;
    AddJoystick(5, 3, 0);
    GetInputState().Controllers[0].Buttons[2] = 0x80;
    Frame({});
    EXPECT_EQ(App.nState, VIEWER_BROWSER);
}

TEST_F(WalkTest, LitModeModulatesTheLightmapsOfTheVisibleLeavesThenUnbinds)
{
    App.WalkDraw();
    const CNullDeviceState& device = GetNullDeviceState();
    EXPECT_EQ(device.StageState(1, D3DTSS_COLOROP), D3DTOP_MODULATE);
    EXPECT_EQ(device.StageState(1, D3DTSS_ADDRESS), D3DTADDRESS_CLAMP);
    EXPECT_EQ(device.StageState(1, D3DTSS_TEXCOORDINDEX), 1u);
    EXPECT_EQ(device.RenderState(D3DRENDERSTATE_FILLMODE), D3DFILL_SOLID);
    // The eye's leaf (4 corners) first, then the leaf it sees (5).
    EXPECT_TRUE(LoggedInOrder({"BeginScene", "DrawPrimitive 6 738 4", "DrawPrimitive 6 738 5",
                               "SetTexture 0 null", "SetTexture 1 null", "EndScene"}));
}

TEST_F(WalkTest, WireframeFillsGreyAndUnlitDrawsTheWholeTreeBound)
{
    App.nViewMode = 1;
    App.WalkDraw();
    EXPECT_EQ(CountLogged("Blt fill 5000268"), 1); // 0.3 grey: each channel 0x4C
    EXPECT_EQ(GetNullDeviceState().StageState(0, D3DTSS_COLORARG1), D3DTA_TFACTOR);
    EXPECT_EQ(GetNullDeviceState().StageState(1, D3DTSS_COLOROP), D3DTOP_DISABLE);
    EXPECT_EQ(GetNullDeviceState().RenderState(D3DRENDERSTATE_FILLMODE), D3DFILL_WIREFRAME);

    App.Camera.Position = CVector(50, 0, 0); // in solid: only mode 2 draws
    App.nViewMode = 2;
    GetNullCallLog().clear();
    App.WalkDraw();
    EXPECT_EQ(CountLogged("DrawPrimitive 6 738 4") + CountLogged("DrawPrimitive 6 738 5"), 2);
    EXPECT_EQ(CountLogged("SetTexture 0 null"), 0);
}

// Lit pixels of the back surface in a rectangle, after a black fill and the
// notice of one frame of dSeconds.
int NoticePixels(CViewerApp& app, double dSeconds, const RECT& rect)
{
    app.Draw(nullptr, nullptr, nullptr, DDBLT_WAIT | DDBLT_COLORFILL, 0);
    app.FrameSeconds = dSeconds;
    app.DrawMissingNotice();
    HDC hdc = nullptr;
    app.GetBackSurface()->GetDC(&hdc);
    int nCount = 0;
    for (int y = rect.top; y < rect.bottom; ++y)
        for (int x = rect.left; x < rect.right; ++x)
            nCount += GetPixel(hdc, x, y) != 0;
    app.GetBackSurface()->ReleaseDC(hdc);
    return nCount;
}

// A long frame, as the one after a load, takes at most a quarter second off.
TEST_F(WalkTest, MissingPicturesAreCountedInTheBottomLeftCornerForFiveSeconds)
{
    App.Init(); // the fonts
    App.nMissingPictures = 2;
    App.dNoticeSeconds = MISSING_NOTICE_SECONDS;
    const RECT corner = {8, 728, 400, 760};
    EXPECT_GT(NoticePixels(App, 3.0, corner), 100);
    EXPECT_EQ(NoticePixels(App, 0.25, {0, 0, 1024, 720}), 0);
    EXPECT_DOUBLE_EQ(App.dNoticeSeconds, 4.5);
    for (int i = 0; i < 18; ++i)
        NoticePixels(App, 0.25, {});
    EXPECT_EQ(NoticePixels(App, 0.25, corner), 0);
}

// ---------------------------------------------------------------- loading

// One leaf behind the plane x = 0 with a face per texture name, each the
// square of corners (0, 0, 0) to (64, 64, 0), u along x and v along y.
CCompiledMap TexturedMap(std::initializer_list<const char*> names)
{
    CCompiledMap map;
    map.Vertices = {{0, 0, 0}, {64, 0, 0}, {64, 64, 0}, {0, 64, 0}};
    map.Mappings = {{CVector(1, 0, 0), CVector(0, 1, 0), 0, 0, 1.0f, 1.0f, 0.0f}};
    int32_t nTexture = 0;
    for (const char* pszName : names) {
        map.Names.resize(map.Names.size() + MAP_NAME_SIZE);
        std::strcpy(&map.Names[size_t(nTexture) * MAP_NAME_SIZE], pszName);
        map.FaceWords.insert(map.FaceWords.end(), {4, 0, nTexture++, 0, 1, 2, 3});
    }
    map.Leaves = {{0, nTexture, 0, {}}};
    map.Nodes = {CMapNode{0, CVector(1, 0, 0), MAP_SOLID_CHILD, EncodeLeafChild(0), 0}};
    map.Lightmaps.assign(size_t(nTexture) * LIGHTMAP_BLOCK_SIZE, 128);
    return map;
}

std::vector<std::string> g_Warnings;

class LoadTest : public ViewerTest {
protected:
    void SetUp() override
    {
        ViewerTest::SetUp();
        g_Warnings.clear();
        SetBackendWarningHandler([](const char* pszText) { g_Warnings.push_back(pszText); });
        std::filesystem::create_directories(Dir / "maps" / "sub");
    }
    void TearDown() override
    {
        SetBackendWarningHandler(nullptr);
        ViewerTest::TearDown();
    }

    void WriteMap(const std::string& name, const CCompiledMap& map)
    {
        std::string error;
        ASSERT_TRUE(WriteCompiledMap(Path(name).c_str(), map, &error)) << error;
    }
    void WriteBitmap(const std::string& name, int nWidth, int nHeight)
    {
        Write(name, samples::EncodeBmp(samples::CImage(nWidth, nHeight)));
    }
    // The loading step once the loading screen has been shown.
    void Load(const std::string& path)
    {
        SetPath(path.c_str());
        App.nState = VIEWER_LOADING;
        App.bLoadingShown = true;
        App.LoadStep();
    }
    const CLeafFace* Faces() const { return static_cast<CWorldLeaf*>(App.World.pBack)->pFaces; }
};

TEST_F(LoadTest, PicturesComeFromTheMapsFolderAndSubFoldersWithTheirOwnSize)
{
    WriteMap("maps/room.vmz", TexturedMap({"sub/wall", "brick"}));
    WriteBitmap("maps/sub/wall.bmp", 32, 32);
    WriteBitmap("maps/brick.bmp", 64, 16);
    // The list already holds a "brick" of another size.
    WriteBitmap("other.bmp", 16, 16);
    ASSERT_TRUE(App.AddTexture("C:\\other.bmp", "brick", 0));
    Load("C:\\maps\\room.vmz");
    ASSERT_EQ(App.nState, VIEWER_WALK);
    ASSERT_NE(App.ppTextures[0], nullptr);
    EXPECT_EQ(App.ppTextures[0]->GetWidth(), 32);
    EXPECT_FLOAT_EQ(Faces()[0].pVertices[2].TexU, 2.0f);
    EXPECT_FLOAT_EQ(Faces()[1].pVertices[2].TexU, 1.0f);
    EXPECT_FLOAT_EQ(Faces()[1].pVertices[2].TexV, 4.0f);
    EXPECT_EQ(App.nMissingPictures, 0);
    EXPECT_TRUE(g_Warnings.empty());
}

TEST_F(LoadTest, EachMissingPictureIsNamedWithItsReasonAndCounted)
{
    WriteMap("maps/room.vmz", TexturedMap({"gone", "broken", "brick"}));
    Write("maps/broken.bmp", "not a picture");
    WriteBitmap("maps/brick.bmp", 8, 8);
    Load("C:\\maps\\room.vmz");
    ASSERT_EQ(App.nState, VIEWER_WALK);
    EXPECT_EQ(App.nMissingPictures, 2);
    EXPECT_EQ(App.dNoticeSeconds, MISSING_NOTICE_SECONDS);
    EXPECT_EQ(g_Warnings, (std::vector<std::string>{
                              "texture \"gone\": " + Path("maps/gone.bmp") + ": no such file",
                              "texture \"broken\": " + Path("maps/broken.bmp") +
                                  ": not a .bmp picture the viewer can read"}));
    // Unknown sizes divide by 256.
    EXPECT_FLOAT_EQ(Faces()[0].pVertices[2].TexU, 0.25f);
}

TEST_F(LoadTest, TheNewMapsViewReachesTheDeviceBeforeItsFirstDraw)
{
    App.Camera.Position = CVector(40, 8, 3);
    App.Camera.fYaw = 2.0f;
    App.WalkProcess();
    WriteMap("maps/room.vmz", TexturedMap({"a"}));
    Load("C:\\maps\\room.vmz");
    CMatrix origin;
    CCamera().GetViewMatrix(&origin);
    EXPECT_EQ(std::memcmp(GetNullDeviceState().Transforms[D3DTRANSFORMSTATE_VIEW].m, origin.m,
                          sizeof(origin.m)),
              0);
}

TEST_F(LoadTest, MissingAndDamagedFilesShowTheirMessageNegativeIndicesIncluded)
{
    const std::pair<std::string, const char*> cases[] = {
        {"C:\\maps\\none.vmz", "Unable to open file."},
        {Fixture("damaged_magic.vmz"), "Invalid file."},
        {Fixture("damaged_negative_index.vmz"), "Invalid file."},
    };
    for (const auto& [path, pszMessage] : cases) {
        Load(path);
        EXPECT_EQ(App.nState, VIEWER_LOAD_FAILED) << path;
        EXPECT_STREQ(App.szMessage, pszMessage) << path;
    }
}

TEST_F(LoadTest, FailedLoadGoesBackByEscapeEnterOrButtonTwoAndButtonZeroQuits)
{
    AddJoystick(2, 3, 0);
    std::vector<uint8_t>& buttons = GetInputState().Controllers[0].Buttons;
    for (int nWay = 0; nWay < 3; ++nWay) {
        Load("C:\\maps\\none.vmz");
        if (nWay == 0)
            Frame({DIK_ESCAPE});
        EXPECT_EQ(App.nState, VIEWER_LOAD_FAILED);
        buttons[2] = nWay == 2 ? 0x80 : 0;
        Frame({uint8_t(nWay == 1 ? DIK_RETURN : 0)});
        EXPECT_EQ(App.nState, VIEWER_BROWSER) << nWay;
        EXPECT_STREQ(App.pszPath, "C:\\maps\\*");
        buttons[2] = 0;
    }
    Load("C:\\maps\\none.vmz");
    Frame({});
    buttons[0] = 0x80;
    Frame({});
    EXPECT_EQ(g_nFrameResult & 1, 1);
}

// Damaged copies of a good file that the reader still accepts go on to the
// tree, the lightmaps, the draws and the collision test; under the
// sanitizers this shows that nothing there reads outside what was built.
TEST_F(LoadTest, RandomlyDamagedFilesLoadOrFailButNeverReadAstray)
{
    std::ifstream in(Fixture("small.vmz"), std::ios::binary);
    const std::vector<char> sound((std::istreambuf_iterator<char>(in)), {});
    std::mt19937 random(7);
    int nLoaded = 0;
    for (int nRound = 0; nRound < 200; ++nRound) {
        std::vector<char> bytes = sound;
        for (int n = 1 + random() % 3; n > 0; --n)
            bytes[68 + random() % (bytes.size() - 68)] = static_cast<char>(random() % 24 - 4);
        std::ofstream(Path("maps/hurt.vmz"), std::ios::binary | std::ios::trunc)
            .write(bytes.data(), std::streamsize(bytes.size()));
        Load("C:\\maps\\hurt.vmz");
        if (App.nState != VIEWER_WALK)
            continue;
        ++nLoaded;
        for (App.nViewMode = 0; App.nViewMode < 3; ++App.nViewMode)
            App.WalkDraw();
        for (float x = -64; x <= 64; x += 16)
            App.World.IsOpen(CVector(x, 8, x / 2));
        App.UnloadMap();
    }
    EXPECT_GT(nLoaded, 20);
}

} // namespace
