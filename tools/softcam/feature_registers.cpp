#include "tools/softcam/feature_registers.h"

#include <algorithm>
#include <bit>
#include <chrono>
#include <cmath>
#include <thread>

#include "sdk/wire/bytes.h"
#include "tools/softcam/feature_values.h"
#include "tools/softcam/registers.h"

using namespace vex;

namespace softcam {

using virtual_device::Access;
using virtual_device::Region;

namespace {

double decibel_factor(std::uint32_t tenths) { return std::pow(10.0, static_cast<double>(tenths) / 200.0); }

}  // namespace

FeatureRegisters::FeatureRegisters(virtual_device::GvcpResponder& responder, Acquisition& acquisition,
                                   CameraEvents& events, std::function<void()> reset, bool free_geometry)
    : responder_(responder), map_(responder.registers()), acquisition_(acquisition), events_(events),
      reset_(std::move(reset)), free_geometry_(free_geometry)
{
    const auto guard = responder_.lock();
    add_device_registers();
    add_geometry_registers();
    add_sampling_registers();
    add_acquisition_registers();
    add_analog_registers();
    add_line_registers();
    add_user_set_registers();
    add_user_memory_registers();
    add_event_registers();
    add_chunk_registers();
    user_sets_.fill(current_settings());
    apply();
}

void FeatureRegisters::power_on()
{
    set(reg::user_set_selector, 0);
    test_events_ = 0;
    apply_settings(user_sets_[value(reg::user_set_default)]);
}

void FeatureRegisters::action()
{
    if (value(reg::trigger_mode) != 0 && value(reg::trigger_source) == trigger_source_action) {
        acquisition_.trigger();
    }
}

// ---- building blocks ----

std::uint32_t FeatureRegisters::value(std::uint32_t address) const { return map_.value(address); }

std::uint64_t FeatureRegisters::wide_value(std::uint32_t address) const
{
    return (std::uint64_t{map_.value(address)} << 32) | map_.value(address + 4);
}

void FeatureRegisters::set(std::uint32_t address, std::uint32_t new_value) { map_.set_value(address, new_value); }

FeatureRegisters::Accept FeatureRegisters::at_most(std::uint32_t largest)
{
    return [largest](std::uint32_t& proposed) {
        return proposed <= largest ? Status::success : Status::invalid_parameter;
    };
}

void FeatureRegisters::add_setting(std::uint32_t address, std::uint32_t initial, Accept accept)
{
    saved_.push_back(address);
    map_.add_register(address, Access::read_write, initial,
                      {.refresh = {}, .accept = [this, address, accept = std::move(accept)](std::uint32_t& proposed) {
                           const Status status = accept(proposed);
                           if (status == Status::success) {
                               set(address, proposed);
                               apply();
                           }
                           return status;
                       }});
}

void FeatureRegisters::add_locked_setting(std::uint32_t address, std::uint32_t initial, Accept accept)
{
    add_setting(address, initial, [this, accept = std::move(accept)](std::uint32_t& proposed) {
        return acquisition_.is_running() ? Status::access_denied : accept(proposed);
    });
}

void FeatureRegisters::add_geometry_setting(std::uint32_t address, std::uint32_t initial, Accept accept)
{
    if (free_geometry_) {
        add_setting(address, initial, std::move(accept));
    } else {
        add_locked_setting(address, initial, std::move(accept));
    }
}

void FeatureRegisters::add_wide_setting(std::uint32_t address, std::uint64_t initial,
                                        std::function<bool(std::uint64_t)> valid)
{
    saved_.push_back(address);
    Region region;
    region.address = address;
    region.access = Access::read_write;
    region.bytes.resize(8);
    wire::store_be64(region.bytes.data(), initial);
    region.accept = [this, address, valid = std::move(valid)](std::span<std::uint8_t> proposed) {
        if (!valid(wire::load_be64(proposed.data()))) {
            return Status::invalid_parameter;
        }
        std::ranges::copy(proposed, map_.bytes(address).begin());
        apply();
        return Status::success;
    };
    map_.add(std::move(region));
}

void FeatureRegisters::add_fixed(std::uint32_t address, std::uint32_t fixed_value)
{
    map_.add_register(address, Access::read_only, fixed_value);
}

void FeatureRegisters::add_computed(std::uint32_t address, std::function<std::uint32_t()> computed)
{
    map_.add_register(address, Access::read_only, 0, {.refresh = std::move(computed), .accept = {}});
}

void FeatureRegisters::add_command(std::uint32_t address, std::function<Status()> run)
{
    map_.add_register(address, Access::write_only, 0,
                      {.refresh = {}, .accept = [run = std::move(run)](std::uint32_t& proposed) {
                           if (proposed != 1) {
                               return Status::invalid_parameter;
                           }
                           proposed = 0;
                           return run();
                       }});
}

// ---- settings as a whole ----

void FeatureRegisters::apply()
{
    acquisition_.change(settings());
    std::uint32_t enabled = 0;
    for (std::uint32_t kind = 0; kind < event_kinds; ++kind) {
        enabled |= value(reg::event_notification + 4 * kind) << kind;
    }
    events_.set_enabled(enabled);
}

test_pattern::FrameSettings FeatureRegisters::frame_settings() const
{
    test_pattern::FrameSettings frame;
    frame.pattern = static_cast<test_pattern::Pattern>(value(reg::test_pattern));
    frame.pixel_format = value(reg::pixel_format);
    frame.sensor_width = sensor_width;
    frame.sensor_height = sensor_height;
    frame.binning_x = value(reg::binning_horizontal);
    frame.binning_y = value(reg::binning_vertical);
    frame.reverse_x = (value(reg::reverse) & reverse_x_bit) != 0;
    frame.reverse_y = (value(reg::reverse) & reverse_y_bit) != 0;
    frame.offset_x = value(reg::offset_x);
    frame.offset_y = value(reg::offset_y);
    frame.width = value(reg::width);
    frame.height = value(reg::height);
    frame.gain = static_cast<std::uint32_t>(std::lround(65536.0 * decibel_factor(value(reg::gain))));
    frame.black_level = static_cast<std::uint16_t>(value(reg::black_level) * 16);
    return frame;
}

ChunkSettings FeatureRegisters::chunk_settings() const
{
    ChunkSettings chunks;
    chunks.active = value(reg::chunk_mode_active) != 0;
    for (std::uint32_t kind = 0; kind < chunk_kinds; ++kind) {
        chunks.enabled |= value(reg::chunk_enable + 4 * kind) << kind;
    }
    chunks.exposure_us = std::bit_cast<double>(wide_value(reg::exposure_time));
    chunks.gain_db = value(reg::gain) / 10.0;
    return chunks;
}

AcquisitionSettings FeatureRegisters::settings() const
{
    AcquisitionSettings settings;
    settings.frame = frame_settings();
    settings.chunks = chunk_settings();
    settings.mode = static_cast<AcquisitionMode>(value(reg::acquisition_mode));
    settings.frame_count = value(reg::acquisition_frame_count);
    const double exposure_us = std::bit_cast<double>(wide_value(reg::exposure_time));
    settings.period = std::chrono::nanoseconds(static_cast<std::int64_t>(exposure_us * 1000.0));
    if (value(reg::frame_rate_enable) != 0) {
        settings.period = std::max(settings.period,
                                   std::chrono::nanoseconds(static_cast<std::int64_t>(wide_value(reg::frame_period))));
    }
    settings.triggered = value(reg::trigger_mode) != 0;
    return settings;
}

FeatureRegisters::UserSet FeatureRegisters::current_settings() const
{
    UserSet set;
    for (const std::uint32_t address : saved_) {
        const auto bytes = map_.bytes(address);
        set[address] = {bytes.begin(), bytes.end()};
    }
    return set;
}

void FeatureRegisters::apply_settings(const UserSet& set)
{
    for (const auto& [address, bytes] : set) {
        std::ranges::copy(bytes, map_.bytes(address).begin());
    }
    apply();
}

virtual_device::Status FeatureRegisters::save_user_set()
{
    const std::uint32_t selected = value(reg::user_set_selector);
    if (selected == 0) {
        return Status::access_denied;  // what the factory set stays
    }
    const std::chrono::milliseconds time(value(reg::user_set_save_time));
    if (time > std::chrono::milliseconds::zero()) {
        responder_.announce_delay(time);
        std::this_thread::sleep_for(time);
    }
    user_sets_[selected] = current_settings();
    return Status::success;
}

}  // namespace softcam
