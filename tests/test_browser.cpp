// The map browser: the directory scan through the drive mapping, the
// selection's repeat timing, scrolling, and the steps into folders, back to
// the parent and onto a map.
#include "viewer/viewer_app.h"

#include "platform/dinput.h"
#include "scratch_dir.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

class BrowserTest : public ScratchDirTest {
protected:
    void SetUp() override
    {
        ScratchDirTest::SetUp();
        App.ScreenRect = {0, 0, 1024, 768};
        App.pszPath = Copy("C:\\*");
    }

    static char* Copy(const char* pszText)
    {
        char* pszCopy = new char[std::strlen(pszText) + 1];
        std::strcpy(pszCopy, pszText);
        return pszCopy;
    }

    void MakeDir(const std::string& name) { std::filesystem::create_directories(Dir / name); }

    // One frame of the browser with the keys given held down and the frame's
    // length in seconds.
    void Frame(std::vector<uint8_t> keys, double dSeconds = 0.01)
    {
        std::memcpy(App.PrevKeys, App.CurKeys, sizeof(App.CurKeys));
        std::memset(App.CurKeys, 0, sizeof(App.CurKeys));
        for (uint8_t nKey : keys)
            App.CurKeys[nKey] = 0x80;
        App.FrameSeconds = dSeconds;
        App.Update();
        App.Process();
    }

    std::vector<std::string> Names() const
    {
        std::vector<std::string> names;
        for (const CFileEntry* pEntry = App.pFileList; pEntry; pEntry = pEntry->pNext)
            names.push_back(pEntry->pszName);
        return names;
    }

    void FillList(int nCount)
    {
        for (int i = 0; i < nCount; ++i) {
            char szName[32];
            std::snprintf(szName, sizeof(szName), "m%d.vmz", 100 + i);
            Write(szName, "");
        }
        Frame({});
    }

    CViewerApp App;
};

TEST(BrowserNames, OnlyExactExtensionsCountAsMaps)
{
    EXPECT_TRUE(IsMapFileName("a.vmz"));
    EXPECT_TRUE(IsMapFileName("A.VMZ"));
    EXPECT_TRUE(IsMapFileName(".VMZ"));
    EXPECT_FALSE(IsMapFileName("a.Vmz"));
    EXPECT_FALSE(IsMapFileName("vmz"));
    EXPECT_FALSE(IsMapFileName("a.vmz.txt"));
}

TEST(BrowserPaths, BackStepsToTheParentAndStopsAtTheRoot)
{
    auto Back = [](const char* pszPath) {
        char szBuffer[64];
        std::strcpy(szBuffer, pszPath);
        StepBackPath(szBuffer);
        return std::string(szBuffer);
    };
    EXPECT_EQ(Back("C:\\maps\\old\\*"), "C:\\maps\\*");
    EXPECT_EQ(Back("C:\\maps\\*"), "C:\\*");
    EXPECT_EQ(Back("C:\\*"), "C:\\*");
    // A first folder of one letter counts as no folder.
    EXPECT_EQ(Back("C:\\a\\b\\*"), "C:\\*");
}

TEST(BrowserList, AppendKeepsOrderAndFreeEmpties)
{
    CFileEntry* pList = nullptr;
    CFileEntry** ppLink = &pList;
    for (const char* pszName : {"one", "two\\", "three"})
        ppLink = AppendEntry(ppLink, pszName);
    ASSERT_NE(pList, nullptr);
    EXPECT_STREQ(pList->pszName, "one");
    EXPECT_EQ(pList->pNext->nLength, 4);
    EXPECT_STREQ(pList->pNext->pNext->pszName, "three");
    EXPECT_EQ(AppendEntry(nullptr, "x"), nullptr);
    FreeEntries(&pList);
    EXPECT_EQ(pList, nullptr);
}

TEST_F(BrowserTest, ScanListsFoldersWithABackslashAndOnlyMapFiles)
{
    MakeDir("maps");
    MakeDir(".hidden");
    Write("b.vmz", "");
    Write("C.VMZ", "");
    Write("d.Vmz", "");
    Write("notes.txt", "");
    App.nFileCount = -1;
    App.BrowserProcess();
    EXPECT_EQ(Names(), (std::vector<std::string>{"b.vmz", "C.VMZ", "maps\\"}));
    EXPECT_EQ(App.nFileCount, 3);
    EXPECT_EQ(App.nVisibleRows, 21);
}

TEST_F(BrowserTest, HeldKeyMovesOnceThenAfterFirstIntervalThenFast)
{
    FillList(40);
    // At once; the timer then runs from that frame's length.
    Frame({DIK_DOWN}, 0.1);
    EXPECT_EQ(App.nSelected, 1);
    Frame({DIK_DOWN}, 0.15); // 0.25 s held: past the first 0.2 s interval
    EXPECT_EQ(App.nSelected, 2);
    Frame({DIK_DOWN}, 0.1); // 0.15 s into the second 0.2 s interval
    EXPECT_EQ(App.nSelected, 2);
    // Past the second interval, and then 0.05 s left over fills two fast steps.
    Frame({DIK_DOWN}, 0.1);
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

TEST_F(BrowserTest, UpAndDownTogetherGoDownAndReleaseStillCounts)
{
    FillList(5);
    Frame({DIK_UP, DIK_DOWN});
    EXPECT_EQ(App.nSelected, 1);
    // The frame the key comes up in still counts as held: the timer goes on.
    Frame({});
    EXPECT_GT(App.dRepeatTime, 0.0);
    Frame({});
    EXPECT_EQ(App.dRepeatTime, 0.0);
    EXPECT_EQ(App.nRepeatCount, 0);
}

TEST_F(BrowserTest, SelectionIsClampedAndScrolledIntoView)
{
    FillList(30);
    for (int i = 0; i < 200; ++i)
        Frame({DIK_DOWN});
    EXPECT_EQ(App.nSelected, 29);
    EXPECT_EQ(App.nTop, 29 - 21 + 1);
    for (int i = 0; i < 200; ++i)
        Frame({DIK_UP});
    EXPECT_EQ(App.nSelected, 0);
    EXPECT_EQ(App.nTop, 0);
}

TEST_F(BrowserTest, EnterOpensAFolderAndBackspaceReturns)
{
    MakeDir("maps/old");
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

TEST_F(BrowserTest, EnterOnAMapStartsLoadingWithItsPath)
{
    MakeDir("maps");
    Write("maps/e1.vmz", "");
    App.pszPath = (delete[] App.pszPath, Copy("C:\\maps\\*"));
    Frame({});
    Frame({DIK_RETURN});
    EXPECT_EQ(App.nState, VIEWER_LOADING);
    EXPECT_STREQ(App.pszPath, "C:\\maps\\e1.vmz");
    EXPECT_EQ(App.nFileCount, -1);
    // The load waits for the loading screen to have been drawn once; the
    // step of the same frame only advanced the bar.
    EXPECT_DOUBLE_EQ(App.dLoadTime, 0.001);
}

TEST_F(BrowserTest, EnterOnAnEmptyListKeepsThePath)
{
    MakeDir("empty");
    App.pszPath = (delete[] App.pszPath, Copy("C:\\empty\\*"));
    Frame({});
    Frame({DIK_RETURN});
    EXPECT_STREQ(App.pszPath, "C:\\empty\\*");
    EXPECT_EQ(App.nState, VIEWER_BROWSER);
}

TEST_F(BrowserTest, EscapeReleasedQuits)
{
    g_nFrameResult = 0;
    Frame({DIK_ESCAPE});
    EXPECT_EQ(g_nFrameResult, 0);
    Frame({});
    EXPECT_EQ(g_nFrameResult & 1, 1);
    g_nFrameResult = 0;
}

} // namespace
