// A failed load: the reader's message on a screen of its own. Escape, Enter
// or joystick button 2 leads back to the browser, in the folder of the map
// that failed; joystick button 0 quits, as in the browser.
#include "viewer/viewer_app.h"

#include <cstring>

namespace {

constexpr COLORREF MESSAGE_COLOUR = 0x04FF36;
constexpr COLORREF HINT_COLOUR = 0xC8C8C8;

// "C:\maps\a.vmz" becomes "C:\maps\*"; a path without a folder the root.
char* FolderPattern(const char* pszPath)
{
    const char* pszSlash = std::strrchr(pszPath, '\\');
    if (!pszSlash)
        return CopyRootPattern();
    const size_t nFolder = static_cast<size_t>(pszSlash - pszPath) + 1;
    char* pszPattern = new char[nFolder + 2];
    std::memcpy(pszPattern, pszPath, nFolder);
    pszPattern[nFolder] = '*';
    pszPattern[nFolder + 1] = '\0';
    return pszPattern;
}

} // namespace

void CViewerApp::LoadFailedUpdate()
{
    if (IsJoyButtonPressed(0)) {
        RequestQuit(0);
        return;
    }
    if (GetKeyState(DIK_ESCAPE) != INPUT_RELEASED && GetKeyState(DIK_RETURN) != INPUT_PRESSED &&
        !IsJoyButtonPressed(2))
        return;
    char* pszFolder = FolderPattern(pszPath ? pszPath : BROWSER_ROOT);
    delete[] pszPath;
    pszPath = pszFolder;
    nState = VIEWER_BROWSER;
    nFileCount = -1;
    nSelected = 0;
    nTop = 0;
}

void CViewerApp::LoadFailedDraw()
{
    HDC hdc = BeginBlackScreen();
    if (!hdc)
        return;
    RECT rect = DrawHeadline(hdc, szMessage, MESSAGE_COLOUR);
    HGDIOBJ hOldFont = SelectObject(hdc, hFonts[1]);
    SetTextColor(hdc, HINT_COLOUR);
    rect.top += 96;
    DrawTextA(hdc, pszPath ? pszPath : "", -1, &rect, DT_CENTER);
    rect.top += 48;
    DrawTextA(hdc, "Press Escape or Enter to go back.", -1, &rect, DT_CENTER);
    SelectObject(hdc, hOldFont);
    GetBackSurface()->ReleaseDC(hdc);
}
