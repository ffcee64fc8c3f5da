// The drawing context over CPU pixels: colours in each target format,
// shapes, text, stretched copies and the .bmp loader.
#include "platform/gdi.h"
#include "tests/riff_bytes.h"
#include "tests/scratch_dir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <string>
#include <vector>

namespace {

const COLORREF GREEN = 0x04FF36;
const COLORREF WHITE = RGB(255, 255, 255);

// A pixel buffer with a drawing context over it, and guard bytes after it
// that no drawing may touch.
class CSurface {
public:
    CSurface(int nWidth, int nHeight, int nBytes = 4)
        : nWidth(nWidth), nHeight(nHeight), nPitch(nWidth * nBytes),
          Bytes(size_t(nPitch) * nHeight + GUARD, GUARD_BYTE)
    {
        std::fill(Bytes.begin(), Bytes.end() - GUARD, 0);
        hdc = nBytes == 2 ? CreateBufferDC(Bytes.data(), nWidth, nHeight, nPitch, 2, 0xF800, 0x07E0, 0x001F)
                          : CreateBufferDC(Bytes.data(), nWidth, nHeight, nPitch, nBytes, 0xFF0000,
                                           0x00FF00, 0x0000FF);
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
    // Which of the pixels from (x, y) on, one step apart, are not black.
    std::string Inked(int x, int y, int dx, int dy, int nCount) const
    {
        std::string marks;
        for (int i = 0; i < nCount; ++i)
            marks += GetPixel(hdc, x + i * dx, y + i * dy) != 0 ? '#' : '.';
        return marks;
    }
    std::vector<uint8_t> Pixels() const { return {Bytes.begin(), Bytes.end() - GUARD}; }

    static constexpr size_t GUARD = 64;
    static constexpr uint8_t GUARD_BYTE = 0xA5;
    int nWidth, nHeight, nPitch;
    std::vector<uint8_t> Bytes;
    HDC hdc = nullptr;
};

HFONT MakeFont(int nHeight, const char* pszFace, uint32_t nQuality = ANTIALIASED_QUALITY)
{
    return CreateFontA(nHeight, 0, 0, 0, FW_NORMAL, 0, 0, 0, 0, 0, 0, nQuality, 0, pszFace);
}

// Draws white text on black without a background.
void DrawWhite(CSurface& surface, const char* pszText, RECT rect, uint32_t nFormat, HFONT hFont)
{
    HGDIOBJ hOld = SelectObject(surface.hdc, hFont);
    SetTextColor(surface.hdc, WHITE);
    SetBkMode(surface.hdc, TRANSPARENT);
    DrawTextA(surface.hdc, pszText, -1, &rect, nFormat);
    SelectObject(surface.hdc, hOld);
}

} // namespace

// 5-6-5 keeps the top bits of each channel and reads them back with the
// bits repeated downwards; 3 and 4 bytes keep blue, green, red in order.
TEST(GdiPixels, ColoursConvertToEachTargetFormatAndBack)
{
    CSurface s565(4, 4, 2);
    // 0x36 >> 3 = 6 red (6 << 3 | 6 >> 2 = 0x31), 0xFF >> 2 = 63 green, 0x04 >> 3 = 0 blue.
    EXPECT_EQ(SetPixel(s565.hdc, 1, 2, GREEN), RGB(0x31, 0xFF, 0x00));
    EXPECT_EQ(s565.Bytes[2 * s565.nPitch + 2] | s565.Bytes[2 * s565.nPitch + 3] << 8,
              (6 << 11) | (63 << 5));
    EXPECT_EQ(GetPixel(s565.hdc, 1, 2), RGB(0x31, 0xFF, 0x00));
    EXPECT_EQ(SetPixel(s565.hdc, 0, 0, WHITE), WHITE);
    EXPECT_EQ(SetPixel(s565.hdc, 3, 3, RGB(7, 3, 7)), 0u);

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
    EXPECT_EQ(surface.Inked(1, 3, 1, 0, 6), ".####.");
    EXPECT_EQ(surface.Inked(2, 2, 0, 1, 7), ".#####.");
    RECT beyond{-50, 14, 100, 100};
    FillRect(surface.hdc, &beyond, hBrush);
    EXPECT_EQ(surface.Inked(0, 13, 0, 1, 3), ".##");
    EXPECT_EQ(surface.Inked(15, 13, 0, 1, 3), ".##");
    EXPECT_TRUE(surface.GuardIntact());
    RECT all{0, 0, 16, 16};
    FillRect(surface.hdc, &all, static_cast<HBRUSH>(GetStockObject(NULL_BRUSH)));
    EXPECT_EQ(GetPixel(surface.hdc, 2, 3), SetPixel(surface.hdc, 0, 0, GREEN));
    EXPECT_TRUE(DeleteObject(hBrush));
}

// A wide pen covers its width centred on the line; the thin pen leaves out
// the end point; a rectangle's outline runs inside left..right-1.
TEST(GdiShapes, LinesCoverTheirPenWidth)
{
    CSurface surface(64, 64);
    HPEN hWide = CreatePen(PS_SOLID, 5, GREEN);
    HGDIOBJ hDefault = SelectObject(surface.hdc, hWide);
    POINT frame[] = {{10, 30}, {50, 30}, {50, 60}, {-20, 100}};
    EXPECT_TRUE(Polyline(surface.hdc, frame, 4));
    EXPECT_EQ(surface.Inked(30, 25, 0, 1, 11), "...#####...");
    EXPECT_EQ(surface.Inked(45, 45, 1, 0, 11), "...#####...");
    EXPECT_TRUE(surface.GuardIntact());
    EXPECT_EQ(SelectObject(surface.hdc, hDefault), hWide);
    EXPECT_TRUE(DeleteObject(hWide));

    CSurface thin(16, 16);
    HPEN hRed = CreatePen(PS_SOLID, 0, RGB(255, 0, 0));
    SelectObject(thin.hdc, hRed);
    MoveToEx(thin.hdc, 2, 2, nullptr);
    LineTo(thin.hdc, 7, 2);
    LineTo(thin.hdc, 7, 5);
    EXPECT_EQ(thin.Inked(1, 2, 1, 0, 8), ".######.");
    EXPECT_EQ(thin.Inked(7, 2, 0, 1, 4), "###.");
    SelectObject(thin.hdc, GetStockObject(WHITE_BRUSH));
    EXPECT_TRUE(Rectangle(thin.hdc, 10, 10, 15, 14));
    EXPECT_EQ(GetPixel(thin.hdc, 14, 13), RGB(255, 0, 0));
    EXPECT_EQ(GetPixel(thin.hdc, 12, 12), WHITE);
    EXPECT_EQ(thin.Inked(12, 9, 0, 1, 6), ".####.");
    SelectObject(thin.hdc, hDefault);
    DeleteObject(hRed);
}

TEST(GdiText, DrawTextStaysInItsRectangleAndAligns)
{
    HFONT hFont = MakeFont(32, "Century Gothic");
    CSurface surface(300, 80);
    DrawWhite(surface, "WWWWWWWWgjy", RECT{20, 10, 60, 30}, 0, hFont);
    const RECT ink = surface.Ink();
    ASSERT_LE(ink.left, ink.right) << "no text drawn";
    EXPECT_GE(ink.left, 20);
    EXPECT_LE(ink.right, 59);
    EXPECT_GE(ink.top, 10);
    EXPECT_LE(ink.bottom, 29);
    CSurface left(300, 80), centred(300, 80), right(300, 80);
    DrawWhite(left, "HOH", RECT{0, 0, 250, 80}, 0, hFont);
    DrawWhite(centred, "HOH", RECT{0, 0, 300, 80}, DT_CENTER, hFont);
    EXPECT_NEAR(centred.Ink().left, 299 - centred.Ink().right, 3);
    DrawWhite(right, "HOH", RECT{0, 0, 250, 80}, DT_RIGHT, hFont);
    EXPECT_NEAR(right.Ink().right, 249, 4);
    EXPECT_EQ(right.Ink().right - right.Ink().left, left.Ink().right - left.Ink().left);
    EXPECT_TRUE(DeleteObject(hFont));
}

// A glyph's A + B + C is the advance text is placed by, with or without
// smoothing; a blank counts one pixel of ink, and an opaque background
// fills exactly the advances.
TEST(GdiText, AbcWidthsAddUpToTheAdvanceTextIsPlacedBy)
{
    for (uint32_t nQuality : {0u, uint32_t(ANTIALIASED_QUALITY)}) {
        HFONT hFont = MakeFont(32, "Century Gothic", nQuality);
        CSurface together(200, 50), apart(200, 50);
        SelectObject(apart.hdc, hFont);
        ABC abc[2];
        int32_t widths[2];
        ASSERT_TRUE(GetCharABCWidthsA(apart.hdc, 'a', 'b', abc));
        ASSERT_TRUE(GetCharWidth32A(apart.hdc, 'a', 'b', widths));
        const int nAdvance = abc[0].abcA + int(abc[0].abcB) + abc[0].abcC;
        EXPECT_EQ(nAdvance, widths[0]);
        DrawWhite(together, "ab", RECT{10, 5, 200, 50}, 0, hFont);
        DrawWhite(apart, "a", RECT{10, 5, 200, 50}, 0, hFont);
        DrawWhite(apart, "b", RECT{10 + nAdvance, 5, 200, 50}, 0, hFont);
        EXPECT_TRUE(together.Pixels() == apart.Pixels()) << "quality " << nQuality;
        ABC space;
        GetCharABCWidthsA(apart.hdc, ' ', ' ', &space);
        EXPECT_EQ(space.abcB, 1u);
        DeleteObject(hFont); // still selected: goes with the context
    }
    CSurface surface(100, 40);
    HFONT hFont = MakeFont(20, "sans-serif");
    SelectObject(surface.hdc, hFont);
    SetBkColor(surface.hdc, RGB(255, 0, 0));
    EXPECT_EQ(SetBkMode(surface.hdc, OPAQUE), OPAQUE);
    int32_t nSpace;
    GetCharWidth32A(surface.hdc, ' ', ' ', &nSpace);
    EXPECT_TRUE(TextOutA(surface.hdc, 10, 5, "  ", 2));
    std::string row(2 * nSpace + 2, '#'), column(22, '#');
    row.front() = row.back() = column.front() = column.back() = '.';
    EXPECT_EQ(surface.Inked(9, 5, 1, 0, 2 * nSpace + 2), row);
    EXPECT_EQ(surface.Inked(10, 4, 0, 1, 22), column);
    // Deleting the selected font waits until the context lets it go.
    EXPECT_TRUE(DeleteObject(hFont));
    TextOutA(surface.hdc, 0, 0, "x", 1);
}

// A positive height is the cell, a negative one the em; a face the system
// lacks falls back to another.
TEST(GdiText, MissingFacesFallBackAndHeightsFollowTheConvention)
{
    CSurface surface(400, 100);
    HFONT hTitle = MakeFont(64, "Harrington");
    HGDIOBJ hDefault = SelectObject(surface.hdc, hTitle);
    TEXTMETRICA tm;
    ASSERT_TRUE(GetTextMetricsA(surface.hdc, &tm));
    EXPECT_EQ(tm.tmHeight, 64);
    EXPECT_EQ(tm.tmAscent + tm.tmDescent, 64);
    SetTextColor(surface.hdc, GREEN);
    SetBkMode(surface.hdc, TRANSPARENT);
    RECT rect{0, 0, 400, 100};
    EXPECT_EQ(DrawTextA(surface.hdc, "Load Map", 8, &rect, 0), 64);
    const RECT ink = surface.Ink();
    EXPECT_GT(ink.right - ink.left, 100);
    EXPECT_LT(ink.bottom, 64); // the descent of "p" stays in the cell
    HFONT hEm = MakeFont(-32, "sans-serif");
    EXPECT_EQ(SelectObject(surface.hdc, hEm), hTitle);
    GetTextMetricsA(surface.hdc, &tm);
    EXPECT_EQ(tm.tmHeight - tm.tmInternalLeading, 32);
    SelectObject(surface.hdc, hDefault);
    GetTextMetricsA(surface.hdc, &tm);
    EXPECT_EQ(tm.tmHeight, 16) << "the context's default font";
    DeleteObject(hTitle);
    DeleteObject(hEm);
}

TEST(GdiBitmaps, StretchBltRepeatsEachPixelAndClipsToTheTarget)
{
    HBITMAP hBitmap = CreateBitmap32(2, 2);
    BITMAP info;
    ASSERT_EQ(GetObjectA(hBitmap, sizeof(info), &info), int(sizeof(info)));
    EXPECT_EQ(info.bmWidth, 2);
    EXPECT_EQ(info.bmBitsPixel, 32);
    HDC hMemory = CreateCompatibleDC(nullptr);
    HGDIOBJ hOld = SelectObject(hMemory, hBitmap);
    const COLORREF colours[4] = {RGB(255, 0, 0), GREEN, RGB(0, 0, 255), WHITE};
    for (int i = 0; i < 4; ++i)
        SetPixel(hMemory, i % 2, i / 2, colours[i]);
    EXPECT_EQ(static_cast<uint32_t*>(info.bmBits)[1], 0x36FF04u); // 0x00RRGGBB

    CSurface surface(5, 5, 2);
    EXPECT_TRUE(StretchBlt(surface.hdc, 0, 0, 4, 4, hMemory, 0, 0, 2, 2, SRCCOPY));
    CSurface expected(5, 5, 2); // the colours as a 5-6-5 surface keeps them
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x)
            SetPixel(expected.hdc, x, y, colours[y / 2 * 2 + x / 2]);
    EXPECT_TRUE(surface.Pixels() == expected.Pixels());
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
        const uint32_t nOffset = 54 + 4 * uint32_t(Masks.size() + Palette.size());
        std::string s = "BM" + Le(nOffset + uint32_t(Rows.size())) + Le(0) + Le(nOffset + nOffsetShift) +
                        Le(40) + Le(uint32_t(nWidth)) + Le(uint32_t(nHeight)) + Le(1, 2) +
                        Le(nBits, 2) + Le(nCompression) + Le(uint32_t(Rows.size())) + Le(0) +
                        Le(0) + Le(uint32_t(Palette.size())) + Le(0);
        for (uint32_t n : Masks)
            s += Le(n);
        for (uint32_t n : Palette)
            s += Le(n);
        return s + Rows;
    }
};

// 3x2, bottom row first: blue, green, red; then white, black, grey; three
// bytes of padding each.
CBmp Bmp24BottomUp()
{
    CBmp bmp;
    bmp.nWidth = 3;
    bmp.nHeight = 2;
    bmp.Rows = std::string("\xFF\0\0\0\xFF\0\0\0\xFF\0\0\0", 12) +
               std::string("\xFF\xFF\xFF\0\0\0\x80\x80\x80\0\0\0", 12);
    return bmp;
}

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

} // namespace

TEST_F(GdiLoadTest, BitmapsOfEachDepthLoadTheRightWayUp)
{
    EXPECT_EQ(Read(Load(Bmp24BottomUp().Bytes())),
              (std::vector<COLORREF>{WHITE, 0, RGB(128, 128, 128), RGB(0, 0, 255), RGB(0, 255, 0),
                                     RGB(255, 0, 0)}));
    CBmp paletted;
    paletted.nWidth = 2;
    paletted.nHeight = -2; // top row first
    paletted.nBits = 8;
    paletted.Palette = {0x000000, 0x00FF36, 0x123456};
    paletted.Rows = std::string("\x01\x02\0\0\x02\x07\0\0", 8);
    const COLORREF grey = RGB(0x12, 0x34, 0x56);
    EXPECT_EQ(Read(Load(paletted.Bytes())), (std::vector<COLORREF>{RGB(0, 0xFF, 0x36), grey, grey, 0}))
        << "an index past the palette is black";
    CBmp deep;
    deep.nWidth = 2;
    deep.nBits = 32;
    deep.Rows = std::string("\x04\xFF\x36\x00\x10\x20\x30\x00", 8);
    EXPECT_EQ(Read(Load(deep.Bytes())), (std::vector<COLORREF>{GREEN, RGB(0x30, 0x20, 0x10)}));
    deep.nCompression = 3; // the channels given by masks
    deep.Masks = {0x0000FF00, 0x00FF0000, 0xFF000000};
    deep.Rows = std::string("\x00\x10\x20\x30\x00\x04\xFF\x36", 8);
    EXPECT_EQ(Read(Load(deep.Bytes())),
              (std::vector<COLORREF>{RGB(0x10, 0x20, 0x30), RGB(0x04, 0xFF, 0x36)}));
    CBmp mono;
    mono.nWidth = 10;
    mono.nBits = 1;
    mono.Palette = {0x000000, 0xFFFFFF};
    mono.Rows = std::string("\xA0\x40\0\0", 4); // 1010 0000 01..
    std::vector<COLORREF> expected(10, 0);
    expected[0] = expected[2] = expected[9] = WHITE;
    EXPECT_EQ(Read(Load(mono.Bytes())), expected);
    CBmp high;
    high.nBits = 16;
    high.Rows = std::string("\xE0\x03\0\0", 4); // 5-5-5 green
    EXPECT_EQ(Read(Load(high.Bytes())), std::vector<COLORREF>{RGB(0, 255, 0)});
}

TEST_F(GdiLoadTest, SizesStretchAndResourcesAreAbsent)
{
    std::vector<COLORREF> pixels = Read(Load(Bmp24BottomUp().Bytes(), 6, 4));
    ASSERT_EQ(pixels.size(), 24u);
    EXPECT_EQ(pixels[1], WHITE);
    EXPECT_EQ(pixels[6 * 3 + 5], RGB(255, 0, 0));
    EXPECT_EQ(LoadBitmapA(nullptr, "pic.bmp"), nullptr);
    EXPECT_EQ(LoadImageA(nullptr, "C:\\pic.bmp", IMAGE_BITMAP, 0, 0, LR_CREATEDIBSECTION), nullptr);
    EXPECT_EQ(LoadImageA(nullptr, "C:\\none.bmp", IMAGE_BITMAP, 0, 0, LR_LOADFROMFILE), nullptr);
}

// The rows must lie in the file after the headers: only the last row's
// padding may be missing.
TEST_F(GdiLoadTest, DamagedFilesGiveNull)
{
    const std::string good = Bmp24BottomUp().Bytes();
    for (size_t n = 0; n + 3 < good.size(); ++n)
        EXPECT_EQ(Load(good.substr(0, n)), nullptr) << n;
    EXPECT_EQ(Read(Load(good.substr(0, good.size() - 3))).size(), 6u);
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
    header = good;
    header[0] = 'X';
    EXPECT_EQ(Load(header), nullptr);
}
