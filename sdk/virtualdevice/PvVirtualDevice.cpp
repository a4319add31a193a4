#include "sdk/virtualdevice/PvVirtualDevice.h"

#include <chrono>
#include <string>
#include <system_error>

#include "sdk/base/failure.h"
#include "sdk/description/description_url.h"
#include "sdk/virtualdevice/bootstrap_device.h"
#include "sdk/virtualdevice/gvcp_server.h"
#include "sdk/virtualdevice/register_map.h"
#include "sdk/wire/bootstrap.h"

using namespace vex;

namespace {

// What a client's node map finds in a device that has nothing but its bootstrap registers.
constexpr std::string_view description_xml = R"xml(<?xml version="1.0" encoding="UTF-8"?>
<RegisterDescription ModelName="VirtualDevice" VendorName="Vexkam" ToolTip="Virtual device" StandardNameSpace="GEV"
    SchemaMajorVersion="1" SchemaMinorVersion="1" SchemaSubMinorVersion="0" MajorVersion="1" MinorVersion="0"
    SubMinorVersion="0" ProductGuid="5B6E9D2C-0A39-4F5A-9D7B-4C0D6B1F9A21"
    VersionGuid="C3A7B1E4-52B0-49A0-8E0E-2B7C4C8C3D10" xmlns="http://www.genicam.org/GenApi/Version_1_1"
    xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"
    xsi:schemaLocation="http://www.genicam.org/GenApi/Version_1_1 http://www.genicam.org/GenApi/GenApiSchema_Version_1_1.xsd">
  <Category Name="Root" NameSpace="Standard">
    <pFeature>DeviceControl</pFeature>
    <pFeature>TransportLayerControl</pFeature>
  </Category>
  <Category Name="DeviceControl" NameSpace="Standard">
    <pFeature>DeviceVendorName</pFeature>
    <pFeature>DeviceModelName</pFeature>
    <pFeature>DeviceVersion</pFeature>
    <pFeature>DeviceID</pFeature>
    <pFeature>DeviceUserID</pFeature>
  </Category>
  <StringReg Name="DeviceVendorName" NameSpace="Standard">
    <Address>0x48</Address><Length>32</Length><AccessMode>RO</AccessMode><pPort>Device</pPort>
  </StringReg>
  <StringReg Name="DeviceModelName" NameSpace="Standard">
    <Address>0x68</Address><Length>32</Length><AccessMode>RO</AccessMode><pPort>Device</pPort>
  </StringReg>
  <StringReg Name="DeviceVersion" NameSpace="Standard">
    <Address>0x88</Address><Length>32</Length><AccessMode>RO</AccessMode><pPort>Device</pPort>
  </StringReg>
  <StringReg Name="DeviceID" NameSpace="Standard">
    <Address>0xD8</Address><Length>16</Length><AccessMode>RO</AccessMode><pPort>Device</pPort>
  </StringReg>
  <StringReg Name="DeviceUserID" NameSpace="Standard">
    <Address>0xE8</Address><Length>16</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>
  </StringReg>
  <Category Name="TransportLayerControl" NameSpace="Standard">
    <pFeature>GevHeartbeatTimeout</pFeature>
    <pFeature>GevCurrentIPAddress</pFeature>
    <pFeature>TLParamsLocked</pFeature>
  </Category>
  <IntReg Name="GevHeartbeatTimeout" NameSpace="Standard">
    <Address>0x938</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>
    <Cachable>WriteAround</Cachable><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess><Unit>ms</Unit>
  </IntReg>
  <IntReg Name="GevCurrentIPAddress" NameSpace="Standard">
    <Address>0x24</Address><Length>4</Length><AccessMode>RO</AccessMode><pPort>Device</pPort>
    <Sign>Unsigned</Sign><Endianess>BigEndian</Endianess><Representation>IPV4Address</Representation>
  </IntReg>
  <Integer Name="TLParamsLocked" NameSpace="Standard">
    <Visibility>Invisible</Visibility><Value>0</Value><Min>0</Min><Max>1</Max>
  </Integer>
  <Port Name="Device" NameSpace="Standard"/>
</RegisterDescription>
)xml";

constexpr std::uint32_t description_address = 0x00100000;

virtual_device::DeviceDescription describe(const net::Interface& adapter)
{
    virtual_device::DeviceDescription description;
    description.serial_number = adapter.address.to_string();
    description.mac = adapter.mac.is_zero() ? virtual_device::made_up_mac(adapter.address) : adapter.mac;
    description.address = adapter.address;
    description.mask = adapter.mask;
    description.gateway = adapter.gateway;
    description.first_url = description::local_url("virtualdevice.xml", description_address, description_xml.size());
    return description;
}

}  // namespace

class PvVirtualDevice::Impl : private virtual_device::DeviceHooks {
public:
    explicit Impl(const net::Interface& adapter) : responder_(describe(adapter), *this), server_(responder_)
    {
        const auto guard = responder_.lock();
        responder_.registers().add(virtual_device::memory_region(description_address, description_xml));
    }

    void start(const net::Interface& adapter) { server_.start(adapter); }

private:
    std::uint64_t timestamp() override
    {
        return static_cast<std::uint64_t>(std::chrono::nanoseconds(net::Clock::steady().now() - started_).count());
    }
    void reset_timestamp() override { started_ = net::Clock::steady().now(); }

    net::Clock::time_point started_ = net::Clock::steady().now();
    virtual_device::GvcpResponder responder_;
    virtual_device::GvcpServer server_;
};

PvVirtualDevice::PvVirtualDevice() = default;
PvVirtualDevice::~PvVirtualDevice() = default;

PvResult PvVirtualDevice::StartListening(const PvString& info)
{
    if (impl_) {
        return failure(PvResult::StateError, "The virtual device is listening already");
    }
    try {
        const auto adapter = virtual_device::find_interface(info.view(), net::list_interfaces());
        if (!adapter) {
            return failure(PvResult::NotFound, "No network interface is named \"", info.view(), "\"");
        }
        auto impl = std::make_unique<Impl>(*adapter);
        impl->start(*adapter);
        impl_ = std::move(impl);
        return PvResult::OK;
    } catch (const std::system_error& error) {
        return failure(PvResult::NetworkError, "The virtual device cannot listen: ", error.what());
    }
}

void PvVirtualDevice::StopListening() { impl_.reset(); }
