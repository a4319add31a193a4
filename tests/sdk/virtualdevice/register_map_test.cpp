#include "sdk/virtualdevice/register_map.h"

#include <gtest/gtest.h>

#include <stdexcept>

using namespace vex;

using virtual_device::Access;
using virtual_device::Region;
using virtual_device::RegisterMap;
using virtual_device::Status;

namespace {

std::vector<std::uint8_t> read(RegisterMap& map, std::uint32_t address, std::size_t count)
{
    std::vector<std::uint8_t> bytes(count);
    EXPECT_EQ(map.read(address, bytes), Status::success);
    return bytes;
}

}  // namespace

TEST(RegisterMap, RefusesRegionsThatAreUnalignedEmptyOrOverlap)
{
    RegisterMap map;
    map.add_string(0x100, Access::read_only, 16, "x");
    EXPECT_THROW(map.add_register(0x102, Access::read_only, 0), std::logic_error);
    EXPECT_THROW(map.add_register(0x10C, Access::read_only, 0), std::logic_error);
    EXPECT_THROW(map.add_string(0xFC, Access::read_only, 8, ""), std::logic_error);
    EXPECT_THROW(map.add_string(0x200, Access::read_only, 6, ""), std::logic_error);
    EXPECT_THROW(map.add_string(0x200, Access::read_only, 0, ""), std::logic_error);
    EXPECT_THROW(map.add_string(0xFFFFFFFC, Access::read_only, 8, ""), std::logic_error);
    EXPECT_NO_THROW(map.add_register(0x110, Access::read_only, 0));
    EXPECT_NO_THROW(map.add_register(0xFFFFFFFC, Access::read_only, 0));
}

TEST(RegisterMap, ReservedSpaceFillsOnlyTheGaps)
{
    RegisterMap map;
    map.add_register(0x08, Access::read_only, 0xAABBCCDD);
    map.add_reserved(0x00, 0x10);
    EXPECT_EQ(read(map, 0x00, 0x10),
              (std::vector<std::uint8_t>{0, 0, 0, 0, 0, 0, 0, 0, 0xAA, 0xBB, 0xCC, 0xDD, 0, 0, 0, 0}));
    EXPECT_FALSE(map.mapped(0x0C, 8));
    EXPECT_EQ(map.write(0x00, std::vector<std::uint8_t>(4)), Status::write_protect);
}

TEST(RegisterMap, RefreshRunsBeforeEachReadAndNotForTheDeviceItself)
{
    RegisterMap map;
    std::uint32_t live = 5;
    map.add_register(0, Access::read_only, 1, {.refresh = [&] { return live; }, .accept = {}});
    EXPECT_EQ(map.value(0), 1U);
    EXPECT_EQ(read(map, 0, 4), (std::vector<std::uint8_t>{0, 0, 0, 5}));
    live = 6;
    EXPECT_EQ(read(map, 0, 4), (std::vector<std::uint8_t>{0, 0, 0, 6}));
}

TEST(RegisterMap, AcceptMayCorrectAndRefuse)
{
    RegisterMap map;
    map.add_register(0, Access::read_write, 0, {.refresh = {}, .accept = [](std::uint32_t& value) {
                                                    if (value == 13) {
                                                        return Status::invalid_parameter;
                                                    }
                                                    value &= 0xFF;
                                                    return Status::success;
                                                }});
    EXPECT_EQ(map.write(0, std::vector<std::uint8_t>{0, 0, 1, 7}), Status::success);
    EXPECT_EQ(map.value(0), 7U);
    EXPECT_EQ(map.write(0, std::vector<std::uint8_t>{0, 0, 0, 13}), Status::invalid_parameter);
    EXPECT_EQ(map.value(0), 7U);
}

TEST(RegisterMap, APartialWriteShowsTheWholeRegionToItsHook)
{
    RegisterMap map;
    std::vector<std::uint8_t> seen;
    Region region;
    region.address = 0x40;
    region.bytes = {1, 2, 3, 4, 5, 6, 7, 8};
    region.access = Access::read_write;
    region.accept = [&](std::span<std::uint8_t> proposed) {
        seen.assign(proposed.begin(), proposed.end());
        return Status::success;
    };
    map.add(std::move(region));
    EXPECT_EQ(map.write(0x44, std::vector<std::uint8_t>{9, 9, 9, 9}), Status::success);
    EXPECT_EQ(seen, (std::vector<std::uint8_t>{1, 2, 3, 4, 9, 9, 9, 9}));
}

TEST(RegisterMap, AWriteAcrossAReadOnlyRegionChangesNothing)
{
    RegisterMap map;
    map.add_register(0, Access::read_write, 1);
    map.add_register(4, Access::read_only, 2);
    EXPECT_EQ(map.write(0, std::vector<std::uint8_t>(8, 0xFF)), Status::write_protect);
    EXPECT_EQ(map.value(0), 1U);
}

TEST(RegisterMap, TextsAreCutAndPadded)
{
    RegisterMap map;
    map.add_string(0, Access::read_only, 4, "abcdefg");
    EXPECT_EQ(map.text(0), "abcd");
    map.set_text(0, "x");
    EXPECT_EQ(map.text(0), "x");
    EXPECT_EQ(read(map, 0, 4), (std::vector<std::uint8_t>{'x', 0, 0, 0}));
}

TEST(RegisterMap, TheDevicesOwnAccessMustBeMapped)
{
    RegisterMap map;
    map.add_register(0, Access::write_only, 3);
    EXPECT_EQ(map.value(0), 3U);
    EXPECT_THROW((void)map.value(4), std::logic_error);
    EXPECT_THROW(map.set_value(4, 0), std::logic_error);
    EXPECT_THROW((void)map.bytes(4), std::logic_error);
}
