// A ZIP archive that is made in memory.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace pvctl {

class ZipArchive {
public:
    /// Throws CommandFailure when there is no memory.
    ZipArchive();
    ~ZipArchive();
    ZipArchive(const ZipArchive&) = delete;
    ZipArchive& operator=(const ZipArchive&) = delete;

    /// A file of this name and contents, in the order of the calls. Throws CommandFailure.
    void add(const std::string& name, std::string_view contents);
    /// The archive's bytes; nothing can be added afterwards. Throws CommandFailure.
    [[nodiscard]] std::string finish();

    struct Memory {
        std::string bytes;
        std::size_t position = 0;
    };

private:
    Memory memory_;
    void* zip_ = nullptr;
};

}  // namespace pvctl
