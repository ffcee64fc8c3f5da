// The platform's sound device: the primary buffer's format, secondary
// buffers and their locks, and the mixer that resamples and converts them.
#include "platform/dsound.h"
#include "platform/sound_mixer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

std::vector<int16_t> Mix16(int nFrames, int nChannels = 2)
{
    std::vector<int16_t> out(static_cast<size_t>(nFrames) * nChannels);
    MixSound(reinterpret_cast<uint8_t*>(out.data()), static_cast<int>(out.size() * 2));
    return out;
}

// The primary buffer's format reaches the listener; formats the device can
// not play are refused.
WAVEFORMATEX g_Heard;
void Listen(const WAVEFORMATEX& format) { g_Heard = format; }

TEST(SoundDevice, PrimaryAndSecondaryFormats)
{
    IDirectSound* pSound = nullptr;
    ASSERT_EQ(CreateSoundSystem(&pSound), S_OK);
    DSBUFFERDESC desc = {sizeof(DSBUFFERDESC), DSBCAPS_PRIMARYBUFFER, 0, 0, nullptr};
    IDirectSoundBuffer* pPrimary = nullptr;
    ASSERT_EQ(pSound->CreateSoundBuffer(&desc, &pPrimary, nullptr), S_OK);

    SetPrimaryFormatListener(Listen);
    WAVEFORMATEX format = {1, 1, 11025, 11025, 1, 8, 0};
    ASSERT_EQ(pPrimary->SetFormat(&format), S_OK);
    EXPECT_EQ(g_Heard.nSamplesPerSec, 11025u);
    EXPECT_EQ(GetPrimarySoundFormat().wBitsPerSample, 8);
    SetPrimaryFormatListener(nullptr);
    WAVEFORMATEX bad = {1, 2, 22050, 88200, 2, 16, 0}; // block size does not match
    EXPECT_EQ(pPrimary->SetFormat(&bad), DSERR_BADFORMAT);
    EXPECT_EQ(GetPrimarySoundFormat().nSamplesPerSec, 11025u);

    IDirectSoundBuffer* pBuffer = nullptr;
    desc = {sizeof(DSBUFFERDESC), DSBCAPS_STATIC, 0, 0, &format};
    EXPECT_EQ(pSound->CreateSoundBuffer(&desc, &pBuffer, nullptr), DSERR_INVALIDPARAM);
    desc.dwBufferBytes = 6;
    WAVEFORMATEX adpcm = {2, 1, 22050, 11025, 1, 4, 0};
    desc.lpwfxFormat = &adpcm;
    EXPECT_EQ(pSound->CreateSoundBuffer(&desc, &pBuffer, nullptr), DSERR_BADFORMAT);
    EXPECT_EQ(pBuffer, nullptr);

    // Locking past the end wraps into the second part.
    desc.lpwfxFormat = &format;
    ASSERT_EQ(pSound->CreateSoundBuffer(&desc, &pBuffer, nullptr), S_OK);
    void* pPart1 = nullptr;
    void* pPart2 = nullptr;
    uint32_t nBytes1 = 0;
    uint32_t nBytes2 = 0;
    ASSERT_EQ(pBuffer->Lock(4, 4, &pPart1, &nBytes1, &pPart2, &nBytes2, 0), S_OK);
    EXPECT_EQ(nBytes1, 2u);
    EXPECT_EQ(nBytes2, 2u);
    EXPECT_EQ(static_cast<uint8_t*>(pPart1) - static_cast<uint8_t*>(pPart2), 4);
    EXPECT_EQ(pBuffer->Lock(6, 1, &pPart1, &nBytes1, &pPart2, &nBytes2, 0), DSERR_INVALIDPARAM);

    pBuffer->Release();
    pPrimary->Release();
    pSound->Release();
}

TEST(SoundDevice, MixerResamplesAndConverts)
{
    IDirectSound* pSound = nullptr;
    ASSERT_EQ(CreateSoundSystem(&pSound), S_OK);
    DSBUFFERDESC desc = {sizeof(DSBUFFERDESC), DSBCAPS_PRIMARYBUFFER, 0, 0, nullptr};
    IDirectSoundBuffer* pPrimary = nullptr;
    ASSERT_EQ(pSound->CreateSoundBuffer(&desc, &pPrimary, nullptr), S_OK);
    WAVEFORMATEX out = {1, 2, 22050, 88200, 4, 16, 0};
    ASSERT_EQ(pPrimary->SetFormat(&out), S_OK);

    // Mono 8-bit at half the rate: each sample twice, on both sides.
    WAVEFORMATEX format = {1, 1, 11025, 11025, 1, 8, 0};
    desc = {sizeof(DSBUFFERDESC), DSBCAPS_STATIC, 3, 0, &format};
    IDirectSoundBuffer* pBuffer = nullptr;
    ASSERT_EQ(pSound->CreateSoundBuffer(&desc, &pBuffer, nullptr), S_OK);
    void* pData = nullptr;
    uint32_t nBytes = 0;
    ASSERT_EQ(pBuffer->Lock(0, 3, &pData, &nBytes, nullptr, nullptr, 0), S_OK);
    const uint8_t samples[3] = {0x80 + 64, 0x80 - 64, 0x80};
    std::memcpy(pData, samples, 3);
    pBuffer->Unlock(pData, nBytes, nullptr, 0);

    ASSERT_EQ(pBuffer->Play(0, 0, 0), S_OK);
    EXPECT_EQ(Mix16(3), (std::vector<int16_t>{16384, 16384, 16384, 16384, -16384, -16384}));
    // Stopped, it keeps its place.
    pBuffer->Stop();
    EXPECT_EQ(Mix16(1), (std::vector<int16_t>{0, 0}));
    pBuffer->Play(0, 0, DSBPLAY_LOOPING);
    EXPECT_EQ(Mix16(4), (std::vector<int16_t>{-16384, -16384, 0, 0, 0, 0, 16384, 16384}));

    // An 8-bit mono output centres on 128 and averages the sides of a
    // stereo buffer: (0x1000 + 0x3000) / 2 is 0x20 in the high byte.
    WAVEFORMATEX narrow = {1, 1, 22050, 22050, 1, 8, 0};
    ASSERT_EQ(pPrimary->SetFormat(&narrow), S_OK);
    uint8_t bytes[2];
    MixSound(bytes, 2);
    EXPECT_EQ(bytes[0], 0x80 + 64);
    EXPECT_EQ(bytes[1], 0x80 - 64);
    pBuffer->Release();
    WAVEFORMATEX stereo = {1, 2, 22050, 88200, 4, 16, 0};
    desc = {sizeof(DSBUFFERDESC), DSBCAPS_STATIC, 4, 0, &stereo};
    ASSERT_EQ(pSound->CreateSoundBuffer(&desc, &pBuffer, nullptr), S_OK);
    ASSERT_EQ(pBuffer->Lock(0, 4, &pData, &nBytes, nullptr, nullptr, 0), S_OK);
    const int16_t sides[2] = {0x1000, 0x3000};
    std::memcpy(pData, sides, 4);
    pBuffer->Play(0, 0, 0);
    MixSound(bytes, 1);
    EXPECT_EQ(bytes[0], 0x80 + 0x20);

    pBuffer->Release();
    uint8_t silence[4] = {1, 2, 3, 4};
    MixSound(silence, 4);
    EXPECT_EQ(silence[3], 0x80);
    pPrimary->Release();
    pSound->Release();
}

} // namespace
