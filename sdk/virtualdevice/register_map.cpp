#include "sdk/virtualdevice/register_map.h"

#include <algorithm>
#include <cassert>
#include <cstdio>
#include <stdexcept>

#include "sdk/wire/bytes.h"

namespace vex::virtual_device {

namespace {

[[noreturn]] void fail(const char* what, std::uint32_t address)
{
    char text[96];
    std::snprintf(text, sizeof text, "register map: %s at 0x%08X", what, static_cast<unsigned>(address));
    throw std::logic_error(text);
}

std::uint64_t end_of(const Region& region) { return std::uint64_t{region.address} + region.bytes.size(); }

}  // namespace

Region memory_region(std::uint32_t address, std::string_view bytes)
{
    Region region;
    region.address = address;
    region.bytes.assign(bytes.begin(), bytes.end());
    region.bytes.resize((bytes.size() + 3) / 4 * 4);
    return region;
}

void RegisterMap::add(Region region)
{
    if (region.address % 4 != 0 || region.bytes.size() % 4 != 0 || region.bytes.empty()) {
        fail("unaligned or empty region", region.address);
    }
    if (end_of(region) > (std::uint64_t{1} << 32)) {
        fail("region beyond the address space", region.address);
    }
    const auto next = regions_.lower_bound(region.address);
    if (next != regions_.end() && next->first < end_of(region)) {
        fail("overlapping region", region.address);
    }
    if (next != regions_.begin() && end_of(std::prev(next)->second) > region.address) {
        fail("overlapping region", region.address);
    }
    const std::uint32_t address = region.address;
    regions_.emplace(address, std::move(region));
}

void RegisterMap::add_register(std::uint32_t address, Access access, std::uint32_t value, RegisterHooks hooks)
{
    Region region;
    region.address = address;
    region.access = access;
    region.bytes.resize(4);
    wire::store_be32(region.bytes.data(), value);
    if (hooks.refresh) {
        region.refresh = [refresh = std::move(hooks.refresh)](std::span<std::uint8_t> bytes) {
            wire::store_be32(bytes.data(), refresh());
        };
    }
    if (hooks.accept) {
        region.accept = [accept = std::move(hooks.accept)](std::span<std::uint8_t> bytes) {
            std::uint32_t proposed = wire::load_be32(bytes.data());
            const Status status = accept(proposed);
            wire::store_be32(bytes.data(), proposed);
            return status;
        };
    }
    add(std::move(region));
}

void RegisterMap::add_string(std::uint32_t address, Access access, std::size_t length, std::string_view text)
{
    Region region;
    region.address = address;
    region.access = access;
    region.bytes.resize(length);
    std::copy_n(text.begin(), std::min(length, text.size()), region.bytes.begin());
    add(std::move(region));
}

void RegisterMap::add_reserved(std::uint32_t address, std::size_t length)
{
    const std::uint64_t end = std::uint64_t{address} + length;
    std::uint64_t at = address;
    while (at < end) {
        const auto here = static_cast<std::uint32_t>(at);
        if (const auto found = find(here); found != regions_.end()) {
            at = end_of(found->second);
            continue;
        }
        const auto next = regions_.lower_bound(here);
        const std::uint64_t gap_end = next == regions_.end() ? end : std::min<std::uint64_t>(end, next->first);
        Region region;
        region.address = here;
        region.bytes.resize(static_cast<std::size_t>(gap_end - at));
        add(std::move(region));
        at = gap_end;
    }
}

RegisterMap::Regions::const_iterator RegisterMap::find(std::uint32_t address) const
{
    auto after = regions_.upper_bound(address);
    if (after == regions_.begin()) {
        return regions_.end();
    }
    --after;
    return address < end_of(after->second) ? after : regions_.end();
}

RegisterMap::Regions::iterator RegisterMap::find(std::uint32_t address)
{
    auto after = regions_.upper_bound(address);
    if (after == regions_.begin()) {
        return regions_.end();
    }
    --after;
    return address < end_of(after->second) ? after : regions_.end();
}

bool RegisterMap::mapped(std::uint32_t address, std::size_t length) const
{
    const std::uint64_t end = std::uint64_t{address} + length;
    std::uint64_t at = address;
    while (at < end) {
        if (at > 0xFFFFFFFF) {
            return false;
        }
        const auto found = find(static_cast<std::uint32_t>(at));
        if (found == regions_.end()) {
            return false;
        }
        at = end_of(found->second);
    }
    return true;
}

Status RegisterMap::read(std::uint32_t address, std::span<std::uint8_t> out)
{
    if (!mapped(address, out.size())) {
        return Status::invalid_address;
    }
    while (!out.empty()) {
        Region& region = find(address)->second;
        if (region.access == Access::write_only) {
            return Status::access_denied;
        }
        if (region.refresh) {
            region.refresh(region.bytes);
        }
        const std::size_t offset = address - region.address;
        const std::size_t count = std::min(out.size(), region.bytes.size() - offset);
        std::copy_n(region.bytes.begin() + static_cast<std::ptrdiff_t>(offset), count, out.begin());
        out = out.subspan(count);
        address += static_cast<std::uint32_t>(count);
    }
    return Status::success;
}

Status RegisterMap::write(std::uint32_t address, std::span<const std::uint8_t> data)
{
    if (!mapped(address, data.size())) {
        return Status::invalid_address;
    }
    for (std::uint64_t at = address; at < std::uint64_t{address} + data.size();) {
        const Region& region = find(static_cast<std::uint32_t>(at))->second;
        if (region.access == Access::read_only) {
            return Status::write_protect;
        }
        at = end_of(region);
    }
    while (!data.empty()) {
        Region& region = find(address)->second;
        const std::size_t offset = address - region.address;
        const std::size_t count = std::min(data.size(), region.bytes.size() - offset);
        if (region.accept) {
            std::vector<std::uint8_t> proposed = region.bytes;
            std::copy_n(data.begin(), count, proposed.begin() + static_cast<std::ptrdiff_t>(offset));
            if (const Status status = region.accept(proposed); status != Status::success) {
                return status;
            }
            assert(proposed.size() == region.bytes.size());
            std::copy(proposed.begin(), proposed.end(), region.bytes.begin());
        } else {
            std::copy_n(data.begin(), count, region.bytes.begin() + static_cast<std::ptrdiff_t>(offset));
        }
        persistent_changed_ = persistent_changed_ || region.persistent;
        data = data.subspan(count);
        address += static_cast<std::uint32_t>(count);
    }
    return Status::success;
}

std::uint32_t RegisterMap::value(std::uint32_t address) const
{
    const auto found = find(address);
    if (found == regions_.end() || end_of(found->second) < std::uint64_t{address} + 4) {
        fail("no register", address);
    }
    return wire::load_be32(found->second.bytes.data() + (address - found->first));
}

void RegisterMap::set_value(std::uint32_t address, std::uint32_t value)
{
    const auto found = find(address);
    if (found == regions_.end() || end_of(found->second) < std::uint64_t{address} + 4) {
        fail("no register", address);
    }
    wire::store_be32(found->second.bytes.data() + (address - found->first), value);
}

std::string RegisterMap::text(std::uint32_t address) const
{
    const std::span<const std::uint8_t> all = bytes(address);
    return {all.begin(), std::find(all.begin(), all.end(), std::uint8_t{0})};
}

void RegisterMap::set_text(std::uint32_t address, std::string_view text)
{
    const std::span<std::uint8_t> all = bytes(address);
    std::fill(all.begin(), all.end(), std::uint8_t{0});
    std::copy_n(text.begin(), std::min(text.size(), all.size()), all.begin());
}

Region& RegisterMap::at(std::uint32_t address)
{
    const auto found = regions_.find(address);
    if (found == regions_.end()) {
        fail("no region", address);
    }
    return found->second;
}

std::span<std::uint8_t> RegisterMap::bytes(std::uint32_t address) { return at(address).bytes; }

std::span<const std::uint8_t> RegisterMap::bytes(std::uint32_t address) const
{
    const auto found = regions_.find(address);
    if (found == regions_.end()) {
        fail("no region", address);
    }
    return found->second.bytes;
}

void RegisterMap::keep(std::uint32_t address) { at(address).persistent = true; }

void RegisterMap::replace(Region region)
{
    const std::uint32_t address = region.address;
    Region before = std::move(at(address));
    regions_.erase(address);
    try {
        add(std::move(region));
    } catch (...) {
        regions_.emplace(address, std::move(before));
        throw;
    }
    power_on_.erase(address);
}

void RegisterMap::remember_power_on()
{
    for (const auto& [address, region] : regions_) {
        if (!region.persistent) {
            power_on_[address] = region.bytes;
        }
    }
}

void RegisterMap::power_on()
{
    for (const auto& [address, bytes] : power_on_) {
        at(address).bytes = bytes;
    }
}

}  // namespace vex::virtual_device
