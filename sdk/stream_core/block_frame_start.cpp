// How a block begins: what its leader announces, and the buffer made ready for it.
#include <algorithm>
#include <new>

#include "sdk/stream_core/block_frame.h"

namespace vex::stream {

namespace {

namespace type = wire::gvsp::payload_type;
constexpr std::uint64_t endless = std::numeric_limits<std::uint64_t>::max();

PvPayloadType payload_type_of(std::uint16_t base_type) noexcept
{
    if ((base_type >= type::image && base_type <= type::extended_chunk_data) ||
        base_type >= PvPayloadTypeDeviceSpecificBase) {
        return static_cast<PvPayloadType>(base_type);
    }
    switch (base_type) {
    case type::jpeg:
    case type::jpeg2000:
    case type::h264: return PvPayloadTypeRawData;
    case type::multi_zone: return PvPayloadTypeImage;
    default: return PvPayloadTypeUndefined;
    }
}

PvRawDataFormat raw_format_of(std::uint16_t base_type) noexcept
{
    switch (base_type) {
    case type::jpeg: return PvRawDataFormatJPEG;
    case type::jpeg2000: return PvRawDataFormatJPEG2000;
    case type::h264: return PvRawDataFormatH264;
    case type::multi_part: return PvRawDataFormatMultiPart;
    default: return PvRawDataFormatUnknown;
    }
}

std::uint16_t base_of(std::uint16_t wire_type) noexcept
{
    return static_cast<std::uint16_t>(wire_type & ~type::chunks_appended);
}

std::uint64_t microseconds(net::Clock::time_point time) noexcept
{
    const auto since = std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch()).count();
    return since > 0 ? static_cast<std::uint64_t>(since) : 0;
}

}  // namespace

void BlockFrame::use(PvBuffer& buffer, const TypicalBlock& typical)
{
    buffer_ = &buffer;
    begin_buffer(typical);
}

/// Tells the buffer what is known of the block and makes room for it.
void BlockFrame::begin_buffer(const TypicalBlock& typical)
{
    acquisition::BlockStart start;
    start.payload_type = leader_seen_ ? payload_type_ : typical.payload_type;
    start.block_id = block_id_;
    start.timestamp = payload_time_ != 0 ? payload_time_ : timestamp_;
    start.reception_time = microseconds(first_packet_);
    start.payload_size = announced_.ends() ? announced_.most + std::min(typical.excess, endless - announced_.most)
                                           : std::max(announced_.least, typical.payload_size);
    if (!leader_seen_) {
        start.payload_size = std::max(start.payload_size, typical.largest);
    }
    start.keeps_bytes = received_ != 0;
    start.image = image_;
    start.announced_raw_length = raw_length_;
    start.raw_format = raw_format_of(base_of(wire_type_));
    start.file_name = {reinterpret_cast<const std::uint8_t*>(file_name_.data()), file_name_.size()};
    needed_memory_ = start.payload_size;
    const PvResult result = acquisition::begin(*buffer_, start);
    // that memory of the client's own is too small shows when a packet does not fit
    if (result.GetCode() == PvResult::NotEnoughMemory || result.GetCode() == PvResult::ErrOverflow) {
        failure_ = result.GetCode();
    }
    const std::span<std::uint8_t> memory = acquisition::memory(*buffer_);
    memory_ = memory.data();
    capacity_ = memory.size();
}

void BlockFrame::read_announcement(const wire::gvsp::Leader& leader)
{
    wire_type_ = leader.payload_type;
    const std::uint16_t base_type = leader.base_type();
    payload_type_ = payload_type_of(base_type);
    timestamp_ = leader.timestamp;
    field_id_ = leader.field_id;
    field_count_ = leader.field_count;
    raw_length_ = leader.payload_size;
    file_name_.assign(leader.file_name.begin(), leader.file_name.end());
    const bool chunks_follow = wire_type_ != base_type || payload_type_ == PvPayloadTypeChunkData ||
                               payload_type_ == PvPayloadTypeExtendedChunkData;
    const bool tells_places = base_type == type::multi_zone || base_type == type::multi_part;
    if (highest_ != 0 && placed_ != tells_places) {
        unsupported_ = true;  // its packets are not of the kind that the leader announces
    }
    placed_ = placed_ || (tells_places && highest_ == 0);
    if (base_type == type::multi_part) {
        read_parts(leader);
        return;
    }
    if (leader.image.has_value()) {
        image_ = geometry_of(*leader.image);
        announced_.least = least_size(*image_);
        announced_.most = acquisition::required_size(*image_);
    } else if (raw_length_.has_value()) {
        announced_ = {*raw_length_, *raw_length_};
    }
    if (chunks_follow) {
        announced_.most = endless;
    }
}

/// Chunks, if any, are one of the parts.
void BlockFrame::read_parts(const wire::gvsp::Leader& leader)
{
    if (!parts_.read(leader)) {
        unsupported_ = true;
        return;
    }
    image_ = parts_.image();
    payload_type_ = image_.has_value() ? PvPayloadTypeImage : PvPayloadTypeRawData;
    announced_ = {parts_.size(), parts_.size()};
    raw_length_ = parts_.size();
}

void BlockFrame::note_timestamp(std::uint64_t timestamp) noexcept
{
    if (payload_time_ == 0 && buffer_ != nullptr) {
        payload_time_ = timestamp;
        buffer_->SetTimestamp(timestamp);
    }
}

}  // namespace vex::stream
