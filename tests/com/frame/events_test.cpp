// Connection points: who is called, in what order, with what.
#include <memory>
#include <vector>

#include "tests/com/com_client.h"
#include "tests/com/frame/test_classes.h"

using namespace vex;

namespace {

using client::advise;
using client::Ref;
using client::Sink;
using client::unadvise;

const IID device_events = __uuidof(_IVexDeviceEvents);
const IID finder_events = __uuidof(_IVexDeviceFinderWndEvents);

class Events : public client::ComTest {
protected:
    Events()
    {
        EXPECT_EQ(server::create_object(device), S_OK);
        EXPECT_EQ(server::create_object(finder), S_OK);
    }

    [[nodiscard]] IUnknown* device_unknown() const { return static_cast<IVexDevice*>(device.get()); }
    [[nodiscard]] IUnknown* finder_unknown() const { return static_cast<IVexDeviceFinderWnd*>(finder.get()); }

    /// A sink that notes its name in `calls`.
    [[nodiscard]] Ref<Sink> named(int name, HRESULT answer = S_OK)
    {
        return Sink::create(device_events, [this, name, answer](DISPID, const DISPPARAMS&) {
            calls.push_back(name);
            return answer;
        });
    }

    Ref<CTestDevice> device;
    Ref<CTestFinder> finder;
    std::vector<int> calls;
};

TEST_F(Events, FireWithoutSinksSucceeds) { EXPECT_EQ(device->fire(4, static_cast<IDispatch*>(nullptr)), S_OK); }

TEST_F(Events, ReachEverySinkInOrderOfAdvising)
{
    const auto first = named(1);
    const auto second = named(2);
    const auto third = named(3);
    ASSERT_NE(advise(device_unknown(), device_events, first.get()), 0U);
    ASSERT_NE(advise(device_unknown(), device_events, second.get()), 0U);
    ASSERT_NE(advise(device_unknown(), device_events, third.get()), 0U);
    EXPECT_EQ(device->fire(4, static_cast<IDispatch*>(device.get())), S_OK);
    EXPECT_EQ(calls, (std::vector<int>{1, 2, 3}));
}

TEST_F(Events, LeaveAFreedSlotEmptyAndFillItFirst)
{
    const auto first = named(1);
    const auto second = named(2);
    const auto third = named(3);
    const DWORD cookie = advise(device_unknown(), device_events, first.get());
    ASSERT_NE(advise(device_unknown(), device_events, second.get()), 0U);
    EXPECT_EQ(unadvise(device_unknown(), device_events, cookie), S_OK);
    EXPECT_EQ(first->references(), 1U);
    device->fire(4, static_cast<IDispatch*>(nullptr));
    EXPECT_EQ(calls, (std::vector<int>{2}));
    ASSERT_NE(advise(device_unknown(), device_events, third.get()), 0U);
    calls.clear();
    device->fire(4, static_cast<IDispatch*>(nullptr));
    EXPECT_EQ(calls, (std::vector<int>{3, 2}));
}

TEST_F(Events, ReturnTheLastSinksAnswer)
{
    const auto failing = named(1, E_ABORT);
    const auto content = named(2, S_OK);
    const DWORD cookie = advise(device_unknown(), device_events, failing.get());
    ASSERT_NE(advise(device_unknown(), device_events, content.get()), 0U);
    EXPECT_EQ(device->fire(4, static_cast<IDispatch*>(nullptr)), S_OK);
    EXPECT_EQ(calls, (std::vector<int>{1, 2}));
    EXPECT_EQ(unadvise(device_unknown(), device_events, cookie), S_OK);
    const auto last = named(3, E_FAIL);
    ASSERT_NE(advise(device_unknown(), device_events, last.get()), 0U);
    const auto later = named(4, E_ABORT);
    ASSERT_NE(advise(device_unknown(), device_events, later.get()), 0U);
    EXPECT_EQ(device->fire(4, static_cast<IDispatch*>(nullptr)), E_ABORT);
}

TEST_F(Events, ArriveAsPlainMethodCallsWithArgumentsLastFirst)
{
    std::vector<VARTYPE> types;
    std::vector<long long> values;
    IDispatch* object = nullptr;
    ULONG references_during = 0;
    DISPID id = 0;
    const auto sink = Sink::create(device_events, [&](DISPID event, const DISPPARAMS& parameters) {
        id = event;
        for (UINT at = 0; at < parameters.cArgs; ++at) {
            types.push_back(V_VT(&parameters.rgvarg[at]));
            values.push_back(V_I8(&parameters.rgvarg[at]));
        }
        object = V_DISPATCH(&parameters.rgvarg[parameters.cArgs - 1]);
        references_during = client::references(object);
        return S_OK;
    });
    ASSERT_NE(advise(device_unknown(), device_events, sink.get()), 0U);
    const ULONG before = client::references(finder_unknown());
    device->fire(3, static_cast<IDispatch*>(finder.get()), static_cast<unsigned short>(0x9001),
                 static_cast<unsigned short>(2), static_cast<unsigned short>(3), 0x123456789AULL, INT_PTR{0x77}, 12U);
    EXPECT_EQ(id, 3);
    EXPECT_EQ(types, (std::vector<VARTYPE>{VT_UI4, VT_I8, VT_UI8, VT_UI2, VT_UI2, VT_UI2, VT_DISPATCH}));
    EXPECT_EQ(values[0] & 0xFFFFFFFF, 12);
    EXPECT_EQ(values[1], 0x77);
    EXPECT_EQ(values[2], 0x123456789A);
    EXPECT_EQ(values[3] & 0xFFFF, 3);
    EXPECT_EQ(values[4] & 0xFFFF, 2);
    EXPECT_EQ(values[5] & 0xFFFF, 0x9001);
    EXPECT_EQ(object, static_cast<IDispatch*>(finder.get()));
    EXPECT_EQ(references_during, before + 1);
    EXPECT_EQ(client::references(finder_unknown()), before);
    EXPECT_EQ(sink->lcid(), 0x400U);
    EXPECT_EQ(sink->flags(), DISPATCH_METHOD);
    EXPECT_TRUE(sink->came_plain());
}

TEST_F(Events, CarryANullObjectAndText)
{
    IDispatch* object = device.get();
    std::wstring text;
    const auto sink = Sink::create(device_events, [&](DISPID, const DISPPARAMS& parameters) {
        object = V_DISPATCH(&parameters.rgvarg[1]);
        text = V_BSTR(&parameters.rgvarg[0]);
        return S_OK;
    });
    ASSERT_NE(advise(device_unknown(), device_events, sink.get()), 0U);
    BSTR name = SysAllocString(L"Device parameters");
    device->fire(1, static_cast<IDispatch*>(nullptr), name);
    SysFreeString(name);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(text, L"Device parameters");
}

TEST_F(Events, CarryTextBeyondAZero)
{
    std::wstring text;
    const auto sink = Sink::create(device_events, [&](DISPID, const DISPPARAMS& parameters) {
        text.assign(V_BSTR(&parameters.rgvarg[0]), SysStringLen(V_BSTR(&parameters.rgvarg[0])));
        return S_OK;
    });
    ASSERT_NE(advise(device_unknown(), device_events, sink.get()), 0U);
    const std::wstring given(L"a\0b", 3);
    BSTR name = SysAllocStringLen(given.data(), static_cast<UINT>(given.size()));
    device->fire(1, static_cast<IDispatch*>(nullptr), name);
    SysFreeString(name);
    EXPECT_EQ(text, given);
}

TEST_F(Events, ShareOneAnswerOfWhichTheLastWins)
{
    std::vector<VARIANT_BOOL> seen;
    const auto answering = [&](VARIANT_BOOL answer) {
        return Sink::create(finder_events, [&seen, answer](DISPID, const DISPPARAMS& parameters) {
            EXPECT_EQ(V_VT(&parameters.rgvarg[0]), VT_BYREF | VT_BOOL);
            seen.push_back(*V_BOOLREF(&parameters.rgvarg[0]));
            *V_BOOLREF(&parameters.rgvarg[0]) = answer;
            return S_OK;
        });
    };
    const auto no = answering(VARIANT_FALSE);
    const auto yes = answering(VARIANT_TRUE);
    const DWORD cookie = advise(finder_unknown(), finder_events, no.get());
    ASSERT_NE(advise(finder_unknown(), finder_events, yes.get()), 0U);
    VARIANT_BOOL answer = VARIANT_TRUE;
    finder->fire(1, static_cast<IDispatch*>(nullptr), &answer);
    EXPECT_EQ(answer, VARIANT_TRUE);
    EXPECT_EQ(seen, (std::vector<VARIANT_BOOL>{VARIANT_TRUE, VARIANT_FALSE}));

    EXPECT_EQ(unadvise(finder_unknown(), finder_events, cookie), S_OK);
    const auto last = answering(VARIANT_FALSE);
    const auto later = answering(7);
    ASSERT_NE(advise(finder_unknown(), finder_events, last.get()), 0U);
    ASSERT_NE(advise(finder_unknown(), finder_events, later.get()), 0U);
    answer = VARIANT_TRUE;
    finder->fire(1, static_cast<IDispatch*>(nullptr), &answer);
    EXPECT_EQ(answer, 7);
}

TEST_F(Events, HoldASinkThatUnadvisesItselfWhileItIsCalled)
{
    DWORD cookie = 0;
    Ref<Sink> sink;
    sink = Sink::create(device_events, [&](DISPID, const DISPPARAMS&) {
        EXPECT_EQ(unadvise(device_unknown(), device_events, cookie), S_OK);
        Sink* kept = sink.detach();
        kept->Release();
        calls.push_back(static_cast<int>(kept->references()));
        return S_OK;
    });
    cookie = advise(device_unknown(), device_events, sink.get());
    device->fire(4, static_cast<IDispatch*>(nullptr));
    device->fire(4, static_cast<IDispatch*>(nullptr));
    EXPECT_EQ(calls, (std::vector<int>{1}));
}

TEST_F(Events, DoNotReachASinkAdvisedWhileTheyAreFired)
{
    const auto late = named(2);
    const auto sink = Sink::create(device_events, [&](DISPID, const DISPPARAMS&) {
        calls.push_back(1);
        EXPECT_NE(advise(device_unknown(), device_events, late.get()), 0U);
        return S_OK;
    });
    ASSERT_NE(advise(device_unknown(), device_events, sink.get()), 0U);
    device->fire(4, static_cast<IDispatch*>(nullptr));
    EXPECT_EQ(calls, (std::vector<int>{1}));
}

TEST_F(Events, RefuseSinksWithoutTheSourceInterface)
{
    const auto foreign = Sink::create(finder_events, [](DISPID, const DISPPARAMS&) { return S_OK; });
    const auto container = client::query<IConnectionPointContainer>(device_unknown());
    Ref<IConnectionPoint> point;
    ASSERT_EQ(container->FindConnectionPoint(device_events, point.put()), S_OK);
    DWORD cookie = 99;
    EXPECT_EQ(point->Advise(foreign.get(), &cookie), CONNECT_E_CANNOTCONNECT);
    EXPECT_EQ(cookie, 0U);
    EXPECT_EQ(point->Advise(nullptr, &cookie), E_POINTER);
    EXPECT_EQ(point->Advise(foreign.get(), nullptr), E_POINTER);
    EXPECT_EQ(point->Unadvise(0), CONNECT_E_NOCONNECTION);
    EXPECT_EQ(point->Unadvise(1), CONNECT_E_NOCONNECTION);
    EXPECT_EQ(point->Unadvise(~0U), CONNECT_E_NOCONNECTION);
}

TEST_F(Events, RefuseToEndAConnectionTwice)
{
    const auto sink = named(1);
    const DWORD cookie = advise(device_unknown(), device_events, sink.get());
    EXPECT_EQ(unadvise(device_unknown(), device_events, cookie), S_OK);
    EXPECT_EQ(unadvise(device_unknown(), device_events, cookie), CONNECT_E_NOCONNECTION);
}

TEST_F(Events, NeverUseAConnectionsCookieAgain)
{
    const auto first = named(1);
    const auto second = named(2);
    const DWORD ended = advise(device_unknown(), device_events, first.get());
    EXPECT_EQ(unadvise(device_unknown(), device_events, ended), S_OK);
    const DWORD held = advise(device_unknown(), device_events, second.get());
    EXPECT_NE(held, ended);
    EXPECT_NE(held, 0U);
    // a client that ends its connection twice ends nobody else's
    EXPECT_EQ(unadvise(device_unknown(), device_events, ended), CONNECT_E_NOCONNECTION);
    device->fire(4, static_cast<IDispatch*>(nullptr));
    EXPECT_EQ(calls, (std::vector<int>{2}));
    EXPECT_EQ(unadvise(device_unknown(), device_events, held), S_OK);
    EXPECT_EQ(second->references(), 1U);
}

TEST_F(Events, ListTheirConnections)
{
    const auto first = named(1);
    const auto second = named(2);
    const auto third = named(3);
    ASSERT_NE(advise(device_unknown(), device_events, first.get()), 0U);
    const DWORD hole = advise(device_unknown(), device_events, second.get());
    const DWORD last = advise(device_unknown(), device_events, third.get());
    ASSERT_EQ(unadvise(device_unknown(), device_events, hole), S_OK);
    const auto container = client::query<IConnectionPointContainer>(device_unknown());
    Ref<IConnectionPoint> point;
    ASSERT_EQ(container->FindConnectionPoint(device_events, point.put()), S_OK);
    Ref<IEnumConnections> all;
    ASSERT_EQ(point->EnumConnections(all.put()), S_OK);
    CONNECTDATA found[3]{};
    ULONG fetched = 0;
    EXPECT_EQ(all->Next(3, found, &fetched), S_FALSE);
    ASSERT_EQ(fetched, 2U);
    EXPECT_EQ(found[0].pUnk, static_cast<IDispatch*>(first.get()));
    EXPECT_EQ(found[1].pUnk, static_cast<IDispatch*>(third.get()));
    EXPECT_EQ(found[1].dwCookie, last);
    found[0].pUnk->Release();
    found[1].pUnk->Release();
    EXPECT_EQ(all->Reset(), S_OK);
    EXPECT_EQ(all->Skip(1), S_OK);
    Ref<IEnumConnections> clone;
    ASSERT_EQ(all->Clone(clone.put()), S_OK);
    EXPECT_EQ(clone->Next(1, found, nullptr), S_OK);
    EXPECT_EQ(found[0].dwCookie, last);
    found[0].pUnk->Release();
    EXPECT_EQ(clone->Skip(1), S_FALSE);
}

TEST_F(Events, ReleaseTheirSinksWithTheObject)
{
    const auto sink = named(1);
    ASSERT_NE(advise(device_unknown(), device_events, sink.get()), 0U);
    EXPECT_EQ(sink->references(), 2U);
    device.reset();
    EXPECT_EQ(sink->references(), 1U);
}

TEST_F(Events, KeepTheObjectAliveThroughItsConnectionPoint)
{
    int destroyed = 0;
    finder->own(std::make_unique<FakeSdk>(&destroyed));
    Ref<IConnectionPoint> point;
    {
        const auto container = client::query<IConnectionPointContainer>(finder_unknown());
        ASSERT_EQ(container->FindConnectionPoint(finder_events, point.put()), S_OK);
    }
    finder.reset();
    EXPECT_EQ(destroyed, 0);
    point.reset();
    EXPECT_EQ(destroyed, 1);
}

}  // namespace
