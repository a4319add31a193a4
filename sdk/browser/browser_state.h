// What a browser looks like, as properties that are kept between two runs of a program.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <set>
#include <string>

#include "sdk/base/PvResult.h"
#include "sdk/browser/feature_tree.h"

class PvPropertyList;

namespace vex::browser {

enum class Column { name, value, unit, access };
inline constexpr int column_count = 4;

/// Nothing where a list does not tell.
struct BrowserState {
    std::optional<PvGenVisibility> visibility{};            ///< BrowserVisibility: Beginner, Expert, Guru or Invisible
    std::optional<Order> order{};                           ///< BrowserOrder: Tree or Alphabetical
    std::optional<std::set<std::string>> collapsed{};       ///< BrowserClosedCategories: names with semicolons between
    std::optional<int> details_height{};                    ///< BrowserDetailsHeight: in 1/96 inch, 0 to 10000
    std::array<std::optional<int>, column_count> widths{};  ///< BrowserWidthName, -Value, -Unit, -Access: the same
    std::optional<std::uint32_t> tab{};                     ///< BrowserTab: from 0

    friend bool operator==(const BrowserState&, const BrowserState&) = default;
};

/// Beginner to Invisible, and nothing else.
[[nodiscard]] bool is_visibility(PvGenVisibility visibility) noexcept;

/// Adds a property for everything that is told. InvalidParameter for null.
PvResult save(const BrowserState& state, PvPropertyList* list);
/// Reads the properties that it knows; where there are several of a name, the last. Sizes beyond their range are taken
/// as its end. InvalidParameter for null, InvalidDataFormat for a value that is none; `state` is left as it was then.
PvResult load(const PvPropertyList* list, BrowserState& state);

}  // namespace vex::browser
