#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "bench/stream/load.h"
#include "bench/stream/measure.h"
#include "bench/stream/ways.h"

namespace bench {

namespace {

/// The least that a stream must do: one thread receives, another waits for it on a condition variable.
class BareHandover final : public Receiver {
public:
    BareHandover() : loop_(bare_way(true).open()), thread_([this] { run(); }) {}
    ~BareHandover() override
    {
        stop_ = true;
        thread_.join();
    }
    BareHandover(const BareHandover&) = delete;
    BareHandover& operator=(const BareHandover&) = delete;

    [[nodiscard]] std::uint16_t port() const override { return loop_->port(); }
    [[nodiscard]] bool nothing_came() const override { return nothing_came_; }
    [[nodiscard]] std::uint64_t block_id() const override { return loop_->block_id(); }
    bool receive_block() override
    {
        std::unique_lock lock(mutex_);
        nothing_came_ = !changed_.wait_for(lock, std::chrono::seconds(1), [this] { return blocks_ != 0; });
        if (!nothing_came_) {
            --blocks_;
        }
        return !nothing_came_;
    }

private:
    void run()
    {
        while (!stop_) {
            if (loop_->receive_block()) {
                {
                    const std::scoped_lock lock(mutex_);
                    ++blocks_;
                }
                changed_.notify_one();
            }
        }
    }

    std::unique_ptr<Receiver> loop_;
    std::mutex mutex_;
    std::condition_variable changed_;
    unsigned blocks_ = 0;
    bool nothing_came_ = false;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

}  // namespace

void measure_latency(unsigned frames)
{
    std::printf("From the last packet to the buffer, %u frames of 1 MB at 1,500 bytes, one at a time\n", frames);
    std::vector<Way> ways{{"bare loop, condition variable", [] { return std::make_unique<BareHandover>(); }},
                          stream_way("coalescing"),
                          stream_way("plain")};
    if (has_packet_ring()) {
        ways.push_back(stream_way("packet-ring"));
    }
    const std::vector<Way> peers = peer_ways();
    ways.insert(ways.end(), peers.begin(), peers.end());
    double bare = 0;
    for (const Way& way : ways) {
        Sender sender({.packet_size = 1500, .one_at_a_time = true});
        const std::unique_ptr<Receiver> receiver = way.open();
        const std::uint16_t port = receiver->port();
        sender.start({&port, 1});
        std::vector<double> times;
        for (unsigned i = 0; i < frames; ++i) {
            sender.progress().blocks_wanted.fetch_add(1, std::memory_order_release);
            if (receiver->receive_block()) {
                times.push_back(static_cast<double>(now_ns() - sender.progress().last_packet_at.load()) / 1e3);
            }
        }
        if (times.empty()) {
            std::printf("  %-30s nothing came\n", way.name.c_str());
            continue;
        }
        std::ranges::sort(times);
        const double median = times[times.size() / 2];
        bare = bare == 0 ? median : bare;
        std::printf("  %-30s median %7.1f us  x%-5.2f  99th percentile %7.1f us   %zu of %u came whole\n",
                    way.name.c_str(), median, median / bare, times[times.size() * 99 / 100], times.size(), frames);
    }
}

}  // namespace bench
