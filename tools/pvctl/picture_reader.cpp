#include "tools/pvctl/picture_reader.h"

#include <png.h>
#include <tiffio.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "tools/pvctl/failure.h"
#include "tools/pvctl/file_name.h"
#include "tools/pvctl/picture_output.h"

using namespace vex;

namespace pvctl {

namespace {

constexpr std::uint32_t most_pixels_in_a_row = 65'536;

[[noreturn]] void fail(const std::string& name, const std::string& why)
{
    throw std::runtime_error("cannot read " + name + ": " + why);
}

std::unique_ptr<PvBuffer> buffer_for(const std::string& name, std::uint32_t width, std::uint32_t height, bool grey)
{
    if (width == 0 || height == 0 || width > most_pixels_in_a_row || height > most_pixels_in_a_row) {
        fail(name, "a picture of " + std::to_string(width) + " by " + std::to_string(height) + " pixels");
    }
    auto buffer = std::make_unique<PvBuffer>();
    require(buffer->GetImage()->Alloc(width, height, grey ? PvPixelMono8 : PvPixelRGB8Packed));
    return buffer;
}

std::unique_ptr<PvBuffer> read_png(const std::string& name)
{
    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&png, name.c_str()) == 0) {
        fail(name, png.message);
    }
    const bool grey = (png.format & PNG_FORMAT_FLAG_COLOR) == 0;
    png.format = grey ? PNG_FORMAT_GRAY : PNG_FORMAT_RGB;
    auto buffer = buffer_for(name, png.width, png.height, grey);
    const png_color background{0, 0, 0};
    if (png_image_finish_read(&png, &background, buffer->GetDataPointer(), 0, nullptr) == 0) {
        fail(name, png.message);
    }
    return buffer;
}

std::unique_ptr<PvBuffer> read_tiff(const std::string& name)
{
    TIFFSetWarningHandler(nullptr);
    TIFFSetErrorHandler(nullptr);
    const std::unique_ptr<TIFF, void (*)(TIFF*)> file(TIFFOpen(name.c_str(), "r"), TIFFClose);
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint16_t samples = 1;
    if (file == nullptr || TIFFGetField(file.get(), TIFFTAG_IMAGEWIDTH, &width) == 0 ||
        TIFFGetField(file.get(), TIFFTAG_IMAGELENGTH, &height) == 0) {
        fail(name, "it is no TIFF file");
    }
    TIFFGetFieldDefaulted(file.get(), TIFFTAG_SAMPLESPERPIXEL, &samples);
    std::uint16_t kind = PHOTOMETRIC_MINISBLACK;
    TIFFGetField(file.get(), TIFFTAG_PHOTOMETRIC, &kind);
    const bool grey = samples == 1 && kind != PHOTOMETRIC_PALETTE;
    auto buffer = buffer_for(name, width, height, grey);
    std::vector<std::uint32_t> pixels(std::size_t{width} * height);
    if (TIFFReadRGBAImageOriented(file.get(), width, height, pixels.data(), ORIENTATION_TOPLEFT, 1) == 0) {
        fail(name, "its pixels cannot be decoded");
    }
    std::uint8_t* out = buffer->GetDataPointer();
    for (const std::uint32_t pixel : pixels) {
        *out++ = static_cast<std::uint8_t>(TIFFGetR(pixel));
        if (!grey) {
            *out++ = static_cast<std::uint8_t>(TIFFGetG(pixel));
            *out++ = static_cast<std::uint8_t>(TIFFGetB(pixel));
        }
    }
    return buffer;
}

/// A number of a bitmap's headers.
std::uint32_t number(const std::vector<std::uint8_t>& file, std::size_t at, int bytes)
{
    std::uint32_t value = 0;
    for (int i = bytes - 1; i >= 0; --i) {
        value = value << 8 | file[at + static_cast<std::size_t>(i)];
    }
    return value;
}

std::unique_ptr<PvBuffer> read_bmp(const std::string& name)
{
    std::ifstream stream(path_of(name), std::ios::binary);
    const std::vector<std::uint8_t> file{std::istreambuf_iterator<char>(stream), {}};
    if (file.size() < 54 || file[0] != 'B' || file[1] != 'M') {
        fail(name, "it is no bitmap");
    }
    const std::uint32_t pixels = number(file, 10, 4);
    const std::uint32_t palette = 14 + number(file, 14, 4);
    const std::uint32_t width = number(file, 18, 4);
    const auto lines = static_cast<std::int32_t>(number(file, 22, 4));
    const std::uint32_t height = lines < 0 ? 0U - static_cast<std::uint32_t>(lines) : static_cast<std::uint32_t>(lines);
    const std::uint32_t bits = number(file, 28, 2);
    if (number(file, 30, 4) != 0 || (bits != 8 && bits != 24 && bits != 32)) {
        fail(name, "only bitmaps of 8, 24 or 32 bits that are not compressed can be read");
    }
    auto buffer = buffer_for(name, width, height, bits == 8);
    const std::size_t stride = (std::size_t{width} * bits + 31) / 32 * 4;
    if (pixels > file.size() || stride * height > file.size() - pixels ||
        (bits == 8 && std::size_t{palette} + 1024 > file.size())) {
        fail(name, "it is cut off");
    }
    std::uint8_t* out = buffer->GetDataPointer();
    for (std::uint32_t y = 0; y < height; ++y) {
        const std::uint8_t* in = file.data() + pixels + stride * (lines < 0 ? y : height - 1 - y);
        for (std::uint32_t x = 0; x < width; ++x, in += bits / 8) {
            if (bits == 8) {
                *out++ = file[palette + std::size_t{*in} * 4];  // of a grey palette any colour will do
            } else {
                *out++ = in[2];
                *out++ = in[1];
                *out++ = in[0];
            }
        }
    }
    return buffer;
}

/// Empty for a file that is none of those that can be read.
std::string kind_of(const std::string& name)
{
    try {
        const std::string type = type_of_file(name);
        return type == "raw" ? "" : type;
    } catch (const std::runtime_error&) {
        return "";
    }
}

}  // namespace

std::unique_ptr<PvBuffer> read_picture(const std::string& name)
{
    const std::string kind = kind_of(name);
    if (kind == "png") {
        return read_png(name);
    }
    return kind == "tiff" ? read_tiff(name) : read_bmp(name);
}

std::vector<std::string> pictures_in(const std::string& folder)
{
    std::vector<std::string> names;
    std::error_code error;
    for (std::filesystem::directory_iterator at(path_of(folder), error), end; !error && at != end;
         at.increment(error)) {
        if (at->is_regular_file() && !kind_of(name_of(at->path())).empty()) {
            names.push_back(name_of(at->path()));
        }
    }
    if (error) {
        fail(folder, error.message());
    }
    std::ranges::sort(names);
    return names;
}

}  // namespace pvctl
