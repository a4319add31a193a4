#include "tools/pvctl/lossy_receiver.h"

#include <algorithm>
#include <random>
#include <utility>

using namespace vex;

namespace pvctl {

class LossyBackend::Receiver final : public net::PacketReceiver {
public:
    Receiver(std::unique_ptr<net::PacketReceiver> inner, const LossyBackend& backend, std::size_t batch)
        : inner_(std::move(inner)), counts_(backend.counts_), random_(backend.seed_), lost_(backend.probability_)
    {
        kept_.reserve(batch);
    }

    /// Nothing lands: what is thrown away would leave a hole there.
    [[nodiscard]] std::span<const net::Datagram> read(const net::Landing& /*landing*/) override
    {
        kept_.clear();
        for (const net::Datagram& datagram : inner_->read({})) {
            ++counts_->received;
            if (lost_(random_)) {
                ++counts_->thrown_away;
            } else {
                kept_.push_back(datagram);
            }
        }
        return kept_;
    }
    [[nodiscard]] bool wait(std::chrono::milliseconds timeout) override { return inner_->wait(timeout); }
    [[nodiscard]] bool drained() const noexcept override { return inner_->drained(); }
    [[nodiscard]] std::optional<std::uint64_t> dropped_by_system() const noexcept override
    {
        return inner_->dropped_by_system();
    }
    [[nodiscard]] std::size_t buffer_bytes() const noexcept override { return inner_->buffer_bytes(); }

private:
    const std::unique_ptr<net::PacketReceiver> inner_;
    const std::shared_ptr<Counts> counts_;
    std::mt19937_64 random_;
    std::bernoulli_distribution lost_;
    std::vector<net::Datagram> kept_;
};

LossyBackend::LossyBackend(double probability, std::uint64_t seed) : probability_(probability), seed_(seed) {}

bool LossyBackend::serves(const net::ReceivePath& path) const noexcept
{
    return std::ranges::any_of(others_, [&](const auto& other) { return other->serves(path); });
}

std::unique_ptr<net::PacketReceiver> LossyBackend::create(const net::ReceiverOptions& options) const
{
    for (const net::SharedBackend& other : others_) {
        if (other->serves(options.path)) {
            if (auto inner = other->create(options)) {
                return std::make_unique<Receiver>(std::move(inner), *this, options.batch);
            }
        }
    }
    return nullptr;
}

}  // namespace pvctl
