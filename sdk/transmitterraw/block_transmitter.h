// The sending end of GVSP: cuts blocks into packets and remembers the last ones for resend requests.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <system_error>
#include <vector>

#include "sdk/net/clock.h"
#include "sdk/net/packet_sender.h"
#include "sdk/net/udp_socket.h"
#include "sdk/transmitterraw/pacer.h"
#include "sdk/transmitterraw/stream_faults.h"
#include "sdk/wire/gvcp.h"
#include "sdk/wire/gvsp.h"

namespace vex::transmitter {

/// How blocks travel.
struct StreamSettings {
    Endpoint destination;
    std::uint32_t packet_size = 1500;  ///< bytes, IP and UDP headers included
    bool extended_ids = false;
    net::Clock::duration packet_delay{};          ///< between the starts of two packets
    double bytes_per_second = 0;                  ///< upper bound on payload; 0 for none
    net::Trains trains = net::Trains::automatic;  ///< of packets that may leave together anyway
};

/// A block as it leaves. The data is sent from where it lies; `owner` keeps it alive for as long as a resend may need
/// it. A block without owner is not kept for resends.
///
/// The packets are those of the leader's type. Of a multi-part block the parts lie behind one another in `data`, in the
/// order and with the lengths of the leader's records, and it needs extended IDs; multi-zone and GenDC blocks cannot be
/// sent.
struct Block {
    std::uint64_t block_id = 0;  ///< not 0; 16 bits without extended IDs
    wire::gvsp::Leader leader;
    wire::gvsp::Trailer trailer;
    std::span<const std::uint8_t> data;
    bool all_in = false;          ///< travels in one packet where type and packet size allow it
    std::uint64_t timestamp = 0;  ///< H.264: of the data, whose leader has none
    std::shared_ptr<const void> owner;
};

/// Decides about each outgoing packet whether it gets lost on purpose; for tests and demonstrations of loss.
class PacketLoss {
public:
    virtual ~PacketLoss() = default;
    [[nodiscard]] virtual bool loses(std::uint64_t block_id, std::uint32_t packet_id, bool resend) = 0;
};

struct TransmitterStatistics {
    std::uint64_t blocks = 0;         ///< sent to their end
    std::uint64_t packets = 0;        ///< leaders and trailers included, resends not
    std::uint64_t payload_bytes = 0;  ///< of those packets, headers not
    std::uint64_t resent_packets = 0;
    std::uint64_t refused_packets = 0;  ///< asked for and no longer (or never) there
    std::uint64_t lost_packets = 0;     ///< by PacketLoss
    std::uint64_t send_errors = 0;      ///< blocks abandoned because the system refused a packet
};

/// Sends blocks over a socket.
///
/// Thread safety: one thread sends blocks; resend, which takes its time (see ResendQueue), abort, test packets and
/// statistics may come from others at the same time. configure() needs the sending thread's absence.
class BlockTransmitter {
public:
    /// Waits until a moment of the clock, or returns early when `aborted` becomes true.
    using Wait = std::function<void(net::Clock::time_point until, const std::atomic<bool>& aborted)>;

    /// `socket` and `clock` must outlive the transmitter. `history` is the number of blocks kept for resends.
    BlockTransmitter(net::UdpSocket& socket, std::size_t history, const net::Clock& clock = net::Clock::steady());
    BlockTransmitter(net::SendingSocket& socket, std::size_t history, const net::Clock& clock);

    void configure(const StreamSettings& settings);
    void set_loss(std::shared_ptr<PacketLoss> loss);
    /// What is not lost passes through these faults; null for none.
    void set_faults(std::shared_ptr<StreamFaults> faults);
    /// Sends what the faults held back and is due by now; whether they hold more. Only of use with faults, in pauses.
    bool send_held();
    /// Replaces the real waiting between packets, which tests with a clock of their own need.
    void set_wait(Wait wait) { wait_ = std::move(wait); }

    /// Sends the whole block. Errors: std::errc::operation_canceled after abort(), invalid_argument when the packet
    /// size leaves no room for data or the block cannot be sent, else what the system said; the rest of the block is
    /// not sent then.
    std::error_code send(std::shared_ptr<const Block> block);

    /// Makes a running send() return soon; the next send() works again after clear_abort().
    void abort() noexcept { aborted_ = true; }
    void clear_abort() noexcept { aborted_ = false; }

    /// Sends the packets of the range again, marked as such, as far apart as those of the stream; ends early when
    /// `cancelled` becomes true. What is not there any more is answered with a packet that carries only a status, one
    /// of the newer codes where `extended_status` allows them. Calls from several threads come one after another.
    void resend(const wire::gvcp::PacketResend& range, bool extended_status,
                const std::atomic<bool>& cancelled = never);

    /// Forgets all blocks, so that nothing refers to their data.
    void forget();

    /// A test packet: as long as the packet size says, IP and UDP headers included, status and IDs zero.
    std::error_code send_test_packet(const Endpoint& destination, std::uint32_t packet_size);

    [[nodiscard]] TransmitterStatistics statistics() const;

    /// Packets of an image or raw block of `bytes` data bytes: leader, payload, trailer. 0 when the packet size is too
    /// small.
    [[nodiscard]] static std::uint64_t packet_count(std::size_t bytes, std::uint32_t packet_size, bool extended_ids);

private:
    struct Sent;  // a block with what its packets need
    class Batch;
    [[nodiscard]] std::size_t hand_over(const Endpoint& destination, std::span<const net::OutgoingDatagram> datagrams,
                                        bool resend, StreamFaults* faults, std::error_code& error);
    std::error_code send_paced(const Sent& sent, std::uint64_t first, std::uint64_t last, bool resend, Pacer& pacer,
                               const std::atomic<bool>& stopped);
    std::error_code send_range(const Sent& sent, std::uint64_t first, std::uint64_t last, bool resend);
    void refuse(const wire::gvcp::PacketResend& range, std::uint32_t last, wire::gvcp::Status status);

    BlockTransmitter(std::unique_ptr<net::SendingSocket> socket, std::size_t history, const net::Clock& clock);
    std::error_code send_one(const Endpoint& destination, std::span<const std::uint8_t> packet);

    std::unique_ptr<net::SendingSocket> own_socket_;  // where it was given a plain one
    net::PacketSender sender_;
    const net::Clock& clock_;
    const std::size_t history_size_;
    Wait wait_;
    std::atomic<bool> aborted_{false};
    Pacer pacer_;

    static constexpr std::atomic<bool> never{false};
    std::mutex resend_mutex_;  // held through a resend; taken before mutex_
    Pacer resend_pacer_;       // guarded by it

    mutable std::mutex mutex_;  // guards what follows
    StreamSettings settings_;
    std::shared_ptr<PacketLoss> loss_;
    std::shared_ptr<StreamFaults> faults_;
    std::deque<std::shared_ptr<const Sent>> history_;  // oldest first
    TransmitterStatistics statistics_;
};

}  // namespace vex::transmitter
