#pragma once
// Rows of bits kept in 64-bit words: bit (i & 63) of word (i >> 6) stands
// for item i.
#include <cstddef>
#include <cstdint>

// Calls visit(i) for each set bit i of the first 'words' words, in order.
template <typename Visit>
void ForEachSetBit(const uint64_t* pWords, size_t words, Visit&& visit)
{
    for (size_t w = 0; w < words; ++w) {
        for (uint64_t bits = pWords[w]; bits; bits &= bits - 1)
            visit(w * 64 + static_cast<size_t>(__builtin_ctzll(bits)));
    }
}

// A hash of the first 'words' words, for the keys of hash tables.
inline uint64_t HashOfWords(const uint64_t* pWords, size_t words)
{
    uint64_t hash = 0;
    for (size_t w = 0; w < words; ++w)
        hash = (hash ^ pWords[w]) * 0x9E3779B97F4A7C15ull;
    return hash;
}
