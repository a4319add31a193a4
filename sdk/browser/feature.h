// What a browser knows of a feature without asking the device.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "sdk/genapi/types.h"
#include "sdk/genicam/PvGenTypes.h"

class PvGenParameter;
class PvGenParameterArray;

namespace GenApi {
class INode;
}

namespace vex::browser {

/// Texts are UTF-8.
struct Feature {
    PvGenParameter* parameter = nullptr;  ///< to be used behind the array's gate only
    PvGenType type = PvGenTypeUndefined;
    std::string name{};
    std::string display_name{};
    std::string tool_tip{};
    std::string description{};
    std::string unit{};
    PvGenVisibility visibility = PvGenVisibilityBeginner;
    PvGenNameSpace name_space = PvGenNameSpaceStandard;
    GenApi::Representation representation = GenApi::Representation::pure_number;
    GenApi::DisplayNotation notation = GenApi::DisplayNotation::automatic;
    int precision = 6;
    std::int64_t polling_time = -1;        ///< milliseconds; -1 when it is not polled
    std::vector<std::string> selected{};   ///< the names of those that it selects
    std::vector<std::string> selecting{};  ///< the names of its selectors
};

/// A heading, and what stands under it in the order of the description.
struct Category {
    struct Item {
        std::shared_ptr<const Feature> feature{};    ///< null for a category
        std::shared_ptr<const Category> category{};  ///< null for a feature
    };

    std::string name{};
    std::string display_name{};
    std::string tool_tip{};
    std::string description{};
    PvGenVisibility visibility = PvGenVisibilityBeginner;
    PvGenNameSpace name_space = PvGenNameSpaceStandard;
    std::vector<Item> items{};
};

/// Everything under the description's first category. A category stands where it is met first only, a feature wherever
/// it is listed; at most 64 categories stand in one another. Null for an array without features. To be called behind
/// the array's gate; asks nothing of the device.
[[nodiscard]] std::shared_ptr<const Category> features_of(const PvGenParameterArray& array);

}  // namespace vex::browser
