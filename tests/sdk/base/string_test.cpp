#include <gtest/gtest.h>

#include "sdk/base/PvString.h"

TEST(PvString, NullPointersAreTheEmptyText)
{
    EXPECT_TRUE(PvString(static_cast<const char*>(nullptr)).empty());
    EXPECT_TRUE(PvString(static_cast<const wchar_t*>(nullptr)).empty());
}

TEST(PvString, WideTextRoundTrips)
{
    const std::wstring text = L"Kamera \u00E4\u00F6\u20AC \U0001F4F7";
    const PvString string(text.c_str());
    EXPECT_EQ(string.view(), "Kamera \xC3\xA4\xC3\xB6\xE2\x82\xAC \xF0\x9F\x93\xB7");
    EXPECT_EQ(string.GetWide(), text);
}

TEST(PvString, IllFormedUtf8BecomesReplacementCharacters)
{
    // a lone continuation byte, an overlong '/', a surrogate, a truncated sequence
    EXPECT_EQ(PvString("a\x80z").GetWide(), L"a\uFFFDz");
    EXPECT_EQ(PvString("\xC0\xAF").GetWide(), L"\uFFFD\uFFFD");
    EXPECT_EQ(PvString("\xED\xA0\x80").GetWide(), L"\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(PvString("\xE2\x82").GetWide(), L"\uFFFD\uFFFD");
}

TEST(PvString, LoneSurrogatesBecomeReplacementCharacters)
{
    const wchar_t lone[] = {L'a', static_cast<wchar_t>(0xD800), L'b', 0};
    EXPECT_EQ(PvString(lone).view(), "a\xEF\xBF\xBD"
                                     "b");
}
