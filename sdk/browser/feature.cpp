#include "sdk/browser/feature.h"

#include <map>
#include <set>
#include <utility>

#include "sdk/genapi/node_map.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/genicam/results.h"

namespace vex::browser {

namespace {

/// Categories in categories; what stands deeper is not shown, and takes no stack.
constexpr int deepest = 64;

class Collector {
public:
    explicit Collector(const PvGenParameterArray& array) : array_(array) {}

    std::shared_ptr<const Category> category(const GenApi::INode& node, int depth)
    {
        auto made = std::make_shared<Category>();
        made->name = node.name();
        made->display_name = node.display_name();
        made->tool_tip = node.tool_tip();
        made->description = node.description();
        made->visibility = genicam::visibility_of(node.visibility());
        made->name_space = genicam::name_space_of(node.name_space());
        met_.insert(&node);
        for (const GenApi::INode* const child : node.children()) {
            if (child->type() != GenApi::InterfaceType::category) {
                if (auto found = feature(*child)) {
                    made->items.push_back({.feature = std::move(found)});
                }
            } else if (depth < deepest && !met_.contains(child)) {
                made->items.push_back({.category = category(*child, depth + 1)});
            }
        }
        return made;
    }

private:
    /// Null for a node that is no parameter.
    std::shared_ptr<const Feature> feature(const GenApi::INode& node)
    {
        PvGenParameter* const parameter = array_.Get(PvString(node.name()));
        if (parameter == nullptr) {
            return nullptr;
        }
        std::shared_ptr<const Feature>& known = features_[&node];
        if (known == nullptr) {
            auto made = std::make_shared<Feature>();
            made->parameter = parameter;
            static_cast<void>(parameter->GetType(made->type));
            made->name = node.name();
            made->display_name = node.display_name();
            made->tool_tip = node.tool_tip();
            made->description = node.description();
            made->unit = node.unit();
            made->visibility = genicam::visibility_of(node.visibility());
            made->name_space = genicam::name_space_of(node.name_space());
            made->representation = node.representation();
            made->notation = node.display_notation();
            made->precision = node.display_precision();
            made->polling_time = node.polling_time();
            made->selected = names_of(node.selected());
            made->selecting = names_of(node.selecting());
            known = std::move(made);
        }
        return known;
    }

    /// A description may relate features to nodes that are none.
    [[nodiscard]] std::vector<std::string> names_of(const std::vector<GenApi::INode*>& nodes) const
    {
        std::vector<std::string> names;
        for (const GenApi::INode* const node : nodes) {
            if (array_.Get(PvString(node->name())) != nullptr) {
                names.emplace_back(node->name());
            }
        }
        return names;
    }

    const PvGenParameterArray& array_;
    std::map<const GenApi::INode*, std::shared_ptr<const Feature>> features_;
    std::set<const GenApi::INode*> met_;  ///< categories
};

}  // namespace

std::shared_ptr<const Category> features_of(const PvGenParameterArray& array)
{
    GenApi::INodeMap* const node_map = array.GetNodeMap();
    const GenApi::INode* const root = node_map != nullptr ? node_map->node("Root") : nullptr;
    if (root == nullptr || root->type() != GenApi::InterfaceType::category) {
        return nullptr;
    }
    return Collector(array).category(*root, 0);
}

}  // namespace vex::browser
