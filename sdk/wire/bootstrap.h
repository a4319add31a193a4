// The GigE Vision bootstrap registers: addresses, field masks and helpers, described once for both ends of the wire.
//
// All 32-bit registers are big-endian; masks are for the value after conversion to host order.
#pragma once

#include <cstdint>

namespace vex::wire::bootstrap {

// ---- identity and network ----
inline constexpr std::uint32_t version = 0x0000;
inline constexpr std::uint32_t device_mode = 0x0004;
inline constexpr std::uint32_t mac_high = 0x0008;
inline constexpr std::uint32_t mac_low = 0x000C;
inline constexpr std::uint32_t supported_ip_configuration = 0x0010;
inline constexpr std::uint32_t current_ip_configuration = 0x0014;
inline constexpr std::uint32_t current_ip = 0x0024;
inline constexpr std::uint32_t current_mask = 0x0034;
inline constexpr std::uint32_t current_gateway = 0x0044;
inline constexpr std::uint32_t manufacturer_name = 0x0048;
inline constexpr std::uint32_t model_name = 0x0068;
inline constexpr std::uint32_t device_version = 0x0088;
inline constexpr std::uint32_t manufacturer_info = 0x00A8;
inline constexpr std::uint32_t serial_number = 0x00D8;
inline constexpr std::uint32_t user_defined_name = 0x00E8;
inline constexpr std::uint32_t first_url = 0x0200;
inline constexpr std::uint32_t second_url = 0x0400;
inline constexpr std::uint32_t interface_count = 0x0600;
inline constexpr std::uint32_t persistent_ip = 0x064C;
inline constexpr std::uint32_t persistent_mask = 0x065C;
inline constexpr std::uint32_t persistent_gateway = 0x066C;
inline constexpr std::uint32_t link_speed = 0x0670;

inline constexpr std::uint32_t manufacturer_name_length = 32;
inline constexpr std::uint32_t model_name_length = 32;
inline constexpr std::uint32_t device_version_length = 32;
inline constexpr std::uint32_t manufacturer_info_length = 48;
inline constexpr std::uint32_t serial_number_length = 16;
inline constexpr std::uint32_t user_defined_name_length = 16;
inline constexpr std::uint32_t url_length = 512;

namespace mode {
inline constexpr std::uint32_t big_endian = 0x80000000;
inline constexpr std::uint32_t class_mask = 0x70000000;
inline constexpr unsigned class_shift = 28;
inline constexpr std::uint32_t charset_utf8 = 0x1;
}  // namespace mode

namespace ip_configuration {
inline constexpr std::uint32_t link_local = 0x4;
inline constexpr std::uint32_t dhcp = 0x2;
inline constexpr std::uint32_t persistent = 0x1;
}  // namespace ip_configuration

// ---- channel counts, capabilities, configuration ----
inline constexpr std::uint32_t message_channel_count = 0x0900;
inline constexpr std::uint32_t stream_channel_count = 0x0904;
inline constexpr std::uint32_t action_signal_count = 0x0908;
inline constexpr std::uint32_t action_device_key = 0x090C;
inline constexpr std::uint32_t active_link_count = 0x0910;
inline constexpr std::uint32_t stream_channel_capability = 0x092C;
inline constexpr std::uint32_t stream_channel_has_source_port = 0x80000000;  ///< of the capabilities
inline constexpr std::uint32_t message_channel_capability = 0x0930;
inline constexpr std::uint32_t gvcp_capability = 0x0934;
inline constexpr std::uint32_t heartbeat_timeout = 0x0938;  ///< milliseconds
inline constexpr std::uint32_t timestamp_frequency_high = 0x093C;
inline constexpr std::uint32_t timestamp_frequency_low = 0x0940;
inline constexpr std::uint32_t timestamp_control = 0x0944;
inline constexpr std::uint32_t timestamp_value_high = 0x0948;
inline constexpr std::uint32_t timestamp_value_low = 0x094C;
inline constexpr std::uint32_t discovery_ack_delay = 0x0950;  ///< milliseconds
inline constexpr std::uint32_t gvcp_configuration = 0x0954;
inline constexpr std::uint32_t pending_timeout = 0x0958;  ///< milliseconds
inline constexpr std::uint32_t control_switchover_key = 0x095C;
inline constexpr std::uint32_t gvsp_configuration = 0x0960;
inline constexpr std::uint32_t physical_link_capability = 0x0964;
inline constexpr std::uint32_t physical_link_configuration = 0x0968;
inline constexpr std::uint32_t ieee_1588_status = 0x096C;
inline constexpr std::uint32_t scheduled_action_queue_size = 0x0970;  ///< entries

namespace capability {  // of gvcp_capability
inline constexpr std::uint32_t user_defined_name = 1U << 31;
inline constexpr std::uint32_t serial_number = 1U << 30;
inline constexpr std::uint32_t heartbeat_disable = 1U << 29;
inline constexpr std::uint32_t link_speed = 1U << 28;
inline constexpr std::uint32_t application_port_and_ip = 1U << 27;
inline constexpr std::uint32_t manifest_table = 1U << 26;
inline constexpr std::uint32_t test_data = 1U << 25;
inline constexpr std::uint32_t discovery_ack_delay = 1U << 24;
inline constexpr std::uint32_t discovery_ack_delay_writable = 1U << 23;
inline constexpr std::uint32_t extended_status_1_1 = 1U << 22;
inline constexpr std::uint32_t application_switchover = 1U << 21;
inline constexpr std::uint32_t unconditional_action = 1U << 20;
inline constexpr std::uint32_t ieee_1588 = 1U << 19;
inline constexpr std::uint32_t extended_status_2_0 = 1U << 18;
inline constexpr std::uint32_t scheduled_action = 1U << 17;
inline constexpr std::uint32_t action = 1U << 6;
inline constexpr std::uint32_t pending_ack = 1U << 5;
inline constexpr std::uint32_t event_data = 1U << 4;
inline constexpr std::uint32_t event = 1U << 3;
inline constexpr std::uint32_t packet_resend = 1U << 2;
inline constexpr std::uint32_t write_memory = 1U << 1;
inline constexpr std::uint32_t concatenation = 1U << 0;
}  // namespace capability

namespace configuration {  // of gvcp_configuration
inline constexpr std::uint32_t ieee_1588 = 0x80000;
inline constexpr std::uint32_t extended_status_2_0 = 0x40000;
inline constexpr std::uint32_t unconditional_action = 0x8;
inline constexpr std::uint32_t extended_status_1_1 = 0x4;
inline constexpr std::uint32_t pending_ack = 0x2;
inline constexpr std::uint32_t heartbeat_disable = 0x1;
}  // namespace configuration

inline constexpr std::uint32_t gvsp_extended_ids = 0x40000000;  ///< of gvsp_configuration
inline constexpr std::uint32_t timestamp_latch = 0x2;           ///< of timestamp_control
inline constexpr std::uint32_t timestamp_reset = 0x1;

// ---- control channel privilege, message channel ----
inline constexpr std::uint32_t control_channel_privilege = 0x0A00;
inline constexpr std::uint32_t primary_application_port = 0x0A04;
inline constexpr std::uint32_t primary_application_ip = 0x0A14;
inline constexpr std::uint32_t message_channel_port = 0x0B00;
inline constexpr std::uint32_t message_channel_destination = 0x0B10;
inline constexpr std::uint32_t message_channel_timeout = 0x0B14;
inline constexpr std::uint32_t message_channel_retry_count = 0x0B18;
inline constexpr std::uint32_t message_channel_source_port = 0x0B1C;

namespace privilege {  // of control_channel_privilege
inline constexpr unsigned switchover_key_shift = 16;
inline constexpr std::uint32_t switchover_key_mask = 0xFFFF;  ///< of control_switchover_key
inline constexpr std::uint32_t switchover_enable = 0x4;
inline constexpr std::uint32_t control = 0x2;
inline constexpr std::uint32_t exclusive = 0x1;
}  // namespace privilege

// ---- stream channels ----
inline constexpr std::uint32_t stream_channel_base = 0x0D00;
inline constexpr std::uint32_t stream_channel_stride = 0x40;
inline constexpr std::uint32_t largest_stream_channel = 511;

/// Registers of one stream channel, as offsets from its base.
namespace stream {
inline constexpr std::uint32_t port = 0x00;
inline constexpr std::uint32_t packet_size = 0x04;
inline constexpr std::uint32_t packet_delay = 0x08;  ///< timestamp ticks
inline constexpr std::uint32_t destination = 0x18;
inline constexpr std::uint32_t source_port = 0x1C;
inline constexpr std::uint32_t capability = 0x20;
inline constexpr std::uint32_t configuration = 0x24;

inline constexpr std::uint32_t fire_test_packet = 0x80000000;  ///< of packet_size
inline constexpr std::uint32_t do_not_fragment = 0x40000000;
inline constexpr std::uint32_t pixel_big_endian = 0x20000000;
inline constexpr std::uint32_t packet_size_mask = 0xFFFF;
}  // namespace stream

[[nodiscard]] constexpr std::uint32_t stream_register(std::uint32_t channel, std::uint32_t offset) noexcept
{
    return stream_channel_base + stream_channel_stride * channel + offset;
}

// ---- other tables ----
inline constexpr std::uint32_t manifest_table = 0x9000;
inline constexpr std::uint32_t action_group_key = 0x9800;
inline constexpr std::uint32_t action_group_mask = 0x9804;
inline constexpr std::uint32_t action_stride = 0x10;

/// The first address that belongs to the manufacturer.
inline constexpr std::uint32_t manufacturer_space = 0xA000;

/// The name of a bootstrap register for messages ("heartbeat timeout"); null when the address has none.
[[nodiscard]] const char* name_of(std::uint32_t address) noexcept;

}  // namespace vex::wire::bootstrap
