#include "sdk/serial_port/line_outcome.h"

#include "sdk/base/failure.h"

namespace vex::serial_port {

namespace {

/// Why a line refuses: `name` and the configuration that was asked for, in words.
PvResult unsupported(const std::string& name, const PvSerialPortConfiguration& configuration) noexcept
{
    const char* const parity = configuration.Parity == PvParityEven  ? "even"
                               : configuration.Parity == PvParityOdd ? "odd"
                                                                     : "no";
    return failure(PvResult::NotSupported, "The serial port ", name, " cannot be set to ", configuration.BaudRate,
                   " baud, ", configuration.ByteSize, " data bits, ", parity, " parity, ", configuration.StopBits,
                   " stop bits");
}

}  // namespace

PvResult line_refused(const std::error_code& error, const std::string& name,
                      const PvSerialPortConfiguration& configuration) noexcept
{
    if (error == std::errc::no_such_device) {
        return failure(PvResult::NotFound, "There is no serial port ", name);
    }
    if (error == std::errc::device_or_resource_busy) {
        return failure(PvResult::StateError, "The serial port ", name, " is in use by another program");
    }
    if (error == std::errc::permission_denied) {
        return failure(PvResult::GenericError, "This user may not open the serial port ", name);
    }
    if (error == std::errc::invalid_argument) {
        return failure(PvResult::InvalidParameter, "'", name, "' cannot be the name of a serial port");
    }
    if (error == std::errc::inappropriate_io_control_operation) {
        return failure(PvResult::InvalidParameter, name, " is not a serial port");
    }
    if (error == std::errc::not_supported) {
        return unsupported(name, configuration);
    }
    return failure(PvResult::GenericError, "The serial port ", name, " cannot be opened: ", error.message());
}

}  // namespace vex::serial_port
