// The registers of a made-up camera.
#pragma once

#include <cstdint>
#include <cstring>
#include <map>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "sdk/genapi/node_map.h"

namespace generated {

/// Numbers that are the same on every platform.
class Dice {
public:
    explicit Dice(std::uint32_t seed) : engine_(seed) {}

    /// 0 to `count` - 1.
    std::uint32_t pick(std::size_t count) { return static_cast<std::uint32_t>(engine_() % count); }
    bool chance() { return pick(2) == 0; }
    std::uint64_t bits() { return static_cast<std::uint64_t>(engine_()) << 32 | engine_(); }

private:
    std::mt19937 engine_;
};

/// The registers of a camera. A write to some of them sets others, four bytes each, to 0.
class CameraMemory final : public GenApi::IPort {
public:
    void read(std::int64_t address, std::span<std::uint8_t> out) override
    {
        ++reads;
        std::memcpy(out.data(), at(address, out.size()), out.size());
    }
    void write(std::int64_t address, std::span<const std::uint8_t> data) override
    {
        ++writes;
        std::memcpy(at(address, data.size()), data.data(), data.size());
        const auto [first, last] = reactions.equal_range(address);
        for (auto reaction = first; reaction != last; ++reaction) {
            std::memset(at(reaction->second, 4), 0, 4);
        }
    }
    [[nodiscard]] bool is_open() const noexcept override { return true; }

    std::vector<std::uint8_t> bytes;
    std::multimap<std::int64_t, std::int64_t> reactions;
    int reads = 0;
    int writes = 0;

private:
    std::uint8_t* at(std::int64_t address, std::size_t size)
    {
        if (address < 0 || static_cast<std::size_t>(address) + size > bytes.size()) {
            throw GenApi::PortError(PvResult::NetworkError, "no register at " + std::to_string(address));
        }
        return bytes.data() + address;
    }
};

inline std::uint32_t word_at(const std::vector<std::uint8_t>& bytes, std::int64_t address)
{
    std::uint32_t word = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        word = word << 8 | bytes[static_cast<std::size_t>(address) + i];
    }
    return word;
}

/// The word there is at least and at most that.
struct Condition {
    std::int64_t address;
    std::uint32_t least;
    std::uint32_t most;
};

/// Bytes that storing and restoring must bring back, if the conditions were met when they were stored.
struct Kept {
    std::string feature;
    std::int64_t address;
    std::size_t length;
    bool is_text;  ///< up to its first NUL
    std::vector<Condition> conditions;
};

}  // namespace generated
