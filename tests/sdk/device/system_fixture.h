// A network with raw cameras, a system that searches it and a sink, for the tests of PvSystem.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "sdk/device/PvDeviceInfo.h"
#include "sdk/device/PvInterface.h"
#include "sdk/device/PvSystem.h"
#include "sdk/device/PvSystemEventSink.h"
#include "tests/sdk/control/scripted_network.h"

namespace device_test {

inline constexpr std::uint8_t first_address = 30;
inline constexpr std::uint8_t second_address = 31;

inline RawCameraOptions options_at(std::uint8_t address)
{
    RawCameraOptions options;
    options.address = ScriptedNetwork::at(address);
    options.mask = ScriptedNetwork::host_mask.value;
    options.mac[5] = address;
    return options;
}

inline PvDeviceInfo* find_by_mac(const PvInterface& interface, const std::string& mac)
{
    for (std::uint32_t i = 0; i < interface.GetDeviceCount(); ++i) {
        if (interface.GetDeviceInfo(i)->GetMACAddress().str() == mac) {
            return interface.GetDeviceInfo(i);
        }
    }
    return nullptr;
}

inline PvInterface* wire_of(const PvSystem& system)
{
    for (std::uint32_t i = 0; i < system.GetInterfaceCount(); ++i) {
        if (system.GetInterface(i)->GetIPAddress().str() == "192.168.10.5") {
            return system.GetInterface(i);
        }
    }
    return nullptr;
}

inline constexpr const char* first_mac = "02:11:22:33:44:1e";
inline constexpr const char* second_mac = "02:11:22:33:44:1f";

class Sink : public PvSystemEventSink {
public:
    void OnDeviceFound(PvInterface* aInterface, PvDeviceInfo* aDeviceInfo, bool& aIgnore) override
    {
        thread = std::this_thread::get_id();
        EXPECT_EQ(aDeviceInfo->GetInterface(), aInterface);
        EXPECT_FALSE(aIgnore);
        seen.push_back(aDeviceInfo->GetMACAddress().str());
        if (seen.back() == ignore) {
            aIgnore = true;
        }
        if (throwing) {
            throw std::runtime_error("from the application");
        }
    }

    std::string ignore;
    bool throwing = false;
    std::vector<std::string> seen;
    std::thread::id thread;
};

class ScriptedSystem : public PvSystem {
public:
    explicit ScriptedSystem(vex::control::SearchNetwork& network) : PvSystem(network) {}
};

class SystemTest : public testing::Test {
protected:
    SystemTest() { system.SetDetectionTimeout(300); }

    RawDevice& add(const RawCameraOptions& options)
    {
        cameras.push_back(std::make_unique<RawDevice>(options));
        network.attach(*cameras.back());
        return *cameras.back();
    }

    ScriptedNetwork network;
    std::vector<std::unique_ptr<RawDevice>> cameras;
    ScriptedSystem system{network};
};

}  // namespace device_test
