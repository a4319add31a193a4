// The registers of all features but the image geometry.
#include "tools/softcam/feature_registers.h"

#include <bit>
#include <cmath>

#include "sdk/wire/bytes.h"
#include "tools/softcam/feature_values.h"
#include "tools/softcam/registers.h"

using namespace vex;

namespace softcam {

using virtual_device::Access;
using virtual_device::Region;

namespace {

constexpr std::uint64_t shortest_period_ns = 100'000;
constexpr std::uint64_t longest_period_ns = 10'000'000'000;
constexpr double shortest_exposure_us = 10.0;
constexpr double longest_exposure_us = 10'000'000.0;

constexpr std::uint32_t longest_save_ms = 10'000;

}  // namespace

void FeatureRegisters::add_device_registers()
{
    add_command(reg::device_reset, [this] {
        reset_();
        return Status::success;
    });
    // a slow wave around a plausible value, so that a reader sees that it is live
    const auto temperature = [this](double mean) {
        const double seconds = static_cast<double>(acquisition_.timestamp()) * 1e-9;
        return static_cast<std::uint32_t>(static_cast<std::int32_t>(mean + 1500.0 * std::sin(seconds / 10.0)));
    };
    add_computed(reg::device_temperature, [temperature] { return temperature(45'000.0); });
    add_computed(reg::device_temperature + 4, [temperature] { return temperature(38'000.0); });
    Region uptime;
    uptime.address = reg::device_uptime;
    uptime.bytes.resize(8);
    uptime.refresh = [this](std::span<std::uint8_t> bytes) {
        wire::store_be64(bytes.data(), acquisition_.timestamp());
    };
    map_.add(std::move(uptime));
    map_.add_string(reg::firmware_version, Access::read_only, 32, "SoftCam 1.0");
    add_locked_setting(reg::sensor_type, 0, [this](std::uint32_t& proposed) {
        if (proposed > sensor_monochrome) {
            return Status::invalid_parameter;
        }
        if (proposed == sensor_monochrome && colour_of(value(reg::pixel_format)) != Colour::mono) {
            set(reg::pixel_format, mono8);
        }
        return Status::success;
    });
}

void FeatureRegisters::add_acquisition_registers()
{
    add_locked_setting(reg::acquisition_mode, 0, at_most(2));
    add_locked_setting(reg::acquisition_frame_count, 10, [](std::uint32_t& proposed) {
        return proposed >= 1 && proposed <= 65535 ? Status::success : Status::invalid_parameter;
    });
    add_command(reg::acquisition_start, [this] {
        acquisition_.start(settings());
        return Status::success;
    });
    add_command(reg::acquisition_stop, [this] {
        acquisition_.stop();
        return Status::success;
    });
    add_command(reg::acquisition_abort, [this] {
        acquisition_.abort();
        return Status::success;
    });
    add_computed(reg::acquisition_status, [this] { return acquisition_.is_running() ? 1U : 0U; });
    add_setting(reg::frame_rate_enable, 1, at_most(1));
    add_wide_setting(reg::frame_period, 33'333'333, [](std::uint64_t proposed) {
        return proposed >= shortest_period_ns && proposed <= longest_period_ns;
    });
    add_wide_setting(reg::exposure_time, std::bit_cast<std::uint64_t>(10'000.0), [](std::uint64_t proposed) {
        const double us = std::bit_cast<double>(proposed);
        return us >= shortest_exposure_us && us <= longest_exposure_us;  // false for what is no number
    });
    add_setting(reg::trigger_mode, 0, at_most(1));
    add_setting(reg::trigger_source, trigger_source_software, at_most(trigger_source_action));
    add_command(reg::trigger_software, [this] {
        if (value(reg::trigger_mode) == 0 || value(reg::trigger_source) != trigger_source_software) {
            return Status::access_denied;
        }
        acquisition_.trigger();
        return Status::success;
    });
}

void FeatureRegisters::add_analog_registers()
{
    add_setting(reg::gain, 0, at_most(240));
    add_setting(reg::black_level, 0, at_most(255));
}

void FeatureRegisters::add_line_registers()
{
    for (std::uint32_t line = 0; line < 2; ++line) {
        add_setting(reg::line_inverter + 4 * line, 0, at_most(1));
    }
    add_setting(reg::user_output, 0, [](std::uint32_t& proposed) {
        return proposed == 0 || proposed == 0xFF ? Status::success : Status::invalid_parameter;
    });
    add_computed(reg::line_status, [this] {
        // nothing is connected to the input, which reads low
        const std::uint32_t input = value(reg::line_inverter);
        const std::uint32_t output = (value(reg::user_output) != 0 ? 1U : 0U) ^ value(reg::line_inverter + 4);
        return input | (output << 1);
    });
}

void FeatureRegisters::add_user_set_registers()
{
    const auto add = [this](std::uint32_t address, std::uint32_t largest) {
        map_.add_register(address, Access::read_write, 0, {.refresh = {}, .accept = at_most(largest)});
    };
    add(reg::user_set_selector, 2);
    add(reg::user_set_default, 2);
    map_.keep(reg::user_set_default);
    add(reg::user_set_save_time, longest_save_ms);
    add_command(reg::user_set_load, [this] {
        if (acquisition_.is_running()) {
            return Status::access_denied;
        }
        apply_settings(user_sets_[value(reg::user_set_selector)]);
        return Status::success;
    });
    map_.add_register(reg::user_set_save, Access::read_write, 0,
                      {.refresh = {}, .accept = [this](std::uint32_t& proposed) {
                           if (proposed != 1) {
                               return Status::invalid_parameter;
                           }
                           proposed = 0;
                           return save_user_set();
                       }});
}

void FeatureRegisters::add_user_memory_registers()
{
    const auto any = [](std::uint32_t&) { return Status::success; };
    for (std::uint32_t index = 0; index < 5; ++index) {
        add_setting(reg::user_value + 4 * index, 0, any);
    }
    Region memory;
    memory.address = reg::user_memory;
    memory.access = Access::read_write;
    memory.bytes.resize(256);
    map_.add(std::move(memory));
    add_setting(reg::user_float, std::bit_cast<std::uint32_t>(1.5F), any);
    map_.add_string(reg::user_text, Access::read_write, 64, "software camera");
    saved_.push_back(reg::user_text);
    add_setting(reg::user_signed, 0, any);
}

void FeatureRegisters::add_event_registers()
{
    for (std::uint32_t kind = 0; kind < event_kinds; ++kind) {
        add_setting(reg::event_notification + 4 * kind, 0, at_most(1));
    }
    add_command(reg::test_event_generate, [this] {
        events_.raise(EventKind::test, acquisition_.timestamp(), ++test_events_);
        return Status::success;
    });
}

void FeatureRegisters::add_chunk_registers()
{
    add_locked_setting(reg::chunk_mode_active, 0, at_most(1));
    for (std::uint32_t kind = 0; kind < chunk_kinds; ++kind) {
        add_locked_setting(reg::chunk_enable + 4 * kind, kind <= 1 ? 1 : 0, at_most(1));
    }
}

}  // namespace softcam
