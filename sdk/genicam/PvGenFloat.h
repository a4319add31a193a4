// PvGenFloat: a number with limits and a unit.
#pragma once

#include "sdk/genicam/PvGenParameter.h"

class PvGenFloat final : public PvGenParameter {
public:
    PvResult GetValue(double& aValue) const;
    PvResult SetValue(double aValue);
    PvResult GetMin(double& aMin) const;
    PvResult GetMax(double& aMax) const;
    PvResult GetRepresentation(PvGenRepresentation& aRepresentation) const;
    PvResult GetUnit(PvString& aUnit) const;

private:
    friend class PvGenParameterArray;
    PvGenFloat(GenApi::INode& node, const Owner& owner) : PvGenParameter(node, owner, PvGenTypeFloat) {}
};
