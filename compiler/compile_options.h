#pragma once
// The command line of vorlane-compile: "vorlane-compile [options] MAP".
// ParseCompileOptions only reads and checks the words; the defaults that
// depend on the map's path (output, light list, log directory) are filled in
// by the pipeline, so that an options record made in code behaves the same.
#include "compiler/map_dialect.h"

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

constexpr const char* COMPILE_TOOL_NAME = "vorlane-compile";
constexpr const char* COMPILE_TOOL_VERSION = "0.1.0";

// Exit codes of the tool.
constexpr int COMPILE_EXIT_OK = 0;
constexpr int COMPILE_EXIT_FAILED = 1;  // input that can't be compiled
constexpr int COMPILE_EXIT_USAGE = 2;   // bad command line

enum class ETreeBuilder { List, Set };

// The range of --base-size: BASE_FACE_SIZE up to a square whose corners are
// still rounded well inside the compiler's tolerance band.
constexpr int32_t COMPILE_DEFAULT_BASE_SIZE = 5800;
constexpr int32_t COMPILE_MAX_BASE_SIZE = 262144;

struct CCompileOptions {
    std::string MapPath;
    std::string OutputPath; // empty: MapPath with the extension ".vmz"
    std::string LightsPath; // empty: MapPath with ".lights", when that file exists
    std::string LogDir;     // empty: the output's directory
    bool bStartGiven = false;
    double Start[3] = {0.0, 0.0, 0.0}; // map text axes, as typed
    ETreeBuilder Builder = ETreeBuilder::Set;
    int32_t Threads = 0; // 0: one per core
    int32_t Bounces = 1;
    bool bNoLight = false;
    bool bNoVis = false; // every leaf sees every leaf, in the light and in the file
    bool bNoEntityLights = false; // light entities of the map are left out
    bool bKeepOrigin = false;
    int32_t BaseSize = COMPILE_DEFAULT_BASE_SIZE; // half-side of the squares sides start from
    bool bLeakFail = false; // a leak stops the compile
    bool bQuiet = false;
    // Editor map text: the dialect (detected side by side unless forced) and
    // whether group and detail entities join the world.
    EMapDialect Format = EMapDialect::Auto;
    bool bWorldOnly = false;
    // Textures of editor maps, written as .bmp beside the output.
    std::vector<std::string> WadPaths; // --wad FILE, in order
    std::vector<std::string> WadDirs;  // --wad-dir DIR, in order
    std::string PalettePath;           // --palette FILE, for WAD2 textures
    bool bNoTextures = false;

    bool bHelp = false;
    bool bVersion = false;
};

// Largest values accepted for --threads and --bounces.
constexpr int32_t COMPILE_MAX_THREADS = 1024;
constexpr int32_t COMPILE_MAX_BOUNCES = 64;

// Reads the words after the program name. False with a one-line reason in
// *pError for an unknown option, a missing or malformed value, or a missing
// or second MAP. With --help or --version the map may be left out.
bool ParseCompileOptions(const std::vector<std::string>& args, CCompileOptions* pOptions,
                         std::string* pError);

// The usage text, ending with a line end.
void PrintCompileUsage(std::ostream& stream);

// The whole command line: parses, prints usage or version when asked, and
// reports a bad command line with usage on err. The result is -1 when the
// compile should run, else the exit code.
int ReadCompileCommandLine(int argc, const char* const* argv, CCompileOptions* pOptions,
                           std::ostream& out, std::ostream& err);
