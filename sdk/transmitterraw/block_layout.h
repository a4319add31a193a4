// Which packets a block has, and what each carries.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "sdk/wire/gvsp.h"

namespace vex::transmitter {

struct Block;

/// The packets of one block: a leader, payload packets 1 to N and a trailer, or a single all-in packet.
class BlockLayout {
public:
    /// Data of a payload packet.
    struct Piece {
        std::size_t part = 0;     ///< multi-part: its index
        std::size_t offset = 0;   ///< in the block's data
        std::size_t in_part = 0;  ///< the same from the beginning of the part
        std::size_t size = 0;
        bool ends_part = false;
    };

    /// Nothing when the packets have no room for data, or packets of the block's type are not known. The block must
    /// outlive the layout's use.
    [[nodiscard]] static std::optional<BlockLayout> of(const Block& block, std::uint32_t packet_size,
                                                       bool extended_ids);

    [[nodiscard]] std::uint64_t last_packet() const noexcept { return last_packet_; }
    [[nodiscard]] bool all_in() const noexcept { return all_in_; }
    [[nodiscard]] wire::gvsp::Format payload_format() const noexcept { return format_; }
    /// Data of a full payload packet.
    [[nodiscard]] std::size_t data_per_packet() const noexcept { return data_per_packet_; }
    [[nodiscard]] Piece piece(std::uint64_t packet_id) const noexcept;
    /// Data of all packets of a range.
    [[nodiscard]] std::size_t data_bytes(std::uint64_t first, std::uint64_t last) const noexcept;

private:
    /// Payload packets of one part; a block without parts has one.
    struct Run {
        std::uint64_t first_packet;
        std::size_t begin;
        std::size_t end;
    };
    void add_run(std::size_t begin, std::size_t end);
    /// How many data bytes lie before what the packet carries.
    [[nodiscard]] std::size_t data_before(std::uint64_t packet_id) const noexcept;

    wire::gvsp::Format format_ = wire::gvsp::Format::payload;
    std::size_t data_per_packet_ = 0;
    std::uint64_t last_packet_ = 0;
    bool all_in_ = false;
    std::size_t data_size_ = 0;
    std::vector<Run> runs_;
};

}  // namespace vex::transmitter
