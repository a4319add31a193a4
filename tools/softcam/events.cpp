#include "tools/softcam/events.h"

#include "sdk/wire/bytes.h"

using namespace vex;

namespace softcam {

namespace {
constexpr std::uint16_t first_event_id = 0x9000;
constexpr std::uint16_t first_received_id = 0x9010;
}  // namespace

void CameraEvents::raise(EventKind kind, std::uint64_t timestamp, std::uint64_t number)
{
    const auto index = static_cast<std::uint32_t>(kind);
    if (((enabled_ >> index) & 1) == 0) {
        return;
    }
    virtual_device::DeviceEvent event;
    event.event_id = static_cast<std::uint16_t>(first_event_id + index);
    event.timestamp = timestamp;
    if (kind == EventKind::frame_start || kind == EventKind::frame_end) {
        event.block_id = number;
        event.data.resize(8);
        wire::store_be64(event.data.data(), number);
    } else if (kind == EventKind::test) {
        event.data.resize(4);
        wire::store_be32(event.data.data(), static_cast<std::uint32_t>(number));
    }
    channel_.post(std::move(event));
}

void CameraEvents::tell_received(std::uint32_t port, std::uint64_t timestamp, std::uint32_t count)
{
    virtual_device::DeviceEvent event;
    event.event_id = static_cast<std::uint16_t>(first_received_id + port);
    event.timestamp = timestamp;
    event.data.resize(4);
    wire::store_be32(event.data.data(), count);
    channel_.post(std::move(event));
}

}  // namespace softcam
