// PvConfigurationWriter: collects set-ups of devices and streams, and lists and texts, and saves them to one file.
#pragma once

#include <memory>

#include "sdk/base/PvResult.h"
#include "sdk/base/PvString.h"
#include "sdk/lists/PvPropertyList.h"
#include "sdk/lists/PvStringList.h"

class PvDevice;
class PvGenParameterArray;
class PvStream;

/// Named items of five kinds: devices, streams, parameter arrays, property lists and texts. An item is stored as it is
/// when Store is called; what changes later is not in the file. An item stored again under its kind and name takes the
/// place of the first one; items without a name are added. Saving as often as you like writes the same bytes.
///
/// Of a device are stored its identity, the persistent (streamable) features, for each value of their selectors, and
/// the settings of its link; of streams and parameter arrays the persistent parameters. What could not be read is told
/// by a line of the error list each, and by the description of the result, which is OK all the same.
///
/// A Store that fails stores nothing: InvalidParameter for null; NotConnected for a device that is not, and for one
/// that goes away meanwhile; NotInitialized for an array without parameters. Features' event sinks hear of selectors
/// that are turned. What has to be allocated may throw std::bad_alloc.
///
/// Thread safety: distinct objects may be used from different threads; one object is not synchronised.
class PvConfigurationWriter {
public:
    PvConfigurationWriter();
    ~PvConfigurationWriter();
    PvConfigurationWriter(const PvConfigurationWriter&) = delete;
    PvConfigurationWriter& operator=(const PvConfigurationWriter&) = delete;

    PvResult Store(PvDevice* aDevice, const PvString& aName);
    PvResult Store(PvStream* aStream, const PvString& aName);
    PvResult Store(PvGenParameterArray* aArray, const PvString& aName);
    PvResult Store(const PvPropertyList* aList, const PvString& aName);
    PvResult Store(const PvString& aValue, const PvString& aName);

    /// Writes the file beside its name, to the disk, and renames it, so that under the name there is either the older
    /// file or the new one, whatever happens. InvalidParameter: no file name. CannotOpenFile: it cannot be made there,
    /// or may not be replaced. FileError: it cannot be written, such as on a full disk.
    PvResult Save(const PvString& aFileName) const;

    /// What Store reports line by line goes to `aList` from now on, each after `aPrefix` and a colon, or, with an empty
    /// prefix, without. Null ends that. The list belongs to the caller; once it has gone, reports are dropped.
    void SetErrorList(PvStringList* aList, const PvString& aPrefix);

private:
    struct State;
    std::shared_ptr<State> state_;
};
