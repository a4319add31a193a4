#include "sdk/genicam/PvGenEnum.h"

#include <string>

#include "sdk/genicam/parameter_internals.h"

using namespace vex;

PvGenEnum::PvGenEnum(GenApi::INode& node, const Owner& owner) : PvGenParameter(node, owner, PvGenTypeEnum)
{
    for (GenApi::INode* const entry : node.children()) {
        entries_.emplace_back(*entry);
    }
}

PvResult PvGenEnum::GetValue(std::int64_t& aValue) const
{
    return run([&] { aValue = node_->int_value(); });
}

PvResult PvGenEnum::GetValue(PvString& aValue) const
{
    return run([&] { aValue = PvString(node_->current_entry().symbolic()); });
}

PvResult PvGenEnum::SetValue(std::int64_t aValue)
{
    return change([&] { node_->set_int_value(aValue); });
}

PvResult PvGenEnum::SetValue(const PvString& aValue)
{
    return change([&] { node_->set_entry(aValue.view()); });
}

PvResult PvGenEnum::GetEntriesCount(std::int64_t& aCount) const
{
    aCount = static_cast<std::int64_t>(entries_.size());
    return PvResult::OK;
}

const PvGenEnumEntry* PvGenEnum::entry_of(const GenApi::INode* node) const
{
    for (const PvGenEnumEntry& entry : entries_) {
        if (entry.GetNode() == node) {
            return &entry;
        }
    }
    return nullptr;
}

PvResult PvGenEnum::GetEntryByName(const PvString& aName, const PvGenEnumEntry** aEntry) const
{
    return run([&] {
        const GenApi::INode* const node = node_->entry_by_symbolic(aName.view());
        if (node == nullptr) {
            throw GenApi::Error(PvResult::NotFound,
                                std::string(node_->name()) + " has no entry named \"" + aName.str() + "\"");
        }
        *aEntry = entry_of(node);
    });
}

PvResult PvGenEnum::GetEntryByIndex(std::int64_t aIndex, const PvGenEnumEntry** aEntry) const
{
    return run([&] {
        if (aIndex < 0 || aIndex >= static_cast<std::int64_t>(entries_.size())) {
            throw GenApi::Error(PvResult::NotFound, std::string(node_->name()) + " has " +
                                                        std::to_string(entries_.size()) + " entries and none at " +
                                                        std::to_string(aIndex));
        }
        *aEntry = &entries_[static_cast<std::size_t>(aIndex)];
    });
}

PvResult PvGenEnum::GetEntryByValue(std::int64_t aValue, const PvGenEnumEntry** aEntry) const
{
    return run([&] {
        const GenApi::INode* const node = node_->entry_by_value(aValue);
        if (node == nullptr) {
            throw GenApi::Error(PvResult::NotFound,
                                std::string(node_->name()) + " has no entry with the value " + std::to_string(aValue));
        }
        *aEntry = entry_of(node);
    });
}

PvResult PvGenEnumEntry::GetValue(std::int64_t& aValue) const
{
    return genicam::result_of([&] { aValue = node_->int_value(); });
}

PvResult PvGenEnumEntry::GetName(PvString& aName) const
{
    return genicam::result_of([&] { aName = PvString(node_->symbolic()); });
}

PvResult PvGenEnumEntry::GetToolTip(PvString& aToolTip) const
{
    return genicam::result_of([&] { aToolTip = PvString(node_->tool_tip()); });
}

PvResult PvGenEnumEntry::GetDescription(PvString& aDescription) const
{
    return genicam::result_of([&] { aDescription = PvString(node_->description()); });
}

PvResult PvGenEnumEntry::GetVisibility(PvGenVisibility& aVisibility) const
{
    aVisibility = genicam::visibility_of(node_->visibility());
    return PvResult::OK;
}

PvResult PvGenEnumEntry::GetDisplayName(PvString& aDisplayName) const
{
    return genicam::result_of([&] { aDisplayName = PvString(node_->display_name()); });
}

PvResult PvGenEnumEntry::GetNameSpace(PvGenNameSpace& aNameSpace) const
{
    aNameSpace = genicam::name_space_of(node_->name_space());
    return PvResult::OK;
}

bool PvGenEnumEntry::IsAvailable() const
{
    return genicam::holds([&] { return GenApi::is_available(node_->access()); });
}

bool PvGenEnumEntry::IsVisible(PvGenVisibility aVisibility) const
{
    return genicam::is_visible(node_->visibility(), aVisibility);
}
