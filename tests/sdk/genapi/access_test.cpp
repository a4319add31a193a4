// Access: the algebra of modes and conditions, locks, and errors in words that a user can act on.

#include <gtest/gtest.h>

#include "tests/sdk/genapi/memory_port.h"

using GenApi::AccessMode;

namespace {

std::string feature(std::string_view name, std::string_view inside)
{
    return "<Integer Name=\"" + std::string(name) + "\">" + std::string(inside) + "<pValue>R</pValue></Integer>";
}

std::string flag(std::string_view name, int value)
{
    return "<Integer Name=\"" + std::string(name) + "\"><Value>" + std::to_string(value) + "</Value></Integer>";
}

}  // namespace

struct AccessCase {
    std::string_view reg;
    std::string_view imposed;
    AccessMode result;
};

class AccessAlgebra : public testing::TestWithParam<AccessCase> {};

TEST_P(AccessAlgebra, MeetsRegisterAndImposedMode)
{
    const auto& [reg_mode, imposed, result] = GetParam();
    const std::string element =
        imposed.empty() ? std::string() : "<ImposedAccessMode>" + std::string(imposed) + "</ImposedAccessMode>";
    Camera camera(feature("X", element) + int_reg("R", 0, reg_mode) +
                  "<Integer Name=\"Y\"><pValue>X</pValue></Integer>");
    EXPECT_EQ(camera["X"].access(), result);
    EXPECT_EQ(camera["Y"].access(), result);
    if (!GenApi::is_readable(result)) {
        EXPECT_THROW(static_cast<void>(camera["X"].int_value()), GenApi::AccessError);
    } else {
        EXPECT_NO_THROW(static_cast<void>(camera["X"].int_value()));
    }
    if (!GenApi::is_writable(result)) {
        EXPECT_THROW(camera["X"].set_int_value(1), GenApi::AccessError);
        EXPECT_EQ(camera.port.writes, 0);
    } else {
        camera["X"].set_int_value(1);
        EXPECT_EQ(camera.port.writes, 1);
    }
}

INSTANTIATE_TEST_SUITE_P(
    All, AccessAlgebra,
    testing::Values(AccessCase{"RW", "", AccessMode::read_write}, AccessCase{"RW", "RO", AccessMode::read_only},
                    AccessCase{"RW", "WO", AccessMode::write_only}, AccessCase{"RO", "", AccessMode::read_only},
                    AccessCase{"RO", "RW", AccessMode::read_only}, AccessCase{"RO", "WO", AccessMode::not_available},
                    AccessCase{"WO", "", AccessMode::write_only}, AccessCase{"WO", "RW", AccessMode::write_only},
                    AccessCase{"WO", "RO", AccessMode::not_available}));

TEST(Access, OfARegisterWithoutAccessModeIsReadOnly)
{
    Camera camera("<IntReg Name=\"R\"><Address>0</Address><Length>4</Length><pPort>Device</pPort></IntReg>");
    EXPECT_EQ(camera["R"].access(), AccessMode::read_only);
}

TEST(Access, OfAValueInMemoryIsReadWriteUnlessImposed)
{
    Camera camera(flag("A", 1) + "<Integer Name=\"B\"><ImposedAccessMode>RO</ImposedAccessMode><Value>1</Value>"
                                 "</Integer>");
    EXPECT_EQ(camera["A"].access(), AccessMode::read_write);
    EXPECT_EQ(camera["B"].access(), AccessMode::read_only);
    camera["A"].set_int_value(5);
    EXPECT_EQ(camera["A"].int_value(), 5);
    EXPECT_THROW(camera["B"].set_int_value(5), GenApi::AccessError);
}

TEST(Access, FollowsItsConditions)
{
    Camera camera(feature("X", "<pIsImplemented>Imp</pIsImplemented><pIsAvailable>Avl</pIsAvailable>"
                               "<pIsLocked>Lck</pIsLocked>") +
                  flag("Imp", 1) + flag("Avl", 1) + flag("Lck", 0) + int_reg("R", 0));
    EXPECT_EQ(camera["X"].access(), AccessMode::read_write);
    camera["Lck"].set_int_value(1);
    EXPECT_EQ(camera["X"].access(), AccessMode::read_only);
    camera["Avl"].set_int_value(0);
    EXPECT_EQ(camera["X"].access(), AccessMode::not_available);
    camera["Imp"].set_int_value(0);
    EXPECT_EQ(camera["X"].access(), AccessMode::not_implemented);
}

TEST(Access, TakesEveryKindOfCondition)
{
    Camera camera(
        feature("A", "<pIsAvailable>B</pIsAvailable>") + feature("C", "<pIsAvailable>F</pIsAvailable>") +
        feature("D", "<pIsAvailable>N</pIsAvailable>") + feature("E", "<pIsAvailable>K</pIsAvailable>") +
        "<Boolean Name=\"B\"><Value>1</Value></Boolean><Float Name=\"F\"><Value>0.5</Value></Float>"
        "<Enumeration Name=\"N\"><EnumEntry Name=\"Off\"><Value>0</Value></EnumEntry>"
        "<EnumEntry Name=\"On\"><Value>1</Value></EnumEntry><Value>1</Value></Enumeration>"
        "<IntSwissKnife Name=\"K\"><pVariable Name=\"N\">N</pVariable><Formula>N=1</Formula></IntSwissKnife>" +
        int_reg("R", 0));
    for (const char* const name : {"A", "C", "D", "E"}) {
        EXPECT_EQ(camera[name].access(), AccessMode::read_write) << name;
    }
    camera["B"].set_bool_value(false);
    camera["F"].set_float_value(0);
    camera["N"].set_entry("Off");
    for (const char* const name : {"A", "C", "D", "E"}) {
        EXPECT_EQ(camera[name].access(), AccessMode::not_available) << name;
    }
}

TEST(Access, OfAFormulaIsNoneWhenItCannotBeComputed)
{
    Camera camera("<IntSwissKnife Name=\"K\"><pVariable Name=\"C\">C</pVariable><pVariable Name=\"A\">A</pVariable>"
                  "<Formula>C ? A : 7</Formula></IntSwissKnife><Integer Name=\"X\"><pValue>K</pValue></Integer>"
                  "<IntConverter Name=\"V\"><pVariable Name=\"A\">A</pVariable><FormulaTo>FROM-A</FormulaTo>"
                  "<FormulaFrom>TO+A</FormulaFrom><pValue>R</pValue></IntConverter>" +
                  int_reg("C", 0) + int_reg("A", 4, "RO", "<pIsAvailable>On</pIsAvailable>") + int_reg("R", 8) +
                  "<Integer Name=\"On\"><Value>0</Value></Integer>");
    // the branch that is taken does without A
    EXPECT_EQ(camera["X"].access(), AccessMode::read_only);
    EXPECT_EQ(camera["X"].int_value(), 7);
    EXPECT_EQ(camera["V"].access(), AccessMode::not_available);
    camera["C"].set_int_value(1);
    EXPECT_EQ(camera["X"].access(), AccessMode::not_available);
    EXPECT_EQ(message_of([&] { static_cast<void>(camera["X"].int_value()); }),
              "X is not available: in the formula of K: A is not available at present: On is 0");
    EXPECT_EQ(message_of([&] { camera["V"].set_int_value(1); }),
              "V is not available: in the formula of V: A is not available at present: On is 0");
    camera["On"].set_int_value(1);
    EXPECT_EQ(camera["X"].access(), AccessMode::read_only);
    EXPECT_EQ(camera["V"].access(), AccessMode::read_write);
}

TEST(Access, OfARegisterIsNoneWhenItsPlaceCannotBeKnown)
{
    const std::string inside = "<AccessMode>RW</AccessMode><pPort>Device</pPort>";
    Camera camera("<IntReg Name=\"X\"><pAddress>A</pAddress><Length>4</Length>" + inside +
                  "</IntReg><StringReg Name=\"Y\"><Address>0</Address><pLength>A</pLength>" + inside +
                  "</StringReg><IntReg Name=\"Z\"><IntSwissKnife><pVariable Name=\"A\">A</pVariable><Formula>A+4"
                  "</Formula></IntSwissKnife><Length>4</Length>" +
                  inside + "</IntReg>" +
                  "<Integer Name=\"A\"><Value>8</Value><pIsAvailable>On</pIsAvailable></Integer>"
                  "<Integer Name=\"On\"><Value>0</Value></Integer>");
    for (const char* name : {"X", "Y", "Z"}) {
        camera["On"].set_int_value(0);
        EXPECT_EQ(camera[name].access(), AccessMode::not_available) << name;
        EXPECT_THROW(camera[name].from_string("1"), GenApi::AccessError) << name;
        camera["On"].set_int_value(1);
        EXPECT_EQ(camera[name].access(), AccessMode::read_write) << name;
        EXPECT_NO_THROW(static_cast<void>(camera[name].to_string())) << name;
    }
    camera["On"].set_int_value(0);
    EXPECT_EQ(message_of([&] { camera["Z"].set_int_value(1); }),
              "Z is not available: in the formula of Z (address): A is not available at present: On is 0");
}

TEST(Access, IsNoneWhenAConditionCannotBeRead)
{
    Camera camera(feature("X", "<pIsAvailable>Avl</pIsAvailable>") + int_reg("Avl", 4, "WO") +
                  feature("Y", "<pIsAvailable>Bad</pIsAvailable>") +
                  "<IntSwissKnife Name=\"Bad\"><Formula>1/0</Formula></IntSwissKnife>" + int_reg("R", 0));
    EXPECT_EQ(camera["X"].access(), AccessMode::not_available);
    EXPECT_EQ(camera["Y"].access(), AccessMode::not_available);
    EXPECT_EQ(message_of<GenApi::AccessError>([&] { static_cast<void>(camera["X"].int_value()); }),
              "X is not available: reading Avl: Avl is not readable");
    EXPECT_EQ(message_of<GenApi::AccessError>([&] { static_cast<void>(camera["Y"].int_value()); }),
              "Y is not available: reading Bad: in the formula of Bad: division by zero");
}

TEST(Access, ComesBackWhenAFailedConditionCanBeReadAgain)
{
    Camera camera(feature("X", "<pIsAvailable>Avl</pIsAvailable>") + int_reg("Avl", 4, "RO") + int_reg("R", 0));
    camera.port.set32(4, 1);
    camera.port.failure = "the camera does not answer";
    EXPECT_EQ(camera["X"].access(), AccessMode::not_available);
    EXPECT_EQ(message_of<GenApi::PortError>([&] { static_cast<void>(camera["X"].int_value()); }),
              "X is not available: reading Avl: the camera does not answer");
    EXPECT_EQ(code_of([&] { static_cast<void>(camera["X"].int_value()); }), PvResult::NetworkError);
    camera.port.failure.clear();
    EXPECT_EQ(camera["X"].access(), AccessMode::read_write);
}

TEST(Access, IsFoundOncePerNodeInAChainOfFormulas)
{
    // each asks the one before, and none can be computed: without memory that would be 2^60 questions
    std::string body = int_reg("K0", 0, "WO");
    for (int i = 1; i <= 60; ++i) {
        body += "<IntSwissKnife Name=\"K" + std::to_string(i) + "\"><pVariable Name=\"V\">K" + std::to_string(i - 1) +
                "</pVariable><Formula>V+1</Formula></IntSwissKnife>";
    }
    Camera camera(body + feature("X", "<pIsAvailable>K60</pIsAvailable>") + int_reg("R", 4));
    EXPECT_EQ(camera["K60"].access(), AccessMode::not_available);
    EXPECT_EQ(camera["X"].access(), AccessMode::not_available);
    const std::string reason = message_of([&] { static_cast<void>(camera["K60"].int_value()); });
    EXPECT_TRUE(reason.starts_with("K60 is not available: in the formula of K60: K59 is not available: ")) << reason;
    EXPECT_TRUE(reason.ends_with("in the formula of K1: K0 is not readable: it is write-only")) << reason;
    EXPECT_EQ(message_of([&] { static_cast<void>(camera["X"].int_value()); }),
              "X is not available: reading K60: K60 is not readable");
    EXPECT_EQ(camera.port.reads, 0);
}

TEST(Access, AsksAgainForAConditionThatMustNotBeKept)
{
    const std::string no_cache = "<Cachable>NoCache</Cachable>";
    Camera camera(
        feature("X", "<pIsImplemented>Imp</pIsImplemented>") + int_reg("Imp", 4, "RO", no_cache) +
        "<Enumeration Name=\"Mode\"><EnumEntry Name=\"A\"><pIsImplemented>Imp</pIsImplemented><Value>0</Value>"
        "</EnumEntry><pValue>R</pValue></Enumeration>" +
        int_reg("R", 0));
    EXPECT_EQ(camera["X"].access(), AccessMode::not_implemented);
    EXPECT_THROW(camera["Mode"].set_entry("A"), GenApi::ValueError);
    camera.port.set32(4, 1);
    EXPECT_EQ(camera["X"].access(), AccessMode::read_write);
    camera["Mode"].set_entry("A");
    camera.port.set32(4, 0);
    EXPECT_EQ(camera["X"].access(), AccessMode::not_implemented);
    EXPECT_THROW(camera["Mode"].set_entry("A"), GenApi::ValueError);
}

TEST(Access, OfAValueByAnIndexThatCannotBeReadIsNone)
{
    Camera camera("<Integer Name=\"X\"><pIndex>I</pIndex><ValueIndexed Index=\"0\">5</ValueIndexed></Integer>" +
                  int_reg("I", 0, "WO"));
    EXPECT_EQ(camera["X"].access(), AccessMode::not_available);
    EXPECT_THROW(static_cast<void>(camera["X"].int_value()), GenApi::Error);
    EXPECT_THROW(camera["X"].set_int_value(1), GenApi::Error);
    EXPECT_EQ(camera.port.reads, 0);
}

TEST(Access, IsForgottenWithEverythingElse)
{
    Camera camera(feature("X", "<pIsAvailable>Avl</pIsAvailable>") + int_reg("Avl", 4, "RO") + int_reg("R", 0));
    EXPECT_EQ(camera["X"].access(), AccessMode::not_available);
    camera.port.set32(4, 1);
    EXPECT_EQ(camera["X"].access(), AccessMode::not_available);
    camera.map->invalidate_all();
    EXPECT_EQ(camera["X"].access(), AccessMode::read_write);
}

TEST(Access, IsReadOnlyWhenItsLockCannotBeRead)
{
    Camera camera(feature("X", "<pIsLocked>Lck</pIsLocked>") + int_reg("Lck", 4, "WO") + int_reg("R", 0));
    EXPECT_EQ(camera["X"].access(), AccessMode::read_only);
    EXPECT_EQ(message_of<GenApi::AccessError>([&] { camera["X"].set_int_value(1); }),
              "X is locked: reading Lck: Lck is not readable");
    EXPECT_EQ(camera.port.transfers(), 0);
}

TEST(Access, EndsWhenConditionsAskForEachOther)
{
    Camera camera(
        feature("X", "<pIsAvailable>KY</pIsAvailable>") + feature("Y", "<pIsAvailable>KX</pIsAvailable>") +
        "<IntSwissKnife Name=\"KX\"><pVariable Name=\"V\">X</pVariable><Formula>V=0</Formula></IntSwissKnife>"
        "<IntSwissKnife Name=\"KY\"><pVariable Name=\"V\">Y</pVariable><Formula>V=0</Formula></IntSwissKnife>" +
        int_reg("R", 0));
    EXPECT_EQ(camera["X"].access(), AccessMode::read_write);
    EXPECT_EQ(camera["Y"].access(), AccessMode::read_write);
    EXPECT_EQ(camera["X"].int_value(), 0);
}

TEST(Access, TellsWhoIsMeantByTheStreamLock)
{
    Camera camera("<Integer Name=\"TLParamsLocked\"><Visibility>Invisible</Visibility><Value>0</Value><Min>0</Min>"
                  "<Max>1</Max></Integer><Float Name=\"ExposureTime\"><pIsLocked>Lock</pIsLocked><Value>10</Value>"
                  "</Float><IntSwissKnife Name=\"Lock\"><pVariable Name=\"T\">TLParamsLocked</pVariable>"
                  "<pVariable Name=\"A\">Auto</pVariable><Formula>T || A</Formula></IntSwissKnife>" +
                  flag("Auto", 0) + feature("Width", "<pIsLocked>TLParamsLocked</pIsLocked>") + int_reg("R", 0));
    EXPECT_EQ(camera["Width"].access(), AccessMode::read_write);
    camera["TLParamsLocked"].set_int_value(1);
    EXPECT_EQ(camera["Width"].access(), AccessMode::read_only);
    EXPECT_EQ(message_of<GenApi::AccessError>([&] { camera["Width"].set_int_value(1); }),
              "Width is locked while the acquisition runs");
    EXPECT_EQ(message_of<GenApi::AccessError>([&] { camera["ExposureTime"].set_float_value(1); }),
              "ExposureTime is locked while the acquisition runs");
    EXPECT_EQ(code_of([&] { camera["Width"].set_int_value(1); }), PvResult::StateError);
    camera["TLParamsLocked"].set_int_value(0);
    camera["Width"].set_int_value(1);
    camera["Auto"].set_int_value(1);
    EXPECT_EQ(message_of([&] { camera["ExposureTime"].set_float_value(1); }),
              "ExposureTime is locked at present: Lock is 1");
}

TEST(Access, SaysWhyItIsRefused)
{
    Camera camera(
        feature("Imp", "<pIsImplemented>Zero</pIsImplemented>") + feature("Avl", "<pIsAvailable>Zero</pIsAvailable>") +
        "<Integer Name=\"Gain\"><pValue>RO</pValue></Integer><Integer Name=\"Wo\"><pValue>WO</pValue></Integer>"
        "<Integer Name=\"Deep\"><pValue>Avl</pValue></Integer>"
        "<IntSwissKnife Name=\"K\"><Formula>1</Formula></IntSwissKnife>" +
        flag("Zero", 0) + int_reg("R", 0) + int_reg("RO", 4, "RO") + int_reg("WO", 8, "WO"));
    const auto read = [&](const char* name) {
        return message_of<GenApi::AccessError>([&] { static_cast<void>(camera[name].int_value()); });
    };
    const auto write = [&](const char* name) {
        return message_of<GenApi::AccessError>([&] { camera[name].set_int_value(1); });
    };
    EXPECT_EQ(read("Imp"), "Imp is not implemented by this device");
    EXPECT_EQ(read("Avl"), "Avl is not available at present: Zero is 0");
    EXPECT_EQ(read("Deep"), "Deep is not available at present: Zero is 0");
    EXPECT_EQ(write("Gain"), "Gain is not writable: it is read-only");
    EXPECT_EQ(read("Wo"), "Wo is not readable: it is write-only");
    EXPECT_EQ(write("K"), "K is not writable: it is read-only");
}

TEST(Access, WithoutAPortIsWhatIsCached)
{
    Camera camera(int_reg("A", 0) + int_reg("B", 4) + int_reg("C", 8, "RW", "<Cachable>NoCache</Cachable>"));
    camera.port.set32(0, 7);
    EXPECT_EQ(camera["A"].int_value(), 7);
    EXPECT_EQ(camera["C"].int_value(), 0);
    camera.port.open = false;
    EXPECT_EQ(camera["A"].access(), AccessMode::read_only);
    EXPECT_EQ(camera["A"].int_value(), 7);
    EXPECT_EQ(camera["B"].access(), AccessMode::not_available);
    EXPECT_EQ(camera["C"].access(), AccessMode::not_available);
    EXPECT_EQ(message_of<GenApi::PortError>([&] { static_cast<void>(camera["B"].int_value()); }),
              "B is not available: the device is not connected");
    EXPECT_EQ(message_of<GenApi::PortError>([&] { camera["A"].set_int_value(8); }),
              "A is not available: the device is not connected");
    EXPECT_EQ(code_of([&] { static_cast<void>(camera["B"].int_value()); }), PvResult::NotConnected);
    camera.port.open = true;
    EXPECT_EQ(camera["A"].access(), AccessMode::read_write);
    EXPECT_EQ(camera["B"].int_value(), 0);
}

TEST(Access, NeedsAConnectedPort)
{
    const auto map = GenApi::load_node_map(description(int_reg("A", 0)), std::span<const GenApi::NamedPort>());
    GenApi::INode& node = *map->node("A");
    EXPECT_EQ(node.access(), AccessMode::not_available);
    EXPECT_EQ(message_of([&] { static_cast<void>(node.int_value()); }),
              "A is not available: nothing is connected to port Device");
    MemoryPort port;
    EXPECT_TRUE(map->connect_port("Device", &port));
    EXPECT_EQ(node.access(), AccessMode::read_write);
    port.set32(0, 3);
    EXPECT_EQ(node.int_value(), 3);
    EXPECT_TRUE(map->connect_port("Device", nullptr));
    EXPECT_EQ(node.access(), AccessMode::not_available);
    EXPECT_FALSE(map->connect_port("Nothing", &port));
    EXPECT_FALSE(map->connect_port("A", &port));
}

TEST(Access, CarriesThePortsOwnErrors)
{
    Camera camera(feature("Width", "") + int_reg("R", 0));
    camera.port.failure = "the camera did not answer within 300 ms";
    camera.port.failure_code = PvResult::Timeout;
    EXPECT_EQ(message_of<GenApi::PortError>([&] { static_cast<void>(camera["Width"].int_value()); }),
              "Width cannot be read: the camera did not answer within 300 ms");
    EXPECT_EQ(message_of<GenApi::PortError>([&] { camera["Width"].set_int_value(1); }),
              "Width cannot be written: the camera did not answer within 300 ms");
    EXPECT_EQ(code_of([&] { camera["Width"].set_int_value(1); }), PvResult::Timeout);
    camera.port.failure.clear();
    EXPECT_EQ(camera["Width"].int_value(), 0);
}
