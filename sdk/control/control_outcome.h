// How an exchange with a device ended, without a byte on the heap; the sentence for it is made when it is asked for.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <system_error>

#include "sdk/base/PvResult.h"
#include "sdk/base/address.h"
#include "sdk/wire/gvcp.h"

namespace vex::control {

/// The end of one operation on the control channel. `address` and `length` say what was accessed when it ended.
struct [[nodiscard]] ControlOutcome {
    enum class Kind : std::uint8_t {
        done,
        no_answer,         ///< nothing that answers the request came in time
        malformed,         ///< answers came, but none that could be used
        refused,           ///< the device acknowledged with `status`
        pending_too_long,  ///< the device kept asking for more time
        too_slow,          ///< a chunked operation used up its time although every single message was answered
        send_failed,       ///< the system did not send; `error` says why
        closed,            ///< the channel was closed before or during the operation
    };

    Kind kind = Kind::done;
    wire::gvcp::Status status = wire::gvcp::Status::success;
    wire::gvcp::Command command{};
    std::uint32_t address = 0;
    std::uint32_t length = 0;  ///< bytes; 4 for a register
    unsigned attempts = 0;
    std::chrono::milliseconds waited{};   ///< of a failure
    std::chrono::milliseconds granted{};  ///< of a success: from the device's first request for more time on
    std::error_code error;

    [[nodiscard]] bool ok() const noexcept { return kind == Kind::done; }
    explicit operator bool() const noexcept { return ok(); }
};

/// The address as messages show it: "register 0x0A00 (control channel privilege)".
[[nodiscard]] std::string register_text(std::uint32_t address);

/// The outcome as a result: what was accessed on which device, and why it failed. OK allocates nothing.
[[nodiscard]] PvResult to_result(const ControlOutcome& outcome, const Endpoint& device);

/// An exchange in one sentence: what was accessed on which device, what came of it, and in what time. `value`: of a
/// single register.
[[nodiscard]] std::string exchange_text(const ControlOutcome& outcome, const Endpoint& device,
                                        std::optional<std::uint32_t> value, std::chrono::nanoseconds time);

}  // namespace vex::control
