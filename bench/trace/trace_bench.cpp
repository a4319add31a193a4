// What a place that tells the trace something costs: while nobody listens, beside a loop without it, and while somebody
// does.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>

#include "sdk/base/trace.h"

namespace {

constexpr int rounds = 11;
constexpr int idle_passes = 50'000'000;
constexpr int heard_passes = 500'000;
/// Nanoseconds that a point may cost while nobody listens.
constexpr double wanted = 1.0;

/// A value that the compiler must have, and may not know.
template <typename Value>
void use(Value& value)
{
    asm volatile("" : "+r"(value) : : "memory");
}

void empty_loop(int passes)
{
    for (int i = 0; i < passes; ++i) {
        use(i);
    }
}

void traced_loop(int passes)
{
    for (int i = 0; i < passes; ++i) {
        use(i);
        vex::trace::write(vex::trace::Category::control, vex::trace::Level::debug,
                          [&] { return "register " + std::to_string(i) + " was read"; });
    }
}

template <typename Loop>
double nanoseconds(const Loop& loop, int passes)
{
    const auto begin = std::chrono::steady_clock::now();
    loop(passes);
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - begin).count() / passes;
}

/// The least disturbed round.
template <typename Loop>
double best(const Loop& loop, int passes)
{
    double least = nanoseconds(loop, passes);
    for (int round = 1; round < rounds; ++round) {
        least = std::min(least, nanoseconds(loop, passes));
    }
    return least;
}

}  // namespace

int main()
{
    const double empty = best(empty_loop, idle_passes);
    const double idle = best(traced_loop, idle_passes);
    std::uint64_t bytes = 0;
    vex::trace::listen(vex::trace::Level::debug,
                       [&](const vex::trace::Record& record) { bytes += record.text.size(); });
    const double heard = best(traced_loop, heard_passes);
    vex::trace::stop_listening();
    std::printf("empty loop                        %8.3f ns\n", empty);
    std::printf("with a point, nobody listens      %8.3f ns: %.3f ns more, wanted: less than %.1f\n", idle,
                idle - empty, wanted);
    std::printf("with a point, somebody listens    %8.3f ns\n", heard);
    return idle - empty < wanted && bytes > 0 ? 0 : 1;
}
