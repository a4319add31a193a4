#include "sdk/browser/browser_state.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "sdk/base/failure.h"
#include "sdk/base/numbers.h"
#include "sdk/lists/PvPropertyList.h"

namespace vex::browser {

namespace {

constexpr std::string_view visibility_name = "BrowserVisibility";
constexpr std::string_view order_name = "BrowserOrder";
constexpr std::string_view collapsed_name = "BrowserClosedCategories";
constexpr std::string_view details_height_name = "BrowserDetailsHeight";
constexpr std::string_view tab_name = "BrowserTab";
constexpr std::array<std::string_view, column_count> width_names{"BrowserWidthName", "BrowserWidthValue",
                                                                 "BrowserWidthUnit", "BrowserWidthAccess"};
constexpr std::array<std::string_view, 4> visibilities{"Beginner", "Expert", "Guru", "Invisible"};
constexpr std::array<std::string_view, 2> orders{"Tree", "Alphabetical"};
constexpr std::int64_t longest_length = 10'000;
constexpr char separator = ';';

/// Thrown to the end of loading.
struct NoValue {
    const PvProperty& property;
};

template <std::size_t Count>
std::size_t index_in(const std::array<std::string_view, Count>& names, const PvProperty& property)
{
    const auto found = std::find(names.begin(), names.end(), trimmed(property.GetValue().view()));
    if (found == names.end()) {
        throw NoValue{property};
    }
    return static_cast<std::size_t>(found - names.begin());
}

std::int64_t number_in(const PvProperty& property, std::int64_t largest)
{
    std::int64_t number = 0;
    if (!property.GetValue(number).IsOK()) {
        throw NoValue{property};
    }
    return std::clamp<std::int64_t>(number, 0, largest);
}

std::set<std::string> names_in(std::string_view text)
{
    std::set<std::string> names;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(separator), text.size());
        if (const std::string_view name = trimmed(text.substr(0, end)); !name.empty()) {
            names.emplace(name);
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return names;
}

void take(const PvProperty& property, BrowserState& state)
{
    const std::string_view name = property.GetName().view();
    if (name == visibility_name) {
        state.visibility = static_cast<PvGenVisibility>(index_in(visibilities, property));
    } else if (name == order_name) {
        state.order = static_cast<Order>(index_in(orders, property));
    } else if (name == collapsed_name) {
        state.collapsed = names_in(property.GetValue().view());
    } else if (name == details_height_name) {
        state.details_height = static_cast<int>(number_in(property, longest_length));
    } else if (name == tab_name) {
        state.tab = static_cast<std::uint32_t>(number_in(property, UINT32_MAX));
    } else if (const auto width = std::find(width_names.begin(), width_names.end(), name); width != width_names.end()) {
        state.widths[static_cast<std::size_t>(width - width_names.begin())] =
            static_cast<int>(number_in(property, longest_length));
    }
}

PvString string_of(std::string_view text) { return PvString(text); }

void add_text(PvPropertyList& list, std::string_view name, std::string_view value)
{
    list.Add(PvProperty(string_of(name), string_of(value)));
}

void add_number(PvPropertyList& list, std::string_view name, std::int64_t number)
{
    add_text(list, name, to_text(number));
}

}  // namespace

bool is_visibility(PvGenVisibility visibility) noexcept
{
    return visibility >= PvGenVisibilityBeginner && visibility <= PvGenVisibilityInvisible;
}

PvResult save(const BrowserState& state, PvPropertyList* list)
{
    if (list == nullptr) {
        return failure(PvResult::InvalidParameter, "There is no property list to save the browser in");
    }
    if (state.visibility) {
        add_text(*list, visibility_name, visibilities[static_cast<std::size_t>(*state.visibility)]);
    }
    if (state.order) {
        add_text(*list, order_name, orders[static_cast<std::size_t>(*state.order)]);
    }
    if (state.collapsed) {
        std::string names;
        for (const std::string& name : *state.collapsed) {
            names += (names.empty() ? "" : std::string(1, separator)) + name;
        }
        add_text(*list, collapsed_name, names);
    }
    if (state.details_height) {
        add_number(*list, details_height_name, *state.details_height);
    }
    for (std::size_t column = 0; column < state.widths.size(); ++column) {
        if (state.widths[column]) {
            add_number(*list, width_names[column], *state.widths[column]);
        }
    }
    if (state.tab) {
        add_number(*list, tab_name, *state.tab);
    }
    return PvResult::OK;
}

PvResult load(const PvPropertyList* list, BrowserState& state)
{
    if (list == nullptr) {
        return failure(PvResult::InvalidParameter, "There is no property list to load the browser from");
    }
    BrowserState loaded = state;
    try {
        for (std::uint32_t index = 0; index < list->GetSize(); ++index) {
            take(*list->GetItem(index), loaded);
        }
    } catch (const NoValue& wrong) {
        return failure(PvResult::InvalidDataFormat, "The property ", wrong.property.GetName().view(), " cannot be \"",
                       wrong.property.GetValue().view(), "\"");
    }
    state = std::move(loaded);
    return PvResult::OK;
}

}  // namespace vex::browser
