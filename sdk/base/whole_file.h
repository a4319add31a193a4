// A file that appears under its name only when it is whole.
#pragma once

#include <cstdint>
#include <span>
#include <system_error>

#include "sdk/base/PvResult.h"
#include "sdk/base/PvString.h"
#include "sdk/base/file_system.h"

namespace vex {

/// What is certain of a file that was stored when power fails.
enum class Durability {
    in_system,  ///< nothing: the system writes it to the disk when it likes
    on_disk,    ///< it, or the older one, is there whole
};

/// Written beside its name and renamed by commit(); destroyed before that, it leaves nothing behind and an older file
/// of the name as it was. A name that is a device or a pipe is written to directly. Every failure carries the name and
/// the system's reason.
class WholeFile {
public:
    WholeFile() = default;
    ~WholeFile();
    WholeFile(const WholeFile&) = delete;
    WholeFile& operator=(const WholeFile&) = delete;

    /// CannotOpenFile when the file cannot be made, or may not be replaced because it is read-only or a folder. Throws
    /// when the name cannot be expressed.
    PvResult open(const PvString& name);
    PvResult write(std::span<const std::uint8_t> bytes);
    /// After a failure nothing is left of the new file.
    PvResult commit(Durability durability = Durability::in_system);

private:
    [[nodiscard]] PvResult system_failure(PvResult::Code code, const char* what, std::error_code error) const;
    [[nodiscard]] bool beside() const noexcept { return written_ != target_; }
    [[nodiscard]] std::error_code create_beside();
    /// Takes the new file away again.
    void discard() noexcept;

    PvString name_;
    file_system::Path target_;
    file_system::Path written_;  // the target itself when it is no ordinary file
    file_system::File file_;
};

/// A whole file of these bytes, with the failures of WholeFile; CannotOpenFile also for a name that the system's file
/// names cannot express.
PvResult write_whole_file(const PvString& name, std::span<const std::uint8_t> bytes,
                          Durability durability = Durability::in_system);

}  // namespace vex
