// Random datagrams: whatever comes, the device goes on and its counters add up.
#include <random>
#include <set>

#include "tests/sdk/virtualdevice/random_commands.h"
#include "tests/sdk/virtualdevice/responder_fixture.h"

using namespace vex;

using GvcpRandom = Responder;

TEST_F(GvcpRandom, GarbageNeverStopsTheDevice)
{
    const std::uint64_t seed = std::random_device{}();
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937_64 random(seed);
    const auto below = [&](std::size_t n) { return static_cast<std::size_t>(random() % n); };

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

namespace {

constexpr std::uint32_t end_of_map = 0x00021000;
constexpr std::uint32_t ccp = 0x0A00;

bool touches(const RandomCommand& command, std::uint32_t address)
{
    return address + 4 > command.address && address < std::uint64_t{command.address} + command.length;
}

}  // namespace

TEST_F(GvcpRandom, NothingChangesByCommandsOfOthersThanTheController)
{
    const std::uint64_t seed = std::random_device{}();
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    for (const std::uint32_t privilege : {0U, 2U, 3U}) {
        ASSERT_EQ(write(ccp, privilege), status::success);
        ASSERT_EQ(write(0x095C, 0), privilege == 0 ? status::access_denied : status::success);
        const auto before = words_of(responder, end_of_map);
        RandomCommands commands(seed + privilege, before);
        for (int i = 0; i < 20000; ++i) {
            const RandomCommand command = commands.next();
            if (privilege == 0 && command.writes && touches(command, ccp)) {
                continue;  // which anybody may take then
            }
            const Bytes answer = ask(command.datagram, other);
            if (command.writes) {
                EXPECT_NE(status_of(answer), status::success) << std::hex << command.address;
            }
            if (privilege == 3 && command.length > 4) {
                EXPECT_NE(status_of(answer), status::success) << "read in spite of exclusive access";
            }
        }
        EXPECT_EQ(words_of(responder, end_of_map), before);
        EXPECT_EQ(executions, 0);
    }
    EXPECT_TRUE(hooks.test_packets.empty());
    EXPECT_FALSE(hooks.channel.is_open());
}

TEST_F(GvcpRandom, TheControllerReachesWhatIsMappedAndChangesNothingReadOnly)
{
    const std::uint64_t seed = std::random_device{}();
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    take_control();
    ASSERT_EQ(write(0x0954, 1), status::success);
    const auto before = words_of(responder, end_of_map);
    // the device's own doing: who controls it, and the latched time
    const std::set<std::uint32_t> told{0x0A04, 0x0A14, 0x0948, 0x094C};
    RandomCommands commands(seed, before);
    for (int i = 0; i < 40000; ++i) {
        const RandomCommand command = commands.next();
        if (command.writes && touches(command, ccp)) {
            continue;
        }
        const unsigned code = status_of(answers(command.datagram).back());  // behind a PENDING_ACK, if any
        if (!command.aligned) {
            EXPECT_EQ(code, status::bad_alignment) << std::hex << command.address;
            continue;
        }
        const bool mapped = responder.registers().mapped(command.address, command.length);
        if (!mapped) {
            EXPECT_EQ(code, status::invalid_address) << std::hex << command.address << " " << command.length;
        }
        if (mapped) {
            EXPECT_NE(code, status::invalid_address) << std::hex << command.address << " " << command.length;
        }
    }
    const auto after = words_of(responder, end_of_map);
    ASSERT_EQ(after.size(), before.size());
    unsigned changed = 0;
    for (const auto& [address, value] : after) {
        if (value != before.at(address) && !told.contains(address)) {
            ++changed;
            const Bytes answer = answers(write_register(next_id(), address, value)).back();
            EXPECT_NE(status_of(answer), status::write_protect) << std::hex << address;
        }
    }
    EXPECT_GT(changed, 20U);
}
