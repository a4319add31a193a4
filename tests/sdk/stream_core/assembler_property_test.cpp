// Random traffic: whatever arrives, nothing is written outside the buffers, every block ends once and the counters add
// up. A failing run prints the seed that repeats it.
#include <cstdlib>
#include <map>
#include <random>

#include "tests/sdk/stream_core/assembler_fixture.h"

using namespace vex;

namespace {

using namespace assembly;
using packets::BlockForm;
using packets::picture;
using stream::BlockFate;

class Traffic {
public:
    explicit Traffic(std::uint32_t seed) : random_(seed) {}

    [[nodiscard]] std::uint32_t below(std::uint32_t limit) { return limit == 0 ? 0 : any() % limit; }
    [[nodiscard]] std::uint32_t any() { return static_cast<std::uint32_t>(random_()); }
    [[nodiscard]] bool chance(std::uint32_t percent) { return below(100) < percent; }

private:
    std::mt19937 random_;
};

std::uint32_t seed_of_this_run()
{
    if (const char* text = std::getenv("VEX_TEST_SEED")) {
        return static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10));
    }
    return std::random_device{}();
}

struct Shape {
    std::uint32_t width;
    std::uint32_t height;
    std::size_t stride;
};

class AssemblerProperty : public Assembly {
protected:
    /// Sends a block; on a bad network packets are lost, cut short, or held back among those of later blocks.
    void send(std::vector<Bytes> block, Traffic& traffic)
    {
        const bool bad_network = traffic.chance(50);
        for (Bytes& packet : block) {
            if (bad_network && traffic.chance(3)) {
                continue;
            }
            if (bad_network && traffic.chance(5)) {
                held.push_back(packet);
            } else if (bad_network && traffic.chance(3)) {
                packet.resize(packet.size() - traffic.below(static_cast<std::uint32_t>(packet.size()) / 2));
            }
            receive(packet);
            if (traffic.chance(1)) {
                pass(std::chrono::microseconds(traffic.below(5000)));
            }
            while (!held.empty() && traffic.chance(30)) {
                receive(held.back());
                held.pop_back();
            }
        }
    }

    /// Counts the complete blocks, which have the data that was sent with their timestamp.
    void count_exact(const std::map<std::uint64_t, Bytes>& originals, std::uint64_t& complete)
    {
        for (const Delivered& block : port.delivered) {
            if (block.result() != PvResult::OK) {
                continue;
            }
            ++complete;
            const auto original = originals.find(block.buffer->GetTimestamp());
            ASSERT_NE(original, originals.end());
            ASSERT_EQ(block.data(original->second.size()), original->second) << "block " << block.id();
        }
    }

    /// With a buffer, by whatever fate.
    [[nodiscard]] std::uint64_t blocks_ended() const
    {
        return assembler.counters().blocks_received() + blocks(BlockFate::aborted);
    }

    std::vector<Bytes> held;
};

/// A camera behind a bad network: packets are lost, doubled, held back and mixed with those of the next blocks.
TEST_F(AssemblerProperty, EveryCompleteBlockIsExactAndEveryBlockEndsOnce)
{
    const std::uint32_t seed = seed_of_this_run();
    SCOPED_TRACE("VEX_TEST_SEED=" + std::to_string(seed));
    Traffic traffic(seed);
    settings.resend_packet_enable = traffic.chance(50);  // nobody answers
    apply_settings();
    const bool extended = traffic.chance(50);
    std::uint64_t id = extended ? 0xFFFFFF00U : 65500U;
    std::uint64_t stamp = 0;
    Shape shape{16, 16, 40};
    std::map<std::uint64_t, Bytes> originals;  // by timestamp

    for (int round = 0; round < 400; ++round) {
        if (traffic.chance(5)) {
            shape = {1 + traffic.below(40), 1 + traffic.below(40), 8 + traffic.below(200)};
        }
        if (traffic.chance(60) || port.idle.size() < 2) {
            queue(1, 256 + traffic.below(1400));
        }
        if (traffic.chance(2)) {
            // payload does not tell which of two blocks of the same number it belongs to, so what is still on its way
            // must have come before the numbers start anew
            id = 1;
            held.clear();
            pass(150ms);
            pass(150ms);
        }
        const Bytes pixels = picture(std::size_t{shape.width} * shape.height, ++stamp);
        originals.emplace(stamp, pixels);
        send(packets::image_block({.id = id, .extended = extended}, {.width = shape.width, .height = shape.height},
                                  pixels, shape.stride, stamp),
             traffic);
        ++id;
        id = !extended && id > 65535 ? 1 : id;
        if (traffic.chance(3)) {
            ++id;
        }
        if (traffic.chance(2)) {
            pass(std::chrono::milliseconds(traffic.below(1500)));
        }
        if (traffic.chance(1)) {
            assembler.abort();
        }
        if (traffic.chance(1)) {
            assembler.discard();
        }
        ASSERT_LE(assembler.blocks_in_flight(), settings.latency_level);
    }
    pass(10s);
    pass(10s);
    expect_counters_add_up();

    std::uint64_t complete = 0;
    ASSERT_NO_FATAL_FAILURE(count_exact(originals, complete));
    EXPECT_GT(complete, 50U);
    EXPECT_EQ(complete, blocks(BlockFate::complete));
    EXPECT_EQ(blocks_ended(), port.delivered.size());
}

/// Bytes without sense, among them plausible headers. The guards around every buffer show a write outside it.
TEST_F(AssemblerProperty, NonsenseIsNeverWrittenOutsideABuffer)
{
    const std::uint32_t seed = seed_of_this_run();
    SCOPED_TRACE("VEX_TEST_SEED=" + std::to_string(seed));
    Traffic traffic(seed);
    for (int round = 0; round < 20000; ++round) {
        if (port.idle.empty()) {
            queue(1, 1 + traffic.below(600));
        }
        const BlockForm form{.id = 1 + traffic.below(4),
                             .extended = traffic.chance(10),
                             .status = static_cast<std::uint16_t>(traffic.chance(3) ? traffic.below(0x10000) : 0)};
        const std::uint32_t packet_id = traffic.chance(90) ? traffic.below(12) : traffic.any();
        Bytes packet;
        switch (traffic.below(6)) {
        case 0:
            packet = packets::image_leader(form, {.width = traffic.below(30), .height = traffic.below(30)}, form.id);
            break;
        case 1: packet = packets::image_trailer(form, packet_id, traffic.below(30)); break;
        case 2: packet = packets::header(form, static_cast<std::uint8_t>(traffic.below(10)), packet_id); break;
        case 3: packet = packets::raw_leader(form, traffic.below(700), form.id); break;
        default: packet = packets::payload(form, packet_id, picture(traffic.below(120), packet_id)); break;
        }
        if (traffic.chance(5)) {
            packet.resize(traffic.below(static_cast<std::uint32_t>(packet.size()) + 1));
        }
        if (traffic.chance(5) && !packet.empty()) {
            packet[traffic.below(static_cast<std::uint32_t>(packet.size()))] ^=
                static_cast<std::uint8_t>(1U << traffic.below(8));
        }
        receive(packet);
        if (traffic.chance(5)) {
            pass(std::chrono::milliseconds(traffic.below(200)));
        }
        for (const Delivered& block : port.delivered) {
            ASSERT_LE(block.buffer->GetAcquiredSize(), block.buffer->GetSize());
        }
        port.delivered.clear();
    }
    assembler.abort();
    EXPECT_EQ(assembler.blocks_in_flight(), 0U);
}

}  // namespace
