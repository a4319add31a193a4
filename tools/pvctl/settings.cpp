#include "tools/pvctl/settings.h"

#include <map>
#include <utility>

#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/genicam/stored_values.h"
#include "sdk/persistence/configuration_file.h"
#include "tools/pvctl/console.h"
#include "tools/pvctl/failure.h"
#include "tools/pvctl/terminal.h"
#include "tools/pvctl/text_table.h"

using namespace vex;

namespace pvctl {

namespace {

std::string label_of(const StoredValue& value, const char* begin)
{
    std::string label = begin + value.name;
    for (const SelectorValue& selector : value.selectors) {
        label += (&selector == &value.selectors.front() ? " (" : ", ") + selector.name + ' ' + selector.value;
    }
    return label + (value.selectors.empty() ? "" : ")");
}

/// "left", "right"
std::string names_in(const persistence::Configuration& configuration)
{
    std::string names;
    for (const persistence::Item& item : configuration.items()) {
        if (item.kind == persistence::ItemKind::device) {
            names += (names.empty() ? "\"" : ", \"") + item.name + '"';
        }
    }
    return names;
}

void add_differences(const std::vector<StoredValue>& first, const std::vector<StoredValue>& second, const char* begin,
                     std::vector<Difference>& all)
{
    std::map<std::string, const StoredValue*> others;
    for (const StoredValue& value : second) {
        others.emplace(label_of(value, begin), &value);
    }
    for (const StoredValue& value : first) {
        std::string label = label_of(value, begin);
        const auto other = others.find(label);
        if (other == others.end()) {
            all.push_back({std::move(label), value.value, std::nullopt});
            continue;
        }
        if (other->second->value != value.value) {
            all.push_back({std::move(label), value.value, other->second->value});
        }
        others.erase(other);
    }
    for (const StoredValue& value : second) {
        if (std::string label = label_of(value, begin); others.erase(label) != 0) {
            all.push_back({std::move(label), std::nullopt, value.value});
        }
    }
}

std::vector<StoredValue> stored(PvGenParameterArray& array)
{
    StoredValues stored = store_values(array);
    require(stored.result);
    return std::move(stored.values);
}

}  // namespace

Settings settings_in(const std::string& file, const std::optional<std::string>& name)
{
    persistence::Configuration configuration;
    require(persistence::load_configuration(PvString(std::string_view(file)), configuration));
    const std::uint32_t count = configuration.count(persistence::ItemKind::device);
    if (count == 0) {
        throw CommandFailure("There is no device in " + file, exit_code::not_found);
    }
    if (!name && count > 1) {
        throw CommandFailure("There are " + std::to_string(count) + " devices in " + file +
                             "\n  say which by --name: " + names_in(configuration));
    }
    for (std::uint32_t index = 0; index < count; ++index) {
        const persistence::Item& item = *configuration.at(persistence::ItemKind::device, index);
        if (!name || item.name == *name) {
            return {item.values, item.link, index};
        }
    }
    throw CommandFailure("There is no device named \"" + *name + "\" in " + file +
                             "\n  there are: " + names_in(configuration),
                         exit_code::not_found);
}

Settings settings_of(PvDevice& device)
{
    const Progress progress("Reading settings");
    return {stored(*device.GetGenParameters()), stored(*device.GetGenLink())};
}

std::vector<Difference> differences(const Settings& first, const Settings& second)
{
    std::vector<Difference> all;
    add_differences(first.features, second.features, "", all);
    add_differences(first.link, second.link, "link: ", all);
    return all;
}

std::string settings_text(std::size_t count) { return std::to_string(count) + (count == 1 ? " setting" : " settings"); }

std::string text_of(const std::vector<Difference>& differences, const std::string& first, const std::string& second)
{
    if (differences.empty()) {
        return "";
    }
    constexpr std::size_t least = 12;
    TextTable table({"SETTING", first, second});
    for (const Difference& difference : differences) {
        table.add({difference.setting, difference.first.value_or("-"), difference.second.value_or("-")});
    }
    table.may_cut(0, least);
    table.may_cut(1, least);
    table.may_cut(2, least);
    return table.text(output_width());
}

Json json_of(const std::vector<Difference>& differences, const char* first, const char* second)
{
    Json all = Json::array();
    for (const Difference& difference : differences) {
        all.push_back({{"setting", difference.setting},
                       {first, difference.first ? Json(*difference.first) : Json()},
                       {second, difference.second ? Json(*difference.second) : Json()}});
    }
    return all;
}

}  // namespace pvctl
