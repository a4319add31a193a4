// A camera's features by category, as its description arranges them.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "sdk/genicam/PvGenParameterArray.h"
#include "tools/pvctl/json_output.h"

namespace pvctl {

/// Categories without a feature that is visible at the level are left out. Reads values when text or JSON is made; a
/// feature that cannot be read has none.
///
/// The array must outlive the tree.
class FeatureTree {
public:
    /// `category`: the one to begin with; all when empty. Throws CommandFailure (not_found) when there is no such.
    FeatureTree(const PvGenParameterArray& features, PvGenVisibility visibility, const std::string& category);

    /// A table with a row for each category and feature, of this width if possible.
    [[nodiscard]] std::string text(std::size_t width) const;
    /// Objects in objects: categories by name, in them features and categories by name.
    [[nodiscard]] Json json() const;

private:
    struct Row {
        std::size_t depth;
        std::string name;
        const PvGenParameter* feature;  ///< null for a category
    };

    /// False when nothing was added.
    bool add_category(const PvGenParameterArray& features, PvGenVisibility visibility, GenApi::INode& node,
                      std::size_t depth);

    std::vector<Row> rows_;
    std::vector<const GenApi::INode*> above_;  ///< while rows are added: against categories that contain themselves
};

}  // namespace pvctl
