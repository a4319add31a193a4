// Faults on request: each kind is what a host would see of a bad network or a device in trouble.
#include <random>
#include <set>
#include <thread>

#include "tests/sdk/softcam/camera_fixture.h"
#include "tests/sdk/virtualdevice/responder_fixture.h"
#include "tools/softcam/faults.h"

using namespace vex;
using namespace std::chrono_literals;
using softcam::ControlFaults;
using softcam::FaultyLink;

/// The device of the responder's tests behind a link with faults.
class Faults : public Responder {
protected:
    Faults() : link(responder, clock) {}

    /// Hands the datagram over and returns what has been sent since.
    std::vector<Bytes> through(const Bytes& datagram)
    {
        std::vector<Bytes> sent;
        link.handle(datagram, host, collect(sent));
        return sent;
    }
    /// What is sent after a time has passed.
    std::vector<Bytes> after(net::Clock::duration time)
    {
        clock.advance(time);
        std::vector<Bytes> sent;
        link.tick(collect(sent));
        return sent;
    }
    virtual_device::Send collect(std::vector<Bytes>& sent) const
    {
        return [this, &sent](const Endpoint& to, std::span<const std::uint8_t> data) {
            EXPECT_EQ(to, host);
            sent.emplace_back(data.begin(), data.end());
        };
    }
    static unsigned id_of(const Bytes& acknowledge) { return u16_at(acknowledge, 6); }

    FaultyLink link;
};

TEST_F(Faults, WithoutAnyEverythingPassesAtOnce)
{
    const auto sent = through(read_register(7, scratch));
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(u32_at(sent[0], 8), 0x11223344U);
    EXPECT_TRUE(after(1h).empty());
}

TEST_F(Faults, ALostAcknowledgeIsOfACommandThatWasCarriedOut)
{
    take_control();
    link.set_faults({.lost = 1000});
    EXPECT_TRUE(through(write_register(9, scratch, 5)).empty());
    EXPECT_EQ(read(scratch), 5U);
    EXPECT_EQ(link.statistics().lost, 1U);
}

TEST_F(Faults, ALostCommandIsNotCarriedOut)
{
    take_control();
    link.set_faults({.lost_commands = 1000});
    EXPECT_TRUE(through(write_register(9, scratch, 5)).empty());
    EXPECT_EQ(read(scratch), 0x11223344U);
    EXPECT_EQ(link.statistics().lost_commands, 1U);
}

TEST_F(Faults, ALateAcknowledgeComesWithinTheTimeGiven)
{
    link.set_faults({.late = 1000, .late_by = 40ms});
    EXPECT_TRUE(through(read_register(9, scratch)).empty());
    std::vector<Bytes> sent;
    EXPECT_LE(link.tick(collect(sent)), 40ms);  // or the server would look too late
    EXPECT_TRUE(sent.empty());
    sent = after(40ms);
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(u32_at(sent[0], 8), 0x11223344U);
}

TEST_F(Faults, ADoubledAcknowledgeComesTwiceAndTheCommandIsDoneOnce)
{
    take_control();
    link.set_faults({.doubled = 1000});
    const auto sent = through(write_register(9, counted, 5));
    ASSERT_EQ(sent.size(), 2U);
    EXPECT_EQ(sent[0], sent[1]);
    EXPECT_EQ(executions, 1);
}

TEST_F(Faults, AReorderedAcknowledgeComesAfterTheNextOne)
{
    link.set_faults({.reordered = 1000, .late_by = 40ms});
    EXPECT_TRUE(through(read_register(1, scratch)).empty());
    link.set_faults({});
    const auto sent = through(read_register(2, scratch));
    ASSERT_EQ(sent.size(), 2U);
    EXPECT_EQ(id_of(sent[0]), 2U);
    EXPECT_EQ(id_of(sent[1]), 1U);
}

TEST_F(Faults, AReorderedAcknowledgeThatNothingFollowsComesAllTheSame)
{
    link.set_faults({.reordered = 1000, .late_by = 40ms});
    EXPECT_TRUE(through(read_register(1, scratch)).empty());
    EXPECT_TRUE(after(39ms).empty());
    const auto sent = after(1ms);
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(id_of(sent[0]), 1U);
}

TEST_F(Faults, ATruncatedAcknowledgeIsTheBeginningOfTheRightOne)
{
    link.set_faults({.seed = 3, .truncated = 1000});
    std::set<std::size_t> lengths;
    for (unsigned id = 1; id <= 50; ++id) {
        const auto sent = through(read_memory(id, table, 8));
        ASSERT_EQ(sent.size(), 1U);
        ASSERT_LT(sent[0].size(), 20U);
        const Bytes whole = ask(read_memory(id, table, 8));
        EXPECT_TRUE(std::equal(sent[0].begin(), sent[0].end(), whole.begin()));
        lengths.insert(sent[0].size());
    }
    EXPECT_GT(lengths.size(), 10U);
}

TEST_F(Faults, AWrongAcknowledgeAnswersAnotherRequest)
{
    link.set_faults({.seed = 3, .wrong = 1000});
    unsigned other_ids = 0;
    unsigned other_codes = 0;
    for (unsigned id = 1; id <= 50; ++id) {
        const auto sent = through(read_register(id, scratch));
        ASSERT_EQ(sent.size(), 1U);
        const bool other_id = id_of(sent[0]) != id;
        const bool other_code = u16_at(sent[0], 2) != 0x0081;
        EXPECT_TRUE(other_id || other_code);
        EXPECT_EQ(u32_at(sent[0], 8), 0x11223344U);
        other_ids += other_id ? 1 : 0;
        other_codes += other_code ? 1 : 0;
    }
    EXPECT_GT(other_ids, 10U);
    EXPECT_GT(other_codes, 10U);
}

TEST_F(Faults, ARefusedCommandIsAnsweredAndNotDone)
{
    take_control();
    for (const auto& [refusal, code] : {std::pair{virtual_device::Status::access_denied, status::access_denied},
                                        std::pair{virtual_device::Status::busy, status::busy}}) {
        link.set_faults({.refused = 1000, .refusal = refusal});
        const auto sent = through(write_register(9, scratch, 5));
        ASSERT_EQ(sent.size(), 1U);
        EXPECT_EQ(status_of(sent[0]), code);
        EXPECT_EQ(u16_at(sent[0], 2), 0x0083U);
        EXPECT_EQ(id_of(sent[0]), 9U);
        EXPECT_EQ(read(scratch), 0x11223344U);
    }
    EXPECT_EQ(through(command(0x0002, 10, {}))[0].size(), 256U) << "a search is not refused";
}

TEST_F(Faults, APendingCommandIsAnnouncedAndDoneLater)
{
    take_control();
    ASSERT_EQ(write(0x0954, 2), status::success);
    link.set_faults({.pending = 1000, .pending_time = 300ms});
    const auto announced = through(write_register(9, scratch, 5));
    ASSERT_EQ(announced.size(), 1U);
    EXPECT_EQ(announced[0], bytes_of({0, 0, 0, 0x89, 0, 4, 0, 9, 0, 0, 300 >> 8, 300 & 0xFF}));
    EXPECT_EQ(read(scratch), 0x11223344U);

    EXPECT_TRUE(after(299ms).empty());
    const auto done = after(1ms);
    ASSERT_EQ(done.size(), 1U);
    EXPECT_EQ(status_of(done[0]), status::success);
    EXPECT_EQ(id_of(done[0]), 9U);
    EXPECT_EQ(read(scratch), 5U);
}

TEST_F(Faults, WhatComesWhileACommandIsPendingWaits)
{
    take_control();
    link.set_faults({.pending = 1000, .pending_time = 300ms});
    EXPECT_TRUE(through(write_register(9, counted, 5)).empty()) << "announced though not enabled";
    link.set_faults({});
    EXPECT_TRUE(through(write_register(9, counted, 5)).empty()) << "the retry";
    EXPECT_TRUE(through(read_register(10, counted)).empty());
    const auto done = after(300ms);
    ASSERT_EQ(done.size(), 3U);
    EXPECT_EQ(id_of(done[0]), 9U);
    EXPECT_EQ(done[0], done[1]);
    EXPECT_EQ(id_of(done[2]), 10U);
    EXPECT_EQ(executions, 1);
}

TEST_F(Faults, TheSameSeedGivesTheSameFaults)
{
    const ControlFaults faults{.seed = 77,
                               .lost_commands = 50,
                               .refused = 100,
                               .lost = 100,
                               .doubled = 100,
                               .reordered = 100,
                               .truncated = 100,
                               .wrong = 100};
    const auto run = [&](const ControlFaults& these) {
        link.set_faults(these);
        std::vector<Bytes> sent;
        for (unsigned id = 1; id <= 200; ++id) {
            link.handle(read_register(id, scratch), host, collect(sent));
        }
        std::vector<Bytes> rest = after(1s);
        sent.insert(sent.end(), rest.begin(), rest.end());
        return sent;
    };
    const auto first = run(faults);
    EXPECT_EQ(first, run(faults));
    ControlFaults others = faults;
    others.seed = 78;
    EXPECT_NE(first, run(others));
}

TEST_F(Faults, RatesAreOfAThousand)
{
    const std::uint64_t seed = std::random_device{}();
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    link.set_faults({.seed = seed, .lost = 100, .doubled = 300});
    for (unsigned id = 1; id <= 5000; ++id) {
        through(read_register(id, scratch));
    }
    // eight standard deviations
    EXPECT_NEAR(static_cast<double>(link.statistics().lost), 500, 170);
    EXPECT_NEAR(static_cast<double>(link.statistics().doubled), 1350, 260);
}

TEST_F(Faults, ASilentDeviceHearsAndSaysNothingAndItsHeartbeatRunsOut)
{
    take_control();
    link.set_silent(true);
    EXPECT_TRUE(through(write_register(9, scratch, 5)).empty());
    EXPECT_TRUE(after(2s).empty());
    EXPECT_TRUE(responder.controlled());
    EXPECT_TRUE(after(1001ms).empty());
    EXPECT_FALSE(responder.controlled());
    EXPECT_EQ(link.statistics().unheard, 1U);

    link.set_silent(false);
    const auto sent = through(read_register(10, scratch));
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(u32_at(sent[0], 8), 0x11223344U);
}

TEST_F(Faults, SilenceForATimeEndsByItself)
{
    link.be_silent_for(5s);
    clock.advance(5s - 1ms);
    EXPECT_TRUE(through(read_register(9, scratch)).empty());
    clock.advance(1ms);
    EXPECT_EQ(through(read_register(9, scratch)).size(), 1U);
}

TEST_F(Faults, WhatWasToComeLateIsLostWhenSilenceCameFirst)
{
    link.set_faults({.late = 1000, .late_by = 40ms});
    EXPECT_TRUE(through(read_register(9, scratch)).empty());
    link.set_silent(true);
    EXPECT_TRUE(after(1s).empty());
    link.set_silent(false);
    EXPECT_TRUE(after(1s).empty());
}

// ---- the camera ----

class SilentCamera : public SoftCam {
protected:
    /// Moves the clock until the camera has taken so many frames more.
    void await_blocks(unsigned count)
    {
        const auto wanted = camera.stream_statistics().blocks + count;
        const auto end = net::Clock::steady().now() + 30s;
        while (camera.stream_statistics().blocks < wanted) {
            ASSERT_LT(net::Clock::steady().now(), end) << "no further blocks";
            clock.advance(50ms);
            std::this_thread::yield();
        }
    }
};

TEST_F(SilentCamera, SendsNoPicturesAndNoEventsUntilTold)
{
    ASSERT_EQ(host.write(softcam::reg::acquisition_mode, 0), status::success);
    ASSERT_EQ(host.write(0x0954, 1), status::success);  // nobody beats while the test moves the clock
    HostSocket events;
    ASSERT_EQ(host.write(0x0B10, 0x7F000001), status::success);
    ASSERT_EQ(host.write(0x0B14, 0), status::success);
    ASSERT_EQ(host.write(0x0B00, events.port()), status::success);
    ASSERT_EQ(host.write(softcam::reg::event_notification + 4, 1), status::success);
    host.open_stream();
    start();
    ASSERT_TRUE(host.stream().receive());
    ASSERT_TRUE(events.receive());

    camera.go_silent(true);
    await_blocks(3);
    while (host.stream().receive(0ms)) {
    }
    while (events.receive(0ms)) {
    }
    await_blocks(3);
    EXPECT_FALSE(host.stream().receive(0ms));
    EXPECT_FALSE(events.receive(0ms));

    camera.go_silent(false);
    for (HostSocket* socket : {&host.stream(), &events}) {
        bool received = false;
        for (int i = 0; i < 10'000 && !received; ++i) {
            clock.advance(50ms);
            received = socket->receive(1ms).has_value();
        }
        EXPECT_TRUE(received);
    }
}

using Reboot = SoftCam;

TEST_F(Reboot, GivesControlBackAndBringsThePowerOnSettings)
{
    host.open_stream();
    ASSERT_EQ(host.write(softcam::reg::width, 320), status::success);
    ASSERT_EQ(host.write(0x0938, 9000), status::success);
    ASSERT_EQ(host.write(0x0954, 7), status::success);
    ASSERT_EQ(host.write(softcam::reg::user_value, 4711), status::success);
    ASSERT_EQ(host.write_bytes(0x00E8, Bytes(16, 'n')), status::success);
    start();
    clock.advance(1s);

    camera.reboot({.silence = 300ms});
    host.control().send(camera_address, read_register(host.next_id(), 0x0A00));
    const auto end = net::Clock::steady().now() + 30s;
    while (camera.fault_statistics().unheard == 0) {
        ASSERT_LT(net::Clock::steady().now(), end) << "not silent";
        std::this_thread::yield();
    }
    clock.advance(300ms);
    EXPECT_EQ(host.read(0x0A00), 0U);
    EXPECT_EQ(host.read(0x0A04), 0U);
    EXPECT_EQ(host.read(0x0D00), 0U);
    EXPECT_EQ(host.read(0x0D18), 0U);
    EXPECT_EQ(host.read(0x0938), 3000U);
    EXPECT_EQ(host.read(0x0954), 0U);
    EXPECT_EQ(host.read(softcam::reg::width), 640U);
    EXPECT_EQ(host.read(softcam::reg::user_value), 0U);
    EXPECT_EQ(host.read(softcam::reg::acquisition_status), 0U);
    EXPECT_EQ(host.read_bytes(0x00E8, 16), Bytes(16, 'n')) << "the user-defined name outlives it";
    EXPECT_EQ(number_at(host.read_bytes(softcam::reg::device_uptime, 8), 0, 8), 300'000'000U);
}

TEST_F(Reboot, ComesBackAtAnotherAddressAsTheSameDevice)
{
    SKIP_WHERE_BINDING_IS_LOOSE();
    const Bytes before = host.ask(command(0x0002, host.next_id(), {}));
    camera.reboot({.adapter = "127.0.0.30", .silence = 100ms});
    EXPECT_EQ(camera.address(), *Ipv4Address::parse("127.0.0.30"));
    clock.advance(100ms);

    Host again("127.0.0.30");
    const Bytes after = again.ask(command(0x0002, again.next_id(), {}));
    EXPECT_EQ(Bytes(after.begin() + 8, after.begin() + 8 + 20), Bytes(before.begin() + 8, before.begin() + 8 + 20));
    EXPECT_EQ(u32_at(after, 8 + 36), 0x7F00001EU);
    EXPECT_EQ(Bytes(after.begin() + 8 + 48, after.end()), Bytes(before.begin() + 8 + 48, before.end()));
    again.take_control();
    again.open_stream();
    ASSERT_EQ(again.write(softcam::reg::acquisition_start, 1), status::success);
    const auto packet = again.stream().receive();
    ASSERT_TRUE(packet);
    EXPECT_EQ(packet->source.address, *Ipv4Address::parse("127.0.0.30"));
    host.control().send(camera_address, read_register(host.next_id(), 0x0A00));
    EXPECT_FALSE(host.control().receive(50ms)) << "still at the old address";
}

TEST_F(Reboot, ToAnAddressThatIsTakenStaysWhereItWas)
{
    SKIP_WHERE_BINDING_IS_LOOSE();
    softcam::Camera other({.adapter = "127.0.0.31"}, clock);
    other.start();
    EXPECT_THROW(camera.reboot({.adapter = "127.0.0.31", .silence = 0ms}), std::system_error);
    EXPECT_EQ(host.read(0x0024), 0x7F00001AU);
    EXPECT_EQ(camera.address(), *Ipv4Address::parse(camera_address));
    EXPECT_THROW(camera.reboot({.adapter = "203.0.113.1"}), std::runtime_error);
}

TEST_F(Reboot, MayBringAnotherDescription)
{
    const Bytes url = host.read_bytes(0x0200, 64);
    const std::string xml(100'000, 'x');
    camera.reboot({.silence = 0ms, .description = xml});
    const Bytes other_url = host.read_bytes(0x0200, 64);
    EXPECT_NE(other_url, url);
    const std::string text(other_url.begin(), std::find(other_url.begin(), other_url.end(), 0));
    const auto last = text.rfind(';');
    ASSERT_NE(last, std::string::npos);
    const auto size = static_cast<unsigned>(std::stoul(text.substr(last + 1), nullptr, 16));
    EXPECT_EQ(host.read_bytes(softcam::reg::description, 4), bytes_of({'P', 'K', 3, 4}));
    EXPECT_EQ(host.read_bytes(softcam::reg::description + (size + 3) / 4 * 4 - 4, 4).size(), 4U);
    EXPECT_EQ(status_of(host.ask(read_memory(host.next_id(), softcam::reg::description + (size + 3) / 4 * 4, 4))),
              status::invalid_address);
    host.take_control();
    camera.reboot({.silence = 0ms});
    EXPECT_EQ(host.read_bytes(0x0200, 64), other_url) << "it has it from then on";
}
