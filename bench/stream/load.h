// What the receivers of this benchmark receive: image blocks, sent by a process of its own.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "bench/stream/ways.h"
#include "sdk/base/address.h"

namespace bench {

inline constexpr std::uint32_t width = 1024;
inline constexpr std::uint32_t height = 1024;
inline constexpr std::size_t image_bytes = std::size_t{width} * height;
inline constexpr vex::Ipv4Address camera{0x7F00002F};  // 127.0.0.47
inline constexpr vex::Ipv4Address host{0x7F000001};
inline constexpr std::size_t most_streams = 64;

[[noreturn]] void fail(const char* what);

struct Load {
    std::size_t packet_size = 1500;
    bool segmentation = false;  ///< the sender hands whole trains of packets to the kernel
    std::size_t streams = 1;    ///< served in turn
    /// Blocks that the sender may be ahead of the receiver; 0: it never waits.
    std::uint64_t blocks_ahead = 2;
    double bytes_per_second = 0;   ///< of payload, over all streams; 0: as fast as it can
    bool one_at_a_time = false;    ///< each block only when the receiver asks for it
    double loss = 0;               ///< share of packets that the sender loses; it sends them again when asked
    std::size_t burst = 1;         ///< packets that it loses in a row
    std::uint64_t seed = 1;        ///< of the losses
    bool answers = false;          ///< takes requests to send packets again, also where it loses none
    std::uint32_t lines = height;  ///< of an image
    std::uint64_t blocks = 0;      ///< it sends so many; 0: it never ends

    [[nodiscard]] std::size_t block_bytes() const { return std::size_t{width} * lines; }
};

/// What sender and receiver of one stream share; times are those of the steady clock, in nanoseconds.
struct Progress {
    std::atomic<std::uint64_t> blocks_sent{0};
    std::atomic<std::uint64_t> blocks_received{0};
    std::atomic<std::uint64_t> blocks_wanted{0};      ///< one_at_a_time: in all
    std::atomic<std::uint64_t> packets_lost{0};       ///< on purpose, also of those sent again
    std::atomic<std::uint64_t> requests{0};           ///< to send again
    std::atomic<std::uint64_t> packets_requested{0};  ///< by them
    std::atomic<std::int64_t> first_packet_at{0};     ///< before the first block
    std::atomic<std::int64_t> last_packet_at{0};      ///< before the system call that sent a block's last packet
};

/// The sending process. It waits for the ports to send to, and ends with this object. For peers that must talk to a
/// camera before they receive, a software camera stands at the sender's address; it sends nothing itself.
class Sender {
public:
    explicit Sender(const Load& load);
    Sender(const Sender&) = delete;
    Sender& operator=(const Sender&) = delete;
    ~Sender();

    /// Begins to send, to as many ports as there are streams.
    void start(std::span<const std::uint16_t> ports);
    [[nodiscard]] Progress& progress(std::size_t stream = 0) { return shared_[stream]; }
    /// Lets the sender go on by what the receiver received last: blocks before that one are not waited for.
    void go_on(const Receiver& receiver, std::size_t stream = 0);

private:
    Progress* shared_ = nullptr;
    pid_t process_ = -1;
    int pipe_ = -1;
};

[[nodiscard]] std::int64_t now_ns();
/// Memory of this process, in megabytes; a ring's belongs to the system and is not in it.
[[nodiscard]] double resident_megabytes();
/// Processor time of this process, all threads, in its programs and in the kernel.
[[nodiscard]] double processor_seconds();

}  // namespace bench
