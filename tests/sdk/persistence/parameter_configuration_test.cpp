// Parameter arrays and streams through a file.
#include <optional>

#include "sdk/genapi/errors.h"
#include "sdk/genapi/node_map.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/genicam/software_parameters.h"
#include "sdk/stream/PvStream.h"
#include "tests/sdk/persistence/configuration_files.h"

using namespace vex;

namespace {

using namespace configuration_test;

/// An array with two settings, one of which refuses what is larger than the other, and a figure.
class ParameterFile : public Files {
protected:
    ParameterFile()
    {
        SoftwareParameters parameters("Test");
        SoftwareInteger small;
        small.name = "Small";
        small.streamable = true;
        small.get = [this] { return small_; };
        small.set = [this](std::int64_t value) {
            if (value > large_) {
                return PvResult(PvResult::InvalidParameter, "It is larger than Large");
            }
            small_ = value;
            return PvResult();
        };
        parameters.add(small);
        SoftwareInteger large;
        large.name = "Large";
        large.streamable = true;
        large.max = 1000;
        large.get = [this] { return large_; };
        large.set = [this](std::int64_t value) {
            if (value > most_) {
                return PvResult(PvResult::InvalidParameter, "It does not fit");
            }
            large_ = value;
            return PvResult();
        };
        parameters.add(large);
        SoftwareInteger locked;
        locked.name = "TLParamsLocked";
        locked.get = [this] { return locked_; };
        parameters.add(locked);
        array = parameters.build();
    }

    void set(std::int64_t small, std::int64_t large)
    {
        small_ = small;
        large_ = large;
        array->InvalidateCache();
    }

    std::int64_t small_ = 1;
    std::int64_t large_ = 2;
    std::int64_t most_ = 1000;
    std::int64_t locked_ = 0;
    std::unique_ptr<SoftwareParameterArray> array;
};

TEST_F(ParameterFile, BringsPersistentParametersBackInAnOrderThatWorks)
{
    set(500, 600);
    ASSERT_TRUE(writer.Store(array.get(), PvString("p")).IsOK());
    set(1, 2);
    save_and_load();
    EXPECT_EQ(get().find("TLParamsLocked"), std::string::npos) << "a figure is no setting";
    ASSERT_EQ(reader.GetGenParameterArrayCount(), 1U);
    const PvResult restored = reader.Restore(PvString("p"), *array);
    EXPECT_TRUE(restored.IsOK()) << restored.description();
    EXPECT_EQ(small_, 500);
    EXPECT_EQ(large_, 600);
    set(1, 2);
    EXPECT_TRUE(reader.Restore(0, *array).IsOK());
    EXPECT_EQ(small_, 500);
    PvString name;
    EXPECT_TRUE(reader.GetGenParameterArrayName(0, name).IsOK());
    EXPECT_EQ(name, PvString("p"));
}

TEST_F(ParameterFile, ListsWhatCannotBeSetAndSetsTheRest)
{
    put("<configuration version='1'><parameters name='p'><feature name='Other' value='7'>"
        "<for selector='OtherSelector' value='A'/></feature><feature name='Large' value='900'/>"
        "<feature name='Other' value='8'><for selector='OtherSelector' value='B'/></feature>"
        "<feature name='Small' value='20'/></parameters></configuration>");
    ASSERT_TRUE(reader.Load(name()).IsOK());
    most_ = 100;
    large_ = 50;
    PvStringList errors;
    reader.SetErrorList(&errors, PvString("Left"));
    const PvResult restored = reader.Restore(PvString("p"), *array);
    EXPECT_EQ(restored.GetCode(), PvResult::GenericError) << restored.description();
    EXPECT_EQ(small_, 20);
    EXPECT_EQ(lines(errors), "Left: Large = 900: Large cannot be written: It does not fit\n"
                             "Left: Other (OtherSelector A) = 7: There is no parameter named \"Other\"\n"
                             "Left: Other (OtherSelector B) = 8: There is no parameter named \"Other\"\n");
    reader.SetErrorList(&errors, PvString());
    errors.Clear();
    static_cast<void>(reader.Restore(PvString("p"), *array));
    EXPECT_TRUE(lines(errors).starts_with("Large = 900: ")) << lines(errors);
}

TEST_F(ParameterFile, DropsReportsWhenTheListHasGoneOrIsTakenAway)
{
    put("<configuration version='1'><parameters name='p'><feature name='Other' value='7'/></parameters>"
        "</configuration>");
    ASSERT_TRUE(reader.Load(name()).IsOK());
    auto errors = std::make_unique<PvStringList>();
    reader.SetErrorList(errors.get(), PvString());
    errors.reset();
    EXPECT_EQ(reader.Restore(PvString("p"), *array).GetCode(), PvResult::GenericError);
    PvStringList other;
    reader.SetErrorList(&other, PvString());
    reader.SetErrorList(nullptr, PvString());
    EXPECT_EQ(reader.Restore(PvString("p"), *array).GetCode(), PvResult::GenericError);
    EXPECT_EQ(other.GetSize(), 0U);
}

TEST_F(ParameterFile, ChangesNothingWhileAnAcquisitionRuns)
{
    ASSERT_TRUE(writer.Store(array.get(), PvString("p")).IsOK());
    set(5, 6);
    locked_ = 1;
    array->InvalidateCache();
    save_and_load();
    EXPECT_EQ(reader.Restore(PvString("p"), *array).GetCode(), PvResult::StateError);
    EXPECT_EQ(small_, 5);
    locked_ = 0;
    array->InvalidateCache();
    EXPECT_TRUE(reader.Restore(PvString("p"), *array).IsOK());
    EXPECT_EQ(small_, 1);
}

TEST_F(ParameterFile, MayBeLoadedAnewByACallbackOfARestore)
{
    struct Sink : PvGenEventSink {
        void OnParameterUpdate(PvGenParameter* /*parameter*/) override { on_update(); }
        std::function<void()> on_update;
    } sink;
    ASSERT_TRUE(writer.Store(array.get(), PvString("p")).IsOK());
    save_and_load();
    set(3, 4);
    auto own = std::make_unique<PvConfigurationReader>();
    ASSERT_TRUE(own->Load(name()).IsOK());
    sink.on_update = [&] { own.reset(); };
    array->Get(PvString("Large"))->RegisterEventSink(&sink);
    EXPECT_TRUE(own->Restore(PvString("p"), *array).IsOK());
    EXPECT_EQ(own, nullptr);
    EXPECT_EQ(large_, 2);
    array->Get(PvString("Large"))->UnregisterEventSink(&sink);
}

TEST_F(ParameterFile, ListsWhatCannotBeStoredAndStoresTheRest)
{
    SoftwareParameters parameters("Test");
    SoftwareInteger broken;
    broken.name = "Broken";
    broken.streamable = true;
    broken.get = []() -> std::int64_t { throw GenApi::Error(PvResult::GenericError, "It does not answer"); };
    broken.set = [](std::int64_t) { return PvResult(); };
    parameters.add(broken);
    SoftwareInteger sound;
    sound.name = "Sound";
    sound.streamable = true;
    sound.get = [] { return 7; };
    sound.set = [](std::int64_t) { return PvResult(); };
    parameters.add(sound);
    const auto partly = parameters.build();
    PvStringList errors;
    writer.SetErrorList(&errors, PvString("w"));
    const PvResult stored = writer.Store(partly.get(), PvString("p"));
    EXPECT_TRUE(stored.IsOK());
    EXPECT_EQ(errors.GetSize(), 1U);
    EXPECT_TRUE(lines(errors).starts_with("w: Broken: ")) << lines(errors);
    EXPECT_TRUE(stored.description().starts_with("1 setting was passed over: ")) << stored.description();
    ASSERT_TRUE(writer.Save(name()).IsOK());
    EXPECT_NE(get().find("name=\"Sound\" value=\"7\""), std::string::npos);
    EXPECT_EQ(get().find("Broken"), std::string::npos);
}

class EmptyArray : public PvGenParameterArray {
public:
    EmptyArray() = default;
};

TEST_F(ParameterFile, NeedsAnArrayThatWasBuilt)
{
    EmptyArray empty;
    EXPECT_EQ(writer.Store(&empty, PvString("e")).GetCode(), PvResult::NotInitialized);
    put("<configuration version='1'><parameters/></configuration>");
    ASSERT_TRUE(reader.Load(name()).IsOK());
    EXPECT_EQ(reader.Restore(PvString(), empty).GetCode(), PvResult::NotInitialized);
    ASSERT_TRUE(writer.Save(name()).IsOK());
    EXPECT_EQ(get().find("parameters"), std::string::npos) << "nothing is stored by a failed Store";
}

using StreamFile = Files;

TEST_F(StreamFile, BringsTheSettingsOfAStreamBackThatIsClosed)
{
    PvStream stream;
    PvGenParameterArray& parameters = *stream.GetParameters();
    PvGenInteger* number = nullptr;  // a setting that can be changed to its least value
    std::int64_t before = 0;
    std::int64_t least = 0;
    for (std::uint32_t i = 0; i < parameters.GetCount() && before == least; ++i) {
        PvString name;
        parameters.Get(i)->GetName(name);
        number = parameters.Get(i)->IsStreamable() ? parameters.GetInteger(name) : nullptr;
        if (number != nullptr) {
            ASSERT_TRUE(number->GetValue(before).IsOK());
            ASSERT_TRUE(number->GetMin(least).IsOK());
        }
    }
    ASSERT_NE(before, least);
    ASSERT_TRUE(writer.Store(&stream, PvString("s")).IsOK());
    save_and_load();
    ASSERT_TRUE(number->SetValue(least).IsOK());
    ASSERT_EQ(reader.GetStreamCount(), 1U);
    const PvResult restored = reader.Restore(PvString("s"), stream);
    EXPECT_TRUE(restored.IsOK()) << restored.description();
    std::int64_t after = 0;
    ASSERT_TRUE(number->GetValue(after).IsOK());
    EXPECT_EQ(after, before);
    ASSERT_TRUE(number->SetValue(least).IsOK());
    EXPECT_TRUE(reader.Restore(0, stream).IsOK());
    ASSERT_TRUE(number->GetValue(after).IsOK());
    EXPECT_EQ(after, before);
    PvString name;
    EXPECT_TRUE(reader.GetStreamName(0, name).IsOK());
    EXPECT_EQ(name, PvString("s"));
}

}  // namespace
