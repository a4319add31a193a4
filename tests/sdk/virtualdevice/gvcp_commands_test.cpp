// What the device answers to each command, byte by byte.
#include "tests/sdk/virtualdevice/responder_fixture.h"

using GvcpCommands = Responder;

TEST_F(GvcpCommands, DiscoveryIsAnsweredWithTheFirstRegistersAsTheyLieInMemory)
{
    const Bytes answer = ask(bytes_of({0x42, 0x11, 0x00, 0x02, 0x00, 0x00, 0xFF, 0xFF}));

    ASSERT_EQ(answer.size(), 8U + 248U);
    EXPECT_EQ(Bytes(answer.begin(), answer.begin() + 8), bytes_of({0, 0, 0, 3, 0, 0xF8, 0xFF, 0xFF}));
    const Bytes payload(answer.begin() + 8, answer.end());
    EXPECT_EQ(u32_at(payload, 0), 0x00020000U);
    EXPECT_EQ(u32_at(payload, 4), 0x80000001U);
    EXPECT_EQ(Bytes(payload.begin() + 8, payload.begin() + 16), bytes_of({0, 0, 0x02, 0x11, 0x22, 0x33, 0x44, 0x55}));
    EXPECT_EQ(u32_at(payload, 16), 0x5U);
    EXPECT_EQ(u32_at(payload, 36), 0x0A010203U);
    EXPECT_EQ(u32_at(payload, 52), 0xFFFF0000U);
    EXPECT_EQ(u32_at(payload, 68), 0x0A010001U);
    const auto text = [&](std::size_t at, std::size_t length) {
        return std::string(payload.begin() + static_cast<long>(at), payload.begin() + static_cast<long>(at + length));
    };
    EXPECT_EQ(text(72, 32), std::string("Vexkam") + std::string(26, '\0'));
    EXPECT_EQ(text(104, 32), std::string("TestModel") + std::string(23, '\0'));
    EXPECT_EQ(text(136, 32), std::string("7.8") + std::string(29, '\0'));
    EXPECT_EQ(text(168, 48), std::string("info") + std::string(44, '\0'));
    EXPECT_EQ(text(216, 16), "SERIAL-16-CHARS!");
    EXPECT_EQ(text(232, 16), std::string("left") + std::string(12, '\0'));
}

TEST_F(GvcpCommands, ReadregReturnsTheValueInNetworkOrder)
{
    const Bytes answer = ask(bytes_of({0x42, 0x01, 0x00, 0x80, 0x00, 0x04, 0x12, 0x34, 0x00, 0x01, 0x00, 0x00}));
    EXPECT_EQ(answer, bytes_of({0, 0, 0x00, 0x81, 0x00, 0x04, 0x12, 0x34, 0x11, 0x22, 0x33, 0x44}));
}

TEST_F(GvcpCommands, ReadregOfSeveralAddressesReturnsAllValues)
{
    const Bytes answer = ask(command(0x0080, 7, joined({be32(0x24), be32(scratch), be32(table + 4)})));
    EXPECT_EQ(answer,
              joined({bytes_of({0, 0, 0, 0x81, 0, 12, 0, 7}), be32(0x0A010203), be32(0x11223344), be32(0x04050607)}));
}

TEST_F(GvcpCommands, ReadregStopsAtTheFirstAddressThatFails)
{
    const Bytes answer = ask(command(0x0080, 7, joined({be32(scratch), be32(0x00090000), be32(scratch)})));
    EXPECT_EQ(answer, joined({bytes_of({0x80, 0x03, 0, 0x81, 0, 4, 0, 7}), be32(0x11223344)}));
}

TEST_F(GvcpCommands, WriteregWritesAndCounts)
{
    take_control();
    const Bytes answer =
        ask(bytes_of({0x42, 0x01, 0x00, 0x82, 0x00, 0x08, 0x00, 0x09, 0x00, 0x01, 0x00, 0x00, 0xCA, 0xFE, 0xBA, 0xBE}));
    EXPECT_EQ(answer, bytes_of({0, 0, 0x00, 0x83, 0x00, 0x04, 0x00, 0x09, 0, 0, 0, 1}));
    EXPECT_EQ(read(scratch), 0xCAFEBABEU);
}

TEST_F(GvcpCommands, WriteregOfSeveralStopsAtTheFirstFailureAndTellsHowManyWereDone)
{
    take_control();
    const Bytes writes =
        joined({be32(scratch), be32(1), be32(picky), be32(2), be32(picky), be32(101), be32(scratch), be32(3)});
    const Bytes answer = ask(command(0x0082, 7, writes));
    EXPECT_EQ(answer, bytes_of({0x80, 0x02, 0, 0x83, 0, 4, 0, 7, 0, 0, 0, 2}));
    EXPECT_EQ(read(scratch), 1U);
    EXPECT_EQ(read(picky), 2U);
}

TEST_F(GvcpCommands, ReadmemReturnsAddressAndBytes)
{
    const Bytes answer =
        ask(bytes_of({0x42, 0x01, 0x00, 0x84, 0x00, 0x08, 0x00, 0x05, 0x00, 0x02, 0x00, 0x10, 0x00, 0x00, 0x00, 0x08}));
    EXPECT_EQ(answer, bytes_of({0,    0,    0x00, 0x85, 0x00, 0x0C, 0x00, 0x05, 0x00, 0x02,
                                0x00, 0x10, 0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17}));
}

TEST_F(GvcpCommands, ReadmemGivesUpTo536Bytes)
{
    EXPECT_EQ(ask(read_memory(1, table, 536)).size(), 8U + 4U + 536U);
    EXPECT_EQ(status_of(ask(read_memory(2, table, 540))), status::invalid_parameter);
}

TEST_F(GvcpCommands, ReadmemCrossesRegisterBoundaries)
{
    const Bytes answer = ask(read_memory(1, 0x20, 0x68));
    ASSERT_EQ(status_of(answer), status::success);
    EXPECT_EQ(u32_at(answer, 12 + 4), 0x0A010203U);  // current address, at 0x24
    EXPECT_EQ(answer[12 + 0x28], 'V');               // manufacturer, at 0x48
    EXPECT_EQ(answer[12 + 0x28 + 0x20], 'T');        // model, at 0x68
}

TEST_F(GvcpCommands, WritememWritesBytes)
{
    take_control();
    const Bytes name = bytes_of({'r', 'i', 'g', 'h', 't', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(ask(write_memory(3, 0xE8, name)), bytes_of({0, 0, 0, 0x87, 0, 4, 0, 3, 0, 0, 0, 16}));
    const Bytes answer = ask(read_memory(4, 0xE8, 16));
    EXPECT_EQ(Bytes(answer.begin() + 12, answer.end()), name);
}

TEST_F(GvcpCommands, UnalignedAccessIsRefused)
{
    take_control();
    EXPECT_EQ(status_of(ask(read_register(1, scratch + 2))), status::bad_alignment);
    EXPECT_EQ(status_of(ask(write_register(2, scratch + 1, 0))), status::bad_alignment);
    EXPECT_EQ(status_of(ask(read_memory(3, table + 1, 4))), status::bad_alignment);
    EXPECT_EQ(status_of(ask(read_memory(4, table, 6))), status::bad_alignment);
    EXPECT_EQ(status_of(ask(write_memory(5, scratch + 3, be32(0)))), status::bad_alignment);
    EXPECT_EQ(status_of(ask(write_memory(6, scratch, bytes_of({1, 2, 3})))), status::bad_alignment);
    EXPECT_EQ(read(scratch), 0x11223344U);
}

TEST_F(GvcpCommands, UnmappedAddressesAreInvalid)
{
    take_control();
    EXPECT_EQ(status_of(ask(read_register(1, 0x00030000))), status::invalid_address);
    EXPECT_EQ(status_of(ask(read_register(2, 0xFFFFFFFC))), status::invalid_address);
    EXPECT_EQ(status_of(ask(write_register(3, 0x00030000, 0))), status::invalid_address);
    EXPECT_EQ(status_of(ask(read_memory(4, table + 1020, 8))), status::invalid_address);
    EXPECT_EQ(status_of(ask(read_memory(5, 0xFFFFFFFC, 8))), status::invalid_address);
}

TEST_F(GvcpCommands, ReadOnlyRegistersAreWriteProtected)
{
    take_control();
    EXPECT_EQ(write(0x0934, 0), status::write_protect);
    EXPECT_EQ(status_of(ask(write_memory(1, table, be32(0)))), status::write_protect);
    EXPECT_EQ(status_of(ask(write_memory(2, 0xD8, be32(0)))), status::write_protect);
}

TEST_F(GvcpCommands, AWriteThatIsPartlyProtectedChangesNothing)
{
    take_control();
    // the user-defined name and what follows it: the last four bytes are outside
    EXPECT_EQ(status_of(ask(write_memory(1, 0xE8, Bytes(20, 'x')))), status::invalid_address);
    const Bytes answer = ask(read_memory(2, 0xE8, 4));
    EXPECT_EQ(Bytes(answer.begin() + 12, answer.end()), bytes_of({'l', 'e', 'f', 't'}));
}

TEST_F(GvcpCommands, WriteOnlyRegistersCannotBeRead)
{
    EXPECT_EQ(status_of(ask(read_register(1, write_only))), status::access_denied);
    EXPECT_EQ(status_of(ask(read_register(2, 0x0944))), status::access_denied);
}

TEST_F(GvcpCommands, UnknownCommandsAreNotImplemented)
{
    EXPECT_EQ(ask(command(0x0060, 0x0102, {})), bytes_of({0x80, 0x01, 0x00, 0x61, 0, 0, 1, 2}));
    EXPECT_EQ(ask(command(0x00C0, 0x0103, Bytes(16))), bytes_of({0x80, 0x01, 0x00, 0xC1, 0, 0, 1, 3}));
    EXPECT_EQ(ask(command(0xFFFF, 0x0104, {})), bytes_of({0x80, 0x01, 0x00, 0x00, 0, 0, 1, 4}));
}

TEST_F(GvcpCommands, PayloadsOfTheWrongLengthAreInvalidHeaders)
{
    take_control();
    EXPECT_EQ(status_of(ask(command(0x0080, 1, {}))), status::invalid_header);
    EXPECT_EQ(status_of(ask(command(0x0080, 2, Bytes(6)))), status::invalid_header);
    EXPECT_EQ(status_of(ask(command(0x0082, 3, Bytes(4)))), status::invalid_header);
    EXPECT_EQ(status_of(ask(command(0x0082, 4, Bytes(12)))), status::invalid_header);
    EXPECT_EQ(status_of(ask(command(0x0084, 5, Bytes(4)))), status::invalid_header);
    EXPECT_EQ(status_of(ask(command(0x0086, 6, Bytes(2)))), status::invalid_header);
    EXPECT_EQ(status_of(ask(command(0x0040, 7, Bytes(8)))), status::invalid_header);
    EXPECT_EQ(status_of(ask(command(0x0100, 8, Bytes(4)))), status::invalid_header);
    EXPECT_EQ(status_of(ask(command(0x0004, 9, Bytes(12)))), status::invalid_header);
}

TEST_F(GvcpCommands, EmptyMemoryAccessIsAnInvalidParameter)
{
    take_control();
    EXPECT_EQ(status_of(ask(read_memory(1, table, 0))), status::invalid_parameter);
    EXPECT_EQ(status_of(ask(write_memory(2, scratch, {}))), status::invalid_parameter);
}

TEST_F(GvcpCommands, ACommandThatWantsNoAcknowledgeIsExecutedSilently)
{
    take_control();
    EXPECT_TRUE(answers(command(0x0082, 1, joined({be32(scratch), be32(77)}), 0x00)).empty());
    EXPECT_EQ(read(scratch), 77U);
    EXPECT_TRUE(answers(command(0x0080, 2, be32(0x00090000), 0x00)).empty());
}

TEST_F(GvcpCommands, BytesBeyondTheAnnouncedLengthAreIgnored)
{
    Bytes datagram = read_register(5, scratch);
    datagram.insert(datagram.end(), 9, 0xEE);
    EXPECT_EQ(u32_at(ask(datagram), 8), 0x11223344U);
}

TEST_F(GvcpCommands, WhatIsNoCommandIsDroppedAndCounted)
{
    const std::vector<Bytes> garbage = {
        {},
        bytes_of({0x42}),
        bytes_of({0x42, 0x01, 0x00, 0x02, 0x00, 0x00, 0x00}),              // seven bytes
        bytes_of({0x43, 0x01, 0x00, 0x02, 0x00, 0x00, 0x00, 0x01}),        // wrong key
        bytes_of({0x42, 0x01, 0x00, 0x02, 0x00, 0x00, 0x00, 0x00}),        // ID 0
        bytes_of({0x42, 0x01, 0x00, 0x80, 0x00, 0x08, 0x00, 0x01, 0, 0}),  // shorter than it says
        bytes_of({0x00, 0x00, 0x00, 0x81, 0x00, 0x00, 0x00, 0x01}),        // an acknowledge
    };
    for (const Bytes& datagram : garbage) {
        EXPECT_TRUE(answers(datagram).empty());
    }
    EXPECT_EQ(responder.statistics().malformed, garbage.size());
    EXPECT_EQ(responder.statistics().received, garbage.size());
    EXPECT_EQ(responder.statistics().executed, 0U);
}

TEST_F(GvcpCommands, TimestampLatchCopiesTheTimeAndResetClearsIt)
{
    take_control();
    EXPECT_EQ(read(0x0948), 0U);
    EXPECT_EQ(write(0x0944, 2), status::success);
    EXPECT_EQ(read(0x0948), 0x00000005U);
    EXPECT_EQ(read(0x094C), 0x12345678U);
    hooks.now += 5;
    EXPECT_EQ(read(0x094C), 0x12345678U) << "the value is a copy";
    EXPECT_EQ(write(0x0944, 1), status::success);
    EXPECT_EQ(hooks.now, 0U);
}

TEST_F(GvcpCommands, BootstrapRegistersTellWhatTheDeviceCan)
{
    EXPECT_EQ(read(0x0600), 1U);
    EXPECT_EQ(read(0x0670), 1000U);
    EXPECT_EQ(read(0x0900), 1U);
    EXPECT_EQ(read(0x0904), 1U);
    EXPECT_EQ(read(0x0908), 2U);
    EXPECT_EQ(read(0x093C), 0U);
    EXPECT_EQ(read(0x0940), 1'000'000'000U);
    const std::uint32_t capability = read(0x0934);
    for (const unsigned bit : {31, 30, 29, 28, 27, 24, 23, 22, 21, 20, 18, 17, 6, 5, 4, 3, 2, 1, 0}) {
        EXPECT_NE(capability & (1U << bit), 0U) << "bit " << bit;
    }
    for (const unsigned bit : {26, 25, 19, 16}) {
        EXPECT_EQ(capability & (1U << bit), 0U) << "bit " << bit;
    }
    const Bytes url = ask(read_memory(0x7000, 0x0200, 512));
    EXPECT_EQ(std::string(url.begin() + 12, url.begin() + 12 + 22), std::string("Local:a.zip;100000;20") + '\0');
}
