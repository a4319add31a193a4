// A hash table from names to small numbers: eight bytes a slot, no allocation a name.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <random>
#include <string_view>
#include <vector>

namespace GenApi {

/// The table keeps hashes and indexes; `name_of(index)` gives the name that belongs to an index, so that names are
/// stored once, by whoever owns them.
class NameTable {
public:
    static constexpr std::uint32_t not_found = 0xFFFFFFFF;

    void reserve(std::size_t names) { resize(std::bit_ceil(names * 2 + 8)); }

    /// False, and nothing changed, when the name is already there.
    template <class NameOf>
    bool insert(std::string_view name, std::uint32_t index, const NameOf& name_of)
    {
        if ((size_ + 1) * 2 > slots_.size()) {
            resize(slots_.empty() ? 16 : slots_.size() * 2);
        }
        const std::uint32_t hash = hash_of(name);
        std::size_t at = hash & mask();
        for (; slots_[at].index != not_found; at = (at + 1) & mask()) {
            if (slots_[at].hash == hash && name_of(slots_[at].index) == name) {
                return false;
            }
        }
        slots_[at] = {hash, index};
        ++size_;
        return true;
    }

    template <class NameOf>
    [[nodiscard]] std::uint32_t find(std::string_view name, const NameOf& name_of) const noexcept
    {
        if (slots_.empty()) {
            return not_found;
        }
        const std::uint32_t hash = hash_of(name);
        for (std::size_t at = hash & mask(); slots_[at].index != not_found; at = (at + 1) & mask()) {
            if (slots_[at].hash == hash && name_of(slots_[at].index) == name) {
                return slots_[at].index;
            }
        }
        return not_found;
    }

    /// Gives a name that is already there another index.
    template <class NameOf>
    void replace(std::string_view name, std::uint32_t index, const NameOf& name_of) noexcept
    {
        const std::uint32_t hash = hash_of(name);
        for (std::size_t at = hash & mask(); slots_[at].index != not_found; at = (at + 1) & mask()) {
            if (slots_[at].hash == hash && name_of(slots_[at].index) == name) {
                slots_[at].index = index;
                return;
            }
        }
    }

private:
    struct Slot {
        std::uint32_t hash = 0;
        std::uint32_t index = not_found;
    };

    template <class Word>
    static std::uint64_t load(const char* at) noexcept
    {
        Word word;
        std::memcpy(&word, at, sizeof(word));
        return word;
    }

    /// Folded products of eight bytes at a time, from a start that differs in every process, so that no description
    /// can hold names made to collide. The last step overlaps the one before rather than look at single bytes.
    [[nodiscard]] std::uint32_t hash_of(std::string_view name) const noexcept
    {
        std::uint64_t hash = seed_ ^ name.size();
        const char* at = name.data();
        std::size_t left = name.size();
        for (; left > 8; at += 8, left -= 8) {
            hash = folded_product(hash ^ load<std::uint64_t>(at));
        }
        if (name.size() >= 8) {
            hash ^= load<std::uint64_t>(at + left - 8);
        } else if (left >= 4) {
            hash ^= load<std::uint32_t>(at) << 32 | load<std::uint32_t>(at + left - 4);
        } else if (left > 0) {
            hash ^= load<std::uint8_t>(at) << 16 | load<std::uint8_t>(at + left / 2) << 8 |
                    load<std::uint8_t>(at + left - 1);
        }
        return static_cast<std::uint32_t>(folded_product(hash));
    }

    static std::uint64_t folded_product(std::uint64_t value) noexcept
    {
        constexpr std::uint64_t factor = 0x9E3779B97F4A7C15;
        value ^= 0x2D358DCCAA6C78A5;
#ifdef __SIZEOF_INT128__
        __extension__ using Wide = unsigned __int128;
        const Wide product = Wide{value} * factor;
        return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
#else
        // 32-bit compilers have no such type: the high half of the product from products of halves
        const std::uint64_t low = value & 0xFFFFFFFF;
        const std::uint64_t high = value >> 32;
        const std::uint64_t middle = high * (factor & 0xFFFFFFFF) + ((low * (factor & 0xFFFFFFFF)) >> 32);
        const std::uint64_t cross = low * (factor >> 32) + (middle & 0xFFFFFFFF);
        return (value * factor) ^ (high * (factor >> 32) + (middle >> 32) + (cross >> 32));
#endif
    }

    static std::uint64_t process_seed()
    {
        static const std::uint64_t value = (std::uint64_t{std::random_device{}()} << 32) | std::random_device{}();
        return value;
    }

    [[nodiscard]] std::size_t mask() const noexcept { return slots_.size() - 1; }

    void resize(std::size_t slots)
    {
        if (slots <= slots_.size()) {
            return;
        }
        std::vector<Slot> old(slots);
        old.swap(slots_);
        for (const Slot& slot : old) {
            if (slot.index != not_found) {
                std::size_t at = slot.hash & mask();
                while (slots_[at].index != not_found) {
                    at = (at + 1) & mask();
                }
                slots_[at] = slot;
            }
        }
    }

    std::vector<Slot> slots_;
    std::size_t size_ = 0;
    std::uint64_t seed_ = process_seed();
};

}  // namespace GenApi
