// Puts a GvcpResponder on the network.
#pragma once

#include <atomic>
#include <mutex>
#include <optional>
#include <span>
#include <string_view>
#include <thread>
#include <vector>

#include "sdk/net/interfaces.h"
#include "sdk/net/udp_socket.h"
#include "sdk/virtualdevice/gvcp_responder.h"

namespace vex::virtual_device {

/// The interface that `name` means: an IPv4 address (of an interface, or any of 127.0.0.0/8), an adapter's id or
/// description, or a MAC address. Empty means the first interface that is not loopback, else loopback. Empty result
/// when there is none. The returned address is the one to listen on.
[[nodiscard]] std::optional<net::Interface> find_interface(std::string_view name,
                                                           std::span<const net::Interface> interfaces);

/// Listens on port 3956 of one address, on its subnet's broadcast address and on the limited broadcast address, and
/// feeds a responder from a thread of its own.
///
/// Thread safety: start and stop from one thread at a time; rebind and address from any.
class GvcpServer {
public:
    /// `handler` gets the datagrams in the responder's stead; both must outlive the server.
    GvcpServer(GvcpResponder& responder, DatagramHandler& handler) noexcept : responder_(responder), handler_(handler)
    {}
    explicit GvcpServer(GvcpResponder& responder) noexcept : GvcpServer(responder, responder) {}
    GvcpServer(const GvcpServer&) = delete;
    GvcpServer& operator=(const GvcpServer&) = delete;
    ~GvcpServer() { stop(); }

    /// Throws std::system_error when the address cannot be listened on, for instance because something else does.
    void start(const net::Interface& adapter);
    /// Returns when the thread has ended. Nothing to do when not started.
    void stop() noexcept;
    [[nodiscard]] bool is_running() const noexcept { return running_; }

    /// Listens on another address from the next turn of the thread on, as FORCEIP asks. When the new address cannot be
    /// listened on, the old one stays.
    void rebind(const net::Interface& adapter);

    /// Where it listens now.
    [[nodiscard]] Ipv4Address address() const;

private:
    struct Sockets {
        net::UdpSocket unicast;
        std::vector<net::UdpSocket> broadcast;
        net::Interface adapter;
    };
    [[nodiscard]] static Sockets open(const net::Interface& adapter);
    /// False when the system would give broadcasts to sockets that share the address with the unicast one only.
    [[nodiscard]] static bool open_for_broadcasts(Sockets& sockets);
    void run();
    void take_wanted_address();
    void serve(net::UdpSocket& socket, bool broadcast, const Send& send);

    GvcpResponder& responder_;
    DatagramHandler& handler_;
    std::atomic<bool> running_{false};  // asked for from the thread itself, too
    std::thread thread_;
    std::atomic<bool> stopping_{false};
    Sockets sockets_;  // the thread's own while it runs
    mutable std::mutex mutex_;
    Ipv4Address address_;                   // guarded by mutex_
    std::optional<net::Interface> wanted_;  // guarded by mutex_
};

}  // namespace vex::virtual_device
