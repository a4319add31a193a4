#include "sdk/device/session_memory.h"

#include <algorithm>
#include <span>
#include <string>
#include <utility>

#include "sdk/genapi/node_map.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/genicam/results.h"

namespace vex::device {

namespace {

/// SFNC: the only command that changes settings as a whole.
constexpr std::string_view load_user_set = "UserSetLoad";

constexpr std::string_view parameters_locked = "TLParamsLocked";

/// The lock keeps parameters from being written while an acquisition runs. Not every device has it.
void set_lock(GenApi::INodeMap& map, bool locked)
{
    if (GenApi::INode* const lock = map.node(parameters_locked)) {
        static_cast<void>(genicam::result_of([&] { lock->set_int_value(locked ? 1 : 0); }));
    }
}

bool is_command(const GenApi::INode& node) { return node.type() == GenApi::InterfaceType::command; }

/// Follows what an acquisition command does; false for another node.
bool follow_acquisition(std::string_view name, std::atomic<bool>& acquiring)
{
    if (name == "AcquisitionStart") {
        acquiring = true;
        return true;
    }
    if (name == "AcquisitionStop" || name == "AcquisitionAbort") {
        acquiring = false;
        return true;
    }
    return false;
}

}  // namespace

void SessionMemory::begin(const PvGenParameterArray& array)
{
    end();
    tells_persistent_ = std::ranges::any_of(array.GetNodeMap()->features(),
                                            [](const GenApi::INode* node) { return node->is_streamable(); });
    begun_ = true;
}

void SessionMemory::read(PvGenParameterArray& array)
{
    // a connection must not take long: of tables with more places than this only what is written is remembered
    constexpr StoreLimits limits{.combinations = 256, .all_combinations = 2048};
    StoredValues stored = store_values(array, limits);
    const std::scoped_lock lock(mutex_);
    at_begin_ = std::move(stored.values);
}

void SessionMemory::end()
{
    begun_ = false;
    acquiring_ = false;
    locked_ = false;
    const std::scoped_lock lock(mutex_);
    at_begin_.clear();
    writes_.clear();
    streams_.clear();
}

void SessionMemory::written(PvGenParameter& parameter)
{
    if (!begun_) {
        return;
    }
    GenApi::INode& node = *parameter.GetNode();
    if (node.name() == parameters_locked) {
        static_cast<void>(genicam::result_of([&] { locked_ = node.int_value() != 0; }));
        return;
    }
    if (is_command(node) && (follow_acquisition(node.name(), acquiring_) || node.name() != load_user_set)) {
        return;
    }
    if (!is_command(node) && !is_setting(node)) {
        return;
    }
    Write write;
    write.execute = is_command(node);
    const PvResult read = genicam::result_of([&] { write.what = store_value(node); });
    if (!read.IsOK()) {
        return;  // of a device that has just gone, or a value that it does not tell
    }
    const std::scoped_lock lock(mutex_);
    std::erase_if(writes_, [&](const Write& earlier) {
        return earlier.what.name == write.what.name && earlier.what.selectors == write.what.selectors;
    });
    writes_.push_back(std::move(write));
}

bool SessionMemory::is_setting(const GenApi::INode& node) const
{
    return tells_persistent_ ? node.is_streamable() : !node.name().starts_with("Gev");
}

void SessionMemory::set_stream(std::uint32_t channel, const StreamSetting& setting)
{
    if (begun_) {
        const std::scoped_lock lock(mutex_);
        streams_[channel] = setting;
    }
}

std::map<std::uint32_t, StreamSetting> SessionMemory::streams() const
{
    const std::scoped_lock lock(mutex_);
    return streams_;
}

PvResult SessionMemory::restore(PvGenParameterArray& array)
{
    std::vector<StoredValue> values;
    std::vector<Write> writes;
    {
        const std::scoped_lock lock(mutex_);
        values = at_begin_;
        writes = writes_;
    }
    set_lock(*array.GetNodeMap(), false);
    PvResult worst;
    const auto put_back = [&] {
        const RestoredValues restored = restore_values(array, values);
        values.clear();
        if (worst.IsOK()) {
            worst = restored.result;
        }
    };
    for (Write& write : writes) {
        if (!write.execute) {
            values.push_back(std::move(write.what));
            continue;
        }
        put_back();
        const PvResult executed = execute_stored(array, write.what);
        if (worst.IsOK()) {
            worst = executed;
        }
    }
    put_back();
    return worst;
}

PvResult SessionMemory::restart(PvGenParameterArray& array)
{
    GenApi::INodeMap& map = *array.GetNodeMap();
    return genicam::result_of([&] {
        GenApi::INode* const mode = map.node("AcquisitionMode");
        GenApi::INode* const start = map.node("AcquisitionStart");
        if (!acquiring_ || start == nullptr || (mode != nullptr && mode->to_string() != "Continuous")) {
            return;
        }
        set_lock(map, locked_);
        start->execute();
    });
}

}  // namespace vex::device
