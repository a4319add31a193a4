// PvBuffer: memory for one acquired block and what is known about its acquisition.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "sdk/base/PvResult.h"
#include "sdk/base/PvString.h"
#include "sdk/buffer/PvBufferPart.h"
#include "sdk/buffer/PvImage.h"
#include "sdk/buffer/PvPayloadType.h"
#include "sdk/buffer/PvRawData.h"

namespace vex::acquisition {
class Holder;
struct Access;
}  // namespace vex::acquisition

/// One block of data: an image, raw data, a file or chunk data, with its acquisition's attributes.
///
/// Memory is the buffer's own (Alloc: 64-byte aligned, zeroed, freed with the buffer) or the caller's (Attach: only
/// used, never freed). A stream gives a buffer whose own memory is too small, or that has none, a larger block: one for
/// the largest block that it has received when the buffer is queued, else what a block needs when it comes. Attached
/// memory is never replaced by a stream.
///
/// While a stream holds the buffer (from queueing to retrieval), memory and payload type cannot be changed: the calls
/// that would do so fail with StateError or, where they have no result, do nothing. A buffer that is destroyed while a
/// stream holds it leaves that stream's queue first.
///
/// Thread safety: not synchronised. A buffer belongs to one thread at a time; queueing and retrieving hand it over.
class PvBuffer {
public:
    /// Throws bad_alloc.
    explicit PvBuffer(PvPayloadType payload_type = PvPayloadTypeImage);
    ~PvBuffer();
    PvBuffer(const PvBuffer&) = delete;
    PvBuffer& operator=(const PvBuffer&) = delete;

    [[nodiscard]] PvPayloadType GetPayloadType() const noexcept { return payload_type_; }

    /// The image view; null unless the payload type is image.
    [[nodiscard]] PvImage* GetImage() noexcept;
    [[nodiscard]] const PvImage* GetImage() const noexcept;
    /// The raw data view; null unless the payload type is raw data.
    [[nodiscard]] PvRawData* GetRawData() noexcept;
    [[nodiscard]] const PvRawData* GetRawData() const noexcept;

    /// The data block; null when there is none.
    [[nodiscard]] std::uint8_t* GetDataPointer() noexcept { return data_; }
    [[nodiscard]] const std::uint8_t* GetDataPointer() const noexcept { return data_; }
    /// Bytes of the data block.
    [[nodiscard]] std::uint32_t GetSize() const noexcept { return size_; }
    /// Bytes that the last acquisition put into the block; 0 when the block was filled by hand.
    [[nodiscard]] std::uint32_t GetAcquiredSize() const noexcept { return acquired_size_; }

    /// Expires with the buffer: for whoever was shown a buffer that someone else owns.
    [[nodiscard]] std::weak_ptr<const void> lifetime() const noexcept { return lifetime_; }

    /// A number of the user's own; the SDK never changes it.
    [[nodiscard]] std::uint64_t GetID() const noexcept { return id_; }
    void SetID(std::uint64_t id) noexcept { id_ = id; }

    /// The device's number of the block. Devices with 64-bit numbering are seen whole only through GetBlockID64;
    /// GetBlockID gives the low 16 bits.
    [[nodiscard]] std::uint16_t GetBlockID() const noexcept { return static_cast<std::uint16_t>(block_id_); }
    [[nodiscard]] std::uint64_t GetBlockID64() const noexcept { return block_id_; }

    /// Device time of the block, in ticks of the device's timestamp clock.
    [[nodiscard]] std::uint64_t GetTimestamp() const noexcept { return timestamp_; }
    PvResult SetTimestamp(std::uint64_t timestamp) noexcept;
    /// Host time at which the block's first packet arrived, in microseconds of a monotonic clock; 0 if never acquired.
    [[nodiscard]] std::uint64_t GetReceptionTime() const noexcept { return reception_time_; }

    /// How the last acquisition into this buffer ended; OK for a new buffer.
    [[nodiscard]] const PvResult& GetOperationResult() const noexcept { return operation_result_; }
    /// Packets that had to be asked for again.
    [[nodiscard]] std::uint32_t GetExpectedResendCount() const noexcept { return expected_resend_count_; }
    /// Packets that never arrived.
    [[nodiscard]] std::uint32_t GetLostPacketCount() const noexcept { return lost_packet_count_; }
    /// Packets that arrived and were not used (duplicates, late ones, ones that do not fit the block).
    [[nodiscard]] std::uint32_t GetIgnoredPacketCount() const noexcept { return ignored_packet_count_; }

    /// Ranges of missing packet IDs.
    PvResult GetMissingPacketIdsCount(std::uint32_t& count) const noexcept;
    /// First and last packet ID of a range. NotFound, with both outputs untouched, for an index past the last range.
    PvResult GetMissingPacketIds(std::uint32_t index, std::uint32_t& low, std::uint32_t& high) const;

    /// The name that the device gave a block of the payload type file; empty for other types and where it gave none. As
    /// it came: it may contain anything, so it must not be used as a path unseen.
    [[nodiscard]] PvString GetFileName() const;

    /// The parts of a block that consists of several; 0 for other blocks. The first part that is an image is also the
    /// buffer's image; a block without one is raw data.
    [[nodiscard]] std::uint32_t GetPartCount() const noexcept { return static_cast<std::uint32_t>(parts_.size()); }
    /// NotFound, with `part` untouched, for an index past the last part.
    PvResult GetPart(std::uint32_t index, PvBufferPart& part) const;

    /// Chunks: pieces of data of the device's own, each with an ID by which the device's description knows it, that
    /// came with the block, behind its image or as all of it. There are none in a block that did not arrive whole, and
    /// none where they are damaged. PvGenParameterArray::AttachChunks shows them as features.
    [[nodiscard]] std::uint32_t GetChunkCount() const;
    /// Tells which chunks there are: as long as it stays the same, they are the same with the same lengths. 0 where the
    /// device does not tell.
    [[nodiscard]] std::uint32_t GetChunkLayoutID() const noexcept { return chunk_layout_id_; }
    /// The chunk with that index, in their order in the block. `data` lies in the buffer's block and stays valid until
    /// the buffer is queued or its memory changed; `size` is in bytes. NotFound, with all outputs untouched, for an
    /// index past the last.
    PvResult GetChunk(std::uint32_t index, std::uint32_t& id, const std::uint8_t*& data, std::uint32_t& size) const;
    /// The same for the chunk with that ID; the last one in the block if there are several.
    PvResult FindChunk(std::uint32_t id, const std::uint8_t*& data, std::uint32_t& size) const;

    /// Gives the buffer a zeroed block of its own of exactly `size` bytes. A block of its own that it had is freed, one
    /// that was attached goes back to its owner; the bytes are not carried over and the acquired size becomes 0. All
    /// else (ID, timestamps, the image's geometry) stays.
    ///
    /// Fails and changes nothing: InvalidParameter for 0, NotEnoughMemory, StateError.
    PvResult Alloc(std::uint32_t size);
    /// Leaves the buffer without memory: its own is freed, attached memory goes back to its owner. Acquired size
    /// becomes 0.
    void Free() noexcept;
    /// Uses the caller's memory, which must stay in place until Detach, Free, Alloc or the buffer's end. Memory that
    /// the buffer had is treated as by Alloc; the bytes there are left as they are.
    ///
    /// Fails and changes nothing: InvalidParameter for a null address or size 0, StateError.
    PvResult Attach(void* memory, std::uint32_t size);
    /// Leaves the buffer without memory and returns the address that was attached; null if nothing was attached. Memory
    /// of the buffer's own is freed, as there is nobody to hand it to.
    std::uint8_t* Detach() noexcept;

    /// Makes the buffer one of another (or the same) payload type that was never acquired into: image geometry and
    /// status, block ID, timestamps, acquired size, packet statistics and result start afresh. Memory, its bytes and
    /// the ID stay.
    ///
    /// Fails and changes nothing: InvalidParameter for a value that is not a payload type, StateError.
    PvResult Reset(PvPayloadType payload_type = PvPayloadTypeImage);

private:
    friend class PvImage;
    friend class PvRawData;
    friend struct vex::acquisition::Access;

    struct PacketRange {
        std::uint32_t low;
        std::uint32_t high;
    };

    [[nodiscard]] bool is_held() const noexcept { return holder_.load(std::memory_order_acquire) != nullptr; }
    struct ChunkPlace {
        std::uint32_t id;
        std::uint32_t offset;
        std::uint32_t size;
    };

    /// Without its pointer, which follows from the place.
    struct PartPlace {
        PvBufferPart part;
        std::uint32_t offset;
    };

    void release_memory() noexcept;
    void clear_acquisition() noexcept;
    void forget_contents() noexcept;
    [[nodiscard]] const std::vector<ChunkPlace>& chunks() const;

    PvPayloadType payload_type_;
    std::uint8_t* data_ = nullptr;
    std::uint32_t size_ = 0;
    bool attached_ = false;  // data_ belongs to the caller
    std::uint32_t acquired_size_ = 0;
    std::uint64_t id_ = 0;
    std::uint64_t block_id_ = 0;
    std::uint64_t timestamp_ = 0;
    std::uint64_t reception_time_ = 0;
    PvResult operation_result_;
    std::uint32_t expected_resend_count_ = 0;
    std::uint32_t lost_packet_count_ = 0;
    std::uint32_t ignored_packet_count_ = 0;
    std::vector<PacketRange> missing_;
    std::string file_name_;
    std::vector<PartPlace> parts_;
    std::uint32_t chunks_at_ = 0;    // offset and bytes of the area with the chunks
    std::uint32_t chunks_size_ = 0;  // 0 where there are none
    std::uint32_t chunk_layout_id_ = 0;
    mutable std::vector<ChunkPlace> chunks_;  // found when first asked for
    mutable bool chunks_found_ = false;
    std::atomic<vex::acquisition::Holder*> holder_{nullptr};
    PvImage image_;
    PvRawData raw_data_;
    std::shared_ptr<const char> lifetime_ = std::make_shared<const char>();
};
