#include "sdk/control/privilege.h"

#include <array>
#include <chrono>
#include <string>

#include "sdk/base/failure.h"
#include "sdk/wire/bootstrap.h"

namespace vex::control {

namespace {

namespace bootstrap = wire::bootstrap;
using std::chrono::milliseconds;
namespace privilege = wire::bootstrap::privilege;

PvResult held_by_another(ControlChannel& channel, std::uint32_t capability, bool exclusively)
{
    const auto holder = read_holder(channel, capability);
    return failure(PvResult::StateError, "The device ", channel.device().address.to_string(), " is controlled",
                   (exclusively ? " exclusively by " : " by "), (holder ? text_of(*holder) : "another application"));
}

}  // namespace

std::optional<PrivilegeHolder> read_holder(ControlChannel& channel, std::uint32_t capability)
{
    if ((capability & bootstrap::capability::application_port_and_ip) == 0) {
        return std::nullopt;
    }
    const std::array<std::uint32_t, 2> addresses = {bootstrap::primary_application_ip,
                                                    bootstrap::primary_application_port};
    std::array<std::uint32_t, 2> values{};
    if (!channel.read_registers(addresses, values) || values[0] == 0) {
        return std::nullopt;
    }
    return PrivilegeHolder{{values[0]}, static_cast<std::uint16_t>(values[1])};
}

std::string text_of(const PrivilegeHolder& holder)
{
    return holder.address.to_string() + ", port " + std::to_string(holder.port);
}

PvResult take_privilege(ControlChannel& channel, PvAccessType access, std::uint32_t capability)
{
    if (access != PvAccessControl && access != PvAccessExclusive) {
        return PvResult::OK;
    }

    std::uint32_t value = 0;
    auto outcome = channel.read_register(bootstrap::control_channel_privilege, value);
    if (outcome.ok() && (value & (privilege::control | privilege::exclusive)) != 0) {
        return held_by_another(channel, capability, (value & privilege::exclusive) != 0);
    }

    const std::uint32_t wanted = access == PvAccessExclusive ? privilege::exclusive : privilege::control;
    bool may_be_held = false;
    if (outcome.ok()) {
        outcome = channel.write_register(bootstrap::control_channel_privilege, wanted);
        may_be_held = outcome.kind != ControlOutcome::Kind::refused;
    }
    if (outcome.ok()) {
        outcome = channel.read_register(bootstrap::control_channel_privilege, value);
    }
    if (may_be_held && (!outcome.ok() || (value & wanted) == 0)) {
        // also when the acknowledge was lost the device may have granted it
        static_cast<void>(channel.write_register(bootstrap::control_channel_privilege, 0, {milliseconds(150), 2}));
    }
    if (outcome.kind == ControlOutcome::Kind::refused && outcome.status == wire::gvcp::Status::access_denied) {
        return held_by_another(channel, capability, false);
    }
    if (!outcome.ok()) {
        return to_result(outcome, channel.device());
    }
    if ((value & wanted) == 0) {
        return failure(PvResult::StateError, "The device ", channel.device().address.to_string(), " did not grant ",
                       (access == PvAccessExclusive ? "exclusive control" : "control"));
    }
    return PvResult::OK;
}

}  // namespace vex::control
