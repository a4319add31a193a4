#include "sdk/convert/filter_target.h"

#include <algorithm>
#include <cstring>

#include "sdk/base/failure.h"
#include "sdk/buffer/acquisition.h"
#include "sdk/convert/views.h"

namespace vex::convert {

PvResult make_like(const PvBuffer& in, std::uint32_t height, PvBuffer* out)
{
    if (out == nullptr || out->GetImage() == nullptr) {
        return failure(PvResult::InvalidParameter, "The output is no buffer for an image");
    }
    if (acquisition::is_held(*out)) {
        return failure(PvResult::StateError, "The output is queued; retrieve it first");
    }
    auto geometry = *acquisition::geometry(in);
    geometry.height = height;
    if (acquisition::required_size(geometry) <= out->GetSize()) {
        if (auto reshaped = acquisition::reshape(*out, geometry); !reshaped.IsOK()) {
            return reshaped;
        }
    } else if (auto allocated = out->GetImage()->Alloc(geometry.width, height, geometry.pixel_type, geometry.padding_x,
                                                       geometry.padding_y);
               !allocated.IsOK()) {
        return allocated;
    }
    acquisition::derive(*out, in);
    return PvResult::OK;
}

PvResult copy_image(const PvBuffer* in, PvBuffer* out)
{
    CheckedImage<const std::uint8_t> from;
    if (auto checked = check_image(in, "input", from); !checked.IsOK()) {
        return checked;
    }
    if (in == out) {
        return PvResult::OK;
    }
    if (auto made = make_like(*in, in->GetImage()->GetHeight(), out); !made.IsOK()) {
        return made;
    }
    // memory that ends right after the last line is whole, too
    std::memmove(out->GetDataPointer(), in->GetDataPointer(),
                 std::min(in->GetImage()->GetImageSize(), out->GetImage()->GetImageSize()));
    return PvResult::OK;
}

}  // namespace vex::convert
