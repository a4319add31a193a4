// PvGenFile: a file on a device, through the device's file access features.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "sdk/base/PvResult.h"
#include "sdk/base/PvString.h"
#include "sdk/genicam/PvGenTypes.h"

class PvGenParameterArray;

/// A file of a device, as the features of the Standard Features Naming Convention's category FileAccessControl give
/// access to it: user sets, look-up tables, firmware.
///
/// An open file has a position, 0 when it is opened, that reads and writes move on. Bytes travel in steps as large as
/// the device's access buffer; several open files of one array take turns step by step. The array is borrowed: when it
/// goes, the file is closed.
///
/// Results: StateError for what the open file does not allow, NotSupported for an array without files, NotFound for a
/// file that the device does not have, FileError with the device's status when the device reports a failure, Timeout
/// when it does not finish, InvalidParameter, CannotOpenFile and FileError for the local file, and what the transport
/// gives.
///
/// Thread safety: one thread at a time; several files of one array may be used from several threads.
class PvGenFile {
public:
    /// After each step of ReadTo and WriteFrom, on their thread: the bytes that were transferred, and how many there
    /// will be; -1 where the device does not tell. It must not throw or use the file.
    using Progress = std::function<void(std::int64_t done, std::int64_t all)>;

    PvGenFile() = default;
    /// Closes the file on the device.
    ~PvGenFile();
    PvGenFile(const PvGenFile&) = delete;
    PvGenFile& operator=(const PvGenFile&) = delete;

    /// The array has the features that files need. False for null.
    [[nodiscard]] static bool IsSupported(PvGenParameterArray* aArray);
    /// The names of the files that the device has at present; the list is replaced.
    static PvResult GetNames(PvGenParameterArray* aArray, std::vector<std::string>& aNames);

    /// StateError when a file is open already, which stays so; InvalidParameter for a mode that is neither reading nor
    /// writing and for null. What opening for writing does to the contents is the device's decision.
    PvResult Open(PvGenParameterArray* aArray, const PvString& aFileName, PvGenOpenMode aMode);
    /// The file is closed even when the result is a failure: a device may refuse what was written when it is complete.
    /// OK when none is open.
    PvResult Close();
    [[nodiscard]] bool IsOpened() const noexcept;

    /// In bytes; -1 where the device does not tell.
    PvResult GetSize(std::int64_t& aSize);
    /// The device's word for how its last operation on the file went, asked for now; empty on failure.
    PvResult GetStatus(PvString& aStatus);
    /// The description of the last failure; empty when nothing has failed.
    [[nodiscard]] PvString GetLastErrorMessage() const { return PvString(last_error_); }

    /// Writes the whole local file from the beginning of the device's. An empty one writes nothing.
    PvResult WriteFrom(const PvString& aLocalFileName);
    /// Stores the whole file of the device. The local file appears, or replaces an older one, only when all is there.
    PvResult ReadTo(const PvString& aLocalFileName);

    /// Writes aLength bytes at the position. aBytesWritten is what the device has taken, on failure, too.
    PvResult Write(const std::uint8_t* aBuffer, std::int64_t aLength, std::int64_t& aBytesWritten);
    /// Reads up to aLength bytes from the position: fewer at the end of the file, 0 behind it. aBytesRead is what the
    /// buffer holds, on failure, too.
    PvResult Read(std::uint8_t* aBuffer, std::int64_t aLength, std::int64_t& aBytesRead);

    /// How long one operation of the device may take, in milliseconds; 60,000 at first.
    void SetOperationTimeout(std::uint32_t aTimeout) noexcept { timeout_ = aTimeout; }
    void SetProgress(Progress progress) { progress_ = std::move(progress); }

private:
    template <class Work>
    PvResult run(Work&& work);
    /// Runs one step with the file features of the open file's array, while no other file of the array does.
    template <class Step>
    decltype(auto) step(Step&& work);
    void require_open() const;
    void require_open(PvGenOpenMode mode) const;
    void open(PvGenParameterArray& array, const PvString& name, PvGenOpenMode mode);
    /// From the position on; `done` counts as the device takes them.
    void write(std::span<const std::uint8_t> bytes, std::int64_t& done);
    [[nodiscard]] std::int64_t largest_step();
    [[nodiscard]] std::int64_t size();
    /// One step; how many bytes the device gave. Moves the position.
    std::size_t read(std::span<std::uint8_t> out);
    void write_from(const PvString& local_name);
    void read_to(const PvString& local_name);

    PvGenParameterArray* array_ = nullptr;  // null while closed
    std::weak_ptr<const void> array_lifetime_;
    std::string name_;
    PvGenOpenMode mode_ = PvGenOpenModeUndefined;
    std::int64_t position_ = 0;
    std::uint32_t timeout_ = 60'000;
    std::string last_error_;
    Progress progress_;
};
