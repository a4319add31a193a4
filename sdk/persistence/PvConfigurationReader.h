// PvConfigurationReader: loads a configuration file and restores what is in it.
#pragma once

#include <cstdint>
#include <memory>

#include "sdk/base/PvResult.h"
#include "sdk/base/PvString.h"
#include "sdk/lists/PvPropertyList.h"
#include "sdk/lists/PvStringList.h"

class PvDevice;
class PvGenParameterArray;
class PvStream;

namespace vex::persistence {
class Configuration;
class ErrorList;
struct Item;
}  // namespace vex::persistence

/// The items of a file that PvConfigurationWriter has saved, each kind with indexes of its own from 0, in the order in
/// which they were stored. A name finds the first item of the kind that has exactly that name; the empty name one that
/// has none. NotFound: there is no such name or index, or nothing was loaded.
///
/// Restoring writes what differs, selectors first, in as many passes as dependencies among the settings take, and reads
/// back. What cannot be set, because the device refuses it or does not have it, does not keep the rest from being set:
/// the result is GenericError then and names the first of them, and the error list has a line for each, with the wanted
/// value and the reason. NotConnected when a device goes away meanwhile. Event sinks of features are called; one may
/// destroy this object. What has to be allocated may throw std::bad_alloc.
///
/// Thread safety: distinct objects may be used from different threads; one object is not synchronised.
class PvConfigurationReader {
public:
    PvConfigurationReader();
    ~PvConfigurationReader();
    PvConfigurationReader(const PvConfigurationReader&) = delete;
    PvConfigurationReader& operator=(const PvConfigurationReader&) = delete;

    /// CannotOpenFile; FileError: it cannot be read; InvalidParameter: no file name; BadVersion: saved by a later
    /// version; InvalidDataFormat: damaged or no configuration, with the line. What was loaded before stays then.
    PvResult Load(const PvString& aFileName);

    /// 0 before anything was loaded.
    [[nodiscard]] std::uint32_t GetDeviceCount() const noexcept;
    [[nodiscard]] std::uint32_t GetStreamCount() const noexcept;
    [[nodiscard]] std::uint32_t GetStringCount() const noexcept;
    [[nodiscard]] std::uint32_t GetGenParameterArrayCount() const noexcept;
    [[nodiscard]] std::uint32_t GetPropertyListCount() const noexcept;

    /// `aName` is left as it was by a failure.
    PvResult GetDeviceName(std::uint32_t aIndex, PvString& aName) const;
    PvResult GetStreamName(std::uint32_t aIndex, PvString& aName) const;
    PvResult GetStringName(std::uint32_t aIndex, PvString& aName) const;
    PvResult GetGenParameterArrayName(std::uint32_t aIndex, PvString& aName) const;
    PvResult GetPropertyListName(std::uint32_t aIndex, PvString& aName) const;

    /// The settings of the link, then the features. Before anything is changed, StateError: the device is connected for
    /// reading only, or an acquisition runs (TLParamsLocked, AcquisitionStatus); NotConnected; InvalidParameter for
    /// null. A device of another model gets what it has a feature for.
    PvResult Restore(const PvString& aName, PvDevice* aDevice);
    PvResult Restore(std::uint32_t aIndex, PvDevice* aDevice);
    /// The stream may be open or closed.
    PvResult Restore(const PvString& aName, PvStream& aStream);
    PvResult Restore(std::uint32_t aIndex, PvStream& aStream);
    /// StateError as for a device, where the array has these features; NotInitialized for an array without parameters.
    PvResult Restore(const PvString& aName, PvGenParameterArray& aArray);
    PvResult Restore(std::uint32_t aIndex, PvGenParameterArray& aArray);
    /// In the place of what the list had, which a failure leaves.
    PvResult Restore(const PvString& aName, PvPropertyList& aList);
    PvResult Restore(std::uint32_t aIndex, PvPropertyList& aList);
    /// `aValue` is left as it was by a failure.
    PvResult Restore(const PvString& aName, PvString& aValue);
    PvResult Restore(std::uint32_t aIndex, PvString& aValue);

    /// What Restore reports line by line goes to `aList` from now on, each after `aPrefix` and a colon, or, with an
    /// empty prefix, without. Null ends that. The list belongs to the caller; once it has gone, reports are dropped.
    void SetErrorList(PvStringList* aList, const PvString& aPrefix);

private:
    // shared by a Restore under way, during which another file may be loaded
    std::shared_ptr<const vex::persistence::Configuration> loaded_;
    std::shared_ptr<const vex::persistence::ErrorList> errors_;
};
