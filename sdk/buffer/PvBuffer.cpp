#include "sdk/buffer/PvBuffer.h"

#include <algorithm>
#include <optional>
#include <span>

#include "sdk/base/failure.h"
#include "sdk/buffer/acquisition.h"
#include "sdk/buffer/memory.h"
#include "sdk/wire/chunks.h"

using namespace vex;

namespace {

// The enumeration has a fixed underlying type, so any number can arrive here.
bool is_payload_type(PvPayloadType type) noexcept
{
    const auto value = static_cast<std::int32_t>(type);
    return (value >= PvPayloadTypeImage && value <= PvPayloadTypeExtendedChunkData) ||
           (value >= PvPayloadTypeDeviceSpecificBase && value <= 0xFFFF);
}

PvResult held_error(const char* operation)
{
    return failure(PvResult::StateError, operation, ": the buffer is queued; retrieve it first");
}

}  // namespace

PvBuffer::PvBuffer(PvPayloadType payload_type) : payload_type_(payload_type), image_(*this), raw_data_(*this) {}

PvBuffer::~PvBuffer()
{
    if (auto* holder = holder_.load(std::memory_order_acquire)) {
        holder->buffer_destroyed(*this);
    }
    release_memory();
}

PvImage* PvBuffer::GetImage() noexcept { return payload_type_ == PvPayloadTypeImage ? &image_ : nullptr; }
const PvImage* PvBuffer::GetImage() const noexcept { return payload_type_ == PvPayloadTypeImage ? &image_ : nullptr; }
PvRawData* PvBuffer::GetRawData() noexcept { return payload_type_ == PvPayloadTypeRawData ? &raw_data_ : nullptr; }
const PvRawData* PvBuffer::GetRawData() const noexcept
{
    return payload_type_ == PvPayloadTypeRawData ? &raw_data_ : nullptr;
}

PvResult PvBuffer::SetTimestamp(std::uint64_t timestamp) noexcept
{
    timestamp_ = timestamp;
    return PvResult::OK;
}

PvResult PvBuffer::GetMissingPacketIdsCount(std::uint32_t& count) const noexcept
{
    count = static_cast<std::uint32_t>(missing_.size());
    return PvResult::OK;
}

PvResult PvBuffer::GetMissingPacketIds(std::uint32_t index, std::uint32_t& low, std::uint32_t& high) const
{
    if (index >= missing_.size()) {
        return failure(PvResult::NotFound, "There is no missing packet range ", index, "; the buffer has ",
                       missing_.size());
    }
    low = missing_[index].low;
    high = missing_[index].high;
    return PvResult::OK;
}

PvString PvBuffer::GetFileName() const { return PvString(file_name_); }

PvResult PvBuffer::GetPart(std::uint32_t index, PvBufferPart& part) const
{
    if (index >= parts_.size()) {
        return failure(PvResult::NotFound, "There is no part ", index, "; the buffer has ", parts_.size());
    }
    part = parts_[index].part;
    part.Data = data_ + parts_[index].offset;
    return PvResult::OK;
}

/// Streams only note where the chunks are: who does not ask for them does not pay for them.
const std::vector<PvBuffer::ChunkPlace>& PvBuffer::chunks() const
{
    if (chunks_found_) {
        return chunks_;
    }
    chunks_.clear();
    std::span<const std::uint8_t> area(data_ + chunks_at_, chunks_size_);
    if (wire::chunks::is_well_formed(area)) {
        while (const std::optional<wire::chunks::Chunk> chunk = wire::chunks::last_of(area)) {
            const auto offset = static_cast<std::uint32_t>(chunk->data.data() - data_);
            chunks_.push_back({chunk->id, offset, static_cast<std::uint32_t>(chunk->data.size())});
            area = wire::chunks::before(area, *chunk);
        }
        std::ranges::reverse(chunks_);
    }
    chunks_found_ = true;
    return chunks_;
}

std::uint32_t PvBuffer::GetChunkCount() const { return static_cast<std::uint32_t>(chunks().size()); }

PvResult PvBuffer::GetChunk(std::uint32_t index, std::uint32_t& id, const std::uint8_t*& data,
                            std::uint32_t& size) const
{
    if (index >= chunks().size()) {
        return failure(PvResult::NotFound, "There is no chunk ", index, "; the buffer has ", chunks_.size());
    }
    const ChunkPlace& chunk = chunks_[index];
    id = chunk.id;
    data = data_ + chunk.offset;
    size = chunk.size;
    return PvResult::OK;
}

PvResult PvBuffer::FindChunk(std::uint32_t id, const std::uint8_t*& data, std::uint32_t& size) const
{
    const auto& all = chunks();
    const auto found = std::find_if(all.rbegin(), all.rend(), [id](const ChunkPlace& chunk) { return chunk.id == id; });
    if (found == all.rend()) {
        return failure(PvResult::NotFound, "The buffer has no chunk with the ID ", id);
    }
    data = data_ + found->offset;
    size = found->size;
    return PvResult::OK;
}

PvResult PvBuffer::Alloc(std::uint32_t size)
{
    if (is_held()) {
        return held_error("Alloc");
    }
    if (size == 0) {
        return failure(PvResult::InvalidParameter, "A buffer of 0 bytes cannot be allocated");
    }
    if (data_ != nullptr && !attached_ && size_ == size) {
        data_ = buffer_memory::zero_again(data_, size);
        acquired_size_ = 0;
        forget_contents();
        return PvResult::OK;
    }
    auto* memory = buffer_memory::allocate(size);
    if (memory == nullptr) {
        return failure(PvResult::NotEnoughMemory, "There is no memory for a buffer of ", size, " bytes");
    }
    release_memory();
    data_ = memory;
    size_ = size;
    return PvResult::OK;
}

void PvBuffer::Free() noexcept
{
    if (!is_held()) {
        release_memory();
    }
}

PvResult PvBuffer::Attach(void* memory, std::uint32_t size)
{
    if (is_held()) {
        return held_error("Attach");
    }
    if (memory == nullptr || size == 0) {
        return failure(PvResult::InvalidParameter, "Only memory with an address and a size can be attached");
    }
    if (memory == data_ && !attached_) {
        return failure(PvResult::InvalidParameter, "The memory to attach is the buffer's own");
    }
    release_memory();
    data_ = static_cast<std::uint8_t*>(memory);
    size_ = size;
    attached_ = true;
    return PvResult::OK;
}

std::uint8_t* PvBuffer::Detach() noexcept
{
    if (is_held()) {
        return nullptr;
    }
    auto* attached = attached_ ? data_ : nullptr;
    release_memory();
    return attached;
}

PvResult PvBuffer::Reset(PvPayloadType payload_type)
{
    if (is_held()) {
        return held_error("Reset");
    }
    if (!is_payload_type(payload_type)) {
        return failure(PvResult::InvalidParameter, static_cast<std::int32_t>(payload_type), " is not a payload type");
    }
    payload_type_ = payload_type;
    clear_acquisition();
    return PvResult::OK;
}

void PvBuffer::release_memory() noexcept
{
    if (!attached_) {
        buffer_memory::release(data_, size_);
    }
    data_ = nullptr;
    size_ = 0;
    attached_ = false;
    acquired_size_ = 0;
    forget_contents();
}

/// Chunks and parts lie in memory that is another's now, or has other bytes.
void PvBuffer::forget_contents() noexcept
{
    parts_.clear();
    chunks_at_ = 0;
    chunks_size_ = 0;
    chunk_layout_id_ = 0;
    chunks_found_ = false;
}

void PvBuffer::clear_acquisition() noexcept
{
    acquired_size_ = 0;
    block_id_ = 0;
    timestamp_ = 0;
    reception_time_ = 0;
    operation_result_ = PvResult::OK;
    expected_resend_count_ = 0;
    lost_packet_count_ = 0;
    ignored_packet_count_ = 0;
    missing_.clear();
    forget_contents();
    image_.clear();
    file_name_.clear();
    raw_data_.format_ = PvRawDataFormatUnknown;
    raw_data_.announced_ = false;
    raw_data_.payload_length_ = 0;
}
