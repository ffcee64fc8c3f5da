#pragma once
// Input scripts: the replacement for live devices in headless and repeatable
// runs, and the recorder that writes a live run's input as such a script.
//
// A script is one command a line; '#' starts a comment, blank lines count
// for nothing:
//   wait N                      N frames run with the input as it stands
//   down KEY / up KEY           a key changes before the next frame
//   press KEY                   down KEY, wait 1, up KEY
//   mouse DX DY                 motion the next frame's mouse read takes
//   button N down|up            mouse button N (0 left, 1 right, 2 middle, 3)
//   joystick AXES BUTTONS POVS  first command only: joystick 0 with these counts
//   axis N VALUE                axis N of joystick 0 (0..65535)
//   joybutton N down|up         button N of joystick 0
//   pov N VALUE                 hat N of joystick 0, hundredths of degrees;
//                               -1 (or 0xFFFFFFFF) is centred
//   shot FILE                   the next frame's picture, before its flip, as PNG
// KEY is a key name ("ESCAPE", "W", "NUMPAD8") or a scan code number;
// numbers are decimal or 0x hex. A name wins: "1" is the key 1, so scan
// codes below 10 are written in hex ("0x01" is ESCAPE).
//
// Frame semantics. The frame loop starts a frame each time it finds the
// message queue empty, and that is when the frame hook runs: before the
// frame's clock read and input read. At each frame start the runner applies
// the commands up to the next `wait N`, and that frame is the first of the
// N; the next N-1 frame starts apply nothing. So every command applies
// before the frame that follows it, and the state it sets holds until a
// later command changes it. Example: "down W / wait 2 / up W / wait 1" gives
// frames 1 and 2 with W down and frame 3 with W up. When the commands are
// used up, the next frame start posts WM_CLOSE to the live window; that
// frame still runs, the close is handled before the one after, and the
// program quits in order (so a closing `shot` is still taken).
#include <cstdint>
#include <string>
#include <vector>

// The most a `joystick` line may declare.
constexpr int SCRIPT_MAX_AXES = 32;
constexpr int SCRIPT_MAX_BUTTONS = 128;
constexpr int SCRIPT_MAX_POVS = 4;

enum class EScriptOp {
    Wait,          // nA frames
    KeyDown,       // nA scan code
    KeyUp,
    Mouse,         // nA, nB deltas
    ButtonDown,    // nA mouse button
    ButtonUp,
    Axis,          // nA axis, nB value
    JoyButtonDown, // nA button
    JoyButtonUp,
    Pov,           // nA hat, nB value (as unsigned)
    Shot,          // Path
};

struct CScriptCommand {
    EScriptOp Op = EScriptOp::Wait;
    int32_t nA = 0;
    int32_t nB = 0;
    std::string Path;
    int nLine = 0; // where it came from
};

struct CScript {
    bool bJoystick = false; // a `joystick` line declared joystick 0
    int nAxes = 0, nButtons = 0, nPovs = 0;
    std::vector<CScriptCommand> Commands; // `press` comes out as down, wait 1, up
};

// Parses a script file; false with "FILE:LINE: message" in *pError for a bad
// line (unknown command, bad key, missing number, joystick not first, ...).
bool LoadScript(const std::string& path, CScript* pOut, std::string* pError);
// The same for text in hand; name stands for the file in messages.
bool ParseScript(const std::string& text, const std::string& name, CScript* pOut,
                 std::string* pError);

// Starts driving the run: puts the script's joystick (if any) in the input
// state at once, so that the application finds it when it enumerates;
// makes the clock a fixed-step clock of nStepMs; and installs the frame hook
// that applies the commands as described above. `shot FILE` asks the display
// for the next frame's picture.
void StartScript(CScript script, uint32_t nStepMs);

// Frames started since StartScript or StartRecording, counted by the hook.
uint64_t GetFramesRun();

// Records the live input as a script: at each frame start, the key, mouse
// button and joystick 0 changes since the previous frame start and the
// motion the coming mouse read will take, as down/up/mouse/... lines, with
// runs of frames that change nothing folded into one `wait N`. Replaying the
// file gives every frame the input the live frame read. A joystick present
// at the start is declared on the first line. The file is written out when
// StopRecording runs or the program ends. Not for use together with a
// script (both drive the frame hook).
bool StartRecording(const std::string& path, std::string* pError);
void StopRecording();
