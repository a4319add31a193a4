#include "tools/pvctl/picture_output.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include "sdk/buffer/pixel_type_names.h"
#include "sdk/convert/PvBufferWriter.h"
#include "sdk/convert/formats.h"
#include "tools/pvctl/failure.h"
#include "tools/pvctl/file_name.h"
#include "tools/pvctl/picture_file.h"

using namespace vex;

namespace pvctl {

std::string type_of_file(const std::string& name, const char* advice)
{
    auto extension = name_of(path_of(name).extension());
    std::ranges::transform(extension, extension.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    for (const auto* type : {"bmp", "png", "tiff", "raw"}) {
        if (extension == std::string(".") + type) {
            return type;
        }
    }
    if (extension == ".tif") {
        return "tiff";
    }
    throw std::runtime_error("the extension of '" + name + "' does not tell what to write; " + advice);
}

void convert_image(PvBufferConverter& converter, const PvBuffer& source, PvPixelType type, PvBuffer& destination)
{
    const auto& image = *source.GetImage();
    if (!PvBufferConverter::IsConversionSupported(image.GetPixelType(), type)) {
        throw std::runtime_error("there is no conversion to " + std::string(pixel_type_name(type)));
    }
    require(destination.GetImage()->Alloc(image.GetWidth(), image.GetHeight(), type));
    require(converter.Convert(&source, &destination));
}

void save_image(const PvBuffer& source, const std::string& name, const std::string& type, PvBayerFilterType bayer)
{
    if (type == "bmp" || type == "raw") {
        PvBufferWriter writer;
        require(writer.GetConverter()->SetBayerFilter(bayer));
        require(
            writer.Store(&source, PvString(std::string(name)), type == "bmp" ? PvBufferFormatBMP : PvBufferFormatRaw));
        return;
    }
    if (source.GetImage() == nullptr) {
        throw std::runtime_error("only images can be saved as " + type);
    }
    const PvPixelType pixels = source.GetImage()->GetPixelType();
    if (convert::find_format(pixels) == nullptr) {
        throw std::runtime_error("there is no conversion of " + std::string(pixel_type_name(pixels)));
    }
    PvBufferConverter converter;
    require(converter.SetBayerFilter(bayer));
    PvBuffer destination;
    convert_image(converter, source, picture_type(pixels), destination);
    const auto picture = picture_in(destination);
    write_file(name, type == "png" ? png_of(picture) : tiff_of(picture));
}

}  // namespace pvctl
