// The bridges from the serial ports of a device: started and stopped, counted, stored and recovered.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "sdk/base/PvResult.h"
#include "sdk/base/PvString.h"
#include "sdk/bridge_manager/jobs.h"
#include "sdk/bridge_manager/port.h"
#include "sdk/bridge_manager/settings.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/lists/PvPropertyList.h"

namespace vex::bridge_manager {

enum class State { stopped, starting, running, stopping };

/// What is known of one port at the moment.
struct Row {
    std::string port{};  ///< empty past the last one
    Settings settings{};
    State state = State::stopped;
    PvResult failure{};  ///< of what was done last; a bridge may run while its parameters could not be made
    bool has_array = false;
    PvString array_name{};  ///< empty without an array
    Facts facts{};
};

/// A row for each port of a device, by index.
///
/// start, stop, change and recover_later return at once. What they begin goes on on a thread of the manager, one after
/// the other, and what came of it is known after take(). set_ports, load and recover wait until that has ended, and do
/// their own work on the calling thread.
///
/// Arrays are told by take, load and recover when they were made, and by whatever takes one away before it goes; always
/// on the calling thread. Who is told may call any member, and end the manager; the object must stay until the outer
/// member has returned.
///
/// Thread safety: one thread.
class Manager {
public:
    struct Events {
        /// The array is connected, and its row has it.
        std::function<void(PvGenParameterArray&, const PvString& name)> created{};
        /// The array still works, and its row has it no more.
        std::function<void(PvGenParameterArray&)> deleted{};
    };

    /// `told` is called on the manager's thread when take() has something to do; it must not call the manager.
    Manager(Events events, std::function<void()> told);
    Manager(const Manager&) = delete;
    Manager& operator=(const Manager&) = delete;
    ~Manager();

    /// Ends all bridges, without events, for good. Waits for what is under way.
    void end();

    /// Ends the bridges of the ports before. The new ones have the usual settings, and no bridge runs.
    void set_ports(std::vector<std::shared_ptr<Port>> ports);

    [[nodiscard]] std::size_t size() const noexcept { return entries_.size(); }
    [[nodiscard]] Row row(std::size_t index) const;
    /// Null where there is none. Lives until it was told that it goes.
    [[nodiscard]] PvGenParameterArray* array(std::size_t index) const;

    /// Nothing for a row that is not stopped.
    void start(std::size_t index);
    /// Nothing for a row that does not run, nor is about to.
    void stop(std::size_t index);
    /// Sets the lines of a bridge that runs, and starts it again where that is not enough. InvalidParameter, StateError
    /// while the row is being started or stopped; whether a bridge that runs could be set so is told by its row.
    [[nodiscard]] PvResult change(std::size_t index, const Settings& settings);
    void reset_statistics(std::size_t index);
    /// As recover().
    void recover_later();
    /// Makes what has ended known.
    void take();

    /// Stores the settings of all rows (stored_settings.h), and which bridges run.
    void save(PvPropertyList& list) const;
    /// Sets, starts and stops bridges as the list says; rows that it does not mention, and in a row what it does not
    /// tell, stay. A bridge that runs as it should is left alone. Appends a line for everything that could not be done,
    /// and goes on; the result is the first of them. StateError without ports.
    [[nodiscard]] PvResult load(const PvPropertyList& list, std::vector<std::string>& errors);
    /// Recovers all bridges that run, and connects their arrays again, or makes those that there should be. The first
    /// result that fails; StateError without ports.
    [[nodiscard]] PvResult recover();

private:
    struct Entry;
    struct Report;

    [[nodiscard]] std::shared_ptr<Entry> at(std::size_t index) const;
    [[nodiscard]] bool knows(const std::shared_ptr<Entry>& entry) const;
    [[nodiscard]] Job begin(Task task, const std::shared_ptr<Entry>& entry, const Settings& settings);
    PvResult now(Job job);
    void apply(Job& job, Outcome outcome);
    [[nodiscard]] std::unique_ptr<PvGenParameterArray> withdraw(const std::shared_ptr<Entry>& entry);
    void settle();
    void end_entries();
    void load_one(const std::shared_ptr<Entry>& entry, const PvPropertyList& list, Report& report);

    Events events_;
    std::vector<std::shared_ptr<Entry>> entries_;
    std::uint64_t last_job_ = 0;
    bool ended_ = false;
    Jobs jobs_;
};

}  // namespace vex::bridge_manager
