// The viewer's load and frame costs, on the sample level and on a generated
// map of LARGE_BRUSHES brushes (36,180 faces):
// - BM_LoadLevel: LoadMap of the level, pictures and lightmaps included, on
//   the null device.
// - BM_NullFrame/level, /large: our own CPU per frame (view matrix and the
//   lit draw of the camera's leaf and its visible list, the flip) against a
//   null device that records nothing.
// - BM_GLFrame/level, /large: the same frames through the OpenGL device on
//   llvmpipe, headless, at 1024x768: time per frame and the draw calls and
//   texture binds it asked of OpenGL per frame; cpu_ms is the processor time
//   of all threads per frame, which a busy machine inflates less than the
//   wall time.
// - BM_TimedemoLevel: `vorlane --timedemo` over a fixed fly-through of the
//   level at 1024x768, headless on llvmpipe; the figure is its fps line.
// The camera of the frames stands at the map's start and turns 10 degrees a
// frame.
#include "bench/map_generator.h"
#include "platform/files.h"
#include "platform/gl_state.h"
#include "platform/null_backend.h"
#include "platform/sdl_backend.h"
#include "viewer/viewer_app.h"

#include <benchmark/benchmark.h>

#include <SDL_opengl.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/resource.h>
#include <unistd.h>

namespace {

constexpr int LARGE_BRUSHES = 830;
constexpr float TURN_PER_FRAME = 0.17453292f; // 10 degrees

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
        return Run(tools + "/vorlane-make-samples '" + dir + "' --large " +
                   std::to_string(LARGE_BRUSHES) + " '" + dir + "/large.map'") &&
               Run(tools + "/vorlane-compile -q --no-light --log-dir '" + dir + "' '" + dir +
                   "/level.map'") &&
               Run(tools + "/vorlane-compile -q --no-light --log-dir '" + dir + "' '" + dir +
                   "/large.map'");
    }();
    return bReady;
}

// Where the camera of a map's frames stands: the origin of the level, the
// player start of the generated map (file axes a b c are world a c b).
CVector StartOf(const std::string& name)
{
    if (name != "large")
        return CVector(0.0f, 0.0f, 0.0f);
    const mapgen::Vec3 start = mapgen::StartLocation(LARGE_BRUSHES);
    return CVector(float(start.x), float(start.z), float(start.y));
}

// A viewer with the map "C:\NAME.vmz" loaded, on the null device or, with
// bGL, in a headless OpenGL window of the SDL backend.
class CLoadedViewer {
public:
    CLoadedViewer(const std::string& name, bool bGL) : Name(name), bGL(bGL)
    {
        ResetNullBackend();
        GetNullConfig().bRecord = false;
        SetDriveRoot(Scratch().string());
        Config = MakeViewerConfig();
        App.pConfig = &Config;
        if (bGL && !OpenWindow())
            return;
        App.CreateDD(&Config);
        App.CreateD3D(&Config);
        App.Init();
        bReady = true;
    }
    ~CLoadedViewer()
    {
        App.UnloadMap();
        App.ReleaseDevices(DEVICE_ALL);
        if (!bGL)
            return;
        DestroyWindow(App.GetWindow());
        SetPlatformBackend(nullptr);
        ShutdownSdlBackend();
    }

    bool Load()
    {
        App.UnloadMap();
        const std::string path = "C:\\" + Name + ".vmz";
        delete[] App.pszPath;
        App.pszPath = new char[path.size() + 1];
        std::memcpy(App.pszPath, path.c_str(), path.size() + 1);
        return App.LoadMap();
    }

    // Stands at the map's start in the lit mode, ready for Frame.
    void StartWalk()
    {
        App.nState = VIEWER_WALK;
        App.nViewMode = 0;
        App.Camera.Position = StartOf(Name);
    }

    void Frame()
    {
        App.Camera.fYaw += TURN_PER_FRAME;
        App.Process();
        App.DrawFrame();
    }

    std::string Name;
    bool bGL;
    bool bReady = false;
    CAppConfig Config;
    CViewerApp App;

private:
    bool OpenWindow()
    {
        setenv("SDL_VIDEODRIVER", "offscreen", 1);
        setenv("GALLIUM_DRIVER", "llvmpipe", 1);
        unsetenv("DISPLAY");
        CSdlOptions options;
        options.bWindowed = true;
        options.bScripted = true;
        options.bTimedemo = true;
        std::string error;
        if (!InitSdlBackend(options, &error))
            return false;
        SetPlatformBackend(GetSdlBackend());
        return App.CreateAppWindow(&Config) == 0;
    }
};

// CPU seconds of the whole process, all its threads (the rasteriser's too).
double ProcessSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

int CountFaces(const CWorldElement* pElement)
{
    if (!pElement)
        return 0;
    if (pElement->IsLeaf())
        return static_cast<const CWorldLeaf*>(pElement)->nFaces;
    const auto* pNode = static_cast<const CWorldNode*>(pElement);
    return CountFaces(pNode->pFront) + CountFaces(pNode->pBack);
}

const char* MapName(const benchmark::State& state)
{
    return state.range(0) == 0 ? "level" : "large";
}

void BM_LoadLevel(benchmark::State& state)
{
    if (!PrepareMaps()) {
        state.SkipWithError("could not make and compile the maps");
        return;
    }
    CLoadedViewer viewer("level", false);
    for (auto _ : state) {
        if (!viewer.Load()) {
            state.SkipWithError(viewer.App.szMessage);
            break;
        }
    }
    state.counters["faces"] = CountFaces(&viewer.App.World);
}

// Frames of one map on one device; the GL run also counts its OpenGL calls.
void RunFrames(benchmark::State& state, bool bGL)
{
    if (!PrepareMaps()) {
        state.SkipWithError("could not make and compile the maps");
        return;
    }
    CLoadedViewer viewer(MapName(state), bGL);
    if (!viewer.bReady) {
        state.SkipWithError("no OpenGL window");
        return;
    }
    if (!viewer.Load()) {
        state.SkipWithError(viewer.App.szMessage);
        return;
    }
    viewer.StartWalk();
    viewer.Frame(); // uploads what the first frame needs
    const CGLDeviceCounters before = GetGLDeviceCounters();
    const double dStart = ProcessSeconds();
    for (auto _ : state)
        viewer.Frame();
    if (bGL)
        glFinish();
    const CGLDeviceCounters& after = GetGLDeviceCounters();
    const double dFrames = static_cast<double>(state.iterations());
    state.counters["faces"] = CountFaces(&viewer.App.World);
    state.counters["cpu_ms"] = (ProcessSeconds() - dStart) * 1000.0 / dFrames;
    if (bGL) {
        state.counters["draws"] = static_cast<double>(after.nDrawCalls - before.nDrawCalls) / dFrames;
        state.counters["binds"] =
            static_cast<double>(after.nTextureBinds - before.nTextureBinds) / dFrames;
    }
}

void BM_NullFrame(benchmark::State& state)
{
    RunFrames(state, false);
}

void BM_GLFrame(benchmark::State& state)
{
    RunFrames(state, true);
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
BENCHMARK(BM_NullFrame)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_GLFrame)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TimedemoLevel)->Unit(benchmark::kSecond)->Iterations(1);

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::filesystem::remove_all(Scratch());
    return 0;
}
