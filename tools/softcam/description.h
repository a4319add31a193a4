// The camera's GenICam description.
#pragma once

#include <string>

namespace softcam {

/// The description with all register addresses filled in. Throws std::logic_error when it names a register that does
/// not exist.
[[nodiscard]] std::string description_xml();

}  // namespace softcam
