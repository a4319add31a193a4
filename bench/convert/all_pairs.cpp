#include "bench/convert/all_pairs.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>
#include <vector>

#include "bench/convert/measure.h"
#include "sdk/buffer/PvBuffer.h"
#include "sdk/buffer/pixel_type_names.h"
#include "sdk/convert/PvBufferConverter.h"

using namespace vex;

namespace bench {
namespace {

constexpr Size size{2048, 2048};
/// Of source and destination each, several times what the last level cache of common machines holds.
constexpr std::size_t arena_bytes = std::size_t{160} << 20;

/// Memory of which each use gets the next part, which has left the caches since its last use.
class Arena {
public:
    Arena() : memory_(allocate_random(arena_bytes)) {}
    Byte* next(std::size_t bytes)
    {
        constexpr std::size_t page = 4096;
        if (used_ + bytes > arena_bytes) {
            used_ = 0;
        }
        Byte* const place = memory_.get() + used_;
        used_ += (bytes + page - 1) / page * page;
        return place;
    }

private:
    Memory memory_;
    std::size_t used_ = 0;
};

std::size_t bytes_of(PvPixelType type)
{
    return std::size_t{size.width} * size.height * PvImage::GetPixelBitCount(type) / 8;
}

void attach(PvBuffer& buffer, Arena& arena, PvPixelType type)
{
    if (!buffer.GetImage()->Attach(arena.next(bytes_of(type)), size.width, size.height, type).IsOK()) {
        std::abort();
    }
}

/// Rounded to ten.
long speed(PvPixelType from, PvPixelType to, Arena& sources, Arena& destinations)
{
    PvBufferConverter converter(1);
    PvBuffer source, destination;
    const auto convert = [&] {
        attach(source, sources, from);
        attach(destination, destinations, to);
        if (!converter.Convert(&source, &destination).IsOK()) {
            std::abort();
        }
    };
    const double seconds = median_seconds({convert}, 9)[0];
    return std::lround(static_cast<double>(size.pixels()) / seconds / 1e7) * 10;
}

}  // namespace

void print_all_pairs()
{
    std::vector<PvPixelType> destinations;
    std::ranges::copy_if(pv_pixel_types, std::back_inserter(destinations), [](PvPixelType to) {
        return PvBufferConverter::IsConversionSupported(to == PvPixelMono8 ? PvPixelMono16 : PvPixelMono8, to);
    });
    Arena sources, written;
    std::string rule = "|---|";
    std::printf("| from \\ to |");
    for (const auto to : destinations) {
        std::printf(" %s |", std::string(pixel_type_name(to)).c_str());
        rule += "--:|";
    }
    std::printf("\n%s\n", rule.c_str());
    for (const auto from : pv_pixel_types) {
        std::printf("| %s |", std::string(pixel_type_name(from)).c_str());
        for (const auto to : destinations) {
            std::printf(" %ld |", speed(from, to, sources, written));
        }
        std::printf("\n");
        std::fflush(stdout);
    }
}

}  // namespace bench
