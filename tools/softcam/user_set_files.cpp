// User sets as files: the registers that they contain one after another, each with its address and length, and the
// checksum of it all.
#include <zlib.h>

#include <algorithm>

#include "sdk/wire/bytes.h"
#include "tools/softcam/feature_registers.h"

using namespace vex;

namespace softcam {

namespace {

constexpr std::size_t word = 4;

std::uint32_t checksum(std::span<const std::uint8_t> bytes)
{
    return static_cast<std::uint32_t>(crc32(0, bytes.data(), static_cast<uInt>(bytes.size())));
}

void append(std::vector<std::uint8_t>& file, std::size_t number)
{
    file.resize(file.size() + word);
    wire::store_be32(file.data() + file.size() - word, static_cast<std::uint32_t>(number));
}

}  // namespace

std::vector<std::uint8_t> FeatureRegisters::user_set_file(std::uint32_t set) const
{
    Bytes file;
    for (const auto& [address, bytes] : user_sets_.at(set)) {
        append(file, address);
        append(file, bytes.size());
        file.insert(file.end(), bytes.begin(), bytes.end());
    }
    append(file, checksum(file));
    return file;
}

bool FeatureRegisters::load_user_set_file(std::uint32_t set, std::span<const std::uint8_t> file)
{
    if (file.size() < word ||
        wire::load_be32(file.data() + file.size() - word) != checksum(file.first(file.size() - word))) {
        return false;
    }
    file = file.first(file.size() - word);
    UserSet loaded = user_sets_.at(set);
    for (auto& [address, bytes] : loaded) {
        // the same registers in the same order: another camera's file is not this one's
        if (file.size() < 2 * word + bytes.size() || wire::load_be32(file.data()) != address ||
            wire::load_be32(file.data() + word) != bytes.size()) {
            return false;
        }
        std::ranges::copy(file.subspan(2 * word, bytes.size()), bytes.begin());
        file = file.subspan(2 * word + bytes.size());
    }
    if (!file.empty()) {
        return false;
    }
    user_sets_.at(set) = std::move(loaded);
    return true;
}

}  // namespace softcam
