#include "sdk/display/pictures.h"

#include <cstdio>
#include <new>
#include <string>
#include <utility>

#include "sdk/base/failure.h"
#include "sdk/buffer/pixel_type_names.h"

namespace vex::display {

namespace {

std::string pixel_type_text(PvPixelType type)
{
    if (const auto name = pixel_type_name(type); !name.empty()) {
        return std::string(name);
    }
    char code[16];
    std::snprintf(code, sizeof code, "0x%08X", static_cast<unsigned>(type));
    return code;
}

}  // namespace

Size Picture::size() const noexcept
{
    const PvImage* const image = pixels.GetImage();
    if (!text.empty() || image == nullptr) {
        return {};
    }
    return {static_cast<int>(image->GetWidth()), static_cast<int>(image->GetHeight())};
}

Pictures::Pictures()
    : made_(std::make_unique<Picture>()), newest_(std::make_unique<Picture>()), drawn_(std::make_unique<Picture>())
{}

PvResult Pictures::show(const PvBuffer* buffer, bool vsync)
{
    if (buffer == nullptr) {
        return failure(PvResult::InvalidParameter, "There is no buffer to show");
    }
    const std::lock_guard one(making_);
    PvResult result;
    try {
        made_->text.clear();
        result = fill(*made_, *buffer);
    } catch (const std::bad_alloc&) {
        return PvResult::NotEnoughMemory;
    }
    made_->vsync = vsync;
    const std::lock_guard lock(mutex_);
    std::swap(made_, newest_);
    is_new_ = true;
    is_cleared_ = false;
    return result;
}

PvResult Pictures::fill(Picture& picture, const PvBuffer& buffer)
{
    const auto refused = [&](PvResult result) {
        picture.text = std::string(result.description());
        return result;
    };
    if (buffer.GetDataPointer() == nullptr) {
        return refused(failure(PvResult::InvalidParameter, "The buffer is empty"));
    }
    const PvImage* const image = buffer.GetImage();
    if (image == nullptr) {
        return refused(failure(PvResult::NotSupported, "The buffer holds no image: its payload type is ",
                               static_cast<std::int32_t>(buffer.GetPayloadType())));
    }
    if (const PvResult& acquired = buffer.GetOperationResult(); !acquired.IsOK()) {
        picture.text = "The image is not whole: " + std::string(acquired.description());
        if (const auto lost = buffer.GetLostPacketCount(); lost != 0) {
            picture.text += ", " + std::to_string(lost) + " packets lost";
        }
        return PvResult::OK;
    }
    if (!PvBufferConverter::IsConversionSupported(image->GetPixelType(), PvPixelWinRGB32)) {
        return refused(failure(PvResult::NotSupported, "Images of pixel type ", pixel_type_text(image->GetPixelType()),
                               " cannot be shown"));
    }
    PvImage& target = *picture.pixels.GetImage();
    if (target.GetPixelType() != PvPixelWinRGB32) {
        // the converter keeps the type from then on, and adapts size and memory
        if (PvResult result = target.Alloc(image->GetWidth(), image->GetHeight(), PvPixelWinRGB32); !result.IsOK()) {
            return refused(result);
        }
    }
    PvResult result = converter_.Convert(&buffer, &picture.pixels, true);
    return result.IsOK() ? result : refused(result);
}

void Pictures::clear()
{
    const std::lock_guard lock(mutex_);
    is_new_ = false;
    is_cleared_ = true;
}

const Picture* Pictures::drawn()
{
    const std::lock_guard lock(mutex_);
    if (std::exchange(is_new_, false)) {
        std::swap(newest_, drawn_);
    }
    return is_cleared_ ? nullptr : drawn_.get();
}

}  // namespace vex::display
