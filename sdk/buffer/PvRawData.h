// PvRawData: the raw data side of a buffer.
#pragma once

#include <cstdint>

class PvBuffer;

namespace vex::acquisition {
struct Access;
}

/// Data without a form that the protocol knows. Lives as long as its buffer and is found with PvBuffer::GetRawData.
///
/// Thread safety: as its buffer.
class PvRawData {
public:
    PvRawData(const PvRawData&) = delete;
    PvRawData& operator=(const PvRawData&) = delete;

    /// Bytes of payload: what the device announced or, where that is not known because the buffer was filled by hand,
    /// the size of the buffer's data block.
    [[nodiscard]] std::uint64_t GetPayloadLength() const noexcept;

private:
    friend class PvBuffer;
    friend struct vex::acquisition::Access;

    explicit PvRawData(const PvBuffer& buffer) noexcept : buffer_(buffer) {}

    const PvBuffer& buffer_;
    std::uint64_t payload_length_ = 0;
    bool announced_ = false;
};
