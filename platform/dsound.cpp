// The sound system both backends hand out: a device object whose primary
// buffer holds the output format, static secondary buffers, and the mixer
// that adds up the playing ones.
//
// Threads: MixSound runs on SDL's audio thread while the frame's thread
// creates, plays, stops and releases buffers. The list of live buffers, their
// play state and the primary format are guarded by one mutex. The sample
// bytes are not: a buffer is filled through Lock before it is played, and a
// writer that locks a playing buffer may be heard half-way, as on any sound
// card.
#include "platform/backend.h"
#include "platform/sound_mixer.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <vector>

namespace {

constexpr HRESULT DSERR_INVALIDCALL = static_cast<HRESULT>(0x88780032u);
constexpr HRESULT DSERR_NODRIVER = static_cast<HRESULT>(0x88780078u);
constexpr uint32_t DSBLOCK_ENTIREBUFFER = 0x00000002;
constexpr uint32_t DSBSIZE_MAX = 0x0FFFFFFF;
constexpr uint32_t DSBFREQUENCY_MIN = 100;
constexpr uint32_t DSBFREQUENCY_MAX = 200000;
constexpr uint32_t PRIMARY_RATE_MIN = 8000;
constexpr uint32_t PRIMARY_RATE_MAX = 48000;

WAVEFORMATEX MakePcmFormat(uint16_t nChannels, uint32_t nRate, uint16_t nBits)
{
    uint16_t nAlign = static_cast<uint16_t>(nChannels * nBits / 8);
    return {WAVE_FORMAT_PCM, nChannels, nRate, nRate * nAlign, nAlign, nBits, 0};
}

const WAVEFORMATEX DEFAULT_PRIMARY = MakePcmFormat(2, 22050, 16);

// PCM of 8 or 16 bits, mono or stereo, with a consistent block size.
bool IsPlayablePcm(const WAVEFORMATEX& format)
{
    return format.wFormatTag == WAVE_FORMAT_PCM &&
           (format.wBitsPerSample == 8 || format.wBitsPerSample == 16) &&
           (format.nChannels == 1 || format.nChannels == 2) &&
           format.nBlockAlign == format.nChannels * format.wBitsPerSample / 8;
}

class CSecondaryBuffer;

struct CMixerState {
    std::mutex Mutex;
    std::vector<CSecondaryBuffer*> Buffers; // every live secondary buffer
    WAVEFORMATEX Primary = DEFAULT_PRIMARY;
    void (*pListener)(const WAVEFORMATEX&) = nullptr;
};

CMixerState& Mixer()
{
    static CMixerState state;
    return state;
}

class CSecondaryBuffer : public IDirectSoundBuffer {
public:
    CSecondaryBuffer(const WAVEFORMATEX& format, uint32_t nBytes)
        : Format(format), Data(nBytes, format.wBitsPerSample == 8 ? 0x80 : 0),
          nFrames(nBytes / format.nBlockAlign)
    {
        std::lock_guard<std::mutex> lock(Mixer().Mutex);
        Mixer().Buffers.push_back(this);
    }

    uint32_t Release() override;
    HRESULT SetFormat(const WAVEFORMATEX*) override { return DSERR_INVALIDCALL; }
    HRESULT Lock(uint32_t nOffset, uint32_t nBytes, void** ppPart1, uint32_t* pBytes1,
                 void** ppPart2, uint32_t* pBytes2, uint32_t nFlags) override;
    HRESULT Unlock(void* pPart1, uint32_t, void*, uint32_t) override
    {
        uint8_t* pByte = static_cast<uint8_t*>(pPart1);
        if (pByte && (pByte < Data.data() || pByte >= Data.data() + Data.size()))
            return DSERR_INVALIDPARAM;
        return S_OK;
    }
    HRESULT Play(uint32_t nReserved, uint32_t, uint32_t nFlags) override
    {
        if (nReserved != 0)
            return DSERR_INVALIDPARAM;
        std::lock_guard<std::mutex> lock(Mixer().Mutex);
        bPlaying = true;
        bLooping = (nFlags & DSBPLAY_LOOPING) != 0;
        return S_OK;
    }
    HRESULT Stop() override
    {
        std::lock_guard<std::mutex> lock(Mixer().Mutex);
        bPlaying = false;
        return S_OK;
    }

    // With the mixer's mutex held: adds nFrames of this buffer, resampled to
    // the output format by the nearest earlier sample, into pSum.
    void MixInto(int32_t* pSum, int nOutFrames, const WAVEFORMATEX& out);

private:
    int32_t Sample(uint32_t nFrame, int nChannel) const;

    uint32_t nRefs = 1;
    WAVEFORMATEX Format;
    std::vector<uint8_t> Data;
    uint32_t nFrames;
    // Guarded by the mixer's mutex.
    bool bPlaying = false;
    bool bLooping = false;
    uint64_t nPosition = 0; // in frames, 32.32 fixed point
};

uint32_t CSecondaryBuffer::Release()
{
    if (--nRefs > 0)
        return nRefs;
    {
        std::lock_guard<std::mutex> lock(Mixer().Mutex);
        std::vector<CSecondaryBuffer*>& buffers = Mixer().Buffers;
        buffers.erase(std::remove(buffers.begin(), buffers.end(), this), buffers.end());
    }
    delete this;
    return 0;
}

HRESULT CSecondaryBuffer::Lock(uint32_t nOffset, uint32_t nBytes, void** ppPart1,
                               uint32_t* pBytes1, void** ppPart2, uint32_t* pBytes2,
                               uint32_t nFlags)
{
    if (!ppPart1 || !pBytes1)
        return DSERR_INVALIDPARAM;
    uint32_t nSize = static_cast<uint32_t>(Data.size());
    if (nFlags & DSBLOCK_ENTIREBUFFER) {
        nOffset = 0;
        nBytes = nSize;
    }
    if (nOffset >= nSize || nBytes == 0 || nBytes > nSize)
        return DSERR_INVALIDPARAM;
    uint32_t nFirst = std::min(nBytes, nSize - nOffset);
    uint32_t nSecond = nBytes - nFirst;
    // A range past the end wraps to the start, into the second part.
    if (nSecond > 0 && (!ppPart2 || !pBytes2))
        return DSERR_INVALIDPARAM;
    *ppPart1 = Data.data() + nOffset;
    *pBytes1 = nFirst;
    if (ppPart2)
        *ppPart2 = nSecond > 0 ? Data.data() : nullptr;
    if (pBytes2)
        *pBytes2 = nSecond;
    return S_OK;
}

// A sample widened to 16-bit range; a mono buffer gives its one channel to
// both sides.
int32_t CSecondaryBuffer::Sample(uint32_t nFrame, int nChannel) const
{
    int nSourceChannel = std::min<int>(nChannel, Format.nChannels - 1);
    const uint8_t* pFrame = Data.data() + static_cast<size_t>(nFrame) * Format.nBlockAlign;
    if (Format.wBitsPerSample == 8)
        return (static_cast<int32_t>(pFrame[nSourceChannel]) - 128) * 256;
    int16_t nValue;
    std::memcpy(&nValue, pFrame + 2 * nSourceChannel, sizeof(nValue));
    return nValue;
}

void CSecondaryBuffer::MixInto(int32_t* pSum, int nOutFrames, const WAVEFORMATEX& out)
{
    if (!bPlaying)
        return;
    const uint64_t nStep =
        (static_cast<uint64_t>(Format.nSamplesPerSec) << 32) / out.nSamplesPerSec;
    const uint64_t nEnd = static_cast<uint64_t>(nFrames) << 32;
    for (int i = 0; i < nOutFrames; ++i) {
        if (nPosition >= nEnd) {
            if (!bLooping || nFrames == 0) {
                // A buffer that ends stops and starts again from the top.
                bPlaying = false;
                nPosition = 0;
                return;
            }
            nPosition %= nEnd;
        }
        uint32_t nFrame = static_cast<uint32_t>(nPosition >> 32);
        if (out.nChannels == 1) {
            int32_t nLeft = Sample(nFrame, 0);
            int32_t nRight = Sample(nFrame, 1);
            pSum[i] += Format.nChannels == 1 ? nLeft : (nLeft + nRight) / 2;
        } else {
            pSum[2 * i] += Sample(nFrame, 0);
            pSum[2 * i + 1] += Sample(nFrame, 1);
        }
        nPosition += nStep;
    }
    // A buffer that played exactly to its end stops now, not on the next call.
    if (nPosition >= nEnd && !bLooping) {
        bPlaying = false;
        nPosition = 0;
    }
}

class CPrimaryBuffer : public IDirectSoundBuffer {
public:
    uint32_t Release() override
    {
        if (--nRefs > 0)
            return nRefs;
        delete this;
        return 0;
    }
    HRESULT SetFormat(const WAVEFORMATEX* pFormat) override;
    // The primary buffer's memory is the device's own: nothing to lock.
    HRESULT Lock(uint32_t, uint32_t, void**, uint32_t*, void**, uint32_t*, uint32_t) override
    {
        return DSERR_INVALIDCALL;
    }
    HRESULT Unlock(void*, uint32_t, void*, uint32_t) override { return DSERR_INVALIDCALL; }
    HRESULT Play(uint32_t nReserved, uint32_t, uint32_t) override
    {
        return nReserved == 0 ? S_OK : DSERR_INVALIDPARAM;
    }
    HRESULT Stop() override { return S_OK; }

private:
    uint32_t nRefs = 1;
};

HRESULT CPrimaryBuffer::SetFormat(const WAVEFORMATEX* pFormat)
{
    if (!pFormat)
        return DSERR_INVALIDPARAM;
    if (!IsPlayablePcm(*pFormat) || pFormat->nSamplesPerSec < PRIMARY_RATE_MIN ||
        pFormat->nSamplesPerSec > PRIMARY_RATE_MAX)
        return DSERR_BADFORMAT;
    WAVEFORMATEX format = MakePcmFormat(pFormat->nChannels, pFormat->nSamplesPerSec,
                                        pFormat->wBitsPerSample);
    void (*pListener)(const WAVEFORMATEX&) = nullptr;
    {
        std::lock_guard<std::mutex> lock(Mixer().Mutex);
        Mixer().Primary = format;
        pListener = Mixer().pListener;
    }
    if (pListener)
        pListener(format);
    return S_OK;
}

class CSoundDevice : public IDirectSound {
public:
    uint32_t Release() override
    {
        if (--nRefs > 0)
            return nRefs;
        delete this;
        return 0;
    }
    HRESULT SetCooperativeLevel(HWND, uint32_t nLevel) override
    {
        return nLevel >= 1 && nLevel <= 4 ? S_OK : DSERR_INVALIDPARAM;
    }
    HRESULT CreateSoundBuffer(const DSBUFFERDESC* pDesc, IDirectSoundBuffer** ppOut,
                              void* pOuter) override;

private:
    uint32_t nRefs = 1;
};

HRESULT CSoundDevice::CreateSoundBuffer(const DSBUFFERDESC* pDesc, IDirectSoundBuffer** ppOut,
                                        void* pOuter)
{
    if (!ppOut)
        return DSERR_INVALIDPARAM;
    *ppOut = nullptr;
    if (!pDesc || pDesc->dwSize != sizeof(DSBUFFERDESC) || pOuter)
        return DSERR_INVALIDPARAM;
    if (pDesc->dwFlags & DSBCAPS_PRIMARYBUFFER) {
        if (pDesc->lpwfxFormat || pDesc->dwBufferBytes != 0)
            return DSERR_INVALIDPARAM;
        *ppOut = new CPrimaryBuffer();
        return S_OK;
    }
    if (!pDesc->lpwfxFormat || pDesc->dwBufferBytes == 0 || pDesc->dwBufferBytes > DSBSIZE_MAX)
        return DSERR_INVALIDPARAM;
    const WAVEFORMATEX& format = *pDesc->lpwfxFormat;
    if (!IsPlayablePcm(format) || format.nSamplesPerSec < DSBFREQUENCY_MIN ||
        format.nSamplesPerSec > DSBFREQUENCY_MAX)
        return DSERR_BADFORMAT;
    *ppOut = new CSecondaryBuffer(format, pDesc->dwBufferBytes);
    return S_OK;
}

int32_t Clip16(int32_t nValue)
{
    return std::clamp<int32_t>(nValue, -32768, 32767);
}

} // namespace

HRESULT CreateSoundSystem(IDirectSound** ppOut)
{
    if (!ppOut)
        return DSERR_INVALIDPARAM;
    *ppOut = new CSoundDevice();
    return S_OK;
}

WAVEFORMATEX GetPrimarySoundFormat()
{
    std::lock_guard<std::mutex> lock(Mixer().Mutex);
    return Mixer().Primary;
}

void SetPrimaryFormatListener(void (*pListener)(const WAVEFORMATEX& format))
{
    std::lock_guard<std::mutex> lock(Mixer().Mutex);
    Mixer().pListener = pListener;
}

void MixSound(uint8_t* pOut, int nBytes)
{
    if (!pOut || nBytes <= 0)
        return;
    std::lock_guard<std::mutex> lock(Mixer().Mutex);
    const WAVEFORMATEX out = Mixer().Primary;
    const int nFrames = nBytes / out.nBlockAlign;
    // Kept between calls so that the audio thread does not allocate each time.
    static thread_local std::vector<int32_t> sum;
    sum.assign(static_cast<size_t>(nFrames) * out.nChannels, 0);
    for (CSecondaryBuffer* pBuffer : Mixer().Buffers)
        pBuffer->MixInto(sum.data(), nFrames, out);
    const uint8_t nSilence = out.wBitsPerSample == 8 ? 0x80 : 0;
    std::memset(pOut, nSilence, static_cast<size_t>(nBytes));
    for (size_t i = 0; i < sum.size(); ++i) {
        int32_t nValue = Clip16(sum[i]);
        if (out.wBitsPerSample == 8) {
            pOut[i] = static_cast<uint8_t>((nValue >> 8) + 128);
        } else {
            int16_t nSample = static_cast<int16_t>(nValue);
            std::memcpy(pOut + 2 * i, &nSample, sizeof(nSample));
        }
    }
}

HRESULT DirectSoundCreate(GUID* pDevice, IDirectSound** ppOut, void* pOuter)
{
    if (!ppOut)
        return DSERR_INVALIDPARAM;
    *ppOut = nullptr;
    if (pOuter)
        return DSERR_INVALIDPARAM;
    // Only the default device is there.
    if (pDevice)
        return DSERR_NODRIVER;
    return GetPlatformBackend()->CreateDirectSound(ppOut);
}
