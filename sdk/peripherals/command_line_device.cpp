#include "sdk/peripherals/serial_device.h"

namespace vex::peripherals {

std::vector<std::uint8_t> CommandLineDevice::receive(std::uint8_t byte)
{
    const char character = static_cast<char>(byte);
    if (character != '\r' && character != '\n') {
        if (line_.size() <= longest_line) {
            line_ += character;
        }
        return {};
    }
    if (line_.empty()) {
        return {};  // the second of the two that end a line
    }
    const std::string text = answer() + "\r\n";
    line_.clear();
    return {text.begin(), text.end()};
}

std::string CommandLineDevice::answer() const
{
    if (line_ == "?") {
        return "commands: ? id temp";
    }
    if (line_ == "id") {
        return id_;
    }
    if (line_ == "temp") {
        return "temp 38.5";
    }
    return "unknown command";
}

}  // namespace vex::peripherals
