#pragma once
// The process's resident high-water mark (VmHWM), for the benchmarks'
// peak_MB counters.
#include <fstream>
#include <string>

// Resets the high-water mark; false where the kernel doesn't allow it.
inline bool ResetPeakMemory()
{
    std::ofstream file("/proc/self/clear_refs");
    file << "5";
    file.flush();
    return static_cast<bool>(file);
}

// The high-water mark in MiB.
inline double PeakMemoryMb()
{
    std::ifstream file("/proc/self/status");
    for (std::string line; std::getline(file, line);) {
        if (line.rfind("VmHWM:", 0) == 0)
            return std::stod(line.substr(6)) / 1024.0; // the value is in kB
    }
    return 0;
}
