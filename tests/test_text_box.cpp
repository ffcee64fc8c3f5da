#include "controls/text_box.h"

#include "app_fixture.h"
#include "platform/null_device.h"
#include "resources/font.h"

#include <string>
#include <vector>

namespace {

class TextBoxTest : public AppTest {
protected:
    void SetUp() override
    {
        AppTest::SetUp();
        StartDevices();
        // Made by hand: cells of 64, every character half a cell wide but
        // 'i', a quarter.
        Font.nSize = 64;
        for (int c = 0; c < FONT_GLYPHS; ++c) {
            Font.nWidths[c] = c == 'i' ? 16 : 32;
            Font.fWidthRatios[c] = Font.nWidths[c] / 64.0f;
        }
    }
    void TearDown() override
    {
        Box.Release(App.get());
        Font.Release(App.get());
        AppTest::TearDown();
    }
    void LayOut(CRectRegion region, const char* pszText)
    {
        Box.pFont = &Font;
        Box.SetRegion(&region);
        Box.SetText(pszText);
        Box.Update(App.get());
    }
    // Left, top, right, bottom of quad i.
    std::vector<float> Quad(int i) const
    {
        const CScreenVertex* q = Box.pQuads + i * 4;
        return {q[0].Position.x, q[0].Position.y, q[2].Position.x, q[2].Position.y};
    }
    std::string Glyphs() const
    {
        return std::string(reinterpret_cast<const char*>(Box.pGlyphs), Box.GlyphCount);
    }

    CFont Font;
    CTextBox Box;
};

using Q = std::vector<float>;

TEST_F(TextBoxTest, OneQuadPerCharacterWithTheFontsWidths)
{
    Box.SetDepth(0.5f);
    LayOut(CRectRegion(10, 20, 300, 300), "ai");
    EXPECT_EQ(Box.bDirty, 0);
    EXPECT_EQ(Glyphs(), "ai");
    EXPECT_EQ(Quad(0), (Q{10, 20, 42, 84}));
    EXPECT_EQ(Quad(1), (Q{42, 20, 58, 84}));
    const CScreenVertex* q = Box.pQuads + 4; // 'i' shows a quarter of its cell
    EXPECT_EQ((Q{q[0].TexU, q[1].TexU, q[2].TexV, q[3].TexV}), (Q{0.375f, 0.625f, 1, 1}));
    EXPECT_EQ((Q{q[3].Position.z, q[3].Rhw}), (Q{0.5f, 1.0f}));
    EXPECT_EQ(q[3].Colour, 0xFFFFFFFFu);

    Box.SetLineHeight(10); // 'i' 2.5 wide: the pen truncates to 2, then 4
    Box.SetText("iii\ni");
    Box.Update(App.get());
    EXPECT_EQ(Quad(1), (Q{12, 20, 14.5f, 30}));
    EXPECT_EQ(Quad(2), (Q{14, 20, 16.5f, 30}));
    EXPECT_EQ(Quad(3), (Q{10, 30, 12.5f, 40})); // a line feed goes back to the left
}

TEST_F(TextBoxTest, LinesAreCutAtTheEdgesWhereTheyStart)
{
    // The pen reaches the right edge after "abc": the rest of the line is
    // cut until the next line feed.
    LayOut(CRectRegion(0, 0, 96, 300), "abcdefg\nxy");
    EXPECT_EQ(Glyphs(), "abcxy");
    EXPECT_EQ(Quad(3), (Q{0, 64, 32, 128}));
    // A glyph that starts inside may reach beyond the edge.
    LayOut(CRectRegion(0, 0, 95, 300), "abcd");
    EXPECT_EQ(Quad(2), (Q{64, 0, 96, 64}));

    // Only the start of a line meets the bottom: the line feed that brings
    // the pen onto it ends the walk.
    LayOut(CRectRegion(0, 0, 300, 128), "a\nb\nc");
    EXPECT_EQ(Glyphs(), "ab");
    EXPECT_EQ(Quad(1), (Q{0, 64, 32, 128}));
    LayOut(CRectRegion(0, 0, 300, 300), "\n\n\n");
    EXPECT_EQ(Box.GlyphCount, 0);
}

TEST_F(TextBoxTest, LayoutWaitsForFontTextAndRegion)
{
    Box.SetText("ab");
    Box.Update(App.get());
    EXPECT_EQ(Box.bDirty, 1); // no font yet: still to do
    Box.pFont = &Font;
    Box.Update(App.get());
    EXPECT_EQ(Box.bDirty, 0); // no region: done, and nothing to show
    EXPECT_EQ(Box.GlyphCount, 0);
    Box.Draw(App.get());
    EXPECT_TRUE(GetNullDeviceState().Draws.empty());

    Box.SetText(nullptr); // clears, leaving the flag alone
    EXPECT_EQ(Box.GetText(nullptr), nullptr);
    EXPECT_EQ(Box.bDirty, 0);
    char copy[4] = {};
    Box.SetText("xyz");
    EXPECT_STREQ(Box.GetText(copy), "xyz");
    EXPECT_STREQ(copy, "xyz");
}

TEST_F(TextBoxTest, LineHeightAloneKeepsTheOldLayout)
{
    LayOut(CRectRegion(0, 0, 300, 300), "ab");
    Box.SetLineHeight(32);
    Box.Update(App.get());
    EXPECT_EQ(Quad(1), (Q{32, 0, 64, 64}));
    CRectRegion moved(50, 60, 300, 300);
    EXPECT_TRUE(Box.SetRegion(&moved));
    Box.Update(App.get());
    EXPECT_EQ(Quad(1), (Q{66, 60, 82, 92}));
}

TEST_F(TextBoxTest, DrawsGlyphByGlyphWithTheColourKey)
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
    // The glyphs only: the panel's own quad is not drawn.
    const std::vector<std::string> expected = {
        "SetRenderState 41 1",   "SetTextureStageState 0 2 2", "SetTextureStageState 0 1 2",
        "SetTexture 0 tex",      "DrawPrimitive 6 580 4",      "SetTexture 0 tex",
        "DrawPrimitive 6 580 4", "SetTexture 0 null",          "SetRenderState 41 0"};
    EXPECT_EQ(device, expected);
}

TEST_F(TextBoxTest, FontsAreSharedThroughTheFontList)
{
    auto* pListed = new CFont;
    pListed->SetName("listed");
    App->FontList.Add(pListed);
    EXPECT_TRUE(Box.SetFont(App.get(), "listed"));
    EXPECT_EQ(pListed->nRefCount, 2);
    EXPECT_FALSE(Box.SetFont(App.get(), "absent"));
    EXPECT_EQ(Box.bDirty, 0);
    EXPECT_EQ(pListed->nRefCount, 1);
    ASSERT_TRUE(Box.SetFont(App.get(), "listed"));
    Box.Release(App.get());
    EXPECT_EQ(Box.pFont, nullptr);
    EXPECT_EQ(pListed->nRefCount, 1);
}

} // namespace
