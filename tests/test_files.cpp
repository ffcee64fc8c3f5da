// The file layer: "C:\" mapped to a root, and files found as Windows finds
// them, by the exact name first and then whatever the case of the last part.
#include "platform/files.h"

#include "tests/scratch_dir.h"

#include <unistd.h>

namespace fs = std::filesystem;

namespace {

class FilesTest : public ScratchDirTest {
protected:
    static std::string ReadAll(int hFile)
    {
        std::string text;
        char block[256];
        for (ssize_t n; (n = ::read(hFile, block, sizeof(block))) > 0;)
            text.append(block, static_cast<size_t>(n));
        ::close(hFile);
        return text;
    }
};

TEST_F(FilesTest, DriveCMapsToTheRootAndOtherPathsOnlyChangeSeparators)
{
    SetDriveRoot("");
    EXPECT_EQ(MapPath("c:\\maps\\Room.vmz"), "/maps/Room.vmz");
    SetDriveRoot("/srv/data");
    EXPECT_EQ(MapPath("C:\\"), "/srv/data");
    SetDriveRoot("/srv/data/");
    EXPECT_EQ(MapPath("c:/a\\b.bmp"), "/srv/data/a/b.bmp");
    EXPECT_EQ(MapPath("C:\\\\a"), "/srv/data/a"); // no doubled separators
    EXPECT_EQ(MapPath("maps\\a.map"), "maps/a.map");
    EXPECT_EQ(MapPath("D:\\x"), "D:/x"); // only C names the root
}

TEST_F(FilesTest, ReadingFindsTheLastPartWhateverItsCaseAndAnExactNameFirst)
{
    Write("MixedCase.Txt", "payload");
    EXPECT_EQ(ReadAll(OpenFileRead("C:\\MIXEDCASE.TXT")), "payload");
    EXPECT_EQ(FindFileNoCase(Path("mixedcase.tx")), "");
    fs::create_directories(Dir / "Sub");
    Write("Sub/inner.txt", "x");
    EXPECT_EQ(OpenFileRead(Path("sub/inner.txt").c_str()), -1); // folders match exactly
    Write("A.TXT", "upper");
    Write("A.txt", "mixed");
    EXPECT_EQ(FindFileNoCase(Path("A.txt")), Path("A.txt"));
    EXPECT_EQ(FindFileNoCase(Path("a.TXT")), Path("A.TXT")); // else the smallest name
    EXPECT_EQ(OpenFileRead(Dir.string().c_str()), -1);
    EXPECT_EQ(OpenFileRead(nullptr), -1);
}

TEST_F(FilesTest, WritingTruncatesTheFileThatIsThereAndDeletingFindsItAsReadingDoes)
{
    Write("Log.TXT", "old contents that are long");
    int hFile = CreateFileWrite("C:\\log.txt");
    ASSERT_GE(hFile, 0);
    ASSERT_EQ(::write(hFile, "new", 3), 3);
    ::close(hFile);
    EXPECT_FALSE(fs::exists(Dir / "log.txt")); // the file keeps its name
    EXPECT_EQ(ReadAll(OpenFileRead(Path("Log.TXT").c_str())), "new");
    EXPECT_EQ(CreateFileWrite(Path("no/such/folder.txt").c_str()), -1);
    EXPECT_EQ(CreateFileWrite(Dir.string().c_str()), -1);
    EXPECT_TRUE(DeleteFileAt("C:\\LOG.txt"));
    EXPECT_FALSE(fs::exists(Dir / "Log.TXT"));
    EXPECT_FALSE(DeleteFileAt("C:\\LOG.txt"));
}

} // namespace
