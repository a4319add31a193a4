// What a display does with a 1920x1080 Bayer image before it is drawn, on all processors, beside a copy of as many
// bytes as come out. The drawing itself is measured where there are windows, by gui_bench.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <vector>

#include "bench/gui/images.h"
#include "sdk/display/pictures.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int rounds = 9;
constexpr int images_of_a_round = 60;
constexpr double images_per_second = 60;
constexpr double most_of_a_processor = 1;

/// Seconds for one call, the least over the rounds: what the machine does besides only adds.
double least_seconds(const std::function<void(int)>& call)
{
    double least = 0;
    for (int round = 0; round < rounds; ++round) {
        const auto begin = Clock::now();
        for (int index = 0; index < images_of_a_round; ++index) {
            call(index);
        }
        const std::chrono::duration<double> took = Clock::now() - begin;
        const double seconds = took.count() / images_of_a_round;
        least = round == 0 ? seconds : std::min(least, seconds);
    }
    return least;
}

/// Seconds of processor time, of all threads, for one image.
double processor_seconds(const std::function<void(int)>& call)
{
    const std::clock_t begin = std::clock();
    for (int index = 0; index < images_of_a_round; ++index) {
        call(index);
    }
    return static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC / images_of_a_round;
}

}  // namespace

int main()
{
    const auto images = bench::bayer_images();
    if (images.empty()) {
        std::fprintf(stderr, "There is no memory for the images\n");
        return 1;
    }
    vex::display::Pictures pictures;
    bool good = true;
    const auto show = [&](int index) {
        good = pictures.show(images[static_cast<std::size_t>(index) % images.size()].get(), false).IsOK() && good;
        good = pictures.drawn() != nullptr && good;
    };
    const std::size_t bytes = std::size_t{bench::image_width} * bench::image_height * 4;
    std::vector<std::vector<unsigned char>> copies(4, std::vector<unsigned char>(bytes, 1));
    const auto copy = [&](int index) {
        const auto from = static_cast<std::size_t>(index) % copies.size();
        std::memcpy(copies[(from + 1) % copies.size()].data(), copies[from].data(), bytes);
    };

    show(0);
    const double shown = least_seconds(show);
    const double copied = least_seconds(copy);
    const double processor = processor_seconds(show);
    if (!good) {
        std::fprintf(stderr, "An image could not be shown\n");
        return 1;
    }
    const double share = processor * images_per_second;
    std::printf("1920x1080 BayerRG8 to 32 bits a pixel, as a display takes images in\n");
    std::printf("  image  %6.2f ms   copy of %zu bytes  %6.2f ms   x%.2f\n", shown * 1e3, bytes, copied * 1e3,
                shown / copied);
    std::printf("  %.0f images a second: %.0f %% of a processor%s\n", images_per_second, share * 100,
                share < most_of_a_processor ? "" : "  more than one");
    return share < most_of_a_processor ? 0 : 1;
}
