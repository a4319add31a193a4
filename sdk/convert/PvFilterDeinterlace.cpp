#include "sdk/convert/PvFilterDeinterlace.h"

#include <cstring>
#include <new>
#include <vector>

#include "sdk/base/failure.h"
#include "sdk/buffer/PvBuffer.h"
#include "sdk/buffer/acquisition.h"
#include "sdk/convert/filter_target.h"
#include "sdk/convert/views.h"

using namespace vex;

namespace {

using namespace vex;
using namespace vex::convert;
using Byte = std::uint8_t;

/// Puts the lines of a field on every second line of a frame, from `first` on. The field begins at `field_line` of its
/// view.
void weave(const ImageView<const Byte>& field, std::size_t field_line, const ImageView<Byte>& frame, std::size_t first)
{
    for (std::size_t y = first; y < frame.height; y += 2, ++field_line) {
        const auto from = field.line(field_line);
        const auto to = frame.line(y);
        for (std::size_t plane = 0; plane < frame.planes; ++plane) {
            std::memcpy(to[plane], from[plane], frame.line_bytes);
        }
    }
}

}  // namespace

PvResult PvFilterDeinterlace::Apply(PvBuffer* buffer)
{
    CheckedImage<Byte> frame;
    if (auto checked = check_image(buffer, "buffer", frame); !checked.IsOK()) {
        return checked;
    }
    const auto& view = frame.view;
    const std::size_t bytes = view.stride * (view.height * view.planes - 1) + view.line_bytes;
    std::vector<Byte> fields;
    try {
        fields.assign(view.data, view.data + bytes);
    } catch (const std::bad_alloc&) {
        return failure(PvResult::NotEnoughMemory, "There is no memory for a copy of ", bytes, " bytes");
    }
    const ImageView<const Byte> from{fields.data(), view.width, view.height, view.stride, view.line_bytes, view.planes};
    const std::size_t odd_lines = inversion_ ? view.height / 2 : (view.height + 1) / 2;
    weave(from, 0, view, inversion_ ? 1 : 0);
    weave(from, odd_lines, view, inversion_ ? 0 : 1);
    acquisition::mark_progressive(*buffer);
    return PvResult::OK;
}

PvResult PvFilterDeinterlace::Apply(const PvBuffer* in, PvBuffer* out)
{
    if (auto copied = copy_image(in, out); !copied.IsOK()) {
        return copied;
    }
    return Apply(out);
}

PvResult PvFilterDeinterlace::Apply(const PvBuffer* odd, const PvBuffer* even, PvBuffer* out)
{
    CheckedImage<const Byte> odd_field;
    if (auto checked = check_image(odd, "odd field", odd_field); !checked.IsOK()) {
        return checked;
    }
    CheckedImage<const Byte> even_field;
    if (auto checked = check_image(even, "even field", even_field); !checked.IsOK()) {
        return checked;
    }
    if (out != nullptr && (out == odd || out == even || overlap(*odd, *out) || overlap(*even, *out))) {
        return failure(PvResult::InvalidParameter, "The output must have memory of its own");
    }
    const auto& first = inversion_ ? even_field.view : odd_field.view;
    const auto& second = inversion_ ? odd_field.view : even_field.view;
    if (odd->GetImage()->GetPixelType() != even->GetImage()->GetPixelType() || first.width != second.width ||
        first.height < second.height || first.height > second.height + 1) {
        return failure(PvResult::InvalidParameter, "The fields do not fit each other: the odd one has ",
                       odd_field.view.width, " x ", odd_field.view.height, " pixels, the even one ",
                       even_field.view.width, " x ", even_field.view.height);
    }
    const auto height = first.height + second.height;
    if (height > 0xFFFFFFFF) {
        return failure(PvResult::ErrOverflow, "A frame of ", height, " lines is too high");
    }
    if (auto made = make_like(*odd, static_cast<std::uint32_t>(height), out); !made.IsOK()) {
        return made;
    }
    CheckedImage<Byte> frame;
    if (auto checked = check_image(out, "output", frame); !checked.IsOK()) {
        return checked;
    }
    weave(first, 0, frame.view, 0);
    weave(second, 0, frame.view, 1);
    acquisition::mark_progressive(*out);
    return PvResult::OK;
}
