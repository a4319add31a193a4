#include "sdk/convert/whole_file.h"

#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

#include "sdk/buffer/failure.h"

namespace convert {
namespace {

/// How many names to try beside the target when others are taken.
constexpr int most_attempts = 100;
/// Names may have 255 units; a longer one than this leaves no room for what is appended.
constexpr std::size_t longest_stem = 240;

}  // namespace

void WholeFile::discard() noexcept
{
    if (auto* file = std::exchange(file_, nullptr); file != nullptr) {
        std::fclose(file);
        if (beside())
            file_system::remove(written_);
    }
}

PvResult WholeFile::system_failure(PvResult::Code code, const char* what, int error) const
{
    return failure(code, what, " ", name_.view(), ": ", std::generic_category().message(error));
}

void WholeFile::create_beside()
{
    const auto name = target_.filename();
    const file_system::Path stem = name.native().size() <= longest_stem ? name : file_system::Path("unfinished");
    for (int attempt = 0; attempt < most_attempts; ++attempt) {
        written_ = target_.parent_path() / stem;
        written_ += "." + std::to_string(attempt) + ".tmp";
        file_ = file_system::create(written_);
        if (file_ != nullptr || errno != EEXIST)
            return;
    }
}

PvResult WholeFile::open(const PvString& name)
{
    if (name.empty())
        return failure(PvResult::InvalidParameter, "there is no file name");
    name_ = name;
    target_ = file_system::path_of(name);
    switch (file_system::kind_of(target_)) {
    case file_system::Kind::folder: return system_failure(PvResult::CannotOpenFile, "cannot write", EISDIR);
    case file_system::Kind::read_only_file:
        return system_failure(PvResult::CannotOpenFile, "cannot replace the read-only file", EACCES);
    case file_system::Kind::other:
        written_ = target_;
        file_ = file_system::open_existing(written_);
        break;
    case file_system::Kind::missing:
    case file_system::Kind::file: create_beside(); break;
    }
    return file_ != nullptr ? PvResult() : system_failure(PvResult::CannotOpenFile, "cannot create", errno);
}

PvResult WholeFile::write(std::span<const std::uint8_t> bytes)
{
    if (std::fwrite(bytes.data(), 1, bytes.size(), file_) != bytes.size())
        return system_failure(PvResult::FileError, "cannot write", errno);
    return PvResult::OK;
}

PvResult WholeFile::commit()
{
    // closing alone would not tell why the last bytes could not be written
    if (std::fflush(file_) != 0)
        return system_failure(PvResult::FileError, "cannot write", errno);
    if (std::fclose(std::exchange(file_, nullptr)) != 0) {
        const int reason = errno;
        if (beside())
            file_system::remove(written_);
        return system_failure(PvResult::FileError, "cannot write", reason);
    }
    if (!beside())
        return PvResult::OK;
    const auto reason = file_system::replace(written_, target_);
    if (reason.empty())
        return PvResult::OK;
    file_system::remove(written_);
    return failure(PvResult::FileError, "cannot rename the new file to ", name_.view(), ": ", reason);
}

}  // namespace convert
