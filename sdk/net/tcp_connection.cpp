// The parts of TcpConnection that are the same on every system.
#include "sdk/net/tcp_connection.h"

#include <utility>

#ifdef _WIN32
#include "sdk/net/winsock_socket.h"
#else
#include <netdb.h>

#include "sdk/net/posix_socket.h"
#endif

namespace vex::net {

TcpConnection::TcpConnection(TcpConnection&& other) noexcept : handle_(std::exchange(other.handle_, invalid_handle)) {}

TcpConnection& TcpConnection::operator=(TcpConnection&& other) noexcept
{
    if (this != &other) {
        close();
        handle_ = std::exchange(other.handle_, invalid_handle);
    }
    return *this;
}

TcpConnection::~TcpConnection() { close(); }

std::optional<Ipv4Address> address_of_host(const std::string& host)
{
    if (const auto address = Ipv4Address::parse(host)) {
        return address;
    }
#ifdef _WIN32
    start_winsock();
#endif
    addrinfo wanted{};
    wanted.ai_family = AF_INET;
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (::getaddrinfo(host.c_str(), nullptr, &wanted, &found) != 0 || found == nullptr) {
        return std::nullopt;
    }
    const Ipv4Address address = from_system(*reinterpret_cast<const sockaddr_in*>(found->ai_addr)).address;
    ::freeaddrinfo(found);
    return address;
}

}  // namespace vex::net
