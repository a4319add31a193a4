// Data that is where it belongs before anybody has looked at its packet. What comes out must be what comes out of the
// same packets with their data beside them.
#include <array>
#include <memory>
#include <random>

#include "sdk/stream_core/packet_bitmap.h"
#include "tests/sdk/stream_core/assembler_fixture.h"
#include "tests/sdk/stream_core/lander.h"
#include "tests/sdk/stream_core/type_packets.h"

using namespace vex;

namespace {

using namespace assembly;
using packets::BlockForm;
using packets::picture;
using stream::BlockFate;
using stream::PacketFate;

constexpr Endpoint from_camera{camera, 20000};

/// An assembler and its buffers.
struct Twin {
    explicit Twin(const stream::StreamSettings& settings) { assembler.set_settings(settings); }

    void queue(std::uint32_t size)
    {
        buffers.push_back(std::make_unique<GuardedBuffer>(size));
        port.idle.push_back(&buffers.back()->buffer());
    }

    std::vector<std::unique_ptr<GuardedBuffer>> buffers;
    Port port;
    stream::BlockAssembler assembler{port, camera};
};

class AssemblerLanding : public testing::Test {
protected:
    /// New ones with the settings as they are.
    void make_twins()
    {
        plain = std::make_unique<Twin>(settings);
        landed = std::make_unique<Twin>(settings);
    }
    void queue(std::uint32_t size)
    {
        plain->queue(size);
        landed->queue(size);
    }
    /// Gives a batch to both, and lets it land at one. Returns how many datagrams were where they belong.
    std::size_t receive(const std::vector<Bytes>& batch, const Endpoint& source = from_camera, bool skipping = true)
    {
        std::vector<net::Datagram> datagrams;
        for (const Bytes& bytes : batch) {
            datagrams.push_back({bytes, source});
        }
        plain->assembler.process(datagrams, now);
        Lander lander;
        std::vector<net::Datagram> landing = lander.land(batch, source, landed->assembler.landing(), skipping);
        const std::size_t well = landed->assembler.landed_well(landing);
        lander.recall(landing, well);
        landed->assembler.process(landing, now);
        return well;
    }
    void expect_equal() const
    {
        ASSERT_TRUE(plain->assembler.counters() == landed->assembler.counters());
        ASSERT_EQ(plain->port.delivered.size(), landed->port.delivered.size());
        ASSERT_EQ(plain->port.requests.size(), landed->port.requests.size());
        ASSERT_EQ(plain->assembler.next_deadline(), landed->assembler.next_deadline());
        for (std::size_t i = 0; i < plain->port.delivered.size(); ++i) {
            const Delivered& one = plain->port.delivered[i];
            const Delivered& other = landed->port.delivered[i];
            ASSERT_EQ(one.fate, other.fate);
            ASSERT_EQ(one.result(), other.result());
            ASSERT_EQ(one.id(), other.id());
            ASSERT_EQ(one.buffer->GetAcquiredSize(), other.buffer->GetAcquiredSize());
            ASSERT_EQ(one.missing(), other.missing());
            // where packets are missing, the memory holds anything
            if (one.fate == BlockFate::complete) {
                const std::size_t size = one.buffer->GetAcquiredSize();
                ASSERT_EQ(one.data(size), other.data(size)) << "block " << one.id();
            }
        }
    }

    stream::StreamSettings settings;
    std::unique_ptr<Twin> plain;
    std::unique_ptr<Twin> landed;
    net::Clock::time_point now{100s};
};

using Batch = std::vector<Bytes>;

Batch part(const Batch& block, std::size_t begin, std::size_t end)
{
    return {block.begin() + static_cast<std::ptrdiff_t>(begin), block.begin() + static_cast<std::ptrdiff_t>(end)};
}

Batch image(std::uint64_t id, bool extended = false)
{
    return packets::image_block({.id = id, .extended = extended}, {.width = 16, .height = 16}, picture(256, id), 20,
                                id);
}

TEST_F(AssemblerLanding, FillsABlockInPlace)
{
    for (const bool extended : {false, true}) {
        make_twins();
        queue(256);
        const Batch block = image(7, extended);  // leader, 12 full packets, one of 16 bytes, trailer
        ASSERT_EQ(block.size(), 15U);
        EXPECT_TRUE(landed->assembler.landing().memory.empty());
        EXPECT_EQ(receive(part(block, 0, 2)), 0U);
        EXPECT_EQ(landed->assembler.landing().packets(), 11U);
        EXPECT_EQ(landed->assembler.landing().data, 20U);
        EXPECT_EQ(landed->assembler.landing().header, extended ? 20U : 8U);
        EXPECT_EQ(receive(part(block, 2, 7)), 5U);
        EXPECT_EQ(receive(part(block, 7, 15)), 6U);
        expect_equal();
        ASSERT_EQ(landed->port.delivered.size(), 1U);
        EXPECT_EQ(landed->port.delivered[0].data(256), picture(256, 7));
    }
}

TEST_F(AssemblerLanding, StopsAtTheFirstPacketThatIsNotTheNext)
{
    make_twins();
    queue(256);
    const Batch block = image(1);
    receive(part(block, 0, 2));
    // packet 4 is lost on its way
    EXPECT_EQ(receive({block[2], block[3], block[5], block[6]}), 2U);
    EXPECT_EQ(receive(part(block, 7, 10)), 3U);
    // twice, late, and the end
    EXPECT_EQ(receive({block[9], block[4], block[10]}), 0U);
    EXPECT_EQ(receive(part(block, 11, 15)), 2U);
    expect_equal();
    ASSERT_EQ(landed->port.delivered.size(), 1U);
    EXPECT_EQ(landed->port.delivered[0].fate, BlockFate::complete);
}

TEST_F(AssemblerLanding, OfAnotherSenderIsNotTaken)
{
    make_twins();
    queue(256);
    const Batch block = image(1);
    receive(part(block, 0, 2));
    EXPECT_EQ(receive(part(block, 2, 7), {{0x7F000029}, 20000}), 0U);
    EXPECT_EQ(receive(part(block, 2, 7), {camera, wire::gvcp::port}), 0U);
    EXPECT_EQ(landed->assembler.counters().of(PacketFate::foreign), 10U);
    EXPECT_EQ(receive(part(block, 2, 7)), 5U);
    expect_equal();
}

TEST_F(AssemblerLanding, EveryFieldOfAHeaderCounts)
{
    for (const bool extended : {false, true}) {
        const std::size_t size = extended ? 20 : 8;
        for (std::size_t bit = 0; bit < size * 8; ++bit) {
            make_twins();
            queue(256);
            const Batch block = image(0x0102, extended);
            receive(part(block, 0, 2));
            Bytes packet = block[2];
            packet[bit / 8] = static_cast<std::uint8_t>(packet[bit / 8] ^ 1U << bit % 8);
            EXPECT_EQ(receive({packet}), 0U) << "bit " << bit;
            expect_equal();
        }
    }
}

TEST_F(AssemblerLanding, PlacesEndWithTheBufferAndWithTheAnnouncement)
{
    make_twins();
    queue(100);  // of 256 bytes
    const Batch block = image(1);
    receive(part(block, 0, 2));
    EXPECT_EQ(landed->assembler.landing().packets(), 4U);
    receive(part(block, 2, 15));
    expect_equal();

    // a camera that fills its last packet up
    queue(2000);
    Batch filled = image(2);
    filled[13].resize(filled[12].size(), 0x77);
    receive(part(filled, 0, 2));
    EXPECT_EQ(landed->assembler.landing().packets(), 11U);
    receive(part(filled, 2, 15));
    expect_equal();
    EXPECT_EQ(landed->port.delivered.back().fate, BlockFate::complete);
}

TEST_F(AssemblerLanding, ThereAreNoPlacesWhereNothingIsCertain)
{
    make_twins();
    const auto places = [this] { return landed->assembler.landing().packets(); };
    EXPECT_EQ(places(), 0U);
    const Batch block = image(1);
    receive(part(block, 0, 2));
    EXPECT_EQ(places(), 0U) << "without a buffer";
    queue(256);
    const Batch second = image(2);
    receive({second[0]});
    EXPECT_EQ(places(), 0U) << "before the first payload";
    receive(part(second, 1, 3));
    EXPECT_NE(places(), 0U);
    receive({second[14]});
    EXPECT_EQ(places(), 0U) << "behind the trailer";
    landed->assembler.abort();
    plain->assembler.abort();
    EXPECT_EQ(places(), 0U) << "of an aborted block";
    expect_equal();
}

TEST_F(AssemblerLanding, BehindACutPacketNothingIsCertain)
{
    make_twins();
    queue(256);
    const Batch block = image(1);
    receive(part(block, 0, 2));
    Bytes cut = block[2];
    cut.resize(15);
    receive({cut});
    EXPECT_EQ(landed->assembler.landing().packets(), 0U);
    receive(part(block, 3, 6));
    expect_equal();
    receive({block[2]});
    receive(part(block, 6, 15));
    expect_equal();
    ASSERT_EQ(landed->port.delivered.size(), 1U);
    EXPECT_EQ(landed->port.delivered[0].fate, BlockFate::complete);
}

TEST_F(AssemblerLanding, ACutPacketAmongOthersEndsTheRun)
{
    make_twins();
    queue(256);
    const Batch block = image(1);
    receive(part(block, 0, 2));
    Bytes cut = block[4];
    cut.resize(15);
    EXPECT_EQ(receive({block[2], block[3], cut, block[5], block[6]}), 2U);
    receive({block[4]});
    receive(part(block, 7, 15));
    expect_equal();
    ASSERT_EQ(landed->port.delivered.size(), 1U);
    EXPECT_EQ(landed->port.delivered[0].fate, BlockFate::complete);
}

TEST_F(AssemblerLanding, PacketsOfATailThatWasAskedForAreCountedAsAnswers)
{
    settings.resend_packet_enable = true;
    make_twins();
    for (int i = 0; i < 2; ++i) {
        queue(256);
    }
    receive(image(1));
    const Batch block = image(2);
    const auto pass_until_asked = [&](std::size_t requests) {
        while (landed->port.requests.size() < requests) {
            now += 1ms;
            plain->assembler.on_time(now);
            landed->assembler.on_time(now);
            ASSERT_LT(now.time_since_epoch(), 200s);
        }
    };
    receive(part(block, 0, 5));
    pass_until_asked(1);
    receive(part(block, 5, 6));
    pass_until_asked(2);
    receive(part(block, 6, 10));
    EXPECT_EQ(plain->assembler.counters().resends_expected, 5U);
    expect_equal();
}

TEST_F(AssemblerLanding, AnEndedBlockReachesAsFarAsItsLastPacket)
{
    make_twins();
    queue(2000);
    const Batch block = packets::payload_packets({.id = 1}, picture(400, 1), 20);
    receive({block[0]});
    EXPECT_EQ(receive(part(block, 1, 9)), 8U);
    plain->assembler.abort();
    landed->assembler.abort();
    ASSERT_EQ(plain->port.delivered.size(), 1U);
    EXPECT_EQ(plain->port.delivered[0].buffer->GetAcquiredSize(), 180U);
    expect_equal();
}

TEST_F(AssemblerLanding, ABlockOfUnannouncedSizeReachesAsFarAsItsLastPacket)
{
    make_twins();
    queue(200);
    const Bytes data = packets::chunk(7, picture(92, 1));  // five full packets
    Batch block{packets::chunk_leader({.id = 1}, 1)};
    for (const Bytes& packet : packets::payload_packets({.id = 1}, data, 20)) {
        block.push_back(packet);
    }
    block.push_back(packets::chunk_trailer({.id = 1}, 6, 100));
    receive(part(block, 0, 2));
    EXPECT_EQ(receive(part(block, 2, 7)), 4U);
    ASSERT_EQ(landed->port.delivered.size(), 1U);
    EXPECT_EQ(landed->port.delivered[0].data(100), data);
    for (const Twin* twin : {plain.get(), landed.get()}) {
        EXPECT_EQ(twin->port.delivered.at(0).buffer->GetChunkCount(), 1U);
    }
    expect_equal();
}

/// Blocks over a network that loses, doubles and holds back packets, in batches of any size.
class RandomTraffic {
public:
    RandomTraffic(std::mt19937& random, bool extended) : random_(random), extended_(extended) {}

    void add_block()
    {
        const auto size = 1 + below(600);
        const std::size_t stride = below(4) == 0 ? 5 + below(60) : 32;
        ++id_;
        Batch block = packets::image_block({.id = id_, .extended = extended_}, {.width = size, .height = 1},
                                           picture(size, id_), stride, id_);
        const bool bad_network = below(2) == 0;
        for (Bytes& packet : block) {
            if (bad_network && below(100) < 4) {
                held_.push_back(packet);
                continue;
            }
            if (bad_network && below(100) < 3) {
                continue;
            }
            if (bad_network && below(100) < 2) {
                packet.resize(packet.size() - below(static_cast<std::uint32_t>(packet.size())));
            }
            line.push_back(packet);
            if (bad_network && below(100) < 3) {
                line.push_back(packet);
            }
            if (!held_.empty() && below(4) == 0) {
                line.push_back(held_.back());
                held_.pop_back();
            }
        }
    }

    Batch next_batch()
    {
        const std::size_t count = std::min<std::size_t>(1 + below(25), line.size());
        Batch batch = part(line, 0, count);
        line.erase(line.begin(), line.begin() + static_cast<std::ptrdiff_t>(count));
        return batch;
    }

    std::uint32_t below(std::uint32_t limit) { return static_cast<std::uint32_t>(random_()) % limit; }

    Batch line;

private:
    std::mt19937& random_;
    const bool extended_;
    std::uint64_t id_ = 0;
    Batch held_;
};

TEST_F(AssemblerLanding, AnyTrafficComesOutTheSame)
{
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    std::size_t in_place = 0;
    for (int run = 0; run < 12; ++run) {
        settings.resend_packet_enable = run % 3 == 0;
        make_twins();
        RandomTraffic traffic(random, run % 2 == 0);
        for (int block = 0; block < 120; ++block) {
            if (traffic.below(10) != 0) {
                queue(100 + traffic.below(700));
            }
            traffic.add_block();
            while (traffic.line.size() > 20) {
                now += std::chrono::microseconds(traffic.below(3000));
                const bool foreign = traffic.below(50) == 0;
                in_place += receive(traffic.next_batch(), foreign ? Endpoint{{0x01020304}, 5} : from_camera,
                                    traffic.below(2) == 0);
                ASSERT_NO_FATAL_FAILURE(expect_equal());
            }
        }
        now += 10s;
        plain->assembler.on_time(now);
        landed->assembler.on_time(now);
        ASSERT_NO_FATAL_FAILURE(expect_equal());
    }
    EXPECT_GT(in_place, 1000U);
}

TEST(PacketBitmap, TakesRuns)
{
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (int round = 0; round < 300; ++round) {
        stream::PacketBitmap runs;
        stream::PacketBitmap singles;
        for (int i = 0; i < 5; ++i) {
            const auto first = static_cast<std::uint32_t>(random() % 400);
            const auto count = static_cast<std::uint32_t>(random() % 200);
            runs.set_run(first, count);
            for (std::uint32_t id = first; id < first + count; ++id) {
                singles.set(id);
            }
        }
        for (std::uint32_t id = 0; id < 700; ++id) {
            ASSERT_EQ(runs.test(id), singles.test(id)) << id;
        }
    }
}

}  // namespace
