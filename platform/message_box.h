#pragma once
// Modal message boxes. The default writes "caption: text" to standard error;
// the window layer installs a handler that also shows a real box when a
// display is up, and tests install one that records the call.
#include "platform/window_types.h"

#include <functional>

using MessageBoxHandler =
    std::function<int(HWND hWnd, const char* pszText, const char* pszCaption, uint32_t nType)>;

// Shows a box; a null text or caption shows as empty. Gives the button
// pressed (1, OK, for the standard-error box).
int PlatformMessageBox(HWND hWnd, const char* pszText, const char* pszCaption, uint32_t nType);

// Replaces the handler; an empty one restores the standard-error box.
// Gives the handler that was in place.
MessageBoxHandler SetMessageBoxHandler(MessageBoxHandler handler);
