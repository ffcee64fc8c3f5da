#include "compiler/compile_options.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>

namespace {

// A whole decimal number that fills the word, within [low, high].
bool ParseInt(const std::string& word, int32_t low, int32_t high, int32_t* pValue)
{
    if (word.empty())
        return false;
    char* pEnd = nullptr;
    errno = 0;
    const long value = std::strtol(word.c_str(), &pEnd, 10);
    if (*pEnd != '\0' || errno == ERANGE || value < low || value > high)
        return false;
    *pValue = static_cast<int32_t>(value);
    return true;
}

// A finite number that fills the word.
bool ParseNumber(const std::string& word, double* pValue)
{
    if (word.empty())
        return false;
    char* pEnd = nullptr;
    errno = 0;
    const double value = std::strtod(word.c_str(), &pEnd);
    if (*pEnd != '\0' || errno == ERANGE || !std::isfinite(value))
        return false;
    *pValue = value;
    return true;
}

} // namespace

bool ParseCompileOptions(const std::vector<std::string>& args, CCompileOptions* pOptions,
                         std::string* pError)
{
    CCompileOptions options;
    std::vector<std::string> maps;
    bool bOptionsEnded = false;

    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& word = args[i];
        if (bOptionsEnded || word.empty() || word[0] != '-') {
            maps.push_back(word);
            continue;
        }
        // Takes the value of the option at i; false when there is none.
        auto value = [&](std::string* pValue) {
            if (i + 1 >= args.size()) {
                *pError = "option " + word + " needs a value";
                return false;
            }
            *pValue = args[++i];
            return true;
        };

        std::string text;
        if (word == "--") {
            bOptionsEnded = true;
        } else if (word == "-o") {
            if (!value(&options.OutputPath))
                return false;
            if (options.OutputPath.empty()) {
                *pError = "option -o needs a file name";
                return false;
            }
        } else if (word == "--lights") {
            if (!value(&options.LightsPath))
                return false;
            if (options.LightsPath.empty()) {
                *pError = "option --lights needs a file name";
                return false;
            }
        } else if (word == "--log-dir") {
            if (!value(&options.LogDir))
                return false;
            if (options.LogDir.empty()) {
                *pError = "option --log-dir needs a directory";
                return false;
            }
        } else if (word == "--start") {
            if (i + 3 >= args.size()) {
                *pError = "option --start needs three numbers X Y Z";
                return false;
            }
            for (int axis = 0; axis < 3; ++axis) {
                const std::string& number = args[++i];
                if (!ParseNumber(number, &options.Start[axis])) {
                    *pError = "option --start: '" + number + "' is not a number";
                    return false;
                }
            }
            options.bStartGiven = true;
        } else if (word == "--builder") {
            if (!value(&text))
                return false;
            if (text == "list") {
                options.Builder = ETreeBuilder::List;
            } else if (text == "set") {
                options.Builder = ETreeBuilder::Set;
            } else {
                *pError = "option --builder: '" + text + "' is neither 'list' nor 'set'";
                return false;
            }
        } else if (word == "--threads") {
            if (!value(&text))
                return false;
            if (!ParseInt(text, 1, COMPILE_MAX_THREADS, &options.Threads)) {
                *pError = "option --threads: '" + text + "' is not a whole number from 1 to " +
                          std::to_string(COMPILE_MAX_THREADS);
                return false;
            }
        } else if (word == "--bounces") {
            if (!value(&text))
                return false;
            if (!ParseInt(text, 0, COMPILE_MAX_BOUNCES, &options.Bounces)) {
                *pError = "option --bounces: '" + text + "' is not a whole number from 0 to " +
                          std::to_string(COMPILE_MAX_BOUNCES);
                return false;
            }
        } else if (word == "--base-size") {
            if (!value(&text))
                return false;
            if (!ParseInt(text, COMPILE_DEFAULT_BASE_SIZE, COMPILE_MAX_BASE_SIZE,
                          &options.BaseSize)) {
                *pError = "option --base-size: '" + text + "' is not a whole number from " +
                          std::to_string(COMPILE_DEFAULT_BASE_SIZE) + " to " +
                          std::to_string(COMPILE_MAX_BASE_SIZE);
                return false;
            }
        } else if (word == "--leak-fail") {
            options.bLeakFail = true;
        } else if (word == "--no-light") {
            options.bNoLight = true;
        } else if (word == "--no-vis") {
            options.bNoVis = true;
        } else if (word == "--no-entity-lights") {
            options.bNoEntityLights = true;
        } else if (word == "--keep-origin") {
            options.bKeepOrigin = true;
        } else if (word == "--format") {
            if (!value(&text))
                return false;
            if (!ParseMapDialect(text, &options.Format)) {
                *pError = "option --format: '" + text + "' is none of " + MapDialectNames();
                return false;
            }
        } else if (word == "--world-only") {
            options.bWorldOnly = true;
        } else if (word == "--wad" || word == "--wad-dir" || word == "--palette") {
            if (!value(&text))
                return false;
            if (text.empty()) {
                *pError = "option " + word + " needs a " +
                          (word == "--wad-dir" ? "directory" : "file name");
                return false;
            }
            if (word == "--wad")
                options.WadPaths.push_back(text);
            else if (word == "--wad-dir")
                options.WadDirs.push_back(text);
            else
                options.PalettePath = text;
        } else if (word == "--no-textures") {
            options.bNoTextures = true;
        } else if (word == "-q") {
            options.bQuiet = true;
        } else if (word == "--help" || word == "-h") {
            options.bHelp = true;
        } else if (word == "--version") {
            options.bVersion = true;
        } else {
            *pError = "unknown option " + word;
            return false;
        }
    }

    if (maps.size() > 1) {
        *pError = "one map at a time: '" + maps[1] + "' is one too many";
        return false;
    }
    if (maps.empty() && !options.bHelp && !options.bVersion) {
        *pError = "no map file given";
        return false;
    }
    if (!maps.empty())
        options.MapPath = maps[0];
    *pOptions = options;
    return true;
}

void PrintCompileUsage(std::ostream& stream)
{
    stream << "usage: " << COMPILE_TOOL_NAME << " [options] MAP\n"
           << "Compiles the map text MAP into a compiled map file (MAP with the extension .vmz).\n"
           << "\n"
           << "  -o FILE            output file\n"
           << "  --lights FILE      light list (default: MAP with the extension .lights, if any)\n"
           << "  --start X Y Z      start location in map text axes (default: the origin of\n"
           << "                     the first info_player_start)\n"
           << "  --builder list|set tree builder (default: set)\n"
           << "  --threads N        threads of the tree, portal, visibility and light stages\n"
           << "                     (default: one per core)\n"
           << "  --bounces N        light bounces (default: 1)\n"
           << "  --no-light         skip the light passes: full-bright lightmaps\n"
           << "  --no-vis           skip the visibility flow: every leaf sees every leaf\n"
           << "  --no-entity-lights light by the light list alone, not by light entities\n"
           << "  --keep-origin      keep the map where it stands instead of moving the start\n"
           << "                     location to the origin\n"
           << "  --format NAME      read the map text as one dialect instead of telling the\n"
           << "                     dialects apart side by side: auto (the default), quake\n"
           << "                     (no axes), quake2 and hexen2 (three or one surface\n"
           << "                     numbers after the scales, with or without axes), valve\n"
           << "                     (Valve 220: axes used as they stand) or vorlane\n"
           << "                     (bracketed axes that a rotation turns). Valve 220 is\n"
           << "                     assumed where the map says so (\"mapversion\" \"220\" or\n"
           << "                     a \"// Format: Valve\" line)\n"
           << "  --world-only       only the world's brushes; without it the brushes of\n"
           << "                     func_group and func_detail* entities join the world\n"
           << "  --wad FILE         a WAD to take textures from, besides those of the map's\n"
           << "                     \"wad\" key (repeatable)\n"
           << "  --wad-dir DIR      a folder to find the \"wad\" key's files in (repeatable)\n"
           << "  --palette FILE     the palette of WAD2 textures (default: palette.lmp or a\n"
           << "                     palette lump beside the WADs)\n"
           << "  --no-textures      write no texture pictures beside the output\n"
           << "  --base-size N      half-side of the square every brush side and portal starts\n"
           << "                     from (default 5800, at most 262144); sides beyond it are\n"
           << "                     lost. A larger square costs precision: its corners, and\n"
           << "                     so the cut points of long faces, are rounded to about\n"
           << "                     N / 8,000,000 units\n"
           << "  --leak-fail        a map that leaks fails (exit 1, no output; the point file\n"
           << "                     is still written)\n"
           << "  --log-dir DIR      directory of the fixed logs (default: beside the output;\n"
           << "                     it must exist)\n"
           << "  -q                 print the stage lines only on failure\n"
           << "  --help, --version\n"
           << "\n"
           << "Exit status: 0 compiled, 1 input that can't be compiled, 2 bad command line.\n";
}

int ReadCompileCommandLine(int argc, const char* const* argv, CCompileOptions* pOptions,
                           std::ostream& out, std::ostream& err)
{
    std::vector<std::string> args;
    for (int i = 1; i < argc; ++i)
        args.emplace_back(argv[i] ? argv[i] : "");

    std::string error;
    if (!ParseCompileOptions(args, pOptions, &error)) {
        err << COMPILE_TOOL_NAME << ": " << error << "\n";
        PrintCompileUsage(err);
        return COMPILE_EXIT_USAGE;
    }
    if (pOptions->bHelp) {
        PrintCompileUsage(out);
        return COMPILE_EXIT_OK;
    }
    if (pOptions->bVersion) {
        out << COMPILE_TOOL_NAME << " " << COMPILE_TOOL_VERSION << "\n";
        return COMPILE_EXIT_OK;
    }
    return -1;
}
