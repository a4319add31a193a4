// The memory of a device with a manifest table, from the table on; beyond the input there is nothing.
#include <algorithm>

#include "sdk/description/manifest_choice.h"
#include "tests/fuzz/input.h"

using namespace vex;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const fuzz::View memory(data, size);
    const description::DeviceMemory device{
        "device", {}, true, [memory](std::uint64_t address, std::span<std::uint8_t> bytes) {
            fuzz::require(address >= wire::bootstrap::manifest_table &&
                          address + bytes.size() <= wire::bootstrap::action_group_key);
            const std::size_t begin = address - wire::bootstrap::manifest_table;
            if (begin + bytes.size() > memory.size()) {
                return PvResult(PvResult::GenericError);
            }
            std::ranges::copy(memory.subspan(begin, bytes.size()), bytes.begin());
            return PvResult(PvResult::OK);
        }};
    std::optional<wire::manifest::Entry> entry;
    const PvResult result = description::choose_from_manifest(device, entry);
    fuzz::require(result.IsOK() || !entry);
    fuzz::require(!entry || (entry->length > 0 && entry->length <= description::largest_stored_description &&
                             entry->schema.major == 1));
    return 0;
}
