#pragma once
// CViewerApp: the application proper. A small state machine over the frame
// operations: the map browser, the loading step and the walk-through of a
// loaded map. Each frame operation only dispatches on the state.
#include "frame/application.h"
#include "viewer/browser.h"
#include "world/camera.h"
#include "world/world_tree.h"

#include <cstdint>

class CTextureSurface;
class CJoystick;
struct CMapImage;

constexpr int16_t VIEWER_BROWSER = 0;
constexpr int16_t VIEWER_LOADING = 1;
constexpr int16_t VIEWER_WALK = 2;
constexpr int16_t VIEWER_LOAD_FAILED = 3;

constexpr size_t VIEWER_MESSAGE_SIZE = 256;
// How long the walk-through says that pictures of the map are missing.
constexpr double MISSING_NOTICE_SECONDS = 5.0;

class CViewerApp : public CApplication {
public:
    CViewerApp();
    ~CViewerApp() override;

    // The blit of the display layer keeps its name beside the virtual Draw().
    using CApplication::Draw;

    int Init() override;
    int Update() override;
    int Process() override;
    int Draw() override;
    int Shutdown() override;

    // Browser.
    void BrowserUpdate();
    void BrowserProcess();
    void BrowserDraw();

    // Loading.
    void LoadStep();
    void LoadingDraw();
    // Reads the map at pszPath; on failure records it in nState and szMessage.
    // True when the map was loaded.
    bool LoadMap();
    void UnloadMap();

    // A failed load: its message on a screen of its own until Escape, Enter
    // or joystick button 2 leads back to the browser, in the folder of the
    // map; joystick button 0 quits.
    void LoadFailedUpdate();
    void LoadFailedDraw();

    // Walk-through.
    void WalkUpdate();
    void WalkProcess();
    void WalkDraw();
    // The count of missing pictures in a corner of the walk-through, for
    // the first MISSING_NOTICE_SECONDS after the load.
    void DrawMissingNotice();
    // Binds ppTextures[nIndex] to stage 0 when the index is in range; else
    // the stage keeps what it had.
    void SetFaceTexture(int32_t nIndex);
    // Whether button nButton of joystick 0 went down this frame; false
    // without a joystick.
    bool IsJoyButtonPressed(int nButton) const;

    int16_t nState = VIEWER_BROWSER;
    CFileEntry* pFileList = nullptr;
    char* pszPath = nullptr;
    int32_t nFileCount = -1;
    int32_t nSelected = 0;
    int32_t nTop = 0;
    int32_t nVisibleRows = 0;
    HFONT hFonts[2] = {nullptr, nullptr};
    double dRepeatTime = 0.0;
    int32_t nRepeatCount = 0;
    double dLoadTime = 0.0;
    CWorldNode World;
    CCamera Camera;
    CTextureSurface** ppTextures = nullptr;
    int32_t nTextures = 0;
    int32_t nViewMode = 0;
    char szMessage[VIEWER_MESSAGE_SIZE] = {};
    // Set once the loading screen has been on screen, so that the load,
    // which blocks its frame, starts only after the user has seen it.
    bool bLoadingShown = false;
    // Pictures of the loaded map that gave no texture, and how long the
    // walk-through still says so.
    int32_t nMissingPictures = 0;
    double dNoticeSeconds = 0.0;

private:
    // Fills the back surface with black and gives its drawing context, or
    // null when there is none; the caller releases it on the back surface.
    HDC BeginBlackScreen();
    // The back surface's drawing context, or null when there is none.
    HDC GetBackDC();
    // The line of a full-screen message: centred, in the large font, with
    // its top a little above the middle of the screen; gives that rectangle.
    RECT DrawHeadline(HDC hdc, const char* pszText, COLORREF colour);
    void ReadBrowserInput(int* pDirection, bool* pAccept, bool* pBack);
    void StepSelection(int nDirection);
    void AcceptEntry();
    void DrawBrowserList(HDC hdc, const RECT& screen);
    void DrawBrowserPath(HDC hdc, const RECT& screen, int nTitleWidth);
    void DrawScrollBar(HDC hdc, const RECT& screen, int nListHeight);
    void LoadTextures(CMapImage& image);
    void BuildWorld(CMapImage& image);
    void MoveByKeys(double dStep);
    void MoveByJoystick(const CJoystick& stick, double dSeconds);
    void SetViewModeStates();
};

// The configuration the viewer runs with.
CAppConfig MakeViewerConfig();
