#include "viewer/options.h"

#include <cstdlib>
#include <cstring>

namespace {

bool TakeValue(int argc, const char* const* argv, int* pIndex, std::string* pOut,
               std::string* pError)
{
    if (*pIndex + 1 >= argc) {
        *pError = std::string(argv[*pIndex]) + " needs a value";
        return false;
    }
    *pOut = argv[++*pIndex];
    return true;
}

bool ParseStep(const std::string& text, uint32_t* pOut, std::string* pError)
{
    char* pszEnd = nullptr;
    const long nValue = std::strtol(text.c_str(), &pszEnd, 10);
    if (text.empty() || *pszEnd != '\0' || nValue < 1 || nValue > 10000) {
        *pError = "--step-ms takes a whole number of milliseconds from 1 to 10000, not \"" +
                  text + "\"";
        return false;
    }
    *pOut = static_cast<uint32_t>(nValue);
    return true;
}

bool ParseOne(int argc, const char* const* argv, int* pIndex, CViewerOptions* pOut,
              std::string* pError)
{
    const std::string arg = argv[*pIndex];
    if (arg == "--root")
        return TakeValue(argc, argv, pIndex, &pOut->Root, pError);
    if (arg == "--script")
        return TakeValue(argc, argv, pIndex, &pOut->ScriptPath, pError);
    if (arg == "--record")
        return TakeValue(argc, argv, pIndex, &pOut->RecordPath, pError);
    if (arg == "--step-ms") {
        std::string value;
        return TakeValue(argc, argv, pIndex, &value, pError) &&
               ParseStep(value, &pOut->nStepMs, pError);
    }
    if (arg == "--windowed")
        pOut->bWindowed = true;
    else if (arg == "--timedemo")
        pOut->bTimedemo = true;
    else if (arg == "--help" || arg == "-h")
        pOut->bHelp = true;
    else if (arg == "--version")
        pOut->bVersion = true;
    else {
        *pError = "unknown option \"" + arg + "\"";
        return false;
    }
    return true;
}

} // namespace

bool ParseViewerOptions(int argc, const char* const* argv, CViewerOptions* pOut,
                        std::string* pError)
{
    for (int i = 1; i < argc; ++i) {
        if (!ParseOne(argc, argv, &i, pOut, pError))
            return false;
    }
    if (pOut->bTimedemo && pOut->ScriptPath.empty()) {
        *pError = "--timedemo needs --script FILE";
        return false;
    }
    if (!pOut->ScriptPath.empty() && !pOut->RecordPath.empty()) {
        *pError = "--record writes live input; it can not be used with --script";
        return false;
    }
    return true;
}

const char* ViewerUsage()
{
    return "Usage: vorlane [options]\n"
           "Browse compiled maps (.vmz) and walk through them.\n"
           "\n"
           "  --root DIR      the directory the browser's root \"C:\\\" stands for (default /)\n"
           "  --windowed      a 1024x768 window instead of full screen\n"
           "  --script FILE   take input from a script; runs headless without a display\n"
           "  --step-ms N     clock step of a script run in milliseconds (default 20)\n"
           "  --record FILE   write the live input of this run as a script\n"
           "  --timedemo      with --script: run as fast as possible, print frames per second\n"
           "  --help          this text\n"
           "  --version       the version\n"
           "\n"
           "Browser: Up/Down choose, Enter opens, Backspace goes back, Escape quits.\n"
           "Map: W/S move forward and back, A/D to the side, the mouse looks round,\n"
           "Tab steps the view mode (lit, wireframe, unlit), Escape returns to the browser.\n"
           "A map that does not load: Escape or Enter returns to the browser.\n"
           "Joystick: in the browser the hat or axis 1 chooses, button 1 opens, button 2\n"
           "goes back, button 0 quits; in a map axes 1/2 move, axes 3/4 look round,\n"
           "button 1 steps the view mode, button 2 returns to the browser.\n";
}
