// What a PvTransmitterRaw does.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>

#include "sdk/buffer/acquisition.h"
#include "sdk/net/clock.h"
#include "sdk/net/udp_socket.h"
#include "sdk/transmitterraw/PvTransmitterRaw.h"
#include "sdk/transmitterraw/block_transmitter.h"
#include "sdk/transmitterraw/buffer_pool.h"
#include "sdk/transmitterraw/resend_queue.h"
#include "sdk/transmitterraw/stream_outlet.h"
#include "sdk/transmitterraw/transmission_meter.h"

class PvTransmitterRaw::Impl final : private vex::acquisition::Holder, private vex::transmitter::BlockSource {
public:
    ~Impl() { close(); }

    PvResult open(const PvString& destination_address, std::uint16_t destination_port, const PvString& source_address,
                  std::uint16_t source_port, bool dont_fragment);
    PvResult close();
    [[nodiscard]] bool is_open() const;

    PvResult load_pool(PvBuffer** buffers, std::uint32_t count);
    PvResult queue(PvBuffer* buffer);
    PvResult retrieve(PvBuffer** buffer, std::uint32_t timeout);
    PvResult abort_queued(bool wait_for_current, std::uint32_t timeout);

    PvResult set_packet_size(std::uint32_t size);
    void set_extended_ids(bool extended_ids)
    {
        const std::lock_guard guard(mutex_);
        extended_ids_ = extended_ids;
    }
    PvResult set_throughput(float megabits);
    PvResult set_trains(PvPacketTrains trains);

    [[nodiscard]] std::uint32_t packet_size() const { return locked(packet_size_); }
    [[nodiscard]] bool extended_ids() const { return locked(extended_ids_); }
    [[nodiscard]] float throughput() const { return locked(megabits_per_second_); }
    [[nodiscard]] PvPacketTrains trains() const { return locked(trains_); }
    [[nodiscard]] vex::Endpoint destination() const { return locked(destination_); }
    [[nodiscard]] vex::Endpoint source() const { return locked(source_); }
    [[nodiscard]] std::uint32_t queued_count() const
    {
        const std::lock_guard guard(mutex_);
        return static_cast<std::uint32_t>(queue_.size() + (current_ != nullptr ? 1 : 0));
    }
    [[nodiscard]] vex::transmitter::TransmissionMeter meter() const { return locked(meter_); }
    void reset_meter()
    {
        const std::lock_guard guard(mutex_);
        meter_.reset(vex::net::Clock::steady().now());
    }

private:
    void buffer_destroyed(PvBuffer& buffer) noexcept override;
    void run();
    void send_next(std::unique_lock<std::mutex>& lock);
    void find_outlet(vex::transmitter::StreamSettings& settings);
    void leave_outlet();
    void allow_fragments(bool allowed);
    void resend(const vex::wire::gvcp::PacketResend& range, bool extended_status) override
    {
        resends_.push(range, extended_status);
    }
    void make_free(PvBuffer* buffer);
    void make_queue_free();

    template <typename Value>
    [[nodiscard]] Value locked(const Value& value) const
    {
        const std::lock_guard guard(mutex_);
        return value;
    }

    vex::net::UdpSocket socket_;
    std::unique_ptr<vex::transmitter::BlockTransmitter> sender_;
    // cleared before the sender changes
    vex::transmitter::ResendQueue resends_{
        [this](const auto& range, bool extended_status, const std::atomic<bool>& cancelled) {
            sender_->resend(range, extended_status, cancelled);
        }};
    // the worker's own while it runs
    std::shared_ptr<vex::transmitter::StreamOutlet> outlet_;
    std::uint64_t block_id_ = 0;
    bool opened_for_fragments_ = true;
    bool fragments_ = true;
    std::thread worker_;

    mutable std::mutex mutex_;  // guards what follows
    std::condition_variable changed_;
    bool open_ = false;
    std::uint64_t closings_ = 0;  // so that a waiting caller notices one
    vex::transmitter::BufferPool pool_;
    std::deque<PvBuffer*> queue_;
    PvBuffer* current_ = nullptr;  // being sent
    vex::net::Clock::time_point opened_{};
    vex::Endpoint destination_;
    vex::Endpoint source_;
    std::uint32_t packet_size_ = 1440;
    bool extended_ids_ = false;
    float megabits_per_second_ = 0;
    PvPacketTrains trains_ = PvPacketTrainsAutomatic;
    vex::transmitter::TransmissionMeter meter_;
};
