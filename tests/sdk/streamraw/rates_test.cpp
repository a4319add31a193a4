// What a raw stream measures, on a clock that the test moves.
#include <chrono>

#include "sdk/stream_core/stream_channel.h"
#include "sdk/streamraw/PvStatistics.h"
#include "tests/sdk/stream_core/stream_fixture.h"
#include "tests/sdk/virtualdevice/manual_clock.h"

namespace {

using namespace stream_test;
using namespace std::chrono_literals;

class Rates : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(channel.open({.device = camera, .local = host}).IsOK()); }

    /// The block arrives and is retrieved at this moment.
    void take_block(std::uint64_t timestamp)
    {
        ASSERT_TRUE(channel.queue(&buffer).IsOK());
        const std::uint16_t port = channel.endpoints()->port;
        ++id_;
        for (const auto& packet : packets::image_block({.id = id_}, {}, packets::picture(64, id_), 64, timestamp)) {
            ASSERT_FALSE(sender.send_to({host, port}, packet));
        }
        PvBuffer* retrieved = nullptr;
        PvResult operation;
        ASSERT_TRUE(channel.retrieve(retrieved, operation, ample).IsOK());
        ASSERT_TRUE(operation.IsOK());
    }

    ManualClock clock;
    PvBuffer buffer;
    stream::StreamChannel channel{clock};
    PvStatistics statistics{channel};
    net::UdpSocket sender = net::UdpSocket::open({camera, 0});

private:
    std::uint64_t id_ = 0;
};

TEST_F(Rates, AreOfTheLastSecondAndOnAverage)
{
    EXPECT_EQ(statistics.GetBandwidth(), 0);
    EXPECT_EQ(statistics.GetAcquisitionRateAverage(), 0);
    take_block(0);
    for (int i = 0; i < 4; ++i) {
        clock.advance(1s);
        take_block(0);
    }
    for (int i = 0; i < 10; ++i) {
        clock.advance(100ms);
        take_block(0);
    }
    EXPECT_EQ(statistics.GetSamplingTime(), 5000U);  // ms
    EXPECT_NEAR(statistics.GetAcquisitionRate(), 10, 0.001);
    EXPECT_NEAR(statistics.GetBandwidth(), 10 * 64 * 8, 0.1);
    EXPECT_NEAR(statistics.GetAcquisitionRateAverage(), 14 / 5.0, 0.001);
    EXPECT_NEAR(statistics.GetBandwidthAverage(), 14 / 5.0 * 64 * 8, 0.1);
    clock.advance(10s);
    EXPECT_EQ(statistics.GetAcquisitionRate(), 0);
    EXPECT_EQ(statistics.GetBandwidth(), 0);
    EXPECT_NEAR(statistics.GetAcquisitionRateAverage(), 14 / 5.0, 0.001);
    statistics.Reset();
    EXPECT_EQ(statistics.GetSamplingTime(), 0U);
    EXPECT_EQ(statistics.GetAcquisitionRateAverage(), 0);
}

TEST_F(Rates, GoByTheDevicesClockWhereThatIsPreferredAndBlocksCarryIt)
{
    EXPECT_EQ(statistics.GetTimestampSourcePreferred(), PvTimestampSourceHardware);
    EXPECT_EQ(statistics.GetTimestampSourceEffective(), PvTimestampSourceSoftware);
    take_block(1'000'000);
    EXPECT_EQ(statistics.GetTimestampSourceEffective(), PvTimestampSourceSoftware);
    // 20 ms apart by the device, which ticks 1000 times in each; the block that the last second begins with is late
    for (int i = 1; i <= 60; ++i) {
        const auto late = i == 10 ? 5ms : 0ms;
        clock.advance(20ms + late - (i == 11 ? 5ms : 0ms));
        take_block(1'000'000 + static_cast<std::uint64_t>(i) * 1000);
    }
    EXPECT_EQ(statistics.GetTimestampSourceEffective(), PvTimestampSourceHardware);
    EXPECT_NEAR(statistics.GetAcquisitionRate(), 50, 0.001);
    statistics.SetTimestampSourcePreferred(PvTimestampSourceSoftware);
    EXPECT_EQ(statistics.GetTimestampSourceEffective(), PvTimestampSourceSoftware);
    EXPECT_NEAR(statistics.GetAcquisitionRate(), 50 / 0.995, 0.001);
    statistics.SetTimestampSourcePreferred(PvTimestampSourceHardware);
    clock.advance(20ms);
    take_block(0);
    EXPECT_EQ(statistics.GetTimestampSourceEffective(), PvTimestampSourceSoftware);
}

TEST_F(Rates, GoByTheHostsClockFromATimestampThatGoesBackOrStandsUntilTwoAreInOrderAgain)
{
    take_block(9'000);
    clock.advance(20ms);
    take_block(10'000);
    EXPECT_EQ(statistics.GetTimestampSourceEffective(), PvTimestampSourceHardware);
    for (const std::uint64_t odd : {500U, 500U}) {  // the camera began anew; and one that stands still
        clock.advance(20ms);
        take_block(odd);
        EXPECT_EQ(statistics.GetTimestampSourceEffective(), PvTimestampSourceSoftware);
        EXPECT_NEAR(statistics.GetAcquisitionRate(), 50, 0.001);
        EXPECT_NEAR(statistics.GetBandwidth(), 50 * 64 * 8, 0.1);
    }
    clock.advance(20ms);
    take_block(1'500);
    EXPECT_EQ(statistics.GetTimestampSourceEffective(), PvTimestampSourceHardware);
    EXPECT_NEAR(statistics.GetAcquisitionRate(), 50, 0.001) << "by the ticks since then";
}

}  // namespace
