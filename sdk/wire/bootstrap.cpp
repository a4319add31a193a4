#include "sdk/wire/bootstrap.h"

namespace vex::wire::bootstrap {

namespace {

const char* stream_register_name(std::uint32_t offset) noexcept
{
    switch (offset) {
    case stream::port: return "stream channel port";
    case stream::packet_size: return "stream channel packet size";
    case stream::packet_delay: return "stream channel packet delay";
    case stream::destination: return "stream channel destination address";
    case stream::source_port: return "stream channel source port";
    case stream::capability: return "stream channel capability";
    case stream::configuration: return "stream channel configuration";
    default: return nullptr;
    }
}

}  // namespace

const char* name_of(std::uint32_t address) noexcept
{
    switch (address) {
    case version: return "version";
    case device_mode: return "device mode";
    case mac_high: return "MAC address, high part";
    case mac_low: return "MAC address, low part";
    case supported_ip_configuration: return "supported IP configuration";
    case current_ip_configuration: return "current IP configuration";
    case current_ip: return "current IP address";
    case current_mask: return "current subnet mask";
    case current_gateway: return "current default gateway";
    case manufacturer_name: return "manufacturer name";
    case model_name: return "model name";
    case device_version: return "device version";
    case manufacturer_info: return "manufacturer information";
    case serial_number: return "serial number";
    case user_defined_name: return "user-defined name";
    case first_url: return "first URL";
    case second_url: return "second URL";
    case interface_count: return "number of network interfaces";
    case persistent_ip: return "persistent IP address";
    case persistent_mask: return "persistent subnet mask";
    case persistent_gateway: return "persistent default gateway";
    case link_speed: return "link speed";
    case message_channel_count: return "number of message channels";
    case stream_channel_count: return "number of stream channels";
    case action_signal_count: return "number of action signals";
    case action_device_key: return "action device key";
    case active_link_count: return "number of active links";
    case stream_channel_capability: return "stream channels capability";
    case message_channel_capability: return "message channel capability";
    case gvcp_capability: return "GVCP capability";
    case heartbeat_timeout: return "heartbeat timeout";
    case timestamp_frequency_high: return "timestamp tick frequency, high part";
    case timestamp_frequency_low: return "timestamp tick frequency, low part";
    case timestamp_control: return "timestamp control";
    case timestamp_value_high: return "timestamp value, high part";
    case timestamp_value_low: return "timestamp value, low part";
    case discovery_ack_delay: return "discovery acknowledge delay";
    case gvcp_configuration: return "GVCP configuration";
    case pending_timeout: return "pending timeout";
    case control_switchover_key: return "control switchover key";
    case gvsp_configuration: return "GVSP configuration";
    case physical_link_capability: return "physical link capability";
    case physical_link_configuration: return "physical link configuration";
    case control_channel_privilege: return "control channel privilege";
    case primary_application_port: return "primary application port";
    case primary_application_ip: return "primary application IP address";
    case message_channel_port: return "message channel port";
    case message_channel_destination: return "message channel destination address";
    case message_channel_timeout: return "message channel transmission timeout";
    case message_channel_retry_count: return "message channel retry count";
    case message_channel_source_port: return "message channel source port";
    case manifest_table: return "manifest table";
    default: break;
    }
    if (address >= stream_channel_base && address < stream_register(largest_stream_channel + 1, 0)) {
        return stream_register_name((address - stream_channel_base) % stream_channel_stride);
    }
    // each action signal has a key and a mask; there are at most 128
    if (address >= action_group_key && address < manufacturer_space) {
        const std::uint32_t offset = (address - action_group_key) % action_stride;
        if (offset == 0) {
            return "action group key";
        }
        if (offset == action_group_mask - action_group_key) {
            return "action group mask";
        }
    }
    return nullptr;
}

}  // namespace vex::wire::bootstrap
