// End to end: the viewer started headless on folders of the test's own and
// driven by scripts; the captured frames of the browser, of a compiled
// sample map in its three view modes and of a failed load are checked, and
// the command line.
#include "picture.h"
#include "run_program.h"
#include "scratch_dir.h"

namespace {

const uint32_t GREEN = FromColorRef(0x04FF36);
const uint32_t GREY = FromColorRef(0xC8C8C8);
const uint32_t SELECTED = FromColorRef(0xFF0436);

class ViewerE2ETest : public ScratchDirTest {
protected:
    void SetUp() override
    {
        ScratchDirTest::SetUp();
        Root = Dir / "root";
        std::filesystem::create_directories(Root);
    }

    CProgramRun RunScript(const std::string& script, const std::string& options = "")
    {
        return RunProgram(std::string(VORLANE_VIEWER_BIN) + " --root " + Quote(Root.string()) +
                          " --script " + Quote(Write("run.script", script)) + " " + options);
    }
    // Shoots the frame that the wait after it runs.
    std::string ShotLine(const std::string& name) { return "shot " + Path(name) + "\nwait 1\n"; }
    CPicture Shot(const std::string& name)
    {
        CPicture picture;
        EXPECT_TRUE(LoadPicture(Path(name), &picture)) << name;
        return picture;
    }

    std::filesystem::path Root;
};

// Pixels of list row i in the colour, over the width of the entry text.
int RowPixels(const CPicture& picture, int nRow, uint32_t rgb)
{
    return CountNear(picture, 7, 68 + nRow * 32, 400, 94 + nRow * 32, rgb);
}

// How many pixels differ between two pictures of the same size.
int Differences(const CPicture& a, const CPicture& b)
{
    int nCount = 0;
    for (int y = 0; y < a.nHeight; ++y)
        for (int x = 0; x < a.nWidth; ++x)
            nCount += NearColour(a.At(x, y), b.At(x, y), 8) ? 0 : 1;
    return nCount;
}

TEST_F(ViewerE2ETest, BrowserShowsOpensGoesBackAndQuits)
{
    std::filesystem::create_directories(Root / "alpha");
    std::filesystem::create_directories(Root / "beta" / "inner");
    for (const char* pszName : {"gamma.vmz", "beta/m.vmz", "notes.txt"})
        std::ofstream(Root / pszName) << "";
    const CProgramRun run =
        RunScript("wait 2\n" + ShotLine("root.png") + "press DOWN\npress RETURN\nwait 2\n" +
                  ShotLine("beta.png") + "press BACK\nwait 2\n" + ShotLine("back.png") +
                  "press ESCAPE\nwait 50\n" + ShotLine("never.png"));
    ASSERT_EQ(run.nExitCode, 0) << run.Output;
    const CPicture root = Shot("root.png");
    ASSERT_EQ(root.nWidth, 1024);
    // Title, frame and scroll bar in green on black; the path in grey.
    EXPECT_GT(CountNear(root, 0, 0, 250, 64, GREEN), 300);
    EXPECT_TRUE(NearColour(root.At(500, 64), GREEN));
    EXPECT_TRUE(NearColour(root.At(1000, 100), GREEN));
    EXPECT_TRUE(NearColour(root.At(500, 400), 0));
    EXPECT_GT(CountNear(root, 200, 16, 600, 48, GREY), 20);
    // alpha\ selected, beta\ a folder, gamma.vmz a map; notes.txt is not listed.
    EXPECT_GT(RowPixels(root, 0, SELECTED), 40);
    EXPECT_GT(RowPixels(root, 1, GREY), 40);
    EXPECT_GT(RowPixels(root, 2, GREEN), 40);
    EXPECT_EQ(RowPixels(root, 3, GREEN) + RowPixels(root, 3, GREY), 0);
    const CPicture beta = Shot("beta.png");
    EXPECT_GT(RowPixels(beta, 0, SELECTED), 40); // inner\ .
    EXPECT_GT(RowPixels(beta, 1, GREEN), 40);    // m.vmz
    EXPECT_EQ(Shot("back.png").Rgb, root.Rgb);
    EXPECT_FALSE(std::filesystem::exists(Path("never.png"))); // Escape quit before it
}

// Frames of 0.1 s keep the walk short: ten frames make a second.
TEST_F(ViewerE2ETest, WalksThroughTheRoomInEveryModeAndReturns)
{
    const CProgramRun compile = CompileSampleMap("room", Root, Dir);
    ASSERT_EQ(compile.nExitCode, 0) << compile.Output;
    const CProgramRun run = RunScript(
        "wait 2\npress RETURN\nwait 5\n" + ShotLine("lit.png") + "down W\nwait 10\n" +
            ShotLine("walked.png") + "wait 80\n" + ShotLine("wall.png") + "wait 5\n" +
            ShotLine("still.png") + "up W\nwait 1\npress TAB\n" + ShotLine("wire.png") +
            "press TAB\n" + ShotLine("unlit.png") + "press TAB\npress ESCAPE\nwait 3\n" +
            ShotLine("browser.png"),
        "--step-ms 100");
    ASSERT_EQ(run.nExitCode, 0) << run.Output;
    const CPicture lit = Shot("lit.png");
    ASSERT_EQ(lit.nWidth, 1024);
    EXPECT_LT(CountNear(lit, 0, 0, 1024, 768, 0, 6), 1024 * 768 / 3); // mostly lit
    // A second of W moves the camera; the wall then stops it for good.
    const CPicture wall = Shot("wall.png");
    EXPECT_GT(Differences(lit, Shot("walked.png")), 1024 * 768 / 20);
    EXPECT_EQ(Differences(wall, Shot("still.png")), 0);
    // Wireframe: white lines on the 0.3 grey; unlit differs from lit.
    const CPicture wire = Shot("wire.png");
    EXPECT_GT(CountNear(wire, 0, 0, 1024, 768, 0x4A494A, 6), 1024 * 768 / 2);
    EXPECT_GT(CountNear(wire, 0, 0, 1024, 768, 0xFFFFFF, 6), 500);
    EXPECT_GT(Differences(Shot("unlit.png"), wall), 1024 * 768 / 4);
    EXPECT_GT(CountNear(Shot("browser.png"), 0, 0, 250, 64, GREEN), 300);
}

TEST_F(ViewerE2ETest, ADamagedFileShowsItsMessageThenTheBrowser)
{
    std::ofstream(Root / "broken.vmz") << "VMZF and then nothing that makes sense";
    const CProgramRun run = RunScript("wait 2\npress RETURN\nwait 3\n" + ShotLine("message.png") +
                                      "press ESCAPE\nwait 3\n" + ShotLine("browser.png"));
    ASSERT_EQ(run.nExitCode, 0) << run.Output;
    const CPicture message = Shot("message.png");
    EXPECT_GT(CountNear(message, 200, 300, 824, 400, GREEN), 500); // "Invalid file."
    EXPECT_EQ(CountNear(message, 0, 0, 1024, 64, GREEN), 0);
    EXPECT_GT(CountNear(Shot("browser.png"), 0, 0, 250, 64, GREEN), 300);
}

TEST_F(ViewerE2ETest, ScriptEndQuitsInOrderAndTimedemoReportsFrames)
{
    const CProgramRun run = RunScript("wait 30\n", "--timedemo");
    ASSERT_EQ(run.nExitCode, 0) << run.Output;
    EXPECT_NE(run.Output.find("frames 31 seconds "), std::string::npos) << run.Output;
}

TEST_F(ViewerE2ETest, HelpNamesTheKeysThatWorkAndMistakesAreExplained)
{
    const std::string viewer = VORLANE_VIEWER_BIN;
    CProgramRun run = RunProgram(viewer + " --help");
    EXPECT_EQ(run.nExitCode, 0);
    EXPECT_NE(run.Output.find("W/S move"), std::string::npos) << run.Output;
    EXPECT_EQ(run.Output.find("arrow"), std::string::npos) << run.Output;
    run = RunProgram(viewer + " --bogus");
    EXPECT_EQ(run.nExitCode, 2);
    EXPECT_NE(run.Output.find("unknown option"), std::string::npos) << run.Output;
    EXPECT_EQ(RunProgram(viewer + " --timedemo").nExitCode, 2);
    run = RunProgram(viewer + " --root /no/such/dir --script x");
    EXPECT_EQ(run.nExitCode, 2);
    EXPECT_NE(run.Output.find("not a directory"), std::string::npos) << run.Output;
    run = RunProgram("env -u SDL_VIDEODRIVER " + viewer);
    EXPECT_NE(run.nExitCode, 0);
    EXPECT_NE(run.Output.find("display"), std::string::npos) << run.Output;
}

} // namespace
