#include "tests/sdk/net/local_server.h"

#include <cstddef>
#include <stdexcept>
#include <utility>

#ifdef _WIN32
#include "sdk/net/winsock_socket.h"
#else
#include <unistd.h>

#include "sdk/net/posix_socket.h"
#endif
#include "sdk/net/tcp_connection.h"

using namespace vex;

namespace net_test {

namespace {

#ifdef _WIN32
using Socket = SOCKET;
using Length = int;
void close_socket(Socket socket) { ::closesocket(socket); }
#else
using Socket = int;
using Length = socklen_t;
void close_socket(Socket socket) { ::close(socket); }
#endif

/// A bound socket, and where it is bound.
std::pair<Socket, Endpoint> bound_socket(Ipv4Address where = loopback_address)
{
#ifdef _WIN32
    net::start_winsock();
#endif
    const Socket made = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address = net::to_system(Endpoint{where, 0});
    Length size = sizeof address;
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    if (::bind(made, any, size) != 0 || ::getsockname(made, any, &size) != 0) {
        throw std::runtime_error("the test's server has no port");
    }
    return {made, net::from_system(address)};
}

}  // namespace

LocalServer::LocalServer(Handler handler, Ipv4Address address) : handler_(std::move(handler))
{
    const auto [socket, endpoint] = bound_socket(address);
    listener_ = static_cast<Handle>(socket);
    endpoint_ = endpoint;
    if (::listen(socket, 8) != 0) {
        throw std::runtime_error("the test's server cannot listen");
    }
    thread_ = std::thread([this] { run(); });
}

LocalServer::~LocalServer()
{
    stop_ = true;
    // the thread is in accept, or will be
    static_cast<void>(net::TcpConnection::open(endpoint_, std::chrono::seconds(10)));
    thread_.join();
    close_socket(static_cast<Socket>(listener_));
}

void LocalServer::run()
{
    while (!stop_) {
        const Socket client = ::accept(static_cast<Socket>(listener_), nullptr, nullptr);
        if (!stop_) {
            serve(static_cast<Handle>(client));
        }
        close_socket(client);
    }
}

void LocalServer::serve(Handle client)
{
    const auto socket = static_cast<Socket>(client);
    std::string request;
    char block[1024];
    const auto receive = [&] { return ::recv(socket, block, sizeof block, 0); };
    while (request.find("\r\n\r\n") == std::string::npos) {
        const auto size = receive();
        if (size <= 0) {
            return;
        }
        request.append(block, static_cast<std::size_t>(size));
    }
    ++requests_;
    if (held_) {
        // until the client has gone
        while (receive() > 0) {
        }
        return;
    }
    const std::string answer = handler_(request);
    std::size_t sent = 0;
    while (sent < answer.size()) {
        const auto left = static_cast<int>(answer.size() - sent);
#ifdef _WIN32
        const auto size = ::send(socket, answer.data() + sent, left, 0);
#else
        const auto size = ::send(socket, answer.data() + sent, static_cast<std::size_t>(left), MSG_NOSIGNAL);
#endif
        if (size <= 0) {
            return;
        }
        sent += static_cast<std::size_t>(size);
    }
}

Endpoint closed_endpoint()
{
    const auto [socket, endpoint] = bound_socket();
    close_socket(socket);
    return endpoint;
}

}  // namespace net_test
