#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include "tools/pvctl/console.h"

namespace pvctl {

struct Console::Before {};
Console::Console() = default;
Console::~Console() = default;

std::vector<std::string> arguments(int argc, const char* const* argv) { return {argv, argv + argc}; }

bool output_is_terminal() { return isatty(STDOUT_FILENO) != 0; }

bool error_output_is_terminal() { return isatty(STDERR_FILENO) != 0; }

std::size_t output_width()
{
    winsize size{};
    return output_is_terminal() && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

struct RawInput::Before {
    termios settings{};
};

RawInput::RawInput()
    : before_(std::make_unique<Before>()),
      is_terminal_(isatty(STDIN_FILENO) != 0 && tcgetattr(STDIN_FILENO, &before_->settings) == 0)
{
    if (is_terminal_) {
        termios raw = before_->settings;
        cfmakeraw(&raw);
        raw.c_oflag = before_->settings.c_oflag;
        tcsetattr(STDIN_FILENO, TCSANOW, &raw);
    }
}

RawInput::~RawInput()
{
    if (is_terminal_) {
        tcsetattr(STDIN_FILENO, TCSANOW, &before_->settings);
    }
}

std::size_t RawInput::read(std::span<std::uint8_t> bytes)
{
    const auto got = ::read(STDIN_FILENO, bytes.data(), bytes.size());
    return got > 0 ? static_cast<std::size_t>(got) : 0;
}

}  // namespace pvctl
