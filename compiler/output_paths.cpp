#include "compiler/output_paths.h"

#include <filesystem>

namespace fs = std::filesystem;

namespace {

std::string FolderOf(const std::string& path)
{
    const fs::path folder = fs::path(path).parent_path();
    return folder.empty() ? "." : folder.string();
}

} // namespace

std::string CheckCompilePaths(const std::string& map, const std::string& output,
                              const std::string& logDir)
{
    std::error_code error;
    const fs::file_status mapStatus = fs::status(map, error);
    if (fs::is_directory(mapStatus))
        return "a folder, not a map text";
    if (fs::exists(mapStatus) && !fs::is_regular_file(mapStatus))
        return "not a regular file (a pipe or a device?), not a map text";

    const fs::file_status outStatus = fs::status(output, error);
    if (fs::exists(outStatus)) {
        if (!fs::is_regular_file(outStatus))
            return "the output " + output + " exists and is not a regular file; it is left alone";
        if (fs::equivalent(map, output, error))
            return "the output " + output + " is the map itself; give another with -o";
    }
    const std::string outFolder = FolderOf(output);
    if (!fs::is_directory(outFolder, error))
        return "the output folder " + outFolder + " does not exist";
    if (!fs::is_directory(logDir, error))
        return "the log folder " + logDir + " does not exist";
    return std::string();
}

std::string PointFilePath(const std::string& output)
{
    return fs::path(output).replace_extension(".pts").string();
}
