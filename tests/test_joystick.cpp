// Joysticks over the null backend's controllers: the state layout built from
// the device's counts, button edges, hats, axes as sticks read them,
// enumeration and the force effect; and SDL triggers brought to rest.
#include "frame/application.h"
#include "input/joystick.h"
#include "platform/input_state.h"
#include "platform/null_backend.h"
#include "platform/sdl_events.h"
#include "scratch_dir.h"

#include <unistd.h>

#include <array>

namespace {

constexpr uint8_t DOWN = 0x80;
constexpr uint32_t CENTRED = 0xFFFFFFFFu;

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

    // Controllers of these counts, each with its axes at rest, enumerated.
    CJoystick& Open(std::initializer_list<std::array<int, 3>> counts)
    {
        for (const auto& [nAxes, nButtons, nPovs] : counts) {
            CControllerState& controller = Controllers().emplace_back();
            controller.Name = "Pad";
            controller.Axes.assign(nAxes, 32767);
            controller.Buttons.assign(nButtons, 0);
            controller.Povs.assign(nPovs, CENTRED);
        }
        App.CreateDI(&Config);
        return *App.GetJoystick(0);
    }
    std::vector<CControllerState>& Controllers() { return GetInputState().Controllers; }

    CAppConfig Config;
    CApplication App;
};

TEST_F(JoystickTest, StateLayoutFollowsTheCountsWithTheHatRightBehindTheButtons)
{
    CJoystick& stick = Open({{1, 3, 1}});
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
    }
    Controllers()[0].Povs[0] = 27000;
    Controllers()[0].Buttons[2] = DOWN;
    Controllers()[0].Axes[0] = 65535;
    ASSERT_TRUE(App.ReadInput());
    EXPECT_EQ(stick.GetPov(0), 27000u);
    EXPECT_EQ(stick.GetButtonState(2), INPUT_PRESSED);
    EXPECT_EQ(stick.GetButtonState(1), INPUT_UP);
    EXPECT_EQ(stick.GetAxis(0), 65535);
    // Indices outside the counts give the defaults.
    EXPECT_EQ(stick.GetButtonState(3), INPUT_UP);
    EXPECT_EQ(stick.GetButtonState(-1), INPUT_UP);
    EXPECT_EQ(stick.GetAxis(1), 0);
    EXPECT_EQ(stick.GetPov(1), 0u);
}

TEST_F(JoystickTest, HatDirectionsAndOctants)
{
    CJoystick& stick = Open({{0, 0, 2}});
    const std::array<uint32_t, 3> cases[] = {
        {0, 0, 24},      {4500, 1, 25},   {9000, 2, 17},     {13500, 3, 21},
        {18000, 4, 20},  {22500, 5, 22},  {27000, 6, 18},    {31500, 7, 26},
        {35999, 7, 16},  {1000, 0, 16},   {CENTRED, -1u, 0}, {0x0000FFFF, -1u, 0}};
    for (const auto& [nPov, nOctant, nDirection] : cases) {
        Controllers()[0].Povs[1] = nPov;
        App.ReadInput();
        EXPECT_EQ(stick.GetPovOctant(1), int(nOctant)) << nPov;
        EXPECT_EQ(stick.GetPovDirection(1), int(nDirection)) << nPov;
    }
}

TEST_F(JoystickTest, ButtonHeldAtStartUpReadsHeldThenReleased)
{
    Controllers().emplace_back().Buttons = {DOWN, 0};
    Controllers()[0].Axes = {32767};
    CJoystick& stick = Open({});
    App.ReadInput();
    EXPECT_EQ(stick.GetButtonState(0), INPUT_HELD);
    Controllers()[0].Buttons[0] = 0;
    App.ReadInput();
    EXPECT_EQ(stick.GetButtonState(0), INPUT_RELEASED);
}

// A pad with fewer axes or hats than a binding names must not read as a
// stick pushed to 0 or a hat pushed up; nor may an entry that did not open.
TEST_F(JoystickTest, AxesAndHatsTheDeviceLacksStandAtRestForSticks)
{
    CJoystick& stick = Open({{2, 1, 0}});
    Controllers()[0].Axes[1] = 100;
    App.ReadInput();
    EXPECT_EQ(stick.GetStickAxis(1), 100u);
    EXPECT_EQ(stick.GetStickAxis(2), 32767u);
    EXPECT_EQ(stick.GetStickAxis(-1), 32767u);
    EXPECT_EQ(CJoystick().GetStickAxis(0), 32767u);
    EXPECT_EQ(stick.GetPovDirection(0), 24); // the raw read of a missing hat: up
    EXPECT_EQ(stick.GetStickPovDirection(0), 0);
}

TEST(SdlJoysticks, TriggersRestAtTheCentreAndReachTheTop)
{
    EXPECT_EQ(SdlTriggerToRange(-32768), 32768);
    EXPECT_EQ(SdlTriggerToRange(0), 49152);
    EXPECT_EQ(SdlTriggerToRange(32767), 65535);
}

TEST_F(JoystickTest, EachEntryHoldsItsOwnDeviceAndClosedOnesAnswerDefaults)
{
    Controllers().emplace_back(); // no objects: no data format, stays closed
    Controllers().emplace_back().Axes = {1, 200, 3};
    Controllers()[1].bPolled = true;
    Open({});
    ASSERT_EQ(App.GetJoystickCount(), 2);
    CJoystick& closed = *App.GetJoystick(0);
    CJoystick& open = *App.GetJoystick(1);
    EXPECT_FALSE(closed.Poll());
    EXPECT_EQ(closed.GetButtonState(0), INPUT_UP);
    EXPECT_EQ(open.GetName(nullptr), nullptr); // open but nameless
    EXPECT_TRUE(open.NeedsPolling());
    Controllers().clear(); // unplugged: the poll fails and the last state stays
    EXPECT_FALSE(open.Poll());
    EXPECT_EQ(open.GetAxis(1), 200);
    EXPECT_TRUE(open.Release());
    EXPECT_FALSE(open.Release());
}

TEST_F(JoystickTest, ConstantForceIsLoggedStartedAndStopsTheEnumeration)
{
    Controllers().emplace_back().Axes = {32767, 32767};
    Controllers()[0].bConstantForce = true;
    CJoystick* pStick = &Open({});
    char szSaved[4096];
    ASSERT_NE(getcwd(szSaved, sizeof(szSaved)), nullptr);
    ASSERT_EQ(chdir(Dir.c_str()), 0); // "f.txt" lands in the current directory
    DIEFFECTINFOA info = {};
    info.dwEffType = 0x102; // a ramp force, low byte 2
    EXPECT_EQ(FindConstantForce(&info, &pStick), DIENUM_CONTINUE);
    info.dwEffType = DIEFT_CONSTANTFORCE;
    EXPECT_EQ(FindConstantForce(&info, &pStick), DIENUM_STOP);
    ASSERT_EQ(chdir(szSaved), 0);
    EXPECT_EQ(ReadFile(Path("f.txt")), "Constant force found\n");
    EXPECT_EQ(Controllers()[0].nForceStarts, 1);
    EXPECT_EQ(Controllers()[0].nForceMagnitude, 10000);
}

} // namespace
