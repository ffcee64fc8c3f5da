#pragma once
// The sound device the core opens and the static buffers it plays, shaped
// like the DirectSound objects, holding only what the core uses.
#include "platform/window_types.h"

#include <cstdint>

struct WAVEFORMATEX {
    uint16_t wFormatTag;
    uint16_t nChannels;
    uint32_t nSamplesPerSec;
    uint32_t nAvgBytesPerSec;
    uint16_t nBlockAlign;
    uint16_t wBitsPerSample;
    uint16_t cbSize;
};

constexpr uint16_t WAVE_FORMAT_PCM = 1;

struct DSBUFFERDESC {
    uint32_t dwSize;
    uint32_t dwFlags;
    uint32_t dwBufferBytes;
    uint32_t dwReserved;
    WAVEFORMATEX* lpwfxFormat;
};

constexpr uint32_t DSBCAPS_PRIMARYBUFFER = 0x00000001;
constexpr uint32_t DSBCAPS_STATIC = 0x00000002;
constexpr uint32_t DSSCL_PRIORITY = 0x00000002;
constexpr uint32_t DSBPLAY_LOOPING = 0x00000001;
constexpr HRESULT DSERR_BADFORMAT = static_cast<HRESULT>(0x88780064u);
constexpr HRESULT DSERR_INVALIDPARAM = static_cast<HRESULT>(0x80070057u);

class IDirectSoundBuffer {
public:
    virtual uint32_t Release() = 0;
    // The primary buffer takes the device's format; PCM of 8 or 16 bits
    // and 1 or 2 channels is accepted.
    virtual HRESULT SetFormat(const WAVEFORMATEX* pFormat) = 0;
    virtual HRESULT Lock(uint32_t nOffset, uint32_t nBytes, void** ppPart1, uint32_t* pBytes1,
                         void** ppPart2, uint32_t* pBytes2, uint32_t nFlags) = 0;
    virtual HRESULT Unlock(void* pPart1, uint32_t nBytes1, void* pPart2, uint32_t nBytes2) = 0;
    // Plays on from the current position; looping wraps at the end.
    virtual HRESULT Play(uint32_t nReserved, uint32_t nPriority, uint32_t nFlags) = 0;
    virtual HRESULT Stop() = 0;

protected:
    virtual ~IDirectSoundBuffer() = default;
};

class IDirectSound {
public:
    virtual uint32_t Release() = 0;
    virtual HRESULT SetCooperativeLevel(HWND hWnd, uint32_t nLevel) = 0;
    // DSBCAPS_PRIMARYBUFFER with no format gives the primary buffer; other
    // buffers need a PCM or other format and a size.
    virtual HRESULT CreateSoundBuffer(const DSBUFFERDESC* pDesc, IDirectSoundBuffer** ppOut,
                                      void* pOuter) = 0;

protected:
    virtual ~IDirectSound() = default;
};

HRESULT DirectSoundCreate(GUID* pDevice, IDirectSound** ppOut, void* pOuter);
