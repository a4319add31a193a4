#include "sdk/genicp/device_facts.h"

#include <array>
#include <cstddef>
#include <span>
#include <utility>

#include "sdk/base/failure.h"
#include "sdk/base/numbers.h"
#include "sdk/wire/bytes.h"

namespace vex::genicp {

namespace gencp = wire::gencp;
namespace abrm = wire::gencp::abrm;

namespace {

/// The registers up to what changes by itself.
constexpr std::size_t static_part = abrm::message_channel;
using Registers = std::array<std::uint8_t, static_part>;

std::string text_at(const Registers& registers, std::uint64_t address)
{
    const auto text =
        gencp::text_of(std::span(registers).subspan(static_cast<std::size_t>(address), abrm::text_length));
    return {text.begin(), text.end()};
}

constexpr std::uint32_t major_of(std::uint32_t version) noexcept { return version >> 16; }

PvResult check_version(std::string_view name, std::uint32_t version)
{
    // 0 and all ones are what lines read that are not connected to a device of this kind
    if (major_of(version) != 1) {
        return failure(
            PvResult::NotSupported, name, ": the version ", [&] { return to_hex_text(version); },
            " is none of GenCP 1");
    }
    return PvResult::OK;
}

/// Reads them at once, or one by one where the device refuses that. A register that it does not have stays 0.
Outcome read_registers(Client& client, Registers& registers)
{
    Outcome outcome = client.read(abrm::version, registers);
    if (outcome.kind != Outcome::Kind::refused) {
        return outcome;
    }
    for (const gencp::Register& one : abrm::registers) {
        if (one.address >= registers.size()) {
            break;
        }
        outcome =
            client.read(one.address, std::span(registers).subspan(static_cast<std::size_t>(one.address), one.length));
        if (!outcome.ok() && (outcome.kind != Outcome::Kind::refused || one.address == abrm::version)) {
            return outcome;
        }
    }
    return {};
}

}  // namespace

PvResult read_version(Client& client, std::string_view name, std::uint32_t& version)
{
    std::array<std::uint8_t, 4> bytes{};
    if (const Outcome outcome = client.read(abrm::version, bytes); !outcome.ok()) {
        return to_result(outcome, name);
    }
    version = wire::load_be32(bytes.data());
    return check_version(name, version);
}

PvResult read_device_facts(Client& client, std::string_view name, DeviceFacts& facts)
{
    Registers registers{};
    if (const Outcome outcome = read_registers(client, registers); !outcome.ok()) {
        return to_result(outcome, name);
    }
    const auto at = [&](std::uint64_t address) { return registers.data() + address; };
    DeviceFacts read;
    read.version = wire::load_be32(at(abrm::version));
    if (PvResult wrong = check_version(name, read.version); !wrong.IsOK()) {
        return wrong;
    }
    read.capability = wire::load_be64(at(abrm::device_capability));
    read.manufacturer = text_at(registers, abrm::manufacturer_name);
    read.model = text_at(registers, abrm::model_name);
    read.family = read.has(gencp::capability::family_name) ? text_at(registers, abrm::family_name) : std::string();
    read.device_version = text_at(registers, abrm::device_version);
    read.manufacturer_info = text_at(registers, abrm::manufacturer_info);
    read.serial_number = text_at(registers, abrm::serial_number);
    read.user_defined_name =
        read.has(gencp::capability::user_defined_name) ? text_at(registers, abrm::user_defined_name) : std::string();
    read.maximum_response_time_ms = wire::load_be32(at(abrm::maximum_response_time));
    read.manifest_table = wire::load_be64(at(abrm::manifest_table));
    read.sbrm = read.has(gencp::capability::sbrm) ? wire::load_be64(at(abrm::sbrm)) : 0;
    read.configuration = wire::load_be64(at(abrm::device_configuration));
    read.heartbeat_timeout_ms =
        (read.configuration & gencp::configuration::heartbeat) != 0 ? wire::load_be32(at(abrm::heartbeat_timeout)) : 0;
    facts = std::move(read);
    return PvResult::OK;
}

}  // namespace vex::genicp
