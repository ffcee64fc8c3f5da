// Joysticks over the null backend's controllers: the state layout built from
// the device's counts, button edges, hats, enumeration and the force effect.
#include "frame/application.h"
#include "input/joystick.h"
#include "platform/input_state.h"
#include "platform/null_backend.h"
#include "scratch_dir.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <fstream>
#include <sstream>

namespace {

constexpr uint8_t DOWN = 0x80;
constexpr uint32_t CENTRED = 0xFFFFFFFFu;

CControllerState MakeController(const char* pszName, int nAxes, int nButtons, int nPovs)
{
    CControllerState controller;
    controller.Name = pszName;
    controller.Axes.assign(nAxes, 32767);
    controller.Buttons.assign(nButtons, 0);
    controller.Povs.assign(nPovs, CENTRED);
    return controller;
}

class JoystickTest : public ScratchDirTest {
protected:
    void SetUp() override
    {
        ScratchDirTest::SetUp();
        ResetInputState();
        ResetNullBackend();
        Config.nDevices = DEVICE_DIRECTINPUT;
        Config.bKeyboard = 1;
        App.pConfig = &Config;
    }
    void TearDown() override
    {
        App.ReleaseInput();
        ScratchDirTest::TearDown();
    }

    std::vector<CControllerState>& Controllers() { return GetInputState().Controllers; }
    CJoystick& Stick(int nIndex)
    {
        CJoystick* pJoystick = App.GetJoystick(nIndex);
        EXPECT_NE(pJoystick, nullptr);
        return *pJoystick;
    }

    CAppConfig Config;
    CApplication App;
};

TEST_F(JoystickTest, StateLayoutFollowsTheCounts)
{
    Controllers().push_back(MakeController("Pad", 1, 3, 1));
    ASSERT_EQ(App.CreateDI(&Config), 0);
    ASSERT_EQ(App.GetJoystickCount(), 1);
    CJoystick& stick = Stick(0);
    ASSERT_NE(stick.pDevice, nullptr);

    const DIDATAFORMAT& format = stick.Format;
    EXPECT_EQ(format.dwSize, 24u);
    EXPECT_EQ(format.dwObjSize, 16u);
    EXPECT_EQ(format.dwFlags, 1u);
    EXPECT_EQ(format.dwDataSize, 12u); // 4 + 3 + 4, rounded up
    ASSERT_EQ(format.dwNumObjs, 5u);
    const uint32_t offsets[] = {0, 4, 5, 6, 7};
    const uint32_t types[] = {0xFFFF03, 0xFFFF0C, 0xFFFF0C, 0xFFFF0C, 0xFFFF10};
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(format.rgodf[i].dwOfs, offsets[i]) << i;
        EXPECT_EQ(format.rgodf[i].dwType, types[i]) << i;
        EXPECT_EQ(format.rgodf[i].pguid, nullptr);
    }

    // The hat sits right behind the buttons, at offset 7, and reads whole.
    Controllers()[0].Povs[0] = 27000;
    Controllers()[0].Buttons[2] = DOWN;
    Controllers()[0].Axes[0] = 65535;
    ASSERT_TRUE(App.ReadInput());
    EXPECT_EQ(stick.GetPov(0), 27000u);
    EXPECT_EQ(stick.GetButtonState(2), INPUT_PRESSED);
    EXPECT_EQ(stick.GetButtonState(1), INPUT_UP);
    EXPECT_EQ(stick.GetAxis(0), 65535);
    EXPECT_EQ(stick.GetButtonCount(), 3);
    EXPECT_EQ(stick.GetAxisCount(), 1);
    EXPECT_EQ(stick.GetPovCount(), 1);

    // Indices outside the counts give the defaults.
    EXPECT_EQ(stick.GetButtonState(3), INPUT_UP);
    EXPECT_EQ(stick.GetButtonState(-1), INPUT_UP);
    EXPECT_EQ(stick.GetAxis(1), 0);
    EXPECT_EQ(stick.GetPov(1), 0u);
}

TEST_F(JoystickTest, HatDirections)
{
    Controllers().push_back(MakeController("Hat", 0, 0, 2));
    App.CreateDI(&Config);
    CJoystick& stick = Stick(0);
    struct {
        uint32_t nPov;
        int nOctant;
        int nDirection;
    } const cases[] = {
        {0, 0, 24},       {4500, 1, 25},  {9000, 2, 17},  {13500, 3, 21},
        {18000, 4, 20},   {22500, 5, 22}, {27000, 6, 18}, {31500, 7, 26},
        {35999, 7, 16},   {1000, 0, 16},  {CENTRED, -1, 0},
        {0x0000FFFF, -1, 0}, // only the low 16 bits tell a centred hat
    };
    for (const auto& test : cases) {
        Controllers()[0].Povs[1] = test.nPov;
        App.ReadInput();
        EXPECT_EQ(stick.GetPov(1), test.nPov);
        EXPECT_EQ(stick.GetPovOctant(1), test.nOctant) << test.nPov;
        EXPECT_EQ(stick.GetPovDirection(1), test.nDirection) << test.nPov;
    }
    EXPECT_EQ(stick.GetPovDirection(0), 0);
}

TEST_F(JoystickTest, ButtonHeldAtStartUpReadsHeld)
{
    Controllers().push_back(MakeController("Pad", 2, 2, 0));
    Controllers()[0].Buttons[0] = DOWN;
    App.CreateDI(&Config);
    CJoystick& stick = Stick(0);
    App.ReadInput();
    EXPECT_EQ(stick.GetButtonState(0), INPUT_HELD);
    Controllers()[0].Buttons[0] = 0;
    App.ReadInput();
    EXPECT_EQ(stick.GetButtonState(0), INPUT_RELEASED);
    App.ReadInput();
    EXPECT_EQ(stick.GetButtonState(0), INPUT_UP);
    Controllers()[0].Buttons[1] = 0xFF;
    App.ReadInput();
    EXPECT_EQ(stick.GetButtonState(1), INPUT_PRESSED);
}

TEST_F(JoystickTest, EachEntryHoldsItsOwnDeviceInOrder)
{
    Controllers().push_back(MakeController("First", 2, 1, 0));
    Controllers().push_back(MakeController("", 3, 4, 1));
    Controllers()[0].Axes[1] = 100;
    Controllers()[1].Axes[1] = 200;
    Controllers()[1].bPolled = true;
    App.CreateDI(&Config);
    ASSERT_EQ(App.GetJoystickCount(), 2);
    EXPECT_EQ(App.GetJoystick(2), nullptr);
    EXPECT_EQ(App.GetJoystick(-1), nullptr);

    char szName[64] = "unchanged";
    EXPECT_STREQ(Stick(0).GetName(szName), "First");
    EXPECT_STREQ(szName, "First");
    EXPECT_EQ(Stick(0).GetAxis(1), 100);
    EXPECT_FALSE(Stick(0).NeedsPolling());

    // Open but nameless.
    EXPECT_EQ(Stick(1).GetName(nullptr), nullptr);
    EXPECT_EQ(Stick(1).GetAxis(1), 200);
    EXPECT_TRUE(Stick(1).NeedsPolling());
    DIDEVCAPS caps;
    ASSERT_TRUE(Stick(1).GetCaps(&caps));
    EXPECT_EQ(caps.dwAxes, 3u);
    EXPECT_EQ(caps.dwButtons, 4u);
    EXPECT_EQ(caps.dwPOVs, 1u);
    EXPECT_FALSE(Stick(1).GetCaps(nullptr));

    Controllers()[1].Axes[1] = 300;
    App.ReadInput();
    EXPECT_EQ(Stick(0).GetAxis(1), 100);
    EXPECT_EQ(Stick(1).GetAxis(1), 300);
}

TEST_F(JoystickTest, ClosedEntriesAnswerDefaults)
{
    CJoystick stick;
    EXPECT_FALSE(stick.Poll());
    EXPECT_FALSE(stick.Release());
    EXPECT_FALSE(stick.Acquire());
    EXPECT_EQ(stick.GetButtonState(0), INPUT_UP);
    DIDEVCAPS caps;
    EXPECT_FALSE(stick.GetCaps(&caps));
    // Without DirectInput nothing opens.
    EXPECT_FALSE(stick.Init(&App, GUID_SysMouse, "x"));

    // A device without any object gets no data format and stays closed,
    // yet keeps its place in the array.
    Controllers().push_back(MakeController("Empty", 0, 0, 0));
    Controllers().push_back(MakeController("Pad", 1, 1, 0));
    App.CreateDI(&Config);
    ASSERT_EQ(App.GetJoystickCount(), 2);
    EXPECT_EQ(Stick(0).pDevice, nullptr);
    EXPECT_FALSE(Stick(0).Poll());
    EXPECT_STREQ(Stick(1).GetName(nullptr), "Pad");

    // No joystick at all: success with no array.
    CJoystick* pArray = &stick;
    int32_t nCount = 7;
    Controllers().clear();
    EXPECT_TRUE(EnumerateJoysticks(&App, &pArray, &nCount));
    EXPECT_EQ(pArray, nullptr);
    EXPECT_EQ(nCount, 0);
}

TEST_F(JoystickTest, AcquireReportsFailureAndPollFailsWhenUnplugged)
{
    Controllers().push_back(MakeController("Pad", 1, 1, 0));
    App.CreateDI(&Config);
    CJoystick& stick = Stick(0);
    // True only when the device's call failed.
    EXPECT_FALSE(stick.Acquire());
    EXPECT_FALSE(stick.Unacquire());
    GetInputState().bFocus = false;
    EXPECT_TRUE(stick.Acquire());
    GetInputState().bFocus = true;
    EXPECT_FALSE(stick.Acquire());
    EXPECT_FALSE(stick.Init(&App, GUID_SysMouse, nullptr)); // already open

    Controllers()[0].Buttons[0] = DOWN;
    ASSERT_TRUE(stick.Poll());
    Controllers().clear();
    EXPECT_FALSE(stick.Poll());
    // The failed read leaves the last state: the button is now held.
    EXPECT_EQ(stick.GetButtonState(0), INPUT_HELD);
    EXPECT_TRUE(stick.Release());
    EXPECT_EQ(stick.GetButtonState(0), INPUT_UP);
}

TEST_F(JoystickTest, ConstantForceIsFoundAndStarted)
{
    Controllers().push_back(MakeController("Wheel", 2, 1, 0));
    Controllers()[0].bConstantForce = true;
    App.CreateDI(&Config);
    CJoystick* pStick = App.GetJoystick(0);
    ASSERT_NE(pStick, nullptr);

    // "f.txt" lands in the current directory: this test's scratch one.
    char szSaved[4096];
    ASSERT_NE(getcwd(szSaved, sizeof(szSaved)), nullptr);
    ASSERT_EQ(chdir(Dir.c_str()), 0);

    DIEFFECTINFOA other = {};
    other.dwEffType = 0x102; // a ramp force, low byte 2
    EXPECT_EQ(FindConstantForce(&other, &pStick), DIENUM_CONTINUE);
    EXPECT_FALSE(std::filesystem::exists(Dir / "f.txt"));

    std::ofstream(Dir / "f.txt") << "old contents that are longer than the line";
    EXPECT_EQ(pStick->pDevice->EnumEffects(FindConstantForce, &pStick, 0), S_OK);
    std::ifstream log(Dir / "f.txt");
    std::stringstream text;
    text << log.rdbuf();
    EXPECT_EQ(text.str(), "Constant force found\n");
    EXPECT_EQ(Controllers()[0].nForceStarts, 1);
    EXPECT_EQ(Controllers()[0].nForceMagnitude, 10000);
    EXPECT_NE(pStick->pEffect, nullptr);

    // A second start replaces the effect.
    EXPECT_EQ(FindConstantForce(&other, &pStick), DIENUM_CONTINUE);
    other.dwEffType = DIEFT_CONSTANTFORCE;
    EXPECT_EQ(FindConstantForce(&other, &pStick), DIENUM_STOP);
    EXPECT_EQ(Controllers()[0].nForceStarts, 2);
    ASSERT_EQ(chdir(szSaved), 0);
}

} // namespace
