#include "sdk/net/winsock_socket.h"

#include <iterator>
#include <string>

namespace vex::net {

namespace {

class SocketErrorCategory final : public std::error_category {
public:
    [[nodiscard]] const char* name() const noexcept override { return "winsock"; }

    [[nodiscard]] std::string message(int value) const override
    {
        wchar_t text[256];
        const DWORD size = ::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                            static_cast<DWORD>(value), 0, text, std::size(text), nullptr);
        std::string message = size > 0 ? to_utf8(text) : std::string();
        while (!message.empty() && (message.back() == '\n' || message.back() == '\r' || message.back() == ' ')) {
            message.pop_back();
        }
        return message.empty() ? "Windows error " + std::to_string(value) : message;
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
        case WSAEOPNOTSUPP: return std::errc::operation_not_supported;
        default: return {value, *this};
        }
    }
};

struct Started {
    Started()
    {
        WSADATA data{};
        if (const int error = ::WSAStartup(MAKEWORD(2, 2), &data); error != 0) {
            throw std::system_error(error, std::system_category(), "the system's socket library does not start");
        }
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

std::string to_utf8(const wchar_t* text)
{
    if (text == nullptr) {
        return {};
    }
    const int size = ::WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    if (size <= 1) {
        return {};
    }
    std::string out(static_cast<std::size_t>(size), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, text, -1, out.data(), size, nullptr, nullptr);
    out.pop_back();
    return out;
}

bool wait_for_input(SOCKET socket, const Deadline& deadline) noexcept
{
    for (;;) {
        const int left = deadline.remaining_ms();
        WSAPOLLFD entry{socket, POLLRDNORM, 0};
        const int ready = ::WSAPoll(&entry, 1, left);
        if (ready > 0) {
            return (entry.revents & POLLNVAL) == 0;
        }
        if (ready < 0 || left == 0) {
            return false;
        }
    }
}

}  // namespace vex::net
