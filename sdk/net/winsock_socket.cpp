#include "sdk/net/winsock_socket.h"

#include <string>

namespace net {

namespace {

class SocketErrorCategory final : public std::error_category {
public:
    [[nodiscard]] const char* name() const noexcept override { return "winsock"; }

    [[nodiscard]] std::string message(int value) const override
    {
        const std::error_condition condition = default_error_condition(value);
        const std::string number = "Windows error " + std::to_string(value);
        return condition.category() == std::generic_category() ? condition.message() + " (" + number + ')' : number;
    }

    [[nodiscard]] std::error_condition default_error_condition(int value) const noexcept override
    {
        switch (value) {
        case WSAEACCES: return std::errc::permission_denied;
        case WSAEINTR: return std::errc::interrupted;
        case WSAEINVAL: return std::errc::invalid_argument;
        case WSAEFAULT: return std::errc::bad_address;
        case WSAEMFILE: return std::errc::too_many_files_open;
        case WSAEWOULDBLOCK: return std::errc::operation_would_block;
        case WSAENOTSOCK: return std::errc::not_a_socket;
        case WSAEMSGSIZE: return std::errc::message_size;
        case WSAEADDRINUSE: return std::errc::address_in_use;
        case WSAEADDRNOTAVAIL: return std::errc::address_not_available;
        case WSAENETDOWN: return std::errc::network_down;
        case WSAENETUNREACH: return std::errc::network_unreachable;
        case WSAENETRESET: return std::errc::network_reset;
        case WSAECONNRESET: return std::errc::connection_reset;
        case WSAENOBUFS: return std::errc::no_buffer_space;
        case WSAETIMEDOUT: return std::errc::timed_out;
        case WSAEHOSTUNREACH: return std::errc::host_unreachable;
        case WSAENOPROTOOPT: return std::errc::no_protocol_option;
        default: return {value, *this};
        }
    }
};

struct Started {
    Started()
    {
        WSADATA data{};
        if (const int error = ::WSAStartup(MAKEWORD(2, 2), &data); error != 0)
            throw std::system_error(error, std::system_category(), "the system's socket library does not start");
    }
};

}  // namespace

void start_winsock()
{
    // never cleaned up: sockets may outlive any order of static destruction, and the process end does it
    static const Started started;
}

std::error_code last_socket_error() noexcept
{
    static const SocketErrorCategory category;
    return {::WSAGetLastError(), category};
}

bool wait_for_input(SOCKET socket, const Deadline& deadline) noexcept
{
    for (;;) {
        const int left = deadline.remaining_ms();
        WSAPOLLFD entry{socket, POLLRDNORM, 0};
        const int ready = ::WSAPoll(&entry, 1, left);
        if (ready > 0)
            return (entry.revents & POLLNVAL) == 0;
        if (ready < 0 || left == 0)
            return false;
    }
}

}  // namespace net
