// What every command of pvctl is.
#pragma once

#include <CLI/CLI.hpp>

namespace pvctl {

/// A command with its options, added to an app.
class Command {
public:
    virtual ~Command() = default;
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    /// Whether the command line asks for it.
    [[nodiscard]] bool is_chosen() const { return command_.parsed(); }
    /// Does what the parsed options ask; the program's exit code, see failure.h. Throws CommandFailure, or whatever
    /// else with what went wrong.
    [[nodiscard]] virtual int run() const = 0;

protected:
    explicit Command(CLI::App& command) : command_(command) {}

private:
    CLI::App& command_;
};

}  // namespace pvctl
