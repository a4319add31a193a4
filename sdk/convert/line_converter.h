// A conversion of lines in several steps: unpacking, demosaicing, colour, packing.
#pragma once

#include <array>
#include <cstring>
#include <type_traits>

#include "sdk/convert/conversion.h"
#include "sdk/convert/demosaic.h"
#include "sdk/convert/output_lines.h"
#include "sdk/convert/pack.h"
#include "sdk/convert/simd/simd.h"
#include "sdk/convert/unpack.h"

namespace vex::convert {

using Byte = std::uint8_t;

/// Places in the scratch memory. The first three are a ring of Bayer lines or idle.
enum Place : std::size_t {
    cfa_0,
    cfa_1,
    cfa_2,
    color_0,
    color_1,
    color_2,
    alpha,
    other_depth_0,
    other_depth_1,
    other_depth_2,
    yuv_0,
    yuv_1,
    yuv_2,
    output_line  // three of them, for up to six bytes a pixel
};
static_assert(output_line + 3 == scratch_lines);

template <class Sample>
Channels<const Sample> read_only(const Channels<Sample>& channels) noexcept
{
    return {{channels.color[0], channels.color[1], channels.color[2]}, channels.alpha};
}

/// The lines of a conversion whose samples have this type on the way.
template <class Sample>
class LineConverter {
public:
    LineConverter(const Conversion& conversion, Scratch& scratch) noexcept
        : conversion_(conversion), from_(*conversion.source_format), to_(*conversion.destination_format),
          width_(conversion.source.width), scratch_(scratch),
          output_(conversion.destination, scratch.line<Byte>(output_line))
    {
        cfa_rows_.fill(no_row);
        const bool has_alpha = from_.alpha && to_.alpha;
        if (!has_alpha && to_rgb()) {
            unpack_ = simd::find_line_kernel(from_, planar_format());
            pack_ = simd::find_line_kernel(planar_format(), to_);
        }
        if (from_.model == Model::bayer) {
            prepare_demosaic();
        }
    }

    void convert(std::size_t y) noexcept
    {
        if (demosaics_directly_) {
            const auto lines = cfa_lines(y);
            // the line below was read already
            return output_.write_in_parts(
                y, conversion_.source.bytes_of(y + 2),
                [&](simd::Part part, const PackedLine<Byte>& to) { kernels_[y % 2](lines, width_, part, to); });
        }
        output_.write_whole(y, conversion_.source.bytes_of(y + 1), [&](const PackedLine<Byte>& to) { convert(y, to); });
    }

private:
    void convert(std::size_t y, const PackedLine<Byte>& out) noexcept
    {
        const Channels<Sample> line = read(y);
        if (from_.model == Model::mono) {
            return write_grey(line.color[0], out);
        }
        if constexpr (std::is_same_v<Sample, Byte>) {
            if (from_.model == Model::yuv) {
                if (!to_rgb()) {
                    return to_.model == Model::yuv ? pack_line(to_, read_only(line), width_, out)
                                                   : write_grey(line.color[0], out);
                }
                if (unpack_ == nullptr) {
                    yuv_to_rgb(width_, line);
                }
            }
        }
        if (filtered()) {
            for (std::size_t color = 0; color < 3; ++color) {
                apply_gain(LineGains(conversion_.gains, {color}), width_, line.color[color]);
            }
        }
        if (pack_ != nullptr) {
            const auto planes = planes_of(line);
            return pack_({planes[0], planes[1], planes[2]}, width_, {0, width_}, out);
        }
        switch (to_.model) {
        case Model::mono: rgb_to_grey(read_only(line), width_, line.color[0]); return write_grey(line.color[0], out);
        case Model::yuv: return write_yuv(line, out);
        default: return write(read_only(line), out);
        }
    }

    static constexpr std::size_t no_row = static_cast<std::size_t>(-1);

    [[nodiscard]] bool filtered() const noexcept { return from_.model != Model::mono && !conversion_.gains.neutral(); }
    /// Whether colours are RGB on the way.
    [[nodiscard]] bool to_rgb() const noexcept
    {
        return from_.model != Model::mono && (from_.model != Model::yuv || to_.model == Model::rgb || filtered());
    }

    static PackedLine<Byte> planes_of(const Channels<Sample>& line) noexcept
    {
        const auto at = [&](std::size_t c) { return reinterpret_cast<Byte*>(line.color[c]); };
        return {at(0), at(1), at(2)};
    }

    Sample* place(std::size_t index) noexcept { return scratch_.line<Sample>(index); }

    Channels<Sample> read(std::size_t y) noexcept
    {
        const Channels<Sample> line{{place(color_0), place(color_1), place(color_2)},
                                    from_.alpha && to_.alpha ? scratch_.line<Byte>(alpha) : nullptr};
        if (from_.model == Model::bayer) {
            demosaic(y, line);
        } else if (unpack_ != nullptr) {
            unpack_(conversion_.source.line(y), width_, {0, width_}, planes_of(line));
        } else {
            unpack_line(from_, conversion_.source.line(y), width_, line);
        }
        return line;
    }

    void prepare_demosaic() noexcept
    {
        const auto filter = conversion_.bayer_filter;
        Format samples = from_;
        samples.packing = std::is_same_v<Sample, Byte> ? Packing::bytes : Packing::words;
        samples.depth = 8 * sizeof(Sample);
        unpack_samples_ = simd::find_samples_kernel(from_, samples.depth);
        if (conversion_.gains.neutral()) {
            kernels_ = simd::find_bayer_kernels(samples, to_, filter);
        }
        demosaics_directly_ = kernels_[0] != nullptr;
        if (!demosaics_directly_) {
            kernels_ = simd::find_bayer_kernels(samples, planar_format(), filter);
        }
    }

    /// What the channels of a line are as a pixel type.
    static const Format& planar_format() noexcept
    {
        return *find_format(std::is_same_v<Sample, Byte> ? PvPixelRGB8Planar : PvPixelRGB16Planar);
    }

    void demosaic(std::size_t y, const Channels<Sample>& line) noexcept
    {
        if (kernels_[0] != nullptr) {
            return kernels_[y % 2](cfa_lines(y), width_, {0, width_}, planes_of(line));
        }
        const auto rows = cfa_lines(y);
        const auto at = [&](std::size_t i) { return reinterpret_cast<const Sample*>(rows[i]); };
        const BayerLines<Sample> lines{at(0), at(1), at(2)};
        const bool has_red = y % 2 == from_.red_y;
        const BayerLine kind{has_red, has_red ? from_.red_x : 1U - from_.red_x};
        if (conversion_.bayer_filter == PvBayerFilterSimple) {
            demosaic_simple(kind, lines, width_, line);
        } else {
            demosaic_3x3(kind, lines, width_, line);
        }
    }

    /// The samples of a Bayer line between those of its neighbours, mirrored at the borders.
    PackedLine<const Byte> cfa_lines(std::size_t y) noexcept
    {
        const std::size_t height = conversion_.source.height;
        const std::size_t above = y > 0 ? y - 1 : (height > 1 ? 1 : 0);
        const std::size_t below = y + 1 < height ? y + 1 : (y > 0 ? y - 1 : 0);
        return {cfa_line(above), cfa_line(y), cfa_line(below)};
    }

    /// A Bayer line, unpacked at most once while it is in use: neighbours have different places in a ring of three.
    const Byte* cfa_line(std::size_t y) noexcept
    {
        const auto packed = conversion_.source.line(y);
        if (from_.packing == Packing::bytes) {
            return packed[0];  // they are the samples
        }
        const std::size_t slot = y % 3;
        auto* const samples = place(cfa_0 + slot);
        auto* const bytes = reinterpret_cast<Byte*>(samples);
        if (cfa_rows_[slot] != y) {
            if (unpack_samples_ != nullptr) {
                unpack_samples_(packed, width_, {0, width_}, {bytes, nullptr, nullptr});
            } else {
                unpack_samples(packed, samples);
            }
            cfa_rows_[slot] = y;
        }
        return bytes;
    }

    void unpack_samples(const PackedLine<const Byte>& packed, Sample* samples) noexcept
    {
        if constexpr (std::is_same_v<Sample, Byte>) {
            auto* const deep = scratch_.line<std::uint16_t>(other_depth_0);
            unpack_line(from_, packed, width_, Channels<std::uint16_t>{{deep, nullptr, nullptr}, nullptr});
            narrow_line(deep, width_, samples);
        } else {
            unpack_line(from_, packed, width_, Channels<Sample>{{samples, nullptr, nullptr}, nullptr});
        }
    }

    void write_grey(const Sample* grey, const PackedLine<Byte>& out) noexcept
    {
        if (to_.model == Model::yuv) {
            Channels<const Byte> line{
                {as_bytes(grey, other_depth_0), scratch_.line<Byte>(other_depth_1), scratch_.line<Byte>(other_depth_1)},
                nullptr};
            std::memset(scratch_.line<Byte>(other_depth_1), 128, width_);
            return pack_line(to_, line, width_, out);
        }
        write(Channels<const Sample>{{grey, grey, grey}, nullptr}, out);
    }

    void write_yuv(const Channels<Sample>& line, const PackedLine<Byte>& out) noexcept
    {
        const Channels<Byte> yuv{{scratch_.line<Byte>(yuv_0), scratch_.line<Byte>(yuv_1), scratch_.line<Byte>(yuv_2)},
                                 nullptr};
        Channels<const Byte> rgb;
        for (std::size_t c = 0; c < 3; ++c) {
            rgb.color[c] = as_bytes(line.color[c], other_depth_0 + c);
        }
        rgb_to_yuv(width_, rgb, yuv);
        pack_line(to_, read_only(yuv), width_, out);
    }

    void write(const Channels<const Sample>& line, const PackedLine<Byte>& out) noexcept
    {
        const bool grey = line.color[0] == line.color[1];
        if (to_.depth <= 8) {
            Channels<const Byte> bytes{{}, line.alpha};
            for (std::size_t c = 0; c < 3; ++c) {
                bytes.color[c] =
                    c > 0 && grey ? bytes.color[0]
                                  : (line.color[c] != nullptr ? as_bytes(line.color[c], other_depth_0 + c) : nullptr);
            }
            return pack_line(to_, bytes, width_, out);
        }
        Channels<const std::uint16_t> words;
        for (std::size_t c = 0; c < 3; ++c) {
            words.color[c] = c > 0 && grey ? words.color[0] : as_words(line.color[c], other_depth_0 + c);
        }
        pack_line(to_, words, width_, out);
    }

    const Byte* as_bytes(const Sample* line, std::size_t to) noexcept
    {
        if constexpr (std::is_same_v<Sample, Byte>) {
            return line;
        } else {
            narrow_line(line, width_, scratch_.line<Byte>(to));
            return scratch_.line<Byte>(to);
        }
    }

    const std::uint16_t* as_words(const Sample* line, std::size_t to) noexcept
    {
        if constexpr (std::is_same_v<Sample, Byte>) {
            widen_line(line, width_, scratch_.line<std::uint16_t>(to));
            return scratch_.line<std::uint16_t>(to);
        } else {
            return line;
        }
    }

    const Conversion& conversion_;
    const Format& from_;
    const Format& to_;
    const std::size_t width_;
    Scratch& scratch_;
    OutputLines output_;
    simd::LineKernel unpack_ = nullptr;          // to channels of RGB
    simd::LineKernel pack_ = nullptr;            // from these
    simd::LineKernel unpack_samples_ = nullptr;  // of a Bayer type, in whose lines they are no bytes
    simd::BayerKernels kernels_{};               // to the destination, or to channels
    bool demosaics_directly_ = false;
    std::array<std::size_t, 3> cfa_rows_{};  // which line each place of the ring holds
};

}  // namespace vex::convert
