// The parts of UdpSocket that are the same on every system.
#include "sdk/net/udp_socket.h"

#include <utility>

namespace vex::net {

UdpSocket::UdpSocket(UdpSocket&& other) noexcept
    : handle_(std::exchange(other.handle_, invalid_handle)), receive_timeout_ms_(other.receive_timeout_ms_)
{}

UdpSocket& UdpSocket::operator=(UdpSocket&& other) noexcept
{
    if (this != &other) {
        close();
        handle_ = std::exchange(other.handle_, invalid_handle);
        receive_timeout_ms_ = other.receive_timeout_ms_;
    }
    return *this;
}

UdpSocket::~UdpSocket() { close(); }

bool UdpSocket::is_open() const noexcept { return handle_ != invalid_handle; }

}  // namespace vex::net
