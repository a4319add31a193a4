#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#ifndef _WIN32
#include <unistd.h>
#endif

#include "tools/pvctl/console.h"
#include "tools/pvctl/file_name.h"
#include "tools/pvctl/interrupt.h"

using namespace pvctl;
using std::chrono::milliseconds;

namespace {

constexpr milliseconds at_once{0};
constexpr milliseconds much_later{60'000};

}  // namespace

// one object per process, so one test for all it does
TEST(Interrupt, EndsWaitsByWakingAndByTheKey)
{
    Interrupt interrupt;
    EXPECT_FALSE(interrupt.wait(at_once));
    const auto begin = std::chrono::steady_clock::now();
    interrupt.wake();
    EXPECT_FALSE(interrupt.wait(much_later));
#ifndef _WIN32  // Wine gives no console to press the key in
    kill(getpid(), SIGINT);
    EXPECT_TRUE(interrupt.wait(much_later));
    EXPECT_TRUE(interrupt.wait(much_later)) << "an end stays one";
#endif
    EXPECT_LT(std::chrono::steady_clock::now() - begin, much_later);
}

TEST(FileName, KeepsEveryLetter)
{
    const std::string name = "Bild \xC3\xA4\xC3\x9F\xE2\x82\xAC\xF0\x9F\x93\xB7.png";
    EXPECT_EQ(name_of(path_of(name)), name);
    EXPECT_EQ(name_of(path_of("folder/" + name).filename()), name);
    EXPECT_EQ(name_of(path_of(name).extension()), ".png");
#ifdef _WIN32
    EXPECT_EQ(path_of("\xE2\x82\xAC").native(), L"\x20AC");
#endif
}

TEST(Console, GivesTheArgumentsWithTheProgram)
{
    const char* given[] = {"pvctl", "get"};
    const std::vector<std::string> all = arguments(2, given);
    ASSERT_FALSE(all.empty());
#ifdef _WIN32
    // the process's own, whatever main() was given
    EXPECT_NE(all.front().find("pvctl_system_tests"), std::string::npos) << all.front();
#else
    EXPECT_EQ(all, (std::vector<std::string>{"pvctl", "get"}));
#endif
}

TEST(Console, TakesAPipeForNoTerminal)
{
    const Console console;
    // tests run with their output in a file
    EXPECT_EQ(output_is_terminal(), output_width() != 0);
}
