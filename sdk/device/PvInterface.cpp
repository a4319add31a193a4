#include "sdk/device/PvInterface.h"

#include <algorithm>
#include <utility>

#include "sdk/device/device_info_impl.h"
#include "sdk/device/system_impl.h"

using namespace vex;

namespace {

/// How many devices that are no longer met keep their object.
constexpr std::size_t most_retired = 1024;

}  // namespace

PvInterface::PvInterface(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
PvInterface::~PvInterface() = default;

std::uint32_t PvInterface::GetDeviceCount() const { return static_cast<std::uint32_t>(impl_->listed.size()); }

PvDeviceInfo* PvInterface::GetDeviceInfo(std::uint32_t aIndex) const
{
    return aIndex < impl_->listed.size() ? impl_->listed[aIndex] : nullptr;
}

PvString PvInterface::GetMACAddress() const { return impl_->facts.mac.to_string(); }
PvString PvInterface::GetIPAddress() const { return impl_->facts.address.to_string(); }
PvString PvInterface::GetSubnetMask() const { return impl_->facts.mask.to_string(); }
PvString PvInterface::GetDefaultGateway() const { return impl_->facts.gateway.to_string(); }
PvString PvInterface::GetDescription() const { return PvString(impl_->facts.description); }
PvString PvInterface::GetID() const { return impl_->id(); }
PvInterfaceType PvInterface::GetType() const { return PvInterfaceNetworkStack; }

PvResult PvInterface::Find()
{
    const std::shared_ptr<PvInterface> held = shared();  // a sink may let go of the last share
    return impl_->system.search({this});
}

std::shared_ptr<PvInterface> PvInterface::shared() { return {impl_->system.shared_from_this(), this}; }

PvDeviceInfo& PvInterface::Impl::device_for(PvInterface& self, const control::FoundDevice& found)
{
    auto it = std::find_if(all.begin(), all.end(), [&](const auto& known) {
        return control::is_same_device(known->impl_->facts, found.facts);
    });
    if (it == all.end()) {
        // the oldest that nobody lists makes room
        if (all.size() >= most_retired + listed.size()) {
            all.erase(std::find_if(all.begin(), all.end(), [&](const auto& known) {
                return std::find(listed.begin(), listed.end(), known.get()) == listed.end();
            }));
        }
        all.push_back(std::shared_ptr<PvDeviceInfo>(new PvDeviceInfo(std::make_unique<PvDeviceInfo::Impl>())));
    } else {
        std::rotate(it, it + 1, all.end());
    }
    PvDeviceInfo::Impl& info = *all.back()->impl_;
    info.self = all.back();
    info.owner = self.shared();
    info.host = facts;
    info.facts = found.facts;
    info.access = found.access;
    return *all.back();
}
