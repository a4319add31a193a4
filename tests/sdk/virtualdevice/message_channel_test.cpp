// Events as they leave, and what happens without an acknowledge. The bytes are literal.
#include "sdk/virtualdevice/message_channel.h"

#include "tests/sdk/virtualdevice/host_socket.h"
#include "tests/sdk/virtualdevice/responder_fixture.h"

using namespace vex;

using namespace std::chrono_literals;

namespace {

class MessageChannel : public testing::Test {
protected:
    void open(std::chrono::milliseconds timeout, std::uint32_t retries)
    {
        channel.configure({.destination = host.local(), .timeout = timeout, .retry_count = retries});
    }

    static virtual_device::DeviceEvent event(std::uint16_t id, Bytes data = {})
    {
        return {.event_id = id, .block_id = 7, .timestamp = 0x0102030405060708, .data = std::move(data)};
    }

    void acknowledge(unsigned code, unsigned id)
    {
        host.send("127.0.0.1", bytes_of({0, 0, code >> 8, code & 0xFF, 0, 0, id >> 8, id & 0xFF}),
                  channel.source_port());
    }

    /// Waits until so many events have come to an end.
    virtual_device::MessageStatistics after(std::uint64_t events)
    {
        const auto end = net::Clock::steady().now() + 10s;
        while (channel.statistics().sent < events && net::Clock::steady().now() < end) {
            std::this_thread::yield();
        }
        EXPECT_EQ(channel.statistics().sent, events);
        return channel.statistics();
    }

    HostSocket host;
    virtual_device::MessageChannel channel{loopback_address};
};

}  // namespace

TEST_F(MessageChannel, SendsAnEventWithoutDataAndTakesItsAcknowledge)
{
    open(5s, 0);
    channel.post(event(0x9001));
    const auto sent = host.receive();
    ASSERT_TRUE(sent);
    EXPECT_EQ(sent->source.port, channel.source_port());
    EXPECT_EQ(sent->bytes, bytes_of({0x42, 0x01, 0x00, 0xC0, 0, 16, 0, 1,  // header
                                     0,    0,    0x90, 0x01, 0, 0,  0, 7, 1, 2, 3, 4, 5, 6, 7, 8}));
    acknowledge(0x00C1, 1);
    const auto statistics = after(1);
    EXPECT_EQ(statistics.acknowledged, 1U);
    EXPECT_EQ(statistics.retries, 0U);
}

TEST_F(MessageChannel, SendsDataAsEventdata)
{
    open(5s, 0);
    channel.post(event(0x9002, bytes_of({0xCA, 0xFE, 0xBA, 0xBE})));
    const auto sent = host.receive();
    ASSERT_TRUE(sent);
    EXPECT_EQ(sent->bytes,
              bytes_of({0x42, 0x01, 0x00, 0xC2, 0, 20, 0, 1,  // header
                        0,    0,    0x90, 0x02, 0, 0,  0, 7, 1, 2, 3, 4, 5, 6, 7, 8, 0xCA, 0xFE, 0xBA, 0xBE}));
    acknowledge(0x00C3, 1);
    EXPECT_EQ(after(1).acknowledged, 1U);
}

TEST_F(MessageChannel, AnEventOfNoBlockBelongsToNoStreamChannel)
{
    open(0ms, 0);
    virtual_device::DeviceEvent lone = event(0x9004);
    lone.block_id = 0;
    channel.post(lone);
    const auto sent = host.receive();
    ASSERT_TRUE(sent);
    EXPECT_EQ(u16_at(sent->bytes, 8 + 4), 0xFFFFU);
    EXPECT_EQ(u16_at(sent->bytes, 8 + 6), 0U);
}

TEST_F(MessageChannel, RepeatsUnderTheSameIdUntilItIsAcknowledged)
{
    open(20ms, 100);
    channel.post(event(0x9001));
    const auto first = host.receive();
    const auto second = host.receive();
    ASSERT_TRUE(first && second);
    EXPECT_EQ(first->bytes, second->bytes);
    acknowledge(0x00C1, 1);
    const auto statistics = after(1);
    EXPECT_EQ(statistics.acknowledged, 1U);
    EXPECT_GE(statistics.retries, 1U);
}

TEST_F(MessageChannel, GivesUpAfterTheRetriesAndGoesOnWithTheNext)
{
    open(10ms, 2);
    channel.post(event(0x9001));
    channel.post(event(0x9002));
    for (unsigned id = 1; id <= 2; ++id) {
        for (int i = 0; i < 3; ++i) {
            const auto sent = host.receive();
            ASSERT_TRUE(sent);
            EXPECT_EQ(u16_at(sent->bytes, 6), id);
        }
    }
    const auto statistics = after(2);
    EXPECT_EQ(statistics.abandoned, 2U);
    EXPECT_EQ(statistics.retries, 4U);
    EXPECT_EQ(statistics.acknowledged, 0U);
}

TEST_F(MessageChannel, TakesNoForeignOrMismatchedAcknowledge)
{
    open(100ms, 0);
    channel.post(event(0x9001));
    ASSERT_TRUE(host.receive());
    HostSocket stranger;
    stranger.send("127.0.0.1", bytes_of({0, 0, 0, 0xC1, 0, 0, 0, 1}), channel.source_port());
    acknowledge(0x00C1, 2);
    acknowledge(0x00C3, 1);
    EXPECT_EQ(after(1).abandoned, 1U);
}

TEST_F(MessageChannel, WithoutATimeoutNoAcknowledgeIsAskedFor)
{
    open(0ms, 5);
    channel.post(event(0x9001));
    const auto sent = host.receive();
    ASSERT_TRUE(sent);
    EXPECT_EQ(sent->bytes[1], 0x00);
    const auto statistics = after(1);
    EXPECT_EQ(statistics.abandoned + statistics.retries, 0U);
}

TEST_F(MessageChannel, DropsWhatNobodyWantsAndWhatIsTooMuch)
{
    channel.post(event(0x9001));
    EXPECT_EQ(channel.statistics().dropped, 1U) << "closed";
    open(10s, 0);
    channel.post(event(0x9001));
    ASSERT_TRUE(host.receive()) << "under way, and waiting for its acknowledge";
    for (int i = 0; i < 400; ++i) {
        channel.post(event(0x9001));
    }
    EXPECT_EQ(channel.statistics().dropped, 1U + 400 - 256);
    channel.configure({});
    EXPECT_EQ(after(1).abandoned, 1U) << "closing ends the wait";
    EXPECT_EQ(channel.statistics().dropped, 401U) << "and drops what is queued";
}

TEST_F(MessageChannel, WorksAgainWhenItWasClosedDuringAWait)
{
    open(10s, 0);
    channel.post(event(0x9001));
    ASSERT_TRUE(host.receive());
    channel.configure({});
    EXPECT_EQ(after(1).abandoned, 1U);
    open(10s, 0);
    channel.post(event(0x9002));
    const auto sent = host.receive();
    ASSERT_TRUE(sent);
    EXPECT_EQ(u16_at(sent->bytes, 10), 0x9002U);
    acknowledge(0x00C1, u16_at(sent->bytes, 6));
    EXPECT_EQ(after(2).acknowledged, 1U);
}
