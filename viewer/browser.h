#pragma once
// The browser's list of folders and compiled map files of one directory, in
// the order the directory gave them, and its timing and layout constants.
#include "platform/gdi.h"

#include <cstdint>

struct CFileEntry {
    char* pszName; // owned; a folder's ends in a backslash
    int32_t nLength;
    CFileEntry* pNext;
};

// If the link is empty, makes an entry there with a copy of the name and
// gives the link; else goes on with the entry's pNext. Null for a null link.
// A caller keeps the result and passes it in again, so that appending to a
// long list needs no walk from its head.
CFileEntry** AppendEntry(CFileEntry** ppLink, const char* pszName);
// Frees the entries from the end of the list to the front; nulls the link.
void FreeEntries(CFileEntry** ppLink);

constexpr double BROWSER_FIRST_INTERVAL = 0.2;
constexpr double BROWSER_REPEAT_INTERVAL = 0.02;

constexpr COLORREF BROWSER_GREEN = 0x04FF36;  // title, frame, scroll bar, map files
constexpr COLORREF BROWSER_GREY = 0xC8C8C8;   // folders and the path
constexpr COLORREF BROWSER_SELECTED = 0xFF0436;

constexpr int BROWSER_HEADER = 64;  // list rows start below the title
constexpr int BROWSER_ROW = 32;
constexpr int BROWSER_MARGIN = 78;  // screen height minus the list's height

// The root pattern; its length 4 is where the back step stops.
constexpr const char* BROWSER_ROOT = "C:\\*";
constexpr int BROWSER_ROOT_LENGTH = 4;

// A new[] copy of the root pattern, for pszPath.
char* CopyRootPattern();
// True for a name longer than 3 characters ending in exactly ".vmz" or
// exactly ".VMZ".
bool IsMapFileName(const char* pszName);
// The back step on a pattern ending in "*": "C:\maps\old\*" becomes
// "C:\maps\*", anything at the first level the root. Works in place; the
// buffer holds at least BROWSER_ROOT_LENGTH + 1 bytes.
void StepBackPath(char* pszPath);
