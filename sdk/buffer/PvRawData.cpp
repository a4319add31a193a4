#include "sdk/buffer/PvRawData.h"

#include "sdk/buffer/PvBuffer.h"

std::uint64_t PvRawData::GetPayloadLength() const noexcept { return announced_ ? payload_length_ : buffer_.GetSize(); }
