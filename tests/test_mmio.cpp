// Buffered RIFF reading: chunk search within parents, damaged sizes, reads,
// seeks and direct access to the read buffer.
#include "platform/mmio.h"
#include "scratch_dir.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string Le32(uint32_t nValue)
{
    std::string bytes(4, '\0');
    for (int i = 0; i < 4; ++i)
        bytes[i] = static_cast<char>((nValue >> (8 * i)) & 0xFF);
    return bytes;
}

// A chunk with its pad byte; nSize overrides the size written in the header.
std::string Chunk(const std::string& id, const std::string& data, int64_t nSize = -1)
{
    std::string chunk =
        id + Le32(nSize < 0 ? static_cast<uint32_t>(data.size()) : static_cast<uint32_t>(nSize)) +
        data;
    if (data.size() % 2)
        chunk += '\0';
    return chunk;
}

FOURCC Id(const char* psz)
{
    return mmioFOURCC(psz[0], psz[1], psz[2], psz[3]);
}

class MmioTest : public ScratchDirTest {
protected:
    void TearDown() override
    {
        if (hFile)
            mmioClose(hFile, 0);
        ScratchDirTest::TearDown();
    }
    void Open(const std::string& bytes)
    {
        Write("test.bin", bytes);
        hFile = mmioOpenA(Path("test.bin").c_str(), nullptr, MMIO_ALLOCBUF);
        ASSERT_NE(hFile, nullptr);
    }
    std::string ReadText(int32_t nBytes)
    {
        std::string text(nBytes, '\0');
        int32_t nRead = mmioRead(hFile, text.data(), nBytes);
        text.resize(nRead < 0 ? 0 : nRead);
        return text;
    }

    HMMIO hFile = nullptr;
};

TEST_F(MmioTest, DescendFindsChunksInsideTheirParent)
{
    // RIFF "TEST" { "odd " of 3 bytes and a pad, "info" }, then "tail".
    Open(Chunk("RIFF", "TEST" + Chunk("odd ", "abc") + Chunk("info", "1234")) +
         Chunk("tail", "zz"));
    MMCKINFO riff = {};
    ASSERT_EQ(mmioDescend(hFile, &riff, nullptr, 0), MMSYSERR_NOERROR);
    EXPECT_EQ(riff.ckid, FOURCC_RIFF);
    EXPECT_EQ(riff.fccType, Id("TEST"));
    EXPECT_EQ(riff.dwDataOffset, 8u);
    EXPECT_EQ(riff.cksize, 4u + 12u + 12u);

    MMCKINFO info = {};
    info.ckid = Id("info");
    ASSERT_EQ(mmioDescend(hFile, &info, &riff, MMIO_FINDCHUNK), MMSYSERR_NOERROR);
    EXPECT_EQ(info.dwDataOffset, 12u + 12u + 8u); // past the pad byte
    EXPECT_EQ(ReadText(4), "1234");

    // "tail" lies behind the RIFF chunk's end.
    MMCKINFO tail = {};
    tail.ckid = Id("tail");
    ASSERT_EQ(mmioSeek(hFile, 12, SEEK_SET_MMIO), 12);
    EXPECT_EQ(mmioDescend(hFile, &tail, &riff, MMIO_FINDCHUNK), MMIOERR_CHUNKNOTFOUND);
    // Out of the RIFF chunk it is the next one.
    ASSERT_EQ(mmioAscend(hFile, &riff, 0), MMSYSERR_NOERROR);
    ASSERT_EQ(mmioDescend(hFile, &tail, nullptr, 0), MMSYSERR_NOERROR);
    EXPECT_EQ(tail.ckid, Id("tail"));
    EXPECT_EQ(ReadText(10), "zz");
}

TEST_F(MmioTest, DamagedSizesFailCleanly)
{
    struct {
        const char* pszWhat;
        std::string bytes;
    } const files[] = {
        {"size past the file", Chunk("RIFF", "WAVE" + Chunk("data", "abcd"), 100)},
        {"size near 4 GiB", Chunk("RIFF", "WAVE", 0xFFFFFFF0)},
        {"short header", std::string("RIFF\x04\0", 6)},
        {"form type missing", Chunk("RIFF", "WA")},
        {"empty file", ""},
    };
    for (const auto& file : files) {
        Open(file.bytes);
        MMCKINFO chunk = {};
        EXPECT_EQ(mmioDescend(hFile, &chunk, nullptr, 0), MMIOERR_CHUNKNOTFOUND) << file.pszWhat;
        mmioClose(hFile, 0);
        hFile = nullptr;
    }

    // An inner chunk longer than its parent, though the file holds it.
    Open(Chunk("RIFF", "WAVE" + Chunk("fmt ", "ab", 40)) + std::string(64, 'x'));
    MMCKINFO riff = {};
    ASSERT_EQ(mmioDescend(hFile, &riff, nullptr, 0), MMSYSERR_NOERROR);
    MMCKINFO format = {};
    format.ckid = Id("fmt ");
    EXPECT_EQ(mmioDescend(hFile, &format, &riff, MMIO_FINDCHUNK), MMIOERR_CHUNKNOTFOUND);
}

TEST_F(MmioTest, ReadsAndSeeks)
{
    Open("0123456789");
    EXPECT_EQ(ReadText(3), "012");
    EXPECT_EQ(mmioSeek(hFile, 2, 1), 5); // from the current position
    EXPECT_EQ(ReadText(2), "56");
    EXPECT_EQ(mmioSeek(hFile, -3, 2), 7); // from the end
    EXPECT_EQ(ReadText(10), "789");
    EXPECT_EQ(ReadText(10), "");
    EXPECT_EQ(mmioSeek(hFile, -1, SEEK_SET_MMIO), -1);
}

TEST_F(MmioTest, DirectBufferAccessWalksTheWholeFile)
{
    std::string bytes(20000, '\0');
    for (size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<char>((i * 7) & 0xFF);
    Open(bytes);
    ASSERT_EQ(ReadText(10), bytes.substr(0, 10));

    MMIOINFO info;
    ASSERT_EQ(mmioGetInfo(hFile, &info, 0), MMSYSERR_NOERROR);
    EXPECT_EQ(info.pchNext - info.pchBuffer, 10);
    EXPECT_EQ(info.pchEndRead - info.pchBuffer, 8192);
    size_t nOffset = 10;
    bool bSame = true;
    for (;;) {
        if (info.pchNext == info.pchEndRead) {
            ASSERT_EQ(mmioAdvance(hFile, &info, MMIO_READ), MMSYSERR_NOERROR);
            if (info.pchNext == info.pchEndRead)
                break; // the end of the file
            EXPECT_EQ(info.lBufOffset, static_cast<int32_t>(nOffset));
        }
        bSame = bSame && *info.pchNext++ == bytes[nOffset++];
    }
    EXPECT_TRUE(bSame);
    EXPECT_EQ(nOffset, bytes.size());
    ASSERT_EQ(mmioSetInfo(hFile, &info, 0), MMSYSERR_NOERROR);
    EXPECT_EQ(ReadText(1), "");

    // Advance refills from wherever pchNext stands.
    mmioSeek(hFile, 100, SEEK_SET_MMIO);
    ASSERT_EQ(mmioGetInfo(hFile, &info, 0), MMSYSERR_NOERROR);
    ASSERT_EQ(mmioAdvance(hFile, &info, MMIO_READ), MMSYSERR_NOERROR);
    EXPECT_EQ(info.lBufOffset, 100);
    info.pchNext += 5;
    ASSERT_EQ(mmioAdvance(hFile, &info, MMIO_READ), MMSYSERR_NOERROR);
    EXPECT_EQ(info.lBufOffset, 105);
    EXPECT_EQ(*info.pchNext, bytes[105]);
    // A pointer outside the buffer is refused.
    info.pchNext = info.pchEndRead + 1;
    EXPECT_NE(mmioSetInfo(hFile, &info, 0), MMSYSERR_NOERROR);
}

TEST_F(MmioTest, OpenGoesThroughTheDriveMapping)
{
    Write("Sound.WAV", "RIFF");
    hFile = mmioOpenA("C:\\sound.wav", nullptr, MMIO_ALLOCBUF);
    ASSERT_NE(hFile, nullptr);
    EXPECT_EQ(ReadText(8), "RIFF");
    EXPECT_EQ(mmioOpenA("C:\\missing.wav", nullptr, MMIO_ALLOCBUF), nullptr);
    EXPECT_EQ(mmioOpenA("C:\\sound.wav", nullptr, 1), nullptr); // writing is not offered
    EXPECT_EQ(mmioOpenA(nullptr, nullptr, 0), nullptr);
}

} // namespace
