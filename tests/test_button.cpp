#include "controls/button.h"

#include "app_fixture.h"
#include "platform/null_device.h"

#include <algorithm>
#include <string>
#include <vector>

namespace {

// A control that logs its frame calls and its deletion.
class CProbe : public CControl {
public:
    CProbe(std::vector<std::string>* pLogIn, const char* pszName) : pLog(pLogIn), sLabel(pszName)
    {
        SetName(pszName);
    }
    ~CProbe() override { pLog->push_back("delete " + sLabel); }
    void Update(CApplication*) override { pLog->push_back("update " + sLabel); }
    void Draw(CApplication*) override { pLog->push_back("draw " + sLabel); }

    std::vector<std::string>* pLog;
    std::string sLabel;
};

// Keeps each message's sender, code and the cursor it points at.
class CHandler : public CResource {
public:
    bool OnMessage(uintptr_t a, uintptr_t b, uintptr_t c) override
    {
        const auto* pCursor = reinterpret_cast<const CCursorPos*>(c);
        Messages.push_back({a, b, static_cast<uintptr_t>(pCursor->x)});
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
        WriteBitmap("pic.bmp", samples::CImage(2, 2));
        for (const char* pszName : {"up", "hover", "down"})
            ASSERT_TRUE(App->AddTexture("C:\\pic.bmp", pszName, 0));
        pUp = App->FindTexture("up");
        CRectRegion rect(100, 100, 200, 150);
        ASSERT_TRUE(Button.SetRegion(&rect));
        ASSERT_TRUE(Button.SetButtonName("ok"));
        Button.SetHandler(&Handler);
        ASSERT_TRUE(Button.SetUpTexture(App.get(), "up"));
    }
    void TearDown() override
    {
        Button.Release(App.get());
        AppTest::TearDown();
    }
    // One frame: the mouse snapshot moves on, then the button updates.
    void Frame(int x, int y, bool bDown, CButton* pButton = nullptr)
    {
        App->PrevMouse = App->CurMouse;
        App->CurMouse.rgbButtons[0] = bDown ? 0x80 : 0;
        App->Cursor = {x, y};
        (pButton ? pButton : &Button)->Update(App.get());
    }

    CButton Button;
    CHandler Handler;
    CTextureSurface* pUp = nullptr;
    std::vector<std::string> Log;
};

TEST_F(ButtonTest, ChildrenMoveBetweenOwnersAndGoWithThem)
{
    CControl first, second;
    auto* pChild = new CProbe(&Log, "child");
    first.AddChild(new CProbe(&Log, "stays"));
    first.AddChild(pChild);
    second.AddChild(pChild);
    EXPECT_EQ(pChild->pOwner, &second);
    EXPECT_EQ(first.Children.FindByName("child"), nullptr);
    EXPECT_NE(first.Children.FindByName("stays"), nullptr);
    EXPECT_EQ(second.Children.FindByName("child"), pChild);

    // Nameless siblings share a name: releasing one must not take another.
    for (int i = 0; i < 4; ++i)
        pChild->AddChild(new CProbe(&Log, ""));
    pChild->Release(App.get());
    EXPECT_EQ(pChild->pOwner, nullptr);
    EXPECT_EQ(second.Children.pRoot, nullptr);
    EXPECT_EQ(std::count(Log.begin(), Log.end(), "delete "), 4);
    delete pChild;
    first.Release(App.get());
}

TEST_F(ButtonTest, QuadCoversTheBoundsInTheColourOfItsMaking)
{
    CPanel panel;
    EXPECT_FALSE(panel.BuildQuad());
    CCircleRegion circle(60, 45, 25);
    panel.SetRegion(&circle);
    panel.SetColour(0x80FF0000);
    ASSERT_TRUE(panel.BuildQuad());
    panel.SetColour(0x12345678); // shows only after the next BuildQuad
    ASSERT_EQ(panel.VertexCount, 4);
    const float corners[4][4] = {{35, 20, 0, 0}, {85, 20, 1, 0}, {85, 70, 1, 1}, {35, 70, 0, 1}};
    for (int i = 0; i < 4; ++i) {
        const CScreenVertex& v = panel.pVertices[i];
        EXPECT_EQ(v.Position.x, corners[i][0]) << i;
        EXPECT_EQ(v.Position.y, corners[i][1]) << i;
        EXPECT_EQ(v.TexU, corners[i][2]) << i;
        EXPECT_EQ(v.TexV, corners[i][3]) << i;
        EXPECT_EQ(v.Position.z, 1.0f);
        EXPECT_EQ(v.Colour, 0x80FF0000u);
    }
}

TEST_F(ButtonTest, OnlyConvexClockwisePolygonsAreTaken)
{
    CPanel panel;
    const CScreenVertex square[] = {At(0, 0), At(10, 0), At(10, 10), At(0, 10)};
    const CScreenVertex backwards[] = {At(0, 0), At(0, 10), At(10, 10), At(10, 0)};
    const CScreenVertex arrow[] = {At(0, 0), At(5, 4), At(10, 0), At(5, 10)}; // (5, 4) dents in
    const CScreenVertex triangle[] = {At(0, 0), At(8, 2), At(1, 9)};
    ASSERT_TRUE(panel.SetVertices(square, 4));
    const CScreenVertex* pKept = panel.pVertices;
    EXPECT_FALSE(panel.SetVertices(backwards, 4));
    EXPECT_FALSE(panel.SetVertices(arrow, 4));
    EXPECT_FALSE(panel.SetVertices(triangle, 2));
    EXPECT_EQ(panel.pVertices, pKept);
    EXPECT_EQ(panel.VertexCount, 4);
    EXPECT_TRUE(panel.SetVertices(triangle, 3));
    EXPECT_EQ(panel.VertexCount, 3);

    // Flat: the colour alone, then the children on top.
    panel.AddChild(new CProbe(&Log, "child"));
    GetNullCallLog().clear();
    panel.Draw(App.get());
    EXPECT_TRUE(LoggedInOrder({"SetTextureStageState 0 2 0", "SetTextureStageState 0 1 2",
                               "DrawPrimitive 6 580 3"}));
    EXPECT_EQ(CountLogged("SetTexture 0 tex"), 0);
    EXPECT_EQ(Log, std::vector<std::string>{"draw child"});
    panel.Release(App.get());
}

struct CStep {
    int x, y;
    bool bDown;
    uint32_t nFlags;           // after the frame
    const char* pszTexture;    // shown after the frame
};

struct CScenario {
    const char* pszName;
    bool bAllTextures;         // else the up texture alone
    std::vector<CStep> Steps;
    std::vector<uintptr_t> Messages; // code, cursor x, code, cursor x, ...
};

const uint32_t H = BUTTON_HOVER, D = BUTTON_DOWN, C = BUTTON_CLICKED;

TEST_F(ButtonTest, StateMachineAcrossFrames)
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
        CRectRegion rect(100, 100, 200, 150);
        button.SetRegion(&rect);
        button.SetHandler(&Handler);
        button.SetUpTexture(App.get(), "up");
        if (scenario.bAllTextures) {
            button.SetHoverTexture(App.get(), "hover");
            button.SetDownTexture(App.get(), "down");
        }
        Handler.Messages.clear();
        App->CurMouse.rgbButtons[0] = 0;
        for (const CStep& step : scenario.Steps) {
            Frame(step.x, step.y, step.bDown, &button);
            EXPECT_EQ(button.Flags, step.nFlags) << step.x << "," << step.y;
            EXPECT_EQ(button.pTexture, App->FindTexture(step.pszTexture)) << step.x;
        }
        std::vector<uintptr_t> sent;
        for (const auto& message : Handler.Messages) {
            EXPECT_EQ(message[0], reinterpret_cast<uintptr_t>(&button));
            sent.insert(sent.end(), {message[1], message[2]});
        }
        EXPECT_EQ(sent, scenario.Messages);
        button.Release(App.get());
    }
}

TEST_F(ButtonTest, DrawsItsCurrentTexture)
{
    EXPECT_FALSE(Button.SetTexture(App.get(), "down"));
    EXPECT_EQ(Button.pTexture, pUp);
    Button.Draw(App.get());
    EXPECT_TRUE(LoggedInOrder({"SetTexture 0 tex", "SetTextureStageState 0 1 4",
                               "DrawPrimitive 6 580 4", "SetTexture 0 null"}));
}

TEST_F(ButtonTest, WithoutRegionNothingHappensNotEvenToChildren)
{
    CButton bare;
    bare.AddChild(new CProbe(&Log, "child"));
    Frame(0, 0, true, &bare);
    EXPECT_EQ(bare.Flags, 0u);
    EXPECT_TRUE(Log.empty());
    Button.AddChild(new CProbe(&Log, "inner"));
    Frame(0, 0, false);
    EXPECT_EQ(Log, std::vector<std::string>{"update inner"});
    bare.Release(App.get());
}

} // namespace
