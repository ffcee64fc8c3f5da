#include "compiler/progress.h"

#include "compiler/stage_clock.h"

#include <cstdio>

CProgress::CProgress(std::ostream* pStreamIn, const char* pszStage, const char* pszUnit,
                     int64_t total)
    : pStream(pStreamIn), Stage(pszStage), Unit(pszUnit), nTotal(total), nStartMs(ClockMs()),
      nNextMs(nStartMs + PROGRESS_INTERVAL_MS)
{
}

void CProgress::Step(int64_t n)
{
    const int64_t done = nDone.fetch_add(n, std::memory_order_relaxed) + n;
    if (pStream == nullptr)
        return;
    const int64_t now = ClockMs();
    int64_t next = nNextMs.load(std::memory_order_relaxed);
    // Only the thread that moves the deadline on writes the line.
    if (now < next || !nNextMs.compare_exchange_strong(next, now + PROGRESS_INTERVAL_MS))
        return;
    const std::string line = Line(done, now - nStartMs);
    std::lock_guard<std::mutex> lock(WriteLock);
    *pStream << line << std::flush;
}

std::string CProgress::Line(int64_t done, int64_t elapsedMs) const
{
    const double percent = nTotal > 0 ? 100.0 * static_cast<double>(done) / nTotal : 100.0;
    const double rate = elapsedMs > 0 ? 1000.0 * static_cast<double>(done) / elapsedMs : 0.0;
    char text[256];
    std::snprintf(text, sizeof text, "  %s: %.0f%% (%lld of %lld %s, %.0f %s/s)\n", Stage.c_str(),
                  percent, static_cast<long long>(done), static_cast<long long>(nTotal),
                  Unit.c_str(), rate, Unit.c_str());
    return text;
}
