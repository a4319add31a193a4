// Objects that call their clients: what a client may do to them in the call. The rule is the frame's, so it is tested
// here for every source interface, whichever classes are built.
#include <atomic>
#include <functional>
#include <future>
#include <thread>
#include <type_traits>

#include "generated/interface_stubs.h"
#include "server/wrapper.h"
#include "tests/com/com_client.h"

using namespace vex;

namespace {

using client::advise;
using client::Ref;
using client::Sink;

/// The sink that a client registers, cut down to one member.
struct RegisteredSink final {
    HRESULT STDMETHODCALLTYPE OnNumber(int number)
    {
        called(number);
        return S_OK;
    }
    std::function<void(int)> called = [](int) {};
};

template <class Class>
class CFiring;

}  // namespace

namespace vex::server {

template <class Class>
struct ClassFacts<CFiring<Class>> : ClassFacts<Class> {};

}  // namespace vex::server

namespace {

/// An object with the source interface of a class of the library.
template <class Class>
class CFiring : public server::Wrapper<CFiring<Class>, vex::idl::Stub<typename server::ClassFacts<Class>::Interface>> {
public:
    ~CFiring() { *destroyed = true; }
    void final_release() noexcept
    {
        if (in_release) {
            in_release();
        }
    }

    using server::EventSource<typename server::ClassFacts<Class>::Events>::fire;

    void fire_to_all() { this->tell(DISPID{1}, registered, &RegisteredSink::OnNumber, 7); }
    [[nodiscard]] IUnknown* unknown() { return static_cast<typename CFiring::DefaultInterface*>(this); }

    server::ClientSink<RegisteredSink> registered;
    std::function<void()> in_release;
    std::shared_ptr<std::atomic<bool>> destroyed = std::make_shared<std::atomic<bool>>(false);
};

/// The classes of the library are named only: not all of them exist yet.
template <class Named>
class OutgoingCalls : public client::ComTest {
protected:
    using Class = typename Named::type;

    OutgoingCalls()
    {
        EXPECT_EQ(server::create_object(object), S_OK);
        destroyed = object->destroyed;
    }

    Ref<Sink> advised(std::function<void()> called)
    {
        auto sink = Sink::create(events, [called = std::move(called)](DISPID, const DISPPARAMS&) {
            called();
            return S_OK;
        });
        EXPECT_NE(advise(object->unknown(), events, sink.get()), 0U);
        return sink;
    }

    const IID events = __uuidof(typename server::ClassFacts<Class>::Events);
    Ref<CFiring<Class>> object;
    std::shared_ptr<std::atomic<bool>> destroyed;
};

template <class... Classes>
using Names = testing::Types<std::type_identity<Classes>...>;
using AllWithEvents = Names<CVexSystem, CVexDevice, CVexGenInteger, CVexPipeline, CVexDeviceFinderWnd,
                            CVexGenBrowserWnd, CVexSerialBridgeManagerWnd>;
TYPED_TEST_SUITE(OutgoingCalls, AllWithEvents);

TYPED_TEST(OutgoingCalls, SurviveTheReleaseOfTheObjectUntilAllAreTold)
{
    int told = 0;
    RegisteredSink registered;
    registered.called = [&](int number) {
        EXPECT_EQ(number, 7);
        EXPECT_FALSE(*this->destroyed);
        ++told;
    };
    const auto first = this->advised([&] {
        this->object.reset();
        EXPECT_FALSE(*this->destroyed) << "it is still in its own call";
        ++told;
    });
    const auto second = this->advised([&] { ++told; });
    this->object->registered.set(&registered);
    this->object->fire_to_all();
    EXPECT_EQ(told, 3);
    EXPECT_TRUE(*this->destroyed);
    EXPECT_EQ(second->references(), 1U);
}

TYPED_TEST(OutgoingCalls, SurviveTheReleaseInAPlainEvent)
{
    const auto sink = this->advised([&] {
        this->object.reset();
        EXPECT_FALSE(*this->destroyed);
    });
    auto* const firing = this->object.get();
    EXPECT_EQ(firing->fire(1, 7), S_OK);
    EXPECT_TRUE(*this->destroyed);
}

TYPED_TEST(OutgoingCalls, SurviveTheReleaseByTheRegisteredSink)
{
    RegisteredSink registered;
    registered.called = [&](int) { this->object.reset(); };
    this->object->registered.set(&registered);
    this->object->fire_to_all();
    EXPECT_TRUE(*this->destroyed);
}

TYPED_TEST(OutgoingCalls, AnAdvisedSinkMayTakeTheRegisteredOneAway)
{
    RegisteredSink registered;
    registered.called = [](int) { ADD_FAILURE() << "it is unregistered"; };
    this->object->registered.set(&registered);
    const auto sink = this->advised([&] { this->object->registered.clear(); });
    this->object->fire_to_all();
}

TYPED_TEST(OutgoingCalls, AReleaseOnAnotherThreadDoesNotWaitForThem)
{
    std::promise<void> entered;
    std::promise<void> leave;
    const auto sink = this->advised([&] {
        entered.set_value();
        leave.get_future().wait();
        EXPECT_FALSE(*this->destroyed);
    });
    std::thread firing([object = this->object.get()] { object->fire_to_all(); });
    entered.get_future().wait();
    this->object.reset();
    EXPECT_FALSE(*this->destroyed);
    leave.set_value();
    firing.join();
    EXPECT_TRUE(*this->destroyed);
}

TYPED_TEST(OutgoingCalls, AnObjectThatGoesAwayCallsNobody)
{
    const auto sink = this->advised([] { ADD_FAILURE() << "told by an object that is going away"; });
    this->object->in_release = [object = this->object.get()] { object->fire_to_all(); };
    this->object.reset();
    EXPECT_TRUE(*this->destroyed);
}

}  // namespace
