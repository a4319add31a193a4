// The thread behind a message channel: over a script, and over real sockets.

#include "sdk/control/message_receiver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <future>
#include <thread>

#include "tests/sdk/control/scripted_transport.h"

using namespace vex;
using namespace std::chrono_literals;
using device_test::Bytes;
using device_test::hex;

namespace {

constexpr Ipv4Address device_address{0xC0A80105};

Bytes event(unsigned request_id)
{
    Bytes bytes = hex("42 01 00C0 0010 0000  0000 9001 0001 0007 0102030405060708");
    bytes[6] = static_cast<std::uint8_t>(request_id >> 8);
    bytes[7] = static_cast<std::uint8_t>(request_id);
    return bytes;
}

/// Gives the datagrams of a test, and keeps the answers.
class ScriptedSocket final : public control::MessageSocket {
public:
    struct Script {
        std::mutex mutex;
        std::condition_variable changed;
        std::deque<std::pair<Bytes, Endpoint>> arriving;
        std::deque<std::pair<Bytes, Endpoint>> sent;
        bool refuses_sending = false;

        void deliver(Bytes datagram, const Endpoint& source = {device_address, 50'000})
        {
            const std::scoped_lock lock(mutex);
            arriving.emplace_back(std::move(datagram), source);
            changed.notify_all();
        }
    };

    explicit ScriptedSocket(std::shared_ptr<Script> script) : script_(std::move(script)) {}

    std::optional<net::Received> receive(std::span<std::uint8_t> buffer,
                                         std::chrono::milliseconds timeout) noexcept override
    {
        std::unique_lock lock(script_->mutex);
        if (!script_->changed.wait_for(lock, timeout, [this] { return !script_->arriving.empty(); })) {
            return std::nullopt;
        }
        const auto [datagram, source] = std::move(script_->arriving.front());
        script_->arriving.pop_front();
        std::copy(datagram.begin(), datagram.end(), buffer.begin());
        return net::Received{.size = datagram.size(), .source = source};
    }
    bool send(const Endpoint& destination, std::span<const std::uint8_t> datagram) noexcept override
    {
        const std::scoped_lock lock(script_->mutex);
        script_->sent.emplace_back(Bytes(datagram.begin(), datagram.end()), destination);
        return !script_->refuses_sending;
    }
    void wake() noexcept override { script_->deliver({}, local()); }
    [[nodiscard]] Endpoint local() const noexcept override { return {loopback_address, 1234}; }

private:
    std::shared_ptr<Script> script_;
};

/// Counts arrivals.
class Arrivals {
public:
    control::MessageReceiver::OnArrival counter()
    {
        return [this] {
            const std::scoped_lock lock(mutex_);
            ++count_;
            changed_.notify_all();
        };
    }
    void await(int count)
    {
        std::unique_lock lock(mutex_);
        EXPECT_TRUE(changed_.wait_for(lock, 10s, [&] { return count_ >= count; })) << count_ << " of " << count;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int count_ = 0;
};

struct MessageReceiver : testing::Test {
    void open(control::MessageReceiver::OnArrival on_arrival)
    {
        receiver.emplace(Endpoint{device_address, 0}, std::make_unique<ScriptedSocket>(script), std::move(on_arrival),
                         net::Clock::steady());
    }
    void open() { open(arrivals.counter()); }

    /// Waits until the counts are as they should be; the thread counts after it has answered.
    template <class Condition>
    control::MessageReceiverStatistics await(Condition&& condition)
    {
        const auto end = std::chrono::steady_clock::now() + 60s;
        while (!condition(receiver->statistics()) && std::chrono::steady_clock::now() < end) {
            // looking all the time would take the lock from the thread that is waited for
            std::this_thread::sleep_for(1ms);
        }
        EXPECT_TRUE(condition(receiver->statistics()));
        return receiver->statistics();
    }

    std::shared_ptr<ScriptedSocket::Script> script = std::make_shared<ScriptedSocket::Script>();
    Arrivals arrivals;
    std::optional<control::MessageReceiver> receiver;
};

}  // namespace

TEST_F(MessageReceiver, AcknowledgesToWhereTheMessageCameFrom)
{
    open();
    script->deliver(event(7), {device_address, 51'111});
    arrivals.await(1);
    EXPECT_FALSE(receiver->is_empty());
    await([](const auto& counts) { return counts.acknowledged == 1; });
    ASSERT_EQ(script->sent.size(), 1U);
    EXPECT_EQ(script->sent[0].first, hex("0000 00C1 0000 0007"));
    EXPECT_EQ(script->sent[0].second, (Endpoint{device_address, 51'111}));
    const auto taken = receiver->take();
    ASSERT_TRUE(taken);
    EXPECT_EQ(taken->id, 0x9001);
    EXPECT_TRUE(receiver->is_empty());
}

TEST_F(MessageReceiver, CountsNoAcknowledgeThatCouldNotBeSent)
{
    script->refuses_sending = true;
    open();
    script->deliver(event(1));
    arrivals.await(1);
    EXPECT_EQ(receiver->statistics().acknowledged, 0U);
}

TEST_F(MessageReceiver, WakesNobodyForWhatBringsNoEvent)
{
    open();
    script->deliver(event(1), {{0x01020304}, 50'000});
    script->deliver(hex("42 00"));
    script->deliver(event(1));
    script->deliver(event(1));
    script->deliver(event(2));
    arrivals.await(2);
    receiver->stop();
    const auto counts = receiver->statistics();
    EXPECT_EQ(counts.foreign, 1U);
    EXPECT_EQ(counts.malformed, 1U);
    EXPECT_EQ(counts.repeated, 1U);
    EXPECT_EQ(counts.events, 2U);
    EXPECT_EQ(counts.acknowledged, 3U);
}

TEST_F(MessageReceiver, TakesOnlyTheDevicesPortOnceItIsKnown)
{
    open();
    receiver->expect_from(40'000);
    script->deliver(event(1));
    script->deliver(event(2), {device_address, 40'000});
    arrivals.await(1);
    EXPECT_EQ(receiver->statistics().foreign, 1U);
    EXPECT_EQ(receiver->statistics().events, 1U);
}

TEST_F(MessageReceiver, GoesOnReceivingWhileNobodyTakes)
{
    open();
    constexpr unsigned count = control::MessageInbox::most_events + 100;
    for (unsigned id = 1; id <= count; ++id) {
        script->deliver(event(id));
    }
    const auto counts = await([](const auto& now) { return now.acknowledged == count; });
    EXPECT_EQ(counts.events, control::MessageInbox::most_events);
    EXPECT_EQ(counts.dropped, 100U);
}

TEST_F(MessageReceiver, KeepsWhatItReceivedWhenItStops)
{
    open();
    script->deliver(event(1));
    arrivals.await(1);
    receiver->stop();
    receiver->stop();
    script->deliver(event(2));
    EXPECT_TRUE(receiver->take());
    EXPECT_FALSE(receiver->take());
    EXPECT_EQ(receiver->statistics().foreign, 0U) << "what woke it is no message";
}

TEST_F(MessageReceiver, MayBeDestroyedWhenSomethingArrives)
{
    const auto destroyed = std::make_shared<std::promise<void>>();
    std::future<void> done = destroyed->get_future();
    open([this, destroyed] {
        receiver.reset();
        destroyed->set_value();
    });
    script->deliver(event(1));
    EXPECT_EQ(done.wait_for(10s), std::future_status::ready);
}

TEST(MessageReceiverSocket, ReceivesFromADeviceOnTheNetwork)
{
    net::UdpSocket sender = net::UdpSocket::open({loopback_address, 0});
    Arrivals arrivals;
    control::MessageReceiver receiver(sender.local(), loopback_address, arrivals.counter());
    EXPECT_EQ(receiver.local().address, loopback_address);
    EXPECT_NE(receiver.local().port, 0);
    ASSERT_FALSE(sender.send_to(receiver.local(), event(3)));
    arrivals.await(1);
    std::array<std::uint8_t, 100> buffer{};
    const auto acknowledge = sender.receive(buffer, 10s);
    ASSERT_TRUE(acknowledge);
    EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(acknowledge->size)),
              hex("0000 00C1 0000 0003"));
    EXPECT_EQ(acknowledge->source, receiver.local());
    EXPECT_TRUE(receiver.take());
}
