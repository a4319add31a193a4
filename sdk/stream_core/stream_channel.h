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
#include "sdk/buffer/acquisition.h"
#include "sdk/net/clock.h"
#include "sdk/net/udp_socket.h"
#include "sdk/stream_core/block_assembler.h"
#include "sdk/stream_core/rate_meter.h"

namespace vex::stream {

/// Where a stream receives from and on.
struct Endpoints {
    Ipv4Address device{};
    std::uint16_t channel = 0;
    Ipv4Address local{};                 ///< of the receiving interface
    std::uint16_t port = 0;              ///< 0: the system chooses
    std::optional<Ipv4Address> group{};  ///< multicast
};

/// What has a stream to itself: while it is claimed only the claimant queues and retrieves. A claim ends with the
/// opening of the stream on which it was made.
struct Claim {
    std::uint64_t number = 0;  ///< none is used twice
    bool leaving = false;      ///< retrievals do not wait any more
};

/// Counters and rates, as of one moment.
struct Statistics {
    Counters counters;
    std::uint64_t pipeline_blocks_dropped = 0;  ///< blocks that a pipeline threw away for newer ones
    RateMeter::Rates current;
    RateMeter::Rates average;
    net::Clock::duration sampling_time{};
};

/// One thread receives, assembles and delivers; any number of others queue and retrieve. Two locks: `work_` is held
/// while a batch of packets is taken in, and by whoever takes buffers away from the assembler; `queues_` guards the
/// queues and is held for moments only. `work_` is taken first.
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

    [[nodiscard]] Statistics statistics() const;
    void reset_statistics();
    void count_pipeline_drop() noexcept;
    [[nodiscard]] StreamSettings settings() const;
    /// Effective from the next packet on, and kept when the stream is closed.
    /// Errors: InvalidParameter (the text tells the values that are taken); nothing is changed then.
    PvResult set(const NumberSetting& setting, std::uint32_t value);
    void set(const SwitchSetting& setting, bool value);

    static constexpr std::uint32_t most_buffers = 512;
    static constexpr std::uint32_t wait_forever = 0xFFFFFFFF;

private:
    class WorkLock;

    [[nodiscard]] PvBuffer* take() noexcept override;
    void deliver(PvBuffer& buffer, BlockFate fate) noexcept override;
    void put_back(PvBuffer& buffer) noexcept override;
    void buffer_destroyed(PvBuffer& buffer) noexcept override;

    [[nodiscard]] net::UdpSocket open_socket(const Endpoints& endpoints) const;
    void receive_loop();
    [[nodiscard]] std::chrono::milliseconds take_in(std::span<const net::Datagram> datagrams);
    void flush_received();
    void give_all_back();
    void apply_settings();
    void abort_all();
    static void mark_aborted(PvBuffer& buffer) noexcept;
    [[nodiscard]] std::string what_came_so_far() const;
    [[nodiscard]] PvResult wait_for_block(std::unique_lock<std::mutex>& lock, std::uint32_t timeout_ms,
                                          const Claim* claim);
    [[nodiscard]] PvResult refusal(const Claim* claim) const;

    const net::Clock& clock_;
    std::mutex lifecycle_;  // open and close, one at a time

    // owned by the receive thread while it runs
    net::UdpSocket socket_;
    std::unique_ptr<net::PacketReceiver> receiver_;
    std::thread thread_;
    std::atomic<bool> stop_{false};

    mutable std::mutex work_;
    mutable std::atomic<int> waiting_for_work_{0};
    std::unique_ptr<BlockAssembler> assembler_;
    StreamSettings settings_;

    mutable std::mutex queues_;
    std::condition_variable changed_;  // for those who wait for a block
    std::condition_variable flushed_;
    bool open_ = false;
    std::uint64_t session_ = 0;  // of being open
    std::uint64_t claim_ = 0;    // 0 when nobody has the stream to itself
    std::uint64_t last_claim_ = 0;
    Endpoints endpoints_;
    // with room for all buffers from the start, so that nothing can fail when a block is done
    std::vector<PvBuffer*> idle_;
    std::vector<PvBuffer*> ready_;
    std::uint32_t filling_ = 0;
    std::uint64_t underruns_ = 0;
    std::atomic<bool> flush_wanted_{false};
    std::uint64_t flushes_done_ = 0;
    Counters counters_;  // of this opening, as of the last batch
    Counters reset_at_;  // subtracted from them
    RateMeter rates_;
    std::uint64_t pipeline_drops_ = 0;
};

}  // namespace vex::stream
