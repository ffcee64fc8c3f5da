// The viewer's load and frame costs:
// - BM_LoadLevel: LoadMap of the largest sample map (level, 160 brushes),
//   pictures and lightmaps included, on the null device.
// - BM_FrameLarge: the viewer's own work per frame (update, view matrix and
//   the draw of every face in the unlit whole-tree mode) on the generated
//   map of 430 brushes (about 12,000 faces), against a null device that
//   records nothing, so the figure is our code's.
// - BM_TimedemoLevel: `vorlane --timedemo` over a fixed fly-through of the
//   level at 1024x768, headless on llvmpipe; the figure is its fps line.
#include "platform/files.h"
#include "platform/null_backend.h"
#include "viewer/viewer_app.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

namespace {

const std::filesystem::path& Scratch()
{
    static const std::filesystem::path dir = [] {
        auto path = std::filesystem::temp_directory_path() /
                    ("vorlane-bench-viewer-" + std::to_string(getpid()));
        std::filesystem::create_directories(path);
        return path;
    }();
    return dir;
}

bool Run(const std::string& command)
{
    return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

// The sample maps and the large one, compiled into the scratch folder with
// their pictures beside them. Done once.
bool PrepareMaps()
{
    static const bool bReady = [] {
        const std::string dir = Scratch().string();
        const std::string tools = VORLANE_TOOLS_DIR;
        return Run(tools + "/vorlane-make-samples '" + dir + "' --large 430 '" + dir +
                   "/large.map'") &&
               Run(tools + "/vorlane-compile -q --no-light --log-dir '" + dir + "' '" + dir +
                   "/level.map'") &&
               Run(tools + "/vorlane-compile -q --no-light --log-dir '" + dir + "' '" + dir +
                   "/large.map'");
    }();
    return bReady;
}

// A viewer on a quiet null device with the map at "C:\NAME" loaded.
class CLoadedViewer {
public:
    explicit CLoadedViewer(const char* pszName)
    {
        ResetNullBackend();
        GetNullConfig().bRecord = false;
        SetDriveRoot(Scratch().string());
        Config = MakeViewerConfig();
        App.pConfig = &Config;
        App.CreateDD(&Config);
        App.CreateD3D(&Config);
        App.Init();
        Path = std::string("C:\\") + pszName;
    }
    bool Load()
    {
        App.UnloadMap();
        delete[] App.pszPath;
        App.pszPath = new char[Path.size() + 1];
        std::memcpy(App.pszPath, Path.c_str(), Path.size() + 1);
        return App.LoadMap();
    }

    CAppConfig Config;
    CViewerApp App;
    std::string Path;
};

int CountFaces(const CWorldElement* pElement)
{
    if (!pElement)
        return 0;
    if (pElement->IsLeaf())
        return static_cast<const CWorldLeaf*>(pElement)->nFaces;
    const auto* pNode = static_cast<const CWorldNode*>(pElement);
    return CountFaces(pNode->pFront) + CountFaces(pNode->pBack);
}

void BM_LoadLevel(benchmark::State& state)
{
    if (!PrepareMaps()) {
        state.SkipWithError("could not make and compile the maps");
        return;
    }
    CLoadedViewer viewer("level.vmz");
    for (auto _ : state) {
        if (!viewer.Load()) {
            state.SkipWithError(viewer.App.szMessage);
            break;
        }
    }
    state.counters["faces"] = CountFaces(&viewer.App.World);
}

void BM_FrameLarge(benchmark::State& state)
{
    if (!PrepareMaps()) {
        state.SkipWithError("could not make and compile the maps");
        return;
    }
    CLoadedViewer viewer("large.vmz");
    if (!viewer.Load()) {
        state.SkipWithError(viewer.App.szMessage);
        return;
    }
    viewer.App.nState = VIEWER_WALK;
    viewer.App.nViewMode = 2;
    viewer.App.FrameSeconds = 0.01;
    for (auto _ : state) {
        viewer.App.Update();
        viewer.App.Process();
        viewer.App.Draw();
    }
    state.counters["faces"] = CountFaces(&viewer.App.World);
}

void BM_TimedemoLevel(benchmark::State& state)
{
    if (!PrepareMaps()) {
        state.SkipWithError("could not make and compile the maps");
        return;
    }
    const auto dir = Scratch();
    std::ofstream(dir / "fly.script")
        << "wait 2\npress RETURN\nwait 3\n"
           "down W\nmouse 20 0\nwait 100\nmouse -40 5\nwait 100\nup W\n"
           "down D\nmouse 30 -5\nwait 100\nup D\npress TAB\nwait 50\npress TAB\nwait 50\n"
           "press TAB\npress ESCAPE\nwait 2\npress ESCAPE\nwait 5\n";
    std::filesystem::create_directories(dir / "only");
    std::filesystem::copy_file(dir / "level.vmz", dir / "only" / "level.vmz",
                               std::filesystem::copy_options::overwrite_existing);
    for (const auto& entry : std::filesystem::directory_iterator(dir))
        if (entry.path().extension() == ".bmp")
            std::filesystem::copy_file(entry.path(), dir / "only" / entry.path().filename(),
                                       std::filesystem::copy_options::skip_existing);
    double dFps = 0.0;
    for (auto _ : state) {
        const std::string command =
            "env -u DISPLAY SDL_VIDEODRIVER=offscreen GALLIUM_DRIVER=llvmpipe "
            "SDL_AUDIODRIVER=dummy '" VORLANE_VIEWER_BIN "' --timedemo --root '" +
            (dir / "only").string() + "' --script '" + (dir / "fly.script").string() + "'";
        FILE* pPipe = popen(command.c_str(), "r");
        char szLine[256];
        while (pPipe && fgets(szLine, sizeof(szLine), pPipe)) {
            unsigned long long nFrames = 0;
            double dSeconds = 0.0;
            std::sscanf(szLine, "frames %llu seconds %lf fps %lf", &nFrames, &dSeconds, &dFps);
        }
        if (pPipe)
            pclose(pPipe);
    }
    state.counters["fps"] = dFps;
}

} // namespace

BENCHMARK(BM_LoadLevel)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FrameLarge)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_TimedemoLevel)->Unit(benchmark::kSecond)->Iterations(1);

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::filesystem::remove_all(Scratch());
    return 0;
}
