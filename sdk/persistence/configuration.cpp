#include "sdk/persistence/configuration.h"

#include <algorithm>

namespace vex::persistence {

void Configuration::store(Item item)
{
    const Item* const same = item.name.empty() ? nullptr : find(item.kind, item.name);
    if (same == nullptr) {
        add(std::move(item));
    } else {
        items_[static_cast<std::size_t>(same - items_.data())] = std::move(item);
    }
}

std::uint32_t Configuration::count(ItemKind kind) const noexcept
{
    return static_cast<std::uint32_t>(std::ranges::count(items_, kind, &Item::kind));
}

const Item* Configuration::find(ItemKind kind, std::string_view name) const noexcept
{
    const auto found = std::ranges::find_if(items_, [&](const Item& i) { return i.kind == kind && i.name == name; });
    return found != items_.end() ? &*found : nullptr;
}

const Item* Configuration::at(ItemKind kind, std::uint32_t index) const noexcept
{
    for (const Item& item : items_) {
        if (item.kind == kind && index-- == 0) {
            return &item;
        }
    }
    return nullptr;
}

}  // namespace vex::persistence
