// The text box: one quad per character laid out from the top left, lines cut
// where they start at an edge, and glyph-by-glyph drawing with the colour key.
#include "controls/text_box.h"

#include "app_fixture.h"
#include "resources/font.h"

#include <string>
#include <vector>

namespace {

using Q = std::vector<float>;

class TextBoxTest : public AppTest {
protected:
    void SetUp() override
    {
        AppTest::SetUp();
        StartDevices();
        // Cells of 64, every character half a cell wide but 'i', a quarter.
        Font.SetName("hand");
        Font.nSize = 64;
        for (int c = 0; c < FONT_GLYPHS; ++c) {
            Font.nWidths[c] = c == 'i' ? 16 : 32;
            Font.fWidthRatios[c] = Font.nWidths[c] / 64.0f;
        }
        App->FontList.Add(&Font);
        ASSERT_TRUE(Box.SetFont(App.get(), "hand"));
    }
    void TearDown() override
    {
        Box.Release(App.get());
        App->FontList.DetachByName("hand");
        Font.Release(App.get());
        AppTest::TearDown();
    }
    // Lays the text out and gives the characters placed.
    std::string LayOut(CRectRegion region, const char* pszText)
    {
        Box.SetRegion(&region);
        Box.SetText(pszText);
        Box.Update(App.get());
        return std::string(reinterpret_cast<const char*>(Box.pGlyphs), Box.GlyphCount);
    }
    // Left, top, right, bottom of quad i.
    Q Quad(int i) const
    {
        const CScreenVertex* q = Box.pQuads + i * 4;
        return {q[0].Position.x, q[0].Position.y, q[2].Position.x, q[2].Position.y};
    }

    CFont Font;
    CTextBox Box;
};

TEST_F(TextBoxTest, OneQuadPerCharacterWithTheFontsWidthsAndATruncatedPen)
{
    Box.SetDepth(0.5f);
    EXPECT_EQ(LayOut(CRectRegion(10, 20, 300, 300), "ai"), "ai");
    EXPECT_TRUE(Quad(0) == (Q{10, 20, 42, 84}) && Quad(1) == (Q{42, 20, 58, 84}));
    const CScreenVertex* q = Box.pQuads + 4; // 'i' shows a quarter of its cell
    EXPECT_EQ((Q{q[0].TexU, q[1].TexU, q[2].TexV, q[3].Position.z, q[3].Rhw}), (Q{0.375f, 0.625f, 1, 0.5f, 1}));
    EXPECT_EQ(q[3].Colour, 0xFFFFFFFFu);
    // The line height alone does not lay out again; the next text does.
    Box.SetLineHeight(10);
    Box.Update(App.get());
    EXPECT_EQ(Quad(1), (Q{42, 20, 58, 84}));
    EXPECT_EQ(LayOut(CRectRegion(10, 20, 300, 300), "iii\ni"), "iiii");
    // 'i' is 2.5 wide: the pen truncates to 12, then 14; a line feed goes
    // back to the left.
    EXPECT_TRUE(Quad(1) == (Q{12, 20, 14.5f, 30}) && Quad(2) == (Q{14, 20, 16.5f, 30}));
    EXPECT_EQ(Quad(3), (Q{10, 30, 12.5f, 40}));
}

TEST_F(TextBoxTest, LinesAreCutAtTheEdgesWhereTheyStart)
{
    // The pen reaches the right edge after "abc": the line is cut up to the
    // next line feed. A glyph that starts inside may reach beyond the edge.
    EXPECT_EQ(LayOut(CRectRegion(0, 0, 96, 300), "abcdefg\nxy"), "abcxy");
    EXPECT_EQ(Quad(3), (Q{0, 64, 32, 128}));
    EXPECT_EQ(LayOut(CRectRegion(0, 0, 95, 300), "abcd"), "abc");
    EXPECT_EQ(Quad(2), (Q{64, 0, 96, 64}));
    // The line feed that brings the pen onto the bottom ends the walk.
    EXPECT_EQ(LayOut(CRectRegion(0, 0, 300, 128), "a\nb\nc"), "ab");
    EXPECT_EQ(LayOut(CRectRegion(0, 0, 300, 300), "\n\n\n"), "");
}

TEST_F(TextBoxTest, LayoutWaitsForAFontAndATextAndShowsNothingWithoutARegion)
{
    EXPECT_FALSE(Box.SetFont(App.get(), "absent"));
    EXPECT_TRUE(Box.bDirty == 0 && Font.nRefCount == 1);
    Box.SetText("ab");
    Box.Update(App.get());
    EXPECT_EQ(Box.bDirty, 1); // no font: still to do
    ASSERT_TRUE(Box.SetFont(App.get(), "hand"));
    EXPECT_EQ(Font.nRefCount, 2);
    Box.Update(App.get());
    EXPECT_TRUE(Box.bDirty == 0 && Box.GlyphCount == 0); // no region: done, nothing to show
    char copy[4] = {};
    EXPECT_STREQ(Box.GetText(copy), "ab");
    EXPECT_STREQ(copy, "ab");
}

TEST_F(TextBoxTest, DrawsGlyphByGlyphWithTheColourKeyAndNotThePanel)
{
    for (unsigned char c : {'a', 'b'})
        ASSERT_EQ(Font.Glyphs[c].Create(App.get(), 8, 8, nullptr, 0), 0);
    LayOut(CRectRegion(0, 0, 300, 300), "ab");
    GetNullCallLog().clear();
    Box.Draw(App.get());
    std::vector<std::string> device;
    for (const std::string& line : GetNullCallLog())
        if (line.rfind("Set", 0) == 0 || line.rfind("Draw", 0) == 0)
            device.push_back(line);
    EXPECT_EQ(device, (std::vector<std::string>{"SetRenderState 41 1", "SetTextureStageState 0 2 2",
                                                 "SetTextureStageState 0 1 2", "SetTexture 0 tex",
                                                 "DrawPrimitive 6 580 4", "SetTexture 0 tex",
                                                 "DrawPrimitive 6 580 4", "SetTexture 0 null",
                                                 "SetRenderState 41 0"}));
}

} // namespace
