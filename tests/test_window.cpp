// The window and its message queue, the frame loop's result protocol on top
// of them, and the SDL backend: event translation and a headless window with
// an OpenGL context.
#include "platform/clock.h"
#include "platform/dinput.h"
#include "platform/dsound.h"
#include "platform/input_state.h"
#include "platform/message_box.h"
#include "platform/scan_codes.h"
#include "platform/sdl_audio.h"
#include "platform/sdl_events.h"
#include "platform/sdl_joysticks.h"
#include "platform/sdl_window.h"
#include "platform/window.h"
#include "tests/app_fixture.h"
#include "tests/sdl_event.h"

#include <SDL2/SDL.h>
#include <SDL2/SDL_opengl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace {

// ---------------------------------------------------------------- queue

std::vector<uint32_t> g_Seen; // messages the test procedure received
std::vector<bool> g_LiveAtMessage; // whether the window stood at each

LRESULT RecordingProc(HWND hWnd, uint32_t nMessage, WPARAM wParam, LPARAM lParam)
{
    g_Seen.push_back(nMessage);
    g_LiveAtMessage.push_back(GetLiveWindow() == hWnd);
    return DefWindowProcA(hWnd, nMessage, wParam, lParam);
}

HWND CreateRecordingWindow(const char* pszClass = "Queue")
{
    WNDCLASSEXA windowClass = {};
    windowClass.lpfnWndProc = RecordingProc;
    windowClass.lpszClassName = "Queue";
    RegisterClassExA(&windowClass);
    return CreateWindowExA(0, pszClass, "caption", WS_OVERLAPPEDWINDOW, 0, 0, 64, 48, nullptr,
                           nullptr, nullptr, nullptr);
}

class WindowQueueTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ResetWindowSystem();
        ResetNullBackend();
        g_Seen.clear();
        g_LiveAtMessage.clear();
    }
    void TearDown() override { ResetWindowSystem(); }
};

TEST_F(WindowQueueTest, CreateAndDestroyNotifyTheLiveWindowOnce)
{
    EXPECT_EQ(CreateRecordingWindow("NoSuchClass"), nullptr);
    GetNullConfig().bWindow = false;
    EXPECT_EQ(CreateRecordingWindow(), nullptr);
    EXPECT_TRUE(g_Seen.empty()) << "no WM_CREATE for a window that was not made";

    GetNullConfig().bWindow = true;
    HWND hWnd = CreateRecordingWindow();
    ASSERT_NE(hWnd, nullptr);
    EXPECT_EQ(CreateRecordingWindow(), nullptr) << "one window at a time";
    EXPECT_TRUE(DestroyWindow(hWnd));
    EXPECT_FALSE(DestroyWindow(hWnd)) << "a dead window is not destroyed twice";
    EXPECT_EQ(g_Seen, (std::vector<uint32_t>{WM_CREATE, WM_DESTROY}));
    EXPECT_EQ(g_LiveAtMessage, (std::vector<bool>{true, true}));
    EXPECT_EQ(GetLiveWindow(), nullptr);
}

// WM_CLOSE reaches the procedure, whose default destroys the window: the
// procedure hears WM_DESTROY inside the dispatch of WM_CLOSE.
TEST_F(WindowQueueTest, CloseDestroysThroughTheDefaultAndQuitEndsGetMessage)
{
    HWND hWnd = CreateRecordingWindow();
    PostMessageA(hWnd, WM_CLOSE, 0, 0);
    MSG msg;
    ASSERT_EQ(GetMessageA(&msg, nullptr, 0, 0), 1);
    EXPECT_EQ(msg.message, WM_CLOSE);
    DispatchMessageA(&msg);
    EXPECT_EQ(g_Seen, (std::vector<uint32_t>{WM_CREATE, WM_CLOSE, WM_DESTROY}));
    EXPECT_EQ(GetLiveWindow(), nullptr);

    PostQuitMessage(7);
    EXPECT_EQ(GetMessageA(&msg, nullptr, 0, 0), 0);
    EXPECT_EQ(msg.message, WM_QUIT);
    EXPECT_EQ(msg.wParam, 7u);
    // Empty queue, no window: nothing can come, so no wait.
    EXPECT_EQ(GetMessageA(&msg, nullptr, 0, 0), 0);
}

TEST_F(WindowQueueTest, PeekKeepsOrTakesInOrderAndTheHookRunsOnlyWhenEmpty)
{
    HWND hWnd = CreateRecordingWindow();
    int nHookCalls = 0;
    SetFrameHook([&] { ++nHookCalls; });
    PostMessageA(hWnd, 0x400, 1, 0);
    PostQuitMessage(2);
    PostMessageA(hWnd, 0x400, 3, 0);
    MSG msg;
    ASSERT_TRUE(PeekMessageA(&msg, nullptr, 0, 0, PM_NOREMOVE));
    EXPECT_EQ(msg.wParam, 1u);
    for (WPARAM nExpected : {1u, 2u, 3u}) {
        ASSERT_TRUE(PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE));
        EXPECT_EQ(msg.wParam, nExpected) << "the peek without removing left it in place";
    }
    EXPECT_EQ(nHookCalls, 0) << "no frame starts while messages wait";
    EXPECT_FALSE(PeekMessageA(&msg, nullptr, 0, 0, PM_NOREMOVE));
    EXPECT_EQ(nHookCalls, 1);
    SetFrameHook(nullptr);
    EXPECT_FALSE(PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE));
    EXPECT_EQ(nHookCalls, 1) << "an empty function removes the hook";
}

// ---------------------------------------------------------------- frame loop

struct CBox {
    std::string Text, Caption;
};

// A small application: each hook is a plain function of the frame number.
// Unless bDraw is set its Init clears bWindowAlive, so frames update but
// draw nothing: with no devices there would be nothing to flip.
class CTestApp : public CApplication {
public:
    std::function<int(int)> OnUpdate;  // result of Update in frame n (1-based)
    std::function<int(int)> OnProcess; // result of Process in frame n
    std::function<int(int)> OnDraw;    // result of Draw in frame n
    std::optional<std::string> InitError;
    bool bDraw = false;
    int nFrames = 0, nInits = 0, nShutdowns = 0;
    std::vector<double> Seconds;       // FrameSeconds of each frame
    std::vector<std::string> Reports;  // the errors reported, in order
    std::vector<bool> InputAtShutdown; // whether DirectInput stood, per Shutdown
    bool bInputAtReport = false;

    int Init() override
    {
        ++nInits;
        if (!bDraw)
            bWindowAlive = 0;
        if (InitError)
            throw CError(InitError->c_str());
        return 0;
    }
    int Update() override
    {
        Seconds.push_back(GetFrameSeconds());
        ++nFrames;
        return OnUpdate ? OnUpdate(nFrames) : 0;
    }
    int Process() override { return OnProcess ? OnProcess(nFrames) : 0; }
    int Draw() override
    {
        NullLog("app Draw");
        return OnDraw ? OnDraw(nFrames) : 0;
    }
    int Shutdown() override
    {
        ++nShutdowns;
        InputAtShutdown.push_back(pDirectInput != nullptr);
        return 0;
    }
    int ReportError(CError& error) override
    {
        Reports.push_back(error.GetMessage());
        bInputAtReport = pDirectInput != nullptr;
        return 0;
    }
};

// A scene or overlay resource that logs its draws and notes whether the
// devices still stood when it was released.
class CProbe : public CResource {
public:
    CProbe(const char* pszName, bool* pDevices) : pDevicesAtRelease(pDevices) { SetName(pszName); }
    void Draw(CApplication*) override { NullLog(std::string(GetName()) + " draw"); }
    void Release(CApplication* pApp) override
    {
        *pDevicesAtRelease = pApp->pDevice && pApp->pDirectDraw;
        CResource::Release(pApp);
    }
    bool* pDevicesAtRelease;
};

class FrameLoopTest : public AppTest {
protected:
    void SetUp() override
    {
        AppTest::SetUp();
        ResetWindowSystem();
        ResetInputState();
        SetFixedStepClock(20);
        g_bQuit = 0;
        g_nFrameResult = 0;
        Config.nDevices = 0;
        Config.pszClassName = "FrameLoopTest";
        Saved = SetMessageBoxHandler(
            [this](HWND, const char* pszText, const char* pszCaption, uint32_t) {
                Boxes.push_back({pszText ? pszText : "", pszCaption ? pszCaption : ""});
                return 1;
            });
    }
    void TearDown() override
    {
        SetMessageBoxHandler(Saved);
        SetRealClock();
        ResetWindowSystem();
        g_bQuit = 0;
        AppTest::TearDown();
    }
    // Runs the application as a second run of the process would.
    int RunAgain(CTestApp& app)
    {
        ResetWindowSystem();
        g_bQuit = 0;
        Boxes.clear();
        return app.Run(&Config, nullptr);
    }

    std::vector<CBox> Boxes;
    MessageBoxHandler Saved;
};

// The word is cleared at the start of each frame; the frame's end shuts down
// while the devices stand, and WM_DESTROY shuts down again.
TEST_F(FrameLoopTest, OrderlyQuitShowsNothingAndShutsDownTwice)
{
    std::ofstream(ERROR_LOG_NAME) << "the log of an earlier run";
    Config.nDevices = DEVICE_DIRECTINPUT;
    CTestApp app;
    app.OnUpdate = [](int nFrame) { return nFrame == 3 ? 1 : 0; };
    g_nFrameResult = 2;
    EXPECT_EQ(app.Run(&Config, nullptr), 0);
    EXPECT_FALSE(std::filesystem::exists(ERROR_LOG_NAME));
    EXPECT_EQ(app.Seconds, (std::vector<double>{0.02, 0.02, 0.02}));
    EXPECT_TRUE(Boxes.empty());
    EXPECT_TRUE(app.Reports.empty());
    EXPECT_EQ(app.InputAtShutdown, (std::vector<bool>{true, false}));
    EXPECT_EQ(GetLiveWindow(), nullptr);
}

TEST_F(FrameLoopTest, FailureCodeIsReportedThenShownByItsNumber)
{
    CTestApp app;
    app.OnUpdate = [](int) { return 2; };
    EXPECT_EQ(app.Run(&Config, nullptr), 0);
    EXPECT_EQ(app.nFrames, 1);
    ASSERT_EQ(Boxes.size(), 1u);
    EXPECT_EQ(Boxes[0].Text, "Error: 2");
    EXPECT_EQ(Boxes[0].Caption, "");
    EXPECT_EQ(app.Reports, std::vector<std::string>{"Old style error thrown.  No information"});
}

// RequestQuit ORs the quit bit into the word; Update's bits survive Process.
TEST_F(FrameLoopTest, RequestQuitAndTheQuitBitFromProcessEndQuietly)
{
    CTestApp app;
    app.OnUpdate = [](int nFrame) {
        if (nFrame == 2)
            CApplication::RequestQuit(4);
        return 0;
    };
    EXPECT_EQ(app.Run(&Config, nullptr), 0);
    EXPECT_EQ(app.nFrames, 2);
    EXPECT_EQ(g_nFrameResult, 5);
    CTestApp second;
    second.OnUpdate = [](int) { return 6; };
    second.OnProcess = [](int) { return 1; };
    EXPECT_EQ(RunAgain(second), 0);
    EXPECT_EQ(g_nFrameResult, 7);
    EXPECT_TRUE(Boxes.empty());
}

// The handler releases the devices before the report, shuts down, and
// shows one box; the destroy of the window shuts down a second time.
TEST_F(FrameLoopTest, ErrorFromInitOrFrameIsReportedAfterTheReleaseAndShownOnce)
{
    Config.nDevices = DEVICE_DIRECTINPUT;
    for (const char* pszInitError : {"Init went wrong.", ""}) {
        CTestApp app;
        if (*pszInitError)
            app.InitError = pszInitError;
        app.OnUpdate = [](int nFrame) -> int {
            if (nFrame == 4)
                throw CError("Frame went wrong.");
            return 0;
        };
        EXPECT_EQ(RunAgain(app), 0);
        EXPECT_EQ(app.nFrames, *pszInitError ? 0 : 4);
        ASSERT_EQ(Boxes.size(), 1u);
        EXPECT_EQ(Boxes[0].Text, *pszInitError ? pszInitError : "Frame went wrong.");
        EXPECT_EQ(app.Reports.size(), 1u);
        EXPECT_FALSE(app.bInputAtReport);
        EXPECT_EQ(app.nShutdowns, 2);
        EXPECT_EQ(GetLiveWindow(), nullptr);
    }
}

TEST_F(FrameLoopTest, NoConfigNoWindowOrQueuedQuitRunNoFrame)
{
    CTestApp app;
    EXPECT_EQ(app.Run(nullptr, nullptr), 2);
    GetNullConfig().bWindow = false;
    EXPECT_EQ(app.Run(&Config, nullptr), 4);
    EXPECT_EQ(app.nInits, 0);
    GetNullConfig().bWindow = true;
    PostQuitMessage(0);
    EXPECT_EQ(app.Run(&Config, nullptr), 0);
    EXPECT_EQ(app.nInits, 1);
    EXPECT_EQ(app.nFrames, 0);
}

// A drawing frame: the application's Draw, then one scene of the lists with
// the z-buffer cleared between them, then the flip; the release at the end
// empties the lists while the devices still stand.
TEST_F(FrameLoopTest, DrawingFrameRunsTheSceneBetweenDrawAndFlip)
{
    Config.nDevices = DEVICE_DIRECTDRAW | DEVICE_DIRECT3D;
    CTestApp app;
    app.bDraw = true;
    app.OnDraw = [](int nFrame) { return nFrame == 2 ? 1 : 0; };
    app.OnUpdate = [](int nFrame) { return nFrame == 5 ? 2 : 0; }; // should Draw's word be lost
    bool bSceneDevices = false, bOverlayDevices = false;
    app.SceneList.Add(new CProbe("scene", &bSceneDevices));
    app.OverlayList.Add(new CProbe("overlay", &bOverlayDevices));
    EXPECT_EQ(app.Run(&Config, nullptr), 0);
    EXPECT_EQ(app.nFrames, 2);
    const std::vector<std::string> frame = {"app Draw",     "BeginScene", "scene draw", "Clear 2",
                                            "overlay draw", "EndScene",   "Flip"};
    std::vector<std::string> twice = frame;
    twice.insert(twice.end(), frame.begin(), frame.end());
    EXPECT_TRUE(LoggedInOrder(twice));
    EXPECT_EQ(CountLogged("EndScene"), 2);
    EXPECT_TRUE(bSceneDevices);
    EXPECT_TRUE(bOverlayDevices);
    EXPECT_TRUE(Boxes.empty());
}

// ---------------------------------------------------------------- SDL events

SDL_Event KeyEvent(uint32_t nType, int nScancode, bool bRepeat = false)
{
    SDL_Event event = {};
    event.type = nType;
    event.key.state = nType == SDL_KEYDOWN ? SDL_PRESSED : SDL_RELEASED;
    event.key.repeat = bRepeat ? 1 : 0;
    event.key.keysym.scancode = static_cast<SDL_Scancode>(nScancode);
    return event;
}

SDL_Event ButtonEvent(uint32_t nType, uint8_t nButton)
{
    SDL_Event event = {};
    event.type = nType;
    event.button.button = nButton;
    event.button.state = nType == SDL_MOUSEBUTTONDOWN ? SDL_PRESSED : SDL_RELEASED;
    return event;
}

class SdlScanCodeTest : public ::testing::TestWithParam<std::pair<int, int>> {};

// Letters follow the keyboard's rows, digits and F1..F10 run on from their
// first code; the rest comes from the table. -1: DirectInput has no such key.
TEST_P(SdlScanCodeTest, KeysGoToTheirDirectInputScanCodes)
{
    const auto [nSdl, nCode] = GetParam();
    EXPECT_EQ(ScanCodeFromSdl(nSdl), nCode);
    CInputState state;
    ApplySdlEvent(KeyEvent(SDL_KEYDOWN, nSdl), state, true);
    EXPECT_EQ(std::count(std::begin(state.Keys), std::end(state.Keys), 0x80), nCode < 0 ? 0 : 1);
    if (nCode >= 0) {
        EXPECT_EQ(state.Keys[nCode], 0x80);
    }
}

// DirectInput's codes, from its keyboard table.
INSTANTIATE_TEST_SUITE_P(
    Keys, SdlScanCodeTest,
    ::testing::Values(std::pair{SDL_SCANCODE_A, 0x1E}, std::pair{SDL_SCANCODE_B, 0x30},
                      std::pair{SDL_SCANCODE_D, 0x20}, std::pair{SDL_SCANCODE_S, 0x1F},
                      std::pair{SDL_SCANCODE_W, 0x11}, std::pair{SDL_SCANCODE_Z, 0x2C},
                      std::pair{SDL_SCANCODE_1, 0x02}, std::pair{SDL_SCANCODE_0, 0x0B},
                      std::pair{SDL_SCANCODE_F1, 0x3B}, std::pair{SDL_SCANCODE_F10, 0x44},
                      std::pair{SDL_SCANCODE_F11, 0x57}, std::pair{SDL_SCANCODE_ESCAPE, 0x01},
                      std::pair{SDL_SCANCODE_RETURN, 0x1C}, std::pair{SDL_SCANCODE_TAB, 0x0F},
                      std::pair{SDL_SCANCODE_UP, 0xC8}, std::pair{SDL_SCANCODE_KP_8, 0x48},
                      std::pair{SDL_SCANCODE_RCTRL, 0x9D}, std::pair{SDL_SCANCODE_F24, -1}));

TEST(SdlEvents, ReleasesClearKeysAndRepeatsAreIgnored)
{
    CInputState state;
    ApplySdlEvent(KeyEvent(SDL_KEYDOWN, SDL_SCANCODE_W), state, true);
    ApplySdlEvent(KeyEvent(SDL_KEYUP, SDL_SCANCODE_W), state, true);
    EXPECT_EQ(state.Keys[DIK_W], 0);
    // A repeat arriving after the release must not bring the key back.
    ApplySdlEvent(KeyEvent(SDL_KEYDOWN, SDL_SCANCODE_W, true), state, true);
    EXPECT_EQ(state.Keys[DIK_W], 0);
}

TEST(SdlEvents, MouseMotionWheelAndButtonsAccumulate)
{
    CInputState state;
    SDL_Event motion = MotionEvent(5);
    motion.motion.yrel = -3;
    ApplySdlEvent(motion, state, true);
    ApplySdlEvent(motion, state, true);
    EXPECT_EQ(state.nMouseX, 10);
    EXPECT_EQ(state.nMouseY, -6);
    SDL_Event wheel = {};
    wheel.type = SDL_MOUSEWHEEL;
    wheel.wheel.y = 2;
    ApplySdlEvent(wheel, state, true);
    wheel.wheel.y = 1;
    wheel.wheel.direction = SDL_MOUSEWHEEL_FLIPPED;
    ApplySdlEvent(wheel, state, true);
    EXPECT_EQ(state.nMouseZ, 240 - 120);
    ApplySdlEvent(ButtonEvent(SDL_MOUSEBUTTONDOWN, SDL_BUTTON_RIGHT), state, true);
    ApplySdlEvent(ButtonEvent(SDL_MOUSEBUTTONDOWN, SDL_BUTTON_MIDDLE), state, true);
    EXPECT_EQ(state.MouseButtons[0], 0);
    EXPECT_EQ(state.MouseButtons[1], 0x80) << "right is DirectInput button 1";
    EXPECT_EQ(state.MouseButtons[2], 0x80) << "middle is DirectInput button 2";
    ApplySdlEvent(ButtonEvent(SDL_MOUSEBUTTONUP, SDL_BUTTON_RIGHT), state, true);
    EXPECT_EQ(state.MouseButtons[1], 0);
}

TEST(SdlEvents, FocusLossReleasesHeldInputAndScriptsHearOnlyCloses)
{
    CInputState state;
    ApplySdlEvent(KeyEvent(SDL_KEYDOWN, SDL_SCANCODE_A), state, true);
    ApplySdlEvent(ButtonEvent(SDL_MOUSEBUTTONDOWN, SDL_BUTTON_LEFT), state, true);
    ApplySdlEvent(WindowEvent(SDL_WINDOWEVENT_FOCUS_LOST), state, true);
    EXPECT_FALSE(state.bFocus);
    EXPECT_EQ(state.Keys[DIK_A], 0);
    EXPECT_EQ(state.MouseButtons[0], 0);
    ApplySdlEvent(WindowEvent(SDL_WINDOWEVENT_FOCUS_GAINED), state, true);
    EXPECT_TRUE(state.bFocus);
    // Without live input (a script runs) keys and focus are left alone.
    ApplySdlEvent(KeyEvent(SDL_KEYDOWN, SDL_SCANCODE_ESCAPE), state, false);
    ApplySdlEvent(WindowEvent(SDL_WINDOWEVENT_FOCUS_LOST), state, false);
    EXPECT_EQ(state.Keys[DIK_ESCAPE], 0);
    EXPECT_TRUE(state.bFocus);
    SDL_Event quit = {};
    quit.type = SDL_QUIT;
    EXPECT_EQ(ApplySdlEvent(quit, state, false), ESdlEventResult::CloseRequested);
    EXPECT_EQ(ApplySdlEvent(WindowEvent(SDL_WINDOWEVENT_CLOSE), state, true),
              ESdlEventResult::CloseRequested);
    EXPECT_EQ(ApplySdlEvent(WindowEvent(SDL_WINDOWEVENT_FOCUS_GAINED), state, true),
              ESdlEventResult::None);
}

TEST(SdlEvents, JoystickValuesInDirectInputRanges)
{
    EXPECT_EQ(SdlAxisToRange(-32768), 0);
    EXPECT_EQ(SdlAxisToRange(0), 32768);
    EXPECT_EQ(SdlAxisToRange(32767), 65535);
    const std::pair<uint8_t, uint32_t> hats[] = {
        {SDL_HAT_CENTERED, 0xFFFFFFFFu}, {SDL_HAT_UP, 0},          {SDL_HAT_RIGHTUP, 4500},
        {SDL_HAT_RIGHT, 9000},           {SDL_HAT_RIGHTDOWN, 13500}, {SDL_HAT_DOWN, 18000},
        {SDL_HAT_LEFTDOWN, 22500},       {SDL_HAT_LEFT, 27000},    {SDL_HAT_LEFTUP, 31500},
    };
    for (const auto& [nHat, nPov] : hats)
        EXPECT_EQ(SdlHatToPov(nHat), nPov) << "hat " << int(nHat);
    EXPECT_EQ(ForceToSdlLevel(10000), 32767);
    EXPECT_EQ(ForceToSdlLevel(-10000), -32767);
    EXPECT_EQ(ForceToSdlLevel(250000), 32767) << "out-of-range magnitudes clamp, not wrap";
}

// ---------------------------------------------------------------- SDL backend

// Sets or, with null, removes an environment variable. Each test runs in a
// process of its own, and those after it here set what they need.
void SetEnv(const char* pszName, const char* pszValue)
{
    if (pszValue)
        setenv(pszName, pszValue, 1);
    else
        unsetenv(pszName);
}

std::vector<std::string> g_Warnings;

TEST(SdlBackend, LiveRunWithoutDisplayIsRefusedAndAScriptRunsHeadless)
{
    for (const char* pszName : {"SDL_VIDEODRIVER", "DISPLAY", "WAYLAND_DISPLAY"})
        SetEnv(pszName, nullptr);
    CSdlOptions options;
    std::string error;
    EXPECT_FALSE(InitSdlBackend(options, &error));
    EXPECT_NE(error.find("No display found"), std::string::npos) << error;
    EXPECT_NE(error.find("--script"), std::string::npos) << "the message names the way out";
    // Even when the display named cannot be reached.
    SetEnv("DISPLAY", ":97");
    options.bScripted = true;
    EXPECT_TRUE(InitSdlBackend(options, &error)) << error;
    ShutdownSdlBackend();
}

TEST(SdlBackend, HeadlessScriptedRunGetsACompatibilityContextAndSound)
{
    SetEnv("SDL_VIDEODRIVER", "offscreen");
    SetEnv("SDL_AUDIODRIVER", "dummy");
    SetBackendWarningHandler([](const char* pszText) { g_Warnings.push_back(pszText); });
    CSdlOptions options;
    options.bScripted = true;
    std::string error;
    ASSERT_TRUE(InitSdlBackend(options, &error)) << error;
    IPlatformBackend* pBackend = GetSdlBackend();
    ASSERT_TRUE(pBackend->OpenWindow("headless", 320, 200));
    int nWidth = 0, nHeight = 0;
    SDL_GetWindowSize(GetSdlWindow(), &nWidth, &nHeight);
    EXPECT_EQ(nWidth, 320);
    EXPECT_EQ(nHeight, 200);
    // The display code draws with the fixed-function pipeline.
    ASSERT_NE(glGetString(GL_VERSION), nullptr);
    glMatrixMode(GL_PROJECTION);
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
    EXPECT_FALSE(pBackend->OpenWindow("second", 32, 32)) << "one window at a time";

    // A scripted run's input comes from the script alone.
    ResetInputState();
    SDL_Event key = KeyEvent(SDL_KEYDOWN, SDL_SCANCODE_ESCAPE);
    SDL_PushEvent(&key);
    pBackend->PumpEvents(false);
    EXPECT_EQ(GetInputState().Keys[DIK_ESCAPE], 0);

    // The sound device opens at the primary format and follows a change.
    IDirectSound* pSound = nullptr;
    ASSERT_EQ(pBackend->CreateDirectSound(&pSound), S_OK);
    SDL_AudioSpec device = {};
    ASSERT_TRUE(GetOpenAudioFormat(&device));
    EXPECT_EQ(device.format, AUDIO_S16SYS);
    DSBUFFERDESC desc = {sizeof(DSBUFFERDESC), DSBCAPS_PRIMARYBUFFER, 0, 0, nullptr};
    IDirectSoundBuffer* pPrimary = nullptr;
    ASSERT_EQ(pSound->CreateSoundBuffer(&desc, &pPrimary, nullptr), S_OK);
    WAVEFORMATEX format = {WAVE_FORMAT_PCM, 1, 11025, 11025, 1, 8, 0};
    ASSERT_EQ(pPrimary->SetFormat(&format), S_OK);
    ASSERT_TRUE(GetOpenAudioFormat(&device));
    EXPECT_EQ(device.format, AUDIO_U8);
    EXPECT_EQ(device.channels, 1);
    EXPECT_EQ(device.freq, 11025);
    pPrimary->Release();
    pSound->Release();

    pBackend->CloseWindow();
    EXPECT_EQ(GetSdlWindow(), nullptr);
    ShutdownSdlBackend();
    EXPECT_FALSE(GetOpenAudioFormat(&device)) << "shutdown closes the device";
    SetBackendWarningHandler(nullptr);
    EXPECT_EQ(g_Warnings, std::vector<std::string>{});
}

TEST(SdlBackend, CloseRequestBecomesOneCloseMessage)
{
    SetEnv("SDL_VIDEODRIVER", "offscreen");
    ResetWindowSystem();
    g_Seen.clear();
    CSdlOptions options;
    options.bScripted = true;
    std::string error;
    ASSERT_TRUE(InitSdlBackend(options, &error)) << error;
    SetPlatformBackend(GetSdlBackend());
    HWND hWnd = CreateRecordingWindow();
    ASSERT_NE(hWnd, nullptr);
    SDL_Event quit = {};
    quit.type = SDL_QUIT;
    SDL_PushEvent(&quit);
    SDL_PushEvent(&quit);
    MSG msg;
    ASSERT_TRUE(PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE));
    EXPECT_EQ(msg.message, WM_CLOSE);
    EXPECT_EQ(msg.hwnd, hWnd);
    DispatchMessageA(&msg);
    EXPECT_EQ(GetSdlWindow(), nullptr) << "the default procedure destroyed the SDL window";
    EXPECT_FALSE(PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE)) << "two requests, one message";
    SetPlatformBackend(nullptr);
    ResetWindowSystem();
    ShutdownSdlBackend();
}

} // namespace
