#include "sdk/buffer/PvRawData.h"

#include "sdk/buffer/PvBuffer.h"

std::uint64_t PvRawData::GetPayloadLength() const noexcept { return announced_ ? payload_length_ : buffer_.GetSize(); }

const char* PvRawData::GetFormatName() const noexcept
{
    switch (format_) {
    case PvRawDataFormatJPEG: return "JPEG";
    case PvRawDataFormatJPEG2000: return "JPEG 2000";
    case PvRawDataFormatH264: return "H.264";
    case PvRawDataFormatMultiPart: return "Multi-part";
    case PvRawDataFormatUnknown: break;
    }
    return "";
}
