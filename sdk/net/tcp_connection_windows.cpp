#include "sdk/net/tcp_connection.h"

#include <utility>

#include "sdk/net/winsock_socket.h"

namespace vex::net {

namespace {

/// Waits until the socket can be written to or has failed; false when the deadline has passed. By select, because
/// WSAPoll does not tell a refused connection on every version of Windows.
bool wait_for_output(SOCKET socket, const Deadline& deadline) noexcept
{
    const int left = deadline.remaining_ms();
    fd_set writable;
    FD_ZERO(&writable);
    FD_SET(socket, &writable);
    fd_set failed = writable;
    timeval time{left / 1000, left % 1000 * 1000};
    return ::select(0, nullptr, &writable, &failed, &time) > 0;
}

}  // namespace

TcpConnection TcpConnection::open(const Endpoint& server, std::chrono::milliseconds timeout)
{
    start_winsock();
    const auto fail = [&server](std::error_code error) {
        throw std::system_error(error, "cannot connect to " + server.to_string());
    };
    const SOCKET socket =
        ::WSASocketW(AF_INET, SOCK_STREAM, IPPROTO_TCP, nullptr, 0, WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
    if (socket == INVALID_SOCKET) {
        fail(last_socket_error());
    }
    TcpConnection connection(static_cast<Handle>(socket));
    u_long non_blocking = 1;
    if (::ioctlsocket(socket, FIONBIO, &non_blocking) != 0) {
        fail(last_socket_error());
    }

    const sockaddr_in address = to_system(server);
    if (::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
        return connection;
    }
    if (::WSAGetLastError() != WSAEWOULDBLOCK) {
        fail(last_socket_error());
    }
    if (!wait_for_output(socket, Deadline(timeout))) {
        fail(std::make_error_code(std::errc::timed_out));
    }
    int outcome = 0;
    int size = sizeof outcome;
    if (::getsockopt(socket, SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&outcome), &size) != 0) {
        fail(last_socket_error());
    }
    if (outcome == WSAECONNREFUSED) {
        fail(std::make_error_code(std::errc::connection_refused));  // whose Windows number compares equal to nothing
    }
    if (outcome != 0) {
        ::WSASetLastError(outcome);
        fail(last_socket_error());
    }
    return connection;
}

void TcpConnection::close() noexcept
{
    if (is_open()) {
        ::closesocket(static_cast<SOCKET>(std::exchange(handle_, invalid_handle)));
    }
}

std::error_code TcpConnection::send(std::span<const std::uint8_t> data, std::chrono::milliseconds timeout) noexcept
{
    const auto socket = static_cast<SOCKET>(handle_);
    const Deadline deadline(timeout);
    while (!data.empty()) {
        const int sent = ::send(socket, reinterpret_cast<const char*>(data.data()), static_cast<int>(data.size()), 0);
        if (sent >= 0) {
            data = data.subspan(static_cast<std::size_t>(sent));
        } else if (::WSAGetLastError() != WSAEWOULDBLOCK) {
            return last_socket_error();
        } else if (!wait_for_output(socket, deadline)) {
            return std::make_error_code(std::errc::timed_out);
        }
    }
    return {};
}

std::size_t TcpConnection::receive(std::span<std::uint8_t> buffer, std::chrono::milliseconds timeout,
                                   std::error_code& error) noexcept
{
    const auto socket = static_cast<SOCKET>(handle_);
    const Deadline deadline(timeout);
    error = {};
    for (;;) {
        const int size = ::recv(socket, reinterpret_cast<char*>(buffer.data()), static_cast<int>(buffer.size()), 0);
        if (size >= 0) {
            return static_cast<std::size_t>(size);
        }
        if (::WSAGetLastError() != WSAEWOULDBLOCK) {
            error = last_socket_error();
            return 0;
        }
        if (!wait_for_input(socket, deadline)) {
            error = std::make_error_code(std::errc::timed_out);
            return 0;
        }
    }
}

}  // namespace vex::net
