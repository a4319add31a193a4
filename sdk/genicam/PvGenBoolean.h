// PvGenBoolean: on or off.
#pragma once

#include "sdk/genicam/PvGenParameter.h"

class PvGenBoolean final : public PvGenParameter {
public:
    PvResult GetValue(bool& aValue) const;
    PvResult SetValue(bool aValue);

private:
    friend class PvGenParameterArray;
    PvGenBoolean(GenApi::INode& node, const Owner& owner) : PvGenParameter(node, owner, PvGenTypeBoolean) {}
};
