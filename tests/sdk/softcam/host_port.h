// The camera's registers as a port of a node map, through READMEM and WRITEMEM.
#pragma once

#include <algorithm>

#include "sdk/genapi/port.h"
#include "tests/sdk/softcam/camera_fixture.h"

/// Reads and writes in pieces that fit a message.
class HostPort final : public GenApi::IPort {
public:
    explicit HostPort(Host& host) : host_(host) {}

    void read(std::int64_t address, std::span<std::uint8_t> out) override
    {
        for (std::size_t at = 0; at < out.size(); at += 512) {
            const std::size_t count = std::min<std::size_t>(512, out.size() - at);
            const Bytes answer =
                host_.ask(read_memory(host_.next_id(), static_cast<std::uint32_t>(address) + static_cast<unsigned>(at),
                                      static_cast<unsigned>(count)));
            if (status_of(answer) != status::success) {
                throw GenApi::PortError(PvResult::GenericError, "status " + std::to_string(status_of(answer)));
            }
            std::copy_n(answer.begin() + 12, count, out.begin() + static_cast<std::ptrdiff_t>(at));
        }
    }
    void write(std::int64_t address, std::span<const std::uint8_t> data) override
    {
        const unsigned answer = host_.write_bytes(static_cast<std::uint32_t>(address), Bytes(data.begin(), data.end()));
        if (answer != status::success) {
            throw GenApi::PortError(PvResult::GenericError, "status " + std::to_string(answer));
        }
    }
    [[nodiscard]] bool is_open() const noexcept override { return true; }

private:
    Host& host_;
};
