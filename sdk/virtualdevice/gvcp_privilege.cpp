// Who may do what: the control channel privilege, its heartbeat and its handing over.
#include "sdk/base/trace.h"
#include "sdk/virtualdevice/gvcp_responder.h"
#include "sdk/wire/bootstrap.h"

namespace vex::virtual_device {

namespace {

namespace reg = wire::bootstrap;

constexpr std::uint32_t any_control = reg::privilege::control | reg::privilege::exclusive;

}  // namespace

void GvcpResponder::add_control_registers()
{
    registers_.add_register(
        reg::control_channel_privilege, Access::read_write, 0,
        {.refresh = {}, .accept = [this](std::uint32_t& value) { return accept_privilege(value); }});
    registers_.add_register(reg::primary_application_port, Access::read_only, 0);
    registers_.add_register(reg::primary_application_ip, Access::read_only, 0);
    registers_.add_register(reg::control_switchover_key, Access::write_only, 0,
                            {.refresh = {}, .accept = [](std::uint32_t& value) {
                                 value &= reg::privilege::switchover_key_mask;
                                 return Status::success;
                             }});
}

bool GvcpResponder::hands_over(std::uint32_t request) const
{
    const bool enabled = (registers_.value(reg::control_channel_privilege) & reg::privilege::switchover_enable) != 0;
    return enabled && (request & any_control) != 0 &&
           request >> reg::privilege::switchover_key_shift == registers_.value(reg::control_switchover_key);
}

Status GvcpResponder::accept_privilege(std::uint32_t& value)
{
    if (controller_ && *controller_ != source_ && !hands_over(value)) {
        ++statistics_.denied;
        return Status::access_denied;
    }
    if ((value & any_control) == 0) {
        value = 0;
        release_control();
        return Status::success;
    }
    // the key is never read back, and who wants the device alone does not hand it over
    value &= any_control | reg::privilege::switchover_enable;
    if ((value & reg::privilege::exclusive) != 0) {
        value &= ~reg::privilege::switchover_enable;
    }
    const bool taken = !controller_;
    controller_ = source_;
    last_command_ = clock_.now();
    registers_.set_value(reg::primary_application_port, source_.port);
    registers_.set_value(reg::primary_application_ip, source_.address.value);
    if (taken) {
        trace::write(trace::Category::camera, trace::Level::info,
                     [&] { return source_.to_string() + " has taken control"; });
        hooks_.on_control_changed(true);
    }
    return Status::success;
}

void GvcpResponder::release_control()
{
    if (!controller_) {
        return;
    }
    trace::write(trace::Category::camera, trace::Level::info,
                 [&] { return controller_->to_string() + " no longer has control"; });
    controller_.reset();
    registers_.set_value(reg::control_channel_privilege, 0);
    registers_.set_value(reg::control_switchover_key, 0);
    registers_.set_value(reg::primary_application_port, 0);
    registers_.set_value(reg::primary_application_ip, 0);
    close_channels();
    hooks_.on_control_changed(false);
}

void GvcpResponder::drop_control()
{
    const std::lock_guard guard(mutex_);
    release_control();
}

bool GvcpResponder::heartbeat_disabled() const
{
    return (registers_.value(reg::gvcp_configuration) & reg::configuration::heartbeat_disable) != 0;
}

void GvcpResponder::expire()
{
    if (!controller_ || heartbeat_disabled()) {
        return;
    }
    if (clock_.now() - last_command_ <= std::chrono::milliseconds(registers_.value(reg::heartbeat_timeout))) {
        return;
    }
    ++statistics_.heartbeat_expired;
    release_control();
}

Status GvcpResponder::read_allowed(std::uint32_t address, std::size_t length)
{
    const bool exclusive =
        (registers_.value(reg::control_channel_privilege) & reg::privilege::exclusive) != 0 && controller_ != source_;
    if (!exclusive) {
        return Status::success;
    }
    // who was refused may at least learn who has the device
    const bool who_controls =
        length == 4 && (address == reg::control_channel_privilege || address == reg::primary_application_port ||
                        address == reg::primary_application_ip);
    if (who_controls) {
        return Status::success;
    }
    ++statistics_.denied;
    return Status::access_denied;
}

Status GvcpResponder::write_allowed(std::uint32_t address, std::size_t length)
{
    if (address == reg::control_channel_privilege && length == 4) {
        return Status::success;  // the register itself knows who may take control
    }
    if (controller_ == source_) {
        return Status::success;
    }
    ++statistics_.denied;
    return Status::access_denied;
}

}  // namespace vex::virtual_device
