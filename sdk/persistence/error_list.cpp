#include "sdk/persistence/error_list.h"

#include <algorithm>
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
    for (const ParameterFailure& failure : failures) {
        std::string line = failure.name;
        for (const SelectorValue& selector : failure.selectors) {
            line += (&selector == &failure.selectors.front() ? " (" : ", ") + selector.name + " " + selector.value;
        }
        line += failure.selectors.empty() ? "" : ")";
        const auto value = std::ranges::find_if(wanted, [&](const StoredValue& candidate) {
            return candidate.name == failure.name && candidate.selectors == failure.selectors;
        });
        if (value != wanted.end()) {
            line += " = " + value->value;
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
