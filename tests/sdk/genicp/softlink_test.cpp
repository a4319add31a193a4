// The simulated camera itself: what it answers, byte by byte, and the faults of its line.
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "sdk/wire/bytes.h"
#include "tests/sdk/genicp/scripted_port.h"
#include "tests/sdk/wire/golden.h"
#include "tools/softlink/line_faults.h"

using namespace vex;
using namespace genicp_test;

namespace {

namespace gencp = wire::gencp;

namespace frames {
#define GOLDEN(name, hex) [[maybe_unused]] const Bytes name = golden::bytes(hex);
#include "tests/sdk/wire/golden/gencp_frames.inc"
#undef GOLDEN
}  // namespace frames

Bytes bytes_of(const gencp::Frame& frame) { return {frame.bytes().begin(), frame.bytes().end()}; }

Bytes one_answer(softlink::GencpDevice& device, const Bytes& command)
{
    const auto answers = device.receive(command);
    EXPECT_EQ(answers.size(), 1U);
    return answers.empty() ? Bytes() : answers.front().bytes;
}

Bytes write_of(std::uint16_t id, std::uint64_t address, std::uint32_t value, bool again = false)
{
    std::array<std::uint8_t, 4> word{};
    wire::store_be32(word.data(), value);
    gencp::Frame frame = gencp::write_memory(id, {address, word});
    if (again) {
        frame.mark_resent();
    }
    return bytes_of(frame);
}

class SoftLink : public testing::Test {
protected:
    [[nodiscard]] gencp::Status status_of(const Bytes& command)
    {
        const Bytes answer = one_answer(device, command);
        const auto frame = gencp::decode_frame(answer);
        EXPECT_TRUE(frame);
        return frame ? frame->status() : gencp::Status::error;
    }

    ManualClock clock;
    softlink::GencpDevice device{softlink::DeviceOptions{}, clock};
};

}  // namespace

TEST_F(SoftLink, AnswersTheGoldenFrames)
{
    EXPECT_EQ(one_answer(device, frames::read_version), frames::read_version_ack);
    EXPECT_EQ(one_answer(device, frames::read_version_again), frames::read_version_ack);
    EXPECT_EQ(device.statistics().repeated, 1U);
    device.be_busy_once(milliseconds(500));
    const auto answers = device.receive(frames::write_word);
    ASSERT_EQ(answers.size(), 2U);
    EXPECT_EQ(answers[0].bytes, frames::pending);
    EXPECT_EQ(answers[0].after, milliseconds(0));
    EXPECT_EQ(answers[1].after, milliseconds(500));
}

TEST_F(SoftLink, DoesARequestThatIsSentAgainOnce)
{
    softlink::DeviceOptions open;
    open.privilege = false;
    softlink::GencpDevice free_device(open, clock);
    const Bytes first = one_answer(free_device, write_of(5, softlink::address::trigger, 1));
    EXPECT_EQ(one_answer(free_device, write_of(5, softlink::address::trigger, 1, true)), first);
    EXPECT_EQ(free_device.word(softlink::address::trigger_count), 1U);
    (void)one_answer(free_device, write_of(6, softlink::address::trigger, 1, true));
    EXPECT_EQ(free_device.word(softlink::address::trigger_count), 2U) << "another request, whatever its mark";
}

TEST_F(SoftLink, GuardsItsRegisters)
{
    EXPECT_EQ(status_of(write_of(1, softlink::address::width, 800)), gencp::Status::access_denied);
    EXPECT_EQ(status_of(write_of(2, gencp::abrm::access_privilege, 1)), gencp::Status::success);
    EXPECT_EQ(status_of(write_of(3, softlink::address::width, 800)), gencp::Status::success);
    EXPECT_EQ(status_of(write_of(4, gencp::abrm::model_name, 0)), gencp::Status::write_protect);
    EXPECT_EQ(status_of(write_of(5, 0x500000000, 0)), gencp::Status::invalid_address);
    EXPECT_EQ(status_of(bytes_of(gencp::read_memory(6, {0, 0}))), gencp::Status::invalid_parameter);
    EXPECT_EQ(status_of(bytes_of(gencp::read_memory(7, {gencp::abrm::end - 2, 4}))), gencp::Status::invalid_address);
    EXPECT_EQ(device.word(softlink::address::width), 800U);
}

TEST(SoftLinkFile, IsKeptWhenItIsClosed)
{
    using softlink::UserFile;
    using Operation = UserFile::Operation;
    using Status = UserFile::Status;
    UserFile file;
    Bytes buffer(100, 7);
    const auto perform = [&](Operation operation, UserFile::Mode mode = {}, std::size_t offset = 0,
                             std::size_t length = 0) {
        return file.perform({operation, mode, offset, length}, buffer);
    };
    EXPECT_EQ(perform(Operation::close).status, Status::failure) << "it is not open";
    EXPECT_EQ(perform(Operation::open, UserFile::Mode::write).status, Status::success);
    EXPECT_EQ(perform(Operation::open).status, Status::failure) << "it is open";
    EXPECT_EQ(perform(Operation::write, {}, 0, 60).transferred, 60U);
    EXPECT_EQ(perform(Operation::write, {}, 61, 1).status, Status::failure) << "it has no gaps";
    EXPECT_EQ(perform(Operation::write, {}, 0, 101).status, Status::failure) << "the buffer has no more";
    EXPECT_EQ(perform(Operation::read, {}, 0, 1).status, Status::failure);
    EXPECT_EQ(perform(Operation::close).status, Status::success);
    EXPECT_EQ(file.size(), 60U);
    buffer.assign(100, 0);
    EXPECT_EQ(perform(Operation::open, UserFile::Mode::read).status, Status::success);
    EXPECT_EQ(perform(Operation::write, {}, 0, 1).status, Status::failure);
    EXPECT_EQ(perform(Operation::read, {}, 50, 100).transferred, 10U);
    EXPECT_EQ(buffer[9], 7);
    EXPECT_EQ(buffer[10], 0);
    EXPECT_EQ(perform(Operation::read, {}, 61, 1).status, Status::failure);
}

TEST(SoftLinkFile, HasRoomForSoMuch)
{
    softlink::UserFile file;
    Bytes buffer(softlink::UserFile::largest + 1);
    using Operation = softlink::UserFile::Operation;
    using Mode = softlink::UserFile::Mode;
    ASSERT_EQ(file.perform({Operation::open, Mode::write}, buffer).status, softlink::UserFile::Status::success);
    const auto done = file.perform({Operation::write, Mode::write, 0, buffer.size()}, buffer);
    EXPECT_EQ(done.status, softlink::UserFile::Status::overflow);
    EXPECT_EQ(done.transferred, softlink::UserFile::largest);
}

TEST_F(SoftLink, SendsFaultsFromASeed)
{
    const auto run = [&](std::uint64_t seed) {
        softlink::GencpDevice camera({}, clock);
        softlink::FaultRates rates;
        rates.seed = seed;
        rates.lost_commands = rates.lost_answers = rates.doubled = rates.flipped = rates.cut = rates.garbage = 200;
        softlink::FaultyDevice faulty(camera, rates);
        Bytes heard;
        for (std::uint16_t id = 1; id <= 100; ++id) {
            for (const Answer& answer : faulty.receive(bytes_of(gencp::read_memory(id, {0, 4})))) {
                heard.insert(heard.end(), answer.bytes.begin(), answer.bytes.end());
            }
        }
        EXPECT_GT(faulty.faults(), 0U);
        return heard;
    };
    EXPECT_EQ(run(1), run(1));
    EXPECT_NE(run(1), run(2));
}
