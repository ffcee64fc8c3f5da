// Input scripts: parsing, the frame-by-frame input a script gives through
// the frame hook, a whole application run ended by its script, and
// recording a live run then replaying it.
#include "frame/application.h"
#include "frame/error.h"
#include "platform/clock.h"
#include "platform/dinput.h"
#include "platform/input_state.h"
#include "platform/message_box.h"
#include "platform/null_backend.h"
#include "platform/window.h"
#include "scratch_dir.h"
#include "viewer/script.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

CScript Parse(const std::string& text)
{
    CScript script;
    std::string error;
    EXPECT_TRUE(ParseScript(text, "test.script", &script, &error)) << error;
    return script;
}

std::string ParseError(const std::string& text)
{
    CScript script;
    std::string error;
    EXPECT_FALSE(ParseScript(text, "bad.script", &script, &error)) << text;
    return error;
}

// ---------------------------------------------------------------- parsing

TEST(ScriptParse, EveryCommandWithCommentsAndBlankLines)
{
    const CScript script = Parse("# a run\n"
                                 "joystick 2 3 1   # first\n"
                                 "\n"
                                 "wait 5\n"
                                 "down ESCAPE\n"
                                 "up 0x1C\n"
                                 "down 30\n"
                                 "press W\n"
                                 "mouse -4 7\n"
                                 "button 2 down\n"
                                 "button 0 up\n"
                                 "axis 1 65535\n"
                                 "joybutton 2 down\n"
                                 "joybutton 0 up\n"
                                 "pov 0 9000\n"
                                 "pov 0 -1\n"
                                 "shot  out dir/frame 1.png  \n");
    EXPECT_TRUE(script.bJoystick);
    EXPECT_EQ(script.nAxes, 2);
    EXPECT_EQ(script.nButtons, 3);
    EXPECT_EQ(script.nPovs, 1);

    struct CExpected {
        EScriptOp Op;
        int32_t nA, nB;
        int nLine;
    };
    const std::vector<CExpected> expected = {
        {EScriptOp::Wait, 5, 0, 4},
        {EScriptOp::KeyDown, DIK_ESCAPE, 0, 5},
        {EScriptOp::KeyUp, DIK_RETURN, 0, 6},
        {EScriptOp::KeyDown, 30, 0, 7},
        {EScriptOp::KeyDown, DIK_W, 0, 8},
        {EScriptOp::Wait, 1, 0, 8},
        {EScriptOp::KeyUp, DIK_W, 0, 8},
        {EScriptOp::Mouse, -4, 7, 9},
        {EScriptOp::ButtonDown, 2, 0, 10},
        {EScriptOp::ButtonUp, 0, 0, 11},
        {EScriptOp::Axis, 1, 65535, 12},
        {EScriptOp::JoyButtonDown, 2, 0, 13},
        {EScriptOp::JoyButtonUp, 0, 0, 14},
        {EScriptOp::Pov, 0, 9000, 15},
        {EScriptOp::Pov, 0, static_cast<int32_t>(0xFFFFFFFFu), 16},
        {EScriptOp::Shot, 0, 0, 17},
    };
    ASSERT_EQ(script.Commands.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        const CScriptCommand& command = script.Commands[i];
        EXPECT_EQ(command.Op, expected[i].Op) << "command " << i;
        EXPECT_EQ(command.nA, expected[i].nA) << "command " << i;
        EXPECT_EQ(command.nB, expected[i].nB) << "command " << i;
        EXPECT_EQ(command.nLine, expected[i].nLine) << "command " << i;
    }
    EXPECT_EQ(script.Commands.back().Path, "out dir/frame 1.png");
}

TEST(ScriptParse, DigitNamesAreKeysAndSmallCodesNeedHex)
{
    const CScript script = Parse("down 1\ndown 0x01\ndown 0X0e\r\n");
    ASSERT_EQ(script.Commands.size(), 3u);
    EXPECT_EQ(script.Commands[0].nA, 0x02) << "\"1\" names the key 1";
    EXPECT_EQ(script.Commands[1].nA, DIK_ESCAPE);
    EXPECT_EQ(script.Commands[2].nA, DIK_BACK) << "upper-case X and a CRLF line end";
}

TEST(ScriptParse, BadLinesNameFileAndLine)
{
    const std::pair<std::string, std::string> cases[] = {
        {"wait 1\n\njump 3\n", "bad.script:3: unknown command \"jump\""},
        {"down NOSUCHKEY\n", "bad.script:1: unknown key \"NOSUCHKEY\""},
        {"down escape\n", "bad.script:1: unknown key \"escape\""},
        {"wait\n", "bad.script:1: expected \"wait N\""},
        {"wait ten\n", "bad.script:1: \"ten\" is not a number"},
        {"wait -1\n", "bad.script:1: -1 is out of range"},
        {"button 4 down\n", "bad.script:1: mouse button 4 does not exist"},
        {"button 0 sideways\n", "bad.script:1: \"sideways\" is neither down nor up"},
        {"# header\nwait 1\njoystick 1 1 1\n", "bad.script:3: joystick must be the first command"},
        {"joystick 1 1 1\njoystick 1 1 1\n", "bad.script:2: joystick must be the first command"},
        {"axis 0 100\n", "bad.script:1: axis needs a joystick line first"},
        {"joystick 2 0 0\naxis 2 100\n", "bad.script:2: axis 2 does not exist"},
        {"joystick 2 0 0\naxis 0 65536\n", "bad.script:2: 65536 is out of range"},
        {"joystick 0 0 1\npov 0 36000\n", "bad.script:2: 36000 is not a direction"},
        {"shot   # no file\n", "bad.script:1: expected \"shot FILE\""},
    };
    for (const auto& [text, message] : cases) {
        const std::string error = ParseError(text);
        EXPECT_EQ(error.rfind(message, 0), 0u) << "script: " << text << "gave: " << error;
    }
}

TEST(ScriptParse, LoadReadsAFileAndReportsAMissingOne)
{
    const std::string path = std::string(VORLANE_TEST_DATA_DIR) + "/script_load.script";
    std::ofstream(path) << "press TAB\nwait 2\n";
    CScript script;
    std::string error;
    ASSERT_TRUE(LoadScript(path, &script, &error)) << error;
    EXPECT_EQ(script.Commands.size(), 4u);

    std::ofstream(path) << "wait 1\nbogus\n";
    EXPECT_FALSE(LoadScript(path, &script, &error));
    EXPECT_EQ(error, path + ":2: unknown command \"bogus\"");

    EXPECT_FALSE(LoadScript(path + ".missing", &script, &error));
    EXPECT_NE(error.find(path + ".missing"), std::string::npos);
}

// ---------------------------------------------------------------- frames

LRESULT PassProc(HWND hWnd, uint32_t nMessage, WPARAM wParam, LPARAM lParam)
{
    return DefWindowProcA(hWnd, nMessage, wParam, lParam);
}

// What a frame's input read finds.
struct CFrameInput {
    std::vector<uint8_t> Keys;
    int32_t nMouseX = 0, nMouseY = 0;
    std::vector<uint8_t> Buttons;
    std::vector<int32_t> Axes;
    std::vector<uint8_t> JoyButtons;
    std::vector<uint32_t> Povs;
    bool operator==(const CFrameInput&) const = default;
};

// Drives frame starts by hand, the way the frame loop does: a peek at an
// empty queue runs the hook, then the frame reads the input state (the
// mouse read takes the motion and sets it back to zero).
class ScriptFrameTest : public ScratchDirTest {
protected:
    void SetUp() override
    {
        ScratchDirTest::SetUp();
        ResetWindowSystem();
        ResetNullBackend();
        ResetInputState();
        WNDCLASSEXA windowClass = {};
        windowClass.lpfnWndProc = PassProc;
        windowClass.lpszClassName = "ScriptFrames";
        RegisterClassExA(&windowClass);
        hWnd = CreateWindowExA(0, "ScriptFrames", "", 0, 0, 0, 64, 48, nullptr, nullptr,
                               nullptr, nullptr);
        ASSERT_NE(hWnd, nullptr);
    }
    void TearDown() override
    {
        SetFrameHook(nullptr);
        SetRealClock();
        ResetWindowSystem();
        ResetInputState();
        ScratchDirTest::TearDown();
    }

    void Start(const std::string& text) { StartScript(Parse(text), 20); }

    // One frame start; false when a message was waiting instead.
    bool StartFrame()
    {
        MSG msg;
        return !PeekMessageA(&msg, nullptr, 0, 0, PM_NOREMOVE);
    }

    CFrameInput ReadFrame()
    {
        CInputState& state = GetInputState();
        CFrameInput input;
        input.Keys.assign(state.Keys, state.Keys + 256);
        input.nMouseX = state.nMouseX;
        input.nMouseY = state.nMouseY;
        state.nMouseX = state.nMouseY = 0;
        input.Buttons.assign(state.MouseButtons, state.MouseButtons + 4);
        if (!state.Controllers.empty()) {
            input.Axes = state.Controllers[0].Axes;
            input.JoyButtons = state.Controllers[0].Buttons;
            input.Povs = state.Controllers[0].Povs;
        }
        return input;
    }

    // Runs n frames; the input each one read.
    std::vector<CFrameInput> RunFrames(int nCount)
    {
        std::vector<CFrameInput> frames;
        for (int i = 0; i < nCount; ++i) {
            EXPECT_TRUE(StartFrame()) << "frame " << i + 1;
            frames.push_back(ReadFrame());
        }
        return frames;
    }

    // Takes the next message without starting a frame: true for the close
    // of the test window.
    bool TakeClose()
    {
        MSG msg;
        return GetMessageA(&msg, nullptr, 0, 0) == 1 && msg.message == WM_CLOSE &&
               msg.hwnd == hWnd;
    }

    HWND hWnd = nullptr;
};

TEST_F(ScriptFrameTest, KeysChangeBeforeTheFrameThatFollows)
{
    StartScript(Parse("down W\nwait 2\nup W\ndown S\nwait 1\n"), 35);
    EXPECT_EQ(PlatformClock(), 0u) << "a fixed step per clock read";
    EXPECT_EQ(PlatformClock(), 35u);
    const std::vector<CFrameInput> frames = RunFrames(3);
    EXPECT_EQ(frames[0].Keys[DIK_W], 0x80);
    EXPECT_EQ(frames[1].Keys[DIK_W], 0x80);
    EXPECT_EQ(frames[2].Keys[DIK_W], 0);
    EXPECT_EQ(frames[2].Keys[DIK_S], 0x80);
    EXPECT_FALSE(TakeClose());
}

TEST_F(ScriptFrameTest, PressLastsExactlyOneFrame)
{
    Start("wait 1\npress A\nwait 3\n");
    const std::vector<CFrameInput> frames = RunFrames(5);
    const uint8_t expected[] = {0, 0x80, 0, 0, 0};
    for (size_t i = 0; i < frames.size(); ++i)
        EXPECT_EQ(frames[i].Keys[DIK_A], expected[i]) << "frame " << i + 1;
}

TEST_F(ScriptFrameTest, WaitCountsFramesAndTheEndPostsOneClose)
{
    Start("wait 4\nwait 0\nwait 1\n");
    RunFrames(5);
    EXPECT_FALSE(TakeClose()) << "nothing was posted during the five frames";
    // The sixth frame start finds the commands used up: it still runs, and
    // the close waits in the queue, so that no further frame starts.
    EXPECT_TRUE(StartFrame());
    EXPECT_FALSE(StartFrame());
    EXPECT_EQ(GetFramesRun(), 6u);
    EXPECT_TRUE(TakeClose());
    EXPECT_TRUE(StartFrame());
    EXPECT_FALSE(TakeClose()) << "the close is posted once";
    EXPECT_EQ(GetFramesRun(), 7u);
}

TEST_F(ScriptFrameTest, MouseDeltasAddUpForTheNextReadOnly)
{
    Start("mouse 3 4\nmouse 1 1\nbutton 1 down\nwait 1\nbutton 1 up\nwait 1\n");
    const std::vector<CFrameInput> frames = RunFrames(2);
    EXPECT_EQ(frames[0].nMouseX, 4);
    EXPECT_EQ(frames[0].nMouseY, 5);
    EXPECT_EQ(frames[0].Buttons[1], 0x80);
    EXPECT_EQ(frames[1].nMouseX, 0);
    EXPECT_EQ(frames[1].nMouseY, 0);
    EXPECT_EQ(frames[1].Buttons[1], 0);
}

TEST_F(ScriptFrameTest, JoystickExistsAtOnceAndChangesPerFrame)
{
    Start("joystick 2 2 1\nwait 1\naxis 0 0\njoybutton 1 down\npov 0 27000\nwait 1\n"
          "pov 0 -1\nwait 1\n");
    ASSERT_EQ(GetInputState().Controllers.size(), 1u) << "there before any frame";
    const CControllerState& joystick = GetInputState().Controllers[0];
    EXPECT_FALSE(joystick.Name.empty());
    EXPECT_EQ(joystick.Axes, (std::vector<int32_t>{32767, 32767}));
    EXPECT_EQ(joystick.Buttons, (std::vector<uint8_t>{0, 0}));
    EXPECT_EQ(joystick.Povs, std::vector<uint32_t>{0xFFFFFFFFu});

    const std::vector<CFrameInput> frames = RunFrames(3);
    EXPECT_EQ(frames[0].Axes[0], 32767);
    EXPECT_EQ(frames[1].Axes[0], 0);
    EXPECT_EQ(frames[1].JoyButtons[1], 0x80);
    EXPECT_EQ(frames[1].Povs[0], 27000u);
    EXPECT_EQ(frames[2].Povs[0], 0xFFFFFFFFu);
    EXPECT_EQ(frames[2].Axes[0], 0) << "values hold until changed";
}

// ---------------------------------------------------------------- a whole run

class CScriptedApp : public CApplication {
public:
    std::vector<bool> EscapeDown; // per frame, as the frame found it
    int nShutdowns = 0;

    // Frames update without drawing: with no devices there is nothing to
    // flip.
    int Init() override
    {
        bWindowAlive = 0;
        return 0;
    }
    int Update() override
    {
        EscapeDown.push_back(GetInputState().Keys[DIK_ESCAPE] != 0);
        return 0;
    }
    int Shutdown() override
    {
        ++nShutdowns;
        return 0;
    }
};

TEST_F(ScriptFrameTest, ApplicationQuitsInOrderWhenTheScriptEnds)
{
    ResetWindowSystem(); // the application makes its own window
    g_bQuit = 0;
    int nBoxes = 0;
    MessageBoxHandler saved = SetMessageBoxHandler([&](HWND, const char*, const char*, uint32_t) {
        ++nBoxes;
        return 1;
    });
    CAppConfig config;
    config.pszCaption = "scripted";
    config.pszClassName = "ScriptedApp";
    config.nWidth = 64;
    config.nHeight = 48;
    Start("wait 2\npress ESCAPE\nwait 1\n");
    CScriptedApp app;
    EXPECT_EQ(app.Run(&config, nullptr), 0);
    SetMessageBoxHandler(saved);
    g_bQuit = 0;

    // wait 2, then press = down, wait 1, up, then wait 1: four frames; the
    // fifth frame start posts the close, and that frame still runs.
    EXPECT_EQ(app.EscapeDown, (std::vector<bool>{false, false, true, false, false}));
    EXPECT_EQ(GetFramesRun(), 5u);
    EXPECT_EQ(nBoxes, 0);
    EXPECT_EQ(app.nShutdowns, 1) << "the close ran WM_DESTROY's shutdown";
}

// ---------------------------------------------------------------- recording

// Live input of one frame, set the way the backend's pump sets it.
void LiveFrame(int nFrame, CInputState& state)
{
    switch (nFrame) {
    case 1: state.Keys[DIK_ESCAPE] = 0x80; state.Keys[0x02] = 0x80; break;
    case 2: state.nMouseX = 7; state.nMouseY = -2; break;
    case 3: state.Keys[DIK_ESCAPE] = 0; state.MouseButtons[0] = 0x80; break;
    case 4: state.Controllers[0].Axes[1] = 100; state.Controllers[0].Buttons[0] = 0x80; break;
    case 5: state.Keys[0xF0] = 0x80; state.Controllers[0].Povs[0] = 18000; break;
    case 11: state.Keys[0x02] = 0; state.MouseButtons[0] = 0; state.nMouseX = -1; break;
    case 12: state.Keys[0xF0] = 0; state.Controllers[0].Povs[0] = 0xFFFFFFFFu; break;
    default: break;
    }
}

class RecordTest : public ScriptFrameTest {};

TEST_F(RecordTest, ReplayGivesEveryFrameTheSameInput)
{
    constexpr int FRAMES = 14;
    CControllerState live;
    live.Name = "Live pad";
    live.Axes = {32767, 32767, 32767};
    live.Buttons = {0, 0};
    live.Povs = {0xFFFFFFFFu};
    GetInputState().Controllers = {live};

    const std::string path = Path("live.script");
    std::string error;
    ASSERT_TRUE(StartRecording(path, &error)) << error;
    std::vector<CFrameInput> recorded;
    for (int nFrame = 1; nFrame <= FRAMES; ++nFrame) {
        LiveFrame(nFrame, GetInputState());
        ASSERT_TRUE(StartFrame());
        recorded.push_back(ReadFrame());
    }
    EXPECT_EQ(GetFramesRun(), static_cast<uint64_t>(FRAMES));
    StopRecording();

    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    const std::string written = text.str();
    EXPECT_NE(written.find("wait 6\n"), std::string::npos)
        << "frames 5..10 change nothing after frame 5's lines:\n" << written;
    std::string firstCommand;
    for (std::string line; std::getline(text, line) && firstCommand.empty();)
        if (!line.empty() && line[0] != '#')
            firstCommand = line;
    EXPECT_EQ(firstCommand, "joystick 3 2 1") << "the live joystick is declared first";

    ResetInputState();
    CScript script;
    ASSERT_TRUE(LoadScript(path, &script, &error)) << error << "\n" << written;
    StartScript(std::move(script), 20);
    const std::vector<CFrameInput> replayed = RunFrames(FRAMES);
    for (int i = 0; i < FRAMES; ++i)
        EXPECT_TRUE(replayed[i] == recorded[i]) << "frame " << i + 1 << "\n" << written;
    EXPECT_TRUE(StartFrame());
    EXPECT_TRUE(TakeClose()) << "the replay ends after the recorded frames";
}

TEST_F(RecordTest, UnwritablePathIsReported)
{
    std::string error;
    EXPECT_FALSE(StartRecording(Path("no/such/dir/out.script"), &error));
    EXPECT_NE(error.find("no/such/dir/out.script"), std::string::npos) << error;
}

} // namespace
