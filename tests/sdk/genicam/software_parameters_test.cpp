// Parameters whose values live in software.

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "sdk/genapi/errors.h"
#include "sdk/genapi/node_map.h"
#include "sdk/genicam/software_parameters.h"

using namespace vex;

namespace {

std::string description_of(const PvResult& result) { return std::string(result.description()); }

SoftwareInteger integer(const std::string& name, std::int64_t& value)
{
    SoftwareInteger parameter;
    parameter.name = name;
    parameter.get = [&value] { return value; };
    parameter.set = [&value](std::int64_t wanted) {
        value = wanted;
        return PvResult();
    };
    return parameter;
}

std::string build_error(SoftwareParameters& parameters)
{
    try {
        static_cast<void>(parameters.build());
    } catch (const GenApi::DescriptionError& error) {
        return error.what();
    }
    return "built";
}

class CountingSink : public PvGenEventSink {
public:
    void OnParameterUpdate(PvGenParameter*) override { ++count; }
    std::atomic<int> count = 0;
};

/// A parameter of every kind, and the values behind them.
class EveryKind : public testing::Test {
protected:
    EveryKind()
    {
        parameters.add(integer("I", i));
        SoftwareFloat floating;
        floating.name = "F";
        floating.min = -10.25;
        floating.max = 100;
        floating.unit = "Mbit/s <&>";
        floating.get = [this] { return f; };
        floating.set = [this](double value) {
            f = value;
            return PvResult();
        };
        parameters.add(floating);
        SoftwareEnum enumeration;
        enumeration.name = "E";
        enumeration.entries = {{.name = "Off", .value = 0, .display_name = "", .tool_tip = ""},
                               {.name = "On", .value = 1, .display_name = "Switched on", .tool_tip = "tip"},
                               {.name = "Minus", .value = -1, .display_name = "", .tool_tip = ""}};
        enumeration.get = [this] { return e; };
        enumeration.set = [this](std::int64_t value) {
            e = value;
            return PvResult();
        };
        parameters.add(enumeration);
        SoftwareBoolean boolean;
        boolean.name = "B";
        boolean.get = [this] { return b; };
        boolean.set = [this](bool value) {
            b = value;
            return PvResult();
        };
        parameters.add(boolean);
        SoftwareString string;
        string.name = "S";
        string.max_length = 8;
        string.get = [this] { return s; };
        string.set = [this](const std::string& value) {
            s = value;
            return PvResult();
        };
        parameters.add(string);
        SoftwareCommand command;
        command.name = "C";
        command.execute = [this] {
            ++executed;
            return PvResult();
        };
        command.is_done = [this] { return done; };
        parameters.add(command);
        SoftwareCommand quick;
        quick.name = "Q";
        quick.execute = command.execute;
        parameters.add(quick);
    }

    std::int64_t i = 5;
    double f = 1.5;
    std::int64_t e = 1;
    bool b = false;
    std::string s = "text";
    int executed = 0;
    bool done = false;
    SoftwareParameters parameters{"Probe"};
};

}  // namespace

TEST_F(EveryKind, ReadsAndWrites)
{
    const auto array = parameters.build();

    ASSERT_EQ(array->GetCount(), 7U);
    std::int64_t value = 0;
    EXPECT_TRUE(array->GetIntegerValue("I", value).IsOK());
    EXPECT_EQ(value, 5);
    EXPECT_TRUE(array->SetIntegerValue("I", 77).IsOK());
    EXPECT_EQ(i, 77);
    double number = 0;
    EXPECT_TRUE(array->SetFloatValue("F", -0.125).IsOK());
    EXPECT_TRUE(array->GetFloatValue("F", number).IsOK());
    EXPECT_EQ(number, -0.125);
    EXPECT_TRUE(array->GetFloat("F")->GetMin(number).IsOK());
    EXPECT_EQ(number, -10.25);
    PvString unit;
    EXPECT_TRUE(array->GetFloat("F")->GetUnit(unit).IsOK());
    EXPECT_EQ(unit.str(), "Mbit/s <&>");
    EXPECT_EQ(array->SetFloatValue("F", 101).GetCode(), PvResult::InvalidParameter);
    PvString text;
    EXPECT_TRUE(array->GetEnumValue("E", text).IsOK());
    EXPECT_EQ(text.str(), "On");
    EXPECT_TRUE(array->SetEnumValue("E", "Minus").IsOK());
    EXPECT_EQ(e, -1);
    EXPECT_TRUE(array->SetBooleanValue("B", true).IsOK());
    EXPECT_TRUE(b);
    EXPECT_TRUE(array->GetString("S", text).IsOK());
    EXPECT_EQ(text.str(), "text");
    EXPECT_TRUE(array->SetString("S", "12345678").IsOK());
    EXPECT_EQ(s, "12345678");
    EXPECT_EQ(array->SetString("S", "123456789").GetCode(), PvResult::InvalidParameter);
    EXPECT_TRUE(array->ExecuteCommand("C").IsOK());
    EXPECT_EQ(executed, 1);
    bool is_done = true;
    EXPECT_TRUE(array->GetCommand("C")->IsDone(is_done).IsOK());
    EXPECT_FALSE(is_done);
    done = true;
    EXPECT_TRUE(array->GetCommand("C")->IsDone(is_done).IsOK());
    EXPECT_TRUE(is_done);
    EXPECT_TRUE(array->ExecuteCommand("Q").IsOK());
    EXPECT_TRUE(array->GetCommand("Q")->IsDone(is_done).IsOK());
    EXPECT_TRUE(is_done);
}

TEST(SoftwareParameters, ReadAStringThatBecameShorterWithoutItsOldEnd)
{
    std::string value = "a long text";
    SoftwareString parameter;
    parameter.name = "S";
    parameter.get = [&] { return value; };
    SoftwareParameters parameters("Probe");
    const auto array = parameters.add(parameter).build();
    PvString text;
    EXPECT_TRUE(array->GetString("S", text).IsOK());
    EXPECT_EQ(text.str(), "a long text");
    value = "short";
    array->changed("S");
    EXPECT_TRUE(array->GetString("S", text).IsOK());
    EXPECT_EQ(text.str(), "short");
}

TEST(SoftwareParameters, AreFiledAndDescribed)
{
    std::int64_t value = 1;
    SoftwareInteger parameter = integer("Timeout", value);
    parameter.category = "Resend/Timing";
    parameter.display_name = "Request <Timeout>";
    parameter.tool_tip = "a \"tip\"";
    parameter.description = "a & b";
    parameter.visibility = GenApi::Visibility::guru;
    parameter.streamable = true;
    parameter.min = -5;
    parameter.max = 500;
    parameter.increment = 5;
    parameter.unit = "ms";
    parameter.representation = GenApi::Representation::linear;
    SoftwareInteger other = integer("Other", value);
    other.category = "Resend";
    SoftwareParameters parameters("Probe <1>");
    parameters.add(parameter).add(other).add(integer("Top", value));
    const auto array = parameters.build();
    EXPECT_EQ(array->GetNodeMap()->info().model_name, "Probe <1>");
    EXPECT_EQ(array->GetCategoryCount(), 2U);
    EXPECT_NE(array->GetCategory("Timing"), nullptr);
    PvGenInteger& timeout = *array->GetInteger("Timeout");
    PvString text;
    EXPECT_TRUE(timeout.GetCategory(text).IsOK());
    EXPECT_EQ(text.str(), "Timing");
    EXPECT_TRUE(timeout.GetDisplayName(text).IsOK());
    EXPECT_EQ(text.str(), "Request <Timeout>");
    EXPECT_TRUE(timeout.GetToolTip(text).IsOK());
    EXPECT_EQ(text.str(), "a \"tip\"");
    EXPECT_TRUE(timeout.GetDescription(text).IsOK());
    EXPECT_EQ(text.str(), "a & b");
    EXPECT_TRUE(timeout.IsStreamable());
    EXPECT_FALSE(timeout.IsVisible(PvGenVisibilityExpert));
    std::int64_t number = 0;
    EXPECT_TRUE(timeout.GetMin(number).IsOK());
    EXPECT_EQ(number, -5);
    EXPECT_TRUE(timeout.GetIncrement(number).IsOK());
    EXPECT_EQ(number, 5);
    EXPECT_EQ(timeout.SetValue(501).GetCode(), PvResult::InvalidParameter);
    EXPECT_TRUE(timeout.SetValue(-5).IsOK());
    EXPECT_EQ(value, -5);
}

TEST(SoftwareParameters, WithoutASetterAreReadOnly)
{
    std::int64_t value = 1;
    SoftwareInteger parameter = integer("X", value);
    parameter.set = nullptr;
    SoftwareParameters parameters("Probe");
    const auto array = parameters.add(parameter).build();
    EXPECT_FALSE(array->Get("X")->IsWritable());
    EXPECT_EQ(description_of(array->SetIntegerValue("X", 2)), "X is not writable: it is read-only");
}

TEST(SoftwareParameters, PassOnWhatTheSetterSays)
{
    std::int64_t value = 1;
    SoftwareInteger parameter = integer("X", value);
    parameter.set = [](std::int64_t) { return PvResult(PvResult::StateError, "the stream is open"); };
    SoftwareParameters parameters("Probe");
    const auto array = parameters.add(parameter).build();
    const PvResult result = array->SetIntegerValue("X", 2);
    EXPECT_EQ(result.GetCode(), PvResult::StateError);
    EXPECT_EQ(description_of(result), "X cannot be written: the stream is open");
}

TEST(SoftwareParameters, ShowWhatTheSetterMadeOfTheValue)
{
    std::int64_t value = 1;
    SoftwareInteger parameter = integer("X", value);
    parameter.set = [&](std::int64_t wanted) {
        value = wanted / 10 * 10;
        return PvResult();
    };
    SoftwareParameters parameters("Probe");
    const auto array = parameters.add(parameter).build();
    EXPECT_TRUE(array->SetIntegerValue("X", 57).IsOK());
    std::int64_t shown = 0;
    EXPECT_TRUE(array->GetIntegerValue("X", shown).IsOK());
    EXPECT_EQ(shown, 50);
}

TEST(SoftwareParameters, AreCachedUnlessVolatile)
{
    std::int64_t kept = 1;
    std::int64_t moving = 1;
    SoftwareInteger counter = integer("Moving", moving);
    counter.is_volatile = true;
    SoftwareParameters parameters("Probe");
    const auto array = parameters.add(integer("Kept", kept)).add(counter).build();
    std::int64_t value = 0;
    EXPECT_TRUE(array->GetIntegerValue("Kept", value).IsOK());
    EXPECT_TRUE(array->GetIntegerValue("Moving", value).IsOK());
    kept = 2;
    moving = 2;
    EXPECT_TRUE(array->GetIntegerValue("Kept", value).IsOK());
    EXPECT_EQ(value, 1);
    EXPECT_TRUE(array->GetIntegerValue("Moving", value).IsOK());
    EXPECT_EQ(value, 2);
    CountingSink sink;
    EXPECT_TRUE(array->Get("Kept")->RegisterEventSink(&sink).IsOK());
    array->changed("Kept");
    array->changed("Unknown");
    EXPECT_EQ(sink.count, 1);
    EXPECT_TRUE(array->GetIntegerValue("Kept", value).IsOK());
    EXPECT_EQ(value, 2);
}

TEST(SoftwareParameters, InvalidateOthers)
{
    std::int64_t a = 1;
    std::int64_t b = 1;
    SoftwareInteger first = integer("A", a);
    first.set = [&](std::int64_t wanted) {
        a = wanted;
        b = wanted * 2;
        return PvResult();
    };
    first.invalidates = {"B"};
    SoftwareParameters parameters("Probe");
    const auto array = parameters.add(first).add(integer("B", b)).build();
    std::int64_t value = 0;
    EXPECT_TRUE(array->GetIntegerValue("B", value).IsOK());
    CountingSink sink;
    EXPECT_TRUE(array->Get("B")->RegisterEventSink(&sink).IsOK());
    EXPECT_TRUE(array->SetIntegerValue("A", 10).IsOK());
    EXPECT_EQ(sink.count, 1);
    EXPECT_TRUE(array->GetIntegerValue("B", value).IsOK());
    EXPECT_EQ(value, 20);
}

TEST(SoftwareParameters, FollowConditionsAndMovingLimits)
{
    std::int64_t value = 1;
    bool available = true;
    bool locked = false;
    std::int64_t most = 10;
    SoftwareInteger parameter = integer("X", value);
    parameter.available = [&] { return available; };
    parameter.locked = [&] { return locked; };
    parameter.dynamic_max = [&] { return most; };
    SoftwareParameters parameters("Probe");
    const auto array = parameters.add(parameter).build();
    EXPECT_TRUE(array->SetIntegerValue("X", 10).IsOK());
    EXPECT_TRUE(array->SetIntegerValue("X", 11).IsFailure());
    most = 20;
    EXPECT_TRUE(array->SetIntegerValue("X", 11).IsOK());
    locked = true;
    EXPECT_FALSE(array->Get("X")->IsWritable());
    EXPECT_EQ(array->SetIntegerValue("X", 1).GetCode(), PvResult::StateError);
    EXPECT_TRUE(array->Get("X")->IsReadable());
    available = false;
    EXPECT_FALSE(array->Get("X")->IsReadable());
    available = true;
    locked = false;
    EXPECT_TRUE(array->SetIntegerValue("X", 1).IsOK());
}

TEST(SoftwareParameters, MaySayFromASetterThatAnotherChanged)
{
    std::int64_t a = 1;
    std::int64_t b = 1;
    SoftwareParameterArray* self = nullptr;
    SoftwareInteger first = integer("A", a);
    first.set = [&](std::int64_t wanted) {
        a = b = wanted;
        self->changed("B");
        return PvResult();
    };
    SoftwareParameters parameters("Probe");
    const auto array = parameters.add(first).add(integer("B", b)).build();
    self = array.get();
    std::int64_t value = 0;
    EXPECT_TRUE(array->GetIntegerValue("B", value).IsOK());
    EXPECT_TRUE(array->SetIntegerValue("A", 9).IsOK());
    EXPECT_TRUE(array->GetIntegerValue("B", value).IsOK());
    EXPECT_EQ(value, 9);
}

TEST(SoftwareParameters, MayChangeOnAnotherThread)
{
    std::atomic<std::int64_t> value = 0;
    SoftwareInteger parameter;
    parameter.name = "X";
    parameter.get = [&] { return value.load(); };
    SoftwareParameters parameters("Probe");
    const auto array = parameters.add(parameter).build();
    CountingSink sink;
    EXPECT_TRUE(array->Get("X")->RegisterEventSink(&sink).IsOK());
    constexpr int rounds = 1000;
    std::thread worker([&] {
        for (int i = 1; i <= rounds; ++i) {
            value = i;
            array->changed("X");
        }
    });
    std::int64_t seen = 0;
    while (seen != rounds) {
        EXPECT_TRUE(array->GetIntegerValue("X", seen).IsOK());
    }
    worker.join();
    EXPECT_GE(sink.count, 1);
    EXPECT_TRUE(array->Get("X")->UnregisterEventSink(&sink).IsOK());
}

TEST(SoftwareParameters, TurnExceptionsOfGettersIntoResults)
{
    SoftwareInteger parameter;
    parameter.name = "X";
    parameter.get = []() -> std::int64_t { throw std::runtime_error("out of order"); };
    SoftwareParameters parameters("Probe");
    const auto array = parameters.add(parameter).build();
    std::int64_t value = 0;
    const PvResult result = array->GetIntegerValue("X", value);
    EXPECT_EQ(result.GetCode(), PvResult::GenericError);
    EXPECT_NE(description_of(result).find("out of order"), std::string::npos);
}

TEST(SoftwareParameters, AreRefusedWhenTheyCannotBeBuilt)
{
    std::int64_t value = 0;
    SoftwareParameters twice("Probe");
    twice.add(integer("X", value)).add(integer("X", value));
    EXPECT_EQ(build_error(twice), "the parameter \"X\" is there twice");
    SoftwareParameters spaced("Probe");
    spaced.add(integer("a b", value));
    EXPECT_EQ(build_error(spaced), "the parameter \"a b\" has a name that is no identifier");
    SoftwareParameters mute("Probe");
    SoftwareInteger silent;
    silent.name = "X";
    mute.add(silent);
    EXPECT_EQ(build_error(mute), "the parameter \"X\" has nothing to be read or executed");
    SoftwareParameters lost("Probe");
    SoftwareInteger other = integer("X", value);
    other.invalidates = {"Y"};
    lost.add(other);
    EXPECT_EQ(build_error(lost), "the parameter \"X\" invalidates \"Y\", which is not there");
    SoftwareParameters clash("Probe");
    SoftwareInteger filed = integer("X", value);
    filed.category = "X";
    clash.add(filed);
    EXPECT_EQ(build_error(clash), "the parameter \"X\" is in a category \"X\", which is no name for one");
}
