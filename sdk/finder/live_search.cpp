#include "sdk/finder/live_search.h"

#include <algorithm>
#include <mutex>
#include <tuple>
#include <utility>

#include "sdk/device/PvSystemEventSink.h"

namespace vex::finder {

namespace {

/// A search lasts a second, and devices found last are asked for their state.
constexpr std::chrono::milliseconds longest_search{3000};

/// While nobody listens: the next start wakes the thread.
constexpr std::chrono::hours idle_pause{1};

Device device_of(PvInterface& found_by, PvDeviceInfo& info)
{
    Device device;
    device.info = info.shared();
    device.found_by = found_by.shared();
    device.id = info.GetID().str();
    device.interface_id = found_by.GetID().str();
    device.name = info.GetUserDefinedName().str();
    device.vendor = info.GetVendor().str();
    device.model = info.GetModel().str();
    device.version = info.GetVersion().str();
    device.manufacturer_info = info.GetManufacturerInfo().str();
    device.serial_number = info.GetSerialNumber().str();
    device.mac = info.GetMACAddress().str();
    device.address = info.GetIPAddress().str();
    device.mask = info.GetSubnetMask().str();
    device.gateway = info.GetDefaultGateway().str();
    device.access = info.GetAccessStatus();
    device.is_reachable = info.IsIPConfigurationValid();
    return device;
}

Interface interface_of(const PvInterface& searched)
{
    return {searched.GetID().str(), searched.GetDescription().str(), searched.GetIPAddress().str(),
            searched.GetSubnetMask().str()};
}

}  // namespace

bool Device::says_the_same(const Device& other) const
{
    const auto facts = [](const Device& device) {
        return std::tie(device.id, device.interface_id, device.name, device.vendor, device.model, device.version,
                        device.manufacturer_info, device.serial_number, device.mac, device.address, device.mask,
                        device.gateway, device.access, device.is_reachable);
    };
    return facts(*this) == facts(other);
}

/// Shared with the thread, which may outlast its owner.
class LiveSearch::State final : public PvSystemEventSink {
public:
    explicit State(MakeSystem make_system) : make_system_(std::move(make_system)) {}

    void listen(Listener listener)
    {
        const std::lock_guard lock(mutex_);
        listener_ = std::move(listener);
        forget_ = true;
    }
    [[nodiscard]] bool is_heard()
    {
        const std::lock_guard lock(mutex_);
        return listener_ != nullptr;
    }
    void forget()
    {
        const std::lock_guard lock(mutex_);
        forget_ = true;
    }

    void search()
    {
        begin();
        const auto system = make_system_();
        system_ = system.get();
        system->RegisterEventSink(this);
        PvResult result = system->Find();
        system->UnregisterEventSink(this);
        end(std::move(result));
        system_ = nullptr;
    }

    void OnDeviceFound(PvInterface* found_by, PvDeviceInfo* info, bool& /*ignore*/) override
    {
        Device device = device_of(*found_by, *info);
        const auto known = std::ranges::find_if(known_, [&](const Known& one) { return one.device.is(device); });
        if (known == known_.end()) {
            known_.push_back({std::move(device), 0, true});
        } else {
            known->answered = true;
            known->misses = 0;
            if (known->device.says_the_same(device)) {
                return;
            }
            known->device = std::move(device);
        }
        take_interfaces();
        tell();
    }

private:
    struct Known {
        Device device;
        int misses = 0;
        bool answered = false;  ///< in the search under way
    };

    void begin()
    {
        bool forget = false;
        {
            const std::lock_guard lock(mutex_);
            forget = std::exchange(forget_, false);
        }
        if (forget) {
            // told of when they answer, or when the search has ended without
            for (Known& known : known_) {
                known.misses = most_misses;
            }
            found_.is_complete = false;
        }
        for (Known& known : known_) {
            known.answered = false;
        }
    }

    /// Those of the search under way: a system lists them before it asks for devices.
    void take_interfaces()
    {
        found_.interfaces.clear();
        for (std::uint32_t index = 0; index < system_->GetInterfaceCount(); ++index) {
            found_.interfaces.push_back(interface_of(*system_->GetInterface(index)));
        }
    }

    void end(PvResult result)
    {
        std::erase_if(known_, [](Known& known) { return !known.answered && known.misses++ >= most_misses; });
        take_interfaces();
        found_.result = std::move(result);
        found_.is_complete = true;
        tell();
    }

    void tell()
    {
        found_.devices.clear();
        for (const Known& known : known_) {
            found_.devices.push_back(known.device);
        }
        auto told = std::make_shared<const Found>(found_);
        const std::lock_guard lock(mutex_);
        if (listener_) {
            listener_(std::move(told));
        }
    }

    const MakeSystem make_system_;
    // of the searching thread
    const PvSystem* system_ = nullptr;  ///< while it searches
    std::vector<Known> known_;
    Found found_;

    std::mutex mutex_;  ///< for what follows; held while the listener is called
    Listener listener_;
    bool forget_ = false;
};

LiveSearch::LiveSearch() : LiveSearch([] { return std::make_unique<PvSystem>(); }) {}

LiveSearch::LiveSearch(MakeSystem make_system, std::chrono::milliseconds pause)
    : state_(std::make_shared<State>(std::move(make_system))), pause_(pause)
{}

LiveSearch::~LiveSearch()
{
    stop();
    if (worker_) {
        worker_->stop(longest_search);
    }
}

void LiveSearch::start(Listener listener)
{
    state_->listen(std::move(listener));
    if (worker_) {
        worker_->wake();
        return;
    }
    worker_ = std::make_unique<control::Worker>("pv-finder",
                                                [state = state_, pause = pause_](control::Worker::Signals& signals) {
                                                    do {
                                                        if (state->is_heard()) {
                                                            state->search();
                                                        }
                                                    } while (signals.pause(state->is_heard() ? pause : idle_pause));
                                                });
}

void LiveSearch::stop() noexcept { state_->listen(nullptr); }

void LiveSearch::refresh()
{
    state_->forget();
    if (worker_) {
        worker_->wake();
    }
}

}  // namespace vex::finder
