// The settings of a serial line: what they begin with, what is valid, and what the texts say.
#include "sdk/serial_port/PvSerialPortConfiguration.h"

#include <cstddef>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Settings = PvSerialPortConfiguration;

PvParity parity(int value) { return static_cast<PvParity>(value); }

TEST(SerialPortConfiguration, BeginsWith9600Baud8N1)
{
    const Settings settings;
    EXPECT_EQ(settings.BaudRate, 9600u);
    EXPECT_EQ(settings.Parity, PvParityNone);
    EXPECT_EQ(settings.ByteSize, 8u);
    EXPECT_EQ(settings.StopBits, 1u);
    EXPECT_TRUE(settings.IsValid().IsOK());
}

TEST(SerialPortConfiguration, HasItsFourFieldsInOrder)
{
    static_assert(std::is_standard_layout_v<Settings> && std::is_trivially_copyable_v<Settings>);
    static_assert(offsetof(Settings, BaudRate) == 0);
    static_assert(offsetof(Settings, Parity) == 4);
    static_assert(offsetof(Settings, ByteSize) == 8);
    static_assert(offsetof(Settings, StopBits) == 12);
    static_assert(std::is_unsigned_v<decltype(Settings::BaudRate)> && std::is_unsigned_v<decltype(Settings::ByteSize)>);
    static_assert(std::is_unsigned_v<decltype(Settings::StopBits)>);
    static_assert(std::is_signed_v<std::underlying_type_t<PvParity>>);
    EXPECT_EQ(PvParityInvalid, -1);
    EXPECT_EQ(PvParityNone, 0);
    EXPECT_EQ(PvParityEven, 1);
    EXPECT_EQ(PvParityOdd, 2);
}

TEST(SerialPortConfiguration, IsValidUpToItsLimits)
{
    for (const std::uint32_t baud_rate : {1u, 110u, 9600u, 921'600u, 250'000u, 4'000'000u}) {
        for (const PvParity each : {PvParityNone, PvParityEven, PvParityOdd}) {
            for (std::uint32_t bits = 5; bits <= 8; ++bits) {
                for (std::uint32_t stop = 1; stop <= 2; ++stop) {
                    const Settings settings{baud_rate, each, bits, stop};
                    EXPECT_EQ(settings.IsValid().IsOK(), bits != 5 || stop != 2)
                        << baud_rate << " " << each << " " << bits << " " << stop;
                }
            }
        }
    }
}

TEST(SerialPortConfiguration, NamesTheFieldThatIsWrongAndItsValue)
{
    struct Case {
        Settings settings;
        const char* text;
    };
    const std::vector<Case> cases = {
        {{0, PvParityNone, 8, 1}, "The baud rate 0 is not one of 1 to 4000000"},
        {{4'000'001, PvParityNone, 8, 1}, "The baud rate 4000001 is not one of 1 to 4000000"},
        {{0xFFFFFFFF, PvParityNone, 8, 1}, "The baud rate 4294967295 is not one of 1 to 4000000"},
        {{9600, PvParityInvalid, 8, 1}, "The parity -1 is not none (0), even (1) or odd (2)"},
        {{9600, parity(3), 8, 1}, "The parity 3 is not none (0), even (1) or odd (2)"},
        {{9600, PvParityNone, 4, 1}, "The byte size 4 is not one of 5 to 8 data bits"},
        {{9600, PvParityNone, 9, 1}, "The byte size 9 is not one of 5 to 8 data bits"},
        {{9600, PvParityNone, 8, 0}, "The stop bits 0 are not 1 or 2"},
        {{9600, PvParityNone, 8, 3}, "The stop bits 3 are not 1 or 2"},
        {{9600, PvParityNone, 5, 2}, "The stop bits 2 do not go with a byte size of 5 data bits"},
    };
    for (const Case& each : cases) {
        const PvResult judged = each.settings.IsValid();
        EXPECT_EQ(judged.GetCode(), PvResult::InvalidParameter) << each.text;
        EXPECT_EQ(judged.description(), each.text);
    }
}

TEST(SerialPortConfiguration, MakesEveryFieldInvalid)
{
    Settings settings{115'200, PvParityOdd, 7, 2};
    settings.MakeInvalid();
    EXPECT_EQ(settings.IsValid().GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(settings.Parity, PvParityInvalid);
    // each by itself, with the others put right
    const Settings right;
    for (int field = 0; field < 4; ++field) {
        Settings one = right;
        field == 0   ? void(one.BaudRate = settings.BaudRate)
        : field == 1 ? void(one.Parity = settings.Parity)
        : field == 2 ? void(one.ByteSize = settings.ByteSize)
                     : void(one.StopBits = settings.StopBits);
        EXPECT_FALSE(one.IsValid().IsOK()) << "field " << field;
    }
}

TEST(SerialPortConfiguration, IsEqualFieldByField)
{
    const Settings settings;
    EXPECT_EQ(settings, Settings());
    EXPECT_NE(settings, (Settings{9601, PvParityNone, 8, 1}));
    EXPECT_NE(settings, (Settings{9600, PvParityOdd, 8, 1}));
    EXPECT_NE(settings, (Settings{9600, PvParityNone, 7, 1}));
    EXPECT_NE(settings, (Settings{9600, PvParityNone, 8, 2}));
}

}  // namespace
