#include "viewer/viewer_app.h"

#include "frame/error.h"
#include "input/joystick.h"
#include "resources/texture_surface.h"

#include <bit>

namespace {

// The vertical field of view: the float with these bits, a little under pi/2.
constexpr uint32_t FIELD_OF_VIEW_BITS = 0x3FC90FD0u;

HFONT MakeBrowserFont(int nHeight, const char* pszFace)
{
    return CreateFontA(nHeight, 0, 0, 0, FW_NORMAL, 0, 0, 0, 0, 4, 0, ANTIALIASED_QUALITY, 0,
                       pszFace);
}

} // namespace

CAppConfig MakeViewerConfig()
{
    CAppConfig config;
    config.nDevices = DEVICE_ALL;
    config.pszCaption = "Vorlane";
    config.pszClassName = "Tarvex v2.0";
    config.nWidth = 1024;
    config.nHeight = 768;
    config.nBitDepth = 16;
    config.nColorKey = 0xFF00FF;
    config.bReserved0 = 0;
    config.nReserved1 = 16;
    config.nReserved2 = 0;
    config.bReserved3 = 1;
    config.bHardwareDevices = 1;
    config.bSoftwareDevices = 1;
    config.pDeviceGuid = &IID_IDirect3DTnLHalDevice;
    config.nNear = 1;
    config.nFar = 4028;
    config.fFieldOfView = std::bit_cast<float>(FIELD_OF_VIEW_BITS);
    config.bKeyboard = 1;
    config.bMouse = 1;
    config.bCursor = 1;
    config.nCursorX = 512;
    config.nCursorY = 384;
    config.fMouseSpeed = 25.0f;
    config.nChannels = 2;
    config.nSampleRate = 22050;
    config.nSampleBits = 16;
    return config;
}

CViewerApp::CViewerApp() = default;

CViewerApp::~CViewerApp()
{
    // The map's textures point into the texture list, which the device
    // release of the base destructor empties; only the array is ours.
    UnloadMap();
    Shutdown();
}

int CViewerApp::Init()
{
    nState = VIEWER_BROWSER;
    nFileCount = -1;
    nSelected = 0;
    dRepeatTime = 0.0;
    nRepeatCount = 0;
    szMessage[0] = '\0';
    delete[] pszPath;
    pszPath = CopyRootPattern();
    pFileList = nullptr;
    hFonts[0] = MakeBrowserFont(64, "Harrington");
    hFonts[1] = MakeBrowserFont(32, "Century Gothic");
    SetWorldTransform(CMatrix());
    SetRenderState(D3DRENDERSTATE_CULLMODE, D3DCULL_NONE);
    SetRenderState(D3DRENDERSTATE_LIGHTING, 0);
    AddTexture("c:\\test.bmp", "test", 1);
    AddTexture("c:\\lightmaptest.bmp", "lightmaptest", 0);
    nViewMode = 0;
    return 0;
}

int CViewerApp::Update()
{
    switch (nState) {
    case VIEWER_BROWSER:
        BrowserUpdate();
        break;
    case VIEWER_WALK:
        WalkUpdate();
        break;
    case VIEWER_LOAD_FAILED:
        LoadFailedUpdate();
        break;
    default:
        break;
    }
    return 0;
}

int CViewerApp::Process()
{
    switch (nState) {
    case VIEWER_BROWSER:
        BrowserProcess();
        break;
    case VIEWER_LOADING:
        LoadStep();
        break;
    case VIEWER_WALK:
        WalkProcess();
        break;
    default:
        break;
    }
    return 0;
}

int CViewerApp::Draw()
{
    switch (nState) {
    case VIEWER_BROWSER:
        BrowserDraw();
        break;
    case VIEWER_LOADING:
        LoadingDraw();
        break;
    case VIEWER_WALK:
        WalkDraw();
        DrawMissingNotice();
        break;
    case VIEWER_LOAD_FAILED:
        LoadFailedDraw();
        break;
    default:
        break;
    }
    return 0;
}

int CViewerApp::Shutdown()
{
    FreeEntries(&pFileList);
    for (HFONT& hFont : hFonts) {
        if (hFont)
            DeleteObject(hFont);
        hFont = nullptr;
    }
    delete[] pszPath;
    pszPath = nullptr;
    return 0;
}

void CViewerApp::UnloadMap()
{
    World.Clear();
    delete[] ppTextures;
    ppTextures = nullptr;
    nTextures = 0;
}

bool CViewerApp::IsJoyButtonPressed(int nButton) const
{
    const CJoystick* pJoystick = GetJoystick(0);
    return pJoystick && pJoystick->GetButtonState(nButton) == INPUT_PRESSED;
}

HDC CViewerApp::BeginBlackScreen()
{
    Draw(nullptr, nullptr, nullptr, DDBLT_WAIT | DDBLT_COLORFILL, 0);
    return GetBackDC();
}

HDC CViewerApp::GetBackDC()
{
    IDirectDrawSurface7* pSurface = GetBackSurface();
    HDC hdc = nullptr;
    if (!pSurface || FAILED(pSurface->GetDC(&hdc)))
        return nullptr;
    return hdc;
}

RECT CViewerApp::DrawHeadline(HDC hdc, const char* pszText, COLORREF colour)
{
    RECT rect;
    GetScreenRect(&rect);
    rect.top = (rect.bottom - rect.top - 128) >> 1;
    HGDIOBJ hOldFont = SelectObject(hdc, hFonts[0]);
    SetTextColor(hdc, colour);
    SetBkMode(hdc, TRANSPARENT);
    DrawTextA(hdc, pszText, -1, &rect, DT_CENTER);
    SelectObject(hdc, hOldFont);
    return rect;
}
