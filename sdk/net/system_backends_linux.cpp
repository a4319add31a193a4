#include "sdk/net/receivers_linux.h"
#include "sdk/net/system_backends.h"

namespace vex::net {

namespace {

class PacketRing final : public ReceiveBackend {
public:
    [[nodiscard]] std::string_view name() const noexcept override { return "packet-ring"; }
    [[nodiscard]] bool privileged() const noexcept override { return true; }
    [[nodiscard]] bool serves(const ReceivePath& path) const noexcept override { return packet_ring_serves(path); }
    [[nodiscard]] std::unique_ptr<PacketReceiver> create(const ReceiverOptions& options) const override
    {
        return create_packet_ring(options);
    }
};

class Batches final : public ReceiveBackend {
public:
    explicit Batches(bool coalescing) noexcept : coalescing_(coalescing) {}

    [[nodiscard]] std::string_view name() const noexcept override { return coalescing_ ? "coalescing" : "plain"; }
    [[nodiscard]] bool privileged() const noexcept override { return false; }
    [[nodiscard]] bool serves(const ReceivePath&) const noexcept override { return true; }
    [[nodiscard]] std::unique_ptr<PacketReceiver> create(const ReceiverOptions& options) const override
    {
        return create_batch_receiver(options, coalescing_);
    }

private:
    const bool coalescing_;
};

}  // namespace

std::vector<SharedBackend> system_backends()
{
    // the ring takes memory that the system cannot swap out, and no firewall of the host stands before it: for those
    // who ask for it
    return {std::make_shared<Batches>(true), std::make_shared<PacketRing>(), std::make_shared<Batches>(false)};
}

}  // namespace vex::net
