#pragma once
// The SDL audio device that plays the sound system's mix. It follows the
// primary buffer's format: a change closes the device and opens it again.
// Without a device the sound system still works, silently.
#include "platform/dsound.h"

#include <SDL2/SDL.h>

// Opens the device at the sound system's primary format and starts it;
// false (with one warning per run) when no device can be opened.
bool OpenSdlAudio();
void CloseSdlAudio();
// The format the open device plays; false when none is open.
bool GetOpenAudioFormat(SDL_AudioSpec* pOut);

// The SDL request for a primary format: 8-bit gives unsigned samples,
// anything else signed 16-bit in the machine's order.
SDL_AudioSpec SdlRequestForFormat(const WAVEFORMATEX& format);
