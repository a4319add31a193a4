// The small vocabulary of the node map: what a node is, what may be done with it and how it is shown.
#pragma once

#include <cstdint>
#include <string>

namespace GenApi {

/// What a node offers, whatever element of the description it was made from: an IntSwissKnife is an integer, a
/// Converter a float.
enum class InterfaceType : std::uint8_t {
    none,  ///< carries no value (a bare Node, an element of another technology)
    category,
    integer,
    floating,
    boolean,
    enumeration,
    enum_entry,
    command,
    string,
    raw_register,
    port,
};

enum class AccessMode : std::uint8_t {
    not_implemented,  ///< the device does not have it
    not_available,    ///< the device has it, but not in its present state
    write_only,
    read_only,
    read_write,
};

[[nodiscard]] constexpr bool is_readable(AccessMode mode) noexcept { return mode >= AccessMode::read_only; }
[[nodiscard]] constexpr bool is_writable(AccessMode mode) noexcept
{
    return mode == AccessMode::write_only || mode == AccessMode::read_write;
}
[[nodiscard]] constexpr bool is_available(AccessMode mode) noexcept { return mode >= AccessMode::write_only; }

/// For whom a feature is meant; each level includes the ones before it.
enum class Visibility : std::uint8_t { beginner, expert, guru, invisible };

enum class NameSpace : std::uint8_t { standard, custom };

/// How a number wants to be shown and edited.
enum class Representation : std::uint8_t {
    linear,
    logarithmic,
    boolean,
    pure_number,
    hex_number,
    ipv4_address,
    mac_address,
};

enum class DisplayNotation : std::uint8_t { automatic, fixed, scientific };

/// Whether a read may be answered from what was read or written before.
enum class ReadMode : std::uint8_t {
    cached,  ///< as the description allows
    fresh,   ///< from the device, whatever is cached
};

/// What the head of a description says about itself.
struct DescriptionInfo {
    std::string model_name;
    std::string vendor_name;
    std::string tool_tip;
    std::string standard_name_space;
    std::string product_guid;
    std::string version_guid;
    int schema_major = 1;
    int schema_minor = 0;
    int schema_sub_minor = 0;
    int major = 0;
    int minor = 0;
    int sub_minor = 0;
};

/// Something in a description that was passed over or made a node unusable.
struct Diagnostic {
    std::uint32_t line = 0;  ///< in the text as it was given, from 1; 0 when it belongs to no line
    std::string node;        ///< empty when it belongs to no node
    std::string text;
};

}  // namespace GenApi
