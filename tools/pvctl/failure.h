// What pvctl exits with, and how a command says that it failed.
#pragma once

#include <stdexcept>
#include <string>

#include "sdk/base/PvResult.h"

namespace pvctl {

/// The program's exit codes, the same in all commands.
namespace exit_code {
inline constexpr int success = 0;
inline constexpr int failed = 1;       ///< it was tried and did not work
inline constexpr int wrong_usage = 2;  ///< the command line cannot be understood; nothing was tried
inline constexpr int not_found = 3;    ///< there is no such device or feature, or none answers
inline constexpr int differs = 4;      ///< what was compared is not the same
}  // namespace exit_code

/// Ends the command with this text and exit code.
class CommandFailure : public std::runtime_error {
public:
    explicit CommandFailure(const std::string& text, int code = exit_code::failed)
        : std::runtime_error(text), code_(code)
    {}
    [[nodiscard]] int code() const noexcept { return code_; }

private:
    int code_;
};

/// Throws CommandFailure with the result's description unless it is OK.
void require(const PvResult& result);

}  // namespace pvctl
