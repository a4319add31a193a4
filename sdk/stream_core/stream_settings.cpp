#include "sdk/stream_core/stream_settings.h"

#include <algorithm>
#include <array>

namespace vex::stream {

namespace {

constexpr std::uint32_t minute_ms = 60'000;
constexpr std::uint32_t hour_ms = 3'600'000;
constexpr std::uint32_t million = 1'000'000;
constexpr std::uint32_t most_buffers = 4096;

using S = StreamSettings;

constexpr std::array numbers{
    NumberSetting{"RequestTimeout", "Request Timeout",
                  "A queued buffer that no block has begun to fill comes back with the result Timeout after this time. "
                  "0: it waits without end.",
                  "ms", 0, hour_ms, &S::request_timeout_ms},
    NumberSetting{"FirstPacketTimeout", "First Packet Timeout",
                  "A block of which nothing but the leader came is given up after this time. 0: never, since a leader "
                  "may come long before the exposure ends.",
                  "ms", 0, hour_ms, &S::first_packet_timeout_ms},
    NumberSetting{"PacketTimeout", "Packet Timeout",
                  "A block that lacks packets which are not, or no longer, asked for is given up when none of its "
                  "packets came for this long.",
                  "ms", 1, minute_ms, &S::packet_timeout_ms},
    NumberSetting{"InterPacketTimeout", "Inter-Packet Timeout",
                  "The newest block, when it lacks nothing but its end, is given up when no packet came for this long.",
                  "ms", 1, minute_ms, &S::inter_packet_timeout_ms},
    NumberSetting{"ReorderingTimeout", "Reordering Timeout",
                  "A block that lacks packets which are not asked for is given up this long after its last one when a "
                  "later block is complete; one that lacks nothing but its trailer is complete after this time.",
                  "ms", 0, minute_ms, &S::reordering_timeout_ms},
    NumberSetting{"DefaultImageTimeout", "Default Image Timeout",
                  "An image is given up this long after its first packet with data. 0: no limit.", "ms", 0, hour_ms,
                  &S::default_image_timeout_ms},
    NumberSetting{"DefaultBlockTimeout", "Default Block Timeout",
                  "A block that is no image is given up this long after its first packet with data. 0: no limit.", "ms",
                  0, hour_ms, &S::default_block_timeout_ms},
    NumberSetting{"ResendDelay", "Resend Delay",
                  "Time between noticing that packets are missing and asking for them; packets that only came out of "
                  "order are not asked for.",
                  "us", 0, million, &S::resend_delay_us},
    NumberSetting{
        "ResendRequestTimeout", "Resend Request Timeout",
        "Packets that were asked for and did not come are asked for again after this time, or as soon as a later "
        "request was answered, and then each time after twice the time before, up to 16 times this.",
        "ms", 1, minute_ms, &S::resend_request_timeout_ms},
    NumberSetting{"MaximumResendRequestRetryByPacket", "Maximum Resend Request Retry by Packet",
                  "How often a packet is asked for again after the first request.", "", 0, 100,
                  &S::maximum_resend_request_retry_by_packet},
    NumberSetting{"MaximumResendGroupSize", "Maximum Resend Group Size", "The most packets that one request asks for.",
                  "", 1, 65'535, &S::maximum_resend_group_size},
    NumberSetting{
        "MaximumPendingResends", "Maximum Pending Resends",
        "The most packets that are asked for at the same time. A block that lacks more than these in a row is "
        "not asked for.",
        "", 0, million, &S::maximum_pending_resends},
    NumberSetting{"LatencyLevel", "Latency Level",
                  "How many blocks are assembled at the same time; one more ends the oldest.", "", 1,
                  most_blocks_in_flight, &S::latency_level},
    NumberSetting{
        "AutoResetOnLackOfResources", "Auto Reset on Lack of Resources",
        "After so many blocks in a row for which no buffer was queued, the blocks being received end with the "
        "result AutoAborted and what the system has received is thrown away. 0: never.",
        "", 0, million, &S::auto_reset_on_lack_of_resources},
    NumberSetting{"ResetOnIdle", "Reset on Idle",
                  "After this time without a packet the blocks being received end with the result AutoAborted and any "
                  "block ID counts as a new beginning. 0: never.",
                  "ms", 0, hour_ms, &S::reset_on_idle_ms},
    NumberSetting{"MaximumPreQueuedBuffers", "Maximum Pre-Queued Buffers", "The most buffers that wait to be filled.",
                  "", 1, most_buffers, &S::maximum_pre_queued_buffers},
    NumberSetting{"MaximumInternalRetrieveBuffers", "Maximum Internal Retrieve Buffers",
                  "The most filled buffers that wait to be retrieved; one more puts the oldest back among those that "
                  "wait to be filled.",
                  "", 1, most_buffers, &S::maximum_internal_retrieve_buffers},
};

constexpr std::array switches{
    SwitchSetting{"ResendPacketEnable", "Resend Packet Enable", "Whether missing packets are asked for.",
                  &S::resend_packet_enable},
    SwitchSetting{"ForceMissingPacketsAtNextBlockStart", "Force Missing Packets at Next Block Start",
                  "Whether a block that lacks packets ends as soon as the next one begins.",
                  &S::force_missing_packets_at_next_block_start},
    SwitchSetting{"EnableMissingPacketsList", "Enable Missing Packets List",
                  "Whether the buffer of an incomplete block lists the packets that it lacks.",
                  &S::enable_missing_packets_list},
};

}  // namespace

std::span<const NumberSetting> number_settings() noexcept { return numbers; }
std::span<const SwitchSetting> switch_settings() noexcept { return switches; }

const NumberSetting& setting_of(std::uint32_t StreamSettings::*value) noexcept
{
    return *std::ranges::find(numbers, value, &NumberSetting::value);
}

}  // namespace vex::stream
