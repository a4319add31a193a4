#include "sdk/persistence/PvConfigurationReader.h"

#include <array>
#include <string>
#include <utility>
#include <vector>

#include "sdk/base/failure.h"
#include "sdk/device/PvDevice.h"
#include "sdk/device/access.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/persistence/configuration.h"
#include "sdk/persistence/configuration_file.h"
#include "sdk/persistence/error_list.h"
#include "sdk/stream/PvStream.h"

using namespace vex;
using persistence::Configuration;
using persistence::ErrorList;
using persistence::Item;
using persistence::ItemKind;

namespace {

constexpr std::array<const char*, 5> kind_names = {"device", "stream", "parameter array", "property list", "string"};

const char* name_of(ItemKind kind) { return kind_names[static_cast<std::size_t>(kind)]; }

/// The item of a name or an index, kept for as long as it is used.
using SharedItem = std::shared_ptr<const Item>;

SharedItem find(const std::shared_ptr<const Configuration>& loaded, ItemKind kind, const PvString& name)
{
    return {loaded, loaded->find(kind, name.view())};
}
SharedItem find(const std::shared_ptr<const Configuration>& loaded, ItemKind kind, std::uint32_t index)
{
    return {loaded, loaded->at(kind, index)};
}

PvResult not_found(const Configuration& loaded, ItemKind kind, const PvString& name)
{
    return failure(PvResult::NotFound, "There is no ", name_of(kind), " named \"", name.view(), "\" among ",
                   loaded.count(kind));
}
PvResult not_found(const Configuration& loaded, ItemKind kind, std::uint32_t index)
{
    return failure(PvResult::NotFound, "There is no ", name_of(kind), " with the index ", index, " among ",
                   loaded.count(kind));
}

/// Does something with the item of a name or an index.
template <class Key, class Use>
PvResult with(const std::shared_ptr<const Configuration>& loaded, ItemKind kind, const Key& key, const Use& use)
{
    const SharedItem item = find(loaded, kind, key);
    return item != nullptr ? use(*item) : not_found(*loaded, kind, key);
}

PvResult name_at(const Configuration& loaded, ItemKind kind, std::uint32_t index, PvString& name)
{
    const Item* const item = loaded.at(kind, index);
    if (item == nullptr) {
        return not_found(loaded, kind, index);
    }
    name = PvString(std::string_view(item->name));
    return PvResult::OK;
}

/// By the lock that streaming programs set, and by the device's own word where it stands ready: no selector is turned
/// before it is known that anything may be changed.
bool is_acquiring(const PvGenParameterArray& array)
{
    std::int64_t locked = 0;
    if (array.GetIntegerValue(PvString("TLParamsLocked"), locked).IsOK() && locked != 0) {
        return true;
    }
    PvString asked_about;
    if (array.GetEnumValue(PvString("AcquisitionStatusSelector"), asked_about).IsOK() &&
        asked_about != PvString("AcquisitionActive")) {
        return false;
    }
    bool active = false;
    return array.GetBooleanValue(PvString("AcquisitionStatus"), active).IsOK() && active;
}

PvResult check_idle(const PvGenParameterArray& array)
{
    if (is_acquiring(array)) {
        return failure(PvResult::StateError, "Settings cannot be restored while an acquisition runs");
    }
    return PvResult::OK;
}

PvResult restore(PvGenParameterArray& array, const std::vector<StoredValue>& values,
                 const std::shared_ptr<const ErrorList>& errors)
{
    RestoredValues restored = restore_values(array, values);
    errors->report(restored.failures, values);
    return std::move(restored.result);
}

PvResult restore_idle(PvGenParameterArray& array, const std::vector<StoredValue>& values,
                      const std::shared_ptr<const ErrorList>& errors)
{
    const PvResult idle = check_idle(array);
    return idle.IsOK() ? restore(array, values, errors) : idle;
}

PvResult restore(PvDevice* device, const Item& item, const std::shared_ptr<const ErrorList>& errors)
{
    if (device == nullptr) {
        return failure(PvResult::InvalidParameter, "There is no device to restore");
    }
    const auto connection = device::connection_of(*device);
    if (connection == nullptr || device->GetGenParameters() == nullptr) {
        return failure(PvResult::NotConnected, "Settings cannot be restored to a device that is not connected");
    }
    if (PvResult writable = connection->check_writable(); !writable.IsOK()) {
        return writable;
    }
    if (PvResult idle = check_idle(*device->GetGenParameters()); !idle.IsOK()) {
        return idle;
    }
    const auto lifetime = device->lifetime();
    PvResult link = restore(*device->GetGenLink(), item.link, errors);
    if (lifetime.expired()) {
        return PvResult::Aborted;
    }
    PvResult features = restore(*device->GetGenParameters(), item.values, errors);
    if (link.IsOK() || features.IsOK()) {
        return link.IsOK() ? features : link;
    }
    return failure(features.GetCode(), features.description(), "; of the link ", link.description());
}

template <class Key>
PvResult restore_device(const std::shared_ptr<const Configuration>& loaded, const Key& key, PvDevice* device,
                        const std::shared_ptr<const ErrorList>& errors)
{
    return with(loaded, ItemKind::device, key,
                [&, kept = errors](const Item& item) { return restore(device, item, kept); });
}

template <class Key>
PvResult restore_stream(const std::shared_ptr<const Configuration>& loaded, const Key& key, PvStream& stream,
                        const std::shared_ptr<const ErrorList>& errors)
{
    return with(loaded, ItemKind::stream, key,
                [&, kept = errors](const Item& item) { return restore(*stream.GetParameters(), item.values, kept); });
}

template <class Key>
PvResult restore_array(const std::shared_ptr<const Configuration>& loaded, const Key& key, PvGenParameterArray& array,
                       const std::shared_ptr<const ErrorList>& errors)
{
    return with(loaded, ItemKind::parameters, key,
                [&, kept = errors](const Item& item) { return restore_idle(array, item.values, kept); });
}

template <class Key>
PvResult restore_properties(const std::shared_ptr<const Configuration>& loaded, const Key& key, PvPropertyList& list)
{
    return with(loaded, ItemKind::properties, key, [&](const Item& item) {
        PvPropertyList restored;
        for (const PvProperty& property : item.properties) {
            restored.Add(property);
        }
        list = std::move(restored);
        return PvResult(PvResult::OK);
    });
}

template <class Key>
PvResult restore_text(const std::shared_ptr<const Configuration>& loaded, const Key& key, PvString& value)
{
    return with(loaded, ItemKind::string, key, [&](const Item& item) {
        value = PvString(std::string_view(item.text));
        return PvResult(PvResult::OK);
    });
}

}  // namespace

PvConfigurationReader::PvConfigurationReader()
    : loaded_(std::make_shared<const Configuration>()), errors_(std::make_shared<const ErrorList>())
{}

PvConfigurationReader::~PvConfigurationReader() = default;

PvResult PvConfigurationReader::Load(const PvString& aFileName)
{
    auto loaded = std::make_shared<Configuration>();
    if (PvResult result = persistence::load_configuration(aFileName, *loaded); !result.IsOK()) {
        return result;
    }
    loaded_ = std::move(loaded);
    return PvResult::OK;
}

std::uint32_t PvConfigurationReader::GetDeviceCount() const noexcept { return loaded_->count(ItemKind::device); }
std::uint32_t PvConfigurationReader::GetStreamCount() const noexcept { return loaded_->count(ItemKind::stream); }
std::uint32_t PvConfigurationReader::GetStringCount() const noexcept { return loaded_->count(ItemKind::string); }
std::uint32_t PvConfigurationReader::GetGenParameterArrayCount() const noexcept
{
    return loaded_->count(ItemKind::parameters);
}
std::uint32_t PvConfigurationReader::GetPropertyListCount() const noexcept
{
    return loaded_->count(ItemKind::properties);
}

PvResult PvConfigurationReader::GetDeviceName(std::uint32_t aIndex, PvString& aName) const
{
    return name_at(*loaded_, ItemKind::device, aIndex, aName);
}
PvResult PvConfigurationReader::GetStreamName(std::uint32_t aIndex, PvString& aName) const
{
    return name_at(*loaded_, ItemKind::stream, aIndex, aName);
}
PvResult PvConfigurationReader::GetStringName(std::uint32_t aIndex, PvString& aName) const
{
    return name_at(*loaded_, ItemKind::string, aIndex, aName);
}
PvResult PvConfigurationReader::GetGenParameterArrayName(std::uint32_t aIndex, PvString& aName) const
{
    return name_at(*loaded_, ItemKind::parameters, aIndex, aName);
}
PvResult PvConfigurationReader::GetPropertyListName(std::uint32_t aIndex, PvString& aName) const
{
    return name_at(*loaded_, ItemKind::properties, aIndex, aName);
}

PvResult PvConfigurationReader::Restore(const PvString& aName, PvDevice* aDevice)
{
    return restore_device(loaded_, aName, aDevice, errors_);
}
PvResult PvConfigurationReader::Restore(std::uint32_t aIndex, PvDevice* aDevice)
{
    return restore_device(loaded_, aIndex, aDevice, errors_);
}
PvResult PvConfigurationReader::Restore(const PvString& aName, PvStream& aStream)
{
    return restore_stream(loaded_, aName, aStream, errors_);
}
PvResult PvConfigurationReader::Restore(std::uint32_t aIndex, PvStream& aStream)
{
    return restore_stream(loaded_, aIndex, aStream, errors_);
}
PvResult PvConfigurationReader::Restore(const PvString& aName, PvGenParameterArray& aArray)
{
    return restore_array(loaded_, aName, aArray, errors_);
}
PvResult PvConfigurationReader::Restore(std::uint32_t aIndex, PvGenParameterArray& aArray)
{
    return restore_array(loaded_, aIndex, aArray, errors_);
}
PvResult PvConfigurationReader::Restore(const PvString& aName, PvPropertyList& aList)
{
    return restore_properties(loaded_, aName, aList);
}
PvResult PvConfigurationReader::Restore(std::uint32_t aIndex, PvPropertyList& aList)
{
    return restore_properties(loaded_, aIndex, aList);
}
PvResult PvConfigurationReader::Restore(const PvString& aName, PvString& aValue)
{
    return restore_text(loaded_, aName, aValue);
}
PvResult PvConfigurationReader::Restore(std::uint32_t aIndex, PvString& aValue)
{
    return restore_text(loaded_, aIndex, aValue);
}

void PvConfigurationReader::SetErrorList(PvStringList* aList, const PvString& aPrefix)
{
    errors_ = std::make_shared<const ErrorList>(aList, aPrefix);
}
