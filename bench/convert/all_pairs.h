// How fast every conversion is.
#pragma once

namespace bench {

/// A table in Markdown: Mpixel/s from each pixel type to each other, on one thread, over memory that is in no cache.
void print_all_pairs();

}  // namespace bench
