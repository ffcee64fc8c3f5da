#include "platform/files.h"

#include "tests/scratch_dir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

class FilesTest : public ScratchDirTest {
protected:
    static std::string ReadAll(int hFile)
    {
        std::string text;
        char block[256];
        ssize_t n;
        while ((n = ::read(hFile, block, sizeof(block))) > 0)
            text.append(block, static_cast<size_t>(n));
        return text;
    }

};

} // namespace

TEST_F(FilesTest, DriveCMapsToTheRootAndOtherPathsOnlyChangeSeparators)
{
    SetDriveRoot("");
    EXPECT_EQ(GetDriveRoot(), "/");
    EXPECT_EQ(MapPath("C:\\tokens.txt"), "/tokens.txt");
    EXPECT_EQ(MapPath("c:\\maps\\Room.vmz"), "/maps/Room.vmz");
    EXPECT_EQ(MapPath("C:\\"), "/");
    EXPECT_EQ(MapPath("C:"), "/");

    SetDriveRoot("/srv/data");
    EXPECT_EQ(MapPath("C:\\a\\b.bmp"), "/srv/data/a/b.bmp");
    EXPECT_EQ(MapPath("c:/a"), "/srv/data/a");
    EXPECT_EQ(MapPath("C:\\"), "/srv/data");
    SetDriveRoot("/srv/data/");
    EXPECT_EQ(MapPath("C:\\\\a"), "/srv/data/a"); // no doubled separators

    // Without the drive the path stays where it was, relative or absolute.
    EXPECT_EQ(MapPath("maps\\a.map"), "maps/a.map");
    EXPECT_EQ(MapPath("/tmp/x.map"), "/tmp/x.map");
    EXPECT_EQ(MapPath("ERRORLOG.TXT"), "ERRORLOG.TXT");
    EXPECT_EQ(MapPath("D:\\x"), "D:/x"); // only C names the root
    EXPECT_EQ(MapPath(""), "");
    EXPECT_EQ(MapPath(nullptr), "");
}

TEST_F(FilesTest, ReadingFindsTheLastComponentWhateverItsCase)
{
    Write("MixedCase.Txt", "payload");
    EXPECT_EQ(FindFileNoCase(Path("MixedCase.Txt")), Path("MixedCase.Txt"));
    EXPECT_EQ(FindFileNoCase(Path("mixedcase.TXT")), Path("MixedCase.Txt"));
    EXPECT_EQ(FindFileNoCase(Path("mixedcase.tx")), "");
    EXPECT_EQ(FindFileNoCase(""), "");

    int hFile = OpenFileRead(Path("MIXEDCASE.TXT").c_str());
    ASSERT_GE(hFile, 0);
    EXPECT_EQ(ReadAll(hFile), "payload");
    ::close(hFile);

    // Folders above the last component are matched exactly.
    fs::create_directories(Dir / "Sub");
    Write("Sub/inner.txt", "x");
    EXPECT_GE(FindFileNoCase(Path("Sub/INNER.txt")).size(), 1u);
    EXPECT_EQ(FindFileNoCase(Path("sub/inner.txt")), "");
    EXPECT_EQ(OpenFileRead(Path("sub/inner.txt").c_str()), -1);
}

TEST_F(FilesTest, AnExactNameWinsOverOtherCasesAndTheChoiceIsStable)
{
    Write("a.txt", "lower");
    Write("A.TXT", "upper");
    Write("A.txt", "mixed");
    EXPECT_EQ(FindFileNoCase(Path("A.txt")), Path("A.txt"));
    // No exact match: the smallest name by byte order.
    EXPECT_EQ(FindFileNoCase(Path("a.TXT")), Path("A.TXT"));
}

TEST_F(FilesTest, ReadingRefusesMissingFilesAndFolders)
{
    EXPECT_EQ(OpenFileRead(Path("absent.txt").c_str()), -1);
    EXPECT_EQ(OpenFileRead(Dir.string().c_str()), -1);
    EXPECT_EQ(OpenFileRead(nullptr), -1);
    EXPECT_EQ(OpenFileRead(""), -1);
}

TEST_F(FilesTest, WritingTruncatesTheFileThatIsThereAndCreatesOtherwise)
{
    Write("Log.TXT", "old contents that are long");
    int hFile = CreateFileWrite(Path("log.txt").c_str());
    ASSERT_GE(hFile, 0);
    ASSERT_EQ(::write(hFile, "new", 3), 3);
    ::close(hFile);
    // As on Windows, the existing file keeps its name and gets the new text.
    EXPECT_FALSE(fs::exists(Dir / "log.txt"));
    hFile = OpenFileRead(Path("Log.TXT").c_str());
    ASSERT_GE(hFile, 0);
    EXPECT_EQ(ReadAll(hFile), "new");
    ::close(hFile);

    hFile = CreateFileWrite(Path("fresh.txt").c_str());
    ASSERT_GE(hFile, 0);
    ::close(hFile);
    EXPECT_TRUE(fs::exists(Dir / "fresh.txt"));

    EXPECT_EQ(CreateFileWrite(Path("no/such/folder.txt").c_str()), -1);
    EXPECT_EQ(CreateFileWrite(Dir.string().c_str()), -1);
    EXPECT_EQ(CreateFileWrite(nullptr), -1);
}

TEST_F(FilesTest, DeletingFindsTheFileAsReadingDoes)
{
    Write("Gone.txt", "x");
    EXPECT_TRUE(DeleteFileAt(Path("GONE.TXT").c_str()));
    EXPECT_FALSE(fs::exists(Dir / "Gone.txt"));
    EXPECT_FALSE(DeleteFileAt(Path("GONE.TXT").c_str()));
    EXPECT_FALSE(DeleteFileAt(nullptr));
}

TEST_F(FilesTest, DrivePathsOpenUnderTheChosenRoot)
{
    SetDriveRoot(Dir.string());
    int hFile = CreateFileWrite("C:\\out.txt");
    ASSERT_GE(hFile, 0);
    ASSERT_EQ(::write(hFile, "abc", 3), 3);
    ::close(hFile);
    EXPECT_TRUE(fs::exists(Dir / "out.txt"));

    hFile = OpenFileRead("c:\\OUT.TXT");
    ASSERT_GE(hFile, 0);
    EXPECT_EQ(ReadAll(hFile), "abc");
    ::close(hFile);
    EXPECT_TRUE(DeleteFileAt("C:\\out.txt"));
}
