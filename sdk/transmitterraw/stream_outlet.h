// Where a device of this process and the transmitter that sends its blocks meet.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>

#include "sdk/base/address.h"
#include "sdk/wire/gvcp.h"
#include "sdk/wire/gvsp.h"

namespace vex::transmitter {

/// What the receiver asked of a stream channel.
struct OutletSettings {
    Endpoint destination;           ///< port 0: closed
    std::uint32_t packet_size = 0;  ///< bytes, IP and UDP headers included
    std::chrono::nanoseconds packet_delay{};
    bool extended_ids = false;
    bool dont_fragment = false;
};

/// What the blocks of a channel are like.
struct BlockFormat {
    std::optional<wire::gvsp::ImageInfo> image;  ///< empty: raw data
    std::uint64_t payload_size = 0;              ///< bytes
};

/// Whoever sends blocks and can send packets of the last ones again.
class BlockSource {
public:
    virtual ~BlockSource() = default;
    /// Called on the device's thread, never after StreamOutlet::leave(); to be left to another thread, because the
    /// device answers nobody meanwhile.
    virtual void resend(const wire::gvcp::PacketResend& range, bool extended_status) = 0;
};

/// A stream channel of a device of this process. A transmitter that sends to the channel's destination finds it here,
/// keeps to what the receiver asked for, and tells what it sends; the device passes requests for lost packets on to it.
///
/// Thread safety: all functions may be called from any thread.
class StreamOutlet {
public:
    StreamOutlet() = default;
    StreamOutlet(const StreamOutlet&) = delete;
    StreamOutlet& operator=(const StreamOutlet&) = delete;

    /// A new one, closed, that transmitters can find for as long as the caller keeps it.
    [[nodiscard]] static std::shared_ptr<StreamOutlet> make();
    /// The open one with that destination; null when there is none.
    [[nodiscard]] static std::shared_ptr<StreamOutlet> find(const Endpoint& destination);

    // the device's side
    void configure(const OutletSettings& settings);
    /// Of the last block; empty before the first.
    [[nodiscard]] std::optional<BlockFormat> format() const;
    /// The port that blocks come from; 0 while nobody sends.
    [[nodiscard]] std::uint16_t source_port() const;
    /// Does nothing while nobody sends.
    void resend(const wire::gvcp::PacketResend& range, bool extended_status);

    // the transmitter's side
    [[nodiscard]] OutletSettings settings() const;
    /// `source` is about to send such a block from that port; from now on requests for lost packets are its. A source
    /// must leave before it goes.
    void feed(BlockSource& source, std::uint16_t source_port, const BlockFormat& format);
    /// Returns when no call of the source is under way. Nothing to do when another one has taken its place.
    void leave(const BlockSource& source);

private:
    mutable std::mutex mutex_;  // guards what follows
    OutletSettings settings_;
    std::optional<BlockFormat> format_;
    std::uint16_t source_port_ = 0;

    std::mutex source_mutex_;  // held through calls of the source; never taken with mutex_ held
    BlockSource* source_ = nullptr;
};

}  // namespace vex::transmitter
