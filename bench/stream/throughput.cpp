#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "bench/stream/load.h"
#include "bench/stream/measure.h"
#include "bench/stream/ways.h"

namespace bench {

namespace {

/// Rounds of all ways in turn, so that a change of the machine's load meets all of them.
constexpr int rounds = 3;

struct Figures {
    double megabytes_per_second = 0;
    double seconds_per_gigabyte = 0;
    std::uint64_t blocks = 0;
    std::uint64_t failures = 0;  // blocks that did not come whole
};

const char* describe(const Load& load)
{
    return load.segmentation ? "sent in trains (UDP_SEGMENT)" : "sent one by one (sendmmsg)";
}

Figures measure(const Way& way, const Load& load, std::chrono::milliseconds duration)
{
    Sender sender(load);
    const std::unique_ptr<Receiver> receiver = way.open();
    const std::uint16_t port = receiver->port();
    sender.start({&port, 1});
    const auto next = [&] {
        const bool whole = receiver->receive_block();
        sender.go_on(*receiver);
        return whole;
    };
    for (int i = 0; i < 20; ++i) {
        next();
    }
    Figures figures;
    const double processor = processor_seconds();
    const auto start = std::chrono::steady_clock::now();
    std::chrono::duration<double> elapsed{};
    do {
        figures.failures += next() ? 0 : 1;
        ++figures.blocks;
        elapsed = std::chrono::steady_clock::now() - start;
    } while (elapsed < duration);
    const double bytes = static_cast<double>(figures.blocks - figures.failures) * static_cast<double>(image_bytes);
    figures.megabytes_per_second = bytes / 1e6 / elapsed.count();
    figures.seconds_per_gigabyte = (processor_seconds() - processor) / (bytes / 1e9);
    return figures;
}

/// Of several rounds the one with the least processor time, which others on the machine disturbed least.
Figures best_of(std::vector<Figures>& all)
{
    return *std::ranges::min_element(all, {}, &Figures::seconds_per_gigabyte);
}

std::vector<Way> all_ways()
{
    std::vector<Way> ways{bare_way(false), bare_way(true), packet_way("coalescing"), stream_way("coalescing"),
                          stream_way("plain")};
    if (has_packet_ring()) {
        ways.push_back(packet_way("packet-ring"));
        ways.push_back(stream_way("packet-ring"));
    }
    const std::vector<Way> peers = peer_ways();
    ways.insert(ways.end(), peers.begin(), peers.end());
    return ways;
}

}  // namespace

void measure_throughput(std::chrono::milliseconds duration)
{
    std::printf(
        "1024x1024 Mono8 blocks over loopback, never more than two ahead; the best of %d rounds of %lld ms\n"
        "  (a packet ring's copy from the network is on the sender's account here, elsewhere on the system's)\n",
        rounds, static_cast<long long>(duration.count()));
    const std::vector<Way> ways = all_ways();
    for (const Load& load : {Load{1500, false}, Load{1500, true}, Load{9000, false}, Load{9000, true}}) {
        std::printf("packet size %zu, %s\n", load.packet_size, describe(load));
        std::vector<std::vector<Figures>> figures(ways.size());
        for (int round = 0; round < rounds; ++round) {
            for (std::size_t i = 0; i < ways.size(); ++i) {
                figures[i].push_back(measure(ways[i], load, duration));
            }
        }
        const Figures bare = best_of(figures[0]);
        const Figures coalesced = best_of(figures[1]);
        for (std::size_t i = 0; i < ways.size(); ++i) {
            const Figures best = best_of(figures[i]);
            std::printf("  %-28s %5.2f s/GB  x%-5.2f bare  x%-5.2f bare GRO %7.0f MB/s   %llu of %llu failed\n",
                        ways[i].name.c_str(), best.seconds_per_gigabyte,
                        best.seconds_per_gigabyte / bare.seconds_per_gigabyte,
                        best.seconds_per_gigabyte / coalesced.seconds_per_gigabyte, best.megabytes_per_second,
                        static_cast<unsigned long long>(best.failures), static_cast<unsigned long long>(best.blocks));
        }
    }
}

}  // namespace bench
