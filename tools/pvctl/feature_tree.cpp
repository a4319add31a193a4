#include "tools/pvctl/feature_tree.h"

#include <algorithm>

#include "sdk/genapi/node_map.h"
#include "tools/pvctl/failure.h"
#include "tools/pvctl/features.h"
#include "tools/pvctl/text_table.h"

namespace pvctl {

namespace {

constexpr std::size_t least_value_width = 12;
constexpr std::int64_t longest_shown = 256;  // bytes of a register

/// What the table shows for a feature's value.
std::string shown_value(const PvGenParameter& feature)
{
    if (dynamic_cast<const PvGenCommand*>(&feature) != nullptr) {
        return "(command)";
    }
    std::int64_t length = 0;
    const auto* const block = dynamic_cast<const PvGenRegister*>(&feature);
    if (block != nullptr && block->GetLength(length).IsOK() && length > longest_shown) {
        return "(" + std::to_string(length) + " bytes)";
    }
    std::string value;
    const PvResult result = value_of(feature, value);
    return result.IsOK() ? with_unit(feature, value) : "(cannot be read)";
}

}  // namespace

FeatureTree::FeatureTree(const PvGenParameterArray& features, PvGenVisibility visibility, const std::string& category)
{
    GenApi::INode* const top = features.GetNodeMap()->node(category.empty() ? "Root" : category);
    if (top == nullptr || top->type() != GenApi::InterfaceType::category) {
        std::string names;
        for (std::uint32_t i = 0; i < features.GetCategoryCount(); ++i) {
            PvString name;
            features.GetCategory(i)->GetName(name);
            names += (i == 0 ? "" : ", ") + name.str();
        }
        throw CommandFailure("The camera has no category \"" + category + "\"; it has " + names, exit_code::not_found);
    }
    if (category.empty()) {
        for (GenApi::INode* child : top->children()) {
            if (child->type() == GenApi::InterfaceType::category) {
                add_category(features, visibility, *child, 0);
            }
        }
    } else {
        add_category(features, visibility, *top, 0);
    }
}

bool FeatureTree::add_category(const PvGenParameterArray& features, PvGenVisibility visibility, GenApi::INode& node,
                               std::size_t depth)
{
    if (std::ranges::find(above_, &node) != above_.end()) {
        return false;
    }
    const std::size_t begin = rows_.size();
    rows_.push_back({depth, std::string(node.name()), nullptr});
    above_.push_back(&node);
    bool has_features = false;
    for (GenApi::INode* child : node.children()) {
        if (child->type() == GenApi::InterfaceType::category) {
            has_features |= add_category(features, visibility, *child, depth + 1);
            continue;
        }
        const PvGenParameter* feature = features.Get(PvString(child->name()));
        if (feature != nullptr && feature->IsVisible(visibility)) {
            rows_.push_back({depth + 1, std::string(child->name()), feature});
            has_features = true;
        }
    }
    above_.pop_back();
    if (!has_features) {
        rows_.resize(begin);
    }
    return has_features;
}

std::string FeatureTree::text(std::size_t width) const
{
    TextTable table({"FEATURE", "VALUE", "ACCESS"});
    table.may_cut(1, least_value_width);
    for (const Row& row : rows_) {
        const std::string name = std::string(2 * row.depth, ' ') + row.name;
        if (row.feature == nullptr) {
            table.add({name, "", ""});
        } else {
            table.add({name, shown_value(*row.feature), access_of(*row.feature)});
        }
    }
    return table.text(width);
}

Json FeatureTree::json() const
{
    Json all = Json::object();
    std::vector<Json*> above = {&all};
    for (const Row& row : rows_) {
        above.resize(row.depth + 1);
        Json& entry = (*above.back())[row.name];
        if (row.feature == nullptr) {
            entry = Json::object();
            above.push_back(&entry);
        } else {
            entry = json_of(*row.feature);
        }
    }
    return all;
}

}  // namespace pvctl
