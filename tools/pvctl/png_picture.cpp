#include <png.h>

#include <bit>
#include <csetjmp>
#include <stdexcept>

#include "tools/pvctl/picture_file.h"

namespace pvctl {
namespace {

struct Output {
    std::vector<std::uint8_t> file;
    std::string error;
};

void keep_error(png_structp png, png_const_charp text)
{
    static_cast<Output*>(png_get_error_ptr(png))->error = text;
    png_longjmp(png, 1);
}

void ignore_warning(png_structp, png_const_charp) {}

void append(png_structp png, png_bytep bytes, std::size_t size)
{
    auto& file = static_cast<Output*>(png_get_io_ptr(png))->file;
    bool appended = true;
    try {
        file.insert(file.end(), bytes, bytes + size);
    } catch (const std::exception&) {
        appended = false;
    }
    if (!appended) {
        png_error(png, "out of memory");  // not inside the handler, which it would leave by a long jump
    }
}

int color_type(const Picture& picture)
{
    switch (picture.channels) {
    case 1: return PNG_COLOR_TYPE_GRAY;
    case 4: return PNG_COLOR_TYPE_RGB_ALPHA;
    default: return PNG_COLOR_TYPE_RGB;
    }
}

/// False after an error. No object with a destructor may live here: libpng reports errors by a long jump.
bool write(png_structp png, png_infop info, const Picture& picture)
{
    if (setjmp(png_jmpbuf(png)) != 0) {
        return false;
    }
    png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
    png_set_IHDR(png, info, picture.width, picture.height, static_cast<int>(picture.bits), color_type(picture),
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    if (picture.bits == 16 && std::endian::native == std::endian::little) {
        png_set_swap(png);
    }
    for (std::uint32_t y = 0; y < picture.height; ++y) {
        png_write_row(png, picture.pixels + y * picture.stride);
    }
    png_write_end(png, info);
    return true;
}

}  // namespace

std::vector<std::uint8_t> png_of(const Picture& picture)
{
    Output output;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &output, keep_error, ignore_warning);
    png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
    bool written = false;
    if (info != nullptr) {
        png_set_write_fn(png, &output, append, nullptr);
        written = write(png, info, picture);
    }
    png_destroy_write_struct(&png, &info);
    if (!written) {
        throw std::runtime_error("the PNG cannot be made: " + (output.error.empty() ? "out of memory" : output.error));
    }
    return std::move(output.file);
}

}  // namespace pvctl
