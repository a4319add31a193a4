// What the table of bridges says.
#include "sdk/bridge_manager/row_texts.h"

#include <gtest/gtest.h>

namespace vex::bridge_manager {
namespace {

Row running_row()
{
    Row row;
    row.port = "Serial1";
    row.state = State::running;
    row.facts = {.endpoint = "tcp:5000",
                 .baud_rate = 115'200,
                 .received = 5'000'000'000,
                 .sent = 12,
                 .dropped = 3,
                 .is_up = true};
    return row;
}

TEST(RowTexts, TellPortEndpointAndCounters)
{
    Row row = running_row();
    row.settings.endpoint = "tcp:0";
    row.array_name = "Serial1: SoftLink";
    EXPECT_EQ(cell(row, Column::port), "Serial1");
    EXPECT_EQ(cell(row, Column::other_end), "tcp:5000");
    EXPECT_EQ(cell(row, Column::from_device), "5000000000");
    EXPECT_EQ(cell(row, Column::to_device), "12");
    EXPECT_EQ(cell(row, Column::dropped), "3");
    EXPECT_EQ(cell(row, Column::parameters), "Serial1: SoftLink");
    row.state = State::stopped;
    EXPECT_EQ(cell(row, Column::other_end), "tcp:0") << "what was chosen holds for one start";
    row.settings.serial_port = "COM3";
    EXPECT_EQ(cell(row, Column::other_end), "COM3");
}

TEST(RowTexts, TellTheLine)
{
    Row row = running_row();
    EXPECT_EQ(cell(row, Column::line), "115200") << "as it was found";
    row.settings.hard_coded_baud_rate = 9600;
    EXPECT_EQ(cell(row, Column::line), "115200, device 9600");
    row.settings.line = PvSerialPortConfiguration{57'600, PvParityEven, 7, 2};
    EXPECT_EQ(cell(row, Column::line), "57600 7E2, device 9600");
    row.settings.line->Parity = PvParityOdd;
    row.settings.hard_coded_baud_rate = 0;
    EXPECT_EQ(cell(row, Column::line), "57600 7O2");
    row.settings.line.reset();
    row.state = State::stopped;
    EXPECT_EQ(cell(row, Column::line), "");
    row.settings.serial_port = "COM3";
    EXPECT_EQ(cell(row, Column::line), "9600 8N1");
}

TEST(RowTexts, TellTheState)
{
    Row row = running_row();
    EXPECT_EQ(cell(row, Column::state), "Running");
    row.failure = PvResult(PvResult::NotFound, "Nobody answers");
    EXPECT_EQ(state_text(row), "Running; Nobody answers");
    row.facts.is_up = false;
    EXPECT_EQ(state_text(row), "The device is not connected; the bridge goes on when it is back");
    row.state = State::stopped;
    EXPECT_EQ(state_text(row), "Nobody answers");
    row.failure = {};
    EXPECT_EQ(state_text(row), "Stopped");
    row.state = State::starting;
    EXPECT_EQ(state_text(row), "Starting");
    row.state = State::stopping;
    EXPECT_EQ(state_text(row), "Stopping");
}

}  // namespace
}  // namespace vex::bridge_manager
