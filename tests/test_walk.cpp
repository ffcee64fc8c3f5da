// The walk-through of the viewer on the null device: the draw sequence of
// each view mode, moves taken back at walls, the view-mode key, leaving to
// the browser, and what a failed load leads to.
#include "world_map.h"

#include "platform/dinput.h"
#include "scratch_dir.h"

#include "frame/error.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <random>

namespace {

// Two open leaves either side of the plane x = 0, solid beyond x = 10 and
// x = -10; each leaf has one face.
class WalkTest : public WorldTest {
protected:
    void SetUp() override
    {
        WorldTest::SetUp();
        Map.AddFan(4);
        Map.AddFan(5);
        Map.Leaves = {Leaf(0, 1), Leaf(1, 1)};
        // Node 0: x = 0, front node 1, back node 2; nodes 1 and 2 bound the room.
        Map.Nodes = {NodeX(0, 2, 3), NodeX(10, 0, -1), NodeX(-10, -2, 0)};
        Map.SetVisibility({{1}, {0}});
        ASSERT_TRUE(Map.BuildWorld(App.World, &App));
        App.nState = VIEWER_WALK;
        App.pszPath = new char[32];
        std::strcpy(App.pszPath, "C:\\maps\\room.vmz");
        GetNullCallLog().clear();
    }
    void TearDown() override { App.UnloadMap(); }

    void Frame(std::vector<uint8_t> keys, double dSeconds)
    {
        std::memcpy(App.PrevKeys, App.CurKeys, sizeof(App.CurKeys));
        std::memset(App.CurKeys, 0, sizeof(App.CurKeys));
        for (uint8_t nKey : keys)
            App.CurKeys[nKey] = 0x80;
        App.FrameSeconds = dSeconds;
        App.Update();
    }

    static int Count(const std::string& line)
    {
        const auto& log = GetNullCallLog();
        return int(std::count(log.begin(), log.end(), line));
    }
    static size_t IndexOf(const std::string& line)
    {
        const auto& log = GetNullCallLog();
        return size_t(std::find(log.begin(), log.end(), line) - log.begin());
    }
};

TEST_F(WalkTest, LitModeSetsUpBothStagesDrawsTheVisibleLeavesAndUnbinds)
{
    App.Camera.Position = CVector(5, 0, 0);
    App.nViewMode = 0;
    App.WalkDraw();
    EXPECT_EQ(GetNullDeviceState().StageState(1, D3DTSS_COLOROP), D3DTOP_MODULATE);
    EXPECT_EQ(GetNullDeviceState().StageState(1, D3DTSS_TEXCOORDINDEX), 1u);
    EXPECT_EQ(GetNullDeviceState().RenderState(D3DRENDERSTATE_FILLMODE), D3DFILL_SOLID);
    // The eye's leaf (front, 4 corners) then its visible leaf (5 corners).
    const size_t nFirst = IndexOf("DrawPrimitive 6 738 4");
    const size_t nSecond = IndexOf("DrawPrimitive 6 738 5");
    EXPECT_LT(nFirst, nSecond);
    EXPECT_LT(nSecond, IndexOf("SetTexture 0 null"));
    EXPECT_LT(IndexOf("SetTexture 0 null"), IndexOf("SetTexture 1 null"));
    EXPECT_EQ(GetNullCallLog().back(), "EndScene");
}

TEST_F(WalkTest, WireframeFillsGreyAndDisablesTheLightmapStage)
{
    App.Camera.Position = CVector(5, 0, 0);
    App.nViewMode = 1;
    App.WalkDraw();
    // 0.3 grey on the 32-bit null display: each channel 0x4C.
    EXPECT_EQ(Count("Blt fill 5000268"), 1);
    EXPECT_EQ(GetNullDeviceState().StageState(0, D3DTSS_COLORARG1), D3DTA_TFACTOR);
    EXPECT_EQ(GetNullDeviceState().StageState(1, D3DTSS_COLOROP), D3DTOP_DISABLE);
    EXPECT_EQ(GetNullDeviceState().RenderState(D3DRENDERSTATE_FILLMODE), D3DFILL_WIREFRAME);
    EXPECT_EQ(GetNullDeviceState().Draws.size(), 2u);
}

TEST_F(WalkTest, UnlitModeDrawsTheWholeTreeAndKeepsTheBindings)
{
    App.Camera.Position = CVector(50, 0, 0); // in solid: only mode 2 still draws
    App.nViewMode = 2;
    App.WalkDraw();
    EXPECT_EQ(GetNullDeviceState().Draws.size(), 2u);
    EXPECT_EQ(Count("SetTexture 0 null"), 0);
    App.nViewMode = 0;
    GetNullDeviceState().Draws.clear();
    App.WalkDraw();
    EXPECT_TRUE(GetNullDeviceState().Draws.empty());
}

TEST_F(WalkTest, KeysMoveFromTheFrameAfterThePressAndWallsTakeTheMoveBack)
{
    App.Camera.Position = CVector(5, 0, 0);
    Frame({DIK_W}, 0.01); // pressed: no move yet
    EXPECT_FLOAT_EQ(App.Camera.Position.x, 5.0f);
    Frame({DIK_W}, 0.01); // held: 2.56 units along +x
    EXPECT_NEAR(App.Camera.Position.x, 7.56f, 1e-4);
    Frame({DIK_W}, 0.01);
    EXPECT_NEAR(App.Camera.Position.x, 10.12f, 1e-4); // within the 0.2 band: open
    Frame({DIK_W}, 0.01); // would end at 12.68, in solid: taken back
    EXPECT_NEAR(App.Camera.Position.x, 10.12f, 1e-4);
    // A long frame may carry the camera through the middle plane into the other leaf.
    App.Camera.fYaw = 3.14159265f;
    Frame({DIK_W}, 0.05);
    EXPECT_NEAR(App.Camera.Position.x, -2.68f, 1e-3);
}

TEST_F(WalkTest, TabStepsTheModeOnPressAndThreePressesComeBack)
{
    App.nViewMode = 0;
    for (int i = 0; i < 3; ++i) {
        Frame({DIK_TAB}, 0.01);
        EXPECT_EQ(App.nViewMode, (i + 1) % 3);
        Frame({DIK_TAB}, 0.01); // held: no further step
        Frame({}, 0.01);
    }
}

TEST_F(WalkTest, EscapeOnReleaseUnloadsAndReturnsToTheRoot)
{
    Frame({DIK_ESCAPE}, 0.01);
    EXPECT_EQ(App.nState, VIEWER_WALK);
    Frame({}, 0.01);
    EXPECT_EQ(App.nState, VIEWER_BROWSER);
    EXPECT_STREQ(App.pszPath, "C:\\*");
    EXPECT_EQ(App.World.pFront, nullptr);
    EXPECT_EQ(App.ppTextures, nullptr);
    EXPECT_EQ(g_nFrameResult & 1, 0); // the walk-through never quits the program
}

class LoadFailureTest : public ScratchDirTest {
protected:
    void SetUp() override
    {
        ScratchDirTest::SetUp();
        ResetNullBackend();
        std::filesystem::create_directories(Dir / "maps");
        App.pszPath = new char[64];
    }
    void Load(const char* pszPath)
    {
        std::strcpy(App.pszPath, pszPath);
        App.nState = VIEWER_LOADING;
        App.bLoadingShown = true;
        App.LoadStep();
    }
    CViewerApp App;
};

TEST_F(LoadFailureTest, MissingAndDamagedFilesShowTheirMessageAndReturnToTheFolder)
{
    Load("C:\\maps\\none.vmz");
    EXPECT_EQ(App.nState, VIEWER_LOAD_FAILED);
    EXPECT_STREQ(App.szMessage, "Unable to open file.");

    Write("maps/bad.vmz", "VMZF but not much else");
    Load("C:\\maps\\bad.vmz");
    EXPECT_EQ(App.nState, VIEWER_LOAD_FAILED);
    EXPECT_STREQ(App.szMessage, "Invalid file.");

    App.CurKeys[DIK_RETURN] = 0x80;
    App.Update();
    EXPECT_EQ(App.nState, VIEWER_BROWSER);
    EXPECT_STREQ(App.pszPath, "C:\\maps\\*");
    EXPECT_EQ(App.nFileCount, -1);
}

// Damaged copies of a good file that the reader still accepts go on to the
// tree, the lightmaps, the draws and the collision test; under the
// sanitizers this shows that nothing there reads outside what was built.
TEST_F(LoadFailureTest, RandomlyDamagedFilesLoadFailOrThrowButNeverReadAstray)
{
    std::ifstream in(Fixture("small.vmz"), std::ios::binary);
    const std::vector<char> sound((std::istreambuf_iterator<char>(in)),
                                  std::istreambuf_iterator<char>());
    ASSERT_GT(sound.size(), 68u);
    CAppConfig config = MakeViewerConfig();
    App.pConfig = &config;
    App.CreateDD(&config);
    App.CreateD3D(&config);
    std::mt19937 random(7);
    int nLoaded = 0;
    for (int nRound = 0; nRound < 200; ++nRound) {
        std::vector<char> bytes = sound;
        for (int n = 1 + random() % 3; n > 0; --n)
            bytes[68 + random() % (bytes.size() - 68)] = static_cast<char>(random() % 24 - 4);
        std::ofstream(Dir / "maps" / "hurt.vmz", std::ios::binary | std::ios::trunc)
            .write(bytes.data(), std::streamsize(bytes.size()));
        try {
            Load("C:\\maps\\hurt.vmz");
        } catch (const CError& error) {
            EXPECT_STREQ(error.GetMessage(), "Invalid index");
            continue;
        }
        if (App.nState != VIEWER_WALK)
            continue;
        ++nLoaded;
        for (int nMode = 0; nMode < 3; ++nMode) {
            App.nViewMode = nMode;
            App.WalkDraw();
        }
        for (float x = -64; x <= 64; x += 16)
            App.World.IsOpen(CVector(x, 8, x / 2));
        App.UnloadMap();
    }
    EXPECT_GT(nLoaded, 20);
}

} // namespace
