// The parts of the benchmark.
#pragma once

namespace bench {

/// Loading of descriptions, and the memory that loaded ones take.
void measure_loading();

/// Reading features of a camera in a process of its own.
void measure_reading();

/// Opening a camera with a large description, reading that description, and finding many cameras.
void measure_opening();

}  // namespace bench
