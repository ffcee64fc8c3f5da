// Keyboard, mouse and cursor of the application over the null backend, and
// the live mouse of the SDL backend losing and regaining the focus.
#include "app_fixture.h"
#include "geometry/vertex.h"
#include "platform/input_state.h"
#include "platform/null_device.h"
#include "platform/sdl_events.h"
#include "sdl_event.h"

#include <gtest/gtest.h>

#include <tuple>

namespace {

constexpr uint8_t DOWN = 0x80;

class InputTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ResetInputState();
        ResetNullBackend();
        Config.nDevices = DEVICE_DIRECTINPUT;
        Config.bKeyboard = Config.bMouse = Config.bCursor = 1;
        Config.nCursorX = 320;
        Config.nCursorY = 240;
        Config.fMouseSpeed = 25.0f;
        App.pConfig = &Config;
    }
    void TearDown() override { App.ReleaseInput(); }

    CInputState& State() { return GetInputState(); }
    // One frame of the loop as far as input goes.
    bool Frame(double dSeconds = 0.02)
    {
        App.FrameSeconds = dSeconds;
        return App.ReadInput();
    }
    CCursorPos Cursor()
    {
        CCursorPos cursor;
        return *App.GetCursorPos(&cursor);
    }
    DIMOUSESTATE Mouse()
    {
        DIMOUSESTATE mouse;
        return *App.GetMouseState(&mouse);
    }

    CAppConfig Config;
    CApplication App;
};

TEST_F(InputTest, KeyStatesFollowTheLastTwoSnapshots)
{
    State().Keys[DIK_W] = DOWN; // already down when input starts
    ASSERT_EQ(App.CreateDI(&Config), 0);
    ASSERT_TRUE(Frame());
    EXPECT_EQ(App.GetKeyState(DIK_W), INPUT_HELD); // the read of CreateDI came first
    const std::pair<uint8_t, int> frames[] = {
        {DOWN, INPUT_PRESSED}, {DOWN, INPUT_HELD}, {0, INPUT_RELEASED}, {0, INPUT_UP},
        {0x7F, INPUT_UP}}; // only the top bit counts
    for (const auto& [nByte, nState] : frames) {
        State().Keys[DIK_E] = nByte;
        Frame();
        EXPECT_EQ(App.GetKeyState(DIK_E), nState) << int(nByte);
    }
}

TEST_F(InputTest, MouseGivesButtonStatesAndTheMotionSinceTheLastRead)
{
    App.CreateDI(&Config);
    State().MouseButtons[1] = DOWN;
    State().nMouseX = 7;
    State().nMouseZ = 120;
    Frame();
    EXPECT_EQ(App.GetMouseButtonState(1), INPUT_PRESSED);
    EXPECT_EQ(Mouse().lX, 7);
    EXPECT_EQ(Mouse().lZ, 120);
    State().MouseButtons[1] = 0;
    Frame();
    EXPECT_EQ(App.GetMouseButtonState(1), INPUT_RELEASED);
    EXPECT_EQ(Mouse().lX, 0);
}

// Keys freeze in their last state until the focus comes back; the mouse
// has no motion while the focus is away, and none made meanwhile arrives.
TEST_F(InputTest, LostFocusFreezesKeysAndDropsMouseMotion)
{
    App.CreateDI(&Config);
    State().Keys[DIK_S] = DOWN;
    State().nMouseX = 9;
    Frame();
    State().nMouseY = 30; // not read yet when the focus goes
    ApplySdlEvent(WindowEvent(SDL_WINDOWEVENT_FOCUS_LOST), State(), true);
    ApplySdlEvent(MotionEvent(400), State(), true);
    EXPECT_FALSE(Frame());
    EXPECT_EQ(App.GetKeyState(DIK_S), INPUT_HELD);
    EXPECT_EQ(Mouse().lX, 0);
    EXPECT_EQ(Cursor().x, 320 + 4); // 9 x 25 x 0.02 of the first frame only

    ApplySdlEvent(WindowEvent(SDL_WINDOWEVENT_FOCUS_GAINED), State(), true);
    EXPECT_TRUE(Frame()); // the read acquires the devices again
    EXPECT_EQ(App.GetKeyState(DIK_S), INPUT_RELEASED);
    EXPECT_EQ(Mouse().lX, 0);
    EXPECT_EQ(Mouse().lY, 0);
}

TEST_F(InputTest, CursorMovesByTruncatedStepsAndStaysOnScreen)
{
    App.CreateDI(&Config);
    State().nMouseX = 1;
    Frame(0.001); // 1 x 25 x 0.001 = 0.025 pixels: nothing
    EXPECT_EQ(Cursor().x, 320);
    State().nMouseX = -1;
    Frame(0.001); // the sum is truncated, not the step
    EXPECT_EQ(Cursor().x, 319);
    State().nMouseX = 4;
    State().nMouseY = -8;
    Frame(0.1);
    EXPECT_EQ(Cursor().x, 329);
    EXPECT_EQ(Cursor().y, 220);
    State().nMouseX = State().nMouseY = 100000;
    Frame(1.0); // right and bottom are allowed positions
    EXPECT_EQ(Cursor().x, 640);
    EXPECT_EQ(Cursor().y, 480);
    State().nMouseX = State().nMouseY = -100000;
    Frame(1000.0); // beyond the 32-bit range
    EXPECT_EQ(Cursor().x, 0);
    EXPECT_EQ(Cursor().y, 0);
}

TEST_F(InputTest, NeitherKeyboardNorMouseGivesTwoAndNoJoystick)
{
    Config.bKeyboard = Config.bMouse = 0;
    State().Controllers.resize(1);
    State().Controllers[0].Buttons.assign(2, 0);
    State().Keys[DIK_RETURN] = DOWN;
    EXPECT_EQ(App.CreateDI(&Config), 2);
    EXPECT_EQ(App.GetJoystickCount(), 0);
    EXPECT_TRUE(Frame());
    EXPECT_EQ(App.GetKeyState(DIK_RETURN), INPUT_UP);
    EXPECT_EQ(App.bCursorEnabled, 0);
}

TEST_F(InputTest, StartUpFailuresThrowTheirMessagesAndReleaseKeepsTheFlags)
{
    EXPECT_EQ(ThrownMessage([&] { App.InitMouse(); }),
              "InitMouse: Can not initalize a mouse before initalizing DirectInput.");
    GetNullConfig().bDirectInput = false;
    EXPECT_EQ(ThrownMessage([&] { App.CreateDI(&Config); }),
              "CreateDI: Failed to create DirectInput.");
    GetNullConfig().bDirectInput = true;
    State().bFocus = false; // the first acquisition fails
    EXPECT_EQ(ThrownMessage([&] { App.CreateDI(&Config); }),
              "InitKeyboard: Failed to aquire keyboard.");
    App.ReleaseInput();
    State().bFocus = true;
    App.CreateDI(&Config);
    App.ReleaseInput();
    EXPECT_EQ(App.pKeyboard, nullptr);
    EXPECT_EQ(App.pDirectInput, nullptr);
    EXPECT_EQ(App.bKeyboardReady, 1);
    EXPECT_TRUE(Frame()); // nothing to read is no failure
}

class CursorDrawTest : public AppTest {};

TEST_F(CursorDrawTest, DrawsTheMouseTextureAs32PixelsFromTheHotSpot)
{
    StartDevices();
    App->Cursor = {100, 50};
    App->DrawCursor(); // no "mouse" texture yet
    EXPECT_TRUE(GetNullDeviceState().Draws.empty());
    WriteBitmap("mouse.bmp", samples::CImage(8, 8));
    ASSERT_TRUE(App->AddTexture("C:\\mouse.bmp", "mouse", 0));
    GetNullCallLog().clear();
    EXPECT_EQ(App->DrawCursor(), 0);
    const CNullDeviceState& device = GetNullDeviceState();
    ASSERT_EQ(device.Draws.size(), 1u);
    CScreenVertex corners[4];
    ASSERT_EQ(device.Draws[0].Vertices.size(), sizeof(corners));
    std::memcpy(corners, device.Draws[0].Vertices.data(), sizeof(corners));
    EXPECT_EQ(std::tuple(corners[0].Position.x, corners[0].Position.y, corners[0].TexU),
              std::tuple(100.0f, 50.0f, 0.0f));
    EXPECT_EQ(std::tuple(corners[2].Position.x, corners[2].Position.y, corners[2].TexV),
              std::tuple(132.0f, 82.0f, 1.0f));
    EXPECT_EQ(corners[3].Colour, 0xFFFFFFFFu);
    EXPECT_EQ(device.StageState(0, D3DTSS_COLOROP), D3DTOP_MODULATE);
    EXPECT_TRUE(LoggedInOrder({"SetTexture 0 tex", "DrawPrimitive 6 580 4", "SetTexture 0 null"}));
    Config.nDevices = DEVICE_DIRECTDRAW | DEVICE_DIRECTINPUT; // without the 3D device bit
    App->DrawCursor();
    EXPECT_EQ(device.Draws.size(), 1u);
}

} // namespace
