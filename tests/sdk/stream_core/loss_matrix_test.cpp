// Blocks over bad lines, from a camera that sends again what it is asked for: every block must arrive whole, whatever
// the line does, and no more may be asked for than was lost.
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "sdk/transmitterraw/stream_faults.h"
#include "tests/sdk/stream_core/resend_fixture.h"

using namespace vex;
using namespace assembly;

namespace {

using packets::BlockForm;
using packets::picture;
using transmitter::StreamFaults;
using transmitter::StreamFaultSettings;
using wire::gvcp::PacketResend;

struct Losses {
    const char* name;
    unsigned single;
    unsigned bursts;
};
enum class Payload { image, extended_image, raw, chunks };
struct Size {
    std::size_t packet;
    std::uint32_t frames;
};

/// Losses, packets out of order and packets that come twice (both of 1,000), bytes in a packet, kind of block.
using Line = std::tuple<Losses, unsigned, unsigned, Size, Payload>;

constexpr std::size_t block_bytes = 60'000;

class LossMatrix : public AssemblerResend, public testing::WithParamInterface<Line> {
protected:
    static std::vector<Bytes> packets_of(Payload payload, std::uint64_t id, std::size_t size)
    {
        BlockForm form{.id = id, .extended = payload == Payload::extended_image};
        const Bytes data = picture(block_bytes, id);
        if (payload == Payload::image || payload == Payload::extended_image) {
            return packets::image_block(form, {.width = 300, .height = 200}, data, size, id);
        }
        std::vector<Bytes> out{payload == Payload::raw ? packets::raw_leader(form, block_bytes, id)
                                                       : packets::chunk_leader(form, id)};
        for (Bytes& packet : packets::payload_packets(form, data, size)) {
            out.push_back(std::move(packet));
        }
        const auto last = static_cast<std::uint32_t>(out.size());
        out.push_back(payload == Payload::raw ? packets::raw_trailer(form, last)
                                              : packets::chunk_trailer(form, last, block_bytes));
        return out;
    }

    /// The same packet, marked as sent again.
    static Bytes again(Bytes packet)
    {
        packet[0] = 0x01;
        return packet;
    }

    void answer(StreamFaults& line, const StreamFaults::Send& send)
    {
        while (!port.requests.empty()) {
            for (const PacketResend& request : std::exchange(port.requests, {})) {
                now += 100us;
                const std::vector<Bytes>& packets = kept_[request.block_id];
                for (std::size_t id = request.first_packet; id <= request.last_packet && id < packets.size(); ++id) {
                    line.pass(again(packets[id]), true, now, send);
                }
            }
        }
    }

    void take_delivered()
    {
        for (const Delivered& delivered : std::exchange(port.delivered, {})) {
            EXPECT_EQ(delivered.result(), PvResult::OK) << "block " << delivered.id();
            EXPECT_EQ(delivered.id(), ++complete_);
            EXPECT_TRUE(delivered.data(block_bytes) == picture(block_bytes, delivered.id()));
            port.idle.push_back(delivered.buffer);
        }
    }

    std::map<std::uint64_t, std::vector<Bytes>> kept_;
    std::uint64_t complete_ = 0;
};

TEST_P(LossMatrix, EveryBlockArrivesWhole)
{
    const auto& [losses, reordered, doubled, size, payload] = GetParam();
    const std::uint64_t seed = 4711;
    SCOPED_TRACE("seed " + std::to_string(seed));
    StreamFaults line({.seed = seed,
                       .lost = losses.single,
                       .bursts = losses.bursts,
                       .relost = losses.single,
                       .doubled = doubled,
                       .reordered = reordered});
    const StreamFaults::Send send = [this](StreamFaults::Datagram datagram) {
        receive(Bytes(datagram.begin(), datagram.end()));
    };
    queue(20, block_bytes);
    for (std::uint64_t id = 1; id <= size.frames; ++id) {
        kept_[id] = packets_of(payload, id, size.packet);
        for (const Bytes& packet : kept_[id]) {
            now += 20us;  // packets out of order come within the delay of requests
            line.pass(packet, false, now, send);
            answer(line, send);
        }
        line.flush(send);
        pass(3ms);
        answer(line, send);
        take_delivered();
    }
    for (int i = 0; i < 200; ++i) {
        pass(1ms);
        line.tick(now, send);
        answer(line, send);
    }
    take_delivered();
    EXPECT_EQ(complete_, size.frames);
    const auto lost = static_cast<double>(line.statistics().lost);
    EXPECT_LE(static_cast<double>(assembler.counters().resend_packets_requested), 1.1 * lost + 3) << lost << " lost";
    EXPECT_EQ(packets(stream::PacketFate::malformed), 0U);
    EXPECT_EQ(assembler.counters().restarts, 0U);
}

std::string name_of(const testing::TestParamInfo<Line>& info)
{
    const auto& [losses, reordered, doubled, size, payload] = info.param;
    static constexpr const char* payloads[] = {"Image", "ExtendedImage", "Raw", "Chunks"};
    return std::string(losses.name) + (reordered != 0 ? "Reordered" : "") + (doubled != 0 ? "Doubled" : "") +
           payloads[static_cast<std::size_t>(payload)] + std::to_string(size.packet);
}

INSTANTIATE_TEST_SUITE_P(Lines, LossMatrix,
                         testing::Combine(testing::Values(Losses{"NoLoss", 0, 0}, Losses{"OnePercent", 10, 0},
                                                          Losses{"FivePercent", 50, 0}, Losses{"Bursts", 0, 2}),
                                          testing::Values(0U, 30U), testing::Values(0U, 20U),
                                          testing::Values(Size{536, 15}, Size{1464, 30}, Size{8964, 80}),
                                          testing::Values(Payload::image, Payload::extended_image, Payload::raw,
                                                          Payload::chunks)),
                         name_of);

}  // namespace
