// How changes reach clients: connection points, registered sinks, and what is left when objects go.
#include "tests/com/genicam/camera_parameters.h"

#include <atomic>
#include <thread>

using namespace vex;

namespace client {
namespace {

class ParameterEvents : public ParameterTest {
protected:
    void write_width(__int64 value)
    {
        Ref<IVexResult> result;
        ASSERT_EQ(array->SetIntegerValue(Text(L"Width"), value, result.put()), S_OK);
        ASSERT_EQ(code_of(result), VexOK);
    }

    ClientSink sink;
    ClientSink other_sink;
};

TEST_F(ParameterEvents, ShowADifferentObjectOfTheSameKindAndParameter)
{
    const Ref<IVexGenInteger> width = integer(L"Width");
    ASSERT_EQ(width->RegisterEventSink(&sink), S_OK);
    write_width(320);
    ASSERT_EQ(sink.shown.size(), 1u);
    const Ref<IVexGenInteger> shown = query<IVexGenInteger>(sink.shown[0].get());
    ASSERT_TRUE(shown);
    EXPECT_NE(shown.get(), width.get());
    EXPECT_EQ(read(shown, &IVexGenInteger::get_Node), read(width, &IVexGenInteger::get_Node));
    EXPECT_EQ(read(shown, &IVexGenInteger::get_Value), 320);
    EXPECT_EQ(sink.references(), 1u) << "a registered sink is not referenced";
}

TEST_F(ParameterEvents, LeaveTheShownObjectAlive)
{
    ASSERT_EQ(integer(L"Width")->RegisterEventSink(&sink), S_OK);
    write_width(320);
    write_width(328);
    ASSERT_EQ(sink.shown.size(), 2u);
    EXPECT_NE(sink.shown[0].get(), sink.shown[1].get());
    // the sink's reference, and the one that is never given back
    EXPECT_EQ(references(sink.shown[0].get()), 2u);
}

TEST_F(ParameterEvents, LeaveNothingAliveWhenNobodySeesThem)
{
    const Ref<IVexGenInteger> width = integer(L"Width");
    write_width(320);
    const LONG objects = server::module().lock_count();
    for (int i = 0; i < 100; ++i) {
        write_width(320 + i % 2 * 8);
    }
    EXPECT_EQ(server::module().lock_count(), objects);
    ASSERT_EQ(width->RegisterEventSink(&sink), S_OK);
    write_width(320);
    EXPECT_EQ(sink.shown.size(), 1u);
}

TEST_F(ParameterEvents, DoNotCountTheShownObjectAsAListener)
{
    ASSERT_EQ(integer(L"Width")->RegisterEventSink(&sink), S_OK);
    write_width(320);
    ASSERT_EQ(sink.shown.size(), 1u);
    ASSERT_EQ(sink.shown[0]->RegisterEventSink(&other_sink), S_OK);
    write_width(328);
    EXPECT_EQ(sink.shown.size(), 2u);
    EXPECT_TRUE(other_sink.shown.empty());
}

TEST_F(ParameterEvents, GoToTheSinkRegisteredLast)
{
    const Ref<IVexGenInteger> width = integer(L"Width");
    ASSERT_EQ(width->RegisterEventSink(&sink), S_OK);
    ASSERT_EQ(width->RegisterEventSink(&other_sink), S_OK);
    write_width(320);
    EXPECT_TRUE(sink.shown.empty());
    EXPECT_EQ(other_sink.shown.size(), 1u);
}

TEST_F(ParameterEvents, EndWhenAnySinkIsUnregistered)
{
    const Ref<IVexGenInteger> width = integer(L"Width");
    ASSERT_EQ(width->RegisterEventSink(&sink), S_OK);
    ASSERT_EQ(width->UnregisterEventSink(&other_sink), S_OK);
    write_width(320);
    EXPECT_TRUE(sink.shown.empty());

    ASSERT_EQ(width->RegisterEventSink(&sink), S_OK);
    ASSERT_EQ(width->UnregisterEventSink(nullptr), S_OK);
    write_width(328);
    EXPECT_TRUE(sink.shown.empty());
}

TEST_F(ParameterEvents, ReachConnectionPointsBeforeTheRegisteredSink)
{
    const Ref<IVexGenInteger> width = integer(L"Width");
    std::vector<IDispatch*> shown;
    bool first = false;
    const Ref<Sink> connected =
        Sink::create(__uuidof(_IVexGenParameterEvents), [&](DISPID event, const DISPPARAMS& parameters) {
            EXPECT_EQ(event, 1);
            EXPECT_EQ(parameters.cArgs, 1u);
            EXPECT_EQ(parameters.rgvarg[0].vt, VT_DISPATCH);
            shown.push_back(parameters.rgvarg[0].pdispVal);
            first = sink.shown.empty();
            return S_OK;
        });
    const DWORD cookie = advise(width.get(), __uuidof(_IVexGenParameterEvents), connected.get());
    ASSERT_NE(cookie, 0u);
    ASSERT_EQ(width->RegisterEventSink(&sink), S_OK);

    write_width(320);
    ASSERT_EQ(shown.size(), 1u);
    ASSERT_EQ(sink.shown.size(), 1u);
    EXPECT_TRUE(first);
    EXPECT_EQ(shown[0], static_cast<IDispatch*>(sink.shown[0].get()));

    ASSERT_EQ(unadvise(width.get(), __uuidof(_IVexGenParameterEvents), cookie), S_OK);
    write_width(328);
    EXPECT_EQ(shown.size(), 1u);
    EXPECT_EQ(sink.shown.size(), 2u);
}

TEST_F(ParameterEvents, ReachTheObjectsByNameAndByIndex)
{
    Ref<IVexGenParameter> indexed;
    ASSERT_EQ(array->GetByIndex(0, indexed.put()), S_OK);
    ASSERT_EQ(indexed->RegisterEventSink(&sink), S_OK);
    ASSERT_EQ(integer(L"Width")->RegisterEventSink(&other_sink), S_OK);
    write_width(320);
    EXPECT_EQ(sink.shown.size(), 1u);
    EXPECT_EQ(other_sink.shown.size(), 1u);
}

TEST_F(ParameterEvents, KeepComingFromTheFirstParameterAfterAnotherArrayIsAttached)
{
    const Ref<IVexGenFloat> gain = floating(L"Gain");
    ASSERT_EQ(gain->RegisterEventSink(&sink), S_OK);
    const CameraParameters other(other_description());
    implementation->AttachSdkObject(other.array.get());
    ASSERT_EQ(floating(L"Gain").get(), gain.get());

    ASSERT_TRUE(other.array->SetFloatValue("Gain", 1).IsOK());
    EXPECT_TRUE(sink.shown.empty());
    ASSERT_TRUE(camera.array->SetFloatValue("Gain", 1).IsOK());
    EXPECT_EQ(sink.shown.size(), 1u);
    implementation->AttachSdkObject(nullptr);
}

TEST_F(ParameterEvents, StopWhenTheObjectIsReleased)
{
    Ref<IVexGenParameterList> list;
    ASSERT_EQ(by_name(L"GainSelector")->get_SelectedParameters(list.put()), S_OK);
    Ref<IVexGenParameter> fresh;
    ASSERT_EQ(list->GetFirst(fresh.put()), S_OK);
    ASSERT_EQ(fresh->RegisterEventSink(&sink), S_OK);
    ASSERT_TRUE(camera.array->SetFloatValue("Gain", 1).IsOK());
    EXPECT_EQ(sink.shown.size(), 1u);
    fresh.reset();
    ASSERT_TRUE(camera.array->SetFloatValue("Gain", 2).IsOK());
    EXPECT_EQ(sink.shown.size(), 1u);
}

TEST_F(ParameterEvents, SurviveAnObjectThatIsReleasedWhileTheyAreFired)
{
    Ref<IVexGenParameterList> list;
    ASSERT_EQ(by_name(L"GainSelector")->get_SelectedParameters(list.put()), S_OK);
    Ref<IVexGenParameter> fresh;
    ASSERT_EQ(list->GetFirst(fresh.put()), S_OK);
    int fired = 0;
    const Ref<Sink> connected = Sink::create(__uuidof(_IVexGenParameterEvents), [&](DISPID, const DISPPARAMS&) {
        ++fired;
        fresh.reset();
        return S_OK;
    });
    ASSERT_NE(advise(fresh.get(), __uuidof(_IVexGenParameterEvents), connected.get()), 0u);
    ASSERT_TRUE(camera.array->SetFloatValue("Gain", 1).IsOK());
    EXPECT_EQ(fired, 1);
    EXPECT_EQ(connected->references(), 1u) << "the object is gone and has let go of its sink";
    ASSERT_TRUE(camera.array->SetFloatValue("Gain", 2).IsOK());
    EXPECT_EQ(fired, 1);
}

TEST_F(ParameterEvents, SurviveTheEndOfTheArray)
{
    const Ref<IVexGenEnum> format = enumeration(L"PixelFormat");
    ASSERT_EQ(format->RegisterEventSink(&sink), S_OK);
    Ref<IVexGenEnumEntry> entry;
    Ref<IVexResult> result;
    ASSERT_EQ(format->GetEntryByIndex(0, entry.put(), result.put()), S_OK);
    camera.array.reset();

    __int64 value = 0;
    EXPECT_EQ(format->get_ValueInt(&value), E_POINTER);
    EXPECT_EQ(entry->get_Value(&value), E_POINTER);
    EXPECT_TRUE(sink.shown.empty());

    // the object serves another array's parameter; that it has once listened is not undone
    const CameraParameters other;
    implementation->AttachSdkObject(other.array.get());
    ASSERT_EQ(enumeration(L"PixelFormat").get(), format.get());
    EXPECT_EQ(read(format, &IVexGenEnum::get_ValueInt), 17301505);
    ASSERT_TRUE(other.array->SetEnumValue("PixelFormat", PvString("Mono16")).IsOK());
    EXPECT_TRUE(sink.shown.empty());
    implementation->AttachSdkObject(nullptr);
}

TEST_F(ParameterEvents, MayComeFromAnotherThreadWhileObjectsAreReleased)
{
    std::atomic<bool> done{false};
    std::thread device([&] {
        for (std::int64_t value = 0; !done; ++value) {
            camera.array->SetFloatValue("Gain", static_cast<double>(value % 16));
        }
    });
    Ref<IVexGenParameterList> list;
    EXPECT_EQ(by_name(L"GainSelector")->get_SelectedParameters(list.put()), S_OK);
    for (int i = 0; i < 500; ++i) {
        Ref<IVexGenParameter> fresh;
        EXPECT_EQ(list->GetFirst(fresh.put()), S_OK);
        EXPECT_TRUE(fresh);
    }
    done = true;
    device.join();
}

}  // namespace
}  // namespace client
