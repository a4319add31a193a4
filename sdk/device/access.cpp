#include "sdk/device/access.h"

#include "sdk/device/device_impl.h"

namespace vex::device {

struct Access {
    static std::shared_ptr<control::Connection> connection(const PvDevice& device)
    {
        return device.impl_->connection();
    }
    static std::shared_ptr<void> share(const PvDevice& device) { return device.impl_; }
    static const PvDevice::Impl& inside(const std::shared_ptr<void>& share)
    {
        return *static_cast<const PvDevice::Impl*>(share.get());
    }
};

std::shared_ptr<control::Connection> connection_of(const PvDevice& device) { return Access::connection(device); }

SharedDevice::SharedDevice(const PvDevice& device) : impl_(Access::share(device)), lifetime_(device.lifetime()) {}

std::shared_ptr<control::Connection> SharedDevice::connection() const { return Access::inside(impl_).connection(); }

PvGenParameterArray* SharedDevice::parameters() const
{
    const auto* const features = Access::inside(impl_).features();
    return features != nullptr ? features->array.get() : nullptr;
}

}  // namespace vex::device
