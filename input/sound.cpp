// Sound of the application: the device at the configured format, and whole
// wave files in static buffers played by a small integer id.
#include "frame/application.h"
#include "frame/error.h"
#include "input/wave_file.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr size_t MESSAGE_SIZE = 1024;

DSBUFFERDESC MakeBufferDesc(uint32_t nFlags, uint32_t nBytes, WAVEFORMATEX* pFormat)
{
    DSBUFFERDESC desc;
    std::memset(&desc, 0, sizeof(desc));
    desc.dwSize = sizeof(DSBUFFERDESC);
    desc.dwFlags = nFlags;
    desc.dwBufferBytes = nBytes;
    desc.lpwfxFormat = pFormat;
    return desc;
}

// The buffer of a sound id, or null.
IDirectSoundBuffer* FindSound(CSoundNode* pList, uint32_t nId)
{
    for (CSoundNode* pNode = pList; pNode; pNode = pNode->pNext) {
        if (pNode->Id == nId)
            return pNode->pBuffer;
    }
    return nullptr;
}

// Copies the file's data into the buffer; throws after releasing the buffer
// when the data can not be read.
void FillBuffer(CWaveFile& file, IDirectSoundBuffer* pBuffer, uint32_t nBytes)
{
    file.Rewind();
    auto* pData = static_cast<uint8_t*>(std::malloc(nBytes));
    if (!pData) {
        pBuffer->Release();
        throw CError("LoadWAV: Failed to allocate memory for the sound file.");
    }
    uint32_t nRead = 0;
    if (FAILED(file.Read(nBytes, pData, &nRead))) {
        pBuffer->Release();
        std::free(pData);
        throw CError("LoadWAV: Failed to read sound file.");
    }
    file.Rewind();
    void* pPart1 = nullptr;
    void* pPart2 = nullptr;
    uint32_t nBytes1 = 0;
    uint32_t nBytes2 = 0;
    pBuffer->Lock(0, nBytes, &pPart1, &nBytes1, &pPart2, &nBytes2, 0);
    if (pPart1)
        std::memcpy(pPart1, pData, nBytes1 < nBytes ? nBytes1 : nBytes);
    pBuffer->Unlock(pPart1, nBytes1, pPart2, nBytes2);
    std::free(pData);
}

} // namespace

int CApplication::CreateDS(const CAppConfig* pConfigIn)
{
    if (!pConfigIn)
        return 2;
    if (FAILED(DirectSoundCreate(nullptr, &pDirectSound, nullptr)))
        throw CError("CreateDS: Failed to create DirectSound.");
    if (FAILED(pDirectSound->SetCooperativeLevel(hWnd, DSSCL_PRIORITY)))
        throw CError("CreateDS: Failed to set cooperative level.");
    DSBUFFERDESC desc = MakeBufferDesc(DSBCAPS_PRIMARYBUFFER, 0, nullptr);
    IDirectSoundBuffer* pPrimaryBuffer = nullptr;
    if (FAILED(pDirectSound->CreateSoundBuffer(&desc, &pPrimaryBuffer, nullptr)))
        throw CError("CreateDS: Failed to create primary sound buffer.");
    WAVEFORMATEX format;
    std::memset(&format, 0, sizeof(format));
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nChannels = static_cast<uint16_t>(pConfigIn->nChannels);
    format.nSamplesPerSec = pConfigIn->nSampleRate;
    format.wBitsPerSample = static_cast<uint16_t>(pConfigIn->nSampleBits);
    format.nBlockAlign = static_cast<uint16_t>(format.wBitsPerSample / 8 * format.nChannels);
    format.nAvgBytesPerSec = format.nSamplesPerSec * format.nBlockAlign;
    format.cbSize = 0;
    if (FAILED(pPrimaryBuffer->SetFormat(&format))) {
        pPrimaryBuffer->Release();
        throw CError("CreateDS: Failed to set sound format.");
    }
    pPrimaryBuffer->Release();
    return 0;
}

uint32_t CApplication::LoadWAV(const char* pszPath, uint32_t nFlags)
{
    if (!pDirectSound)
        throw CError("LoadWAV: DirectSound must be initalized before reading sound files.");
    CWaveFile file;
    if (FAILED(file.Open(pszPath))) {
        char szMessage[MESSAGE_SIZE];
        std::snprintf(szMessage, sizeof(szMessage), "LoadWAV: File not found.\r\n%s",
                      pszPath ? pszPath : "");
        throw CError(szMessage);
    }
    const uint32_t nBytes = file.DataChunk.cksize;
    DSBUFFERDESC desc = MakeBufferDesc(nFlags | DSBCAPS_STATIC, nBytes, file.pFormat);
    IDirectSoundBuffer* pBuffer = nullptr;
    if (FAILED(pDirectSound->CreateSoundBuffer(&desc, &pBuffer, nullptr)))
        throw CError("LoadWAV: Can not create sound buffer.");
    FillBuffer(file, pBuffer, nBytes);
    uint32_t nId = GetFreeSoundId();
    CSoundNode* pNode = new CSoundNode{nId, pBuffer, nullptr};
    CSoundNode** ppLink = &pSoundList;
    while (*ppLink)
        ppLink = &(*ppLink)->pNext;
    *ppLink = pNode;
    file.Close();
    return nId;
}

bool CApplication::PlaySound(uint32_t nId, int bLoop)
{
    IDirectSoundBuffer* pBuffer = FindSound(pSoundList, nId);
    return pBuffer && SUCCEEDED(pBuffer->Play(0, 0, bLoop ? DSBPLAY_LOOPING : 0));
}

bool CApplication::StopSound(uint32_t nId)
{
    IDirectSoundBuffer* pBuffer = FindSound(pSoundList, nId);
    if (!pBuffer)
        return false;
    pBuffer->Stop();
    return true;
}

// Ids are dense from 0 in the list's order: the first gap, or the end.
uint32_t CApplication::GetFreeSoundId() const
{
    uint32_t nCounter = 0;
    for (const CSoundNode* pNode = pSoundList; pNode && pNode->Id == nCounter;
         pNode = pNode->pNext)
        ++nCounter;
    return nCounter;
}

void CApplication::FreeSounds()
{
    while (pSoundList) {
        CSoundNode* pNext = pSoundList->pNext;
        pSoundList->pBuffer->Release();
        delete pSoundList;
        pSoundList = pNext;
    }
}

void CApplication::ReleaseSound()
{
    FreeSounds();
    if (pDirectSound) {
        pDirectSound->Release();
        pDirectSound = nullptr;
    }
}
