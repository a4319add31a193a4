// PvGenEnum: one choice out of several.
#pragma once

#include <vector>

#include "sdk/genicam/PvGenEnumEntry.h"
#include "sdk/genicam/PvGenParameter.h"

class PvGenEnum final : public PvGenParameter {
public:
    PvResult GetValue(std::int64_t& aValue) const;
    PvResult GetValue(PvString& aValue) const;
    PvResult SetValue(std::int64_t aValue);
    PvResult SetValue(const PvString& aValue);

    /// Of all entries, available or not, in the order of the description.
    PvResult GetEntriesCount(std::int64_t& aCount) const;
    /// NotFound when there is none; the pointer is left unchanged then.
    PvResult GetEntryByName(const PvString& aName, const PvGenEnumEntry** aEntry) const;
    PvResult GetEntryByIndex(std::int64_t aIndex, const PvGenEnumEntry** aEntry) const;
    PvResult GetEntryByValue(std::int64_t aValue, const PvGenEnumEntry** aEntry) const;

private:
    friend class PvGenParameterArray;
    PvGenEnum(GenApi::INode& node, const Owner& owner);

    const PvGenEnumEntry* entry_of(const GenApi::INode* node) const;

    std::vector<PvGenEnumEntry> entries_;
};
