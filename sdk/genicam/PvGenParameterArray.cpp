#include "sdk/genicam/PvGenParameterArray.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "sdk/base/failure.h"
#include "sdk/buffer/PvBuffer.h"
#include "sdk/buffer/acquisition.h"
#include "sdk/genapi/name_table.h"
#include "sdk/genapi/node_map.h"
#include "sdk/genicam/parameter_internals.h"

using namespace vex;

/// Parameters go before the node map that they belong to.
struct PvGenParameterArray::Contents {
    std::unique_ptr<GenApi::INodeMap> node_map;
    PvGenParameter::Owner owner;
    std::vector<std::unique_ptr<PvGenParameter>> parameters;
    std::vector<std::string_view> parameter_names;  ///< of the parameters, beside them for quick look-ups
    GenApi::NameTable names;
    std::vector<PvGenCategory> categories;
    std::unique_ptr<PvGenCategory> root;

    [[nodiscard]] PvGenParameter* find(std::string_view name) const noexcept
    {
        const auto name_of = [this](std::uint32_t index) { return parameter_names[index]; };
        const std::uint32_t index = names.find(name, name_of);
        return index != GenApi::NameTable::not_found ? parameters[index].get() : nullptr;
    }

    void add(std::unique_ptr<PvGenParameter> parameter)
    {
        const auto name_of = [this](std::uint32_t index) { return parameter_names[index]; };
        GenApi::INode* const node = parameter->GetNode();
        owner.parameters.emplace(node, parameter.get());
        parameters.push_back(std::move(parameter));
        parameter_names.push_back(node->name());
        names.insert(node->name(), static_cast<std::uint32_t>(parameters.size() - 1), name_of);
    }
};

namespace {

template <class Parameter>
constexpr PvGenType type_of = PvGenTypeUndefined;
template <>
constexpr PvGenType type_of<PvGenInteger> = PvGenTypeInteger;
template <>
constexpr PvGenType type_of<PvGenFloat> = PvGenTypeFloat;
template <>
constexpr PvGenType type_of<PvGenEnum> = PvGenTypeEnum;
template <>
constexpr PvGenType type_of<PvGenBoolean> = PvGenTypeBoolean;
template <>
constexpr PvGenType type_of<PvGenCommand> = PvGenTypeCommand;
template <>
constexpr PvGenType type_of<PvGenString> = PvGenTypeString;
template <>
constexpr PvGenType type_of<PvGenRegister> = PvGenTypeRegister;

std::vector<GenApi::Chunk> chunks_of(const PvBuffer& buffer)
{
    std::vector<GenApi::Chunk> chunks;
    std::uint32_t id = 0;
    const std::uint8_t* data = nullptr;
    std::uint32_t size = 0;
    // the last one of an ID is the one that counts
    for (std::uint32_t index = buffer.GetChunkCount(); index-- > 0;) {
        if (buffer.GetChunk(index, id, data, size).IsOK()) {
            chunks.push_back({.id = id, .data = {data, size}, .position = data - buffer.GetDataPointer()});
        }
    }
    return chunks;
}

}  // namespace

PvGenParameterArray::PvGenParameterArray() : contents_(std::make_shared<Contents>()) {}

PvGenParameterArray::PvGenParameterArray(std::unique_ptr<GenApi::INodeMap> node_map) : PvGenParameterArray()
{
    build(std::move(node_map));
}

PvGenParameterArray::~PvGenParameterArray() { close_gate(nullptr); }

void PvGenParameterArray::close_gate(std::shared_ptr<genicam::ArrayGate> next) noexcept
{
    if (gate_->close(std::move(next))) {
        return;
    }
    for (const auto& parameter : contents_->parameters) {
        parameter->forget_event_sinks();
    }
    if (contents_->node_map != nullptr) {
        // waits for a transfer that is under way
        static_cast<void>(genicam::result_of(
            [&] { static_cast<void>(contents_->node_map->connect_port(GenApi::device_port_name, nullptr)); }));
    }
    gate_->keep(contents_);
}

void PvGenParameterArray::build(std::unique_ptr<GenApi::INodeMap> node_map)
{
    auto contents = std::make_shared<Contents>();
    contents->node_map = std::move(node_map);
    const PvGenParameter::Owner& owner = contents->owner;
    for (GenApi::INode* const node : contents->node_map->features()) {
        const auto add = [&]<class Parameter>(Parameter* parameter) {
            contents->add(std::unique_ptr<PvGenParameter>(parameter));
        };
        switch (node->type()) {
        case GenApi::InterfaceType::integer: add(new PvGenInteger(*node, owner)); break;
        case GenApi::InterfaceType::floating: add(new PvGenFloat(*node, owner)); break;
        case GenApi::InterfaceType::boolean: add(new PvGenBoolean(*node, owner)); break;
        case GenApi::InterfaceType::enumeration: add(new PvGenEnum(*node, owner)); break;
        case GenApi::InterfaceType::command: add(new PvGenCommand(*node, owner)); break;
        case GenApi::InterfaceType::string: add(new PvGenString(*node, owner)); break;
        case GenApi::InterfaceType::raw_register: add(new PvGenRegister(*node, owner)); break;
        case GenApi::InterfaceType::none:
        case GenApi::InterfaceType::category:
        case GenApi::InterfaceType::enum_entry:
        case GenApi::InterfaceType::port: break;
        }
    }
    for (GenApi::INode* const node : contents->node_map->categories()) {
        contents->categories.emplace_back(*node);
    }
    if (GenApi::INode* const root = contents->node_map->node("Root");
        root != nullptr && root->type() == GenApi::InterfaceType::category) {
        contents->root = std::make_unique<PvGenCategory>(*root);
    }
    auto gate = std::make_shared<genicam::ArrayGate>(genicam::ArrayGate::State::preparing);
    close_gate(gate);
    contents_ = std::move(contents);
    gate_ = std::move(gate);
    gate_->open();
}

void PvGenParameterArray::clear() noexcept
{
    // empty for good, and made without memory
    static Contents nothing;
    close_gate(nullptr);
    contents_ = std::shared_ptr<Contents>(std::shared_ptr<Contents>(), &nothing);
}

void PvGenParameterArray::SetWriteObserver(std::function<void(PvGenParameter&)> observer)
{
    contents_->owner.on_written = std::move(observer);
}

std::uint32_t PvGenParameterArray::GetCount() const noexcept
{
    return static_cast<std::uint32_t>(contents_->parameters.size());
}

std::uint32_t PvGenParameterArray::GetCategoryCount() const noexcept
{
    return static_cast<std::uint32_t>(contents_->categories.size());
}

GenApi::INodeMap* PvGenParameterArray::GetNodeMap() const noexcept { return contents_->node_map.get(); }

PvGenParameter* PvGenParameterArray::Get(std::uint32_t aIndex) const noexcept
{
    return aIndex < contents_->parameters.size() ? contents_->parameters[aIndex].get() : nullptr;
}

PvGenParameter* PvGenParameterArray::Get(const PvString& aName) const noexcept { return contents_->find(aName.view()); }

template <class Parameter>
Parameter* PvGenParameterArray::typed(const PvString& aName) const noexcept
{
    PvGenParameter* const parameter = contents_->find(aName.view());
    return parameter != nullptr && parameter->type_ == type_of<Parameter> ? static_cast<Parameter*>(parameter)
                                                                          : nullptr;
}

PvGenInteger* PvGenParameterArray::GetInteger(const PvString& aName) const noexcept
{
    return typed<PvGenInteger>(aName);
}

PvGenFloat* PvGenParameterArray::GetFloat(const PvString& aName) const noexcept { return typed<PvGenFloat>(aName); }

PvGenEnum* PvGenParameterArray::GetEnum(const PvString& aName) const noexcept { return typed<PvGenEnum>(aName); }

PvGenBoolean* PvGenParameterArray::GetBoolean(const PvString& aName) const noexcept
{
    return typed<PvGenBoolean>(aName);
}

PvGenCommand* PvGenParameterArray::GetCommand(const PvString& aName) const noexcept
{
    return typed<PvGenCommand>(aName);
}

PvGenString* PvGenParameterArray::GetString(const PvString& aName) const noexcept { return typed<PvGenString>(aName); }

PvGenRegister* PvGenParameterArray::GetRegister(const PvString& aName) const noexcept
{
    return typed<PvGenRegister>(aName);
}

PvGenCategory* PvGenParameterArray::GetCategory(std::uint32_t aIndex) const noexcept
{
    return aIndex < contents_->categories.size() ? &contents_->categories[aIndex] : nullptr;
}

PvGenCategory* PvGenParameterArray::GetCategory(const PvString& aName) const noexcept
{
    for (PvGenCategory& category : contents_->categories) {
        if (category.GetNode()->name() == aName.view()) {
            return &category;
        }
    }
    PvGenCategory* const root = contents_->root.get();
    return root != nullptr && root->GetNode()->name() == aName.view() ? root : nullptr;
}

template <class Parameter, class Work>
PvResult PvGenParameterArray::by_name(const PvString& aName, const char* type, Work&& work) const
{
    if (Parameter* const parameter = typed<Parameter>(aName)) {
        return work(*parameter);
    }
    PvResult result;
    const PvResult described = genicam::result_of([&] {
        result = contents_->find(aName.view()) == nullptr
                     ? PvResult(PvResult::NotFound, "There is no parameter named \"" + aName.str() + "\"")
                     : PvResult(PvResult::InvalidParameter, aName.str() + " is not " + type + " parameter");
    });
    return described.IsOK() ? result : described;
}

PvResult PvGenParameterArray::GetIntegerValue(const PvString& aName, std::int64_t& aValue) const
{
    return by_name<PvGenInteger>(aName, "an integer", [&](PvGenInteger& p) { return p.GetValue(aValue); });
}

PvResult PvGenParameterArray::SetIntegerValue(const PvString& aName, std::int64_t aValue)
{
    return by_name<PvGenInteger>(aName, "an integer", [&](PvGenInteger& p) { return p.SetValue(aValue); });
}

PvResult PvGenParameterArray::GetFloatValue(const PvString& aName, double& aValue) const
{
    return by_name<PvGenFloat>(aName, "a float", [&](PvGenFloat& p) { return p.GetValue(aValue); });
}

PvResult PvGenParameterArray::SetFloatValue(const PvString& aName, double aValue)
{
    return by_name<PvGenFloat>(aName, "a float", [&](PvGenFloat& p) { return p.SetValue(aValue); });
}

PvResult PvGenParameterArray::GetEnumValue(const PvString& aName, PvString& aValue) const
{
    return by_name<PvGenEnum>(aName, "an enumeration", [&](PvGenEnum& p) { return p.GetValue(aValue); });
}

PvResult PvGenParameterArray::GetEnumValue(const PvString& aName, std::int64_t& aValue) const
{
    return by_name<PvGenEnum>(aName, "an enumeration", [&](PvGenEnum& p) { return p.GetValue(aValue); });
}

PvResult PvGenParameterArray::SetEnumValue(const PvString& aName, const PvString& aValue)
{
    return by_name<PvGenEnum>(aName, "an enumeration", [&](PvGenEnum& p) { return p.SetValue(aValue); });
}

PvResult PvGenParameterArray::SetEnumValue(const PvString& aName, std::int64_t aValue)
{
    return by_name<PvGenEnum>(aName, "an enumeration", [&](PvGenEnum& p) { return p.SetValue(aValue); });
}

PvResult PvGenParameterArray::GetBooleanValue(const PvString& aName, bool& aValue) const
{
    return by_name<PvGenBoolean>(aName, "a boolean", [&](PvGenBoolean& p) { return p.GetValue(aValue); });
}

PvResult PvGenParameterArray::SetBooleanValue(const PvString& aName, bool aValue)
{
    return by_name<PvGenBoolean>(aName, "a boolean", [&](PvGenBoolean& p) { return p.SetValue(aValue); });
}

PvResult PvGenParameterArray::GetString(const PvString& aName, PvString& aValue) const
{
    return by_name<PvGenString>(aName, "a string", [&](PvGenString& p) { return p.GetValue(aValue); });
}

PvResult PvGenParameterArray::SetString(const PvString& aName, const PvString& aValue)
{
    return by_name<PvGenString>(aName, "a string", [&](PvGenString& p) { return p.SetValue(aValue); });
}

PvResult PvGenParameterArray::ExecuteCommand(const PvString& aName)
{
    return by_name<PvGenCommand>(aName, "a command", [&](PvGenCommand& p) { return p.Execute(); });
}

template <class Work>
PvResult PvGenParameterArray::on_node_map(Work&& work) const
{
    if (contents_->node_map == nullptr) {
        return failure(PvResult::NotInitialized, "The parameter array has not been built yet");
    }
    PvResult result = genicam::result_of([&] { work(*contents_->node_map); });
    ApplicationCall::operation_ends();
    return result;
}

PvResult PvGenParameterArray::AttachChunks(const PvBuffer& aBuffer)
{
    PvResult refusal;
    PvResult result = on_node_map([&](GenApi::INodeMap& node_map) {
        std::vector<GenApi::Chunk> chunks;
        if (acquisition::is_held(aBuffer)) {
            refusal =
                failure(PvResult::StateError, "The buffer is queued; its chunks can be attached once it is retrieved");
        } else if (aBuffer.GetChunkCount() == 0) {
            refusal =
                failure(PvResult::NoAvailableData, "The buffer of block ", aBuffer.GetBlockID64(), " has no chunks");
        } else {
            chunks = chunks_of(aBuffer);
        }
        node_map.attach_chunks(chunks, GenApi::ChunkMemory::copied);
    });
    return result.IsOK() ? refusal : result;
}

PvResult PvGenParameterArray::DetachChunks()
{
    return on_node_map([](GenApi::INodeMap& node_map) { node_map.detach_chunks(); });
}

PvResult PvGenParameterArray::InvalidateCache()
{
    return on_node_map([](GenApi::INodeMap& node_map) { node_map.invalidate_all(); });
}
