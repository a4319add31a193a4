#include <algorithm>
#include <cstdio>
#include <memory>
#include <thread>
#include <vector>

#include "bench/stream/arrival.h"
#include "bench/stream/load.h"
#include "bench/stream/measure.h"
#include "bench/stream/ways.h"

namespace bench {

namespace {

void measure_streams(const Way& way, std::size_t count, std::chrono::milliseconds duration, double& of_one)
{
    Sender sender({.packet_size = 1500, .segmentation = false, .streams = count});
    const double memory_before = resident_megabytes();
    std::vector<std::unique_ptr<Receiver>> streams;
    std::vector<std::uint16_t> ports;
    for (std::size_t i = 0; i < count; ++i) {
        streams.push_back(way.open());
        ports.push_back(streams.back()->port());
    }
    std::atomic<bool> stop{false};
    std::vector<std::uint64_t> whole(count);
    const double processor = processor_seconds();
    const auto start = std::chrono::steady_clock::now();
    sender.start(ports);
    std::vector<std::thread> clients;
    for (std::size_t i = 0; i < count; ++i) {
        clients.emplace_back([&, i] {
            while (!stop) {
                whole[i] += streams[i]->receive_block() ? 1 : 0;
                sender.go_on(*streams[i], i);
            }
        });
    }
    std::this_thread::sleep_for(duration);
    const double memory = resident_megabytes() - memory_before;
    stop = true;
    for (std::thread& client : clients) {
        client.join();
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::uint64_t all = 0;
    for (const std::uint64_t one : whole) {
        all += one;
    }
    const double gigabytes = static_cast<double>(all * image_bytes) / 1e9;
    const double cost = (processor_seconds() - processor) / gigabytes;
    of_one = count == 1 ? cost : of_one;
    std::printf(
        "  %-24s %2zu streams %5.2f s/GB  x%-5.2f one  %6.0f MB/s  %6.1f MB each  frames of a stream %llu to %llu\n",
        way.name.c_str(), count, cost, cost / of_one, gigabytes * 1e3 / seconds, memory / static_cast<double>(count),
        static_cast<unsigned long long>(std::ranges::min(whole)),
        static_cast<unsigned long long>(std::ranges::max(whole)));
}

}  // namespace

void measure_many(std::chrono::milliseconds duration)
{
    std::printf("Several streams in one process, 1,500 bytes one by one, 8 buffers of 1 MB each, %lld ms\n",
                static_cast<long long>(duration.count()));
    for (const Way& way : our_ways()) {
        double of_one = 0;
        for (const std::size_t count : {1U, 4U, 16U, 64U}) {
            measure_streams(way, count, duration, of_one);
        }
    }
}

}  // namespace bench
