#include "sdk/net/udp_socket.h"

#include <mswsock.h>

#include <array>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "sdk/net/interfaces.h"
#include "sdk/net/winsock_socket.h"

namespace vex::net {

namespace {

// of mstcpip.h, which not every toolchain has
constexpr DWORD report_port_unreachable = 0x9800000C;

// of ws2ipdef.h, which not every toolchain has whole; Windows 10 2004
constexpr int send_message_size = 2;  // UDP_SEND_MSG_SIZE

constexpr int longest_send_wait_ms = 1000;

template <typename Value>
std::error_code set_option(SOCKET socket, int level, int name, const Value& value) noexcept
{
    return ::setsockopt(socket, level, name, reinterpret_cast<const char*>(&value), sizeof value) == 0
               ? std::error_code{}
               : last_socket_error();
}

WSABUF to_buffer(std::span<const std::uint8_t> bytes) noexcept
{
    return {static_cast<ULONG>(bytes.size()), reinterpret_cast<char*>(const_cast<std::uint8_t*>(bytes.data()))};
}

/// Calls `send`, which returns 0 when the system took the message. The sockets do not block, so a full send buffer is
/// waited for here, as a blocking send would.
template <typename Send>
std::error_code send_waiting(SOCKET socket, Send send) noexcept
{
    while (send() != 0) {
        const std::error_code error = last_socket_error();
        // an answer to an earlier datagram, not to this one
        if (error.value() == WSAECONNRESET || error.value() == WSAENETRESET) {
            continue;
        }
        if (error.value() != WSAEWOULDBLOCK) {
            return error;
        }
        WSAPOLLFD entry{socket, POLLWRNORM, 0};
        if (::WSAPoll(&entry, 1, longest_send_wait_ms) <= 0) {
            return error;
        }
    }
    return {};
}

std::error_code send_parts(SOCKET socket, const sockaddr_in& address, std::span<WSABUF> parts) noexcept
{
    return send_waiting(socket, [&] {
        DWORD sent = 0;
        return ::WSASendTo(socket, parts.data(), static_cast<DWORD>(parts.size()), &sent, 0,
                           reinterpret_cast<const sockaddr*>(&address), sizeof address, nullptr, nullptr);
    });
}

}  // namespace

UdpSocket UdpSocket::open(Endpoint local, const UdpOptions& options)
{
    start_winsock();
    const auto check = [&local](std::error_code error) {
        if (error) {
            throw std::system_error(error, "cannot open a UDP socket on " + local.to_string());
        }
    };

    const SOCKET handle =
        ::WSASocketW(AF_INET, SOCK_DGRAM, IPPROTO_UDP, nullptr, 0, WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
    if (handle == INVALID_SOCKET) {
        check(last_socket_error());
    }
    UdpSocket socket(static_cast<Handle>(handle));

    u_long non_blocking = 1;
    if (::ioctlsocket(handle, FIONBIO, &non_blocking) != 0) {
        check(last_socket_error());
    }
    // best effort: what slips through is ignored where it is received
    BOOL report = FALSE;
    DWORD returned = 0;
    ::WSAIoctl(handle, report_port_unreachable, &report, sizeof report, nullptr, 0, &returned, nullptr, nullptr);

    const BOOL yes = TRUE;
    if (options.reuse_address) {
        check(set_option(handle, SOL_SOCKET, SO_REUSEADDR, yes));
    }
    if (options.broadcast) {
        check(set_option(handle, SOL_SOCKET, SO_BROADCAST, yes));
    }
    if (options.dont_fragment) {
        check(socket.set_dont_fragment(true));
    }
    if (const std::uint32_t index = options.stay_on_interface ? interface_index_of(local.address) : 0; index != 0) {
        // the routes remain as they are where the system refuses
        set_option(handle, IPPROTO_IP, IP_UNICAST_IF, static_cast<DWORD>(htonl(index)));
    }
    if (options.receive_buffer_bytes > 0) {
        set_option(handle, SOL_SOCKET, SO_RCVBUF, options.receive_buffer_bytes);
    }
    if (options.send_buffer_bytes > 0) {
        set_option(handle, SOL_SOCKET, SO_SNDBUF, options.send_buffer_bytes);
    }

    const sockaddr_in address = to_system(local);
    if (::bind(handle, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        check(last_socket_error());
    }
    return socket;
}

void UdpSocket::close() noexcept
{
    if (is_open()) {
        ::closesocket(socket_of(std::exchange(handle_, invalid_handle)));
    }
}

Endpoint UdpSocket::local() const noexcept
{
    sockaddr_in address{};
    int size = sizeof address;
    if (!is_open() || ::getsockname(socket_of(handle_), reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        return {};
    }
    return from_system(address);
}

std::error_code UdpSocket::send_to(const Endpoint& destination, std::span<const std::uint8_t> data) noexcept
{
    if (!is_open()) {
        return std::make_error_code(std::errc::bad_file_descriptor);
    }
    std::array<WSABUF, 1> parts{to_buffer(data)};
    return send_parts(socket_of(handle_), to_system(destination), parts);
}

std::size_t UdpSocket::send_batch(const Endpoint& destination, std::span<const OutgoingDatagram> datagrams,
                                  std::error_code& error) noexcept
{
    error = is_open() ? std::error_code{} : std::make_error_code(std::errc::bad_file_descriptor);
    if (error) {
        return 0;
    }
    const sockaddr_in address = to_system(destination);
    std::size_t sent = 0;
    for (const OutgoingDatagram& datagram : datagrams) {
        std::array<WSABUF, 2> parts{to_buffer(datagram.head), to_buffer(datagram.body)};
        error = send_parts(socket_of(handle_), address, parts);
        if (error) {
            break;
        }
        ++sent;
    }
    return sent;
}

bool UdpSocket::cuts_trains() const noexcept
{
    // a system that does not know the option would send a train uncut
    return is_open() && !set_option(socket_of(handle_), IPPROTO_UDP, send_message_size, DWORD{0});
}

std::error_code UdpSocket::send_train(const Endpoint& destination, std::span<const OutgoingDatagram> train) noexcept
{
    if (!is_open() || train.empty() || train.size() > most_in_train) {
        return std::make_error_code(is_open() ? std::errc::invalid_argument : std::errc::bad_file_descriptor);
    }
    std::array<WSABUF, 2 * most_in_train> parts;
    DWORD part = 0;
    for (const OutgoingDatagram& datagram : train) {
        parts[part++] = to_buffer(datagram.head);
        parts[part++] = to_buffer(datagram.body);
    }
    const auto segment = static_cast<DWORD>(train.front().head.size() + train.front().body.size());
    alignas(WSACMSGHDR) std::array<char, WSA_CMSG_SPACE(sizeof segment)> control{};
    sockaddr_in address = to_system(destination);
    WSAMSG message{reinterpret_cast<sockaddr*>(&address),
                   sizeof address,
                   parts.data(),
                   part,
                   {static_cast<ULONG>(control.size()), control.data()},
                   0};
    WSACMSGHDR* const how = WSA_CMSG_FIRSTHDR(&message);
    how->cmsg_level = IPPROTO_UDP;
    how->cmsg_type = send_message_size;
    how->cmsg_len = WSA_CMSG_LEN(sizeof segment);
    std::memcpy(WSA_CMSG_DATA(how), &segment, sizeof segment);
    const SOCKET socket = socket_of(handle_);
    return send_waiting(socket, [&] {
        DWORD sent = 0;
        return ::WSASendMsg(socket, &message, 0, &sent, nullptr, nullptr);
    });
}

std::optional<Received> UdpSocket::receive(std::span<std::uint8_t> buffer, std::chrono::milliseconds timeout) noexcept
{
    if (!is_open()) {
        return std::nullopt;
    }
    const SOCKET socket = socket_of(handle_);
    const Deadline deadline(timeout);
    for (;;) {
        sockaddr_in source{};
        int source_size = sizeof source;
        const int size = ::recvfrom(socket, reinterpret_cast<char*>(buffer.data()), static_cast<int>(buffer.size()), 0,
                                    reinterpret_cast<sockaddr*>(&source), &source_size);
        if (size >= 0) {
            return Received{static_cast<std::size_t>(size), false, from_system(source)};
        }
        const int error = ::WSAGetLastError();
        if (error == WSAEMSGSIZE) {
            return Received{buffer.size(), true, from_system(source)};
        }
        if (error == WSAENOTSOCK) {
            return std::nullopt;
        }
        // Errors of earlier sends are reported here, one per call, and are over once fetched: ask again at once, but
        // not past the deadline.
        const bool stale_error = error == WSAECONNRESET || error == WSAENETRESET;
        if (stale_error ? deadline.remaining_ms() == 0 : !wait_for_input(socket, deadline)) {
            return std::nullopt;
        }
    }
}

std::error_code UdpSocket::join(Ipv4Address group, Ipv4Address interface_address) noexcept
{
    ip_mreq request{};
    request.imr_multiaddr = to_system(group);
    request.imr_interface = to_system(interface_address);
    return set_option(socket_of(handle_), IPPROTO_IP, IP_ADD_MEMBERSHIP, request);
}

std::error_code UdpSocket::leave(Ipv4Address group, Ipv4Address interface_address) noexcept
{
    ip_mreq request{};
    request.imr_multiaddr = to_system(group);
    request.imr_interface = to_system(interface_address);
    return set_option(socket_of(handle_), IPPROTO_IP, IP_DROP_MEMBERSHIP, request);
}

std::error_code UdpSocket::set_multicast_interface(Ipv4Address interface_address, int time_to_live) noexcept
{
    if (const std::error_code error =
            set_option(socket_of(handle_), IPPROTO_IP, IP_MULTICAST_IF, to_system(interface_address))) {
        return error;
    }
    return set_option(socket_of(handle_), IPPROTO_IP, IP_MULTICAST_TTL, static_cast<DWORD>(time_to_live));
}

std::error_code UdpSocket::set_dont_fragment(bool dont_fragment) noexcept
{
    return set_option(socket_of(handle_), IPPROTO_IP, IP_DONTFRAGMENT, static_cast<DWORD>(dont_fragment ? 1 : 0));
}

std::size_t UdpSocket::receive_buffer_bytes() const noexcept
{
    int bytes = 0;
    int size = sizeof bytes;
    if (!is_open() ||
        ::getsockopt(socket_of(handle_), SOL_SOCKET, SO_RCVBUF, reinterpret_cast<char*>(&bytes), &size) != 0 ||
        bytes < 0) {
        return 0;
    }
    return static_cast<std::size_t>(bytes);
}

std::optional<std::size_t> wait_readable(std::span<UdpSocket* const> sockets,
                                         std::chrono::milliseconds timeout) noexcept
{
    // hosts have a handful of interfaces; only an unusual one needs the heap
    std::array<WSAPOLLFD, 64> inline_entries;
    std::array<std::size_t, 64> inline_indices;
    std::unique_ptr<WSAPOLLFD[]> heap_entries;
    std::unique_ptr<std::size_t[]> heap_indices;
    WSAPOLLFD* entries = inline_entries.data();
    std::size_t* indices = inline_indices.data();
    if (sockets.size() > inline_entries.size()) {
        heap_entries.reset(new (std::nothrow) WSAPOLLFD[sockets.size()]);
        heap_indices.reset(new (std::nothrow) std::size_t[sockets.size()]);
        entries = heap_entries.get();
        indices = heap_indices.get();
        if (entries == nullptr || indices == nullptr) {
            return std::nullopt;
        }
    }

    // closed sockets are left out, because the call fails as a whole when one of its sockets is none
    ULONG count = 0;
    for (std::size_t i = 0; i < sockets.size(); ++i) {
        if (sockets[i] != nullptr && sockets[i]->is_open()) {
            entries[count] = {socket_of(sockets[i]->handle()), POLLRDNORM, 0};
            indices[count] = i;
            ++count;
        }
    }
    if (count == 0) {
        return std::nullopt;
    }

    const Deadline deadline(timeout);
    for (;;) {
        const int left = deadline.remaining_ms();
        const int ready = ::WSAPoll(entries, count, left);
        if (ready < 0) {
            return std::nullopt;
        }
        for (ULONG i = 0; ready > 0 && i < count; ++i) {
            if ((entries[i].revents & POLLRDNORM) != 0) {
                return indices[i];
            }
        }
        if (left == 0) {
            return std::nullopt;
        }
    }
}

}  // namespace vex::net
