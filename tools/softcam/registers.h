// The camera's own registers. The names are those that the description refers to as @name@, or @name+offset@.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

// One register a line: name, address. Addresses are never reused for something else.
#define SOFTCAM_REGISTERS(X)                                                                                           \
    /* device control */                                                                                               \
    X(device_reset, 0x00010000)                                                                                        \
    X(device_temperature, 0x00010010) /* two, by DeviceTemperatureSelector; signed milli-degrees */                    \
    X(sensor_type, 0x00010020)                                                                                         \
    X(device_uptime, 0x00010028) /* 8 bytes, ticks since power-on */                                                   \
    X(firmware_version, 0x00010040)                                                                                    \
    /* image format control */                                                                                         \
    X(sensor_width, 0x00011000)                                                                                        \
    X(sensor_height, 0x00011004)                                                                                       \
    X(width_max, 0x00011008)                                                                                           \
    X(height_max, 0x0001100C)                                                                                          \
    X(width, 0x00011010)                                                                                               \
    X(height, 0x00011014)                                                                                              \
    X(offset_x, 0x00011018)                                                                                            \
    X(offset_y, 0x0001101C)                                                                                            \
    X(width_step, 0x00011020)                                                                                          \
    X(height_step, 0x00011024)                                                                                         \
    X(binning_horizontal, 0x00011028)                                                                                  \
    X(binning_vertical, 0x0001102C)                                                                                    \
    X(reverse, 0x00011030) /* bit 31: horizontal, bit 30: vertical */                                                  \
    X(pixel_format, 0x00011034)                                                                                        \
    X(test_pattern, 0x00011038)                                                                                        \
    X(payload_size, 0x0001103C)                                                                                        \
    /* acquisition control */                                                                                          \
    X(acquisition_mode, 0x00012000)                                                                                    \
    X(acquisition_frame_count, 0x00012004)                                                                             \
    X(acquisition_start, 0x00012008)                                                                                   \
    X(acquisition_stop, 0x0001200C)                                                                                    \
    X(acquisition_status, 0x00012010)                                                                                  \
    X(frame_rate_enable, 0x00012014)                                                                                   \
    X(frame_period, 0x00012018)  /* 8 bytes, nanoseconds */                                                            \
    X(exposure_time, 0x00012020) /* 8 bytes, IEEE double, microseconds */                                              \
    X(trigger_mode, 0x00012028)                                                                                        \
    X(trigger_source, 0x0001202C)                                                                                      \
    X(trigger_software, 0x00012030)                                                                                    \
    X(acquisition_abort, 0x00012034)                                                                                   \
    /* analog control */                                                                                               \
    X(gain, 0x00013000) /* tenths of a decibel */                                                                      \
    X(black_level, 0x00013004)                                                                                         \
    /* user sets */                                                                                                    \
    X(user_set_selector, 0x00014000)                                                                                   \
    X(user_set_load, 0x00014004)                                                                                       \
    X(user_set_save, 0x00014008)                                                                                       \
    X(user_set_default, 0x0001400C)                                                                                    \
    X(user_set_save_time, 0x00014010) /* milliseconds */                                                               \
    /* digital input and output */                                                                                     \
    X(line_inverter, 0x00015000) /* two, by LineSelector */                                                            \
    X(line_status, 0x00015010)                                                                                         \
    X(user_output, 0x00015014)                                                                                         \
    /* memory of the user's own */                                                                                     \
    X(user_value, 0x00016000)  /* five, by UserDefinedValueSelector */                                                 \
    X(user_memory, 0x00016100) /* 256 bytes */                                                                         \
    X(user_float, 0x00016200)  /* 4 bytes, IEEE single */                                                              \
    X(user_text, 0x00016300)   /* 64 bytes */                                                                          \
    X(user_signed, 0x00016400) /* 4 bytes: two signed fields of 12 and 20 bits */                                      \
    /* events */                                                                                                       \
    X(event_notification, 0x00017000) /* five, by EventSelector */                                                     \
    X(test_event_generate, 0x00017020)                                                                                 \
    /* chunks */                                                                                                       \
    X(chunk_mode_active, 0x00018000)                                                                                   \
    X(chunk_enable, 0x00018010) /* nine, by ChunkSelector */                                                           \
    /* file access control */                                                                                          \
    X(file_selector, 0x00019000)                                                                                       \
    X(file_operation, 0x00019004)                                                                                      \
    X(file_execute, 0x00019008) /* reads 1 while the operation goes on */                                              \
    X(file_open_mode, 0x0001900C)                                                                                      \
    X(file_access_offset, 0x00019010)                                                                                  \
    X(file_access_length, 0x00019014)                                                                                  \
    X(file_status, 0x00019018)                                                                                         \
    X(file_result, 0x0001901C)                                                                                         \
    X(file_size, 0x00019020)                                                                                           \
    X(file_buffer, 0x00040000) /* 131072 bytes */                                                                      \
    /* serial ports and the I2C bus: blocks of 4096 bytes each */                                                      \
    X(serial0, 0x00070000)                                                                                             \
    X(serial1, 0x00071000)                                                                                             \
    X(bulk0, 0x00072000)                                                                                               \
    X(bulk1, 0x00073000)

namespace softcam::reg {

#define SOFTCAM_CONSTANT(name, address) inline constexpr std::uint32_t name = address;
SOFTCAM_REGISTERS(SOFTCAM_CONSTANT)
#undef SOFTCAM_CONSTANT

struct Named {
    std::string_view name;
    std::uint32_t address;
};

inline constexpr std::array all = {
#define SOFTCAM_ENTRY(name, address) Named{#name, address},
    SOFTCAM_REGISTERS(SOFTCAM_ENTRY)
#undef SOFTCAM_ENTRY
};

/// Where the zipped description lies.
inline constexpr std::uint32_t description = 0x00100000;

}  // namespace softcam::reg
