#include "tools/pvctl/convert_command.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include "sdk/buffer/pixel_type_names.h"
#include "sdk/convert/PvBufferConverter.h"
#include "sdk/convert/PvBufferWriter.h"
#include "tools/pvctl/failure.h"
#include "tools/pvctl/picture_file.h"
#include "tools/pvctl/pixel_format_option.h"

using namespace vex;

namespace pvctl {
namespace {

/// The output's type by its extension.
std::string type_of_file(const std::string& name)
{
    auto extension = std::filesystem::path(name).extension().string();
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
    throw std::runtime_error("the extension of '" + name +
                             "' does not tell what to write; say --type bmp, png, tiff or raw");
}

/// The image in another pixel type, in lines without padding.
void convert(PvBufferConverter& converter, const PvBuffer& source, PvPixelType type, PvBuffer& destination)
{
    const auto& image = *source.GetImage();
    if (!PvBufferConverter::IsConversionSupported(image.GetPixelType(), type)) {
        throw std::runtime_error("there is no conversion to " + std::string(pixel_type_name(type)));
    }
    require(destination.GetImage()->Alloc(image.GetWidth(), image.GetHeight(), type));
    require(converter.Convert(&source, &destination));
}

}  // namespace

ConvertCommand::ConvertCommand(CLI::App& app)
    : ConvertCommand(*app.add_subcommand("convert", "make a picture (BMP, PNG, TIFF) of an image's raw bytes"),
                     std::make_unique<Options>())
{}

ConvertCommand::ConvertCommand(CLI::App& command, std::unique_ptr<Options> its_options)
    : Command(command), options_(std::move(its_options))
{
    auto& options = *options_;
    command.add_option("input", options.source.file, "file with the raw bytes; - for the standard input")->required();
    command.add_option("output", options.output, "file to write; .bmp, .png, .tiff, .tif or .raw tells its type")
        ->required();
    command.add_option("-f,--format", options.source.format, "pixel format of the input; see --list-formats")
        ->required();
    command.add_option("-W,--width", options.source.width, "pixels of a line")->required();
    command.add_option("-H,--height", options.source.height, "lines")->required();
    command.add_option("--padding-x", options.source.padding_x, "bytes after each line (0)");
    command.add_option("--padding-y", options.source.padding_y, "bytes after the last line (0)");
    command.add_option("--offset", options.source.offset, "bytes of the input before the image (0)");
    command.add_option("-t,--type", options.type, "type of the output, whatever its extension")
        ->check(CLI::IsMember({"bmp", "png", "tiff", "raw"}));
    command.add_option("--to", options.destination, "pixel format of a raw output");
    command.add_option("--bayer", options.bayer, "interpolation of Bayer formats: simple or 3x3 (3x3)")
        ->check(CLI::IsMember({"simple", "3x3"}));
    command.add_flag_callback(
        "--list-formats",
        [] {
            print_pixel_types();
            throw CLI::Success();
        },
        "print the pixel formats and end");
}

int ConvertCommand::run() const
{
    const auto& options = *options_;
    const auto type = options.type.empty() ? type_of_file(options.output) : options.type;
    if (options.destination.empty() == (type == "raw")) {
        throw std::runtime_error(type == "raw" ? "a raw output needs its pixel format: --to FORMAT"
                                               : "--to is for raw outputs; pictures keep what the input has");
    }
    PvBuffer source;
    read(options.source, source);
    const auto bayer = options.bayer == "simple" ? PvBayerFilterSimple : PvBayerFilter3X3;

    if (type == "bmp") {
        PvBufferWriter writer;
        require(writer.GetConverter()->SetBayerFilter(bayer));
        require(writer.Store(&source, PvString(std::string(options.output)), PvBufferFormatBMP));
        return 0;
    }
    PvBufferConverter converter;
    require(converter.SetBayerFilter(bayer));
    PvBuffer destination;
    if (type == "raw") {
        convert(converter, source, pixel_type_named(options.destination), destination);
        require(PvBufferWriter().Store(&destination, PvString(std::string(options.output)), PvBufferFormatRaw));
        return 0;
    }
    convert(converter, source, picture_type(source.GetImage()->GetPixelType()), destination);
    const auto picture = picture_in(destination);
    write_file(options.output, type == "png" ? png_of(picture) : tiff_of(picture));
    return 0;
}

}  // namespace pvctl
