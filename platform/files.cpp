#include "platform/files.h"

#include <algorithm>
#include <dirent.h>
#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const char* const DEFAULT_DRIVE_ROOT = "/";

std::string g_DriveRoot = DEFAULT_DRIVE_ROOT;

// True when the path starts with the one drive the core knows, "C:" or "c:".
bool HasDrive(const char* pszPath)
{
    return (pszPath[0] == 'C' || pszPath[0] == 'c') && pszPath[1] == ':';
}

std::string ToSlashes(const char* pszText)
{
    std::string result(pszText);
    std::replace(result.begin(), result.end(), '\\', '/');
    return result;
}

// The existing file that a core path names, or the plain mapped path when
// nothing matches (so that a new file gets the name as written).
std::string ResolveExisting(const std::string& mapped)
{
    std::string found = FindFileNoCase(mapped);
    return found.empty() ? mapped : found;
}

} // namespace

void SetDriveRoot(const std::string& dir)
{
    g_DriveRoot = dir.empty() ? DEFAULT_DRIVE_ROOT : dir;
}

std::string GetDriveRoot()
{
    return g_DriveRoot;
}

std::string MapPath(const char* pszPath)
{
    if (!pszPath)
        return std::string();
    if (!HasDrive(pszPath))
        return ToSlashes(pszPath);

    // "C:\a", "C:/a" and "C:a" all name "a" under the root.
    std::string rest = ToSlashes(pszPath + 2);
    size_t nFirst = rest.find_first_not_of('/');
    rest.erase(0, nFirst == std::string::npos ? rest.size() : nFirst);

    std::string result = g_DriveRoot;
    if (rest.empty())
        return result;
    if (result.back() != '/')
        result += '/';
    return result + rest;
}

std::string FindFileNoCase(const std::string& path)
{
    if (path.empty())
        return std::string();
    struct stat info;
    if (::stat(path.c_str(), &info) == 0)
        return path;

    size_t nSlash = path.rfind('/');
    std::string dir = nSlash == std::string::npos ? std::string(".") : path.substr(0, nSlash + 1);
    std::string name = nSlash == std::string::npos ? path : path.substr(nSlash + 1);
    if (name.empty())
        return std::string();

    DIR* pDir = ::opendir(dir.c_str());
    if (!pDir)
        return std::string();
    std::string best;
    bool bFound = false;
    while (const dirent* pEntry = ::readdir(pDir)) {
        if (::strcasecmp(pEntry->d_name, name.c_str()) != 0)
            continue;
        // Directory order is arbitrary; the smallest name keeps the choice stable.
        if (!bFound || best.compare(pEntry->d_name) > 0)
            best = pEntry->d_name;
        bFound = true;
    }
    ::closedir(pDir);
    if (!bFound)
        return std::string();
    return nSlash == std::string::npos ? best : dir + best;
}

int OpenFileRead(const char* pszPath)
{
    if (!pszPath)
        return -1;
    std::string found = FindFileNoCase(MapPath(pszPath));
    if (found.empty())
        return -1;
    int hFile = ::open(found.c_str(), O_RDONLY | O_CLOEXEC);
    if (hFile < 0)
        return -1;
    // Only plain files open for reading; a directory or a device does not.
    struct stat info;
    if (::fstat(hFile, &info) != 0 || !S_ISREG(info.st_mode)) {
        ::close(hFile);
        return -1;
    }
    return hFile;
}

int CreateFileWrite(const char* pszPath)
{
    if (!pszPath)
        return -1;
    std::string mapped = MapPath(pszPath);
    if (mapped.empty())
        return -1;
    int hFile = ::open(ResolveExisting(mapped).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC,
                       0644);
    return hFile < 0 ? -1 : hFile;
}

bool DeleteFileAt(const char* pszPath)
{
    if (!pszPath)
        return false;
    std::string found = FindFileNoCase(MapPath(pszPath));
    return !found.empty() && ::unlink(found.c_str()) == 0;
}
