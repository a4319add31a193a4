// Conversion speed beside OpenCV, libswscale, a copy of the output bytes and mere reading of the input bytes, over
// memory that is in no cache; then the filters' speed and the quality of the Bayer filters. A conversion cannot be
// faster than reading its input. Arguments: names of parts of the table's first column, to measure only those rows; or
// "pairs" for a table of all conversions, which is not measured otherwise.
#include <cstdio>
#include <cstring>
#include <string_view>
#include <thread>

#include "bench/convert/all_pairs.h"
#include "bench/convert/filters.h"
#include "bench/convert/measure.h"
#include "bench/convert/peers.h"
#include "bench/convert/quality.h"
#include "sdk/buffer/PvBuffer.h"
#include "sdk/buffer/acquisition.h"
#include "sdk/convert/thread_pool.h"

using namespace vex;

namespace {

using namespace bench;

struct Row {
    const char* name;
    Task task;
};

const Row rows[] = {
    {"Mono8 -> BGRA8", {PvPixelMono8, PvPixelBGRA8Packed}},
    {"Mono8 -> RGB8", {PvPixelMono8, PvPixelRGB8Packed}},
    {"RGB8 -> BGRA8", {PvPixelRGB8Packed, PvPixelBGRA8Packed}},
    {"RGB8 -> BGR8", {PvPixelRGB8Packed, PvPixelBGR8Packed}},
    {"BGRA8 -> RGB8", {PvPixelBGRA8Packed, PvPixelRGB8Packed}},
    {"BGRA8 -> RGBA8", {PvPixelBGRA8Packed, PvPixelRGBA8Packed}},
    {"Mono10 -> Mono8", {PvPixelMono10, PvPixelMono8}},
    {"Mono12 -> Mono8", {PvPixelMono12, PvPixelMono8}},
    {"Mono16 -> Mono8", {PvPixelMono16, PvPixelMono8}},
    {"Mono10 -> Mono16", {PvPixelMono10, PvPixelMono16}},
    {"Mono12 -> Mono16", {PvPixelMono12, PvPixelMono16}},
    {"Mono10Packed -> Mono8", {PvPixelMono10Packed, PvPixelMono8}},
    {"Mono12Packed -> Mono8", {PvPixelMono12Packed, PvPixelMono8}},
    {"Mono10Packed -> Mono16", {PvPixelMono10Packed, PvPixelMono16}},
    {"Mono12Packed -> Mono16", {PvPixelMono12Packed, PvPixelMono16}},
    {"Mono12 -> BGRA8", {PvPixelMono12, PvPixelBGRA8Packed}},
    {"Mono12Packed -> BGRA8", {PvPixelMono12Packed, PvPixelBGRA8Packed}},
    {"UYVY -> BGRA8", {PvPixelYUV422Packed, PvPixelBGRA8Packed}},
    {"YUYV -> BGRA8", {PvPixelYUV422YUYVPacked, PvPixelBGRA8Packed}},
    {"UYVY -> BGR8", {PvPixelYUV422Packed, PvPixelBGR8Packed}},
    {"YUV444 -> BGRA8", {PvPixelYUV444Packed, PvPixelBGRA8Packed}},
    {"BayerRG8 -> BGRA8, simple", {PvPixelBayerRG8, PvPixelBGRA8Packed}},
    {"BayerRG8 -> BGR8, simple", {PvPixelBayerRG8, PvPixelBGR8Packed}},
    {"BayerRG12 -> BGRA8, simple", {PvPixelBayerRG12, PvPixelBGRA8Packed}},
    {"BayerRG12Packed -> BGRA8, simple", {PvPixelBayerRG12Packed, PvPixelBGRA8Packed}},
    {"BayerRG8 -> BGRA8, 3x3", {PvPixelBayerRG8, PvPixelBGRA8Packed, PvBayerFilter3X3}},
    {"BayerRG8 -> BGR8, 3x3", {PvPixelBayerRG8, PvPixelBGR8Packed, PvBayerFilter3X3}},
    {"BayerRG12Packed -> BGRA8, 3x3", {PvPixelBayerRG12Packed, PvPixelBGRA8Packed, PvBayerFilter3X3}},
    {"RGB16 -> BGRA8", {PvPixelRGB16Packed, PvPixelBGRA8Packed}},
    {"RGB12V1Packed -> BGRA8", {PvPixelRGB12V1Packed, PvPixelBGRA8Packed}},
    {"RGB12V1Packed -> RGB16", {PvPixelRGB12V1Packed, PvPixelRGB16Packed}},
    {"RGB12V1Packed -> UYVY", {PvPixelRGB12V1Packed, PvPixelYUV422Packed}},
    {"BGR10V1Packed -> BGRA8", {PvPixelBGR10V1Packed, PvPixelBGRA8Packed}},
    {"BGR10V1Packed -> RGB16", {PvPixelBGR10V1Packed, PvPixelRGB16Packed}},
    {"BGR10V2Packed -> BGRA8", {PvPixelBGR10V2Packed, PvPixelBGRA8Packed}},
    {"BGR10V2Packed -> RGB8", {PvPixelBGR10V2Packed, PvPixelRGB8Packed}},
    {"YUV411 -> BGRA8", {PvPixelYUV411Packed, PvPixelBGRA8Packed}},
    {"YUV411 -> UYVY", {PvPixelYUV411Packed, PvPixelYUV422Packed}},
    {"UYVY -> Mono8", {PvPixelYUV422Packed, PvPixelMono8}},
    {"UYVY -> Mono16", {PvPixelYUV422Packed, PvPixelMono16}},
    {"UYVY -> YUYV", {PvPixelYUV422Packed, PvPixelYUV422YUYVPacked}},
    {"UYVY -> YUV444", {PvPixelYUV422Packed, PvPixelYUV444Packed}},
    {"YUV444 -> UYVY", {PvPixelYUV444Packed, PvPixelYUV422Packed}},
    {"Mono8 -> UYVY", {PvPixelMono8, PvPixelYUV422Packed}},
    {"Mono12 -> UYVY", {PvPixelMono12, PvPixelYUV422Packed}},
    {"Mono12Packed -> YUV444", {PvPixelMono12Packed, PvPixelYUV444Packed}},
    {"Mono8 -> RGB16", {PvPixelMono8, PvPixelRGB16Packed}},
    {"WinRGB16 -> BGRA8", {PvPixelWinRGB16, PvPixelBGRA8Packed}},
    {"WinRGB16 -> UYVY", {PvPixelWinRGB16, PvPixelYUV422Packed}},
    {"BGRA8 -> WinRGB16", {PvPixelBGRA8Packed, PvPixelWinRGB16}},
    {"Mono8 -> WinRGB16", {PvPixelMono8, PvPixelWinRGB16}},
    {"BGRA8 -> UYVY", {PvPixelBGRA8Packed, PvPixelYUV422Packed}},
    {"BGRA8 -> Mono8", {PvPixelBGRA8Packed, PvPixelMono8}},
};

/// The converter, its thread pool kept, on images attached to the memory that it is given.
Convert our_conversion(const Task& task, Size size, unsigned threads)
{
    struct State {
        explicit State(unsigned count) : converter(static_cast<std::int32_t>(count)) {}
        PvBufferConverter converter;
        PvBuffer from, to;
    };
    auto state = std::make_shared<State>(threads);
    state->converter.SetBayerFilter(task.filter);
    return [=](const Byte* from, Byte* to) {
        state->from.GetImage()->Attach(const_cast<Byte*>(from), size.width, size.height, task.from);
        state->to.GetImage()->Attach(to, size.width, size.height, task.to);
        if (!state->converter.Convert(&state->from, &state->to).IsOK()) {
            std::abort();
        }
    };
}

std::size_t image_bytes(PvPixelType type, Size size)
{
    PvBuffer buffer;
    if (!buffer.GetImage()->Alloc(size.width, size.height, type).IsOK()) {
        std::abort();
    }
    return buffer.GetSize();
}

/// Reads a byte of every cache line.
void touch(const Byte* bytes, std::size_t count)
{
    constexpr std::size_t cache_line = 64;
    Byte sum = 0;
    for (std::size_t at = 0; at < count; at += cache_line) {
        sum = static_cast<Byte>(sum + bytes[at]);
    }
    const volatile Byte sink = sum;
    static_cast<void>(sink);
}

/// With more threads than one, also how much faster each is than one thread in the same rounds.
void measure(const Row& row, Size size, unsigned threads)
{
    const auto& task = row.task;
    const std::size_t out_bytes = image_bytes(task.to, size);
    const std::size_t in_bytes = image_bytes(task.from, size);
    ColdBuffers buffers(in_bytes, out_bytes);
    convert::ThreadPool pool(threads);
    const auto conversion = [&](Convert convert) {
        return [&buffers, convert = std::move(convert)] {
            const auto [from, to] = buffers.next();
            convert(from, to);
        };
    };
    const auto in_parts = [&pool](unsigned parts, std::size_t bytes, auto&& work) {
        pool.run(parts, [&](unsigned part, unsigned /*thread*/) {
            const std::size_t begin = bytes * part / parts;
            work(begin, bytes * (part + 1) / parts - begin);
        });
    };
    const auto copy = [&](unsigned parts) {
        return [&buffers, &in_parts, parts, out_bytes] {
            const auto pair = buffers.next_copy();
            in_parts(parts, out_bytes, [&](std::size_t begin, std::size_t count) {
                std::memcpy(pair.to + begin, pair.from + begin, count);
            });
        };
    };
    enum : std::size_t { ours, memcpy, read, first_peer };
    std::vector<std::string> names{"ours", "memcpy", "read"};
    std::vector<std::function<void()>> calls{
        conversion(our_conversion(task, size, threads)),
        copy(threads),
        [&] {
            const auto pair = buffers.next();
            in_parts(threads, in_bytes, [&](std::size_t begin, std::size_t count) { touch(pair.from + begin, count); });
        },
    };
    for (auto& peer : peers_for(task, size, threads)) {
        names.push_back(peer.name);
        calls.push_back(conversion(peer.convert));
    }
    if (threads > 1) {
        calls.push_back(conversion(our_conversion(task, size, 1)));
        calls.push_back(copy(1));
    }
    const auto seconds = median_seconds(calls, size.pixels() > 5'000'000 ? 15 : 31);
    const auto rate = [&](std::size_t i) { return static_cast<double>(size.pixels()) / seconds[i] / 1e6; };
    std::printf("%-34s %4ux%-4u %u  %7.0f  %7.0f  %5.2f  %7.0f ", row.name, size.width, size.height, threads,
                rate(ours), rate(memcpy), rate(ours) / rate(memcpy), rate(read));
    for (std::size_t i = first_peer; i < names.size(); ++i) {
        std::printf("  %s %.0f, ratio %.2f", names[i].c_str(), rate(i), rate(ours) / rate(i));
    }
    if (const std::size_t one = names.size(); threads > 1) {
        std::printf("  gain %.2f, memcpy's %.2f", rate(ours) / rate(one), rate(memcpy) / rate(one + 1));
    }
    std::printf("\n");
    std::fflush(stdout);
}

bool wanted(const char* name, const std::vector<std::string_view>& filters)
{
    for (const auto filter : filters) {
        if (std::string_view(name).find(filter) != std::string_view::npos) {
            return true;
        }
    }
    return filters.empty();
}

}  // namespace

int main(int argc, char** argv)
{
    const std::vector<std::string_view> filters(argv + 1, argv + argc);
    if (filters == std::vector<std::string_view>{"pairs"}) {
        bench::print_all_pairs();
        return 0;
    }
    const unsigned all = std::max(1U, std::thread::hardware_concurrency());
    std::printf("%-34s %9s %s  %7s  %7s  %5s  %7s   peers\n", "conversion", "size", "t", "Mpix/s", "memcpy", "frac",
                "read");
    for (const Size size : {Size{2048, 2048}, Size{4096, 3000}}) {
        for (const auto& row : rows) {
            if (wanted(row.name, filters)) {
                measure(row, size, 1);
                if (all > 1) {
                    measure(row, size, all);
                }
            }
        }
    }
    if (wanted("filters", filters)) {
        print_filters();
    }
    if (wanted("quality", filters)) {
        print_quality();
    }
}
