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

PvResult held_by_another(const ControlChannel& channel, const std::optional<PrivilegeHolder>& holder, bool exclusively,
                         const Switchover& switchover)
{
    return failure(PvResult::StateError, "The device ", channel.device().address.to_string(), " is controlled",
                   (exclusively ? " exclusively by " : " by "), (holder ? text_of(*holder) : "another application"),
                   (switchover.take_over ? ", which does not hand it over for this key" : ""));
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
    bool kept = false;
    return take_privilege(channel, access, capability, {}, nullptr, kept);
}

PvResult take_privilege(ControlChannel& channel, PvAccessType access, std::uint32_t capability,
                        const Switchover& switchover, const Returning* returning, bool& kept)
{
    kept = false;
    if (access != PvAccessControl && access != PvAccessExclusive) {
        return PvResult::OK;
    }

    std::uint32_t value = 0;
    auto outcome = channel.read_register(bootstrap::control_channel_privilege, value);
    if (outcome.ok() && (value & (privilege::control | privilege::exclusive)) != 0) {
        const auto holder = read_holder(channel, capability);
        // a device that does not tell its controller knows it all the same, and refuses others
        kept = returning != nullptr && holder == returning->holder;
        if (!kept && !switchover.take_over) {
            return held_by_another(channel, holder, (value & privilege::exclusive) != 0, switchover);
        }
    }

    const std::uint32_t wanted = access == PvAccessExclusive ? privilege::exclusive : privilege::control;
    const std::uint32_t key =
        switchover.take_over ? std::uint32_t{switchover.key} << privilege::switchover_key_shift : 0;
    bool may_be_held = false;
    if (outcome.ok()) {
        outcome = channel.write_register(bootstrap::control_channel_privilege, key | wanted);
        may_be_held = outcome.kind != ControlOutcome::Kind::refused;
    }
    if (outcome.ok()) {
        outcome = channel.read_register(bootstrap::control_channel_privilege, value);
    }
    kept = kept && outcome.ok() && (value & wanted) != 0;
    if (may_be_held && (!outcome.ok() || (value & wanted) == 0)) {
        // also when the acknowledge was lost the device may have granted it
        static_cast<void>(channel.write_register(bootstrap::control_channel_privilege, 0, {milliseconds(150), 2}));
    }
    if (outcome.kind == ControlOutcome::Kind::refused && outcome.status == wire::gvcp::Status::access_denied) {
        return held_by_another(channel, read_holder(channel, capability), (value & privilege::exclusive) != 0,
                               switchover);
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

PvResult allow_switchover(ControlChannel& channel, std::uint16_t key, std::uint32_t capability)
{
    if ((capability & bootstrap::capability::application_switchover) == 0) {
        return failure(PvResult::NotSupported, "The device ", channel.device().address.to_string(),
                       " cannot hand control over to another application");
    }
    // the key first: from the moment that it is allowed, anybody may try
    auto outcome = channel.write_register(bootstrap::control_switchover_key, key);
    if (outcome.ok()) {
        outcome = channel.write_register(bootstrap::control_channel_privilege,
                                         privilege::control | privilege::switchover_enable);
    }
    std::uint32_t value = 0;
    if (outcome.ok()) {
        outcome = channel.read_register(bootstrap::control_channel_privilege, value);
    }
    if (outcome.ok() && (value & privilege::switchover_enable) == 0) {
        return failure(PvResult::NotSupported, "The device ", channel.device().address.to_string(),
                       " has not taken the permission to hand control over");
    }
    return to_result(outcome, channel.device());
}

}  // namespace vex::control
