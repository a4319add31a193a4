// What befell a line of this computer, as a result with words.
#pragma once

#include <string>
#include <system_error>

#include "sdk/base/PvResult.h"
#include "sdk/serial_port/PvSerialPortConfiguration.h"

namespace vex::serial_port {

/// Why a line cannot be opened or set: NotFound, StateError when somebody has it, InvalidParameter for a name that is
/// none or not a serial line's, NotSupported for a configuration that it cannot take, GenericError.
[[nodiscard]] PvResult line_refused(const std::error_code& error, const std::string& name,
                                    const PvSerialPortConfiguration& configuration) noexcept;

}  // namespace vex::serial_port
