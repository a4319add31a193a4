// PvStreamRaw: a stream channel whose settings are members, with its statistics.
#pragma once

#include <cstdint>
#include <memory>

#include "sdk/stream_core/PvStreamBase.h"
#include "sdk/streamraw/PvStatistics.h"

namespace vex::stream {
struct StreamSettings;
}

/// A stream channel without a parameter array: each setting is a pair of members.
///
/// Settings take effect at once, also while the stream is open and for blocks under way; they are kept when the stream
/// closes and are those of the next opening. A setter that is given a value outside its range changes nothing and fails
/// with InvalidParameter; the text names the range and the unit.
///
/// Thread safety: as PvStreamBase; settings and statistics may be used from any thread.
class PvStreamRaw : public PvStreamBase {
public:
    PvStreamRaw();
    ~PvStreamRaw() override;

    /// The device's stream channel given to Open; 0 when closed.
    [[nodiscard]] std::uint32_t GetChannelID() const;
    /// The device's address given to Open; empty when closed.
    [[nodiscard]] PvString GetRemoteIpAddress() const;
    /// Counters and rates of this stream, owned by the stream; never null.
    [[nodiscard]] PvStatistics* GetStatistics() noexcept;

    /// A block of which nothing but the leader came is given up after this time: ms, 0 (never) to 3600000, at first 0.
    PvResult SetFirstPacketTimeout(std::uint32_t value);
    [[nodiscard]] std::uint32_t GetFirstPacketTimeout() const;
    /// A block that lacks packets which are not, or no longer, asked for is given up when none of its packets came for
    /// this long: ms, 1 to 60000, at first 100.
    PvResult SetPacketTimeout(std::uint32_t value);
    [[nodiscard]] std::uint32_t GetPacketTimeout() const;
    /// The newest block, when it lacks nothing but its end, is given up when no packet came for this long: ms, 1 to
    /// 60000, at first 1000.
    PvResult SetInterPacketTimeout(std::uint32_t value);
    [[nodiscard]] std::uint32_t GetInterPacketTimeout() const;
    /// A queued buffer that no block has begun to fill comes back with the result Timeout after this time: ms, 0
    /// (never) to 3600000, at first 0.
    PvResult SetRequestTimeout(std::uint32_t value);
    [[nodiscard]] std::uint32_t GetRequestTimeout() const;
    /// Whether missing packets are asked for; at first they are.
    PvResult SetResendPacketEnable(bool on);
    [[nodiscard]] bool GetResendPacketEnable() const;
    /// An image is given up this long after its first packet with data: ms, 0 (no limit) to 3600000, at first 0.
    PvResult SetDefaultImageTimeout(std::uint32_t value);
    [[nodiscard]] std::uint32_t GetDefaultImageTimeout() const;
    /// The same for a block that is no image.
    PvResult SetDefaultBlockTimeout(std::uint32_t value);
    [[nodiscard]] std::uint32_t GetDefaultBlockTimeout() const;
    /// The most packets that are asked for at the same time; a block that lacks more in a row ends with the result
    /// TooManyConsecutiveResends: 0 to 1000000, at first 512.
    PvResult SetMaximumPendingResends(std::uint32_t value);
    [[nodiscard]] std::uint32_t GetMaximumPendingResends() const;
    /// How many blocks are assembled at the same time; one more ends the oldest: 1 to 32, at first 16.
    PvResult SetLatencyLevel(std::uint32_t value);
    [[nodiscard]] std::uint32_t GetLatencyLevel() const;
    /// After so many blocks in a row for which no buffer was queued, the blocks being received end with the result
    /// AutoAborted and what the system has received is thrown away: 0 (never) to 1000000, at first 0.
    PvResult SetAutoResetOnLackOfResources(std::uint32_t value);
    [[nodiscard]] std::uint32_t GetAutoResetOnLackOfResources() const;
    /// Whether a block that lacks packets ends as soon as the next one begins; at first it does not.
    PvResult SetForceMissingPacketsAtNextBlockStart(bool on);
    [[nodiscard]] bool GetForceMissingPacketsAtNextBlockStart() const;
    /// How often a packet is asked for again after the first request: 0 to 100, at first 3.
    PvResult SetMaximumResendRequestRetryByPacket(std::uint32_t value);
    [[nodiscard]] std::uint32_t GetMaximumResendRequestRetryByPacket() const;
    /// The most packets that one request asks for: 1 to 65535, at first 64.
    PvResult SetMaximumResendGroupSize(std::uint32_t value);
    [[nodiscard]] std::uint32_t GetMaximumResendGroupSize() const;
    /// Packets that were asked for and did not come are asked for again after this time, and then each time after twice
    /// the time before, up to 16 times this: ms, 1 to 60000, at first 10.
    PvResult SetResendRequestTimeout(std::uint32_t value);
    [[nodiscard]] std::uint32_t GetResendRequestTimeout() const;
    /// After this time without a packet the blocks being received end with the result AutoAborted and any block ID
    /// counts as a new beginning: ms, 0 (never) to 3600000, at first 0.
    PvResult SetResetOnIdle(std::uint32_t value);
    [[nodiscard]] std::uint32_t GetResetOnIdle() const;
    /// The most buffers that wait to be filled: 1 to 4096, at first 512.
    PvResult SetMaximumPreQueuedBuffers(std::uint32_t value);
    [[nodiscard]] std::uint32_t GetMaximumPreQueuedBuffers() const;
    /// The most filled buffers that wait to be retrieved; one more puts the oldest back among those that wait to be
    /// filled: 1 to 4096, at first 512.
    PvResult SetMaximumInternalRetrieveBuffers(std::uint32_t value);
    [[nodiscard]] std::uint32_t GetMaximumInternalRetrieveBuffers() const;
    /// Whether the buffer of an incomplete block lists the packets that it lacks; at first it does.
    PvResult SetEnableMissingPacketsList(bool on);
    [[nodiscard]] bool GetEnableMissingPacketsList() const;
    /// Time between noticing that packets are missing and asking for them, in which packets that only came out of order
    /// arrive: microseconds, 0 to 1000000, at first 500.
    PvResult SetResendDelay(std::uint32_t value);
    [[nodiscard]] std::uint32_t GetResendDelay() const;

private:
    [[nodiscard]] std::uint32_t number(std::uint32_t vex::stream::StreamSettings::*setting) const;
    PvResult set_number(std::uint32_t vex::stream::StreamSettings::*setting, std::uint32_t value);
    [[nodiscard]] bool is_on(bool vex::stream::StreamSettings::*setting) const;
    PvResult turn(bool vex::stream::StreamSettings::*setting, bool on);

    std::unique_ptr<PvStatistics> statistics_;
};
