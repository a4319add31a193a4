// The module object by itself, and the frame used from several threads.
#include <atomic>
#include <thread>
#include <vector>

#include "tests/com/com_client.h"
#include "tests/com/frame/test_classes.h"

using namespace vex;

namespace {

using client::Ref;
using server::ClassEntry;
using server::Module;

std::vector<bool> told;

ClassEntry entry(const CLSID& clsid)
{
    return {&clsid, L"Test", L"Test.1", 1, server::create_instance<CTestView>, [](bool loading) noexcept {
                told.push_back(loading);
            }};
}

TEST(ModuleObject, TellsItsClassesWhenItLoadsAndUnloads)
{
    told.clear();
    ClassEntry classes[] = {entry(IID_IUnknown), entry(IID_IDispatch)};
    Module tested;
    tested.load(nullptr, classes);
    EXPECT_EQ(told, (std::vector<bool>{true, true}));
    tested.unload();
    EXPECT_EQ(told, (std::vector<bool>{true, true, false, false}));
}

TEST(ModuleObject, CachesAFactoryAndReleasesItAtUnload)
{
    ClassEntry classes[] = {entry(IID_IUnknown)};
    Module tested;
    tested.load(nullptr, classes);
    EXPECT_EQ(classes[0].factory, nullptr);
    Ref<IClassFactory> factory;
    ASSERT_EQ(tested.class_object(IID_IUnknown, IID_IClassFactory, factory.put_void()), S_OK);
    EXPECT_EQ(factory.get(), classes[0].factory);
    EXPECT_EQ(client::references(factory.get()), 2U);
    EXPECT_EQ(tested.lock_count(), 0);
    tested.unload();
    EXPECT_EQ(client::references(factory.get()), 1U);
    EXPECT_EQ(classes[0].factory, nullptr);
    Ref<IClassFactory> none;
    EXPECT_EQ(tested.class_object(IID_IUnknown, IID_IClassFactory, none.put_void()), CLASS_E_CLASSNOTAVAILABLE);
}

TEST(ModuleObject, RunsTerminationCallbacksOnce)
{
    int calls = 0;
    Module tested;
    tested.load(nullptr, {});
    ASSERT_EQ(tested.at_unload([](void* count) noexcept { ++*static_cast<int*>(count); }, &calls), S_OK);
    EXPECT_EQ(calls, 0);
    tested.unload();
    EXPECT_EQ(calls, 1);
    tested.unload();
    EXPECT_EQ(calls, 1);
}

TEST(ModuleObject, CountsLocks)
{
    Module tested;
    tested.lock();
    tested.lock();
    EXPECT_EQ(tested.lock_count(), 2);
    tested.unlock();
    tested.unlock();
    EXPECT_EQ(tested.lock_count(), 0);
}

TEST(ModuleObject, ReleasesLoadedTypeInformationAtUnload)
{
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    static constinit server::TypeInfoHolder holder{__uuidof(IVexProperty)};
    const server::TypeInfo* loaded = nullptr;
    ASSERT_EQ(holder.get(LOCALE_NEUTRAL, &loaded), S_OK);
    const Ref<ITypeInfo> kept(loaded->get());
    const ULONG before = client::references(kept.get());
    server::module().unload();
    EXPECT_EQ(client::references(kept.get()), before - 1);
    // whoever asks later loads anew
    ASSERT_EQ(holder.get(LOCALE_NEUTRAL, &loaded), S_OK);
    EXPECT_NE(loaded->cached_id(L"Name"), DISPID_UNKNOWN);
    EXPECT_EQ(loaded->cached_id(L"name"), DISPID_UNKNOWN);
    const Ref<ITypeInfo> again(loaded->get());
    ASSERT_TRUE(again);
    const ULONG held = client::references(again.get());
    server::module().unload();
    EXPECT_EQ(client::references(again.get()), held - 1);
    CoUninitialize();
}

/// Runs `body` in apartments of its own on four threads, all at the same time.
template <class Body>
void on_four_threads(Body body)
{
    std::atomic<int> waiting{4};
    std::vector<std::jthread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&, number] {
            CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
            --waiting;
            while (waiting > 0) {
                std::this_thread::yield();
            }
            body(number);
            CoUninitialize();
        });
    }
}

TEST(SeveralThreads, CountEveryLockAndReference)
{
    const LONG locks = server::module().lock_count();
    Ref<CTestView> shared;
    ASSERT_EQ(server::create_object(shared), S_OK);
    on_four_threads([&](int) {
        for (int at = 0; at < 2000; ++at) {
            Ref<CTestView> own;
            EXPECT_EQ(server::create_object(own), S_OK);
            const Ref<CTestView> another(shared.get());
        }
    });
    EXPECT_EQ(client::references(static_cast<IVexBuffer*>(shared.get())), 1U);
    shared.reset();
    EXPECT_EQ(server::module().lock_count(), locks);
}

TEST(SeveralThreads, LoadTypeInformationOnce)
{
    std::atomic<int> found{0};
    ITypeInfo* loaded[4]{};
    on_four_threads([&](int number) {
        Ref<CTestFinder> finder;
        ASSERT_EQ(server::create_object(finder), S_OK);
        Ref<ITypeInfo> info;
        ASSERT_EQ(finder->GetTypeInfo(0, LOCALE_USER_DEFAULT, info.put()), S_OK);
        loaded[number] = info.get();
        LPOLESTR name = const_cast<LPOLESTR>(L"ShowModal");
        DISPID id = DISPID_UNKNOWN;
        if (finder->GetIDsOfNames(IID_NULL, &name, 1, LOCALE_USER_DEFAULT, &id) == S_OK) {
            ++found;
        }
    });
    EXPECT_EQ(found, 4);
    for (ITypeInfo* info : loaded) {
        EXPECT_EQ(info, loaded[0]);
    }
}

TEST(SeveralThreads, AdviseWhileOthersFire)
{
    Ref<CTestDevice> device;
    ASSERT_EQ(server::create_object(device), S_OK);
    auto* const unknown = static_cast<IVexDevice*>(device.get());
    std::atomic<int> calls{0};
    const auto permanent = client::Sink::create(__uuidof(_IVexDeviceEvents), [&](DISPID, const DISPPARAMS&) {
        ++calls;
        return S_OK;
    });
    ASSERT_NE(client::advise(unknown, __uuidof(_IVexDeviceEvents), permanent.get()), 0U);
    on_four_threads([&](int number) {
        for (int at = 0; at < 500; ++at) {
            if (number < 2) {
                device->fire(4, static_cast<IDispatch*>(device.get()));
                continue;
            }
            const auto sink =
                client::Sink::create(__uuidof(_IVexDeviceEvents), [](DISPID, const DISPPARAMS&) { return S_OK; });
            const DWORD cookie = client::advise(unknown, __uuidof(_IVexDeviceEvents), sink.get());
            ASSERT_NE(cookie, 0U);
            ASSERT_EQ(client::unadvise(unknown, __uuidof(_IVexDeviceEvents), cookie), S_OK);
        }
    });
    EXPECT_EQ(calls, 1000);
    EXPECT_EQ(permanent->references(), 2U);
}

}  // namespace
