#include "controls/text_box.h"

#include "frame/application.h"
#include "resources/font.h"

#include <cstring>
#include <new>
#include <string>

namespace {

constexpr char LINE_FEED = 10;
constexpr uint32_t OPAQUE_WHITE = 0xFFFFFFFF;

} // namespace

CTextBox::CTextBox()
    : pText(nullptr), pGlyphs(nullptr), TextLength(0), LineHeight(TEXT_BOX_DEFAULT_LINE_HEIGHT),
      bDirty(1), pFont(nullptr), pQuads(nullptr), GlyphCount(0)
{
}

CTextBox::~CTextBox()
{
    FreeText();
    FreeLayout();
}

void CTextBox::FreeText()
{
    delete[] pText;
    pText = nullptr;
    delete[] pGlyphs;
    pGlyphs = nullptr;
    TextLength = 0;
}

void CTextBox::FreeLayout()
{
    delete[] pQuads;
    pQuads = nullptr;
    GlyphCount = 0;
}

void CTextBox::GiveBackFont(CApplication* pApp)
{
    if (!pFont)
        return;
    // The font may go, name and all, inside ReleaseFont.
    const std::string name = pFont->GetName() ? pFont->GetName() : "";
    pFont = nullptr;
    pApp->ReleaseFont(name.c_str());
}

void CTextBox::SetText(const char* pszText)
{
    GlyphCount = 0;
    FreeText();
    if (!pszText)
        return;
    const size_t nLength = std::strlen(pszText);
    pText = new (std::nothrow) char[nLength + 1];
    if (!pText)
        return;
    std::memcpy(pText, pszText, nLength + 1);
    TextLength = static_cast<int32_t>(nLength);
    bDirty = 1;
}

const char* CTextBox::GetText(char* pszOut) const
{
    if (pText && pszOut)
        std::memcpy(pszOut, pText, static_cast<size_t>(TextLength) + 1);
    return pText;
}

bool CTextBox::SetFont(CApplication* pApp, const char* pszName)
{
    GlyphCount = 0;
    GiveBackFont(pApp);
    pFont = pszName ? pApp->AcquireFont(pszName) : nullptr;
    bDirty = pFont ? 1 : 0;
    return pFont != nullptr;
}

bool CTextBox::SetRegion(const CRegion* pRegionIn)
{
    GlyphCount = 0;
    CControl::SetRegion(pRegionIn);
    BuildQuad();
    bDirty = 1;
    return true;
}

void CTextBox::Update(CApplication* pApp)
{
    CPanel::Update(pApp);
    if (!bDirty)
        return;
    if (!pFont || !pText) {
        GlyphCount = 0;
        return;
    }
    bDirty = 0;
    FreeLayout();
    delete[] pGlyphs;
    pGlyphs = new (std::nothrow) uint8_t[TextLength];
    pQuads = new (std::nothrow) CScreenVertex[static_cast<size_t>(TextLength) * 4];
    if (!pGlyphs || !pQuads || !pRegion)
        return;
    LayOut();
}

// One quad per character from the top left of the region's bounds. A line
// feed starts a new line, and none starts at or below the bottom; a line is
// cut at the right edge, without word wrap. Only the start of a glyph is
// tested, so the last line and the last glyph of a line may reach outside.
void CTextBox::LayOut()
{
    RECT bounds;
    pRegion->GetBounds(&bounds);
    int32_t x = bounds.left;
    int32_t y = bounds.top;
    GlyphCount = 0;
    for (int32_t i = 0; i < TextLength; ++i) {
        const char c = pText[i];
        if (c == LINE_FEED) {
            x = bounds.left;
            y += LineHeight;
            if (y >= bounds.bottom)
                break;
            continue;
        }
        if (x >= bounds.right) {
            while (i + 1 < TextLength && pText[i + 1] != LINE_FEED)
                ++i;
            continue;
        }
        const unsigned char code = static_cast<unsigned char>(c);
        const float fWidth = pFont->GetWidthRatio(code) * static_cast<float>(LineHeight);
        PlaceGlyph(static_cast<float>(x), static_cast<float>(y), code, fWidth);
        x = static_cast<int32_t>(static_cast<float>(x) + fWidth);
    }
    const int32_t nVertices = TextLength * 4;
    for (int32_t i = 0; i < nVertices; ++i) {
        pQuads[i].Colour = OPAQUE_WHITE;
        pQuads[i].Rhw = 1.0f;
    }
}

void CTextBox::PlaceGlyph(float x, float y, unsigned char c, float fWidth)
{
    pGlyphs[GlyphCount] = c;
    CScreenVertex* pQuad = pQuads + static_cast<size_t>(GlyphCount) * 4;
    const float fBottom = y + static_cast<float>(LineHeight);
    pQuad[0].Position = CVector(x, y, Depth);
    pQuad[1].Position = CVector(x + fWidth, y, Depth);
    pQuad[2].Position = CVector(x + fWidth, fBottom, Depth);
    pQuad[3].Position = CVector(x, fBottom, Depth);
    pFont->SetQuadTexCoords(pQuad, c);
    ++GlyphCount;
}

void CTextBox::Draw(CApplication* pApp)
{
    if (pFont && pText) {
        pApp->SetRenderState(D3DRENDERSTATE_COLORKEYENABLE, 1);
        pApp->SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_TEXTURE);
        pApp->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1);
        // Every character has a small texture of its own: one bind and one
        // draw per glyph.
        for (int32_t i = 0; i < GlyphCount; ++i) {
            pFont->BindGlyph(pApp, pGlyphs[i]);
            pApp->DrawPrimitive(D3DPT_TRIANGLEFAN, FVF_SCREEN_VERTEX, pQuads + i * 4, 4, 0);
        }
        pApp->SetTexture(0, nullptr);
        pApp->SetRenderState(D3DRENDERSTATE_COLORKEYENABLE, 0);
    }
    DrawChildren(pApp);
}

void CTextBox::Release(CApplication* pApp)
{
    FreeText();
    FreeLayout();
    GiveBackFont(pApp);
    CPanel::Release(pApp);
}
