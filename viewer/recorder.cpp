// Recording the live input of a run as a script that replays it.
#include "platform/dinput.h"
#include "platform/input_state.h"
#include "platform/scan_codes.h"
#include "platform/window.h"
#include "viewer/script.h"
#include "viewer/script_frames.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

namespace {

constexpr uint8_t DOWN = 0x80;
constexpr int MOUSE_BUTTONS = 4;
constexpr int32_t AXIS_REST = 32767;
constexpr uint32_t POV_CENTRED = 0xFFFFFFFFu;

struct CRecorder {
    bool bActive = false;
    std::ofstream Out;
    CInputState Previous; // as the replay stands before this frame's lines
    bool bJoystick = false;
    uint64_t nIdle = 0;   // frames not yet written as a wait
};

CRecorder& Recorder()
{
    static CRecorder recorder;
    return recorder;
}

bool IsDown(uint8_t nByte)
{
    return (nByte & DOWN) != 0;
}

std::string KeyName(int nCode)
{
    if (const char* pszName = ScanCodeName(nCode)) {
        // A name the parser reads as another key (a digit) goes out as a number.
        if (ScanCodeByName(pszName) == nCode && !(pszName[0] >= '0' && pszName[0] <= '9'))
            return pszName;
    }
    char szCode[8];
    std::snprintf(szCode, sizeof(szCode), "0x%02X", nCode);
    return szCode;
}

void KeyLines(const CInputState& now, CInputState& before, std::string* pLines)
{
    for (int i = 0; i < 256; ++i) {
        if (IsDown(now.Keys[i]) == IsDown(before.Keys[i]))
            continue;
        *pLines += (IsDown(now.Keys[i]) ? "down " : "up ") + KeyName(i) + "\n";
        before.Keys[i] = now.Keys[i] & DOWN;
    }
}

void MouseLines(const CInputState& now, CInputState& before, std::string* pLines)
{
    for (int i = 0; i < MOUSE_BUTTONS; ++i) {
        if (IsDown(now.MouseButtons[i]) == IsDown(before.MouseButtons[i]))
            continue;
        *pLines += "button " + std::to_string(i) + (IsDown(now.MouseButtons[i]) ? " down\n" : " up\n");
        before.MouseButtons[i] = now.MouseButtons[i] & DOWN;
    }
    if (now.nMouseX != 0 || now.nMouseY != 0)
        *pLines += "mouse " + std::to_string(now.nMouseX) + " " + std::to_string(now.nMouseY) + "\n";
}

void JoystickLines(const CControllerState& now, CControllerState& before, std::string* pLines)
{
    for (size_t i = 0; i < before.Axes.size() && i < now.Axes.size(); ++i) {
        if (now.Axes[i] != before.Axes[i])
            *pLines += "axis " + std::to_string(i) + " " + std::to_string(now.Axes[i]) + "\n";
        before.Axes[i] = now.Axes[i];
    }
    for (size_t i = 0; i < before.Buttons.size() && i < now.Buttons.size(); ++i) {
        if (IsDown(now.Buttons[i]) != IsDown(before.Buttons[i]))
            *pLines += "joybutton " + std::to_string(i) + (IsDown(now.Buttons[i]) ? " down\n" : " up\n");
        before.Buttons[i] = now.Buttons[i] & DOWN;
    }
    for (size_t i = 0; i < before.Povs.size() && i < now.Povs.size(); ++i) {
        if (now.Povs[i] != before.Povs[i]) {
            const bool bCentred = now.Povs[i] == POV_CENTRED;
            *pLines += "pov " + std::to_string(i) + " " +
                       (bCentred ? std::string("-1") : std::to_string(now.Povs[i])) + "\n";
        }
        before.Povs[i] = now.Povs[i];
    }
}

void FlushIdle(CRecorder& recorder)
{
    if (recorder.nIdle > 0)
        recorder.Out << "wait " << recorder.nIdle << "\n";
    recorder.nIdle = 0;
}

// At each frame start: what changed since the previous one, then this frame
// joins the run of frames that the next wait covers.
void OnFrameStart()
{
    CountFrame();
    CRecorder& recorder = Recorder();
    const CInputState& now = GetInputState();
    std::string lines;
    KeyLines(now, recorder.Previous, &lines);
    MouseLines(now, recorder.Previous, &lines);
    if (recorder.bJoystick && !now.Controllers.empty())
        JoystickLines(now.Controllers[0], recorder.Previous.Controllers[0], &lines);
    if (!lines.empty()) {
        FlushIdle(recorder);
        recorder.Out << lines;
    }
    ++recorder.nIdle;
}

// Joystick 0 as a replay starts it, so that the first frame's lines say
// where it stands.
// Counts beyond what a script can declare are left out.
CControllerState RestingJoystick(const CControllerState& live)
{
    CControllerState joystick;
    joystick.Axes.assign(std::min<size_t>(live.Axes.size(), SCRIPT_MAX_AXES), AXIS_REST);
    joystick.Buttons.assign(std::min<size_t>(live.Buttons.size(), SCRIPT_MAX_BUTTONS), 0);
    joystick.Povs.assign(std::min<size_t>(live.Povs.size(), SCRIPT_MAX_POVS), POV_CENTRED);
    return joystick;
}

void StopAtExit()
{
    StopRecording();
}

} // namespace

bool StartRecording(const std::string& path, std::string* pError)
{
    StopRecording();
    CRecorder& recorder = Recorder();
    recorder.Out.open(path, std::ios::binary | std::ios::trunc);
    if (!recorder.Out) {
        if (pError)
            *pError = path + ": cannot write the recording (" + std::strerror(errno) + ")";
        return false;
    }
    recorder.bActive = true;
    recorder.Previous = CInputState();
    recorder.nIdle = 0;
    recorder.Out << "# Live input, one frame a wait step; replay with --script.\n";
    const CInputState& now = GetInputState();
    recorder.bJoystick = !now.Controllers.empty();
    if (recorder.bJoystick) {
        const CControllerState resting = RestingJoystick(now.Controllers[0]);
        recorder.Out << "joystick " << resting.Axes.size() << " " << resting.Buttons.size() << " "
                     << resting.Povs.size() << "\n";
        recorder.Previous.Controllers = {resting};
    }
    ResetFramesRun();
    SetFrameHook(OnFrameStart);
    // Registered after the window system exists, so that it runs before
    // that is torn down.
    static bool bAtExit = false;
    if (!bAtExit)
        bAtExit = std::atexit(StopAtExit) == 0;
    return true;
}

void StopRecording()
{
    CRecorder& recorder = Recorder();
    if (!recorder.bActive)
        return;
    recorder.bActive = false;
    SetFrameHook(nullptr);
    FlushIdle(recorder);
    recorder.Out.close();
}
