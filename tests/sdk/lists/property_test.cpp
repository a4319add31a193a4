#include "sdk/lists/PvProperty.h"

#include <bit>
#include <clocale>
#include <cmath>
#include <limits>
#include <locale>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace {

PvProperty with_text(const char* text) { return {PvString("Gain"), PvString(text)}; }

double number_of(const PvProperty& property)
{
    double number = -77;
    EXPECT_TRUE(property.GetValue(number).IsOK()) << property.GetValue().view();
    return number;
}

std::int64_t integer_of(const PvProperty& property)
{
    std::int64_t integer = -77;
    EXPECT_TRUE(property.GetValue(integer).IsOK()) << property.GetValue().view();
    return integer;
}

template <class Number>
void expect_refused(const char* text, const std::string& description)
{
    Number number = 12;
    const PvResult result = with_text(text).GetValue(number);
    EXPECT_EQ(result.GetCode(), PvResult::InvalidDataFormat) << "'" << text << "'";
    EXPECT_EQ(result.description(), description);
    EXPECT_EQ(number, Number(12)) << "the variable must be left alone";
}

TEST(Property, StartsWithoutNameAndValue)
{
    const PvProperty property;
    EXPECT_EQ(property.GetName(), PvString());
    EXPECT_EQ(property.GetValue(), PvString());
}

TEST(Property, KeepsNameAndTextAsTheyAre)
{
    PvProperty property;
    property.SetName(" Exposure Zeit \xC3\xA4 ");
    property.SetValue("1,5 \t");
    EXPECT_EQ(property.GetName(), PvString(" Exposure Zeit \xC3\xA4 "));
    EXPECT_EQ(property.GetValue(), PvString("1,5 \t"));
    property.SetName(static_cast<const char*>(nullptr));
    property.SetValue(static_cast<const char*>(nullptr));
    EXPECT_EQ(property.GetName(), PvString());
    EXPECT_EQ(property.GetValue(), PvString());
}

TEST(Property, WritesNumbersAsPlainText)
{
    PvProperty property;
    property.SetValue(0.1);
    EXPECT_EQ(property.GetValue(), PvString("0.1"));
    property.SetValue(-2.0);
    EXPECT_EQ(property.GetValue(), PvString("-2"));
    property.SetValue(std::int64_t{-42});
    EXPECT_EQ(property.GetValue(), PvString("-42"));
}

TEST(Property, KeepsEveryBitOfADouble)
{
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937_64 random(seed);
    PvProperty property;
    for (int i = 0; i < 20000; ++i) {
        const auto number = std::bit_cast<double>(random());
        if (std::isnan(number)) {
            continue;
        }
        property.SetValue(number);
        ASSERT_EQ(std::bit_cast<std::uint64_t>(number_of(property)), std::bit_cast<std::uint64_t>(number))
            << property.GetValue().view();
    }
}

TEST(Property, KeepsTheLimitsOfDoubles)
{
    using Limits = std::numeric_limits<double>;
    PvProperty property;
    for (const double number : {0.0, -0.0, 1.0 / 3, Limits::max(), Limits::lowest(), Limits::min(),
                                Limits::denorm_min(), Limits::infinity(), -Limits::infinity()}) {
        property.SetValue(number);
        EXPECT_EQ(std::bit_cast<std::uint64_t>(number_of(property)), std::bit_cast<std::uint64_t>(number));
    }
    property.SetValue(Limits::quiet_NaN());
    EXPECT_TRUE(std::isnan(number_of(property)));
}

TEST(Property, KeepsAll64BitsOfAnInteger)
{
    using Limits = std::numeric_limits<std::int64_t>;
    PvProperty property;
    for (const std::int64_t number : {std::int64_t{0}, std::int64_t{-1}, (std::int64_t{1} << 53) + 1, Limits::max(),
                                      Limits::max() - 1, Limits::min(), Limits::min() + 1}) {
        property.SetValue(number);
        EXPECT_EQ(integer_of(property), number);
    }
}

TEST(Property, ReadsHexadecimalIntegers)
{
    EXPECT_EQ(integer_of(with_text("0x1F")), 31);
    EXPECT_EQ(integer_of(with_text(" 0Xff ")), 255);
    EXPECT_EQ(integer_of(with_text("-0x10")), -16);
    EXPECT_EQ(integer_of(with_text("0x8000000000000000")), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(integer_of(with_text("0xFFFFFFFFFFFFFFFF")), -1);
    EXPECT_EQ(number_of(with_text("0x10")), 16.0);
}

TEST(Property, ReadsWholeNumbersInEitherForm)
{
    PvProperty property;
    property.SetValue(100000.0);
    EXPECT_EQ(integer_of(property), 100000) << "however short its text is";
    EXPECT_EQ(integer_of(with_text("+7")), 7);
    EXPECT_EQ(integer_of(with_text("4.0")), 4);
    EXPECT_EQ(integer_of(with_text("9223372036854775807")), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(integer_of(with_text("-9223372036854775808")), std::numeric_limits<std::int64_t>::min());
    property.SetValue(std::int64_t{3});
    EXPECT_EQ(number_of(property), 3.0);
    EXPECT_EQ(number_of(with_text("\t1.5e2\r\n")), 150.0);
}

TEST(Property, RefusesTextThatIsNoNumber)
{
    for (const char* text : {"", " ", "abc", "1,5", "1.5x", "--1", "1 2", "0x", "0xG", "\xC3\xA4", "1e999"}) {
        expect_refused<double>(text, std::string("The property 'Gain' is not a number: '") + text + "'");
    }
}

TEST(Property, RefusesTextThatIsNoIntegerOf64Bits)
{
    for (const char* text :
         {"", " ", "abc", "1,5", "1.5", "-0.5", "+-1", "1 2", "0x", "0x1FFFFFFFFFFFFFFFF", "-0xFFFFFFFFFFFFFFFF",
          "9223372036854775808", "18446744073709551615", "-9223372036854775809", "1e30", "INF", "NaN"}) {
        expect_refused<std::int64_t>(text,
                                     std::string("The property 'Gain' is not an integer of 64 bits: '") + text + "'");
    }
}

/// Numbers as no program's own text has them: a comma as the point, and digits in groups.
class Commas : public std::numpunct<char> {
protected:
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(Property, IsTheSameInEveryLocale)
{
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Commas));
    // where the system has one of them; C's own functions follow these
    for (const char* name : {"de_DE.UTF-8", "German_Germany.1252", "fr_FR.UTF-8"}) {
        if (std::setlocale(LC_ALL, name) != nullptr) {
            break;
        }
    }
    PvProperty property;
    property.SetValue(1234567.25);
    EXPECT_EQ(property.GetValue(), PvString("1234567.25"));
    EXPECT_EQ(number_of(property), 1234567.25);
    property.SetValue(std::int64_t{1234567});
    EXPECT_EQ(property.GetValue(), PvString("1234567"));
    EXPECT_EQ(integer_of(property), 1234567);
    expect_refused<double>("1,5", "The property 'Gain' is not a number: '1,5'");
    std::locale::global(before);
    std::setlocale(LC_ALL, "C");
}

}  // namespace
