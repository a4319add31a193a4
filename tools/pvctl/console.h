// What differs between systems where pvctl talks to the terminal.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace pvctl {

/// While it lives, the standard streams take and give bytes as they are, and a terminal shows UTF-8 and the codes that
/// clear a line. Made first in main().
class Console {
public:
    Console();
    ~Console();
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

private:
    struct Before;
    std::unique_ptr<Before> before_;
};

/// The arguments in UTF-8, with the program's name.
[[nodiscard]] std::vector<std::string> arguments(int argc, const char* const* argv);

[[nodiscard]] bool output_is_terminal();
[[nodiscard]] bool error_output_is_terminal();

/// Columns of the terminal that the standard output goes to; 0 when it goes to a file or a pipe, which take any width.
[[nodiscard]] std::size_t output_width();

/// The standard input. While it lives, keys come one by one and are not echoed, where the input is a terminal.
class RawInput {
public:
    RawInput();
    ~RawInput();
    RawInput(const RawInput&) = delete;
    RawInput& operator=(const RawInput&) = delete;

    [[nodiscard]] bool is_terminal() const noexcept { return is_terminal_; }
    /// Waits for at least one byte; 0 at the end.
    [[nodiscard]] std::size_t read(std::span<std::uint8_t> bytes);

private:
    struct Before;
    std::unique_ptr<Before> before_;
    bool is_terminal_ = false;
};

}  // namespace pvctl
