// PvRawData: the raw data side of a buffer.
#pragma once

#include <cstdint>

class PvBuffer;

namespace vex::acquisition {
struct Access;
}

/// What raw data are, where the device tells. The values are those of the protocol's payload types.
enum PvRawDataFormat : std::int32_t {
    PvRawDataFormatUnknown = 0,
    PvRawDataFormatJPEG = 6,
    PvRawDataFormatJPEG2000 = 7,
    PvRawDataFormatH264 = 8,
    PvRawDataFormatMultiPart = 10,  ///< parts of which none is an image
};

/// Data without a form that can be shown here: what a device calls raw data, and compressed images. Lives as long as
/// its buffer and is found with PvBuffer::GetRawData.
///
/// Thread safety: as its buffer.
class PvRawData {
public:
    PvRawData(const PvRawData&) = delete;
    PvRawData& operator=(const PvRawData&) = delete;

    /// Bytes of payload: what the device announced or, where that is not known because the buffer was filled by hand,
    /// the size of the buffer's data block.
    [[nodiscard]] std::uint64_t GetPayloadLength() const noexcept;

    [[nodiscard]] PvRawDataFormat GetFormat() const noexcept { return format_; }
    /// "JPEG", "JPEG 2000", "H.264", "Multi-part"; empty where the format is not known.
    [[nodiscard]] const char* GetFormatName() const noexcept;

private:
    friend class PvBuffer;
    friend struct vex::acquisition::Access;

    explicit PvRawData(const PvBuffer& buffer) noexcept : buffer_(buffer) {}

    const PvBuffer& buffer_;
    std::uint64_t payload_length_ = 0;
    bool announced_ = false;
    PvRawDataFormat format_ = PvRawDataFormatUnknown;
};
