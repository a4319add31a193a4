#include "sdk/base/trace_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <thread>
#include <vector>

using namespace vex;
using trace::Category;
using trace::Level;

namespace {

class TraceFile : public testing::Test {
protected:
    TraceFile()
        : folder_(std::filesystem::temp_directory_path() /
                  ("vex-trace-" + std::to_string(reinterpret_cast<std::uintptr_t>(this)) + "-" +
                   testing::UnitTest::GetInstance()->current_test_info()->name()))
    {
        std::filesystem::create_directories(folder_);
    }
    ~TraceFile() override
    {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }

    [[nodiscard]] PvString name() const { return PvString((folder_ / "trace.txt").string()); }
    [[nodiscard]] std::vector<std::string> lines() const
    {
        std::ifstream file(folder_ / "trace.txt");
        std::vector<std::string> lines;
        for (std::string line; std::getline(file, line);) {
            lines.push_back(line);
        }
        return lines;
    }
    static void say(Level level, const std::string& text)
    {
        trace::write(Category::control, level, [&] { return text; });
    }

    std::filesystem::path folder_;
};

TEST_F(TraceFile, LinesCarryTimeThreadCategoryAndLevel)
{
    const std::chrono::sys_days day = std::chrono::year(2026) / 3 / 1;
    const auto at = day + std::chrono::hours(12) + std::chrono::microseconds(7'000'042);
    EXPECT_EQ(trace::line_of({Category::stream, Level::warning, "block 7"}, at, "pv-stream/3"),
              "2026-03-01T12:00:07.000042Z pv-stream/3 stream warning block 7");
}

TEST_F(TraceFile, TextsOfDevicesMakeNoLinesOfTheirOwn)
{
    const std::string line = trace::line_of({Category::control, Level::info, "a\nb\x1b[2J\xC3\xA9"}, {}, "x/1");
    EXPECT_EQ(line, "1970-01-01T00:00:00.000000Z x/1 control info a\\x0Ab\\x1B[2J\xC3\xA9");
}

TEST_F(TraceFile, HoldsWhatWasToldWhileItWasOpen)
{
    {
        trace::TraceFile file;
        say(Level::error, "before");
        ASSERT_TRUE(file.open(name(), Level::info).IsOK());
        say(Level::error, "one");
        say(Level::debug, "too small");
        say(Level::info, "two");
        EXPECT_EQ(lines().size(), 2U) << "a line is in the file at once";
        EXPECT_TRUE(file.close().IsOK());
        say(Level::error, "after");
    }
    const std::regex form(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z \S*/\d+ control (error one|info two))");
    ASSERT_EQ(lines().size(), 2U);
    for (const std::string& line : lines()) {
        EXPECT_TRUE(std::regex_match(line, form)) << line;
    }
}

TEST_F(TraceFile, TakesThePlaceOfAnOlderFile)
{
    std::ofstream(folder_ / "trace.txt")
        << "an older and much longer file than the new one will be, whatever it says\n";
    trace::TraceFile file;
    ASSERT_TRUE(file.open(name(), Level::debug).IsOK());
    say(Level::error, "new");
    ASSERT_TRUE(file.close().IsOK());
    ASSERT_EQ(lines().size(), 1U);
    EXPECT_NE(lines()[0].find("control error new"), std::string::npos);
}

TEST_F(TraceFile, FailsWhereThereCanBeNone)
{
    trace::TraceFile file;
    const PvResult result = file.open(PvString((folder_ / "missing" / "trace.txt").string()), Level::debug);
    EXPECT_EQ(result.GetCode(), PvResult::CannotOpenFile);
    EXPECT_NE(std::string(result.description()).find("trace.txt"), std::string::npos);
    EXPECT_FALSE(trace::is_wanted(Level::error));
}

TEST_F(TraceFile, LinesOfSeveralThreadsStayWhole)
{
    constexpr int each = 200;
    trace::TraceFile file;
    ASSERT_TRUE(file.open(name(), Level::debug).IsOK());
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([i] {
            for (int n = 0; n < each; ++n) {
                say(Level::info, std::string(static_cast<std::size_t>(40 + i), static_cast<char>('a' + i)));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    ASSERT_TRUE(file.close().IsOK());
    const std::regex form(R"(.* control info (a{40}|b{41}|c{42}|d{43}))");
    EXPECT_EQ(lines().size(), 4U * each);
    for (const std::string& line : lines()) {
        ASSERT_TRUE(std::regex_match(line, form)) << line;
    }
}

}  // namespace
