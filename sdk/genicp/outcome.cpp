#include "sdk/genicp/outcome.h"

#include <string>

#include "sdk/base/failure.h"
#include "sdk/base/numbers.h"

namespace vex::genicp {

namespace {

using Kind = Outcome::Kind;
using wire::gencp::Status;

PvResult::Code code_of(Status status) noexcept
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

PvResult::Code code_of(const Outcome& outcome) noexcept
{
    switch (outcome.kind) {
    case Kind::done: return PvResult::OK;
    case Kind::no_answer:
    case Kind::pending_too_long: return PvResult::Timeout;
    case Kind::malformed: return PvResult::NetworkError;
    case Kind::port_failed: return outcome.port.GetCode();
    case Kind::closed: return PvResult::NotConnected;
    case Kind::outside: return PvResult::InvalidParameter;
    case Kind::refused: break;
    }
    return code_of(outcome.status);
}

std::string reason(const Outcome& outcome)
{
    const auto after_trying = [&](const char* what) {
        return std::string(what) + " (" + std::to_string(outcome.attempts) +
               (outcome.attempts == 1 ? " attempt, " : " attempts, ") + std::to_string(outcome.waited.count()) + " ms)";
    };
    switch (outcome.kind) {
    case Kind::done: return "nothing";
    case Kind::no_answer: return after_trying("no answer");
    case Kind::malformed: return after_trying("only malformed answers");
    case Kind::pending_too_long: return after_trying("the device asks for more and more time");
    case Kind::port_failed: return std::string(outcome.port.description());
    case Kind::closed: return "the connection is closed";
    case Kind::outside: return "there is no such address";
    case Kind::refused: break;
    }
    return std::string(wire::gencp::text_of(outcome.status)) + " (status " +
           to_hex_text(static_cast<std::uint16_t>(outcome.status)) + ")";
}

}  // namespace

PvResult to_result(const Outcome& outcome, std::string_view device)
{
    if (outcome.ok()) {
        return PvResult::OK;
    }
    const bool reads = outcome.command == wire::gencp::Command::read_memory;
    return failure(
        code_of(outcome), device, reads ? ": reading " : ": writing ", outcome.length, " bytes at ",
        [&] { return to_hex_text(outcome.address); }, " failed: ", [&] { return reason(outcome); });
}

}  // namespace vex::genicp
