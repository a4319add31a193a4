// The rows of a list of devices: by interface, filtered and sorted as the user wants, with one of them chosen.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sdk/finder/live_search.h"

namespace vex::finder {

enum class Column { name, model, address, mac, serial_number, state };
inline constexpr int column_count = 6;

/// An interface's heading, or a device under it.
struct Row {
    std::string heading{};                   ///< empty for a device
    std::shared_ptr<const Device> device{};  ///< null for a heading
};

/// What a row says in a column; a device without a name of the user's is named after its model.
[[nodiscard]] std::string cell(const Device& device, Column column);
/// "Available", "Controlled by another application", "Wrong subnet" and the like.
[[nodiscard]] std::string state_text(const Device& device);
/// Everything known of a device, a line for each fact.
[[nodiscard]] std::string details(const Device& device);
/// A free address for a device in the subnet of the interface that found it; empty where the interface has no usable
/// one. `taken` are the addresses of devices that were found. The upper end of the subnet is tried first.
[[nodiscard]] std::string proposed_address(const Interface& interface, const std::vector<std::string>& taken);

/// Thread safety: none.
class DeviceTable {
public:
    /// Whether a device is listed at all.
    using IsListed = std::function<bool(const Device&)>;

    /// What was found last. `is_listed` is asked about each device that is new or says something else than when it was
    /// asked about; after forget_answers() about all.
    void set(std::shared_ptr<const Found> found, const IsListed& is_listed);
    void forget_answers() { answers_.clear(); }
    /// Rows where any column has the text, whatever the case of its letters; all for none.
    void set_filter(std::string_view text);
    /// By a column within each interface; a second time the other way round.
    void sort_by(Column column);
    [[nodiscard]] Column sorted_by() const noexcept { return sorted_by_; }
    [[nodiscard]] bool is_descending() const noexcept { return descending_; }

    [[nodiscard]] const std::vector<Row>& rows() const noexcept { return rows_; }
    [[nodiscard]] std::size_t device_count() const noexcept { return listed_.size(); }
    [[nodiscard]] const Found* found() const noexcept { return found_.get(); }

    /// Chooses the row's device; a heading, and what is no row, chooses none.
    void choose(int row);
    /// What was chosen, as it was found last. It stays chosen while it is filtered out or does not answer.
    [[nodiscard]] std::shared_ptr<const Device> chosen() const noexcept { return chosen_; }
    [[nodiscard]] std::optional<int> chosen_row() const;

private:
    struct Answer {
        Device about;
        bool is_listed = true;
    };

    void arrange();

    std::shared_ptr<const Found> found_;
    std::vector<std::shared_ptr<const Device>> listed_;
    std::map<std::string, Answer> answers_;  ///< by device and interface
    std::string filter_;
    Column sorted_by_ = Column::name;
    bool descending_ = false;
    std::vector<Row> rows_;
    std::shared_ptr<const Device> chosen_;
};

}  // namespace vex::finder
