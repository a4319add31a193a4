// PvGenCommand: an action of the device.
#pragma once

#include "sdk/genicam/PvGenParameter.h"

class PvGenCommand final : public PvGenParameter {
public:
    /// Starts the action and returns.
    PvResult Execute();
    /// Asks the device whether the action has finished.
    PvResult IsDone(bool& aDone) const;

private:
    friend class PvGenParameterArray;
    PvGenCommand(GenApi::INode& node, const Owner& owner) : PvGenParameter(node, owner, PvGenTypeCommand) {}
};
