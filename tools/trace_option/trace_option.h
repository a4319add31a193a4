// --trace FILE: what the SDK does while a program runs, in a file.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

#include "sdk/base/trace_file.h"

namespace tools {

class TraceOption {
public:
    /// Adds the options to the program and to each of its commands. The app keeps references to
    /// this object.
    void add(CLI::App& app);
    /// Begins the file that was asked for, if one was. Until this object goes everything is written there.
    PvResult start();

private:
    std::string name_;
    vex::trace::Level level_ = vex::trace::Level::debug;
    vex::trace::TraceFile file_;
};

}  // namespace tools
