#include <tiffio.h>

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <exception>
#include <memory>
#include <stdexcept>

#include "tools/pvctl/picture_file.h"

namespace pvctl {
namespace {

/// A file in memory that can be written anywhere, as libtiff does.
struct Output {
    std::vector<std::uint8_t> file;
    std::size_t position = 0;
    std::string error;
};

Output& output_of(thandle_t handle) { return *static_cast<Output*>(handle); }

tmsize_t read(thandle_t handle, void* bytes, tmsize_t size)
{
    auto& output = output_of(handle);
    const auto left = output.file.size() - std::min(output.position, output.file.size());
    const auto count = std::min(static_cast<std::size_t>(size), left);
    std::memcpy(bytes, output.file.data() + output.position, count);
    output.position += count;
    return static_cast<tmsize_t>(count);
}

tmsize_t write(thandle_t handle, void* bytes, tmsize_t size)
{
    auto& output = output_of(handle);
    try {
        const auto count = static_cast<std::size_t>(size);
        output.file.resize(std::max(output.file.size(), output.position + count));
        std::memcpy(output.file.data() + output.position, bytes, count);
        output.position += count;
        return size;
    } catch (const std::exception&) {
        output.error = "out of memory";
        return -1;
    }
}

toff_t seek(thandle_t handle, toff_t offset, int whence)
{
    auto& output = output_of(handle);
    const std::size_t from = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? output.position : output.file.size();
    output.position = from + static_cast<std::size_t>(offset);
    return output.position;
}

int close(thandle_t) { return 0; }
toff_t size_of(thandle_t handle) { return output_of(handle).file.size(); }
int map(thandle_t, void**, toff_t*) { return 0; }
void unmap(thandle_t, void*, toff_t) {}

int keep_error(TIFF*, void* user, const char*, const char* format, va_list arguments)
{
    char text[256];
    std::vsnprintf(text, sizeof text, format, arguments);
    static_cast<Output*>(user)->error = text;
    return 1;
}

struct Closer {
    void operator()(TIFF* tiff) const { TIFFClose(tiff); }
    void operator()(TIFFOpenOptions* options) const { TIFFOpenOptionsFree(options); }
};

bool write_picture(TIFF* tiff, const Picture& picture)
{
    constexpr std::uint32_t strip_bytes = 64 * 1024;
    const auto lines = std::max<std::uint32_t>(1, static_cast<std::uint32_t>(strip_bytes / picture.stride));
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, picture.width);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, picture.height);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, picture.bits);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, picture.channels);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, picture.channels == 1 ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tiff, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, lines);
    if (picture.channels == 4) {
        const std::uint16_t alpha[] = {EXTRASAMPLE_UNASSALPHA};
        TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, alpha);
    }
    std::vector<std::uint8_t> line(picture.stride);  // libtiff may change what it is given
    for (std::uint32_t y = 0; y < picture.height; ++y) {
        std::memcpy(line.data(), picture.pixels + y * picture.stride, picture.stride);
        if (TIFFWriteScanline(tiff, line.data(), y) != 1) {
            return false;
        }
    }
    return TIFFFlush(tiff) == 1;
}

}  // namespace

std::vector<std::uint8_t> tiff_of(const Picture& picture)
{
    Output output;
    const std::unique_ptr<TIFFOpenOptions, Closer> options(TIFFOpenOptionsAlloc());
    if (options) {
        TIFFOpenOptionsSetErrorHandlerExtR(options.get(), keep_error, &output);
    }
    bool written = false;
    {
        const std::unique_ptr<TIFF, Closer> tiff(
            TIFFClientOpenExt("picture", "w", &output, read, write, seek, close, size_of, map, unmap, options.get()));
        written = tiff && write_picture(tiff.get(), picture);
    }
    if (!written || !output.error.empty()) {
        throw std::runtime_error("the TIFF cannot be made: " + (output.error.empty() ? "out of memory" : output.error));
    }
    return std::move(output.file);
}

}  // namespace pvctl
