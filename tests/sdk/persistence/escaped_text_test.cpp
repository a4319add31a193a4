#include "sdk/persistence/escaped_text.h"

#include <gtest/gtest.h>

#include <random>

using namespace vex::persistence;
using namespace std::string_view_literals;

namespace {

TEST(EscapedText, LeavesWhatXmlCarries)
{
    for (const std::string_view text :
         {""sv, "a b"sv, "C:\\new\\u0041"sv, "<&>\"'"sv, "zw\xC3\xB6lf \xF0\x9F\x93\xB7"sv}) {
        EXPECT_FALSE(needs_escapes(text)) << text;
    }
}

TEST(EscapedText, WritesWhatXmlCannotHold)
{
    const std::pair<std::string_view, std::string_view> cases[] = {
        {"a\nb"sv, "a\\u000Ab"},
        {"\0"sv, "\\u0000"},
        {"\x7F\\"sv, "\\u007F\\\\"},
        {" a b "sv, "\\u0020a b\\u0020"},
        {" "sv, "\\u0020"},
        {" a"sv, "\\u0020a"},
        {"a "sv, "a\\u0020"},
        {"\xC2\x85"sv, "\\u0085"},
        {"\xED\xA0\xBD"sv, "\\uD83D"},
        {"\xEF\xBF\xBF"sv, "\\uFFFF"},
        {"\xFF\xC3"sv, "\\xFF\\xC3"},
        {"\xC0\x80"sv, "\\xC0\\x80"},
        {"\xF4\x90\x80\x80"sv, "\\xF4\\x90\\x80\\x80"},
        {"\xE0\x80\x80"sv, "\\xE0\\x80\\x80"},
    };
    for (const auto& [text, escaped] : cases) {
        EXPECT_TRUE(needs_escapes(text)) << escaped;
        EXPECT_EQ(with_escapes(text), escaped);
        EXPECT_EQ(without_escapes(escaped), std::string(text)) << escaped;
    }
}

TEST(EscapedText, RefusesEscapesThatAreNone)
{
    for (const std::string_view text :
         {"\\"sv, "\\n"sv, "\\u"sv, "\\u12"sv, "\\u123G"sv, "\\x"sv, "\\x1"sv, "a\\u 041"sv}) {
        EXPECT_EQ(without_escapes(text), std::nullopt) << text;
    }
}

TEST(EscapedText, BringsAnyBytesBack)
{
    const auto seed = std::random_device{}();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const std::string_view likely = "\\ux0 A\xED\xA0\xBD\xC3\xF0\x9F";
    for (int round = 0; round < 20'000; ++round) {
        std::string text(random() % 12, '\0');
        for (char& c : text) {
            c = random() % 2 == 0 ? likely[random() % likely.size()] : static_cast<char>(random());
        }
        EXPECT_EQ(without_escapes(with_escapes(text)), text);
        EXPECT_FALSE(needs_escapes(with_escapes(text)));
    }
}

}  // namespace
