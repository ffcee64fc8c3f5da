// Driving a run from a script through the frame hook.
#include "platform/clock.h"
#include "platform/input_state.h"
#include "platform/sdl_backend.h"
#include "platform/window.h"
#include "viewer/script.h"
#include "viewer/script_frames.h"

#include <utility>

namespace {

constexpr uint8_t DOWN = 0x80;
constexpr int32_t AXIS_REST = 32767;
constexpr uint32_t POV_CENTRED = 0xFFFFFFFFu;
constexpr const char* JOYSTICK_NAME = "Scripted joystick";

uint64_t g_nFramesRun = 0;

struct CScriptRun {
    CScript Script;
    size_t nNext = 0;     // the next command to apply
    int64_t nWaiting = 0; // frame starts still to pass before applying more
    bool bEnded = false;  // the close was posted
};

CScriptRun g_Run;

// Sets one value of joystick 0; the parser checked the index against the
// declared counts, and a state changed by someone else is left alone.
template <typename T, typename V>
void SetJoystickValue(CInputState& state, std::vector<T> CControllerState::*pList, int32_t nIndex,
                      V value)
{
    if (state.Controllers.empty())
        return;
    std::vector<T>& list = state.Controllers[0].*pList;
    if (nIndex >= 0 && static_cast<size_t>(nIndex) < list.size())
        list[nIndex] = static_cast<T>(value);
}

void Apply(const CScriptCommand& command, CInputState& state)
{
    switch (command.Op) {
    case EScriptOp::Wait: g_Run.nWaiting = command.nA; break;
    case EScriptOp::KeyDown: state.Keys[command.nA] = DOWN; break;
    case EScriptOp::KeyUp: state.Keys[command.nA] = 0; break;
    case EScriptOp::Mouse:
        state.nMouseX += command.nA;
        state.nMouseY += command.nB;
        break;
    case EScriptOp::ButtonDown: state.MouseButtons[command.nA] = DOWN; break;
    case EScriptOp::ButtonUp: state.MouseButtons[command.nA] = 0; break;
    case EScriptOp::Axis:
        SetJoystickValue(state, &CControllerState::Axes, command.nA, command.nB);
        break;
    case EScriptOp::JoyButtonDown:
        SetJoystickValue(state, &CControllerState::Buttons, command.nA, DOWN);
        break;
    case EScriptOp::JoyButtonUp:
        SetJoystickValue(state, &CControllerState::Buttons, command.nA, 0);
        break;
    case EScriptOp::Pov:
        SetJoystickValue(state, &CControllerState::Povs, command.nA,
                         static_cast<uint32_t>(command.nB));
        break;
    case EScriptOp::Shot: RequestShot(command.Path); break;
    }
}

void OnFrameStart()
{
    CountFrame();
    if (g_Run.bEnded)
        return;
    const std::vector<CScriptCommand>& commands = g_Run.Script.Commands;
    while (g_Run.nWaiting == 0 && g_Run.nNext < commands.size())
        Apply(commands[g_Run.nNext++], GetInputState());
    if (g_Run.nWaiting > 0) {
        --g_Run.nWaiting;
        return;
    }
    // Used up: quit the way a closed window does.
    g_Run.bEnded = true;
    if (GetLiveWindow())
        PostMessageA(GetLiveWindow(), WM_CLOSE, 0, 0);
}

CControllerState MakeJoystick(const CScript& script)
{
    CControllerState joystick;
    joystick.Name = JOYSTICK_NAME;
    joystick.Axes.assign(script.nAxes, AXIS_REST);
    joystick.Buttons.assign(script.nButtons, 0);
    joystick.Povs.assign(script.nPovs, POV_CENTRED);
    return joystick;
}

} // namespace

void ResetFramesRun()
{
    g_nFramesRun = 0;
}

void CountFrame()
{
    ++g_nFramesRun;
}

uint64_t GetFramesRun()
{
    return g_nFramesRun;
}

void StartScript(CScript script, uint32_t nStepMs)
{
    if (script.bJoystick)
        GetInputState().Controllers = {MakeJoystick(script)};
    g_Run = CScriptRun();
    g_Run.Script = std::move(script);
    ResetFramesRun();
    SetFixedStepClock(nStepMs);
    SetFrameHook(OnFrameStart);
}
