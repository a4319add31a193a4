// How long a device takes to answer: the times of all requests in a few numbers.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace vex::control {

/// Times from a request to its answer, all 0 without any.
struct RoundTripSummary {
    std::uint64_t count = 0;
    std::chrono::nanoseconds last{};
    std::chrono::nanoseconds smallest{};
    std::chrono::nanoseconds mean{};
    std::chrono::nanoseconds percentile_99{};  ///< 99 of 100 were not longer; at most an eighth too large
    std::chrono::nanoseconds largest{};
};

/// Collects times without memory of its own for each.
///
/// Thread safety: one thread at a time adds or resets, any thread reads. What is read while another thread adds may
/// lack the last time in some of its numbers.
class RoundTrips {
public:
    void add(std::chrono::nanoseconds time) noexcept;
    [[nodiscard]] RoundTripSummary summary() const noexcept;
    void reset() noexcept;

private:
    // Times are counted by magnitude: eight classes between a power of two and the next, up to 2^40 ns, 18 minutes.
    static constexpr unsigned classes_per_power = 8;
    static constexpr unsigned powers = 40;
    static constexpr std::size_t class_count = (powers - 2) * classes_per_power;

    [[nodiscard]] static std::size_t class_of(std::uint64_t time) noexcept;
    /// The largest time of a class.
    [[nodiscard]] static std::uint64_t bound_of(std::size_t its_class) noexcept;

    std::atomic<std::uint64_t> count_{0};
    std::atomic<std::uint64_t> last_{0};
    std::atomic<std::uint64_t> smallest_{0};
    std::atomic<std::uint64_t> largest_{0};
    std::atomic<std::uint64_t> sum_{0};
    std::array<std::atomic<std::uint32_t>, class_count> classes_{};
};

}  // namespace vex::control
