// Datagrams of a message channel, judged one by one. The bytes are literal.

#include "sdk/control/message_inbox.h"

#include <gtest/gtest.h>

#include "tests/sdk/control/scripted_transport.h"

using namespace vex;
using namespace std::chrono_literals;
using device_test::Bytes;
using device_test::hex;

namespace {

constexpr Ipv4Address device_address{0xC0A80105};
constexpr Endpoint device{device_address, 50'000};

/// An EVENT of one device-specific event, to be acknowledged.
Bytes event(unsigned request_id, unsigned event_id = 0x9001)
{
    Bytes bytes = hex("42 01 00C0 0010 0000  0000 0000 0001 0007 0102030405060708");
    bytes[6] = static_cast<std::uint8_t>(request_id >> 8);
    bytes[7] = static_cast<std::uint8_t>(request_id);
    bytes[10] = static_cast<std::uint8_t>(event_id >> 8);
    bytes[11] = static_cast<std::uint8_t>(event_id);
    return bytes;
}

struct MessageInbox : testing::Test {
    /// The acknowledge; empty when there is none.
    Bytes put(const Bytes& datagram, const Endpoint& source = device)
    {
        const auto acknowledge = inbox.put(datagram, source, now);
        return acknowledge ? Bytes(acknowledge->bytes().begin(), acknowledge->bytes().end()) : Bytes();
    }
    control::ReceivedEvent take()
    {
        auto event = inbox.take();
        EXPECT_TRUE(event) << "there is no event";
        return std::move(event).value_or(control::ReceivedEvent());
    }
    Bytes data_of(const control::ReceivedEvent& event) { return {event.data().begin(), event.data().end()}; }
    const control::MessageReceiverStatistics& counts() { return inbox.statistics(); }

    control::MessageInbox inbox{Endpoint{device_address, 0}};
    net::Clock::time_point now{1h};
};

}  // namespace

TEST_F(MessageInbox, TakesAStandardEvent)
{
    EXPECT_EQ(put(event(0x0102)), hex("0000 00C1 0000 0102"));
    const control::ReceivedEvent taken = take();
    EXPECT_EQ(taken.id, 0x9001);
    EXPECT_EQ(taken.channel, 1);
    EXPECT_EQ(taken.block_id, 7U);
    EXPECT_EQ(taken.timestamp, 0x0102030405060708U);
    EXPECT_TRUE(taken.data().empty());
    EXPECT_EQ(taken.bytes, hex("0000 9001 0001 0007 0102030405060708"));
    EXPECT_TRUE(inbox.is_empty());
    EXPECT_FALSE(inbox.take());
}

TEST_F(MessageInbox, TakesStandardEventDataUpToTheEndOfTheMessage)
{
    EXPECT_EQ(put(hex("42 01 00C2 0014 0001  0000 9002 FFFF 0000 0000000000000009 CAFEBABE")),
              hex("0000 00C3 0000 0001"));
    const control::ReceivedEvent taken = take();
    EXPECT_EQ(taken.id, 0x9002);
    EXPECT_EQ(taken.channel, 0xFFFF);
    EXPECT_EQ(taken.timestamp, 9U);
    EXPECT_EQ(data_of(taken), hex("CAFEBABE"));
    EXPECT_EQ(taken.bytes, hex("0000 9002 FFFF 0000 0000000000000009 CAFEBABE"));
}

TEST_F(MessageInbox, TakesExtendedEventData)
{
    // two events; each says its own size
    EXPECT_EQ(put(hex("42 11 00C2 0036 0001"
                      "001C 9002 0000 0000 1122334455667788 0000000000000009 CAFEBABE"
                      "001A 9003 0001 0000 0000000000000002 000000000000000A BEEF")),
              hex("0000 00C3 0000 0001"));
    const control::ReceivedEvent first = take();
    EXPECT_EQ(first.block_id, 0x1122334455667788U);
    EXPECT_EQ(data_of(first), hex("CAFEBABE"));
    const control::ReceivedEvent second = take();
    EXPECT_EQ(second.id, 0x9003);
    EXPECT_EQ(second.channel, 1);
    EXPECT_EQ(second.timestamp, 10U);
    EXPECT_EQ(data_of(second), hex("BEEF"));
    EXPECT_EQ(second.bytes.size(), 26U);
    EXPECT_EQ(counts().events, 2U);
    EXPECT_EQ(counts().malformed, 0U);
}

TEST_F(MessageInbox, TellsEveryEventOfAMessageInOrder)
{
    EXPECT_EQ(put(hex("42 01 00C0 0020 0001"
                      "0000 0002 0000 0001 0000000000000001 0000 0003 0000 0002 0000000000000002")),
              hex("0000 00C1 0000 0001"));
    EXPECT_EQ(put(hex("42 11 00C0 0030 0002"
                      "0018 0004 0000 0000 0000000100000003 0000000000000003"
                      "0018 0005 0000 0000 0000000100000004 0000000000000004")),
              hex("0000 00C1 0000 0002"));
    for (const std::uint64_t number : {1U, 2U, 3U, 4U}) {
        const control::ReceivedEvent taken = take();
        EXPECT_EQ(taken.id, number + 1);
        EXPECT_EQ(taken.timestamp, number);
        EXPECT_EQ(taken.block_id & 0xFFFF, number);
    }
}

TEST_F(MessageInbox, AcknowledgesOnlyWhenAsked)
{
    Bytes quiet = event(1);
    quiet[1] = 0;
    EXPECT_TRUE(put(quiet).empty());
    EXPECT_EQ(counts().events, 1U);
}

TEST_F(MessageInbox, AcknowledgesARepetitionAgainAndTellsItOnce)
{
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(put(event(5)), hex("0000 00C1 0000 0005"));
        now += 1s;
    }
    EXPECT_EQ(counts().events, 1U);
    EXPECT_EQ(counts().repeated, 2U);
}

TEST_F(MessageInbox, TakesAnotherMessageUnderTheSameIdForNew)
{
    put(event(5, 0x9001));
    put(event(5, 0x9002));                                    // other bytes
    put(event(6, 0x9001));                                    // another ID
    put(event(5, 0x9001), Endpoint{device_address, 50'001});  // another source port
    EXPECT_EQ(counts().events, 4U);
    EXPECT_EQ(counts().repeated, 0U);
}

TEST_F(MessageInbox, ForgetsWhatItToldAfterAWhile)
{
    put(event(5));
    now += control::MessageInbox::remembered_time;
    put(event(5));
    EXPECT_EQ(counts().events, 2U) << "the IDs have come round";

    for (unsigned id = 1; id <= control::MessageInbox::remembered_messages; ++id) {
        put(event(100 + id));
    }
    put(event(5));
    EXPECT_EQ(counts().events, 3U + control::MessageInbox::remembered_messages) << "so many are remembered, not more";
}

TEST_F(MessageInbox, DropsWhatComesFromElsewhere)
{
    EXPECT_TRUE(put(event(1), Endpoint{{0xC0A80106}, 50'000}).empty());
    EXPECT_EQ(counts().foreign, 1U);
    inbox.expect_from(40'000);
    EXPECT_TRUE(put(event(1)).empty());
    EXPECT_EQ(counts().foreign, 2U);
    EXPECT_TRUE(inbox.is_empty());
    EXPECT_FALSE(put(event(1), Endpoint{device_address, 40'000}).empty());
    EXPECT_EQ(counts().events, 1U);
    inbox.put_truncated(device);
    EXPECT_EQ(counts().foreign, 3U);
    inbox.put_truncated({device_address, 40'000});
    EXPECT_EQ(counts().malformed, 1U);
}

TEST_F(MessageInbox, CountsAndDropsWhatIsNoEvent)
{
    const std::vector<Bytes> wrong{
        {},
        hex("42"),
        hex("41 01 00C0 0010 0001  0000 9001 0001 0007 0102030405060708"),  // another key
        hex("42 01 00C0 0010 0000  0000 9001 0001 0007 0102030405060708"),  // no request ID
        hex("42 01 00C0 0011 0001  0000 9001 0001 0007 0102030405060708"),  // longer than the datagram
        hex("42 01 00C0 0000 0001"),                                        // no event
        hex("42 01 00C0 000F 0001  0000 9001 0001 0007 01020304050607"),    // less than an event
        hex("42 01 00C2 000C 0001  0000 9001 0001 0007 01020304"),
        hex("42 11 00C0 0010 0001  0018 9001 0001 0007 0102030405060708"),  // less than an extended one
        hex("42 11 00C2 0018 0001  0017 9001 0001 0000 0000000000000007 0102030405060708"),  // size below its head
        hex("42 11 00C2 0018 0001  0019 9001 0001 0000 0000000000000007 0102030405060708"),  // size beyond the end
        hex("42 01 0080 0004 0001  00000938"),                                               // READREG
        hex("0000 00C1 0000 0001"),                                                          // an acknowledge
    };
    for (const Bytes& datagram : wrong) {
        EXPECT_TRUE(put(datagram).empty());
    }
    EXPECT_EQ(counts().malformed, wrong.size());
    EXPECT_TRUE(inbox.is_empty());
}

TEST_F(MessageInbox, TellsTheWholeEventsOfAMessageThatEndsInTheMiddleOfOne)
{
    EXPECT_FALSE(put(hex("42 01 00C0 0018 0001  0000 9001 0001 0007 0102030405060708 0000 9002 0001 0007")).empty());
    EXPECT_EQ(counts().events, 1U);
    EXPECT_EQ(counts().malformed, 1U);
}

TEST_F(MessageInbox, DropsTheNewestWhenTooManyWait)
{
    for (unsigned i = 0; i < control::MessageInbox::most_events + 3; ++i) {
        EXPECT_FALSE(put(event(1 + i, i & 0x7FFF)).empty()) << "the device need not repeat it";
    }
    EXPECT_EQ(counts().events, control::MessageInbox::most_events);
    EXPECT_EQ(counts().dropped, 3U);
    EXPECT_EQ(take().id, 0);
    put(event(9999, 0x1234));
    EXPECT_EQ(counts().dropped, 3U);
    std::uint16_t last = 0;
    while (const auto waiting = inbox.take()) {
        last = waiting->id;
    }
    EXPECT_EQ(last, 0x1234);
}

TEST_F(MessageInbox, DropsTheNewestWhenTheirDataIsTooMuch)
{
    Bytes large = hex("42 01 00C2 FC00 0001  0000 9002 FFFF 0000 0000000000000009");
    large.resize(8 + 0xFC00);
    std::size_t bytes = 0;
    for (unsigned i = 1; bytes + 0xFC00 <= control::MessageInbox::most_bytes; ++i, bytes += 0xFC00) {
        large[7] = static_cast<std::uint8_t>(i);
        put(large);
    }
    EXPECT_EQ(counts().dropped, 0U);
    large[7] = 0xFF;
    put(large);
    EXPECT_EQ(counts().dropped, 1U);
    take();
    large[7] = 0xFE;
    put(large);
    EXPECT_EQ(counts().dropped, 1U);
}
