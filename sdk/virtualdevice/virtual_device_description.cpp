#include "sdk/virtualdevice/virtual_device_description.h"

#include <charconv>
#include <string_view>
#include <vector>

#include "sdk/buffer/PvPixelType.h"
#include "sdk/buffer/pixel_type_names.h"
#include "sdk/virtualdevice/side_channel_description.h"
#include "sdk/virtualdevice/virtual_device_registers.h"
#include "sdk/wire/bootstrap.h"

namespace vex::virtual_device {

namespace {

namespace reg = wire::bootstrap;

constexpr std::string_view head = R"xml(<?xml version="1.0" encoding="UTF-8"?>
<RegisterDescription ModelName="VirtualDevice" VendorName="Vexkam" ToolTip="Virtual device" StandardNameSpace="GEV"
    SchemaMajorVersion="1" SchemaMinorVersion="1" SchemaSubMinorVersion="0" MajorVersion="2" MinorVersion="0"
    SubMinorVersion="0" ProductGuid="5B6E9D2C-0A39-4F5A-9D7B-4C0D6B1F9A21"
    VersionGuid="0E1B8A57-6B0F-4E19-9C59-1B6C1E9E7A44" xmlns="http://www.genicam.org/GenApi/Version_1_1"
    xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"
    xsi:schemaLocation="http://www.genicam.org/GenApi/Version_1_1 http://www.genicam.org/GenApi/GenApiSchema_Version_1_1.xsd">
)xml";

constexpr std::string_view fixed_nodes = R"xml(
  <Enumeration Name="AcquisitionMode" NameSpace="Standard">
    <EnumEntry Name="Continuous" NameSpace="Standard"><Value>0</Value></EnumEntry>
    <pValue>AcquisitionModeReg</pValue>
  </Enumeration>
  <Command Name="AcquisitionStart" NameSpace="Standard">
    <pValue>AcquisitionStartReg</pValue><CommandValue>1</CommandValue>
  </Command>
  <Command Name="AcquisitionStop" NameSpace="Standard">
    <pValue>AcquisitionStopReg</pValue><CommandValue>1</CommandValue>
  </Command>
  <Boolean Name="AcquisitionStatus" NameSpace="Standard">
    <pValue>AcquisitionStatusReg</pValue>
  </Boolean>
  <Enumeration Name="PixelFormat" NameSpace="Standard">
@formats@    <pValue>PixelFormatReg</pValue>
  </Enumeration>
  <Enumeration Name="GevCCP" NameSpace="Standard">
    <Visibility>Guru</Visibility>
    <EnumEntry Name="OpenAccess" NameSpace="Standard"><Value>0</Value></EnumEntry>
    <EnumEntry Name="ExclusiveAccess" NameSpace="Standard"><Value>1</Value></EnumEntry>
    <EnumEntry Name="ControlAccess" NameSpace="Standard"><Value>2</Value></EnumEntry>
    <EnumEntry Name="ExclusiveControlAccess"><Value>3</Value></EnumEntry>
    <EnumEntry Name="ControlAccessSwitchoverActive" NameSpace="Standard"><Value>6</Value></EnumEntry>
    <pValue>PrivilegeReg</pValue>
  </Enumeration>
  <MaskedIntReg Name="GevSCPHostPort" NameSpace="Standard">
    <Visibility>Guru</Visibility>
    <Address>0x0D00</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>
    <Cachable>NoCache</Cachable><LSB>31</LSB><MSB>16</MSB><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess>
  </MaskedIntReg>
  <StructReg Comment="packet size">
    <Address>0x0D04</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>
    <Cachable>NoCache</Cachable><Endianess>BigEndian</Endianess>
    <StructEntry Name="FireTestPacketBit"><Bit>0</Bit></StructEntry>
    <StructEntry Name="DoNotFragmentBit"><Bit>1</Bit></StructEntry>
    <StructEntry Name="PacketSizeField"><LSB>31</LSB><MSB>16</MSB></StructEntry>
  </StructReg>
  <Command Name="GevSCPSFireTestPacket" NameSpace="Standard">
    <Visibility>Guru</Visibility>
    <pValue>FireTestPacketBit</pValue><CommandValue>1</CommandValue>
  </Command>
  <Boolean Name="GevSCPSDoNotFragment" NameSpace="Standard">
    <Visibility>Guru</Visibility>
    <pValue>DoNotFragmentBit</pValue>
  </Boolean>
  <Integer Name="GevSCPSPacketSize" NameSpace="Standard">
    <Visibility>Expert</Visibility><pIsLocked>TLParamsLocked</pIsLocked>
    <pValue>PacketSizeField</pValue><Min>576</Min><Max>65000</Max><Inc>4</Inc><Unit>B</Unit>
  </Integer>
  <Integer Name="GevStreamChannelSelector" NameSpace="Standard">
    <Visibility>Expert</Visibility>
    <Value>0</Value><Min>0</Min><Max>0</Max>
    <pSelected>GevSCPHostPort</pSelected><pSelected>GevSCPSFireTestPacket</pSelected>
    <pSelected>GevSCPSDoNotFragment</pSelected><pSelected>GevSCPSPacketSize</pSelected>
    <pSelected>GevSCPD</pSelected><pSelected>GevSCDA</pSelected><pSelected>GevSCSP</pSelected>
  </Integer>
  <Integer Name="TLParamsLocked" NameSpace="Standard">
    <Visibility>Invisible</Visibility><Value>0</Value><Min>0</Min><Max>1</Max>
  </Integer>
  <Port Name="Device" NameSpace="Standard"/>
</RegisterDescription>
)xml";

enum class Shown { yes, no };

struct Number {
    std::string_view name;
    std::uint32_t address;
    std::string_view access;
    std::string_view more = {};  // elements behind the others
    Shown shown = Shown::yes;
};

constexpr std::string_view as_address = "<Representation>IPV4Address</Representation>";
constexpr std::string_view in_bytes = "<Unit>B</Unit>";
constexpr std::string_view in_ms = "<Unit>ms</Unit>";

struct Text {
    std::string_view name;
    std::uint32_t address;
    std::uint32_t length;
    std::string_view access;
};

constexpr Text device_texts[] = {
    {"DeviceVendorName", reg::manufacturer_name, reg::manufacturer_name_length, "RO"},
    {"DeviceModelName", reg::model_name, reg::model_name_length, "RO"},
    {"DeviceVersion", reg::device_version, reg::device_version_length, "RO"},
    {"DeviceManufacturerInfo", reg::manufacturer_info, reg::manufacturer_info_length, "RO"},
    {"DeviceID", reg::serial_number, reg::serial_number_length, "RO"},
    {"DeviceUserID", reg::user_defined_name, reg::user_defined_name_length, "RW"},
};

constexpr Number image_numbers[] = {
    {"Width", own::width, "RO"},
    {"Height", own::height, "RO"},
    {"OffsetX", own::offset_x, "RO"},
    {"OffsetY", own::offset_y, "RO"},
    {"WidthMax", own::width, "RO"},
    {"HeightMax", own::height, "RO"},
    {"SensorWidth", own::width, "RO"},
    {"SensorHeight", own::height, "RO"},
    {"PixelFormatReg", own::pixel_format, "RO", {}, Shown::no},
};

constexpr Number acquisition_numbers[] = {
    {"AcquisitionModeReg", own::acquisition_mode, "RW", {}, Shown::no},
    {"AcquisitionStartReg", own::acquisition_start, "WO", {}, Shown::no},
    {"AcquisitionStopReg", own::acquisition_stop, "WO", {}, Shown::no},
    {"AcquisitionStatusReg", own::acquisition_status, "RO", {}, Shown::no},
};

constexpr Number transport_numbers[] = {
    {"PayloadSize", own::payload_size, "RO", in_bytes},
    {"GevCurrentIPAddress", reg::current_ip, "RO", as_address},
    {"GevCurrentSubnetMask", reg::current_mask, "RO", as_address},
    {"GevCurrentDefaultGateway", reg::current_gateway, "RO", as_address},
    {"GevMessageChannelCount", reg::message_channel_count, "RO"},
    {"GevStreamChannelCount", reg::stream_channel_count, "RO"},
    {"GevHeartbeatTimeout", reg::heartbeat_timeout, "RW", in_ms},
    {"GevPrimaryApplicationSocket", reg::primary_application_port, "RO"},
    {"GevPrimaryApplicationIPAddress", reg::primary_application_ip, "RO", as_address},
    {"GevSCPD", reg::stream_register(0, reg::stream::packet_delay), "RW"},
    {"GevSCDA", reg::stream_register(0, reg::stream::destination), "RW", as_address},
    {"GevSCSP", reg::stream_register(0, reg::stream::source_port), "RO"},
    {"PrivilegeReg", reg::control_channel_privilege, "RW", {}, Shown::no},
};

using Names = std::vector<std::string_view>;

std::string hexadecimal(std::uint32_t value)
{
    char digits[8];
    return "0x" + std::string(digits, std::to_chars(digits, digits + sizeof digits, value, 16).ptr);
}

std::string element(std::string_view name, std::string_view value)
{
    std::string text("<");
    return text.append(name).append(">").append(value).append("</").append(name).append(">");
}

std::string opening(std::string_view kind, std::string_view name)
{
    std::string text("  <");
    return text.append(kind).append(" Name=\"").append(name).append("\" NameSpace=\"Standard\">\n");
}

std::string place(std::uint32_t address, std::uint32_t length, std::string_view access)
{
    return "    " + element("Address", hexadecimal(address)) + element("Length", std::to_string(length)) +
           element("AccessMode", access) + element("pPort", "Device");
}

std::string number(const Number& node)
{
    return opening("IntReg", node.name) + place(node.address, 4, node.access) +
           "<Cachable>NoCache</Cachable><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess>" +
           std::string(node.more) + "\n  </IntReg>\n";
}

std::string text_node(const Text& node)
{
    return opening("StringReg", node.name) + place(node.address, node.length, node.access) + "\n  </StringReg>\n";
}

template <std::size_t Count>
void show(Names& names, const Number (&numbers)[Count])
{
    for (const Number& node : numbers) {
        if (node.shown == Shown::yes) {
            names.push_back(node.name);
        }
    }
}

std::string category(std::string_view name, const Names& features)
{
    std::string text = opening("Category", name);
    for (const std::string_view feature : features) {
        text += "    " + element("pFeature", feature) + "\n";
    }
    return text + "  </Category>\n";
}

std::string pixel_formats()
{
    std::string text;
    for (const PvPixelType type : pv_pixel_types) {
        text += "    <EnumEntry Name=\"" + std::string(pixel_type_name(type)) + "\">" +
                element("Value", hexadecimal(static_cast<std::uint32_t>(type))) + "</EnumEntry>\n";
    }
    return text;
}

std::string categories()
{
    Names device;
    for (const Text& node : device_texts) {
        device.push_back(node.name);
    }
    Names image;
    show(image, image_numbers);
    image.push_back("PixelFormat");
    Names transport;
    show(transport, transport_numbers);
    for (const std::string_view name : {"GevCCP", "GevStreamChannelSelector", "GevSCPHostPort", "GevSCPSFireTestPacket",
                                        "GevSCPSDoNotFragment", "GevSCPSPacketSize", "TLParamsLocked"}) {
        transport.push_back(name);
    }
    return category("Root", {"DeviceControl", "ImageFormatControl", "AcquisitionControl", "TransportLayerControl",
                             "IPEngine"}) +
           category("IPEngine", {"IPEngineSerial0", "IPEngineBulk0"}) + category("DeviceControl", device) +
           category("ImageFormatControl", image) +
           category("AcquisitionControl",
                    {"AcquisitionMode", "AcquisitionStart", "AcquisitionStop", "AcquisitionStatus"}) +
           category("TransportLayerControl", transport);
}

}  // namespace

std::string virtual_device_description()
{
    std::string text(head);
    text += categories();
    for (const Text& node : device_texts) {
        text += text_node(node);
    }
    for (const auto& node : image_numbers) {
        text += number(node);
    }
    for (const auto& node : acquisition_numbers) {
        text += number(node);
    }
    for (const auto& node : transport_numbers) {
        text += number(node);
    }
    text += uart_nodes("Serial0", own::serial0);
    text += i2c_nodes("Bulk0", own::bulk0);
    constexpr std::string_view mark = "@formats@";
    const std::size_t at = fixed_nodes.find(mark);
    text.append(fixed_nodes.substr(0, at)).append(pixel_formats()).append(fixed_nodes.substr(at + mark.size()));
    return text;
}

}  // namespace vex::virtual_device
