#include "tools/softcam/faults.h"

#include <algorithm>
#include <utility>

#include "sdk/wire/bootstrap.h"
#include "sdk/wire/gvcp.h"

using namespace vex;

namespace softcam {

using virtual_device::Send;
namespace gvcp = wire::gvcp;

namespace {

/// As many datagrams as a device's socket holds while it is busy.
constexpr std::size_t longest_queue = 64;

}  // namespace

void FaultyLink::set_faults(const ControlFaults& faults)
{
    const std::lock_guard guard(mutex_);
    faults_ = faults;
    random_.seed(faults.seed);
}

void FaultyLink::set_silent(bool silent)
{
    silent_until_ = not_silent;
    silent_ = silent;
}

void FaultyLink::be_silent_for(net::Clock::duration time)
{
    silent_until_ = (clock_.now() + time).time_since_epoch().count();
}

bool FaultyLink::is_silent() const noexcept
{
    if (silent_) {
        return true;
    }
    const auto until = silent_until_.load();
    return until != not_silent && clock_.now().time_since_epoch().count() < until;
}

void FaultyLink::forget()
{
    waiting_.clear();
    delayed_.clear();
}

FaultStatistics FaultyLink::statistics() const
{
    const std::lock_guard guard(mutex_);
    return statistics_;
}

bool FaultyLink::drawn(unsigned per_mille, std::uint64_t FaultStatistics::*count)
{
    const std::lock_guard guard(mutex_);
    if (per_mille == 0 || random_() % 1000 >= per_mille) {
        return false;
    }
    ++(statistics_.*count);
    return true;
}

void FaultyLink::handle(View datagram, const Endpoint& source, const Send& send)
{
    if (is_silent()) {
        const std::lock_guard guard(mutex_);
        ++statistics_.unheard;
    } else if (waiting_.empty()) {
        take(datagram, source, send);
    } else if (waiting_.size() < longest_queue) {
        waiting_.push_back({Bytes(datagram.begin(), datagram.end()), source});
    }
}

void FaultyLink::take(View datagram, const Endpoint& source, const Send& send)
{
    ControlFaults faults;
    {
        const std::lock_guard guard(mutex_);
        faults = faults_;
    }
    const auto command = gvcp::decode_command(datagram);
    if (!faults.any() || !command) {
        execute(datagram, source, send);
        return;
    }
    if (drawn(faults.lost_commands, &FaultStatistics::lost_commands)) {
        return;
    }
    if (refuses(*command) && drawn(faults.refused, &FaultStatistics::refused)) {
        acknowledge(
            gvcp::Message::acknowledge(acknowledge_of(command->command), command->request_id, faults.refusal).bytes(),
            source, send);
        return;
    }
    if (drawn(faults.pending, &FaultStatistics::pending)) {
        if (command->acknowledge_required() && announces()) {
            const auto time = std::clamp<std::chrono::milliseconds::rep>(faults.pending_time.count(), 1, 0xFFFF);
            acknowledge(gvcp::pending_acknowledge(command->request_id, static_cast<std::uint16_t>(time)).bytes(),
                        source, send);
        }
        busy_until_ = clock_.now() + faults.pending_time;
        waiting_.push_front({Bytes(datagram.begin(), datagram.end()), source});
        return;
    }
    execute(datagram, source, send);
}

bool FaultyLink::refuses(const gvcp::CommandView& command) const
{
    switch (command.command) {
    case gvcp::Command::read_register:
    case gvcp::Command::write_register:
    case gvcp::Command::read_memory:
    case gvcp::Command::write_memory: return command.acknowledge_required();
    default: return false;
    }
}

bool FaultyLink::announces() const
{
    namespace reg = wire::bootstrap;
    const auto guard = responder_.lock();
    return (responder_.registers().value(reg::gvcp_configuration) & reg::configuration::pending_ack) != 0;
}

void FaultyLink::execute(View datagram, const Endpoint& source, const Send& send)
{
    responder_.handle(datagram, source, [&](const Endpoint& to, View answer) { acknowledge(answer, to, send); });
}

void FaultyLink::acknowledge(View datagram, const Endpoint& destination, const Send& send)
{
    ControlFaults faults;
    {
        const std::lock_guard guard(mutex_);
        faults = faults_;
    }
    if (!faults.any()) {
        send_now(datagram, destination, send);
        return;
    }
    if (drawn(faults.lost, &FaultStatistics::lost)) {
        return;
    }
    Bytes bytes(datagram.begin(), datagram.end());
    if (drawn(faults.truncated, &FaultStatistics::truncated)) {
        const std::lock_guard guard(mutex_);
        bytes.resize(static_cast<std::size_t>(random_() % bytes.size()));
    }
    if (drawn(faults.wrong, &FaultStatistics::wrong)) {
        spoil(bytes);
    }
    const int times = drawn(faults.doubled, &FaultStatistics::doubled) ? 2 : 1;
    const auto late_by = std::max<net::Clock::duration>(faults.late_by, net::Clock::duration(1));
    for (int i = 0; i < times; ++i) {
        if (drawn(faults.reordered, &FaultStatistics::reordered)) {
            delayed_.push_back({bytes, destination, clock_.now() + late_by, true});
        } else if (drawn(faults.late, &FaultStatistics::late)) {
            const std::lock_guard guard(mutex_);
            const auto by =
                static_cast<net::Clock::duration::rep>(random_() % static_cast<std::uint64_t>(late_by.count()) + 1);
            delayed_.push_back({bytes, destination, clock_.now() + net::Clock::duration(by), false});
        } else {
            send_now(bytes, destination, send);
        }
    }
}

void FaultyLink::spoil(Bytes& datagram)
{
    if (datagram.size() < gvcp::header_size) {
        return;
    }
    const std::lock_guard guard(mutex_);
    // the code or the ID of the request, each in two bytes; never the same as before
    const std::size_t at = random_() % 2 == 0 ? 2 : 6;
    datagram[at + random_() % 2] ^= static_cast<std::uint8_t>(1 + random_() % 255);
}

void FaultyLink::send_now(View datagram, const Endpoint& destination, const Send& send)
{
    if (is_silent()) {
        return;
    }
    send(destination, datagram);
    std::list<Acknowledge> overtaken;
    for (auto entry = delayed_.begin(); entry != delayed_.end();) {
        const auto next = std::next(entry);
        if (entry->until_next) {
            overtaken.splice(overtaken.end(), delayed_, entry);
        }
        entry = next;
    }
    for (const Acknowledge& entry : overtaken) {
        send(entry.destination, entry.datagram);
    }
}

void FaultyLink::send_due(const Send& send)
{
    const auto now = clock_.now();
    std::list<Acknowledge> due;
    for (auto entry = delayed_.begin(); entry != delayed_.end();) {
        const auto next = std::next(entry);
        if (entry->due <= now) {
            due.splice(due.end(), delayed_, entry);
        }
        entry = next;
    }
    due.sort([](const Acknowledge& a, const Acknowledge& b) { return a.due < b.due; });
    if (is_silent()) {
        return;
    }
    for (const Acknowledge& entry : due) {
        send(entry.destination, entry.datagram);
    }
}

net::Clock::duration FaultyLink::tick(const Send& send)
{
    if (!waiting_.empty() && clock_.now() >= busy_until_) {
        std::deque<Command> commands = std::exchange(waiting_, {});
        const Command first = std::move(commands.front());
        commands.pop_front();
        execute(first.datagram, first.source, send);
        for (const Command& command : commands) {
            handle(command.datagram, command.source, send);
        }
    }
    send_due(send);
    net::Clock::duration wait =
        responder_.tick([&](const Endpoint& to, View answer) { acknowledge(answer, to, send); });
    const auto now = clock_.now();
    if (!waiting_.empty()) {
        wait = std::min(wait, busy_until_ - now);
    }
    for (const Acknowledge& entry : delayed_) {
        wait = std::min(wait, entry.due - now);
    }
    return wait;
}

}  // namespace softcam
