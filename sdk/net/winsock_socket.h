// What the Windows sources of this folder share about the system's socket types.
#pragma once

#include <winsock2.h>
#include <ws2tcpip.h>

#include <string>
#include <system_error>

#include "sdk/net/deadline.h"
#include "sdk/net/system_address.h"
#include "sdk/net/udp_socket.h"

namespace vex::net {

/// Starts the socket library with the first call; it stays started as long as the process. Throws std::system_error.
void start_winsock();

/// The error of the calling thread's last socket call. Its category translates to the generic conditions, so that
/// callers compare with std::errc as on other systems.
[[nodiscard]] std::error_code last_socket_error() noexcept;

[[nodiscard]] inline SOCKET socket_of(UdpSocket::Handle handle) noexcept { return static_cast<SOCKET>(handle); }

/// The system's text as UTF-8; empty for a null pointer.
[[nodiscard]] std::string to_utf8(const wchar_t* text);

/// Waits until the socket can be read or its next receive fails at once; false when the deadline has passed.
[[nodiscard]] bool wait_for_input(SOCKET socket, const Deadline& deadline) noexcept;

}  // namespace vex::net
