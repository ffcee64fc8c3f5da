#pragma once
// Buffered reading of RIFF files: open, descend into chunks, read, seek and
// direct access to the read buffer, as the multimedia file functions do it.
// Reading only. Paths go through the drive mapping.
#include "platform/window_types.h"

#include <cstdint>

using FOURCC = uint32_t;

constexpr FOURCC mmioFOURCC(char a, char b, char c, char d)
{
    return static_cast<uint8_t>(a) | (static_cast<uint32_t>(static_cast<uint8_t>(b)) << 8) |
           (static_cast<uint32_t>(static_cast<uint8_t>(c)) << 16) |
           (static_cast<uint32_t>(static_cast<uint8_t>(d)) << 24);
}

class CMmioFile;
using HMMIO = CMmioFile*;

struct MMCKINFO {
    FOURCC ckid;
    uint32_t cksize;
    FOURCC fccType;      // form type of RIFF and LIST chunks
    uint32_t dwDataOffset; // file offset of the chunk's data
    uint32_t dwFlags;
};

// The read buffer: pchNext is the next byte, pchEndRead one past the last
// byte read into the buffer.
struct MMIOINFO {
    uint32_t dwFlags;
    char* pchBuffer;
    char* pchNext;
    char* pchEndRead;
    int32_t lBufOffset;  // file offset of pchBuffer
    int32_t lDiskOffset; // file offset of pchEndRead
};

constexpr uint32_t MMIO_READ = 0x00000000;
constexpr uint32_t MMIO_ALLOCBUF = 0x00010000;
constexpr uint32_t MMIO_FINDCHUNK = 0x0010;
constexpr uint32_t MMIO_FINDRIFF = 0x0020;
constexpr int SEEK_SET_MMIO = 0;
constexpr int MMSYSERR_NOERROR = 0;
constexpr int MMIOERR_CHUNKNOTFOUND = 265;
constexpr int MMIOERR_CANNOTREAD = 259;
constexpr FOURCC FOURCC_RIFF = mmioFOURCC('R', 'I', 'F', 'F');

// Null when the file can not be opened.
HMMIO mmioOpenA(const char* pszPath, MMIOINFO* pInfo, uint32_t nFlags);
int mmioClose(HMMIO hFile, uint32_t nFlags);
// Bytes read, 0 at the end, -1 on error.
int32_t mmioRead(HMMIO hFile, char* pBuffer, int32_t nBytes);
// New offset, or -1.
int32_t mmioSeek(HMMIO hFile, int32_t nOffset, int nOrigin);
// Descends into the next chunk after the current position, within pParent
// when given. MMIO_FINDCHUNK looks for pChunk->ckid, MMIO_FINDRIFF for a
// "RIFF" chunk of form type pChunk->fccType; without a flag the next chunk
// is taken. The position is left at the chunk's data (after the form type
// for RIFF and LIST chunks).
int mmioDescend(HMMIO hFile, MMCKINFO* pChunk, const MMCKINFO* pParent, uint32_t nFlags);
// Moves past the end of the chunk (and its pad byte).
int mmioAscend(HMMIO hFile, MMCKINFO* pChunk, uint32_t nFlags);
int mmioGetInfo(HMMIO hFile, MMIOINFO* pInfo, uint32_t nFlags);
int mmioSetInfo(HMMIO hFile, const MMIOINFO* pInfo, uint32_t nFlags);
// Refills the buffer from the position of pInfo->pchNext; at the end of the
// file pchNext and pchEndRead stay equal.
int mmioAdvance(HMMIO hFile, MMIOINFO* pInfo, uint32_t nFlags);
