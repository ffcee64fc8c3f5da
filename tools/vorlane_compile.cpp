// vorlane-compile: map text and light list to a compiled map file. The work
// is in compiler/compile_pipeline; this only reads the command line.
#include "compiler/compile_options.h"
#include "compiler/compile_pipeline.h"

#include <iostream>

int main(int argc, char** argv)
{
    CCompileOptions options;
    const int exitCode = ReadCompileCommandLine(argc, argv, &options, std::cout, std::cerr);
    if (exitCode >= 0)
        return exitCode;
    return RunCompile(options, std::cout, std::cerr);
}
