// Input scripts: parsing, the input each frame finds through the frame hook,
// and recording a live run then replaying it.
#include "frame/application.h"
#include "platform/clock.h"
#include "platform/dinput.h"
#include "platform/input_state.h"
#include "platform/null_backend.h"
#include "platform/sdl_events.h"
#include "platform/window.h"
#include "scratch_dir.h"
#include "sdl_event.h"
#include "viewer/script.h"

#include <sstream>
#include <tuple>

namespace {

CScript Parse(const std::string& text)
{
    CScript script;
    std::string error;
    EXPECT_TRUE(ParseScript(text, "test.script", &script, &error)) << error;
    return script;
}

TEST(ScriptParse, EveryCommandWithCommentsBlankLinesAndKeyNumbers)
{
    const CScript script = Parse("# a run\njoystick 2 3 1   # first\n\nwait 5\ndown ESCAPE\n"
                                 "up 0x1C\ndown 30\ndown 1\ndown 0X0e\r\npress W\nmouse -4 7\n"
                                 "button 2 down\nbutton 0 up\naxis 1 65535\njoybutton 2 down\n"
                                 "joybutton 0 up\npov 0 9000\npov 0 -1\nshot  out dir/f 1.png  \n");
    EXPECT_TRUE(script.bJoystick);
    EXPECT_EQ(std::tuple(script.nAxes, script.nButtons, script.nPovs), std::tuple(2, 3, 1));
    std::vector<std::tuple<EScriptOp, int32_t, int32_t, int>> commands;
    for (const CScriptCommand& command : script.Commands)
        commands.emplace_back(command.Op, command.nA, command.nB, command.nLine);
    using enum EScriptOp;
    EXPECT_EQ(commands, (decltype(commands){
                            {Wait, 5, 0, 4},          {KeyDown, DIK_ESCAPE, 0, 5},
                            {KeyUp, DIK_RETURN, 0, 6}, {KeyDown, 30, 0, 7},
                            {KeyDown, 0x02, 0, 8}, // "1" names the key 1
                            {KeyDown, DIK_BACK, 0, 9}, {KeyDown, DIK_W, 0, 10},
                            {Wait, 1, 0, 10},          {KeyUp, DIK_W, 0, 10},
                            {Mouse, -4, 7, 11},        {ButtonDown, 2, 0, 12},
                            {ButtonUp, 0, 0, 13},      {Axis, 1, 65535, 14},
                            {JoyButtonDown, 2, 0, 15}, {JoyButtonUp, 0, 0, 16},
                            {Pov, 0, 9000, 17},        {Pov, 0, -1, 18},
                            {Shot, 0, 0, 19}}));
    EXPECT_EQ(script.Commands.back().Path, "out dir/f 1.png");
}

TEST(ScriptParse, BadLinesNameFileAndLine)
{
    const std::pair<std::string, std::string> cases[] = {
        {"wait 1\n\njump 3\n", "bad.script:3: unknown command \"jump\""},
        {"down escape\n", "bad.script:1: unknown key \"escape\""},
        {"wait\n", "bad.script:1: expected \"wait N\""},
        {"wait ten\n", "bad.script:1: \"ten\" is not a number"},
        {"button 4 down\n", "bad.script:1: mouse button 4 does not exist"},
        {"# header\nwait 1\njoystick 1 1 1\n", "bad.script:3: joystick must be the first command"},
        {"axis 0 100\n", "bad.script:1: axis needs a joystick line first"},
        {"joystick 2 0 0\naxis 2 100\n", "bad.script:2: axis 2 does not exist"},
        {"joystick 0 0 1\npov 0 36000\n", "bad.script:2: 36000 is not a direction"},
        {"shot   # no file\n", "bad.script:1: expected \"shot FILE\""},
    };
    for (const auto& [text, message] : cases) {
        CScript script;
        std::string error;
        EXPECT_FALSE(ParseScript(text, "bad.script", &script, &error)) << text;
        EXPECT_EQ(error.rfind(message, 0), 0u) << "script: " << text << "gave: " << error;
    }
    std::string error;
    CScript script;
    EXPECT_FALSE(LoadScript("/no/such.script", &script, &error));
    EXPECT_NE(error.find("/no/such.script"), std::string::npos) << error;
}

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
        StopRecording();
        SetFrameHook(nullptr);
        SetRealClock();
        ResetWindowSystem();
        ResetInputState();
        ScratchDirTest::TearDown();
    }

    // One frame start; false when a message was waiting instead.
    bool StartFrame()
    {
        MSG msg;
        return !PeekMessageA(&msg, nullptr, 0, 0, PM_NOREMOVE);
    }

    CFrameInput ReadFrame()
    {
        CInputState& state = GetInputState();
        CFrameInput input{{state.Keys, state.Keys + 256}, state.nMouseX, state.nMouseY,
                          {state.MouseButtons, state.MouseButtons + 4}, {}, {}, {}};
        state.nMouseX = state.nMouseY = 0;
        if (!state.Controllers.empty()) {
            input.Axes = state.Controllers[0].Axes;
            input.JoyButtons = state.Controllers[0].Buttons;
            input.Povs = state.Controllers[0].Povs;
        }
        return input;
    }

    std::vector<CFrameInput> RunFrames(int nCount)
    {
        std::vector<CFrameInput> frames;
        for (int i = 0; i < nCount; ++i) {
            EXPECT_TRUE(StartFrame()) << "frame " << i + 1;
            frames.push_back(ReadFrame());
        }
        return frames;
    }

    // Takes the next message: true for the close of the test window.
    bool TakeClose()
    {
        MSG msg;
        return GetMessageA(&msg, nullptr, 0, 0) == 1 && msg.message == WM_CLOSE &&
               msg.hwnd == hWnd;
    }

    HWND hWnd = nullptr;
};

TEST_F(ScriptFrameTest, CommandsApplyBeforeTheFrameThatFollowsThemAndHold)
{
    StartScript(Parse("joystick 2 2 1\ndown W\nmouse 3 4\nmouse 1 1\nbutton 1 down\nwait 2\n"
                      "up W\npress A\naxis 0 0\npov 0 27000\nwait 1\n"),
                35);
    EXPECT_EQ(PlatformClock(), 0u) << "a fixed step per clock read";
    EXPECT_EQ(PlatformClock(), 35u);
    ASSERT_EQ(GetInputState().Controllers.size(), 1u) << "the joystick is there at once";
    const std::vector<CFrameInput> frames = RunFrames(4);
    const uint8_t w[] = {0x80, 0x80, 0, 0}, a[] = {0, 0, 0x80, 0};
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(frames[i].Keys[DIK_W], w[i]) << "frame " << i + 1;
        EXPECT_EQ(frames[i].Keys[DIK_A], a[i]) << "frame " << i + 1;
        EXPECT_EQ(frames[i].Buttons[1], 0x80) << "frame " << i + 1;
    }
    EXPECT_EQ(std::pair(frames[0].nMouseX, frames[0].nMouseY), std::pair(4, 5));
    EXPECT_EQ(frames[1].nMouseX, 0) << "motion is for the next read only";
    EXPECT_EQ(frames[1].Axes, (std::vector<int32_t>{32767, 32767}));
    EXPECT_EQ(frames[3].Axes[0], 0);
    EXPECT_EQ(frames[3].Povs[0], 27000u);
    // The fifth frame start finds the commands used up: it still runs, and
    // the close it posts keeps any further frame from starting.
    EXPECT_TRUE(StartFrame());
    EXPECT_FALSE(StartFrame());
    EXPECT_EQ(GetFramesRun(), 5u);
    EXPECT_TRUE(TakeClose());
    EXPECT_TRUE(StartFrame());
    EXPECT_FALSE(TakeClose()) << "the close is posted once";
}

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

class RecordTest : public ScriptFrameTest {
protected:
    std::string Recorded(const std::string& path)
    {
        StopRecording();
        return ReadFile(path);
    }
};

TEST_F(RecordTest, ReplayGivesEveryFrameTheSameInput)
{
    constexpr int FRAMES = 14;
    CControllerState live;
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
    const std::string written = Recorded(path);
    EXPECT_NE(written.find("\njoystick 3 2 1\n"), std::string::npos) << written;
    EXPECT_NE(written.find("wait 6\n"), std::string::npos) << "frames 5..10 change nothing";

    ResetInputState();
    CScript script;
    ASSERT_TRUE(LoadScript(path, &script, &error)) << error << "\n" << written;
    StartScript(std::move(script), 20);
    const std::vector<CFrameInput> replayed = RunFrames(FRAMES);
    for (int i = 0; i < FRAMES; ++i)
        EXPECT_TRUE(replayed[i] == recorded[i]) << "frame " << i + 1 << "\n" << written;
    EXPECT_TRUE(StartFrame());
    EXPECT_TRUE(TakeClose()) << "the replay ends after the recorded frames";
    EXPECT_FALSE(StartRecording(Path("no/such/dir/out.script"), &error));
    EXPECT_NE(error.find("no/such/dir/out.script"), std::string::npos) << error;
}

// While the focus is away the mouse reads fail and take nothing: motion made
// then must not pile up into the recording.
TEST_F(RecordTest, MotionWhileUnfocusedIsNotRecorded)
{
    const std::string path = Path("away.script");
    ASSERT_TRUE(StartRecording(path, nullptr));
    ApplySdlEvent(WindowEvent(SDL_WINDOWEVENT_FOCUS_LOST), GetInputState(), true);
    for (int i = 0; i < 3; ++i) {
        ApplySdlEvent(MotionEvent(5), GetInputState(), true);
        ASSERT_TRUE(StartFrame());
    }
    EXPECT_EQ(Recorded(path).find("mouse"), std::string::npos) << Recorded(path);
}

} // namespace
