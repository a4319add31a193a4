#include "tools/pvctl/info_command.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "sdk/control/device_clock.h"
#include "sdk/control/privilege.h"
#include "sdk/net/clock.h"
#include "sdk/wire/bootstrap.h"
#include "sdk/wire/gvcp.h"
#include "tools/pvctl/bootstrap_words.h"
#include "tools/pvctl/fact_sheet.h"
#include "tools/pvctl/failure.h"

using namespace vex;

namespace pvctl {

namespace {

namespace bootstrap = wire::bootstrap;

/// Reads what the device has; what it refuses to show is left out.
class Reader {
public:
    explicit Reader(control::Connection& connection) : connection_(connection) {}

    [[nodiscard]] control::Connection& connection() const { return connection_; }

    [[nodiscard]] std::optional<std::uint32_t> number(std::uint32_t address) const
    {
        std::uint32_t value = 0;
        return accepted(connection_.channel().read_register(address, value)) ? std::optional(value) : std::nullopt;
    }

    [[nodiscard]] std::uint32_t number_or_0(std::uint32_t address) const { return number(address).value_or(0); }

    /// An address, or empty.
    [[nodiscard]] std::string ip(std::uint32_t address) const
    {
        const auto value = number(address);
        return value ? Ipv4Address{*value}.to_string() : "";
    }

    [[nodiscard]] std::string text(std::uint32_t address, std::size_t length) const
    {
        std::string value(length, '\0');
        const std::span bytes(reinterpret_cast<std::uint8_t*>(value.data()), value.size());
        if (!accepted(connection_.channel().read_memory(address, bytes))) {
            return {};
        }
        value.resize(std::min(value.find('\0'), value.size()));
        return value;
    }

private:
    /// False when the device refuses. Throws when it does not answer.
    [[nodiscard]] bool accepted(const control::ControlOutcome& outcome) const
    {
        if (!outcome.ok() && outcome.kind != control::ControlOutcome::Kind::refused) {
            require(connection_.result_of(outcome));
        }
        return outcome.ok();
    }

    control::Connection& connection_;
};

std::string version_text(std::uint32_t version)
{
    return std::to_string(version >> 16) + "." + std::to_string(version & 0xFFFF);
}

const char* class_text(std::uint32_t mode)
{
    constexpr std::array words = {"transmitter", "receiver", "transceiver", "peripheral"};
    const std::uint32_t device_class = (mode & bootstrap::mode::class_mask) >> bootstrap::mode::class_shift;
    return device_class < words.size() ? words[device_class] : "unknown";
}

void add_identity(FactSheet& sheet, const Reader& reader)
{
    sheet.section("identity");
    sheet.add("vendor", reader.text(bootstrap::manufacturer_name, bootstrap::manufacturer_name_length));
    sheet.add("model", reader.text(bootstrap::model_name, bootstrap::model_name_length));
    sheet.add("version", reader.text(bootstrap::device_version, bootstrap::device_version_length));
    sheet.add("manufacturer_info", reader.text(bootstrap::manufacturer_info, bootstrap::manufacturer_info_length));
    // whatever the capability register says: some devices have them and do not say so
    sheet.add("serial_number", reader.text(bootstrap::serial_number, bootstrap::serial_number_length));
    sheet.add("user_defined_name", reader.text(bootstrap::user_defined_name, bootstrap::user_defined_name_length));
    sheet.add("gige_vision", version_text(reader.connection().facts().version));
    sheet.add("class", class_text(reader.connection().facts().mode));
}

void add_network(FactSheet& sheet, const Reader& reader)
{
    sheet.section("network");
    sheet.add("mac", reader.connection().facts().mac.to_string());
    sheet.add("ip", reader.ip(bootstrap::current_ip));
    sheet.add("mask", reader.ip(bootstrap::current_mask));
    sheet.add("gateway", reader.ip(bootstrap::current_gateway));
    sheet.add("configurations", ip_configuration_words(reader.number_or_0(bootstrap::supported_ip_configuration)));
    sheet.add("switched_on", ip_configuration_words(reader.number_or_0(bootstrap::current_ip_configuration)));
    sheet.add("persistent_ip", reader.ip(bootstrap::persistent_ip));
    sheet.add("persistent_mask", reader.ip(bootstrap::persistent_mask));
    sheet.add("persistent_gateway", reader.ip(bootstrap::persistent_gateway));
    if ((reader.connection().facts().capability & bootstrap::capability::link_speed) != 0) {
        const std::uint32_t speed = reader.number_or_0(bootstrap::link_speed);
        sheet.add("link_speed", speed, std::to_string(speed) + " Mbit/s");
    }
}

void add_control(FactSheet& sheet, const Reader& reader)
{
    const control::DeviceFacts& facts = reader.connection().facts();
    sheet.section("control");
    const auto privilege = reader.number(bootstrap::control_channel_privilege);
    sheet.add("access", privilege ? privilege_words(*privilege) : "unknown");
    const auto holder = control::read_holder(reader.connection().channel(), facts.capability);
    sheet.add("controlled_by", holder ? control::text_of(*holder) : "");
    const std::uint32_t heartbeat = reader.number_or_0(bootstrap::heartbeat_timeout);
    sheet.add("heartbeat_timeout", heartbeat, std::to_string(heartbeat) + " ms");
    sheet.add("message_channels", reader.number_or_0(bootstrap::message_channel_count));
    sheet.add("action_signals", reader.number_or_0(bootstrap::action_signal_count));
    sheet.add("capabilities", capability_words(facts.capability));
}

void add_stream_channels(FactSheet& sheet, const Reader& reader)
{
    const std::uint32_t count =
        std::min(reader.connection().facts().stream_channels, bootstrap::largest_stream_channel + 1);
    for (std::uint32_t channel = 0; channel < count; ++channel) {
        const auto at = [channel](std::uint32_t offset) { return bootstrap::stream_register(channel, offset); };
        sheet.section("stream_channel_" + std::to_string(channel));
        const std::uint32_t port = reader.number_or_0(at(bootstrap::stream::port)) & 0xFFFF;
        const std::string address = reader.ip(at(bootstrap::stream::destination));
        sheet.add("destination", port == 0 ? "" : address + ":" + std::to_string(port),
                  port == 0 ? "closed" : std::string());
        const std::uint32_t size =
            reader.number_or_0(at(bootstrap::stream::packet_size)) & bootstrap::stream::packet_size_mask;
        sheet.add("packet_size", size, std::to_string(size) + " bytes");
        const std::uint32_t delay = reader.number_or_0(at(bootstrap::stream::packet_delay));
        sheet.add("packet_delay", delay, std::to_string(delay) + " ticks");
        sheet.add("capabilities", stream_capability_words(reader.number_or_0(at(bootstrap::stream::capability))));
    }
}

void add_description(FactSheet& sheet, const Reader& reader)
{
    sheet.section("description");
    sheet.add("first_url", reader.text(bootstrap::first_url, bootstrap::url_length));
    sheet.add("second_url", reader.text(bootstrap::second_url, bootstrap::url_length));
}

/// Takes control for it, because the clock has to be latched.
control::ClockReading read_camera_clock(control::Connection& connection)
{
    constexpr unsigned attempts = 8;
    control::ControlChannel& channel = connection.channel();
    control::ClockReading reading;
    require(control::take_privilege(channel, PvAccessControl, connection.facts().capability));
    const PvResult result = read_clock(channel, net::Clock::steady(), attempts, reading);
    const auto given_back = channel.write_register(bootstrap::control_channel_privilege, 0);
    require(result);
    require(connection.result_of(given_back));
    return reading;
}

/// `latch`: shows the time as well.
void add_timestamp(FactSheet& sheet, const Reader& reader, bool latch)
{
    control::Connection& connection = reader.connection();
    control::DeviceClockFacts facts;
    // a device may have no such registers
    static_cast<void>(read_clock_facts(connection.channel(), connection.facts().capability, facts));
    sheet.section("timestamp");
    sheet.add("frequency", facts.frequency, facts.frequency == 0 ? "none" : std::to_string(facts.frequency) + " Hz");
    const char* const state = facts.ptp_enabled ? control::text_of(facts.ptp_state) : "off";
    sheet.add("set_by_ptp", facts.ptp_supported ? state : "not supported");
    if (!latch || facts.frequency == 0) {
        return;
    }
    const control::ClockReading reading = read_camera_clock(connection);
    const double seconds = static_cast<double>(reading.ticks) / static_cast<double>(facts.frequency);
    const double error = std::chrono::duration<double>(reading.error).count();
    char text[64];
    std::snprintf(text, sizeof text, "%.6f s", seconds);
    sheet.add("ticks", reading.ticks);
    sheet.add("time", seconds, text);
    sheet.add("error", error, "+-" + std::to_string(static_cast<long>(std::ceil(error * 1e6))) + " us");
}

}  // namespace

FactSheet read_facts(control::Connection& connection, bool latch)
{
    const Reader reader(connection);
    FactSheet sheet;
    add_identity(sheet, reader);
    add_network(sheet, reader);
    add_control(sheet, reader);
    add_stream_channels(sheet, reader);
    add_description(sheet, reader);
    add_timestamp(sheet, reader, latch);
    return sheet;
}

InfoCommand::InfoCommand(CLI::App& app)
    : InfoCommand(*app.add_subcommand("info", "what a camera is and how it is set up"), std::make_unique<Options>())
{}

InfoCommand::InfoCommand(CLI::App& command, std::unique_ptr<Options> options)
    : Command(command), options_(std::move(options))
{
    options_->device.add_name(command);
    command.add_flag(
        "--latch", options_->latch,
        "read the camera's clock, too; takes control of it for a moment, because the clock has to be latched");
    command.add_flag("--json", options_->json, "for programs to read");
}

int InfoCommand::run() const
{
    const auto connection = options_->device.open(PvAccessReadOnly);
    const FactSheet sheet = read_facts(*connection, options_->latch);
    if (options_->json) {
        sheet.print_as_json();
    } else {
        sheet.print();
    }
    return exit_code::success;
}

}  // namespace pvctl
