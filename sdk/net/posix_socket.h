// What the Linux sources of this folder share about the system's socket types.
#pragma once

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <system_error>

#include "sdk/net/deadline.h"
#include "sdk/net/system_address.h"
#include "sdk/net/udp_socket.h"

namespace vex::net {

[[nodiscard]] inline int descriptor_of(UdpSocket::Handle handle) noexcept { return static_cast<int>(handle); }

[[nodiscard]] inline std::error_code last_error() noexcept { return {errno, std::system_category()}; }

/// Waits until the descriptor can be read; false when the deadline has passed. A pending socket error is fetched and
/// thereby cleared, because receiving reports none.
[[nodiscard]] inline bool wait_for_input(int descriptor, const Deadline& deadline) noexcept
{
    for (;;) {
        const int left = deadline.remaining_ms();
        pollfd entry{descriptor, POLLIN, 0};
        const int ready = ::poll(&entry, 1, left);
        if (ready > 0 && (entry.revents & POLLIN) != 0) {
            return true;
        }
        if (ready > 0) {
            int pending = 0;
            socklen_t size = sizeof pending;
            if ((entry.revents & POLLNVAL) != 0 ||
                ::getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &pending, &size) != 0) {
                return false;
            }
        }
        if (left == 0) {
            return false;
        }
    }
}

}  // namespace vex::net
