#include "tools/pvctl/port_option.h"

#include <cstdint>

#include "sdk/serial/port_names.h"
#include "tools/pvctl/failure.h"

namespace pvctl {

namespace {

/// Names are ASCII.
std::string lower(std::string text)
{
    for (char& character : text) {
        if (character >= 'A' && character <= 'Z') {
            character = static_cast<char>(character - 'A' + 'a');
        }
    }
    return text;
}

}  // namespace

void PortOption::add(CLI::App& command)
{
    command.add_option("port", name, "the camera's port: Serial0, Serial1, Bulk0 to Bulk7")->required();
}

PvIPEngineSerial PortOption::port() const
{
    for (std::int32_t number = PvIPEngineSerial0; number <= PvIPEngineSerialBulk7; ++number) {
        const auto port = static_cast<PvIPEngineSerial>(number);
        if (lower(vex::serial::name_of(port)) == lower(name)) {
            return port;
        }
    }
    throw CommandFailure("\"" + name + "\" is no port; ports are Serial0, Serial1 and Bulk0 to Bulk7",
                         exit_code::wrong_usage);
}

}  // namespace pvctl
