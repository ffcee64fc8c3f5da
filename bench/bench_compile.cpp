// Whole compiles with vorlane-compile's pipeline: every sample map, the large
// generated map of 1500 brushes and every shared map, with and without
// light, at 1 and 2 threads. The shared maps have no light lists of their
// own, so they compile full-bright either way; the sample maps carry theirs.
#include "bench/bench_maps.h"
#include "compiler/compile_options.h"
#include "compiler/compile_pipeline.h"
#include "tools/sample_maps.h"

#include <benchmark/benchmark.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

namespace {

void BM_Compile(benchmark::State& state, std::string path, bool bLight, int32_t threads,
                std::string output)
{
    CCompileOptions options;
    options.MapPath = path;
    options.OutputPath = output;
    options.bNoLight = !bLight;
    options.Threads = threads;
    options.bQuiet = true;
    for (auto _ : state) {
        std::ostringstream out;
        std::ostringstream err;
        if (RunCompile(options, out, err) != COMPILE_EXIT_OK) {
            state.SkipWithError(err.str().c_str());
            break;
        }
    }
}

constexpr int LARGE_MAP_BRUSHES = 1500;

// The sample maps of data/maps, and the large one written beside the
// scratch files with its light list and pictures.
std::vector<std::filesystem::path> SampleMaps(const std::filesystem::path& scratch)
{
    std::vector<std::filesystem::path> maps;
    for (const char* name : {"room.map", "level.map"})
        maps.push_back(std::filesystem::path(VORLANE_DATA_MAPS_DIR) / name);
    const std::filesystem::path folder = scratch / "large";
    if (samples::WriteFiles(folder, samples::LargeFiles(LARGE_MAP_BRUSHES, "large.map")))
        maps.push_back(folder / "large.map");
    return maps;
}

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;

    const CBenchMaps inputs("bench_compile");
    std::vector<CBenchMap> maps;
    if (!inputs.Collect(&maps))
        return 1;
    std::vector<std::pair<std::string, std::string>> runs;
    for (const std::filesystem::path& path : SampleMaps(GetDriveRoot()))
        runs.push_back({path.stem().string(), path.string()});
    for (const CBenchMap& map : maps) {
        if (map.Name.rfind("generated_", 0) != 0) // the generated maps have no start inside
            runs.push_back({map.Name, map.Path});
    }

    const std::string output = GetDriveRoot() + "/out.vmz";
    for (const auto& [name, path] : runs) {
        for (const bool bLight : {false, true}) {
            for (const int32_t threads : {1, 2}) {
                const std::string label = "Compile/" + name + (bLight ? "/light" : "/no_light") +
                                          "/threads:" + std::to_string(threads);
                benchmark::RegisterBenchmark(label.c_str(), BM_Compile, path, bLight, threads,
                                             output)
                    ->Unit(benchmark::kMillisecond)
                    ->Iterations(1);
            }
        }
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
