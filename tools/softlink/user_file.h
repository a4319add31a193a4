// The file of the simulated camera, as its file access registers work on it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace softlink {

/// A file that may hold anything. What is written counts from closing on.
///
/// Thread safety: none.
class UserFile {
public:
    static constexpr std::size_t largest = 16'384;  ///< bytes

    enum class Operation : std::uint32_t { open, close, read, write };
    enum class Mode : std::uint32_t { read, write };
    enum class Status : std::uint32_t { success, failure, overflow };

    /// What the registers ask for.
    struct Request {
        Operation operation{};
        Mode mode{};
        std::size_t offset = 0;
        std::size_t length = 0;
    };
    struct Done {
        Status status = Status::success;
        std::size_t transferred = 0;  ///< bytes
    };

    /// Reads into `buffer`, or writes what is in it.
    [[nodiscard]] Done perform(const Request& request, std::span<std::uint8_t> buffer);

    /// Of what is open, else of what is kept; bytes.
    [[nodiscard]] std::size_t size() const noexcept { return (is_open_ ? open_ : kept_).size(); }

private:
    [[nodiscard]] Done read(const Request& request, std::span<std::uint8_t> buffer) const;
    [[nodiscard]] Done write(const Request& request, std::span<const std::uint8_t> buffer);

    std::vector<std::uint8_t> kept_;
    std::vector<std::uint8_t> open_;
    bool is_open_ = false;
    Mode mode_{};
};

}  // namespace softlink
