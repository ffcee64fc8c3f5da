// Whole compiles with vorlane-compile's pipeline: the sample maps lit, the
// generated maps of 250, 1000 and 1500 brushes with and without light, and
// a denser map of 3198 brushes and a maze of about 3400 (bench/maze_map.h) without light, at
// 1 and 2 threads. Each run reports the seconds of every stage (both
// passes of the tree and portal stages added up), read from the stage
// lines, and peak_MB, the process's resident high-water mark (VmHWM) after
// the run; it is reset before each run where the kernel allows it
// (clear_refs), else it is the peak of the whole run so far and a map alone
// is measured with --benchmark_filter. cpu_s is the CPU time of the process
// during the run, all threads together.
#include "bench/bench_maps.h"
#include "bench/dense_map.h"
#include "bench/maze_map.h"
#include "bench/peak_memory.h"
#include "compiler/compile_options.h"
#include "compiler/compile_pipeline.h"
#include "tools/sample_maps.h"

#include <benchmark/benchmark.h>

#include <ctime>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

// CPU seconds of the process so far, all threads together.
double CpuSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// The stage lines of the compile log and the counter each one adds to.
const std::pair<const char*, const char*> STAGE_LINES[] = {
    {"Map text read in ", "read_s"},      {"Tree created in ", "tree_s"},
    {"Set created in ", "planes_s"},      {"Portals created in ", "portals_s"},
    {"Visibility set in ", "flood_s"},    {"Leaf visibility made in ", "vis_s"},
    {"Light done in ", "light_s"},        {"File written in ", "write_s"},
};

// Adds up the seconds of each stage line of a log.
std::map<std::string, double> StageSeconds(const std::string& log)
{
    std::map<std::string, double> seconds;
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line);) {
        for (const auto& [pszStart, pszCounter] : STAGE_LINES) {
            if (line.rfind(pszStart, 0) == 0)
                seconds[pszCounter] += std::stod(line.substr(std::string(pszStart).size()));
        }
    }
    return seconds;
}

void BM_Compile(benchmark::State& state, std::string path, bool bLight, int32_t threads,
                std::string output)
{
    CCompileOptions options;
    options.MapPath = path;
    options.OutputPath = output;
    options.bNoLight = !bLight;
    options.Threads = threads;
    std::map<std::string, double> seconds;
    double cpu = 0;
    ResetPeakMemory();
    for (auto _ : state) {
        std::ostringstream out;
        std::ostringstream err;
        const double start = CpuSeconds();
        if (RunCompile(options, out, err) != COMPILE_EXIT_OK) {
            state.SkipWithError(err.str().c_str());
            break;
        }
        cpu += CpuSeconds() - start;
        for (const auto& [name, value] : StageSeconds(out.str()))
            seconds[name] += value;
    }
    const double runs = static_cast<double>(std::max<benchmark::IterationCount>(state.iterations(), 1));
    for (const auto& [name, value] : seconds)
        state.counters[name] = value / runs;
    state.counters["cpu_s"] = cpu / runs;
    state.counters["peak_MB"] = PeakMemoryMb();
}

constexpr int GENERATED_BRUSHES[] = {250, 1000, 1500};
// The densest count that compiles sealed. From the 3,199th brush on (a crate
// in the middle of the map) the set builder's tree cuts the floor's faces so
// that the flood finds a way out under the floor, through portals that no
// single face piece covers; a leaking map keeps its outside faces, which
// costs a fifth more time.
constexpr int DENSE_BRUSHES = 3198;

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;

    // The scratch directory stands for "C:\" and holds the generated maps.
    const CBenchMaps inputs("bench_compile");
    const std::filesystem::path scratch = GetDriveRoot();
    struct CRun {
        std::string Name;
        std::string Path;
        bool bLight;
    };
    std::vector<CRun> runs;
    for (const char* pszName : {"room", "level"})
        runs.push_back({pszName, std::string(VORLANE_DATA_MAPS_DIR) + "/" + pszName + ".map", true});
    for (const int brushes : GENERATED_BRUSHES) {
        const std::string name = "generated_" + std::to_string(brushes);
        const std::filesystem::path folder = scratch / name;
        if (!samples::WriteFiles(folder, samples::LargeFiles(brushes, name + ".map"))) {
            std::fprintf(stderr, "can't write %s\n", folder.c_str());
            return 1;
        }
        for (const bool bLight : {false, true})
            runs.push_back({name, (folder / (name + ".map")).string(), bLight});
    }
    const std::string dense = "dense_" + std::to_string(DENSE_BRUSHES);
    if (!samples::WriteFiles(scratch / dense, bench::DenseFiles(DENSE_BRUSHES, dense + ".map"))) {
        std::fprintf(stderr, "can't write %s\n", (scratch / dense).c_str());
        return 1;
    }
    runs.push_back({dense, (scratch / dense / (dense + ".map")).string(), false});
    if (!samples::WriteFiles(scratch / "maze", bench::MazeFiles("maze.map"))) {
        std::fprintf(stderr, "can't write %s\n", (scratch / "maze").c_str());
        return 1;
    }
    runs.push_back({"maze", (scratch / "maze" / "maze.map").string(), false});

    const std::string output = (scratch / "out.vmz").string();
    for (const CRun& run : runs) {
        for (const int32_t threads : {1, 2}) {
            const std::string label = "Compile/" + run.Name +
                                      (run.bLight ? "/light" : "/no_light") +
                                      "/threads:" + std::to_string(threads);
            benchmark::RegisterBenchmark(label.c_str(), BM_Compile, run.Path, run.bLight, threads,
                                         output)
                ->Unit(benchmark::kMillisecond)
                ->Iterations(1);
        }
    }
    if (!ResetPeakMemory())
        std::fprintf(stderr, "peak_MB is the peak of the whole run: clear_refs refused\n");
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
