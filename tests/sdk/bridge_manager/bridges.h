// A bridge manager over two ports that the test plays.
#pragma once

#include <gtest/gtest.h>

#include <condition_variable>
#include <functional>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "sdk/bridge_manager/manager.h"
#include "tests/sdk/bridge_manager/fake_port.h"

namespace bridge_manager_test {

using vex::bridge_manager::Manager;
using vex::bridge_manager::State;

using Log = std::vector<std::string>;

class Bridges : public testing::Test {
protected:
    Bridges()
    {
        manager.emplace(Manager::Events{.created =
                                            [this](PvGenParameterArray&, const PvString& name) {
                                                events.push_back("created " + name.str());
                                                act(on_created);
                                            },
                                        .deleted =
                                            [this](PvGenParameterArray& array) {
                                                EXPECT_FALSE(array.lifetime().expired());
                                                events.emplace_back("deleted");
                                                act(on_deleted);
                                            }},
                        [this] {
                            const std::lock_guard lock(mutex);
                            told = true;
                            changed.notify_all();
                        });
        manager->set_ports({first, second});
    }

    /// A copy: it may replace itself.
    static void act(std::function<void()> action)
    {
        if (action) {
            action();
        }
    }
    /// Takes what the manager tells until it is so; false when it is not.
    template <class Wanted>
    [[nodiscard]] bool await(Wanted wanted)
    {
        while (!wanted()) {
            {
                std::unique_lock lock(mutex);
                if (!changed.wait_for(lock, patience, [this] { return told; })) {
                    return false;
                }
                told = false;
            }
            manager->take();
        }
        return true;
    }
    [[nodiscard]] bool await(std::size_t index, State state)
    {
        return await([&] { return manager->row(index).state == state; });
    }
    /// Until the manager has something to take, which it keeps.
    [[nodiscard]] bool await_told()
    {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, patience, [this] { return told; });
    }
    [[nodiscard]] static Settings with_parameters()
    {
        Settings settings;
        settings.has_parameters = true;
        return settings;
    }
    void run_with_parameters()
    {
        ASSERT_TRUE(manager->change(0, with_parameters()).IsOK());
        manager->start(0);
        ASSERT_TRUE(await(0, State::running));
        ASSERT_NE(manager->array(0), nullptr);
    }
    [[nodiscard]] PvResult load(std::initializer_list<std::pair<const char*, const char*>> items)
    {
        PvPropertyList list;
        for (const auto& [name, value] : items) {
            list.Add(PvProperty(PvString(name), PvString(value)));
        }
        errors.clear();
        return manager->load(list, errors);
    }

    std::shared_ptr<FakePort> first = std::make_shared<FakePort>("Serial0");
    std::shared_ptr<FakePort> second = std::make_shared<FakePort>("Bulk0");
    Log events;
    std::function<void()> on_created;
    std::function<void()> on_deleted;
    std::vector<std::string> errors;
    std::mutex mutex;
    std::condition_variable changed;
    bool told = false;
    std::optional<Manager> manager;
};

}  // namespace bridge_manager_test
