#include "viewer/program_setup.h"

#include "platform/files.h"
#include "platform/sdl_backend.h"
#include "viewer/options.h"
#include "viewer/script.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>

namespace {

constexpr int EXIT_BAD_COMMAND_LINE = 2;

int Fail(const char* pszProgram, const std::string& text, int nCode)
{
    std::fprintf(stderr, "%s: %s\n", pszProgram, text.c_str());
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

int RunOnPlatform(const CViewerOptions& options, const char* pszProgram,
                  const std::function<void()>& runApp)
{
    std::string error;
    if (!SetUpRoot(options.Root, &error))
        return Fail(pszProgram, error, EXIT_BAD_COMMAND_LINE);
    CSdlOptions sdlOptions;
    sdlOptions.bWindowed = options.bWindowed;
    sdlOptions.bScripted = !options.ScriptPath.empty();
    sdlOptions.bTimedemo = options.bTimedemo;
    if (!InitSdlBackend(sdlOptions, &error))
        return Fail(pszProgram, error, 1);
    SetPlatformBackend(GetSdlBackend());
    if (!SetUpInput(options, &error)) {
        ShutdownSdlBackend();
        return Fail(pszProgram, error, EXIT_BAD_COMMAND_LINE);
    }
    const auto start = std::chrono::steady_clock::now();
    runApp();
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    if (options.bTimedemo)
        PrintTimedemo(GetFramesRun(), elapsed.count());
    StopRecording();
    SetPlatformBackend(nullptr);
    ShutdownSdlBackend();
    return 0;
}

} // namespace

int RunWithViewerOptions(int argc, char** argv, const char* pszProgram, const char* pszVersion,
                         const char* pszUsage, const std::function<void()>& runApp)
{
    CViewerOptions options;
    std::string error;
    if (!ParseViewerOptions(argc, argv, &options, &error)) {
        std::fprintf(stderr, "%s: %s\n\n%s", pszProgram, error.c_str(), pszUsage);
        return EXIT_BAD_COMMAND_LINE;
    }
    if (options.bHelp) {
        std::fputs(pszUsage, stdout);
        return 0;
    }
    if (options.bVersion) {
        std::printf("%s %s\n", pszProgram, pszVersion);
        return 0;
    }
    return RunOnPlatform(options, pszProgram, runApp);
}
