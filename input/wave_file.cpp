#include "input/wave_file.h"

#include <cstdlib>
#include <cstring>

namespace {

constexpr FOURCC FOURCC_WAVE = mmioFOURCC('W', 'A', 'V', 'E');
constexpr FOURCC FOURCC_FMT = mmioFOURCC('f', 'm', 't', ' ');
constexpr FOURCC FOURCC_DATA = mmioFOURCC('d', 'a', 't', 'a');
// The fields of a plain PCM format as the file holds them: tag, channels,
// rate, bytes per second, block size, bits per sample.
constexpr int32_t PCM_FORMAT_BYTES = 16;
// Where the extra bytes of a format start: behind cbSize.
constexpr size_t EXTRA_BYTES_OFFSET = 18;

} // namespace

CWaveFile::CWaveFile() : pFormat(nullptr), hFile(nullptr), DataChunk(), RiffChunk() {}

CWaveFile::~CWaveFile()
{
    Close();
    FreeFormat();
}

void CWaveFile::Close()
{
    if (hFile) {
        mmioClose(hFile, 0);
        hFile = nullptr;
    }
}

void CWaveFile::FreeFormat()
{
    std::free(pFormat);
    pFormat = nullptr;
}

HRESULT CWaveFile::Open(const char* pszPath)
{
    FreeFormat();
    Close();
    hFile = mmioOpenA(pszPath, nullptr, MMIO_ALLOCBUF | MMIO_READ);
    if (!hFile)
        return WAVE_FAIL;
    if (!ReadFormat()) {
        FreeFormat();
        Close();
        return WAVE_FAIL;
    }
    return Rewind();
}

// The RIFF chunk of form "WAVE", its "fmt " chunk and the format in it,
// leaving the position behind the "fmt " chunk.
bool CWaveFile::ReadFormat()
{
    if (mmioDescend(hFile, &RiffChunk, nullptr, 0) != MMSYSERR_NOERROR)
        return false;
    if (RiffChunk.ckid != FOURCC_RIFF || RiffChunk.fccType != FOURCC_WAVE)
        return false;
    MMCKINFO formatChunk = {};
    formatChunk.ckid = FOURCC_FMT;
    if (mmioDescend(hFile, &formatChunk, &RiffChunk, MMIO_FINDCHUNK) != MMSYSERR_NOERROR)
        return false;
    if (formatChunk.cksize < static_cast<uint32_t>(PCM_FORMAT_BYTES))
        return false;
    char pcm[PCM_FORMAT_BYTES];
    if (mmioRead(hFile, pcm, PCM_FORMAT_BYTES) != PCM_FORMAT_BYTES)
        return false;
    uint16_t nTag;
    std::memcpy(&nTag, pcm, sizeof(nTag));
    uint16_t nExtra = 0;
    if (nTag != WAVE_FORMAT_PCM &&
        mmioRead(hFile, reinterpret_cast<char*>(&nExtra), sizeof(nExtra)) != sizeof(nExtra))
        return false;
    pFormat = static_cast<WAVEFORMATEX*>(std::calloc(1, sizeof(WAVEFORMATEX) + nExtra));
    if (!pFormat)
        return false;
    // The file's 16 bytes have the layout of the record's first fields.
    std::memcpy(pFormat, pcm, PCM_FORMAT_BYTES);
    pFormat->cbSize = nExtra;
    char* pExtra = reinterpret_cast<char*>(pFormat) + EXTRA_BYTES_OFFSET;
    if (nExtra > 0 && mmioRead(hFile, pExtra, nExtra) != nExtra)
        return false;
    return mmioAscend(hFile, &formatChunk, 0) == MMSYSERR_NOERROR;
}

HRESULT CWaveFile::Rewind()
{
    if (!hFile)
        return WAVE_FAIL;
    if (mmioSeek(hFile, static_cast<int32_t>(RiffChunk.dwDataOffset + 4), SEEK_SET_MMIO) == -1)
        return WAVE_FAIL;
    DataChunk.ckid = FOURCC_DATA;
    if (mmioDescend(hFile, &DataChunk, &RiffChunk, MMIO_FINDCHUNK) != MMSYSERR_NOERROR)
        return WAVE_FAIL;
    return S_OK;
}

// Reads through the file's buffer directly, refilling it when it runs dry.
HRESULT CWaveFile::Read(uint32_t nSize, uint8_t* pBuffer, uint32_t* pRead)
{
    *pRead = 0;
    if (!hFile)
        return WAVE_FAIL;
    MMIOINFO info;
    if (mmioGetInfo(hFile, &info, 0) != MMSYSERR_NOERROR)
        return WAVE_FAIL;
    if (nSize > DataChunk.cksize)
        nSize = DataChunk.cksize;
    DataChunk.cksize -= nSize;
    for (uint32_t i = 0; i < nSize; ++i) {
        if (info.pchNext == info.pchEndRead) {
            if (mmioAdvance(hFile, &info, MMIO_READ) != MMSYSERR_NOERROR)
                return WAVE_FAIL;
            if (info.pchNext == info.pchEndRead)
                return WAVE_FAIL;
        }
        pBuffer[i] = static_cast<uint8_t>(*info.pchNext++);
    }
    if (mmioSetInfo(hFile, &info, 0) != MMSYSERR_NOERROR)
        return WAVE_FAIL;
    *pRead = nSize;
    return S_OK;
}
