#pragma once
// The light of a texture, a sample or a grid: five 32-bit words. Colours are
// whole numbers; a sample that received light holds 0 to 255 in each, while a
// light list may give any value, negative or above 255, to an emitter.
#include <cstdint>

struct CLightRecord {
    int32_t Red = 0;
    int32_t Green = 0;
    int32_t Blue = 0;
    int32_t Intensity = 0; // non-zero: the owner emits
    uint32_t Reserved = 0;

    // Each colour times factor, truncated toward zero. A product beyond the
    // 32-bit range is held at the range's end, and a NaN product gives 0, so
    // that any factor has a defined result. Intensity is not touched.
    void ScaleLight(double factor)
    {
        Red = ScaleChannel(Red, factor);
        Green = ScaleChannel(Green, factor);
        Blue = ScaleChannel(Blue, factor);
    }

    // Each colour becomes the sum when that is below 256, else 255. The sum
    // is taken in 64 bits, so it never wraps; one below the 32-bit range is
    // held at its end.
    void SaturateAdd(const CLightRecord& other)
    {
        Red = SaturateChannel(Red, other.Red);
        Green = SaturateChannel(Green, other.Green);
        Blue = SaturateChannel(Blue, other.Blue);
    }

    // Plain sum of each colour, wrapping at 32 bits.
    void Add(const CLightRecord& other)
    {
        Red = WrapSum(Red, other.Red);
        Green = WrapSum(Green, other.Green);
        Blue = WrapSum(Blue, other.Blue);
    }

    // One colour times factor, as ScaleLight takes it. Written without
    // branches, so that the light passes can take several at a time.
    static int32_t ScaleChannel(int32_t value, double factor)
    {
        const double product = static_cast<double>(value) * factor;
        const double held = product >= 2147483647.0    ? 2147483647.0
                            : product <= -2147483648.0 ? -2147483648.0
                                                       : product;
        return static_cast<int32_t>(product == product ? held : 0.0);
    }

    // One colour plus add, as SaturateAdd takes it; without branches too.
    static int32_t SaturateChannel(int32_t value, int32_t add)
    {
        const int64_t sum = static_cast<int64_t>(value) + add;
        return static_cast<int32_t>(sum >= 256 ? 255 : sum < INT32_MIN ? INT32_MIN : sum);
    }

private:
    static int32_t WrapSum(int32_t a, int32_t b)
    {
        return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
    }
};
static_assert(sizeof(CLightRecord) == 20);
