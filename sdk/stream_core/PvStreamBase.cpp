#include "sdk/stream_core/PvStreamBase.h"

#include <optional>
#include <string>

#include "sdk/base/failure.h"
#include "sdk/net/interfaces.h"
#include "sdk/net/known_path.h"
#include "sdk/net/receive_backends.h"
#include "sdk/stream_core/stream_channel.h"

using namespace vex;

namespace {

/// An address given by the client; `what` names it in the failure's text.
PvResult parse(const PvString& text, const char* what, Ipv4Address& address)
{
    const std::optional<Ipv4Address> parsed = Ipv4Address::parse(text.view());
    if (!parsed.has_value()) {
        return failure(PvResult::InvalidParameter, "The ", what, " '", text.view(), "' is not an IPv4 address");
    }
    address = *parsed;
    return PvResult::OK;
}

/// Fills in the device's address and the interface's; an empty `local_ip` takes the interface over which this process
/// is connected to the device, or else the one that the system's routes name.
PvResult resolve(const PvString& device_ip, const PvString& local_ip, stream::Endpoints& endpoints)
{
    if (PvResult result = parse(device_ip, "device address", endpoints.device); !result.IsOK()) {
        return result;
    }
    if (endpoints.device.is_any() || endpoints.device.is_multicast()) {
        return failure(PvResult::InvalidParameter, "'", device_ip.view(), "' is no device's address");
    }
    if (!local_ip.empty()) {
        return parse(local_ip, "local address", endpoints.local);
    }
    const Ipv4Address known = net::known_local_address_towards(endpoints.device);
    endpoints.local = known.is_any() ? net::local_address_towards(endpoints.device) : known;
    if (endpoints.local.is_any()) {
        return failure(PvResult::NetworkError, "No interface leads to ", device_ip.view());
    }
    return PvResult::OK;
}

}  // namespace

PvStreamBase::PvStreamBase() : channel_(std::make_shared<stream::StreamChannel>()) {}

PvStreamBase::~PvStreamBase() { channel_->close(); }

PvResult PvStreamBase::Open(const PvString& device_ip, std::uint16_t local_port, std::uint16_t channel,
                            const PvString& local_ip)
{
    stream::Endpoints endpoints{.channel = channel, .port = local_port};
    if (PvResult result = resolve(device_ip, local_ip, endpoints); !result.IsOK()) {
        return result;
    }
    return channel_->open(endpoints);
}

PvResult PvStreamBase::Open(const PvString& device_ip, const PvString& multicast_ip, std::uint16_t data_port,
                            std::uint16_t channel, const PvString& local_ip)
{
    stream::Endpoints endpoints{.channel = channel, .port = data_port};
    if (PvResult result = resolve(device_ip, local_ip, endpoints); !result.IsOK()) {
        return result;
    }
    Ipv4Address group;
    if (PvResult result = parse(multicast_ip, "multicast address", group); !result.IsOK()) {
        return result;
    }
    if (!group.is_multicast()) {
        return failure(PvResult::InvalidParameter, "'", multicast_ip.view(), "' is not a multicast address");
    }
    if (data_port == 0) {
        return failure(PvResult::InvalidParameter, "A multicast stream needs the port that the device sends to");
    }
    endpoints.group = group;
    // whoever only watches what is sent to others leaves asking to them
    endpoints.may_ask = net::is_controlled_from_here(endpoints.device);
    return channel_->open(endpoints);
}

PvResult PvStreamBase::Close()
{
    channel_->close();
    return PvResult::OK;
}

bool PvStreamBase::IsOpen() const { return channel_->endpoints().has_value(); }

PvResult PvStreamBase::QueueBuffer(PvBuffer* buffer) { return channel_->queue(buffer); }

PvResult PvStreamBase::RetrieveBuffer(PvBuffer** buffer, PvResult* operation_result, std::uint32_t timeout)
{
    if (buffer == nullptr || operation_result == nullptr) {
        return failure(PvResult::InvalidParameter, "The buffer and its operation result need a place");
    }
    return channel_->retrieve(*buffer, *operation_result, timeout);
}

PvResult PvStreamBase::AbortQueuedBuffers() { return channel_->abort(); }

PvResult PvStreamBase::FlushPacketQueue() { return channel_->flush(); }

std::uint32_t PvStreamBase::GetQueuedBufferCount() const { return channel_->held_buffers(); }

std::uint32_t PvStreamBase::GetQueuedBufferMaximum() const { return channel_->most_buffers(); }

std::uint16_t PvStreamBase::GetLocalPort() const
{
    const auto endpoints = channel_->endpoints();
    return endpoints.has_value() ? endpoints->port : std::uint16_t{0};
}

PvString PvStreamBase::GetLocalIPAddress() const
{
    const auto endpoints = channel_->endpoints();
    return endpoints.has_value() ? PvString(endpoints->local.to_string()) : PvString();
}

PvString PvStreamBase::GetMulticastIPAddress() const
{
    const auto endpoints = channel_->endpoints();
    return endpoints.has_value() && endpoints->group.has_value() ? PvString(endpoints->group->to_string()) : PvString();
}

std::uint16_t PvStreamBase::GetChannel() const
{
    const auto endpoints = channel_->endpoints();
    return endpoints.has_value() ? endpoints->channel : std::uint16_t{0};
}

PvString PvStreamBase::GetDeviceIPAddress() const
{
    const auto endpoints = channel_->endpoints();
    return endpoints.has_value() ? PvString(endpoints->device.to_string()) : PvString();
}

PvResult PvStreamBase::IsDriverInstalled(const PvString& device_ip, bool& installed, const PvString& local_ip)
{
    installed = false;
    stream::Endpoints endpoints;
    if (PvResult result = resolve(device_ip, local_ip, endpoints); !result.IsOK()) {
        return result;
    }
    installed = net::privileged_backend_serves({endpoints.device, endpoints.local});
    return PvResult::OK;
}
