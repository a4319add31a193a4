#include "sdk/convert/PvBufferConverter.h"

#include <algorithm>
#include <limits>
#include <new>
#include <thread>
#include <vector>

#include "sdk/base/failure.h"
#include "sdk/buffer/acquisition.h"
#include "sdk/convert/PvFilterRGB.h"
#include "sdk/convert/conversion.h"
#include "sdk/convert/thread_pool.h"
#include "sdk/convert/views.h"

using namespace vex;

namespace {

/// More threads than any machine has processors would only cost memory.
constexpr unsigned most_threads = 256;
/// Below this, waking a thread costs more than the work it takes over.
constexpr std::size_t pixels_per_thread = 65536;
/// Threads take a part of an image at a time, so that one that gets less of a processor does less of the work.
constexpr std::size_t bands_per_thread = 4;

unsigned thread_count(std::int32_t wanted) noexcept
{
    const unsigned threads = wanted > 0 ? static_cast<unsigned>(wanted) : std::thread::hardware_concurrency();
    return std::clamp(threads, 1U, most_threads);
}

/// What remains of a line to a multiple of four bytes, which bitmaps need.
std::uint16_t bitmap_padding(std::uint64_t line_bytes) noexcept
{
    return static_cast<std::uint16_t>((4 - line_bytes % 4) % 4);
}

/// Gives the destination the source's size, in its memory or, if that is too small, in new one.
PvResult fit(const PvImage& source, PvBuffer& destination, const convert::Format& format)
{
    auto& image = *destination.GetImage();
    acquisition::ImageGeometry wanted{source.GetWidth(),   source.GetHeight(), image.GetPixelType(), 0, 0,
                                      image.GetPaddingX(), image.GetPaddingY()};
    if (image.GetWidth() == wanted.width && image.GetHeight() == wanted.height &&
        acquisition::required_size(wanted) <= destination.GetSize()) {
        return PvResult::OK;
    }
    if (format.windows) {
        wanted.padding_x = bitmap_padding(acquisition::line_layout(wanted.pixel_type, wanted.width).line_bytes);
    }
    if (acquisition::required_size(wanted) <= destination.GetSize()) {
        return acquisition::reshape(destination, wanted);
    }
    return image.Alloc(wanted.width, wanted.height, wanted.pixel_type, wanted.padding_x, wanted.padding_y);
}

}  // namespace

struct PvBufferConverter::Engine {
    /// Makes threads and working memory for images of that size. May throw std::bad_alloc.
    void prepare(std::int32_t threads, std::size_t width, std::size_t height)
    {
        const std::size_t worthwhile = width * height / pixels_per_thread + 1;
        if (worthwhile > 1 && !pool) {
            pool = std::make_unique<convert::ThreadPool>(thread_count(threads));
        }
        const std::size_t available = pool ? pool->size() : 1;
        bands = available > 1 ? static_cast<unsigned>(std::min({worthwhile, height, bands_per_thread * available})) : 1;
        const std::size_t threads_used = bands > 1 ? available : 1;
        if (scratch.size() < threads_used) {
            scratch.resize(threads_used);
        }
        for (std::size_t thread = 0; thread < threads_used; ++thread) {
            scratch[thread].reserve(width, convert::scratch_lines);
        }
    }

    void run(const convert::Conversion& conversion)
    {
        const std::size_t height = conversion.source.height;
        const auto convert_band = [&](unsigned band, unsigned thread) {
            convert::convert_lines(conversion, height * band / bands, height * (band + 1) / bands, scratch[thread]);
        };
        if (bands == 1) {
            convert_band(0, 0);
        } else {
            pool->run(bands, convert_band);
        }
    }

    std::unique_ptr<convert::ThreadPool> pool;  // once an image was large enough to share out
    unsigned bands = 1;
    std::vector<convert::Scratch> scratch;  // one for each thread
};

PvBufferConverter::PvBufferConverter(std::int32_t threads) noexcept : threads_(threads) {}
PvBufferConverter::~PvBufferConverter() = default;

bool PvBufferConverter::IsConversionSupported(PvPixelType source, PvPixelType destination) noexcept
{
    const auto* from = convert::find_format(source);
    const auto* to = convert::find_format(destination);
    return from != nullptr && to != nullptr && (from == to || to->destination);
}

PvResult PvBufferConverter::Convert(const PvBuffer* source, PvBuffer* destination, bool realloc_if_needed)
{
    convert::CheckedImage<const std::uint8_t> from;
    if (auto checked = convert::check_image(source, "source", from); !checked.IsOK()) {
        return checked;
    }
    if (destination == nullptr || destination->GetImage() == nullptr) {
        return failure(PvResult::InvalidParameter, "The destination is no buffer for an image");
    }
    if (acquisition::is_held(*destination)) {
        return failure(PvResult::StateError, "The destination is queued; retrieve it first");
    }
    const auto& source_image = *source->GetImage();
    auto& image = *destination->GetImage();
    if (!IsConversionSupported(source_image.GetPixelType(), image.GetPixelType())) {
        return failure(PvResult::NotSupported, "There is no conversion from pixel type ",
                       static_cast<std::uint32_t>(source_image.GetPixelType()), " to ",
                       static_cast<std::uint32_t>(image.GetPixelType()));
    }
    if (convert::overlap(*source, *destination)) {
        return failure(PvResult::InvalidParameter, "Source and destination share memory");
    }

    try {
        if (!engine_) {
            engine_ = std::make_unique<Engine>();
        }
        engine_->prepare(threads_, from.view.width, from.view.height);
        if (realloc_if_needed) {
            if (auto fitted = fit(source_image, *destination, *convert::find_format(image.GetPixelType()));
                !fitted.IsOK()) {
                return fitted;
            }
        } else if (image.GetWidth() != source_image.GetWidth() || image.GetHeight() != source_image.GetHeight()) {
            return failure(PvResult::InvalidParameter, "The destination has ", image.GetWidth(), " x ",
                           image.GetHeight(), " pixels, the source ", source_image.GetWidth(), " x ",
                           source_image.GetHeight());
        }
        convert::CheckedImage<std::uint8_t> to;
        if (auto checked = convert::check_image(destination, "destination", to); !checked.IsOK()) {
            return checked;
        }
        convert::Conversion conversion{from.format, to.format, from.view, to.view, bayer_filter_, {}};
        if (rgb_filter_) {
            conversion.gains = convert::gains_of(*rgb_filter_);
        }
        engine_->run(conversion);
    } catch (const std::bad_alloc&) {
        return failure(PvResult::NotEnoughMemory, "There is no memory to convert an image ", source_image.GetWidth(),
                       " pixels wide");
    }
    acquisition::derive(*destination, *source);
    return PvResult::OK;
}

PvResult PvBufferConverter::SetBayerFilter(PvBayerFilterType filter)
{
    if (filter != PvBayerFilterSimple && filter != PvBayerFilter3X3) {
        return failure(PvResult::InvalidParameter, static_cast<std::int32_t>(filter), " is not a Bayer filter");
    }
    bayer_filter_ = filter;
    return PvResult::OK;
}

PvResult PvBufferConverter::SetRGBFilter(const PvFilterRGB& filter)
{
    try {
        rgb_filter_ = std::make_unique<PvFilterRGB>(filter);
    } catch (const std::bad_alloc&) {
        return PvResult::NotEnoughMemory;
    }
    return PvResult::OK;
}

PvResult PvBufferConverter::ResetRGBFilter()
{
    rgb_filter_.reset();
    return PvResult::OK;
}
