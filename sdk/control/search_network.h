// The network as a search for devices sees it: interfaces, datagrams on all of them, and the time.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <system_error>
#include <vector>

#include "sdk/base/address.h"
#include "sdk/net/clock.h"
#include "sdk/net/interfaces.h"

namespace vex::control {

/// An interface that could not be searched, and why.
struct UnusableInterface {
    std::size_t interface_index = 0;  ///< among those searched
    std::string reason;
};

/// Sends and receives on several interfaces at the same time. Interfaces are named by their index among those that the
/// ports were opened on.
///
/// Thread safety: none.
class SearchPorts {
public:
    struct Arrival {
        std::size_t interface_index = 0;
        std::size_t size = 0;  ///< bytes written to the buffer; what it cannot hold is lost
        Endpoint source;
    };

    virtual ~SearchPorts() = default;

    /// The interfaces without a port. Sending on them fails.
    [[nodiscard]] virtual std::span<const UnusableInterface> unusable() const noexcept = 0;
    virtual std::error_code send(std::size_t interface_index, const Endpoint& destination,
                                 std::span<const std::uint8_t> datagram) noexcept = 0;
    /// Waits up to `timeout` for a datagram on any interface; empty when none came, possibly before the time. Much that
    /// arrives on one interface does not keep the others waiting.
    virtual std::optional<Arrival> receive(std::span<std::uint8_t> buffer, std::chrono::milliseconds timeout) = 0;
};

/// Where ports come from, replaceable in tests.
///
/// Thread safety: all members may be called from any thread.
class SearchNetwork {
public:
    virtual ~SearchNetwork() = default;

    /// As net::list_interfaces.
    [[nodiscard]] virtual std::vector<net::Interface> interfaces() = 0;
    /// Opens a port on each interface. `broadcasts`: answers sent by broadcast are received, too.
    [[nodiscard]] virtual std::unique_ptr<SearchPorts> open(std::span<const net::Interface> interfaces,
                                                            bool broadcasts) = 0;
    [[nodiscard]] virtual const net::Clock& clock() const noexcept = 0;

    /// The host's own: UDP sockets and the system's clock. Lives as long as the process.
    [[nodiscard]] static SearchNetwork& system() noexcept;
};

}  // namespace vex::control
