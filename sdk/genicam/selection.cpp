#include "sdk/genicam/selection.h"

#include <chrono>
#include <thread>
#include <utility>

namespace vex::genicam {

namespace {

/// The same text for the same selector under the same outer ones, and for no other.
std::string key_of(const SelectorValue& selector, std::span<const SelectorValue> outer)
{
    std::string key = selector.name;
    for (const SelectorValue& each : outer) {
        key += '\0' + each.name + '\0' + each.value;
    }
    return key;
}

}  // namespace

void execute_and_wait(GenApi::INode& command, std::chrono::milliseconds most)
{
    constexpr std::chrono::milliseconds between(5);
    command.execute();
    for (auto waited = between; waited <= most && !command.is_done(); waited += between) {
        std::this_thread::sleep_for(between);
    }
}

bool execute_if_there(GenApi::INodeMap& map, std::string_view name, std::vector<ParameterFailure>& notes)
{
    GenApi::INode* const command = map.node(name);
    if (command == nullptr || command->type() != GenApi::InterfaceType::command ||
        !GenApi::is_writable(command->access())) {
        return false;
    }
    return noting(notes, name, {}, [&] { execute_and_wait(*command, std::chrono::milliseconds(100)); });
}

void Selection::select(std::span<const SelectorValue> selectors)
{
    for (std::size_t i = 0; i < selectors.size(); ++i) {
        turn(selectors[i], selectors.first(i), true);
    }
}

void Selection::turn(const SelectorValue& selector, std::span<const SelectorValue> outer, bool remembers)
{
    GenApi::INode* const node = map_.node(selector.name);
    if (node == nullptr || node->type() == GenApi::InterfaceType::command) {
        throw GenApi::Error(PvResult::NotFound, "There is no selector named \"" + selector.name + "\"");
    }
    std::string present = node->to_string();
    if (present == selector.value) {
        return;
    }
    if (remembers && remembered_.insert(key_of(selector, outer)).second) {
        originals_.push_back({{outer.begin(), outer.end()}, {selector.name, std::move(present)}});
    }
    node->from_string(selector.value);
}

void Selection::put_back(std::vector<ParameterFailure>& notes)
{
    std::vector<Original> originals;
    originals.swap(originals_);
    remembered_.clear();
    // the innermost were remembered last: the outer ones are still to be turned for their sake
    for (auto original = originals.rbegin(); original != originals.rend(); ++original) {
        const std::span<const SelectorValue> outer = original->outer;
        noting(notes, original->selector.name, outer, [&] {
            for (std::size_t i = 0; i < outer.size(); ++i) {
                turn(outer[i], outer.first(i), false);
            }
            turn(original->selector, outer, false);
        });
    }
}

}  // namespace vex::genicam
