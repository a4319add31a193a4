// How a stream receives, beside loops that do nothing but read the socket, and beside libaravis where it is installed.
//
//   stream_bench [MILLISECONDS [throughput|flood|rate|latency|many|loss...]]
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
    const std::vector<std::string> names(argv + std::min(argc, 2), argv + argc);
    const auto is_wanted = [&names](const char* name) {
        return names.empty() || std::ranges::find(names, name) != names.end();
    };
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
        bench::measure_resends(static_cast<unsigned>(duration.count()));
    }
    if (is_wanted("rate")) {
        // asked for by name, it takes its time: 100,000 frames each with the usual duration
        bench::measure_loss_free_rate(static_cast<unsigned>(duration.count()) * (names.empty() ? 2 : 100));
    }
    return 0;
}
