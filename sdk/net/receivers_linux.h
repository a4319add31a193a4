// The receive backends of Linux. Only for this folder.
#pragma once

#include <memory>

#include "sdk/net/receive_backends.h"

namespace vex::net {

/// recvmmsg on the socket. `coalescing`: the kernel joins datagrams (generic receive offload), which saves most of the
/// cost of small packets; null where it cannot.
[[nodiscard]] std::unique_ptr<PacketReceiver> create_batch_receiver(const ReceiverOptions& options, bool coalescing);

/// A ring of packets shared with the kernel, filled beside the socket; see packet_ring_linux.cpp. Null where the system
/// refuses.
[[nodiscard]] std::unique_ptr<PacketReceiver> create_packet_ring(const ReceiverOptions& options);
/// Whether this process may have such a ring, and the path leads over an interface that is known.
[[nodiscard]] bool packet_ring_serves(const ReceivePath& path) noexcept;

}  // namespace vex::net
