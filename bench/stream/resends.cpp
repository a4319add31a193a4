// A line that loses packets, and a camera that sends them again.
#include <cstdio>

#include <utility>
#include <vector>

#include "bench/stream/arrival.h"
#include "bench/stream/load.h"
#include "bench/stream/measure.h"
#include "bench/stream/ways.h"

namespace bench {

namespace {

/// Of the highest rate without loss.
constexpr double shares[] = {0.8, 0.95};

void measure_one(const Way& way, Load load, unsigned frames)
{
    Sender sender(load);
    const std::unique_ptr<Receiver> receiver = way.open();
    const std::uint16_t port = receiver->port();
    sender.start({&port, 1});
    const double processor = processor_seconds();
    const std::int64_t start = now_ns();
    unsigned whole = 0;
    unsigned seen = 0;
    while (seen < frames) {
        const bool is_whole = receiver->receive_block();
        if (receiver->nothing_came()) {
            break;
        }
        whole += is_whole ? 1 : 0;
        ++seen;
        sender.progress().blocks_received.store(seen, std::memory_order_release);
    }
    const double seconds = static_cast<double>(now_ns() - start) / 1e9;
    const double gigabytes = static_cast<double>(whole) * static_cast<double>(image_bytes) / 1e9;
    const auto lost = static_cast<double>(sender.progress().packets_lost.load());
    std::printf(
        "  %-24s loss %3.0f %% in bursts of %2zu, %4.0f MB/s: %u of %u whole, %5.0f packets lost, %.2f requests and"
        " %.2f packets asked for each, %llu dropped by the system, %.2f s/GB\n",
        way.name.c_str(), load.loss * 100, load.burst, gigabytes * 1e3 / seconds, whole, seen, lost,
        static_cast<double>(sender.progress().requests.load()) / lost,
        static_cast<double>(sender.progress().packets_requested.load()) / lost,
        static_cast<unsigned long long>(receiver->dropped()), (processor_seconds() - processor) / gigabytes);
}

}  // namespace

void measure_resends(unsigned frames, std::chrono::milliseconds duration)
{
    std::printf("With loss, 1,500 bytes one by one, %u frames, at 80 and 95 %% of the highest rate without loss\n",
                frames);
    for (const Way& way : our_ways()) {
        const LossFree found = find_loss_free_rate(way, {.answers = true}, duration);
        std::printf("  %-24s without loss %4.0f MB/s%s\n", way.name.c_str(), found.bytes_per_second / 1e6,
                    found.of_the_sender ? ", as fast as the sender" : "");
        for (const double share : shares) {
            for (const auto& [loss, burst] : {std::pair{0.01, 1U}, std::pair{0.05, 1U}, std::pair{0.01, 20U}}) {
                measure_one(way,
                            {.blocks_ahead = 0,
                             .bytes_per_second = found.bytes_per_second * share,
                             .loss = loss,
                             .burst = burst,
                             .blocks = frames},
                            frames);
            }
        }
    }
}

}  // namespace bench
