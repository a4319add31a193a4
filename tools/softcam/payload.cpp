#include "tools/softcam/payload.h"

#include <array>

using namespace vex;

namespace softcam {

namespace {

namespace payload_type = wire::gvsp::payload_type;

constexpr std::uint64_t ticks_per_second = 1'000'000'000;
constexpr std::array<std::uint8_t, 11> file_name{'p', 'i', 'c', 't', 'u', 'r', 'e', '.', 'r', 'a', 'w'};

std::uint16_t type_of(PayloadKind kind)
{
    switch (kind) {
    case PayloadKind::raw_data: return payload_type::raw_data;
    case PayloadKind::file: return payload_type::file;
    case PayloadKind::jpeg: return payload_type::jpeg;
    case PayloadKind::jpeg2000: return payload_type::jpeg2000;
    case PayloadKind::image: break;
    }
    return payload_type::image;
}

}  // namespace

void send_as(PayloadKind kind, transmitter::Block& block)
{
    if (kind == PayloadKind::image) {
        return;
    }
    const auto chunks = static_cast<std::uint16_t>(block.leader.payload_type & payload_type::chunks_appended);
    block.leader.payload_type = static_cast<std::uint16_t>(type_of(kind) | chunks);
    block.trailer.payload_type = block.leader.payload_type;
    block.leader.image.reset();
    block.leader.payload_size = block.data.size();
    if (kind == PayloadKind::file) {
        block.leader.file_name = file_name;
    } else if (kind == PayloadKind::jpeg || kind == PayloadKind::jpeg2000) {
        block.leader.compressed = wire::gvsp::CompressedInfo{.tick_frequency = ticks_per_second};
    }
}

}  // namespace softcam
