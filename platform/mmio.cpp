// Buffered RIFF reading over the file layer. A file keeps one read buffer of
// 8 KiB; its logical position is the buffer's file offset plus the index of
// the next byte in it. A chunk header must lie within the file and the parent
// chunk; the size it gives may run past both, as streaming tools and cut
// files have it: the chunk is found, and reading its data stops at the end
// of the file.
#include "platform/mmio.h"

#include "platform/files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace {

constexpr uint32_t MMIO_WRITE = 0x00000001;
constexpr uint32_t MMIO_READWRITE = 0x00000002;
constexpr int SEEK_CUR_MMIO = 1;
constexpr int SEEK_END_MMIO = 2;
constexpr int MMSYSERR_INVALPARAM = 11;
constexpr int MMIOERR_CANNOTSEEK = 264;
constexpr size_t READ_BUFFER_SIZE = 8192;
constexpr FOURCC FOURCC_LIST = mmioFOURCC('L', 'I', 'S', 'T');
constexpr uint32_t CHUNK_HEADER_SIZE = 8;

} // namespace

class CMmioFile {
public:
    CMmioFile(int nFileIn, int64_t nSizeIn)
        : nFile(nFileIn), nFileSize(nSizeIn), Buffer(READ_BUFFER_SIZE)
    {
    }
    ~CMmioFile() { close(nFile); }
    CMmioFile(const CMmioFile&) = delete;
    CMmioFile& operator=(const CMmioFile&) = delete;

    int64_t Position() const { return nBufOffset + static_cast<int64_t>(nNext); }
    int64_t Size() const { return nFileSize; }

    // Empties the buffer and reads it from nOffset; false on a read error.
    bool Fill(int64_t nOffset)
    {
        nBufOffset = nOffset;
        nNext = 0;
        nFill = 0;
        ssize_t nRead = pread(nFile, Buffer.data(), Buffer.size(), nOffset);
        if (nRead < 0)
            return false;
        nFill = static_cast<size_t>(nRead);
        return true;
    }

    // Keeps the buffer when the offset lies inside it; otherwise the buffer
    // is refilled lazily by the next read.
    void Seek(int64_t nOffset)
    {
        if (nOffset >= nBufOffset && nOffset <= nBufOffset + static_cast<int64_t>(nFill)) {
            nNext = static_cast<size_t>(nOffset - nBufOffset);
            return;
        }
        nBufOffset = nOffset;
        nNext = 0;
        nFill = 0;
    }

    // Bytes copied, or -1 on a read error.
    int32_t Read(char* pOut, int32_t nBytes)
    {
        int32_t nDone = 0;
        while (nDone < nBytes) {
            if (nNext == nFill) {
                if (!Fill(Position()))
                    return -1;
                if (nFill == 0)
                    break;
            }
            size_t nCopy = std::min(nFill - nNext, static_cast<size_t>(nBytes - nDone));
            std::memcpy(pOut + nDone, Buffer.data() + nNext, nCopy);
            nNext += nCopy;
            nDone += static_cast<int32_t>(nCopy);
        }
        return nDone;
    }

    void GetInfo(MMIOINFO* pInfo)
    {
        pInfo->dwFlags = MMIO_ALLOCBUF;
        pInfo->pchBuffer = Buffer.data();
        pInfo->pchNext = Buffer.data() + nNext;
        pInfo->pchEndRead = Buffer.data() + nFill;
        pInfo->lBufOffset = static_cast<int32_t>(nBufOffset);
        pInfo->lDiskOffset = static_cast<int32_t>(nBufOffset + static_cast<int64_t>(nFill));
    }

    // False when pchNext lies outside the bytes read into the buffer.
    bool SetNext(const char* pNext)
    {
        if (pNext < Buffer.data() || pNext > Buffer.data() + nFill)
            return false;
        nNext = static_cast<size_t>(pNext - Buffer.data());
        return true;
    }

private:
    int nFile;
    int64_t nFileSize;
    std::vector<char> Buffer;
    int64_t nBufOffset = 0; // file offset of Buffer[0]
    size_t nFill = 0;       // bytes of Buffer read from the file
    size_t nNext = 0;       // index of the next byte
};

namespace {

uint32_t ReadLittle32(const uint8_t* p)
{
    return p[0] | (static_cast<uint32_t>(p[1]) << 8) | (static_cast<uint32_t>(p[2]) << 16) |
           (static_cast<uint32_t>(p[3]) << 24);
}

bool IsListChunk(FOURCC id)
{
    return id == FOURCC_RIFF || id == FOURCC_LIST;
}

// Reads the chunk header at the current position into chunk, checking that
// the header lies within nLimit; leaves the position after the header (and
// after the form type of a RIFF or LIST chunk).
int ReadChunkHeader(HMMIO hFile, MMCKINFO* pChunk, int64_t nLimit)
{
    int64_t nStart = hFile->Position();
    if (nStart + CHUNK_HEADER_SIZE > nLimit)
        return MMIOERR_CHUNKNOTFOUND;
    uint8_t header[CHUNK_HEADER_SIZE];
    if (hFile->Read(reinterpret_cast<char*>(header), CHUNK_HEADER_SIZE) != CHUNK_HEADER_SIZE)
        return MMIOERR_CHUNKNOTFOUND;
    pChunk->ckid = ReadLittle32(header);
    pChunk->cksize = ReadLittle32(header + 4);
    pChunk->dwDataOffset = static_cast<uint32_t>(nStart + CHUNK_HEADER_SIZE);
    pChunk->fccType = 0;
    pChunk->dwFlags = 0;
    if (IsListChunk(pChunk->ckid)) {
        uint8_t type[4];
        if (pChunk->cksize < 4 || hFile->Read(reinterpret_cast<char*>(type), 4) != 4)
            return MMIOERR_CHUNKNOTFOUND;
        pChunk->fccType = ReadLittle32(type);
    }
    return MMSYSERR_NOERROR;
}

bool ChunkMatches(const MMCKINFO& found, const MMCKINFO& wanted, uint32_t nFlags)
{
    if (nFlags & MMIO_FINDCHUNK)
        return found.ckid == wanted.ckid;
    if (nFlags & MMIO_FINDRIFF)
        return found.ckid == FOURCC_RIFF && found.fccType == wanted.fccType;
    return true;
}

int64_t ChunkEnd(const MMCKINFO& chunk)
{
    return static_cast<int64_t>(chunk.dwDataOffset) + chunk.cksize + (chunk.cksize & 1);
}

} // namespace

HMMIO mmioOpenA(const char* pszPath, MMIOINFO* pInfo, uint32_t nFlags)
{
    if (!pszPath || (nFlags & (MMIO_WRITE | MMIO_READWRITE)))
        return nullptr;
    int nFile = OpenFileRead(pszPath);
    if (nFile < 0)
        return nullptr;
    struct stat status;
    if (fstat(nFile, &status) != 0) {
        close(nFile);
        return nullptr;
    }
    HMMIO hFile = new CMmioFile(nFile, status.st_size);
    if (pInfo)
        hFile->GetInfo(pInfo);
    return hFile;
}

int mmioClose(HMMIO hFile, uint32_t)
{
    if (!hFile)
        return MMSYSERR_INVALPARAM;
    delete hFile;
    return MMSYSERR_NOERROR;
}

int32_t mmioRead(HMMIO hFile, char* pBuffer, int32_t nBytes)
{
    if (!hFile || nBytes < 0 || (nBytes > 0 && !pBuffer))
        return -1;
    return hFile->Read(pBuffer, nBytes);
}

int32_t mmioSeek(HMMIO hFile, int32_t nOffset, int nOrigin)
{
    if (!hFile)
        return -1;
    int64_t nBase = 0;
    if (nOrigin == SEEK_CUR_MMIO)
        nBase = hFile->Position();
    else if (nOrigin == SEEK_END_MMIO)
        nBase = hFile->Size();
    else if (nOrigin != SEEK_SET_MMIO)
        return -1;
    int64_t nTarget = nBase + nOffset;
    if (nTarget < 0 || nTarget > INT32_MAX)
        return -1;
    hFile->Seek(nTarget);
    return static_cast<int32_t>(nTarget);
}

int mmioDescend(HMMIO hFile, MMCKINFO* pChunk, const MMCKINFO* pParent, uint32_t nFlags)
{
    if (!hFile || !pChunk)
        return MMSYSERR_INVALPARAM;
    int64_t nLimit = hFile->Size();
    if (pParent)
        nLimit = std::min<int64_t>(nLimit,
                                   static_cast<int64_t>(pParent->dwDataOffset) + pParent->cksize);
    MMCKINFO found;
    for (;;) {
        int nResult = ReadChunkHeader(hFile, &found, nLimit);
        if (nResult != MMSYSERR_NOERROR)
            return nResult;
        if (ChunkMatches(found, *pChunk, nFlags))
            break;
        hFile->Seek(ChunkEnd(found));
    }
    *pChunk = found;
    return MMSYSERR_NOERROR;
}

int mmioAscend(HMMIO hFile, MMCKINFO* pChunk, uint32_t)
{
    if (!hFile || !pChunk)
        return MMSYSERR_INVALPARAM;
    int64_t nEnd = ChunkEnd(*pChunk);
    if (nEnd > INT32_MAX)
        return MMIOERR_CANNOTSEEK;
    hFile->Seek(nEnd);
    return MMSYSERR_NOERROR;
}

int mmioGetInfo(HMMIO hFile, MMIOINFO* pInfo, uint32_t)
{
    if (!hFile || !pInfo)
        return MMSYSERR_INVALPARAM;
    hFile->GetInfo(pInfo);
    return MMSYSERR_NOERROR;
}

int mmioSetInfo(HMMIO hFile, const MMIOINFO* pInfo, uint32_t)
{
    if (!hFile || !pInfo || !hFile->SetNext(pInfo->pchNext))
        return MMSYSERR_INVALPARAM;
    return MMSYSERR_NOERROR;
}

int mmioAdvance(HMMIO hFile, MMIOINFO* pInfo, uint32_t nFlags)
{
    if (!hFile || !pInfo || (nFlags & MMIO_WRITE))
        return MMSYSERR_INVALPARAM;
    MMIOINFO current;
    hFile->GetInfo(&current);
    if (pInfo->pchNext < current.pchBuffer || pInfo->pchNext > current.pchEndRead)
        return MMSYSERR_INVALPARAM;
    int64_t nOffset = current.lBufOffset + (pInfo->pchNext - current.pchBuffer);
    if (!hFile->Fill(nOffset))
        return MMIOERR_CANNOTREAD;
    hFile->GetInfo(pInfo);
    return MMSYSERR_NOERROR;
}
