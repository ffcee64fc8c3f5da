// The browser's picture: frame, title, the visible rows of the list, the
// path beside the title and the scroll bar, drawn on the back surface.
#include "viewer/viewer_app.h"

#include <cstring>

namespace {

constexpr int FRAME_PEN_WIDTH = 5;
constexpr int SCROLL_LANE = 37;

int CharWidth(HDC hdc, unsigned char nChar)
{
    ABC abc = {};
    GetCharABCWidthsA(hdc, nChar, nChar, &abc);
    return abc.abcA + static_cast<int>(abc.abcB) + abc.abcC;
}

int TextWidth(HDC hdc, const char* pszText, int nCount)
{
    int nWidth = 0;
    for (int i = 0; i < nCount; ++i)
        nWidth += CharWidth(hdc, static_cast<unsigned char>(pszText[i]));
    return nWidth;
}

void DrawBrowserFrame(HDC hdc, const RECT& screen)
{
    HPEN hPen = CreatePen(PS_SOLID, FRAME_PEN_WIDTH, BROWSER_GREEN);
    HGDIOBJ hOld = SelectObject(hdc, hPen);
    const POINT points[7] = {
        {screen.left + 3, screen.top + BROWSER_HEADER},
        {screen.right - 3, screen.top + BROWSER_HEADER},
        {screen.right - 3, screen.bottom - 3},
        {screen.left + 3, screen.bottom - 3},
        {screen.left + 3, screen.top + BROWSER_HEADER},
        {screen.right - SCROLL_LANE, screen.top + BROWSER_HEADER},
        {screen.right - SCROLL_LANE, screen.bottom - 3},
    };
    Polyline(hdc, points, 7);
    SelectObject(hdc, hOld);
    DeleteObject(hPen);
}

} // namespace

void CViewerApp::BrowserDraw()
{
    HDC hdc = BeginBlackScreen();
    if (!hdc)
        return;
    RECT screen;
    GetScreenRect(&screen);
    const int nListHeight = screen.bottom - screen.top - BROWSER_MARGIN;
    DrawBrowserFrame(hdc, screen);

    HGDIOBJ hOldFont = SelectObject(hdc, hFonts[0]);
    SetTextColor(hdc, BROWSER_GREEN);
    SetBkMode(hdc, TRANSPARENT);
    RECT titleRect = screen;
    DrawTextA(hdc, "Load Map", 8, &titleRect, DT_LEFT);
    const int nTitleWidth = TextWidth(hdc, "Load Map", 8);

    SelectObject(hdc, hFonts[1]);
    DrawBrowserList(hdc, screen);
    DrawBrowserPath(hdc, screen, nTitleWidth);
    SelectObject(hdc, hOldFont);

    DrawScrollBar(hdc, screen, nListHeight);
    GetBackSurface()->ReleaseDC(hdc);
}

void CViewerApp::DrawBrowserList(HDC hdc, const RECT& screen)
{
    const CFileEntry* pEntry = pFileList;
    for (int i = 0; pEntry && i < nTop; ++i)
        pEntry = pEntry->pNext;
    for (int i = 0; i < nVisibleRows && pEntry; ++i, pEntry = pEntry->pNext) {
        COLORREF colour = BROWSER_GREEN;
        if (nTop + i == nSelected)
            colour = BROWSER_SELECTED;
        else if (pEntry->nLength > 0 && pEntry->pszName[pEntry->nLength - 1] == '\\')
            colour = BROWSER_GREY;
        SetTextColor(hdc, colour);
        RECT row = {7, i * BROWSER_ROW + BROWSER_HEADER, screen.right - 42,
                    i * BROWSER_ROW + 95};
        DrawTextA(hdc, pEntry->pszName, pEntry->nLength, &row, DT_LEFT);
    }
}

// The path stands beside the title, on one line or, when it is too long for
// one, broken once before the first character that would pass the right edge.
void CViewerApp::DrawBrowserPath(HDC hdc, const RECT& screen, int nTitleWidth)
{
    const int nLength = static_cast<int>(std::strlen(pszPath));
    int nBreak = -1;
    int nWidth = 0;
    for (int i = 0; i < nLength; ++i) {
        nWidth += CharWidth(hdc, static_cast<unsigned char>(pszPath[i]));
        if (nTitleWidth + nWidth + 5 > screen.right) {
            nBreak = i - 1;
            break;
        }
    }
    SetTextColor(hdc, BROWSER_GREY);
    const int nLeft = nTitleWidth + 5;
    if (nBreak < 0) {
        RECT line = {nLeft, 16, screen.right, 48};
        DrawTextA(hdc, pszPath, nLength, &line, DT_LEFT);
        return;
    }
    RECT first = {nLeft, 0, screen.right, 31};
    DrawTextA(hdc, pszPath, nBreak, &first, DT_LEFT);
    RECT second = {nLeft, 32, screen.right, 63};
    DrawTextA(hdc, pszPath + nBreak, nLength - nBreak, &second, DT_LEFT);
}

void CViewerApp::DrawScrollBar(HDC hdc, const RECT& screen, int nListHeight)
{
    RECT thumb = {screen.right - 32, 70, screen.right - 7, nListHeight + 71};
    if (nVisibleRows <= nFileCount && nFileCount > 0) {
        const float fScale = static_cast<float>(nListHeight) / static_cast<float>(nFileCount);
        thumb.top = static_cast<int32_t>(nTop * fScale + 70);
        thumb.bottom = static_cast<int32_t>((nTop + nVisibleRows) * fScale + 71);
    }
    HBRUSH hBrush = CreateSolidBrush(BROWSER_GREEN);
    FillRect(hdc, &thumb, hBrush);
    DeleteObject(hBrush);
}
