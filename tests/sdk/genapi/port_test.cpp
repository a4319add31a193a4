// Chunk and event ports.

#include <gtest/gtest.h>

#include "tests/sdk/genapi/memory_port.h"

using namespace camera_xml;
using GenApi::AccessMode;

namespace {

std::string chunk_reg(std::string_view name, std::int64_t address, int length = 4)
{
    return int_reg(name, address, {.length = length, .port = "P"});
}

const std::vector<std::uint8_t> data{0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3};

}  // namespace

TEST(ChunkPort, GivesItsNodesTheDataOfTheBuffer)
{
    Camera camera(port("P", element("ChunkID", "c91613db")) + chunk_reg("A", 0) + chunk_reg("Last", -4) +
                  chunk_reg("Outside", 9) + chunk_reg("Before", -13) + chunk_reg("Position", 0x7FFFFFFFFFFFFFFF, 8) +
                  chunk_reg("Length", 0x7FFFFFFFFFFFFFF0, 8));
    EXPECT_EQ(camera["A"].access(), AccessMode::not_available);
    EXPECT_EQ(message_of<GenApi::PortError>([&] { static_cast<void>(camera["A"].int_value()); }),
              "A is not available: no buffer with the chunk of port P is attached");
    const GenApi::Chunk chunks[] = {{0x1, data, 0}, {0xC91613DB, data, 1000}};
    camera.map->attach_chunks(chunks, GenApi::ChunkMemory::borrowed);
    EXPECT_EQ(camera["A"].access(), AccessMode::read_only);
    EXPECT_EQ(camera["A"].int_value(), 1);
    EXPECT_EQ(camera["Last"].int_value(), 3);
    EXPECT_EQ(camera["Position"].int_value(), 1000);
    EXPECT_EQ(camera["Length"].int_value(), 12);
    EXPECT_EQ(message_of<GenApi::PortError>([&] { static_cast<void>(camera["Outside"].int_value()); }),
              "Outside cannot be read: 4 bytes at 9 are not within the 12 bytes of port P");
    EXPECT_THROW(static_cast<void>(camera["Before"].int_value()), GenApi::PortError);
    EXPECT_THROW(camera["A"].set_int_value(1), GenApi::AccessError);
    camera.map->detach_chunks();
    EXPECT_EQ(camera["A"].access(), AccessMode::not_available);
}

TEST(ChunkPort, ForgetsTheLastBuffer)
{
    Camera camera(port("P", element("ChunkID", "1")) + chunk_reg("A", 0));
    const std::vector<std::uint8_t> first{0, 0, 0, 1};
    const std::vector<std::uint8_t> second{0, 0, 0, 2};
    int changes = 0;
    camera["A"].on_change([&](GenApi::INode&) { ++changes; });
    const GenApi::Chunk one[] = {{1, first, 0}};
    camera.map->attach_chunks(one, GenApi::ChunkMemory::borrowed);
    EXPECT_EQ(camera["A"].int_value(), 1);
    const GenApi::Chunk two[] = {{1, second, 0}};
    camera.map->attach_chunks(two, GenApi::ChunkMemory::borrowed);
    EXPECT_EQ(camera["A"].int_value(), 2);
    EXPECT_EQ(changes, 2);
    camera.map->attach_chunks({}, GenApi::ChunkMemory::borrowed);
    EXPECT_EQ(changes, 3);
    camera.map->attach_chunks({}, GenApi::ChunkMemory::borrowed);
    EXPECT_EQ(changes, 3);
}

TEST(ChunkPort, SurvivesAddressesFromOutside)
{
    Camera camera(port("P", element("ChunkID", "1")) + integer("Address", {.value = 0}) +
                  int_reg("A", "Address", {.length = 8, .access = "RO", .port = "P", .byte_order = ""}));
    const GenApi::Chunk chunks[] = {{1, data, 0}};
    camera.map->attach_chunks(chunks, GenApi::ChunkMemory::borrowed);
    for (const std::int64_t address :
         {std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max() - 1, std::int64_t{-13},
          std::int64_t{5}, std::int64_t{12}, std::int64_t{13}, std::int64_t{-1}}) {
        camera["Address"].set_int_value(address);
        EXPECT_EQ(code_of([&] { static_cast<void>(camera["A"].int_value()); }), PvResult::NoAvailableData) << address;
    }
    camera["Address"].set_int_value(4);
    EXPECT_EQ(camera["A"].int_value(), 0x0300000002000000);
}

TEST(ChunkPort, FollowsAnIdentifierThatChanges)
{
    Camera camera(port("P", element("pChunkID", "Id")) + integer("Id", {.value = 5}) + chunk_reg("A", 4));
    const GenApi::Chunk chunks[] = {{5, data, 0}};
    camera.map->attach_chunks(chunks, GenApi::ChunkMemory::borrowed);
    EXPECT_EQ(camera["A"].int_value(), 2);
    camera["Id"].set_int_value(6);
    camera.map->attach_chunks(chunks, GenApi::ChunkMemory::borrowed);
    EXPECT_EQ(camera["A"].access(), AccessMode::not_available);
}

TEST(ChunkPort, CopiesTheDataWhenAsked)
{
    Camera camera(port("P", element("ChunkID", "1") + element("CacheChunkData", "Yes")) + chunk_reg("A", 0));
    {
        std::vector<std::uint8_t> passing{0, 0, 0, 9};
        const GenApi::Chunk chunks[] = {{1, passing, 0}};
        camera.map->attach_chunks(chunks, GenApi::ChunkMemory::borrowed);
        passing.assign(4, 0xFF);
    }
    EXPECT_EQ(camera["A"].int_value(), 9);
}

TEST(ChunkPort, SwapsTheByteOrderWhenAsked)
{
    Camera camera(port("P", element("ChunkID", "1") + element("SwapEndianess", "Yes")) + chunk_reg("A", 0));
    const GenApi::Chunk chunks[] = {{1, data, 0}};
    camera.map->attach_chunks(chunks, GenApi::ChunkMemory::borrowed);
    EXPECT_EQ(camera["A"].int_value(), 0x01000000);
}

TEST(EventPort, DeliversItsDataAndTellsItsNodes)
{
    Camera camera(port("P", element("EventID", "9001")) + chunk_reg("EventFrame", 4) +
                  integer("Tied", {.event_id = "0x9001", .value = "R"}) + int_reg("R", 0));
    int frame_changes = 0;
    int tied_changes = 0;
    camera["EventFrame"].on_change([&](GenApi::INode&) { ++frame_changes; });
    camera["Tied"].on_change([&](GenApi::INode&) { ++tied_changes; });
    EXPECT_EQ(message_of<GenApi::PortError>([&] { static_cast<void>(camera["EventFrame"].int_value()); }),
              "EventFrame is not available: the event of port P has not arrived yet");
    EXPECT_EQ(camera["Tied"].int_value(), 0);
    camera.port.set32(0, 5);
    EXPECT_TRUE(camera.map->deliver_event(0x9001, data));
    EXPECT_EQ(camera["EventFrame"].int_value(), 2);
    EXPECT_EQ(camera["EventFrame"].access(), AccessMode::read_only);
    EXPECT_EQ(camera["Tied"].int_value(), 5);
    EXPECT_EQ(frame_changes, 1);
    EXPECT_EQ(tied_changes, 1);
    EXPECT_FALSE(camera.map->deliver_event(0x9002, data));
    EXPECT_TRUE(camera.map->deliver_event(0x9001, {}));
    EXPECT_EQ(code_of([&] { static_cast<void>(camera["EventFrame"].int_value()); }), PvResult::NoAvailableData);
}
