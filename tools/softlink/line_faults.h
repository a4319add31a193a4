// Faults on request: what serial lines do to bytes, from a seed.
#pragma once

#include <cstdint>
#include <random>
#include <span>
#include <vector>

#include "tools/softlink/gencp_device.h"

namespace softlink {

/// How often what goes wrong, of 1000. All rates are drawn by themselves.
struct FaultRates {
    std::uint64_t seed = 1;
    unsigned lost_commands = 0;  ///< pieces that come and never reach the device
    unsigned lost_answers = 0;   ///< what they answer was done
    unsigned doubled = 0;        ///< answers that come twice
    unsigned flipped = 0;        ///< answers with one bit changed
    unsigned cut = 0;            ///< answers that end early
    unsigned garbage = 0;        ///< answers with bytes of any value before them
    unsigned pending = 0;        ///< commands that take `pending_time`, which the device announces
    std::chrono::milliseconds pending_time{200};

    [[nodiscard]] bool any() const noexcept
    {
        return (lost_commands | lost_answers | doubled | flipped | cut | garbage | pending) != 0;
    }
};

/// Stands between a line and a device. The same pieces and the same seed give the same faults.
///
/// Thread safety: none.
class FaultyDevice {
public:
    /// The device must outlive this.
    FaultyDevice(GencpDevice& device, const FaultRates& rates) : device_(device), rates_(rates), random_(rates.seed) {}

    [[nodiscard]] std::vector<Answer> receive(std::span<const std::uint8_t> bytes);

    /// How many faults were done.
    [[nodiscard]] std::uint64_t faults() const noexcept { return faults_; }

private:
    [[nodiscard]] bool drawn(unsigned per_mille);
    [[nodiscard]] std::size_t below(std::size_t count) { return static_cast<std::size_t>(random_() % count); }
    void damage(Bytes& bytes);

    GencpDevice& device_;
    FaultRates rates_;
    std::mt19937_64 random_;
    std::uint64_t faults_ = 0;
};

}  // namespace softlink
