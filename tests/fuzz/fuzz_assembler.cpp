// A sequence of datagrams, pauses and client actions for the block assembler. Nothing may be written outside the
// buffers, every datagram counts once and every block ends once.
//
// The input is a row of records: an action, a length of two bytes, and that many bytes.
#include <algorithm>
#include <array>
#include <deque>
#include <memory>
#include <vector>

#include "sdk/buffer/PvBuffer.h"
#include "sdk/stream_core/block_assembler.h"
#include "tests/fuzz/input.h"
#include "tests/sdk/stream_core/lander.h"

using namespace vex;

namespace {

using fuzz::require;
using fuzz::View;

constexpr std::size_t guard = 64;
constexpr std::size_t buffers = 6;

/// A buffer over a part of its memory. The rest must stay as it was.
struct Guarded {
    explicit Guarded(std::size_t bytes) : size(bytes), memory(guard + bytes + guard, 0)
    {
        require(buffer.Attach(memory.data() + guard, static_cast<std::uint32_t>(bytes)).IsOK());
    }
    void check() const
    {
        const auto untouched = [](std::uint8_t byte) { return byte == 0; };
        require(std::all_of(memory.begin(), memory.begin() + guard, untouched));
        require(std::all_of(memory.end() - guard, memory.end(), untouched));
    }

    std::size_t size;
    std::vector<std::uint8_t> memory;
    PvBuffer buffer;
};

class Port final : public stream::BufferPort {
public:
    std::deque<PvBuffer*> idle;
    std::size_t delivered = 0;
    std::size_t taken = 0;

    PvBuffer* take() noexcept override
    {
        if (idle.empty()) {
            return nullptr;
        }
        PvBuffer* buffer = idle.front();
        idle.pop_front();
        ++taken;
        return buffer;
    }
    void deliver(PvBuffer& buffer, stream::BlockFate fate) noexcept override
    {
        require(fate != stream::BlockFate::no_buffer && fate != stream::BlockFate::discarded);
        require((fate == stream::BlockFate::complete) == buffer.GetOperationResult().IsOK());
        require(buffer.GetAcquiredSize() <= buffer.GetSize());
        std::uint32_t ranges = 0;
        require(buffer.GetMissingPacketIdsCount(ranges).IsOK());
        std::uint32_t low = 0;
        std::uint32_t high = 0;
        for (std::uint32_t i = 0; i < std::min(ranges, 64U); ++i) {
            require(buffer.GetMissingPacketIds(i, low, high).IsOK() && low <= high);
        }
        ++delivered;
        --taken;
        idle.push_back(&buffer);
    }
    void put_back(PvBuffer& buffer) noexcept override
    {
        --taken;
        idle.push_front(&buffer);
    }
    void request_resend(const wire::gvcp::PacketResend& range) noexcept override
    {
        require(range.first_packet <= range.last_packet);
    }
};

void check_sums(const stream::BlockAssembler& assembler, std::uint64_t datagrams)
{
    const stream::Counters& counters = assembler.counters();
    std::uint64_t packets = 0;
    for (const std::uint64_t count : counters.packets) {
        packets += count;
    }
    require(packets == datagrams);
    std::uint64_t blocks = 0;
    for (const std::uint64_t count : counters.blocks) {
        blocks += count;
    }
    require(blocks + assembler.blocks_in_flight() == counters.blocks_begun);
    require(assembler.blocks_in_flight() <= stream::most_blocks_in_flight);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Port port;
    std::vector<std::unique_ptr<Guarded>> memory;
    for (std::size_t i = 0; i < buffers; ++i) {
        memory.push_back(std::make_unique<Guarded>(40 + 60 * i));
        port.idle.push_back(&memory.back()->buffer);
    }
    const Ipv4Address camera{0x0A000001};
    stream::BlockAssembler assembler(port, camera);
    net::Clock::time_point now{std::chrono::seconds(1)};
    std::uint64_t datagrams = 0;

    while (size >= 3) {
        const std::uint8_t action = data[0];
        const std::size_t length = std::min<std::size_t>(size - 3, data[1] * 256U + data[2]);
        // a copy of its own, so that reading past its end is noticed
        const std::vector<std::uint8_t> bytes(data + 3, data + 3 + length);
        data += 3 + length;
        size -= 3 + length;
        switch (action) {
        case 0xF0: assembler.abort(); break;
        case 0xF1: assembler.discard(); break;
        case 0xF2: now += std::chrono::milliseconds(length); break;
        case 0xF3:
            if (!port.idle.empty()) {
                port.idle.pop_front();
            }
            break;
        default: {
            now += std::chrono::microseconds(action);
            // as a receiver that lets the data land before anybody has looked at the packet
            assembly::Lander lander;
            const Endpoint source{action == 0xF4 ? Ipv4Address{1} : camera, 1};
            auto landed = lander.land({&bytes, 1}, source, assembler.landing(), true);
            lander.recall(landed, assembler.landed_well(landed));
            assembler.process(landed, now);
            ++datagrams;
        }
        }
        assembler.on_time(now);
        check_sums(assembler, datagrams);
    }
    assembler.abort();
    check_sums(assembler, datagrams);
    require(assembler.blocks_in_flight() == 0 && port.taken == 0);
    for (const auto& guarded : memory) {
        guarded->check();
    }
    return 0;
}
