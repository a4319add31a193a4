#include "tools/pvctl/bootstrap_words.h"

#include <span>

#include "sdk/wire/bootstrap.h"

namespace pvctl {

namespace {

namespace bootstrap = vex::wire::bootstrap;

struct Word {
    std::uint32_t flag;
    const char* text;
};

namespace capability = bootstrap::capability;
constexpr Word capabilities[] = {
    {capability::user_defined_name, "user-defined name"},
    {capability::serial_number, "serial number"},
    {capability::heartbeat_disable, "heartbeat can be switched off"},
    {capability::link_speed, "link speed"},
    {capability::application_port_and_ip, "tells who controls it"},
    {capability::manifest_table, "manifest table"},
    {capability::test_data, "test packets with data"},
    {capability::discovery_ack_delay, "discovery delay"},
    {capability::discovery_ack_delay_writable, "discovery delay can be set"},
    {capability::extended_status_1_1, "status codes of version 1.1"},
    {capability::extended_status_2_0, "status codes of version 2.0"},
    {capability::application_switchover, "control can be switched over"},
    {capability::ieee_1588, "IEEE 1588 (PTP)"},
    {capability::action, "actions"},
    {capability::scheduled_action, "scheduled actions"},
    {capability::unconditional_action, "unconditional actions"},
    {capability::pending_ack, "asks for more time"},
    {capability::event, "events"},
    {capability::event_data, "events with data"},
    {capability::packet_resend, "packet resend"},
    {capability::write_memory, "memory can be written"},
    {capability::concatenation, "several registers in one message"},
};

constexpr Word ip_configurations[] = {
    {bootstrap::ip_configuration::persistent, "persistent"},
    {bootstrap::ip_configuration::dhcp, "DHCP"},
    {bootstrap::ip_configuration::link_local, "link-local"},
};

// GigE Vision 2.2, stream channel capability
constexpr Word stream_capabilities[] = {
    {0x80000000, "either byte order of pixels"},
    {0x40000000, "IP reassembly"},
    {0x80, "GenDC"},
    {0x40, "multi-part"},
    {0x20, "large leader and trailer"},
    {0x10, "multi-zone"},
    {0x8, "resend destination"},
    {0x4, "all-in transmission"},
    {0x2, "unconditional streaming"},
    {0x1, "extended chunk data"},
};

std::vector<std::string> words_of(std::span<const Word> words, std::uint32_t flags)
{
    std::vector<std::string> found;
    for (const Word& word : words) {
        if ((flags & word.flag) != 0) {
            found.emplace_back(word.text);
        }
    }
    return found;
}

}  // namespace

std::vector<std::string> capability_words(std::uint32_t flags) { return words_of(capabilities, flags); }

std::vector<std::string> ip_configuration_words(std::uint32_t flags) { return words_of(ip_configurations, flags); }

std::vector<std::string> stream_capability_words(std::uint32_t flags) { return words_of(stream_capabilities, flags); }

std::string privilege_words(std::uint32_t privilege)
{
    namespace bits = bootstrap::privilege;
    if ((privilege & bits::exclusive) != 0) {
        return "exclusive";
    }
    if ((privilege & bits::control) == 0) {
        return "free";
    }
    return (privilege & bits::switchover_enable) != 0 ? "controlled, can be switched over" : "controlled";
}

}  // namespace pvctl
