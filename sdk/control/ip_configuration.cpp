#include "sdk/control/ip_configuration.h"

#include <array>
#include <string>

#include "sdk/base/failure.h"
#include "sdk/wire/bootstrap.h"

namespace vex::control {

namespace {

namespace bootstrap = wire::bootstrap;
namespace way = wire::bootstrap::ip_configuration;

bool is_mask(Ipv4Address mask)
{
    const std::uint32_t host_part = ~mask.value;
    return mask.value != 0 && (host_part & (host_part + 1)) == 0;
}

/// An address that one host can have in its subnet.
bool is_host(Ipv4Address address, Ipv4Address mask)
{
    const std::uint32_t host_part = ~mask.value;
    const std::uint32_t number = address.value & host_part;
    const bool plain = address.value >> 24 != 0 && address.value < 0xE0000000;
    // the first and the last number of a subnet are its own; subnets of one or two have none to spare
    return plain && (host_part <= 1 || (number != 0 && number != host_part));
}

struct Switch {
    std::optional<bool> on;
    std::uint32_t flag;
    const char* name;
};

std::array<Switch, 3> switches_of(const IpConfigurationChange& change)
{
    return {Switch{change.use_persistent, way::persistent, "a persistent IP address"},
            Switch{change.use_dhcp, way::dhcp, "DHCP"},
            Switch{change.use_link_local, way::link_local, "link-local addresses"}};
}

PvResult check_supported(const IpConfigurationChange& change, const IpConfiguration& before, const Endpoint& device)
{
    for (const Switch& one : switches_of(change)) {
        const bool needed = one.on.value_or(false) || (one.flag == way::persistent && change.persistent);
        if (needed && (before.supported & one.flag) == 0) {
            return failure(PvResult::NotSupported, "The device ", device.address.to_string(), " does not support ",
                           one.name);
        }
    }
    return PvResult::OK;
}

/// OK, or what the device has not kept.
PvResult check_kept(const IpConfigurationChange& change, const IpConfiguration& now, const Endpoint& device)
{
    if (change.persistent && now.persistent != *change.persistent) {
        return failure(PvResult::StateError, "The device ", device.address.to_string(),
                       " has not kept the persistent address ", change.persistent->address.to_string(), ": it has ",
                       now.persistent.address.to_string(), ", mask ", now.persistent.mask.to_string(), ", gateway ",
                       now.persistent.gateway.to_string());
    }
    for (const Switch& one : switches_of(change)) {
        if (one.on && *one.on != ((now.enabled & one.flag) != 0)) {
            return failure(PvResult::StateError, "The device ", device.address.to_string(), " keeps ", one.name,
                           (*one.on ? " switched off" : " switched on"));
        }
    }
    return PvResult::OK;
}

ControlOutcome write_flags(ControlChannel& channel, const IpConfigurationChange& change)
{
    std::uint32_t flags = 0;
    auto outcome = channel.read_register(bootstrap::current_ip_configuration, flags);
    if (!outcome.ok()) {
        return outcome;
    }
    // the register also holds flow control, which is nobody's business here
    std::uint32_t wanted = flags;
    for (const Switch& one : switches_of(change)) {
        if (one.on) {
            wanted = *one.on ? wanted | one.flag : wanted & ~one.flag;
        }
    }
    return wanted == flags ? outcome : channel.write_register(bootstrap::current_ip_configuration, wanted);
}

}  // namespace

PvResult check_ip_settings(const IpSettings& settings)
{
    const auto no = [](Ipv4Address address, const std::string& what) {
        return failure(PvResult::InvalidParameter, "\"", address.to_string(), "\" is no ", what);
    };
    if (!is_mask(settings.mask)) {
        return no(settings.mask, "subnet mask");
    }
    const std::string in_subnet = " can have in a subnet with mask " + settings.mask.to_string();
    if (!is_host(settings.address, settings.mask)) {
        return no(settings.address, "address that a device" + in_subnet);
    }
    if (settings.gateway.is_any()) {
        return PvResult::OK;
    }
    if (!is_host(settings.gateway, settings.mask) || settings.gateway == settings.address ||
        !same_subnet(settings.gateway, settings.address, settings.mask)) {
        return no(settings.gateway,
                  "gateway for the address " + settings.address.to_string() + ", mask " + settings.mask.to_string());
    }
    return PvResult::OK;
}

PvResult read_ip_configuration(ControlChannel& channel, IpConfiguration& configuration)
{
    constexpr std::array<std::uint32_t, 5> addresses = {bootstrap::supported_ip_configuration,
                                                        bootstrap::current_ip_configuration, bootstrap::current_ip,
                                                        bootstrap::current_mask, bootstrap::current_gateway};
    std::array<std::uint32_t, 5> values{};
    auto outcome = channel.read_registers(addresses, values);
    IpConfiguration read;
    constexpr std::uint32_t ways = way::persistent | way::dhcp | way::link_local;
    read.supported = values[0] & ways;
    read.enabled = values[1] & ways;
    read.current = {{values[2]}, {values[3]}, {values[4]}};
    if (outcome.ok() && (read.supported & way::persistent) != 0) {
        constexpr std::array<std::uint32_t, 3> kept = {bootstrap::persistent_ip, bootstrap::persistent_mask,
                                                       bootstrap::persistent_gateway};
        std::array<std::uint32_t, 3> settings{};
        outcome = channel.read_registers(kept, settings);
        read.persistent = {{settings[0]}, {settings[1]}, {settings[2]}};
    }
    if (!outcome.ok()) {
        return to_result(outcome, channel.device());
    }
    configuration = read;
    return PvResult::OK;
}

PvResult change_ip_configuration(ControlChannel& channel, const IpConfigurationChange& change, IpConfiguration& now)
{
    if (change.persistent) {
        if (PvResult result = check_ip_settings(*change.persistent); !result.IsOK()) {
            return result;
        }
    }
    if (PvResult result = read_ip_configuration(channel, now); !result.IsOK()) {
        return result;
    }
    if (PvResult result = check_supported(change, now, channel.device()); !result.IsOK()) {
        return result;
    }
    if (change.persistent) {
        // before the way is switched on, so that the device never starts with half an address
        const std::array<RegisterWrite, 3> writes = {
            RegisterWrite{bootstrap::persistent_ip, change.persistent->address.value},
            RegisterWrite{bootstrap::persistent_mask, change.persistent->mask.value},
            RegisterWrite{bootstrap::persistent_gateway, change.persistent->gateway.value}};
        if (const auto outcome = channel.write_registers(writes); !outcome.ok()) {
            return to_result(outcome, channel.device());
        }
    }
    if (const auto outcome = write_flags(channel, change); !outcome.ok()) {
        return to_result(outcome, channel.device());
    }
    if (PvResult result = read_ip_configuration(channel, now); !result.IsOK()) {
        return result;
    }
    return check_kept(change, now, channel.device());
}

}  // namespace vex::control
