#include "sdk/bridge/bridge.h"

#include <system_error>
#include <utility>

#include "sdk/base/failure.h"

namespace vex::bridge {

namespace {

PvResult not_running() noexcept { return failure(PvResult::StateError, "The bridge does not run"); }

}  // namespace

std::shared_ptr<Bridge::Running> Bridge::running() const
{
    const std::lock_guard lock(mutex_);
    return running_;
}

bool Bridge::runs() const { return running() != nullptr; }

PvSerialPortConfiguration Bridge::for_camera(PvSerialPortConfiguration line, std::uint32_t hard_coded)
{
    line.BaudRate = hard_coded != 0 ? hard_coded : line.BaudRate;
    return line;
}

// ---- running ----

PvResult Bridge::start(const OpenHost& open_host, const OpenCamera& open_camera,
                       const std::optional<PvSerialPortConfiguration>& line)
{
    const std::lock_guard control(control_mutex_);
    if (runs()) {
        return failure(PvResult::StateError, "The bridge runs already");
    }
    auto made = std::make_shared<Running>();
    if (PvResult result = open_host(made->host); !result.IsOK()) {
        return result;
    }
    if (PvResult result = open_camera(made->camera); !result.IsOK()) {
        return result;
    }
    PvSerialPortConfiguration configuration;
    if (PvResult result = prepare(*made->camera, line, configuration); !result.IsOK()) {
        return result;
    }
    CameraSide& camera = *made->camera;
    made->pump =
        std::make_unique<Pump>(camera.port(), *made->host, counters_, [this, &camera] { (void)set_again(camera); });
    std::vector<std::uint32_t> rates = camera.baud_rates();
    {
        const std::lock_guard lock(mutex_);
        configuration_ = configuration;
        rates_ = std::move(rates);
    }
    try {
        made->pump->start();
    } catch (const std::system_error& error) {
        return failure(PvResult::GenericError, "The bridge has no threads: ", error.what());
    }
    const std::lock_guard lock(mutex_);
    running_ = std::move(made);
    return PvResult::OK;
}

PvResult Bridge::prepare(CameraSide& camera, const std::optional<PvSerialPortConfiguration>& given,
                         PvSerialPortConfiguration& line) const
{
    bool as_it_is = false;
    std::uint32_t hard_coded = 0;
    {
        const std::lock_guard lock(mutex_);
        line = given.value_or(configuration_);
        as_it_is = !given && !configured_;
        hard_coded = hard_coded_;
    }
    if (as_it_is) {
        if (PvResult result = camera.line(line); !result.IsOK()) {
            return result;
        }
    }
    return as_it_is && hard_coded == 0 ? PvResult(PvResult::OK) : camera.set_line(for_camera(line, hard_coded));
}

PvResult Bridge::stop()
{
    const std::lock_guard control(control_mutex_);
    std::shared_ptr<Running> stopped;
    {
        const std::lock_guard lock(mutex_);
        stopped.swap(running_);
        if (stopped) {
            dropped_offset_ += stopped->camera->dropped_bytes();
        }
    }
    if (!stopped) {
        return not_running();
    }
    stopped->pump->stop();
    return PvResult::OK;
}

PvResult Bridge::recover()
{
    const auto now = running();  // and a stop does not wait for this
    if (!now) {
        return not_running();
    }
    if (PvResult result = now->host->recover(); !result.IsOK()) {
        return result;
    }
    PvResult result = now->camera->recover();
    return result.IsOK() ? set_again(*now->camera) : result;
}

PvResult Bridge::set_again(CameraSide& camera)
{
    const std::lock_guard one(line_mutex_);
    PvSerialPortConfiguration wanted;
    {
        const std::lock_guard lock(mutex_);
        wanted = for_camera(configuration_, hard_coded_);
    }
    return camera.set_line(wanted);
}

// ---- settings ----

PvSerialPortConfiguration Bridge::configuration() const
{
    const std::lock_guard lock(mutex_);
    return configuration_;
}

PvResult Bridge::configure(const PvSerialPortConfiguration& configuration)
{
    if (PvResult invalid = configuration.IsValid(); !invalid.IsOK()) {
        return invalid;
    }
    const std::lock_guard control(control_mutex_);
    const std::lock_guard one(line_mutex_);
    if (const auto now = running()) {
        const PvSerialPortConfiguration before = this->configuration();
        if (PvResult result = now->host->configure(configuration); !result.IsOK()) {
            return result;
        }
        if (PvResult result = now->camera->set_line(for_camera(configuration, hard_coded_baud_rate()));
            !result.IsOK()) {
            (void)now->host->configure(before);
            return result;
        }
    }
    const std::lock_guard lock(mutex_);
    configuration_ = configuration;
    configured_ = true;
    return PvResult::OK;
}

std::uint32_t Bridge::hard_coded_baud_rate() const
{
    const std::lock_guard lock(mutex_);
    return hard_coded_;
}

PvResult Bridge::set_hard_coded_baud_rate(std::uint32_t baud_rate)
{
    if (baud_rate > PvSerialPortConfiguration::highest_baud_rate) {
        return failure(PvResult::InvalidParameter, "The baud rate ", baud_rate, " is not one of 1 to ",
                       PvSerialPortConfiguration::highest_baud_rate, ", nor 0 for that of the line");
    }
    const std::lock_guard control(control_mutex_);
    const std::lock_guard one(line_mutex_);
    if (const auto now = running()) {
        if (PvResult result = now->camera->set_line(for_camera(configuration(), baud_rate)); !result.IsOK()) {
            return result;
        }
    }
    const std::lock_guard lock(mutex_);
    hard_coded_ = baud_rate;
    return PvResult::OK;
}

std::uint32_t Bridge::baud_rate() const
{
    const std::lock_guard lock(mutex_);
    return for_camera(configuration_, hard_coded_).BaudRate;
}

std::vector<std::uint32_t> Bridge::supported_baud_rates() const
{
    const std::lock_guard lock(mutex_);
    return rates_;
}

// ---- statistics ----

std::uint64_t Bridge::dropped() const
{
    const std::lock_guard lock(mutex_);
    return counters_.dropped + dropped_offset_ + (running_ ? running_->camera->dropped_bytes() : 0);
}

void Bridge::reset_statistics()
{
    const std::lock_guard lock(mutex_);
    counters_.received_from_device = 0;
    counters_.sent_to_device = 0;
    counters_.dropped = 0;
    dropped_offset_ = running_ ? 0 - running_->camera->dropped_bytes() : 0;
}

}  // namespace vex::bridge
