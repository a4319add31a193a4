#include "sdk/device/PvDevice.h"

#include <span>
#include <string>
#include <system_error>
#include <utility>

#include "sdk/base/application_call.h"
#include "sdk/base/failure.h"
#include "sdk/base/whole_file.h"
#include "sdk/control/force_ip.h"
#include "sdk/device/device_impl.h"
#include "sdk/device/device_info_impl.h"
#include "sdk/device/device_lookup.h"
#include "sdk/genapi/node_map.h"
#include "sdk/net/interfaces.h"
#include "sdk/wire/bytes.h"

using namespace vex;

namespace {

constexpr std::chrono::milliseconds callback_timeout{5000};

/// OK, or why a connection cannot be made or ended from where the caller is.
PvResult check_caller()
{
    if (device::in_link_notification()) {
        return failure(PvResult::StateError, "A command link notification cannot connect or disconnect its device");
    }
    return PvResult::OK;
}

PvResult check_access(PvAccessType access)
{
    switch (access) {
    case PvAccessOpen:
    case PvAccessControl:
    case PvAccessReadOnly:
    case PvAccessExclusive: return PvResult::OK;
    case PvAccessUnknown: break;
    }
    return failure(PvResult::InvalidParameter, "There is no access type ", std::to_string(static_cast<int>(access)));
}

}  // namespace

/// A call of the application that may lead to calls of its sinks, which may destroy the device object.
class PvDevice::Operation {
public:
    explicit Operation(std::shared_ptr<Impl> impl) noexcept : impl_(std::move(impl)) {}
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;
    ~Operation()
    {
        impl_.reset();
        ApplicationCall::operation_ends();
    }

    Impl* operator->() const noexcept { return impl_.get(); }

private:
    std::shared_ptr<Impl> impl_;
};

PvDevice::PvDevice() : impl_(std::make_shared<Impl>(*this)) {}

PvDevice::~PvDevice()
{
    lifetime_.reset();
    impl_->shut_down();
    ApplicationCall::keep(std::move(impl_));
}

PvResult PvDevice::Connect(const PvDeviceInfo* aDeviceInfo, PvAccessType aAccessType)
{
    if (aDeviceInfo == nullptr) {
        return failure(PvResult::InvalidParameter, "The device information is null");
    }
    if (PvResult result = check_access(aAccessType); !result.IsOK()) {
        return result;
    }
    if (PvResult result = check_caller(); !result.IsOK()) {
        return result;
    }
    const PvDeviceInfo::Impl& info = *aDeviceInfo->impl_;
    const Operation held(impl_);
    return held->connect({.device = {info.facts.address, wire::gvcp::port},
                          .local = info.host.address,
                          .mac = info.facts.mac,
                          .hint = device::reachability_hint(info.host, info.facts),
                          .access = aAccessType});
}

PvResult PvDevice::Connect(const PvString& aInfo, PvAccessType aAccessType)
{
    if (PvResult result = check_access(aAccessType); !result.IsOK()) {
        return result;
    }
    if (PvResult result = check_caller(); !result.IsOK()) {
        return result;
    }
    if (const auto current = impl_->connection()) {
        return failure(PvResult::StateError, "Connected already, to ", current->device().address.to_string());
    }
    control::ConnectionTarget target;
    target.access = aAccessType;
    if (PvResult result = device::look_up_device(aInfo.view(), target); !result.IsOK()) {
        return result;
    }
    const Operation held(impl_);
    return held->connect(target);
}

PvResult PvDevice::Disconnect()
{
    if (PvResult result = check_caller(); !result.IsOK()) {
        return result;
    }
    const Operation held(impl_);
    return held->disconnect();
}

bool PvDevice::IsConnected() const { return impl_->connection() != nullptr; }

bool PvDevice::IsIPEngine() const
{
    // serial ports and the I2C bus are no matter of the protocol: a device that has them describes them
    const Impl::Features* features = impl_->features();
    return IsConnected() && features->array->GetNodeMap()->node("IPEngine") != nullptr;
}

PvGenParameterArray* PvDevice::GetGenParameters()
{
    const Impl::Features* features = impl_->features();
    return features != nullptr ? features->array.get() : nullptr;
}

PvGenParameterArray* PvDevice::GetGenLink() { return &impl_->link.parameters(); }

PvResult PvDevice::DumpGenICamXML(const PvString& aFilename)
{
    const Impl::Features* features = impl_->features();
    if (features == nullptr) {
        return failure(PvResult::NotConnected, "No device has been connected whose description could be written");
    }
    const std::string& xml = features->description.xml;
    return write_whole_file(aFilename, {reinterpret_cast<const std::uint8_t*>(xml.data()), xml.size()});
}

PvResult PvDevice::GetDefaultGenICamXMLFilename(PvString& aFilename)
{
    const Impl::Features* features = impl_->features();
    if (features == nullptr) {
        return failure(PvResult::NotConnected, "No device has been connected whose description has a name");
    }
    aFilename = PvString(features->description.name);
    return PvResult::OK;
}

PvResult PvDevice::SetStreamDestination(const PvString& aIPAddress, std::uint16_t aDataPort, std::uint32_t aChannel)
{
    const auto address = Ipv4Address::parse(aIPAddress.view());
    if (!address || address->is_any()) {
        return failure(PvResult::InvalidParameter, "\"", aIPAddress.str(), "\" is no IPv4 address that can be sent to");
    }
    if (aDataPort == 0) {
        return failure(PvResult::InvalidParameter, "A stream cannot be sent to port 0");
    }
    const Operation held(impl_);
    return held->set_stream_destination(aChannel, *address, aDataPort);
}

PvResult PvDevice::ResetStreamDestination(std::uint32_t aChannel)
{
    const Operation held(impl_);
    return held->set_stream_destination(aChannel, any_address, 0);
}

PvResult PvDevice::NegotiatePacketSize(std::uint32_t aChannel, std::uint32_t aDefaultPacketSize)
{
    const Operation held(impl_);
    return held->negotiate_packet_size(aChannel, aDefaultPacketSize);
}

PvResult PvDevice::Reset()
{
    const Operation held(impl_);
    std::shared_ptr<control::Connection> current;
    if (PvResult result = held->writable_connection(current); !result.IsOK()) {
        return result;
    }
    PvGenParameterArray& array = *held->features()->array;
    if (array.GetCommand("DeviceReset") == nullptr) {
        return failure(PvResult::NotSupported, "The device ", current->device().address.to_string(),
                       " has no DeviceReset feature");
    }
    const PvResult result = array.ExecuteCommand("DeviceReset");
    if (result.GetCode() == PvResult::Timeout) {
        return {PvResult::OK, "The device did not acknowledge the reset; devices that restart at once do not"};
    }
    return result;
}

PvResult PvDevice::ReadRegister(std::uint32_t aAddress, std::uint32_t& aValue)
{
    const Operation held(impl_);
    const auto current = held->connection();
    if (!current) {
        return PvResult::NotConnected;
    }
    const auto outcome = current->channel().read_register(aAddress, aValue);
    if (!outcome.ok()) {
        return current->result_of(outcome);
    }
    if (!held->sinks->empty()) {
        std::uint8_t bytes[4];
        wire::store_be32(bytes, aValue);
        device::notify_read(*held->sinks, aAddress, bytes);
    }
    return PvResult::OK;
}

PvResult PvDevice::WriteRegister(std::uint32_t aAddress, std::uint32_t aValue)
{
    const Operation held(impl_);
    std::shared_ptr<control::Connection> current;
    if (PvResult result = held->writable_connection(current); !result.IsOK()) {
        return result;
    }
    if (const auto outcome = current->channel().write_register(aAddress, aValue); !outcome.ok()) {
        return current->result_of(outcome);
    }
    if (!held->sinks->empty()) {
        std::uint8_t bytes[4];
        wire::store_be32(bytes, aValue);
        device::notify_write(*held->sinks, aAddress, bytes);
    }
    return PvResult::OK;
}

PvResult PvDevice::ReadMemory(std::uint32_t aAddress, unsigned char* aDestination, std::uint32_t aByteCount)
{
    const Operation held(impl_);
    if (aDestination == nullptr && aByteCount > 0) {
        return failure(PvResult::InvalidParameter, "The destination is null");
    }
    const auto current = held->connection();
    if (!current) {
        return PvResult::NotConnected;
    }
    const std::span<std::uint8_t> destination(aDestination, aByteCount);
    if (const auto outcome = current->channel().read_memory(aAddress, destination); !outcome.ok()) {
        return current->result_of(outcome);
    }
    device::notify_read(*held->sinks, aAddress, destination);
    return PvResult::OK;
}

PvResult PvDevice::WriteMemory(std::uint32_t aAddress, const unsigned char* aSource, std::uint32_t aByteCount)
{
    const Operation held(impl_);
    if (aSource == nullptr && aByteCount > 0) {
        return failure(PvResult::InvalidParameter, "The source is null");
    }
    std::shared_ptr<control::Connection> current;
    if (PvResult result = held->writable_connection(current); !result.IsOK()) {
        return result;
    }
    const std::span<const std::uint8_t> source(aSource, aByteCount);
    if (const auto outcome = current->channel().write_memory(aAddress, source); !outcome.ok()) {
        return current->result_of(outcome);
    }
    device::notify_write(*held->sinks, aAddress, source);
    return PvResult::OK;
}

PvResult PvDevice::WaitForMessagingChannelIdle(std::uint32_t aTimeout)
{
    const Operation held(impl_);
    return held->wait_for_messages(std::chrono::milliseconds(aTimeout));
}

PvResult PvDevice::SetIPConfiguration(const PvString& aMACAddress, const PvString& aIP, const PvString& aSubnetMask,
                                      const PvString& aGateway)
{
    std::vector<net::Interface> hosts;
    try {
        hosts = net::list_interfaces();
    } catch (const std::system_error& error) {
        return failure(PvResult::NetworkError, "The network interfaces cannot be listed: ", error.what());
    }
    wire::gvcp::ForceIp settings;
    if (PvResult result = control::parse_ip_configuration(aMACAddress, aIP, aSubnetMask, aGateway, hosts, settings);
        !result.IsOK()) {
        return result;
    }
    return control::force_ip(settings, hosts);
}

PvResult PvDevice::ResetStreamTimeoutCounter(std::uint32_t aChannel)
{
    const auto current = impl_->connection();
    if (!current) {
        return PvResult::NotConnected;
    }
    if (PvResult result = current->check_stream_channel(aChannel); !result.IsOK()) {
        return result;
    }
    impl_->link.reset_stream_timeouts(aChannel);
    return PvResult::OK;
}

PvResult PvDevice::ReportStreamTimeout(std::uint32_t aChannel) { return impl_->report_stream_timeout(aChannel); }

PvResult PvDevice::RegisterEventSink(PvDeviceEventSink* aEventSink) { return impl_->sinks->add(aEventSink); }

PvResult PvDevice::UnregisterEventSink(PvDeviceEventSink* aEventSink)
{
    const auto sinks = impl_->sinks;
    return sinks->remove(aEventSink, callback_timeout);
}
