// Buffered RIFF reading: chunk search within parents, sizes that run past
// the file, reads and seeks. Direct access to the read buffer is what the
// wave file reader uses (test_sound).
#include "platform/mmio.h"

#include "riff_bytes.h"
#include "scratch_dir.h"

namespace {

FOURCC Id(const char* psz)
{
    return mmioFOURCC(psz[0], psz[1], psz[2], psz[3]);
}

class MmioTest : public ScratchDirTest {
protected:
    void TearDown() override
    {
        Close();
        ScratchDirTest::TearDown();
    }
    void Open(const std::string& bytes)
    {
        Close();
        Write("test.bin", bytes);
        hFile = mmioOpenA(Path("test.bin").c_str(), nullptr, MMIO_ALLOCBUF);
        ASSERT_NE(hFile, nullptr);
    }
    void Close()
    {
        if (hFile)
            mmioClose(hFile, 0);
        hFile = nullptr;
    }
    std::string ReadText(int32_t nBytes)
    {
        std::string text(static_cast<size_t>(nBytes), '\0');
        const int32_t nRead = mmioRead(hFile, text.data(), nBytes);
        text.resize(nRead < 0 ? 0 : static_cast<size_t>(nRead));
        return text;
    }
    // Descends from the current position; the chunk, or an id of 0.
    MMCKINFO Descend(const char* pszId, const MMCKINFO* pParent, uint32_t nFlags)
    {
        MMCKINFO chunk = {};
        chunk.ckid = pszId ? Id(pszId) : 0;
        if (mmioDescend(hFile, &chunk, pParent, nFlags) != MMSYSERR_NOERROR)
            chunk.ckid = 0;
        return chunk;
    }

    HMMIO hFile = nullptr;
};

TEST_F(MmioTest, DescendFindsChunksInsideTheirParentPastPadBytes)
{
    // RIFF "TEST" { "odd " of 3 bytes and a pad, "info" }, then "tail".
    Open(Chunk("RIFF", "TEST" + Chunk("odd ", "abc") + Chunk("info", "1234")) + Chunk("tail", "zz"));
    MMCKINFO riff = Descend(nullptr, nullptr, 0);
    EXPECT_TRUE(riff.ckid == FOURCC_RIFF && riff.fccType == Id("TEST"));
    EXPECT_TRUE(riff.dwDataOffset == 8 && riff.cksize == 4 + 12 + 12);
    const MMCKINFO info = Descend("info", &riff, MMIO_FINDCHUNK);
    EXPECT_EQ(info.dwDataOffset, 12u + 12u + 8u);
    EXPECT_EQ(ReadText(4), "1234");
    // "tail" lies behind the RIFF chunk's end; out of the RIFF chunk it is
    // the next one.
    ASSERT_EQ(mmioSeek(hFile, 12, SEEK_SET_MMIO), 12);
    EXPECT_EQ(Descend("tail", &riff, MMIO_FINDCHUNK).ckid, 0u);
    ASSERT_EQ(mmioAscend(hFile, &riff, 0), MMSYSERR_NOERROR);
    EXPECT_EQ(Descend(nullptr, nullptr, 0).ckid, Id("tail"));
    EXPECT_EQ(ReadText(10), "zz");
}

TEST_F(MmioTest, SizesPastTheEndStillOpenAndReadsStopAtTheEnd)
{
    const std::string body = "WAVE" + Chunk("fmt ", "ab") + Chunk("data", "abcd", 100);
    for (const uint32_t nRiffSize : {uint32_t(body.size() + 8), 0xFFFFFFFFu}) {
        Open(Chunk("RIFF", body, nRiffSize));
        MMCKINFO riff = Descend(nullptr, nullptr, 0);
        ASSERT_EQ(riff.cksize, nRiffSize);
        const MMCKINFO data = Descend("data", &riff, MMIO_FINDCHUNK);
        EXPECT_EQ(data.cksize, 100u);
        EXPECT_EQ(ReadText(100), "abcd");
        // Searching on runs into the end of the file.
        EXPECT_EQ(Descend("LIST", &riff, MMIO_FINDCHUNK).ckid, 0u);
    }
    // A header the file does not hold is no chunk.
    for (const std::string& bytes : {std::string("RIFF\x04\0", 6), Chunk("RIFF", "WA"), std::string()}) {
        Open(bytes);
        EXPECT_EQ(Descend(nullptr, nullptr, 0).ckid, 0u);
    }
}

TEST_F(MmioTest, SeeksCountFromTheStartTheCurrentPositionOrTheEnd)
{
    Open("0123456789");
    EXPECT_EQ(ReadText(3), "012");
    EXPECT_EQ(mmioSeek(hFile, 2, 1), 5);
    EXPECT_EQ(ReadText(2), "56");
    EXPECT_EQ(mmioSeek(hFile, -3, 2), 7);
    EXPECT_EQ(ReadText(10), "789");
    EXPECT_EQ(mmioSeek(hFile, -1, SEEK_SET_MMIO), -1);
}

TEST_F(MmioTest, OpenGoesThroughTheDriveMappingAndOnlyReads)
{
    Write("Sound.WAV", "RIFF");
    hFile = mmioOpenA("C:\\sound.wav", nullptr, MMIO_ALLOCBUF);
    ASSERT_NE(hFile, nullptr);
    EXPECT_EQ(ReadText(8), "RIFF");
    EXPECT_EQ(mmioOpenA("C:\\missing.wav", nullptr, MMIO_ALLOCBUF), nullptr);
    EXPECT_EQ(mmioOpenA("C:\\sound.wav", nullptr, 1), nullptr);
}

} // namespace
