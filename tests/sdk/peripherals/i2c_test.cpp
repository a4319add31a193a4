// The I2C master and its slaves, judged by what is on the wires.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "sdk/peripherals/i2c_master.h"
#include "sdk/peripherals/i2c_slaves.h"
#include "tests/sdk/virtualdevice/manual_clock.h"

using namespace vex::peripherals;
using namespace std::chrono_literals;

namespace {

using Bytes = std::vector<std::uint8_t>;

/// Reads the two wires as an analyser does: S and Sr for starts, P for stops, bytes in hexadecimal with + or - for
/// acknowledged or not.
class Analyser {
public:
    void on_wires(bool data, bool clock)
    {
        if (clock && clock_ && data != data_) {
            data ? stop() : start();
        } else if (clock && !clock_) {
            bits_ += data ? '1' : '0';
        } else if (!clock && clock_) {
            end_bit();
        }
        data_ = data;
        clock_ = clock;
    }

    std::string take() { return std::exchange(text_, {}); }

private:
    void add(const std::string& item) { text_ += (text_.empty() ? "" : " ") + item; }
    void start()
    {
        add(busy_ ? "Sr" : "S");
        busy_ = true;
        bits_.clear();
    }
    void stop()
    {
        add("P");
        busy_ = false;
        bits_.clear();
    }
    void end_bit()
    {
        if (bits_.size() < 9) {
            return;
        }
        char item[24];
        std::snprintf(item, sizeof item, "%02lX%c", std::stoul(bits_.substr(0, 8), nullptr, 2),
                      bits_[8] == '0' ? '+' : '-');
        add(item);
        bits_.clear();
    }

    std::string text_;
    std::string bits_;
    bool busy_ = false;
    bool data_ = true;
    bool clock_ = true;
};

class I2c : public testing::Test {
protected:
    I2c()
    {
        bus.attach(std::make_unique<Eeprom>(std::uint8_t{0xA0}, 5ms, clock));
        bus.attach(std::make_unique<Sensor>(std::uint8_t{0x90}));
        bus.observe([this](bool data, bool level) { analyser.on_wires(data, level); });
    }

    I2cOutcome run(const I2cTransfer& transfer, Bytes& data) { return master.run(transfer, data, count); }
    I2cOutcome write(std::uint8_t address, Bytes data, bool stop = true)
    {
        return run({.address = address, .stop = stop}, data);
    }
    I2cOutcome write_from(std::uint8_t address, std::uint8_t offset, Bytes data)
    {
        return run({.address = address, .offset = offset}, data);
    }
    Bytes read(std::uint8_t address, std::size_t size, bool stop = true)
    {
        Bytes data(size, 0xEE);
        outcome = run({.address = address, .read = true, .stop = stop}, data);
        return data;
    }
    Bytes read_from(std::uint8_t address, std::uint8_t offset, std::size_t size, bool combined = true)
    {
        Bytes data(size, 0xEE);
        outcome = run({.address = address, .offset = offset, .read = true, .combined = combined}, data);
        return data;
    }
    std::string wires() { return analyser.take(); }

    ManualClock clock;
    I2cBus bus;
    I2cMaster master{bus};
    Analyser analyser;
    I2cOutcome outcome = I2cOutcome::done;
    std::size_t count = 0;
};

TEST_F(I2c, WritesABurst)
{
    EXPECT_EQ(write(0xA0, {0x10, 0x55, 0xAA}), I2cOutcome::done);
    EXPECT_EQ(wires(), "S A0+ 10+ 55+ AA+ P");
    EXPECT_EQ(count, 3U);
}

TEST_F(I2c, IgnoresTheDirectionBitOfAnAddress)
{
    EXPECT_EQ(write(0xA1, {0x10}), I2cOutcome::done);
    EXPECT_EQ(wires(), "S A0+ 10+ P");
    EXPECT_EQ(read(0xA0, 1), Bytes{0xFF});
    EXPECT_EQ(wires(), "S A1+ FF- P");
}

TEST_F(I2c, TakesAnAddressAsItIsOnTheWire)
{
    // the 7-bit address of the memory, which is another slave's byte
    EXPECT_EQ(write(0x50, {0x10}), I2cOutcome::no_acknowledge);
    EXPECT_EQ(wires(), "S 50- P");
    EXPECT_EQ(count, 0U);
}

TEST_F(I2c, ReadsABurstAndAcknowledgesAllButTheLast)
{
    EXPECT_EQ(read(0x90, 4), (Bytes{0x26, 0x80, 0x00, 0x00}));
    EXPECT_EQ(wires(), "S 91+ 26+ 80+ 00+ 00- P");
    EXPECT_EQ(count, 4U);
}

TEST_F(I2c, WritesFromAnOffset)
{
    EXPECT_EQ(write_from(0x90, 2, {0x12, 0x34}), I2cOutcome::done);
    EXPECT_EQ(wires(), "S 90+ 02+ 12+ 34+ P");
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(read_from(0x90, 2, 2), (Bytes{0x12, 0x34}));
}

TEST_F(I2c, ReadsFromAnOffsetInBothFormats)
{
    EXPECT_EQ(read_from(0x90, 3, 2, false), (Bytes{0x50, 0x00}));
    EXPECT_EQ(wires(), "S 90+ 03+ P S 91+ 50+ 00- P");
    EXPECT_EQ(read_from(0x90, 3, 2, true), (Bytes{0x50, 0x00}));
    EXPECT_EQ(wires(), "S 90+ 03+ Sr 91+ 50+ 00- P");
}

TEST_F(I2c, KeepsTheBusWithoutAStop)
{
    EXPECT_EQ(write(0x90, {0x02}, false), I2cOutcome::done);
    EXPECT_EQ(wires(), "S 90+ 02+");
    EXPECT_EQ(read(0x90, 2), (Bytes{0x4B, 0x00}));
    EXPECT_EQ(wires(), "Sr 91+ 4B+ 00- P");
}

TEST_F(I2c, ReadsWithoutAStopToo)
{
    EXPECT_EQ(read(0x90, 1, false), Bytes{0x26});
    EXPECT_EQ(wires(), "S 91+ 26-");
    EXPECT_EQ(read(0x90, 1), Bytes{0x26});
    EXPECT_EQ(wires(), "Sr 91+ 26- P");
}

TEST_F(I2c, MakesTransfersOfNoBytes)
{
    EXPECT_EQ(write(0xA0, {}), I2cOutcome::done);
    EXPECT_EQ(wires(), "S A0+ P");
    EXPECT_EQ(write(0x20, {}), I2cOutcome::no_acknowledge);
    EXPECT_EQ(wires(), "S 20- P");
    EXPECT_EQ(read(0xA0, 0), Bytes());
    EXPECT_EQ(outcome, I2cOutcome::done);
    EXPECT_EQ(wires(), "S A1+ FF- P");
}

TEST_F(I2c, TellsHowManyBytesWereAcknowledged)
{
    // the temperature cannot be written
    EXPECT_EQ(write(0x90, {0x00, 0x11, 0x22}), I2cOutcome::no_acknowledge);
    EXPECT_EQ(wires(), "S 90+ 00+ 11- P");
    EXPECT_EQ(count, 1U);
}

TEST_F(I2c, CountsItsClocks)
{
    const auto before = master.clocks();
    EXPECT_EQ(write(0xA0, {0x10, 0x55}), I2cOutcome::done);
    EXPECT_EQ(master.clocks() - before, 1U + 3 * 9 + 1);
}

// ---- the memory ----

TEST_F(I2c, MemoryHoldsWhatWasWritten)
{
    EXPECT_EQ(write_from(0xA0, 0x20, {1, 2, 3}), I2cOutcome::done);
    clock.advance(5ms);
    EXPECT_EQ(read_from(0xA0, 0x1F, 5), (Bytes{0xFF, 1, 2, 3, 0xFF}));
    // goes on behind what was read
    EXPECT_EQ(read(0xA0, 1), Bytes{0xFF});
}

TEST_F(I2c, MemoryAcknowledgesNothingWhileItStores)
{
    EXPECT_EQ(write_from(0xA0, 0, {1}), I2cOutcome::done);
    (void)wires();
    clock.advance(4999us);
    EXPECT_EQ(write(0xA0, {0}), I2cOutcome::no_acknowledge);
    EXPECT_EQ(wires(), "S A0- P");
    clock.advance(1us);
    EXPECT_EQ(read_from(0xA0, 0, 1), Bytes{1});
}

TEST_F(I2c, MemoryWritesWithinAPage)
{
    Bytes data(10);
    std::iota(data.begin(), data.end(), std::uint8_t{1});
    EXPECT_EQ(write_from(0xA0, 0x0E, data), I2cOutcome::done);
    clock.advance(5ms);
    // 0x0E and 0x0F, then from 0x08 on, and 0x0E and 0x0F again
    EXPECT_EQ(read_from(0xA0, 0x08, 8), (Bytes{3, 4, 5, 6, 7, 8, 9, 10}));
    EXPECT_EQ(read_from(0xA0, 0x10, 1), Bytes{0xFF});
}

TEST_F(I2c, MemoryReadsOnAtItsBeginning)
{
    EXPECT_EQ(write_from(0xA0, 0xFF, {7}), I2cOutcome::done);
    clock.advance(5ms);
    EXPECT_EQ(write_from(0xA0, 0x00, {9}), I2cOutcome::done);
    clock.advance(5ms);
    EXPECT_EQ(read_from(0xA0, 0xFF, 2), (Bytes{7, 9}));
}

TEST_F(I2c, MemoryDropsAWriteThatNoStopEnds)
{
    EXPECT_EQ(write(0xA0, {0x30, 1}, false), I2cOutcome::done);
    EXPECT_EQ(read(0xA0, 1), Bytes{0xFF});
    EXPECT_EQ(read_from(0xA0, 0x30, 1), Bytes{0xFF});
}

// ---- the sensor ----

TEST_F(I2c, SensorRefusesOffsetsThatThereAreNot)
{
    EXPECT_EQ(write(0x90, {0x04}), I2cOutcome::no_acknowledge);
    EXPECT_EQ(wires(), "S 90+ 04- P");
}

TEST_F(I2c, SensorReadsOnWithTheNextRegister)
{
    EXPECT_EQ(read_from(0x90, 2, 6), (Bytes{0x4B, 0x00, 0x50, 0x00, 0x26, 0x80}));
}

// ---- a stuck bus ----

TEST_F(I2c, LosesABusThatIsHeld)
{
    bus.hold_data(5);
    EXPECT_EQ(write(0xA0, {0}), I2cOutcome::arbitration_lost);
    EXPECT_EQ(write(0xA0, {0}), I2cOutcome::arbitration_lost);
    master.clear();
    (void)wires();
    EXPECT_EQ(write(0xA0, {0}), I2cOutcome::done);
    EXPECT_EQ(wires(), "S A0+ 00+ P");
}

}  // namespace
