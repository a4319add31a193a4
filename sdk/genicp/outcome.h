// What became of a request on a serial line.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "sdk/base/PvResult.h"
#include "sdk/wire/gencp.h"

namespace vex::genicp {

struct Outcome {
    enum class Kind : std::uint8_t {
        done,
        no_answer,         ///< in time, after all attempts
        malformed,         ///< nothing but acknowledges that do not fit the request
        refused,           ///< by the device, with `status`
        pending_too_long,  ///< the device announced more time than it is given
        port_failed,       ///< with `port`
        closed,            ///< the client is
        outside,           ///< no device has such an address
    };

    Kind kind = Kind::done;
    wire::gencp::Command command = wire::gencp::Command::read_memory;
    std::uint64_t address = 0;
    std::size_t length = 0;  ///< bytes
    wire::gencp::Status status{};
    unsigned attempts = 0;
    std::chrono::milliseconds waited{};
    PvResult port{};

    [[nodiscard]] bool ok() const noexcept { return kind == Kind::done; }
};

/// The outcome in words, which begin with the device's name. OK for one that is done.
[[nodiscard]] PvResult to_result(const Outcome& outcome, std::string_view device);

}  // namespace vex::genicp
