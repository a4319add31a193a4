// The responder's bootstrap registers: which exist, who may touch them and what a write to them does.
#include <algorithm>

#include "sdk/virtualdevice/gvcp_responder.h"
#include "sdk/wire/bootstrap.h"

namespace vex::virtual_device {

namespace {

namespace reg = wire::bootstrap;

// Applications that are slow to answer must not lose control at once, whatever they wrote.
constexpr std::uint32_t shortest_heartbeat_timeout = 500;
constexpr std::uint32_t default_heartbeat_timeout = 3000;
constexpr std::uint32_t default_message_timeout_ms = 300;
constexpr std::uint32_t default_message_retries = 2;
// A device answers, or says that it will take longer, within this time.
constexpr std::uint32_t pending_timeout_ms = 100;

// Applications wait about a second for the answers to a search.
constexpr std::uint32_t longest_discovery_delay_ms = 1000;

constexpr std::uint32_t ip_methods = reg::ip_configuration::link_local | reg::ip_configuration::persistent;

constexpr std::uint32_t stream_port_mask = 0xFFFF;
constexpr std::uint32_t interface_index_mask = 0x000F0000;

}  // namespace

void GvcpResponder::add_constant(std::uint32_t address, std::uint32_t value)
{
    registers_.add_register(address, Access::read_only, value);
}

void GvcpResponder::add_identity_registers()
{
    const DeviceDescription& d = description_;
    add_constant(reg::version, 0x00020000);
    add_constant(reg::device_mode, reg::mode::big_endian | reg::mode::charset_utf8);
    const auto& mac = d.mac.bytes;
    add_constant(reg::mac_high, (std::uint32_t{mac[0]} << 8) | mac[1]);
    add_constant(reg::mac_low, (std::uint32_t{mac[2]} << 24) | (std::uint32_t{mac[3]} << 16) |
                                   (std::uint32_t{mac[4]} << 8) | std::uint32_t{mac[5]});
    add_constant(reg::supported_ip_configuration, ip_methods);
    registers_.add_register(reg::current_ip_configuration, Access::read_write, ip_methods,
                            {.refresh = {}, .accept = [](std::uint32_t& value) {
                                 // link-local addressing is the last resort and cannot be switched off
                                 value = (value & ip_methods) | reg::ip_configuration::link_local;
                                 return Status::success;
                             }});
    add_constant(reg::current_ip, d.address.value);
    add_constant(reg::current_mask, d.mask.value);
    add_constant(reg::current_gateway, d.gateway.value);
    registers_.add_string(reg::manufacturer_name, Access::read_only, reg::manufacturer_name_length, d.manufacturer);
    registers_.add_string(reg::model_name, Access::read_only, reg::model_name_length, d.model);
    registers_.add_string(reg::device_version, Access::read_only, reg::device_version_length, d.device_version);
    registers_.add_string(reg::manufacturer_info, Access::read_only, reg::manufacturer_info_length,
                          d.manufacturer_info);
    registers_.add_string(reg::serial_number, Access::read_only, reg::serial_number_length, d.serial_number);
    registers_.add_string(reg::user_defined_name, Access::read_write, reg::user_defined_name_length,
                          d.user_defined_name);
    registers_.add_reserved(0, wire::gvcp::discovery_ack_size);

    registers_.add_string(reg::first_url, Access::read_only, reg::url_length, d.first_url);
    registers_.add_string(reg::second_url, Access::read_only, reg::url_length, d.second_url);
    add_constant(reg::interface_count, 1);
    registers_.add_register(reg::persistent_ip, Access::read_write, d.address.value);
    registers_.add_register(reg::persistent_mask, Access::read_write, d.mask.value);
    registers_.add_register(reg::persistent_gateway, Access::read_write, d.gateway.value);
    add_constant(reg::link_speed, d.link_speed);
    registers_.add_reserved(reg::interface_count, reg::link_speed + 4 - reg::interface_count);
    for (const std::uint32_t address : {reg::user_defined_name, reg::current_ip_configuration, reg::persistent_ip,
                                        reg::persistent_mask, reg::persistent_gateway}) {
        registers_.keep(address);
    }
}

void GvcpResponder::add_capability_registers()
{
    const DeviceDescription& d = description_;
    namespace cap = reg::capability;
    namespace cfg = reg::configuration;
    add_constant(reg::message_channel_count, d.message_channel ? 1 : 0);
    add_constant(reg::stream_channel_count, d.stream_channels);
    add_constant(reg::action_signal_count, d.action_signals);
    if (d.action_signals > 0) {
        registers_.add_register(reg::action_device_key, Access::write_only, 0);
    }
    add_constant(reg::active_link_count, 1);
    add_constant(reg::stream_channel_capability, 0x80000000U | 0x40000000U);  // source port register, 16-bit block IDs
    add_constant(reg::message_channel_capability, d.message_channel ? 0x80000000U : 0);

    std::uint32_t capability = cap::user_defined_name | cap::serial_number | cap::heartbeat_disable | cap::link_speed |
                               cap::application_port_and_ip | cap::extended_status_1_1 | cap::pending_ack |
                               cap::write_memory | cap::concatenation | cap::application_switchover |
                               cap::extended_status_2_0 | cap::discovery_ack_delay | cap::discovery_ack_delay_writable;
    std::uint32_t configurable =
        cfg::extended_status_1_1 | cfg::extended_status_2_0 | cfg::pending_ack | cfg::heartbeat_disable;
    if (d.packet_resend) {
        capability |= cap::packet_resend;
    }
    if (d.manifest_table) {
        capability |= cap::manifest_table;
    }
    if (d.message_channel) {
        capability |= cap::event | cap::event_data;
    }
    if (d.action_signals > 0) {
        capability |= cap::action | cap::unconditional_action | cap::scheduled_action;
        configurable |= cfg::unconditional_action;
    }
    add_constant(reg::gvcp_capability, capability);
    registers_.add_register(reg::heartbeat_timeout, Access::read_write, default_heartbeat_timeout,
                            {.refresh = {}, .accept = [](std::uint32_t& value) {
                                 value = std::max(value, shortest_heartbeat_timeout);
                                 return Status::success;
                             }});
    registers_.add_register(reg::gvcp_configuration, Access::read_write, 0,
                            {.refresh = {}, .accept = [configurable](std::uint32_t& value) {
                                 value &= configurable;
                                 return Status::success;
                             }});
    registers_.add_register(reg::discovery_ack_delay, Access::read_write, 0,
                            {.refresh = {}, .accept = [](std::uint32_t& value) {
                                 value = std::min(value, longest_discovery_delay_ms);
                                 return Status::success;
                             }});
    add_constant(reg::pending_timeout, pending_timeout_ms);
    add_constant(reg::physical_link_capability, 1);
    add_constant(reg::physical_link_configuration, 1);
}

void GvcpResponder::add_timestamp_registers()
{
    add_constant(reg::timestamp_frequency_high, static_cast<std::uint32_t>(description_.timestamp_frequency >> 32));
    add_constant(reg::timestamp_frequency_low, static_cast<std::uint32_t>(description_.timestamp_frequency));
    registers_.add_register(reg::timestamp_control, Access::write_only, 0,
                            {.refresh = {}, .accept = [this](std::uint32_t& value) {
                                 if ((value & reg::timestamp_latch) != 0) {
                                     const std::uint64_t now = hooks_.timestamp();
                                     registers_.set_value(reg::timestamp_value_high,
                                                          static_cast<std::uint32_t>(now >> 32));
                                     registers_.set_value(reg::timestamp_value_low, static_cast<std::uint32_t>(now));
                                 }
                                 if ((value & reg::timestamp_reset) != 0) {
                                     hooks_.reset_timestamp();
                                 }
                                 value = 0;
                                 return Status::success;
                             }});
    add_constant(reg::timestamp_value_high, 0);
    add_constant(reg::timestamp_value_low, 0);
}

void GvcpResponder::add_block_id_register()
{
    if (!description_.extended_ids) {
        return;
    }
    registers_.add_register(reg::gvsp_configuration, Access::read_write, 0,
                            {.refresh = {}, .accept = [this](std::uint32_t& value) {
                                 for (unsigned channel = 0; channel < description_.stream_channels; ++channel) {
                                     // a receiver must not see the numbering change under it
                                     if (stream_channel(channel).is_open()) {
                                         return Status::busy;
                                     }
                                 }
                                 value &= reg::gvsp_extended_ids;
                                 return Status::success;
                             }});
}

void GvcpResponder::add_message_registers()
{
    if (!description_.message_channel) {
        return;
    }
    const auto add_watched = [this](std::uint32_t address, std::uint32_t initial) {
        registers_.add_register(address, Access::read_write, initial,
                                {.refresh = {}, .accept = [this, address](std::uint32_t& value) {
                                     if (address == reg::message_channel_port) {
                                         if ((value & interface_index_mask) != 0) {
                                             return Status::invalid_parameter;
                                         }
                                         value &= stream_port_mask;
                                     }
                                     registers_.set_value(address, value);
                                     hooks_.on_message_channel_changed(message_channel());
                                     return Status::success;
                                 }});
    };
    add_watched(reg::message_channel_port, 0);
    add_watched(reg::message_channel_destination, 0);
    add_watched(reg::message_channel_timeout, default_message_timeout_ms);
    add_watched(reg::message_channel_retry_count, default_message_retries);
    registers_.add_register(reg::message_channel_source_port, Access::read_only, 0);
}

void GvcpResponder::add_stream_registers(unsigned channel)
{
    const auto at = [channel](std::uint32_t offset) { return reg::stream_register(channel, offset); };
    const auto add_watched = [&](std::uint32_t offset, std::uint32_t initial,
                                 std::function<Status(std::uint32_t&)> accept) {
        registers_.add_register(
            at(offset), Access::read_write, initial,
            {.refresh = {},
             .accept = [this, channel, address = at(offset), accept = std::move(accept)](std::uint32_t& value) {
                 const Status status = accept(value);
                 if (status == Status::success) {
                     registers_.set_value(address, value);
                     hooks_.on_stream_channel_changed(channel, stream_channel(channel));
                 }
                 return status;
             }});
    };
    add_watched(reg::stream::port, 0, [](std::uint32_t& value) {
        if ((value & interface_index_mask) != 0) {
            return Status::invalid_parameter;
        }
        value &= stream_port_mask;
        return Status::success;
    });
    registers_.add_register(
        at(reg::stream::packet_size), Access::read_write, description_.default_packet_size,
        {.refresh = {}, .accept = [this, channel, address = at(reg::stream::packet_size)](std::uint32_t& value) {
             const std::uint32_t asked = value & reg::stream::packet_size_mask;
             const std::uint32_t clamped = std::clamp(asked, description_.smallest_packet, description_.largest_packet);
             const bool fire = (value & reg::stream::fire_test_packet) != 0;
             value = (value & reg::stream::do_not_fragment) | (clamped - clamped % description_.packet_step);
             registers_.set_value(address, value);
             const StreamChannel state = stream_channel(channel);
             hooks_.on_stream_channel_changed(channel, state);
             if (fire && state.is_open()) {
                 hooks_.on_test_packet(channel, state);
             }
             return Status::success;
         }});
    add_watched(reg::stream::packet_delay, 0, [](std::uint32_t&) { return Status::success; });
    add_watched(reg::stream::destination, 0, [](std::uint32_t&) { return Status::success; });
    registers_.add_register(at(reg::stream::source_port), Access::read_only, 0);
    registers_.add_register(at(reg::stream::capability), Access::read_only, 0);
    registers_.add_register(at(reg::stream::configuration), Access::read_write, 0,
                            {.refresh = {}, .accept = [](std::uint32_t& value) {
                                 value = 0;  // none of the optional modes is offered
                                 return Status::success;
                             }});
}

StreamChannel GvcpResponder::stream_channel(unsigned channel) const
{
    const auto read = [&](std::uint32_t offset) { return registers_.value(reg::stream_register(channel, offset)); };
    StreamChannel state;
    state.destination = {{read(reg::stream::destination)}, static_cast<std::uint16_t>(read(reg::stream::port))};
    const std::uint32_t packet_size = read(reg::stream::packet_size);
    state.packet_size = packet_size & reg::stream::packet_size_mask;
    state.do_not_fragment = (packet_size & reg::stream::do_not_fragment) != 0;
    state.packet_delay = read(reg::stream::packet_delay);
    state.extended_ids =
        description_.extended_ids && (registers_.value(reg::gvsp_configuration) & reg::gvsp_extended_ids) != 0;
    return state;
}

MessageChannelState GvcpResponder::message_channel() const
{
    if (!description_.message_channel) {
        return {};
    }
    return {.destination = {{registers_.value(reg::message_channel_destination)},
                            static_cast<std::uint16_t>(registers_.value(reg::message_channel_port))},
            .timeout = std::chrono::milliseconds(registers_.value(reg::message_channel_timeout)),
            .retry_count = registers_.value(reg::message_channel_retry_count)};
}

bool GvcpResponder::extended_status() const
{
    return (registers_.value(reg::gvcp_configuration) & reg::configuration::extended_status_1_1) != 0;
}

void GvcpResponder::close_channels()
{
    if (description_.message_channel) {
        registers_.set_value(reg::message_channel_port, 0);
        hooks_.on_message_channel_changed(message_channel());
    }
    for (unsigned channel = 0; channel < description_.stream_channels; ++channel) {
        registers_.set_value(reg::stream_register(channel, reg::stream::port), 0);
        hooks_.on_stream_channel_changed(channel, stream_channel(channel));
    }
}

MacAddress made_up_mac(Ipv4Address address) noexcept
{
    const std::uint32_t v = address.value;
    return {{0x02, 0x56, static_cast<std::uint8_t>(v >> 24), static_cast<std::uint8_t>(v >> 16),
             static_cast<std::uint8_t>(v >> 8), static_cast<std::uint8_t>(v)}};
}

}  // namespace vex::virtual_device
