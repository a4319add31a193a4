// Timing several ways to do the same thing, so that load on the machine meets all of them alike.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

namespace bench {

struct Way {
    std::string name;
    std::function<void()> work;
    std::vector<double> seconds{};  ///< of one run of `work`, a figure a round

    [[nodiscard]] double median() const;
};

/// Lets each way run `repeats` times in a row, one way after the other, for so many rounds.
void alternate(std::span<Way> ways, int rounds, int repeats);

/// The median of differences between two ways, round by round.
[[nodiscard]] double median_difference(const Way& way, const Way& from);

/// The median of quotients, round by round.
[[nodiscard]] double median_ratio(const Way& way, const Way& to);

/// Keeps the compiler from leaving out what nobody looks at.
template <class Value>
void keep(const Value& value)
{
    asm volatile("" : : "g"(&value) : "memory");
}

}  // namespace bench
