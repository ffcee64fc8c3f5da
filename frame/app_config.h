#pragma once
// CAppConfig: the one record of settings the program entry fills before it
// builds the application and calls Run.
#include "platform/window_types.h"

#include <cstdint>

// Bits of nDevices: which devices Run creates and ReleaseDevices releases.
constexpr uint32_t DEVICE_DIRECTDRAW = 1;
constexpr uint32_t DEVICE_DIRECTINPUT = 2;
constexpr uint32_t DEVICE_DIRECTSOUND = 4;
constexpr uint32_t DEVICE_DIRECT3D = 16;
constexpr uint32_t DEVICE_ALL = 31;

struct CAppConfig {
    uint32_t nDevices = 0;
    const char* pszCaption = nullptr;
    const char* pszClassName = nullptr;
    int32_t nWidth = 0;
    int32_t nHeight = 0;
    int32_t nBitDepth = 0;
    uint32_t nColorKey = 0;
    uint8_t bReserved0 = 0;
    int32_t nReserved1 = 0;
    int32_t nReserved2 = 0;
    uint8_t bReserved3 = 0;
    uint8_t bHardwareDevices = 0;
    uint8_t bSoftwareDevices = 0;
    const GUID* pDeviceGuid = nullptr;
    int32_t nNear = 0;
    int32_t nFar = 0;
    float fFieldOfView = 0.0f;
    uint8_t bKeyboard = 0;
    uint8_t bMouse = 0;
    uint8_t bCursor = 0;
    int32_t nCursorX = 0;
    int32_t nCursorY = 0;
    float fMouseSpeed = 0.0f;
    uint32_t nChannels = 0;   // low 16 bits read
    uint32_t nSampleRate = 0;
    uint32_t nSampleBits = 0; // low 16 bits read
};
