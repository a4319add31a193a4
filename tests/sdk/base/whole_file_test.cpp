#include "sdk/base/whole_file.h"

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <iterator>
#include <random>
#include <string>

using namespace vex;

namespace {

namespace fs = std::filesystem;

TEST(WholeFile, LeavesNothingBesideANameThatBecameAFolder)
{
    const fs::path folder = fs::temp_directory_path() / ("whole_file_test_" + std::to_string(std::random_device{}()));
    const fs::path name = folder / "file";
    fs::create_directory(folder);
    {
        WholeFile file;
        ASSERT_TRUE(file.open(PvString(name.c_str())).IsOK());
        ASSERT_TRUE(file.write(std::array<std::uint8_t, 3>{1, 2, 3}).IsOK());
        fs::create_directory(name);
        EXPECT_EQ(file.commit().GetCode(), PvResult::FileError);
    }
    EXPECT_TRUE(fs::is_directory(name));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);
    fs::remove_all(folder);
}

}  // namespace
