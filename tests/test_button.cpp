// Controls, panels and buttons: owners and children, the panel's polygon and
// how it is drawn, and the button's mouse states across frames.
#include "controls/button.h"

#include "app_fixture.h"
#include "platform/null_device.h"

#include <algorithm>
#include <string>
#include <vector>

namespace {

std::vector<std::string> g_Log;

// A control that logs its frame calls and its deletion.
class CProbe : public CControl {
public:
    explicit CProbe(const char* pszName) : sLabel(pszName ? pszName : "-") { SetName(pszName); }
    ~CProbe() override { g_Log.push_back("delete " + sLabel); }
    void Update(CApplication*) override { g_Log.push_back("update " + sLabel); }
    void Draw(CApplication*) override { g_Log.push_back("draw " + sLabel); }
    std::string sLabel;
};

// Keeps each message's sender, code and the x of the cursor it points at.
class CHandler : public CResource {
public:
    bool OnMessage(uintptr_t a, uintptr_t b, uintptr_t c) override
    {
        Messages.push_back({a, b, static_cast<uintptr_t>(reinterpret_cast<const CCursorPos*>(c)->x)});
        return true;
    }
    std::vector<std::vector<uintptr_t>> Messages;
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
    // One frame: the mouse snapshot moves on, then the button updates.
    void Frame(CButton& button, int x, int y, bool bDown)
    {
        App->PrevMouse = App->CurMouse;
        App->CurMouse.rgbButtons[0] = bDown ? 0x80 : 0;
        App->Cursor = {x, y};
        button.Update(App.get());
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
        EXPECT_EQ(pChild->pOwner, &second);
        EXPECT_TRUE(first.Children.pRoot == pSibling && !pSibling->pLeft && !pSibling->pRight);
        EXPECT_EQ(second.Children.pRoot, pChild);
        // Each list releases what it holds, once.
        g_Log.clear();
        first.Release(App.get());
        second.Release(App.get());
        const std::string label = pszName ? pszName : "-";
        EXPECT_EQ(g_Log, (std::vector<std::string>{"delete " + label, "delete " + label}));
    }
}

TEST_F(ButtonTest, ReleaseTakesTheChildrenAndLeavesTheOwner)
{
    CControl owner;
    auto* pChild = new CProbe("child");
    owner.AddChild(new CProbe("stays"));
    owner.AddChild(pChild);
    for (int i = 0; i < 4; ++i)
        pChild->AddChild(new CProbe(""));
    pChild->Release(App.get());
    EXPECT_EQ(pChild->pOwner, nullptr);
    EXPECT_EQ(owner.Children.FindByName("child"), nullptr);
    EXPECT_NE(owner.Children.FindByName("stays"), nullptr);
    EXPECT_EQ(std::count(g_Log.begin(), g_Log.end(), "delete "), 4);
    delete pChild;
    owner.Release(App.get());
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
    ASSERT_EQ(panel.VertexCount, 4);
    const float corners[4][4] = {{35, 20, 0, 0}, {85, 20, 1, 0}, {85, 70, 1, 1}, {35, 70, 0, 1}};
    for (int i = 0; i < 4; ++i) {
        const CScreenVertex& v = panel.pVertices[i];
        EXPECT_TRUE(v.Position.x == corners[i][0] && v.Position.y == corners[i][1]) << i;
        EXPECT_TRUE(v.TexU == corners[i][2] && v.TexV == corners[i][3]) << i;
        EXPECT_TRUE(v.Position.z == 1.0f && v.Rhw == 1.0f && v.Colour == 0x80FF0000u) << i;
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
    const CScreenVertex* pKept = panel.pVertices;
    EXPECT_FALSE(panel.SetVertices(backwards, 4));
    EXPECT_FALSE(panel.SetVertices(arrow, 4));
    EXPECT_FALSE(panel.SetVertices(square, 2));
    EXPECT_TRUE(panel.pVertices == pKept && panel.VertexCount == 4);
    EXPECT_TRUE(panel.SetVertices(square, 3));
    EXPECT_TRUE(panel.SetVertices(straight, 4));

    panel.AddChild(new CProbe("child"));
    GetNullCallLog().clear();
    panel.Draw(App.get());
    EXPECT_TRUE(LoggedInOrder({"SetTextureStageState 0 2 0", "SetTextureStageState 0 1 2",
                               "DrawPrimitive 6 580 4"}));
    EXPECT_EQ(CountLogged("SetTexture 0 tex"), 0);
    EXPECT_EQ(g_Log, std::vector<std::string>{"draw child"}); // children on top
    panel.Release(App.get());
}

TEST_F(ButtonTest, AButtonDrawsItsCurrentTextureModulatedByTheColour)
{
    CButton button;
    CRectRegion rect(100, 100, 200, 150);
    ASSERT_TRUE(button.SetRegion(&rect) && button.SetButtonName("ok"));
    ASSERT_TRUE(button.SetUpTexture(App.get(), "up"));
    EXPECT_FALSE(button.SetTexture(App.get(), "down"));
    EXPECT_EQ(button.pTexture, App->FindTexture("up"));
    button.Draw(App.get());
    EXPECT_TRUE(LoggedInOrder({"SetTexture 0 tex", "SetTextureStageState 0 2 2",
                               "SetTextureStageState 0 3 0", "SetTextureStageState 0 1 4",
                               "DrawPrimitive 6 580 4", "SetTexture 0 null"}));
    button.Release(App.get());
}

struct CStep {
    int x, y;
    bool bDown;
    uint32_t nFlags;        // after the frame
    const char* pszTexture; // shown after the frame
};

struct CScenario {
    const char* pszName;
    bool bAllTextures; // else the up texture alone
    std::vector<CStep> Steps;
    std::vector<uintptr_t> Messages; // code, cursor x, code, cursor x, ...
};

const uint32_t H = BUTTON_HOVER, D = BUTTON_DOWN, C = BUTTON_CLICKED;

TEST_F(ButtonTest, MouseStatesAcrossFrames)
{
    const CScenario scenarios[] = {
        // The corner belongs to the region.
        {"hover", true, {{200, 150, false, H, "hover"}, {201, 150, false, 0, "up"}}, {}},
        {"press outside, then held inside", true,
         {{50, 50, true, 0, "up"}, {150, 125, true, H, "hover"}, {150, 125, false, H, "hover"}},
         {}},
        {"press and release inside", true,
         {{120, 130, true, H | D, "down"}, {121, 131, true, H | D, "down"},
          {122, 132, false, H | C, "hover"}},
         {BUTTON_MSG_DOWN, 120, BUTTON_MSG_UP, 122}},
        {"drag off", true,
         {{150, 125, true, H | D, "down"}, {300, 300, true, D, "down"},
          {310, 300, false, C, "up"}},
         {BUTTON_MSG_DOWN, 150, BUTTON_MSG_UP, 310}},
        {"only an up texture", false,
         {{150, 125, false, H, "up"}, {150, 125, true, H | D, "up"},
          {150, 125, false, H | C, "up"}},
         {BUTTON_MSG_DOWN, 150, BUTTON_MSG_UP, 150}},
    };
    for (const CScenario& scenario : scenarios) {
        SCOPED_TRACE(scenario.pszName);
        CButton button;
        CHandler handler;
        CRectRegion rect(100, 100, 200, 150);
        button.SetRegion(&rect);
        button.SetHandler(&handler);
        button.SetUpTexture(App.get(), "up");
        if (scenario.bAllTextures) {
            button.SetHoverTexture(App.get(), "hover");
            button.SetDownTexture(App.get(), "down");
        }
        button.AddChild(new CProbe("child"));
        App->CurMouse.rgbButtons[0] = 0;
        g_Log.clear();
        for (const CStep& step : scenario.Steps) {
            Frame(button, step.x, step.y, step.bDown);
            EXPECT_EQ(button.Flags, step.nFlags) << step.x << "," << step.y;
            EXPECT_EQ(button.pTexture, App->FindTexture(step.pszTexture)) << step.x;
        }
        EXPECT_EQ(g_Log.size(), scenario.Steps.size()); // the child's updates
        std::vector<uintptr_t> sent;
        for (const auto& message : handler.Messages) {
            EXPECT_EQ(message[0], reinterpret_cast<uintptr_t>(&button));
            sent.insert(sent.end(), {message[1], message[2]});
        }
        EXPECT_EQ(sent, scenario.Messages);
        button.Release(App.get());
    }
}

TEST_F(ButtonTest, WithoutARegionNothingHappensNotEvenToTheChildren)
{
    CButton bare;
    bare.AddChild(new CProbe("child"));
    Frame(bare, 0, 0, true);
    EXPECT_EQ(bare.Flags, 0u);
    EXPECT_EQ(g_Log, std::vector<std::string>{});
    bare.Release(App.get());
}

} // namespace
