#pragma once
// CJoystick: one game controller. Its state block is laid out from the
// device's own counts: axes (32-bit each), then buttons (a byte each), then
// hat switches (32-bit each, in hundredths of a degree), padded to a multiple
// of 4. Buttons give the same four states as keys. The application keeps an
// array of them, made by EnumerateJoysticks and polled once a frame.
#include "platform/dinput.h"

#include <cstdint>

class CApplication;

// Bits of GetPovDirection: which way a hat is pushed; HAT_OFF_CENTRE is set
// whenever it is pushed at all.
constexpr int HAT_RIGHT = 1;
constexpr int HAT_LEFT = 2;
constexpr int HAT_DOWN = 4;
constexpr int HAT_UP = 8;
constexpr int HAT_OFF_CENTRE = 16;

// Where an axis rests: the middle of the platform's 0..65535 range.
constexpr uint32_t JOYSTICK_AXIS_CENTRE = 32767;

class CJoystick {
public:
    CJoystick();
    virtual ~CJoystick();
    CJoystick(const CJoystick&) = delete;
    CJoystick& operator=(const CJoystick&) = delete;

    // Opens the device of the instance guid. True when open.
    bool Init(CApplication* pApp, const GUID& guid, const char* pszName);
    // Gives up the device and all owned memory; false when none was open.
    bool Release();
    // The per-frame read; false with no device or a failed read.
    bool Poll();
    // True only when the device's own call failed (false with no device).
    bool Acquire();
    bool Unacquire();

    // INPUT_PRESSED/HELD/RELEASED/UP; INPUT_UP with no device or a bad index.
    int GetButtonState(int nIndex) const;
    // Raw values; 0 with no device or a bad index.
    int32_t GetAxis(int nIndex) const;
    // The axis as a stick reads it: the raw value, or JOYSTICK_AXIS_CENTRE
    // when the device is closed or has no such axis, so that a pad with
    // fewer axes than a binding names does not read as a stick pushed to 0.
    uint32_t GetStickAxis(int nIndex) const;
    // GetPovDirection of a hat as a stick reads it: 0, centred, when the
    // device is closed or has no such hat.
    int GetStickPovDirection(int nIndex) const;
    uint32_t GetPov(int nIndex) const;
    // The eighth of the circle a hat points to, or -1 when centred.
    int GetPovOctant(int nIndex) const;
    // HAT_* bits of a hat in one of the eight main directions; HAT_OFF_CENTRE
    // alone for any other angle, 0 when centred.
    int GetPovDirection(int nIndex) const;

    int GetButtonCount() const { return static_cast<int>(Caps.dwButtons); }
    int GetAxisCount() const { return static_cast<int>(Caps.dwAxes); }
    int GetPovCount() const { return static_cast<int>(Caps.dwPOVs); }
    // Copies Caps; false with a null pOut or no device.
    bool GetCaps(DIDEVCAPS* pOut) const;
    // The instance name, or null with none or no device; also copied to pOut
    // when given (the caller sizes it).
    const char* GetName(char* pOut) const;
    bool NeedsPolling() const;
    // Creates and starts the constant-force effect with these parameters.
    void StartForce(DIEFFECT* pEffectParams);
    // Lays out Format from Caps; false without memory.
    bool BuildDataFormat();

    // ---- members, in declaration order ----
    uint8_t* pCurrent;
    uint8_t* pPrevious;
    char* pName;
    GUID Guid;
    IDirectInputDevice7A* pDevice;
    DIDEVCAPS Caps;
    DIDATAFORMAT Format;
    IDirectInputEffect* pEffect;

private:
    bool IsOpen() const { return pDevice != nullptr && pCurrent != nullptr; }
    bool OpenDevice(CApplication* pApp);
    // The offset of object record nObject in the state block.
    uint32_t ObjectOffset(uint32_t nObject) const { return Format.rgodf[nObject].dwOfs; }
};

// Makes the array of every attached joystick, each opened. False when the
// enumeration or the allocation failed; true with a null array and a count
// of 0 when there is none.
bool EnumerateJoysticks(CApplication* pApp, CJoystick** ppArray, int32_t* pCount);

// EnumDevices callbacks: CountJoystick adds 1 to the int32_t of its context
// for each joystick; OpenJoystick opens the next array entry of its context.
int CountJoystick(const DIDEVICEINSTANCEA* pInstance, void* pCount);
int OpenJoystick(const DIDEVICEINSTANCEA* pInstance, void* pContext);

// An EnumEffects callback: on the first constant-force effect it writes
// "f.txt", starts a one-second force on the joystick that the first member
// of pContext points to, and stops the enumeration.
int FindConstantForce(const DIEFFECTINFOA* pEffectInfo, void* pContext);
