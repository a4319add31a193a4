// Storing: parameters in groups with the same selectors, each group once for every combination of their values.

#include <algorithm>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "sdk/base/application_call.h"
#include "sdk/base/failure.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/genicam/selection.h"
#include "sdk/genicam/stored_values.h"

namespace vex {

namespace {

using GenApi::INode;
using genicam::noting;

struct Group {
    std::vector<INode*> selectors;  ///< one that depends on others after them
    std::vector<INode*> parameters;
};

/// The selectors of a node and theirs. Nothing when there are more than that, or when they are nested deeper.
std::optional<std::vector<INode*>> selectors_of(const INode& node, std::size_t most)
{
    struct Step {
        std::vector<INode*> selecting;
        std::size_t next = 0;
    };
    std::vector<INode*> found;
    std::vector<const INode*> path{&node};
    std::vector<Step> steps{{node.selecting()}};
    while (!steps.empty()) {
        Step& step = steps.back();
        if (step.next == step.selecting.size()) {
            if (steps.size() > 1) {
                found.push_back(const_cast<INode*>(path.back()));
            }
            path.pop_back();
            steps.pop_back();
            continue;
        }
        INode* const selector = step.selecting[step.next++];
        // selectors that select each other in a circle are followed once
        if (std::ranges::find(found, selector) != found.end() || std::ranges::find(path, selector) != path.end()) {
            continue;
        }
        if (found.size() + path.size() > most) {
            return std::nullopt;
        }
        path.push_back(selector);
        steps.push_back({selector->selecting()});
    }
    return found;
}

/// The values that an integer may be given; nothing when there are more than that.
std::optional<std::vector<std::string>> integers_of(INode& selector, std::size_t most)
{
    std::vector<std::int64_t> numbers = selector.valid_int_values();
    if (numbers.empty()) {
        const std::int64_t min = selector.int_min();
        const std::int64_t max = selector.int_max();
        const auto step = static_cast<std::uint64_t>(selector.int_increment());
        const std::uint64_t steps =
            max < min ? 0 : (static_cast<std::uint64_t>(max) - static_cast<std::uint64_t>(min)) / step;
        if (steps >= most) {
            return std::nullopt;
        }
        for (std::uint64_t i = 0; i <= steps; ++i) {
            numbers.push_back(static_cast<std::int64_t>(static_cast<std::uint64_t>(min) + i * step));
        }
    }
    if (numbers.size() > most) {
        return std::nullopt;
    }
    std::vector<std::string> values;
    for (const std::int64_t number : numbers) {
        values.push_back(std::to_string(number));
    }
    return values;
}

/// The values that a selector may be given at present; nothing when there are more than that.
std::optional<std::vector<std::string>> values_of(INode& selector, std::size_t most)
{
    std::vector<std::string> values;
    switch (selector.type()) {
    case GenApi::InterfaceType::integer: return integers_of(selector, most);
    case GenApi::InterfaceType::boolean: values = {"0", "1"}; break;
    case GenApi::InterfaceType::enumeration:
        for (INode* const entry : selector.children()) {
            if (GenApi::is_available(entry->access())) {
                values.emplace_back(entry->symbolic());
            }
        }
        break;
    default: return std::nullopt;
    }
    return values.size() <= most ? std::optional(std::move(values)) : std::nullopt;
}

class Storing {
public:
    Storing(PvGenParameterArray& array, const StoreLimits& limits)
        : array_(array), map_(*array.GetNodeMap()), limits_(limits), left_(limits.all_combinations)
    {}

    StoredValues run()
    {
        try {
            const bool prepared = genicam::execute_if_there(map_, "DeviceFeaturePersistenceStart", stored_.skipped);
            for (const Group& group : groups()) {
                store(group);
            }
            if (prepared) {
                genicam::execute_if_there(map_, "DeviceFeaturePersistenceEnd", stored_.skipped);
            }
        } catch (const GenApi::Error& error) {
            stored_.result = failure(error.code(), error.what());
        }
        return std::move(stored_);
    }

private:
    [[nodiscard]] std::vector<Group> groups()
    {
        std::vector<Group> result;
        std::map<std::vector<INode*>, std::size_t> known;
        for (std::uint32_t i = 0; i < array_.GetCount(); ++i) {
            INode* const node = array_.Get(i)->GetNode();
            if (!node->is_streamable() || node->type() == GenApi::InterfaceType::command) {
                continue;
            }
            std::optional<std::vector<INode*>> selectors = selectors_of(*node, limits_.selectors);
            if (!selectors) {
                skip(*node, {}, PvResult::NotSupported, "it has too many selectors");
                continue;
            }
            const auto [group, is_new] = known.emplace(*selectors, result.size());
            if (is_new) {
                result.push_back({std::move(*selectors), {}});
            }
            result[group->second].parameters.push_back(node);
        }
        return result;
    }

    void store(const Group& group)
    {
        genicam::Selection selection(map_);
        std::vector<SelectorValue> selected;
        store(group, 0, selection, selected, std::min(limits_.combinations, left_));
        selection.put_back(stored_.skipped);
    }

    /// Goes through the values of the group's selectors from `next` on, `most` combinations at the most.
    void store(const Group& group, std::size_t next, genicam::Selection& selection,
               std::vector<SelectorValue>& selected, std::size_t most)
    {
        if (next == group.selectors.size()) {
            left_ -= std::min<std::size_t>(left_, selected.empty() ? 0 : 1);
            for (INode* const parameter : group.parameters) {
                store(*parameter, selected);
            }
            return;
        }
        INode& selector = *group.selectors[next];
        if (!GenApi::is_readable(selector.access())) {
            // one description may serve many models: what the device has without this selector has one value
            store(group, next + 1, selection, selected, most);
            return;
        }
        std::vector<std::string> values;
        if (!noting(stored_.skipped, selector.name(), selected,
                    [&] { values = values_to_store(selector, selected, most); })) {
            return;
        }
        for (std::string& value : values) {
            selected.push_back({std::string(selector.name()), std::move(value)});
            if (noting(stored_.skipped, selector.name(), std::span(selected).first(selected.size() - 1),
                       [&] { selection.select(selected); })) {
                store(group, next + 1, selection, selected, most / values.size());
            }
            selected.pop_back();
        }
    }

    [[nodiscard]] std::vector<std::string> values_to_store(INode& selector, const std::vector<SelectorValue>& selected,
                                                           std::size_t most)
    {
        std::string present = selector.to_string();
        if (!GenApi::is_writable(selector.access())) {
            if (GenApi::is_writable(selector.access_when_idle())) {
                skip(selector, selected, PvResult::StateError,
                     "its other values are not stored: it is locked while the acquisition runs");
            }
            return {std::move(present)};
        }
        if (auto values = values_of(selector, most)) {
            return std::move(*values);
        }
        skip(selector, selected, PvResult::NotSupported, "its other values are not stored: there are too many");
        return {std::move(present)};
    }

    void store(INode& parameter, const std::vector<SelectorValue>& selected)
    {
        if (parameter.access_when_idle() != GenApi::AccessMode::read_write) {
            return;
        }
        noting(stored_.skipped, parameter.name(), selected, [&] {
            stored_.values.push_back({std::string(parameter.name()), parameter.to_string(), selected});
        });
    }

    void skip(const INode& node, const std::vector<SelectorValue>& selected, PvResult::Code code, const char* why)
    {
        stored_.skipped.push_back(
            {std::string(node.name()), selected, PvResult(code, std::string(node.name()) + ": " + why)});
    }

    PvGenParameterArray& array_;
    GenApi::INodeMap& map_;
    StoreLimits limits_;
    std::size_t left_;  ///< of the combinations for all parameters together
    StoredValues stored_;
};

}  // namespace

StoredValue store_value(INode& parameter)
{
    const auto selectors = selectors_of(parameter, StoreLimits{}.selectors);
    if (!selectors) {
        throw GenApi::Error(PvResult::NotSupported, std::string(parameter.name()) + ": it has too many selectors");
    }
    StoredValue stored{std::string(parameter.name()), {}, {}};
    if (parameter.type() != GenApi::InterfaceType::command) {
        stored.value = parameter.to_string();
    }
    for (INode* const selector : *selectors) {
        if (GenApi::is_readable(selector->access())) {
            stored.selectors.push_back({std::string(selector->name()), selector->to_string()});
        }
    }
    return stored;
}

StoredValues store_values(PvGenParameterArray& array, const StoreLimits& limits)
{
    if (array.GetNodeMap() == nullptr) {
        return {failure(PvResult::NotInitialized, "The parameter array has not been built yet"), {}, {}};
    }
    StoredValues stored = Storing(array, limits).run();
    ApplicationCall::operation_ends();
    return stored;
}

}  // namespace vex
