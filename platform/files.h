#pragma once
// The file layer under the core. The core names files with Windows paths,
// backslashes included, and "C:\" (or "c:\") stands for a root directory that
// the program chooses: the file system's top by default, a scratch or log
// directory where a tool or a test says so. A path without a drive is taken
// relative to the current directory, as it stands apart from its separators.
//
// Files are found the way Windows finds them: by the exact name first, then
// by a case-insensitive match of the last component in its directory.
#include <string>

// The directory that "C:\" stands for. An empty text restores the default "/".
void SetDriveRoot(const std::string& dir);
std::string GetDriveRoot();

// The host path of a core path: "C:\a\b" becomes the drive root joined with
// "a/b"; any other path only has its backslashes turned into slashes. A null
// path maps to the empty text.
std::string MapPath(const char* pszPath);

// The host path under which the file at path (already a host path) exists:
// path itself when it exists, else the entry of its directory whose name
// matches the last component ignoring ASCII case (the smallest such name by
// byte order when there are several), else the empty text.
std::string FindFileNoCase(const std::string& path);

// Opens a regular file for reading; a POSIX descriptor, or -1.
int OpenFileRead(const char* pszPath);
// Creates a file for writing, or truncates the one that is there (found as
// OpenFileRead finds it); a POSIX descriptor, or -1.
int CreateFileWrite(const char* pszPath);
// Deletes a file, found as OpenFileRead finds it; false when none was deleted.
bool DeleteFileAt(const char* pszPath);
