// How a stream receives, beside loops that do nothing but read the socket, and beside libaravis where it is installed.
//
//   stream_bench [MILLISECONDS [throughput|flood|rate|latency|many|loss|profile|frames|memory...]]
//
// frames (100,000 of them at the highest rate without loss) and memory (of 1,000,000) only run when they are named.
//
// Processor time comes first: rates over loopback are those of the slower of two processes on one machine.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/stream/measure.h"

int main(int argc, char** argv)
{
    const std::chrono::milliseconds duration(argc > 1 ? std::atoi(argv[1]) : 1000);
    if (duration.count() <= 0) {
        std::fputs("stream_bench [MILLISECONDS [throughput|flood|rate|latency|many|loss|profile|frames|memory...]]\n",
                   stderr);
        return 2;
    }
    const std::vector<std::string> names(argv + std::min(argc, 2), argv + argc);
    const auto is_named = [&names](const char* name) { return std::ranges::find(names, name) != names.end(); };
    const auto is_wanted = [&](const char* name) { return names.empty() || is_named(name); };
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    if (is_wanted("throughput")) {
        bench::measure_throughput(duration);
    }
    if (is_wanted("flood")) {
        bench::measure_flood(duration);
    }
    if (is_wanted("latency")) {
        bench::measure_latency(static_cast<unsigned>(duration.count()));
    }
    if (is_wanted("many")) {
        bench::measure_many(duration * 2);
    }
    if (is_wanted("loss")) {
        bench::measure_resends(static_cast<unsigned>(duration.count()), duration / 2);
    }
    if (is_wanted("rate")) {
        bench::measure_loss_free_rate(duration / 2);
    }
    if (is_wanted("profile")) {
        bench::measure_profile(duration);
    }
    if (is_named("frames")) {
        bench::measure_many_frames(duration, 100'000);
    }
    if (is_named("memory")) {
        bench::measure_memory(1'000'000);
    }
    return 0;
}
