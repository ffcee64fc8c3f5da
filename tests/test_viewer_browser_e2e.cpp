// End to end: the viewer started headless on a folder tree of the test's
// own, driven by a script; the captured frames of the browser are checked.
#include "picture.h"
#include "run_program.h"
#include "scratch_dir.h"

#include <fstream>

namespace {

const uint32_t GREEN = FromColorRef(0x04FF36);
const uint32_t GREY = FromColorRef(0xC8C8C8);
const uint32_t SELECTED = FromColorRef(0xFF0436);

class ViewerBrowserTest : public ScratchDirTest {
protected:
    void SetUp() override
    {
        ScratchDirTest::SetUp();
        Root = Dir / "root";
        std::filesystem::create_directories(Root / "alpha");
        std::filesystem::create_directories(Root / "beta" / "inner");
        std::ofstream(Root / "gamma.vmz") << "";
        std::ofstream(Root / "beta" / "m.vmz") << "";
        std::ofstream(Root / "notes.txt") << "";
    }

    CProgramRun RunScript(const std::string& script, const std::string& extra = "")
    {
        const std::string scriptPath = Write("run.script", script);
        return RunProgram(std::string(VORLANE_VIEWER_BIN) + " --root " + Quote(Root.string()) +
                          " --script " + Quote(scriptPath) + " " + extra);
    }

    CPicture Shot(const std::string& name)
    {
        CPicture picture;
        EXPECT_TRUE(LoadPicture(Path(name), &picture)) << name;
        return picture;
    }

    // Pixels of list row i in the colour, over the width of the entry text.
    static int RowPixels(const CPicture& picture, int nRow, uint32_t rgb)
    {
        const int y = 64 + nRow * 32;
        return CountNear(picture, 7, y + 4, 400, y + 30, rgb);
    }

    std::filesystem::path Root;
};

TEST_F(ViewerBrowserTest, ShowsOpensGoesBackAndQuits)
{
    const CProgramRun run = RunScript("wait 2\n"
                                      "shot " + Path("root.png") + "\n"
                                      "wait 1\n"
                                      "press DOWN\n"
                                      "press RETURN\n"
                                      "wait 2\n"
                                      "shot " + Path("beta.png") + "\n"
                                      "wait 1\n"
                                      "press BACK\n"
                                      "wait 2\n"
                                      "shot " + Path("back.png") + "\n"
                                      "wait 1\n"
                                      "press ESCAPE\n"
                                      "wait 50\n");
    ASSERT_EQ(run.nExitCode, 0) << run.Output;

    const CPicture root = Shot("root.png");
    ASSERT_EQ(root.nWidth, 1024);
    ASSERT_EQ(root.nHeight, 768);
    // Title, frame and scroll bar in green, everything else on black.
    EXPECT_GT(CountNear(root, 0, 0, 250, 64, GREEN), 300);
    EXPECT_TRUE(NearColour(root.At(500, 64), GREEN));
    EXPECT_TRUE(NearColour(root.At(1000, 100), GREEN));
    EXPECT_TRUE(NearColour(root.At(500, 400), 0));
    // alpha\ selected, beta\ a folder, gamma.vmz a map; notes.txt is not listed.
    EXPECT_GT(RowPixels(root, 0, SELECTED), 40);
    EXPECT_GT(RowPixels(root, 1, GREY), 40);
    EXPECT_GT(RowPixels(root, 2, GREEN), 40);
    EXPECT_EQ(RowPixels(root, 3, GREEN) + RowPixels(root, 3, GREY), 0);
    // The path "C:\*" in grey beside the title.
    EXPECT_GT(CountNear(root, 200, 16, 600, 48, GREY), 20);

    const CPicture beta = Shot("beta.png");
    EXPECT_GT(RowPixels(beta, 0, SELECTED), 40); // inner\ first
    EXPECT_GT(RowPixels(beta, 1, GREEN), 40);    // m.vmz
    EXPECT_EQ(RowPixels(beta, 2, GREY) + RowPixels(beta, 2, GREEN), 0);

    // Back at the root with the selection reset: the same picture as before.
    const CPicture back = Shot("back.png");
    EXPECT_EQ(back.Rgb, root.Rgb);
}

TEST_F(ViewerBrowserTest, ScriptEndQuitsInOrderAndTimedemoReportsFrames)
{
    const CProgramRun run = RunScript("wait 30\n", "--timedemo");
    ASSERT_EQ(run.nExitCode, 0) << run.Output;
    EXPECT_NE(run.Output.find("frames 31 seconds "), std::string::npos) << run.Output;
}

TEST_F(ViewerBrowserTest, HelpNamesTheKeysThatWorkAndMistakesAreExplained)
{
    CProgramRun run = RunProgram(std::string(VORLANE_VIEWER_BIN) + " --help");
    EXPECT_EQ(run.nExitCode, 0);
    EXPECT_NE(run.Output.find("W/S move"), std::string::npos) << run.Output;
    EXPECT_EQ(run.Output.find("arrow"), std::string::npos) << run.Output;
    run = RunProgram(std::string(VORLANE_VIEWER_BIN) + " --bogus");
    EXPECT_EQ(run.nExitCode, 2);
    EXPECT_NE(run.Output.find("unknown option"), std::string::npos) << run.Output;
    run = RunProgram(std::string(VORLANE_VIEWER_BIN) + " --timedemo");
    EXPECT_EQ(run.nExitCode, 2);
    run = RunProgram(std::string(VORLANE_VIEWER_BIN) + " --root /no/such/dir --script x");
    EXPECT_EQ(run.nExitCode, 2);
    EXPECT_NE(run.Output.find("not a directory"), std::string::npos) << run.Output;
}

TEST_F(ViewerBrowserTest, NoDisplayWithoutAScriptSaysSo)
{
    const CProgramRun run =
        RunProgram("env -u SDL_VIDEODRIVER " + std::string(VORLANE_VIEWER_BIN));
    EXPECT_NE(run.nExitCode, 0);
    EXPECT_NE(run.Output.find("display"), std::string::npos) << run.Output;
}

} // namespace
