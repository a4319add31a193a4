// How many registers storing and restoring a camera's settings transfer.
#pragma once

namespace bench {

/// Prints the figures for the largest description of the folder that VEX_CAMERA_XML names, and that there is none
/// otherwise. False when more is transferred than wanted.
bool transfers_are_few();

}  // namespace bench
