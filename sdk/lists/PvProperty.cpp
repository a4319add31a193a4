#include "sdk/lists/PvProperty.h"

#include "sdk/base/failure.h"
#include "sdk/base/numbers.h"

using namespace vex;

namespace {

/// A negative number from text without a minus is a decimal from 2^63 on: only hexadecimal digits are taken as bits.
bool is_beyond_signed(std::int64_t number, std::string_view text) noexcept
{
    return number < 0 && text.find_first_of("-xX") == std::string_view::npos;
}

}  // namespace

PvResult PvProperty::unreadable(std::string_view wanted) const noexcept
{
    return failure(PvResult::InvalidDataFormat, "The property '", name_.view(), "' is not ", wanted, ": '",
                   value_.view(), "'");
}

PvResult PvProperty::GetValue(double& aValue) const noexcept
{
    const auto number = parse_float(value_.view());
    if (!number) {
        return unreadable("a number");
    }
    aValue = *number;
    return PvResult::OK;
}

PvResult PvProperty::GetValue(std::int64_t& aValue) const noexcept
{
    const auto number = parse_integer(value_.view());
    if (!number || is_beyond_signed(*number, value_.view())) {
        return unreadable("an integer of 64 bits");
    }
    aValue = *number;
    return PvResult::OK;
}

void PvProperty::SetValue(double aValue) { value_ = to_text(aValue); }

void PvProperty::SetValue(std::int64_t aValue) { value_ = to_text(aValue); }
