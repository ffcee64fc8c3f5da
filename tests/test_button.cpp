// Controls, panels and buttons: owners and children, the panel's polygon and
// how it is drawn, and the button's mouse states across frames.
#include "controls/button.h"

#include "app_fixture.h"

#include <string>
#include <tuple>
#include <vector>

namespace {

std::vector<std::string> g_Log;

// A control that logs its updates, draws and deletion.
class CProbe : public CControl {
public:
    explicit CProbe(const char* pszName) : sLabel(pszName ? pszName : "-") { SetName(pszName); }
    ~CProbe() override { g_Log.push_back("delete " + sLabel); }
    void Update(CApplication*) override { g_Log.push_back("update " + sLabel); }
    void Draw(CApplication*) override { g_Log.push_back("draw " + sLabel); }
    std::string sLabel;
};

// Keeps each message as sender, code and the x of the cursor it points at.
class CHandler : public CResource {
public:
    bool OnMessage(uintptr_t a, uintptr_t b, uintptr_t c) override
    {
        Sent.insert(Sent.end(), {a, b, static_cast<uintptr_t>(reinterpret_cast<const CCursorPos*>(c)->x)});
        return true;
    }
    std::vector<uintptr_t> Sent;
};

CScreenVertex At(float x, float y)
{
    return CScreenVertex(CVector(x, y, 1.0f), 0, 0.0f, 0.0f, 0.0f, 0.0f);
}

class ButtonTest : public AppTest {
protected:
    void SetUp() override
    {
        AppTest::SetUp();
        StartDevices();
        g_Log.clear();
        WriteBitmap("pic.bmp", samples::CImage(2, 2));
        for (const char* pszName : {"up", "hover", "down"})
            ASSERT_TRUE(App->AddTexture("C:\\pic.bmp", pszName, 0));
    }
};

TEST_F(ButtonTest, AChildMovesToItsNewOwnerAndLeavesSiblingsOfTheSameNameOrNone)
{
    for (const char* pszName : {"twin", static_cast<const char*>(nullptr)}) {
        CControl first, second;
        auto* pSibling = new CProbe(pszName);
        auto* pChild = new CProbe(pszName);
        first.AddChild(pSibling);
        first.AddChild(pChild);
        second.AddChild(pChild);
        EXPECT_TRUE(pChild->pOwner == &second && second.Children.pRoot == pChild);
        EXPECT_TRUE(first.Children.pRoot == pSibling && !pSibling->pLeft && !pSibling->pRight);
        // Each list releases what it holds, once; a released child leaves
        // its owner.
        g_Log.clear();
        pChild->AddChild(new CProbe("grandchild"));
        pChild->Release(App.get());
        EXPECT_TRUE(pChild->pOwner == nullptr && second.Children.pRoot == nullptr);
        delete pChild;
        first.Release(App.get());
        const std::string label = pszName ? pszName : "-";
        EXPECT_EQ(g_Log, (std::vector<std::string>{"delete grandchild", "delete " + label, "delete " + label}));
    }
}

TEST_F(ButtonTest, QuadCoversTheBoundsInTheColourOfItsMaking)
{
    CPanel panel;
    EXPECT_FALSE(panel.BuildQuad());
    CCircleRegion circle(60, 45, 25);
    panel.SetRegion(&circle);
    ASSERT_TRUE(panel.BuildQuad());
    EXPECT_EQ(panel.pVertices[0].Colour, 0x5FFFFFFFu);
    panel.SetColour(0x80FF0000);
    ASSERT_TRUE(panel.BuildQuad());
    panel.SetColour(0x12345678); // shows only after the next BuildQuad
    const float corners[4][4] = {{35, 20, 0, 0}, {85, 20, 1, 0}, {85, 70, 1, 1}, {35, 70, 0, 1}};
    for (int i = 0; i < 4; ++i) {
        const CScreenVertex& v = panel.pVertices[i];
        EXPECT_TRUE(v.Position.x == corners[i][0] && v.Position.y == corners[i][1] && v.Position.z == 1.0f &&
                    v.TexU == corners[i][2] && v.TexV == corners[i][3] && v.Colour == 0x80FF0000u) << i;
    }
}

TEST_F(ButtonTest, OnlyConvexClockwisePolygonsAreTakenAndAFlatOneIsDrawnInItsColour)
{
    CPanel panel;
    const CScreenVertex square[] = {At(0, 0), At(10, 0), At(10, 10), At(0, 10)};
    const CScreenVertex backwards[] = {At(0, 0), At(0, 10), At(10, 10), At(10, 0)};
    const CScreenVertex arrow[] = {At(0, 0), At(5, 4), At(10, 0), At(5, 10)}; // (5, 4) dents in
    const CScreenVertex straight[] = {At(0, 0), At(5, 0), At(10, 0), At(5, 9)}; // (5, 0) on an edge
    ASSERT_TRUE(panel.SetVertices(square, 4));
    EXPECT_FALSE(panel.SetVertices(backwards, 4) || panel.SetVertices(arrow, 4) || panel.SetVertices(square, 2));
    EXPECT_TRUE(panel.VertexCount == 4 && panel.SetVertices(straight, 4));
    panel.AddChild(new CProbe("child"));
    GetNullCallLog().clear();
    panel.Draw(App.get());
    EXPECT_TRUE(LoggedInOrder({"SetTextureStageState 0 2 0", "SetTextureStageState 0 1 2", "DrawPrimitive 6 580 4"}));
    EXPECT_EQ(CountLogged("SetTexture 0 tex"), 0);
    EXPECT_EQ(g_Log, std::vector<std::string>{"draw child"}); // children on top
    panel.Release(App.get());
}

// Frames of x, y, left button down; the flags and texture after each; the
// messages as code and cursor x.
struct CScenario {
    const char* pszName;
    bool bAllTextures; // else the up texture alone
    std::vector<std::tuple<int, int, bool, uint32_t, const char*>> Frames;
    std::vector<uintptr_t> Messages;
};

const uint32_t H = BUTTON_HOVER, D = BUTTON_DOWN, C = BUTTON_CLICKED;

TEST_F(ButtonTest, MouseStatesAcrossFrames)
{
    const CScenario scenarios[] = {
        {"hover; the corner belongs to the region", true, {{200, 150, false, H, "hover"}, {201, 150, false, 0, "up"}}, {}},
        {"press outside, then held inside", true,
         {{50, 50, true, 0, "up"}, {150, 125, true, H, "hover"}, {150, 125, false, H, "hover"}}, {}},
        {"press and release inside", true,
         {{120, 130, true, H | D, "down"}, {121, 131, true, H | D, "down"}, {122, 132, false, H | C, "hover"}},
         {BUTTON_MSG_DOWN, 120, BUTTON_MSG_UP, 122}},
        {"drag off", true,
         {{150, 125, true, H | D, "down"}, {300, 300, true, D, "down"}, {310, 300, false, C, "up"}},
         {BUTTON_MSG_DOWN, 150, BUTTON_MSG_UP, 310}},
        {"only an up texture", false,
         {{150, 125, false, H, "up"}, {150, 125, true, H | D, "up"}, {150, 125, false, H | C, "up"}},
         {BUTTON_MSG_DOWN, 150, BUTTON_MSG_UP, 150}},
    };
    for (const CScenario& scenario : scenarios) {
        SCOPED_TRACE(scenario.pszName);
        CButton button;
        CHandler handler;
        CRectRegion rect(100, 100, 200, 150);
        ASSERT_TRUE(button.SetRegion(&rect) && button.SetButtonName("ok"));
        button.SetHandler(&handler);
        button.SetUpTexture(App.get(), "up");
        if (scenario.bAllTextures) {
            button.SetHoverTexture(App.get(), "hover");
            button.SetDownTexture(App.get(), "down");
        }
        button.AddChild(new CProbe("child"));
        App->CurMouse.rgbButtons[0] = 0;
        g_Log.clear();
        std::vector<uintptr_t> expected;
        for (const auto& [x, y, bDown, nFlags, pszTexture] : scenario.Frames) {
            App->PrevMouse = App->CurMouse;
            App->CurMouse.rgbButtons[0] = bDown ? 0x80 : 0;
            App->Cursor = {x, y};
            button.Update(App.get());
            EXPECT_TRUE(button.Flags == nFlags && button.pTexture == App->FindTexture(pszTexture)) << x << "," << y;
        }
        for (size_t i = 0; i < scenario.Messages.size(); i += 2)
            expected.insert(expected.end(), {reinterpret_cast<uintptr_t>(&button), scenario.Messages[i], scenario.Messages[i + 1]});
        EXPECT_EQ(handler.Sent, expected);
        EXPECT_EQ(g_Log.size(), scenario.Frames.size()); // the child's updates
        // Drawn: the current texture, modulated by the colour.
        GetNullCallLog().clear();
        button.Draw(App.get());
        EXPECT_TRUE(LoggedInOrder({"SetTexture 0 tex", "SetTextureStageState 0 2 2", "SetTextureStageState 0 3 0",
                                   "SetTextureStageState 0 1 4", "DrawPrimitive 6 580 4", "SetTexture 0 null"}));
        EXPECT_FALSE(button.SetTexture(App.get(), "down"));
        button.Release(App.get());
    }
    // Without a region nothing happens, not even to the children.
    CButton bare;
    bare.AddChild(new CProbe("child"));
    g_Log.clear();
    App->CurMouse.rgbButtons[0] = 0x80;
    bare.Update(App.get());
    EXPECT_TRUE(bare.Flags == 0 && g_Log.empty());
    bare.Release(App.get());
}

} // namespace
