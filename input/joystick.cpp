#include "input/joystick.h"

#include "frame/application.h"
#include "platform/files.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <new>

namespace {

constexpr uint32_t CAPS_SIZE = 44;
constexpr uint32_t DATA_FORMAT_SIZE = 24;
constexpr uint32_t OBJECT_FORMAT_SIZE = 16;
constexpr uint32_t AXIS_TYPE = DIDFT_AXIS | DIDFT_ANYINSTANCE;     // 0xFFFF03
constexpr uint32_t BUTTON_TYPE = DIDFT_BUTTON | DIDFT_ANYINSTANCE; // 0xFFFF0C
constexpr uint32_t POV_TYPE = DIDFT_POV | DIDFT_ANYINSTANCE;       // 0xFFFF10
constexpr uint32_t JOYSTICK_COOPERATION = DISCL_EXCLUSIVE | DISCL_FOREGROUND; // 5
constexpr uint32_t POLLED_MASK = DIDC_POLLEDDEVICE | DIDC_POLLEDDATAFORMAT; // 10
constexpr uint32_t POV_CENTRED_LOW = 0xFFFF;
constexpr uint32_t POV_OCTANT = 4500;
constexpr uint32_t FORCE_ITERATIONS = 10;
constexpr uint8_t DOWN_BIT = 0x80;

// The direction word of the eight main hat angles, in hundredths of a degree.
struct CPovDirection {
    uint32_t nAngle;
    int nWord;
};
constexpr CPovDirection POV_DIRECTIONS[] = {
    {0, HAT_OFF_CENTRE | HAT_UP},
    {4500, HAT_OFF_CENTRE | HAT_UP | HAT_RIGHT},
    {9000, HAT_OFF_CENTRE | HAT_RIGHT},
    {13500, HAT_OFF_CENTRE | HAT_DOWN | HAT_RIGHT},
    {18000, HAT_OFF_CENTRE | HAT_DOWN},
    {22500, HAT_OFF_CENTRE | HAT_DOWN | HAT_LEFT},
    {27000, HAT_OFF_CENTRE | HAT_LEFT},
    {31500, HAT_OFF_CENTRE | HAT_UP | HAT_LEFT},
};

bool IsCentred(uint32_t nPov)
{
    return (nPov & 0xFFFF) == POV_CENTRED_LOW;
}

char* CopyText(const char* pszText)
{
    size_t nLength = std::strlen(pszText) + 1;
    char* pCopy = new char[nLength];
    std::memcpy(pCopy, pszText, nLength);
    return pCopy;
}

// The OpenJoystick context: the entry to open next, the end of the array
// (so that a device that appears between the two enumerations is left out)
// and the application.
struct COpenCursor {
    CJoystick* pNext;
    CJoystick* pEnd;
    CApplication* pApp;
};

void WriteForceLog()
{
    int nFile = CreateFileWrite("f.txt");
    if (nFile < 0)
        return;
    static const char LINE[] = "Constant force found\n";
    ssize_t nWritten = write(nFile, LINE, sizeof(LINE) - 1);
    (void)nWritten; // a log line that does not arrive changes nothing
    close(nFile);
}

} // namespace

CJoystick::CJoystick()
    : pCurrent(nullptr), pPrevious(nullptr), pName(nullptr), Guid(), pDevice(nullptr), Caps(),
      Format(), pEffect(nullptr)
{
}

CJoystick::~CJoystick()
{
    Release();
}

bool CJoystick::Init(CApplication* pApp, const GUID& guid, const char* pszName)
{
    if (pDevice || !pApp || !pApp->GetDirectInput())
        return false;
    HRESULT hr = pApp->GetDirectInput()->CreateDeviceEx(
        guid, IID_IDirectInputDevice7A, reinterpret_cast<void**>(&pDevice), nullptr);
    if (FAILED(hr)) {
        pDevice = nullptr;
        return false;
    }
    if (!OpenDevice(pApp)) {
        Release();
        return false;
    }
    Guid = guid;
    pName = pszName ? CopyText(pszName) : nullptr;
    return true;
}

// Capabilities, data format, cooperation, state buffers, acquisition and the
// first read; false at the first step that fails.
bool CJoystick::OpenDevice(CApplication* pApp)
{
    std::memset(&Caps, 0, sizeof(Caps));
    Caps.dwSize = CAPS_SIZE;
    if (pDevice->GetCapabilities(&Caps) != 0)
        return false;
    if (!BuildDataFormat() || FAILED(pDevice->SetDataFormat(&Format)))
        return false;
    pDevice->SetCooperativeLevel(pApp->GetWindow(), JOYSTICK_COOPERATION);
    pCurrent = new (std::nothrow) uint8_t[Format.dwDataSize]();
    pPrevious = new (std::nothrow) uint8_t[Format.dwDataSize]();
    if (!pCurrent || !pPrevious)
        return false;
    if (FAILED(pDevice->Acquire()))
        return false;
    pDevice->GetDeviceState(Format.dwDataSize, pCurrent);
    return true;
}

bool CJoystick::Release()
{
    if (!pDevice)
        return false;
    pDevice->Unacquire();
    pDevice->Release();
    pDevice = nullptr;
    delete[] pCurrent;
    pCurrent = nullptr;
    delete[] pPrevious;
    pPrevious = nullptr;
    delete[] pName;
    pName = nullptr;
    delete[] Format.rgodf;
    Format.rgodf = nullptr;
    if (pEffect) {
        pEffect->Release();
        pEffect = nullptr;
    }
    return true;
}

bool CJoystick::BuildDataFormat()
{
    uint32_t nSize = Caps.dwButtons + 4 * Caps.dwAxes + 4 * Caps.dwPOVs;
    nSize = (nSize + 3) & ~3u;
    uint32_t nObjects = Caps.dwAxes + Caps.dwButtons + Caps.dwPOVs;
    delete[] Format.rgodf;
    Format.rgodf = new (std::nothrow) DIOBJECTDATAFORMAT[nObjects];
    if (!Format.rgodf)
        return false;
    Format.dwSize = DATA_FORMAT_SIZE;
    Format.dwObjSize = OBJECT_FORMAT_SIZE;
    Format.dwFlags = DIDF_ABSAXIS;
    Format.dwDataSize = nSize;
    Format.dwNumObjs = nObjects;
    uint32_t nOffset = 0;
    uint32_t nObject = 0;
    for (uint32_t i = 0; i < Caps.dwAxes; ++i, nOffset += 4)
        Format.rgodf[nObject++] = {nullptr, nOffset, AXIS_TYPE, 0};
    for (uint32_t i = 0; i < Caps.dwButtons; ++i, nOffset += 1)
        Format.rgodf[nObject++] = {nullptr, nOffset, BUTTON_TYPE, 0};
    for (uint32_t i = 0; i < Caps.dwPOVs; ++i, nOffset += 4)
        Format.rgodf[nObject++] = {nullptr, nOffset, POV_TYPE, 0};
    return true;
}

bool CJoystick::Poll()
{
    if (!IsOpen())
        return false;
    std::memcpy(pPrevious, pCurrent, Format.dwDataSize);
    if (NeedsPolling())
        pDevice->Poll();
    return SUCCEEDED(pDevice->GetDeviceState(Format.dwDataSize, pCurrent));
}

bool CJoystick::Acquire()
{
    return pDevice && FAILED(pDevice->Acquire());
}

bool CJoystick::Unacquire()
{
    return pDevice && FAILED(pDevice->Unacquire());
}

int CJoystick::GetButtonState(int nIndex) const
{
    if (!IsOpen() || nIndex < 0 || static_cast<uint32_t>(nIndex) >= Caps.dwButtons)
        return INPUT_UP;
    uint32_t nOffset = ObjectOffset(Caps.dwAxes + static_cast<uint32_t>(nIndex));
    bool bWasDown = (pPrevious[nOffset] & DOWN_BIT) != 0;
    bool bIsDown = (pCurrent[nOffset] & DOWN_BIT) != 0;
    if (bWasDown)
        return bIsDown ? INPUT_HELD : INPUT_RELEASED;
    return bIsDown ? INPUT_PRESSED : INPUT_UP;
}

int32_t CJoystick::GetAxis(int nIndex) const
{
    if (!IsOpen() || nIndex < 0 || static_cast<uint32_t>(nIndex) >= Caps.dwAxes)
        return 0;
    int32_t nValue;
    std::memcpy(&nValue, pCurrent + ObjectOffset(static_cast<uint32_t>(nIndex)), sizeof(nValue));
    return nValue;
}

uint32_t CJoystick::GetStickAxis(int nIndex) const
{
    if (!IsOpen() || nIndex < 0 || nIndex >= GetAxisCount())
        return JOYSTICK_AXIS_CENTRE;
    return static_cast<uint32_t>(GetAxis(nIndex));
}

int CJoystick::GetStickPovDirection(int nIndex) const
{
    if (!IsOpen() || nIndex < 0 || nIndex >= GetPovCount())
        return 0;
    return GetPovDirection(nIndex);
}

// Hat values may stand at offsets that are not a multiple of 4, hence the
// byte copy.
uint32_t CJoystick::GetPov(int nIndex) const
{
    if (!IsOpen() || nIndex < 0 || static_cast<uint32_t>(nIndex) >= Caps.dwPOVs)
        return 0;
    uint32_t nObject = Caps.dwAxes + Caps.dwButtons + static_cast<uint32_t>(nIndex);
    uint32_t nValue;
    std::memcpy(&nValue, pCurrent + ObjectOffset(nObject), sizeof(nValue));
    return nValue;
}

int CJoystick::GetPovOctant(int nIndex) const
{
    uint32_t nPov = GetPov(nIndex);
    if (IsCentred(nPov))
        return -1;
    return static_cast<int>(nPov / POV_OCTANT);
}

int CJoystick::GetPovDirection(int nIndex) const
{
    uint32_t nPov = GetPov(nIndex);
    if (IsCentred(nPov))
        return 0;
    for (const CPovDirection& direction : POV_DIRECTIONS) {
        if (direction.nAngle == nPov)
            return direction.nWord;
    }
    return HAT_OFF_CENTRE;
}

bool CJoystick::GetCaps(DIDEVCAPS* pOut) const
{
    if (!pOut || !pDevice)
        return false;
    std::memcpy(pOut, &Caps, sizeof(Caps));
    return true;
}

const char* CJoystick::GetName(char* pOut) const
{
    if (!pDevice || !pName)
        return nullptr;
    if (pOut)
        std::strcpy(pOut, pName);
    return pName;
}

bool CJoystick::NeedsPolling() const
{
    return (Caps.dwFlags & POLLED_MASK) != 0;
}

void CJoystick::StartForce(DIEFFECT* pEffectParams)
{
    if (!pDevice)
        return;
    // One effect at a time: a new one replaces the one before.
    if (pEffect) {
        pEffect->Release();
        pEffect = nullptr;
    }
    pDevice->CreateEffect(GUID_ConstantForce, pEffectParams, &pEffect, nullptr);
    if (pEffect)
        pEffect->Start(FORCE_ITERATIONS, 0);
}

bool EnumerateJoysticks(CApplication* pApp, CJoystick** ppArray, int32_t* pCount)
{
    *ppArray = nullptr;
    *pCount = 0;
    IDirectInput7A* pInput = pApp->GetDirectInput();
    if (!pInput || FAILED(pInput->EnumDevices(0, CountJoystick, pCount, DIEDFL_ATTACHEDONLY)))
        return false;
    if (*pCount == 0)
        return true;
    *ppArray = new (std::nothrow) CJoystick[static_cast<size_t>(*pCount)];
    if (!*ppArray)
        return false;
    COpenCursor cursor = {*ppArray, *ppArray + *pCount, pApp};
    if (FAILED(pInput->EnumDevices(0, OpenJoystick, &cursor, DIEDFL_ATTACHEDONLY))) {
        delete[] *ppArray;
        *ppArray = nullptr;
        return false;
    }
    return true;
}

int CountJoystick(const DIDEVICEINSTANCEA* pInstance, void* pCount)
{
    if (pInstance->dwDevType & DIDEVTYPE_JOYSTICK)
        ++*static_cast<int32_t*>(pCount);
    return DIENUM_CONTINUE;
}

// An instance without a name opens with none, so that GetName gives null.
int OpenJoystick(const DIDEVICEINSTANCEA* pInstance, void* pContext)
{
    if (!(pInstance->dwDevType & DIDEVTYPE_JOYSTICK))
        return DIENUM_CONTINUE;
    auto* pCursor = static_cast<COpenCursor*>(pContext);
    if (pCursor->pNext == pCursor->pEnd)
        return DIENUM_CONTINUE;
    const char* pszName = pInstance->tszInstanceName[0] ? pInstance->tszInstanceName : nullptr;
    pCursor->pNext->Init(pCursor->pApp, pInstance->guidInstance, pszName);
    ++pCursor->pNext;
    return DIENUM_CONTINUE;
}

int FindConstantForce(const DIEFFECTINFOA* pEffectInfo, void* pContext)
{
    if ((pEffectInfo->dwEffType & 0xFF) != DIEFT_CONSTANTFORCE)
        return DIENUM_CONTINUE;
    WriteForceLog();
    CJoystick* pJoystick = *static_cast<CJoystick**>(pContext);
    uint32_t axes[1] = {0};
    int32_t directions[1] = {40000};
    DICONSTANTFORCE force = {10000};
    DIEFFECT effect = {};
    effect.dwSize = 56;
    effect.dwFlags = DIEFF_OBJECTOFFSETS | DIEFF_CARTESIAN;
    effect.dwDuration = 1000000;
    effect.dwSamplePeriod = 0;
    effect.dwGain = 10000;
    effect.dwTriggerButton = DIEB_NOTRIGGER;
    effect.dwTriggerRepeatInterval = 0;
    effect.cAxes = 1;
    effect.rgdwAxes = axes;
    effect.rglDirection = directions;
    effect.lpEnvelope = nullptr;
    effect.cbTypeSpecificParams = sizeof(force);
    effect.lpvTypeSpecificParams = &force;
    effect.dwStartDelay = 0;
    pJoystick->StartForce(&effect);
    return DIENUM_STOP;
}
