#pragma once
// CWaveFile: reads the format and the samples of a RIFF wave file through the
// buffered multimedia file functions. Every failure gives WAVE_FAIL.
#include "platform/dsound.h"
#include "platform/mmio.h"

#include <cstdint>

constexpr HRESULT WAVE_FAIL = E_FAIL;

class CWaveFile {
public:
    CWaveFile();
    // Closes the file and frees the format.
    ~CWaveFile();
    CWaveFile(const CWaveFile&) = delete;
    CWaveFile& operator=(const CWaveFile&) = delete;

    // Opens the file, checks that it is a wave file, keeps its format and
    // finds its "data" chunk. 0 or WAVE_FAIL.
    HRESULT Open(const char* pszPath);
    // Back to the start of the data; restores DataChunk.cksize.
    HRESULT Rewind();
    // Copies up to nSize bytes of the data that is left; *pRead says how many.
    HRESULT Read(uint32_t nSize, uint8_t* pBuffer, uint32_t* pRead);
    void Close();

    // ---- members, in declaration order ----
    // The format with its extra bytes behind it (cbSize of them, from byte
    // 18 on), or null.
    WAVEFORMATEX* pFormat;
    HMMIO hFile;
    MMCKINFO DataChunk; // cksize counts down while reading
    MMCKINFO RiffChunk;

private:
    void FreeFormat();
    bool ReadFormat();
};
