// Flooding, and the highest rate at which nothing is lost.
#include <algorithm>
#include <cstdio>
#include <utility>
#include <vector>

#include "bench/stream/arrival.h"
#include "bench/stream/measure.h"

namespace bench {

namespace {

constexpr std::pair<std::size_t, bool> kinds[] = {{1500, false}, {1500, true}, {9000, false}, {9000, true}};

const char* name_of(bool segmentation) { return segmentation ? "in trains " : "one by one"; }

double percent(double part, double all) { return all == 0 ? 0.0 : 100.0 * part / all; }

}  // namespace

void measure_flood(std::chrono::milliseconds duration)
{
    std::printf("Flooded: the sender never waits, %lld ms; beside it what is taken in when the sender waits\n",
                static_cast<long long>(duration.count()));
    for (const auto& [packet_size, segmentation] : kinds) {
        std::printf("packet size %zu, %s\n", packet_size, name_of(segmentation));
        std::vector<Way> ways = whole_ways();
        ways.insert(ways.begin(), stream_way("plain"));
        for (const Way& way : ways) {
            const Load waiting{.packet_size = packet_size, .segmentation = segmentation};
            Load flooding = waiting;
            flooding.blocks_ahead = 0;
            const double can = receive(way, waiting, duration).bytes_per_second / 1e6;
            const Arrived arrived = receive(way, flooding, duration);
            const double sent = static_cast<double>(arrived.sent * image_bytes) / 1e6 / arrived.seconds;
            const double whole = arrived.bytes_per_second / 1e6;
            std::printf(
                "  %-28s %6.0f MB/s sent, it can take %6.0f MB/s: %6.0f MB/s whole, %5.1f %% of the lesser;"
                " %5.1f %% of the blocks that came are whole\n",
                way.name.c_str(), sent, can, whole, percent(whole, std::min(sent, can)),
                percent(static_cast<double>(arrived.whole), static_cast<double>(arrived.whole + arrived.in_parts)));
        }
    }
}

void measure_loss_free_rate(std::chrono::milliseconds duration)
{
    std::printf("The highest rate without loss, searched with %lld ms each; frames of 1 MB\n",
                static_cast<long long>(duration.count()));
    for (const auto& [packet_size, segmentation] : kinds) {
        for (const Way& way : whole_ways()) {
            const LossFree found =
                find_loss_free_rate(way, {.packet_size = packet_size, .segmentation = segmentation}, duration);
            std::printf("  %zu %s %-28s %5.2f GB/s%s\n", packet_size, name_of(segmentation), way.name.c_str(),
                        found.bytes_per_second / 1e9, found.of_the_sender ? ", as fast as the sender" : "");
        }
    }
}

void measure_many_frames(std::chrono::milliseconds duration, std::uint64_t frames)
{
    constexpr std::uint32_t lines = 64;
    constexpr std::size_t buffers = 128;  // as many bytes of frames as elsewhere
    std::printf("%llu frames of %u KB at the highest rate without loss, searched with %lld ms each\n",
                static_cast<unsigned long long>(frames), lines * width / 1024,
                static_cast<long long>(duration.count()));
    for (const auto& [packet_size, segmentation] : kinds) {
        for (const Way& way : our_ways(buffers)) {
            Load load{.packet_size = packet_size, .segmentation = segmentation, .lines = lines};
            const LossFree found = find_loss_free_rate(way, load, duration);
            load.blocks_ahead = 0;
            load.bytes_per_second = found.bytes_per_second;
            load.blocks = frames;
            const Arrived arrived = receive(way, load);
            std::printf("  %zu %s %-28s %5.2f GB/s%s: %llu of %llu lost (sent at %.2f GB/s)\n", packet_size,
                        name_of(segmentation), way.name.c_str(), found.bytes_per_second / 1e9,
                        found.of_the_sender ? " (the sender's)" : "", static_cast<unsigned long long>(arrived.lost()),
                        static_cast<unsigned long long>(arrived.sent), arrived.bytes_per_second / 1e9);
        }
    }
}

}  // namespace bench
