// The loading state: the screen with its progress bar, and the step that
// loads the chosen map.
#include "viewer/viewer_app.h"

namespace {

constexpr COLORREF LOADING_GREEN = 0x04FF36;
constexpr COLORREF LOADING_BLACK = 0x000000;

} // namespace

void CViewerApp::LoadStep()
{
    dLoadTime += GetFrameSeconds() / 10.0;
    // The load blocks its frame: it waits until the loading screen has been
    // drawn once, so the user sees what is going on.
    if (!bLoadingShown)
        return;
    if (dLoadTime > 1.0)
        nState = VIEWER_BROWSER;
    if (LoadMap()) {
        nState = VIEWER_WALK;
        // The draw of this frame already shows the new map: its view goes to
        // the device now, not in the next frame's process.
        WalkProcess();
    }
    bLoadingShown = false;
}

void CViewerApp::LoadingDraw()
{
    HDC hdc = BeginBlackScreen();
    if (!hdc)
        return;
    RECT rect = DrawHeadline(hdc, "Loading...", LOADING_GREEN);

    rect.top += 96;
    rect.bottom = rect.top + 32;
    rect.left = (rect.right - rect.left) >> 2;
    rect.right = rect.left * 3;
    HBRUSH hBar = CreateSolidBrush(LOADING_GREEN);
    FillRect(hdc, &rect, hBar);

    rect.bottom -= 1;
    rect.left += 1;
    rect.right -= 1;
    rect.top += 1;
    HBRUSH hBlack = CreateSolidBrush(LOADING_BLACK);
    FillRect(hdc, &rect, hBlack);

    rect.bottom -= 1;
    rect.left += 1;
    rect.right = static_cast<int32_t>(rect.left + (rect.right - rect.left - 1) * dLoadTime);
    rect.top += 1;
    FillRect(hdc, &rect, hBar);

    DeleteObject(hBar);
    DeleteObject(hBlack);
    GetBackSurface()->ReleaseDC(hdc);
    bLoadingShown = true;
}
