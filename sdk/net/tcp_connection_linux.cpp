#include "sdk/net/tcp_connection.h"

#include <unistd.h>

#include <utility>

#include "sdk/net/posix_socket.h"

namespace vex::net {

namespace {

/// Waits until the socket can be written to or has failed; false when the deadline has passed.
bool wait_for_output(int descriptor, const Deadline& deadline) noexcept
{
    for (;;) {
        pollfd entry{descriptor, POLLOUT, 0};
        const int ready = ::poll(&entry, 1, deadline.remaining_ms());
        if (ready > 0) {
            return true;
        }
        if (deadline.remaining_ms() == 0) {
            return false;
        }
    }
}

}  // namespace

TcpConnection TcpConnection::open(const Endpoint& server, std::chrono::milliseconds timeout)
{
    const auto fail = [&server](std::error_code error) {
        throw std::system_error(error, "cannot connect to " + server.to_string());
    };
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor < 0) {
        fail(last_error());
    }
    TcpConnection connection(static_cast<Handle>(descriptor));

    const sockaddr_in address = to_system(server);
    if (::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
        return connection;
    }
    if (errno != EINPROGRESS && errno != EINTR) {
        fail(last_error());
    }
    if (!wait_for_output(descriptor, Deadline(timeout))) {
        fail(std::make_error_code(std::errc::timed_out));
    }
    int outcome = 0;
    socklen_t size = sizeof outcome;
    if (::getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &outcome, &size) != 0) {
        fail(last_error());
    }
    if (outcome != 0) {
        fail({outcome, std::system_category()});
    }
    return connection;
}

void TcpConnection::close() noexcept
{
    if (is_open()) {
        ::close(static_cast<int>(std::exchange(handle_, invalid_handle)));
    }
}

std::error_code TcpConnection::send(std::span<const std::uint8_t> data, std::chrono::milliseconds timeout) noexcept
{
    const int descriptor = static_cast<int>(handle_);
    const Deadline deadline(timeout);
    while (!data.empty()) {
        const ssize_t sent = ::send(descriptor, data.data(), data.size(), MSG_NOSIGNAL);
        if (sent >= 0) {
            data = data.subspan(static_cast<std::size_t>(sent));
        } else if (errno != EAGAIN && errno != EINTR) {
            return last_error();
        } else if (!wait_for_output(descriptor, deadline)) {
            return std::make_error_code(std::errc::timed_out);
        }
    }
    return {};
}

std::size_t TcpConnection::receive(std::span<std::uint8_t> buffer, std::chrono::milliseconds timeout,
                                   std::error_code& error) noexcept
{
    const int descriptor = static_cast<int>(handle_);
    const Deadline deadline(timeout);
    error = {};
    for (;;) {
        const ssize_t size = ::recv(descriptor, buffer.data(), buffer.size(), 0);
        if (size >= 0) {
            return static_cast<std::size_t>(size);
        }
        if (errno != EAGAIN && errno != EINTR) {
            error = last_error();
            return 0;
        }
        if (!wait_for_input(descriptor, deadline)) {
            error = std::make_error_code(std::errc::timed_out);
            return 0;
        }
    }
}

}  // namespace vex::net
