// Loss on the line, made in this program: for seeing how a stream gets over it.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "sdk/net/receive_backends.h"

namespace pvctl {

/// Receives as the best of the backends does that there were when it was made, and throws packets away by chance.
///
/// Thread safety: any thread.
class LossyBackend final : public vex::net::ReceiveBackend {
public:
    /// Each packet goes with this probability, 0 to 1; the same seed throws the same ones of a row away.
    LossyBackend(double probability, std::uint64_t seed);

    [[nodiscard]] std::string_view name() const noexcept override { return "Lossy"; }
    [[nodiscard]] bool privileged() const noexcept override { return false; }
    [[nodiscard]] bool serves(const vex::net::ReceivePath& path) const noexcept override;
    [[nodiscard]] std::unique_ptr<vex::net::PacketReceiver>
    create(const vex::net::ReceiverOptions& options) const override;

    [[nodiscard]] std::uint64_t received() const noexcept { return counts_->received; }
    [[nodiscard]] std::uint64_t thrown_away() const noexcept { return counts_->thrown_away; }

private:
    class Receiver;
    struct Counts {
        std::atomic<std::uint64_t> received{0};  ///< those thrown away included
        std::atomic<std::uint64_t> thrown_away{0};
    };

    const double probability_;
    const std::uint64_t seed_;
    const std::vector<vex::net::SharedBackend> others_ = vex::net::receive_backends();
    const std::shared_ptr<Counts> counts_ = std::make_shared<Counts>();
};

}  // namespace pvctl
