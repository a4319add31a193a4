// Reads and writes features for a window, which never waits for the device.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "sdk/base/PvResult.h"
#include "sdk/browser/feature.h"

namespace vex::genicam {
class ArrayGate;
}

namespace vex::browser {

/// What a feature was like when it was read last. Texts are UTF-8.
struct Reading {
    GenApi::AccessMode access = GenApi::AccessMode::not_available;
    bool is_locked = false;  ///< it could be written if no acquisition ran
    std::string text{};      ///< the value as a browser shows it; empty for commands and what cannot be read
    std::string failure{};   ///< why there is no value; empty where there is one, or none is wanted
    std::int64_t integer = 0;
    std::int64_t min = 0;
    std::int64_t max = 0;
    std::int64_t increment = 1;
    std::vector<std::int64_t> valid_values{};  ///< of an integer that takes no others
    double number = 0;                         ///< of a float
    double least = 0;
    double most = 0;
    bool is_on = false;                  ///< of a boolean
    bool is_executing = false;           ///< of a command
    std::int64_t length = 0;             ///< of a register, and the longest of a string; in bytes
    std::vector<std::uint8_t> bytes{};   ///< of a register: the first; see FeatureReader::show
    std::vector<std::string> entries{};  ///< the names of an enumeration's entries that are available

    friend bool operator==(const Reading&, const Reading&) = default;

    /// There is more of the register to be read than was read.
    [[nodiscard]] bool is_part() const noexcept
    {
        return !bytes.empty() && static_cast<std::int64_t>(bytes.size()) < std::min(length, most_bytes);
    }

    static constexpr std::int64_t seen_bytes = 64;  ///< of a register among others
    static constexpr std::int64_t most_bytes = 65536;
};

/// The text that an editor begins with: all digits of a number, and what is read of a register.
[[nodiscard]] std::string editable_text(const Feature& feature, const Reading& reading);

/// How an edit ended.
struct Outcome {
    std::uint64_t edit = 0;  ///< as set() and execute() gave it
    PvResult result{};       ///< with the text to be shown when it was refused
};

/// Reads the features that are visible on a thread of its own: at first, when they change, and as often as they want to
/// be polled. Never reads what can only be written, nor the values of commands, except for whether one that was
/// executed here is done. Values of features that are not visible are not read.
///
/// Survives the loss of the device, which features then tell by their access, and of the array, after which nothing is
/// told any more.
///
/// Thread safety: from one thread at a time, not from within the listener.
class FeatureReader {
public:
    using Features = std::vector<std::shared_ptr<const Feature>>;
    /// Called on the reader's thread; must not wait for the thread that uses the reader, nor throw.
    struct Listener {
        /// A feature was read for the first time, or is not what it was.
        std::function<void(std::shared_ptr<const Feature>, Reading)> read;
        std::function<void(std::shared_ptr<const Feature>, Outcome)> edited;
    };

    /// `gate` is that of the array that the features belong to.
    FeatureReader(std::shared_ptr<genicam::ArrayGate> gate, Listener listener);
    FeatureReader(const FeatureReader&) = delete;
    FeatureReader& operator=(const FeatureReader&) = delete;
    /// Edits that have not begun are dropped. The listener is not called any more once this returns. An operation under
    /// way is not waited for: it goes on behind the array's gate, and the thread ends after it.
    ~FeatureReader();

    /// The features to be kept up to date from now on. Those that were visible before and have not changed since are
    /// not read again. Of registers the first seen_bytes are read, of the chosen one most_bytes; `chosen` is one of
    /// the visible, or null.
    void show(Features visible, std::shared_ptr<const Feature> chosen = nullptr);
    /// Forgets what the array has cached, and reads all visible features again.
    void refresh();
    /// Writes a value given as text: integers in any notation, entries by name, booleans as 0 and 1, registers as
    /// hexadecimal digits. The number of the edit, from 1.
    std::uint64_t set(std::shared_ptr<const Feature> feature, std::string text);
    std::uint64_t execute(std::shared_ptr<const Feature> command);

private:
    class Shared;

    const std::shared_ptr<Shared> shared_;
};

}  // namespace vex::browser
