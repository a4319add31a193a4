// Datagrams that the system hands over joined: a block of equal ones, of which only the last may be shorter, and beside
// it control data that tells their size.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include "sdk/net/packet_receiver.h"

namespace vex::net {

/// What a control message says it is.
struct ControlKind {
    int level;
    int type;

    bool operator==(const ControlKind&) const = default;
};

/// The unsigned number in the first control message of a kind, in the byte order of this machine; 0 when there is none.
/// Control data is a chain of messages, each {size_t length, int level, int type, data}, the length with its header but
/// without what fills it up to the alignment of size_t: Linux and Windows on 64 bits agree on that. Any bytes are safe.
[[nodiscard]] inline std::uint32_t number_in_control(std::span<const std::uint8_t> control, ControlKind kind) noexcept
{
    struct Header {
        std::size_t length;
        ControlKind kind;
    };
    static_assert(sizeof(Header) == sizeof(std::size_t) + 2 * sizeof(int));
    while (control.size() >= sizeof(Header)) {
        Header header;
        std::memcpy(&header, control.data(), sizeof header);
        if (header.length < sizeof header || header.length > control.size()) {
            break;
        }
        const std::span<const std::uint8_t> data = control.subspan(sizeof header, header.length - sizeof header);
        if (header.kind == kind && !data.empty()) {
            std::uint32_t value = 0;
            std::memcpy(&value, data.data(), std::min(sizeof value, data.size()));
            return value;
        }
        constexpr std::size_t alignment = sizeof(std::size_t);
        const std::size_t padded = (header.length + alignment - 1) / alignment * alignment;
        control = control.subspan(std::min(padded, control.size()));
    }
    return 0;
}

/// Appends the datagrams of a block, each of `segment` bytes but the last; with `segment` 0 the block is a single one.
/// Leaves out datagrams longer than `largest`, and what does not fit into the capacity of `out`: it never allocates.
inline void split_block(std::span<const std::uint8_t> block, std::size_t segment, const Endpoint& source,
                        std::size_t largest, std::vector<Datagram>& out)
{
    const std::size_t length = segment == 0 ? std::max<std::size_t>(block.size(), 1) : segment;
    do {
        const std::span<const std::uint8_t> one = block.first(std::min(length, block.size()));
        if (one.size() <= largest && out.size() < out.capacity()) {
            out.push_back({one, source});
        }
        block = block.subspan(one.size());
    } while (!block.empty());
}

}  // namespace vex::net
