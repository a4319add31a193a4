#include "sdk/convert/whole_file.h"

#include <cerrno>
#include <string>
#include <system_error>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>
#endif

#include "sdk/buffer/failure.h"

namespace convert {
namespace {

namespace fs = std::filesystem;

/// How many names to try beside the target when others are taken.
constexpr int most_attempts = 100;

fs::path path_of(const PvString& name)
{
#ifdef _WIN32
    return {name.GetWide()};
#else
    return {name.str()};
#endif
}

std::string text_of(const fs::path& path)
{
    const auto utf8 = path.u8string();
    return {utf8.begin(), utf8.end()};
}

/// Opens for writing; with `create`, a new file only.
std::FILE* open_file(const fs::path& path, bool create)
{
#ifdef _WIN32
    // not _wfopen: the older C runtime does not know how to ask for a new file
    const int flags = _O_WRONLY | _O_BINARY | (create ? _O_CREAT | _O_EXCL : 0);
    const int descriptor = _wopen(path.c_str(), flags, _S_IREAD | _S_IWRITE);
    return descriptor >= 0 ? _fdopen(descriptor, "wb") : nullptr;
#else
    return std::fopen(path.c_str(), create ? "wbx" : "wb");
#endif
}

bool is_read_only(const fs::file_status& status)
{
    constexpr auto write = fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write;
    return (status.permissions() & write) == fs::perms::none;
}

}  // namespace

WholeFile::~WholeFile()
{
    if (file_ == nullptr)
        return;
    std::fclose(file_);
    std::error_code ignored;
    if (written_ != target_)
        fs::remove(written_, ignored);
}

PvResult WholeFile::system_failure(PvResult::Code code, const char* what, int error) const
{
    return failure(code, what, " ", text_of(target_), ": ", std::generic_category().message(error));
}

PvResult WholeFile::open(const PvString& name)
{
    if (name.empty())
        return failure(PvResult::InvalidParameter, "there is no file name");
    target_ = path_of(name);
    std::error_code error;
    if (fs::is_symlink(target_, error))
        if (auto pointed_at = fs::canonical(target_, error); !error)
            target_ = pointed_at;  // replace the file, not the link
    const auto status = fs::status(target_, error);
    if (fs::is_directory(status))
        return system_failure(PvResult::CannotOpenFile, "cannot write", EISDIR);
    if (fs::is_regular_file(status) && is_read_only(status))
        return system_failure(PvResult::CannotOpenFile, "cannot replace the read-only file", EACCES);

    if (fs::exists(status) && !fs::is_regular_file(status)) {
        written_ = target_;
        file_ = open_file(written_, false);
    } else {
        for (int attempt = 0; attempt < most_attempts; ++attempt) {
            written_ = target_;
            written_ += "." + std::to_string(attempt) + ".tmp";
            file_ = open_file(written_, true);
            if (file_ != nullptr || errno != EEXIST)
                break;
        }
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
    auto* file = file_;
    if (std::fflush(file) != 0)
        return system_failure(PvResult::FileError, "cannot write", errno);
    file_ = nullptr;
    std::error_code error;
    if (std::fclose(file) != 0) {
        const int reason = errno;
        if (written_ != target_)
            fs::remove(written_, error);
        return system_failure(PvResult::FileError, "cannot write", reason);
    }
    if (written_ == target_)
        return PvResult::OK;
    fs::rename(written_, target_, error);
    if (!error)
        return PvResult::OK;
    std::error_code ignored;
    fs::remove(written_, ignored);
    return failure(PvResult::FileError, "cannot rename to ", text_of(target_), ": ", error.message());
}

}  // namespace convert
