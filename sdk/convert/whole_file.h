// A file that appears under its name only when it is whole.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <span>

#include "sdk/base/PvResult.h"
#include "sdk/base/PvString.h"

namespace convert {

/// Written beside its name and renamed by commit(); destroyed before that, it leaves nothing behind and an older file
/// of the name as it was. A name that is a device or a pipe is written to directly. Every failure carries the system's
/// reason.
class WholeFile {
public:
    WholeFile() = default;
    ~WholeFile();
    WholeFile(const WholeFile&) = delete;
    WholeFile& operator=(const WholeFile&) = delete;

    /// CannotOpenFile when the file cannot be made, or may not be replaced because it is read-only or a folder.
    PvResult open(const PvString& name);
    PvResult write(std::span<const std::uint8_t> bytes);
    PvResult commit();

private:
    [[nodiscard]] PvResult system_failure(PvResult::Code code, const char* what, int error) const;

    std::filesystem::path target_;
    std::filesystem::path written_;  // the target itself when it is no ordinary file
    std::FILE* file_ = nullptr;
};

}  // namespace convert
