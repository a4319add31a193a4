// Where the reader and the writer of configurations report single settings.
#pragma once

#include <memory>
#include <span>
#include <string>

#include "sdk/base/PvString.h"
#include "sdk/genicam/stored_values.h"
#include "sdk/lists/PvStringList.h"

namespace vex::persistence {

/// A list of the application's, as long as it lives; reports are dropped when there is none.
class ErrorList {
public:
    ErrorList() = default;
    ErrorList(PvStringList* list, PvString prefix);

    /// A line for each failure: "Prefix: Gain (GainSelector Red) = 3.5: reason", without the wanted value where
    /// `wanted` has none for it. Throws std::bad_alloc.
    void report(std::span<const ParameterFailure> failures, std::span<const StoredValue> wanted) const;

private:
    void add(const std::string& line) const;

    PvStringList* list_ = nullptr;
    std::weak_ptr<const void> lifetime_;
    PvString prefix_;
};

}  // namespace vex::persistence
