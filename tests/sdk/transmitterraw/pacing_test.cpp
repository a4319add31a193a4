// When packets leave at a set rate, by a clock that only moves when something is waited for or sent.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>

#include "sdk/transmitterraw/block_transmitter.h"
#include "tests/sdk/transmitterraw/timed_socket.h"

using namespace vex;

using namespace std::chrono_literals;
using Duration = net::Clock::duration;

namespace {

constexpr std::size_t data_per_packet = 1464;  // of 1500 bytes
constexpr std::size_t header_bytes = 8;
constexpr std::size_t block_bytes = 1024 * 256;

double seconds(Duration time) { return std::chrono::duration<double>(time).count(); }

class Pacing : public testing::Test {
protected:
    Pacing() : transmitter(socket, 0, clock)
    {
        socket.cost = 500ns;
        transmitter.set_wait([this](net::Clock::time_point until, const std::atomic<bool>&) {
            if (until > clock.now()) {
                clock.advance(until - clock.now() + late());
            }
        });
    }

    void set_rate(double megabits, net::Trains trains = net::Trains::never)
    {
        bytes_per_second = megabits * 1e6 / 8;
        transmitter.configure({.destination = {loopback_address, 9},
                               .packet_size = 1500,
                               .bytes_per_second = bytes_per_second,
                               .trains = trains});
    }

    /// Sends blocks one after another for a time.
    void send_for(Duration time)
    {
        const auto end = clock.now() + time;
        const std::vector<std::uint8_t> data(block_bytes);
        while (clock.now() < end) {
            auto block = std::make_shared<transmitter::Block>();
            block->block_id = 1;
            block->leader.payload_type = block->trailer.payload_type = 2;
            block->data = data;
            ASSERT_FALSE(transmitter.send(block));
        }
    }

    static double payload_of(const TimedSocket::Departure& departure)
    {
        return static_cast<double>(departure.bytes - departure.packets * header_bytes);
    }

    /// Payload that left from `from` on, for a time.
    [[nodiscard]] double payload_in(net::Clock::time_point from, Duration time) const
    {
        double bytes = 0;
        for (const auto& departure : socket.departures) {
            bytes += departure.time >= from && departure.time < from + time ? payload_of(departure) : 0;
        }
        return bytes;
    }

    /// The most payload that left within any such time.
    [[nodiscard]] double most_payload_in(Duration time) const
    {
        double most = 0;
        double bytes = 0;
        auto first = socket.departures.begin();
        for (const auto& departure : socket.departures) {
            bytes += payload_of(departure);
            for (; departure.time - first->time > time; ++first) {
                bytes -= payload_of(*first);
            }
            most = std::max(most, bytes);
        }
        return most;
    }

    [[nodiscard]] Duration longest_interval() const
    {
        Duration longest{};
        for (std::size_t i = 1; i < socket.departures.size(); ++i) {
            longest = std::max(longest, socket.departures[i].time - socket.departures[i - 1].time);
        }
        return longest;
    }

    ManualClock clock;
    TimedSocket socket{clock};
    transmitter::BlockTransmitter transmitter;
    double bytes_per_second = 0;
    std::function<Duration()> late = [] { return Duration{}; };  ///< how late a wait ends
};

}  // namespace

TEST_F(Pacing, KeepsTheRateWithinAPercentOverASecond)
{
    for (const double megabits : {5.0, 20.0, 100.0, 400.0, 1000.0, 2000.0}) {
        for (const Duration always_late : std::initializer_list<Duration>{0us, 60us, 300us}) {
            late = [always_late] { return always_late; };
            set_rate(megabits);
            clock.advance(1s);
            socket.departures.clear();
            const auto begin = clock.now();
            send_for(1100ms);
            EXPECT_NEAR(payload_in(begin, 1s) / bytes_per_second, 1.0, 0.01)
                << megabits << " Mbit/s, each wait " << always_late.count() << " ns late";
        }
    }
}

TEST_F(Pacing, LeavesNoIntervalAboveTwoMillisecondsWhileWaitsEndInTime)
{
    const std::uint64_t seed = std::random_device{}();
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937_64 random(seed);
    late = [&random] { return std::chrono::microseconds(random() % 250); };
    for (const double megabits : {8.0, 20.0, 100.0, 400.0, 1000.0, 2000.0}) {
        set_rate(megabits);
        clock.advance(1s);
        socket.departures.clear();
        send_for(500ms);
        EXPECT_LE(longest_interval(), 2ms) << megabits << " Mbit/s";
    }
}

TEST_F(Pacing, AStallIsFollowedByNoMoreThanTwiceTheRateAndAMillisecond)
{
    for (const double megabits : {20.0, 100.0, 1000.0}) {
        for (const Duration stall : std::initializer_list<Duration>{1ms, 3ms, 9ms, 40ms, 300ms}) {
            set_rate(megabits);
            clock.advance(1s);
            socket.departures.clear();
            int waits = 0;
            late = [&waits, stall] { return ++waits == 50 ? stall : Duration{}; };
            send_for(stall + 200ms);
            for (const Duration window : std::initializer_list<Duration>{0us, 200us, 1ms, 5ms, 20ms, 100ms}) {
                // of the packets at its ends, one is of the time outside
                EXPECT_LE(most_payload_in(window), bytes_per_second * (2 * seconds(window) + 0.001) + data_per_packet)
                    << megabits << " Mbit/s, stall of " << seconds(stall) << " s, window of " << seconds(window);
            }
        }
    }
}

TEST_F(Pacing, AStallUpToTheLongestDebtIsMadeUpForAndNoMore)
{
    for (const auto& [stall, lost] :
         {std::pair<Duration, Duration>{40ms, 0ms}, std::pair<Duration, Duration>{300ms, 250ms}}) {
        set_rate(100);
        clock.advance(1s);
        socket.departures.clear();
        int waits = 0;
        late = [&waits, stall = stall] { return ++waits == 50 ? stall : Duration{}; };
        const auto begin = clock.now();
        send_for(1100ms);
        EXPECT_NEAR(payload_in(begin, 1s) / bytes_per_second, seconds(1s - lost), 0.01) << seconds(stall);
    }
}

TEST_F(Pacing, TrainsAreNoLongerThanWhatMayLeaveTogether)
{
    set_rate(100, net::Trains::always);
    send_for(50ms);
    for (const auto& departure : socket.departures) {
        ASSERT_FALSE(departure.train) << "a packet each 117 us";
        ASSERT_EQ(departure.packets, 1U);
    }

    clock.advance(1s);
    socket.departures.clear();
    set_rate(1000, net::Trains::always);
    send_for(50ms);
    std::size_t trains = 0;
    for (const auto& departure : socket.departures) {
        trains += departure.train ? 1 : 0;
        ASSERT_LE(departure.packets, 17U) << "200 us";
    }
    EXPECT_GT(trains, socket.departures.size() / 2);
}

TEST_F(Pacing, WithoutARateTrainsAreFull)
{
    set_rate(0, net::Trains::always);
    socket.departures.clear();
    send_for(1us);  // one block: 180 payload packets
    std::vector<std::size_t> lengths;
    for (const auto& departure : socket.departures) {
        if (departure.train) {
            lengths.push_back(departure.packets);
        }
    }
    ASSERT_GE(lengths.size(), 4U);
    EXPECT_EQ(lengths[0], 44U);
    EXPECT_EQ(lengths[1], 44U);
}

TEST_F(Pacing, TrainsBeginAndEndWithTheSetting)
{
    for (const net::Trains trains : {net::Trains::never, net::Trains::always, net::Trains::automatic}) {
        set_rate(0, trains);
        socket.departures.clear();
        send_for(1us);
        const bool any = std::ranges::any_of(socket.departures, [](const auto& departure) { return departure.train; });
        EXPECT_EQ(any, trains == net::Trains::always) << "there is no device";
    }
}
