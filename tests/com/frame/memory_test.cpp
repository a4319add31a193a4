// Every allocation of the frame's own fails once: the call says so, nothing leaks, nothing crashes.
#include <atomic>
#include <cstdlib>
#include <new>

#include "server/VexResult.h"
#include "tests/com/com_client.h"
#include "tests/com/frame/test_classes.h"

using namespace vex;

namespace {

std::atomic<long> allocations_left{-1};  // before one fails; negative for never
std::atomic<long> live_allocations{0};

void* allocate(std::size_t size)
{
    if (allocations_left.load() >= 0 && allocations_left.fetch_sub(1) == 0) {
        throw std::bad_alloc();
    }
    void* memory = std::malloc(size != 0 ? size : 1);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    ++live_allocations;
    return memory;
}

void release(void* memory) noexcept
{
    if (memory != nullptr) {
        --live_allocations;
        std::free(memory);
    }
}

}  // namespace

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void operator delete(void* memory) noexcept { release(memory); }
void operator delete[](void* memory) noexcept { release(memory); }
void operator delete(void* memory, std::size_t) noexcept { release(memory); }
void operator delete[](void* memory, std::size_t) noexcept { release(memory); }

namespace {

using client::Ref;

class MemoryRunningOut : public client::ComTest {
protected:
    /// Runs `attempt` with the first, second, third ... allocation failing, until it needs no more. Each failing run
    /// must answer E_OUTOFMEMORY and leave no memory and no lock behind.
    template <class Attempt>
    static void sweep(Attempt attempt)
    {
        constexpr long most = 1000;
        long failed = 0;
        for (long at = 0; at < most; ++at) {
            const long before = live_allocations;
            const LONG locks = server::module().lock_count();
            allocations_left = at;
            const HRESULT answered = attempt();
            const bool all_used = allocations_left < 0;
            allocations_left = -1;
            if (!all_used) {
                EXPECT_EQ(answered, S_OK);
                EXPECT_GT(failed, 0) << "nothing was allocated at all";
                return;
            }
            ++failed;
            ASSERT_EQ(answered, E_OUTOFMEMORY) << "allocation " << at;
            ASSERT_EQ(live_allocations, before) << "allocation " << at;
            ASSERT_EQ(server::module().lock_count(), locks) << "allocation " << at;
        }
        FAIL() << "does not end";
    }
};

TEST_F(MemoryRunningOut, FailsCreation)
{
    sweep([] {
        void* object = &allocations_left;
        const HRESULT created = server::create_instance<CTestFinder>(nullptr, __uuidof(IVexDeviceFinderWnd), &object);
        if (FAILED(created)) {
            EXPECT_EQ(object, nullptr);
        } else {
            static_cast<IUnknown*>(object)->Release();
        }
        return created;
    });
}

TEST_F(MemoryRunningOut, FailsAggregation)
{
    Ref<CTestView> outer;
    ASSERT_EQ(server::create_object(outer), S_OK);
    sweep([&] {
        Ref<IUnknown> inner;
        return server::create_instance<CTestFinder>(static_cast<IVexBuffer*>(outer.get()), IID_IUnknown,
                                                    inner.put_void());
    });
    EXPECT_EQ(client::references(static_cast<IVexBuffer*>(outer.get())), 1U);
}

TEST_F(MemoryRunningOut, FailsACallThatCannotMakeItsResult)
{
    Ref<CTestDevice> device;
    ASSERT_EQ(server::create_object(device), S_OK);
    device->outcome = PvResult(PvResult::Timeout, "a description that is longer than a short string can be");
    sweep([&] {
        Ref<IVexResult> result;
        unsigned int value = 0;
        const HRESULT read = device->ReadRegister(1, &value, result.put());
        EXPECT_EQ(static_cast<bool>(result), SUCCEEDED(read));
        return read;
    });
}

TEST_F(MemoryRunningOut, FailsAdvising)
{
    Ref<CTestDevice> device;
    ASSERT_EQ(server::create_object(device), S_OK);
    const auto sink = client::Sink::create(__uuidof(_IVexDeviceEvents), [](DISPID, const DISPPARAMS&) { return S_OK; });
    const auto container = client::query<IConnectionPointContainer>(static_cast<IVexDevice*>(device.get()));
    Ref<IConnectionPoint> point;
    ASSERT_EQ(container->FindConnectionPoint(__uuidof(_IVexDeviceEvents), point.put()), S_OK);
    sweep([&] {
        DWORD cookie = 0;
        const HRESULT advised = point->Advise(sink.get(), &cookie);
        EXPECT_EQ(cookie != 0, SUCCEEDED(advised));
        EXPECT_EQ(sink->references(), SUCCEEDED(advised) ? 2U : 1U);
        return advised;
    });
    sweep([&] {
        Ref<IEnumConnections> connections;
        return point->EnumConnections(connections.put());
    });
    sweep([&] {
        Ref<IEnumConnectionPoints> points;
        return container->EnumConnectionPoints(points.put());
    });
}

TEST_F(MemoryRunningOut, LeavesTypeInformationToBeLoadedByTheNextCall)
{
    Ref<CTestWindow> window;
    ASSERT_EQ(server::create_object(window), S_OK);
    sweep([&] {
        LPOLESTR name = const_cast<LPOLESTR>(L"GetPosition");
        DISPID id = 0;
        return window->GetIDsOfNames(IID_NULL, &name, 1, LOCALE_USER_DEFAULT, &id);
    });
}

}  // namespace
