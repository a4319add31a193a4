// The values of a parameter array taken out and put back: what a device is given again after it was lost, and what a
// configuration keeps.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "sdk/base/PvResult.h"

class PvGenParameterArray;

namespace GenApi {
class INode;
}

namespace vex {

struct SelectorValue {
    std::string name;
    std::string value;

    bool operator==(const SelectorValue&) const = default;
};

/// A parameter's value as PvGenParameter::ToString gives it.
struct StoredValue {
    std::string name;
    std::string value;
    /// What it holds for; a selector that depends on others comes after them. Empty for a parameter without selectors.
    std::vector<SelectorValue> selectors;

    bool operator==(const StoredValue&) const = default;
};

/// A parameter that was passed over, and why.
struct ParameterFailure {
    std::string name;
    std::vector<SelectorValue> selectors;
    PvResult reason;
};

/// What keeps a description from making the work endless.
struct StoreLimits {
    /// The combinations of selector values that a parameter is stored for. Where there are more, the innermost
    /// selectors keep the value that they have.
    std::size_t combinations = 4096;
    /// The same for all parameters together.
    std::size_t all_combinations = 65'536;
    /// The selectors of a parameter, those of its selectors included.
    std::size_t selectors = 8;
};

struct StoredValues {
    /// OK also when parameters were passed over; a failure when the device cannot be asked any more (NotConnected,
    /// Aborted) or the array was not built yet (NotInitialized).
    PvResult result;
    std::vector<StoredValue> values;  ///< in the order in which they are to be restored
    /// Persistent parameters that could not be read, and selectors whose other values were passed over.
    std::vector<ParameterFailure> skipped;
};

/// Stores every parameter that is streamable and can be read and written, also when only a running acquisition keeps it
/// from being written. One with selectors is stored once for each of their values; selectors that cannot be read, such
/// as those that the device does not have, do not count. Selectors are put back afterwards, also those whose value
/// depends on another selector. Event sinks hear of these changes.
///
/// The order is that of the categories; parameters with the same selectors stand together. A device that wants to know
/// (SFNC DeviceFeaturePersistenceStart and ...End) is told.
///
/// The device is asked as the description allows: what is cached is believed. Whoever has opened the device anew calls
/// PvGenParameterArray::InvalidateCache first. Nobody else should write to the array meanwhile. Throws std::bad_alloc.
[[nodiscard]] StoredValues store_values(PvGenParameterArray& array, const StoreLimits& limits = {});

/// The value that one parameter has, for the values that its selectors have, but for those that cannot be read; of a
/// command, for what it would be executed. Throws GenApi::Error and std::bad_alloc.
[[nodiscard]] StoredValue store_value(GenApi::INode& parameter);

struct RestoredValues {
    /// OK when every value is in force. NotConnected or Aborted when the device went away meanwhile. Otherwise
    /// GenericError: "2 parameters could not be restored: Width is locked while the acquisition runs; ...".
    PvResult result;
    std::vector<ParameterFailure> failures;
};

/// Writes what differs. A value that is refused is tried again after the others have been written, and so is one that
/// another write has changed, until nothing changes any more; each is read back from the device. Selectors end with
/// their stored values, or else with those that they had, where they still take them. That a device rounds a float or
/// cuts a text is no failure; that it keeps what it had is one.
///
/// A device that wants to know (SFNC DeviceRegistersStreamingStart and ...End) is told, and asked afterwards whether
/// its settings fit together (DeviceRegistersValid).
///
/// Caches, other users of the array and std::bad_alloc as for store_values.
[[nodiscard]] RestoredValues restore_values(PvGenParameterArray& array, std::span<const StoredValue> values);

/// Executes a stored command for the values of its selectors, which are put back afterwards, and waits, five seconds at
/// the longest, until it has finished. Caches, other users of the array and std::bad_alloc as for store_values.
PvResult execute_stored(PvGenParameterArray& array, const StoredValue& command);

}  // namespace vex
