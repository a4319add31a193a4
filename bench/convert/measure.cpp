#include "bench/convert/measure.h"

#include <algorithm>
#include <chrono>
#include <random>

namespace bench {
namespace {

/// Several times the last level cache of common machines.
constexpr std::size_t rotated_bytes = std::size_t{192} << 20;

}  // namespace

ColdBuffers::ColdBuffers(std::size_t source_bytes, std::size_t destination_bytes)
{
    const std::size_t pairs = std::max<std::size_t>(4, rotated_bytes / (source_bytes + destination_bytes));
    std::mt19937_64 random(1);
    std::vector<Byte> noise(source_bytes);
    for (auto& byte : noise)
        byte = static_cast<Byte>(random());
    sources_.assign(pairs, noise);
    destinations_.assign(pairs, std::vector<Byte>(destination_bytes));
}

ColdBuffers::Pair ColdBuffers::next()
{
    turn_ = (turn_ + 1) % sources_.size();
    return {sources_[turn_].data(), destinations_[turn_].data()};
}

ColdBuffers::Pair ColdBuffers::next_copy()
{
    const auto from = (turn_ + 1) % destinations_.size();
    turn_ = (turn_ + 2) % destinations_.size();
    return {destinations_[from].data(), destinations_[turn_].data()};
}

std::vector<double> median_seconds(const std::vector<std::function<void()>>& contestants, int rounds)
{
    using Clock = std::chrono::steady_clock;
    std::vector<std::vector<double>> times(contestants.size());
    for (int round = -1; round < rounds; ++round)  // the first fills page tables and starts threads
        for (std::size_t i = 0; i < contestants.size(); ++i) {
            const auto start = Clock::now();
            contestants[i]();
            const std::chrono::duration<double> took = Clock::now() - start;
            if (round >= 0)
                times[i].push_back(took.count());
        }
    std::vector<double> medians;
    for (auto& samples : times) {
        std::nth_element(samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 2),
                         samples.end());
        medians.push_back(samples[samples.size() / 2]);
    }
    return medians;
}

}  // namespace bench
