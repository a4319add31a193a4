// Who has a port of a device open.
#pragma once

#include <string>

#include "sdk/base/PvResult.h"
#include "sdk/control/PvTypes.h"

namespace vex::serial {

/// Holds a port of a device object for one opener in this program; other programs are kept away by the control
/// privilege. A port that is a UART and one that is an I2C bus is the same port.
///
/// Thread safety: one object from one thread at a time, distinct ones from any.
class PortClaim {
public:
    PortClaim() = default;
    PortClaim(const PortClaim&) = delete;
    PortClaim& operator=(const PortClaim&) = delete;
    ~PortClaim() { release(); }

    /// Takes the port, for who says in `owner` what it is ("a serial port"). StateError, with the owner, when somebody
    /// has it; `where` names port and device in the text. `device` is no other device's while the claim is held.
    [[nodiscard]] PvResult take(const void* device, PvIPEngineSerial port, std::string owner, const std::string& where);
    /// Names another owner from now on.
    void rename(std::string owner);
    void release() noexcept;

private:
    const void* device_ = nullptr;
    PvIPEngineSerial port_ = PvIPEngineSerialInvalid;
};

}  // namespace vex::serial
