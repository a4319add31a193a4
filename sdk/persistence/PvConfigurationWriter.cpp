#include "sdk/persistence/PvConfigurationWriter.h"

#include <span>
#include <string>
#include <system_error>
#include <utility>

#include "sdk/base/failure.h"
#include "sdk/base/whole_file.h"
#include "sdk/device/PvDevice.h"
#include "sdk/device/access.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/persistence/configuration.h"
#include "sdk/persistence/configuration_xml.h"
#include "sdk/persistence/error_list.h"
#include "sdk/stream/PvStream.h"

using namespace vex;
using persistence::Item;
using persistence::ItemKind;

// shared by a Store under way: a callback of a feature may destroy the writer
struct PvConfigurationWriter::State {
    persistence::Configuration configuration;
    persistence::ErrorList errors;
};

namespace {

/// A feature's value as text; empty where there is none.
std::string text_of(const PvGenParameterArray& array, const char* name)
{
    PvString text;
    const PvGenParameter* const parameter = array.Get(PvString(name));
    return parameter != nullptr && parameter->ToString(text).IsOK() ? text.str() : std::string();
}

persistence::DeviceIdentity identity_of(const PvGenParameterArray& features, const control::Connection& connection)
{
    return {.vendor = text_of(features, "DeviceVendorName"),
            .model = text_of(features, "DeviceModelName"),
            .version = text_of(features, "DeviceVersion"),
            .serial_number = connection.facts().serial_number,
            .user_defined_name = text_of(features, "DeviceUserID"),
            .mac_address = connection.facts().mac.to_string()};
}

/// The values of an array, and what was passed over into the list.
PvResult store(PvGenParameterArray& array, const persistence::ErrorList& errors, std::vector<StoredValue>& values)
{
    StoredValues stored = store_values(array);
    errors.report(stored.skipped, {});
    values = std::move(stored.values);
    if (stored.result.IsOK() && !stored.skipped.empty()) {
        const std::size_t count = stored.skipped.size();
        return {PvResult::OK, (count == 1 ? std::string("1 setting was passed over: ")
                                          : std::to_string(count) + " settings were passed over, the first: ") +
                                  std::string(stored.skipped.front().reason.description())};
    }
    return stored.result;
}

PvResult no_object(const char* what) { return failure(PvResult::InvalidParameter, "There is no ", what, " to store"); }

}  // namespace

PvConfigurationWriter::PvConfigurationWriter() : state_(std::make_shared<State>()) {}

PvConfigurationWriter::~PvConfigurationWriter() = default;

PvResult PvConfigurationWriter::Store(PvDevice* aDevice, const PvString& aName)
{
    if (aDevice == nullptr) {
        return no_object("device");
    }
    const auto connection = device::connection_of(*aDevice);
    if (connection == nullptr || aDevice->GetGenParameters() == nullptr) {
        return failure(PvResult::NotConnected, "A device that is not connected has no settings to store");
    }
    const auto state = state_;
    const auto lifetime = aDevice->lifetime();
    Item item{.kind = ItemKind::device, .name = aName.str()};
    if (const PvResult linked = store(*aDevice->GetGenLink(), state->errors, item.link); !linked.IsOK()) {
        return linked;
    }
    if (lifetime.expired()) {
        return PvResult::Aborted;
    }
    PvGenParameterArray& features = *aDevice->GetGenParameters();
    item.identity = identity_of(features, *connection);
    PvResult result = store(features, state->errors, item.values);
    if (result.IsOK()) {
        state->configuration.store(std::move(item));
    }
    return result;
}

PvResult PvConfigurationWriter::Store(PvStream* aStream, const PvString& aName)
{
    if (aStream == nullptr) {
        return no_object("stream");
    }
    const auto state = state_;
    Item item{.kind = ItemKind::stream, .name = aName.str()};
    PvResult result = store(*aStream->GetParameters(), state->errors, item.values);
    if (result.IsOK()) {
        state->configuration.store(std::move(item));
    }
    return result;
}

PvResult PvConfigurationWriter::Store(PvGenParameterArray* aArray, const PvString& aName)
{
    if (aArray == nullptr) {
        return no_object("parameter array");
    }
    const auto state = state_;
    Item item{.kind = ItemKind::parameters, .name = aName.str()};
    PvResult result = store(*aArray, state->errors, item.values);
    if (result.IsOK()) {
        state->configuration.store(std::move(item));
    }
    return result;
}

PvResult PvConfigurationWriter::Store(const PvPropertyList* aList, const PvString& aName)
{
    if (aList == nullptr) {
        return no_object("property list");
    }
    Item item{.kind = ItemKind::properties, .name = aName.str()};
    for (std::uint32_t i = 0; i < aList->GetSize(); ++i) {
        item.properties.push_back(*aList->GetItem(i));
    }
    state_->configuration.store(std::move(item));
    return PvResult::OK;
}

PvResult PvConfigurationWriter::Store(const PvString& aValue, const PvString& aName)
{
    state_->configuration.store(Item{.kind = ItemKind::string, .name = aName.str(), .text = aValue.str()});
    return PvResult::OK;
}

PvResult PvConfigurationWriter::Save(const PvString& aFileName) const
{
    const std::string text = persistence::to_xml(state_->configuration);
    return write_whole_file(aFileName, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()},
                            Durability::on_disk);
}

void PvConfigurationWriter::SetErrorList(PvStringList* aList, const PvString& aPrefix)
{
    state_->errors = persistence::ErrorList(aList, aPrefix);
}
