#include "sdk/genicp/serial_link.h"

#include <chrono>
#include <utility>

#include "sdk/base/failure.h"
#include "sdk/description/url_text.h"
#include "sdk/net/pipe_name.h"
#include "sdk/serial_port/host_serial_port.h"

namespace vex::genicp {

namespace {

/// For the program at the other end of a pipe to take the connection.
constexpr std::chrono::milliseconds pipe_timeout{2000};

class HostLink final : public SerialLink {
public:
    [[nodiscard]] PvResult open(const PvString& name, const PvSerialPortConfiguration& configuration)
    {
        configuration_ = configuration;
        if (kind_of_port(name.view()) == PortKind::host) {
            return port_.open(name, configuration);
        }
        const auto pipe = net::PipeName::parse(name.view());
        return pipe ? port_.open_pipe(*pipe, configuration, pipe_timeout)
                    : failure(PvResult::InvalidParameter, "\"", name.view(), "\" does not name a pipe");
    }

    [[nodiscard]] PvSerialPort& port() noexcept override { return port_; }
    [[nodiscard]] PvResult set_baud_rate(std::uint32_t baud_rate) override
    {
        configuration_.BaudRate = baud_rate;
        return port_.configure(configuration_);
    }

private:
    PvSerialPortConfiguration configuration_;
    serial_port::HostSerialPort port_;
};

}  // namespace

PortKind kind_of_port(std::string_view name) noexcept
{
    using description::starts_with_word;
    return starts_with_word(name, "pipe:") || starts_with_word(name, "tcp:") ? PortKind::pipe : PortKind::host;
}

PvResult open_link(const PvString& name, const PvSerialPortConfiguration& configuration,
                   std::unique_ptr<SerialLink>& link)
{
    if (name.empty()) {
        return failure(PvResult::InvalidParameter, "There is no name of a serial port");
    }
    auto host = std::make_unique<HostLink>();
    if (PvResult result = host->open(name, configuration); !result.IsOK()) {
        return result;
    }
    link = std::move(host);
    return PvResult::OK;
}

}  // namespace vex::genicp
