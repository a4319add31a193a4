#include "tools/pvctl/features.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <utility>
#include <vector>

#include "tools/pvctl/failure.h"

namespace pvctl {

namespace {

PvGenType type_of(const PvGenParameter& feature)
{
    PvGenType type = PvGenTypeUndefined;
    feature.GetType(type);
    return type;
}

const char* type_text(PvGenType type)
{
    switch (type) {
    case PvGenTypeInteger: return "integer";
    case PvGenTypeEnum: return "enumeration";
    case PvGenTypeBoolean: return "boolean";
    case PvGenTypeString: return "string";
    case PvGenTypeCommand: return "command";
    case PvGenTypeFloat: return "float";
    case PvGenTypeRegister: return "register";
    case PvGenTypeUndefined: break;
    }
    return "unknown";
}

std::string lower(std::string text)
{
    std::ranges::transform(text, text.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

/// How many letters have to be put in, taken away or changed to make one text of the other.
std::size_t distance(const std::string& a, const std::string& b)
{
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t changed = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, diagonal + 1, row[j] + 1});
        }
    }
    return row.back();
}

std::string similar_names(const PvGenParameterArray& features, const std::string& wanted)
{
    constexpr std::size_t most = 5;
    const std::size_t far = std::max<std::size_t>(2, wanted.size() / 3);
    std::vector<std::pair<std::size_t, std::string>> similar;
    for (std::uint32_t i = 0; i < features.GetCount(); ++i) {
        const std::string name = name_of(*features.Get(i));
        const std::size_t apart = distance(lower(name), lower(wanted));
        if (apart <= far || lower(name).find(lower(wanted)) != std::string::npos) {
            similar.emplace_back(apart, name);
        }
    }
    std::ranges::sort(similar);
    std::string text;
    for (std::size_t i = 0; i < std::min(similar.size(), most); ++i) {
        text += (i == 0 ? "" : ", ") + similar[i].second;
    }
    return text;
}

Json entries_of(const PvGenEnum& feature)
{
    Json entries = Json::array();
    std::int64_t count = 0;
    feature.GetEntriesCount(count);
    for (std::int64_t i = 0; i < count; ++i) {
        const PvGenEnumEntry* entry = nullptr;
        PvString name;
        if (feature.GetEntryByIndex(i, &entry).IsOK() && entry->IsAvailable() && entry->GetName(name).IsOK()) {
            entries.push_back(name.str());
        }
    }
    return entries;
}

template <typename Number, typename Feature>
void add_limits(Json& facts, const Feature& feature)
{
    Number value{};
    if (feature.GetMin(value).IsOK()) {
        facts["minimum"] = value;
    }
    if (feature.GetMax(value).IsOK()) {
        facts["maximum"] = value;
    }
}

}  // namespace

PvGenParameter& feature_named(const PvGenParameterArray& features, const std::string& name)
{
    if (PvGenParameter* feature = features.Get(PvString(std::string_view(name)))) {
        return *feature;
    }
    const std::string similar = similar_names(features, name);
    throw CommandFailure("The camera has no feature \"" + name + "\"; " +
                             (similar.empty() ? "see which it has: pvctl tree DEVICE" : "similar: " + similar),
                         exit_code::not_found);
}

std::string name_of(const PvGenParameter& feature)
{
    PvString name;
    feature.GetName(name);
    return name.str();
}

std::string access_of(const PvGenParameter& feature)
{
    const bool readable = feature.IsReadable();
    const bool writable = feature.IsWritable();
    if (readable) {
        return writable ? "rw" : "ro";
    }
    return writable ? "wo" : "--";
}

std::string unit_of(const PvGenParameter& feature)
{
    PvString unit;
    if (const auto* integer = dynamic_cast<const PvGenInteger*>(&feature)) {
        integer->GetUnit(unit);
    } else if (const auto* number = dynamic_cast<const PvGenFloat*>(&feature)) {
        number->GetUnit(unit);
    }
    return unit.str();
}

PvResult value_of(const PvGenParameter& feature, std::string& value)
{
    value.clear();
    if (type_of(feature) == PvGenTypeCommand || !feature.IsReadable()) {
        return PvResult::OK;
    }
    PvString text;
    PvResult result = feature.ToString(text);
    if (result.IsOK()) {
        value = text.str();
    }
    return result;
}

Json json_value_of(const PvGenParameter& feature)
{
    if (!feature.IsReadable()) {
        return nullptr;
    }
    std::int64_t integer = 0;
    double number = 0;
    bool truth = false;
    PvString text;
    switch (type_of(feature)) {
    case PvGenTypeInteger:
        return static_cast<const PvGenInteger&>(feature).GetValue(integer).IsOK() ? Json(integer) : Json();
    case PvGenTypeFloat: return static_cast<const PvGenFloat&>(feature).GetValue(number).IsOK() ? Json(number) : Json();
    case PvGenTypeBoolean:
        return static_cast<const PvGenBoolean&>(feature).GetValue(truth).IsOK() ? Json(truth) : Json();
    case PvGenTypeCommand: return nullptr;
    default: return feature.ToString(text).IsOK() ? Json(text.str()) : Json();
    }
}

std::string with_unit(const PvGenParameter& feature, const std::string& value)
{
    const std::string unit = value.empty() ? "" : unit_of(feature);
    return unit.empty() ? value : value + ' ' + unit;
}

Json json_of(const PvGenParameter& feature)
{
    Json facts = {
        {"type", type_text(type_of(feature))}, {"access", access_of(feature)}, {"value", json_value_of(feature)}};
    if (const std::string unit = unit_of(feature); !unit.empty()) {
        facts["unit"] = unit;
    }
    if (const auto* integer = dynamic_cast<const PvGenInteger*>(&feature)) {
        add_limits<std::int64_t>(facts, *integer);
        std::int64_t increment = 0;
        if (integer->GetIncrement(increment).IsOK()) {
            facts["increment"] = increment;
        }
    } else if (const auto* number = dynamic_cast<const PvGenFloat*>(&feature)) {
        add_limits<double>(facts, *number);
    } else if (const auto* choice = dynamic_cast<const PvGenEnum*>(&feature)) {
        facts["entries"] = entries_of(*choice);
    }
    return facts;
}

}  // namespace pvctl
