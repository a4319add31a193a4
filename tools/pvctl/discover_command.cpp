#include "tools/pvctl/discover_command.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "sdk/base/address.h"
#include "sdk/device/PvDeviceInfo.h"
#include "sdk/device/PvInterface.h"
#include "sdk/device/PvSystem.h"
#include "tools/pvctl/console.h"
#include "tools/pvctl/failure.h"
#include "tools/pvctl/json_output.h"
#include "tools/pvctl/terminal.h"
#include "tools/pvctl/text_table.h"

namespace pvctl {

namespace {

const char* access_text(PvAccessType access)
{
    switch (access) {
    case PvAccessOpen: return "free";
    case PvAccessReadOnly: return "read only";
    case PvAccessControl: return "controlled";
    case PvAccessExclusive: return "exclusive";
    case PvAccessUnknown: break;
    }
    return "unknown";
}

/// The address as a number, to sort by.
std::uint32_t number_of(const PvDeviceInfo& device)
{
    return vex::Ipv4Address::parse(device.GetIPAddress().view()).value_or(vex::any_address).value;
}

/// By interface, in the order of their addresses.
std::vector<const PvDeviceInfo*> devices_of(const PvSystem& system)
{
    std::vector<const PvDeviceInfo*> devices;
    for (std::uint32_t i = 0; i < system.GetInterfaceCount(); ++i) {
        const PvInterface& adapter = *system.GetInterface(i);
        const auto first = static_cast<std::ptrdiff_t>(devices.size());
        for (std::uint32_t j = 0; j < adapter.GetDeviceCount(); ++j) {
            devices.push_back(adapter.GetDeviceInfo(j));
        }
        std::stable_sort(devices.begin() + first, devices.end(),
                         [](const PvDeviceInfo* a, const PvDeviceInfo* b) { return number_of(*a) < number_of(*b); });
    }
    return devices;
}

void print_table(const std::vector<const PvDeviceInfo*>& devices, std::uint32_t interfaces)
{
    TextTable table({"IP ADDRESS", "MAC ADDRESS", "VENDOR", "MODEL", "SERIAL NUMBER", "NAME", "ACCESS", "INTERFACE"});
    // one line each, also on a terminal of 80 columns
    table.may_cut(2, 8);
    table.may_cut(3, 8);
    table.may_cut(4, 10);
    table.may_cut(5, 8);
    table.may_drop(7);
    table.may_drop(2);
    bool fits = true;
    for (const PvDeviceInfo* device : devices) {
        const bool reachable = device->IsIPConfigurationValid();
        fits = fits && reachable;
        table.add({device->GetIPAddress().str() + (reachable ? "" : " *"), device->GetMACAddress().str(),
                   device->GetVendor().str(), device->GetModel().str(), device->GetSerialNumber().str(),
                   device->GetUserDefinedName().str(), access_text(device->GetAccessStatus()),
                   device->GetInterface()->GetIPAddress().str()});
    }
    if (!devices.empty()) {
        std::fputs(table.text(output_width()).c_str(), stdout);
    }
    std::printf("%zu %s on %u %s\n", devices.size(), devices.size() == 1 ? "device" : "devices", interfaces,
                interfaces == 1 ? "interface" : "interfaces");
    if (!fits) {
        std::puts("* this address does not fit the interface: the device cannot be reached until it has another");
    }
}

}  // namespace

Json json_of(const PvSystem& system)
{
    Json all = Json::array();
    for (const PvDeviceInfo* device : devices_of(system)) {
        const PvInterface& adapter = *device->GetInterface();
        all.push_back({{"ip", device->GetIPAddress().str()},
                       {"mask", device->GetSubnetMask().str()},
                       {"gateway", device->GetDefaultGateway().str()},
                       {"mac", device->GetMACAddress().str()},
                       {"vendor", device->GetVendor().str()},
                       {"model", device->GetModel().str()},
                       {"version", device->GetVersion().str()},
                       {"manufacturer_info", device->GetManufacturerInfo().str()},
                       {"serial_number", device->GetSerialNumber().str()},
                       {"user_defined_name", device->GetUserDefinedName().str()},
                       {"access", access_text(device->GetAccessStatus())},
                       {"reachable", device->IsIPConfigurationValid()},
                       {"interface", {{"id", adapter.GetID().str()}, {"ip", adapter.GetIPAddress().str()}}}});
    }
    return all;
}

DiscoverCommand::DiscoverCommand(CLI::App& app)
    : DiscoverCommand(*app.add_subcommand("discover", "list the cameras on all interfaces"),
                      std::make_unique<Options>())
{}

DiscoverCommand::DiscoverCommand(CLI::App& command, std::unique_ptr<Options> options)
    : Command(command), options_(std::move(options))
{
    command.add_option("-t,--timeout", options_->timeout, "milliseconds to listen for answers (1000)")
        ->check(CLI::Range(1, 60'000));
    command.add_flag("--json", options_->json, "for programs to read");
    command.footer("Exits with 0 when there is a camera, with 3 when there is none.");
}

int DiscoverCommand::run() const
{
    PvSystem system;
    system.SetDetectionTimeout(options_->timeout);
    {
        const Progress progress("Looking for cameras");
        require(system.Find());
    }
    const auto devices = devices_of(system);
    if (options_->json) {
        print_json(json_of(system));
    } else {
        print_table(devices, system.GetInterfaceCount());
    }
    return devices.empty() ? exit_code::not_found : exit_code::success;
}

}  // namespace pvctl
