#include <random>

#include <gtest/gtest.h>

#include "sdk/base/PvString.h"
#include "sdk/base/utf8.h"

using namespace vex;

namespace {

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
    // a lone continuation byte, an overlong '/', truncated sequences
    EXPECT_EQ(PvString("a\x80z").GetWide(), L"a\uFFFDz");
    EXPECT_EQ(PvString("\xC0\xAF").GetWide(), L"\uFFFD\uFFFD");
    EXPECT_EQ(PvString("\xED\xA0").GetWide(), L"\uFFFD\uFFFD");
    EXPECT_EQ(PvString("\xE2\x82").GetWide(), L"\uFFFD\uFFFD");
    // the last code point, and what would be the next
    EXPECT_EQ(PvString("\xF4\x8F\xBF\xBF").GetWide(), L"\U0010FFFF");
    EXPECT_EQ(PvString("\xF4\x90\x80\x80").GetWide(), L"\uFFFD\uFFFD\uFFFD\uFFFD");
}

std::wstring wide_of(const std::u16string& units) { return {units.begin(), units.end()}; }

/// What the platform's wide text makes of UTF-16: itself, or UTF-32 where only half pairs are left.
std::wstring as_wide(const std::u16string& units)
{
    std::wstring wide;
    for (const char16_t unit : units) {
        const bool is_low = unit >= 0xDC00 && unit <= 0xDFFF;
        if (sizeof(wchar_t) > 2 && is_low && !wide.empty() && wide.back() >= 0xD800 && wide.back() <= 0xDBFF) {
            const auto high = static_cast<char32_t>(wide.back());
            wide.back() = static_cast<wchar_t>(0x10000 + ((high - 0xD800) << 10) + (unit - 0xDC00U));
        } else {
            wide += static_cast<wchar_t>(unit);
        }
    }
    return wide;
}

PvString string_of(const std::u16string& units) { return PvString(wide_of(units).c_str()); }

TEST(PvString, HalvesOfPairsAreKept)
{
    EXPECT_EQ(string_of({u'a', 0xD800, u'b'}).view(), "a\xED\xA0\x80"
                                                      "b");
    for (const std::u16string& units :
         {std::u16string{0xD800}, std::u16string{0xDBFF, u'x'}, std::u16string{u'x', 0xDC00}, std::u16string{0xDFFF},
          std::u16string{0xDC00, 0xD800}, std::u16string{0xD83D, 0xD83D, 0xDCF7, 0xDCF7},
          std::u16string{0xD7FF, 0xE000}, std::u16string{0xFFFF, 0xFFFE, 0xFFFD}}) {
        EXPECT_EQ(string_of(units).GetWide(), as_wide(units)) << ::testing::PrintToString(units);
        EXPECT_EQ(PvString(string_of(units).GetAscii()), string_of(units));
    }
}

TEST(PvString, HalvesThatComeTogetherAreACharacter)
{
    const std::string high = string_of({u'a', 0xD83D}).str();
    const std::string low = string_of({0xDCF7, u'b'}).str();
    const PvString whole(L"a\U0001F4F7b");
    EXPECT_EQ(PvString(high + low).GetWide(), whole.GetWide());
    EXPECT_EQ(without_surrogates(high + low), whole.str());
    // the other way round they are two halves still
    EXPECT_EQ(PvString(low + high).GetWide(), as_wide({0xDCF7, u'b', u'a', 0xD83D}));
    EXPECT_EQ(PvString("\xED\x95\x9C\xED\xA0\xBD\xED\xB3\xB7").GetWide(), L"\uD55C\U0001F4F7");
}

TEST(PvString, EveryUtf16RoundTrips)
{
    const unsigned seed = std::random_device{}();
    RecordProperty("seed", std::to_string(seed));
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (int round = 0; round < 20000; ++round) {
        std::u16string units(random() % 12, u'x');
        for (char16_t& unit : units) {
            // half of them surrogates, so that pairs and halves of pairs are common
            unit = static_cast<char16_t>(random() % 2 != 0 ? 0xD800 + random() % 0x800 : 1 + random() % 0xFFFF);
        }
        const PvString string = string_of(units);
        ASSERT_EQ(string.GetWide(), as_wide(units)) << ::testing::PrintToString(units);
        // cut anywhere and put together again, it is the same text
        const std::size_t cut = random() % (units.size() + 1);
        const PvString joined(string_of(units.substr(0, cut)).str() + string_of(units.substr(cut)).str());
        ASSERT_EQ(joined.GetWide(), as_wide(units)) << ::testing::PrintToString(units) << " cut at " << cut;
        ASSERT_EQ(without_surrogates(joined.view()), without_surrogates(string.view()));
    }
}

TEST(PvString, HalvesOfPairsAreReplacedInWhatLeaves)
{
    EXPECT_EQ(without_surrogates(string_of({u'a', 0xD800, u'b', 0xDFFF}).view()), "a\xEF\xBF\xBD"
                                                                                  "b\xEF\xBF\xBD");
    const std::string well_formed = PvString(L"a\u00E4\uD55C\U0001F4F7").str();
    EXPECT_EQ(without_surrogates(well_formed), well_formed);
    EXPECT_EQ(without_surrogates("a\xED"), "a\xED");
    // the text ends before the last byte that would make it a half
    EXPECT_EQ(without_surrogates(std::string_view("a\xED\xA0\x80", 3)), "a\xED\xA0");
    EXPECT_EQ(without_surrogates(""), "");
}

}  // namespace
