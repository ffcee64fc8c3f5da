#pragma once
// The dead zone of the joystick axes that the browser and the walk-through
// read: values from STICK_DEAD_LOW to STICK_DEAD_HIGH, both included, count
// as a stick at rest. Values are compared unsigned.
#include <cstdint>

constexpr uint32_t STICK_DEAD_LOW = 16381;  // 0x3FFD
constexpr uint32_t STICK_DEAD_HIGH = 49149; // 0xBFFD

// How far an axis value lies outside the dead zone: negative below it,
// positive above it, 0 inside it.
constexpr int64_t PastDeadZone(uint32_t nValue)
{
    if (nValue < STICK_DEAD_LOW)
        return -static_cast<int64_t>(STICK_DEAD_LOW - nValue);
    if (nValue > STICK_DEAD_HIGH)
        return static_cast<int64_t>(nValue - STICK_DEAD_HIGH);
    return 0;
}
