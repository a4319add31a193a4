// Which packets of a block have arrived: one bit a packet.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace vex::stream {

/// A set of packet IDs that grows with the highest ID and keeps its memory from block to block.
class PacketBitmap {
public:
    void clear() noexcept
    {
        std::fill(words_.begin(), words_.begin() + static_cast<std::ptrdiff_t>(used_), 0);
        used_ = 0;
    }

    [[nodiscard]] bool test(std::uint32_t id) const noexcept
    {
        const std::size_t word = id / 64;
        return word < used_ && ((words_[word] >> (id % 64)) & 1) != 0;
    }

    /// Throws std::bad_alloc, with the set unchanged.
    void set(std::uint32_t id)
    {
        const std::size_t word = id / 64;
        if (word >= used_) {
            if (word >= words_.size()) {
                words_.resize(std::max(word + 1, words_.size() * 2));
            }
            used_ = word + 1;
        }
        words_[word] |= std::uint64_t{1} << (id % 64);
    }

    /// Adds `count` IDs from `first` on. Throws std::bad_alloc, with the set unchanged.
    void set_run(std::uint32_t first, std::uint32_t count)
    {
        if (count == 0) {
            return;
        }
        const std::uint32_t last = first + count - 1;
        set(last);
        for (std::uint32_t id = first; id < last;) {
            const std::uint32_t in_word = std::min(64 - id % 64, last - id);
            words_[id / 64] |= (~std::uint64_t{0} >> (64 - in_word)) << (id % 64);
            id += in_word;
        }
    }

    void reset(std::uint32_t id) noexcept
    {
        if (id / 64 < used_) {
            words_[id / 64] &= ~(std::uint64_t{1} << (id % 64));
        }
    }

    /// Calls `gap(low, high)` for each range of absent IDs between `first` and `last`, ascending.
    template <typename Function>
    void for_each_gap(std::uint64_t first, std::uint64_t last, Function gap) const
    {
        for (std::uint64_t id = first; id <= last;) {
            id = next(id, last, false);
            if (id > last) {
                return;
            }
            const std::uint64_t end = next(id, last, true);
            gap(static_cast<std::uint32_t>(id), static_cast<std::uint32_t>(end - 1));
            id = end;
        }
    }

private:
    /// The first ID from `id` on that is present (or absent), `last` + 1 when there is none.
    [[nodiscard]] std::uint64_t next(std::uint64_t id, std::uint64_t last, bool present) const noexcept
    {
        while (id <= last) {
            const auto word = static_cast<std::size_t>(id / 64);  // of a 32-bit ID: fits
            if (word >= used_) {
                return present ? last + 1 : id;
            }
            const std::uint64_t bits = (present ? words_[word] : ~words_[word]) >> (id % 64);
            if (bits != 0) {
                return std::min<std::uint64_t>(id + static_cast<unsigned>(std::countr_zero(bits)), last + 1);
            }
            id = (std::uint64_t{word} + 1) * 64;
        }
        return last + 1;
    }

    std::vector<std::uint64_t> words_;
    std::size_t used_ = 0;  // words at the front that may hold bits
};

}  // namespace vex::stream
