#pragma once
// The frame around one application run for the programs that take the
// viewer's command line: parsing it, --help and --version, the drive root,
// the SDL platform, scripted or recorded input, the timedemo line, and
// taking it all down again.
#include <functional>

// Runs runApp inside that frame; gives the exit code: 0 after a run or for
// --help and --version, 1 when the platform does not start, 2 for a bad
// command line. pszProgram names the program in messages; pszUsage is what
// --help and a bad command line print.
int RunWithViewerOptions(int argc, char** argv, const char* pszProgram, const char* pszVersion,
                         const char* pszUsage, const std::function<void()>& runApp);
