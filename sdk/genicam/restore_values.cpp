// Restoring: in passes, because what one parameter takes may depend on others that come later. A value that is in force
// is looked at again only when something may have changed it.

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
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

/// The hexadecimal digits of a register, as it writes them itself.
std::string digits_of(std::string_view text)
{
    std::string digits(text.substr(text.starts_with("0x") || text.starts_with("0X") ? 2 : 0));
    std::ranges::transform(digits, digits.begin(),
                           [](char c) { return c >= 'a' && c <= 'f' ? char(c - 'a' + 'A') : c; });
    return digits;
}

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
    if (node.type() == InterfaceType::raw_register) {
        return digits_of(a) == digits_of(b);
    }
    return false;
}

/// A device may have made `is` of what was written: a float rounded, a text cut, a register filled up.
bool is_made_of(const INode& node, std::string_view is, std::string_view written)
{
    if (node.type() == InterfaceType::floating) {
        constexpr double most = 0.1;
        const auto a = GenApi::parse_float(GenApi::trimmed(is));
        const auto b = GenApi::parse_float(GenApi::trimmed(written));
        return a && b && std::abs(*a - *b) <= most * std::max(std::abs(*a), std::abs(*b));
    }
    const bool is_register = node.type() == InterfaceType::raw_register;
    const std::string a = is_register ? digits_of(is) : std::string(is);
    const std::string b = is_register ? digits_of(written) : std::string(written);
    return !a.empty() && !b.empty() && (a.starts_with(b) || b.starts_with(a));
}

/// Devices round floats, cut texts and fill registers up; of these types a value is either taken or not.
bool is_exact(const INode& node) noexcept
{
    return node.type() == InterfaceType::integer || node.type() == InterfaceType::enumeration ||
           node.type() == InterfaceType::boolean;
}

/// Hears which nodes may have changed.
class Changes {
public:
    Changes() = default;
    ~Changes()
    {
        for (const auto& [node, id] : callbacks_) {
            node->remove_callback(id);
        }
    }
    Changes(const Changes&) = delete;
    Changes& operator=(const Changes&) = delete;

    void listen_to(INode& node)
    {
        if (callbacks_.contains(&node)) {
            return;
        }
        callbacks_.emplace(&node, node.on_change([heard = heard_](INode& changed) {
            const std::lock_guard lock(heard->mutex);
            heard->nodes.insert(&changed);
        }));
    }

    /// Those since the last call.
    std::set<INode*> take()
    {
        const std::lock_guard lock(heard_->mutex);
        return std::exchange(heard_->nodes, {});
    }

private:
    struct Heard {
        std::mutex mutex;
        std::set<INode*> nodes;
    };

    std::map<INode*, GenApi::CallbackId> callbacks_;
    std::shared_ptr<Heard> heard_ = std::make_shared<Heard>();  // a call under way outlives the registration
};

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
        // a selector that depends on others after them
        std::ranges::stable_sort(selectors_, {}, [](const Item& item) { return item.value->selectors.size(); });
        for (std::vector<Item>* items : {&items_, &selectors_}) {
            for (Item& item : *items) {
                items_of_[item.node].push_back(&item);
                changes_.listen_to(*item.node);
            }
        }
    }

    RestoredValues run()
    {
        try {
            const bool prepared = genicam::execute_if_there(map_, "DeviceRegistersStreamingStart", unusable_);
            if (!comes_to_rest()) {
                look_again();
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
        std::optional<std::string> original{};  ///< what it had before the first write
        bool is_settled = false;                ///< in force, and nothing has been heard since that may have changed it
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

    /// Goes on until nothing changes any more. False when it is not to be expected that this ever happens.
    bool comes_to_rest()
    {
        constexpr int most_in_vain = 6;
        std::size_t fewest = std::numeric_limits<std::size_t>::max();
        for (int in_vain = 0; in_vain < most_in_vain; ++in_vain) {
            open_ = 0;
            if (!makes_changes()) {
                return true;
            }
            if (open_ < fewest) {
                fewest = open_;
                in_vain = -1;
            }
        }
        return false;
    }

    /// One pass; true when it is worth another one.
    bool makes_changes()
    {
        not_put_back_.clear();
        genicam::Selection selection(map_);
        bool changed = false;
        const auto attempt = [&](Item& item) {
            const bool has_changed = restore(item, selection);
            changed |= has_changed;
            open_ += has_changed || item.failure ? 1 : 0;
        };
        // what is put back is then what was restored
        for (std::vector<Item>* items : {&selectors_, &items_}) {
            std::ranges::for_each(*items, attempt);
        }
        selection.put_back(not_put_back_);
        return changed;
    }

    /// True when the parameter has another value afterwards.
    bool restore(Item& item, genicam::Selection& selection)
    {
        if (item.is_settled) {
            return false;
        }
        INode& node = *item.node;
        const std::string& wanted = item.value->value;
        item.failure.reset();
        try {
            selection.select(item.value->selectors);
            // that a selector was turned has changed no value that was stored
            static_cast<void>(changes_.take());
            const std::optional<std::string> before = text_of(node);
            if (before && is_same(node, *before, wanted)) {
                item.is_settled = node.is_cached();
                return false;
            }
            if (!item.original) {
                item.original = before;
            }
            node.from_string(wanted);
            const std::optional<std::string> after = text_of(node, GenApi::ReadMode::fresh);
            unsettle_others(node);
            compare(item, after);
            item.is_settled = after && is_same(node, *after, wanted) && node.is_cached();
            return before != after;
        } catch (const GenApi::Error& error) {
            if (genicam::is_gone(error.code())) {
                throw;
            }
            item.failure = failure(error.code(), error.what());
            // a device may also have taken what it complains about
            unsettle_others(node);
            return false;
        }
    }

    /// After a write of that node, which is itself the same still for other values of its selectors. When it is a
    /// selector, so is what it selects.
    void unsettle_others(const INode& written)
    {
        for (INode* const node : changes_.take()) {
            if (node == &written) {
                continue;
            }
            for (Item* const item : items_of_[node]) {
                item->is_settled = item->is_settled && is_selected_by(*item, written);
            }
        }
    }

    static bool is_selected_by(const Item& item, const INode& selector)
    {
        return std::ranges::any_of(item.value->selectors,
                                   [&](const SelectorValue& each) { return each.name == selector.name(); });
    }

    /// What a device makes of a value that it takes is no failure; that it does not take it is one.
    static void compare(Item& item, const std::optional<std::string>& after)
    {
        const INode& node = *item.node;
        const std::string& wanted = item.value->value;
        if (!after || is_same(node, *after, wanted)) {
            return;
        }
        if (is_exact(node) || (item.original == after && !is_made_of(node, *after, wanted))) {
            item.failure =
                failure(PvResult::InvalidParameter, item.value->name, " is ", after->empty() ? "empty" : *after,
                        " after ", wanted.empty() ? "nothing" : wanted, " was written");
        }
    }

    /// Finds what others have changed after it was written for the last time.
    void look_again()
    {
        genicam::Selection selection(map_);
        for (std::vector<Item>* items : {&items_, &selectors_}) {
            for (Item& item : *items) {
                if (!item.is_settled && !item.failure) {
                    genicam::noting(unusable_, item.value->name, item.value->selectors, [&] {
                        selection.select(item.value->selectors);
                        compare(item, text_of(*item.node));
                    });
                }
            }
        }
        selection.put_back(not_put_back_);
    }

    /// Nothing when it cannot be read at present.
    static std::optional<std::string> text_of(INode& node, GenApi::ReadMode mode = GenApi::ReadMode::cached)
    {
        try {
            return node.to_string(mode);
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
        // a selector's former value may be one that it does not take any longer
        std::ranges::copy_if(not_put_back_, std::back_inserter(failures), [](const ParameterFailure& each) {
            return each.reason.GetCode() != PvResult::InvalidParameter;
        });
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
    std::map<const INode*, std::vector<Item*>> items_of_;
    Changes changes_;
    std::size_t open_ = 0;  ///< what the pass under way has changed, or failed to
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
