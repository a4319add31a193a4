// A camera that sends to a stream, and what the stream counts.
#pragma once

#include <cstdint>

#include "sdk/device/PvDevice.h"
#include "sdk/streamraw/PvStreamRaw.h"
#include "tools/pvctl/json_output.h"

namespace pvctl {

/// Packet size for cameras that send no test packets, in bytes.
inline constexpr std::uint32_t every_network_carries = 1440;

/// Makes the camera send to the stream, and stops it again. The device must outlive it.
class Sending {
public:
    /// Throws CommandFailure when the camera does not begin.
    Sending(PvDevice& device, const PvStreamRaw& stream);
    Sending(const Sending&) = delete;
    Sending& operator=(const Sending&) = delete;
    /// What fails here, fails because the camera has gone.
    ~Sending();

private:
    void lock(bool locked);

    PvDevice& device_;
    PvGenParameterArray& features_;
};

[[nodiscard]] Json statistics_of(const PvStatistics& from);

}  // namespace pvctl
