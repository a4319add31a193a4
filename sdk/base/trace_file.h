// What trace.h tells, in a file: a line each, with time, thread, category and level.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include "sdk/base/PvResult.h"
#include "sdk/base/PvString.h"
#include "sdk/base/trace.h"

namespace vex::trace {

/// The line of a record, without its line feed:
/// "2026-03-01T12:00:00.123456Z pv-heartbeat/3 control debug READREG ...". What is no printable character in the text
/// stands there as \xNN.
[[nodiscard]] std::string line_of(const Record& record, std::chrono::system_clock::time_point at,
                                  std::string_view thread);

/// Listens from open() on and writes to a file until it is closed or destroyed. Each line is in the file when the call
/// that told it returns, so that a program that crashes leaves it whole.
///
/// Thread safety: what is told on any thread is written; open and close by one thread at a time.
class TraceFile {
public:
    TraceFile();
    /// Closes.
    ~TraceFile();
    TraceFile(const TraceFile&) = delete;
    TraceFile& operator=(const TraceFile&) = delete;

    /// Begins a new file in the place of one that has the name. CannotOpenFile when there can be none.
    PvResult open(const PvString& name, Level level);
    /// Listens no more. A failure when not all could be written.
    PvResult close();

private:
    struct File;
    std::unique_ptr<File> file_;
};

}  // namespace vex::trace
