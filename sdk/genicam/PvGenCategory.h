// PvGenCategory: a named group of parameters.
#pragma once

#include "sdk/base/PvResult.h"
#include "sdk/base/PvString.h"
#include "sdk/genicam/PvGenTypes.h"

namespace GenApi {
class INode;
}

/// Belongs to its array and lives as long as that.
///
/// Thread safety: every member may be called from any thread.
class PvGenCategory {
public:
    explicit PvGenCategory(GenApi::INode& node) noexcept : node_(&node) {}

    PvResult GetName(PvString& aName) const;
    PvResult GetDisplayName(PvString& aDisplayName) const;
    PvResult GetToolTip(PvString& aToolTip) const;
    PvResult GetDescription(PvString& aDescription) const;
    PvResult GetNameSpace(PvGenNameSpace& aNameSpace) const;
    PvResult GetVisibility(PvGenVisibility& aVisibility) const;
    [[nodiscard]] GenApi::INode* GetNode() const noexcept { return node_; }

private:
    GenApi::INode* node_;
};
