// A search for devices that goes on by itself, for lists that are always up to date.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "sdk/base/PvResult.h"
#include "sdk/control/PvTypes.h"
#include "sdk/control/worker.h"
#include "sdk/device/PvDeviceInfo.h"
#include "sdk/device/PvInterface.h"
#include "sdk/device/PvSystem.h"

namespace vex::finder {

/// A device as one search found it. Texts are UTF-8.
struct Device {
    std::shared_ptr<PvDeviceInfo> info;
    std::shared_ptr<PvInterface> found_by;
    std::string id;            ///< PvDeviceInfo::GetID
    std::string interface_id;  ///< PvInterface::GetID
    std::string name;          ///< the user's
    std::string vendor;
    std::string model;
    std::string version;
    std::string manufacturer_info;
    std::string serial_number;
    std::string mac;
    std::string address;
    std::string mask;
    std::string gateway;
    PvAccessType access = PvAccessUnknown;
    bool is_reachable = true;  ///< its address fits the interface's subnet

    /// The same device, seen by the same interface.
    [[nodiscard]] bool is(const Device& other) const noexcept
    {
        return id == other.id && interface_id == other.interface_id;
    }
    /// It also says the same of itself.
    [[nodiscard]] bool says_the_same(const Device& other) const;
};

/// An interface of the host that is searched.
struct Interface {
    std::string id;
    std::string description;
    std::string address;
    std::string mask;
};

/// What is known so far.
struct Found {
    std::vector<Interface> interfaces{};  ///< known when the first device is
    std::vector<Device> devices{};        ///< in the order in which they were found first
    bool is_complete = false;             ///< a search has ended since the start or the last refresh
    PvResult result{};                    ///< of the last search that ended
};

/// Searches, pauses and searches again on a thread of its own. A device is told as soon as it answers; it is missing
/// only when it did not answer two searches one after the other, because datagrams get lost.
///
/// Thread safety: start, stop and refresh from one thread at a time.
class LiveSearch {
public:
    using Listener = std::function<void(std::shared_ptr<const Found>)>;
    /// A system of its own for each search, so that what it found never changes.
    using MakeSystem = std::function<std::unique_ptr<PvSystem>()>;

    static constexpr std::chrono::milliseconds pause_between{2000};
    /// Searches that a device may miss before it is missing.
    static constexpr int most_misses = 1;

    LiveSearch();
    /// With another pause.
    explicit LiveSearch(MakeSystem make_system, std::chrono::milliseconds pause = pause_between);
    LiveSearch(const LiveSearch&) = delete;
    LiveSearch& operator=(const LiveSearch&) = delete;
    /// Waits for a search that is under way, which ends within a second and a half.
    ~LiveSearch();

    /// Begins; the listener is called on the search's thread with all that is known whenever that has changed. What was
    /// known before is forgotten.
    void start(Listener listener);
    /// The listener is not called any more once this returns, and there is no other search. Not from within the
    /// listener.
    void stop() noexcept;
    /// Searches now, and forgets what does not answer.
    void refresh();

private:
    class State;

    const std::shared_ptr<State> state_;
    const std::chrono::milliseconds pause_;
    std::unique_ptr<control::Worker> worker_;
};

}  // namespace vex::finder
