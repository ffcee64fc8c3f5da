#include "platform/sdl_audio.h"

#include "platform/sdl_window.h"
#include "platform/sound_mixer.h"

#include <string>

namespace {

constexpr uint16_t SAMPLES_PER_CALLBACK = 1024;

SDL_AudioDeviceID g_nDevice = 0;
SDL_AudioSpec g_Have = {};
bool g_bWarned = false;
bool g_bListening = false;

void MixCallback(void*, Uint8* pStream, int nBytes)
{
    MixSound(pStream, nBytes);
}

void WarnNoDevice(const char* pszWhy)
{
    if (g_bWarned)
        return;
    g_bWarned = true;
    std::string text = std::string("No sound device: running without sound (") + pszWhy + ")";
    ReportBackendWarning(text.c_str());
}

bool OpenAt(const WAVEFORMATEX& format)
{
    // Without the audio part the start-up already warned.
    if (!SDL_WasInit(SDL_INIT_AUDIO))
        return false;
    SDL_AudioSpec want = SdlRequestForFormat(format);
    g_nDevice = SDL_OpenAudioDevice(nullptr, 0, &want, &g_Have, 0);
    if (g_nDevice == 0) {
        WarnNoDevice(SDL_GetError());
        return false;
    }
    SDL_PauseAudioDevice(g_nDevice, 0);
    return true;
}

// The primary buffer took a new format: the device follows, so that the
// mixer's bytes are read the way they are written.
void OnPrimaryFormat(const WAVEFORMATEX& format)
{
    if (g_nDevice == 0)
        return;
    CloseSdlAudio();
    OpenAt(format);
}

} // namespace

SDL_AudioSpec SdlRequestForFormat(const WAVEFORMATEX& format)
{
    SDL_AudioSpec request = {};
    request.freq = static_cast<int>(format.nSamplesPerSec);
    request.format = format.wBitsPerSample == 8 ? AUDIO_U8 : AUDIO_S16SYS;
    request.channels = static_cast<Uint8>(format.nChannels);
    request.samples = SAMPLES_PER_CALLBACK;
    request.callback = MixCallback;
    return request;
}

bool OpenSdlAudio()
{
    if (!g_bListening) {
        SetPrimaryFormatListener(OnPrimaryFormat);
        g_bListening = true;
    }
    if (g_nDevice != 0)
        return true;
    return OpenAt(GetPrimarySoundFormat());
}

void CloseSdlAudio()
{
    if (g_nDevice != 0)
        SDL_CloseAudioDevice(g_nDevice);
    g_nDevice = 0;
}

bool GetOpenAudioFormat(SDL_AudioSpec* pOut)
{
    if (g_nDevice == 0)
        return false;
    *pOut = g_Have;
    return true;
}
