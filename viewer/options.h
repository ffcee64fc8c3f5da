#pragma once
// The command line of the viewer.
#include <cstdint>
#include <string>

struct CViewerOptions {
    std::string Root;       // the directory "C:\" stands for; empty: "/"
    bool bWindowed = false;
    std::string ScriptPath; // input from a script instead of the devices
    uint32_t nStepMs = 20;  // the fixed clock step of a script run
    std::string RecordPath; // the live input written as a script
    bool bTimedemo = false;
    bool bHelp = false;
    bool bVersion = false;
};

// Parses argv; false with a message for people in *pError.
bool ParseViewerOptions(int argc, const char* const* argv, CViewerOptions* pOut,
                        std::string* pError);
const char* ViewerUsage();
