// The settings and statistics of a stream as GenICam parameters.
#pragma once

#include <memory>

#include "sdk/genicam/software_parameters.h"
#include "sdk/stream_core/stream_channel.h"

namespace vex::stream {

/// `channel` must outlive the array. Settings are streamable and are written through at once; statistics are asked for
/// at every read.
[[nodiscard]] std::unique_ptr<SoftwareParameterArray> make_parameters(StreamChannel& channel);

}  // namespace vex::stream
