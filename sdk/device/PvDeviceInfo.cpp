#include "sdk/device/PvDeviceInfo.h"

#include <utility>

#include "sdk/control/discovery.h"
#include "sdk/device/device_info_impl.h"
#include "sdk/wire/bootstrap.h"

using namespace vex;

PvDeviceInfo::PvDeviceInfo(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
PvDeviceInfo::~PvDeviceInfo() = default;

PvString PvDeviceInfo::GetMACAddress() const { return impl_->facts.mac.to_string(); }
PvString PvDeviceInfo::GetIPAddress() const { return impl_->facts.address.to_string(); }
PvString PvDeviceInfo::GetSubnetMask() const { return impl_->facts.mask.to_string(); }
PvString PvDeviceInfo::GetDefaultGateway() const { return impl_->facts.gateway.to_string(); }
PvString PvDeviceInfo::GetVendor() const { return PvString(impl_->facts.manufacturer); }
PvString PvDeviceInfo::GetModel() const { return PvString(impl_->facts.model); }
PvString PvDeviceInfo::GetVersion() const { return PvString(impl_->facts.device_version); }
PvString PvDeviceInfo::GetManufacturerInfo() const { return PvString(impl_->facts.manufacturer_info); }
PvString PvDeviceInfo::GetSerialNumber() const { return PvString(impl_->facts.serial_number); }
PvString PvDeviceInfo::GetUserDefinedName() const { return PvString(impl_->facts.user_defined_name); }

PvString PvDeviceInfo::GetID() const { return impl_->facts.mac.is_zero() ? GetIPAddress() : GetMACAddress(); }

PvAccessType PvDeviceInfo::GetAccessStatus() const { return impl_->access; }

PvDeviceClass PvDeviceInfo::GetClass() const
{
    namespace mode = wire::bootstrap::mode;
    switch ((impl_->facts.device_mode & mode::class_mask) >> mode::class_shift) {
    case 0: return PvDeviceClassTransmitter;
    case 1: return PvDeviceClassReceiver;
    case 2: return PvDeviceClassTransceiver;
    case 3: return PvDeviceClassPeripheral;
    default: return PvDeviceClassUnknown;
    }
}

std::uint32_t PvDeviceInfo::GetProtocolVersionMajor() const { return impl_->facts.version_major; }
std::uint32_t PvDeviceInfo::GetProtocolVersionMinor() const { return impl_->facts.version_minor; }

bool PvDeviceInfo::IsIPConfigurationValid() const { return control::is_reachable(impl_->host, impl_->facts); }

PvInterface* PvDeviceInfo::GetInterface() const { return impl_->owner.lock().get(); }

std::shared_ptr<PvDeviceInfo> PvDeviceInfo::shared() { return impl_->self.lock(); }
