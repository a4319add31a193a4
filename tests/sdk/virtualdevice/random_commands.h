// Well-formed register and memory commands at random, and what they did to a device's registers.
#pragma once

#include <array>
#include <map>
#include <random>

#include "tests/sdk/virtualdevice/responder_fixture.h"

/// The value of every mapped word up to `end`, by address.
inline std::map<std::uint32_t, std::uint32_t> words_of(vex::virtual_device::GvcpResponder& responder, std::uint32_t end)
{
    const auto guard = responder.lock();
    const auto& map = std::as_const(responder.registers());
    std::map<std::uint32_t, std::uint32_t> words;
    for (std::uint32_t address = 0; address < end; address += 4) {
        if (map.mapped(address, 4)) {
            words[address] = map.value(address);
        }
    }
    return words;
}

struct RandomCommand {
    bool writes = false;
    bool aligned = true;
    std::uint32_t address = 0;  // of the first word
    std::uint32_t length = 0;   // bytes; of register commands those of the first address
    Bytes datagram;
};

class RandomCommands {
public:
    /// Addresses are those of `words`, and some that are near them or nowhere.
    RandomCommands(std::uint64_t seed, const std::map<std::uint32_t, std::uint32_t>& words) : random_(seed)
    {
        for (const auto& [address, value] : words) {
            addresses_.push_back(address);
        }
    }

    RandomCommand next()
    {
        RandomCommand command;
        id_ = id_ == 0xFFFF ? 1 : id_ + 1;
        command.address = address();
        const bool memory = below(2) == 0;
        command.writes = below(3) != 0;
        const std::uint32_t count = memory ? static_cast<std::uint32_t>(4 * (1 + below(below(4) == 0 ? 128 : 4))) : 4;
        command.length = count;
        command.aligned = command.address % 4 == 0;
        if (memory && command.writes) {
            Bytes data(count);
            for (auto& byte : data) {
                byte = static_cast<std::uint8_t>(random_());
            }
            command.datagram = write_memory(id_, command.address, data);
        } else if (memory) {
            command.datagram = read_memory(id_, command.address, count);
        } else if (command.writes) {
            const auto value = static_cast<std::uint32_t>(below(2) == 0 ? below(8) : random_());
            command.datagram = write_register(id_, command.address, value);
        } else {
            command.datagram = read_register(id_, command.address);
        }
        return command;
    }

private:
    std::size_t below(std::size_t n) { return static_cast<std::size_t>(random_() % n); }

    std::uint32_t address()
    {
        switch (below(8)) {
        case 0: return static_cast<std::uint32_t>(random_());
        case 1: return static_cast<std::uint32_t>(random_()) & 0x1FFFFC;
        case 2: return addresses_[below(addresses_.size())] + static_cast<std::uint32_t>(below(4));
        case 3: return 0xFFFFFFFC - 4 * static_cast<std::uint32_t>(below(64));
        default: return addresses_[below(addresses_.size())];
        }
    }

    std::mt19937_64 random_;
    std::vector<std::uint32_t> addresses_;
    unsigned id_ = 0;
};
