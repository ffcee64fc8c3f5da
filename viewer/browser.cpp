// The map browser: the list of folders and compiled map files under the
// pattern in pszPath, a highlight moved with repeat timing, and the steps
// into a folder, back to its parent, and onto a map.
#include "viewer/browser.h"

#include "input/joystick.h"
#include "platform/find_file.h"
#include "viewer/stick.h"
#include "viewer/viewer_app.h"

#include <cstring>

namespace {

constexpr int POV_UP = HAT_OFF_CENTRE | HAT_UP;     // 24
constexpr int POV_DOWN = HAT_OFF_CENTRE | HAT_DOWN; // 20

char* NewText(size_t nLength)
{
    char* pszText = new char[nLength + 1];
    pszText[0] = '\0';
    return pszText;
}

} // namespace

CFileEntry** AppendEntry(CFileEntry** ppLink, const char* pszName)
{
    if (!ppLink)
        return nullptr;
    while (*ppLink)
        ppLink = &(*ppLink)->pNext;
    const size_t nLength = std::strlen(pszName);
    CFileEntry* pEntry = new CFileEntry{NewText(nLength), static_cast<int32_t>(nLength), nullptr};
    std::memcpy(pEntry->pszName, pszName, nLength + 1);
    *ppLink = pEntry;
    return ppLink;
}

void FreeEntries(CFileEntry** ppLink)
{
    if (!ppLink || !*ppLink)
        return;
    FreeEntries(&(*ppLink)->pNext);
    delete[] (*ppLink)->pszName;
    delete *ppLink;
    *ppLink = nullptr;
}

char* CopyRootPattern()
{
    char* pszRoot = new char[BROWSER_ROOT_LENGTH + 1];
    std::memcpy(pszRoot, BROWSER_ROOT, BROWSER_ROOT_LENGTH + 1);
    return pszRoot;
}

bool IsMapFileName(const char* pszName)
{
    const size_t nLength = std::strlen(pszName);
    if (nLength <= 3)
        return false;
    const char* pszEnd = pszName + nLength - 4;
    return std::strcmp(pszEnd, ".vmz") == 0 || std::strcmp(pszEnd, ".VMZ") == 0;
}

void StepBackPath(char* pszPath)
{
    int n = static_cast<int>(std::strlen(pszPath));
    int k = (n >= 2 && pszPath[n - 2] == '\\') ? 2 : 1;
    while (n > BROWSER_ROOT_LENGTH) {
        if (pszPath[n] == '\\' && --k == 0) {
            std::memcpy(pszPath + n, "\\*", 3);
            return;
        }
        --n;
    }
    std::memcpy(pszPath, BROWSER_ROOT, BROWSER_ROOT_LENGTH + 1);
}

void CViewerApp::BrowserProcess()
{
    if (nFileCount != -1)
        return;
    nVisibleRows = (ScreenRect.bottom - ScreenRect.top - BROWSER_MARGIN) / BROWSER_ROW;
    nTop = 0;
    FreeEntries(&pFileList);
    nFileCount = 0;
    WIN32_FIND_DATAA found;
    HANDLE_FIND hFind = FindFirstFileA(pszPath, &found);
    CFileEntry** ppLink = &pFileList;
    bool bMore = hFind != INVALID_HANDLE_VALUE_FIND;
    while (bMore) {
        char* pszName = found.cFileName;
        if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
            if (pszName[0] != '.' && std::strlen(pszName) + 1 < sizeof(found.cFileName)) {
                std::strcat(pszName, "\\");
                ppLink = AppendEntry(ppLink, pszName);
                ++nFileCount;
            }
        } else if (IsMapFileName(pszName)) {
            ppLink = AppendEntry(ppLink, pszName);
            ++nFileCount;
        }
        bMore = FindNextFileA(hFind, &found);
    }
    FindClose(hFind);
}

void CViewerApp::ReadBrowserInput(int* pDirection, bool* pAccept, bool* pBack)
{
    if (const CJoystick* pJoystick = GetJoystick(0)) {
        // A hat or an axis the device lacks stands at rest.
        const int nPov = pJoystick->GetStickPovDirection(0);
        if (nPov == POV_UP)
            *pDirection = -1;
        else if (nPov == POV_DOWN)
            *pDirection = 1;
        *pAccept = IsJoyButtonPressed(1);
        *pBack = IsJoyButtonPressed(2);
        const int64_t nPast = PastDeadZone(pJoystick->GetStickAxis(1));
        if (nPast < 0)
            *pDirection = -1;
        else if (nPast > 0)
            *pDirection = 1;
    }
    // The keyboard comes second so that it wins; Down wins over Up.
    if (GetKeyState(DIK_UP) != INPUT_UP)
        *pDirection = -1;
    if (GetKeyState(DIK_DOWN) != INPUT_UP)
        *pDirection = 1;
    if (GetKeyState(DIK_RETURN) == INPUT_PRESSED)
        *pAccept = true;
    if (GetKeyState(DIK_BACK) == INPUT_PRESSED)
        *pBack = true;
}

// One move at once, a second after the first interval, then one every
// repeat interval while the direction is held.
void CViewerApp::StepSelection(int nDirection)
{
    if (dRepeatTime == 0.0)
        nSelected += nDirection;
    dRepeatTime += GetFrameSeconds();
    double dInterval = nRepeatCount > 1 ? BROWSER_REPEAT_INTERVAL : BROWSER_FIRST_INTERVAL;
    while (dRepeatTime > dInterval) {
        dRepeatTime -= dInterval;
        ++nRepeatCount;
        nSelected += nDirection;
        dInterval = nRepeatCount > 1 ? BROWSER_REPEAT_INTERVAL : BROWSER_FIRST_INTERVAL;
    }
}

void CViewerApp::AcceptEntry()
{
    nFileCount = -1;
    CFileEntry* pEntry = pFileList;
    for (int i = 0; pEntry && i < nSelected; ++i)
        pEntry = pEntry->pNext;
    if (nSelected >= 0 && pEntry) {
        const bool bFolder = pEntry->nLength > 0 && pEntry->pszName[pEntry->nLength - 1] == '\\';
        const size_t nBase = std::strlen(pszPath) - 1;
        char* pszNew = NewText(nBase + pEntry->nLength + 1);
        std::memcpy(pszNew, pszPath, nBase);
        std::memcpy(pszNew + nBase, pEntry->pszName, pEntry->nLength);
        pszNew[nBase + pEntry->nLength] = '\0';
        if (bFolder) {
            std::strcat(pszNew, "*");
        } else {
            nState = VIEWER_LOADING;
            nTop = 0;
            nSelected = 0;
            dLoadTime = 0.0;
            bLoadingShown = false;
        }
        delete[] pszPath;
        pszPath = pszNew;
    }
    nSelected = 0;
    nTop = 0;
}

void CViewerApp::BrowserUpdate()
{
    if (GetKeyState(DIK_ESCAPE) == INPUT_RELEASED || IsJoyButtonPressed(0))
        RequestQuit(0);
    if (nFileCount == -1)
        return;

    int nDirection = 0;
    bool bAccept = false;
    bool bBack = false;
    ReadBrowserInput(&nDirection, &bAccept, &bBack);
    if (nDirection != 0 && !bAccept) {
        StepSelection(nDirection);
    } else {
        nRepeatCount = 0;
        dRepeatTime = 0.0;
    }
    if (nSelected < 0)
        nSelected = 0;
    if (nSelected > nFileCount - 1)
        nSelected = nFileCount - 1;
    if (nSelected < nTop)
        nTop = nSelected;
    if (nSelected - nTop >= nVisibleRows)
        nTop = nSelected - nVisibleRows + 1;

    if (bAccept) {
        AcceptEntry();
    } else if (bBack) {
        nFileCount = -1;
        nSelected = 0;
        nTop = 0;
        StepBackPath(pszPath);
    }
}
