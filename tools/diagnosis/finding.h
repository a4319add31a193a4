// What a check has found.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace diagnosis {

enum class Verdict : std::uint8_t {
    good,
    look,   ///< it may work, or may not
    wrong,  ///< it does not work like this
};

struct Finding {
    std::string check;  ///< what was looked at: a key of lower case words ("receive_buffers")
    Verdict verdict = Verdict::good;
    std::string text;        ///< what was found, a sentence
    std::string what_to_do;  ///< a sentence; empty when there is nothing to do
};

using Findings = std::vector<Finding>;

[[nodiscard]] constexpr const char* name_of(Verdict verdict) noexcept
{
    switch (verdict) {
    case Verdict::good: return "good";
    case Verdict::look: return "look at this";
    case Verdict::wrong: return "wrong";
    }
    return "";
}

}  // namespace diagnosis
