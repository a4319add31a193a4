// The machinery behind a stream class: socket, receive thread, assembler and the queues of buffers.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "sdk/base/PvResult.h"
#include "sdk/base/address.h"
#include "sdk/base/turn_mutex.h"
#include "sdk/buffer/acquisition.h"
#include "sdk/net/clock.h"
#include "sdk/net/udp_socket.h"
#include "sdk/stream_core/block_assembler.h"
#include "sdk/stream_core/firewall_opener.h"
#include "sdk/stream_core/overload_guard.h"
#include "sdk/stream_core/rate_meter.h"

namespace vex::stream {

/// Where a stream receives from and on.
struct Endpoints {
    Ipv4Address device{};
    std::uint16_t channel = 0;
    Ipv4Address local{};                 ///< of the receiving interface
    std::uint16_t port = 0;              ///< 0: the system chooses
    std::optional<Ipv4Address> group{};  ///< multicast
    bool may_ask = true;                 ///< missing packets may be asked for
};

/// What became of the client's buffers and calls.
struct QueueCounters {
    std::uint64_t requests_expired = 0;  ///< buffers that came back unfilled after RequestTimeout
    std::uint64_t blocks_recycled = 0;   ///< filled buffers put back, as MaximumInternalRetrieveBuffers wait already
    std::uint64_t retrievals_timed_out = 0;  ///< calls
    std::uint64_t refused_by_state = 0;      ///< calls that the stream's or the buffer's state did not allow
    std::uint64_t refused_as_closed = 0;     ///< calls while the stream was closed
};

/// What has a stream to itself: while it is claimed only the claimant queues and retrieves. A claim ends with the
/// opening of the stream on which it was made.
struct Claim {
    std::uint64_t number = 0;  ///< none is used twice
    bool leaving = false;      ///< retrievals do not wait any more
};

/// The latest outcomes that were none of a whole block.
struct Failures {
    struct Failure {
        PvResult result{};
        std::uint64_t order = 0;  ///< the later the greater; 0 for none
    };
    Failure block;    ///< that came with an error
    Failure aborted;  ///< by the client
    Failure timeout;  ///< of a retrieval or a queued buffer
    std::uint64_t count = 0;

    void note(Failure& kind, const PvResult& result) noexcept;
};

/// Counters and rates, as of one moment.
struct Statistics {
    Counters counters;
    QueueCounters queue;
    std::uint64_t pipeline_blocks_dropped = 0;  ///< blocks that a pipeline threw away for newer ones
    RateMeter::Rates current;
    RateMeter::Rates average;
    net::Clock::duration sampling_time{};
    TimeSource time_source = TimeSource::host;  ///< of the present rates
};

/// What the system does for a stream.
struct SystemFacts {
    std::size_t buffer_bytes = 0;            ///< kept for packets that wait; 0 where the system does not tell
    std::optional<std::uint64_t> dropped{};  ///< packets thrown away; empty where the system does not tell
};

/// One thread receives, assembles, asks for what is missing and delivers; any number of others queue and retrieve. Two
/// locks: `work_` is held while a batch of packets is taken in, and by whoever takes buffers away from the assembler or
/// reads its counters; `queues_` guards the queues and is held for moments only. `work_` is taken first.
///
/// Thread safety: all members may be called from any thread; destruction needs that none is running.
class StreamChannel final : private BufferPort, private acquisition::Holder {
public:
    explicit StreamChannel(const net::Clock& clock = net::Clock::steady());
    ~StreamChannel();
    StreamChannel(const StreamChannel&) = delete;
    StreamChannel& operator=(const StreamChannel&) = delete;

    /// What PvStreamBase says of the members of the same names.
    PvResult open(const Endpoints& endpoints);
    void close();
    PvResult queue(PvBuffer* buffer, const Claim* claim = nullptr);
    PvResult retrieve(PvBuffer*& buffer, PvResult& operation_result, std::uint32_t timeout_ms,
                      const Claim* claim = nullptr);
    PvResult abort();
    PvResult flush();
    [[nodiscard]] std::uint32_t held_buffers() const;
    [[nodiscard]] std::uint32_t most_buffers() const;
    /// Nothing when closed; the port is the one in use.
    [[nodiscard]] std::optional<Endpoints> endpoints() const;

    /// Gives the stream to one user; `claim` must live until release_claim.
    /// Errors: NotConnected (not open), StateError (claimed already, or buffers are queued that are not the
    /// claimant's).
    PvResult make_claim(Claim& claim);
    /// Aborts the claimant's buffers; retrievals end with Aborted once all of them were retrieved. The two members
    /// that end a claim have no effect when it has ended by itself.
    void begin_to_leave(Claim& claim);
    /// Gives the buffers that are still there back to the claimant.
    void release_claim(const Claim& claim);
    [[nodiscard]] bool is_claimed_by(const Claim& claim) const;

    /// For the text of a timeout: what is known of why no block came, with a colon in front; empty where nothing is.
    /// `underruns_before`: underruns() when the wait began.
    [[nodiscard]] std::string why_nothing(std::uint64_t underruns_before) const;
    /// Blocks for which no buffer was queued, of all openings.
    [[nodiscard]] std::uint64_t underruns() const;

    [[nodiscard]] Statistics statistics(TimeSource preferred = TimeSource::host) const;
    /// OK for none.
    [[nodiscard]] PvResult last_error(bool timeouts_count, bool aborts_count) const;
    void reset_statistics();
    /// How the latest block failed that did, since the opening or a reset; the description says so, too, when the
    /// system threw packets away for want of memory.
    [[nodiscard]] PvResult last_error() const;
    /// Of this opening, or of the latest one when the stream is closed.
    [[nodiscard]] SystemFacts system_facts() const;
    void count_pipeline_drop() noexcept;
    [[nodiscard]] StreamSettings settings() const;
    /// Which way to receive the next opening uses, by its name; empty: the first that serves its path.
    [[nodiscard]] std::string backend() const;
    /// Errors: InvalidParameter (the text tells the names that there are).
    PvResult set_backend(const std::string& name);
    /// Effective from the next packet on, and kept when the stream is closed.
    /// Errors: InvalidParameter (the text tells the values that are taken); nothing is changed then.
    PvResult set(const NumberSetting& setting, std::uint32_t value);
    void set(const SwitchSetting& setting, bool value);

    static constexpr std::uint32_t wait_forever = 0xFFFFFFFF;

private:
    PvResult open_untold(const Endpoints& endpoints);
    [[nodiscard]] PvBuffer* take() noexcept override;
    void deliver(PvBuffer& buffer, BlockFate fate) noexcept override;
    void put_back(PvBuffer& buffer) noexcept override;
    void request_resend(const wire::gvcp::PacketResend& range) noexcept override;
    void buffer_destroyed(PvBuffer& buffer) noexcept override;

    [[nodiscard]] net::UdpSocket open_socket(const Endpoints& endpoints) const;
    void receive_loop();
    [[nodiscard]] std::span<const net::Datagram> read();
    [[nodiscard]] std::chrono::milliseconds take_in(std::span<const net::Datagram> datagrams);
    void choose_pause(net::Clock::time_point now, std::optional<net::Clock::time_point> deadline);
    void tend_overload(std::size_t packets, net::Clock::time_point now);
    void flush_received();
    void give_all_back();
    void apply_settings();
    void expire_request(net::Clock::time_point now);
    void recycle_oldest() noexcept;
    [[nodiscard]] Counters counters() const;
    [[nodiscard]] PvResult admit(const Claim* claim);
    void end_filling(net::Clock::time_point now) noexcept;
    [[nodiscard]] std::string what_came_so_far() const;
    [[nodiscard]] std::string odd_packet_size(const Endpoints& endpoints) const;
    static void mark_unfilled(PvBuffer& buffer, PvResult::Code result) noexcept;
    void abort_all();
    [[nodiscard]] PvResult wait_for_block(std::unique_lock<std::mutex>& lock, std::uint32_t timeout_ms,
                                          const Claim* claim);
    [[nodiscard]] PvResult refusal(const Claim* claim) const;
    void count_refusal(const PvResult& refusal) noexcept;

    const net::Clock& clock_;
    mutable std::mutex lifecycle_;  // open and close, one at a time
    SystemFacts ended_facts_;       // of the latest opening, once it ended

    // owned by the receive thread while it runs
    net::UdpSocket socket_;
    std::unique_ptr<net::PacketReceiver> receiver_;
    FirewallOpener firewall_opener_;
    OverloadGuard overload_guard_;
    std::chrono::microseconds pause_{};  // before the next read
    std::thread thread_;
    std::atomic<bool> stop_{false};

    mutable TurnMutex work_;  // the receive thread takes it all the time
    std::unique_ptr<BlockAssembler> assembler_;
    Counters ended_counters_;  // of the latest opening, once it ended
    StreamSettings settings_;

    mutable std::mutex queues_;
    std::condition_variable changed_;  // for those who wait for a block
    std::condition_variable flushed_;
    bool open_ = false;
    std::string backend_;
    std::uint64_t session_ = 0;  // of being open
    std::uint64_t claim_ = 0;    // 0 when nobody has the stream to itself
    std::uint64_t last_claim_ = 0;
    Endpoints endpoints_;
    std::vector<PvBuffer*> idle_;
    std::vector<PvBuffer*> ready_;
    std::uint32_t filling_ = 0;
    std::uint64_t underruns_ = 0;
    std::uint64_t largest_block_ = 0;  // bytes that buffers are given before they are filled
    std::atomic<bool> flush_wanted_{false};
    std::uint64_t flushes_done_ = 0;
    Counters reset_at_;  // subtracted from the counters
    Failures failures_;
    RateMeter rates_;
    std::uint64_t pipeline_drops_ = 0;
    std::uint32_t most_idle_;               // by the settings
    std::uint32_t most_ready_;              // by the settings
    net::Clock::time_point request_since_;  // a buffer has waited to be filled, and none was being filled
    QueueCounters queue_counters_;
    std::uint32_t latest_request_id_ = 0;  // the receive thread's
};

}  // namespace vex::stream
