// PvGenInteger: a whole number with limits.
#pragma once

#include <cstdint>
#include <vector>

#include "sdk/genicam/PvGenParameter.h"

class PvGenInteger final : public PvGenParameter {
public:
    PvResult GetValue(std::int64_t& aValue) const;
    PvResult SetValue(std::int64_t aValue);
    PvResult GetMin(std::int64_t& aMin) const;
    PvResult GetMax(std::int64_t& aMax) const;
    /// At least 1; a value is valid when it is the minimum plus a multiple of it.
    PvResult GetIncrement(std::int64_t& aIncrement) const;
    /// The only values that are valid; none where limits and increment say all.
    PvResult GetValidValues(std::vector<std::int64_t>& aValues) const;
    PvResult GetRepresentation(PvGenRepresentation& aRepresentation) const;
    PvResult GetUnit(PvString& aUnit) const;

private:
    friend class PvGenParameterArray;
    PvGenInteger(GenApi::INode& node, const Owner& owner) : PvGenParameter(node, owner, PvGenTypeInteger) {}
};
