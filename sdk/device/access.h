// What serial ports, configurations and streams need of a device beyond its public members: the connection.
#pragma once

#include <memory>

#include "sdk/control/connection.h"
#include "sdk/device/PvDevice.h"

namespace vex::device {

/// The live connection; null when there is none. Whoever holds it may go on using it from any thread: once the device
/// disconnects, every access fails.
[[nodiscard]] std::shared_ptr<control::Connection> connection_of(const PvDevice& device);

/// What is left of a device to whoever works beside it, also on threads of its own: usable when the device object has
/// been destroyed, when there is no connection for good. The features stay for as long as one of these does.
///
/// Thread safety: all members may be called from any thread, also while the device is being destroyed.
class SharedDevice {
public:
    explicit SharedDevice(const PvDevice& device);

    /// As connection_of().
    [[nodiscard]] std::shared_ptr<control::Connection> connection() const;
    /// The features of the last connection; null before the first.
    [[nodiscard]] PvGenParameterArray* parameters() const;
    /// The device object was destroyed.
    [[nodiscard]] bool is_gone() const noexcept { return lifetime_.expired(); }
    /// The same for everything that shares the device, and for no other device as long as one of these lives.
    [[nodiscard]] const void* identity() const noexcept { return impl_.get(); }

private:
    std::shared_ptr<void> impl_;
    std::weak_ptr<const void> lifetime_;
};

}  // namespace vex::device
