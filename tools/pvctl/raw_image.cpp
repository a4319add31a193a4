#include "tools/pvctl/raw_image.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <limits>
#include <stdexcept>
#include <system_error>

#include "sdk/buffer/pixel_type_names.h"
#include "tools/pvctl/file_name.h"
#include "tools/pvctl/pixel_format_option.h"

using namespace vex;

namespace pvctl {
namespace {

std::string shown_name(const RawImage& source)
{
    return source.file == "-" ? "the standard input" : "'" + source.file + "'";
}

std::runtime_error too_short(const RawImage& source, std::uint64_t found, const PvImage& image)
{
    std::string text = shown_name(source) + " is too short: " + std::to_string(source.width) + " x " +
                       std::to_string(source.height) + " pixels of " +
                       std::string(pixel_type_name(image.GetPixelType())) + " take " +
                       std::to_string(image.GetImageSize()) + " bytes";
    if (source.offset != 0) {
        text += " after the first " + std::to_string(source.offset);
    }
    return std::runtime_error(text + ", and there are " + std::to_string(found));
}

/// Passes over bytes, also where the stream cannot be positioned; how many there were.
std::uint64_t skip(std::istream& stream, std::uint64_t count)
{
    std::uint64_t skipped = 0;
    constexpr auto most = static_cast<std::uint64_t>(std::numeric_limits<std::streamsize>::max());
    while (skipped < count && stream.good()) {
        stream.ignore(static_cast<std::streamsize>(std::min(count - skipped, most)));
        skipped += static_cast<std::uint64_t>(stream.gcount());
    }
    return skipped;
}

}  // namespace

void read(const RawImage& source, PvBuffer& buffer)
{
    auto& image = *buffer.GetImage();
    if (const auto allocated = image.Alloc(source.width, source.height, pixel_type_named(source.format),
                                           source.padding_x, source.padding_y);
        !allocated.IsOK()) {
        throw std::runtime_error(std::string(allocated.description()));
    }

    std::ifstream file;
    if (source.file != "-") {
        if (std::filesystem::is_directory(path_of(source.file))) {
            throw std::runtime_error(shown_name(source) + " is a folder");
        }
        file.open(path_of(source.file), std::ios::binary);
        if (!file) {
            throw std::runtime_error("cannot read " + shown_name(source) + ": " +
                                     std::generic_category().message(errno));
        }
    }
    std::istream& stream = source.file == "-" ? std::cin : file;
    std::uint64_t found = 0;
    if (skip(stream, source.offset) == source.offset) {
        stream.read(reinterpret_cast<char*>(buffer.GetDataPointer()), image.GetImageSize());
        found = static_cast<std::uint64_t>(stream.gcount());
    }
    if (found < image.GetImageSize()) {
        throw too_short(source, found, image);
    }
}

}  // namespace pvctl
