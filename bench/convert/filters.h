// How fast the filters are.
#pragma once

namespace bench {

/// Each filter on images of some types in place, on one thread, beside a copy of as many bytes.
void print_filters();

}  // namespace bench
