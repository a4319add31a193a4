#include "bench/stream/arrival.h"

#include <algorithm>
#include <memory>
#include <optional>

namespace bench {

Arrived receive(const Way& way, const Load& load, std::chrono::milliseconds duration)
{
    Arrived arrived;
    std::optional<Sender> sender(load);
    const std::unique_ptr<Receiver> receiver = way.open();
    const std::uint16_t port = receiver->port();
    sender->start({&port, 1});
    const auto start = std::chrono::steady_clock::now();
    const auto elapsed = [&] { return std::chrono::steady_clock::now() - start; };
    const auto take = [&] {
        const bool whole = receiver->receive_block();
        arrived.whole += whole ? 1 : 0;
        arrived.in_parts += whole || receiver->nothing_came() ? 0 : 1;
        sender->go_on(*receiver);
    };
    if (load.blocks == 0) {
        while (elapsed() < duration) {
            take();
        }
    } else {
        do {
            take();
        } while (arrived.whole + arrived.in_parts < load.blocks &&
                 (!receiver->nothing_came() || sender->progress().blocks_sent.load() < load.blocks));
        const std::int64_t sending =
            sender->progress().last_packet_at.load() - sender->progress().first_packet_at.load();
        arrived.bytes_per_second =
            static_cast<double>(load.blocks * load.block_bytes()) / (static_cast<double>(sending) / 1e9);
    }
    arrived.seconds = std::chrono::duration<double>(elapsed()).count();
    arrived.sent = sender->progress().blocks_sent.load();
    sender.reset();
    if (load.blocks == 0) {
        arrived.bytes_per_second = static_cast<double>(arrived.whole * load.block_bytes()) / arrived.seconds;
    }
    constexpr std::chrono::seconds longest_rest{3};
    while (load.blocks == 0 && elapsed() < duration + longest_rest) {
        const bool whole = receiver->receive_block();
        if (!whole && receiver->nothing_came()) {
            break;
        }
        arrived.whole += whole ? 1 : 0;
        arrived.in_parts += whole ? 0 : 1;
    }
    return arrived;
}

LossFree find_loss_free_rate(const Way& way, Load load, std::chrono::milliseconds duration)
{
    load.blocks_ahead = 0;
    LossFree found;
    // whether nothing was lost at a rate, or at the sender's own where that is lower
    const auto is_loss_free = [&](double rate) {
        load.bytes_per_second = rate;
        const double blocks =
            rate * std::chrono::duration<double>(duration).count() / static_cast<double>(load.block_bytes());
        load.blocks = std::max<std::uint64_t>(static_cast<std::uint64_t>(blocks), 10);
        const Arrived arrived = receive(way, load);
        if (arrived.whole != load.blocks) {
            return false;
        }
        found.of_the_sender = arrived.bytes_per_second < 0.95 * rate;
        found.bytes_per_second = std::min(arrived.bytes_per_second, rate);
        return true;
    };
    double lossy = 0.125e9;
    while (is_loss_free(lossy)) {
        if (found.of_the_sender) {
            return found;
        }
        lossy *= 2;
    }
    double free = found.bytes_per_second;
    while (lossy - free > 0.03 * lossy) {
        const double middle = (lossy + free) / 2;
        if (!is_loss_free(middle)) {
            lossy = middle;
        } else if (found.of_the_sender) {
            break;
        } else {
            free = middle;
        }
    }
    return found;
}

std::vector<Way> our_ways(std::size_t buffers)
{
    std::vector<Way> ways{stream_way("coalescing", buffers)};
    if (has_packet_ring()) {
        ways.push_back(stream_way("packet-ring", buffers));
    }
    return ways;
}

std::vector<Way> whole_ways()
{
    std::vector<Way> ways = our_ways();
    const std::vector<Way> peers = peer_ways();
    ways.insert(ways.end(), peers.begin(), peers.end());
    return ways;
}

}  // namespace bench
