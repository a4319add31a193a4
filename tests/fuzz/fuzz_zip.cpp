// Packed descriptions: any bytes may be given for an archive; what is unpacked stays within its limits.
#include "sdk/description/zip.h"
#include "tests/fuzz/input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr vex::description::ZipLimits limits{.largest_text = 1 << 20, .largest_ratio = 100};
    try {
        fuzz::require(vex::description::unzip_description({data, size}, limits).size() <= limits.largest_text);
    } catch (const GenApi::DescriptionError& error) {
        fuzz::require(error.what()[0] != '\0');
    }
    return 0;
}
