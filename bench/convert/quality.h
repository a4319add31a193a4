// How close demosaicing comes to the scenes that the mosaics were made of.
#pragma once

namespace bench {

/// PSNR of our filters and of the peers' on the same mosaics.
void print_quality();

}  // namespace bench
