#pragma once
// The millisecond clock of the frame loop. It reads real time by default;
// a script run makes it a fixed-step clock that moves on by the step at each
// read, so that every frame lasts exactly one step.
#include <cstdint>

// Milliseconds, wrapping at 2^32.
uint32_t PlatformClock();

// From now on each read gives the previous value plus nStepMs, starting at 0.
void SetFixedStepClock(uint32_t nStepMs);
// Back to real time.
void SetRealClock();
