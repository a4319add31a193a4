// How fast descriptions are loaded and features read, beside libaravis, bare XML parsers and bare register reads.
//
// Figures are medians over rounds in which all ways take turns. Run with arguments `loading` or `reading` for one part.
#include "bench/genapi/genapi_bench.h"

#include <cstdio>
#include <exception>
#include <string_view>

int main(int argc, char** argv)
{
    const std::string_view part = argc > 1 ? argv[1] : "";
    try {
        // first, because these start cameras' processes, which should not inherit what loading leaves behind
        if (part.empty() || part == "reading") {
            bench::measure_reading();
        }
        if (part.empty() || part == "opening") {
            bench::measure_opening();
        }
        if (part.empty() || part == "loading") {
            bench::measure_loading();
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "genapi_bench: %s\n", error.what());
        return 1;
    }
    return 0;
}
