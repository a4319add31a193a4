#include "sdk/peripherals/serial_device.h"

#include <algorithm>
#include <string_view>

namespace vex::peripherals {

void CommandLineDevice::receive(std::span<const std::uint8_t> bytes, std::vector<std::uint8_t>& said)
{
    std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\r'), text.find('\n'));
        line_ += text.substr(0, std::min(end, longest_line + 1 - line_.size()));
        if (end == std::string_view::npos) {
            return;
        }
        text.remove_prefix(end + 1);
        if (!line_.empty()) {  // otherwise it is the second of the two that end a line
            const std::string said_now = answer() + "\r\n";
            line_.clear();
            said.insert(said.end(), said_now.begin(), said_now.end());
        }
    }
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
