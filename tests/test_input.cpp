// Keyboard, mouse and cursor of the application over the null backend, the
// platform's keyboard and mouse devices, and the key name tables.
#include "app_fixture.h"
#include "frame/application.h"
#include "frame/error.h"
#include "geometry/vertex.h"
#include "platform/dinput_devices.h"
#include "platform/input_state.h"
#include "platform/null_backend.h"
#include "platform/null_device.h"
#include "platform/scan_codes.h"

#include <SDL_scancode.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

constexpr uint8_t DOWN = 0x80;

class InputTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ResetInputState();
        ResetNullBackend();
        Config.nDevices = DEVICE_DIRECTINPUT;
        Config.bKeyboard = 1;
        Config.bMouse = 1;
        Config.bCursor = 1;
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
    std::string CreateDIError(const CAppConfig* pConfig)
    {
        try {
            App.CreateDI(pConfig);
        } catch (const CError& error) {
            return error.GetMessage();
        }
        return "";
    }

    CAppConfig Config;
    CApplication App;
};

TEST_F(InputTest, KeyStatesFollowTheLastTwoSnapshots)
{
    State().Keys[DIK_W] = DOWN; // already down at start-up
    ASSERT_EQ(App.CreateDI(&Config), 0);
    ASSERT_TRUE(Frame());
    // The read inside CreateDI counts as the previous frame.
    EXPECT_EQ(App.GetKeyState(DIK_W), INPUT_HELD);
    EXPECT_EQ(App.GetKeyState(DIK_E), INPUT_UP);

    State().Keys[DIK_E] = DOWN;
    Frame();
    EXPECT_EQ(App.GetKeyState(DIK_E), INPUT_PRESSED);
    EXPECT_EQ(App.GetKeyState(DIK_E), INPUT_PRESSED); // queries change nothing
    Frame();
    EXPECT_EQ(App.GetKeyState(DIK_E), INPUT_HELD);
    State().Keys[DIK_E] = 0;
    Frame();
    EXPECT_EQ(App.GetKeyState(DIK_E), INPUT_RELEASED);
    Frame();
    EXPECT_EQ(App.GetKeyState(DIK_E), INPUT_UP);

    // Down and up again between two reads: never seen.
    State().Keys[DIK_ESCAPE] = DOWN;
    State().Keys[DIK_ESCAPE] = 0;
    Frame();
    EXPECT_EQ(App.GetKeyState(DIK_ESCAPE), INPUT_UP);
    // Only the top bit counts.
    State().Keys[DIK_A] = 0x7F;
    Frame();
    EXPECT_EQ(App.GetKeyState(DIK_A), INPUT_UP);
}

TEST_F(InputTest, MouseButtonsAndDeltas)
{
    App.CreateDI(&Config);
    State().MouseButtons[1] = DOWN;
    State().nMouseX = 7;
    State().nMouseY = -3;
    State().nMouseZ = 120;
    Frame();
    EXPECT_EQ(App.GetMouseButtonState(1), INPUT_PRESSED);
    EXPECT_EQ(App.GetMouseButtonState(0), INPUT_UP);
    DIMOUSESTATE mouse;
    EXPECT_EQ(App.GetMouseState(&mouse), &mouse);
    EXPECT_EQ(mouse.lX, 7);
    EXPECT_EQ(mouse.lY, -3);
    EXPECT_EQ(mouse.lZ, 120);

    // The deltas are the motion since the last read, not a position.
    State().MouseButtons[1] = 0;
    Frame();
    App.GetMouseState(&mouse);
    EXPECT_EQ(mouse.lX, 0);
    EXPECT_EQ(mouse.lZ, 0);
    EXPECT_EQ(App.GetMouseButtonState(1), INPUT_RELEASED);
}

TEST_F(InputTest, LostFocusFreezesInputUntilReacquired)
{
    App.CreateDI(&Config);
    State().Keys[DIK_S] = DOWN;
    Frame();
    ASSERT_EQ(App.GetKeyState(DIK_S), INPUT_PRESSED);

    State().bFocus = false;
    State().Keys[DIK_S] = 0;
    State().Keys[DIK_D] = DOWN;
    State().nMouseX = 400;
    EXPECT_FALSE(Frame());
    EXPECT_FALSE(Frame());
    // Keys keep their last state and the cursor does not move.
    EXPECT_EQ(App.GetKeyState(DIK_S), INPUT_HELD);
    EXPECT_EQ(App.GetKeyState(DIK_D), INPUT_UP);
    CCursorPos cursor;
    App.GetCursorPos(&cursor);
    EXPECT_EQ(cursor.x, 320);

    // Back in the foreground: the retry inside ReadInput acquires again.
    State().bFocus = true;
    State().nMouseX = 0;
    EXPECT_TRUE(Frame());
    EXPECT_EQ(App.GetKeyState(DIK_S), INPUT_RELEASED);
    EXPECT_EQ(App.GetKeyState(DIK_D), INPUT_PRESSED);
}

TEST_F(InputTest, CursorMovesByTruncatedStepsAndStaysOnScreen)
{
    App.CreateDI(&Config);
    CCursorPos cursor;

    // 1 x 25 x 0.001 = 0.025 pixels: dropped, at every frame.
    for (int i = 0; i < 10; ++i) {
        State().nMouseX = 1;
        Frame(0.001);
    }
    App.GetCursorPos(&cursor);
    EXPECT_EQ(cursor.x, 320);
    // The sum is truncated, not the step: a small negative step moves by one.
    State().nMouseX = -1;
    Frame(0.001);
    App.GetCursorPos(&cursor);
    EXPECT_EQ(cursor.x, 319);

    State().nMouseX = 4;
    State().nMouseY = -8;
    Frame(0.1); // 4 x 25 x 0.1 = 10, -20
    App.GetCursorPos(&cursor);
    EXPECT_EQ(cursor.x, 329);
    EXPECT_EQ(cursor.y, 220);

    // Right and bottom are allowed positions themselves.
    State().nMouseX = 100000;
    State().nMouseY = 100000;
    Frame(1.0);
    App.GetCursorPos(&cursor);
    EXPECT_EQ(cursor.x, 640);
    EXPECT_EQ(cursor.y, 480);
    State().nMouseX = 5;
    Frame(1.0);
    App.GetCursorPos(&cursor);
    EXPECT_EQ(cursor.x, 640);

    State().nMouseX = -100000;
    State().nMouseY = -100000;
    Frame(1000.0); // far beyond the 32-bit range
    App.GetCursorPos(&cursor);
    EXPECT_EQ(cursor.x, 0);
    EXPECT_EQ(cursor.y, 0);
}

TEST_F(InputTest, NeitherKeyboardNorMouse)
{
    Config.bKeyboard = 0;
    Config.bMouse = 0;
    State().Controllers.resize(1);
    State().Controllers[0].Buttons.assign(2, 0);
    State().Keys[DIK_RETURN] = DOWN;
    EXPECT_EQ(App.CreateDI(&Config), 2);
    EXPECT_NE(App.pDirectInput, nullptr);
    EXPECT_EQ(App.GetJoystickCount(), 0);
    EXPECT_EQ(App.GetJoystick(0), nullptr);
    EXPECT_TRUE(Frame());
    for (int i = 0; i < 256; ++i)
        ASSERT_EQ(App.GetKeyState(i), INPUT_UP) << i;
    CCursorPos cursor;
    App.GetCursorPos(&cursor);
    EXPECT_EQ(cursor.x, 0);
    EXPECT_EQ(App.bCursorEnabled, 0);
}

TEST_F(InputTest, StartUpFailures)
{
    EXPECT_EQ(App.CreateDI(nullptr), 0);
    EXPECT_EQ(App.pDirectInput, nullptr);

    try {
        App.InitMouse();
        FAIL();
    } catch (const CError& error) {
        EXPECT_STREQ(error.GetMessage(),
                     "InitMouse: Can not initalize a mouse before initalizing DirectInput.");
    }

    GetNullConfig().bDirectInput = false;
    EXPECT_EQ(CreateDIError(&Config), "CreateDI: Failed to create DirectInput.");
    EXPECT_EQ(App.bDirectInputReady, 0);

    // Without the focus the first acquisition fails.
    GetNullConfig().bDirectInput = true;
    State().bFocus = false;
    EXPECT_EQ(CreateDIError(&Config), "InitKeyboard: Failed to aquire keyboard.");
    EXPECT_EQ(App.pKeyboard, nullptr);
}

TEST_F(InputTest, ReleaseAndAcquireDevices)
{
    App.CreateDI(&Config);
    EXPECT_FALSE(App.AcquireDevice(nullptr));
    EXPECT_FALSE(App.UnacquireDevice(nullptr));
    EXPECT_TRUE(App.UnacquireDevice(App.pKeyboard));
    EXPECT_TRUE(Frame()); // the read acquires the keyboard again
    EXPECT_TRUE(App.AcquireDevice(App.pKeyboard));

    App.ReleaseInput();
    EXPECT_EQ(App.pKeyboard, nullptr);
    EXPECT_EQ(App.pMouse, nullptr);
    EXPECT_EQ(App.pDirectInput, nullptr);
    EXPECT_EQ(App.bKeyboardReady, 1); // the flags stay as they are
    EXPECT_TRUE(Frame()); // nothing to read is no failure
}

class CursorDrawTest : public AppTest {};

TEST_F(CursorDrawTest, DrawsTheMouseTextureAsOneFan)
{
    StartDevices();
    App->Cursor = {100, 50};
    GetNullDeviceState().Draws.clear();
    EXPECT_EQ(App->DrawCursor(), 0); // no "mouse" texture yet
    EXPECT_TRUE(GetNullDeviceState().Draws.empty());

    WriteBitmap("mouse.bmp", samples::CImage(8, 8));
    ASSERT_TRUE(App->AddTexture("C:\\mouse.bmp", "mouse", 0));
    GetNullCallLog().clear();
    EXPECT_EQ(App->DrawCursor(), 0);
    const CNullDeviceState& device = GetNullDeviceState();
    ASSERT_EQ(device.Draws.size(), 1u);
    const CNullDraw& draw = device.Draws[0];
    EXPECT_EQ(draw.nType, D3DPT_TRIANGLEFAN);
    EXPECT_EQ(draw.nFvf, FVF_SCREEN_VERTEX);
    EXPECT_EQ(draw.nFlags, 0u);
    ASSERT_EQ(draw.nCount, 4u);
    ASSERT_EQ(draw.Vertices.size(), 4 * sizeof(CScreenVertex));
    CScreenVertex vertices[4];
    std::memcpy(vertices, draw.Vertices.data(), sizeof(vertices));
    // Always 32 by 32 pixels with the hot spot at the top left.
    const float expected[4][4] = {
        {100, 50, 0, 0}, {132, 50, 1, 0}, {132, 82, 1, 1}, {100, 82, 0, 1}};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(vertices[i].Position.x, expected[i][0]) << i;
        EXPECT_EQ(vertices[i].Position.y, expected[i][1]) << i;
        EXPECT_EQ(vertices[i].Position.z, 1.0f);
        EXPECT_EQ(vertices[i].Rhw, 1.0f);
        EXPECT_EQ(vertices[i].Colour, 0xFFFFFFFFu);
        EXPECT_EQ(vertices[i].TexU, expected[i][2]) << i;
        EXPECT_EQ(vertices[i].TexV, expected[i][3]) << i;
        EXPECT_EQ(vertices[i].LightU, 0.0f);
    }
    EXPECT_EQ(device.StageState(0, D3DTSS_COLORARG1), D3DTA_TEXTURE);
    EXPECT_EQ(device.StageState(0, D3DTSS_COLORARG2), D3DTA_DIFFUSE);
    EXPECT_EQ(device.StageState(0, D3DTSS_COLOROP), D3DTOP_MODULATE);
    // Bound for the draw, unbound after it.
    EXPECT_TRUE(LoggedInOrder({"SetTexture 0 tex", "DrawPrimitive 6 580 4", "SetTexture 0 null"}));
    EXPECT_EQ(device.Textures[0], nullptr);

    // Without the 3D device bit nothing is drawn.
    Config.nDevices = DEVICE_DIRECTDRAW | DEVICE_DIRECTINPUT;
    EXPECT_EQ(App->DrawCursor(), 0);
    EXPECT_EQ(device.Draws.size(), 1u);
}

TEST(InputDevices, KeyboardAndMouseReads)
{
    ResetInputState();
    IDirectInput7A* pInput = nullptr;
    ASSERT_EQ(CreateInputSystem(&pInput), S_OK);
    IDirectInputDevice7A* pKeyboard = nullptr;
    IDirectInputDevice7A* pMouse = nullptr;
    ASSERT_EQ(pInput->CreateDeviceEx(GUID_SysKeyboard, IID_IDirectInputDevice7A,
                                     reinterpret_cast<void**>(&pKeyboard), nullptr), S_OK);
    ASSERT_EQ(pInput->CreateDeviceEx(GUID_SysMouse, IID_IDirectInputDevice7A,
                                     reinterpret_cast<void**>(&pMouse), nullptr), S_OK);
    void* pOther = nullptr;
    EXPECT_EQ(
        pInput->CreateDeviceEx(IID_IDirectInput7A, IID_IDirectInputDevice7A, &pOther, nullptr),
        static_cast<HRESULT>(0x80040154u));
    EXPECT_EQ(pOther, nullptr);

    uint8_t keys[256];
    EXPECT_EQ(pKeyboard->Acquire(), E_INVALIDARG); // no format yet
    ASSERT_EQ(pKeyboard->SetDataFormat(&c_dfDIKeyboard), S_OK);
    EXPECT_EQ(pKeyboard->GetDeviceState(256, keys), DIERR_NOTACQUIRED);
    ASSERT_EQ(pKeyboard->Acquire(), S_OK);
    EXPECT_EQ(pKeyboard->GetDeviceState(16, keys), E_INVALIDARG);
    GetInputState().Keys[DIK_TAB] = DOWN;
    ASSERT_EQ(pKeyboard->GetDeviceState(256, keys), S_OK);
    EXPECT_EQ(keys[DIK_TAB], DOWN);
    GetInputState().bFocus = false;
    EXPECT_EQ(pKeyboard->GetDeviceState(256, keys), DIERR_INPUTLOST);
    GetInputState().bFocus = true;
    EXPECT_EQ(pKeyboard->GetDeviceState(256, keys), DIERR_NOTACQUIRED);

    EXPECT_EQ(pMouse->SetDataFormat(&c_dfDIKeyboard), E_INVALIDARG);

    pKeyboard->Release();
    pMouse->Release();
    pInput->Release();
}

TEST(ScanCodes, NamesAndSdlScancodes)
{
    EXPECT_EQ(ScanCodeByName("ESCAPE"), 0x01);
    EXPECT_EQ(ScanCodeByName("0"), 0x0B);
    EXPECT_EQ(ScanCodeByName("NUMPAD8"), 0x48);
    EXPECT_EQ(ScanCodeByName("F11"), 0x57);
    EXPECT_EQ(ScanCodeByName("NUMPADENTER"), 0x9C);
    EXPECT_EQ(ScanCodeByName("NEXT"), 0xD1);
    EXPECT_EQ(ScanCodeByName("PGDN"), 0xD1); // alias
    EXPECT_EQ(ScanCodeByName("escape"), -1);
    EXPECT_EQ(ScanCodeByName(nullptr), -1);

    // Every named code reads back to itself, and the first name wins.
    for (int nCode = 0; nCode < 256; ++nCode) {
        const char* pszName = ScanCodeName(nCode);
        if (pszName) {
            EXPECT_EQ(ScanCodeByName(pszName), nCode) << pszName;
        }
    }
    EXPECT_STREQ(ScanCodeName(0xD1), "NEXT");
    EXPECT_EQ(ScanCodeName(0), nullptr);
    EXPECT_EQ(ScanCodeName(300), nullptr);

    EXPECT_EQ(ScanCodeFromSdl(SDL_SCANCODE_A), 0x1E);
    EXPECT_EQ(ScanCodeFromSdl(SDL_SCANCODE_M), 0x32);
    EXPECT_EQ(ScanCodeFromSdl(SDL_SCANCODE_0), 0x0B);
    EXPECT_EQ(ScanCodeFromSdl(SDL_SCANCODE_F10), 0x44);
    EXPECT_EQ(ScanCodeFromSdl(SDL_SCANCODE_F11), 0x57);
    EXPECT_EQ(ScanCodeFromSdl(SDL_SCANCODE_KP_8), 0x48);
    EXPECT_EQ(ScanCodeFromSdl(SDL_SCANCODE_KP_ENTER), 0x9C);
    EXPECT_EQ(ScanCodeFromSdl(SDL_SCANCODE_RCTRL), 0x9D);
    EXPECT_EQ(ScanCodeFromSdl(SDL_SCANCODE_KP_00), -1);
    // Every key SDL maps is one the scripts can name; no two letters or
    // digits share a code.
    bool bSeen[256] = {};
    for (int nSdl = 0; nSdl < SDL_NUM_SCANCODES; ++nSdl) {
        int nCode = ScanCodeFromSdl(nSdl);
        if (nCode < 0)
            continue;
        EXPECT_NE(ScanCodeName(nCode), nullptr) << nSdl;
        if (nSdl >= SDL_SCANCODE_A && nSdl <= SDL_SCANCODE_0) {
            EXPECT_FALSE(bSeen[nCode]) << nSdl;
            bSeen[nCode] = true;
        }
    }
}

} // namespace
