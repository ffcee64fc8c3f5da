#pragma once
// The sound system both backends hand out: a primary format, static buffers
// and a mixer that adds up the playing buffers. The SDL backend's audio
// callback pulls mixed bytes from it; the null backend never does.
#include "platform/dsound.h"

#include <cstdint>

HRESULT CreateSoundSystem(IDirectSound** ppOut);
// The format the primary buffer was given (PCM 16-bit stereo 22050 Hz until
// SetFormat); the SDL backend opens its device with it.
WAVEFORMATEX GetPrimarySoundFormat();
// Writes nBytes of the primary format: the sum of every playing buffer,
// converted to that format and clipped; silence when nothing plays.
// Advances the playing buffers, stopping those that end without looping.
// Safe to call from the audio thread.
void MixSound(uint8_t* pOut, int nBytes);
// Called (on the frame's thread) when the primary buffer's format changes,
// so that the backend can reopen its device at that format.
void SetPrimaryFormatListener(void (*pListener)(const WAVEFORMATEX& format));
