#include "sdk/net/udp_socket.h"

#include <netinet/udp.h>
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "sdk/net/interfaces.h"
#include "sdk/net/posix_socket.h"

#ifndef UDP_SEGMENT  // of kernel 4.18
#define UDP_SEGMENT 103
#endif

namespace vex::net {

namespace {

using std::chrono::milliseconds;

/// Datagrams handed to the system with one call; more gain nothing.
constexpr std::size_t send_batch_size = 64;

std::error_code set_option(int descriptor, int level, int name, int value) noexcept
{
    return ::setsockopt(descriptor, level, name, &value, sizeof value) == 0 ? std::error_code{} : last_error();
}

/// The forced form may exceed the system's limit but needs a privilege; the plain one takes what the limit allows.
void set_buffer(int descriptor, int forced_name, int name, int bytes) noexcept
{
    if (bytes > 0 && set_option(descriptor, SOL_SOCKET, forced_name, bytes)) {
        set_option(descriptor, SOL_SOCKET, name, bytes);
    }
}

/// The time since some moment, exact to some milliseconds: enough for what is left after an interruption, and several
/// times quicker than the exact time, which every datagram would wait for.
milliseconds coarse_now() noexcept
{
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return milliseconds(std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000);
}

iovec to_iovec(std::span<const std::uint8_t> bytes) noexcept
{
    return {const_cast<std::uint8_t*>(bytes.data()), bytes.size()};
}

}  // namespace

UdpSocket UdpSocket::open(Endpoint local, const UdpOptions& options)
{
    const auto check = [&local](std::error_code error) {
        if (error) {
            throw std::system_error(error, "cannot open a UDP socket on " + local.to_string());
        }
    };

    const int descriptor = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        check(last_error());
    }
    UdpSocket socket(static_cast<Handle>(descriptor));

    if (options.reuse_address) {
        check(set_option(descriptor, SOL_SOCKET, SO_REUSEADDR, 1));
    }
    if (options.broadcast) {
        check(set_option(descriptor, SOL_SOCKET, SO_BROADCAST, 1));
    }
    if (options.dont_fragment) {
        check(socket.set_dont_fragment(true));
    }
    if (const std::uint32_t index = options.stay_on_interface ? interface_index_of(local.address) : 0; index != 0) {
        // not SO_BINDTODEVICE, which also keeps away what this host sends to itself, and takes a privilege before
        // Linux 5.7. The routes remain as they are where the system refuses.
        set_option(descriptor, IPPROTO_IP, IP_UNICAST_IF, static_cast<int>(htonl(index)));
    }
    set_buffer(descriptor, SO_RCVBUFFORCE, SO_RCVBUF, options.receive_buffer_bytes);
    set_buffer(descriptor, SO_SNDBUFFORCE, SO_SNDBUF, options.send_buffer_bytes);
    // without this a socket bound to no address also gets the groups that other sockets of the host have joined
    check(set_option(descriptor, IPPROTO_IP, IP_MULTICAST_ALL, 0));

    const sockaddr_in address = to_system(local);
    if (::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        check(last_error());
    }
    return socket;
}

void UdpSocket::close() noexcept
{
    if (is_open()) {
        ::close(descriptor_of(std::exchange(handle_, invalid_handle)));
    }
}

Endpoint UdpSocket::local() const noexcept
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    if (!is_open() || ::getsockname(descriptor_of(handle_), reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        return {};
    }
    return from_system(address);
}

std::error_code UdpSocket::send_to(const Endpoint& destination, std::span<const std::uint8_t> data) noexcept
{
    if (!is_open()) {
        return std::make_error_code(std::errc::bad_file_descriptor);
    }
    const sockaddr_in address = to_system(destination);
    for (;;) {
        if (::sendto(descriptor_of(handle_), data.data(), data.size(), MSG_NOSIGNAL,
                     reinterpret_cast<const sockaddr*>(&address), sizeof address) >= 0) {
            return {};
        }
        if (errno != EINTR) {
            return last_error();
        }
    }
}

std::size_t UdpSocket::send_batch(const Endpoint& destination, std::span<const OutgoingDatagram> datagrams,
                                  std::error_code& error) noexcept
{
    error = is_open() ? std::error_code{} : std::make_error_code(std::errc::bad_file_descriptor);
    if (error) {
        return 0;
    }

    sockaddr_in address = to_system(destination);
    std::array<mmsghdr, send_batch_size> messages;
    std::array<std::array<iovec, 2>, send_batch_size> parts;
    std::size_t sent = 0;
    while (sent < datagrams.size()) {
        const std::size_t count = std::min(datagrams.size() - sent, send_batch_size);
        for (std::size_t i = 0; i < count; ++i) {
            const OutgoingDatagram& datagram = datagrams[sent + i];
            parts[i] = {to_iovec(datagram.head), to_iovec(datagram.body)};
            messages[i] = {};
            messages[i].msg_hdr.msg_name = &address;
            messages[i].msg_hdr.msg_namelen = sizeof address;
            messages[i].msg_hdr.msg_iov = parts[i].data();
            messages[i].msg_hdr.msg_iovlen = parts[i].size();
        }
        const int done =
            ::sendmmsg(descriptor_of(handle_), messages.data(), static_cast<unsigned>(count), MSG_NOSIGNAL);
        if (done >= 0) {
            sent += static_cast<std::size_t>(done);
        } else if (errno != EINTR) {
            error = last_error();
            break;
        }
    }
    return sent;
}

bool UdpSocket::cuts_trains() const noexcept
{
    // an older kernel would not refuse a train, but send it uncut
    int segment = 0;
    socklen_t size = sizeof segment;
    return is_open() && ::getsockopt(descriptor_of(handle_), SOL_UDP, UDP_SEGMENT, &segment, &size) == 0;
}

std::error_code UdpSocket::send_train(const Endpoint& destination, std::span<const OutgoingDatagram> train) noexcept
{
    if (!is_open() || train.empty() || train.size() > most_in_train) {
        return std::make_error_code(is_open() ? std::errc::invalid_argument : std::errc::bad_file_descriptor);
    }
    std::array<iovec, 2 * most_in_train> parts;
    std::size_t part = 0;
    for (const OutgoingDatagram& datagram : train) {
        parts[part++] = to_iovec(datagram.head);
        parts[part++] = to_iovec(datagram.body);
    }
    const auto segment = static_cast<std::uint16_t>(train.front().head.size() + train.front().body.size());
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof segment)> control{};
    sockaddr_in address = to_system(destination);
    msghdr message{};
    message.msg_name = &address;
    message.msg_namelen = sizeof address;
    message.msg_iov = parts.data();
    message.msg_iovlen = part;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    cmsghdr* const how = CMSG_FIRSTHDR(&message);
    how->cmsg_level = SOL_UDP;
    how->cmsg_type = UDP_SEGMENT;
    how->cmsg_len = CMSG_LEN(sizeof segment);
    std::memcpy(CMSG_DATA(how), &segment, sizeof segment);
    while (::sendmsg(descriptor_of(handle_), &message, MSG_NOSIGNAL) < 0) {
        if (errno != EINTR) {
            return last_error();
        }
    }
    return {};
}

std::optional<Received> UdpSocket::receive(std::span<std::uint8_t> buffer, std::chrono::milliseconds timeout) noexcept
{
    if (!is_open()) {
        return std::nullopt;
    }
    const milliseconds begin = coarse_now();
    for (int left = Deadline::whole_ms(timeout);;) {
        // a receive that waits takes one system call; asking first and waiting then would take three
        if (left > 0 && left != receive_timeout_ms_) {
            const timeval wait{left / 1000, left % 1000 * 1000};
            if (::setsockopt(descriptor_of(handle_), SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait) != 0) {
                return std::nullopt;
            }
            receive_timeout_ms_ = left;
        }
        sockaddr_in source{};
        socklen_t source_size = sizeof source;
        // MSG_TRUNC: tells the datagram's own size, also when the buffer is smaller
        const ssize_t size = ::recvfrom(descriptor_of(handle_), buffer.data(), buffer.size(),
                                        left > 0 ? MSG_TRUNC : MSG_TRUNC | MSG_DONTWAIT,
                                        reinterpret_cast<sockaddr*>(&source), &source_size);
        if (size >= 0) {
            const auto whole = static_cast<std::size_t>(size);
            return Received{std::min(whole, buffer.size()), whole > buffer.size(), from_system(source)};
        }
        // the system has waited to the end, unless that was too far away to tell it
        const bool is_over = left == 0 || (errno == EAGAIN && left == timeout.count());
        if (is_over || errno == EBADF || errno == ENOTSOCK) {
            return std::nullopt;
        }
        left = Deadline::whole_ms(timeout - (coarse_now() - begin));
    }
}

std::error_code UdpSocket::join(Ipv4Address group, Ipv4Address interface_address) noexcept
{
    const ip_mreq request{to_system(group), to_system(interface_address)};
    return ::setsockopt(descriptor_of(handle_), IPPROTO_IP, IP_ADD_MEMBERSHIP, &request, sizeof request) == 0
               ? std::error_code{}
               : last_error();
}

std::error_code UdpSocket::leave(Ipv4Address group, Ipv4Address interface_address) noexcept
{
    const ip_mreq request{to_system(group), to_system(interface_address)};
    return ::setsockopt(descriptor_of(handle_), IPPROTO_IP, IP_DROP_MEMBERSHIP, &request, sizeof request) == 0
               ? std::error_code{}
               : last_error();
}

std::error_code UdpSocket::set_multicast_interface(Ipv4Address interface_address, int time_to_live) noexcept
{
    const in_addr address = to_system(interface_address);
    if (::setsockopt(descriptor_of(handle_), IPPROTO_IP, IP_MULTICAST_IF, &address, sizeof address) != 0) {
        return last_error();
    }
    return set_option(descriptor_of(handle_), IPPROTO_IP, IP_MULTICAST_TTL, time_to_live);
}

std::error_code UdpSocket::set_dont_fragment(bool dont_fragment) noexcept
{
    return set_option(descriptor_of(handle_), IPPROTO_IP, IP_MTU_DISCOVER,
                      dont_fragment ? IP_PMTUDISC_DO : IP_PMTUDISC_WANT);
}

std::size_t UdpSocket::receive_buffer_bytes() const noexcept
{
    int bytes = 0;
    socklen_t size = sizeof bytes;
    if (!is_open() || ::getsockopt(descriptor_of(handle_), SOL_SOCKET, SO_RCVBUF, &bytes, &size) != 0 || bytes < 0) {
        return 0;
    }
    // the kernel doubles what is asked for, to make up for its own overhead, and tells the double
    return static_cast<std::size_t>(bytes) / 2;
}

std::optional<std::size_t> wait_readable(std::span<UdpSocket* const> sockets,
                                         std::chrono::milliseconds timeout) noexcept
{
    // hosts have a handful of interfaces; only an unusual one needs the heap
    std::array<pollfd, 64> inline_entries;
    std::unique_ptr<pollfd[]> heap_entries;
    pollfd* entries = inline_entries.data();
    if (sockets.size() > inline_entries.size()) {
        heap_entries.reset(new (std::nothrow) pollfd[sockets.size()]);
        entries = heap_entries.get();
        if (entries == nullptr) {
            return std::nullopt;
        }
    }

    bool any_open = false;
    for (std::size_t i = 0; i < sockets.size(); ++i) {
        const bool open = sockets[i] != nullptr && sockets[i]->is_open();
        any_open = any_open || open;
        // the system skips negative descriptors
        entries[i] = {open ? descriptor_of(sockets[i]->handle()) : -1, POLLIN, 0};
    }
    if (!any_open) {
        return std::nullopt;
    }

    const Deadline deadline(timeout);
    for (;;) {
        const int left = deadline.remaining_ms();
        if (::poll(entries, sockets.size(), left) > 0) {
            for (std::size_t i = 0; i < sockets.size(); ++i) {
                if ((entries[i].revents & POLLIN) != 0) {
                    return i;
                }
            }
        }
        if (left == 0) {
            return std::nullopt;
        }
    }
}

}  // namespace vex::net
