// The receive buffer of serial ports: order, room, what was dropped, and how reads end.
#include "sdk/serial_port/receive_buffer.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <numeric>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

using namespace vex;
using namespace std::chrono_literals;

namespace {

using Bytes = std::vector<std::uint8_t>;

/// Stands still until moved, and counts who looks at it.
class WatchedClock final : public net::Clock {
public:
    [[nodiscard]] time_point now() const noexcept override
    {
        ++looks;
        return time_point(std::chrono::nanoseconds(at_.load()));
    }
    void advance(std::chrono::nanoseconds time) { at_ += time.count(); }

    mutable std::atomic<int> looks = 0;

private:
    std::atomic<std::int64_t> at_ = 1'000'000'000;
};

struct Taken {
    PvResult result;
    Bytes bytes;
};

class ReceiveBuffer : public testing::Test {
protected:
    ReceiveBuffer() { EXPECT_TRUE(buffer.open().IsOK()); }

    std::size_t put(const std::string& text)
    {
        return buffer.put({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    }
    Taken take(std::size_t size, std::chrono::milliseconds time = 0ms)
    {
        Taken taken{{}, Bytes(size)};
        std::uint32_t count = 77;
        taken.result = buffer.read(taken.bytes, count, time);
        taken.bytes.resize(count);
        return taken;
    }
    std::string text(std::size_t size)
    {
        const Taken taken = take(size);
        return {taken.bytes.begin(), taken.bytes.end()};
    }
    /// A read on a thread of its own, which has begun to wait.
    std::future<Taken> waiting(std::size_t size, std::chrono::milliseconds time)
    {
        const int looks = clock.looks;
        auto reader = std::async(std::launch::async, [this, size, time] { return take(size, time); });
        while (clock.looks < looks + 2) {  // for its deadline, and for how long to wait
            std::this_thread::yield();
        }
        buffer.nudge();  // comes back once the reader has given the lock back
        return reader;
    }
    /// Until it waits again after what happened: it has looked at the clock once more.
    void await_looks(int looks)
    {
        while (clock.looks < looks) {
            std::this_thread::yield();
        }
    }

    WatchedClock clock;
    serial_port::ReceiveBuffer buffer{clock};
};

TEST_F(ReceiveBuffer, GivesBytesInTheOrderTheyCame)
{
    EXPECT_EQ(put("abc"), 3u);
    EXPECT_EQ(put("defg"), 4u);
    EXPECT_EQ(buffer.ready(), 7u);
    EXPECT_EQ(text(5), "abcde");
    EXPECT_EQ(buffer.ready(), 2u);
    EXPECT_EQ(text(5), "fg");
    EXPECT_EQ(buffer.ready(), 0u);
    EXPECT_EQ(buffer.dropped(), 0u);
}

TEST_F(ReceiveBuffer, IsRightAtEveryPlaceOfItsRing)
{
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    ASSERT_TRUE(buffer.resize(13).IsOK());
    std::uint8_t next_in = 0;
    std::uint8_t next_out = 0;
    for (int round = 0; round < 2000; ++round) {
        Bytes bytes(random() % 14);
        std::iota(bytes.begin(), bytes.end(), next_in);
        const std::size_t room = 13 - buffer.ready();
        const std::size_t taken = buffer.put(bytes);
        ASSERT_EQ(taken, std::min(room, bytes.size()));
        next_in = static_cast<std::uint8_t>(next_in + taken);
        const Taken out = take(random() % 14);
        for (const std::uint8_t byte : out.bytes) {
            ASSERT_EQ(byte, next_out++);
        }
    }
}

TEST_F(ReceiveBuffer, CountsWhatItHadToDrop)
{
    ASSERT_TRUE(buffer.resize(4).IsOK());
    EXPECT_EQ(put("abc"), 3u);
    EXPECT_EQ(put("defgh"), 1u);
    EXPECT_EQ(buffer.dropped(), 4u);
    EXPECT_EQ(put("ij"), 0u);
    EXPECT_EQ(buffer.dropped(), 6u);
    EXPECT_EQ(text(9), "abcd");
    ASSERT_TRUE(buffer.open().IsOK());
    EXPECT_EQ(buffer.dropped(), 0u) << "counted since the port was opened";
}

TEST_F(ReceiveBuffer, IsResizedWithDataInIt)
{
    EXPECT_EQ(buffer.size(), 65'536u);
    ASSERT_TRUE(buffer.resize(8).IsOK());
    put("......");
    EXPECT_EQ(text(6), "......");
    put("abcdef");  // it goes around the end
    ASSERT_TRUE(buffer.resize(20).IsOK());
    EXPECT_EQ(buffer.size(), 20u);
    EXPECT_EQ(buffer.ready(), 6u);
    EXPECT_EQ(put("0123456789ABCDE"), 14u);
    EXPECT_EQ(text(30), "abcdef0123456789ABCD");
    EXPECT_EQ(buffer.dropped(), 1u);
    put("abcdef");
    ASSERT_TRUE(buffer.resize(4).IsOK());
    EXPECT_EQ(buffer.dropped(), 3u) << "the newest did not fit";
    EXPECT_EQ(text(30), "abcd");
}

TEST_F(ReceiveBuffer, RefusesSizesOutsideItsLimits)
{
    for (const std::uint32_t size : {0u, serial_port::ReceiveBuffer::largest_size + 1, 0xFFFFFFFFu}) {
        const PvResult refused = buffer.resize(size);
        EXPECT_EQ(refused.GetCode(), PvResult::InvalidParameter);
        EXPECT_EQ(refused.description(),
                  "The receive buffer size " + std::to_string(size) + " is not one of 1 to 67108864 bytes");
        EXPECT_EQ(buffer.size(), 65'536u);
    }
    EXPECT_TRUE(buffer.resize(1).IsOK());
    EXPECT_TRUE(buffer.resize(serial_port::ReceiveBuffer::largest_size).IsOK());
}

TEST_F(ReceiveBuffer, HasTheSizeThatItWasGivenBeforeItOpened)
{
    serial_port::ReceiveBuffer other(clock);
    EXPECT_TRUE(other.resize(3).IsOK());
    EXPECT_EQ(other.size(), 3u);
    ASSERT_TRUE(other.open().IsOK());
    EXPECT_EQ(other.put(Bytes(5)), 3u);
}

TEST_F(ReceiveBuffer, ReadsAtOnceWithNoTime)
{
    EXPECT_EQ(take(4).result.GetCode(), PvResult::Timeout);
    EXPECT_EQ(take(4).result.description(), "Nothing was received within 0 ms");
    put("ab");
    const Taken taken = take(4);
    EXPECT_TRUE(taken.result.IsOK());
    EXPECT_EQ(taken.bytes.size(), 2u);
    EXPECT_TRUE(take(0).result.IsOK()) << "nothing was wanted";
}

TEST_F(ReceiveBuffer, ReadsUntilItsBufferIsFull)
{
    auto reader = waiting(4, 10min);
    const int looks = clock.looks;
    put("ab");
    await_looks(looks + 1);
    put("cde");
    const Taken taken = reader.get();
    EXPECT_TRUE(taken.result.IsOK());
    EXPECT_EQ(taken.bytes, (Bytes{'a', 'b', 'c', 'd'}));
    EXPECT_EQ(text(9), "e");
}

TEST_F(ReceiveBuffer, ReadsMoreThanItHolds)
{
    ASSERT_TRUE(buffer.resize(8).IsOK());
    auto reader = waiting(1000, 10min);
    std::size_t sent = 0;
    while (sent < 1000) {
        ASSERT_NE(buffer.wait_for_room(1min), 0u);
        const Bytes bytes(std::min<std::size_t>(3, 1000 - sent), static_cast<std::uint8_t>(sent));
        sent += buffer.put(bytes);
    }
    EXPECT_EQ(reader.get().bytes.size(), 1000u);
}

TEST_F(ReceiveBuffer, EndsAReadAtItsTimeAndNotBefore)
{
    auto reader = waiting(4, 1000ms);
    clock.advance(999ms);
    const int looks = clock.looks;
    buffer.nudge();
    await_looks(looks + 1);
    EXPECT_EQ(reader.wait_for(0s), std::future_status::timeout);
    put("ab");
    await_looks(looks + 2);
    clock.advance(1ms);
    buffer.nudge();
    const Taken taken = reader.get();
    EXPECT_TRUE(taken.result.IsOK()) << "it has what is there";
    EXPECT_EQ(taken.bytes, (Bytes{'a', 'b'}));
}

TEST_F(ReceiveBuffer, HasACodeForATimeInWhichNothingCame)
{
    auto reader = waiting(4, 1000ms);
    clock.advance(1000ms);
    buffer.nudge();
    const Taken taken = reader.get();
    EXPECT_EQ(taken.result.GetCode(), PvResult::Timeout);
    EXPECT_EQ(taken.result.description(), "Nothing was received within 1000 ms");
    EXPECT_TRUE(taken.bytes.empty());
}

TEST_F(ReceiveBuffer, EndsAReadWhenItIsClosed)
{
    auto reader = waiting(4, 10min);
    buffer.close({PvResult::Aborted, "closed meanwhile"}, {PvResult::NotConnected, "not open"});
    const Taken taken = reader.get();
    EXPECT_EQ(taken.result.GetCode(), PvResult::Aborted);
    EXPECT_EQ(taken.result.description(), "closed meanwhile");
    EXPECT_EQ(take(4, 10min).result.description(), "not open");
    EXPECT_EQ(take(0, 10min).result.description(), "not open");
    EXPECT_EQ(put("ab"), 0u);
    EXPECT_EQ(buffer.dropped(), 0u);
    EXPECT_EQ(buffer.ready(), 0u);
}

TEST_F(ReceiveBuffer, EndsAReadThatWaitedThroughClosingAndOpening)
{
    auto reader = waiting(4, 10min);
    buffer.close({PvResult::Aborted, "closed meanwhile"}, {PvResult::NotConnected, "not open"});
    ASSERT_TRUE(buffer.open().IsOK());
    put("abcd");
    EXPECT_EQ(reader.get().result.GetCode(), PvResult::Aborted) << "what came later is not its own";
    EXPECT_EQ(text(4), "abcd");
}

TEST_F(ReceiveBuffer, DiscardsWhatNobodyHasReadWhenItIsClosed)
{
    put("abc");
    buffer.close(PvResult::Aborted, {PvResult::NotConnected, "not open"});
    EXPECT_EQ(buffer.ready(), 0u);
    EXPECT_EQ(take(2).result.description(), "not open");
}

TEST_F(ReceiveBuffer, KeepsWhatCameBeforeTheEnd)
{
    put("abc");
    buffer.end({PvResult::NotConnected, "gone"});
    EXPECT_EQ(put("d"), 0u);
    EXPECT_EQ(text(2), "ab");
    EXPECT_EQ(text(2), "c");
    const Taken taken = take(2, 10min);
    EXPECT_EQ(taken.result.GetCode(), PvResult::NotConnected);
    EXPECT_EQ(taken.result.description(), "gone");
}

TEST_F(ReceiveBuffer, EndsAReadAtTheEnd)
{
    auto reader = waiting(4, 10min);
    put("ab");
    buffer.end({PvResult::NotConnected, "gone"});
    EXPECT_EQ(reader.get().bytes, (Bytes{'a', 'b'}));
    EXPECT_EQ(take(4, 10min).result.description(), "gone");
}

TEST_F(ReceiveBuffer, FlushesWhatItHolds)
{
    put("abc");
    buffer.flush();
    EXPECT_EQ(buffer.ready(), 0u);
    EXPECT_EQ(take(4).result.GetCode(), PvResult::Timeout);
    put("de");
    EXPECT_EQ(text(4), "de");
    EXPECT_EQ(buffer.dropped(), 0u) << "nobody lost what was thrown away on purpose";
}

TEST_F(ReceiveBuffer, TellsWhenThereIsRoomAgain)
{
    ASSERT_TRUE(buffer.resize(4).IsOK());
    put("abcd");
    EXPECT_EQ(buffer.wait_for_room(0ms), 0u);
    const int looks = clock.looks;
    auto room = std::async(std::launch::async, [this] { return buffer.wait_for_room(10min); });
    await_looks(looks + 2);
    EXPECT_EQ(text(3), "abc");
    EXPECT_EQ(room.get(), 3u);
    buffer.close(PvResult::Aborted, PvResult::NotConnected);
    EXPECT_EQ(buffer.wait_for_room(10min), 0u) << "at once: nothing can come";
}

TEST(ReceiveBufferOnTheSystemsClock, WaitsForItsTime)
{
    serial_port::ReceiveBuffer buffer;
    ASSERT_TRUE(buffer.open().IsOK());
    Bytes bytes(4);
    std::uint32_t count = 0;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(buffer.read(bytes, count, 30ms).GetCode(), PvResult::Timeout);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 30ms);
}

TEST(ReceiveBufferBeforeItIsOpen, AnswersThatItIsNot)
{
    serial_port::ReceiveBuffer buffer;
    Bytes bytes(4);
    std::uint32_t count = 0;
    EXPECT_EQ(buffer.read(bytes, count, 10min).GetCode(), PvResult::NotConnected);
    EXPECT_EQ(buffer.put(bytes), 0u);
}

TEST_F(ReceiveBuffer, GoesOnAfterItsEnd)
{
    EXPECT_EQ(put("abc"), 3U);
    buffer.end(PvResult::NotConnected);
    EXPECT_EQ(put("x"), 0U);
    buffer.resume();
    EXPECT_EQ(put("de"), 2U);
    EXPECT_EQ(text(5), "abcde");
    EXPECT_EQ(take(1).result.GetCode(), PvResult::Timeout);
    EXPECT_EQ(buffer.dropped(), 0U);
}

TEST_F(ReceiveBuffer, ThatIsClosedDoesNotGoOn)
{
    buffer.close(PvResult::Aborted, PvResult::NotConnected);
    buffer.resume();
    EXPECT_EQ(put("x"), 0U);
    EXPECT_EQ(take(1).result.GetCode(), PvResult::NotConnected);
}

}  // namespace
