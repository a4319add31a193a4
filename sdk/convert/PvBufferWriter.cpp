#include "sdk/convert/PvBufferWriter.h"

#include <algorithm>
#include <exception>
#include <new>

#include "sdk/base/failure.h"
#include "sdk/base/whole_file.h"
#include "sdk/buffer/acquisition.h"
#include "sdk/convert/bmp.h"
#include "sdk/convert/formats.h"
#include "sdk/convert/views.h"

using namespace vex;

namespace {

using Byte = std::uint8_t;

/// The pixel type, among those that a bitmap can hold, that loses least of the image.
PvPixelType bitmap_type(const convert::Format& format) noexcept
{
    if (format.model == convert::Model::mono) {
        return PvPixelMono8;
    }
    return format.packing == convert::Packing::quads ? PvPixelBGRA8Packed : PvPixelBGR8Packed;
}

PvResult store_raw(const PvBuffer& buffer, const PvString& file_name)
{
    const auto bytes = acquisition::payload(buffer);
    if (bytes.empty()) {
        return failure(PvResult::InvalidParameter, "There are no bytes in the buffer");
    }
    return write_whole_file(file_name, bytes);
}

}  // namespace

PvResult PvBufferWriter::store_bmp(const PvBuffer& buffer, const PvString& file_name)
{
    if (buffer.GetImage() == nullptr) {
        return failure(PvResult::NotSupported, "A bitmap can hold images only; the payload type is ",
                       static_cast<std::int32_t>(buffer.GetPayloadType()));
    }
    convert::CheckedImage<const Byte> image;
    if (auto checked = convert::check_image(&buffer, "buffer", image); !checked.IsOK()) {
        return checked;
    }
    const auto& pixels = *buffer.GetImage();
    if (image.format == nullptr) {
        return failure(PvResult::NotSupported, "There is no bitmap of pixel type ",
                       static_cast<std::uint32_t>(pixels.GetPixelType()));
    }
    const auto type = bitmap_type(*image.format);
    const auto bits = PvImage::GetPixelBitCount(type);
    const auto header = convert::bmp::header(pixels.GetWidth(), pixels.GetHeight(), bits);
    if (!header) {
        return failure(PvResult::ErrOverflow, "An image of ", pixels.GetWidth(), " x ", pixels.GetHeight(),
                       " pixels is too large for a bitmap");
    }

    // Lines are padded as the file wants them, so that each can be written as it lies.
    const auto line_bytes = convert::bmp::line_bytes(pixels.GetWidth(), bits);
    const auto padding =
        static_cast<std::uint16_t>(line_bytes - acquisition::line_layout(type, pixels.GetWidth()).line_bytes);
    const acquisition::ImageGeometry wanted{pixels.GetWidth(), pixels.GetHeight(), type, 0, 0, padding, 0};
    auto present = acquisition::geometry(bitmap_);
    if (present) {
        present->offset_x = present->offset_y = 0;
    }
    if (present != wanted) {
        if (auto allocated = bitmap_.GetImage()->Alloc(wanted.width, wanted.height, type, padding, 0);
            !allocated.IsOK()) {
            return allocated;
        }
    }
    if (auto converted = converter_.Convert(&buffer, &bitmap_); !converted.IsOK()) {
        return converted;
    }

    WholeFile file;
    if (auto opened = file.open(file_name); !opened.IsOK()) {
        return opened;
    }
    if (auto written = file.write(*header); !written.IsOK()) {
        return written;
    }
    for (std::uint32_t y = pixels.GetHeight(); y-- > 0;) {
        const auto* line = bitmap_.GetDataPointer() + y * line_bytes;
        if (auto written = file.write({line, static_cast<std::size_t>(line_bytes)}); !written.IsOK()) {
            return written;
        }
    }
    return file.commit();
}

PvResult PvBufferWriter::Store(const PvBuffer* buffer, const PvString& file_name, PvBufferFormatType type)
{
    if (buffer == nullptr) {
        return failure(PvResult::InvalidParameter, "There is no buffer to store");
    }
    try {
        switch (type) {
        case PvBufferFormatBMP: return store_bmp(*buffer, file_name);
        case PvBufferFormatRaw: return store_raw(*buffer, file_name);
        }
    } catch (const std::bad_alloc&) {
        return PvResult::NotEnoughMemory;
    } catch (const std::exception& error) {
        // a name that the system's file names cannot express
        return failure(PvResult::CannotOpenFile, "The file name cannot be used: ", error.what());
    }
    return failure(PvResult::InvalidParameter, static_cast<std::int32_t>(type), " is not a file format");
}
