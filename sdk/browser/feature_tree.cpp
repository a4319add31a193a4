#include "sdk/browser/feature_tree.h"

#include <algorithm>
#include <utility>

#include "sdk/genicam/array_gate.h"

namespace vex::browser {

namespace {

char lower(char c) noexcept { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

std::string lower_case(std::string_view text)
{
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), lower);
    return result;
}

bool has(std::string_view text, const std::string& lower_part)
{
    return lower_case(text).find(lower_part) != std::string::npos;
}

/// What of the rows can be chosen: a category or a feature, by name, and under which category it stands.
struct Choice {
    bool is_category = false;
    std::string name;
    std::string parent;

    friend bool operator==(const Choice&, const Choice&) = default;
};

}  // namespace

struct FeatureTree::State {
    IsDisplayed is_displayed;
    std::shared_ptr<const Category> features;
    std::shared_ptr<genicam::ArrayGate> gate;
    PvGenVisibility visibility = PvGenVisibilityBeginner;
    Order order = Order::tree;
    std::string filter;
    std::string lower_filter;
    std::set<std::string> collapsed;
    std::uint64_t epoch = 0;  ///< counts the questions, so that an outdated one is known
    std::set<const Feature*> displayed;
    std::set<const Category*> displayed_categories;
    std::vector<Row> rows;
    std::optional<Choice> chosen;

    struct Answers {
        std::set<const Feature*> asked;
        std::set<const Feature*> features;
        std::set<const Category*> categories;
    };

    bool ask(const Category& category, const genicam::ArrayVisit& visit, std::uint64_t asked_at, Answers& answers);
    void arrange();
    void add_items(const Category& category, int depth, bool all);
    void add_sorted();
    [[nodiscard]] bool is_match(const Feature& feature) const;
    [[nodiscard]] Choice choice_of(std::size_t row) const;
    [[nodiscard]] std::optional<std::size_t> parent_of(std::size_t row) const;
};

/// False when the question is outdated.
bool FeatureTree::State::ask(const Category& category, const genicam::ArrayVisit& visit, std::uint64_t asked_at,
                             Answers& answers)
{
    for (const Category::Item& item : category.items) {
        const PvGenVisibility needed = item.feature != nullptr ? item.feature->visibility : item.category->visibility;
        if (item.feature != nullptr && (needed > visibility || !answers.asked.insert(item.feature.get()).second)) {
            continue;
        }
        if (item.feature != nullptr || needed <= visibility) {
            const bool is_shown = is_displayed(item.feature != nullptr ? item.feature->parameter : nullptr);
            if (epoch != asked_at || !visit.goes_on()) {
                return false;
            }
            if (is_shown && item.feature != nullptr) {
                answers.features.insert(item.feature.get());
            } else if (is_shown) {
                answers.categories.insert(item.category.get());
            }
        }
        // a category above the visibility hides what stands in it
        if (item.category != nullptr && needed <= visibility && !ask(*item.category, visit, asked_at, answers)) {
            return false;
        }
    }
    return true;
}

bool FeatureTree::State::is_match(const Feature& feature) const
{
    return has(feature.display_name, lower_filter) || has(feature.name, lower_filter) ||
           (!feature.unit.empty() && has(feature.unit, lower_filter));
}

/// Adds rows for what is displayed; `all`: whatever the filter says, because it fits a category above.
void FeatureTree::State::add_items(const Category& category, int depth, bool all)
{
    for (const Category::Item& item : category.items) {
        if (item.feature != nullptr) {
            if (displayed.contains(item.feature.get()) && (all || is_match(*item.feature))) {
                rows.push_back({.depth = depth, .feature = item.feature});
            }
            continue;
        }
        if (!displayed_categories.contains(item.category.get())) {
            if (item.category->visibility <= visibility) {
                add_items(*item.category, depth, all);
            }
            continue;
        }
        const bool fits = all || has(item.category->display_name, lower_filter);
        const std::size_t heading = rows.size();
        const bool is_open = !lower_filter.empty() || !collapsed.contains(item.category->name);
        rows.push_back({.depth = depth, .is_expanded = is_open, .category = item.category});
        add_items(*item.category, depth + 1, fits);
        const bool is_empty = rows.size() == heading + 1;
        if (is_empty || !is_open) {
            rows.resize(is_empty ? heading : heading + 1);
        }
    }
}

void FeatureTree::State::add_sorted()
{
    std::vector<std::pair<std::string, Row>> sorted;
    std::set<const Feature*> listed;
    const std::set<std::string> closed = std::exchange(collapsed, {});
    add_items(*features, 0, lower_filter.empty());
    collapsed = closed;
    for (const Row& row : rows) {
        if (row.feature != nullptr && listed.insert(row.feature.get()).second) {
            sorted.emplace_back(lower_case(row.feature->display_name), Row{.feature = row.feature});
        }
    }
    std::stable_sort(sorted.begin(), sorted.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    rows.clear();
    for (auto& [key, row] : sorted) {
        rows.push_back(std::move(row));
    }
}

void FeatureTree::State::arrange()
{
    rows.clear();
    if (features == nullptr) {
        return;
    }
    if (order == Order::tree) {
        add_items(*features, 0, lower_filter.empty());
    } else {
        add_sorted();
    }
}

std::optional<std::size_t> FeatureTree::State::parent_of(std::size_t row) const
{
    if (row < rows.size()) {
        for (std::size_t above = row; above-- > 0;) {
            if (rows[above].depth < rows[row].depth) {
                return above;
            }
        }
    }
    return std::nullopt;
}

Choice FeatureTree::State::choice_of(std::size_t row) const
{
    const auto above = parent_of(row);
    const Row& its = rows[row];
    return {.is_category = its.category != nullptr,
            .name = its.category != nullptr ? its.category->name : its.feature->name,
            .parent = above ? rows[*above].category->name : std::string()};
}

FeatureTree::FeatureTree(IsDisplayed is_displayed) : state_(std::make_shared<State>())
{
    state_->is_displayed = std::move(is_displayed);
}

FeatureTree::~FeatureTree() { ++state_->epoch; }

bool FeatureTree::set(std::shared_ptr<const Category> features, std::shared_ptr<genicam::ArrayGate> gate)
{
    state_->features = std::move(features);
    state_->gate = std::move(gate);
    // nothing of another array is shown meanwhile, nor when it has gone already
    state_->displayed.clear();
    state_->displayed_categories.clear();
    state_->rows.clear();
    return reload();
}

bool FeatureTree::set_visibility(PvGenVisibility visibility)
{
    state_->visibility = visibility;
    return reload();
}

bool FeatureTree::reload()
{
    const std::shared_ptr<State> state = state_;  // the tree itself may go
    const std::uint64_t epoch = ++state->epoch;
    const std::shared_ptr<const Category> features = state->features;
    State::Answers answers;
    if (features != nullptr) {
        const genicam::ArrayVisit visit(state->gate);
        if (!visit || !state->ask(*features, visit, epoch, answers)) {
            return false;
        }
    }
    state->displayed = std::move(answers.features);
    state->displayed_categories = std::move(answers.categories);
    state->arrange();
    return true;
}

PvGenVisibility FeatureTree::visibility() const noexcept { return state_->visibility; }

void FeatureTree::set_order(Order order)
{
    state_->order = order;
    state_->arrange();
}

Order FeatureTree::order() const noexcept { return state_->order; }

void FeatureTree::set_filter(std::string_view text)
{
    state_->filter = text;
    state_->lower_filter = lower_case(text);
    state_->arrange();
}

const std::string& FeatureTree::filter() const noexcept { return state_->filter; }

void FeatureTree::expand(std::size_t row, bool expanded)
{
    if (row >= state_->rows.size() || state_->rows[row].category == nullptr) {
        return;
    }
    const std::string name = state_->rows[row].category->name;
    if (expanded) {
        state_->collapsed.erase(name);
    } else {
        state_->collapsed.insert(name);
    }
    state_->arrange();
}

const std::set<std::string>& FeatureTree::collapsed() const noexcept { return state_->collapsed; }

void FeatureTree::set_collapsed(std::set<std::string> names)
{
    state_->collapsed = std::move(names);
    state_->arrange();
}

const std::vector<Row>& FeatureTree::rows() const noexcept { return state_->rows; }

std::size_t FeatureTree::displayed_count() const noexcept { return state_->displayed.size(); }

std::optional<std::size_t> FeatureTree::parent_of(std::size_t row) const { return state_->parent_of(row); }

void FeatureTree::choose(std::optional<std::size_t> row)
{
    state_->chosen.reset();
    if (row && *row < state_->rows.size()) {
        state_->chosen = state_->choice_of(*row);
    }
}

std::optional<std::size_t> FeatureTree::chosen_row() const
{
    std::optional<std::size_t> elsewhere;
    for (std::size_t index = 0; state_->chosen && index < state_->rows.size(); ++index) {
        const Row& row = state_->rows[index];
        const std::string& name = row.category != nullptr ? row.category->name : row.feature->name;
        if (name != state_->chosen->name || (row.category != nullptr) != state_->chosen->is_category) {
            continue;
        }
        if (state_->choice_of(index) == *state_->chosen) {
            return index;
        }
        // the same feature under another heading, as in the other order
        elsewhere = elsewhere.value_or(index);
    }
    return elsewhere;
}

}  // namespace vex::browser
