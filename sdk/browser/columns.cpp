#include "sdk/browser/columns.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace vex::browser {

namespace {

constexpr auto name_column = static_cast<std::size_t>(Column::name);
constexpr auto value_column = static_cast<std::size_t>(Column::value);

}  // namespace

Widths fitted(const Widths& own, int room, int least)
{
    const int name = own[name_column];
    const int value = own[value_column];
    for (std::size_t column = 0; column < own.size(); ++column) {
        room -= column != name_column && column != value_column ? own[column] : 0;
    }
    Widths shown = own;
    if (room >= name + value) {
        shown[value_column] = room - name;
        return shown;
    }
    const int least_name = std::min(least, name);
    const int least_value = std::min(least, value);
    const auto share = static_cast<int>(std::int64_t{room} * name / std::max(name + value, 1));
    shown[name_column] = std::max(std::min(share, room - least_value), least_name);
    shown[value_column] = std::max(room - shown[name_column], least_value);
    return shown;
}

}  // namespace vex::browser
