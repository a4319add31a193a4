#include "bench/convert/measure.h"

#include <algorithm>
#include <chrono>
#include <random>

namespace bench {
namespace {

/// Several times the last level cache of common machines.
constexpr std::size_t rotated_bytes = std::size_t{192} << 20;

}  // namespace

Memory allocate(std::size_t bytes)
{
    constexpr std::size_t page = 4096;
    return Memory(static_cast<Byte*>(std::aligned_alloc(page, (bytes + page - 1) / page * page)));
}

Memory allocate_random(std::size_t bytes)
{
    std::mt19937_64 random(1);
    Memory memory = allocate(bytes);
    std::generate_n(memory.get(), bytes, [&] { return static_cast<Byte>(random()); });
    return memory;
}

ColdBuffers::ColdBuffers(std::size_t source_bytes, std::size_t destination_bytes)
{
    const std::size_t pairs = std::max<std::size_t>(4, rotated_bytes / (source_bytes + destination_bytes));
    for (std::size_t pair = 0; pair < pairs; ++pair) {
        if (pair == 0) {
            sources_.push_back(allocate_random(source_bytes));
        } else {
            sources_.push_back(allocate(source_bytes));
            std::copy_n(sources_.front().get(), source_bytes, sources_.back().get());
        }
        destinations_.push_back(allocate(destination_bytes));
        std::fill_n(destinations_.back().get(), destination_bytes, Byte{1});
    }
}

ColdBuffers::Pair ColdBuffers::next()
{
    turn_ = (turn_ + 1) % sources_.size();
    return {sources_[turn_].get(), destinations_[turn_].get()};
}

ColdBuffers::Pair ColdBuffers::next_copy()
{
    const auto from = (turn_ + 1) % destinations_.size();
    turn_ = (turn_ + 2) % destinations_.size();
    return {destinations_[from].get(), destinations_[turn_].get()};
}

std::vector<double> median_seconds(const std::vector<std::function<void()>>& contestants, int rounds)
{
    using Clock = std::chrono::steady_clock;
    std::vector<std::vector<double>> times(contestants.size());
    for (int round = -1; round < rounds; ++round) {  // the first fills page tables and starts threads
        for (std::size_t i = 0; i < contestants.size(); ++i) {
            const auto start = Clock::now();
            contestants[i]();
            const std::chrono::duration<double> took = Clock::now() - start;
            if (round >= 0) {
                times[i].push_back(took.count());
            }
        }
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
