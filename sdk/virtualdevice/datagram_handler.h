// What a device does with the datagrams that reach its control port.
#pragma once

#include <cstdint>
#include <functional>
#include <span>

#include "sdk/base/address.h"
#include "sdk/net/clock.h"

namespace vex::virtual_device {

/// Sends one datagram to an application.
using Send = std::function<void(const Endpoint& destination, std::span<const std::uint8_t> datagram)>;

/// Takes datagrams and answers them, at once or later. GvcpServer calls it from its thread.
class DatagramHandler {
public:
    virtual ~DatagramHandler() = default;

    /// Handles one datagram; answers go to `send` before it returns.
    virtual void handle(std::span<const std::uint8_t> datagram, const Endpoint& source, const Send& send) = 0;

    /// Does what is due by now; what was answered later goes to `send` before it returns. Returns how long the caller
    /// may wait, by the handler's clock, before it calls again; datagrams do not count as a call.
    virtual net::Clock::duration tick(const Send& send) = 0;
};

}  // namespace vex::virtual_device
