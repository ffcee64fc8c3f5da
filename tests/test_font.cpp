// Fonts: glyph cells rendered from a face or cut from a sheet, the widths
// and texture coordinates of a character, and sharing by name.
#include "resources/font.h"

#include "app_fixture.h"
#include "geometry/vertex.h"
#include "platform/memory_surface.h"

#include <string>
#include <type_traits>
#include <vector>

namespace {

// A font owns its glyph surfaces: a copy would release them twice.
static_assert(!std::is_copy_constructible_v<CFont> && !std::is_copy_assignable_v<CFont>);

constexpr const char* FACE = "DejaVu Sans";
constexpr COLORREF INK = 0x00FF00; // green: nothing like the key colour

bool IsInk(COLORREF colour)
{
    return GetGValue(colour) > 0xC0 && GetRValue(colour) < 0x40 && GetBValue(colour) < 0x40;
}

std::vector<bool> InkOf(HDC hdc, int nSize)
{
    std::vector<bool> ink;
    for (int y = 0; y < nSize; ++y)
        for (int x = 0; x < nSize; ++x)
            ink.push_back(IsInk(GetPixel(hdc, x, y)));
    return ink;
}

// A memory context with the test face selected at a height; the caller
// deletes both.
std::pair<HDC, HFONT> FaceContext(int nHeight)
{
    HDC hdc = CreateCompatibleDC(nullptr);
    HFONT hFont = CreateFontA(nHeight, 0, 0, 0, FW_NORMAL, 0, 0, 0, 0, 4, 0, 3, 0, FACE);
    SelectObject(hdc, hFont);
    return {hdc, hFont};
}

int Advance(HDC hdc, char c)
{
    const uint32_t nChar = static_cast<unsigned char>(c);
    ABC abc = {};
    GetCharABCWidthsA(hdc, nChar, nChar, &abc);
    return abc.abcA + static_cast<int>(abc.abcB) + abc.abcC;
}

// The character as the drawing context writes it alone, at a pen position
// worked out here: a face nHeight high, its advance centred in a cell of
// nCell pixels and its text cell standing on the cell's bottom edge.
std::vector<bool> ReferenceInk(char c, int nHeight, int nCell)
{
    const auto [hdc, hFont] = FaceContext(nHeight);
    HBITMAP hBitmap = CreateBitmap32(nCell, nCell);
    SelectObject(hdc, hBitmap);
    SetTextColor(hdc, INK);
    SetBkMode(hdc, TRANSPARENT);
    TextOutA(hdc, (nCell - Advance(hdc, c)) / 2, nCell - nHeight, &c, 1);
    DeleteObject(hBitmap); // goes with the context it is selected into
    const std::vector<bool> ink = InkOf(hdc, nCell);
    DeleteDC(hdc);
    DeleteObject(hFont);
    return ink;
}

CMemorySurface* Memory(CTextureSurface& glyph)
{
    return static_cast<CMemorySurface*>(glyph.GetSurface());
}

class FontTest : public AppTest {
protected:
    void SetUp() override
    {
        AppTest::SetUp();
        StartDevices();
    }
    bool Add(const char* pszName, int nSize, bool bTrueType = true)
    {
        return App->AddFont(pszName, nSize, FW_NORMAL, false, false, false, bTrueType, 0, FACE,
                            INK);
    }
    CFont* Find(const char* pszName)
    {
        return static_cast<CFont*>(App->FontList.FindByName(pszName));
    }
};

TEST_F(FontTest, GlyphsAndWidthsComeFromTheFaceWithSixteenAskingForFifteen)
{
    for (const auto& [nSize, bTrueType] : {std::pair{16, true}, std::pair{17, false}}) {
        SCOPED_TRACE(nSize);
        const int nFaceHeight = nSize == 16 ? 15 : nSize;
        ASSERT_TRUE(Add("f", nSize, bTrueType));
        CFont* pFont = Find("f");
        EXPECT_TRUE(pFont->GetSize() == nSize && pFont->bTrueType == (bTrueType ? 1 : 0));
        for (char c : std::string("H|g")) {
            CTextureSurface& glyph = pFont->Glyphs[static_cast<unsigned char>(c)];
            ASSERT_TRUE(glyph.GetWidth() == nSize && glyph.GetHeight() == nSize);
            HDC hdc = glyph.GetDC();
            const std::vector<bool> ink = InkOf(hdc, nSize);
            glyph.ReleaseDC(hdc);
            // Centred on the cell's bottom edge; the comparison can tell 15
            // from 16.
            EXPECT_EQ(ink, ReferenceInk(c, nFaceHeight, nSize)) << c;
            EXPECT_TRUE(nSize != 16 || ink != ReferenceInk(c, 16, 16)) << c;
            // The device makes pixels of the surface's key transparent: the
            // background must hold exactly that raw value, 0x7F007F in 5-6-5.
            EXPECT_TRUE(Memory(glyph)->GetColorKey() == 0x780Fu && Memory(glyph)->ReadPixel(0, 0) == 0x780Fu);
        }
        const auto [hdc, hFont] = FaceContext(nFaceHeight);
        for (char c : std::string("iWm1\xC6")) {
            const unsigned char n = static_cast<unsigned char>(c);
            EXPECT_EQ(pFont->GetCharWidth(n), Advance(hdc, c)) << c;
            EXPECT_EQ(pFont->GetWidthRatio(n), pFont->GetCharWidth(n) / static_cast<float>(nSize)) << c;
        }
        DeleteDC(hdc);
        DeleteObject(hFont);
        ASSERT_TRUE(App->ReleaseFont("f"));
    }
}

TEST_F(FontTest, QuadCoordinatesShowTheCharactersWidthOutOfTheCentredCell)
{
    auto* pFont = new CFont; // too large for the stack
    pFont->nSize = 32;
    pFont->nWidths['a'] = 32;
    pFont->nWidths[200] = 16;
    CScreenVertex q[4];
    pFont->SetQuadTexCoords(q, 'a');
    EXPECT_EQ((std::vector<float>{q[0].TexU, q[1].TexU, q[2].TexU, q[3].TexU, q[0].TexV, q[1].TexV, q[2].TexV,
                                  q[3].TexV}),
              (std::vector<float>{0, 1, 1, 0, 0, 0, 1, 1}));
    pFont->SetQuadTexCoords(q, static_cast<signed char>(200)); // a signed character byte
    EXPECT_EQ((std::vector<float>{q[0].TexU, q[1].TexU, q[2].TexU, q[3].TexU}),
              (std::vector<float>{0.25f, 0.75f, 0.75f, 0.25f}));
    delete pFont;
}

TEST_F(FontTest, SheetGlyphsAreTheCellsOfTheStretchedBitmap)
{
    // 4-pixel cells, each of its own colour, read back as 8-pixel glyphs.
    samples::CImage sheet(64, 64);
    for (int y = 0; y < 64; ++y)
        for (int x = 0; x < 64; ++x)
            sheet.Set(x, y, static_cast<uint8_t>(x / 4 * 16), static_cast<uint8_t>(y / 4 * 16), 0x80);
    WriteBitmap("sheet.bmp", sheet);
    EXPECT_FALSE(App->LoadFont("C:\\sheet.bmp", 0));
    ASSERT_TRUE(App->LoadFont("C:\\sheet.bmp", 8));
    CFont* pFont = App->AcquireFont("C:\\sheet.bmp");
    ASSERT_NE(pFont, nullptr);
    EXPECT_TRUE(pFont->GetSize() == 8 && pFont->bTrueType == 0);
    for (int i : {1, 17, 200}) {
        CTextureSurface& glyph = pFont->Glyphs[i];
        EXPECT_TRUE(glyph.GetWidth() == 8 && !Memory(glyph)->HasColorKey()) << i;
        EXPECT_TRUE(pFont->GetCharWidth(i) == 8 && pFont->GetWidthRatio(i) == 1.0f) << i;
        // 5-6-5 keeps the top five or six bits of each channel.
        HDC hdc = glyph.GetDC();
        const COLORREF got = GetPixel(hdc, 7, 7);
        glyph.ReleaseDC(hdc);
        EXPECT_TRUE((GetRValue(got) & 0xF0) == i % 16 * 16 && (GetGValue(got) & 0xF0) == i / 16 * 16) << i;
    }
    EXPECT_EQ(ThrownMessage([&] { App->LoadFont("C:\\missing.bmp", 8); }), "LoadImage: File not found.");
}

TEST_F(FontTest, FontsAreSharedByNameAndGoWhenTheLastReferenceDoes)
{
    EXPECT_FALSE(Add(nullptr, 8) || App->ReleaseFont("f"));
    EXPECT_EQ(App->AcquireFont("f"), nullptr);
    ASSERT_TRUE(Add("f", 8) && Add("g", 8));
    CFont* pFont = App->AcquireFont("f");
    EXPECT_TRUE(App->ReleaseFont("f") && Find("f") == pFont && pFont->nRefCount == 1);
    EXPECT_TRUE(App->ReleaseFont("f") && Find("f") == nullptr);
    // Device release takes every font, whatever its count.
    App->AcquireFont("g");
    App->ReleaseDevices(DEVICE_ALL);
    EXPECT_EQ(App->FontList.pRoot, nullptr);
}

TEST_F(FontTest, AFailedCreationLeavesNoGlyphBehind)
{
    GetNullConfig().Failures = {{"CreateSurface", E_FAIL}};
    EXPECT_FALSE(Add("f", 16));
    EXPECT_EQ(App->FontList.pRoot, nullptr);
    // Every surface made, then no context to draw in: all of them go again.
    GetNullConfig().Failures = {{"GetDC", E_FAIL}};
    auto* pFont = new CFont;
    EXPECT_FALSE(pFont->Create("f", 16, FW_NORMAL, false, false, false, true, 0, FACE, INK));
    for (int i = 0; i < FONT_GLYPHS; ++i)
        ASSERT_EQ(pFont->Glyphs[i].GetSurface(), nullptr) << i;
    EXPECT_EQ(pFont->GetName(), nullptr);
    delete pFont;
}

} // namespace
