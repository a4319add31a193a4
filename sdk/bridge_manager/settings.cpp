#include "sdk/bridge_manager/settings.h"

#include "sdk/base/failure.h"
#include "sdk/genicp/device_id.h"
#include "sdk/net/pipe_name.h"

namespace vex::bridge_manager {

PvResult Settings::check() const
{
    if (serial_port.empty() && !endpoint.empty() && !net::PipeName::parse(endpoint.view())) {
        return failure(PvResult::InvalidParameter, "'", endpoint.view(),
                       "' cannot be the name of a bridge: names are 1 to 64 letters, digits and '._-', or tcp:PORT");
    }
    if (line) {
        if (PvResult wrong = line->IsValid(); !wrong.IsOK()) {
            return wrong;
        }
    }
    if (hard_coded_baud_rate > PvSerialPortConfiguration::highest_baud_rate) {
        return failure(PvResult::InvalidParameter, "The hard-coded baud rate ", hard_coded_baud_rate,
                       " is not one of 1 to ", PvSerialPortConfiguration::highest_baud_rate,
                       ", nor 0 for that of the line");
    }
    if (!has_parameters) {
        return PvResult::OK;
    }
    if (!serial_port.empty()) {
        return failure(PvResult::InvalidParameter, "Camera Link parameters need a bridge to a pipe or a TCP port, not ",
                       serial_port.view());
    }
    if (!genicp::parse_device_id(device.view())) {
        return failure(PvResult::InvalidParameter, "\"", device.view(),
                       "\" does not name a device: TEMPLATE:BAUD:MANUFACTURER:MODEL:SERIAL is wanted");
    }
    return PvResult::OK;
}

bool Settings::joins_as(const Settings& other) const
{
    Settings same_lines = other;
    same_lines.line = line;
    same_lines.hard_coded_baud_rate = hard_coded_baud_rate;
    return *this == same_lines;
}

}  // namespace vex::bridge_manager
