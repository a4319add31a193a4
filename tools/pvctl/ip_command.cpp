#include "tools/pvctl/ip_command.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <string_view>
#include <thread>
#include <utility>

#include "sdk/control/discovery.h"
#include "sdk/control/force_ip.h"
#include "sdk/net/interfaces.h"
#include "sdk/wire/bootstrap.h"
#include "tools/pvctl/bootstrap_words.h"
#include "tools/pvctl/fact_sheet.h"
#include "tools/pvctl/failure.h"
#include "tools/pvctl/terminal.h"

using namespace vex;

namespace pvctl {

namespace {

using control::IpSettings;

/// 255.255.255.0, or the number of its leading ones.
std::optional<Ipv4Address> parse_mask(std::string_view text)
{
    constexpr unsigned bits = 32;
    unsigned ones = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), ones);
    if (error == std::errc() && end == text.data() + text.size() && ones >= 1 && ones <= bits) {
        return Ipv4Address{~std::uint32_t{0} << (bits - ones)};
    }
    return Ipv4Address::parse(text);
}

/// ADDRESS/MASK[,GATEWAY]
IpSettings parse_settings(const std::string& text)
{
    const std::string_view all = text;
    const std::size_t comma = std::min(all.find(','), all.size());
    const std::size_t slash = std::min(all.find('/'), comma);
    const auto after = [&](std::size_t at, std::size_t end) {
        return at < end ? all.substr(at + 1, end - at - 1) : std::string_view();
    };
    const auto address = Ipv4Address::parse(all.substr(0, slash));
    const auto mask = parse_mask(after(slash, comma));
    const auto gateway = comma < all.size() ? Ipv4Address::parse(after(comma, all.size())) : any_address;
    if (!address || !mask || !gateway) {
        throw CommandFailure("\"" + text + "\" is no ADDRESS/MASK or ADDRESS/MASK,GATEWAY, such as 192.168.1.5/24",
                             exit_code::wrong_usage);
    }
    const IpSettings settings{*address, *mask, *gateway};
    if (const PvResult result = control::check_ip_settings(settings); !result.IsOK()) {
        throw CommandFailure(std::string(result.description()), exit_code::wrong_usage);
    }
    return settings;
}

std::optional<bool> parse_switch(const std::string& text)
{
    return text.empty() ? std::nullopt : std::optional(text == "on");
}

void add_settings(FactSheet& sheet, const std::string& section, const IpSettings& settings)
{
    sheet.section(section);
    sheet.add("ip", settings.address.to_string());
    sheet.add("mask", settings.mask.to_string());
    sheet.add("gateway", settings.gateway.to_string());
}

/// `complete`: the persistent settings were read, too.
void print(const control::IpConfiguration& configuration, bool complete, bool json)
{
    FactSheet sheet;
    add_settings(sheet, "current", configuration.current);
    if (complete && (configuration.supported & wire::bootstrap::ip_configuration::persistent) != 0) {
        add_settings(sheet, "persistent", configuration.persistent);
    }
    sheet.section("when_it_starts");
    sheet.add("takes", ip_configuration_words(configuration.enabled));
    sheet.add("supports", ip_configuration_words(configuration.supported));
    if (json) {
        sheet.print_as_json();
    } else {
        sheet.print();
    }
}

/// The MAC address of the device, whose IP address may be out of reach.
MacAddress mac_of(const DeviceOption& device)
{
    if (const auto mac = MacAddress::parse(device.name)) {
        return *mac;
    }
    if (const MacAddress mac = device.find(PvAccessReadOnly).mac; !mac.is_zero()) {
        return mac;
    }
    return device.open(PvAccessReadOnly)->facts().mac;
}

/// What the device of that MAC address says of itself in a search, which needs no address that fits.
std::optional<control::IpConfiguration> find_configuration(MacAddress mac)
{
    const auto hosts = net::list_interfaces();
    control::DiscoveryOptions options;
    options.access_status = false;
    control::Discovery discovery(hosts, options, control::SearchNetwork::system());
    std::optional<control::IpConfiguration> found;
    discovery.run([&](const control::FoundDevice& device) {
        if (device.facts.mac == mac) {
            const auto& facts = device.facts;
            found = {facts.supported_ip_configuration,
                     facts.current_ip_configuration,
                     {facts.address, facts.mask, facts.gateway},
                     {}};
        }
        return !found;
    });
    return found;
}

/// What the device says once it has taken another address, which it does some time after it has acknowledged; what it
/// said last if it has not within three seconds.
template <typename IsTaken>
control::IpConfiguration await_configuration(MacAddress mac, IsTaken is_taken)
{
    constexpr std::chrono::milliseconds pause{200};
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    for (;;) {
        const auto found = find_configuration(mac);
        const bool late = std::chrono::steady_clock::now() >= end;
        if (found && (late || is_taken(found->current))) {
            return *found;
        }
        if (late) {
            throw CommandFailure("The camera " + mac.to_string() + " is not found any more", exit_code::not_found);
        }
        std::this_thread::sleep_for(pause);
    }
}

}  // namespace

IpCommand::IpCommand(CLI::App& app)
    : IpCommand(*app.add_subcommand("ip", "show and change a camera's IP configuration"), std::make_unique<Options>())
{}

IpCommand::IpCommand(CLI::App& command, std::unique_ptr<Options> options)
    : Command(command), options_(std::move(options))
{
    options_->device.add_name(command);
    const CLI::IsMember on_or_off({"on", "off"});
    auto* force =
        command.add_option("--force", options_->force,
                           "ADDRESS/MASK[,GATEWAY] that it has at once and until it restarts; found by its MAC "
                           "address, it may have any address before");
    command.add_flag("--restart", options_->restart, "it takes the address that it takes when it starts")
        ->excludes(force);
    command.add_option("--persistent", options_->persistent,
                       "ADDRESS/MASK[,GATEWAY] that it takes when it starts; or on or off");
    command.add_option("--dhcp", options_->dhcp, "on or off: it asks a DHCP server when it starts")->check(on_or_off);
    command
        .add_option("--link-local", options_->link_local, "on or off: it makes up an address when there is no other")
        ->check(on_or_off);
    command.add_flag("--json", options_->json, "for programs to read");
    command.footer("MASK is a mask or its length: 192.168.1.5/24,192.168.1.1. Prints what was read back.");
}

control::IpConfigurationChange IpCommand::change() const
{
    control::IpConfigurationChange change;
    const std::string& persistent = options_->persistent;
    if (persistent == "on" || persistent == "off") {
        change.use_persistent = parse_switch(persistent);
    } else if (!persistent.empty()) {
        change.persistent = parse_settings(persistent);
        change.use_persistent = true;
    }
    change.use_dhcp = parse_switch(options_->dhcp);
    change.use_link_local = parse_switch(options_->link_local);
    return change;
}

void IpCommand::force(const IpSettings& settings) const
{
    const MacAddress mac = mac_of(options_->device);
    const Progress progress("Giving " + mac.to_string() + " the address " + settings.address.to_string());
    require(control::force_ip({mac, settings.address, settings.mask, settings.gateway}, net::list_interfaces()));
    const auto now = await_configuration(mac, [&](const IpSettings& current) { return current == settings; });
    if (now.current.address != settings.address) {
        throw CommandFailure("The camera " + mac.to_string() + " acknowledged the address " +
                             settings.address.to_string() + " and has " + now.current.address.to_string());
    }
    print(now, false, options_->json);
}

void IpCommand::restart() const
{
    const MacAddress mac = mac_of(options_->device);
    const Progress progress("Letting " + mac.to_string() + " take an address");
    const auto before = find_configuration(mac);
    require(control::force_ip({mac, any_address, any_address, any_address}, net::list_interfaces()));
    const auto is_taken = [&](const IpSettings& current) { return !before || current != before->current; };
    print(await_configuration(mac, is_taken), false, options_->json);
}

int IpCommand::run() const
{
    const std::string& forced = options_->force;
    const auto force_settings = forced.empty() ? std::nullopt : std::optional(parse_settings(forced));
    const control::IpConfigurationChange wanted = change();
    const bool changes = wanted.persistent || wanted.use_persistent || wanted.use_dhcp || wanted.use_link_local;
    if (changes) {
        const auto connection = options_->device.open(PvAccessControl);
        control::IpConfiguration now;
        require(control::change_ip_configuration(connection->channel(), wanted, now));
        if (!force_settings && !options_->restart) {
            print(now, true, options_->json);
        }
    }
    if (force_settings) {
        force(*force_settings);
    } else if (options_->restart) {
        restart();
    } else if (!changes) {
        const auto connection = options_->device.open(PvAccessReadOnly);
        control::IpConfiguration now;
        require(control::read_ip_configuration(connection->channel(), now));
        print(now, true, options_->json);
    }
    return exit_code::success;
}

}  // namespace pvctl
