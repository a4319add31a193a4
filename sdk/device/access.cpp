#include "sdk/device/access.h"

#include "sdk/device/device_impl.h"

namespace vex::device {

struct Access {
    static std::shared_ptr<control::Connection> connection(const PvDevice& device)
    {
        return device.impl_->connection();
    }
};

std::shared_ptr<control::Connection> connection_of(const PvDevice& device) { return Access::connection(device); }

}  // namespace vex::device
