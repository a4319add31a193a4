#include "sdk/streamraw/PvStatistics.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <numeric>

#include "sdk/stream_core/stream_channel.h"

using namespace vex;
using stream::BlockFate;
using stream::Counters;
using stream::PacketFate;

namespace {

std::uint32_t narrow(std::uint64_t count) noexcept
{
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(count, std::numeric_limits<std::uint32_t>::max()));
}

std::uint64_t timeouts(const stream::Statistics& statistics) noexcept
{
    return statistics.queue.requests_expired + statistics.queue.retrievals_timed_out;
}

}  // namespace

stream::Statistics PvStatistics::now() const
{
    return channel_.statistics(preferred_ == PvTimestampSourceHardware ? stream::TimeSource::device
                                                                       : stream::TimeSource::host);
}

std::uint32_t PvStatistics::sum(std::uint64_t Counters::*counter) const { return narrow(now().counters.*counter); }

std::uint32_t PvStatistics::blocks(BlockFate fate) const { return narrow(now().counters.of(fate)); }

std::uint32_t PvStatistics::packets(PacketFate fate) const { return narrow(now().counters.of(fate)); }

void PvStatistics::Reset() { channel_.reset_statistics(); }

std::uint32_t PvStatistics::GetImagesCount() const { return sum(&Counters::images); }

std::uint32_t PvStatistics::GetBlocksCount() const { return narrow(now().counters.blocks_received()); }

std::uint64_t PvStatistics::GetBytesCount() const { return now().counters.stored_bytes; }

std::uint64_t PvStatistics::GetSamplingTime() const
{
    const auto time = std::chrono::duration_cast<std::chrono::milliseconds>(now().sampling_time);
    return static_cast<std::uint64_t>(time.count());
}

double PvStatistics::GetBandwidth() const { return now().current.bits; }

double PvStatistics::GetBandwidthAverage() const { return now().average.bits; }

double PvStatistics::GetAcquisitionRate() const { return now().current.blocks; }

double PvStatistics::GetAcquisitionRateAverage() const { return now().average.blocks; }

PvTimestampSourceType PvStatistics::GetTimestampSourceEffective() const
{
    return now().time_source == stream::TimeSource::device ? PvTimestampSourceHardware : PvTimestampSourceSoftware;
}

PvResult PvStatistics::GetLastError() const { return channel_.last_error(timeout_is_error_, abort_is_error_); }

std::uint32_t PvStatistics::GetErrorCount() const
{
    const stream::Statistics statistics = now();
    std::uint64_t errors = statistics.counters.failed_blocks();
    if (!abort_is_error_) {
        errors -= statistics.counters.of(BlockFate::aborted);
    }
    if (timeout_is_error_) {
        errors += timeouts(statistics);
    }
    return narrow(errors);
}

std::uint32_t PvStatistics::GetExpectedResendCount() const { return sum(&Counters::resends_expected); }

std::uint32_t PvStatistics::GetExpectedSingleResend() const { return sum(&Counters::resends_expected_single); }

std::uint32_t PvStatistics::GetUnexpectedResendCount() const { return sum(&Counters::resends_unexpected); }

std::uint32_t PvStatistics::GetResendGroupRequested() const { return sum(&Counters::resend_requests); }

std::uint32_t PvStatistics::GetResendPacketRequested() const { return sum(&Counters::resend_packets_requested); }

std::uint32_t PvStatistics::GetLostPacketCount() const { return sum(&Counters::packets_lost); }

std::uint32_t PvStatistics::GetIgnoredPacketCount() const
{
    const Counters counters = now().counters;
    return narrow(std::accumulate(counters.packets.begin(), counters.packets.end(), std::uint64_t{0}) -
                  counters.of(PacketFate::stored));
}

std::uint32_t PvStatistics::GetRedundantPacket() const { return packets(PacketFate::redundant); }

std::uint32_t PvStatistics::GetPacketOutOfOrder() const { return sum(&Counters::packets_out_of_order); }

std::uint32_t PvStatistics::GetPacketUnavaliable() const { return packets(PacketFate::unavailable); }

std::uint32_t PvStatistics::GetStatusUnknown() const { return sum(&Counters::statuses_unknown); }

std::uint32_t PvStatistics::GetStatusLocalProblem() const { return sum(&Counters::local_problems); }

std::uint32_t PvStatistics::GetBlockIDsMissing() const { return sum(&Counters::block_ids_missing); }

std::uint32_t PvStatistics::GetPipelineBlocksDropped() const { return narrow(now().pipeline_blocks_dropped); }

std::uint32_t PvStatistics::GetImagesDroppedCount() const { return sum(&Counters::images_dropped); }

std::uint32_t PvStatistics::GetBlocksDroppedCount() const
{
    const stream::Statistics statistics = now();
    return narrow(statistics.counters.of(BlockFate::no_buffer) + statistics.counters.blocks_dropped_by_device +
                  statistics.queue.blocks_recycled);
}

std::uint32_t PvStatistics::GetDataOverrunCount() const { return sum(&Counters::data_overruns); }

std::uint32_t PvStatistics::GetResultImageError() const { return blocks(BlockFate::image_error); }

std::uint32_t PvStatistics::GetResultMissingPackets() const { return blocks(BlockFate::missing_packets); }

std::uint32_t PvStatistics::GetResultBufferTooSmall() const { return blocks(BlockFate::buffer_too_small); }

std::uint32_t PvStatistics::GetResultTooManyResends() const { return blocks(BlockFate::too_many_resends); }

std::uint32_t PvStatistics::GetResultResendsFailure() const { return blocks(BlockFate::resends_failure); }

std::uint32_t PvStatistics::GetResultInvalidDataFormat() const { return blocks(BlockFate::invalid_format); }

std::uint32_t PvStatistics::GetResultTooManyConsecutiveResends() const
{
    return blocks(BlockFate::too_many_consecutive_resends);
}

std::uint32_t PvStatistics::GetResultAutoAborted() const { return blocks(BlockFate::auto_aborted); }

std::uint32_t PvStatistics::GetResultAborted() const { return blocks(BlockFate::aborted); }

std::uint32_t PvStatistics::GetResultTimeout() const { return narrow(timeouts(now())); }

std::uint32_t PvStatistics::GetResultStateError() const { return narrow(now().queue.refused_by_state); }

std::uint32_t PvStatistics::GetResultNotInitialized() const { return narrow(now().queue.refused_as_closed); }

std::uint32_t PvStatistics::GetPartialLineMissing() const { return sum(&Counters::partial_line_missing); }

std::uint32_t PvStatistics::GetFullLineMissing() const { return sum(&Counters::full_line_missing); }

std::uint32_t PvStatistics::GetEOFByLineCount() const { return sum(&Counters::eof_by_line_count); }

std::uint32_t PvStatistics::GetInterlacedEven() const { return sum(&Counters::interlaced_even); }

std::uint32_t PvStatistics::GetInterlacedOdd() const { return sum(&Counters::interlaced_odd); }
