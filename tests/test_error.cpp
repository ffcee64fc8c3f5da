// CError: its message box, its copies, its log files; and AllocMem.
#include "app_fixture.h"
#include "platform/message_box.h"


#if defined(__SANITIZE_ADDRESS__)
// The failed-allocation test asks for more than any machine has.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }
#endif

namespace {

class ErrorTest : public ScratchDirTest {
protected:
    std::string Bytes(const std::string& name) { return ReadFile(Path(name)); }
};

TEST(Error, ShowsAnExclamationBoxCaptionedErrorUnlessToldOtherwise)
{
    std::vector<std::string> boxes;
    MessageBoxHandler saved = SetMessageBoxHandler([&](HWND h, const char* t, const char* c,
                                                       uint32_t n) {
        boxes.push_back(std::to_string(reinterpret_cast<intptr_t>(h)) + "|" +
                        (t ? t : "null") + "|" + c + "|" + std::to_string(n));
        return 1;
    });
    CError("x").ShowMessageBox(nullptr);
    CError().ShowMessageBox(reinterpret_cast<HWND>(0x10));
    CError("x", "y", 16).ShowMessageBox(nullptr);
    SetMessageBoxHandler(saved);
    EXPECT_EQ(boxes, (std::vector<std::string>{"0|x|Error:|48", "16|null|Error:|48", "0|x|y|16"}));
}

TEST(Error, SettersAndCopiesHoldTheirOwnStrings)
{
    char szText[] = "first";
    CError error("m");
    error.SetMessage(szText).SetTitle("T").SetBoxType(0);
    szText[0] = 'X';
    EXPECT_STREQ(error.GetMessage(), "first");
    EXPECT_STREQ(error.GetTitle(), "T");
    EXPECT_EQ(error.GetBoxType(), 0u);
    CError* pCopy = new CError(error);
    error.SetMessage("changed");
    EXPECT_STREQ(pCopy->GetMessage(), "first");
    EXPECT_STREQ(pCopy->GetTitle(), "T");
    delete pCopy;
}

TEST_F(ErrorTest, LogsHoldTextsWithTheirZeroBytesUnderTheDriveRoot)
{
    CError error("M", "T");
    ASSERT_TRUE(error.OpenLog("C:\\header.log", true));
    EXPECT_TRUE(error.WriteLog(nullptr)); // skipped, still true
    CError copy(error);
    EXPECT_EQ(copy.GetLogFile(), INVALID_FILE_HANDLE); // a copy has no log
    EXPECT_FALSE(copy.WriteLog("x"));
    error.CloseLog();
    error.CloseLog(); // a second close does nothing
    EXPECT_EQ(Bytes("header.log"), std::string("T\0M\0", 4));

    ASSERT_TRUE(error.OpenLog(Path("header.log").c_str(), false)); // cut to nothing
    EXPECT_TRUE(error.WriteLog("ab"));
    EXPECT_TRUE(error.WriteLog(""));
    error.CloseLog();
    EXPECT_EQ(Bytes("header.log"), std::string("ab\0\0", 4));

    CError untitled;
    ASSERT_TRUE(untitled.OpenLog("C:\\null.log", true));
    untitled.CloseLog();
    EXPECT_EQ(Bytes("null.log"), std::string("Error:\0", 7));
    EXPECT_FALSE(untitled.OpenLog("C:\\no\\such\\dir\\log.txt", true));
    EXPECT_EQ(untitled.GetLogFile(), INVALID_FILE_HANDLE);
}

TEST(Application, AllocMemNeedsAnApplicationAndThrowsWhenMemoryFails)
{
    EXPECT_EQ(AllocMem(16), nullptr);
    CApplication app;
    std::free(AllocMem(64));
    EXPECT_EQ(ThrownMessage([&] { app.AllocMem(static_cast<size_t>(-1) / 2); }),
              "AllocMem: Not enough memory.");
}

// The base Update: Escape released quits in order, E released throws.
TEST(Application, BaseUpdateQuitsOnEscapeReleasedAndThrowsOnE)
{
    CApplication app;
    app.PrevKeys[DIK_ESCAPE] = 0x80;
    EXPECT_EQ(app.Update(), 1);
    app.CurKeys[DIK_ESCAPE] = 0x80;
    app.PrevKeys[DIK_E] = 0x80;
    EXPECT_EQ(ThrownMessage([&] { app.Update(); }), "You are having an error.");
}

} // namespace
