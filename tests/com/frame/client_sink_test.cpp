// The sink a client registers, called while the client takes it back.
#include <atomic>
#include <thread>

#include "server/client_sink.h"
#include "tests/com/com_client.h"

using namespace vex;

namespace {

class CountingSink : public client::DualSink<IVexGenEventSink> {
public:
    HRESULT STDMETHODCALLTYPE OnParameterUpdate(IVexGenParameter* aParameter) override
    {
        shown = aParameter;
        ++calls;
        return S_OK;
    }

    IVexGenParameter* shown = nullptr;
    int calls = 0;
};

constexpr auto update = &IVexGenEventSink::OnParameterUpdate;

TEST(ClientSink, CallsTheSinkRegisteredLastAndKeepsNoReference)
{
    server::ClientSink<IVexGenEventSink> registered;
    CountingSink first;
    CountingSink second;
    registered.call(update, nullptr);
    EXPECT_FALSE(registered.is_set());
    EXPECT_EQ(registered.set(&first), S_OK);
    EXPECT_EQ(registered.set(&second), S_OK);
    EXPECT_TRUE(registered.is_set());
    auto* const parameter = reinterpret_cast<IVexGenParameter*>(&first);
    registered.call(update, parameter);
    EXPECT_EQ(first.calls, 0);
    EXPECT_EQ(second.calls, 1);
    EXPECT_EQ(second.shown, parameter);
    EXPECT_EQ(second.references(), 1U);
    EXPECT_EQ(registered.clear(), S_OK);
    registered.call(update, parameter);
    EXPECT_EQ(second.calls, 1);
}

TEST(ClientSink, MayBeTakenBackWhileAnotherThreadCallsIt)
{
    constexpr int times = 200'000;
    server::ClientSink<IVexGenEventSink> registered;
    CountingSink sink;
    std::atomic<bool> done{false};
    std::thread caller([&] {
        while (!done) {
            registered.call(update, nullptr);
        }
    });
    for (int at = 0; at < times; ++at) {
        registered.set(&sink);
        registered.clear();
    }
    done = true;
    caller.join();
    EXPECT_FALSE(registered.is_set());
}

}  // namespace
