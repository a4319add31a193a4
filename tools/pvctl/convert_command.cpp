#include "tools/pvctl/convert_command.h"

#include <stdexcept>

#include "sdk/convert/PvBufferConverter.h"
#include "sdk/convert/PvBufferWriter.h"
#include "tools/pvctl/failure.h"
#include "tools/pvctl/json_output.h"
#include "tools/pvctl/picture_output.h"
#include "tools/pvctl/pixel_format_option.h"

using namespace vex;

namespace pvctl {
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
    command.add_flag("--json", options.json, "for programs to read");
}

/// Nobody is told about what was written but programs that ask.
void ConvertCommand::tell(const std::string& type) const
{
    if (options_->json) {
        print_json({{"file", options_->output},
                    {"type", type},
                    {"width", options_->source.width},
                    {"height", options_->source.height}});
    }
}

int ConvertCommand::run() const
{
    const auto& options = *options_;
    const auto type =
        options.type.empty() ? type_of_file(options.output, "say --type bmp, png, tiff or raw") : options.type;
    if (options.destination.empty() == (type == "raw")) {
        throw std::runtime_error(type == "raw" ? "a raw output needs its pixel format: --to FORMAT"
                                               : "--to is for raw outputs; pictures keep what the input has");
    }
    PvBuffer source;
    read(options.source, source);
    const auto bayer = options.bayer == "simple" ? PvBayerFilterSimple : PvBayerFilter3X3;
    if (type != "raw") {
        save_image(source, options.output, type, bayer);
        tell(type);
        return exit_code::success;
    }
    PvBufferConverter converter;
    require(converter.SetBayerFilter(bayer));
    PvBuffer destination;
    convert_image(converter, source, pixel_type_named(options.destination), destination);
    require(PvBufferWriter().Store(&destination, PvString(std::string(options.output)), PvBufferFormatRaw));
    tell(type);
    return exit_code::success;
}

}  // namespace pvctl
