// vorlane: the map viewer. Sets up the platform from the command line, then
// runs the viewer application as a full-screen (or windowed) program.
#include "platform/files.h"
#include "platform/sdl_backend.h"
#include "platform/window.h"
#include "viewer/options.h"
#include "viewer/script.h"
#include "viewer/viewer_app.h"

#include <chrono>
#include <cstdio>
#include <filesystem>

namespace {

constexpr int EXIT_BAD_COMMAND_LINE = 2;

int Fail(const std::string& text, int nCode)
{
    std::fprintf(stderr, "vorlane: %s\n", text.c_str());
    return nCode;
}

bool SetUpRoot(const std::string& root, std::string* pError)
{
    if (root.empty())
        return true;
    std::error_code error;
    if (!std::filesystem::is_directory(root, error)) {
        *pError = "--root: \"" + root + "\" is not a directory";
        return false;
    }
    SetDriveRoot(std::filesystem::absolute(root, error).string());
    return true;
}

bool SetUpInput(const CViewerOptions& options, std::string* pError)
{
    if (!options.ScriptPath.empty()) {
        CScript script;
        if (!LoadScript(options.ScriptPath, &script, pError))
            return false;
        StartScript(std::move(script), options.nStepMs);
    }
    if (!options.RecordPath.empty())
        return StartRecording(options.RecordPath, pError);
    return true;
}

void PrintTimedemo(uint64_t nFrames, double dSeconds)
{
    const double dFps = dSeconds > 0.0 ? static_cast<double>(nFrames) / dSeconds : 0.0;
    std::printf("frames %llu seconds %.3f fps %.1f\n", static_cast<unsigned long long>(nFrames),
                dSeconds, dFps);
}

int RunViewer(const CViewerOptions& options)
{
    std::string error;
    if (!SetUpRoot(options.Root, &error))
        return Fail(error, EXIT_BAD_COMMAND_LINE);
    CSdlOptions sdlOptions;
    sdlOptions.bWindowed = options.bWindowed;
    sdlOptions.bScripted = !options.ScriptPath.empty();
    sdlOptions.bTimedemo = options.bTimedemo;
    if (!InitSdlBackend(sdlOptions, &error))
        return Fail(error, 1);
    SetPlatformBackend(GetSdlBackend());
    if (!SetUpInput(options, &error)) {
        ShutdownSdlBackend();
        return Fail(error, EXIT_BAD_COMMAND_LINE);
    }
    const auto start = std::chrono::steady_clock::now();
    {
        const CAppConfig config = MakeViewerConfig();
        CViewerApp app;
        app.Run(&config, GetModuleHandleA(nullptr));
    }
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    if (options.bTimedemo)
        PrintTimedemo(GetFramesRun(), elapsed.count());
    StopRecording();
    SetPlatformBackend(nullptr);
    ShutdownSdlBackend();
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    CViewerOptions options;
    std::string error;
    if (!ParseViewerOptions(argc, argv, &options, &error)) {
        std::fprintf(stderr, "vorlane: %s\n\n%s", error.c_str(), ViewerUsage());
        return EXIT_BAD_COMMAND_LINE;
    }
    if (options.bHelp) {
        std::fputs(ViewerUsage(), stdout);
        return 0;
    }
    if (options.bVersion) {
        std::printf("vorlane %s\n", VORLANE_VERSION);
        return 0;
    }
    return RunViewer(options);
}
