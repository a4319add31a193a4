// An I2C master of a device as its description's features give it.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "sdk/base/PvResult.h"

class PvGenParameterArray;

namespace vex::serial {

/// One transfer, as PvIPEngineI2CBus describes them.
struct I2cRequest {
    std::uint8_t address = 0;
    std::optional<std::uint8_t> offset{};
    bool fast = false;
    bool read = false;
    bool combined = false;
    bool stop = true;
};

/// Over the features of a device, which outlive the object.
///
/// Thread safety: one transfer at a time.
class I2cFeatures {
public:
    /// The device describes an I2C master on the port of this name.
    [[nodiscard]] static bool are_in(const PvGenParameterArray& array, const std::string& port_name);

    I2cFeatures(PvGenParameterArray& array, const std::string& port_name);

    /// Does what PvIPEngineI2CBus says; sends `data` or fills it.
    [[nodiscard]] PvResult transfer(const I2cRequest& request, std::span<std::uint8_t> data, std::uint32_t& count);

private:
    [[nodiscard]] PvResult prepare(const I2cRequest& request, std::span<const std::uint8_t> data);
    /// Until the device has ended it; the status is one of the description's names.
    [[nodiscard]] PvResult await_end(std::chrono::milliseconds time, std::string& status);
    [[nodiscard]] PvResult outcome(const I2cRequest& request, const std::string& status) const;
    [[nodiscard]] PvResult set(const char* name, std::int64_t value);
    [[nodiscard]] PvResult choose(const char* name, const char* entry);

    PvGenParameterArray& array_;
    const std::string prefix_;
};

}  // namespace vex::serial
