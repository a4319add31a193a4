// A device made on the frame, whose members cost nothing themselves, so that the frame's own cost shows.
#pragma once

#include "server/ref.h"
#include "server/type_library.h"

namespace bench {

[[nodiscard]] vex::server::Ref<IVexDevice> make_frame_device();

}  // namespace bench
