#pragma once
// The millisecond clock that times the compile stages; stage lines give
// seconds as the difference divided by 1000.
#include <chrono>
#include <cstdint>

inline int64_t ClockMs()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

inline double SecondsSince(int64_t startMs)
{
    return static_cast<double>(ClockMs() - startMs) / 1000.0;
}
