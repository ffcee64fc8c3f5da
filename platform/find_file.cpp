#include "platform/find_file.h"

#include "platform/files.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <strings.h>
#include <dirent.h>
#include <string>
#include <sys/stat.h>
#include <vector>

class CFindHandle {
public:
    std::vector<WIN32_FIND_DATAA> Entries;
    size_t nNext = 0;
};

namespace {

// Wildcard match ignoring ASCII case: "*" any run, "?" one character.
bool MatchesPattern(const char* pszPattern, const char* pszName)
{
    if (*pszPattern == '\0')
        return *pszName == '\0';
    if (*pszPattern == '*')
        return MatchesPattern(pszPattern + 1, pszName) ||
               (*pszName != '\0' && MatchesPattern(pszPattern, pszName + 1));
    if (*pszName == '\0')
        return false;
    const bool bSame = *pszPattern == '?' ||
                       std::tolower(static_cast<unsigned char>(*pszPattern)) ==
                           std::tolower(static_cast<unsigned char>(*pszName));
    return bSame && MatchesPattern(pszPattern + 1, pszName + 1);
}

bool NameLess(const WIN32_FIND_DATAA& a, const WIN32_FIND_DATAA& b)
{
    return strcasecmp(a.cFileName, b.cFileName) < 0;
}

WIN32_FIND_DATAA MakeEntry(const std::string& dir, const char* pszName)
{
    WIN32_FIND_DATAA entry = {};
    std::snprintf(entry.cFileName, sizeof(entry.cFileName), "%s", pszName);
    struct stat info;
    if (stat((dir + "/" + pszName).c_str(), &info) == 0) {
        entry.dwFileAttributes =
            S_ISDIR(info.st_mode) ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL;
        entry.nFileSize = static_cast<uint64_t>(info.st_size);
    } else {
        entry.dwFileAttributes = FILE_ATTRIBUTE_NORMAL;
    }
    return entry;
}

std::vector<WIN32_FIND_DATAA> ListMatches(const std::string& dir, const std::string& pattern)
{
    std::vector<WIN32_FIND_DATAA> entries;
    DIR* pDir = opendir(dir.empty() ? "." : dir.c_str());
    if (!pDir)
        return entries;
    while (dirent* pEntry = readdir(pDir)) {
        if (std::strlen(pEntry->d_name) >= sizeof(entries[0].cFileName))
            continue;
        if (MatchesPattern(pattern.c_str(), pEntry->d_name))
            entries.push_back(MakeEntry(dir.empty() ? "." : dir, pEntry->d_name));
    }
    closedir(pDir);
    std::sort(entries.begin(), entries.end(), NameLess);
    return entries;
}

} // namespace

HANDLE_FIND FindFirstFileA(const char* pszPattern, WIN32_FIND_DATAA* pOut)
{
    if (!pszPattern || !pOut)
        return INVALID_HANDLE_VALUE_FIND;
    const std::string mapped = MapPath(pszPattern);
    const size_t nSlash = mapped.find_last_of('/');
    const std::string dir = nSlash == std::string::npos ? "" : mapped.substr(0, nSlash + 1);
    const std::string pattern = nSlash == std::string::npos ? mapped : mapped.substr(nSlash + 1);
    CFindHandle* pFind = new CFindHandle;
    pFind->Entries = ListMatches(dir, pattern);
    if (!FindNextFileA(pFind, pOut)) {
        delete pFind;
        return INVALID_HANDLE_VALUE_FIND;
    }
    return pFind;
}

bool FindNextFileA(HANDLE_FIND hFind, WIN32_FIND_DATAA* pOut)
{
    if (!hFind || !pOut || hFind->nNext >= hFind->Entries.size())
        return false;
    *pOut = hFind->Entries[hFind->nNext++];
    return true;
}

bool FindClose(HANDLE_FIND hFind)
{
    delete hFind;
    return hFind != nullptr;
}
