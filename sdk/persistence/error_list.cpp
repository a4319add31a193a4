#include "sdk/persistence/error_list.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace vex::persistence {

ErrorList::ErrorList(PvStringList* list, PvString prefix) : list_(list), prefix_(std::move(prefix))
{
    if (list != nullptr) {
        lifetime_ = list->lifetime();
    }
}

void ErrorList::report(std::span<const ParameterFailure> failures, std::span<const StoredValue> wanted) const
{
    if (failures.empty()) {
        return;
    }
    // a file of another model may fail in all of many thousand values
    std::unordered_multimap<std::string_view, const StoredValue*> by_name;
    for (const StoredValue& value : wanted) {
        by_name.emplace(value.name, &value);
    }
    for (const ParameterFailure& failure : failures) {
        std::string line = failure.name;
        for (const SelectorValue& selector : failure.selectors) {
            line += (&selector == &failure.selectors.front() ? " (" : ", ") + selector.name + " " + selector.value;
        }
        line += failure.selectors.empty() ? "" : ")";
        const auto [begin, end] = by_name.equal_range(failure.name);
        const auto value = std::find_if(
            begin, end, [&](const auto& candidate) { return candidate.second->selectors == failure.selectors; });
        if (value != end) {
            line += " = " + value->second->value;
        }
        add(line + ": " + std::string(failure.reason.description()));
    }
}

void ErrorList::add(const std::string& line) const
{
    if (!lifetime_.expired()) {
        list_->Add(PvString(prefix_.empty() ? line : prefix_.str() + ": " + line));
    }
}

}  // namespace vex::persistence
