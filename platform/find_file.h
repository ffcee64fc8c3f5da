#pragma once
// Directory listing by pattern, as the browser asks for it: "C:\maps\*"
// lists the directory that "C:\maps\" maps to, "*" and "?" matching within
// the last component, case ignored. Entries come sorted by name, ignoring
// case, "." and ".." first; the directory flag is FILE_ATTRIBUTE_DIRECTORY.
#include <cstdint>

constexpr uint32_t FILE_ATTRIBUTE_DIRECTORY = 0x10;
constexpr uint32_t FILE_ATTRIBUTE_NORMAL = 0x80;

struct WIN32_FIND_DATAA {
    uint32_t dwFileAttributes;
    uint64_t nFileSize;
    char cFileName[260];
};

class CFindHandle;
using HANDLE_FIND = CFindHandle*;
inline HANDLE_FIND const INVALID_HANDLE_VALUE_FIND = nullptr;

// The first match, or INVALID_HANDLE_VALUE_FIND when the directory can not
// be read or nothing matches.
HANDLE_FIND FindFirstFileA(const char* pszPattern, WIN32_FIND_DATAA* pOut);
// False when no entry is left.
bool FindNextFileA(HANDLE_FIND hFind, WIN32_FIND_DATAA* pOut);
bool FindClose(HANDLE_FIND hFind);
