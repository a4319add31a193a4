#include "sdk/base/whole_file.h"

#include <string>

#include "sdk/base/failure.h"

namespace vex {
namespace {

/// How many names to try beside the target when others are taken.
constexpr int most_attempts = 100;
/// Names may have 255 units; a longer one than this leaves no room for what is appended.
constexpr std::size_t longest_stem = 240;

}  // namespace

WholeFile::~WholeFile()
{
    if (file_.is_open()) {
        discard();
    }
}

void WholeFile::discard() noexcept
{
    static_cast<void>(file_.close());
    if (beside()) {
        file_system::remove(written_);
    }
}

PvResult WholeFile::system_failure(PvResult::Code code, const char* what, std::error_code error) const
{
    // the general condition has the same text on every system
    return failure(code, what, " ", name_.view(), ": ", error.default_error_condition().message());
}

std::error_code WholeFile::create_beside()
{
    const auto name = target_.filename();
    const file_system::Path stem = name.native().size() <= longest_stem ? name : file_system::Path("unfinished");
    std::error_code error;
    for (int attempt = 0; attempt < most_attempts; ++attempt) {
        written_ = target_.parent_path() / stem;
        written_ += "." + std::to_string(attempt) + ".tmp";
        error = file_.create(written_);
        if (error != std::errc::file_exists) {
            break;
        }
    }
    return error;
}

PvResult WholeFile::open(const PvString& name)
{
    if (name.empty()) {
        return failure(PvResult::InvalidParameter, "There is no file name");
    }
    name_ = name;
    target_ = file_system::path_of(name);
    std::error_code error;
    switch (file_system::kind_of(target_)) {
    case file_system::Kind::folder:
        return system_failure(PvResult::CannotOpenFile, "Cannot write",
                              std::make_error_code(std::errc::is_a_directory));
    case file_system::Kind::read_only_file:
        return system_failure(PvResult::CannotOpenFile, "Cannot replace the read-only file",
                              std::make_error_code(std::errc::permission_denied));
    case file_system::Kind::other:
        written_ = target_;
        error = file_.open_existing(written_);
        break;
    case file_system::Kind::missing:
    case file_system::Kind::file: error = create_beside(); break;
    }
    return error ? system_failure(PvResult::CannotOpenFile, "Cannot create", error) : PvResult();
}

PvResult WholeFile::write(std::span<const std::uint8_t> bytes)
{
    const auto error = file_.write(bytes);
    return error ? system_failure(PvResult::FileError, "Cannot write", error) : PvResult();
}

PvResult WholeFile::commit(Durability durability)
{
    if (durability == Durability::on_disk && beside()) {
        if (const auto error = file_.flush(); error) {
            discard();
            return system_failure(PvResult::FileError, "Cannot write", error);
        }
    }
    if (const auto error = file_.close(); error) {
        discard();
        return system_failure(PvResult::FileError, "Cannot write", error);
    }
    if (!beside()) {
        return PvResult::OK;
    }
    if (const auto error = file_system::replace(written_, target_); error) {
        discard();
        return system_failure(PvResult::FileError, "Cannot rename the new file to", error);
    }
    return PvResult::OK;
}

PvResult write_whole_file(const PvString& name, std::span<const std::uint8_t> bytes, Durability durability)
{
    WholeFile file;
    try {
        if (auto opened = file.open(name); !opened.IsOK()) {
            return opened;
        }
    } catch (const std::system_error& error) {
        return failure(PvResult::CannotOpenFile, "The file name \"", name.view(), "\" cannot be used: ", error.what());
    }
    if (auto written = file.write(bytes); !written.IsOK()) {
        return written;
    }
    return file.commit(durability);
}

}  // namespace vex
