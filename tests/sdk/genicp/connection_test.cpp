// A connection to a simulated camera: bootstrap registers, privilege, heartbeat, descriptions.
#include "sdk/genicp/connection.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <memory>
#include <string>

#include "sdk/genicp/descriptions.h"
#include "sdk/genicp/memory_port.h"
#include "sdk/wire/bytes.h"
#include "tests/sdk/genicp/camera_files.h"
#include "tests/sdk/genicp/scripted_port.h"

using namespace vex;
using namespace genicp_test;

namespace {

namespace gencp = wire::gencp;
namespace abrm = wire::gencp::abrm;

class GencpConnection : public testing::Test {
protected:
    void connect(const softlink::DeviceOptions& options = {})
    {
        device = std::make_unique<softlink::GencpDevice>(options, clock);
        auto link = std::make_unique<ScriptedLink>(*device, clock);
        port = &link->scripted();
        genicp::Client client(link->port(), clock);
        genicp::DeviceFacts facts;
        const PvResult read = genicp::read_device_facts(client, "COM3", facts);
        ASSERT_TRUE(read.IsOK()) << read.description();
        facts.heartbeat_timeout_ms = 0;  // the tests beat themselves
        const PvResult opened =
            genicp::Connection::open(std::move(link), "COM3", facts, genicp::Timing(), clock, connection);
        ASSERT_TRUE(opened.IsOK()) << opened.description();
    }
    std::uint32_t privilege() { return device->word(abrm::access_privilege); }
    PvResult write(std::uint64_t address, std::uint32_t value)
    {
        std::array<std::uint8_t, 4> bytes{};
        wire::store_be32(bytes.data(), value);
        return connection->write(address, bytes);
    }

    ManualClock clock;
    std::unique_ptr<softlink::GencpDevice> device;
    ScriptedPort* port = nullptr;
    std::shared_ptr<genicp::Connection> connection;
};

}  // namespace

TEST_F(GencpConnection, KnowsTheDevice)
{
    softlink::DeviceOptions options;
    options.user_defined_name = "left";
    options.heartbeat = milliseconds(3000);
    connect(options);
    genicp::DeviceFacts facts;
    ASSERT_TRUE(genicp::read_device_facts(connection->client(), "COM3", facts).IsOK());
    EXPECT_EQ(facts.version, 0x00010002U);
    EXPECT_EQ(facts.manufacturer, "Vex");
    EXPECT_EQ(facts.model, "SoftLink");
    EXPECT_EQ(facts.family, "Soft cameras");
    EXPECT_EQ(facts.device_version, "1.0");
    EXPECT_EQ(facts.serial_number, "SL-0001");
    EXPECT_EQ(facts.user_defined_name, "left");
    EXPECT_TRUE(facts.has(gencp::capability::access_privilege));
    EXPECT_EQ(facts.maximum_response_time_ms, 200U);
    EXPECT_EQ(facts.manifest_table, softlink::address::manifest);
    EXPECT_EQ(facts.sbrm, softlink::address::sbrm);
    EXPECT_EQ(facts.heartbeat_timeout_ms, 3000U);
}

TEST_F(GencpConnection, ReadsRegistersOneByOneWhereTheDeviceWantsThat)
{
    softlink::DeviceOptions options;
    options.single_registers = true;
    options.user_defined_name = "left";
    connect(options);
    EXPECT_EQ(connection->facts().manufacturer, "Vex");
    EXPECT_EQ(connection->facts().user_defined_name, "left");
    EXPECT_EQ(connection->facts().manifest_table, softlink::address::manifest);
    EXPECT_EQ(privilege(), gencp::privilege::taken);
    EXPECT_EQ(connection->client().block_size(), gencp::largest_block);
}

TEST_F(GencpConnection, PassesOverRegistersThatTheDeviceDoesNotHave)
{
    softlink::DeviceOptions options;
    options.single_registers = true;
    softlink::GencpDevice other(options, clock);
    ScriptedLink link(other, clock);
    link.scripted().on_write = [&](std::span<const std::uint8_t> bytes) {
        const auto command = gencp::decode_frame(bytes);
        const auto asked = gencp::decode_read_memory(command->scd);
        if (!asked || asked->address != abrm::manufacturer_info) {
            return other.receive(bytes);
        }
        const auto refused =
            gencp::refusal(gencp::Command::read_memory_ack, command->request_id, gencp::Status::invalid_address);
        return std::vector<Answer>{{{}, Bytes(refused.bytes().begin(), refused.bytes().end())}};
    };
    genicp::Client client(link.port(), clock);
    genicp::DeviceFacts facts;
    const PvResult read = genicp::read_device_facts(client, "COM3", facts);
    ASSERT_TRUE(read.IsOK()) << read.description();
    EXPECT_EQ(facts.manufacturer_info, "");
    EXPECT_EQ(facts.serial_number, "SL-0001");
}

TEST_F(GencpConnection, BelievesNoRegisterThatTheDeviceDoesNotAnnounce)
{
    softlink::GencpDevice other({}, clock);
    other.set_word(abrm::device_capability + 4, 0);
    other.set_word(abrm::heartbeat_timeout, 3000);
    ScriptedLink link(other, clock);
    genicp::Client client(link.port(), clock);
    genicp::DeviceFacts facts;
    ASSERT_TRUE(genicp::read_device_facts(client, "COM3", facts).IsOK());
    EXPECT_EQ(facts.family, "");
    EXPECT_EQ(facts.user_defined_name, "");
    EXPECT_EQ(facts.sbrm, 0U);
    EXPECT_EQ(facts.heartbeat_timeout_ms, 0U);
}

TEST_F(GencpConnection, RefusesADeviceOfAnotherVersion)
{
    softlink::GencpDevice other({}, clock);
    other.set_word(abrm::version, 0xFFFFFFFF);
    ScriptedLink link(other, clock);
    genicp::Client client(link.port(), clock);
    genicp::DeviceFacts facts;
    const PvResult result = genicp::read_device_facts(client, "COM3", facts);
    EXPECT_EQ(result.GetCode(), PvResult::NotSupported);
    EXPECT_EQ(result.description(), "COM3: the version 0xFFFFFFFF is none of GenCP 1");
}

TEST_F(GencpConnection, TakesThePrivilegeAndGivesItBack)
{
    connect();
    EXPECT_EQ(privilege(), gencp::privilege::taken);
    EXPECT_TRUE(write(softlink::address::width, 800).IsOK());
    EXPECT_EQ(device->word(softlink::address::width), 800U);
    connection->close();
    EXPECT_EQ(privilege(), gencp::privilege::available);
    EXPECT_FALSE(port->is_open);
    EXPECT_EQ(write(softlink::address::width, 900).GetCode(), PvResult::NotConnected);
    connection->close();
}

TEST_F(GencpConnection, IsNoneWhenThePrivilegeIsRefused)
{
    softlink::GencpDevice other({}, clock);
    auto link = std::make_unique<ScriptedLink>(other, clock);
    genicp::Client client(link->port(), clock);
    genicp::DeviceFacts facts;
    ASSERT_TRUE(genicp::read_device_facts(client, "COM3", facts).IsOK());
    link->scripted().on_write = [&](std::span<const std::uint8_t> bytes) {
        const auto refused = gencp::refusal(gencp::Command::write_memory_ack, gencp::decode_frame(bytes)->request_id,
                                            gencp::Status::access_denied);
        return std::vector<Answer>{{{}, Bytes(refused.bytes().begin(), refused.bytes().end())}};
    };
    const PvResult opened =
        genicp::Connection::open(std::move(link), "COM3", facts, genicp::Timing(), clock, connection);
    EXPECT_EQ(opened.GetCode(), PvResult::StateError);
    EXPECT_EQ(connection, nullptr);
}

TEST_F(GencpConnection, WritesNoPrivilegeThatTheDeviceDoesNotHave)
{
    softlink::DeviceOptions options;
    options.privilege = false;
    connect(options);
    connection->close();
    EXPECT_EQ(device->statistics().refused, 0U);
}

TEST_F(GencpConnection, BeatsKeepThePrivilegeAndTakeItAgain)
{
    softlink::DeviceOptions options;
    options.heartbeat = milliseconds(3000);
    connect(options);
    for (int i = 0; i < 10; ++i) {
        clock.advance(milliseconds(1000));
        EXPECT_TRUE(connection->beat());
    }
    EXPECT_TRUE(write(softlink::address::width, 800).IsOK());
    clock.advance(milliseconds(3001));
    EXPECT_EQ(write(softlink::address::width, 816).GetCode(), PvResult::StateError) << "the device has forgotten";
    EXPECT_TRUE(connection->beat());
    EXPECT_TRUE(write(softlink::address::width, 816).IsOK());
}

TEST(GencpHeartbeat, BeatsSeveralTimesWithinTheTimeOfTheDevice)
{
    EXPECT_EQ(genicp::interval_for(milliseconds(3000)), milliseconds(1000));
    EXPECT_EQ(genicp::interval_for(milliseconds(1)), milliseconds(50)) << "a line is not there for beats alone";
    EXPECT_EQ(genicp::interval_for(std::chrono::hours(1)), milliseconds(10'000));
}

TEST(GencpHeartbeat, EndsWithoutWaitingForTheNextBeat)
{
    std::atomic<int> beats{0};
    const auto begin = std::chrono::steady_clock::now();
    {
        const genicp::Heartbeat heartbeat(std::chrono::hours(1), [&] { return ++beats > 0; });
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::hours(1));
    EXPECT_LE(beats, 1);
}

TEST_F(GencpConnection, IsLostAfterSeveralBeatsWithoutAnAnswer)
{
    connect();
    const auto alive = std::exchange(port->on_write, nullptr);
    for (int beat = 1; beat < genicp::Connection::most_missed_beats; ++beat) {
        EXPECT_TRUE(connection->beat());
    }
    const auto dead = std::exchange(port->on_write, alive);
    EXPECT_TRUE(connection->beat());
    port->on_write = dead;
    for (int beat = 1; beat < genicp::Connection::most_missed_beats; ++beat) {
        EXPECT_TRUE(connection->beat()) << "an answer begins the count again";
    }
    EXPECT_FALSE(connection->beat());
    EXPECT_TRUE(connection->is_lost());
    const PvResult result = write(softlink::address::width, 800);
    EXPECT_EQ(result.GetCode(), PvResult::NotConnected);
    EXPECT_EQ(result.description(), "COM3: the connection was lost");
}

TEST_F(GencpConnection, IsLostWhenTheLineHasGone)
{
    connect();
    port->read_result = PvResult(PvResult::NotConnected, "The serial port COM3 has gone");
    EXPECT_EQ(write(softlink::address::width, 800).GetCode(), PvResult::NotConnected);
    EXPECT_TRUE(connection->is_lost());
}

TEST_F(GencpConnection, NodeMapsReadAndWriteThroughIt)
{
    connect();
    genicp::MemoryPort memory;
    std::array<std::uint8_t, 4> bytes{};
    EXPECT_FALSE(memory.is_open());
    EXPECT_THROW(memory.read(softlink::address::width, bytes), GenApi::PortError);
    memory.attach(connection);
    EXPECT_TRUE(memory.is_open());
    memory.read(softlink::address::width, bytes);
    EXPECT_EQ(wire::load_be32(bytes.data()), 640U);
    memory.write(softlink::address::height, bytes);
    EXPECT_EQ(device->word(softlink::address::height), 640U);
    try {
        memory.read(0x77777777, bytes);
        ADD_FAILURE() << "there is nothing";
    } catch (const GenApi::PortError& error) {
        EXPECT_EQ(error.code(), PvResult::InvalidParameter);
    }
}

TEST_F(GencpConnection, ReadsTheDescriptionPlainAndPacked)
{
    connect();
    const CameraFiles files;
    std::string best;
    std::string plain;
    std::string packed;
    ASSERT_TRUE(genicp::read_description(connection.get(), files.folder(), "Device", best).IsOK());
    ASSERT_TRUE(genicp::read_description(connection.get(), files.folder(), "Device:0", plain).IsOK());
    ASSERT_TRUE(genicp::read_description(connection.get(), files.folder(), "Device:1", packed).IsOK());
    EXPECT_NE(plain.find("TriggerSoftware"), std::string::npos);
    EXPECT_EQ(plain, packed);
    EXPECT_EQ(plain, best);
    EXPECT_EQ(genicp::read_description(connection.get(), files.folder(), "Device:2", plain).GetCode(),
              PvResult::NotFound);
}

TEST_F(GencpConnection, PrefersTheNewerSchemaAndThenTheNewerFile)
{
    connect();
    constexpr std::uint64_t kinds = softlink::address::manifest + 8 + 4;
    constexpr std::uint64_t second = 64;  // bytes from one entry to the next
    constexpr std::uint32_t schema_1_0 = 0x01000000;
    std::string xml;
    device->set_word(softlink::address::plain_description, 0);
    ASSERT_TRUE(genicp::read_description(connection.get(), "", "Device", xml).IsOK());
    EXPECT_TRUE(xml.starts_with("<?xml")) << "the second entry's file has the higher version";
    device->set_word(kinds + second, schema_1_0 | (device->word(kinds + second) & 0xFFFF));
    ASSERT_TRUE(genicp::read_description(connection.get(), "", "Device", xml).IsOK());
    EXPECT_FALSE(xml.starts_with("<?xml")) << "the first entry's schema has the higher version";
    std::vector<std::string> identifiers;
    ASSERT_TRUE(genicp::list_descriptions(connection.get(), "", identifiers).IsOK());
    EXPECT_EQ(identifiers.size(), 3U);
    device->set_word(kinds + second, 2 * schema_1_0);
    ASSERT_TRUE(genicp::list_descriptions(connection.get(), "", identifiers).IsOK());
    EXPECT_EQ(identifiers, (std::vector<std::string>{"Device"})) << "schema 2.0 cannot be read";
}

TEST_F(GencpConnection, ListsWhatTheDeviceAndTheFolderHave)
{
    const CameraFiles files;
    files.put("b.xml", small_description);
    files.put("a.ZIP", "no archive");
    files.put("notes.txt", "");
    std::vector<std::string> identifiers;
    ASSERT_TRUE(genicp::list_descriptions(nullptr, files.folder(), identifiers).IsOK());
    EXPECT_EQ(identifiers, (std::vector<std::string>{"a.ZIP", "b.xml"}));
    connect();
    ASSERT_TRUE(genicp::list_descriptions(connection.get(), files.folder(), identifiers).IsOK());
    EXPECT_EQ(identifiers, (std::vector<std::string>{"Device", "Device:0", "Device:1", "a.ZIP", "b.xml"}));
    port->on_write = nullptr;
    EXPECT_EQ(genicp::list_descriptions(connection.get(), files.folder(), identifiers).GetCode(), PvResult::Timeout);
    EXPECT_EQ(identifiers, (std::vector<std::string>{"a.ZIP", "b.xml"}));
}

TEST_F(GencpConnection, DeviceWithoutAManifestWantsAFile)
{
    softlink::DeviceOptions options;
    options.manifest = false;
    connect(options);
    const CameraFiles files;
    files.put("own.xml", small_description);
    std::vector<std::string> identifiers;
    EXPECT_TRUE(genicp::list_descriptions(connection.get(), files.folder(), identifiers).IsOK());
    EXPECT_EQ(identifiers, (std::vector<std::string>{"own.xml"}));
    std::string xml;
    EXPECT_EQ(genicp::read_description(connection.get(), files.folder(), "", xml).GetCode(), PvResult::NotFound);
    ASSERT_TRUE(genicp::read_description(connection.get(), files.folder(), "own.xml", xml).IsOK());
    EXPECT_EQ(xml, small_description);
}

TEST_F(GencpConnection, FilesAreThoseOfTheFolderOnly)
{
    const CameraFiles files;
    files.put("broken.zip", "PK\x03\x04 and nothing behind it");
    std::string xml;
    EXPECT_EQ(genicp::read_description(nullptr, files.folder(), "broken.zip", xml).GetCode(),
              PvResult::GenICamXMLError);
    files.put("own.xml", small_description);
    for (const char* const name :
         {"missing.xml", "other/own.xml", "C:own.xml", "..\\own.xml", "../passwd.xml", "/etc/passwd", ".."}) {
        EXPECT_EQ(genicp::read_description(nullptr, files.folder(), name, xml).GetCode(), PvResult::NotFound) << name;
    }
    EXPECT_EQ(genicp::read_description(nullptr, files.folder(), "Device", xml).GetCode(), PvResult::NotConnected);
    EXPECT_EQ(genicp::read_description(nullptr, "", "a.xml", xml).GetCode(), PvResult::NotFound);
}

TEST_F(GencpConnection, ManifestsOfAnythingAreBounded)
{
    connect();
    for (const std::uint32_t count : {0U, 32U, 0xFFFFFFFFU}) {
        device->set_word(softlink::address::manifest + 4, count);
        std::vector<wire::manifest::LongEntry> entries;
        EXPECT_EQ(genicp::read_manifest(*connection, entries).GetCode(), PvResult::NotFound) << count;
        EXPECT_TRUE(entries.empty());
    }
}
