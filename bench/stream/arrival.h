// What arrives of what is sent, and at which rate nothing is lost.
#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

#include "bench/stream/load.h"
#include "bench/stream/ways.h"

namespace bench {

struct Arrived {
    std::uint64_t sent = 0;
    std::uint64_t whole = 0;
    std::uint64_t in_parts = 0;
    double seconds = 0;  ///< of receiving, while it was sent
    /// Of payload: as it was sent where the load has an end, else of what came whole while it was sent.
    double bytes_per_second = 0;

    [[nodiscard]] std::uint64_t lost() const { return sent - (whole < sent ? whole : sent); }
};

/// Receives all blocks of a load that has an end, or of another one for a time; then until nothing more comes.
[[nodiscard]] Arrived receive(const Way& way, const Load& load, std::chrono::milliseconds duration = {});

struct LossFree {
    double bytes_per_second = 0;
    bool of_the_sender = false;  ///< it cannot send faster
};

/// The highest rate at which everything arrives for `duration`, to about 3 %.
[[nodiscard]] LossFree find_loss_free_rate(const Way& way, Load load, std::chrono::milliseconds duration);

/// Whole streams, and the peers.
[[nodiscard]] std::vector<Way> whole_ways();
/// Of these the streams, on the backends that there are.
[[nodiscard]] std::vector<Way> our_ways(std::size_t buffers = 8);

}  // namespace bench
