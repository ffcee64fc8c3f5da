// The input system both backends hand out: the system keyboard and mouse and
// one device per attached controller, all reading GetInputState(). A device
// reads only while acquired and while the application has the focus; losing
// the focus drops the acquisition, as a foreground device of the window
// system would, so the reader has to acquire again when it comes back.
#include "platform/backend.h"
#include "platform/dinput_devices.h"
#include "platform/input_state.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <vector>

const GUID GUID_SysKeyboard = {
    0x564C4B01, 0x7A31, 0x4E02, {0x9B, 0x10, 0x4B, 0x45, 0x59, 0x42, 0x44, 0x01}};
const GUID GUID_SysMouse = {
    0x564C4D01, 0x7A31, 0x4E02, {0x9B, 0x10, 0x4D, 0x4F, 0x55, 0x53, 0x45, 0x01}};
const GUID GUID_ConstantForce = {
    0x564C4601, 0x7A31, 0x4E02, {0x9B, 0x10, 0x46, 0x4F, 0x52, 0x43, 0x45, 0x01}};
const GUID IID_IDirectInput7A = {
    0x564C4901, 0x7A31, 0x4E02, {0x9B, 0x10, 0x44, 0x49, 0x4E, 0x50, 0x37, 0x41}};
const GUID IID_IDirectInputDevice7A = {
    0x564C4902, 0x7A31, 0x4E02, {0x9B, 0x10, 0x44, 0x49, 0x44, 0x45, 0x37, 0x41}};

namespace {

constexpr HRESULT DI_OK = S_OK;
constexpr HRESULT DI_NOEFFECT = 1;
constexpr HRESULT DIERR_INVALIDPARAM = E_INVALIDARG;
constexpr HRESULT DIERR_DEVICENOTREG = static_cast<HRESULT>(0x80040154u);
constexpr HRESULT DIERR_OTHERAPPHASPRIO = static_cast<HRESULT>(0x80070005u);
constexpr HRESULT DIERR_UNSUPPORTED = static_cast<HRESULT>(0x80004001u);
constexpr uint32_t DIDF_RELAXIS = 0x00000002;
constexpr uint32_t DISCL_NONEXCLUSIVE = 0x00000002;
constexpr uint32_t DISCL_BACKGROUND = 0x00000008;
constexpr uint32_t DIDC_ATTACHED = 0x00000001;
constexpr uint32_t DIDC_FORCEFEEDBACK = 0x00000100;
constexpr uint32_t DIDEVTYPE_MOUSE = 2;
constexpr uint32_t DIDEVTYPE_KEYBOARD = 3;
constexpr uint32_t DIDEVTYPEJOYSTICK_GAMEPAD = 4;
constexpr uint32_t DIEFT_ALL = 0;
constexpr uint32_t ANY_INSTANCE = 0xFFFF;
// Record sizes as the 32-bit layout counts them, which is what the core
// writes into its formats; the records themselves are read as typed here.
constexpr uint32_t DATA_FORMAT_SIZE = 24;
constexpr uint32_t OBJECT_FORMAT_SIZE = 16;

// Controller instance GUIDs differ from this one only in Data1, which holds
// the controller's index.
constexpr GUID CONTROLLER_GUID = {
    0x564C4A00, 0x7A31, 0x4E02, {0x9B, 0x10, 0x4A, 0x4F, 0x59, 0x50, 0x41, 0x44}};
constexpr GUID CONTROLLER_PRODUCT = {
    0x564C5000, 0x7A31, 0x4E02, {0x9B, 0x10, 0x50, 0x52, 0x4F, 0x44, 0x55, 0x43}};
constexpr uint32_t MAX_CONTROLLERS = 256;

GUID ControllerGuid(uint32_t nIndex)
{
    GUID guid = CONTROLLER_GUID;
    guid.Data1 += nIndex;
    return guid;
}

// The index of a controller instance GUID, or -1.
int ControllerIndex(const GUID& guid)
{
    GUID base = guid;
    base.Data1 &= ~(MAX_CONTROLLERS - 1);
    if (!IsEqualGUID(base, CONTROLLER_GUID))
        return -1;
    return static_cast<int>(guid.Data1 & (MAX_CONTROLLERS - 1));
}

constexpr std::array<DIOBJECTDATAFORMAT, 256> MakeKeyboardObjects()
{
    std::array<DIOBJECTDATAFORMAT, 256> objects{};
    for (uint32_t i = 0; i < 256; ++i)
        objects[i] = {nullptr, i, DIDFT_BUTTON | (i << 8), 0};
    return objects;
}

std::array<DIOBJECTDATAFORMAT, 256> g_KeyboardObjects = MakeKeyboardObjects();
DIOBJECTDATAFORMAT g_MouseObjects[7] = {
    {nullptr, 0, DIDFT_AXIS | DIDFT_ANYINSTANCE, 0},
    {nullptr, 4, DIDFT_AXIS | DIDFT_ANYINSTANCE, 0},
    {nullptr, 8, DIDFT_AXIS | DIDFT_ANYINSTANCE, 0},
    {nullptr, 12, DIDFT_BUTTON | DIDFT_ANYINSTANCE, 0},
    {nullptr, 13, DIDFT_BUTTON | DIDFT_ANYINSTANCE, 0},
    {nullptr, 14, DIDFT_BUTTON | DIDFT_ANYINSTANCE, 0},
    {nullptr, 15, DIDFT_BUTTON | DIDFT_ANYINSTANCE, 0},
};

} // namespace

const DIDATAFORMAT c_dfDIKeyboard = {DATA_FORMAT_SIZE, OBJECT_FORMAT_SIZE, 0, 256, 256,
                                     g_KeyboardObjects.data()};
const DIDATAFORMAT c_dfDIMouse = {DATA_FORMAT_SIZE, OBJECT_FORMAT_SIZE, DIDF_RELAXIS,
                                  sizeof(DIMOUSESTATE), 7, g_MouseObjects};

namespace {

// What every device shares: a reference count, the acquisition and the
// size of the state block that its data format asked for.
class CDeviceBase : public IDirectInputDevice7A {
public:
    uint32_t Release() override
    {
        if (--nRefs > 0)
            return nRefs;
        delete this;
        return 0;
    }
    HRESULT GetCapabilities(DIDEVCAPS* pCaps) override
    {
        if (!pCaps || pCaps->dwSize != sizeof(DIDEVCAPS))
            return DIERR_INVALIDPARAM;
        *pCaps = DIDEVCAPS{};
        pCaps->dwSize = sizeof(DIDEVCAPS);
        pCaps->dwFlags = DIDC_ATTACHED;
        FillCaps(pCaps);
        return DI_OK;
    }
    HRESULT SetCooperativeLevel(HWND, uint32_t nFlags) override
    {
        // Exactly one of exclusive/non-exclusive and of foreground/background.
        const uint32_t nSharing = nFlags & (DISCL_EXCLUSIVE | DISCL_NONEXCLUSIVE);
        const uint32_t nWhen = nFlags & (DISCL_FOREGROUND | DISCL_BACKGROUND);
        if (nSharing == 0 || nSharing == (DISCL_EXCLUSIVE | DISCL_NONEXCLUSIVE) || nWhen == 0 ||
            nWhen == (DISCL_FOREGROUND | DISCL_BACKGROUND))
            return DIERR_INVALIDPARAM;
        return DI_OK;
    }
    HRESULT Acquire() override
    {
        if (nDataSize == 0)
            return DIERR_INVALIDPARAM;
        if (!GetInputState().bFocus)
            return DIERR_OTHERAPPHASPRIO;
        if (bAcquired)
            return DI_NOEFFECT;
        bAcquired = true;
        return DI_OK;
    }
    HRESULT Unacquire() override
    {
        if (!bAcquired)
            return DI_NOEFFECT;
        bAcquired = false;
        return DI_OK;
    }
    HRESULT GetDeviceState(uint32_t nSize, void* pData) override
    {
        HRESULT hr = CheckReadable();
        if (FAILED(hr)) {
            if (pData && nSize == nDataSize)
                ReadLost(static_cast<uint8_t*>(pData));
            return hr;
        }
        if (!pData || nSize != nDataSize)
            return DIERR_INVALIDPARAM;
        return ReadState(static_cast<uint8_t*>(pData));
    }
    HRESULT Poll() override
    {
        HRESULT hr = CheckReadable();
        return FAILED(hr) ? hr : DI_NOEFFECT;
    }
    HRESULT EnumEffects(LPDIENUMEFFECTSCALLBACKA, void*, uint32_t) override { return DI_OK; }
    HRESULT CreateEffect(const GUID&, const DIEFFECT*, IDirectInputEffect** ppOut, void*) override
    {
        if (ppOut)
            *ppOut = nullptr;
        return DIERR_UNSUPPORTED;
    }

protected:
    virtual void FillCaps(DIDEVCAPS* pCaps) = 0;
    virtual HRESULT ReadState(uint8_t* pData) = 0;
    // What a failed read leaves in the caller's block: by default nothing
    // changes.
    virtual void ReadLost(uint8_t*) {}

    // Not acquired, or acquired but the focus went away (which drops the
    // acquisition).
    HRESULT CheckReadable()
    {
        if (!bAcquired)
            return DIERR_NOTACQUIRED;
        if (!GetInputState().bFocus) {
            bAcquired = false;
            return DIERR_INPUTLOST;
        }
        return DI_OK;
    }

    uint32_t nRefs = 1;
    bool bAcquired = false;
    uint32_t nDataSize = 0; // 0 until SetDataFormat
};

class CKeyboardDevice : public CDeviceBase {
public:
    HRESULT SetDataFormat(const DIDATAFORMAT* pFormat) override
    {
        if (bAcquired)
            return DIERR_INVALIDPARAM;
        if (!pFormat || pFormat->dwDataSize != sizeof(CInputState::Keys))
            return DIERR_INVALIDPARAM;
        nDataSize = pFormat->dwDataSize;
        return DI_OK;
    }

protected:
    void FillCaps(DIDEVCAPS* pCaps) override
    {
        pCaps->dwDevType = DIDEVTYPE_KEYBOARD;
        pCaps->dwButtons = 256;
    }
    HRESULT ReadState(uint8_t* pData) override
    {
        std::memcpy(pData, GetInputState().Keys, sizeof(CInputState::Keys));
        return DI_OK;
    }
};

class CMouseDevice : public CDeviceBase {
public:
    HRESULT SetDataFormat(const DIDATAFORMAT* pFormat) override
    {
        if (bAcquired)
            return DIERR_INVALIDPARAM;
        if (!pFormat || pFormat->dwDataSize != sizeof(DIMOUSESTATE))
            return DIERR_INVALIDPARAM;
        nDataSize = pFormat->dwDataSize;
        return DI_OK;
    }

protected:
    void FillCaps(DIDEVCAPS* pCaps) override
    {
        pCaps->dwDevType = DIDEVTYPE_MOUSE;
        pCaps->dwAxes = 3;
        pCaps->dwButtons = 4;
    }
    // The motion summed since the last read, which starts a new sum.
    HRESULT ReadState(uint8_t* pData) override
    {
        CInputState& state = GetInputState();
        DIMOUSESTATE mouse = {state.nMouseX, state.nMouseY, state.nMouseZ, {}};
        std::memcpy(mouse.rgbButtons, state.MouseButtons, sizeof(mouse.rgbButtons));
        std::memcpy(pData, &mouse, sizeof(mouse));
        state.nMouseX = state.nMouseY = state.nMouseZ = 0;
        return DI_OK;
    }
    // A lost mouse has no motion and no button down: the deltas of the last
    // good read must not be taken again every frame while the focus is away.
    void ReadLost(uint8_t* pData) override { std::memset(pData, 0, sizeof(DIMOUSESTATE)); }
};

// The controller of an index, or null when it is gone.
CControllerState* FindController(uint32_t nIndex)
{
    std::vector<CControllerState>& controllers = GetInputState().Controllers;
    return nIndex < controllers.size() ? &controllers[nIndex] : nullptr;
}

class CConstantForceEffect : public IDirectInputEffect {
public:
    CConstantForceEffect(uint32_t nControllerIn, int32_t nMagnitudeIn)
        : nController(nControllerIn), nMagnitude(nMagnitudeIn)
    {
    }
    uint32_t Release() override
    {
        if (--nRefs > 0)
            return nRefs;
        delete this;
        return 0;
    }
    HRESULT Start(uint32_t, uint32_t) override
    {
        CControllerState* pController = FindController(nController);
        if (!pController)
            return DIERR_INPUTLOST;
        ++pController->nForceStarts;
        pController->nForceMagnitude = nMagnitude;
        return DI_OK;
    }
    HRESULT Stop() override { return FindController(nController) ? DI_OK : DIERR_INPUTLOST; }

private:
    uint32_t nRefs = 1;
    uint32_t nController;
    int32_t nMagnitude;
};

// Where each object of a controller's data format goes in the state block.
struct CObjectPlace {
    uint32_t nOffset;
    uint32_t nInstance;
};

class CControllerDevice : public CDeviceBase {
public:
    explicit CControllerDevice(uint32_t nIndexIn) : nIndex(nIndexIn) {}

    HRESULT SetDataFormat(const DIDATAFORMAT* pFormat) override;
    HRESULT Poll() override
    {
        HRESULT hr = CheckReadable();
        if (FAILED(hr))
            return hr;
        const CControllerState* pController = FindController(nIndex);
        if (!pController)
            return DIERR_INPUTLOST;
        return pController->bPolled ? DI_OK : DI_NOEFFECT;
    }
    HRESULT EnumEffects(LPDIENUMEFFECTSCALLBACKA pCallback, void* pContext,
                        uint32_t nType) override;
    HRESULT CreateEffect(const GUID& effect, const DIEFFECT* pParams,
                         IDirectInputEffect** ppOut, void* pOuter) override;

protected:
    void FillCaps(DIDEVCAPS* pCaps) override;
    HRESULT ReadState(uint8_t* pData) override;

private:
    bool PlaceObjects(const DIDATAFORMAT& format, const CControllerState& controller);

    uint32_t nIndex;
    std::vector<CObjectPlace> AxisPlaces, ButtonPlaces, PovPlaces;
};

void CControllerDevice::FillCaps(DIDEVCAPS* pCaps)
{
    pCaps->dwDevType = DIDEVTYPE_JOYSTICK | (DIDEVTYPEJOYSTICK_GAMEPAD << 8);
    const CControllerState* pController = FindController(nIndex);
    if (!pController) {
        pCaps->dwFlags = 0;
        return;
    }
    pCaps->dwAxes = static_cast<uint32_t>(pController->Axes.size());
    pCaps->dwButtons = static_cast<uint32_t>(pController->Buttons.size());
    pCaps->dwPOVs = static_cast<uint32_t>(pController->Povs.size());
    if (pController->bPolled)
        pCaps->dwFlags |= DIDC_POLLEDDEVICE;
    if (pController->bConstantForce)
        pCaps->dwFlags |= DIDC_FORCEFEEDBACK;
}

// Sorts the format's objects into axes, buttons and hats, each object taking
// the instance it names or else the next one of its kind. False when an
// object lies outside the block or names more objects than the device has.
bool CControllerDevice::PlaceObjects(const DIDATAFORMAT& format,
                                     const CControllerState& controller)
{
    AxisPlaces.clear();
    ButtonPlaces.clear();
    PovPlaces.clear();
    for (uint32_t i = 0; i < format.dwNumObjs; ++i) {
        const DIOBJECTDATAFORMAT& object = format.rgodf[i];
        std::vector<CObjectPlace>* pPlaces = nullptr;
        size_t nCount = 0;
        uint32_t nBytes = 4;
        if (object.dwType & DIDFT_AXIS) {
            pPlaces = &AxisPlaces;
            nCount = controller.Axes.size();
        } else if (object.dwType & DIDFT_BUTTON) {
            pPlaces = &ButtonPlaces;
            nCount = controller.Buttons.size();
            nBytes = 1;
        } else if (object.dwType & DIDFT_POV) {
            pPlaces = &PovPlaces;
            nCount = controller.Povs.size();
        } else {
            return false;
        }
        if (object.dwOfs > format.dwDataSize || format.dwDataSize - object.dwOfs < nBytes)
            return false;
        uint32_t nInstance = (object.dwType >> 8) & 0xFFFF;
        if (nInstance == ANY_INSTANCE)
            nInstance = static_cast<uint32_t>(pPlaces->size());
        if (nInstance >= nCount)
            return false;
        pPlaces->push_back({object.dwOfs, nInstance});
    }
    return true;
}

HRESULT CControllerDevice::SetDataFormat(const DIDATAFORMAT* pFormat)
{
    if (bAcquired)
        return DIERR_INVALIDPARAM;
    const CControllerState* pController = FindController(nIndex);
    if (!pController)
        return DIERR_INPUTLOST;
    if (!pFormat ||
        (pFormat->dwObjSize != OBJECT_FORMAT_SIZE &&
         pFormat->dwObjSize != sizeof(DIOBJECTDATAFORMAT)) ||
        pFormat->dwDataSize == 0 || pFormat->dwDataSize % 4 != 0 ||
        (pFormat->dwNumObjs > 0 && !pFormat->rgodf))
        return DIERR_INVALIDPARAM;
    if (!PlaceObjects(*pFormat, *pController)) {
        nDataSize = 0;
        return DIERR_INVALIDPARAM;
    }
    nDataSize = pFormat->dwDataSize;
    return DI_OK;
}

// Axes and hats as 32-bit values, buttons as bytes; the offsets need not be
// aligned. Bytes no object covers read as zero.
HRESULT CControllerDevice::ReadState(uint8_t* pData)
{
    const CControllerState* pController = FindController(nIndex);
    if (!pController)
        return DIERR_INPUTLOST;
    std::memset(pData, 0, nDataSize);
    for (const CObjectPlace& place : AxisPlaces) {
        int32_t nValue =
            place.nInstance < pController->Axes.size() ? pController->Axes[place.nInstance] : 0;
        std::memcpy(pData + place.nOffset, &nValue, sizeof(nValue));
    }
    for (const CObjectPlace& place : ButtonPlaces) {
        if (place.nInstance < pController->Buttons.size())
            pData[place.nOffset] = pController->Buttons[place.nInstance];
    }
    for (const CObjectPlace& place : PovPlaces) {
        uint32_t nValue = place.nInstance < pController->Povs.size()
                              ? pController->Povs[place.nInstance]
                              : 0xFFFFFFFFu;
        std::memcpy(pData + place.nOffset, &nValue, sizeof(nValue));
    }
    return DI_OK;
}

HRESULT CControllerDevice::EnumEffects(LPDIENUMEFFECTSCALLBACKA pCallback, void* pContext,
                                       uint32_t nType)
{
    if (!pCallback)
        return DIERR_INVALIDPARAM;
    const CControllerState* pController = FindController(nIndex);
    if (!pController)
        return DIERR_INPUTLOST;
    if (!pController->bConstantForce)
        return DI_OK;
    if (nType != DIEFT_ALL && (nType & 0xFF) != DIEFT_CONSTANTFORCE)
        return DI_OK;
    DIEFFECTINFOA info = {};
    info.dwSize = sizeof(info);
    info.guid = GUID_ConstantForce;
    info.dwEffType = DIEFT_CONSTANTFORCE;
    std::strcpy(info.tszName, "Constant Force");
    pCallback(&info, pContext);
    return DI_OK;
}

HRESULT CControllerDevice::CreateEffect(const GUID& effect, const DIEFFECT* pParams,
                                        IDirectInputEffect** ppOut, void* pOuter)
{
    if (!ppOut)
        return DIERR_INVALIDPARAM;
    *ppOut = nullptr;
    if (pOuter)
        return DIERR_INVALIDPARAM;
    const CControllerState* pController = FindController(nIndex);
    if (!pController)
        return DIERR_INPUTLOST;
    if (!pController->bConstantForce || !IsEqualGUID(effect, GUID_ConstantForce))
        return DIERR_DEVICENOTREG;
    if (!pParams || pParams->cbTypeSpecificParams != sizeof(DICONSTANTFORCE) ||
        !pParams->lpvTypeSpecificParams)
        return DIERR_INVALIDPARAM;
    const auto* pForce = static_cast<const DICONSTANTFORCE*>(pParams->lpvTypeSpecificParams);
    *ppOut = new CConstantForceEffect(nIndex, pForce->lMagnitude);
    return DI_OK;
}

class CInputSystem : public IDirectInput7A {
public:
    uint32_t Release() override
    {
        if (--nRefs > 0)
            return nRefs;
        delete this;
        return 0;
    }
    HRESULT CreateDeviceEx(const GUID& device, const GUID& iid, void** ppOut,
                           void* pOuter) override;
    HRESULT EnumDevices(uint32_t nType, LPDIENUMDEVICESCALLBACKA pCallback, void* pContext,
                        uint32_t nFlags) override;

private:
    uint32_t nRefs = 1;
};

HRESULT CInputSystem::CreateDeviceEx(const GUID& device, const GUID& iid, void** ppOut,
                                     void* pOuter)
{
    if (!ppOut)
        return DIERR_INVALIDPARAM;
    *ppOut = nullptr;
    if (pOuter)
        return DIERR_INVALIDPARAM;
    if (!IsEqualGUID(iid, IID_IDirectInputDevice7A))
        return E_NOINTERFACE;
    IDirectInputDevice7A* pDevice = nullptr;
    if (IsEqualGUID(device, GUID_SysKeyboard)) {
        pDevice = new CKeyboardDevice();
    } else if (IsEqualGUID(device, GUID_SysMouse)) {
        pDevice = new CMouseDevice();
    } else {
        int nIndex = ControllerIndex(device);
        if (nIndex < 0 || !FindController(static_cast<uint32_t>(nIndex)))
            return DIERR_DEVICENOTREG;
        pDevice = new CControllerDevice(static_cast<uint32_t>(nIndex));
    }
    *ppOut = pDevice;
    return DI_OK;
}

void CopyName(char* pOut, size_t nSize, const std::string& text)
{
    size_t nLength = std::min(text.size(), nSize - 1);
    std::memcpy(pOut, text.data(), nLength);
    pOut[nLength] = '\0';
}

// Lists the system mouse and keyboard (class 0 and their own class only),
// then the controllers in order. All devices are attached, so the flags
// change nothing.
HRESULT CInputSystem::EnumDevices(uint32_t nType, LPDIENUMDEVICESCALLBACKA pCallback,
                                  void* pContext, uint32_t)
{
    if (!pCallback)
        return DIERR_INVALIDPARAM;
    std::vector<DIDEVICEINSTANCEA> instances;
    auto add = [&](const GUID& guid, const GUID& product, uint32_t nDevType, const char* pszProduct,
                   const std::string& name) {
        DIDEVICEINSTANCEA instance = {};
        instance.dwSize = sizeof(instance);
        instance.guidInstance = guid;
        instance.guidProduct = product;
        instance.dwDevType = nDevType;
        CopyName(instance.tszInstanceName, sizeof(instance.tszInstanceName), name);
        CopyName(instance.tszProductName, sizeof(instance.tszProductName), pszProduct);
        instances.push_back(instance);
    };
    if (nType == 0 || nType == DIDEVTYPE_MOUSE)
        add(GUID_SysMouse, GUID_SysMouse, DIDEVTYPE_MOUSE, "Mouse", "Mouse");
    if (nType == 0 || nType == DIDEVTYPE_KEYBOARD)
        add(GUID_SysKeyboard, GUID_SysKeyboard, DIDEVTYPE_KEYBOARD, "Keyboard", "Keyboard");
    if (nType == 0 || nType == DIDEVTYPE_JOYSTICK) {
        const std::vector<CControllerState>& controllers = GetInputState().Controllers;
        uint32_t nCount =
            std::min<uint32_t>(static_cast<uint32_t>(controllers.size()), MAX_CONTROLLERS);
        for (uint32_t i = 0; i < nCount; ++i)
            add(ControllerGuid(i), CONTROLLER_PRODUCT,
                DIDEVTYPE_JOYSTICK | (DIDEVTYPEJOYSTICK_GAMEPAD << 8), "Controller",
                controllers[i].Name);
    }
    // The list is taken first, so that a callback that changes the state
    // does not change this enumeration.
    for (const DIDEVICEINSTANCEA& instance : instances) {
        if (pCallback(&instance, pContext) == DIENUM_STOP)
            break;
    }
    return DI_OK;
}

} // namespace

HRESULT CreateInputSystem(IDirectInput7A** ppOut)
{
    if (!ppOut)
        return DIERR_INVALIDPARAM;
    *ppOut = new CInputSystem();
    return DI_OK;
}

HRESULT DirectInputCreateEx(HINSTANCE, uint32_t, const GUID& iid, void** ppOut, void* pOuter)
{
    if (!ppOut)
        return DIERR_INVALIDPARAM;
    *ppOut = nullptr;
    if (pOuter)
        return DIERR_INVALIDPARAM;
    if (!IsEqualGUID(iid, IID_IDirectInput7A))
        return E_NOINTERFACE;
    return GetPlatformBackend()->CreateDirectInput(reinterpret_cast<IDirectInput7A**>(ppOut));
}
