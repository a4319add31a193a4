// Blocks over a line that loses packets, from a camera that sends again what it is asked for.
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <random>
#include <string>

#include "tests/sdk/stream_core/resend_fixture.h"

using namespace vex;
using namespace assembly;

namespace {

using packets::picture;
using wire::gvcp::PacketResend;

class BadLine : public AssemblerResend {
protected:
    struct Loss {
        double single = 0;         // share of packets
        double burst = 0;          // share of packets that begin a burst
        std::uint32_t length = 0;  // of a burst
    };

    void run(const Loss& loss, std::uint32_t frames, std::uint32_t seed)
    {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        std::uniform_real_distribution<double> chance(0, 1);
        std::uint32_t in_burst = 0;
        const auto lost = [&] {
            if (in_burst != 0) {
                --in_burst;
                return true;
            }
            in_burst = chance(random) < loss.burst ? loss.length - 1 : 0;
            return in_burst != 0 || chance(random) < loss.single;
        };
        std::uint64_t lost_packets = 0;
        std::map<std::uint64_t, std::vector<Bytes>> kept;
        const auto send = [&](const Bytes& packet) {
            if (lost()) {
                ++lost_packets;
            } else {
                receive(packet);
            }
        };
        const auto answer_requests = [&] {
            while (!port.requests.empty()) {
                for (const PacketResend& request : std::exchange(port.requests, {})) {
                    now += 100us;
                    const std::vector<Bytes>& packets = kept[request.block_id];
                    for (std::size_t id = request.first_packet; id <= request.last_packet && id < packets.size();
                         ++id) {
                        Bytes again = packets[id];
                        again[0] = 0x01;
                        send(again);
                    }
                }
            }
        };
        const packets::ImageForm form{.width = 50, .height = 40};  // 100 packets
        queue(24, 2000);
        for (std::uint64_t id = 1; id <= frames; ++id) {
            kept[id] = packets::image_block({.id = id}, form, picture(2000, id), stride, id);
            for (const Bytes& packet : kept[id]) {
                now += 40us;
                send(packet);
                answer_requests();
            }
            give_back_delivered();
        }
        for (int i = 0; i < 200; ++i) {
            pass(1ms);
            answer_requests();
        }
        give_back_delivered();
        EXPECT_EQ(complete_, frames);
        EXPECT_LE(static_cast<double>(assembler.counters().resend_packets_requested),
                  1.1 * static_cast<double>(lost_packets))
            << lost_packets << " packets were lost";
        EXPECT_GT(lost_packets, frames / 4);
    }

private:
    void give_back_delivered()
    {
        for (const Delivered& delivered : std::exchange(port.delivered, {})) {
            EXPECT_EQ(delivered.result(), PvResult::OK) << "block " << delivered.id();
            EXPECT_TRUE(delivered.data(2000) == picture(2000, delivered.id()));
            EXPECT_EQ(delivered.id(), ++complete_);
            port.idle.push_back(delivered.buffer);
        }
    }

    std::uint64_t complete_ = 0;
};

TEST_F(BadLine, OnePercentOfLossLosesNoBlock) { run({.single = 0.01}, 500, 1); }

TEST_F(BadLine, FivePercentOfLossLosesNoBlock) { run({.single = 0.05}, 500, 2); }

TEST_F(BadLine, BurstsLoseNoBlock) { run({.burst = 0.0005, .length = 20}, 500, 3); }

TEST_F(BadLine, BurstsLongerThanABlockLoseNoBlock) { run({.burst = 0.0002, .length = 230}, 500, 4); }

}  // namespace
