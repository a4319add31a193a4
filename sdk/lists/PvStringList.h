// PvStringList: texts in order, such as the errors of a configuration file.
#pragma once

#include "sdk/base/PvString.h"
#include "sdk/lists/item_list.h"

/// An ordered list of texts. Its members are those of vex::ItemList.
class PvStringList : public vex::ItemList<PvString> {
public:
    PvStringList() = default;
};
