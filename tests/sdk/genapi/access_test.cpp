// Access: the algebra of modes and conditions, locks, and errors in words that a user can act on.

#include <gtest/gtest.h>

#include "tests/sdk/genapi/memory_port.h"

using namespace camera_xml;
using GenApi::AccessMode;

struct AccessCase {
    std::string_view reg;
    std::string_view imposed;
    AccessMode result;
};

class AccessAlgebra : public testing::TestWithParam<AccessCase> {};

TEST_P(AccessAlgebra, MeetsRegisterAndImposedMode)
{
    const auto& [reg_mode, imposed, result] = GetParam();
    Camera camera(integer("X", {.imposed_access = std::string(imposed), .value = "R"}) + int_reg("R", 0, reg_mode) +
                  integer("Y", {.value = "X"}));
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
    Camera camera(int_reg("R", 0, {.access = "", .byte_order = ""}));
    EXPECT_EQ(camera["R"].access(), AccessMode::read_only);
}

TEST(Access, OfAValueInMemoryIsReadWriteUnlessImposed)
{
    Camera camera(integer("A", {.value = 1}) + integer("B", {.imposed_access = "RO", .value = 1}));
    EXPECT_EQ(camera["A"].access(), AccessMode::read_write);
    EXPECT_EQ(camera["B"].access(), AccessMode::read_only);
    camera["A"].set_int_value(5);
    EXPECT_EQ(camera["A"].int_value(), 5);
    EXPECT_THROW(camera["B"].set_int_value(5), GenApi::AccessError);
}

TEST(Access, FollowsItsConditions)
{
    Camera camera(integer("X", {.is_implemented = "Imp", .is_available = "Avl", .is_locked = "Lck", .value = "R"}) +
                  integer("Imp", {.value = 1}) + integer("Avl", {.value = 1}) + integer("Lck", {.value = 0}) +
                  int_reg("R", 0));
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
        integer("A", {.is_available = "B", .value = "R"}) + integer("C", {.is_available = "F", .value = "R"}) +
        integer("D", {.is_available = "N", .value = "R"}) + integer("E", {.is_available = "K", .value = "R"}) +
        boolean("B", {.value = 1}) + floating("F", {.value = 0.5}) + enumeration("N", 1, {{"Off", 0}, {"On", 1}}) +
        int_swiss_knife("K", "N=1", {{"N", "N"}}) + int_reg("R", 0));
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
    Camera camera(
        int_swiss_knife("K", "C ? A : 7", {{"C", "C"}, {"A", "A"}}) + integer("X", {.value = "K"}) +
        int_converter("V", {.variables = {{"A", "A"}}, .value = "R", .formula_to = "FROM-A", .formula_from = "TO+A"}) +
        int_reg("C", 0) + int_reg("A", 4, {.is_available = "On", .access = "RO"}) + int_reg("R", 8) +
        integer("On", {.value = 0}));
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
    const std::string behind_a =
        "<IntSwissKnife><pVariable Name=\"A\">A</pVariable><Formula>A+4</Formula></IntSwissKnife>";
    Camera camera(int_reg("X", "A") + string_reg("Y", 0, {.length = "A"}) + int_reg("Z", {}, {.more = behind_a}) +
                  integer("A", {.is_available = "On", .value = 8}) + integer("On", {.value = 0}));
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
    Camera camera(integer("X", {.is_available = "Avl", .value = "R"}) + int_reg("Avl", 4, "WO") +
                  integer("Y", {.is_available = "Bad", .value = "R"}) + int_swiss_knife("Bad", "1/0") +
                  int_reg("R", 0));
    EXPECT_EQ(camera["X"].access(), AccessMode::not_available);
    EXPECT_EQ(camera["Y"].access(), AccessMode::not_available);
    EXPECT_EQ(message_of<GenApi::AccessError>([&] { static_cast<void>(camera["X"].int_value()); }),
              "X is not available: reading Avl: Avl is not readable");
    EXPECT_EQ(message_of<GenApi::AccessError>([&] { static_cast<void>(camera["Y"].int_value()); }),
              "Y is not available: reading Bad: in the formula of Bad: division by zero");
}

TEST(Access, ComesBackWhenAFailedConditionCanBeReadAgain)
{
    Camera camera(integer("X", {.is_available = "Avl", .value = "R"}) + int_reg("Avl", 4, "RO") + int_reg("R", 0));
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
        body += int_swiss_knife("K" + std::to_string(i), "V+1", {{"V", "K" + std::to_string(i - 1)}});
    }
    Camera camera(body + integer("X", {.is_available = "K60", .value = "R"}) + int_reg("R", 4));
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
    Camera camera(integer("X", {.is_implemented = "Imp", .value = "R"}) +
                  int_reg("Imp", 4, {.access = "RO", .cachable = "NoCache"}) +
                  enumeration("Mode", "R", {{"A", 0, {.is_implemented = "Imp"}}}) + int_reg("R", 0));
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
    Camera camera(integer("X", {.is_available = "Avl", .value = "R"}) + int_reg("Avl", 4, "RO") + int_reg("R", 0));
    EXPECT_EQ(camera["X"].access(), AccessMode::not_available);
    camera.port.set32(4, 1);
    EXPECT_EQ(camera["X"].access(), AccessMode::not_available);
    camera.map->invalidate_all();
    EXPECT_EQ(camera["X"].access(), AccessMode::read_write);
}

TEST(Access, IsReadOnlyWhenItsLockCannotBeRead)
{
    Camera camera(integer("X", {.is_locked = "Lck", .value = "R"}) + int_reg("Lck", 4, "WO") + int_reg("R", 0));
    EXPECT_EQ(camera["X"].access(), AccessMode::read_only);
    EXPECT_EQ(message_of<GenApi::AccessError>([&] { camera["X"].set_int_value(1); }),
              "X is locked: reading Lck: Lck is not readable");
    EXPECT_EQ(camera.port.transfers(), 0);
}

TEST(Access, EndsWhenConditionsAskForEachOther)
{
    Camera camera(integer("X", {.is_available = "KY", .value = "R"}) +
                  integer("Y", {.is_available = "KX", .value = "R"}) + int_swiss_knife("KX", "V=0", {{"V", "X"}}) +
                  int_swiss_knife("KY", "V=0", {{"V", "Y"}}) + int_reg("R", 0));
    EXPECT_EQ(camera["X"].access(), AccessMode::read_write);
    EXPECT_EQ(camera["Y"].access(), AccessMode::read_write);
    EXPECT_EQ(camera["X"].int_value(), 0);
}

TEST(Access, TellsWhoIsMeantByTheStreamLock)
{
    Camera camera(integer("TLParamsLocked", {.visibility = "Invisible", .value = 0, .min = 0, .max = 1}) +
                  floating("ExposureTime", {.is_locked = "Lock", .value = 10}) +
                  int_swiss_knife("Lock", "T || A", {{"T", "TLParamsLocked"}, {"A", "Auto"}}) +
                  integer("Auto", {.value = 0}) + integer("Width", {.is_locked = "TLParamsLocked", .value = "R"}) +
                  int_reg("R", 0));
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

TEST(Access, IsAlsoToldAsIfNoAcquisitionRan)
{
    Camera camera(integer("TLParamsLocked", {.value = 1}) + integer("Width", {.is_locked = "Lock", .value = "R"}) +
                  int_swiss_knife("Lock", "T", {{"T", "TLParamsLocked"}}) + integer("Deep", {.value = "Width"}) +
                  int_reg("R", 0, {.is_locked = "TLParamsLocked"}) +
                  integer("Imposed", {.is_locked = "Lock", .imposed_access = "RO", .value = "R"}) +
                  integer("OnReadOnly", {.is_locked = "Lock", .value = "RO"}) + int_reg("RO", 4, "RO") +
                  integer("Other", {.is_locked = "One", .value = "R"}) + integer("One", {.value = 1}) +
                  integer("Absent", {.is_available = "Zero", .is_locked = "Lock", .value = "R"}) +
                  integer("Zero", {.value = 0}) + int_swiss_knife("Computed", "1"));
    for (const char* name : {"Width", "Deep", "R"}) {
        EXPECT_EQ(camera[name].access(), AccessMode::read_only) << name;
        EXPECT_EQ(camera[name].access_when_idle(), AccessMode::read_write) << name;
    }
    for (const char* name : {"Imposed", "OnReadOnly", "Other", "Computed"}) {
        EXPECT_EQ(camera[name].access_when_idle(), AccessMode::read_only) << name;
    }
    EXPECT_EQ(camera["Absent"].access_when_idle(), AccessMode::not_available);
    camera["TLParamsLocked"].set_int_value(0);
    EXPECT_EQ(camera["Width"].access_when_idle(), AccessMode::read_write);
}

TEST(Access, SaysWhyItIsRefused)
{
    Camera camera(integer("Imp", {.is_implemented = "Zero", .value = "R"}) +
                  integer("Avl", {.is_available = "Zero", .value = "R"}) + integer("Gain", {.value = "RO"}) +
                  integer("Wo", {.value = "WO"}) + integer("Deep", {.value = "Avl"}) + int_swiss_knife("K", "1") +
                  integer("Zero", {.value = 0}) + int_reg("R", 0) + int_reg("RO", 4, "RO") + int_reg("WO", 8, "WO"));
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
    Camera camera(int_reg("A", 0) + int_reg("B", 4) + int_reg("C", 8, {.cachable = "NoCache"}));
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
    Camera camera(integer("Width", {.value = "R"}) + int_reg("R", 0));
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
