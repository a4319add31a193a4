// Enumerations, booleans, commands, strings and registers.

#include <gtest/gtest.h>

#include "tests/sdk/genapi/memory_port.h"

using namespace camera_xml;
using GenApi::AccessMode;

namespace {

const std::string format =
    enumeration("PixelFormat", "R",
                {{"Mono8", 0x01080001, {.name_space = "Standard", .tool_tip = "8 bits", .display_name = "Mono 8"}},
                 {"Mono12", 0x01100005, {.visibility = "Guru", .is_available = "Has12"}},
                 {"Never", 3, {.is_implemented = "Zero"}}}) +
    integer("Has12", {.value = 1}) + integer("Zero", {.value = 0});

}  // namespace

TEST(Enumeration, ReadsAndWritesEntries)
{
    Camera camera(format + int_reg("R", 0));
    camera.port.set32(0, 0x01080001);
    GenApi::INode& node = camera["PixelFormat"];
    EXPECT_EQ(node.current_entry().symbolic(), "Mono8");
    EXPECT_EQ(node.int_value(), 0x01080001);
    node.set_entry("Mono12");
    EXPECT_EQ(camera.port.get32(0), 0x01100005U);
    EXPECT_EQ(node.to_string(), "Mono12");
    node.set_int_value(0x01080001);
    EXPECT_EQ(node.to_string(), "Mono8");
    node.from_string("Mono12");
    EXPECT_EQ(node.int_value(), 0x01100005);
}

TEST(Enumeration, DescribesItsEntries)
{
    Camera camera(format + int_reg("R", 0));
    GenApi::INode& node = camera["PixelFormat"];
    ASSERT_EQ(node.children().size(), 3U);
    GenApi::INode& mono8 = *node.children()[0];
    EXPECT_EQ(mono8.name(), "EnumEntry_PixelFormat_Mono8");
    EXPECT_EQ(camera.map->node("EnumEntry_PixelFormat_Mono8"), &mono8);
    EXPECT_EQ(mono8.symbolic(), "Mono8");
    EXPECT_EQ(mono8.display_name(), "Mono 8");
    EXPECT_EQ(mono8.tool_tip(), "8 bits");
    EXPECT_EQ(mono8.name_space(), GenApi::NameSpace::standard);
    EXPECT_EQ(mono8.int_value(), 0x01080001);
    EXPECT_EQ(mono8.numeric_value(), 0x01080001);
    EXPECT_EQ(node.children()[1]->display_name(), "Mono12");
    EXPECT_EQ(node.children()[1]->visibility(), GenApi::Visibility::guru);
    EXPECT_EQ(node.entry_by_symbolic("Mono12"), node.children()[1]);
    EXPECT_EQ(node.entry_by_symbolic("Mono16"), nullptr);
    EXPECT_EQ(node.entry_by_value(3), node.children()[2]);
    EXPECT_EQ(node.entry_by_value(4), nullptr);
    EXPECT_EQ(node.children()[2]->access(), AccessMode::not_implemented);
}

TEST(Enumeration, RefusesEntriesThatCannotBeChosen)
{
    Camera camera(format + int_reg("R", 0));
    GenApi::INode& node = camera["PixelFormat"];
    EXPECT_EQ(message_of([&] { node.set_entry("Mono16"); }), "PixelFormat: it has no entry named \"Mono16\"");
    EXPECT_EQ(code_of([&] { node.set_entry("Mono16"); }), PvResult::InvalidParameter);
    EXPECT_EQ(message_of([&] { node.set_int_value(77); }), "PixelFormat: no entry has the value 77");
    EXPECT_EQ(message_of([&] { node.set_entry("Never"); }), "PixelFormat: Never is not implemented by this device");
    camera["Has12"].set_int_value(0);
    EXPECT_EQ(message_of([&] { node.set_entry("Mono12"); }), "PixelFormat: Mono12 is not available at present");
    EXPECT_EQ(code_of([&] { node.set_entry("Mono12"); }), PvResult::StateError);
    EXPECT_EQ(camera.port.writes, 0);
}

TEST(Enumeration, ReadsACurrentEntryThatIsNotAvailable)
{
    Camera camera(format + int_reg("R", 0));
    camera.port.set32(0, 0x01100005);
    camera["Has12"].set_int_value(0);
    EXPECT_EQ(camera["PixelFormat"].to_string(), "Mono12");
    EXPECT_EQ(camera["PixelFormat"].int_value(), 0x01100005);
}

TEST(Enumeration, TellsOfAValueWithoutAnEntry)
{
    Camera camera(format + int_reg("R", 0));
    camera.port.set32(0, 9);
    EXPECT_EQ(camera["PixelFormat"].int_value(), 9);
    EXPECT_EQ(message_of([&] { static_cast<void>(camera["PixelFormat"].current_entry()); }),
              "PixelFormat: the device gives the value 9, which none of its entries has");
}

TEST(Enumeration, ChoosesTheNearestEntryForANumber)
{
    Camera camera(enumeration("Gain", 0,
                              {{"Low", 0, {.more = element("NumericValue", "1.5")}},
                               {"High", 1, {.more = element("NumericValue", 6)}},
                               {"Off", 2, {.is_available = "Zero", .more = element("NumericValue", 5)}}}) +
                  integer("Zero", {.value = 0}));
    EXPECT_EQ(camera["Gain"].float_value(), 1.5);
    camera["Gain"].set_float_value(5.1);
    EXPECT_EQ(camera["Gain"].to_string(), "High");
    EXPECT_EQ(camera["Gain"].float_value(), 6.0);
}

TEST(Enumeration, TakesTheFirstOfSeveralNumericValues)
{
    Camera camera(
        enumeration("E", 0, {{"A", 0, {.more = element("NumericValue", "1.5") + element("NumericValue", "2.5")}}}));
    EXPECT_EQ(camera["E"].float_value(), 1.5);
}

TEST(Enumeration, TakesFullAndSymbolicNames)
{
    Camera camera(enumeration("E", 0, {{"EnumEntry_E_A", 0}, {"B", 1, {.more = element("Symbolic", "Bee")}}}));
    EXPECT_EQ(camera["E"].to_string(), "A");
    EXPECT_NE(camera.map->node("EnumEntry_E_A"), nullptr);
    camera["E"].set_entry("Bee");
    EXPECT_EQ(camera["E"].int_value(), 1);
}

TEST(Enumeration, PrefersTheAvailableOneOfTwoEntriesWithOneValue)
{
    Camera camera(enumeration("E", "R", {{"Old", 1, {.is_implemented = "Zero"}}, {"New", 1}}) +
                  integer("Zero", {.value = 0}) + int_reg("R", 0));
    camera["E"].set_int_value(1);
    EXPECT_EQ(camera.port.get32(0), 1U);
    EXPECT_EQ(camera["E"].to_string(), "New");
}

TEST(Enumeration, ReadsASelfClearingEntryAgain)
{
    Camera camera(enumeration("Auto", "R", {{"Off", 0}, {"Once", 1, {.more = element("IsSelfClearing", "Yes")}}}) +
                  int_reg("R", 0));
    camera["Auto"].set_entry("Once");
    camera.port.set32(0, 0);
    EXPECT_EQ(camera["Auto"].to_string(), "Off");
}

TEST(Boolean, HasValuesForOnAndOff)
{
    Camera camera(boolean("X", {.value = "R", .on_value = 5, .off_value = 3}) + boolean("Y", {.value = 0}) +
                  int_reg("R", 0));
    camera.port.set32(0, 3);
    EXPECT_FALSE(camera["X"].bool_value());
    camera["X"].set_bool_value(true);
    EXPECT_EQ(camera.port.get32(0), 5U);
    EXPECT_TRUE(camera["X"].bool_value());
    EXPECT_EQ(camera["X"].int_value(), 1);
    EXPECT_EQ(camera["X"].to_string(), "1");
    camera["X"].from_string("false");
    EXPECT_EQ(camera.port.get32(0), 3U);
    camera["Y"].from_string("1");
    EXPECT_TRUE(camera["Y"].bool_value());
    EXPECT_EQ(message_of([&] { camera["Y"].from_string("yes"); }), "Y: \"yes\" is neither 0 nor 1");
    // neither on nor off: not off
    camera.port.set32(0, 9);
    EXPECT_TRUE(camera["X"].bool_value(GenApi::ReadMode::fresh));
}

TEST(Boolean, TakesItsValueInWords)
{
    const auto in_words = [](std::string_view name, std::string_view value) {
        return boolean(name, {.on_value = 0, .off_value = 1, .more = element("Value", value)});
    };
    Camera camera(in_words("No", "false") + in_words("Yes", "true") + in_words("Zero", "0"));
    EXPECT_FALSE(camera["No"].bool_value());
    EXPECT_TRUE(camera["Yes"].bool_value());
    EXPECT_TRUE(camera["Zero"].bool_value());
}

TEST(Command, IsDoneWhenTheDeviceTakesItsValueBack)
{
    Camera camera(command("Go", {.value = "R", .command_value = 7}) + int_reg("R", 0));
    GenApi::INode& go = camera["Go"];
    go.execute();
    EXPECT_EQ(camera.port.get32(0), 7U);
    EXPECT_FALSE(go.is_done());
    EXPECT_FALSE(go.is_done());
    EXPECT_EQ(go.to_string(), "1");
    camera.port.set32(0, 0);
    EXPECT_TRUE(go.is_done());
    EXPECT_EQ(go.to_string(), "0");
    go.from_string("1");
    EXPECT_EQ(camera.port.get32(0), 7U);
    camera.port.set32(0, 0);
    go.from_string("0");
    EXPECT_EQ(camera.port.get32(0), 0U);
}

TEST(Command, WithAWriteOnlyRegisterIsDoneAtOnce)
{
    Camera camera(command("Go", {.value = "R", .command_value = 1}) + int_reg("R", 0, "WO"));
    EXPECT_EQ(camera["Go"].access(), AccessMode::write_only);
    camera["Go"].execute();
    EXPECT_TRUE(camera["Go"].is_done());
    EXPECT_EQ(camera.port.reads, 0);
    EXPECT_EQ(camera.port.get32(0), 1U);
}

TEST(Command, TakesItsValueFromANode)
{
    Camera camera(command("Go", {.value = "R", .command_value = "V"}) + integer("V", {.value = 9}) + int_reg("R", 0));
    camera["Go"].execute();
    EXPECT_EQ(camera.port.get32(0), 9U);
}

TEST(Command, IsRefusedWhenItIsLocked)
{
    Camera camera(command("Go", {.is_locked = "L", .value = "R", .command_value = 1}) + integer("L", {.value = 1}) +
                  int_reg("R", 0));
    EXPECT_EQ(message_of<GenApi::AccessError>([&] { camera["Go"].execute(); }), "Go is locked at present: L is 1");
    EXPECT_EQ(camera.port.writes, 0);
}

TEST(String, EndsAtTheFirstZeroAndIsPaddedWithZeros)
{
    Camera camera(string_reg("S", 0x40, {.length = 8}) + string("T", {.value = "S"}));
    camera.port.set(0x40, {'C', 'a', 'm', 0, 'x', 'x', 'x', 'x'});
    EXPECT_EQ(camera["S"].string_value(), "Cam");
    EXPECT_EQ(camera["T"].string_value(), "Cam");
    EXPECT_EQ(camera["T"].string_max_length(), 8);
    camera["T"].set_string_value("ab");
    EXPECT_EQ(camera.port.bytes[0x42], 0);
    EXPECT_EQ(camera.port.bytes[0x47], 0);
    EXPECT_EQ(camera["S"].string_value(), "ab");
    camera["S"].set_string_value("12345678");
    EXPECT_EQ(camera["S"].string_value(), "12345678");
    EXPECT_EQ(message_of([&] { camera["T"].set_string_value("123456789"); }),
              "T: a text of 9 bytes is longer than its maximum of 8");
    camera["T"].set_string_value("");
    EXPECT_EQ(camera["T"].string_value(), "");
}

TEST(String, MayLiveInMemory)
{
    Camera camera(text("S", "hello") + text("C", "fixed", {.imposed_access = "RO"}));
    EXPECT_EQ(camera["S"].to_string(), "hello");
    camera["S"].from_string(" there ");
    EXPECT_EQ(camera["S"].string_value(), " there ");
    EXPECT_THROW(camera["C"].set_string_value("x"), GenApi::AccessError);
}

TEST(Register, MovesBytes)
{
    Camera camera(raw_reg("R", 0x40, {.length = 6}));
    camera.port.set(0x40, {1, 2, 3, 4, 5, 6});
    GenApi::INode& node = camera["R"];
    EXPECT_EQ(node.register_length(), 6);
    EXPECT_EQ(node.register_address(), 0x40);
    std::vector<std::uint8_t> bytes(6);
    node.get_bytes(bytes);
    EXPECT_EQ(bytes, (std::vector<std::uint8_t>{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(node.to_string(), "010203040506");
    EXPECT_EQ(camera.port.reads, 1);
    const std::vector<std::uint8_t> two{9, 8};
    node.set_bytes(two);
    node.get_bytes(bytes);
    EXPECT_EQ(bytes, (std::vector<std::uint8_t>{9, 8, 3, 4, 5, 6}));
    node.from_string("0xaAbBcCdDeEfF");
    node.get_bytes(bytes);
    EXPECT_EQ(bytes, (std::vector<std::uint8_t>{0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}));
    std::vector<std::uint8_t> seven(7);
    EXPECT_EQ(message_of([&] { node.get_bytes(seven); }), "R: 7 bytes are more than the 6 that it has");
    EXPECT_EQ(message_of([&] { node.set_bytes(seven); }), "R: 7 bytes are more than the 6 that it has");
    EXPECT_EQ(message_of([&] { node.from_string("abc"); }), "R: the text is not pairs of hexadecimal digits");
    EXPECT_EQ(message_of([&] { node.from_string("zz"); }), "R: the text is not pairs of hexadecimal digits");
}

TEST(Register, ReadsItsFirstBytesWithoutTheRest)
{
    Camera camera(raw_reg("R", 0, {.length = 65536}));
    camera.port.set(0, {1, 2, 3});
    std::vector<std::uint8_t> bytes(2);
    camera["R"].get_bytes(bytes);
    EXPECT_EQ(bytes, (std::vector<std::uint8_t>{1, 2}));
    EXPECT_FALSE(camera["R"].is_cached());
}

TEST(Selector, KnowsBothWays)
{
    Camera camera(enumeration("Outer", 0, {{"A", 0}}, {.selected = {"Inner", "Gain"}}) +
                  integer("Inner", {.value = 0, .selected = {"Gain"}}) + integer("Gain", {.value = 0}));
    const auto names = [](const std::vector<GenApi::INode*>& nodes) {
        std::vector<std::string_view> result;
        for (const GenApi::INode* node : nodes) {
            result.push_back(node->name());
        }
        return result;
    };
    using Texts = std::vector<std::string_view>;
    EXPECT_EQ(names(camera["Outer"].selected()), (Texts{"Inner", "Gain"}));
    EXPECT_EQ(names(camera["Inner"].selected()), (Texts{"Gain"}));
    EXPECT_EQ(names(camera["Gain"].selecting()), (Texts{"Outer", "Inner"}));
    EXPECT_EQ(names(camera["Inner"].selecting()), (Texts{"Outer"}));
    EXPECT_TRUE(camera["Outer"].is_selector());
    EXPECT_TRUE(camera["Inner"].is_selector());
    EXPECT_FALSE(camera["Gain"].is_selector());
}

TEST(Text, OfANumberTooLargeForAnAddressIsThatNumber)
{
    const auto number = [](std::string_view representation, std::string_view value) {
        return integer(representation,
                       {.representation = std::string(representation), .more = element("Value", value)});
    };
    Camera camera(number("IPV4Address", "0x1C0A80001") + number("MACAddress", "0x1000000000000"));
    EXPECT_EQ(camera["IPV4Address"].to_string(), "7527202817");
    EXPECT_EQ(camera["MACAddress"].to_string(), "281474976710656");
}
