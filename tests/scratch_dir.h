#pragma once
// Test helpers: paths of the test inputs, and a test fixture with a scratch directory of its own for each test, which
// also stands for "C:\" while the test runs, so that fixed log paths land
// there and test processes run side by side never meet.
#include "platform/files.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

// A fixture file of tests/fixtures, and a real map text of the shared folder.
inline std::string Fixture(const std::string& name)
{
    return std::string(VORLANE_FIXTURES_DIR) + "/" + name;
}
inline std::string SharedMap(const std::string& name)
{
    return std::string(VORLANE_SHARED_MAPS_DIR) + "/" + name;
}

// The bytes of a file; empty when it can't be read.
inline std::string ReadFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

class ScratchDirTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        const auto* pInfo = ::testing::UnitTest::GetInstance()->current_test_info();
        Dir = std::filesystem::path(VORLANE_TEST_DATA_DIR) /
              (std::string(pInfo->test_suite_name()) + "." + pInfo->name());
        std::filesystem::remove_all(Dir);
        std::filesystem::create_directories(Dir);
        SavedRoot = GetDriveRoot();
        SetDriveRoot(Dir.string());
    }
    void TearDown() override { SetDriveRoot(SavedRoot); }

    std::string Path(const std::string& name) const { return (Dir / name).string(); }

    // Writes text to a file of the scratch directory; gives its path.
    std::string Write(const std::string& name, const std::string& text) const
    {
        std::ofstream(Dir / name, std::ios::binary) << text;
        return Path(name);
    }

    std::filesystem::path Dir;
    std::string SavedRoot;
};
