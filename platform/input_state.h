#pragma once
// The state every input device of the platform reads: key bytes, mouse
// motion and buttons, and the attached controllers. The SDL backend fills it
// from live events; a script run, or a test, writes it instead. Keyboard and
// mouse reads take a snapshot of it; a mouse read also takes the motion
// summed since the previous read and sets it back to zero.
#include <cstdint>
#include <string>
#include <vector>

struct CControllerState {
    std::string Name;             // instance name; empty gives none
    std::vector<int32_t> Axes;    // 0..65535, 32767 at rest
    std::vector<uint8_t> Buttons; // 0x80 down
    std::vector<uint32_t> Povs;   // hundredths of degrees, 0xFFFFFFFF centred
    bool bPolled = false;         // reports a device that needs Poll
    bool bConstantForce = false;  // offers a constant-force effect
    int nForceStarts = 0;         // effects started on it so far
    int32_t nForceMagnitude = 0;  // of the last one
};

struct CInputState {
    uint8_t Keys[256] = {};
    int32_t nMouseX = 0, nMouseY = 0, nMouseZ = 0; // summed since the last mouse read
    uint8_t MouseButtons[4] = {};
    std::vector<CControllerState> Controllers;
    bool bFocus = true; // without it, reads of acquired devices fail (input lost)
};

CInputState& GetInputState();
// Back to no keys, no motion, no controllers, focus on.
void ResetInputState();
