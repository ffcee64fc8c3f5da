#pragma once
// RIFF files built byte by byte for the sound tests.
#include <cstdint>
#include <string>

// nBytes of nValue, least significant first.
inline std::string Le(uint32_t nValue, int nBytes = 4)
{
    std::string bytes(static_cast<size_t>(nBytes), '\0');
    for (int i = 0; i < nBytes; ++i)
        bytes[static_cast<size_t>(i)] = static_cast<char>((nValue >> (8 * i)) & 0xFF);
    return bytes;
}

// A chunk with its pad byte; nSize, when given, is written in place of the
// data's length.
inline std::string Chunk(const std::string& id, const std::string& data, int64_t nSize = -1)
{
    const uint32_t nWritten = nSize < 0 ? static_cast<uint32_t>(data.size()) : static_cast<uint32_t>(nSize);
    const std::string chunk = id + Le(nWritten) + data;
    return data.size() % 2 ? chunk + '\0' : chunk;
}

// The 16 bytes of a format chunk.
inline std::string FormatBytes(uint16_t nTag, uint16_t nChannels, uint32_t nRate, uint16_t nBits)
{
    const uint16_t nAlign = static_cast<uint16_t>(nChannels * nBits / 8);
    return Le(nTag, 2) + Le(nChannels, 2) + Le(nRate) + Le(nRate * nAlign) + Le(nAlign, 2) +
           Le(nBits, 2);
}

// A wave file of 16-bit stereo at 22050 samples a second; the sizes of the
// RIFF and the data chunk can be given.
inline std::string StereoWave(const std::string& samples, int64_t nRiffSize = -1,
                              int64_t nDataSize = -1)
{
    return Chunk("RIFF",
                 "WAVE" + Chunk("fmt ", FormatBytes(1, 2, 22050, 16)) +
                     Chunk("data", samples, nDataSize),
                 nRiffSize);
}
