// PvGenString: a text.
#pragma once

#include "sdk/genicam/PvGenParameter.h"

class PvGenString final : public PvGenParameter {
public:
    PvResult GetValue(PvString& aValue) const;
    PvResult SetValue(const PvString& aValue);
    /// In bytes of UTF-8.
    PvResult GetMaxLength(std::int64_t& aMaxLength) const;

private:
    friend class PvGenParameterArray;
    PvGenString(GenApi::INode& node, const Owner& owner) : PvGenParameter(node, owner, PvGenTypeString) {}
};
