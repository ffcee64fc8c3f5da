#pragma once
// Independent tasks 0 .. count-1 shared out among threads. Each thread makes
// its own state once (scratch space) and takes the next task number until
// none is left; the calling thread works too. The first exception of any
// thread stops the others at their next task and is thrown again here.
#include <algorithm>
#include <atomic>
#include <cstdint>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

// 0 or less means one thread per core.
inline int32_t ThreadCount(int32_t threads)
{
    if (threads > 0)
        return threads;
    return static_cast<int32_t>(std::max(1u, std::thread::hardware_concurrency()));
}

template <typename MakeState, typename Task>
void ParallelFor(int64_t count, int32_t threads, MakeState makeState, Task task)
{
    std::atomic<int64_t> next{0};
    std::mutex failureLock;
    std::exception_ptr failure;
    auto work = [&] {
        try {
            auto state = makeState();
            for (int64_t i = next++; i < count; i = next++)
                task(state, i);
        } catch (...) {
            const std::lock_guard<std::mutex> lock(failureLock);
            if (!failure)
                failure = std::current_exception();
            next = count;
        }
    };
    std::vector<std::thread> pool;
    try {
        const int64_t helpers = std::min<int64_t>(ThreadCount(threads), count) - 1;
        for (int64_t t = 0; t < helpers; ++t)
            pool.emplace_back(work);
    } catch (const std::system_error&) {
        // Fewer threads than asked for do the same work.
    }
    work();
    for (std::thread& thread : pool)
        thread.join();
    if (failure)
        std::rethrow_exception(failure);
}
