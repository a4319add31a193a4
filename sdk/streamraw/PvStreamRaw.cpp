#include "sdk/streamraw/PvStreamRaw.h"

#include <algorithm>

#include "sdk/stream_core/stream_channel.h"

using namespace vex;

PvStreamRaw::PvStreamRaw() : statistics_(new PvStatistics(channel())) {}

PvStreamRaw::~PvStreamRaw() = default;

std::uint32_t PvStreamRaw::GetChannelID() const { return GetChannel(); }

PvString PvStreamRaw::GetRemoteIpAddress() const { return GetDeviceIPAddress(); }

PvStatistics* PvStreamRaw::GetStatistics() noexcept { return statistics_.get(); }

std::uint32_t PvStreamRaw::number(std::uint32_t stream::StreamSettings::*setting) const
{
    return channel().settings().*setting;
}

PvResult PvStreamRaw::set_number(std::uint32_t stream::StreamSettings::*setting, std::uint32_t value)
{
    return channel().set(stream::setting_of(setting), value);
}

bool PvStreamRaw::is_on(bool stream::StreamSettings::*setting) const { return channel().settings().*setting; }

PvResult PvStreamRaw::turn(bool stream::StreamSettings::*setting, bool on)
{
    channel().set(*std::ranges::find(stream::switch_settings(), setting, &stream::SwitchSetting::value), on);
    return PvResult::OK;
}

PvResult PvStreamRaw::SetFirstPacketTimeout(std::uint32_t value)
{
    return set_number(&stream::StreamSettings::first_packet_timeout_ms, value);
}
std::uint32_t PvStreamRaw::GetFirstPacketTimeout() const
{
    return number(&stream::StreamSettings::first_packet_timeout_ms);
}

PvResult PvStreamRaw::SetPacketTimeout(std::uint32_t value)
{
    return set_number(&stream::StreamSettings::packet_timeout_ms, value);
}
std::uint32_t PvStreamRaw::GetPacketTimeout() const { return number(&stream::StreamSettings::packet_timeout_ms); }

PvResult PvStreamRaw::SetInterPacketTimeout(std::uint32_t value)
{
    return set_number(&stream::StreamSettings::inter_packet_timeout_ms, value);
}
std::uint32_t PvStreamRaw::GetInterPacketTimeout() const
{
    return number(&stream::StreamSettings::inter_packet_timeout_ms);
}

PvResult PvStreamRaw::SetRequestTimeout(std::uint32_t value)
{
    return set_number(&stream::StreamSettings::request_timeout_ms, value);
}
std::uint32_t PvStreamRaw::GetRequestTimeout() const { return number(&stream::StreamSettings::request_timeout_ms); }

PvResult PvStreamRaw::SetResendPacketEnable(bool on) { return turn(&stream::StreamSettings::resend_packet_enable, on); }
bool PvStreamRaw::GetResendPacketEnable() const { return is_on(&stream::StreamSettings::resend_packet_enable); }

PvResult PvStreamRaw::SetDefaultImageTimeout(std::uint32_t value)
{
    return set_number(&stream::StreamSettings::default_image_timeout_ms, value);
}
std::uint32_t PvStreamRaw::GetDefaultImageTimeout() const
{
    return number(&stream::StreamSettings::default_image_timeout_ms);
}

PvResult PvStreamRaw::SetDefaultBlockTimeout(std::uint32_t value)
{
    return set_number(&stream::StreamSettings::default_block_timeout_ms, value);
}
std::uint32_t PvStreamRaw::GetDefaultBlockTimeout() const
{
    return number(&stream::StreamSettings::default_block_timeout_ms);
}

PvResult PvStreamRaw::SetMaximumPendingResends(std::uint32_t value)
{
    return set_number(&stream::StreamSettings::maximum_pending_resends, value);
}
std::uint32_t PvStreamRaw::GetMaximumPendingResends() const
{
    return number(&stream::StreamSettings::maximum_pending_resends);
}

PvResult PvStreamRaw::SetLatencyLevel(std::uint32_t value)
{
    return set_number(&stream::StreamSettings::latency_level, value);
}
std::uint32_t PvStreamRaw::GetLatencyLevel() const { return number(&stream::StreamSettings::latency_level); }

PvResult PvStreamRaw::SetAutoResetOnLackOfResources(std::uint32_t value)
{
    return set_number(&stream::StreamSettings::auto_reset_on_lack_of_resources, value);
}
std::uint32_t PvStreamRaw::GetAutoResetOnLackOfResources() const
{
    return number(&stream::StreamSettings::auto_reset_on_lack_of_resources);
}

PvResult PvStreamRaw::SetForceMissingPacketsAtNextBlockStart(bool on)
{
    return turn(&stream::StreamSettings::force_missing_packets_at_next_block_start, on);
}
bool PvStreamRaw::GetForceMissingPacketsAtNextBlockStart() const
{
    return is_on(&stream::StreamSettings::force_missing_packets_at_next_block_start);
}

PvResult PvStreamRaw::SetMaximumResendRequestRetryByPacket(std::uint32_t value)
{
    return set_number(&stream::StreamSettings::maximum_resend_request_retry_by_packet, value);
}
std::uint32_t PvStreamRaw::GetMaximumResendRequestRetryByPacket() const
{
    return number(&stream::StreamSettings::maximum_resend_request_retry_by_packet);
}

PvResult PvStreamRaw::SetMaximumResendGroupSize(std::uint32_t value)
{
    return set_number(&stream::StreamSettings::maximum_resend_group_size, value);
}
std::uint32_t PvStreamRaw::GetMaximumResendGroupSize() const
{
    return number(&stream::StreamSettings::maximum_resend_group_size);
}

PvResult PvStreamRaw::SetResendRequestTimeout(std::uint32_t value)
{
    return set_number(&stream::StreamSettings::resend_request_timeout_ms, value);
}
std::uint32_t PvStreamRaw::GetResendRequestTimeout() const
{
    return number(&stream::StreamSettings::resend_request_timeout_ms);
}

PvResult PvStreamRaw::SetResetOnIdle(std::uint32_t value)
{
    return set_number(&stream::StreamSettings::reset_on_idle_ms, value);
}
std::uint32_t PvStreamRaw::GetResetOnIdle() const { return number(&stream::StreamSettings::reset_on_idle_ms); }

PvResult PvStreamRaw::SetMaximumPreQueuedBuffers(std::uint32_t value)
{
    return set_number(&stream::StreamSettings::maximum_pre_queued_buffers, value);
}
std::uint32_t PvStreamRaw::GetMaximumPreQueuedBuffers() const
{
    return number(&stream::StreamSettings::maximum_pre_queued_buffers);
}

PvResult PvStreamRaw::SetMaximumInternalRetrieveBuffers(std::uint32_t value)
{
    return set_number(&stream::StreamSettings::maximum_internal_retrieve_buffers, value);
}
std::uint32_t PvStreamRaw::GetMaximumInternalRetrieveBuffers() const
{
    return number(&stream::StreamSettings::maximum_internal_retrieve_buffers);
}

PvResult PvStreamRaw::SetEnableMissingPacketsList(bool on)
{
    return turn(&stream::StreamSettings::enable_missing_packets_list, on);
}
bool PvStreamRaw::GetEnableMissingPacketsList() const
{
    return is_on(&stream::StreamSettings::enable_missing_packets_list);
}

PvResult PvStreamRaw::SetResendDelay(std::uint32_t value)
{
    return set_number(&stream::StreamSettings::resend_delay_us, value);
}
std::uint32_t PvStreamRaw::GetResendDelay() const { return number(&stream::StreamSettings::resend_delay_us); }
