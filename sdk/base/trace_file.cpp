#include "sdk/base/trace_file.h"

#include <pthread.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <span>
#include <system_error>

#include "sdk/base/failure.h"
#include "sdk/base/file_system.h"

namespace vex::trace {

namespace {

/// The thread's name, which several may share, and a number that none else has.
std::string this_thread_text()
{
    static std::atomic<unsigned> threads{0};
    thread_local const unsigned number = ++threads;
    std::array<char, 16> name{};
    static_cast<void>(::pthread_getname_np(::pthread_self(), name.data(), name.size()));
    return std::string(name.data()) + "/" + std::to_string(number);
}

std::string time_text(std::chrono::system_clock::time_point at)
{
    using namespace std::chrono;
    const auto day = floor<days>(at);
    const year_month_day date(day);
    const hh_mm_ss time(floor<microseconds>(at - day));
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02d.%06dZ", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                  static_cast<int>(time.seconds().count()), static_cast<int>(time.subseconds().count()));
    return text.data();
}

void append_printable(std::string& line, std::string_view text)
{
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte != 0x7F) {
            line += c;
            continue;
        }
        std::array<char, 8> code{};
        std::snprintf(code.data(), code.size(), "\\x%02X", byte);
        line += code.data();
    }
}

}  // namespace

std::string line_of(const Record& record, std::chrono::system_clock::time_point at, std::string_view thread)
{
    std::string line = time_text(at);
    line += ' ';
    append_printable(line, thread);
    line.append(" ").append(name_of(record.category)).append(" ").append(name_of(record.level)).append(" ");
    append_printable(line, record.text);
    return line;
}

struct TraceFile::File {
    void write(const Record& record)
    {
        const std::string thread = this_thread_text();
        const std::scoped_lock lock(mutex);
        // taken with the lock, so that the lines are in the order of their times
        const std::string line = line_of(record, std::chrono::system_clock::now(), thread) + "\n";
        const std::error_code failed = file.write({reinterpret_cast<const std::uint8_t*>(line.data()), line.size()});
        if (failed && !error) {
            error = failed;
        }
    }

    std::mutex mutex;
    file_system::File file;
    PvString name;
    std::error_code error;  ///< the first
};

TraceFile::TraceFile() = default;

TraceFile::~TraceFile() { static_cast<void>(close()); }

PvResult TraceFile::open(const PvString& name, Level level)
{
    static_cast<void>(close());
    auto file = std::make_unique<File>();
    file->name = name;
    std::error_code error = std::make_error_code(std::errc::invalid_argument);
    try {
        const file_system::Path path = file_system::path_of(name);
        if (file_system::kind_of(path) == file_system::Kind::file) {
            file_system::remove(path);
        }
        error = file->file.create(path);
        if (error == std::errc::file_exists) {
            error = file->file.open_existing(path);
        }
    } catch (const std::exception&) {
        // a name that the system cannot express
    }
    if (error) {
        return failure(PvResult::CannotOpenFile, "Cannot open the trace file \"", std::string_view(name.GetAscii()),
                       "\": ", error.message());
    }
    file_ = std::move(file);
    listen(level, [file = file_.get()](const Record& record) { file->write(record); });
    return PvResult::OK;
}

PvResult TraceFile::close()
{
    if (file_ == nullptr) {
        return PvResult::OK;
    }
    stop_listening();
    const std::unique_ptr<File> file = std::move(file_);
    const std::error_code last = file->file.close();
    const std::error_code error = file->error ? file->error : last;
    if (!error) {
        return PvResult::OK;
    }
    return failure(PvResult::GenericError, "Not all of the trace is in the file \"",
                   std::string_view(file->name.GetAscii()), "\": ", error.message());
}

}  // namespace vex::trace
