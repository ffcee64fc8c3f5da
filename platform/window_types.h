#pragma once
// Handle types the core passes around in place of the window system's own.
#include <cstdint>

using HWND = void*;
using HINSTANCE = void*;

// Message box type flags the core uses.
constexpr uint32_t MB_OK = 0x00;
constexpr uint32_t MB_ICONEXCLAMATION = 0x30;
