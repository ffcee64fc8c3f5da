// Sound: the wave file reader, the application's sound operations and the
// platform's buffers and mixer, over wave files written by the tests.
#include "frame/application.h"
#include "frame/error.h"
#include "input/wave_file.h"
#include "platform/null_backend.h"
#include "platform/sound_mixer.h"
#include "scratch_dir.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

std::string Le(uint32_t nValue, int nBytes)
{
    std::string bytes(nBytes, '\0');
    for (int i = 0; i < nBytes; ++i)
        bytes[i] = static_cast<char>((nValue >> (8 * i)) & 0xFF);
    return bytes;
}

std::string Chunk(const std::string& id, const std::string& data)
{
    std::string chunk = id + Le(static_cast<uint32_t>(data.size()), 4) + data;
    return data.size() % 2 ? chunk + '\0' : chunk;
}

// The 16 bytes of a format chunk.
std::string FormatBytes(uint16_t nTag, uint16_t nChannels, uint32_t nRate, uint16_t nBits)
{
    uint16_t nAlign = static_cast<uint16_t>(nChannels * nBits / 8);
    return Le(nTag, 2) + Le(nChannels, 2) + Le(nRate, 4) + Le(nRate * nAlign, 4) + Le(nAlign, 2) +
           Le(nBits, 2);
}

std::string Wave(const std::string& format, const std::string& body)
{
    return Chunk("RIFF", "WAVE" + Chunk("fmt ", format) + body);
}

std::string PcmWave(const std::string& samples, uint16_t nChannels = 2, uint32_t nRate = 22050,
                    uint16_t nBits = 16)
{
    return Wave(FormatBytes(1, nChannels, nRate, nBits), Chunk("data", samples));
}

std::string Samples16(const std::vector<int16_t>& values)
{
    std::string bytes;
    for (int16_t nValue : values)
        bytes += Le(static_cast<uint16_t>(nValue), 2);
    return bytes;
}

std::vector<int16_t> Mix16(int nFrames, int nChannels = 2)
{
    std::vector<int16_t> out(static_cast<size_t>(nFrames) * nChannels);
    MixSound(reinterpret_cast<uint8_t*>(out.data()), static_cast<int>(out.size() * 2));
    return out;
}

class SoundTest : public ScratchDirTest {
protected:
    void SetUp() override
    {
        ScratchDirTest::SetUp();
        ResetNullBackend();
        Config.nDevices = DEVICE_DIRECTSOUND;
        Config.nChannels = 2;
        Config.nSampleBits = 16;
        Config.nSampleRate = 22050;
        App.pConfig = &Config;
    }
    void TearDown() override
    {
        App.ReleaseSound();
        ScratchDirTest::TearDown();
    }
    std::string LoadError(const char* pszPath)
    {
        try {
            App.LoadWAV(pszPath, 0);
        } catch (const CError& error) {
            return error.GetMessage();
        }
        return "";
    }
    std::string CreateError()
    {
        try {
            App.CreateDS(&Config);
        } catch (const CError& error) {
            return error.GetMessage();
        }
        return "";
    }

    CAppConfig Config;
    CApplication App;
};

TEST_F(SoundTest, WaveFileReadsFormatAndData)
{
    // A chunk between the format and the data, and more data than one read
    // buffer holds.
    std::string samples(20001, '\0');
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<char>(i % 251);
    Write("long.wav", Wave(FormatBytes(1, 1, 11025, 8),
                           Chunk("LIST", "INFOsomething") + Chunk("data", samples)));
    CWaveFile file;
    ASSERT_EQ(file.Open(Path("long.wav").c_str()), S_OK);
    ASSERT_NE(file.pFormat, nullptr);
    EXPECT_EQ(file.pFormat->wFormatTag, 1);
    EXPECT_EQ(file.pFormat->nChannels, 1);
    EXPECT_EQ(file.pFormat->nSamplesPerSec, 11025u);
    EXPECT_EQ(file.pFormat->nBlockAlign, 1);
    EXPECT_EQ(file.pFormat->wBitsPerSample, 8);
    EXPECT_EQ(file.pFormat->cbSize, 0);
    EXPECT_EQ(file.DataChunk.cksize, 20001u);

    std::vector<uint8_t> buffer(30000);
    uint32_t nRead = 0;
    ASSERT_EQ(file.Read(5, buffer.data(), &nRead), S_OK);
    EXPECT_EQ(nRead, 5u);
    EXPECT_EQ(file.DataChunk.cksize, 19996u);
    // More than is left: the rest, then nothing.
    ASSERT_EQ(file.Read(30000, buffer.data() + 5, &nRead), S_OK);
    EXPECT_EQ(nRead, 19996u);
    EXPECT_EQ(std::memcmp(buffer.data(), samples.data(), samples.size()), 0);
    nRead = 99;
    EXPECT_EQ(file.Read(10, buffer.data(), &nRead), S_OK);
    EXPECT_EQ(nRead, 0u);

    ASSERT_EQ(file.Rewind(), S_OK);
    EXPECT_EQ(file.DataChunk.cksize, 20001u);
    ASSERT_EQ(file.Read(3, buffer.data(), &nRead), S_OK);
    EXPECT_EQ(buffer[2], 2);
}

TEST_F(SoundTest, OtherFormatTagsKeepTheirExtraBytes)
{
    Write("adpcm.wav", Wave(FormatBytes(2, 1, 22050, 4) + Le(4, 2) + "WXYZ",
                            Chunk("data", "abcd")));
    CWaveFile file;
    ASSERT_EQ(file.Open(Path("adpcm.wav").c_str()), S_OK);
    EXPECT_EQ(file.pFormat->wFormatTag, 2);
    EXPECT_EQ(file.pFormat->cbSize, 4);
    EXPECT_EQ(std::memcmp(reinterpret_cast<const char*>(file.pFormat) + 18, "WXYZ", 4), 0);

    // The device does not play it.
    App.CreateDS(&Config);
    EXPECT_EQ(LoadError(Path("adpcm.wav").c_str()), "LoadWAV: Can not create sound buffer.");
}

TEST_F(SoundTest, DamagedFilesFailOpen)
{
    const std::string good = PcmWave(Samples16({1, 2}));
    struct {
        const char* pszWhat;
        std::string bytes;
    } const files[] = {
        {"no data chunk", Wave(FormatBytes(1, 2, 22050, 16), Chunk("junk", "1234"))},
        {"cut inside the data", good.substr(0, good.size() - 2)},
        {"cut inside the header", good.substr(0, 6)},
        {"not RIFF", "RIFX" + good.substr(4)},
        {"not WAVE", Chunk("RIFF", "AVI " + Chunk("fmt ", FormatBytes(1, 2, 22050, 16)))},
        {"short format", Wave(FormatBytes(1, 2, 22050, 16).substr(0, 14), Chunk("data", "ab"))},
        {"extra bytes past the end",
         Chunk("RIFF", "WAVE" + Chunk("fmt ", FormatBytes(2, 1, 8000, 4) + Le(200, 2)))},
        {"empty", ""},
    };
    CWaveFile file;
    for (const auto& test : files) {
        Write("bad.wav", test.bytes);
        EXPECT_EQ(file.Open(Path("bad.wav").c_str()), E_FAIL) << test.pszWhat;
    }
    EXPECT_EQ(file.Open(Path("missing.wav").c_str()), E_FAIL);
    uint32_t nRead = 7;
    EXPECT_EQ(file.Read(4, nullptr, &nRead), E_FAIL);
    EXPECT_EQ(nRead, 0u);
    // The same object opens a sound file afterwards.
    Write("good.wav", good);
    EXPECT_EQ(file.Open(Path("good.wav").c_str()), S_OK);
}

TEST_F(SoundTest, LoadedSoundsPlayByIdAndReachTheMixer)
{
    ASSERT_EQ(App.CreateDS(&Config), 0);
    WAVEFORMATEX primary = GetPrimarySoundFormat();
    EXPECT_EQ(primary.nChannels, 2);
    EXPECT_EQ(primary.nSamplesPerSec, 22050u);
    EXPECT_EQ(primary.nBlockAlign, 4);

    Write("beep.wav", PcmWave(Samples16({100, -100, 2000, -2000, 30000, -30000})));
    EXPECT_EQ(App.GetFreeSoundId(), 0u);
    EXPECT_EQ(App.LoadWAV(Path("beep.wav").c_str(), 0), 0u);
    EXPECT_EQ(App.LoadWAV("C:\\BEEP.WAV", 0), 1u);
    EXPECT_EQ(App.GetFreeSoundId(), 2u);
    ASSERT_NE(App.pSoundList, nullptr);
    ASSERT_NE(App.pSoundList->pNext, nullptr);
    EXPECT_EQ(App.pSoundList->pNext->Id, 1u);

    EXPECT_FALSE(App.PlaySound(2, 0));
    EXPECT_FALSE(App.StopSound(2));
    EXPECT_EQ(Mix16(2), std::vector<int16_t>(4, 0));

    ASSERT_TRUE(App.PlaySound(1, 0));
    EXPECT_EQ(Mix16(2), (std::vector<int16_t>{100, -100, 2000, -2000}));
    // It plays on to its end, stops, and starts from the top next time.
    EXPECT_EQ(Mix16(2), (std::vector<int16_t>{30000, -30000, 0, 0}));
    // The two sounds add up and clip.
    ASSERT_TRUE(App.PlaySound(0, 0));
    ASSERT_TRUE(App.PlaySound(1, 0));
    EXPECT_EQ(Mix16(3), (std::vector<int16_t>{200, -200, 4000, -4000, 32767, -32768}));
    EXPECT_EQ(Mix16(1), (std::vector<int16_t>{0, 0}));
    ASSERT_TRUE(App.PlaySound(0, 1));
    EXPECT_EQ(Mix16(4), (std::vector<int16_t>{100, -100, 2000, -2000, 30000, -30000, 100, -100}));
    EXPECT_TRUE(App.StopSound(0));
    EXPECT_EQ(Mix16(1), (std::vector<int16_t>{0, 0}));

    App.FreeSounds();
    EXPECT_EQ(App.pSoundList, nullptr);
    EXPECT_EQ(App.GetFreeSoundId(), 0u);
}

TEST_F(SoundTest, StartUpAndLoadMessages)
{
    EXPECT_EQ(App.CreateDS(nullptr), 2);
    EXPECT_EQ(LoadError("C:\\beep.wav"),
              "LoadWAV: DirectSound must be initalized before reading sound files.");

    GetNullConfig().bDirectSound = false;
    EXPECT_EQ(CreateError(), "CreateDS: Failed to create DirectSound.");
    GetNullConfig().bDirectSound = true;
    Config.nChannels = 3;
    EXPECT_EQ(CreateError(), "CreateDS: Failed to set sound format.");
    App.ReleaseSound();
    Config.nChannels = 0x10001; // only the low 16 bits count
    ASSERT_EQ(CreateError(), "");
    EXPECT_EQ(GetPrimarySoundFormat().nChannels, 1);

    EXPECT_EQ(LoadError("C:\\missing.wav"), "LoadWAV: File not found.\r\nC:\\missing.wav");
    // A long path is cut so that the message fits 1024 characters.
    std::string longPath = "C:\\" + std::string(2000, 'a') + ".wav";
    std::string message = LoadError(longPath.c_str());
    EXPECT_EQ(message.size(), 1023u);
    EXPECT_EQ(message.rfind("LoadWAV: File not found.\r\nC:\\aaa", 0), 0u);
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

    // An 8-bit mono output averages the sides and centres on 128.
    WAVEFORMATEX narrow = {1, 1, 22050, 22050, 1, 8, 0};
    ASSERT_EQ(pPrimary->SetFormat(&narrow), S_OK);
    uint8_t bytes[2];
    MixSound(bytes, 2);
    EXPECT_EQ(bytes[0], 0x80 + 64);
    EXPECT_EQ(bytes[1], 0x80 - 64);

    pBuffer->Release();
    uint8_t silence[4] = {1, 2, 3, 4};
    MixSound(silence, 4);
    EXPECT_EQ(silence[3], 0x80);
    pPrimary->Release();
    pSound->Release();
}

} // namespace
