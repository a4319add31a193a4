#include "tools/softcam/description.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <string_view>

#include "tools/softcam/description_template.h"
#include "tools/softcam/registers.h"

namespace softcam {

namespace {

/// The address of "name", or of "name+0x10" in a block of registers.
std::string address_text(std::string_view place)
{
    const std::size_t plus = std::min(place.find('+'), place.size());
    const std::string_view name = place.substr(0, plus);
    const auto found = std::ranges::find(reg::all, name, &reg::Named::name);
    if (found == reg::all.end()) {
        throw std::logic_error("the description names an unknown register: " + std::string(name));
    }
    const unsigned long offset = plus < place.size() ? std::stoul(std::string(place.substr(plus + 1)), nullptr, 0) : 0;
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(found->address + offset));
    return text;
}

}  // namespace

std::string description_xml()
{
    std::string text;
    for (const std::string_view piece : description_template) {
        text += piece;
    }
    std::string result;
    result.reserve(text.size() + text.size() / 8);
    std::size_t at = 0;
    for (std::size_t begin = text.find('@'); begin != std::string::npos; begin = text.find('@', at)) {
        const std::size_t end = text.find('@', begin + 1);
        if (end == std::string::npos) {
            throw std::logic_error("the description has an unpaired @");
        }
        result.append(text, at, begin - at);
        result += address_text(std::string_view(text).substr(begin + 1, end - begin - 1));
        at = end + 1;
    }
    return result.append(text, at);
}

}  // namespace softcam
