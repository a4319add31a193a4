#include "tools/pvctl/report.h"

#include <chrono>
#include <exception>

#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/pipeline/PvPipeline.h"
#include "tools/pvctl/failure.h"
#include "tools/pvctl/sending.h"

using namespace vex;

namespace pvctl {

namespace {

template <typename Value>
Json json_or_null(const std::optional<Value>& value)
{
    return value ? Json(*value) : Json(nullptr);
}

Json json_of(const diagnosis::Adapter& adapter)
{
    const net::Interface& facts = adapter.facts;
    return {{"id", facts.id},
            {"description", facts.description},
            {"ip", facts.address.to_string()},
            {"mask", facts.mask.to_string()},
            {"gateway", facts.gateway.to_string()},
            {"mac", facts.mac.to_string()},
            {"mtu", facts.mtu},
            {"loopback", facts.loopback},
            {"driver", adapter.driver},
            {"driver_version", adapter.driver_version},
            {"speed_mbit", json_or_null(adapter.speed)},
            {"has_link", json_or_null(adapter.has_link)},
            {"offloads", adapter.offloads},
            {"receive_ring", json_or_null(adapter.receive_ring)},
            {"largest_receive_ring", json_or_null(adapter.largest_receive_ring)},
            {"power_control", adapter.power_control},
            {"reverse_path_check", json_or_null(adapter.reverse_path_check)}};
}

}  // namespace

void Report::add(const std::string& name, const Json& value)
{
    files.push_back({name, value.dump(2, ' ', false, Json::error_handler_t::replace) + "\n"});
}

void Report::part(const std::string& what, const std::function<void()>& do_it)
{
    try {
        do_it();
    } catch (const std::exception& error) {
        const std::string reason = error.what();
        missing.push_back(what + ": " + reason.substr(0, reason.find('\n')) + ".");
    }
}

std::string Report::summary(const std::string& device) const
{
    std::string text = "Report of pvctl " VEX_VERSION " on the camera " + device + "\n\nChecks\n";
    for (const diagnosis::Finding& finding : findings) {
        text += std::string("  ") + name_of(finding.verdict) + ": " + finding.text + "\n";
        if (!finding.what_to_do.empty()) {
            text += "    -> " + finding.what_to_do + "\n";
        }
    }
    text += "\nWhat could not be read\n";
    for (const std::string& sentence : missing) {
        text += "  " + sentence + "\n";
    }
    text += missing.empty() ? "  Everything was read.\n" : "";
    text += "\nFiles\n";
    for (const ReportFile& file : files) {
        text += "  " + file.name + "\n";
    }
    return text + "  control.pcap (" + std::to_string(packets.size()) + " packets of searches and control)\n";
}

void add_system(Report& report, const diagnosis::SystemState& system)
{
    Json firewalls = Json::array();
    for (const diagnosis::Firewall& firewall : system.firewalls) {
        firewalls.push_back(
            {{"name", firewall.name}, {"active", json_or_null(firewall.is_active)}, {"detail", firewall.detail}});
    }
    report.add("system.json", {{"system", system.system},
                               {"kernel", system.kernel},
                               {"host_name", report.host_name},
                               {"processors", system.processors},
                               {"largest_receive_buffer", json_or_null(system.largest_receive_buffer)},
                               {"usual_receive_buffer", json_or_null(system.usual_receive_buffer)},
                               {"may_exceed_limits", system.may_exceed_limits},
                               {"processor_governors", system.processor_governors},
                               {"firewalls", std::move(firewalls)}});
    Json adapters = Json::array();
    for (const diagnosis::Adapter& adapter : system.adapters) {
        adapters.push_back(json_of(adapter));
        report.mask.hide(adapter.facts.address);
        report.mask.hide(adapter.facts.gateway);
        report.mask.hide(adapter.facts.mac);
    }
    report.add("interfaces.json", adapters);
}

Json sample_stream(const DeviceOption& device_option, double seconds)
{
    constexpr std::uint32_t buffers = 16;
    constexpr std::uint32_t wait_ms = 200;
    const auto device = device_option.connect(PvAccessControl);
    PvStreamRaw stream;
    require(stream.Open(PvString(std::string(device_option.name))));
    require(device->NegotiatePacketSize(0, every_network_carries));
    PvPipeline pipeline(&stream);
    std::int64_t payload = 0;
    require(device->GetGenParameters()->GetIntegerValue("PayloadSize", payload));
    pipeline.SetBufferSize(static_cast<std::uint32_t>(payload));
    require(pipeline.SetBufferCount(buffers));
    require(pipeline.Start());
    std::uint32_t frames = 0;
    std::uint32_t damaged = 0;
    const auto begin = std::chrono::steady_clock::now();
    const auto passed = [&] { return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count(); };
    {
        const Sending sending(*device, stream);
        while (passed() < seconds) {
            PvBuffer* buffer = nullptr;
            PvResult operation;
            if (!pipeline.RetrieveNextBuffer(&buffer, wait_ms, &operation).IsOK()) {
                continue;
            }
            ++frames;
            damaged += operation.IsOK() ? 0 : 1;
            require(pipeline.ReleaseBuffer(buffer));
        }
    }
    const double took = passed();
    return {{"frames", frames},
            {"damaged", damaged},
            {"seconds", took},
            {"frames_per_second", frames / took},
            {"statistics", statistics_of(*stream.GetStatistics())}};
}

}  // namespace pvctl
