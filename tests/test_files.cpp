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

// Found as Windows finds them: the exact name first, else the last part
// whatever its case (the smallest such name), folders above it exactly.
TEST_F(FilesTest, FilesAreFoundCreatedAndDeletedAsWindowsWould)
{
    Write("Log.TXT", "old contents that are long");
    Write("A.TXT", "upper");
    Write("A.txt", "mixed");
    EXPECT_EQ(FindFileNoCase(Path("A.txt")), Path("A.txt"));
    EXPECT_EQ(FindFileNoCase(Path("a.TXT")), Path("A.TXT"));
    fs::create_directories(Dir / "Sub");
    Write("Sub/inner.txt", "x");
    EXPECT_EQ(OpenFileRead(Path("sub/inner.txt").c_str()), -1);
    EXPECT_EQ(OpenFileRead(Dir.string().c_str()), -1);
    int hFile = CreateFileWrite("C:\\log.txt"); // truncates Log.TXT, which keeps its name
    ASSERT_GE(hFile, 0);
    ASSERT_EQ(::write(hFile, "new", 3), 3);
    ::close(hFile);
    EXPECT_EQ(ReadAll(OpenFileRead("c:\\LOG.txt")), "new");
    EXPECT_FALSE(fs::exists(Dir / "log.txt"));
    EXPECT_EQ(CreateFileWrite(Path("no/such/folder.txt").c_str()), -1);
    EXPECT_TRUE(DeleteFileAt("C:\\LOG.txt"));
    EXPECT_FALSE(DeleteFileAt("C:\\LOG.txt"));
}

} // namespace
