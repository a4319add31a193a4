// What a receiver does that lets datagrams land, without sockets.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "sdk/net/packet_receiver.h"
#include "sdk/stream_core/block_assembler.h"

namespace assembly {

/// Puts the datagrams of a batch into the places of a landing, as if the system had done so while it knew nothing but
/// their sizes, and brings back what did not land.
class Lander {
public:
    /// `skipping`: each datagram has a place of its own, and one of another size leaves it free; otherwise the next one
    /// gets it.
    std::vector<vex::net::Datagram> land(std::span<const std::vector<std::uint8_t>> batch, const vex::Endpoint& source,
                                         const vex::net::Landing& landing, bool skipping)
    {
        memory_.assign(batch.begin(), batch.end());
        landing_ = landing;
        std::vector<vex::net::Datagram> datagrams;
        std::size_t place = 0;
        for (std::vector<std::uint8_t>& bytes : memory_) {
            vex::net::Datagram datagram{bytes, source};
            if (place < landing.packets() && bytes.size() > landing.header) {
                std::uint8_t* const there = landing.memory.data() + place * landing.data;
                const std::size_t size = std::min(bytes.size() - landing.header, landing.data);
                std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(landing.header), size, there);
                if (bytes.size() == landing.header + landing.data) {
                    datagram.landed = there;
                    std::fill(bytes.begin() + static_cast<std::ptrdiff_t>(landing.header), bytes.end(), 0xDD);
                }
            }
            place += datagram.landed != nullptr || skipping ? 1 : 0;
            datagrams.push_back(datagram);
        }
        return datagrams;
    }

    void recall(std::vector<vex::net::Datagram>& datagrams, std::size_t first)
    {
        for (std::size_t i = first; i < datagrams.size(); ++i) {
            if (datagrams[i].landed != nullptr) {
                std::copy_n(datagrams[i].landed, landing_.data,
                            memory_[i].begin() + static_cast<std::ptrdiff_t>(landing_.header));
                datagrams[i].landed = nullptr;
            }
        }
    }

private:
    std::vector<std::vector<std::uint8_t>> memory_;
    vex::net::Landing landing_;
};

}  // namespace assembly
