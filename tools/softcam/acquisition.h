// Takes pictures at the set rate and sends them.
#pragma once

#include <array>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "sdk/net/clock.h"
#include "sdk/net/udp_socket.h"
#include "sdk/test_pattern/test_pattern.h"
#include "sdk/transmitterraw/block_transmitter.h"
#include "sdk/transmitterraw/resend_queue.h"
#include "sdk/virtualdevice/gvcp_responder.h"
#include "tools/softcam/chunks.h"
#include "tools/softcam/events.h"
#include "tools/softcam/payload.h"

namespace softcam {

enum class AcquisitionMode : std::uint32_t { continuous = 0, single_frame = 1, multi_frame = 2 };

/// How frames travel.
struct SendingOptions {
    PayloadKind payload = PayloadKind::image;
    bool all_in = false;                                    ///< one packet for a whole block that fits it
    vex::net::Trains trains = vex::net::Trains::automatic;  ///< of packets that leave together
};

struct AcquisitionSettings {
    vex::test_pattern::FrameSettings frame;
    ChunkSettings chunks;
    AcquisitionMode mode = AcquisitionMode::continuous;
    std::uint32_t frame_count = 1;                ///< of multi_frame
    std::chrono::nanoseconds period{33'333'333};  ///< between the starts of two frames
    bool triggered = false;                       ///< each frame waits for trigger()
};

/// The frames of one setting, rendered when first needed and kept while they fit into a bounded amount of memory.
///
/// Thread safety: one thread at a time.
class FrameCache {
public:
    using Frame = std::shared_ptr<const std::vector<std::uint8_t>>;

    [[nodiscard]] Frame frame(const vex::test_pattern::FrameSettings& settings, std::uint64_t block_id);

private:
    vex::test_pattern::FrameSettings settings_;
    std::array<Frame, vex::test_pattern::cycle> frames_;
    std::size_t bytes_ = 0;
};

/// The camera's sensor and transmitter: one worker thread that lives as long as the object.
///
/// Thread safety: all functions may be called from any thread. None of them waits for a frame, except reopen(), which
/// waits for the block that is being sent.
class Acquisition {
public:
    /// Sends from `source`, the same frames on each of the `channels`. Throws std::system_error when that cannot be
    /// bound. `events` and `clock` must outlive it.
    Acquisition(vex::Ipv4Address source, unsigned channels, std::size_t history_blocks, const SendingOptions& sending,
                CameraEvents& events, const vex::net::Clock& clock);
    Acquisition(const Acquisition&) = delete;
    Acquisition& operator=(const Acquisition&) = delete;
    ~Acquisition();

    /// Begins to take frames; a running acquisition begins anew.
    void start(const AcquisitionSettings& settings);
    /// No further frame after the one being sent.
    void stop();
    /// Not even the rest of that one.
    void abort();
    [[nodiscard]] bool is_running() const;
    /// What applies from the next frame on.
    void change(const AcquisitionSettings& settings);
    /// One frame, when the settings say that frames wait for triggers.
    void trigger();

    /// Where frames go; nothing is sent on a channel that is closed. Its block IDs start anew when it opens.
    void set_channel(unsigned channel, const vex::virtual_device::StreamChannel& state);
    void send_test_packet(unsigned channel, const vex::virtual_device::StreamChannel& state);
    /// Leaves it to another thread.
    void resend(const vex::wire::gvcp::PacketResend& range, bool extended_status);

    /// Ticks since power-on or the last reset, in nanoseconds.
    [[nodiscard]] std::uint64_t timestamp() const;
    void reset_timestamp();

    [[nodiscard]] std::uint16_t source_port(unsigned channel) const;
    /// Sends from another address from now on.
    void reopen(vex::Ipv4Address source);

    void set_loss(const std::shared_ptr<vex::transmitter::PacketLoss>& loss);
    /// Each channel has faults of its own, whose seeds follow one another.
    void set_faults(const vex::transmitter::StreamFaultSettings& faults);
    /// Of all channels together, since the faults were set.
    [[nodiscard]] vex::transmitter::StreamFaultStatistics fault_statistics() const;
    /// Of all channels together.
    [[nodiscard]] vex::transmitter::TransmitterStatistics statistics() const;

private:
    struct Channel {
        Channel(vex::Ipv4Address source, std::size_t history_blocks, const vex::net::Clock& clock);

        vex::net::UdpSocket socket;
        vex::transmitter::BlockTransmitter transmitter;
        vex::transmitter::ResendQueue resends;
        vex::virtual_device::StreamChannel state;                // guarded by mutex_
        std::uint64_t block_id = 0;                              // of the last block; guarded by mutex_
        std::shared_ptr<vex::transmitter::StreamFaults> faults;  // guarded by mutex_
    };
    /// One frame's way out on one channel.
    struct Outgoing {
        Channel* channel = nullptr;
        vex::transmitter::StreamSettings settings;
        std::shared_ptr<vex::transmitter::Block> block;
    };

    void run();
    [[nodiscard]] bool send_held();
    void end();
    [[nodiscard]] std::vector<Outgoing> prepare_frame(const AcquisitionSettings& settings, std::uint64_t timestamp);
    [[nodiscard]] std::uint64_t ticks(vex::net::Clock::time_point at) const;
    void take_frame(std::unique_lock<std::mutex>& lock);
    [[nodiscard]] bool ready_for_frame() const;

    const SendingOptions how_;
    CameraEvents& events_;
    const vex::net::Clock& clock_;
    std::vector<std::unique_ptr<Channel>> channels_;  // as many as there are from the beginning on
    FrameCache cache_;                                // the worker's own

    mutable std::mutex mutex_;  // guards what follows
    std::condition_variable changed_;
    AcquisitionSettings settings_;
    bool quit_ = false;
    bool running_ = false;
    bool sending_ = false;
    std::uint32_t triggers_ = 0;     // pending
    std::uint32_t frames_left_ = 0;  // of single and multi frame
    vex::net::Clock::time_point next_frame_{};
    vex::net::Clock::time_point epoch_;

    std::thread worker_;
};

}  // namespace softcam
