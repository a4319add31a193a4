#include "sdk/bridge_manager/row_texts.h"

#include "sdk/bridge_manager/port.h"

namespace vex::bridge_manager {

namespace {

char letter_of(PvParity parity) noexcept { return parity == PvParityEven ? 'E' : parity == PvParityOdd ? 'O' : 'N'; }

std::string other_end(const Row& row)
{
    if (!row.settings.serial_port.empty()) {
        return row.settings.serial_port.str();
    }
    const bool is_there = row.state == State::running && !row.facts.endpoint.empty();
    return is_there ? row.facts.endpoint.str() : row.settings.endpoint.str();
}

std::string line_of(const Row& row)
{
    const Settings& settings = row.settings;
    std::string text;
    if (settings.line || !settings.serial_port.empty()) {
        text = line_text(settings.line.value_or(PvSerialPortConfiguration()));
    } else if (row.state == State::running) {
        text = std::to_string(row.facts.baud_rate);
    }
    if (settings.hard_coded_baud_rate != 0) {
        text += text.empty() ? "device " : ", device ";
        text += std::to_string(settings.hard_coded_baud_rate);
    }
    return text;
}

}  // namespace

std::string line_text(const PvSerialPortConfiguration& line)
{
    return std::to_string(line.BaudRate) + " " + std::to_string(line.ByteSize) + letter_of(line.Parity) +
           std::to_string(line.StopBits);
}

std::string state_text(const Row& row)
{
    const std::string failed(row.failure.IsOK() ? std::string_view() : row.failure.description());
    switch (row.state) {
    case State::starting: return "Starting";
    case State::stopping: return "Stopping";
    case State::stopped: return failed.empty() ? "Stopped" : failed;
    case State::running: break;
    }
    if (!row.facts.is_up) {
        return "The device is not connected; the bridge goes on when it is back";
    }
    return failed.empty() ? "Running" : "Running; " + failed;
}

std::string cell(const Row& row, Column column)
{
    switch (column) {
    case Column::port: return row.port;
    case Column::other_end: return other_end(row);
    case Column::line: return line_of(row);
    case Column::from_device: return std::to_string(row.facts.received);
    case Column::to_device: return std::to_string(row.facts.sent);
    case Column::dropped: return std::to_string(row.facts.dropped);
    case Column::parameters: return row.array_name.str();
    case Column::state: return state_text(row);
    }
    return {};
}

}  // namespace vex::bridge_manager
