#include "sdk/net/packet_receiver.h"

#include "sdk/net/deadline.h"

namespace vex::net {

std::span<const Datagram> PacketReceiver::receive(std::chrono::milliseconds timeout)
{
    const Deadline deadline(timeout);
    for (;;) {
        const std::span<const Datagram> datagrams = read({});
        if (!datagrams.empty() || !wait(std::chrono::milliseconds(deadline.remaining_ms()))) {
            return datagrams;
        }
    }
}

}  // namespace vex::net
