#include "tools/softcam/payload.h"

#include <array>
#include <memory>
#include <utility>

using namespace vex;

namespace softcam {

namespace {

namespace gvsp = wire::gvsp;
namespace payload_type = gvsp::payload_type;

constexpr std::uint64_t ticks_per_second = 1'000'000'000;
constexpr std::array<std::uint8_t, 11> file_name{'p', 'i', 'c', 't', 'u', 'r', 'e', '.', 'r', 'a', 'w'};

std::uint16_t type_of(PayloadKind kind)
{
    switch (kind) {
    case PayloadKind::raw_data: return payload_type::raw_data;
    case PayloadKind::file: return payload_type::file;
    case PayloadKind::jpeg: return payload_type::jpeg;
    case PayloadKind::jpeg2000: return payload_type::jpeg2000;
    case PayloadKind::h264: return payload_type::h264;
    case PayloadKind::multi_part: return payload_type::multi_part;
    case PayloadKind::image: break;
    }
    return payload_type::image;
}

/// What leader and trailer of a multi-part block refer to; lives as long as the data that it describes.
class Parts {
public:
    explicit Parts(std::shared_ptr<const void> data) : data_(std::move(data)) {}

    void add(const gvsp::Part& part)
    {
        gvsp::encode_part(part, std::span(leader_).subspan(count_ * gvsp::part_size));
        const gvsp::TrailerPart end{
            .data_type = part.data_type, .length = part.length, .size_y = part.image ? part.image->size_y : 0};
        gvsp::encode_trailer_part(end, std::span(trailer_).subspan(count_ * gvsp::trailer_part_size));
        ++count_;
    }
    [[nodiscard]] std::span<const std::uint8_t> leader() const
    {
        return std::span(leader_).first(count_ * gvsp::part_size);
    }
    [[nodiscard]] std::span<const std::uint8_t> trailer() const
    {
        return std::span(trailer_).first(count_ * gvsp::trailer_part_size);
    }

private:
    static constexpr std::size_t most = 3;
    std::shared_ptr<const void> data_;
    std::size_t count_ = 0;
    std::array<std::uint8_t, most * gvsp::part_size> leader_{};
    std::array<std::uint8_t, most * gvsp::trailer_part_size> trailer_{};
};

void split(transmitter::Block& block)
{
    const gvsp::ImageInfo picture = *block.leader.image;
    const std::size_t chunk_bytes = block.trailer.chunk_data_length.value_or(0);
    const std::size_t line = (block.data.size() - chunk_bytes) / picture.size_y;
    const auto parts = std::make_shared<Parts>(block.owner);
    std::uint32_t first_line = 0;
    for (const std::uint32_t lines : {picture.size_y / 2, picture.size_y - picture.size_y / 2}) {
        gvsp::ImageInfo half = picture;
        half.size_y = lines;
        half.offset_y = picture.offset_y + first_line;
        gvsp::Part part;
        part.data_type = gvsp::part_type::image_2d;
        part.length = line * lines;
        part.image = half;
        part.region = first_line == 0 ? 0 : 1;
        parts->add(part);
        first_line += lines;
    }
    if (chunk_bytes != 0) {
        gvsp::Part chunks;
        chunks.data_type = gvsp::part_type::chunk_data;
        chunks.length = chunk_bytes;
        parts->add(chunks);
    }
    gvsp::Leader leader;
    leader.payload_type = payload_type::multi_part;
    leader.timestamp = block.leader.timestamp;
    leader.parts = parts->leader();
    block.leader = leader;
    block.trailer = {};
    block.trailer.payload_type = payload_type::multi_part;
    block.trailer.parts = parts->trailer();
    block.owner = parts;
}

}  // namespace

void send_as(PayloadKind kind, transmitter::Block& block, bool extended_ids)
{
    if (kind == PayloadKind::image || (kind == PayloadKind::multi_part && !extended_ids)) {
        return;
    }
    if (kind == PayloadKind::multi_part) {
        split(block);
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
        block.leader.compressed = gvsp::CompressedInfo{.tick_frequency = ticks_per_second};
    } else if (kind == PayloadKind::h264) {
        // constrained baseline, level 3.1, non-interleaved
        block.leader.h264 = gvsp::H264Info{.packetization_mode = 1, .profile = 66, .constraints = 0xC0, .level = 31};
        block.timestamp = block.leader.timestamp;
    }
}

}  // namespace softcam
