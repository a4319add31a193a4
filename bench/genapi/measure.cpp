#include "bench/genapi/measure.h"

#include <algorithm>
#include <chrono>

namespace bench {

namespace {

double median_of(std::vector<double> figures)
{
    if (figures.empty()) {
        return 0;
    }
    const auto middle = figures.begin() + static_cast<std::ptrdiff_t>(figures.size() / 2);
    std::nth_element(figures.begin(), middle, figures.end());
    return *middle;
}

template <class Operation>
std::vector<double> round_by_round(const Way& a, const Way& b, Operation operation)
{
    std::vector<double> figures;
    for (std::size_t i = 0; i < std::min(a.seconds.size(), b.seconds.size()); ++i) {
        figures.push_back(operation(a.seconds[i], b.seconds[i]));
    }
    return figures;
}

}  // namespace

double Way::median() const { return median_of(seconds); }

void alternate(std::span<Way> ways, int rounds, int repeats)
{
    for (int round = 0; round < rounds; ++round) {
        for (Way& way : ways) {
            const auto start = std::chrono::steady_clock::now();
            for (int i = 0; i < repeats; ++i) {
                way.work();
            }
            const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
            way.seconds.push_back(took.count() / repeats);
        }
    }
}

double median_difference(const Way& way, const Way& from)
{
    return median_of(round_by_round(way, from, std::minus<>()));
}

double median_ratio(const Way& way, const Way& to) { return median_of(round_by_round(way, to, std::divides<>())); }

}  // namespace bench
