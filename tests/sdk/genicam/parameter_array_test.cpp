// The parameter array over a camera's node map: look-ups, values by name, and results in words.

#include <gtest/gtest.h>

#include "sdk/genicam/PvGenParameterArray.h"
#include "tests/sdk/genapi/memory_port.h"

namespace {

using namespace camera_xml;

const std::string body =
    root({"DeviceControl", "Width", "Format"}) +
    category("DeviceControl", {"Name", "Reset", "Gain", "Inner"},
             {.name_space = "Standard",
              .tool_tip = "tip",
              .description = "About it",
              .display_name = "Device Control",
              .visibility = "Expert"}) +
    category("Inner", {"Flip", "Table", "Device"}) +
    integer("Width", {.name_space = "Standard",
                      .tool_tip = "Columns",
                      .description = "Width of the image",
                      .display_name = "Image Width",
                      .visibility = "Guru",
                      .streamable = "Yes",
                      .value = "R",
                      .min = 16,
                      .max = 4096,
                      .inc = 4,
                      .unit = "px",
                      .representation = "Linear"}) +
    enumeration("Format", "RF",
                {{"Mono8", 1, {.tool_tip = "t", .description = "d", .display_name = "Mono 8"}},
                 {"Mono12", 5, {.name_space = "Standard", .visibility = "Expert", .is_available = "Zero"}}},
                {.selected = {"Gain", "RF"}}) +
    floating("Gain", {.value = 1.5, .min = 0, .max = 24, .unit = "dB", .representation = "Logarithmic"}) +
    boolean("Flip", {.value = 0}) + command("Reset", {.streamable = "Yes", .value = "RC", .command_value = 1}) +
    text("Name", "cam") + raw_reg("Table", 0x100) + integer("Zero", {.value = 0}) + int_reg("R", 0) + int_reg("RF", 4) +
    int_reg("RC", 8);

struct Array : testing::Test {
    Array()
    {
        port.set32(0, 640);
        port.set32(4, 1);
    }

    MemoryPort port;
    PvGenParameterArray array{GenApi::load_node_map(description(body), port)};
};

std::string text(const PvString& string) { return string.str(); }

std::string description_of(const PvResult& result) { return std::string(result.description()); }

template <class Object, class Class, class Value>
Value value_of(const Object& parameter, PvResult (Class::*getter)(Value&) const)
{
    Value value{};
    EXPECT_TRUE((parameter.*getter)(value).IsOK());
    return value;
}

class CountingSink : public PvGenEventSink {
public:
    void OnParameterUpdate(PvGenParameter* aParameter) override
    {
        ++count;
        last = aParameter;
        if (action) {
            action();
        }
    }

    int count = 0;
    PvGenParameter* last = nullptr;
    std::function<void()> action;
};

}  // namespace

TEST_F(Array, ListsParametersInTheOrderOfTheCategories)
{
    std::vector<std::string> names;
    for (std::uint32_t i = 0; i < array.GetCount(); ++i) {
        PvString name;
        EXPECT_TRUE(array.Get(i)->GetName(name).IsOK());
        names.push_back(text(name));
    }
    // a port is listed in the description, but is no parameter
    EXPECT_EQ(names, (std::vector<std::string>{"Name", "Reset", "Gain", "Flip", "Table", "Width", "Format"}));
    EXPECT_EQ(array.Get(array.GetCount()), nullptr);
    ASSERT_NE(array.GetNodeMap(), nullptr);
    EXPECT_EQ(array.Get("Width")->GetNode(), array.GetNodeMap()->node("Width"));
}

TEST_F(Array, FindsParametersByNameAndType)
{
    EXPECT_EQ(array.Get("Width"), array.GetInteger("Width"));
    EXPECT_EQ(array.Get("Gain"), array.GetFloat("Gain"));
    EXPECT_EQ(array.Get("Format"), array.GetEnum("Format"));
    EXPECT_EQ(array.Get("Flip"), array.GetBoolean("Flip"));
    EXPECT_EQ(array.Get("Reset"), array.GetCommand("Reset"));
    EXPECT_EQ(array.Get("Name"), array.GetString("Name"));
    EXPECT_EQ(array.Get("Table"), array.GetRegister("Table"));
    EXPECT_EQ(array.GetInteger("Gain"), nullptr);
    EXPECT_EQ(array.GetFloat("Width"), nullptr);
    EXPECT_EQ(array.Get("R"), nullptr);
    EXPECT_EQ(array.Get("width"), nullptr);
    EXPECT_EQ(array.Get(""), nullptr);
    EXPECT_NE(dynamic_cast<PvGenInteger*>(array.Get("Width")), nullptr);
}

TEST_F(Array, FindsCategories)
{
    EXPECT_EQ(array.GetCategoryCount(), 2U);
    PvGenCategory* const category = array.GetCategory(0);
    ASSERT_NE(category, nullptr);
    EXPECT_EQ(array.GetCategory("DeviceControl"), category);
    EXPECT_EQ(array.GetCategory(2), nullptr);
    EXPECT_EQ(array.GetCategory("Width"), nullptr);
    EXPECT_NE(array.GetCategory("Root"), nullptr);
    EXPECT_EQ(text(value_of(*category, &PvGenCategory::GetName)), "DeviceControl");
    EXPECT_EQ(text(value_of(*category, &PvGenCategory::GetDisplayName)), "Device Control");
    EXPECT_EQ(text(value_of(*category, &PvGenCategory::GetToolTip)), "tip");
    EXPECT_EQ(text(value_of(*category, &PvGenCategory::GetDescription)), "About it");
    EXPECT_EQ(value_of(*category, &PvGenCategory::GetNameSpace), PvGenNameSpaceStandard);
    EXPECT_EQ(value_of(*category, &PvGenCategory::GetVisibility), PvGenVisibilityExpert);
    EXPECT_EQ(category->GetNode(), array.GetNodeMap()->node("DeviceControl"));
    EXPECT_EQ(text(value_of(*array.Get("Flip"), &PvGenParameter::GetCategory)), "Inner");
    EXPECT_EQ(text(value_of(*array.Get("Width"), &PvGenParameter::GetCategory)), "Root");
}

TEST_F(Array, DescribesParameters)
{
    PvGenParameter& width = *array.Get("Width");
    EXPECT_EQ(value_of(width, &PvGenParameter::GetType), PvGenTypeInteger);
    EXPECT_EQ(text(value_of(width, &PvGenParameter::GetToolTip)), "Columns");
    EXPECT_EQ(text(value_of(width, &PvGenParameter::GetDescription)), "Width of the image");
    EXPECT_EQ(text(value_of(width, &PvGenParameter::GetDisplayName)), "Image Width");
    EXPECT_EQ(value_of(width, &PvGenParameter::GetNameSpace), PvGenNameSpaceStandard);
    EXPECT_EQ(value_of(width, &PvGenParameter::GetVisibility), PvGenVisibilityGuru);
    EXPECT_EQ(value_of(width, &PvGenParameter::GetPollingTime), -1);
    EXPECT_TRUE(width.IsStreamable());
    EXPECT_TRUE(width.IsPersistent());
    EXPECT_TRUE(width.IsAvailable());
    EXPECT_TRUE(width.IsReadable());
    EXPECT_TRUE(width.IsWritable());
    EXPECT_FALSE(width.IsValueCached());
    EXPECT_FALSE(width.IsVisible(PvGenVisibilityExpert));
    EXPECT_TRUE(width.IsVisible(PvGenVisibilityGuru));
    EXPECT_TRUE(width.IsVisible(PvGenVisibilityInvisible));
    EXPECT_FALSE(width.IsVisible(PvGenVisibilityUndefined));
    EXPECT_FALSE(array.Get("Gain")->IsStreamable());
    EXPECT_FALSE(array.Get("Gain")->IsPersistent());
    // a command has no value to keep, whatever its description says
    EXPECT_TRUE(array.Get("Reset")->IsStreamable());
    EXPECT_FALSE(array.Get("Reset")->IsPersistent());
    port.open = false;
    EXPECT_FALSE(width.IsAvailable());
    EXPECT_FALSE(width.IsPersistent());
    const PvGenType types[] = {PvGenTypeString,   PvGenTypeCommand, PvGenTypeFloat, PvGenTypeBoolean,
                               PvGenTypeRegister, PvGenTypeInteger, PvGenTypeEnum};
    for (std::uint32_t i = 0; i < array.GetCount(); ++i) {
        EXPECT_EQ(value_of(*array.Get(i), &PvGenParameter::GetType), types[i]);
    }
}

TEST_F(Array, ListsSelectedAndSelectingParameters)
{
    PvGenParameterList list;
    list.Add(nullptr);
    EXPECT_TRUE(array.Get("Format")->GetSelectedParameters(list).IsOK());
    ASSERT_EQ(list.GetSize(), 1U);  // the register that is selected as well is no parameter
    EXPECT_EQ(list.GetItem(0), array.Get("Gain"));
    EXPECT_TRUE(array.Get("Gain")->GetSelectingParameters(list).IsOK());
    ASSERT_EQ(list.GetSize(), 1U);
    EXPECT_EQ(list.GetFirst(), array.Get("Format"));
    EXPECT_EQ(list.GetNext(), nullptr);
    EXPECT_TRUE(array.Get("Gain")->GetSelectedParameters(list).IsOK());
    EXPECT_EQ(list.GetSize(), 0U);
    EXPECT_EQ(list.GetFirst(), nullptr);
    EXPECT_EQ(list.GetItem(0), nullptr);
    EXPECT_TRUE(value_of(*array.Get("Format"), &PvGenParameter::IsSelector));
    EXPECT_FALSE(value_of(*array.Get("Gain"), &PvGenParameter::IsSelector));
}

TEST_F(Array, ReadsAndWritesByName)
{
    std::int64_t integer = 0;
    EXPECT_TRUE(array.GetIntegerValue("Width", integer).IsOK());
    EXPECT_EQ(integer, 640);
    EXPECT_TRUE(array.SetIntegerValue("Width", 800).IsOK());
    EXPECT_EQ(port.get32(0), 800U);
    double floating = 0;
    EXPECT_TRUE(array.SetFloatValue("Gain", 3.5).IsOK());
    EXPECT_TRUE(array.GetFloatValue("Gain", floating).IsOK());
    EXPECT_EQ(floating, 3.5);
    PvString string;
    EXPECT_TRUE(array.GetEnumValue("Format", string).IsOK());
    EXPECT_EQ(text(string), "Mono8");
    EXPECT_TRUE(array.GetEnumValue("Format", integer).IsOK());
    EXPECT_EQ(integer, 1);
    EXPECT_TRUE(array.SetEnumValue("Format", std::int64_t{1}).IsOK());
    EXPECT_TRUE(array.SetEnumValue("Format", PvString("Mono8")).IsOK());
    bool boolean = false;
    EXPECT_TRUE(array.SetBooleanValue("Flip", true).IsOK());
    EXPECT_TRUE(array.GetBooleanValue("Flip", boolean).IsOK());
    EXPECT_TRUE(boolean);
    EXPECT_TRUE(array.SetString("Name", "other").IsOK());
    EXPECT_TRUE(array.GetString("Name", string).IsOK());
    EXPECT_EQ(text(string), "other");
    EXPECT_TRUE(array.ExecuteCommand("Reset").IsOK());
    EXPECT_EQ(port.get32(8), 1U);
}

TEST_F(Array, WritesWellFormedTextToTheDevice)
{
    const wchar_t half[] = {L'c', static_cast<wchar_t>(0xD83D), 0};
    PvString string;
    EXPECT_TRUE(array.SetString("Name", half).IsOK());
    EXPECT_TRUE(array.GetString("Name", string).IsOK());
    EXPECT_EQ(text(string), "c\xEF\xBF\xBD");
    EXPECT_TRUE(array.Get("Name")->FromString(half).IsOK());
    EXPECT_TRUE(array.GetString("Name", string).IsOK());
    EXPECT_EQ(text(string), "c\xEF\xBF\xBD");
}

TEST_F(Array, ReportsMissingNamesWrongTypesAndBadValues)
{
    std::int64_t integer = 7;
    PvResult result = array.GetIntegerValue("Wide", integer);
    EXPECT_EQ(result.GetCode(), PvResult::NotFound);
    EXPECT_EQ(description_of(result), "There is no parameter named \"Wide\"");
    EXPECT_EQ(integer, 7);
    result = array.GetIntegerValue("Gain", integer);
    EXPECT_EQ(result.GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(description_of(result), "Gain is not an integer parameter");
    result = array.SetIntegerValue("Width", 4097);
    EXPECT_EQ(result.GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(description_of(result), "Width: 4097 is above its maximum of 4096");
    result = array.SetEnumValue("Format", "Mono12");
    EXPECT_EQ(result.GetCode(), PvResult::StateError);
    EXPECT_EQ(description_of(result), "Format: Mono12 is not available at present");
    port.failure = "the camera did not answer";
    result = array.GetEnumValue("Format", integer);
    EXPECT_EQ(result.GetCode(), PvResult::NetworkError);
    EXPECT_EQ(description_of(result), "Format cannot be read: the camera did not answer");
    EXPECT_EQ(array.ExecuteCommand("Width").GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(array.GetString("Nothing", *std::make_unique<PvString>()).GetCode(), PvResult::NotFound);
}

TEST_F(Array, RemembersTheLastErrorOfAParameter)
{
    PvGenInteger& width = *array.GetInteger("Width");
    EXPECT_EQ(text(width.GetLastErrorMsg()), "");
    EXPECT_TRUE(width.SetValue(4097).IsFailure());
    EXPECT_EQ(text(width.GetLastErrorMsg()), "Width: 4097 is above its maximum of 4096");
    EXPECT_TRUE(width.SetValue(400).IsOK());
    EXPECT_EQ(text(width.GetLastErrorMsg()), "Width: 4097 is above its maximum of 4096");
    EXPECT_EQ(text(array.Get("Gain")->GetLastErrorMsg()), "");
}

TEST_F(Array, ForgetsWhatIsCachedOnRequest)
{
    std::int64_t integer = 0;
    EXPECT_TRUE(array.GetIntegerValue("Width", integer).IsOK());
    EXPECT_TRUE(array.Get("Width")->IsValueCached());
    port.set32(0, 320);
    EXPECT_TRUE(array.InvalidateCache().IsOK());
    EXPECT_TRUE(array.GetIntegerValue("Width", integer).IsOK());
    EXPECT_EQ(integer, 320);
}

TEST_F(Array, GivesIntegersAndFloatsTheirLimits)
{
    PvGenInteger& width = *array.GetInteger("Width");
    EXPECT_EQ(value_of(width, &PvGenInteger::GetMin), 16);
    EXPECT_EQ(value_of(width, &PvGenInteger::GetMax), 4096);
    EXPECT_EQ(value_of(width, &PvGenInteger::GetIncrement), 4);
    EXPECT_EQ(value_of(width, &PvGenInteger::GetRepresentation), PvGenRepresentationLinear);
    EXPECT_EQ(text(value_of(width, &PvGenInteger::GetUnit)), "px");
    PvGenFloat& gain = *array.GetFloat("Gain");
    EXPECT_EQ(value_of(gain, &PvGenFloat::GetMin), 0.0);
    EXPECT_EQ(value_of(gain, &PvGenFloat::GetMax), 24.0);
    EXPECT_EQ(value_of(gain, &PvGenFloat::GetValue), 1.5);
    EXPECT_EQ(value_of(gain, &PvGenFloat::GetRepresentation), PvGenRepresentationLogarithmic);
    EXPECT_EQ(text(value_of(gain, &PvGenFloat::GetUnit)), "dB");
}

TEST_F(Array, GivesEnumerationsTheirEntries)
{
    PvGenEnum& format = *array.GetEnum("Format");
    EXPECT_EQ(value_of(format, &PvGenEnum::GetEntriesCount), 2);
    const PvGenEnumEntry* entry = nullptr;
    EXPECT_TRUE(format.GetEntryByName("Mono12", &entry).IsOK());
    const PvGenEnumEntry* same = nullptr;
    EXPECT_TRUE(format.GetEntryByIndex(1, &same).IsOK());
    EXPECT_EQ(entry, same);
    EXPECT_TRUE(format.GetEntryByValue(5, &same).IsOK());
    EXPECT_EQ(entry, same);
    EXPECT_EQ(value_of(*entry, &PvGenEnumEntry::GetValue), 5);
    EXPECT_EQ(text(value_of(*entry, &PvGenEnumEntry::GetName)), "Mono12");
    EXPECT_EQ(value_of(*entry, &PvGenEnumEntry::GetVisibility), PvGenVisibilityExpert);
    EXPECT_EQ(value_of(*entry, &PvGenEnumEntry::GetNameSpace), PvGenNameSpaceStandard);
    EXPECT_FALSE(entry->IsAvailable());
    EXPECT_FALSE(entry->IsVisible(PvGenVisibilityBeginner));
    EXPECT_TRUE(format.GetEntryByIndex(0, &entry).IsOK());
    EXPECT_TRUE(entry->IsAvailable());
    EXPECT_EQ(text(value_of(*entry, &PvGenEnumEntry::GetDisplayName)), "Mono 8");
    EXPECT_EQ(text(value_of(*entry, &PvGenEnumEntry::GetToolTip)), "t");
    EXPECT_EQ(text(value_of(*entry, &PvGenEnumEntry::GetDescription)), "d");
    const PvGenEnumEntry* none = nullptr;
    EXPECT_EQ(format.GetEntryByName("Mono16", &none).GetCode(), PvResult::NotFound);
    EXPECT_EQ(format.GetEntryByIndex(2, &none).GetCode(), PvResult::NotFound);
    EXPECT_EQ(format.GetEntryByIndex(-1, &none).GetCode(), PvResult::NotFound);
    EXPECT_EQ(format.GetEntryByValue(9, &none).GetCode(), PvResult::NotFound);
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(text(format.GetLastErrorMsg()), "Format has no entry with the value 9");
}

TEST_F(Array, MovesRegistersAndText)
{
    PvGenRegister& table = *array.GetRegister("Table");
    EXPECT_EQ(value_of(table, &PvGenRegister::GetLength), 4);
    const std::uint8_t in[] = {1, 2, 3, 4, 5};
    std::uint8_t out[5] = {};
    EXPECT_TRUE(table.Set(in, 4).IsOK());
    EXPECT_TRUE(table.Get(out, 4).IsOK());
    EXPECT_EQ(out[3], 4);
    EXPECT_EQ(table.Get(out, 5).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(table.Set(in, 5).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(table.Set(nullptr, 4).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(table.Set(in, -1).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(table.Get(out, -1).GetCode(), PvResult::InvalidParameter);
    PvString string;
    EXPECT_TRUE(table.ToString(string).IsOK());
    EXPECT_EQ(text(string), "01020304");
    EXPECT_TRUE(array.Get("Width")->FromString("0x100").IsOK());
    EXPECT_EQ(port.get32(0), 256U);
    EXPECT_EQ(array.Get("Width")->FromString("wide").GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(value_of(*array.GetString("Name"), &PvGenString::GetMaxLength), 65535);
    bool done = true;
    EXPECT_TRUE(array.GetCommand("Reset")->Execute().IsOK());
    EXPECT_TRUE(array.GetCommand("Reset")->IsDone(done).IsOK());
    EXPECT_FALSE(done);
}

TEST_F(Array, KeepsASinkAliveUntilItIsUnregistered)
{
    PvGenParameter& width = *array.Get("Width");
    auto sink = std::make_shared<CountingSink>();
    CountingSink* const listening = sink.get();
    const std::weak_ptr<CountingSink> life = sink;
    EXPECT_TRUE(width.KeepEventSink(sink).IsOK());
    EXPECT_EQ(width.KeepEventSink(sink).GetCode(), PvResult::StateError);
    EXPECT_EQ(width.KeepEventSink(nullptr).GetCode(), PvResult::InvalidParameter);
    sink.reset();
    EXPECT_TRUE(array.SetIntegerValue("Width", 320).IsOK());
    EXPECT_EQ(listening->count, 1);
    // unregistered in its own call it still lives to the end of that
    bool alive_in_call = false;
    listening->action = [&] {
        EXPECT_TRUE(width.UnregisterEventSink(listening).IsOK());
        alive_in_call = !life.expired();
    };
    EXPECT_TRUE(array.SetIntegerValue("Width", 324).IsOK());
    EXPECT_TRUE(alive_in_call);
    EXPECT_TRUE(life.expired());
    EXPECT_TRUE(array.SetIntegerValue("Width", 320).IsOK());
}

TEST_F(Array, TellsEventSinksOnceForEveryChange)
{
    PvGenParameter& width = *array.Get("Width");
    CountingSink first;
    CountingSink second;
    EXPECT_TRUE(width.RegisterEventSink(&first).IsOK());
    EXPECT_TRUE(width.RegisterEventSink(&second).IsOK());
    EXPECT_EQ(width.RegisterEventSink(&second).GetCode(), PvResult::StateError);
    EXPECT_EQ(width.RegisterEventSink(nullptr).GetCode(), PvResult::InvalidParameter);
    EXPECT_TRUE(array.SetIntegerValue("Width", 400).IsOK());
    EXPECT_EQ(first.count, 1);
    EXPECT_EQ(second.count, 1);
    EXPECT_EQ(first.last, &width);
    EXPECT_TRUE(width.UnregisterEventSink(&first).IsOK());
    EXPECT_EQ(width.UnregisterEventSink(&first).GetCode(), PvResult::NotFound);
    EXPECT_TRUE(array.SetIntegerValue("Width", 404).IsOK());
    EXPECT_EQ(first.count, 1);
    EXPECT_EQ(second.count, 2);
}

TEST_F(Array, LetsASinkUseTheArrayAndTakeOthersAway)
{
    PvGenParameter& width = *array.Get("Width");
    CountingSink first;
    CountingSink second;
    std::int64_t seen = 0;
    first.action = [&] {
        static_cast<void>(array.GetIntegerValue("Width", seen));
        static_cast<void>(width.UnregisterEventSink(&second));
        throw std::runtime_error("no matter");
    };
    EXPECT_TRUE(width.RegisterEventSink(&first).IsOK());
    EXPECT_TRUE(width.RegisterEventSink(&second).IsOK());
    EXPECT_TRUE(array.SetIntegerValue("Width", 400).IsOK());
    EXPECT_EQ(seen, 400);
    EXPECT_EQ(first.count, 1);
    EXPECT_EQ(second.count, 0);
}

TEST(ArrayEnd, CallsNoSinkThatMayBeGoneAlready)
{
    MemoryPort port;
    auto array = std::make_unique<PvGenParameterArray>(GenApi::load_node_map(description(body), port));
    CountingSink sink;
    EXPECT_TRUE(array->Get("Width")->RegisterEventSink(&sink).IsOK());
    EXPECT_TRUE(array->Get("Format")->RegisterEventSink(&sink).IsOK());
    EXPECT_TRUE(array->Get("Width")->IsReadable());
    // a device that disconnects closes its port first
    port.open = false;
    array.reset();
    EXPECT_EQ(sink.count, 0);
}

TEST(EmptyArray, HasNothing)
{
    struct Unbuilt : PvGenParameterArray {};
    Unbuilt array;
    EXPECT_EQ(array.GetCount(), 0U);
    EXPECT_EQ(array.GetCategoryCount(), 0U);
    EXPECT_EQ(array.GetNodeMap(), nullptr);
    EXPECT_EQ(array.Get("X"), nullptr);
    EXPECT_EQ(array.Get(0), nullptr);
    EXPECT_EQ(array.GetCategory("Root"), nullptr);
    std::int64_t value = 0;
    EXPECT_EQ(array.GetIntegerValue("X", value).GetCode(), PvResult::NotFound);
    EXPECT_EQ(array.InvalidateCache().GetCode(), PvResult::NotInitialized);
}
