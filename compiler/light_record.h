#pragma once
// The light of a texture, a sample or a grid: five 32-bit words.
#include <cstdint>

struct CLightRecord {
    int32_t Red = 0;
    int32_t Green = 0;
    int32_t Blue = 0;
    int32_t Intensity = 0; // non-zero: the owner emits
    uint32_t Reserved = 0;
};
static_assert(sizeof(CLightRecord) == 20);
