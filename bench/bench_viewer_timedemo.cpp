// Frames per second of the viewer itself: `vorlane --timedemo` headless
// (offscreen video, llvmpipe) over a browser script on a folder of 200
// entries, moving the selection down and up the whole list. The figure is
// the viewer's own "fps" line, reported as a counter.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

namespace {

constexpr int ENTRIES = 200;

std::filesystem::path MakeFolder()
{
    const auto dir = std::filesystem::temp_directory_path() /
                     ("vorlane-bench-browser-" + std::to_string(getpid()));
    std::filesystem::create_directories(dir / "root");
    for (int i = 0; i < ENTRIES; ++i) {
        if (i % 4 == 0)
            std::filesystem::create_directories(dir / "root" / ("folder" + std::to_string(i)));
        else
            std::ofstream(dir / "root" / ("map" + std::to_string(i) + ".vmz")) << "";
    }
    std::ofstream script(dir / "browse.script");
    script << "down DOWN\nwait 400\nup DOWN\ndown UP\nwait 400\nup UP\nwait 200\n";
    return dir;
}

// Runs the viewer; gives the fps it printed, or a negative value.
double RunTimedemo(const std::filesystem::path& dir)
{
    const std::string command =
        "env -u DISPLAY SDL_VIDEODRIVER=offscreen GALLIUM_DRIVER=llvmpipe SDL_AUDIODRIVER=dummy "
        "'" VORLANE_VIEWER_BIN "' --timedemo --root '" + (dir / "root").string() +
        "' --script '" + (dir / "browse.script").string() + "'";
    FILE* pPipe = popen(command.c_str(), "r");
    if (!pPipe)
        return -1.0;
    char szLine[256];
    double dFps = -1.0;
    unsigned long long nFrames = 0;
    double dSeconds = 0.0;
    while (fgets(szLine, sizeof(szLine), pPipe))
        std::sscanf(szLine, "frames %llu seconds %lf fps %lf", &nFrames, &dSeconds, &dFps);
    pclose(pPipe);
    return dFps;
}

void BM_BrowserTimedemo(benchmark::State& state)
{
    const auto dir = MakeFolder();
    double dFps = 0.0;
    for (auto _ : state) {
        dFps = RunTimedemo(dir);
        if (dFps < 0.0) {
            state.SkipWithError("vorlane --timedemo gave no fps line");
            break;
        }
    }
    state.counters["fps"] = dFps;
    std::filesystem::remove_all(dir);
}

} // namespace

BENCHMARK(BM_BrowserTimedemo)->Unit(benchmark::kSecond)->Iterations(3);

BENCHMARK_MAIN();
