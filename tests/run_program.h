#pragma once
// Runs one of the programs for an end-to-end test: headless (the offscreen
// video driver, software rendering, no sound card), with its output kept.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/wait.h>

struct CProgramRun {
    int nExitCode = -1;
    std::string Output; // standard output and standard error together
};

inline CProgramRun RunProgram(const std::string& command)
{
    const std::string full = "env -u DISPLAY -u WAYLAND_DISPLAY SDL_VIDEODRIVER=offscreen "
                             "GALLIUM_DRIVER=llvmpipe LIBGL_ALWAYS_SOFTWARE=1 "
                             "SDL_AUDIODRIVER=dummy " + command + " 2>&1";
    CProgramRun run;
    FILE* pPipe = popen(full.c_str(), "r");
    if (!pPipe)
        return run;
    char szBuffer[4096];
    size_t nRead;
    while ((nRead = fread(szBuffer, 1, sizeof(szBuffer), pPipe)) > 0)
        run.Output.append(szBuffer, nRead);
    const int nStatus = pclose(pPipe);
    run.nExitCode = WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : 128 + WTERMSIG(nStatus);
    return run;
}

inline std::string Quote(const std::string& text)
{
    std::string quoted = "'";
    for (char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

// A command run in a folder with its standard output and standard error
// kept apart, for the tools whose messages must go to the right one.
struct CSplitRun {
    int nExitCode = -1;
    std::string Out;
    std::string Err;
};

inline CSplitRun RunSplit(const std::string& command, const std::filesystem::path& dir)
{
    const std::filesystem::path out = dir / "run.out", err = dir / "run.err";
    const int nStatus = std::system(("cd " + Quote(dir.string()) + " && " + command + " >" +
                                     Quote(out.string()) + " 2>" + Quote(err.string()))
                                        .c_str());
    CSplitRun run;
    run.nExitCode = WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1;
    std::ifstream outFile(out, std::ios::binary), errFile(err, std::ios::binary);
    run.Out.assign(std::istreambuf_iterator<char>(outFile), {});
    run.Err.assign(std::istreambuf_iterator<char>(errFile), {});
    std::filesystem::remove(out);
    std::filesystem::remove(err);
    return run;
}

// The sample map data/maps/NAME.map compiled into ROOT/NAME.vmz, lit, with
// the sample pictures beside it; the compiler's logs go to logDir.
inline CProgramRun CompileSampleMap(const std::string& name, const std::filesystem::path& root,
                                    const std::filesystem::path& logDir)
{
    std::filesystem::create_directories(root);
    for (const auto& entry : std::filesystem::directory_iterator(VORLANE_DATA_MAPS_DIR))
        if (entry.path().extension() == ".bmp")
            std::filesystem::copy_file(entry.path(), root / entry.path().filename(),
                                       std::filesystem::copy_options::skip_existing);
    return RunProgram(std::string(VORLANE_COMPILE_BIN) + " -q --log-dir " +
                      Quote(logDir.string()) + " -o " + Quote((root / (name + ".vmz")).string()) +
                      " " + Quote(std::string(VORLANE_DATA_MAPS_DIR) + "/" + name + ".map"));
}
