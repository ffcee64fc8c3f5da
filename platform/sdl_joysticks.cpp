#include "platform/sdl_joysticks.h"

#include "platform/sdl_events.h"
#include "platform/sdl_window.h"

#include <SDL2/SDL.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

constexpr uint8_t BUTTON_DOWN = 0x80;
constexpr int32_t AXIS_REST = 32767;
constexpr uint32_t POV_CENTRED = 0xFFFFFFFFu;
constexpr uint32_t FORCE_LENGTH_MS = 1000;
constexpr int32_t FORCE_MAX = 10000;

struct CSdlStick {
    SDL_Joystick* pJoystick = nullptr;
    SDL_Haptic* pHaptic = nullptr;
    int nEffect = -1;      // the constant effect, made on first use
    int nForceStarts = 0;  // starts already played
    std::vector<bool> Triggers; // axes that rested at their minimum when opened
};

std::vector<CSdlStick> g_Sticks;

SDL_Haptic* OpenConstantHaptic(SDL_Joystick* pJoystick)
{
    if (!SDL_WasInit(SDL_INIT_HAPTIC) || SDL_JoystickIsHaptic(pJoystick) != SDL_TRUE)
        return nullptr;
    SDL_Haptic* pHaptic = SDL_HapticOpenFromJoystick(pJoystick);
    if (pHaptic && !(SDL_HapticQuery(pHaptic) & SDL_HAPTIC_CONSTANT)) {
        SDL_HapticClose(pHaptic);
        return nullptr;
    }
    return pHaptic;
}

CControllerState DescribeStick(SDL_Joystick* pJoystick, bool bConstantForce)
{
    CControllerState controller;
    const char* pszName = SDL_JoystickName(pJoystick);
    controller.Name = pszName ? pszName : "Joystick";
    controller.Axes.assign(std::max(0, SDL_JoystickNumAxes(pJoystick)), AXIS_REST);
    controller.Buttons.assign(std::max(0, SDL_JoystickNumButtons(pJoystick)), 0);
    controller.Povs.assign(std::max(0, SDL_JoystickNumHats(pJoystick)), POV_CENTRED);
    controller.bConstantForce = bConstantForce;
    return controller;
}

// The axes that rest at SDL's minimum: the triggers of a pad, which would
// otherwise read as a stick pushed to its end.
std::vector<bool> FindTriggers(SDL_Joystick* pJoystick)
{
    std::vector<bool> triggers(std::max(0, SDL_JoystickNumAxes(pJoystick)), false);
    for (size_t i = 0; i < triggers.size(); ++i) {
        Sint16 nRest = 0;
        triggers[i] = SDL_JoystickGetAxisInitialState(pJoystick, static_cast<int>(i), &nRest) &&
                      nRest == SDL_JOYSTICK_AXIS_MIN;
    }
    return triggers;
}

void ReadStick(const CSdlStick& stick, CControllerState& controller)
{
    SDL_Joystick* pJoystick = stick.pJoystick;
    for (size_t i = 0; i < controller.Axes.size(); ++i) {
        const Sint16 nValue = SDL_JoystickGetAxis(pJoystick, static_cast<int>(i));
        const bool bTrigger = i < stick.Triggers.size() && stick.Triggers[i];
        controller.Axes[i] = bTrigger ? SdlTriggerToRange(nValue) : SdlAxisToRange(nValue);
    }
    for (size_t i = 0; i < controller.Buttons.size(); ++i)
        controller.Buttons[i] =
            SDL_JoystickGetButton(pJoystick, static_cast<int>(i)) ? BUTTON_DOWN : 0;
    for (size_t i = 0; i < controller.Povs.size(); ++i)
        controller.Povs[i] = SdlHatToPov(SDL_JoystickGetHat(pJoystick, static_cast<int>(i)));
}

void PlayForce(CSdlStick& stick, int32_t nMagnitude)
{
    SDL_HapticEffect effect = {};
    effect.type = SDL_HAPTIC_CONSTANT;
    effect.constant.direction.type = SDL_HAPTIC_CARTESIAN;
    effect.constant.direction.dir[0] = 1;
    effect.constant.length = FORCE_LENGTH_MS;
    effect.constant.level = ForceToSdlLevel(nMagnitude);
    if (stick.nEffect < 0)
        stick.nEffect = SDL_HapticNewEffect(stick.pHaptic, &effect);
    else if (SDL_HapticUpdateEffect(stick.pHaptic, stick.nEffect, &effect) < 0)
        return;
    if (stick.nEffect < 0 || SDL_HapticRunEffect(stick.pHaptic, stick.nEffect, 1) < 0) {
        std::string text = std::string("Force effect failed: ") + SDL_GetError();
        ReportBackendWarning(text.c_str());
    }
}

} // namespace

void OpenSdlJoysticks(CInputState& state)
{
    if (!SDL_WasInit(SDL_INIT_JOYSTICK))
        return;
    for (int i = 0; i < SDL_NumJoysticks(); ++i) {
        SDL_Joystick* pJoystick = SDL_JoystickOpen(i);
        if (!pJoystick)
            continue;
        CSdlStick stick;
        stick.pJoystick = pJoystick;
        stick.pHaptic = OpenConstantHaptic(pJoystick);
        stick.Triggers = FindTriggers(pJoystick);
        state.Controllers.push_back(DescribeStick(pJoystick, stick.pHaptic != nullptr));
        stick.nForceStarts = state.Controllers.back().nForceStarts;
        g_Sticks.push_back(stick);
    }
}

void RefreshSdlJoysticks(CInputState& state)
{
    const size_t nCount = std::min(g_Sticks.size(), state.Controllers.size());
    for (size_t i = 0; i < nCount; ++i) {
        CSdlStick& stick = g_Sticks[i];
        CControllerState& controller = state.Controllers[i];
        ReadStick(stick, controller);
        if (controller.nForceStarts > stick.nForceStarts && stick.pHaptic)
            PlayForce(stick, controller.nForceMagnitude);
        stick.nForceStarts = controller.nForceStarts;
    }
}

void CloseSdlJoysticks()
{
    for (CSdlStick& stick : g_Sticks) {
        if (stick.pHaptic)
            SDL_HapticClose(stick.pHaptic);
        SDL_JoystickClose(stick.pJoystick);
    }
    g_Sticks.clear();
}

int16_t ForceToSdlLevel(int32_t nMagnitude)
{
    const int32_t nClamped = std::clamp(nMagnitude, -FORCE_MAX, FORCE_MAX);
    return static_cast<int16_t>(static_cast<int64_t>(nClamped) * 32767 / FORCE_MAX);
}
