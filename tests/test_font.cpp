#include "resources/font.h"

#include "app_fixture.h"
#include "geometry/vertex.h"
#include "platform/memory_surface.h"

#include <string>
#include <vector>

namespace {

constexpr const char* FACE = "DejaVu Sans";
constexpr COLORREF INK = 0x00FF00; // green: nothing like the key colour
constexpr int FW_BOLD_WEIGHT = 700;

// Ink of a glyph cell: true where the pixel has the text colour.
using CInkMask = std::vector<bool>;

bool IsInk(COLORREF colour)
{
    return GetGValue(colour) > 0xC0 && GetRValue(colour) < 0x40 && GetBValue(colour) < 0x40;
}

// 0x7F007F as a 5-6-5 pixel gives it back: red and blue within a step of
// 8, no green.
bool IsKey(COLORREF colour)
{
    auto near = [](int a, int b) { return a >= b - 8 && a <= b + 8; };
    return near(GetRValue(colour), 0x7F) && GetGValue(colour) == 0 &&
           near(GetBValue(colour), 0x7F);
}

CInkMask InkOf(HDC hdc, int nSize)
{
    CInkMask ink(static_cast<size_t>(nSize) * nSize);
    for (int y = 0; y < nSize; ++y)
        for (int x = 0; x < nSize; ++x)
            ink[static_cast<size_t>(y) * nSize + x] = IsInk(GetPixel(hdc, x, y));
    return ink;
}

CInkMask GlyphInk(CTextureSurface& glyph)
{
    HDC hdc = glyph.GetDC();
    CInkMask ink = InkOf(hdc, glyph.GetWidth());
    glyph.ReleaseDC(hdc);
    return ink;
}

// A memory context with a face of the test font selected.
struct CFaceContext {
    explicit CFaceContext(int nHeight)
        : hdc(CreateCompatibleDC(nullptr)),
          hFont(CreateFontA(nHeight, 0, 0, 0, FW_NORMAL, 0, 0, 0, 0, 4, 0, 3, 0, FACE))
    {
        SelectObject(hdc, hFont);
    }
    ~CFaceContext()
    {
        DeleteDC(hdc);
        DeleteObject(hFont);
    }
    int Advance(char c) const
    {
        const uint32_t nChar = static_cast<unsigned char>(c);
        ABC abc = {};
        GetCharABCWidthsA(hdc, nChar, nChar, &abc);
        return abc.abcA + static_cast<int>(abc.abcB) + abc.abcC;
    }
    HDC hdc;
    HFONT hFont;
};

// The character as the drawing context writes it on its own, at a pen
// position worked out here: a face nHeight high, its advance centred in a
// cell of nCell pixels and its text cell standing on the cell's bottom edge.
CInkMask ReferenceInk(char c, int nHeight, int nCell)
{
    CFaceContext face(nHeight);
    HBITMAP hBitmap = CreateBitmap32(nCell, nCell);
    SelectObject(face.hdc, hBitmap);
    SetTextColor(face.hdc, INK);
    SetBkMode(face.hdc, TRANSPARENT);
    TextOutA(face.hdc, (nCell - face.Advance(c)) / 2, nCell - nHeight, &c, 1);
    // Goes with the context it is selected into.
    DeleteObject(hBitmap);
    return InkOf(face.hdc, nCell);
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
    // A TrueType font of the test face in the test ink.
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

TEST_F(FontTest, CellsAreTheSizeAskedWhileSixteenRendersFifteenHigh)
{
    const std::string chars = "HWgM@|";
    for (int nSize : {15, 16, 17}) {
        SCOPED_TRACE(nSize);
        const int nFaceHeight = nSize == 16 ? 15 : nSize;
        ASSERT_TRUE(Add("f", nSize));
        CFont* pFont = Find("f");
        ASSERT_NE(pFont, nullptr);
        EXPECT_EQ(pFont->GetSize(), nSize);
        for (int i : {0, int('A'), 255}) {
            EXPECT_EQ(pFont->Glyphs[i].GetWidth(), nSize);
            EXPECT_EQ(pFont->Glyphs[i].GetHeight(), nSize);
        }
        // The reference places each character on its own: the comparison
        // also holds the glyph centred and standing on the cell's bottom.
        bool bDiffersFromCellHigh = false;
        for (char c : chars) {
            SCOPED_TRACE(c);
            const CInkMask ink = GlyphInk(pFont->Glyphs[static_cast<unsigned char>(c)]);
            EXPECT_EQ(ink, ReferenceInk(c, nFaceHeight, nSize));
            bDiffersFromCellHigh |= ink != ReferenceInk(c, nSize, nSize);
        }
        // At 16 the comparison must be able to tell 15 from 16.
        EXPECT_EQ(bDiffersFromCellHigh, nSize == 16);
        ASSERT_TRUE(App->ReleaseFont("f"));
    }
}

TEST_F(FontTest, GlyphCellsHoldInkOnTheKeyColour)
{
    ASSERT_TRUE(Add("f", 24));
    CFont* pFont = Find("f");
    for (int i : {int('A'), int('g'), int('_'), 0xE9 /* e acute */, int(' '), 0}) {
        SCOPED_TRACE(i);
        CTextureSurface& glyph = pFont->Glyphs[i];
        // The device turns pixels of the surface's key transparent: the
        // background must be exactly that raw value.
        ASSERT_TRUE(Memory(glyph)->HasColorKey());
        EXPECT_EQ(Memory(glyph)->ReadPixel(0, 0), Memory(glyph)->GetColorKey());
        HDC hdc = glyph.GetDC();
        int nInk = 0;
        for (int y = 0; y < 24; ++y)
            for (int x = 0; x < 24; ++x) {
                const COLORREF colour = GetPixel(hdc, x, y);
                // Unsmoothed: no pixel lies between ink and background.
                ASSERT_TRUE(IsInk(colour) || IsKey(colour)) << x << "," << y;
                nInk += IsInk(colour);
            }
        glyph.ReleaseDC(hdc);
        if (i == ' ' || i == 0)
            EXPECT_EQ(nInk, 0);
        else
            EXPECT_GT(nInk, 10);
    }
}

TEST_F(FontTest, WidthsAreMeasuredAtTheFaceHeightAndRatedByTheCell)
{
    for (bool bTrueType : {true, false}) {
        SCOPED_TRACE(bTrueType);
        ASSERT_TRUE(Add("f", 16, bTrueType));
        CFont* pFont = Find("f");
        EXPECT_EQ(pFont->bTrueType, bTrueType ? 1 : 0);
        const CFaceContext face(15);
        for (char c : std::string("iWm 1")) {
            const unsigned char n = static_cast<unsigned char>(c);
            EXPECT_EQ(pFont->GetCharWidth(n), face.Advance(c)) << c;
            EXPECT_FLOAT_EQ(pFont->GetWidthRatio(n), pFont->GetCharWidth(n) / 16.0f) << c;
        }
        EXPECT_GT(pFont->GetCharWidth('W'), pFont->GetCharWidth('i'));
        // An upper code has its own entry.
        EXPECT_EQ(pFont->GetCharWidth(0xC6), face.Advance(static_cast<char>(0xC6)));
        ASSERT_TRUE(App->ReleaseFont("f"));
    }
}

TEST_F(FontTest, QuadCoordinatesShowTheCharacterOutOfItsCell)
{
    CFont font;
    font.nSize = 32;
    font.nWidths['a'] = 32;
    font.nWidths[200] = 16;
    CScreenVertex quad[4];
    font.SetQuadTexCoords(quad, 'a');
    const float fullU[4] = {0.0f, 1.0f, 1.0f, 0.0f};
    const float v[4] = {0.0f, 0.0f, 1.0f, 1.0f};
    for (int i = 0; i < 4; ++i) {
        EXPECT_FLOAT_EQ(quad[i].TexU, fullU[i]) << i;
        EXPECT_FLOAT_EQ(quad[i].TexV, v[i]) << i;
    }
    const float halfU[4] = {0.25f, 0.75f, 0.75f, 0.25f};
    font.SetQuadTexCoords(quad, 200);
    for (int i = 0; i < 4; ++i)
        EXPECT_FLOAT_EQ(quad[i].TexU, halfU[i]) << i;
    // The same code as a signed character byte.
    font.SetQuadTexCoords(quad, static_cast<signed char>(200));
    EXPECT_FLOAT_EQ(quad[1].TexU, 0.75f);
}

TEST_F(FontTest, SheetGlyphsAreTheCellsOfTheBitmap)
{
    // 4-pixel cells, each of its own colour, read back as 8-pixel glyphs:
    // the sheet is stretched to 16 cells of the size asked.
    samples::CImage sheet(64, 64);
    auto cellColour = [](int i) { return RGB((i % 16) * 16, (i / 16) * 16, 0x80); };
    for (int y = 0; y < 64; ++y)
        for (int x = 0; x < 64; ++x) {
            const COLORREF colour = cellColour(y / 4 * 16 + x / 4);
            sheet.Set(x, y, GetRValue(colour), GetGValue(colour), GetBValue(colour));
        }
    WriteBitmap("sheet.bmp", sheet);
    ASSERT_TRUE(App->LoadFont("C:\\sheet.bmp", 8));
    CFont* pFont = App->AcquireFont("C:\\sheet.bmp");
    ASSERT_NE(pFont, nullptr);
    EXPECT_EQ(pFont->GetSize(), 8);
    EXPECT_EQ(pFont->bTrueType, 0);
    for (int i = 0; i < FONT_GLYPHS; ++i) {
        SCOPED_TRACE(i);
        CTextureSurface& glyph = pFont->Glyphs[i];
        ASSERT_EQ(glyph.GetWidth(), 8);
        EXPECT_FALSE(Memory(glyph)->HasColorKey());
        EXPECT_EQ(pFont->GetCharWidth(static_cast<unsigned char>(i)), 8);
        EXPECT_FLOAT_EQ(pFont->GetWidthRatio(static_cast<unsigned char>(i)), 1.0f);
        HDC hdc = glyph.GetDC();
        const COLORREF want = cellColour(i);
        for (int p : {0, 7, 63}) {
            const COLORREF got = GetPixel(hdc, p % 8, p / 8);
            // 5-6-5 keeps the top five or six bits of each channel.
            EXPECT_EQ(GetRValue(got) & 0xF0, GetRValue(want));
            EXPECT_EQ(GetGValue(got) & 0xF0, GetGValue(want));
        }
        glyph.ReleaseDC(hdc);
    }
    EXPECT_TRUE(App->ReleaseFont("C:\\sheet.bmp"));
    EXPECT_TRUE(App->ReleaseFont("C:\\sheet.bmp"));
    EXPECT_EQ(Find("C:\\sheet.bmp"), nullptr);
}

TEST_F(FontTest, SheetFontsNeedAPathAndAPicture)
{
    EXPECT_FALSE(App->LoadFont(nullptr, 8));
    EXPECT_EQ(ThrownMessage([&] { App->LoadFont("C:\\missing.bmp", 8); }),
              "LoadImage: File not found.");
    EXPECT_EQ(App->FontList.pRoot, nullptr);
}

TEST_F(FontTest, FontsAreSharedByNameAndCounted)
{
    EXPECT_FALSE(Add(nullptr, 8));
    EXPECT_EQ(App->AcquireFont("f"), nullptr);
    EXPECT_FALSE(App->ReleaseFont("f"));

    ASSERT_TRUE(Add("f", 8));
    ASSERT_TRUE(Add("g", 8));
    CFont* pFont = App->AcquireFont("f");
    ASSERT_EQ(pFont, Find("f"));
    EXPECT_EQ(pFont->nRefCount, 2);
    EXPECT_TRUE(App->ReleaseFont("f"));
    EXPECT_EQ(Find("f"), pFont);
    EXPECT_EQ(pFont->nRefCount, 1);
    EXPECT_TRUE(App->ReleaseFont("f"));
    EXPECT_EQ(Find("f"), nullptr);
    EXPECT_FALSE(App->ReleaseFont("f"));
    EXPECT_NE(Find("g"), nullptr);

    // Device release takes every font, whatever its count.
    App->AcquireFont("g");
    App->ReleaseDevices(DEVICE_ALL);
    EXPECT_EQ(App->FontList.pRoot, nullptr);
}

TEST_F(FontTest, FailedCreationLeavesNothingBehind)
{
    // No surface for the first glyph.
    GetNullConfig().Failures = {{"CreateSurface", E_FAIL}};
    EXPECT_FALSE(Add("f", 16));
    EXPECT_EQ(App->FontList.pRoot, nullptr);

    // Every surface made, then no context to draw in: all of them go again.
    GetNullConfig().Failures = {{"GetDC", E_FAIL}};
    CFont font;
    EXPECT_FALSE(font.Create("f", 16, FW_BOLD_WEIGHT, false, false, false, true, 0, FACE, INK));
    for (int i = 0; i < FONT_GLYPHS; ++i)
        ASSERT_EQ(font.Glyphs[i].GetSurface(), nullptr) << i;
    EXPECT_EQ(font.GetName(), nullptr);
    EXPECT_FALSE(Add("f", 16));
    EXPECT_EQ(App->FontList.pRoot, nullptr);
    GetNullConfig().Failures.clear();
}

} // namespace
