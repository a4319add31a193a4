// Change events of a camera's features: several kinds of sinks at once, on a live connection.
#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>

#include "tests/com/genicam/feature_camera.h"

namespace client {
namespace {

const IID events = __uuidof(_IVexGenParameterEvents);

class FeatureEvents : public SoftwareCameraTest {
protected:
    /// What sinks do in a call uses the test's own objects, which are gone when it disconnects.
    void TearDown() override
    {
        is_over = true;
        SoftwareCameraTest::TearDown();
    }

    /// Who was called, and what with, in order.
    struct Told {
        std::string who;
        Ref<IDispatch> object;
    };
    Ref<Sink> sink_named(const std::string& who, std::function<void()> then = {})
    {
        return Sink::create(events, [this, who, then](DISPID event, const DISPPARAMS& parameters) {
            EXPECT_EQ(event, 1);
            EXPECT_EQ(parameters.cArgs, 1U);
            EXPECT_EQ(parameters.rgvarg[0].vt, VT_DISPATCH);
            note(who, parameters.rgvarg[0].pdispVal);
            if (then && !is_over) {
                then();
            }
            return S_OK;
        });
    }
    void note(const std::string& who, IDispatch* object) { told.push_back({who, Ref<IDispatch>(object)}); }
    [[nodiscard]] std::string order() const
    {
        std::string names;
        for (const Told& one : told) {
            names += one.who;
        }
        return names;
    }
    void write(const wchar_t* name, __int64 value)
    {
        Ref<IVexResult> result;
        ASSERT_EQ(array->SetIntegerValue(Text(name), value, result.put()), S_OK);
        ASSERT_EQ(code_of(result), VexOK) << read_text(result, &IVexResult::get_Description).c_str();
    }

    /// A client's sink that notes its calls with those of the connection points.
    class NotingSink final : public ClientSink {
    public:
        explicit NotingSink(FeatureEvents& test) : test_(test) {}
        HRESULT STDMETHODCALLTYPE OnParameterUpdate(IVexGenParameter* aParameter) override
        {
            test_.note("c", aParameter);
            return ClientSink::OnParameterUpdate(aParameter);
        }

    private:
        FeatureEvents& test_;
    };

    bool is_over = false;
    std::vector<Told> told;
    NotingSink client_sink{*this};
};

TEST_F(FeatureEvents, ReachTwoConnectionsInOrderAndThenTheClientsSinkOncePerChange)
{
    const Ref<IVexGenInteger> width = integer(L"Width");
    const Ref<Sink> a = sink_named("a");
    const Ref<Sink> b = sink_named("b");
    ASSERT_EQ(width->RegisterEventSink(&client_sink), S_OK);
    const DWORD cookie_a = advise(width.get(), events, a.get());
    const DWORD cookie_b = advise(width.get(), events, b.get());
    ASSERT_TRUE(cookie_a != 0 && cookie_b != 0);

    write(L"Width", 320);
    EXPECT_EQ(order(), "abc");
    EXPECT_EQ(width->put_Value(336), S_OK);
    EXPECT_EQ(order(), "abcabc") << "whichever way it is changed";
    ASSERT_EQ(told.size(), 6U);
    // one fresh object for all sinks of a change, and another for the next
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(told[i].object.get(), told[i / 3 * 3].object.get()) << i;
        const Ref<IVexGenInteger> shown = query<IVexGenInteger>(told[i].object.get());
        ASSERT_TRUE(shown);
        EXPECT_NE(shown.get(), width.get());
        EXPECT_EQ(read(shown, &IVexGenInteger::get_Node), read(width, &IVexGenInteger::get_Node));
        EXPECT_EQ(read(shown, &IVexGenInteger::get_Value), 336) << "it shows the parameter, not a moment";
    }
    EXPECT_NE(told[0].object.get(), told[3].object.get());
    EXPECT_EQ(a->lcid(), LOCALE_USER_DEFAULT);
    EXPECT_EQ(a->flags(), DISPATCH_METHOD);
    EXPECT_TRUE(a->came_plain());

    // a freed place is filled again by the next who comes, under a cookie of its own
    ASSERT_EQ(unadvise(width.get(), events, cookie_a), S_OK);
    const Ref<Sink> d = sink_named("d");
    const DWORD cookie_d = advise(width.get(), events, d.get());
    ASSERT_NE(cookie_d, cookie_a);
    told.clear();
    write(L"Width", 320);
    EXPECT_EQ(order(), "dbc");
    ASSERT_EQ(unadvise(width.get(), events, cookie_d), S_OK);
    ASSERT_EQ(unadvise(width.get(), events, cookie_b), S_OK);
    EXPECT_EQ(unadvise(width.get(), events, cookie_b), CONNECT_E_NOCONNECTION);
    told.clear();
    write(L"Width", 336);
    EXPECT_EQ(order(), "c");
    width->UnregisterEventSink(nullptr);
    told.clear();
    write(L"Width", 320);
    EXPECT_EQ(order(), "");
}

TEST_F(FeatureEvents, ReadsAndRefusedWritesAreNoChanges)
{
    const Ref<IVexGenInteger> width = integer(L"Width");
    ASSERT_EQ(width->RegisterEventSink(&client_sink), S_OK);
    EXPECT_GT(read(width, &IVexGenInteger::get_Value), 0);
    EXPECT_GT(read(width, &IVexGenInteger::get_Max), 0);
    EXPECT_EQ(width->put_Value(1'000'000), DISP_E_EXCEPTION);
    EXPECT_EQ(order(), "");
}

TEST_F(FeatureEvents, MayUnadviseInTheCall)
{
    const Ref<IVexGenInteger> width = integer(L"Width");
    DWORD cookie_a = 0;
    DWORD cookie_b = 0;
    const Ref<Sink> a = sink_named("a", [&] {
        // itself, the one after it and the client's sink
        EXPECT_EQ(unadvise(width.get(), events, cookie_a), S_OK);
        EXPECT_EQ(unadvise(width.get(), events, cookie_b), S_OK);
        EXPECT_EQ(width->UnregisterEventSink(nullptr), S_OK);
    });
    const Ref<Sink> b = sink_named("b");
    cookie_a = advise(width.get(), events, a.get());
    cookie_b = advise(width.get(), events, b.get());
    ASSERT_EQ(width->RegisterEventSink(&client_sink), S_OK);
    write(L"Width", 320);
    EXPECT_EQ(order(), "a");
    EXPECT_EQ(a->references(), 1U);
    EXPECT_EQ(b->references(), 1U);
    write(L"Width", 336);
    EXPECT_EQ(order(), "a");
}

TEST_F(FeatureEvents, SinkAdvisedInTheCallWaitsForTheNextChange)
{
    const Ref<IVexGenInteger> width = integer(L"Width");
    const Ref<Sink> late = sink_named("l");
    bool advised = false;
    const Ref<Sink> a = sink_named("a", [&] {
        if (!advised) {
            advised = true;
            EXPECT_NE(advise(width.get(), events, late.get()), 0U);
        }
    });
    ASSERT_NE(advise(width.get(), events, a.get()), 0U);
    write(L"Width", 320);
    EXPECT_EQ(order(), "a");
    write(L"Width", 336);
    EXPECT_EQ(order(), "aal");
}

TEST_F(FeatureEvents, MayUseFeaturesInTheCall)
{
    const Ref<IVexGenInteger> width = integer(L"Width");
    const Ref<IVexGenInteger> height = integer(L"Height");
    const Ref<Sink> of_height = sink_named("h");
    ASSERT_NE(advise(height.get(), events, of_height.get()), 0U);
    const Ref<Sink> a = sink_named("w", [&] {
        EXPECT_EQ(read(width, &IVexGenInteger::get_Value), 320);
        EXPECT_EQ(height->put_Value(240), S_OK);
    });
    ASSERT_NE(advise(width.get(), events, a.get()), 0U);
    write(L"Width", 320);
    EXPECT_EQ(order(), "wh");
    EXPECT_EQ(read(height, &IVexGenInteger::get_Value), 240);
}

TEST_F(FeatureEvents, TellDependentFeaturesOnceEach)
{
    write(L"Width", 320);
    std::map<std::wstring, Ref<Sink>> sinks;
    for (const wchar_t* name : {L"PayloadSize", L"PixelFormat", L"Height", L"DeviceVendorName"}) {
        const std::wstring wide = name;
        sinks[wide] = sink_named(std::string(wide.begin(), wide.end()).substr(0, 2));
        ASSERT_NE(advise(by_name(name).get(), events, sinks[wide].get()), 0U);
    }
    const __int64 before = read(integer(L"PayloadSize"), &IVexGenInteger::get_Value);
    write(L"Width", 640);
    EXPECT_EQ(std::count_if(told.begin(), told.end(), [](const Told& one) { return one.who == "Pa"; }), 1);
    EXPECT_EQ(std::count_if(told.begin(), told.end(), [](const Told& one) { return one.who == "De"; }), 0);
    EXPECT_EQ(read(integer(L"PayloadSize"), &IVexGenInteger::get_Value), 2 * before);
}

TEST_F(FeatureEvents, ObjectsByNameByIndexAndOfAWalkListenEachForItself)
{
    const Ref<Sink> named = sink_named("n");
    const Ref<Sink> indexed = sink_named("i");
    ASSERT_NE(advise(by_name(L"Width").get(), events, named.get()), 0U);
    for (unsigned int i = 0; i < read(array, &IVexGenParameterArray::get_Count); ++i) {
        Ref<IVexGenParameter> parameter;
        ASSERT_EQ(array->GetByIndex(i, parameter.put()), S_OK);
        if (read_text(parameter, &IVexGenParameter::get_Name) == L"Width") {
            ASSERT_NE(advise(parameter.get(), events, indexed.get()), 0U);
        }
    }
    write(L"Width", 320);
    EXPECT_EQ(order(), "ni");
    EXPECT_NE(told[0].object.get(), told[1].object.get());
}

TEST_F(FeatureEvents, GoOnAfterAReconnectionToTheSameCamera)
{
    const Ref<IVexGenInteger> width = integer(L"Width");
    ASSERT_EQ(width->RegisterEventSink(&client_sink), S_OK);
    ASSERT_EQ(disconnect(), VexOK);
    ASSERT_EQ(connect(), VexOK);
    ASSERT_EQ(integer(L"Width").get(), width.get());
    told.clear();
    write(L"Width", 320);
    EXPECT_EQ(order(), "c");
}

TEST_F(FeatureEvents, TellAPolledFeatureFromTheDevicesThread)
{
    // its register has a polling time of a second
    const Ref<IVexGenFloat> temperature = floating(L"DeviceTemperature");
    ASSERT_TRUE(temperature);
    std::mutex mutex;
    std::condition_variable changed;
    std::thread::id thread;
    int count = 0;
    const Ref<Sink> polled = Sink::create(events, [&](DISPID, const DISPPARAMS&) {
        const std::lock_guard lock(mutex);
        ++count;
        thread = std::this_thread::get_id();
        changed.notify_all();
        return S_OK;
    });
    const DWORD cookie = advise(temperature.get(), events, polled.get());
    ASSERT_NE(cookie, 0U);
    std::unique_lock lock(mutex);
    EXPECT_TRUE(changed.wait_for(lock, std::chrono::seconds(20), [&] { return count >= 2; }));
    EXPECT_NE(thread, std::this_thread::get_id());
    lock.unlock();
    unadvise(temperature.get(), events, cookie);
    disconnect();
}

}  // namespace
}  // namespace client
