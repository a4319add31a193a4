// PvGenEnumEntry: one choice of an enumeration parameter.
#pragma once

#include <cstdint>

#include "sdk/base/PvResult.h"
#include "sdk/base/PvString.h"
#include "sdk/genicam/PvGenTypes.h"

namespace GenApi {
class INode;
}

/// Belongs to its enumeration and lives as long as the array.
///
/// Thread safety: every member may be called from any thread.
class PvGenEnumEntry {
public:
    explicit PvGenEnumEntry(GenApi::INode& node) noexcept : node_(&node) {}

    PvResult GetValue(std::int64_t& aValue) const;
    /// The name that PvGenEnum::SetValue takes.
    PvResult GetName(PvString& aName) const;
    PvResult GetToolTip(PvString& aToolTip) const;
    PvResult GetDescription(PvString& aDescription) const;
    PvResult GetVisibility(PvGenVisibility& aVisibility) const;
    PvResult GetDisplayName(PvString& aDisplayName) const;
    PvResult GetNameSpace(PvGenNameSpace& aNameSpace) const;
    /// It can be chosen at present.
    [[nodiscard]] bool IsAvailable() const;
    [[nodiscard]] bool IsVisible(PvGenVisibility aVisibility) const;
    [[nodiscard]] GenApi::INode* GetNode() const noexcept { return node_; }

private:
    GenApi::INode* node_;
};
