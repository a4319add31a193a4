// The settings of a stream: how long it waits, what it asks for again, how much it holds.
#pragma once

#include <chrono>
#include <cstdint>
#include <span>

namespace vex::stream {

/// Numbers are in the unit that their names end in. They are kept while the stream is closed and effective from the
/// next packet on while it is open. What each does and which values it takes is in the tables below.
struct StreamSettings {
    std::uint32_t request_timeout_ms = 0;
    std::uint32_t first_packet_timeout_ms = 0;
    std::uint32_t packet_timeout_ms = 100;
    std::uint32_t inter_packet_timeout_ms = 1000;
    std::uint32_t reordering_timeout_ms = 2;
    std::uint32_t default_image_timeout_ms = 0;
    std::uint32_t default_block_timeout_ms = 0;

    bool resend_packet_enable = true;
    std::uint32_t resend_delay_us = 500;
    std::uint32_t resend_request_timeout_ms = 10;
    std::uint32_t maximum_resend_request_retry_by_packet = 3;
    std::uint32_t maximum_resend_group_size = 64;
    std::uint32_t maximum_pending_resends = 512;

    std::uint32_t latency_level = 16;
    bool force_missing_packets_at_next_block_start = false;
    std::uint32_t auto_reset_on_lack_of_resources = 0;
    std::uint32_t reset_on_idle_ms = 0;

    std::uint32_t maximum_pre_queued_buffers = 512;
    std::uint32_t maximum_internal_retrieve_buffers = 512;
    bool enable_missing_packets_list = true;

    friend bool operator==(const StreamSettings&, const StreamSettings&) = default;
};

inline constexpr std::uint32_t most_blocks_in_flight = 32;  ///< largest LatencyLevel

/// A setting that is a number: its name as a parameter, texts for people, the values that it takes.
struct NumberSetting {
    const char* name;
    const char* display_name;
    const char* tool_tip;
    const char* unit;  ///< "ms", "us" or empty
    std::uint32_t min;
    std::uint32_t max;
    std::uint32_t StreamSettings::*value;
};

/// A setting that is on or off.
struct SwitchSetting {
    const char* name;
    const char* display_name;
    const char* tool_tip;
    bool StreamSettings::*value;
};

/// All settings, in the order in which people are shown them.
[[nodiscard]] std::span<const NumberSetting> number_settings() noexcept;
[[nodiscard]] std::span<const SwitchSetting> switch_settings() noexcept;
/// The entry of a setting; it must have one.
[[nodiscard]] const NumberSetting& setting_of(std::uint32_t StreamSettings::*value) noexcept;

}  // namespace vex::stream
