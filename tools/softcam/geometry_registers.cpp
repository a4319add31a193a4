// The registers of image size, position and format, which depend on one another.
#include "tools/softcam/feature_registers.h"

#include <algorithm>

#include "tools/softcam/feature_values.h"
#include "tools/softcam/registers.h"

using namespace vex;

namespace softcam {

namespace {

constexpr std::uint32_t smallest_width = 16;
constexpr std::uint32_t smallest_height = 2;

bool is_packed(std::uint32_t pixel_format) { return ((pixel_format >> 16) & 0xFF) == 12; }
bool shares_chroma(std::uint32_t pixel_format)
{
    return (pixel_format >> 24) == 2 && ((pixel_format >> 16) & 0xFF) == 16;
}

}  // namespace

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
    add_computed(reg::payload_size, [this] {
        return static_cast<std::uint32_t>(test_pattern::image_bytes(frame_settings()) + chunk_bytes(chunk_settings()));
    });

    add_geometry_setting(reg::width, 640, [this](std::uint32_t& proposed) {
        const std::uint32_t most = sensor_width / value(reg::binning_horizontal) - value(reg::offset_x);
        const bool valid =
            proposed >= smallest_width && proposed <= most && proposed % step_x(value(reg::pixel_format)) == 0;
        return valid ? Status::success : Status::invalid_parameter;
    });
    add_geometry_setting(reg::height, 480, [this](std::uint32_t& proposed) {
        const std::uint32_t most = sensor_height / value(reg::binning_vertical) - value(reg::offset_y);
        const bool valid =
            proposed >= smallest_height && proposed <= most && proposed % step_y(value(reg::pixel_format)) == 0;
        return valid ? Status::success : Status::invalid_parameter;
    });
    add_geometry_setting(reg::offset_x, 0, [this](std::uint32_t& proposed) {
        const std::uint32_t most = sensor_width / value(reg::binning_horizontal) - value(reg::width);
        const bool valid = proposed <= most && proposed % step_x(value(reg::pixel_format)) == 0;
        return valid ? Status::success : Status::invalid_parameter;
    });
    add_geometry_setting(reg::offset_y, 0, [this](std::uint32_t& proposed) {
        const std::uint32_t most = sensor_height / value(reg::binning_vertical) - value(reg::height);
        const bool valid = proposed <= most && proposed % step_y(value(reg::pixel_format)) == 0;
        return valid ? Status::success : Status::invalid_parameter;
    });
}

void FeatureRegisters::add_sampling_registers()
{
    const auto binning = [this](std::uint32_t address, std::uint32_t offset) {
        return [this, address, offset](std::uint32_t& proposed) {
            if (proposed < 1 || proposed > 4) {
                return Status::invalid_parameter;
            }
            set(address, proposed);
            set(offset, 0);
            fit_geometry();
            return Status::success;
        };
    };
    add_geometry_setting(reg::binning_horizontal, 1, binning(reg::binning_horizontal, reg::offset_x));
    add_geometry_setting(reg::binning_vertical, 1, binning(reg::binning_vertical, reg::offset_y));
    add_geometry_setting(reg::reverse, 0, [](std::uint32_t& proposed) {
        proposed &= reverse_x_bit | reverse_y_bit;
        return Status::success;
    });
    add_geometry_setting(reg::pixel_format, mono8, [this](std::uint32_t& proposed) {
        if (!test_pattern::supports(proposed)) {
            return Status::invalid_parameter;
        }
        if (value(reg::sensor_type) == sensor_monochrome && colour_of(proposed) != Colour::mono) {
            return Status::invalid_parameter;
        }
        set(reg::pixel_format, proposed);
        fit_geometry();
        return Status::success;
    });
    add_setting(reg::test_pattern, 0, at_most(test_pattern::pattern_count - 1));
}

}  // namespace softcam
