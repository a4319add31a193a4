// The files of the camera: two user sets, a look-up table, the firmware and a file for whatever its user likes, through
// the file access registers.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "sdk/net/clock.h"
#include "sdk/virtualdevice/register_map.h"

namespace softcam {

/// What goes wrong with files.
struct FileFaults {
    std::chrono::milliseconds time{0};  ///< that each operation takes; the camera refuses others meanwhile
    std::int64_t fails_after = -1;      ///< bytes of a file that can be transferred until it fails; -1: it never does
};

enum class FileName : std::uint32_t { user_set_1, user_set_2, look_up_table, firmware, user_file };
inline constexpr std::size_t file_count = 5;

/// A firmware image that the camera takes, with the version that it then tells, at most 31 characters.
[[nodiscard]] std::vector<std::uint8_t> firmware_image(const std::string& version, std::size_t size);

/// The camera's side of the file access features, as strict as hardware: what was written counts from closing on, and
/// only when it is a whole and sound file of its kind; else the older one stays. The user's file may hold anything.
/// Firmware can only be written, and runs from the next restart on.
///
/// Thread safety: everything happens with the responder's lock held.
class Files {
public:
    using Bytes = std::vector<std::uint8_t>;
    /// How a user set becomes a file and back; false for bytes that are none.
    struct UserSets {
        std::function<Bytes(std::uint32_t set)> get;
        std::function<bool(std::uint32_t set, std::span<const std::uint8_t>)> put;
    };

    /// Adds the registers. `clock` and `map` must outlive the object, and the object the map's last use.
    Files(vex::virtual_device::RegisterMap& map, UserSets user_sets, const vex::net::Clock& clock);
    Files(const Files&) = delete;
    Files& operator=(const Files&) = delete;

    void set_faults(const FileFaults& faults) { faults_ = faults; }
    /// Nobody has control any more: what was being written is lost.
    void close_all();
    /// Runs the firmware that was loaded. Other files are as they were.
    void power_on();

private:
    enum class Operation : std::uint32_t { open, close, read, write };
    enum class Outcome : std::uint32_t { success, failure, overflow };
    struct File {
        Bytes content;  ///< of what is open
        bool open = false;
        bool writing = false;
        std::int64_t transferred = 0;  ///< since it was opened
        Outcome status = Outcome::success;
        std::uint32_t result = 0;
    };

    void add_setting(std::uint32_t address, std::uint32_t largest);
    void add_fact(std::uint32_t address, std::function<std::uint32_t()> value);
    [[nodiscard]] bool is_busy() const;
    [[nodiscard]] File& selected();
    [[nodiscard]] FileName selected_name() const;
    void execute();
    [[nodiscard]] Outcome run(File& file, Operation operation);
    [[nodiscard]] Outcome open(File& file);
    [[nodiscard]] Outcome close(File& file);
    [[nodiscard]] Outcome read(File& file);
    [[nodiscard]] Outcome write(File& file);
    [[nodiscard]] bool fails(File& file, std::size_t count) const;
    [[nodiscard]] Bytes stored(FileName name) const;
    [[nodiscard]] bool store(FileName name, const Bytes& content);

    vex::virtual_device::RegisterMap& map_;
    UserSets user_sets_;
    const vex::net::Clock& clock_;
    FileFaults faults_;
    std::array<File, file_count> files_;
    Bytes look_up_table_;
    Bytes firmware_;
    Bytes user_file_;
    vex::net::Clock::time_point busy_until_{};
};

}  // namespace softcam
