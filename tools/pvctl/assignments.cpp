#include "tools/pvctl/assignments.h"

#include <cstdio>

#include "tools/pvctl/failure.h"
#include "tools/pvctl/features.h"
#include "tools/pvctl/text_table.h"

namespace pvctl {

namespace {

Assignment parse(const PvGenParameterArray& features, const std::string& text)
{
    const std::size_t equals = text.find('=');
    PvGenParameter& feature = feature_named(features, text.substr(0, equals));
    const bool has_value = equals != std::string::npos;
    if (!has_value && dynamic_cast<PvGenCommand*>(&feature) == nullptr) {
        throw CommandFailure("\"" + text + "\" is no command; give it a value: " + text + "=VALUE",
                             exit_code::wrong_usage);
    }
    return {&feature, has_value ? text.substr(equals + 1) : "", has_value};
}

}  // namespace

std::vector<Assignment> parse_assignments(const PvGenParameterArray& features, const std::vector<std::string>& texts)
{
    std::vector<Assignment> assignments;
    assignments.reserve(texts.size());
    for (const std::string& text : texts) {
        assignments.push_back(parse(features, text));
    }
    return assignments;
}

Json carry_out(const Assignment& assignment, bool print)
{
    PvGenParameter& feature = *assignment.feature;
    const std::string name = name_of(feature);
    if (!assignment.has_value) {
        require(static_cast<PvGenCommand&>(feature).Execute());
        if (print) {
            std::printf("%s executed\n", name.c_str());
        }
        return {{"executed", true}};
    }
    std::string text_before;
    require(value_of(feature, text_before));
    const Json before = json_value_of(feature);
    require(feature.FromString(PvString(std::string_view(assignment.value))));
    std::string text_now;
    require(value_of(feature, text_now));
    if (print) {
        const std::string now = with_unit(feature, text_now);
        std::printf("%s = %s (was %s)\n", name.c_str(), printable(now).c_str(), printable(text_before).c_str());
    }
    return {{"value", json_value_of(feature)}, {"before", before}};
}

}  // namespace pvctl
