#include "sdk/genicam/PvGenFile.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <limits>
#include <mutex>
#include <utility>

#include "sdk/base/whole_file.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/genicam/file_features.h"
#include "sdk/genicam/results.h"

using namespace vex;

using genicam::FileFeatures;

namespace {

constexpr std::int64_t largest_position = std::numeric_limits<std::int64_t>::max();

void check(const PvResult& result)
{
    if (!result.IsOK()) {
        throw GenApi::Error(result.GetCode(), std::string(result.description()));
    }
}

std::string_view mode_name(PvGenOpenMode mode) { return mode == PvGenOpenModeRead ? "Read" : "Write"; }

/// What a local file's name leads to. Throws CannotOpenFile for one that the system cannot express.
template <class Use>
auto with_name(const PvString& name, Use&& use)
{
    try {
        return use();
    } catch (const std::system_error& error) {
        throw GenApi::Error(PvResult::CannotOpenFile,
                            "The file name \"" + name.str() + "\" cannot be used: " + error.what());
    }
}

/// Open for reading from its beginning. Throws CannotOpenFile.
std::ifstream local_file(const PvString& name)
{
    if (name.empty()) {
        throw GenApi::ValueError("There is no file name");
    }
    const auto path = with_name(name, [&] { return file_system::path_of(name); });
    std::ifstream file;
    if (file_system::kind_of(path) != file_system::Kind::folder) {
        file.open(path, std::ios::binary);
    }
    if (!file.is_open()) {
        throw GenApi::Error(PvResult::CannotOpenFile, "Cannot open " + name.str());
    }
    return file;
}

std::int64_t size_of(std::ifstream& file)
{
    file.seekg(0, std::ios::end);
    const auto size = static_cast<std::int64_t>(file.tellg());
    file.clear();
    file.seekg(0);
    return file ? size : -1;
}

}  // namespace

PvGenFile::~PvGenFile() { Close(); }

template <class Work>
PvResult PvGenFile::run(Work&& work)
{
    PvResult result = genicam::result_of(std::forward<Work>(work));
    if (!result.IsOK()) {
        try {
            last_error_ = result.description();
        } catch (const std::bad_alloc&) {
            last_error_.clear();
        }
    }
    ApplicationCall::operation_ends();
    return result;
}

template <class Step>
decltype(auto) PvGenFile::step(Step&& work)
{
    require_open();
    const std::scoped_lock turn(array_->files_);
    FileFeatures features(*array_, std::chrono::milliseconds(timeout_));
    return work(features);
}

void PvGenFile::require_open() const
{
    if (!IsOpened()) {
        throw GenApi::Error(PvResult::StateError, array_ == nullptr
                                                      ? "No file is open"
                                                      : "The features that " + name_ + " was opened through are gone");
    }
}

void PvGenFile::require_open(PvGenOpenMode mode) const
{
    require_open();
    if (mode_ != mode) {
        throw GenApi::Error(PvResult::StateError,
                            name_ + " is open for " + (mode_ == PvGenOpenModeRead ? "reading" : "writing") + " only");
    }
}

bool PvGenFile::IsSupported(PvGenParameterArray* aArray)
{
    return aArray != nullptr && genicam::holds([&] { return FileFeatures::are_in(*aArray); });
}

PvResult PvGenFile::GetNames(PvGenParameterArray* aArray, std::vector<std::string>& aNames)
{
    PvResult result = genicam::result_of([&] {
        aNames.clear();
        if (aArray == nullptr) {
            throw GenApi::ValueError("There are no features to look for files in");
        }
        aNames = FileFeatures(*aArray, {}).names();
    });
    ApplicationCall::operation_ends();
    return result;
}

PvResult PvGenFile::Open(PvGenParameterArray* aArray, const PvString& aFileName, PvGenOpenMode aMode)
{
    return run([&] {
        if (IsOpened()) {
            throw GenApi::Error(PvResult::StateError, name_ + " is still open");
        }
        if (aArray == nullptr) {
            throw GenApi::ValueError("There are no features to open a file through");
        }
        if (aMode != PvGenOpenModeRead && aMode != PvGenOpenModeWrite) {
            throw GenApi::ValueError("A file can be opened for reading or for writing; mode " +
                                     std::to_string(static_cast<std::int32_t>(aMode)) + " is neither");
        }
        open(*aArray, aFileName, aMode);
    });
}

void PvGenFile::open(PvGenParameterArray& array, const PvString& name, PvGenOpenMode mode)
{
    name_ = name.str();
    mode_ = mode;
    position_ = 0;
    array_lifetime_ = array.lifetime();
    array_ = &array;
    try {
        step([&](FileFeatures& features) {
            try {
                features.open(name_, mode_name(mode));
            } catch (const GenApi::Error& error) {
                // where the device may have done it all the same, it is not left open
                if (error.code() == PvResult::Timeout || error.code() == PvResult::NetworkError) {
                    static_cast<void>(genicam::result_of([&] { features.close(name_); }));
                }
                throw;
            }
        });
    } catch (...) {
        array_ = nullptr;
        throw;
    }
}

PvResult PvGenFile::Close()
{
    if (!IsOpened()) {
        array_ = nullptr;
        return PvResult::OK;
    }
    PvResult result = run([&] { step([&](FileFeatures& features) { features.close(name_); }); });
    array_ = nullptr;
    return result;
}

bool PvGenFile::IsOpened() const noexcept { return array_ != nullptr && !array_lifetime_.expired(); }

PvResult PvGenFile::GetSize(std::int64_t& aSize)
{
    aSize = -1;
    return run([&] { aSize = size(); });
}

PvResult PvGenFile::GetStatus(PvString& aStatus)
{
    aStatus = PvString();
    return run([&] { aStatus = PvString(step([&](FileFeatures& features) { return features.status(name_); })); });
}

// ---- bytes ----

std::int64_t PvGenFile::largest_step()
{
    const std::string_view operation =
        mode_ == PvGenOpenModeRead ? FileFeatures::read_operation : FileFeatures::write_operation;
    return step(
        [&](FileFeatures& features) { return static_cast<std::int64_t>(features.largest_step(name_, operation)); });
}

std::int64_t PvGenFile::size()
{
    return step([&](FileFeatures& features) { return features.size(name_); });
}

PvResult PvGenFile::Write(const std::uint8_t* aBuffer, std::int64_t aLength, std::int64_t& aBytesWritten)
{
    aBytesWritten = 0;
    return run([&] {
        if (aLength < 0 || (aBuffer == nullptr && aLength != 0)) {
            throw GenApi::ValueError("There are no " + std::to_string(aLength) + " bytes to write");
        }
        require_open(PvGenOpenModeWrite);
        write({aBuffer, static_cast<std::size_t>(aLength)}, aBytesWritten);
    });
}

void PvGenFile::write(std::span<const std::uint8_t> bytes, std::int64_t& done)
{
    const auto most = static_cast<std::size_t>(largest_step());
    while (!bytes.empty()) {
        const std::size_t written = step([&](FileFeatures& features) {
            return features.write(name_, position_, bytes.first(std::min(most, bytes.size())));
        });
        bytes = bytes.subspan(written);
        position_ += static_cast<std::int64_t>(written);
        done += static_cast<std::int64_t>(written);
    }
}

std::size_t PvGenFile::read(std::span<std::uint8_t> out)
{
    const std::size_t count = step([&](FileFeatures& features) { return features.read(name_, position_, out); });
    position_ += static_cast<std::int64_t>(count);
    return count;
}

PvResult PvGenFile::Read(std::uint8_t* aBuffer, std::int64_t aLength, std::int64_t& aBytesRead)
{
    aBytesRead = 0;
    return run([&] {
        if (aLength < 0 || (aBuffer == nullptr && aLength != 0)) {
            throw GenApi::ValueError("There is no buffer to read " + std::to_string(aLength) + " bytes into");
        }
        require_open(PvGenOpenModeRead);
        const std::int64_t most = largest_step();
        const std::int64_t all = size();
        const std::int64_t wanted = all < 0 ? aLength : std::min(aLength, std::max<std::int64_t>(all - position_, 0));
        while (aBytesRead < wanted) {
            const auto part = static_cast<std::size_t>(std::min(wanted - aBytesRead, most));
            const std::size_t got = read({aBuffer + aBytesRead, part});
            if (got == 0) {
                break;
            }
            aBytesRead += static_cast<std::int64_t>(got);
        }
    });
}

// ---- whole files ----

PvResult PvGenFile::WriteFrom(const PvString& aLocalFileName)
{
    return run([&] { write_from(aLocalFileName); });
}

void PvGenFile::write_from(const PvString& local_name)
{
    require_open(PvGenOpenModeWrite);
    std::ifstream local = local_file(local_name);
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(largest_step()));
    const std::int64_t all = size_of(local);
    position_ = 0;
    std::int64_t done = 0;
    while (local) {
        local.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        const auto count = static_cast<std::size_t>(local.gcount());
        if (local.bad()) {
            break;
        }
        write({bytes.data(), count}, done);
        if (progress_ && count != 0) {
            progress_(done, all);
        }
    }
    if (local.bad()) {
        throw GenApi::Error(PvResult::FileError, "Cannot read " + local_name.str());
    }
}

PvResult PvGenFile::ReadTo(const PvString& aLocalFileName)
{
    return run([&] { read_to(aLocalFileName); });
}

void PvGenFile::read_to(const PvString& local_name)
{
    require_open(PvGenOpenModeRead);
    WholeFile local;
    check(with_name(local_name, [&] { return local.open(local_name); }));
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(largest_step()));
    const std::int64_t all = size();
    position_ = 0;
    while (all < 0 || position_ < all) {
        const std::int64_t left = all < 0 ? largest_position : all - position_;
        const auto part = static_cast<std::size_t>(std::min(left, static_cast<std::int64_t>(bytes.size())));
        const std::size_t got = read(std::span(bytes).first(part));
        if (got == 0) {
            break;
        }
        check(local.write(std::span(bytes).first(got)));
        if (progress_) {
            progress_(position_, all);
        }
    }
    if (position_ < all) {
        throw GenApi::Error(PvResult::FileError, name_ + " ends after " + std::to_string(position_) + " of " +
                                                     std::to_string(all) + " bytes");
    }
    check(local.commit(Durability::on_disk));
}
