// The parts of the benchmark.
#pragma once

namespace bench {

/// Loading of descriptions, and the memory that loaded ones take.
void measure_loading();

/// Reading features of a camera in a process of its own.
void measure_reading();

}  // namespace bench
