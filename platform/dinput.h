#pragma once
// The input devices the core reads: a keyboard of 256 key bytes indexed by
// DirectInput scan codes, a mouse record of deltas and buttons, and game
// controllers whose state block the core lays out itself from the device's
// counts of axes, buttons and hats. Shaped like the DirectInput 7 objects,
// holding only what the core uses. A byte of a key or button is down when
// its top bit (0x80) is set.
#include "platform/window_types.h"

#include <cstdint>

struct DIMOUSESTATE {
    int32_t lX;
    int32_t lY;
    int32_t lZ;
    uint8_t rgbButtons[4];
};

// 44 bytes, as the core copies it whole.
struct DIDEVCAPS {
    uint32_t dwSize;
    uint32_t dwFlags;
    uint32_t dwDevType;
    uint32_t dwAxes;
    uint32_t dwButtons;
    uint32_t dwPOVs;
    uint32_t dwFFSamplePeriod;
    uint32_t dwFFMinTimeResolution;
    uint32_t dwFirmwareRevision;
    uint32_t dwHardwareRevision;
    uint32_t dwFFDriverVersion;
};
static_assert(sizeof(DIDEVCAPS) == 44, "DIDEVCAPS is 44 bytes");

constexpr uint32_t DIDC_POLLEDDEVICE = 0x00000002;
constexpr uint32_t DIDC_POLLEDDATAFORMAT = 0x00000008;

struct DIOBJECTDATAFORMAT {
    const GUID* pguid;
    uint32_t dwOfs;
    uint32_t dwType;
    uint32_t dwFlags;
};

struct DIDATAFORMAT {
    uint32_t dwSize;
    uint32_t dwObjSize;
    uint32_t dwFlags;
    uint32_t dwDataSize;
    uint32_t dwNumObjs;
    DIOBJECTDATAFORMAT* rgodf;
};

constexpr uint32_t DIDF_ABSAXIS = 0x00000001;
constexpr uint32_t DIDFT_AXIS = 0x00000003;
constexpr uint32_t DIDFT_BUTTON = 0x0000000C;
constexpr uint32_t DIDFT_POV = 0x00000010;
constexpr uint32_t DIDFT_ANYINSTANCE = 0x00FFFF00;

// The formats of the system keyboard (256 bytes) and mouse (16 bytes).
extern const DIDATAFORMAT c_dfDIKeyboard;
extern const DIDATAFORMAT c_dfDIMouse;

extern const GUID GUID_SysKeyboard;
extern const GUID GUID_SysMouse;
extern const GUID GUID_ConstantForce;
extern const GUID IID_IDirectInput7A;
extern const GUID IID_IDirectInputDevice7A;

constexpr uint32_t DISCL_EXCLUSIVE = 0x00000001;
constexpr uint32_t DISCL_FOREGROUND = 0x00000004;
constexpr uint32_t DISCL_NOWINKEY = 0x00000010;

constexpr uint32_t DIDEVTYPE_JOYSTICK = 4;
constexpr uint32_t DIEDFL_ATTACHEDONLY = 0x00000001;
constexpr int DIENUM_STOP = 0;
constexpr int DIENUM_CONTINUE = 1;
constexpr HRESULT DIERR_INPUTLOST = static_cast<HRESULT>(0x8007001Eu);
constexpr HRESULT DIERR_NOTACQUIRED = static_cast<HRESULT>(0x8007000Cu);
constexpr uint32_t DIRECTINPUT_VERSION = 0x0700;

struct DIDEVICEINSTANCEA {
    uint32_t dwSize;
    GUID guidInstance;
    GUID guidProduct;
    uint32_t dwDevType; // bit 4 (DIDEVTYPE_JOYSTICK) for game controllers
    char tszInstanceName[260];
    char tszProductName[260];
};

constexpr uint32_t DIEFT_CONSTANTFORCE = 0x00000001;

struct DIEFFECTINFOA {
    uint32_t dwSize;
    GUID guid;
    uint32_t dwEffType;
    uint32_t dwStaticParams;
    uint32_t dwDynamicParams;
    char tszName[260];
};

struct DIENVELOPE;

struct DICONSTANTFORCE {
    int32_t lMagnitude;
};

constexpr uint32_t DIEFF_OBJECTOFFSETS = 0x00000002;
constexpr uint32_t DIEFF_CARTESIAN = 0x00000010;
constexpr uint32_t DIEB_NOTRIGGER = 0xFFFFFFFF;

struct DIEFFECT {
    uint32_t dwSize;
    uint32_t dwFlags;
    uint32_t dwDuration; // microseconds
    uint32_t dwSamplePeriod;
    uint32_t dwGain;
    uint32_t dwTriggerButton;
    uint32_t dwTriggerRepeatInterval;
    uint32_t cAxes;
    uint32_t* rgdwAxes;
    int32_t* rglDirection;
    DIENVELOPE* lpEnvelope;
    uint32_t cbTypeSpecificParams;
    void* lpvTypeSpecificParams;
    uint32_t dwStartDelay;
};

using LPDIENUMDEVICESCALLBACKA = int (*)(const DIDEVICEINSTANCEA* pInstance, void* pContext);
using LPDIENUMEFFECTSCALLBACKA = int (*)(const DIEFFECTINFOA* pInfo, void* pContext);

class IDirectInputEffect {
public:
    virtual uint32_t Release() = 0;
    virtual HRESULT Start(uint32_t nIterations, uint32_t nFlags) = 0;
    virtual HRESULT Stop() = 0;

protected:
    virtual ~IDirectInputEffect() = default;
};

class IDirectInputDevice7A {
public:
    virtual uint32_t Release() = 0;
    virtual HRESULT GetCapabilities(DIDEVCAPS* pCaps) = 0;
    // The layout of GetDeviceState's block: keyboard and mouse take their
    // own formats; a controller takes any list of axes (4 bytes each),
    // buttons (1 byte) and hats (4 bytes) at the offsets given.
    virtual HRESULT SetDataFormat(const DIDATAFORMAT* pFormat) = 0;
    virtual HRESULT SetCooperativeLevel(HWND hWnd, uint32_t nFlags) = 0;
    virtual HRESULT Acquire() = 0;
    virtual HRESULT Unacquire() = 0;
    // Fails when the block size differs from the format's or the device is
    // not acquired. Mouse deltas are the motion since the last read.
    virtual HRESULT GetDeviceState(uint32_t nSize, void* pData) = 0;
    virtual HRESULT Poll() = 0;
    virtual HRESULT EnumEffects(LPDIENUMEFFECTSCALLBACKA pCallback, void* pContext,
                                uint32_t nType) = 0;
    virtual HRESULT CreateEffect(const GUID& effect, const DIEFFECT* pParams,
                                 IDirectInputEffect** ppOut, void* pOuter) = 0;

protected:
    virtual ~IDirectInputDevice7A() = default;
};

class IDirectInput7A {
public:
    virtual uint32_t Release() = 0;
    virtual HRESULT CreateDeviceEx(const GUID& device, const GUID& iid, void** ppOut,
                                   void* pOuter) = 0;
    virtual HRESULT EnumDevices(uint32_t nType, LPDIENUMDEVICESCALLBACKA pCallback,
                                void* pContext, uint32_t nFlags) = 0;

protected:
    virtual ~IDirectInput7A() = default;
};

HRESULT DirectInputCreateEx(HINSTANCE hInstance, uint32_t nVersion, const GUID& iid,
                            void** ppOut, void* pOuter);

// Scan codes the core and the scripts name.
constexpr uint8_t DIK_ESCAPE = 0x01;
constexpr uint8_t DIK_BACK = 0x0E;
constexpr uint8_t DIK_TAB = 0x0F;
constexpr uint8_t DIK_W = 0x11;
constexpr uint8_t DIK_E = 0x12;
constexpr uint8_t DIK_RETURN = 0x1C;
constexpr uint8_t DIK_A = 0x1E;
constexpr uint8_t DIK_S = 0x1F;
constexpr uint8_t DIK_D = 0x20;
constexpr uint8_t DIK_UP = 0xC8;
constexpr uint8_t DIK_LEFT = 0xCB;
constexpr uint8_t DIK_RIGHT = 0xCD;
constexpr uint8_t DIK_DOWN = 0xD0;

// The scan code of a key name without its prefix ("ESCAPE", "W", "NUMPAD8"),
// or -1. Case matters: names are upper case.
int ScanCodeByName(const char* pszName);
