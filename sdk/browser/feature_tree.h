// The rows of a browser: categories and features, as the user wants to see them.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "sdk/browser/feature.h"

namespace vex::genicam {
class ArrayGate;
}

namespace vex::browser {

enum class Order { tree, alphabetical };

/// A category's heading or a feature.
struct Row {
    int depth = 0;                               ///< 0 for the outermost
    bool is_expanded = false;                    ///< of a category
    std::shared_ptr<const Feature> feature{};    ///< null for a category
    std::shared_ptr<const Category> category{};  ///< null for a feature
};

/// Which features of an array are shown, and in which order.
///
/// What is displayed at all is asked of a callback: about each feature that the visibility lets through, and with null
/// about each category. It is asked when an array is set, when the visibility changes and at reload(), and not when
/// only the arrangement changes. The features of a category that is not displayed stand a level higher.
///
/// The callback may call the tree again, also to set another array, and may destroy the tree: the question under way is
/// given up then, and what came later counts.
///
/// Thread safety: none.
class FeatureTree {
public:
    using IsDisplayed = std::function<bool(PvGenParameter*)>;

    explicit FeatureTree(IsDisplayed is_displayed);
    FeatureTree(const FeatureTree&) = delete;
    FeatureTree& operator=(const FeatureTree&) = delete;
    ~FeatureTree();

    /// Each of these three is true when its own rows are there; false when the callback changed the array or the
    /// visibility meanwhile, or when the tree or the array may be gone.
    /// Null for no features; what was expanded and chosen is found again by name.
    bool set(std::shared_ptr<const Category> features, std::shared_ptr<genicam::ArrayGate> gate);
    /// Beginner to Invisible.
    bool set_visibility(PvGenVisibility visibility);
    bool reload();
    [[nodiscard]] PvGenVisibility visibility() const noexcept;

    void set_order(Order order);
    [[nodiscard]] Order order() const noexcept;
    /// Features whose name, display name or unit has the text, whatever the case of its letters, and those of
    /// categories that have it; all for none. While it is set all categories are open.
    void set_filter(std::string_view text);
    [[nodiscard]] const std::string& filter() const noexcept;

    /// Nothing happens to a row that is no category.
    void expand(std::size_t row, bool expanded);
    /// The names of categories that are closed; those of other arrays are kept.
    [[nodiscard]] const std::set<std::string>& collapsed() const noexcept;
    void set_collapsed(std::set<std::string> names);

    [[nodiscard]] const std::vector<Row>& rows() const noexcept;
    /// Of features, each once.
    [[nodiscard]] std::size_t displayed_count() const noexcept;
    /// The row above that this one stands under; nothing for an outermost one.
    [[nodiscard]] std::optional<std::size_t> parent_of(std::size_t row) const;

    /// Chooses what the row shows; what is no row chooses nothing. It stays chosen while it is not shown.
    void choose(std::optional<std::size_t> row);
    [[nodiscard]] std::optional<std::size_t> chosen_row() const;

private:
    struct State;

    const std::shared_ptr<State> state_;
};

}  // namespace vex::browser
