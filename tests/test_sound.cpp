// Sound: the wave file reader and the application's sound operations with
// their messages, over wave files written by the tests.
#include "app_fixture.h"
#include "input/wave_file.h"
#include "platform/sound_mixer.h"
#include "riff_bytes.h"

#include <cstring>
#include <vector>

namespace {

std::string Samples16(const std::vector<int16_t>& values)
{
    std::string bytes;
    for (int16_t nValue : values)
        bytes += Le(static_cast<uint16_t>(nValue), 2);
    return bytes;
}

std::vector<int16_t> Mix16(int nFrames)
{
    std::vector<int16_t> out(static_cast<size_t>(nFrames) * 2);
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
    std::string LoadError(const std::string& path)
    {
        return ThrownMessage([&] { App.LoadWAV(path.c_str(), 0); });
    }

    CAppConfig Config;
    CApplication App;
};

TEST_F(SoundTest, WaveFileReadsTheFormatAndHandsOutTheDataOnce)
{
    // A chunk between the format and the data, and more data than one read
    // buffer holds.
    std::string samples(20001, '\0');
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<char>(i % 251);
    Write("long.wav", Chunk("RIFF", "WAVE" + Chunk("fmt ", FormatBytes(1, 1, 11025, 8)) +
                                        Chunk("LIST", "INFOsomething") + Chunk("data", samples)));
    CWaveFile file;
    ASSERT_EQ(file.Open(Path("long.wav").c_str()), S_OK);
    const WAVEFORMATEX& format = *file.pFormat;
    EXPECT_TRUE(format.wFormatTag == 1 && format.nChannels == 1 && format.nSamplesPerSec == 11025);
    EXPECT_TRUE(format.nBlockAlign == 1 && format.wBitsPerSample == 8 && format.cbSize == 0);
    EXPECT_EQ(file.DataChunk.cksize, 20001u);

    std::vector<uint8_t> buffer(30000);
    uint32_t nRead = 0;
    ASSERT_EQ(file.Read(5, buffer.data(), &nRead), S_OK);
    EXPECT_TRUE(nRead == 5 && file.DataChunk.cksize == 19996);
    // More than is left: the rest, then nothing.
    ASSERT_EQ(file.Read(19997, buffer.data() + 5, &nRead), S_OK);
    EXPECT_EQ(nRead, 19996u);
    EXPECT_EQ(std::memcmp(buffer.data(), samples.data(), samples.size()), 0);
    EXPECT_EQ(file.Read(10, buffer.data(), &nRead), S_OK);
    EXPECT_EQ(nRead, 0u);
    ASSERT_EQ(file.Rewind(), S_OK);
    EXPECT_EQ(file.DataChunk.cksize, 20001u);
}

TEST_F(SoundTest, OtherFormatTagsKeepTheirExtraBytes)
{
    Write("adpcm.wav", Chunk("RIFF", "WAVE" + Chunk("fmt ", FormatBytes(2, 1, 22050, 4) + Le(4, 2) + "WXYZ") +
                                         Chunk("data", "abcd")));
    CWaveFile file;
    ASSERT_EQ(file.Open(Path("adpcm.wav").c_str()), S_OK);
    EXPECT_TRUE(file.pFormat->wFormatTag == 2 && file.pFormat->cbSize == 4);
    EXPECT_EQ(std::memcmp(reinterpret_cast<const char*>(file.pFormat) + 18, "WXYZ", 4), 0);
    // The device does not play it.
    App.CreateDS(&Config);
    EXPECT_EQ(LoadError(Path("adpcm.wav")), "LoadWAV: Can not create sound buffer.");
}

TEST_F(SoundTest, FilesThatAreNoWaveFilesFailToOpen)
{
    const std::string good = StereoWave(Samples16({1, 2}));
    const std::string files[] = {
        Chunk("RIFF", "WAVE" + Chunk("fmt ", FormatBytes(1, 2, 22050, 16)) + Chunk("junk", "1234")),
        good.substr(0, 6),
        "RIFX" + good.substr(4),
        Chunk("RIFF", "AVI " + Chunk("fmt ", FormatBytes(1, 2, 22050, 16))),
        Chunk("RIFF", "WAVE" + Chunk("fmt ", FormatBytes(1, 2, 22050, 16).substr(0, 14)) + Chunk("data", "ab")),
        Chunk("RIFF", "WAVE" + Chunk("fmt ", FormatBytes(2, 1, 8000, 4) + Le(200, 2))),
        "",
    };
    CWaveFile file;
    for (const std::string& bytes : files)
        EXPECT_EQ(file.Open(Write("bad.wav", bytes).c_str()), E_FAIL) << bytes.size();
    EXPECT_EQ(file.Open(Path("missing.wav").c_str()), E_FAIL);
    EXPECT_EQ(file.Open(Write("good.wav", good).c_str()), S_OK);
}

TEST_F(SoundTest, SizesPastTheEndOpenAndOnlyAShortReadFails)
{
    ASSERT_EQ(App.CreateDS(&Config), 0);
    const std::string samples = Samples16({300, -300});
    const size_t nRiff = StereoWave(samples).size() - 8;
    // A RIFF size that counts its own header, or the streaming tools' mark.
    for (const int64_t nRiffSize : {int64_t(nRiff + 8), int64_t(0xFFFFFFFF)}) {
        const uint32_t nId = App.LoadWAV(Write("riff.wav", StereoWave(samples, nRiffSize)).c_str(), 0);
        ASSERT_TRUE(App.PlaySound(nId, 0));
        EXPECT_EQ(Mix16(1), (std::vector<int16_t>{300, -300}));
    }
    // A data chunk cut short: the file opens, the read comes up short.
    CWaveFile file;
    const std::string whole = StereoWave(samples + samples);
    const std::string cut = Write("cut.wav", whole.substr(0, whole.size() - 4));
    EXPECT_EQ(file.Open(cut.c_str()), S_OK);
    EXPECT_EQ(LoadError(cut), "LoadWAV: Failed to read sound file.");
    EXPECT_EQ(LoadError(Write("huge.wav", StereoWave(samples, -1, 0xFFFFFFFF))),
              "LoadWAV: Can not create sound buffer.");
    EXPECT_EQ(App.GetFreeSoundId(), 2u);
}

TEST_F(SoundTest, LoadedSoundsPlayByIdFromWhereTheyStand)
{
    ASSERT_EQ(App.CreateDS(&Config), 0);
    const WAVEFORMATEX primary = GetPrimarySoundFormat();
    EXPECT_TRUE(primary.nChannels == 2 && primary.nSamplesPerSec == 22050);
    EXPECT_TRUE(primary.nBlockAlign == 4 && primary.nAvgBytesPerSec == 88200);

    Write("beep.wav", StereoWave(Samples16({100, -100, 2000, -2000, 30000, -30000})));
    EXPECT_EQ(App.LoadWAV("C:\\beep.wav", 0), 0u);
    EXPECT_EQ(App.LoadWAV("C:\\BEEP.WAV", 0), 1u);
    EXPECT_EQ(App.GetFreeSoundId(), 2u);
    EXPECT_FALSE(App.PlaySound(2, 0));
    EXPECT_FALSE(App.StopSound(2));
    EXPECT_EQ(Mix16(1), std::vector<int16_t>(2, 0));

    ASSERT_TRUE(App.PlaySound(1, 0));
    EXPECT_EQ(Mix16(2), (std::vector<int16_t>{100, -100, 2000, -2000}));
    EXPECT_EQ(Mix16(2), (std::vector<int16_t>{30000, -30000, 0, 0}));
    // Two sounds add up and clip; a looping one starts over.
    ASSERT_TRUE(App.PlaySound(0, 1));
    ASSERT_TRUE(App.PlaySound(1, 0));
    EXPECT_EQ(Mix16(4), (std::vector<int16_t>{200, -200, 4000, -4000, 32767, -32768, 100, -100}));
    EXPECT_TRUE(App.StopSound(0));
    EXPECT_EQ(Mix16(1), std::vector<int16_t>(2, 0));
    App.FreeSounds();
    EXPECT_TRUE(App.pSoundList == nullptr && App.GetFreeSoundId() == 0);
}

TEST_F(SoundTest, StartUpAndLoadFailuresThrowTheirMessages)
{
    EXPECT_EQ(App.CreateDS(nullptr), 2);
    EXPECT_EQ(LoadError("C:\\beep.wav"), "LoadWAV: DirectSound must be initalized before reading sound files.");
    GetNullConfig().bDirectSound = false;
    EXPECT_EQ(ThrownMessage([&] { App.CreateDS(&Config); }), "CreateDS: Failed to create DirectSound.");
    GetNullConfig().bDirectSound = true;
    Config.nChannels = 3;
    EXPECT_EQ(ThrownMessage([&] { App.CreateDS(&Config); }), "CreateDS: Failed to set sound format.");
    App.ReleaseSound();
    Config.nChannels = 0x10001; // only the low 16 bits count
    ASSERT_EQ(ThrownMessage([&] { App.CreateDS(&Config); }), "no error");
    EXPECT_EQ(GetPrimarySoundFormat().nChannels, 1);

    EXPECT_EQ(LoadError("C:\\missing.wav"), "LoadWAV: File not found.\r\nC:\\missing.wav");
    // A long path is cut so that the message fits 1024 characters.
    const std::string message = LoadError("C:\\" + std::string(2000, 'a') + ".wav");
    EXPECT_EQ(message.size(), 1023u);
    EXPECT_EQ(message.rfind("LoadWAV: File not found.\r\nC:\\aaa", 0), 0u);
}

} // namespace
