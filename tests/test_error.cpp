#include "frame/application.h"
#include "frame/error.h"
#include "platform/message_box.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#if defined(__SANITIZE_ADDRESS__)
// The failed-allocation test asks for more than any machine has.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }
#endif

namespace {

std::string ReadFileBytes(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::string TempPath(const char* name)
{
    return std::string(VORLANE_TEST_DATA_DIR) + "/" + name;
}

struct RecordedBox {
    HWND hWnd = nullptr;
    std::string text, caption;
    bool bNullText = false;
    uint32_t nType = 0;
    int nCalls = 0;
};

// Installs a recording message box for the life of the object.
class BoxRecorder {
public:
    BoxRecorder()
    {
        old = SetMessageBoxHandler([this](HWND h, const char* t, const char* c, uint32_t n) {
            box.hWnd = h;
            box.bNullText = (t == nullptr);
            box.text = t ? t : "";
            box.caption = c ? c : "";
            box.nType = n;
            ++box.nCalls;
            return 1;
        });
    }
    ~BoxRecorder() { SetMessageBoxHandler(old); }
    RecordedBox box;

private:
    MessageBoxHandler old;
};

} // namespace

TEST(Error, DefaultsGiveAnExclamationBoxCaptionedError)
{
    BoxRecorder rec;
    CError("x").ShowMessageBox(nullptr);
    EXPECT_EQ(rec.box.text, "x");
    EXPECT_EQ(rec.box.caption, "Error:");
    EXPECT_EQ(rec.box.nType, 48u);

    CError().ShowMessageBox(reinterpret_cast<HWND>(0x10));
    EXPECT_TRUE(rec.box.bNullText);
    EXPECT_EQ(rec.box.hWnd, reinterpret_cast<HWND>(0x10));

    CError("x", "y", 16).ShowMessageBox(nullptr);
    EXPECT_EQ(rec.box.caption, "y");
    EXPECT_EQ(rec.box.nType, 16u);
    EXPECT_EQ(rec.box.nCalls, 3);
}

TEST(Error, SettersReplaceCopiesAndChain)
{
    char buffer[] = "first";
    CError error("m");
    error.SetMessage(buffer).SetTitle("T").SetBoxType(0);
    buffer[0] = 'X'; // the error holds its own copy
    EXPECT_STREQ(error.GetMessage(), "first");
    EXPECT_STREQ(error.GetTitle(), "T");
    EXPECT_EQ(error.GetBoxType(), 0u);
}

TEST(Error, CopyOwnsItsStringsAndNoLog)
{
    const std::string path = TempPath("error_copy.log");
    CError* pOriginal = new CError("message", "title");
    ASSERT_TRUE(pOriginal->OpenLog(path.c_str(), false));
    CError copy(*pOriginal);
    delete pOriginal; // frees the original's strings and closes its log
    EXPECT_STREQ(copy.GetMessage(), "message");
    EXPECT_STREQ(copy.GetTitle(), "title");
    EXPECT_EQ(copy.GetLogFile(), INVALID_FILE_HANDLE);
    EXPECT_FALSE(copy.WriteLog("x"));
}

TEST(Error, CopyOfAThrownErrorOutlivesIt)
{
    CError* pKept = nullptr;
    try {
        throw CError("thrown");
    } catch (const CError& error) {
        pKept = new CError(error);
    }
    ASSERT_NE(pKept, nullptr);
    EXPECT_STREQ(pKept->GetMessage(), "thrown");
    EXPECT_STREQ(pKept->GetTitle(), "Error:");
    delete pKept;
}

TEST(Error, LogHoldsTextsWithTheirZeroBytesOnly)
{
    const std::string path = TempPath("error_header.log");
    CError error("M", "T");
    ASSERT_TRUE(error.OpenLog(path.c_str(), true));
    EXPECT_TRUE(error.WriteLog(nullptr)); // skipped, still true
    error.CloseLog();
    EXPECT_EQ(ReadFileBytes(path), std::string("T\0M\0", 4));

    ASSERT_TRUE(error.OpenLog(path.c_str(), false));
    EXPECT_TRUE(error.WriteLog("ab"));
    EXPECT_TRUE(error.WriteLog(""));
    error.CloseLog();
    error.CloseLog(); // a second close does nothing
    EXPECT_EQ(error.GetLogFile(), INVALID_FILE_HANDLE);
    EXPECT_EQ(ReadFileBytes(path), std::string("ab\0\0", 4));
}

TEST(Error, NullMessageIsLeftOutOfTheHeader)
{
    const std::string path = TempPath("error_null.log");
    CError error;
    ASSERT_TRUE(error.OpenLog(path.c_str(), true));
    error.CloseLog();
    EXPECT_EQ(ReadFileBytes(path), std::string("Error:\0", 7));
}

TEST(Error, ReopeningALogCutsItToNothing)
{
    const std::string path = TempPath("error_reopen.log");
    CError error("M", "T");
    ASSERT_TRUE(error.OpenLog(path.c_str(), true));
    ASSERT_TRUE(error.OpenLog(path.c_str(), false));
    error.CloseLog();
    EXPECT_EQ(ReadFileBytes(path), "");
}

TEST(Error, WriteWithoutLogFailsAndOpenOfBadPathFails)
{
    CError error("M");
    EXPECT_FALSE(error.WriteLog("x"));
    EXPECT_FALSE(error.WriteLog(nullptr));
    EXPECT_FALSE(error.OpenLog("/nonexistent-dir/log.txt", true));
    EXPECT_EQ(error.GetLogFile(), INVALID_FILE_HANDLE);
}

TEST(Application, AllocMemNeedsAnApplicationAndThrowsWhenMemoryFails)
{
    EXPECT_EQ(GetApp(), nullptr);
    EXPECT_EQ(AllocMem(16), nullptr);
    {
        CApplication app;
        EXPECT_EQ(GetApp(), &app);
        void* pBlock = AllocMem(64);
        ASSERT_NE(pBlock, nullptr);
        std::free(pBlock);
        try {
            // More than any machine can give.
            app.AllocMem(static_cast<size_t>(-1) / 2);
            FAIL() << "no exception";
        } catch (const CError& error) {
            EXPECT_STREQ(error.GetMessage(), "AllocMem: Not enough memory.");
        }
    }
    EXPECT_EQ(GetApp(), nullptr);
}
