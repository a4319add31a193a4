#include "sdk/genicp/probe.h"

#include <utility>

#include "sdk/base/failure.h"

namespace vex::genicp {

namespace {

PvResult ask(PvSerialPort& port, std::string_view name, const Timing& timing, const net::Clock& clock,
             DeviceFacts& facts)
{
    // nothing that a rate before left behind
    if (PvResult gone = port.FlushRxBuffer(); !gone.IsOK()) {
        return gone;
    }
    Client client(port, clock, some_request_id());
    client.set_timing(timing);
    std::uint32_t version = 0;
    if (PvResult silent = read_version(client, name, version); !silent.IsOK()) {
        return silent;
    }
    return read_device_facts(client, name, facts);
}

}  // namespace

PvResult find_device(SerialLink& link, std::string_view name, const DeviceTemplate& how,
                     std::span<const std::uint32_t> baud_rates, std::chrono::milliseconds timeout,
                     const net::Clock& clock, FoundDevice& found)
{
    for (const std::uint32_t rate : baud_rates) {
        const PvResult set = link.set_baud_rate(rate);
        if (set.GetCode() == PvResult::NotSupported) {
            continue;
        }
        if (!set.IsOK()) {
            return set;
        }
        Timing timing;
        timing.answer_timeout = timeout;
        timing.attempts = attempts_of_probe;
        timing.baud_rate = rate;
        DeviceFacts facts;
        const PvResult asked = ask(link.port(), name, timing, clock, facts);
        if (asked.IsOK()) {
            if (!how.fits(facts)) {
                return failure(PvResult::NotFound, name, ": the device \"", facts.manufacturer, " ", facts.model,
                               "\" is none of the class \"", how.name, "\"");
            }
            found = {rate, std::move(facts)};
            return PvResult::OK;
        }
        if (asked.GetCode() == PvResult::NotConnected) {
            return asked;
        }
    }
    return failure(PvResult::NotFound, name, ": no device answers at ",
                   std::string_view(baud_rates.size() == 1 ? "the rate of the line" : "any rate"));
}

}  // namespace vex::genicp
