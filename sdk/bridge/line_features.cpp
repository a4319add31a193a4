#include "sdk/bridge/line_features.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

#include "sdk/base/failure.h"
#include "sdk/genicam/PvGenEnumEntry.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/serial/port_names.h"

namespace vex::bridge {

namespace {

constexpr std::array<std::pair<PvParity, const char*>, 3> parities{
    {{PvParityNone, "None"}, {PvParityEven, "Even"}, {PvParityOdd, "Odd"}}};

/// The number that a name ends with.
std::optional<std::uint32_t> rate_of(std::string_view entry)
{
    const std::size_t last_letter = entry.find_last_not_of("0123456789");
    const std::string_view digits = last_letter == std::string_view::npos ? entry : entry.substr(last_letter + 1);
    std::uint32_t rate = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), rate);
    return error == std::errc() && rate != 0 ? std::optional(rate) : std::nullopt;
}

/// The available entries of a baud rate that is an enumeration, by rate.
std::vector<std::pair<std::uint32_t, PvString>> listed_rates(const PvGenEnum& rates)
{
    std::vector<std::pair<std::uint32_t, PvString>> listed;
    std::int64_t count = 0;
    (void)rates.GetEntriesCount(count);
    for (std::int64_t i = 0; i < count; ++i) {
        const PvGenEnumEntry* entry = nullptr;
        PvString name;
        if (rates.GetEntryByIndex(i, &entry).IsOK() && entry != nullptr && entry->IsAvailable() &&
            entry->GetName(name).IsOK()) {
            if (const auto rate = rate_of(name.view())) {
                listed.emplace_back(*rate, name);
            }
        }
    }
    std::sort(listed.begin(), listed.end());
    return listed;
}

}  // namespace

LineFeatures::LineFeatures(PvGenParameterArray& array, const std::string& port_name)
    : array_(array), port_name_(port_name), prefix_(serial::feature_prefix(port_name))
{}

PvResult LineFeatures::get_number(const char* setting, std::uint32_t& value) const
{
    const PvString feature(name(setting));
    std::int64_t found = 0;
    if (array_.GetInteger(feature) == nullptr) {
        return PvResult::OK;
    }
    PvResult result = array_.GetIntegerValue(feature, found);
    if (result.IsOK()) {
        value =
            static_cast<std::uint32_t>(std::clamp<std::int64_t>(found, 0, std::numeric_limits<std::uint32_t>::max()));
    }
    return result;
}

PvResult LineFeatures::get_baud_rate(std::uint32_t& value) const
{
    const PvString feature(name("BaudRate"));
    if (array_.GetEnum(feature) == nullptr) {
        return get_number("BaudRate", value);
    }
    PvString entry;
    PvResult result = array_.GetEnumValue(feature, entry);
    value = rate_of(entry.view()).value_or(value);
    return result;
}

PvResult LineFeatures::get(PvSerialPortConfiguration& configuration) const
{
    PvSerialPortConfiguration found;
    for (PvResult result : {get_baud_rate(found.BaudRate), get_number("ByteSize", found.ByteSize),
                            get_number("StopBits", found.StopBits)}) {
        if (!result.IsOK()) {
            return result;
        }
    }
    if (const PvString feature(name("Parity")); array_.GetEnum(feature) != nullptr) {
        PvString entry;
        if (PvResult result = array_.GetEnumValue(feature, entry); !result.IsOK()) {
            return result;
        }
        const auto parity = std::find_if(parities.begin(), parities.end(),
                                         [&](const auto& each) { return entry.view() == each.second; });
        found.Parity = parity != parities.end() ? parity->first : PvParityInvalid;
    }
    configuration = found;
    return PvResult::OK;
}

PvResult LineFeatures::set_number(const char* setting, std::uint32_t value)
{
    const PvString feature(name(setting));
    std::uint32_t now = value;
    if (PvResult result = get_number(setting, now); !result.IsOK() || now == value) {
        return result;
    }
    return array_.SetIntegerValue(feature, value);
}

PvResult LineFeatures::set_baud_rate(std::uint32_t value)
{
    const PvString feature(name("BaudRate"));
    if (array_.GetEnum(feature) == nullptr) {
        return set_number("BaudRate", value);
    }
    std::uint32_t now = 0;
    if (PvResult result = get_baud_rate(now); !result.IsOK() || now == value) {
        return result;
    }
    for (const auto& [rate, entry] : listed_rates(*array_.GetEnum(feature))) {
        if (rate == value) {
            return array_.SetEnumValue(feature, entry);
        }
    }
    return failure(PvResult::NotSupported, "it lists no such rate");
}

PvResult LineFeatures::set_parity(PvParity parity)
{
    const PvString feature(name("Parity"));
    if (array_.GetEnum(feature) == nullptr) {
        return PvResult::OK;
    }
    const auto wanted =
        std::find_if(parities.begin(), parities.end(), [parity](const auto& each) { return parity == each.first; });
    PvString now;
    if (PvResult result = array_.GetEnumValue(feature, now); !result.IsOK() || now.view() == wanted->second) {
        return result;
    }
    return array_.SetEnumValue(feature, wanted->second);
}

PvResult LineFeatures::set(const PvSerialPortConfiguration& configuration)
{
    if (PvResult invalid = configuration.IsValid(); !invalid.IsOK()) {
        return invalid;
    }
    const auto refused = [this](const char* setting, std::uint32_t value, const PvResult& why) {
        const bool away = why.GetCode() == PvResult::NotConnected || why.GetCode() == PvResult::Timeout;
        return failure(away ? why.GetCode() : PvResult::NotSupported, "The port ", port_name_,
                       " of the device cannot be set to ", setting, " ", value, ": ", why.description());
    };
    if (PvResult result = set_baud_rate(configuration.BaudRate); !result.IsOK()) {
        return refused("baud rate", configuration.BaudRate, result);
    }
    if (PvResult result = set_parity(configuration.Parity); !result.IsOK()) {
        return refused("parity", static_cast<std::uint32_t>(configuration.Parity), result);
    }
    if (PvResult result = set_number("ByteSize", configuration.ByteSize); !result.IsOK()) {
        return refused("byte size", configuration.ByteSize, result);
    }
    if (PvResult result = set_number("StopBits", configuration.StopBits); !result.IsOK()) {
        return refused("stop bits", configuration.StopBits, result);
    }
    return PvResult::OK;
}

std::vector<std::uint32_t> LineFeatures::baud_rates() const
{
    const PvString feature(name("BaudRate"));
    std::vector<std::uint32_t> rates;
    if (const PvGenEnum* const listed = array_.GetEnum(feature)) {
        for (const auto& each : listed_rates(*listed)) {
            rates.push_back(each.first);
        }
    } else if (const PvGenInteger* const integer = array_.GetInteger(feature)) {
        std::vector<std::int64_t> values;
        (void)integer->GetValidValues(values);
        for (const std::int64_t value : values) {
            if (value > 0 && value <= std::numeric_limits<std::uint32_t>::max()) {
                rates.push_back(static_cast<std::uint32_t>(value));
            }
        }
        std::sort(rates.begin(), rates.end());
    }
    return rates;
}

}  // namespace vex::bridge
