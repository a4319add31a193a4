// What --json prints.
#pragma once

#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>

namespace pvctl {

using Json = nlohmann::ordered_json;

/// To the standard output, indented. What a camera calls itself need not be UTF-8; what is not is replaced.
inline void print_json(const Json& value)
{
    std::puts(value.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
}

/// The same in one line, for programs that read while this one goes on.
inline void print_json_line(const Json& value)
{
    std::puts(value.dump(-1, ' ', false, Json::error_handler_t::replace).c_str());
    std::fflush(stdout);
}

}  // namespace pvctl
