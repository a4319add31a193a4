// What a channel tells of itself, and its settings.
#include <algorithm>
#include <new>
#include <string>
#include <vector>

#include "sdk/base/failure.h"
#include "sdk/base/trace.h"
#include "sdk/net/known_path.h"
#include "sdk/net/receive_backends.h"
#include "sdk/stream_core/stream_channel.h"

namespace vex::stream {

namespace {

void trace_setting(const char* name, std::uint32_t value)
{
    trace::write(trace::Category::stream, trace::Level::info,
                 [&] { return std::string("stream setting ") + name + " is now " + std::to_string(value); });
}

}  // namespace

/// Of this opening, or of the latest one when the stream is closed.
Counters StreamChannel::counters() const
{
    const std::lock_guard work(work_);
    return assembler_ != nullptr ? assembler_->counters() : ended_counters_;
}

/// Why nothing may be coming at all, for the text of a timeout; empty where blocks have come.
std::string StreamChannel::what_came_so_far() const
{
    const Counters counters = this->counters();
    const std::optional<Endpoints> endpoints = this->endpoints();
    if (!endpoints.has_value() || counters.blocks_received() != 0) {
        return {};
    }
    if (counters.blocks_begun != 0) {
        return ": packets" + odd_packet_size(*endpoints) + " have come, but no block has ended";
    }
    const std::string way = endpoints->device.to_string() + " to " + endpoints->local.to_string() + ", port " +
                            std::to_string(endpoints->port);
    if (counters.of(PacketFate::foreign) != 0) {
        return ": no packet has come from " + way + ", but from other senders";
    }
    if (counters.of(PacketFate::malformed) != 0) {
        return ": what has come from " + way + " is not a stream";
    }
    return ": no packet has ever come from " + way;
}

/// What is to be said of packets that are larger or smaller than those that the device was set to send.
std::string StreamChannel::odd_packet_size(const Endpoints& endpoints) const
{
    const std::uint32_t negotiated = net::known_packet_size(endpoints.device, endpoints.channel);
    std::size_t size = 0;
    {
        const std::lock_guard work(work_);
        size = assembler_ != nullptr ? assembler_->packet_size() : 0;
    }
    if (negotiated == 0 || size == 0 || size == negotiated) {
        return {};
    }
    return " of another size than negotiated (" + std::to_string(size) + " bytes, not " + std::to_string(negotiated) +
           ")";
}

std::string StreamChannel::why_nothing(std::uint64_t underruns_before) const
{
    return underruns() != underruns_before ? ": blocks arrived for which no buffer was queued" : what_came_so_far();
}

std::uint64_t StreamChannel::underruns() const
{
    const std::lock_guard lock(queues_);
    return underruns_;
}

void Failures::note(Failure& kind, const PvResult& result) noexcept
{
    try {
        kind.result = result;
    } catch (const std::bad_alloc&) {
        kind.result = result.GetCode();
    }
    kind.order = ++count;
}

Statistics StreamChannel::statistics(TimeSource preferred) const
{
    const net::Clock::time_point now = clock_.now();
    const Counters all = counters();
    const std::lock_guard lock(queues_);
    return {all.since(reset_at_),           queue_counters_,  pipeline_drops_,
            rates_.current(now, preferred), rates_.average(), rates_.sampling_time(),
            rates_.effective(preferred)};
}

void StreamChannel::reset_statistics()
{
    const Counters all = counters();
    const std::lock_guard lock(queues_);
    reset_at_ = all;
    queue_counters_ = {};
    pipeline_drops_ = 0;
    failures_ = {};
    rates_.reset();
}

SystemFacts StreamChannel::system_facts() const
{
    const std::lock_guard lifecycle(lifecycle_);
    return receiver_ != nullptr ? SystemFacts{receiver_->buffer_bytes(), receiver_->dropped_by_system()} : ended_facts_;
}

PvResult StreamChannel::last_error() const { return last_error(false, true); }

PvResult StreamChannel::last_error(bool timeouts_count, bool aborts_count) const
{
    PvResult error;
    {
        const std::lock_guard lock(queues_);
        const Failures::Failure* last = &failures_.block;
        if (timeouts_count && failures_.timeout.order > last->order) {
            last = &failures_.timeout;
        }
        if (aborts_count && failures_.aborted.order > last->order) {
            last = &failures_.aborted;
        }
        error = last->result;
    }
    const SystemFacts facts = system_facts();
    if (error.IsOK() || facts.dropped.value_or(0) == 0) {
        return error;
    }
    return failure(error.GetCode(), error.description(), ". The system threw ", *facts.dropped,
                   " packets away: the buffer of ", facts.buffer_bytes, " bytes that it keeps for them is too small");
}

StreamSettings StreamChannel::settings() const
{
    const std::lock_guard work(work_);
    return settings_;
}

PvResult StreamChannel::set(const NumberSetting& setting, std::uint32_t value)
{
    if (value < setting.min || value > setting.max) {
        return failure(PvResult::InvalidParameter, setting.name, " takes ", setting.min, " to ", setting.max,
                       *setting.unit != 0 ? " " : "", setting.unit, ", not ", value);
    }
    const std::lock_guard work(work_);
    settings_.*setting.value = value;
    trace_setting(setting.name, value);
    apply_settings();
    return PvResult::OK;
}

void StreamChannel::set(const SwitchSetting& setting, bool value)
{
    const std::lock_guard work(work_);
    settings_.*setting.value = value;
    trace_setting(setting.name, value ? 1U : 0U);
    apply_settings();
}

std::string StreamChannel::backend() const
{
    const std::lock_guard lock(queues_);
    return backend_;
}

PvResult StreamChannel::set_backend(const std::string& name)
{
    const std::vector<net::SharedBackend> backends = net::receive_backends();
    if (!name.empty() &&
        std::ranges::none_of(backends, [&name](const auto& backend) { return backend->name() == name; })) {
        std::string names;
        for (const net::SharedBackend& backend : backends) {
            names += names.empty() ? "" : ", ";
            names += backend->name();
        }
        return failure(PvResult::InvalidParameter, "There is no way to receive named '", name, "', but ", names);
    }
    const std::lock_guard lock(queues_);
    backend_ = name;
    return PvResult::OK;
}

/// With `work_` held.
void StreamChannel::apply_settings()
{
    if (assembler_ != nullptr) {
        assembler_->set_settings(settings_);
    }
    const std::lock_guard lock(queues_);
    most_idle_ = settings_.maximum_pre_queued_buffers;
    most_ready_ = settings_.maximum_internal_retrieve_buffers;
}

std::uint32_t StreamChannel::most_buffers() const
{
    const std::lock_guard lock(queues_);
    return most_idle_;
}

}  // namespace vex::stream
