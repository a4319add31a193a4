// PvBufferWriter: buffers into files.
#pragma once

#include <cstdint>

#include "sdk/base/PvResult.h"
#include "sdk/base/PvString.h"
#include "sdk/buffer/PvBuffer.h"
#include "sdk/convert/PvBufferConverter.h"

enum PvBufferFormatType : std::int32_t {
    PvBufferFormatBMP = 0,
    PvBufferFormatRaw = 1,
};
static_assert(sizeof(PvBufferFormatType) == 4);

/// Stores buffers as files.
///
/// A bitmap is written bottom-up and uncompressed: 8 bits with a grey palette for monochrome images, 32 bits for types
/// with four bytes a pixel, else 24 bits. Raw is an image's bytes with its padding, or the acquired bytes of another
/// payload.
///
/// The file appears under its name only when it is whole: it is written beside that name and renamed, replacing an
/// older file. When anything fails, an older file is left as it was and nothing of the new one remains. A device or a
/// pipe is written to directly. Names may have any characters and any length that the system knows, on Windows also
/// paths of more than 260 characters.
///
/// Thread safety: not synchronised.
class PvBufferWriter {
public:
    /// The writer's own converter, whose Bayer and RGB filters act on the next Store. Lives as long as the writer.
    [[nodiscard]] PvBufferConverter* GetConverter() noexcept { return &converter_; }

    /// CannotOpenFile and FileError carry the operating system's reason; NotSupported for a payload that the format
    /// cannot hold; InvalidParameter for no buffer, nothing in it, no name or no format; ErrOverflow for a bitmap of 4
    /// GiB or more.
    PvResult Store(const PvBuffer* buffer, const PvString& file_name, PvBufferFormatType type = PvBufferFormatBMP);

private:
    PvResult store_bmp(const PvBuffer& buffer, const PvString& file_name);

    PvBufferConverter converter_;
    PvBuffer bitmap_;  // kept, so that storing a sequence allocates once
};
