#include "tools/pvctl/picture_file.h"

#include <stdexcept>

#include "sdk/base/whole_file.h"
#include "sdk/convert/formats.h"

using namespace vex;

namespace pvctl {

PvPixelType picture_type(PvPixelType source)
{
    const auto& format = *convert::find_format(source);
    const bool deep = format.depth > 8;
    if (format.model == convert::Model::mono) {
        return deep ? PvPixelMono16 : PvPixelMono8;
    }
    if (format.alpha) {
        return PvPixelRGBA8Packed;
    }
    return deep ? PvPixelRGB16Packed : PvPixelRGB8Packed;
}

Picture picture_in(const PvBuffer& buffer)
{
    const auto& image = *buffer.GetImage();
    Picture picture;
    picture.width = image.GetWidth();
    picture.height = image.GetHeight();
    picture.bits = convert::find_format(image.GetPixelType())->depth;
    picture.channels = image.GetBitsPerPixel() / picture.bits;
    picture.pixels = buffer.GetDataPointer();
    picture.stride = image.GetLineStride();
    return picture;
}

void write_file(const std::string& name, const std::vector<std::uint8_t>& bytes)
{
    const PvResult done = write_whole_file(PvString(std::string(name)), bytes);
    if (!done.IsOK()) {
        throw std::runtime_error(std::string(done.description()));
    }
}

}  // namespace pvctl
