// Configuration files: what is read is written and read again alike, and what is not is told with its line.
#include <string_view>

#include "sdk/persistence/configuration_xml.h"
#include "tests/fuzz/input.h"

using namespace vex;
using namespace vex::persistence;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Configuration configuration;
    const PvResult result = from_xml({reinterpret_cast<const char*>(data), size}, configuration);
    if (!result.IsOK()) {
        fuzz::require(configuration.items().empty());
        fuzz::require(result.description().starts_with("Line "));
        return 0;
    }
    const std::string text = to_xml(configuration);
    Configuration again;
    fuzz::require(from_xml(text, again).IsOK());
    fuzz::require(again.items() == configuration.items());
    fuzz::require(to_xml(again) == text);
    return 0;
}
