// Restoring: in passes over all values, because what one parameter takes may depend on others that come later.

#include <algorithm>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "sdk/base/application_call.h"
#include "sdk/base/failure.h"
#include "sdk/genapi/numbers.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/genicam/results.h"
#include "sdk/genicam/selection.h"
#include "sdk/genicam/stored_values.h"

namespace vex {

namespace {

using GenApi::INode;
using GenApi::InterfaceType;

/// The texts mean the same value of that node.
bool is_same(const INode& node, std::string_view a, std::string_view b)
{
    if (a == b) {
        return true;
    }
    if (node.type() == InterfaceType::integer) {
        const auto number = GenApi::parse_integer(GenApi::trimmed(a));
        return number && number == GenApi::parse_integer(GenApi::trimmed(b));
    }
    if (node.type() == InterfaceType::floating) {
        const auto number = GenApi::parse_float(GenApi::trimmed(a));
        return number && number == GenApi::parse_float(GenApi::trimmed(b));
    }
    return false;
}

/// Devices round floats, cut texts and fill registers up; of these types a value is either taken or not.
bool is_exact(const INode& node) noexcept
{
    return node.type() == InterfaceType::integer || node.type() == InterfaceType::enumeration ||
           node.type() == InterfaceType::boolean;
}

class Restoring {
public:
    Restoring(PvGenParameterArray& array, std::span<const StoredValue> values)
        : array_(array), map_(*array.GetNodeMap())
    {
        std::set<std::string_view> selectors;
        for (const StoredValue& value : values) {
            for (const SelectorValue& selector : value.selectors) {
                selectors.insert(selector.name);
            }
        }
        for (const StoredValue& value : values) {
            add(value, selectors.contains(value.name));
        }
        // the more a selector depends on others, the earlier it gets its own value
        std::ranges::stable_sort(selectors_, std::ranges::greater(),
                                 [](const Item& item) { return item.value->selectors.size(); });
    }

    RestoredValues run()
    {
        constexpr int most_passes = 6;
        try {
            const bool prepared = genicam::execute_if_there(map_, "DeviceRegistersStreamingStart", unusable_);
            for (int pass = 0; pass < most_passes && makes_changes(); ++pass) {
            }
            if (prepared) {
                genicam::execute_if_there(map_, "DeviceRegistersStreamingEnd", unusable_);
                check_consistency();
            }
        } catch (const GenApi::Error& error) {
            return {failure(error.code(), error.what()), collect()};
        }
        std::vector<ParameterFailure> failures = collect();
        return {result_of(failures), std::move(failures)};
    }

private:
    struct Item {
        const StoredValue* value;
        INode* node;
        std::optional<PvResult> failure{};
    };

    void add(const StoredValue& value, bool is_selector)
    {
        const PvGenParameter* const parameter = array_.Get(PvString(std::string_view(value.name)));
        if (parameter == nullptr) {
            unusable_.push_back({value.name, value.selectors,
                                 failure(PvResult::NotFound, "There is no parameter named \"", value.name, "\"")});
        } else if (parameter->GetNode()->type() == InterfaceType::command) {
            unusable_.push_back({value.name, value.selectors,
                                 failure(PvResult::InvalidParameter, value.name, " is a command and has no value")});
        } else {
            (is_selector ? selectors_ : items_).push_back({&value, parameter->GetNode()});
        }
    }

    /// One pass; true when it is worth another one.
    bool makes_changes()
    {
        not_put_back_.clear();
        genicam::Selection selection(map_);
        bool changed = false;
        for (Item& item : items_) {
            changed |= restore(item, selection);
        }
        selection.put_back(not_put_back_);
        for (Item& item : selectors_) {
            if (item.value->selectors.empty()) {
                selection.put_back(not_put_back_);
            }
            changed |= restore(item, selection);
        }
        selection.put_back(not_put_back_);
        return changed;
    }

    /// True when the parameter has another value afterwards.
    static bool restore(Item& item, genicam::Selection& selection)
    {
        INode& node = *item.node;
        const std::string& wanted = item.value->value;
        item.failure.reset();
        try {
            selection.select(item.value->selectors);
            const std::optional<std::string> before = text_of(node);
            if (before && is_same(node, *before, wanted)) {
                return false;
            }
            node.from_string(wanted);
            const std::optional<std::string> after = text_of(node);
            if (after && is_exact(node) && !is_same(node, *after, wanted)) {
                item.failure = failure(PvResult::InvalidParameter, item.value->name, " is ", *after, " after ", wanted,
                                       " was written");
            }
            return before != after;
        } catch (const GenApi::Error& error) {
            if (genicam::is_gone(error.code())) {
                throw;
            }
            item.failure = failure(error.code(), error.what());
            return false;
        }
    }

    /// Nothing when it cannot be read at present.
    static std::optional<std::string> text_of(INode& node)
    {
        try {
            return node.to_string();
        } catch (const GenApi::Error& error) {
            if (genicam::is_gone(error.code())) {
                throw;
            }
            return std::nullopt;
        }
    }

    void check_consistency()
    {
        constexpr const char* name = "DeviceRegistersValid";
        INode* const valid = map_.node(name);
        if (valid == nullptr || valid->type() != InterfaceType::boolean || !GenApi::is_readable(valid->access())) {
            return;
        }
        genicam::noting(unusable_, name, {}, [&] {
            if (!valid->bool_value(GenApi::ReadMode::fresh)) {
                throw GenApi::Error(PvResult::StateError, "The device says that its settings do not fit together");
            }
        });
    }

    [[nodiscard]] std::vector<ParameterFailure> collect()
    {
        std::vector<ParameterFailure> failures;
        for (const std::vector<Item>* items : {&items_, &selectors_}) {
            for (const Item& item : *items) {
                if (item.failure) {
                    failures.push_back({item.value->name, item.value->selectors, *item.failure});
                }
            }
        }
        failures.insert(failures.end(), unusable_.begin(), unusable_.end());
        failures.insert(failures.end(), not_put_back_.begin(), not_put_back_.end());
        return failures;
    }

    [[nodiscard]] static PvResult result_of(const std::vector<ParameterFailure>& failures)
    {
        constexpr std::size_t most_named = 20;
        if (failures.empty()) {
            return PvResult::OK;
        }
        std::string text = failures.size() == 1
                               ? "1 parameter could not be restored: "
                               : std::to_string(failures.size()) + " parameters could not be restored: ";
        for (std::size_t i = 0; i < std::min(failures.size(), most_named); ++i) {
            text += (i == 0 ? "" : "; ") + text_of(failures[i]);
        }
        if (failures.size() > most_named) {
            text += "; and others";
        }
        return {PvResult::GenericError, std::move(text)};
    }

    [[nodiscard]] static std::string text_of(const ParameterFailure& failure)
    {
        std::string label = failure.name;
        for (const SelectorValue& selector : failure.selectors) {
            label += (&selector == &failure.selectors.front() ? " (" : ", ") + selector.name + " " + selector.value;
        }
        label += failure.selectors.empty() ? "" : ")";
        const std::string_view reason = failure.reason.description();
        // most reasons begin with the name of what they are about
        return label == failure.name && reason.starts_with(label) ? std::string(reason)
                                                                  : label + ": " + std::string(reason);
    }

    PvGenParameterArray& array_;
    GenApi::INodeMap& map_;
    std::vector<Item> items_;
    std::vector<Item> selectors_;  ///< what other values are stored for
    std::vector<ParameterFailure> unusable_;
    std::vector<ParameterFailure> not_put_back_;
};

}  // namespace

RestoredValues restore_values(PvGenParameterArray& array, std::span<const StoredValue> values)
{
    if (array.GetNodeMap() == nullptr) {
        return {failure(PvResult::NotInitialized, "The parameter array has not been built yet"), {}};
    }
    RestoredValues restored = Restoring(array, values).run();
    ApplicationCall::operation_ends();
    return restored;
}

PvResult execute_stored(PvGenParameterArray& array, const StoredValue& command)
{
    GenApi::INodeMap* const map = array.GetNodeMap();
    GenApi::INode* const node = map != nullptr ? map->node(command.name) : nullptr;
    if (node == nullptr) {
        return failure(PvResult::NotFound, "There is no command named \"", command.name, "\"");
    }
    PvResult result;
    std::vector<ParameterFailure> not_put_back;
    const PvResult selected = genicam::result_of([&] {
        genicam::Selection selection(*map);
        result = genicam::result_of([&] {
            selection.select(command.selectors);
            genicam::execute_and_wait(*node, std::chrono::seconds(5));
        });
        selection.put_back(not_put_back);
    });
    ApplicationCall::operation_ends();
    return result.IsOK() ? selected : result;
}

}  // namespace vex
