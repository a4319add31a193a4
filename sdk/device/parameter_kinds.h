// How the parameters of a link are made. Only for link_parameters.cpp and link_statistics.cpp.
#pragma once

#include <cstdint>
#include <functional>
#include <utility>

#include "sdk/genicam/software_parameters.h"

namespace vex::device {

template <typename Parameter>
Parameter named(const char* name, const char* category, const char* tool_tip)
{
    Parameter parameter;
    parameter.name = name;
    parameter.category = category;
    parameter.tool_tip = tool_tip;
    return parameter;
}

inline SoftwareInteger number(const char* name, const char* category, const char* tool_tip, std::int64_t min,
                              std::int64_t max, const char* unit)
{
    auto parameter = named<SoftwareInteger>(name, category, tool_tip);
    parameter.min = min;
    parameter.max = max;
    parameter.unit = unit;
    parameter.streamable = true;
    return parameter;
}

inline SoftwareInteger counter(const char* name, const char* tool_tip, std::function<std::uint64_t()> get)
{
    auto parameter = named<SoftwareInteger>(name, "Statistics", tool_tip);
    parameter.is_volatile = true;
    parameter.visibility = GenApi::Visibility::expert;
    parameter.get = [get = std::move(get)] { return static_cast<std::int64_t>(get()); };
    return parameter;
}

}  // namespace vex::device
