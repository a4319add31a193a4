// A port of a device, in the hands of a test.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "sdk/bridge_manager/port.h"
#include "sdk/genicam/PvGenParameterArray.h"

namespace bridge_manager_test {

using vex::bridge_manager::Facts;
using vex::bridge_manager::Settings;

/// How long a test waits for what must come.
inline constexpr std::chrono::milliseconds patience{30'000};

/// Parameters without any, which say when they go.
class FakeArray final : public PvGenParameterArray {
public:
    explicit FakeArray(std::vector<std::string>& log) : log_(log) {}
    ~FakeArray() override { log_.emplace_back("array gone"); }

private:
    std::vector<std::string>& log_;
};

class FakePort final : public vex::bridge_manager::Port {
public:
    explicit FakePort(std::string name) : name_(std::move(name)) {}

    // ---- the test's side ----
    /// What was asked of it, in order; to be looked at when nothing is under way.
    std::vector<std::string> log;
    PvResult start_result;
    PvResult configure_result;
    PvResult recover_result;
    PvResult parameters_result;
    PvResult recover_parameters_result;
    Facts told;
    std::vector<Settings> started;        ///< with what
    std::function<void()> on_start;       ///< on the thread that starts
    std::function<void()> on_parameters;  ///< on the thread that makes them

    /// The next start waits until it may go on, or a stop comes.
    void hold()
    {
        const std::lock_guard lock(mutex_);
        held_ = true;
    }
    void go_on()
    {
        {
            const std::lock_guard lock(mutex_);
            held_ = false;
        }
        changed_.notify_all();
    }
    /// Until a start waits.
    [[nodiscard]] bool await_held()
    {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, patience, [this] { return waits_; });
    }

    // ---- the manager's side ----
    [[nodiscard]] const std::string& name() const noexcept override { return name_; }
    [[nodiscard]] PvResult start(const Settings& settings) override
    {
        {
            std::unique_lock lock(mutex_);
            waits_ = held_;
            changed_.notify_all();
            const bool may_go_on = changed_.wait_for(lock, patience, [this] { return !held_; });
            waits_ = false;
            if (!may_go_on) {
                log.emplace_back("nobody ended a start");
            }
        }
        if (on_start) {
            on_start();
        }
        log.emplace_back("start");
        started.push_back(settings);
        return start_result;
    }
    void stop() override
    {
        const bool waited = [this] {
            const std::lock_guard lock(mutex_);
            return waits_;
        }();
        if (waited) {
            go_on();
        } else {
            log.emplace_back("stop");
        }
    }
    [[nodiscard]] PvResult configure(const Settings& settings) override
    {
        log.emplace_back("configure");
        started.push_back(settings);
        return configure_result;
    }
    [[nodiscard]] PvResult recover() override
    {
        log.emplace_back("recover");
        return recover_result;
    }
    [[nodiscard]] PvResult make_parameters(const Settings& /*settings*/, std::unique_ptr<PvGenParameterArray>& made,
                                           PvString& made_name) override
    {
        log.emplace_back("make parameters");
        if (on_parameters) {
            on_parameters();
        }
        if (parameters_result.IsOK()) {
            made = std::make_unique<FakeArray>(log);
            made_name = PvString(name_ + ": Fake");
        }
        return parameters_result;
    }
    [[nodiscard]] PvResult recover_parameters(PvGenParameterArray& /*made*/) override
    {
        log.emplace_back("recover parameters");
        return recover_parameters_result;
    }
    void end_parameters(PvGenParameterArray& /*made*/) override { log.emplace_back("end parameters"); }
    [[nodiscard]] Facts facts() const override { return told; }
    void reset_statistics() override { told = {}; }

private:
    const std::string name_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool held_ = false;
    bool waits_ = false;
};

}  // namespace bridge_manager_test
