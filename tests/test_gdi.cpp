#include "platform/gdi.h"

#include "tests/scratch_dir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <string>
#include <vector>

namespace {

const COLORREF GREEN = 0x04FF36;

// A pixel buffer with a drawing context over it, and guard bytes after it
// that no drawing may touch.
class CSurface {
public:
    CSurface(int nWidth, int nHeight, int nBytes = 4)
        : nWidth(nWidth), nHeight(nHeight), nPitch(nWidth * nBytes),
          Bytes(size_t(nPitch) * nHeight + GUARD, GUARD_BYTE)
    {
        std::fill(Bytes.begin(), Bytes.end() - GUARD, 0);
        if (nBytes == 2)
            hdc = CreateBufferDC(Bytes.data(), nWidth, nHeight, nPitch, 2, 0xF800, 0x07E0, 0x001F);
        else
            hdc = CreateBufferDC(Bytes.data(), nWidth, nHeight, nPitch, nBytes, 0xFF0000, 0x00FF00,
                                 0x0000FF);
    }
    ~CSurface() { DeleteDC(hdc); }

    bool GuardIntact() const
    {
        return std::all_of(Bytes.end() - GUARD, Bytes.end(),
                           [](uint8_t n) { return n == GUARD_BYTE; });
    }
    // The box around pixels that are not black: left, top, right, bottom
    // inclusive; left > right when there are none.
    RECT Ink() const
    {
        RECT box{INT_MAX, INT_MAX, INT_MIN, INT_MIN};
        for (int y = 0; y < nHeight; ++y)
            for (int x = 0; x < nWidth; ++x)
                if (GetPixel(hdc, x, y) != 0)
                    box = RECT{std::min<int>(box.left, x), std::min<int>(box.top, y),
                               std::max<int>(box.right, x), std::max<int>(box.bottom, y)};
        return box;
    }
    std::vector<uint8_t> Pixels() const { return {Bytes.begin(), Bytes.end() - GUARD}; }

    static constexpr size_t GUARD = 64;
    static constexpr uint8_t GUARD_BYTE = 0xA5;
    int nWidth, nHeight, nPitch;
    std::vector<uint8_t> Bytes;
    HDC hdc = nullptr;
};

HFONT MakeFont(int nHeight, const char* pszFace)
{
    return CreateFontA(nHeight, 0, 0, 0, FW_NORMAL, 0, 0, 0, 0, 0, 0, ANTIALIASED_QUALITY, 0,
                       pszFace);
}

// Draws white text on black without a background, in a new font.
void DrawWhite(CSurface& surface, const char* pszText, RECT rect, uint32_t nFormat,
               HFONT hFont)
{
    HGDIOBJ hOld = SelectObject(surface.hdc, hFont);
    SetTextColor(surface.hdc, RGB(255, 255, 255));
    SetBkMode(surface.hdc, TRANSPARENT);
    DrawTextA(surface.hdc, pszText, -1, &rect, nFormat);
    SelectObject(surface.hdc, hOld);
}

} // namespace

TEST(GdiPixels, ColoursConvertToEachTargetFormatAndBack)
{
    CSurface s565(4, 4, 2);
    // 0x36 >> 3 = 6 red, 0xFF >> 2 = 63 green, 0x04 >> 3 = 0 blue.
    EXPECT_EQ(SetPixel(s565.hdc, 1, 2, GREEN), RGB(0x31, 0xFF, 0x00));
    uint16_t nStored;
    std::memcpy(&nStored, &s565.Bytes[2 * s565.nPitch + 2], 2);
    EXPECT_EQ(nStored, (6 << 11) | (63 << 5));
    EXPECT_EQ(GetPixel(s565.hdc, 1, 2), RGB(0x31, 0xFF, 0x00));
    EXPECT_EQ(SetPixel(s565.hdc, 0, 0, RGB(255, 255, 255)), RGB(255, 255, 255));
    EXPECT_EQ(SetPixel(s565.hdc, 3, 3, RGB(7, 3, 7)), RGB(0, 0, 0));

    CSurface s24(2, 1, 3), s32(2, 1, 4);
    for (CSurface* p : {&s24, &s32}) {
        EXPECT_EQ(SetPixel(p->hdc, 1, 0, GREEN), GREEN);
        EXPECT_EQ(p->Bytes[p->nPitch / 2 + 0], 0x04); // blue byte first
        EXPECT_EQ(p->Bytes[p->nPitch / 2 + 2], 0x36);
    }
    for (CSurface* p : {&s565, &s24, &s32}) {
        EXPECT_EQ(GetPixel(p->hdc, -1, 0), CLR_INVALID);
        EXPECT_EQ(GetPixel(p->hdc, 0, p->nHeight), CLR_INVALID);
        EXPECT_EQ(SetPixel(p->hdc, p->nWidth, 0, GREEN), CLR_INVALID);
        EXPECT_TRUE(p->GuardIntact());
    }
}

TEST(GdiShapes, FillRectLeavesOutRightAndBottomAndClips)
{
    CSurface surface(16, 16, 2);
    HBRUSH hBrush = CreateSolidBrush(GREEN);
    RECT rect{2, 3, 6, 8};
    EXPECT_EQ(FillRect(surface.hdc, &rect, hBrush), 1);
    EXPECT_NE(GetPixel(surface.hdc, 2, 3), 0u);
    EXPECT_NE(GetPixel(surface.hdc, 5, 7), 0u);
    EXPECT_EQ(GetPixel(surface.hdc, 6, 7), 0u);
    EXPECT_EQ(GetPixel(surface.hdc, 5, 8), 0u);
    EXPECT_EQ(GetPixel(surface.hdc, 1, 3), 0u);

    RECT beyond{-50, 14, 100, 100};
    FillRect(surface.hdc, &beyond, hBrush);
    EXPECT_NE(GetPixel(surface.hdc, 0, 15), 0u);
    EXPECT_NE(GetPixel(surface.hdc, 15, 14), 0u);
    EXPECT_EQ(GetPixel(surface.hdc, 15, 13), 0u);
    EXPECT_TRUE(surface.GuardIntact());

    RECT all{0, 0, 16, 16};
    FillRect(surface.hdc, &all, static_cast<HBRUSH>(GetStockObject(NULL_BRUSH)));
    EXPECT_EQ(GetPixel(surface.hdc, 0, 0), 0u);
    EXPECT_TRUE(DeleteObject(hBrush));
}

TEST(GdiShapes, LinesCoverTheirPenWidth)
{
    CSurface surface(64, 64);
    HPEN hWide = CreatePen(PS_SOLID, 5, GREEN);
    HGDIOBJ hDefault = SelectObject(surface.hdc, hWide);
    POINT frame[] = {{10, 30}, {50, 30}, {50, 60}, {-20, 100}};
    EXPECT_TRUE(Polyline(surface.hdc, frame, 4));
    for (int y = 25; y <= 35; ++y)
        EXPECT_EQ(GetPixel(surface.hdc, 30, y) != 0, y >= 28 && y <= 32) << y;
    for (int x = 45; x <= 55; ++x)
        EXPECT_EQ(GetPixel(surface.hdc, x, 45) != 0, x >= 48 && x <= 52) << x;
    EXPECT_TRUE(surface.GuardIntact());

    // The default pen is one black pixel wide and leaves out the end point.
    EXPECT_EQ(SelectObject(surface.hdc, hDefault), hWide);
    EXPECT_TRUE(DeleteObject(hWide));
    HPEN hThin = CreatePen(PS_SOLID, 0, RGB(255, 0, 0));
    SelectObject(surface.hdc, hThin);
    MoveToEx(surface.hdc, 2, 2, nullptr);
    LineTo(surface.hdc, 7, 2);
    LineTo(surface.hdc, 7, 5);
    for (int x = 1; x <= 8; ++x)
        EXPECT_EQ(GetPixel(surface.hdc, x, 2) != 0, x >= 2 && x <= 7) << x;
    EXPECT_EQ(GetPixel(surface.hdc, 7, 4), RGB(255, 0, 0));
    EXPECT_EQ(GetPixel(surface.hdc, 7, 5), 0u);

    // A rectangle: outline inside left..right-1, interior by the brush.
    SelectObject(surface.hdc, GetStockObject(WHITE_BRUSH));
    EXPECT_TRUE(Rectangle(surface.hdc, 10, 10, 15, 14));
    EXPECT_EQ(GetPixel(surface.hdc, 14, 13), RGB(255, 0, 0));
    EXPECT_EQ(GetPixel(surface.hdc, 12, 12), RGB(255, 255, 255));
    EXPECT_EQ(GetPixel(surface.hdc, 15, 12), 0u);
    EXPECT_EQ(GetPixel(surface.hdc, 12, 14), 0u);
    SelectObject(surface.hdc, hDefault);
    DeleteObject(hThin);
}

TEST(GdiText, DrawTextStaysInItsRectangleAndAligns)
{
    CSurface surface(300, 80);
    HFONT hFont = MakeFont(32, "Century Gothic");
    RECT narrow{20, 10, 60, 30};
    DrawWhite(surface, "WWWWWWWWgjy", narrow, 0, hFont);
    RECT ink = surface.Ink();
    ASSERT_LE(ink.left, ink.right) << "no text drawn";
    EXPECT_GE(ink.left, 20);
    EXPECT_LE(ink.right, 59);
    EXPECT_GE(ink.top, 10);
    EXPECT_LE(ink.bottom, 29);

    CSurface centred(300, 80);
    DrawWhite(centred, "HOH", RECT{0, 0, 300, 80}, DT_CENTER, hFont);
    ink = centred.Ink();
    EXPECT_NEAR(ink.left, 299 - ink.right, 3);

    CSurface right(300, 80);
    DrawWhite(right, "HOH", RECT{0, 0, 250, 80}, DT_RIGHT, hFont);
    EXPECT_NEAR(right.Ink().right, 249, 4);
    EXPECT_TRUE(DeleteObject(hFont));
}

TEST(GdiText, AbcWidthsAddUpToTheAdvanceTextIsPlacedBy)
{
    for (uint32_t nQuality : {0u, uint32_t(ANTIALIASED_QUALITY)}) {
        HFONT hFont = CreateFontA(32, 0, 0, 0, FW_NORMAL, 0, 0, 0, 0, 0, 0, nQuality, 0,
                                  "Century Gothic");
        CSurface together(200, 50), apart(200, 50);
        SelectObject(apart.hdc, hFont);
        ABC abc[2];
        int32_t widths[2];
        ASSERT_TRUE(GetCharABCWidthsA(apart.hdc, 'a', 'b', abc));
        ASSERT_TRUE(GetCharWidth32A(apart.hdc, 'a', 'b', widths));
        int nAdvance = abc[0].abcA + int(abc[0].abcB) + abc[0].abcC;
        EXPECT_GT(nAdvance, 5);
        EXPECT_EQ(nAdvance, widths[0]);
        EXPECT_GE(abc[1].abcB, 1u);

        DrawWhite(together, "ab", RECT{10, 5, 200, 50}, 0, hFont);
        DrawWhite(apart, "a", RECT{10, 5, 200, 50}, 0, hFont);
        DrawWhite(apart, "b", RECT{10 + nAdvance, 5, 200, 50}, 0, hFont);
        EXPECT_TRUE(together.Pixels() == apart.Pixels()) << "quality " << nQuality;

        // A blank keeps its advance with one pixel of ink counted.
        ABC space;
        GetCharABCWidthsA(apart.hdc, ' ', ' ', &space);
        EXPECT_EQ(space.abcB, 1u);
        EXPECT_GT(space.abcA + 1 + space.abcC, 0);
        DeleteObject(hFont); // still selected: goes with the context
    }
}

TEST(GdiText, MissingFacesFallBackAndHeightsFollowTheConvention)
{
    CSurface surface(400, 100);
    HFONT hTitle = MakeFont(64, "Harrington");
    HGDIOBJ hDefault = SelectObject(surface.hdc, hTitle);
    ASSERT_NE(hDefault, nullptr);
    TEXTMETRICA tm;
    ASSERT_TRUE(GetTextMetricsA(surface.hdc, &tm));
    EXPECT_EQ(tm.tmHeight, 64);
    EXPECT_EQ(tm.tmAscent + tm.tmDescent, 64);
    EXPECT_GT(tm.tmAveCharWidth, 0);
    EXPECT_GE(tm.tmMaxCharWidth, tm.tmAveCharWidth);
    SetTextColor(surface.hdc, GREEN);
    SetBkMode(surface.hdc, TRANSPARENT);
    RECT rect{0, 0, 400, 100};
    EXPECT_EQ(DrawTextA(surface.hdc, "Load Map", 8, &rect, 0), 64);
    RECT ink = surface.Ink();
    EXPECT_GT(ink.right - ink.left, 100);
    EXPECT_LT(ink.bottom, 64); // the descent of "p" stays in the cell

    // A negative height is the em: the cell is taller by the leading.
    HFONT hEm = MakeFont(-32, "sans-serif");
    EXPECT_EQ(SelectObject(surface.hdc, hEm), hTitle);
    GetTextMetricsA(surface.hdc, &tm);
    EXPECT_EQ(tm.tmHeight - tm.tmInternalLeading, 32);

    // The default font of a context is usable too.
    SelectObject(surface.hdc, hDefault);
    GetTextMetricsA(surface.hdc, &tm);
    EXPECT_EQ(tm.tmHeight, 16);
    DeleteObject(hTitle);
    DeleteObject(hEm);
}

TEST(GdiText, OpaqueModeFillsTheCellsWithTheBackground)
{
    CSurface surface(100, 40);
    HFONT hFont = MakeFont(20, "sans-serif");
    SelectObject(surface.hdc, hFont);
    SetBkColor(surface.hdc, RGB(255, 0, 0));
    EXPECT_EQ(SetBkMode(surface.hdc, OPAQUE), OPAQUE);
    int32_t nSpace;
    GetCharWidth32A(surface.hdc, ' ', ' ', &nSpace);
    EXPECT_TRUE(TextOutA(surface.hdc, 10, 5, "  ", 2));
    EXPECT_EQ(GetPixel(surface.hdc, 10, 5), RGB(255, 0, 0));
    EXPECT_EQ(GetPixel(surface.hdc, 10 + 2 * nSpace - 1, 24), RGB(255, 0, 0));
    EXPECT_EQ(GetPixel(surface.hdc, 10 + 2 * nSpace, 5), 0u);
    EXPECT_EQ(GetPixel(surface.hdc, 10, 25), 0u);
    EXPECT_EQ(GetPixel(surface.hdc, 9, 5), 0u);

    // Deleting the selected font waits until the context lets it go.
    EXPECT_TRUE(DeleteObject(hFont));
    TextOutA(surface.hdc, 0, 0, "x", 1);
}

TEST(GdiBitmaps, StretchBltDoublesEachPixel)
{
    HBITMAP hBitmap = CreateBitmap32(2, 2);
    BITMAP info;
    ASSERT_EQ(GetObjectA(hBitmap, sizeof(info), &info), int(sizeof(info)));
    EXPECT_EQ(info.bmWidth, 2);
    EXPECT_EQ(info.bmBitsPixel, 32);
    HPEN hPen = CreatePen(PS_SOLID, 1, 0);
    EXPECT_EQ(GetObjectA(hPen, sizeof(info), &info), 0);
    DeleteObject(hPen);

    HDC hMemory = CreateCompatibleDC(nullptr);
    HGDIOBJ hOld = SelectObject(hMemory, hBitmap);
    EXPECT_EQ(GetPixel(hMemory, 1, 1), 0u);
    const COLORREF colours[4] = {RGB(255, 0, 0), GREEN, RGB(0, 0, 255), RGB(255, 255, 255)};
    for (int i = 0; i < 4; ++i)
        SetPixel(hMemory, i % 2, i / 2, colours[i]);
    EXPECT_EQ(static_cast<uint32_t*>(info.bmBits)[1], 0x36FF04u); // 0x00RRGGBB

    CSurface surface(5, 5, 2);
    EXPECT_TRUE(StretchBlt(surface.hdc, 0, 0, 4, 4, hMemory, 0, 0, 2, 2, SRCCOPY));
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) {
            // The colour as the 5-6-5 surface keeps it.
            COLORREF expected = SetPixel(surface.hdc, 4, 4, colours[y / 2 * 2 + x / 2]);
            EXPECT_EQ(GetPixel(surface.hdc, x, y), expected) << x << "," << y;
        }
    SetPixel(surface.hdc, 4, 4, 0);
    EXPECT_EQ(GetPixel(surface.hdc, 4, 4), 0u);

    // Partly outside the target: the part inside lands, nothing else.
    EXPECT_TRUE(StretchBlt(surface.hdc, 3, 3, 4, 4, hMemory, 0, 0, 2, 2, SRCCOPY));
    EXPECT_EQ(GetPixel(surface.hdc, 4, 4), RGB(255, 0, 0));
    EXPECT_EQ(GetPixel(surface.hdc, 4, 2), 0u);
    EXPECT_TRUE(surface.GuardIntact());

    SelectObject(hMemory, hOld);
    DeleteDC(hMemory);
    EXPECT_TRUE(DeleteObject(hBitmap));
}

namespace {

void Put16(std::string& s, uint32_t n)
{
    s += char(n & 0xFF);
    s += char((n >> 8) & 0xFF);
}
void Put32(std::string& s, uint32_t n)
{
    Put16(s, n & 0xFFFF);
    Put16(s, n >> 16);
}

// A bitmap file with a 40-byte header; rows as stored, padding included.
struct CBmp {
    int32_t nWidth = 1, nHeight = 1;
    uint16_t nBits = 24;
    uint32_t nCompression = 0;
    std::vector<uint32_t> Palette;
    std::vector<uint32_t> Masks;
    std::string Rows;

    std::string Bytes(int nOffsetShift = 0) const
    {
        uint32_t nOffset = 54 + 4 * uint32_t(Masks.size() + Palette.size());
        std::string s = "BM";
        Put32(s, nOffset + uint32_t(Rows.size()));
        Put32(s, 0);
        Put32(s, nOffset + nOffsetShift);
        for (uint32_t n : {40u, uint32_t(nWidth), uint32_t(nHeight)})
            Put32(s, n);
        Put16(s, 1);
        Put16(s, nBits);
        for (uint32_t n : {nCompression, uint32_t(Rows.size()), 0u, 0u, uint32_t(Palette.size()), 0u})
            Put32(s, n);
        for (uint32_t n : Masks)
            Put32(s, n);
        for (uint32_t n : Palette)
            Put32(s, n);
        return s + Rows;
    }
};

class GdiLoadTest : public ScratchDirTest {
protected:
    void TearDown() override
    {
        if (hMemory)
            DeleteDC(hMemory);
        ScratchDirTest::TearDown();
    }
    // Loads a file written under another case, through the drive.
    HBITMAP Load(const std::string& bytes, int nWidth = 0, int nHeight = 0)
    {
        Write("pic.bmp", bytes);
        return LoadImageA(nullptr, "C:\\PIC.BMP", IMAGE_BITMAP, nWidth, nHeight,
                          LR_CREATEDIBSECTION | LR_LOADFROMFILE);
    }
    // The pixels of a loaded bitmap, row by row, top first.
    std::vector<COLORREF> Read(HBITMAP hBitmap)
    {
        std::vector<COLORREF> pixels;
        BITMAP info{};
        GetObjectA(hBitmap, sizeof(info), &info);
        if (!hMemory)
            hMemory = CreateCompatibleDC(nullptr);
        SelectObject(hMemory, hBitmap);
        for (int y = 0; y < info.bmHeight; ++y)
            for (int x = 0; x < info.bmWidth; ++x)
                pixels.push_back(GetPixel(hMemory, x, y));
        DeleteObject(hBitmap); // freed when the next one is selected
        return pixels;
    }
    HDC hMemory = nullptr;
};

CBmp Bmp24BottomUp()
{
    CBmp bmp;
    bmp.nWidth = 3;
    bmp.nHeight = 2;
    // Bottom row first: blue, green, red; then white, black, grey; 3 bytes of padding each.
    bmp.Rows = std::string("\xFF\0\0\0\xFF\0\0\0\xFF\0\0\0", 12) +
               std::string("\xFF\xFF\xFF\0\0\0\x80\x80\x80\0\0\0", 12);
    return bmp;
}

} // namespace

TEST_F(GdiLoadTest, BitmapsOfEachDepthLoadTheRightWayUp)
{
    std::vector<COLORREF> expected = {RGB(255, 255, 255), 0,
                                      RGB(128, 128, 128), RGB(0, 0, 255),
                                      RGB(0, 255, 0),     RGB(255, 0, 0)};
    EXPECT_EQ(Read(Load(Bmp24BottomUp().Bytes())), expected);

    CBmp paletted;
    paletted.nWidth = 2;
    paletted.nHeight = -2; // top row first
    paletted.nBits = 8;
    paletted.Palette = {0x000000, 0x00FF36, 0x123456};
    paletted.Rows = std::string("\x01\x02\0\0\x02\x07\0\0", 8);
    expected = {RGB(0x00, 0xFF, 0x36), RGB(0x12, 0x34, 0x56), RGB(0x12, 0x34, 0x56), 0};
    EXPECT_EQ(Read(Load(paletted.Bytes())), expected) << "index past the palette is black";

    CBmp deep;
    deep.nWidth = 2;
    deep.nBits = 32;
    deep.Rows = std::string("\x04\xFF\x36\x00\x10\x20\x30\x00", 8);
    expected = {GREEN, RGB(0x30, 0x20, 0x10)};
    EXPECT_EQ(Read(Load(deep.Bytes())), expected);
    deep.nCompression = 3; // the same with the channels given by masks
    deep.Masks = {0x0000FF00, 0x00FF0000, 0xFF000000};
    deep.Rows = std::string("\x00\x10\x20\x30\x00\x04\xFF\x36", 8);
    expected = {RGB(0x10, 0x20, 0x30), RGB(0x04, 0xFF, 0x36)};
    EXPECT_EQ(Read(Load(deep.Bytes())), expected);

    CBmp mono;
    mono.nWidth = 10;
    mono.nBits = 1;
    mono.Palette = {0x000000, 0xFFFFFF};
    mono.Rows = std::string("\xA0\x40\0\0", 4); // 1010 0000 01..
    expected.assign(10, 0);
    expected[0] = expected[2] = expected[9] = RGB(255, 255, 255);
    EXPECT_EQ(Read(Load(mono.Bytes())), expected);

    CBmp high;
    high.nBits = 16;
    high.Rows = std::string("\xE0\x03\0\0", 4); // 5-5-5 green
    expected = {RGB(0, 255, 0)};
    EXPECT_EQ(Read(Load(high.Bytes())), expected);
}

TEST_F(GdiLoadTest, SizesStretchAndResourcesAreAbsent)
{
    HBITMAP hBig = Load(Bmp24BottomUp().Bytes(), 6, 4);
    ASSERT_NE(hBig, nullptr);
    std::vector<COLORREF> pixels = Read(hBig);
    ASSERT_EQ(pixels.size(), 24u);
    EXPECT_EQ(pixels[0], pixels[1]);
    EXPECT_EQ(pixels[6 * 3 + 5], RGB(255, 0, 0));

    EXPECT_EQ(LoadBitmapA(nullptr, "pic.bmp"), nullptr);
    EXPECT_EQ(LoadImageA(nullptr, "C:\\pic.bmp", IMAGE_BITMAP, 0, 0, LR_CREATEDIBSECTION), nullptr);
    EXPECT_EQ(LoadImageA(nullptr, "C:\\none.bmp", IMAGE_BITMAP, 0, 0, LR_LOADFROMFILE), nullptr);
}

TEST_F(GdiLoadTest, DamagedFilesGiveNull)
{
    std::string good = Bmp24BottomUp().Bytes();
    // Only the last row's padding may be missing.
    for (size_t n = 0; n + 3 < good.size(); ++n)
        EXPECT_EQ(Load(good.substr(0, n)), nullptr) << n;

    EXPECT_EQ(Load(Bmp24BottomUp().Bytes(1000)), nullptr);
    EXPECT_EQ(Load(Bmp24BottomUp().Bytes(-30)), nullptr); // pixels inside the header
    for (auto [nWidth, nHeight] : {std::pair{0, 1}, {-3, 2}, {3, INT_MIN}, {100000, 100000},
                                   {INT_MAX, 1}, {65536, 65536}}) {
        CBmp bmp = Bmp24BottomUp();
        bmp.nWidth = nWidth;
        bmp.nHeight = nHeight;
        EXPECT_EQ(Load(bmp.Bytes()), nullptr) << nWidth << "x" << nHeight;
    }
    CBmp odd = Bmp24BottomUp();
    odd.nBits = 7;
    EXPECT_EQ(Load(odd.Bytes()), nullptr);
    odd.nBits = 8;
    odd.nCompression = 1; // run-length coded
    EXPECT_EQ(Load(odd.Bytes()), nullptr);
    odd.nCompression = 0; // no room for the full palette the header implies
    EXPECT_EQ(Load(odd.Bytes()), nullptr);

    std::string header = good;
    header[14] = 64; // an unknown header size
    EXPECT_EQ(Load(header), nullptr);
    header[14] = char(200);
    EXPECT_EQ(Load(header), nullptr);
    header = good;
    header[0] = 'X';
    EXPECT_EQ(Load(header), nullptr);
}
