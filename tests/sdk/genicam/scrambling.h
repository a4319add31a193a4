// Features set to whatever they take.
#pragma once

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

#include "tests/sdk/genicam/generated_camera.h"

namespace generated {

inline std::int64_t random_integer(GenApi::INode& node, Dice& dice)
{
    if (const std::vector<std::int64_t> valid = node.valid_int_values(); !valid.empty()) {
        return valid[dice.pick(valid.size())];
    }
    const std::int64_t min = node.int_min();
    const std::int64_t max = node.int_max();
    const auto step = static_cast<std::uint64_t>(node.int_increment());
    const std::uint64_t steps =
        max < min ? 0 : (static_cast<std::uint64_t>(max) - static_cast<std::uint64_t>(min)) / step;
    const std::uint64_t chosen =
        steps == std::numeric_limits<std::uint64_t>::max() ? dice.bits() : dice.bits() % (steps + 1);
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(min) + chosen * step);
}

inline double random_float(GenApi::INode& node, Dice& dice)
{
    const double min = std::max(node.float_min(), -1e6);
    const double max = std::min(node.float_max(), 1e6);
    const auto part = static_cast<double>(dice.pick(1000)) / 1000;
    return std::min(max, min + (max - min) * part);
}

inline void set_random_entry(GenApi::INode& node, Dice& dice)
{
    std::vector<GenApi::INode*> entries = node.children();
    std::erase_if(entries, [](GenApi::INode* entry) { return !GenApi::is_available(entry->access()); });
    if (!entries.empty()) {
        node.set_entry(entries[dice.pick(entries.size())]->symbolic());
    }
}

/// Throws what the node throws.
inline void set_random(GenApi::INode& node, Dice& dice)
{
    switch (node.type()) {
    case GenApi::InterfaceType::integer: node.set_int_value(random_integer(node, dice)); break;
    case GenApi::InterfaceType::floating: node.set_float_value(random_float(node, dice)); break;
    case GenApi::InterfaceType::boolean: node.set_bool_value(dice.chance()); break;
    case GenApi::InterfaceType::enumeration: set_random_entry(node, dice); break;
    case GenApi::InterfaceType::string: {
        const auto longest = static_cast<std::size_t>(std::min<std::int64_t>(node.string_max_length(), 64));
        std::string text(dice.pick(longest + 1), ' ');
        std::ranges::generate(text, [&] { return static_cast<char>(' ' + dice.pick(95)); });
        node.set_string_value(text);
        break;
    }
    case GenApi::InterfaceType::raw_register: {
        std::vector<std::uint8_t> bytes(static_cast<std::size_t>(node.register_length()));
        std::ranges::generate(bytes, [&] { return static_cast<std::uint8_t>(dice.pick(256)); });
        node.set_bytes(bytes);
        break;
    }
    default: break;
    }
}

/// Sets so many features, picked from those, one after the other; what one does not take is left.
inline void scramble(const std::vector<GenApi::INode*>& features, Dice& dice, std::size_t times)
{
    for (std::size_t i = 0; i < times; ++i) {
        GenApi::INode& node = *features[dice.pick(features.size())];
        try {
            if (GenApi::is_writable(node.access())) {
                set_random(node, dice);
            }
        } catch (const GenApi::Error&) {
        }
    }
}

}  // namespace generated
