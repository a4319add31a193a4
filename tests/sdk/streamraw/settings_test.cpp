// The settings of a raw stream: their values, and that each has its effect.
#include <functional>
#include <string>

#include "tests/sdk/streamraw/raw_stream_fixture.h"

namespace {

using namespace raw_stream_test;

struct Number {
    const char* name;
    PvResult (PvStreamRaw::*set)(std::uint32_t);
    std::uint32_t (PvStreamRaw::*get)() const;
    std::uint32_t first, min, max;
    const char* unit;
};

#define NUMBER(name, first, min, max, unit)                                                                            \
    Number { #name, &PvStreamRaw::Set##name, &PvStreamRaw::Get##name, first, min, max, unit }
constexpr std::uint32_t hour = 3'600'000;
constexpr std::uint32_t minute = 60'000;
const Number numbers[] = {
    NUMBER(RequestTimeout, 0, 0, hour, " ms"),
    NUMBER(FirstPacketTimeout, 0, 0, hour, " ms"),
    NUMBER(PacketTimeout, 100, 1, minute, " ms"),
    NUMBER(InterPacketTimeout, 1000, 1, minute, " ms"),
    NUMBER(DefaultImageTimeout, 0, 0, hour, " ms"),
    NUMBER(DefaultBlockTimeout, 0, 0, hour, " ms"),
    NUMBER(ResendDelay, 500, 0, 1'000'000, " us"),
    NUMBER(ResendRequestTimeout, 10, 1, minute, " ms"),
    NUMBER(MaximumResendRequestRetryByPacket, 3, 0, 100, ""),
    NUMBER(MaximumResendGroupSize, 64, 1, 65'535, ""),
    NUMBER(MaximumPendingResends, 512, 0, 1'000'000, ""),
    NUMBER(LatencyLevel, 16, 1, 32, ""),
    NUMBER(AutoResetOnLackOfResources, 0, 0, 1'000'000, ""),
    NUMBER(ResetOnIdle, 0, 0, hour, " ms"),
    NUMBER(MaximumPreQueuedBuffers, 512, 1, 4096, ""),
    NUMBER(MaximumInternalRetrieveBuffers, 512, 1, 4096, ""),
};
#undef NUMBER

struct Switch {
    PvResult (PvStreamRaw::*set)(bool);
    bool (PvStreamRaw::*get)() const;
    bool first;
};
constexpr Switch switches[] = {
    {&PvStreamRaw::SetResendPacketEnable, &PvStreamRaw::GetResendPacketEnable, true},
    {&PvStreamRaw::SetForceMissingPacketsAtNextBlockStart, &PvStreamRaw::GetForceMissingPacketsAtNextBlockStart, false},
    {&PvStreamRaw::SetEnableMissingPacketsList, &PvStreamRaw::GetEnableMissingPacketsList, true},
};

class Settings : public RawStream {
protected:
    /// The name stands for the test's subject alone: nothing else sets anything before.
    void SetUp() override {}

    void set_all(bool to_max)
    {
        for (const Number& number : numbers) {
            ASSERT_TRUE((stream.*number.set)(to_max ? number.max : number.min).IsOK()) << number.name;
        }
        for (const Switch& on_off : switches) {
            ASSERT_TRUE((stream.*on_off.set)(to_max != on_off.first).IsOK());
        }
    }
    void expect_all(bool at_max) const
    {
        for (const Number& number : numbers) {
            EXPECT_EQ((stream.*number.get)(), at_max ? number.max : number.min) << number.name;
        }
        for (const Switch& on_off : switches) {
            EXPECT_EQ((stream.*on_off.get)(), at_max != on_off.first);
        }
    }
};

TEST_F(Settings, HaveTheirDocumentedFirstValues)
{
    for (const Number& number : numbers) {
        EXPECT_EQ((stream.*number.get)(), number.first) << number.name;
    }
    for (const Switch& on_off : switches) {
        EXPECT_EQ((stream.*on_off.get)(), on_off.first);
    }
}

TEST_F(Settings, AreKeptFromOneOpeningToTheNext)
{
    set_all(true);
    expect_all(true);
    open();
    expect_all(true);
    set_all(false);
    expect_all(false);
    ASSERT_TRUE(stream.Close().IsOK());
    expect_all(false);
    open();
    expect_all(false);
}

TEST_F(Settings, RefuseValuesOutsideTheirRangeInWords)
{
    for (const Number& number : numbers) {
        const std::string range = std::to_string(number.min) + " to " + std::to_string(number.max) + number.unit;
        for (const std::uint32_t refused : {number.min - 1, number.max + 1}) {
            if (number.min == 0 && refused == number.min - 1) {
                continue;
            }
            const PvResult result = (stream.*number.set)(refused);
            EXPECT_EQ(result.GetCode(), PvResult::InvalidParameter) << number.name;
            const std::string text(result.description());
            EXPECT_NE(text.find(number.name), std::string::npos) << text;
            EXPECT_NE(text.find(range), std::string::npos) << text;
        }
        EXPECT_EQ((stream.*number.get)(), number.first) << number.name;
    }
}

TEST_F(Settings, BelongToOneStream)
{
    PvStreamRaw other;
    set_all(true);
    for (const Number& number : numbers) {
        EXPECT_EQ((other.*number.get)(), number.first) << number.name;
    }
}

TEST_F(Settings, TheStreamTellsItsChannelAndItsDevice)
{
    EXPECT_EQ(stream.GetChannelID(), 0U);
    EXPECT_EQ(stream.GetRemoteIpAddress().str(), "");
    open();
    EXPECT_EQ(stream.GetChannelID(), 3U);
    EXPECT_EQ(stream.GetRemoteIpAddress().str(), camera_ip.str());
    EXPECT_EQ(stream.GetStatistics(), &statistics);
}

/// What a setting changes, with all that could cover it up out of the way.
class SettingEffect : public RawStream {
protected:
    /// Closed, and patient: nothing ends a block but what the test sets.
    void SetUp() override
    {
        ASSERT_TRUE(stream.SetPacketTimeout(minute).IsOK());
        ASSERT_TRUE(stream.SetInterPacketTimeout(minute).IsOK());
        ASSERT_TRUE(stream.SetResendPacketEnable(false).IsOK());
    }

    /// Runs `check` twice: on a stream that is set while it is open, after `begin`, and when it is opened again, set
    /// before `begin`. Both find two buffers queued.
    void expect_effect(const std::function<void()>& set, const std::function<void()>& begin,
                       const std::function<void()>& check)
    {
        const auto run = [&](const char* when, bool set_late) {
            SCOPED_TRACE(when);
            open();
            queue(2);
            begin();
            if (set_late) {
                set();
            }
            check();
            ASSERT_TRUE(stream.Close().IsOK());
        };
        run("set while it is open", true);
        run("opened again", false);
    }
    /// Whether nothing comes for a while; with the setting, something would come much sooner.
    void expect_nothing() { EXPECT_EQ(retrieve(60), PvResult::Timeout); }
};

TEST_F(SettingEffect, RequestTimeoutGivesUnfilledBuffersBack)
{
    expect_effect([&] { ASSERT_TRUE(stream.SetRequestTimeout(1).IsOK()); }, [&] {},
                  [&] {
                      EXPECT_EQ(retrieve(), PvResult::Timeout);
                      EXPECT_EQ(retrieved, buffers[buffers.size() - 2].get());
                  });
    ASSERT_TRUE(stream.SetRequestTimeout(0).IsOK());
    open();
    queue();
    expect_nothing();
    EXPECT_EQ(retrieved, nullptr);
}

TEST_F(SettingEffect, FirstPacketTimeoutEndsBlocksOfWhichOnlyTheLeaderCame)
{
    open();
    queue();
    send(packets::image_leader({.id = 1}, {}, 0));
    expect_nothing();
    ASSERT_TRUE(stream.Close().IsOK());
    expect_effect([&] { ASSERT_TRUE(stream.SetFirstPacketTimeout(1).IsOK()); },
                  [&] { send(packets::image_leader({.id = 1}, {}, 0)); },
                  [&] { EXPECT_EQ(retrieve(), PvResult::MissingPackets); });
}

TEST_F(SettingEffect, PacketTimeoutEndsBlocksThatLackPackets)
{
    open();
    queue();
    send(without(image(1), 3));
    expect_nothing();
    ASSERT_TRUE(stream.Close().IsOK());
    expect_effect([&] { ASSERT_TRUE(stream.SetPacketTimeout(1).IsOK()); }, [&] { send(without(image(1), 3)); },
                  [&] { EXPECT_EQ(retrieve(), PvResult::MissingPackets); });
}

TEST_F(SettingEffect, InterPacketTimeoutEndsBlocksThatPause)
{
    open();
    queue();
    send(without(image(1), 6, 4));
    expect_nothing();
    ASSERT_TRUE(stream.Close().IsOK());
    expect_effect([&] { ASSERT_TRUE(stream.SetInterPacketTimeout(1).IsOK()); }, [&] { send(without(image(1), 6, 4)); },
                  [&] { EXPECT_EQ(retrieve(), PvResult::MissingPackets); });
}

TEST_F(SettingEffect, DefaultImageTimeoutEndsImages)
{
    open();
    queue();
    send(without(image(1), 6, 4));
    expect_nothing();
    ASSERT_TRUE(stream.SetDefaultBlockTimeout(1).IsOK());  // of other blocks
    expect_nothing();
    ASSERT_TRUE(stream.Close().IsOK());
    expect_effect([&] { ASSERT_TRUE(stream.SetDefaultImageTimeout(1).IsOK()); }, [&] { send(without(image(1), 6, 4)); },
                  [&] { EXPECT_EQ(retrieve(), PvResult::MissingPackets); });
}

TEST_F(SettingEffect, DefaultBlockTimeoutEndsOtherBlocks)
{
    const auto begin = [&] {
        send(packets::raw_leader({.id = 1}, 3 * stride, 0));
        send(packet_of(1, 1));
    };
    open();
    queue();
    begin();
    expect_nothing();
    ASSERT_TRUE(stream.SetDefaultImageTimeout(1).IsOK());
    expect_nothing();
    ASSERT_TRUE(stream.Close().IsOK());
    expect_effect([&] { ASSERT_TRUE(stream.SetDefaultBlockTimeout(1).IsOK()); }, begin,
                  [&] { EXPECT_EQ(retrieve(), PvResult::MissingPackets); });
}

TEST_F(SettingEffect, ResendPacketEnableAsksForPackets)
{
    ASSERT_TRUE(stream.SetPacketTimeout(20).IsOK());
    ASSERT_TRUE(stream.SetResendRequestTimeout(minute).IsOK());
    open();
    queue();
    send(without(image(1), 3));
    EXPECT_EQ(retrieve(), PvResult::MissingPackets);
    EXPECT_EQ(statistics.GetResendGroupRequested(), 0U);
    ASSERT_TRUE(stream.Close().IsOK());
    ASSERT_TRUE(stream.SetPacketTimeout(minute).IsOK());
    expect_effect([&] { ASSERT_TRUE(stream.SetResendPacketEnable(true).IsOK()); }, [&] { send(without(image(1), 3)); },
                  [&] {
                      await([&] { return statistics.GetResendGroupRequested() != 0; });
                      send(packet_of(1, 3, resent));
                      EXPECT_EQ(retrieve(), PvResult::OK);
                  });
}

/// Missing packets are asked for, and for once nobody answers.
class ResendEffect : public SettingEffect {
protected:
    void SetUp() override
    {
        SettingEffect::SetUp();
        ASSERT_TRUE(stream.SetResendPacketEnable(true).IsOK());
        ASSERT_TRUE(stream.SetResendRequestTimeout(minute).IsOK());
    }
};

TEST_F(ResendEffect, ResendDelayLetsPacketsComeOutOfOrder)
{
    ASSERT_TRUE(stream.SetResendDelay(1'000'000).IsOK());
    open();
    queue(2);
    send(without(image(1), 3));
    expect_nothing();
    EXPECT_EQ(statistics.GetResendGroupRequested(), 0U);
    send(packet_of(1, 3));
    EXPECT_EQ(retrieve(), PvResult::OK);
    ASSERT_TRUE(stream.Close().IsOK());
    // at most a second passes by itself
    expect_effect([&] { ASSERT_TRUE(stream.SetResendDelay(0).IsOK()); }, [&] {},
                  [&] {
                      send(without(image(1), 3));
                      await([&] { return statistics.GetResendGroupRequested() != 0; });
                      send(packet_of(1, 3, resent));
                      EXPECT_EQ(retrieve(), PvResult::OK);
                      EXPECT_EQ(statistics.GetExpectedResendCount(), 1U);
                  });
}

TEST_F(ResendEffect, ResendRequestTimeoutAsksAgain)
{
    open();
    queue();
    send(without(image(1), 3));
    await([&] { return statistics.GetResendGroupRequested() != 0; });
    expect_nothing();
    EXPECT_EQ(statistics.GetResendGroupRequested(), 1U);
    ASSERT_TRUE(stream.Close().IsOK());
    expect_effect([&] { ASSERT_TRUE(stream.SetResendRequestTimeout(1).IsOK()); }, [&] {},
                  [&] {
                      send(without(image(1), 3));
                      EXPECT_EQ(retrieve(), PvResult::TooManyResends);
                      EXPECT_EQ(statistics.GetResendGroupRequested(), 4U);
                  });
}

TEST_F(ResendEffect, MaximumResendRequestRetryByPacketEndsTheAsking)
{
    ASSERT_TRUE(stream.SetResendRequestTimeout(1).IsOK());
    for (const std::uint32_t retries : {0U, 2U}) {
        expect_effect([&] { ASSERT_TRUE(stream.SetMaximumResendRequestRetryByPacket(retries).IsOK()); }, [&] {},
                      [&] {
                          send(without(image(1), 3));
                          EXPECT_EQ(retrieve(), PvResult::TooManyResends);
                          EXPECT_EQ(statistics.GetResendGroupRequested(), 1 + retries);
                      });
    }
}

TEST_F(ResendEffect, MaximumResendGroupSizeDividesRequests)
{
    ASSERT_TRUE(stream.SetResendRequestTimeout(1).IsOK());
    ASSERT_TRUE(stream.SetMaximumResendRequestRetryByPacket(0).IsOK());
    for (const std::uint32_t size : {2U, 5U}) {
        expect_effect([&] { ASSERT_TRUE(stream.SetMaximumResendGroupSize(size).IsOK()); }, [&] {},
                      [&] {
                          send(without(image(1), 2, 4));
                          EXPECT_EQ(retrieve(), PvResult::TooManyResends);
                          EXPECT_EQ(statistics.GetResendGroupRequested(), size == 2 ? 2U : 1U);
                          EXPECT_EQ(statistics.GetResendPacketRequested(), 4U);
                      });
    }
}

TEST_F(ResendEffect, MaximumPendingResendsLimitsWhatIsAskedFor)
{
    ASSERT_TRUE(stream.SetPacketTimeout(20).IsOK());
    ASSERT_TRUE(stream.SetResendRequestTimeout(1).IsOK());
    expect_effect([&] { ASSERT_TRUE(stream.SetMaximumPendingResends(2).IsOK()); }, [&] {},
                  [&] {
                      send(without(image(1), 2, 3));
                      EXPECT_EQ(retrieve(), PvResult::TooManyConsecutiveResends);
                      EXPECT_EQ(statistics.GetResendPacketRequested(), 0U);
                      send(without(image(2), 2, 2));
                      EXPECT_EQ(retrieve(), PvResult::TooManyResends);
                  });
}

TEST_F(SettingEffect, LatencyLevelEndsTheOldestBlock)
{
    const auto begin = [&] { send(without(image(1), 3)); };
    const auto next_block = [&] { send(packets::image_leader({.id = 2}, {}, 0)); };
    ASSERT_TRUE(stream.SetLatencyLevel(2).IsOK());
    open();
    queue(2);
    begin();
    next_block();
    expect_nothing();
    ASSERT_TRUE(stream.Close().IsOK());
    expect_effect([&] { ASSERT_TRUE(stream.SetLatencyLevel(1).IsOK()); }, begin,
                  [&] {
                      next_block();
                      EXPECT_EQ(retrieve(), PvResult::MissingPackets);
                  });
}

TEST_F(SettingEffect, ForceMissingPacketsAtNextBlockStartEndsTheBlockBefore)
{
    const auto begin = [&] { send(without(image(1), 3)); };
    const auto next_block = [&] { send(packets::image_leader({.id = 2}, {}, 0)); };
    open();
    queue(2);
    begin();
    next_block();
    expect_nothing();
    ASSERT_TRUE(stream.Close().IsOK());
    expect_effect([&] { ASSERT_TRUE(stream.SetForceMissingPacketsAtNextBlockStart(true).IsOK()); }, begin,
                  [&] {
                      next_block();
                      EXPECT_EQ(retrieve(), PvResult::MissingPackets);
                  });
}

TEST_F(SettingEffect, AutoResetOnLackOfResourcesAbortsBlocks)
{
    const auto begin = [&] {
        send(without(image(1), 6, 4));
        send(without(image(2), 6, 4));
    };
    const auto starve = [&] {
        send(without(image(3), 6, 4));
        send(without(image(4), 6, 4));
    };
    open();
    queue(2);
    begin();
    starve();
    expect_nothing();
    ASSERT_TRUE(stream.Close().IsOK());
    expect_effect([&] { ASSERT_TRUE(stream.SetAutoResetOnLackOfResources(2).IsOK()); }, begin,
                  [&] {
                      starve();
                      EXPECT_EQ(retrieve(), PvResult::AutoAborted);
                      EXPECT_EQ(retrieve(), PvResult::AutoAborted);
                  });
}

TEST_F(SettingEffect, ResetOnIdleAbortsBlocks)
{
    const auto begin = [&] { send(without(image(1), 6, 4)); };
    open();
    queue();
    begin();
    expect_nothing();
    ASSERT_TRUE(stream.Close().IsOK());
    expect_effect([&] { ASSERT_TRUE(stream.SetResetOnIdle(1).IsOK()); }, begin,
                  [&] { EXPECT_EQ(retrieve(), PvResult::AutoAborted); });
}

TEST_F(SettingEffect, MaximumPreQueuedBuffersLimitsTheQueue)
{
    expect_effect([&] { ASSERT_TRUE(stream.SetMaximumPreQueuedBuffers(2).IsOK()); }, [&] {},
                  [&] {
                      PvBuffer third;
                      EXPECT_EQ(stream.GetQueuedBufferMaximum(), 2U);
                      EXPECT_EQ(stream.QueueBuffer(&third).GetCode(), PvResult::ErrOverflow);
                  });
    ASSERT_TRUE(stream.SetMaximumPreQueuedBuffers(600).IsOK());
    open();
    queue(600);
}

TEST_F(SettingEffect, MaximumInternalRetrieveBuffersTakesTheOldestBack)
{
    const auto blocks = [&] {
        for (std::uint64_t id = 1; id <= 3; ++id) {
            send(image(id));
            await([&] { return statistics.GetBlocksCount() == id; });
        }
    };
    expect_effect([&] { ASSERT_TRUE(stream.SetMaximumInternalRetrieveBuffers(1).IsOK()); }, [&] {},
                  [&] {
                      blocks();
                      EXPECT_EQ(statistics.GetBlocksDroppedCount(), 2U);
                      EXPECT_EQ(retrieve(), PvResult::OK);
                      EXPECT_EQ(retrieved->GetBlockID(), 3U);
                      EXPECT_EQ(retrieve(0), PvResult::Timeout);
                      EXPECT_EQ(stream.GetQueuedBufferCount(), 1U);
                  });
}

TEST_F(SettingEffect, EnableMissingPacketsListListsThem)
{
    ASSERT_TRUE(stream.SetPacketTimeout(1).IsOK());
    const auto ranges = [&] {
        send(without(image(1), 3));
        EXPECT_EQ(retrieve(), PvResult::MissingPackets);
        EXPECT_EQ(retrieved->GetLostPacketCount(), 1U);
        std::uint32_t count = 0;
        EXPECT_TRUE(retrieved->GetMissingPacketIdsCount(count).IsOK());
        return count;
    };
    open();
    queue();
    EXPECT_EQ(ranges(), 1U);
    ASSERT_TRUE(stream.Close().IsOK());
    expect_effect([&] { ASSERT_TRUE(stream.SetEnableMissingPacketsList(false).IsOK()); }, [&] {},
                  [&] { EXPECT_EQ(ranges(), 0U); });
}

}  // namespace
