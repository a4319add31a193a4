// ACTION commands: which of them mean this device, and when they happen.
#include <algorithm>

#include "sdk/virtualdevice/gvcp_responder.h"
#include "sdk/wire/bootstrap.h"

namespace vex::virtual_device {

namespace {

namespace reg = wire::bootstrap;
namespace gvcp = wire::gvcp;

constexpr std::uint32_t schedule_size = 16;

/// A lost heartbeat is noticed this much late at most.
constexpr std::chrono::milliseconds longest_turn{50};

}  // namespace

void GvcpResponder::add_action_registers()
{
    if (description_.action_signals > 0) {
        add_constant(reg::scheduled_action_queue_size, schedule_size);
    }
    for (unsigned signal = 0; signal < description_.action_signals; ++signal) {
        registers_.add_register(reg::action_group_key + reg::action_stride * signal, Access::read_write, 0);
        registers_.add_register(reg::action_group_mask + reg::action_stride * signal, Access::read_write, 0);
    }
}

void GvcpResponder::action(const gvcp::CommandView& command)
{
    if (description_.action_signals == 0) {
        return answer_status(command, Status::not_implemented);
    }
    const std::optional<gvcp::Action> action = gvcp::decode_action(command);
    if (!action) {
        return answer_status(command, Status::invalid_header);
    }
    const bool unconditional =
        (registers_.value(reg::gvcp_configuration) & reg::configuration::unconditional_action) != 0;
    bool matched = false;
    Status status = Status::success;
    if ((controller_ || unconditional) && action->device_key == registers_.value(reg::action_device_key)) {
        for (unsigned signal = 0; signal < description_.action_signals; ++signal) {
            const std::uint32_t offset = reg::action_stride * signal;
            if (action->group_key == registers_.value(reg::action_group_key + offset) &&
                (action->group_mask & registers_.value(reg::action_group_mask + offset)) != 0) {
                matched = true;
                const Status outcome = act_or_schedule(signal, *action);
                status = outcome == Status::success ? status : outcome;
            }
        }
    }
    if (!matched) {
        ++statistics_.not_for_us;
        return;
    }
    answer_status(command, told(status));
}

Status GvcpResponder::act_or_schedule(unsigned signal, const gvcp::Action& action)
{
    if (!action.time) {
        hooks_.on_action(signal, action);
        return Status::success;
    }
    if (*action.time <= hooks_.timestamp()) {
        hooks_.on_action(signal, action);
        return Status::action_late;
    }
    if (scheduled_.size() >= schedule_size) {
        return Status::overflow;
    }
    scheduled_.push_back({signal, action});
    return Status::success;
}

Status GvcpResponder::told(Status status) const
{
    const bool newer = (registers_.value(reg::gvcp_configuration) & reg::configuration::extended_status_2_0) != 0;
    if (newer || status == Status::success) {
        return status;
    }
    // what was late has been done; what found no place may be tried again
    return status == Status::action_late ? Status::success : Status::busy;
}

net::Clock::duration GvcpResponder::run_due_actions()
{
    net::Clock::duration wait = longest_turn;
    if (scheduled_.empty()) {
        return wait;
    }
    const std::uint64_t now = hooks_.timestamp();
    const auto later = std::stable_partition(scheduled_.begin(), scheduled_.end(),
                                             [now](const Scheduled& entry) { return *entry.action.time <= now; });
    std::vector<Scheduled> due(scheduled_.begin(), later);
    scheduled_.erase(scheduled_.begin(), later);
    std::stable_sort(due.begin(), due.end(), [](const Scheduled& left, const Scheduled& right) {
        return *left.action.time < *right.action.time;
    });
    for (const Scheduled& entry : due) {
        hooks_.on_action(entry.signal, entry.action);
    }
    const double ticks_per_second = static_cast<double>(description_.timestamp_frequency);
    for (const Scheduled& entry : scheduled_) {
        const std::chrono::duration<double> left(static_cast<double>(*entry.action.time - now) / ticks_per_second);
        if (left < wait) {
            wait = std::chrono::ceil<net::Clock::duration>(left);
        }
    }
    return wait;
}

}  // namespace vex::virtual_device
