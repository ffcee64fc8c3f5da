// The map browser: the directory scan through the drive mapping, the
// selection's repeat timing, scrolling, the steps into folders, back to the
// parent and onto a map, by keyboard and by joystick.
#include "viewer_fixture.h"

#include <cstdio>
#include <string>
#include <vector>

namespace {

class BrowserTest : public ViewerTest {
protected:
    void SetUp() override
    {
        ViewerTest::SetUp();
        SetPath("C:\\*");
    }

    std::vector<std::string> Names() const
    {
        std::vector<std::string> names;
        for (const CFileEntry* pEntry = App.pFileList; pEntry; pEntry = pEntry->pNext)
            names.push_back(pEntry->pszName);
        return names;
    }

    // nCount map files at the root, scanned.
    void FillList(int nCount)
    {
        for (int i = 0; i < nCount; ++i) {
            char szName[16];
            std::snprintf(szName, sizeof(szName), "m%d.vmz", 100 + i);
            Write(szName, "");
        }
        Frame({});
    }
};

TEST(BrowserNames, OnlyExactExtensionsCountAsMaps)
{
    EXPECT_TRUE(IsMapFileName("a.vmz"));
    EXPECT_TRUE(IsMapFileName(".VMZ"));
    EXPECT_FALSE(IsMapFileName("a.Vmz"));
    EXPECT_FALSE(IsMapFileName("vmz"));
    EXPECT_FALSE(IsMapFileName("a.vmz.txt"));
}

TEST(BrowserPaths, BackStepsToTheParentAndStopsAtTheRoot)
{
    auto back = [](const char* pszPath) {
        char szBuffer[64];
        std::strcpy(szBuffer, pszPath);
        StepBackPath(szBuffer);
        return std::string(szBuffer);
    };
    EXPECT_EQ(back("C:\\maps\\old\\*"), "C:\\maps\\*");
    EXPECT_EQ(back("C:\\maps\\*"), "C:\\*");
    EXPECT_EQ(back("C:\\*"), "C:\\*");
    EXPECT_EQ(back("C:\\a\\b\\*"), "C:\\*"); // a first folder of one letter counts as none
}

TEST_F(BrowserTest, ScanListsFoldersWithABackslashAndOnlyMapFiles)
{
    std::filesystem::create_directories(Dir / "maps");
    std::filesystem::create_directories(Dir / ".hidden");
    for (const char* pszName : {"b.vmz", "C.VMZ", "d.Vmz", "notes.txt"})
        Write(pszName, "");
    Frame({});
    EXPECT_EQ(Names(), (std::vector<std::string>{"b.vmz", "C.VMZ", "maps\\"}));
    EXPECT_EQ(App.nFileCount, 3);
    EXPECT_EQ(App.nVisibleRows, 21);
}

TEST_F(BrowserTest, HeldKeyMovesOnceThenAfterFirstIntervalThenFast)
{
    FillList(40);
    Frame({DIK_DOWN}, 0.1); // at once
    EXPECT_EQ(App.nSelected, 1);
    Frame({DIK_DOWN}, 0.15); // 0.25 s held: past the first 0.2 s
    EXPECT_EQ(App.nSelected, 2);
    Frame({DIK_DOWN}, 0.1); // 0.15 s into the second 0.2 s
    EXPECT_EQ(App.nSelected, 2);
    Frame({DIK_DOWN}, 0.1); // past it, and 0.05 s more are two steps of 0.02 s
    EXPECT_EQ(App.nSelected, 5);
    Frame({DIK_DOWN}, 0.025);
    EXPECT_EQ(App.nSelected, 6);
    EXPECT_EQ(App.nRepeatCount, 5);
}

TEST_F(BrowserTest, TwoFramesInOneClockTickBothMove)
{
    FillList(5);
    Frame({DIK_DOWN}, 0.0);
    Frame({DIK_DOWN}, 0.0);
    EXPECT_EQ(App.nSelected, 2);
}

TEST_F(BrowserTest, DownWinsOverUpAndTheReleaseFrameStillCounts)
{
    FillList(5);
    Frame({DIK_UP, DIK_DOWN});
    EXPECT_EQ(App.nSelected, 1);
    Frame({});
    EXPECT_DOUBLE_EQ(App.dRepeatTime, 0.02);
    Frame({});
    EXPECT_EQ(App.dRepeatTime, 0.0);
}

TEST_F(BrowserTest, SelectionIsClampedAndScrolledIntoView)
{
    FillList(30);
    for (int i = 0; i < 40; ++i)
        Frame({DIK_DOWN}, 0.1);
    EXPECT_EQ(App.nSelected, 29);
    EXPECT_EQ(App.nTop, 29 - 21 + 1);
    for (int i = 0; i < 40; ++i)
        Frame({DIK_UP}, 0.1);
    EXPECT_EQ(App.nSelected, 0);
    EXPECT_EQ(App.nTop, 0);
}

TEST_F(BrowserTest, EnterOpensAFolderAndBackspaceReturns)
{
    std::filesystem::create_directories(Dir / "maps" / "old");
    Write("maps/e1.vmz", "");
    Frame({});
    Frame({DIK_RETURN});
    EXPECT_STREQ(App.pszPath, "C:\\maps\\*");
    EXPECT_EQ(App.nState, VIEWER_BROWSER);
    EXPECT_EQ(Names(), (std::vector<std::string>{"e1.vmz", "old\\"}));
    Frame({});
    Frame({DIK_BACK});
    EXPECT_STREQ(App.pszPath, "C:\\*");
    EXPECT_EQ(Names(), (std::vector<std::string>{"maps\\"}));
}

TEST_F(BrowserTest, EnterOnAMapStartsLoadingItAndOnNothingKeepsThePath)
{
    std::filesystem::create_directories(Dir / "maps");
    std::filesystem::create_directories(Dir / "empty");
    Write("maps/e1.vmz", "");
    SetPath("C:\\empty\\*");
    Frame({});
    Frame({DIK_RETURN});
    EXPECT_STREQ(App.pszPath, "C:\\empty\\*");
    EXPECT_EQ(App.nState, VIEWER_BROWSER);

    SetPath("C:\\maps\\*");
    Frame({});
    Frame({DIK_RETURN});
    EXPECT_EQ(App.nState, VIEWER_LOADING);
    EXPECT_STREQ(App.pszPath, "C:\\maps\\e1.vmz");
    // The load waits for the loading screen; this frame's step only moved
    // the bar by a tenth of the frame.
    EXPECT_DOUBLE_EQ(App.dLoadTime, 0.001);
}

TEST_F(BrowserTest, EscapeOnReleaseQuits)
{
    Frame({DIK_ESCAPE});
    EXPECT_EQ(g_nFrameResult, 0);
    Frame({});
    EXPECT_EQ(g_nFrameResult, 1);
}

TEST_F(BrowserTest, JoystickHatAndAxisOneStepButtonsAcceptGoBackAndQuit)
{
    std::filesystem::create_directories(Dir / "maps");
    FillList(3); // m100.vmz, m101.vmz, m102.vmz, maps\ in the scan's order
    CControllerState& stick = AddJoystick(2, 3, 1);
    const std::pair<uint32_t, int> hats[] = {{18000, 1}, {0xFFFFFFFFu, 1}, {18000, 2}, {0, 1}};
    for (const auto& [nPov, nSelected] : hats) {
        stick.Povs[0] = nPov;
        Frame({}, 0.0);
        EXPECT_EQ(App.nSelected, nSelected) << nPov;
    }
    stick.Povs[0] = 0xFFFFFFFFu;
    const std::pair<int32_t, int> axes[] = {{16381, 1}, {16380, 0}, {49149, 0}, {49150, 1}};
    for (const auto& [nValue, nSelected] : axes) {
        Frame({}, 0.0); // a frame at rest ends the repeat
        stick.Axes[1] = nValue;
        Frame({}, 0.0);
        EXPECT_EQ(App.nSelected, nSelected) << nValue;
        stick.Axes[1] = 32767;
    }
    App.nSelected = 3;
    stick.Buttons[1] = 0x80;
    Frame({});
    EXPECT_STREQ(App.pszPath, "C:\\maps\\*");
    stick.Buttons[1] = 0;
    stick.Buttons[2] = 0x80;
    Frame({});
    EXPECT_STREQ(App.pszPath, "C:\\*");
    EXPECT_EQ(g_nFrameResult, 0);
    stick.Buttons[0] = 0x80;
    Frame({});
    EXPECT_EQ(g_nFrameResult, 1);
}

TEST_F(BrowserTest, APadWithoutAxisOneOrAHatDoesNotMoveTheSelection)
{
    FillList(5);
    Frame({DIK_DOWN});
    AddJoystick(1, 3, 0);
    for (int i = 0; i < 3; ++i)
        Frame({}, 0.1);
    EXPECT_EQ(App.nSelected, 1);
}

} // namespace
