// PvPropertyList: properties in order, as windows keep their state and configuration files carry it.
#pragma once

#include "sdk/lists/PvProperty.h"
#include "sdk/lists/item_list.h"

/// An ordered list of properties; several may have the same name. Its members are those of vex::ItemList.
class PvPropertyList : public vex::ItemList<PvProperty> {
public:
    PvPropertyList() = default;
};
