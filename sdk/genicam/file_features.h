// The features through which a device gives access to its files: one step of a transfer each.
#pragma once

#include <chrono>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sdk/genapi/node_map.h"

class PvGenParameterArray;

namespace vex::genicam {

/// The file access features of the Standard Features Naming Convention (category FileAccessControl) of one array.
/// FileSize may be missing; without the others there are no files.
///
/// Operations throw the exceptions of the node map, and GenApi::Error: NotSupported for an array without files,
/// NotFound for a file that the device does not have, FileError with the device's status for an operation that it
/// reports as failed, Timeout for one that does not end.
///
/// Thread safety: none; the caller keeps others from the device's file features while a step runs. Refers to the
/// array's nodes, so it must not outlive the array.
class FileFeatures {
public:
    using Time = std::chrono::milliseconds;

    /// `patience`: how long one operation of the device may take.
    FileFeatures(const PvGenParameterArray& array, Time patience);

    /// Whether the array has the features, of the right types, and the device implements them.
    [[nodiscard]] static bool are_in(const PvGenParameterArray& array);

    /// The symbolic names of the files that are available.
    [[nodiscard]] std::vector<std::string> names() const;

    /// Opens a file; the device decides what becomes of the contents of one that is opened for writing. Where the
    /// device has no mode of that name, ReadWrite is used.
    void open(const std::string& file, std::string_view mode);
    void close(const std::string& file);
    /// In bytes; -1 when the device does not tell.
    [[nodiscard]] std::int64_t size(const std::string& file);
    /// The device's word for how the last operation on the file went.
    [[nodiscard]] std::string status(const std::string& file);

    /// The most bytes that one step can read or write, at least 1.
    [[nodiscard]] std::size_t largest_step(const std::string& file, std::string_view operation);
    /// One step; how many bytes it wrote, at least 1. `bytes` is at most the largest step and not empty.
    std::size_t write(const std::string& file, std::int64_t offset, std::span<const std::uint8_t> bytes);
    /// One step; how many bytes it read, 0 at the end of the file.
    std::size_t read(const std::string& file, std::int64_t offset, std::span<std::uint8_t> out);

    static constexpr std::string_view read_operation = "Read";
    static constexpr std::string_view write_operation = "Write";

private:
    void choose(const std::string& file);
    void choose(const std::string& file, std::string_view operation);
    void place(std::int64_t offset, std::size_t count);
    void perform(const std::string& file, std::string_view done);
    [[nodiscard]] std::size_t transferred(const std::string& file, std::size_t asked) const;
    /// The register's bytes, whole words of it where it has them: not every device takes less.
    [[nodiscard]] std::span<std::uint8_t> words(std::size_t count);

    GenApi::INode* selector_;
    GenApi::INode* operation_;
    GenApi::INode* execute_;
    GenApi::INode* mode_;
    GenApi::INode* buffer_;
    GenApi::INode* offset_;
    GenApi::INode* length_;
    GenApi::INode* status_;
    GenApi::INode* result_;
    GenApi::INode* size_;  // null where there is none
    Time patience_;
    std::vector<std::uint8_t> words_;
};

}  // namespace vex::genicam
