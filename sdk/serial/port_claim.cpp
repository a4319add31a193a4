#include "sdk/serial/port_claim.h"

#include <map>
#include <mutex>
#include <utility>

#include "sdk/base/failure.h"

namespace vex::serial {

namespace {

using Key = std::pair<const void*, PvIPEngineSerial>;

struct Claims {
    std::mutex mutex;
    std::map<Key, std::string> owners;
};

/// Never destroyed: objects that hold claims may go as late as the process does.
Claims& claims()
{
    static Claims& all = *new Claims;
    return all;
}

}  // namespace

PvResult PortClaim::take(const void* device, PvIPEngineSerial port, std::string owner, const std::string& where)
{
    release();
    Claims& all = claims();
    const std::lock_guard lock(all.mutex);
    const auto [found, taken] = all.owners.try_emplace(Key(device, port), std::move(owner));
    if (!taken) {
        return failure(PvResult::StateError, "The port ", where, " is open already: ", found->second, " has it");
    }
    device_ = device;
    port_ = port;
    return PvResult::OK;
}

void PortClaim::rename(std::string owner)
{
    if (device_ == nullptr) {
        return;
    }
    Claims& all = claims();
    const std::lock_guard lock(all.mutex);
    all.owners[Key(device_, port_)] = std::move(owner);
}

void PortClaim::release() noexcept
{
    if (device_ == nullptr) {
        return;
    }
    Claims& all = claims();
    const std::lock_guard lock(all.mutex);
    all.owners.erase(Key(device_, port_));
    device_ = nullptr;
}

}  // namespace vex::serial
