// Timing contestants in turn over memory that is in no cache.
#pragma once

#include <cstdlib>
#include <memory>
#include <vector>

#include "bench/convert/peers.h"

namespace bench {

struct FreeMemory {
    void operator()(Byte* memory) const { std::free(memory); }
};
using Memory = std::unique_ptr<Byte[], FreeMemory>;
/// Memory that begins with a page, as large blocks of a buffer do.
[[nodiscard]] Memory allocate(std::size_t bytes);
/// The same with random bytes in it.
[[nodiscard]] Memory allocate_random(std::size_t bytes);

/// Pairs of source and destination memory, used in rotation so that each use finds its pair out of the caches.
class ColdBuffers {
public:
    /// Sources hold random bytes. Both sizes in bytes.
    ColdBuffers(std::size_t source_bytes, std::size_t destination_bytes);

    struct Pair {
        const Byte* from;
        Byte* to;
    };
    [[nodiscard]] Pair next();
    /// Two destinations, for a copy between them.
    [[nodiscard]] Pair next_copy();

private:
    std::vector<Memory> sources_;
    std::vector<Memory> destinations_;
    std::size_t turn_ = 0;
};

/// Seconds of each contestant's call, the median over the rounds; in each round every contestant is called in turn.
[[nodiscard]] std::vector<double> median_seconds(const std::vector<std::function<void()>>& contestants, int rounds);

}  // namespace bench
