#include "sdk/control/control_outcome.h"

#include <cstdio>

#include "sdk/base/failure.h"
#include "sdk/wire/bootstrap.h"

namespace vex::control {

namespace {

using Kind = ControlOutcome::Kind;
using wire::gvcp::Command;
using wire::gvcp::Status;

std::string hexadecimal(std::uint32_t value)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%04X", static_cast<unsigned>(value));
    return text;
}

/// "reading register 0x0A00 (control channel privilege)".
std::string activity(const ControlOutcome& outcome)
{
    const auto bytes = [&] { return std::to_string(outcome.length) + " bytes at " + hexadecimal(outcome.address); };
    switch (outcome.command) {
    case Command::read_register: return "reading " + register_text(outcome.address);
    case Command::write_register: return "writing " + register_text(outcome.address);
    case Command::read_memory: return "reading " + bytes();
    case Command::write_memory: return "writing " + bytes();
    default: return "a command";
    }
}

PvResult::Code code_of(Status status)
{
    switch (status) {
    case Status::not_implemented: return PvResult::NotSupported;
    case Status::invalid_parameter:
    case Status::invalid_address:
    case Status::bad_alignment: return PvResult::InvalidParameter;
    case Status::write_protect:
    case Status::access_denied:
    case Status::busy:
    case Status::wrong_configuration: return PvResult::StateError;
    default: return PvResult::GenericError;
    }
}

PvResult::Code code_of(const ControlOutcome& outcome)
{
    switch (outcome.kind) {
    case Kind::done: return PvResult::OK;
    case Kind::no_answer:
    case Kind::pending_too_long:
    case Kind::too_slow: return PvResult::Timeout;
    case Kind::malformed:
    case Kind::send_failed: return PvResult::NetworkError;
    case Kind::closed: return PvResult::NotConnected;
    case Kind::refused: break;
    }
    return code_of(outcome.status);
}

std::string reason(const ControlOutcome& outcome)
{
    const auto after_trying = [&](const char* what) {
        return std::string(what) + " (" + std::to_string(outcome.attempts) +
               (outcome.attempts == 1 ? " attempt, " : " attempts, ") + std::to_string(outcome.waited.count()) + " ms)";
    };
    switch (outcome.kind) {
    case Kind::done: return "nothing";
    case Kind::no_answer: return after_trying("no answer");
    case Kind::malformed: return after_trying("only malformed answers");
    case Kind::pending_too_long: return after_trying("the device kept asking for more time");
    case Kind::too_slow: return after_trying("the device answers too slowly");
    case Kind::send_failed: return "the request could not be sent: " + outcome.error.message();
    case Kind::closed: return "the connection is closed";
    case Kind::refused: break;
    }
    return std::string(wire::gvcp::text_of(outcome.status)) + " (status " +
           hexadecimal(static_cast<std::uint16_t>(outcome.status)) + ")";
}

}  // namespace

std::string register_text(std::uint32_t address)
{
    std::string text = "register " + hexadecimal(address);
    if (const char* name = wire::bootstrap::name_of(address)) {
        text += std::string(" (") + name + ")";
    }
    return text;
}

std::string exchange_text(const ControlOutcome& outcome, const Endpoint& device, std::optional<std::uint32_t> value,
                          std::chrono::nanoseconds time)
{
    std::string text = device.address.to_string() + ": " + activity(outcome) + ": ";
    if (!outcome.ok()) {
        return text + reason(outcome);
    }
    char number[48];
    if (value) {
        std::snprintf(number, sizeof number, "0x%08X, ", static_cast<unsigned>(*value));
        text += number;
    }
    std::snprintf(number, sizeof number, "done in %.3f ms", std::chrono::duration<double, std::milli>(time).count());
    text += number;
    if (outcome.attempts > 1) {
        text += ", sent " + std::to_string(outcome.attempts) + " times";
    }
    return text;
}

PvResult to_result(const ControlOutcome& outcome, const Endpoint& device)
{
    if (outcome.ok()) {
        return PvResult::OK;
    }
    return failure(code_of(outcome), [&] {
        return device.address.to_string() + ": " + activity(outcome) + " failed: " + reason(outcome);
    });
}

}  // namespace vex::control
