// PvStatistics: what a raw stream counts and measures.
#pragma once

#include <atomic>
#include <cstdint>

#include "sdk/base/PvResult.h"

namespace vex::stream {
class StreamChannel;
struct Statistics;
struct Counters;
enum class BlockFate : std::uint8_t;
enum class PacketFate : std::uint8_t;
}  // namespace vex::stream

/// Which clock the present rates go by.
enum PvTimestampSourceType : std::int32_t {
    PvTimestampSourceHardware = 0,  ///< the device's: the timestamps of the blocks
    PvTimestampSourceSoftware = 1,  ///< the host's: when the blocks were complete
};

/// Counters and rates of one raw stream, and three settings of how they are made up.
///
/// Everything is counted since the stream was opened, or since the last Reset in that time; it stays to be read when
/// the stream has closed. Counters of 32 bits stay at their largest value instead of starting again.
///
/// Thread safety: any thread. It lives as long as its stream.
class PvStatistics {
public:
    explicit PvStatistics(vex::stream::StreamChannel& channel) noexcept : channel_(channel) {}
    PvStatistics(const PvStatistics&) = delete;
    PvStatistics& operator=(const PvStatistics&) = delete;

    /// Sets everything that is counted or measured to zero, and the last error to OK. The three settings stay.
    void Reset();

    /// Images that came whole.
    [[nodiscard]] std::uint32_t GetImagesCount() const;
    /// Blocks handed to the client, whole or not; those that it aborted are not among them.
    [[nodiscard]] std::uint32_t GetBlocksCount() const;
    /// Payload bytes received.
    [[nodiscard]] std::uint64_t GetBytesCount() const;

    /// Time between the first block and the latest, ms.
    [[nodiscard]] std::uint64_t GetSamplingTime() const;
    /// Payload bits per second: of the last second, or of the last two blocks when they came more slowly; 0 when the
    /// stream has been quiet for longer than that. Average: over the sampling time.
    [[nodiscard]] double GetBandwidth() const;
    [[nodiscard]] double GetBandwidthAverage() const;
    /// Blocks per second, in the same way.
    [[nodiscard]] double GetAcquisitionRate() const;
    [[nodiscard]] double GetAcquisitionRateAverage() const;

    /// How the latest block that failed has failed, with the text of that failure; OK when none did. Timeouts and
    /// aborts are errors when they count as such.
    [[nodiscard]] PvResult GetLastError() const;
    /// Blocks that were lost, dropped for want of a buffer, or handed over with an error; with the settings below also
    /// timeouts and aborts.
    [[nodiscard]] std::uint32_t GetErrorCount() const;

    /// Whether what GetResultTimeout counts are errors; at first they are not. Takes effect for what was counted
    /// already, too.
    [[nodiscard]] bool GetTimeoutCountedAsError() const noexcept { return timeout_is_error_; }
    void SetTimeoutCountedAsError(bool counted) noexcept { timeout_is_error_ = counted; }
    /// The same for what GetResultAborted counts.
    [[nodiscard]] bool GetAbortCountedAsError() const noexcept { return abort_is_error_; }
    void SetAbortCountedAsError(bool counted) noexcept { abort_is_error_ = counted; }
    /// The clock that the present rates shall go by; at first the device's. A value that is no source stands for the
    /// host's.
    [[nodiscard]] PvTimestampSourceType GetTimestampSourcePreferred() const noexcept { return preferred_; }
    void SetTimestampSourcePreferred(PvTimestampSourceType source) noexcept { preferred_ = source; }
    /// The clock that they go by: the device's when that is preferred and at least the latest two blocks carried
    /// timestamps of it, else the host's. The length of the device's tick is measured against the host's clock over the
    /// sampling time, so that the two differ only in what the way from the device adds to the time between blocks.
    [[nodiscard]] PvTimestampSourceType GetTimestampSourceEffective() const;

    /// Packets that came after they had been asked for; of these, by a request for one packet.
    [[nodiscard]] std::uint32_t GetExpectedResendCount() const;
    [[nodiscard]] std::uint32_t GetExpectedSingleResend() const;
    /// Packets that the device marks as sent again and nobody waited for.
    [[nodiscard]] std::uint32_t GetUnexpectedResendCount() const;
    /// Requests sent for packets, and the packets that they asked for.
    [[nodiscard]] std::uint32_t GetResendGroupRequested() const;
    [[nodiscard]] std::uint32_t GetResendPacketRequested() const;

    /// Packets still missing when their block ended.
    [[nodiscard]] std::uint32_t GetLostPacketCount() const;
    /// Packets that came and were not used.
    [[nodiscard]] std::uint32_t GetIgnoredPacketCount() const;
    /// Packets that came more than once.
    [[nodiscard]] std::uint32_t GetRedundantPacket() const;
    /// Payload packets that came after later ones of their block.
    [[nodiscard]] std::uint32_t GetPacketOutOfOrder() const;
    /// Packets in place of which the device sent that it has them no more.
    [[nodiscard]] std::uint32_t GetPacketUnavaliable() const;
    /// Packets with a status that the protocol does not know; by which the device tells of a problem of its own.
    [[nodiscard]] std::uint32_t GetStatusUnknown() const;
    [[nodiscard]] std::uint32_t GetStatusLocalProblem() const;

    /// Block IDs of which no packet came.
    [[nodiscard]] std::uint32_t GetBlockIDsMissing() const;
    /// Blocks that a pipeline threw away for newer ones.
    [[nodiscard]] std::uint32_t GetPipelineBlocksDropped() const;
    /// Images, and blocks of any kind, that arrived while no buffer was queued; the latter also counts those that the
    /// device says it dropped and those that newer ones pushed out of the stream before they were retrieved.
    [[nodiscard]] std::uint32_t GetImagesDroppedCount() const;
    [[nodiscard]] std::uint32_t GetBlocksDroppedCount() const;
    /// Blocks that the device could not send fast enough.
    [[nodiscard]] std::uint32_t GetDataOverrunCount() const;

    /// Blocks that ended with the result of the same name.
    [[nodiscard]] std::uint32_t GetResultImageError() const;
    [[nodiscard]] std::uint32_t GetResultMissingPackets() const;
    [[nodiscard]] std::uint32_t GetResultBufferTooSmall() const;
    [[nodiscard]] std::uint32_t GetResultTooManyResends() const;
    [[nodiscard]] std::uint32_t GetResultResendsFailure() const;
    [[nodiscard]] std::uint32_t GetResultInvalidDataFormat() const;
    [[nodiscard]] std::uint32_t GetResultTooManyConsecutiveResends() const;
    [[nodiscard]] std::uint32_t GetResultAutoAborted() const;
    /// Blocks that were being received when the client aborted them.
    [[nodiscard]] std::uint32_t GetResultAborted() const;
    /// Retrievals that ended for want of a block, and buffers that came back unfilled after RequestTimeout.
    [[nodiscard]] std::uint32_t GetResultTimeout() const;
    /// Calls to queue or retrieve that the state of the stream or the buffer did not allow.
    [[nodiscard]] std::uint32_t GetResultStateError() const;
    /// The same, because the stream was closed.
    [[nodiscard]] std::uint32_t GetResultNotInitialized() const;

    /// Images that lack a part of a line; that lack whole lines; whose end was told by their line count.
    [[nodiscard]] std::uint32_t GetPartialLineMissing() const;
    [[nodiscard]] std::uint32_t GetFullLineMissing() const;
    [[nodiscard]] std::uint32_t GetEOFByLineCount() const;
    /// Fields with the even lines, with the odd ones.
    [[nodiscard]] std::uint32_t GetInterlacedEven() const;
    [[nodiscard]] std::uint32_t GetInterlacedOdd() const;

private:
    [[nodiscard]] vex::stream::Statistics now() const;
    [[nodiscard]] std::uint32_t sum(std::uint64_t vex::stream::Counters::*counter) const;
    [[nodiscard]] std::uint32_t blocks(vex::stream::BlockFate fate) const;
    [[nodiscard]] std::uint32_t packets(vex::stream::PacketFate fate) const;

    vex::stream::StreamChannel& channel_;
    std::atomic<bool> timeout_is_error_{false};
    std::atomic<bool> abort_is_error_{false};
    std::atomic<PvTimestampSourceType> preferred_{PvTimestampSourceHardware};
};
