// Selectors turned to the values that something is stored for, and back.
#pragma once

#include <chrono>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sdk/genapi/node_map.h"
#include "sdk/genicam/stored_values.h"

namespace vex::genicam {

/// The device cannot be asked any more: going on would only fail once per parameter.
[[nodiscard]] inline bool is_gone(PvResult::Code code) noexcept
{
    return code == PvResult::NotConnected || code == PvResult::Aborted;
}

/// Runs work on one node. Notes what keeps it from succeeding; throws GenApi::Error when the device is gone.
template <class Work>
bool noting(std::vector<ParameterFailure>& notes, std::string_view name, std::span<const SelectorValue> selectors,
            Work&& work)
{
    try {
        work();
        return true;
    } catch (const GenApi::Error& error) {
        if (is_gone(error.code())) {
            throw;
        }
        notes.push_back(
            {std::string(name), {selectors.begin(), selectors.end()}, PvResult(error.code(), error.what())});
        return false;
    }
}

/// Executes a command and waits, `most` at the longest, until it has finished. Throws GenApi::Error.
void execute_and_wait(GenApi::INode& command, std::chrono::milliseconds most);
/// The same, a tenth of a second at the longest, for a command that the device may have. False when it has no such
/// command or it could not be executed.
bool execute_if_there(GenApi::INodeMap& map, std::string_view name, std::vector<ParameterFailure>& notes);

/// Remembers what the selectors were before.
class Selection {
public:
    explicit Selection(GenApi::INodeMap& map) : map_(map) {}

    /// Gives each selector its value, the first one first. Throws GenApi::Error.
    void select(std::span<const SelectorValue> selectors);
    /// Notes the selectors that could not be put back. Throws GenApi::Error when the device is gone.
    void put_back(std::vector<ParameterFailure>& notes);

private:
    struct Original {
        std::vector<SelectorValue> outer;  ///< under which the selector had the value
        SelectorValue selector;
    };

    void turn(const SelectorValue& selector, std::span<const SelectorValue> outer, bool remembers);

    GenApi::INodeMap& map_;
    std::vector<Original> originals_;
    std::set<std::string> remembered_;
};

}  // namespace vex::genicam
