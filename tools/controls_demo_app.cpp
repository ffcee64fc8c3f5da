#include "tools/controls_demo_app.h"

#include "controls/button.h"
#include "controls/panel.h"
#include "controls/text_box.h"
#include "geometry/vertex.h"
#include "resources/font.h"
#include "tools/sample_maps.h"
#include "viewer/viewer_app.h"

#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <unistd.h>

namespace {

constexpr const char* TEXT_FONT = "text";
constexpr int TEXT_SIZE = 32;
constexpr COLORREF TEXT_COLOUR = 0xFFFFFF;
// Screen quads stand at z 1.0, the depth the cleared z-buffer holds: they
// are drawn whatever the z-buffer says.
constexpr uint32_t D3DCMP_ALWAYS = 8;

// Where the controls stand on the 1024 x 768 screen.
constexpr RECT PANEL_RECT = {212, 234, 812, 534};
constexpr RECT TEXT_RECT = {242, 264, 782, 344};
constexpr RECT OK_RECT = {262, 424, 462, 494};
constexpr RECT CANCEL_RECT = {562, 424, 762, 494};

struct CColour {
    int r, g, b;
};

// The screen behind the panel.
constexpr CColour BACKGROUND = {20, 20, 41};

samples::CImage FramedImage(int nWidth, int nHeight, CColour fill, CColour frame)
{
    samples::CImage image(nWidth, nHeight);
    for (int y = 0; y < nHeight; ++y)
        for (int x = 0; x < nWidth; ++x) {
            const bool bEdge = x < 3 || y < 3 || x >= nWidth - 3 || y >= nHeight - 3;
            const CColour c = bEdge ? frame : fill;
            image.Set(x, y, c.r, c.g, c.b);
        }
    return image;
}

// A white arrow with a black rim, its tip at the top left: a wedge over a
// slanting stem, on the screen's dark colour (the cursor is drawn unkeyed).
samples::CImage ArrowImage()
{
    samples::CImage image(32, 32);
    auto inside = [](int x, int y) {
        const bool bWedge = y < 20 && x <= y * 3 / 5;
        const int nStemLeft = 4 + (y - 12) / 3;
        const bool bStem = y >= 12 && y < 27 && x >= nStemLeft && x < nStemLeft + 4;
        return x >= 0 && y >= 0 && (bWedge || bStem);
    };
    for (int y = 0; y < 32; ++y)
        for (int x = 0; x < 32; ++x) {
            const bool bRim = !inside(x - 1, y) || !inside(x + 1, y) || !inside(x, y - 1) ||
                              !inside(x, y + 1);
            if (!inside(x, y))
                image.Set(x, y, BACKGROUND.r, BACKGROUND.g, BACKGROUND.b);
            else if (bRim)
                image.Set(x, y, 0, 0, 0);
            else
                image.Set(x, y, 255, 255, 255);
        }
    return image;
}

// Pixels the text takes in a font at a line height, as the text box lays it out.
float TextWidth(const CFont* pFont, const char* pszText, int nLineHeight)
{
    float fWidth = 0.0f;
    for (const char* p = pszText; *p; ++p)
        fWidth += pFont->GetWidthRatio(static_cast<unsigned char>(*p)) * nLineHeight;
    return fWidth;
}

} // namespace

bool CClickCounter::OnMessage(uintptr_t a, uintptr_t b, uintptr_t)
{
    if (b != BUTTON_MSG_UP)
        return true;
    if (a == reinterpret_cast<uintptr_t>(pOk))
        ++nOk;
    else if (a == reinterpret_cast<uintptr_t>(pCancel))
        ++nCancel;
    char szText[64];
    std::snprintf(szText, sizeof(szText), "ok: %d  cancel: %d", static_cast<int>(nOk),
                  static_cast<int>(nCancel));
    if (pTextBox)
        pTextBox->SetText(szText);
    return true;
}

CAppConfig MakeControlsDemoConfig()
{
    CAppConfig config = MakeViewerConfig();
    config.pszCaption = "Vorlane controls";
    return config;
}

int CControlsDemoApp::Init()
{
    SetWorldTransform(CMatrix());
    SetRenderState(D3DRENDERSTATE_CULLMODE, D3DCULL_NONE);
    SetRenderState(D3DRENDERSTATE_LIGHTING, 0);
    SetRenderState(D3DRENDERSTATE_ZFUNC, D3DCMP_ALWAYS);
    AddFont(TEXT_FONT, TEXT_SIZE, FW_NORMAL, false, false, false, true, 0, "DejaVu Sans",
            TEXT_COLOUR);
    MakeTextures();
    MakeControls();
    return 0;
}

int CControlsDemoApp::Update()
{
    return GetKeyState(DIK_ESCAPE) == INPUT_RELEASED ? 1 : 0;
}

int CControlsDemoApp::Draw()
{
    const uint32_t nPixel =
        MakePixel(BACKGROUND.r / 255.0f, BACKGROUND.g / 255.0f, BACKGROUND.b / 255.0f, nullptr);
    Draw(nullptr, nullptr, nullptr, DDBLT_WAIT | DDBLT_COLORFILL, nPixel);
    return 0;
}

void CControlsDemoApp::MakeTextures()
{
    const std::filesystem::path dir = std::filesystem::temp_directory_path() /
                                      ("vorlane-controls-" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    auto add = [&](const char* pszName, const samples::CImage& image) {
        const std::filesystem::path file = dir / (std::string(pszName) + ".bmp");
        std::ofstream(file, std::ios::binary) << samples::EncodeBmp(image);
        AddTexture(file.string().c_str(), pszName, 0);
    };
    add("mouse", ArrowImage());
    const CColour light = {200, 200, 220};
    add("button up", FramedImage(64, 32, {60, 80, 140}, light));
    add("button hover", FramedImage(64, 32, {90, 120, 200}, light));
    add("button down", FramedImage(64, 32, {40, 140, 70}, light));
    std::error_code error;
    std::filesystem::remove_all(dir, error);
}

void CControlsDemoApp::MakeControls()
{
    // Listed first, so that the list owns it and its children from here on.
    auto* pPanel = new CPanel;
    pPanel->SetName("background");
    OverlayList.Add(pPanel);
    const CRectRegion panelRegion(PANEL_RECT);
    pPanel->SetRegion(&panelRegion);
    // Dark blue at half opacity.
    pPanel->SetColour(MakeARGB(0.2f, 0.25f, 0.4f, 0.5f));
    pPanel->BuildQuad();

    auto* pTextBox = new CTextBox;
    pTextBox->SetName("text box");
    pPanel->AddChild(pTextBox);
    const CRectRegion textRegion(TEXT_RECT);
    pTextBox->SetLineHeight(TEXT_SIZE);
    pTextBox->SetRegion(&textRegion);
    pTextBox->SetFont(this, TEXT_FONT);
    pTextBox->SetText("Hello, controls!\nClick a button.");
    Counter.pTextBox = pTextBox;

    auto makeButton = [&](const char* pszName, const RECT& rect) {
        auto* pButton = new CButton;
        pButton->SetButtonName(pszName);
        pPanel->AddChild(pButton);
        const CRectRegion region(rect);
        pButton->SetRegion(&region);
        pButton->SetUpTexture(this, "button up");
        pButton->SetHoverTexture(this, "button hover");
        pButton->SetDownTexture(this, "button down");
        pButton->SetHandler(&Counter);
        AddLabel(pButton, rect);
        return pButton;
    };
    Counter.pOk = makeButton("ok", OK_RECT);
    Counter.pCancel = makeButton("cancel", CANCEL_RECT);
}

void CControlsDemoApp::AddLabel(CButton* pButton, const RECT& rect)
{
    CFont* pFont = AcquireFont(TEXT_FONT);
    if (!pFont)
        return;
    const char* pszText = pButton->GetName();
    const int nWidth = static_cast<int>(TextWidth(pFont, pszText, TEXT_SIZE));
    ReleaseFont(TEXT_FONT);
    // Centred on the button; a label has a region of its own, a button's
    // region alone takes the clicks.
    const int nLeft = (rect.left + rect.right - nWidth) / 2;
    const int nTop = (rect.top + rect.bottom - TEXT_SIZE) / 2;
    auto* pLabel = new CTextBox;
    pLabel->SetName("label");
    pButton->AddChild(pLabel);
    const CRectRegion region(nLeft, nTop, nLeft + nWidth + 1, nTop + TEXT_SIZE);
    pLabel->SetLineHeight(TEXT_SIZE);
    pLabel->SetRegion(&region);
    pLabel->SetFont(this, TEXT_FONT);
    pLabel->SetText(pszText);
}
