#pragma once
// The SDL joysticks of a live run. They are opened once, when the backend
// starts, so that they stand in the input state before the application
// enumerates its controllers; each pump then copies their values in and
// plays the force effects the application started.
#include "platform/input_state.h"

#include <cstdint>

// Opens every joystick present (and its haptic device where there is one)
// and appends a controller for each to the state.
void OpenSdlJoysticks(CInputState& state);
// Copies axes, buttons and hats into the controllers opened above, and runs
// a constant effect for each start of one since the previous refresh.
void RefreshSdlJoysticks(CInputState& state);
void CloseSdlJoysticks();

// A constant-force magnitude (-10000..10000) as an SDL level, clamped.
int16_t ForceToSdlLevel(int32_t nMagnitude);
