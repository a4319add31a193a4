#include "sdk/transmitterraw/stream_faults.h"

#include <algorithm>
#include <map>

#include "sdk/wire/gvsp.h"
#include "tests/sdk/transmitterraw/packets.h"

using namespace vex;
using namespace std::chrono_literals;
using transmitter::StreamFaultSettings;
namespace gvsp = wire::gvsp;

namespace {

using Packets = std::vector<std::vector<std::uint8_t>>;
constexpr std::size_t data_bytes = 100;

/// A block of an image: leader, payload packets, trailer.
Packets block(std::uint64_t id, std::uint32_t payload_packets, bool extended = false)
{
    Packets packets;
    for (std::uint32_t packet = 0; packet < payload_packets + 2; ++packet) {
        gvsp::Header header;
        header.block_id = id;
        header.packet_id = packet;
        header.extended_ids = extended;
        std::vector<std::uint8_t> bytes(header.size() + gvsp::largest_leader);
        const auto body = std::span(bytes).subspan(header.size());
        std::size_t size = data_bytes;
        if (packet == 0) {
            header.format = gvsp::Format::leader;
            gvsp::Leader leader;
            leader.payload_type = gvsp::payload_type::image;
            leader.image = gvsp::ImageInfo{.pixel_format = 0x01080001, .size_x = 10, .size_y = 40};
            size = gvsp::encode_leader(leader, body);
        } else if (packet == payload_packets + 1) {
            header.format = gvsp::Format::trailer;
            gvsp::Trailer trailer;
            trailer.payload_type = gvsp::payload_type::image;
            trailer.size_y = 40;
            size = gvsp::encode_trailer(trailer, body);
        } else {
            header.format = gvsp::Format::payload;
            std::fill_n(body.begin(), data_bytes, static_cast<std::uint8_t>(packet));
        }
        gvsp::encode_header(header, bytes);
        bytes.resize(header.size() + size);
        packets.push_back(std::move(bytes));
    }
    return packets;
}

class StreamFaults : public testing::Test {
protected:
    void pass(transmitter::StreamFaults& faults, const Packets& packets, bool resend = false)
    {
        for (const auto& packet : packets) {
            faults.pass(packet, resend, now, [this](auto datagram) { keep(datagram); });
        }
    }
    /// What comes out of one block with such faults, all of it.
    Packets through(const StreamFaultSettings& settings, const Packets& packets, bool resend = false)
    {
        transmitter::StreamFaults faults(settings);
        sent.clear();
        pass(faults, packets, resend);
        faults.flush([this](auto datagram) { keep(datagram); });
        statistics = faults.statistics();
        return sent;
    }
    void keep(std::span<const std::uint8_t> datagram) { sent.emplace_back(datagram.begin(), datagram.end()); }
    [[nodiscard]] static std::vector<std::uint32_t> ids(const Packets& packets)
    {
        std::vector<std::uint32_t> found;
        for (const auto& packet : packets) {
            found.push_back(parse(packet).packet_id);
        }
        return found;
    }

    transmitter::StreamFaults::time_point now{1h};
    Packets sent;
    transmitter::StreamFaultStatistics statistics;
};

/// Where the packets of one block came, by their IDs.
std::map<std::uint32_t, std::size_t> places(const std::vector<std::uint32_t>& ids)
{
    std::map<std::uint32_t, std::size_t> found;
    for (std::size_t place = 0; place < ids.size(); ++place) {
        found[ids[place]] = place;
    }
    return found;
}

}  // namespace

TEST_F(StreamFaults, WithoutAnyPacketsPassAsTheyAre)
{
    EXPECT_FALSE(StreamFaultSettings{}.any());
    EXPECT_EQ(through({}, block(1, 50)), block(1, 50));
    EXPECT_EQ(statistics.packets, 52U);
}

TEST_F(StreamFaults, APacketMayComeInTwoParts)
{
    transmitter::StreamFaults faults({});
    const Packets packets = block(1, 1);
    const std::span<const std::uint8_t> whole(packets[1]);
    faults.pass(whole.first(8), whole.subspan(8), false, now, [this](auto datagram) { keep(datagram); });
    EXPECT_EQ(sent, Packets{packets[1]});
}

TEST_F(StreamFaults, TheSameSeedGivesTheSameFaults)
{
    StreamFaultSettings settings{
        .seed = 5, .lost = 100, .doubled = 50, .reordered = 100, .corrupted = 50, .shortened = 50};
    const Packets once = through(settings, block(1, 500));
    EXPECT_EQ(through(settings, block(1, 500)), once);
    settings.seed = 6;
    EXPECT_NE(through(settings, block(1, 500)), once);
}

TEST_F(StreamFaults, WhatIsSentAgainDoesNotChangeWhatHappensToTheOthers)
{
    const StreamFaultSettings settings{.lost = 200, .relost = 500};
    const Packets undisturbed = through(settings, block(1, 500));
    transmitter::StreamFaults faults(settings);
    sent.clear();
    for (const auto& packet : block(1, 500)) {
        faults.pass(packet, true, now, [](auto) {});
        faults.pass(packet, false, now, [this](auto datagram) { keep(datagram); });
    }
    EXPECT_EQ(sent, undisturbed);
}

TEST_F(StreamFaults, LosesFirstTransmissionsAtTheRate)
{
    const Packets left = through({.lost = 100}, block(1, 5000));
    EXPECT_NEAR(static_cast<double>(left.size()), 4500.0, 100.0);
    EXPECT_EQ(statistics.lost, 5002U - left.size());
    EXPECT_EQ(through({.lost = 1000}, block(1, 50), true).size(), 52U) << "what is sent again arrives";
}

TEST_F(StreamFaults, LosesWhatIsSentAgainAtARateOfItsOwn)
{
    EXPECT_NEAR(static_cast<double>(through({.relost = 100}, block(1, 5000), true).size()), 4500.0, 100.0);
    EXPECT_EQ(through({.relost = 1000}, block(1, 50)).size(), 52U);
}

TEST_F(StreamFaults, LosesBurstsOfTheirLength)
{
    const auto left = ids(through({.bursts = 2, .burst = 20}, block(1, 5000)));
    ASSERT_GT(statistics.bursts, 2U);
    std::size_t gaps = 0;
    for (std::size_t i = 1; i < left.size(); ++i) {
        const std::uint32_t missing = left[i] - left[i - 1] - 1;
        EXPECT_EQ(missing % 20, 0U) << "one burst, or several in a row";
        gaps += missing / 20;
    }
    EXPECT_EQ(gaps, statistics.bursts);
    EXPECT_EQ(statistics.lost, 20 * statistics.bursts);
}

TEST_F(StreamFaults, DoublesPackets)
{
    const Packets all = through({.doubled = 100}, block(1, 1000));
    EXPECT_NEAR(static_cast<double>(statistics.doubled), 100.0, 40.0);
    EXPECT_EQ(all.size(), 1002U + statistics.doubled);
    Packets once = all;
    once.erase(std::unique(once.begin(), once.end()), once.end());
    EXPECT_EQ(once, block(1, 1000)) << "each behind itself";
}

TEST_F(StreamFaults, ReordersWithinTheDistanceAndLosesNothing)
{
    const auto order = ids(through({.reordered = 100, .reorder_distance = 4}, block(1, 1000)));
    ASSERT_EQ(order.size(), 1002U);
    EXPECT_NEAR(static_cast<double>(statistics.reordered), 100.0, 40.0);
    std::size_t late = 0;
    for (const auto& [id, place] : places(order)) {
        late += place > id ? 1 : 0;
        EXPECT_LE(place, id + 4U);
    }
    EXPECT_GE(late, statistics.reordered / 2) << "two that are late together may keep their order";
    EXPECT_EQ(places(order).size(), 1002U);
}

TEST_F(StreamFaults, WhatWaitsForLaterPacketsComesAfterAPauseToo)
{
    transmitter::StreamFaults faults({.reordered = 1000, .reorder_distance = 8});
    const auto collect = [this](auto datagram) { keep(datagram); };
    pass(faults, {block(1, 1)[0]});
    EXPECT_TRUE(sent.empty());
    now += transmitter::StreamFaults::longest_hold - 1us;
    EXPECT_TRUE(faults.tick(now, collect));
    EXPECT_TRUE(sent.empty());
    now += 1us;
    EXPECT_FALSE(faults.tick(now, collect));
    EXPECT_EQ(sent.size(), 1U);
}

TEST_F(StreamFaults, DelaysForTheTimeWhateverComesMeanwhile)
{
    transmitter::StreamFaults faults({.delayed = 1000, .delay = 20ms});
    const auto collect = [this](auto datagram) { keep(datagram); };
    pass(faults, block(1, 30));
    EXPECT_TRUE(sent.empty());
    now += 20ms - 1us;
    EXPECT_TRUE(faults.tick(now, collect));
    EXPECT_TRUE(sent.empty());
    now += 1us;
    EXPECT_FALSE(faults.tick(now, collect));
    EXPECT_EQ(sent, block(1, 30));
    EXPECT_EQ(faults.statistics().delayed, 32U);
}

TEST_F(StreamFaults, CorruptsHeadersOnly)
{
    for (const bool extended : {false, true}) {
        const Packets whole = block(1, 500, extended);
        const Packets spoilt = through({.corrupted = 1000}, whole);
        ASSERT_EQ(spoilt.size(), whole.size());
        const std::size_t header = extended ? 20 : 8;
        for (std::size_t i = 0; i < whole.size(); ++i) {
            const auto at = static_cast<std::ptrdiff_t>(header);
            EXPECT_FALSE(std::equal(whole[i].begin(), whole[i].begin() + at, spoilt[i].begin())) << i;
            EXPECT_TRUE(std::equal(whole[i].begin() + at, whole[i].end(), spoilt[i].begin() + at, spoilt[i].end()));
        }
    }
}

TEST_F(StreamFaults, CutsLeadersShort)
{
    for (std::uint64_t seed = 1; seed <= 50; ++seed) {
        const Packets whole = block(1, 3);
        const Packets cut = through({.seed = seed, .truncated_leaders = 1000}, whole);
        ASSERT_EQ(cut.size(), whole.size());
        EXPECT_LT(cut[0].size(), whole[0].size());
        EXPECT_FALSE(cut[0].empty());
        EXPECT_TRUE(std::equal(cut.begin() + 1, cut.end(), whole.begin() + 1));
    }
}

TEST_F(StreamFaults, DropsTrailersEvenWhenTheyAreSentAgain)
{
    Packets without = block(1, 3);
    without.pop_back();
    EXPECT_EQ(through({.lost_trailers = 1000}, block(1, 3)), without);
    EXPECT_EQ(through({.lost_trailers = 1000}, block(1, 3), true), without);
    EXPECT_EQ(statistics.lost_trailers, 1U);
}

TEST_F(StreamFaults, ShortensPayloadPackets)
{
    const Packets whole = block(1, 200);
    const Packets left = through({.shortened = 1000}, whole);
    ASSERT_EQ(left.size(), whole.size());
    EXPECT_EQ(left.front(), whole.front());
    EXPECT_EQ(left.back(), whole.back());
    for (std::size_t i = 1; i + 1 < whole.size(); ++i) {
        EXPECT_LT(left[i].size(), whole[i].size());
        EXPECT_GE(left[i].size(), 8U) << "the header stays whole";
    }
    EXPECT_EQ(statistics.shortened, 200U);
}

TEST_F(StreamFaults, AnnouncesOtherSizesThanFollow)
{
    std::uint32_t fewer = 0;
    std::uint32_t more = 0;
    for (std::uint64_t seed = 1; seed <= 100; ++seed) {
        const Packets other = through({.seed = seed, .resized = 1000}, block(1, 3));
        const std::uint64_t lines = number_at(parse(other[0]).payload, 20, 4);
        EXPECT_NE(lines, 40U);
        EXPECT_GE(lines, 10U);
        EXPECT_LE(lines, 81U);
        fewer += lines < 40 ? 1 : 0;
        more += lines > 40 ? 1 : 0;
    }
    EXPECT_GT(fewer, 10U);
    EXPECT_GT(more, 10U);
}
