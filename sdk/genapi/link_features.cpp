// Loading, fifth step: categories become a tree, and features get their order and what they inherit.

#include "sdk/genapi/linking.h"

namespace GenApi {

namespace {

class FeatureLinker {
public:
    explicit FeatureLinker(Loading& loading)
        : loading_(loading), model_(loading.model), seen_(loading.model.node_count, false)
    {}

    void run()
    {
        model_.root = model_.find("Root");
        if (model_.root != no_node && model_.nodes[model_.root].kind != Kind::category) {
            model_.root = no_node;
        }
        if (model_.root == no_node) {
            loading_.note("", 0, "there is no category Root: no node is a feature");
        } else {
            walk(model_.root, true);
        }
        for (NodeIndex index = 0; index < model_.node_count; ++index) {
            if (model_.nodes[index].kind == Kind::category && !seen_[index]) {
                walk(index, false);
            }
        }
        for (INode* feature : model_.features) {
            inherit(static_cast<Node&>(*feature));
        }
    }

private:
    struct Step {
        NodeIndex category;
        std::uint32_t next = 0;
        std::uint32_t kept = 0;
    };

    void walk(NodeIndex start, bool from_root)
    {
        std::vector<Step> path;
        seen_[start] = true;
        path.push_back({.category = start});
        while (!path.empty()) {
            Step& step = path.back();
            Range& features = model_.categories[model_.nodes[step.category].data].features;
            if (step.next == features.count) {
                features.count = step.kept;
                path.pop_back();
                continue;
            }
            Node& node = model_.nodes[model_.lists[features.begin + step.next++]];
            if (seen_[node.index] && node.kind == Kind::category) {
                // a second way into a category, perhaps a circle: whoever walks the tree must come to an end
                loading_.note(model_.nodes[step.category].text_name, 0,
                              "lists the category " + std::string(node.text_name) + ", which is listed already");
                continue;
            }
            model_.lists[features.begin + step.kept++] = node.index;
            if (seen_[node.index]) {
                continue;
            }
            if (node.kind != Kind::category && !from_root) {
                continue;
            }
            seen_[node.index] = true;
            node.parent = step.category;
            if (node.kind == Kind::category) {
                if (from_root) {
                    model_.feature_categories.push_back(&node);
                }
                path.push_back({.category = node.index});
            } else {
                model_.features.push_back(&node);
            }
        }
    }

    /// A feature without a representation or unit of its own is shown like the node that has its value.
    void inherit(Node& feature)
    {
        std::string_view unit = unit_of(feature);
        const Node* node = &feature;
        for (std::uint32_t steps = 0; steps < longest_chain; ++steps) {
            const NodeIndex next = value_node(model_, *node);
            if (next == no_node || (feature.has_representation && !unit.empty())) {
                break;
            }
            node = &model_.nodes[next];
            if (!feature.has_representation && node->has_representation) {
                feature.shown_as = node->shown_as;
                feature.has_representation = true;
            }
            if (unit.empty() && !unit_of(*node).empty()) {
                unit = unit_of(*node);
                set_unit(feature, unit);
            }
        }
    }

    [[nodiscard]] std::string_view unit_of(const Node& node) const { return model_.texts[node.texts].unit; }

    void set_unit(Node& feature, std::string_view unit)
    {
        if (feature.texts == 0) {
            feature.texts = static_cast<std::uint32_t>(model_.texts.size());
            model_.texts.emplace_back();
        }
        model_.texts[feature.texts].unit = unit;
    }

    Loading& loading_;
    Model& model_;
    std::vector<bool> seen_;
};

}  // namespace

void link_features(Loading& loading) { FeatureLinker(loading).run(); }

}  // namespace GenApi
