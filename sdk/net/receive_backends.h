// The ways in which the packets of a stream can be received here, and the choice among them.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "sdk/base/address.h"
#include "sdk/net/packet_receiver.h"
#include "sdk/net/udp_socket.h"

namespace vex::net {

/// Who sends to where: what a backend looks at to say whether it can be of use.
struct ReceivePath {
    Ipv4Address sender;           ///< the only sender whose packets are wanted
    Ipv4Address local_interface;  ///< address of the interface that receives
};

/// What a receiver is made for.
struct ReceiverOptions {
    UdpSocket& socket;  ///< bound, and joined to its group; stays the stream's, and must outlive the receiver
    ReceivePath path;
    std::size_t largest_packet = 65507;  ///< the largest UDP payload expected, in bytes
    std::size_t batch = 64;              ///< most datagrams of one receive
};

/// One way to receive. Implementations keep no state of their own: members may be called from any thread.
class ReceiveBackend {
public:
    virtual ~ReceiveBackend() = default;

    /// What settings call it.
    [[nodiscard]] virtual std::string_view name() const noexcept = 0;
    /// Whether a process needs more rights than an ordinary user's for it.
    [[nodiscard]] virtual bool privileged() const noexcept = 0;
    /// Whether this process may and can receive so on that path.
    [[nodiscard]] virtual bool serves(const ReceivePath& path) const noexcept = 0;
    /// A receiver; null when the system refuses after all. Throws std::bad_alloc.
    [[nodiscard]] virtual std::unique_ptr<PacketReceiver> create(const ReceiverOptions& options) const = 0;
};

using SharedBackend = std::shared_ptr<const ReceiveBackend>;

/// All backends, those that suit most uses first: those of this system, before them the ones that were added. Any
/// thread.
[[nodiscard]] std::vector<SharedBackend> receive_backends();

/// Adds a backend for as long as it lives; it comes before all others. For tests, and for drivers that come with a
/// program. Any thread.
class AddedBackend {
public:
    explicit AddedBackend(SharedBackend backend);
    AddedBackend(const AddedBackend&) = delete;
    AddedBackend& operator=(const AddedBackend&) = delete;
    ~AddedBackend();

private:
    const SharedBackend backend_;
};

/// Whether a backend with privileges serves the path.
[[nodiscard]] bool privileged_backend_serves(const ReceivePath& path);

/// A receiver of the backend that `name` names; with an empty name, of the first in the list that serves the path.
/// Throws std::system_error, naming the backend, when there is none of that name or it cannot be used on this path, and
/// std::bad_alloc.
[[nodiscard]] std::unique_ptr<PacketReceiver> create_receiver(const ReceiverOptions& options,
                                                              std::string_view name = {});

}  // namespace vex::net
