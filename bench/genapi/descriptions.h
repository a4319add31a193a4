// The descriptions that loading is measured with.
#pragma once

#include <string>
#include <vector>

namespace bench {

struct Description {
    std::string name;
    std::string xml;
};

/// Every .xml and .zip file of the folder that VEX_CAMERA_XML names; where there is none, three generated ones in the
/// proportions of real cameras' descriptions.
[[nodiscard]] std::vector<Description> descriptions();

/// One of these, with so many features.
[[nodiscard]] Description generated(int features);

}  // namespace bench
