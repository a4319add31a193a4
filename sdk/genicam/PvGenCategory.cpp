#include "sdk/genicam/PvGenCategory.h"

#include "sdk/genapi/node_map.h"
#include "sdk/genicam/results.h"

using namespace vex;

PvResult PvGenCategory::GetName(PvString& aName) const
{
    return genicam::result_of([&] { aName = PvString(node_->name()); });
}

PvResult PvGenCategory::GetDisplayName(PvString& aDisplayName) const
{
    return genicam::result_of([&] { aDisplayName = PvString(node_->display_name()); });
}

PvResult PvGenCategory::GetToolTip(PvString& aToolTip) const
{
    return genicam::result_of([&] { aToolTip = PvString(node_->tool_tip()); });
}

PvResult PvGenCategory::GetDescription(PvString& aDescription) const
{
    return genicam::result_of([&] { aDescription = PvString(node_->description()); });
}

PvResult PvGenCategory::GetNameSpace(PvGenNameSpace& aNameSpace) const
{
    aNameSpace = genicam::name_space_of(node_->name_space());
    return PvResult::OK;
}

PvResult PvGenCategory::GetVisibility(PvGenVisibility& aVisibility) const
{
    aVisibility = genicam::visibility_of(node_->visibility());
    return PvResult::OK;
}
