#include "sdk/wire/bootstrap.h"

#include <algorithm>
#include <iterator>

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

struct NamedRegister {
    std::uint32_t address;
    const char* name;
};

constexpr NamedRegister named_registers[] = {
    {version, "version"},
    {device_mode, "device mode"},
    {mac_high, "MAC address, high part"},
    {mac_low, "MAC address, low part"},
    {supported_ip_configuration, "supported IP configuration"},
    {current_ip_configuration, "current IP configuration"},
    {current_ip, "current IP address"},
    {current_mask, "current subnet mask"},
    {current_gateway, "current default gateway"},
    {manufacturer_name, "manufacturer name"},
    {model_name, "model name"},
    {device_version, "device version"},
    {manufacturer_info, "manufacturer information"},
    {serial_number, "serial number"},
    {user_defined_name, "user-defined name"},
    {first_url, "first URL"},
    {second_url, "second URL"},
    {interface_count, "number of network interfaces"},
    {persistent_ip, "persistent IP address"},
    {persistent_mask, "persistent subnet mask"},
    {persistent_gateway, "persistent default gateway"},
    {link_speed, "link speed"},
    {message_channel_count, "number of message channels"},
    {stream_channel_count, "number of stream channels"},
    {action_signal_count, "number of action signals"},
    {action_device_key, "action device key"},
    {active_link_count, "number of active links"},
    {stream_channel_capability, "stream channels capability"},
    {message_channel_capability, "message channel capability"},
    {gvcp_capability, "GVCP capability"},
    {heartbeat_timeout, "heartbeat timeout"},
    {timestamp_frequency_high, "timestamp tick frequency, high part"},
    {timestamp_frequency_low, "timestamp tick frequency, low part"},
    {timestamp_control, "timestamp control"},
    {timestamp_value_high, "timestamp value, high part"},
    {timestamp_value_low, "timestamp value, low part"},
    {discovery_ack_delay, "discovery acknowledge delay"},
    {gvcp_configuration, "GVCP configuration"},
    {pending_timeout, "pending timeout"},
    {control_switchover_key, "control switchover key"},
    {gvsp_configuration, "GVSP configuration"},
    {physical_link_capability, "physical link capability"},
    {physical_link_configuration, "physical link configuration"},
    {ieee_1588_status, "IEEE 1588 status"},
    {scheduled_action_queue_size, "scheduled action queue size"},
    {control_channel_privilege, "control channel privilege"},
    {primary_application_port, "primary application port"},
    {primary_application_ip, "primary application IP address"},
    {message_channel_port, "message channel port"},
    {message_channel_destination, "message channel destination address"},
    {message_channel_timeout, "message channel transmission timeout"},
    {message_channel_retry_count, "message channel retry count"},
    {message_channel_source_port, "message channel source port"},
    {manifest_table, "manifest table"},
};

}  // namespace

const char* name_of(std::uint32_t address) noexcept
{
    const auto* const named = std::ranges::find(named_registers, address, &NamedRegister::address);
    if (named != std::end(named_registers)) {
        return named->name;
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
