// Random datagrams: whatever comes, the device goes on and its counters add up.
#include <random>

#include "tests/sdk/virtualdevice/responder_fixture.h"

using namespace vex;

using GvcpRandom = Responder;

TEST_F(GvcpRandom, GarbageNeverStopsTheDevice)
{
    const std::uint64_t seed = std::random_device{}();
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937_64 random(seed);
    const auto below = [&](std::uint64_t n) { return random() % n; };

    constexpr unsigned rounds = 20000;
    for (unsigned i = 0; i < rounds; ++i) {
        Bytes datagram(below(600));
        for (auto& byte : datagram) {
            byte = static_cast<std::uint8_t>(random());
        }
        // most get a plausible header, or hardly any would come past the first check
        if (datagram.size() >= 8 && below(10) != 0) {
            static constexpr std::array codes = {0x02, 0x04, 0x40, 0x80, 0x82, 0x84, 0x86, 0xC0, 0x89};
            const auto length = static_cast<unsigned>(datagram.size() - 8);
            const Bytes head =
                bytes_of({0x42, static_cast<unsigned>(below(256)), 0, static_cast<unsigned>(codes[below(codes.size())]),
                          length >> 8, length & 0xFF});
            std::copy(head.begin(), head.end(), datagram.begin());
            if (datagram.size() >= 12 && below(2) == 0) {
                const Bytes address = be32(static_cast<std::uint32_t>(below(0x12000)));
                std::copy(address.begin(), address.end(), datagram.begin() + 8);
            }
        }
        const Endpoint from{{static_cast<std::uint32_t>(below(3))}, static_cast<std::uint16_t>(below(4))};
        responder.handle(datagram, from, [](const Endpoint&, std::span<const std::uint8_t> data) {
            EXPECT_GE(data.size(), 8U);
            EXPECT_LE(data.size(), 548U);
            EXPECT_EQ((unsigned{data[4]} << 8) | data[5], data.size() - 8);
        });
    }

    const virtual_device::GvcpStatistics statistics = responder.statistics();
    EXPECT_EQ(statistics.received, rounds);
    EXPECT_EQ(statistics.received, statistics.malformed + statistics.executed + statistics.repeated);
    EXPECT_GT(statistics.executed, rounds / 2);
    responder.drop_control();
    EXPECT_EQ(ask(command(0x0002, 1, {})).size(), 256U);
}
