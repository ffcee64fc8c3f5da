#include "platform/sdl_events.h"

#include "platform/scan_codes.h"

#include <cstring>

namespace {

constexpr uint8_t KEY_DOWN = 0x80;
constexpr int32_t WHEEL_DELTA = 120;
constexpr uint32_t POV_CENTRED = 0xFFFFFFFFu;

void ApplyKey(const SDL_KeyboardEvent& key, CInputState& state)
{
    if (key.repeat)
        return;
    const int nCode = ScanCodeFromSdl(key.keysym.scancode);
    if (nCode < 0 || nCode > 255)
        return;
    state.Keys[nCode] = key.state == SDL_PRESSED ? KEY_DOWN : 0;
}

void ApplyButton(const SDL_MouseButtonEvent& button, CInputState& state)
{
    const int nIndex = SdlButtonToIndex(button.button);
    if (nIndex >= 0)
        state.MouseButtons[nIndex] = button.state == SDL_PRESSED ? KEY_DOWN : 0;
}

ESdlEventResult ApplyWindowEvent(const SDL_WindowEvent& window, CInputState& state, bool bInput)
{
    if (window.event == SDL_WINDOWEVENT_CLOSE)
        return ESdlEventResult::CloseRequested;
    if (!bInput)
        return ESdlEventResult::None;
    if (window.event == SDL_WINDOWEVENT_FOCUS_LOST) {
        // Keys and buttons held when the focus went would otherwise never
        // see their release; motion not yet read belongs to no frame of ours.
        state.bFocus = false;
        std::memset(state.Keys, 0, sizeof(state.Keys));
        std::memset(state.MouseButtons, 0, sizeof(state.MouseButtons));
        state.nMouseX = state.nMouseY = state.nMouseZ = 0;
    } else if (window.event == SDL_WINDOWEVENT_FOCUS_GAINED) {
        state.bFocus = true;
    }
    return ESdlEventResult::None;
}

} // namespace

ESdlEventResult ApplySdlEvent(const SDL_Event& event, CInputState& state, bool bInput)
{
    if (event.type == SDL_QUIT)
        return ESdlEventResult::CloseRequested;
    if (event.type == SDL_WINDOWEVENT)
        return ApplyWindowEvent(event.window, state, bInput);
    if (!bInput)
        return ESdlEventResult::None;
    switch (event.type) {
    case SDL_KEYDOWN:
    case SDL_KEYUP:
        ApplyKey(event.key, state);
        break;
    case SDL_MOUSEMOTION:
        // Motion while another window has the focus is not ours: summed, it
        // would turn the camera at once when the focus comes back.
        if (state.bFocus) {
            state.nMouseX += event.motion.xrel;
            state.nMouseY += event.motion.yrel;
        }
        break;
    case SDL_MOUSEWHEEL: {
        if (!state.bFocus)
            break;
        const int32_t nY = event.wheel.direction == SDL_MOUSEWHEEL_FLIPPED ? -event.wheel.y
                                                                           : event.wheel.y;
        state.nMouseZ += WHEEL_DELTA * nY;
        break;
    }
    case SDL_MOUSEBUTTONDOWN:
    case SDL_MOUSEBUTTONUP:
        ApplyButton(event.button, state);
        break;
    default:
        break;
    }
    return ESdlEventResult::None;
}

int32_t SdlAxisToRange(int16_t nValue)
{
    return static_cast<int32_t>(nValue) + 32768;
}

int32_t SdlTriggerToRange(int16_t nValue)
{
    return 32768 + (static_cast<int32_t>(nValue) + 32768) / 2;
}

uint32_t SdlHatToPov(uint8_t nHat)
{
    switch (nHat) {
    case SDL_HAT_UP: return 0;
    case SDL_HAT_RIGHTUP: return 4500;
    case SDL_HAT_RIGHT: return 9000;
    case SDL_HAT_RIGHTDOWN: return 13500;
    case SDL_HAT_DOWN: return 18000;
    case SDL_HAT_LEFTDOWN: return 22500;
    case SDL_HAT_LEFT: return 27000;
    case SDL_HAT_LEFTUP: return 31500;
    default: return POV_CENTRED;
    }
}

int SdlButtonToIndex(uint8_t nButton)
{
    switch (nButton) {
    case SDL_BUTTON_LEFT: return 0;
    case SDL_BUTTON_RIGHT: return 1;
    case SDL_BUTTON_MIDDLE: return 2;
    case SDL_BUTTON_X1: return 3;
    default: return -1;
    }
}
