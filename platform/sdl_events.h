#pragma once
// Translation of SDL's live input into the shared input state: keys by
// DirectInput scan code, relative mouse motion, the wheel in 120ths, buttons
// in DirectInput order, focus, and joystick values in DirectInput ranges.
#include "platform/input_state.h"

#include <SDL2/SDL.h>

#include <cstdint>

// What one event means for the window.
enum class ESdlEventResult { None, CloseRequested };

// Applies one event. With bInput clear (a script drives the input) only a
// close request is looked at.
ESdlEventResult ApplySdlEvent(const SDL_Event& event, CInputState& state, bool bInput);

// SDL axis -32768..32767 to 0..65535.
int32_t SdlAxisToRange(int16_t nValue);
// A trigger, an axis that rests at SDL's minimum, to the upper half of
// 0..65535: at rest it stands in the middle, as a centred stick does, and
// pulled fully it reaches 65535.
int32_t SdlTriggerToRange(int16_t nValue);
// SDL_HAT_* to hundredths of degrees clockwise from up; 0xFFFFFFFF centred.
uint32_t SdlHatToPov(uint8_t nHat);
// SDL mouse button to its DirectInput index (left 0, right 1, middle 2,
// first extra 3), or -1.
int SdlButtonToIndex(uint8_t nButton);
