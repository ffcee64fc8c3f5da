// End to end: a sample map compiled by vorlane-compile, opened in the viewer
// headless from the browser, walked and looked at in the three view modes;
// then a damaged file, whose message shows before the browser comes back.
#include "picture.h"
#include "run_program.h"
#include "scratch_dir.h"

#include <fstream>

namespace {

const uint32_t GREEN = FromColorRef(0x04FF36);

class ViewerWalkTest : public ScratchDirTest {
protected:
    void SetUp() override
    {
        ScratchDirTest::SetUp();
        Root = Dir / "root";
        std::filesystem::create_directories(Root);
        for (const auto& entry : std::filesystem::directory_iterator(VORLANE_DATA_MAPS_DIR))
            if (entry.path().extension() == ".bmp")
                std::filesystem::copy_file(entry.path(), Root / entry.path().filename());
        const CProgramRun compile = RunProgram(
            std::string(VORLANE_COMPILE_BIN) + " -q --log-dir " + Quote(Dir.string()) + " -o " +
            Quote((Root / "room.vmz").string()) + " " +
            Quote(std::string(VORLANE_DATA_MAPS_DIR) + "/room.map"));
        ASSERT_EQ(compile.nExitCode, 0) << compile.Output;
    }

    // Frames of 0.1 s keep the runs short: ten frames make a second.
    CProgramRun RunScript(const std::string& script)
    {
        return RunProgram(std::string(VORLANE_VIEWER_BIN) + " --step-ms 100 --root " +
                          Quote(Root.string()) + " --script " +
                          Quote(Write("run.script", script)));
    }

    CPicture Shot(const std::string& name)
    {
        CPicture picture;
        EXPECT_TRUE(LoadPicture(Path(name), &picture)) << name;
        return picture;
    }

    // A shot of the frame that the wait after it runs.
    std::string ShotLine(const std::string& name) { return "shot " + Path(name) + "\nwait 1\n"; }

    std::filesystem::path Root;
};

// How many pixels differ between two pictures of the same size.
int Differences(const CPicture& a, const CPicture& b)
{
    int nCount = 0;
    for (int y = 0; y < a.nHeight; ++y)
        for (int x = 0; x < a.nWidth; ++x)
            nCount += NearColour(a.At(x, y), b.At(x, y), 8) ? 0 : 1;
    return nCount;
}

int DistinctGreys(const CPicture& picture, int y)
{
    std::vector<bool> seen(256, false);
    int nCount = 0;
    for (int x = 0; x < picture.nWidth; ++x) {
        const uint32_t c = picture.At(x, y);
        const int nLevel = int(((c >> 16) & 0xFF) + ((c >> 8) & 0xFF) + (c & 0xFF)) / 3;
        nCount += seen[nLevel] ? 0 : 1;
        seen[nLevel] = true;
    }
    return nCount;
}

TEST_F(ViewerWalkTest, WalksThroughTheRoomInEveryModeAndReturns)
{
    const CProgramRun run = RunScript("wait 2\npress RETURN\nwait 5\n" + ShotLine("lit.png") +
                                      "down W\nwait 10\n" + ShotLine("walked.png") +
                                      "wait 80\n" + ShotLine("wall.png") + "wait 5\n" +
                                      ShotLine("still.png") + "up W\nwait 1\npress TAB\n" +
                                      ShotLine("wire.png") + "press TAB\n" +
                                      ShotLine("unlit.png") + "press TAB\npress ESCAPE\nwait 3\n" +
                                      ShotLine("browser.png") + "press ESCAPE\nwait 100\n" +
                                      ShotLine("never.png"));
    ASSERT_EQ(run.nExitCode, 0) << run.Output;

    const CPicture lit = Shot("lit.png");
    ASSERT_EQ(lit.nWidth, 1024);
    // Lit textures: the light falls off across the walls, so a row through
    // the middle holds many levels, and the shadows leave most of it lit.
    EXPECT_LT(CountNear(lit, 0, 0, 1024, 768, 0, 6), 1024 * 768 / 3);
    EXPECT_GT(DistinctGreys(lit, 300), 20);

    // A second of W moves the camera; the wall then stops it for good.
    const CPicture walked = Shot("walked.png");
    EXPECT_GT(Differences(lit, walked), 1024 * 768 / 20);
    const CPicture wall = Shot("wall.png");
    EXPECT_EQ(Differences(wall, Shot("still.png")), 0);
    EXPECT_LT(CountNear(wall, 0, 0, 1024, 768, 0, 6), 1024 * 768 / 2);

    // Wireframe: white lines on the 0.3 grey.
    const CPicture wire = Shot("wire.png");
    EXPECT_GT(CountNear(wire, 0, 0, 1024, 768, 0x4A494A, 6), 1024 * 768 / 2);
    EXPECT_GT(CountNear(wire, 0, 0, 1024, 768, 0xFFFFFF, 6), 500);

    // Unlit differs from lit at the same place.
    const CPicture unlit = Shot("unlit.png");
    EXPECT_GT(Differences(unlit, wall), 1024 * 768 / 4);

    const CPicture browser = Shot("browser.png");
    EXPECT_GT(CountNear(browser, 0, 0, 250, 64, GREEN), 300);
    // The second Escape quit the program before the last shot.
    EXPECT_FALSE(std::filesystem::exists(Path("never.png")));
}

TEST_F(ViewerWalkTest, ADamagedFileShowsItsMessageThenTheBrowser)
{
    std::filesystem::remove(Root / "room.vmz");
    std::ofstream(Root / "broken.vmz") << "VMZF and then nothing that makes sense";
    const CProgramRun run = RunScript("wait 2\npress RETURN\nwait 3\n" + ShotLine("message.png") +
                                      "press ESCAPE\nwait 3\n" + ShotLine("browser.png") +
                                      "press ESCAPE\nwait 10\n");
    ASSERT_EQ(run.nExitCode, 0) << run.Output;
    const CPicture message = Shot("message.png");
    // "Invalid file." in green across the middle of the screen.
    EXPECT_GT(CountNear(message, 200, 300, 824, 400, GREEN), 500);
    EXPECT_EQ(CountNear(message, 0, 0, 1024, 64, GREEN), 0);
    const CPicture browser = Shot("browser.png");
    EXPECT_GT(CountNear(browser, 0, 0, 250, 64, GREEN), 300);
}

} // namespace
