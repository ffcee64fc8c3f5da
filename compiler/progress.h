#pragma once
// Progress of a long compile stage: a line such as
//   "  portals: 45% (1234 of 2742 planes, 310 planes/s)"
// at most once every PROGRESS_INTERVAL_MS, written only when the stage runs
// long enough to need it and the tool is not quiet. Step may be called from
// several threads; only one of them writes a given line.
#include <atomic>
#include <cstdint>
#include <mutex>
#include <ostream>
#include <string>

constexpr int64_t PROGRESS_INTERVAL_MS = 2000;

class CProgress {
public:
    // pStream null: silent. pszStage names the stage, pszUnit what is counted.
    CProgress(std::ostream* pStream, const char* pszStage, const char* pszUnit, int64_t total);

    // Counts n more units done and writes a line when the interval has passed.
    void Step(int64_t n = 1);
    int64_t Done() const { return nDone.load(std::memory_order_relaxed); }

    // The line for nDone units after nElapsedMs, as Step writes it.
    std::string Line(int64_t done, int64_t elapsedMs) const;

private:
    std::ostream* pStream;
    std::string Stage;
    std::string Unit;
    int64_t nTotal;
    int64_t nStartMs;
    std::atomic<int64_t> nDone{0};
    std::atomic<int64_t> nNextMs;
    std::mutex WriteLock;
};
