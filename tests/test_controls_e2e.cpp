// End to end: the screen controls example started headless, driven by a
// script that moves the cursor onto the ok button and clicks it; the text box
// in the captured frames shows the greeting first and the count afterwards.
#include "picture.h"
#include "run_program.h"
#include "scratch_dir.h"

#include <filesystem>

namespace {

const uint32_t WHITE = 0xFFFFFF;
// The glyph background 0x7F007F as a 5-6-5 display keeps it.
const uint32_t KEY = 0x7B007B;

// The text box and its two lines of 32 pixels; the ok button.
constexpr int TEXT_LEFT = 242, TEXT_TOP = 264, TEXT_RIGHT = 782, TEXT_BOTTOM = 344;
constexpr int LINE_HEIGHT = 32;
constexpr int OK_LEFT = 262, OK_TOP = 424;

class ControlsDemoTest : public ScratchDirTest {
protected:
    CProgramRun RunScript(const std::string& script)
    {
        const std::string scriptPath = Write("run.script", script);
        return RunProgram(std::string(VORLANE_CONTROLS_BIN) + " --step-ms 20 --script " +
                          Quote(scriptPath));
    }
    CPicture Shot(const std::string& name)
    {
        CPicture picture;
        EXPECT_TRUE(LoadPicture(Path(name), &picture)) << name;
        return picture;
    }

    static int LineInk(const CPicture& picture, int nLine)
    {
        const int y = TEXT_TOP + nLine * LINE_HEIGHT;
        return CountNear(picture, TEXT_LEFT, y, TEXT_RIGHT, y + LINE_HEIGHT, WHITE, 24);
    }
};

TEST_F(ControlsDemoTest, ClickingOkCountsInTheTextBox)
{
    // The cursor starts at 512, 384; a delta of 100 moves it 50 pixels a
    // frame of 20 ms, so -300, 150 brings it to 362, 459 on the ok button.
    const CProgramRun run = RunScript("wait 3\nshot " + Path("start.png") +
                                      "\nwait 1\nmouse -300 150\nwait 2\nbutton 0 down\nwait 2\n"
                                      "button 0 up\nwait 2\nshot " + Path("clicked.png") +
                                      "\nwait 1\npress ESCAPE\nwait 3\nshot " + Path("after.png") + "\nwait 1\n");
    ASSERT_EQ(run.nExitCode, 0) << run.Output;
    // Escape ended the run before the script did.
    EXPECT_FALSE(std::filesystem::exists(Path("after.png")));

    const CPicture start = Shot("start.png");
    const CPicture clicked = Shot("clicked.png");
    ASSERT_TRUE(start.nWidth == 1024 && start.nHeight == 768 && clicked.nWidth == 1024);

    // The greeting: two lines of white glyphs.
    EXPECT_GT(LineInk(start, 0), 300);
    EXPECT_GT(LineInk(start, 1), 300);
    // The glyphs' background is keyed out everywhere, cursor and panel
    // included.
    for (const CPicture* pPicture : {&start, &clicked})
        EXPECT_EQ(CountNear(*pPicture, 0, 0, 1024, 768, KEY, 12), 0);

    // After the click: one line "ok: 1  cancel: 0", nothing in the second.
    EXPECT_GT(LineInk(clicked, 0), 200);
    EXPECT_EQ(LineInk(clicked, 1), 0);
    int nChanged = 0;
    for (int y = TEXT_TOP; y < TEXT_BOTTOM; ++y)
        for (int x = TEXT_LEFT; x < TEXT_RIGHT; ++x)
            nChanged += !NearColour(start.At(x, y), clicked.At(x, y));
    EXPECT_GT(nChanged, 300);
    // The cursor rests on the ok button, which shows its hover picture now.
    const int x = OK_LEFT + 20, y = OK_TOP + 20;
    EXPECT_FALSE(NearColour(start.At(x, y), clicked.At(x, y)));
}

} // namespace
