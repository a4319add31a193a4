#include "tools/softcam/feature_registers.h"

#include <algorithm>
#include <bit>
#include <chrono>
#include <cmath>
#include <thread>

#include "sdk/wire/bytes.h"
#include "tools/softcam/registers.h"

namespace softcam {

using virtual_device::Access;
using virtual_device::Region;

namespace {

constexpr std::uint32_t sensor_width = 3840;
constexpr std::uint32_t sensor_height = 2880;
constexpr std::uint32_t smallest_width = 16;
constexpr std::uint32_t smallest_height = 2;
constexpr std::uint32_t mono8 = 0x01080001;

constexpr std::uint32_t reverse_x_bit = 0x80000000;
constexpr std::uint32_t reverse_y_bit = 0x40000000;

constexpr std::uint32_t source_software = 0;
constexpr std::uint32_t source_action = 2;
constexpr std::uint32_t sensor_monochrome = 1;

constexpr std::uint64_t shortest_period_ns = 100'000;
constexpr std::uint64_t longest_period_ns = 10'000'000'000;
constexpr double shortest_exposure_us = 10.0;
constexpr double longest_exposure_us = 10'000'000.0;

constexpr std::uint32_t longest_save_ms = 10'000;

enum class Colour { mono, mosaic, full };

Colour colour_of(std::uint32_t pixel_format)
{
    if ((pixel_format >> 24) == 2)
        return Colour::full;
    const std::uint32_t id = pixel_format & 0xFFFF;
    return id <= 0x0007 ? Colour::mono : Colour::mosaic;
}

bool is_packed(std::uint32_t pixel_format) { return ((pixel_format >> 16) & 0xFF) == 12; }
bool shares_chroma(std::uint32_t pixel_format)
{
    return (pixel_format >> 24) == 2 && ((pixel_format >> 16) & 0xFF) == 16;
}

double decibel_factor(std::uint32_t tenths) { return std::pow(10.0, static_cast<double>(tenths) / 200.0); }

}  // namespace

FeatureRegisters::FeatureRegisters(virtual_device::GvcpResponder& responder, Acquisition& acquisition,
                                   CameraEvents& events, std::function<void()> reset)
    : responder_(responder), map_(responder.registers()), acquisition_(acquisition), events_(events),
      reset_(std::move(reset))
{
    const auto guard = responder_.lock();
    add_device_registers();
    add_geometry_registers();
    add_acquisition_registers();
    add_analog_registers();
    add_line_registers();
    add_user_set_registers();
    add_user_memory_registers();
    add_event_registers();
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
    if (value(reg::trigger_mode) != 0 && value(reg::trigger_source) == source_action)
        acquisition_.trigger();
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
        if (!valid(wire::load_be64(proposed.data())))
            return Status::invalid_parameter;
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
                           if (proposed != 1)
                               return Status::invalid_parameter;
                           proposed = 0;
                           return run();
                       }});
}

// ---- the registers ----

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
        if (proposed > sensor_monochrome)
            return Status::invalid_parameter;
        if (proposed == sensor_monochrome && colour_of(value(reg::pixel_format)) != Colour::mono)
            set(reg::pixel_format, mono8);
        return Status::success;
    });
}

std::uint32_t FeatureRegisters::step_x(std::uint32_t pixel_format) const
{
    // packed pixels, chroma and mosaic cells come in pairs
    const bool pairs =
        is_packed(pixel_format) || shares_chroma(pixel_format) || colour_of(pixel_format) == Colour::mosaic;
    return pairs ? 2 : 1;
}

std::uint32_t FeatureRegisters::step_y(std::uint32_t pixel_format) const
{
    return colour_of(pixel_format) == Colour::mosaic ? 2 : 1;
}

void FeatureRegisters::fit_geometry()
{
    const std::uint32_t x = step_x(value(reg::pixel_format));
    const std::uint32_t y = step_y(value(reg::pixel_format));
    const std::uint32_t max_x = sensor_width / value(reg::binning_horizontal);
    const std::uint32_t max_y = sensor_height / value(reg::binning_vertical);
    const auto down = [](std::uint32_t v, std::uint32_t step) { return v - v % step; };
    set(reg::offset_x, down(value(reg::offset_x), x));
    set(reg::offset_y, down(value(reg::offset_y), y));
    set(reg::width, down(std::min(value(reg::width), max_x - value(reg::offset_x)), x));
    set(reg::height, down(std::min(value(reg::height), max_y - value(reg::offset_y)), y));
}

void FeatureRegisters::add_geometry_registers()
{
    add_fixed(reg::sensor_width, sensor_width);
    add_fixed(reg::sensor_height, sensor_height);
    add_computed(reg::width_max, [this] { return sensor_width / value(reg::binning_horizontal); });
    add_computed(reg::height_max, [this] { return sensor_height / value(reg::binning_vertical); });
    add_computed(reg::width_step, [this] { return step_x(value(reg::pixel_format)); });
    add_computed(reg::height_step, [this] { return step_y(value(reg::pixel_format)); });
    add_computed(reg::payload_size,
                 [this] { return static_cast<std::uint32_t>(test_pattern::image_bytes(frame_settings())); });

    add_locked_setting(reg::width, 640, [this](std::uint32_t& proposed) {
        const std::uint32_t most = sensor_width / value(reg::binning_horizontal) - value(reg::offset_x);
        const bool valid =
            proposed >= smallest_width && proposed <= most && proposed % step_x(value(reg::pixel_format)) == 0;
        return valid ? Status::success : Status::invalid_parameter;
    });
    add_locked_setting(reg::height, 480, [this](std::uint32_t& proposed) {
        const std::uint32_t most = sensor_height / value(reg::binning_vertical) - value(reg::offset_y);
        const bool valid =
            proposed >= smallest_height && proposed <= most && proposed % step_y(value(reg::pixel_format)) == 0;
        return valid ? Status::success : Status::invalid_parameter;
    });
    add_locked_setting(reg::offset_x, 0, [this](std::uint32_t& proposed) {
        const std::uint32_t most = sensor_width / value(reg::binning_horizontal) - value(reg::width);
        const bool valid = proposed <= most && proposed % step_x(value(reg::pixel_format)) == 0;
        return valid ? Status::success : Status::invalid_parameter;
    });
    add_locked_setting(reg::offset_y, 0, [this](std::uint32_t& proposed) {
        const std::uint32_t most = sensor_height / value(reg::binning_vertical) - value(reg::height);
        const bool valid = proposed <= most && proposed % step_y(value(reg::pixel_format)) == 0;
        return valid ? Status::success : Status::invalid_parameter;
    });
    const auto binning = [this](std::uint32_t address, std::uint32_t offset) {
        return [this, address, offset](std::uint32_t& proposed) {
            if (proposed < 1 || proposed > 4)
                return Status::invalid_parameter;
            set(address, proposed);
            set(offset, 0);
            fit_geometry();
            return Status::success;
        };
    };
    add_locked_setting(reg::binning_horizontal, 1, binning(reg::binning_horizontal, reg::offset_x));
    add_locked_setting(reg::binning_vertical, 1, binning(reg::binning_vertical, reg::offset_y));
    add_locked_setting(reg::reverse, 0, [](std::uint32_t& proposed) {
        proposed &= reverse_x_bit | reverse_y_bit;
        return Status::success;
    });
    add_locked_setting(reg::pixel_format, mono8, [this](std::uint32_t& proposed) {
        if (!test_pattern::supports(proposed))
            return Status::invalid_parameter;
        if (value(reg::sensor_type) == sensor_monochrome && colour_of(proposed) != Colour::mono)
            return Status::invalid_parameter;
        set(reg::pixel_format, proposed);
        fit_geometry();
        return Status::success;
    });
    add_setting(reg::test_pattern, 0, at_most(test_pattern::pattern_count - 1));
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
    add_setting(reg::trigger_source, source_software, at_most(source_action));
    add_command(reg::trigger_software, [this] {
        if (value(reg::trigger_mode) == 0 || value(reg::trigger_source) != source_software)
            return Status::access_denied;
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
    for (std::uint32_t line = 0; line < 2; ++line)
        add_setting(reg::line_inverter + 4 * line, 0, at_most(1));
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
    add(reg::user_set_save_time, longest_save_ms);
    add_command(reg::user_set_load, [this] {
        if (acquisition_.is_running())
            return Status::access_denied;
        apply_settings(user_sets_[value(reg::user_set_selector)]);
        return Status::success;
    });
    map_.add_register(reg::user_set_save, Access::read_write, 0,
                      {.refresh = {}, .accept = [this](std::uint32_t& proposed) {
                           if (proposed != 1)
                               return Status::invalid_parameter;
                           proposed = 0;
                           return save_user_set();
                       }});
}

void FeatureRegisters::add_user_memory_registers()
{
    const auto any = [](std::uint32_t&) { return Status::success; };
    for (std::uint32_t index = 0; index < 5; ++index)
        add_setting(reg::user_value + 4 * index, 0, any);
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
    for (std::uint32_t kind = 0; kind < event_kinds; ++kind)
        add_setting(reg::event_notification + 4 * kind, 0, at_most(1));
    add_command(reg::test_event_generate, [this] {
        events_.raise(EventKind::test, acquisition_.timestamp(), ++test_events_);
        return Status::success;
    });
}

// ---- settings as a whole ----

void FeatureRegisters::apply()
{
    acquisition_.change(settings());
    std::uint32_t enabled = 0;
    for (std::uint32_t kind = 0; kind < event_kinds; ++kind)
        enabled |= value(reg::event_notification + 4 * kind) << kind;
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

AcquisitionSettings FeatureRegisters::settings() const
{
    AcquisitionSettings settings;
    settings.frame = frame_settings();
    settings.mode = static_cast<AcquisitionMode>(value(reg::acquisition_mode));
    settings.frame_count = value(reg::acquisition_frame_count);
    const double exposure_us = std::bit_cast<double>(wide_value(reg::exposure_time));
    settings.period = std::chrono::nanoseconds(static_cast<std::int64_t>(exposure_us * 1000.0));
    if (value(reg::frame_rate_enable) != 0)
        settings.period = std::max(settings.period,
                                   std::chrono::nanoseconds(static_cast<std::int64_t>(wide_value(reg::frame_period))));
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
    for (const auto& [address, bytes] : set)
        std::ranges::copy(bytes, map_.bytes(address).begin());
    apply();
}

virtual_device::Status FeatureRegisters::save_user_set()
{
    const std::uint32_t selected = value(reg::user_set_selector);
    if (selected == 0)
        return Status::access_denied;  // what the factory set stays
    const std::chrono::milliseconds time(value(reg::user_set_save_time));
    if (time > std::chrono::milliseconds::zero()) {
        responder_.announce_delay(time);
        std::this_thread::sleep_for(time);
    }
    user_sets_[selected] = current_settings();
    return Status::success;
}

}  // namespace softcam
