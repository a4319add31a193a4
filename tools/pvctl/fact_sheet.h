// Facts in sections, for people and for programs alike.
#pragma once

#include <string>

#include "tools/pvctl/json_output.h"

namespace pvctl {

/// Sections of named values. Names are JSON keys ("user_defined_name"); people see them with blanks.
class FactSheet {
public:
    /// What follows belongs to this section.
    void section(std::string name) { section_ = std::move(name); }
    /// `text`: what people see; empty for the value itself, truth as yes and no, lists with commas
    /// or, long ones, with a line for each entry.
    void add(const std::string& name, Json value, std::string text = {});

    void print() const;
    [[nodiscard]] const Json& values() const { return values_; }
    void print_as_json() const { print_json(values_); }

private:
    std::string section_;
    Json values_ = Json::object();
    Json lines_ = Json::object();  ///< what people see of each value
};

}  // namespace pvctl
