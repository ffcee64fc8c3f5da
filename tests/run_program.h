#pragma once
// Runs one of the programs for an end-to-end test: headless (the offscreen
// video driver, software rendering, no sound card), with its output kept.
#include <cstdio>
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
