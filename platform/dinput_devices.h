#pragma once
// The input system both backends hand out: keyboard, mouse and controllers
// that read GetInputState(). What fills that state differs by backend.
#include "platform/dinput.h"

HRESULT CreateInputSystem(IDirectInput7A** ppOut);
