#include "sdk/genicam/software_parameters.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <map>
#include <set>
#include <type_traits>
#include <utility>

#include "sdk/genapi/node_map.h"
#include "sdk/genapi/numbers.h"

namespace vex {

namespace {

// Every parameter has a megabyte of addresses of its own, with its value at the front and what else is asked of it at
// the back.
constexpr int block_bits = 20;
constexpr std::int64_t block_mask = (std::int64_t{1} << block_bits) - 1;
constexpr std::int64_t value_at = 0;
constexpr std::int64_t available_at = 0xF0000;
constexpr std::int64_t locked_at = 0xF0008;
constexpr std::int64_t max_at = 0xF0010;
constexpr std::int64_t longest_string = available_at;

constexpr std::string_view value_suffix = "__Value";

const SoftwareParameter& base_of(const SoftwareParameters::Any& parameter)
{
    return std::visit([](const auto& p) -> const SoftwareParameter& { return p; }, parameter);
}

std::string escaped(std::string_view text)
{
    std::string out;
    for (const char c : text) {
        switch (c) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '"': out += "&quot;"; break;
        default: out += c;
        }
    }
    return out;
}

std::string element(std::string_view name, std::string_view text)
{
    return "<" + std::string(name) + ">" + escaped(text) + "</" + std::string(name) + ">";
}

std::string element(std::string_view name, std::int64_t value) { return element(name, GenApi::to_text(value)); }

std::string element_if(std::string_view name, std::string_view text)
{
    return text.empty() ? std::string() : element(name, text);
}

std::string_view name_of(GenApi::Visibility visibility)
{
    constexpr std::string_view names[] = {"Beginner", "Expert", "Guru", "Invisible"};
    return names[static_cast<std::size_t>(visibility)];
}

std::string_view name_of(GenApi::Representation representation)
{
    constexpr std::string_view names[] = {"Linear",    "Logarithmic", "Boolean",   "PureNumber",
                                          "HexNumber", "IPV4Address", "MACAddress"};
    return names[static_cast<std::size_t>(representation)];
}

bool is_identifier(std::string_view name)
{
    constexpr std::string_view letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_0123456789";
    return !name.empty() && (name.front() < '0' || name.front() > '9') && name.find_first_not_of(letters) == name.npos;
}

void store(std::span<std::uint8_t> out, std::uint64_t value)
{
    for (std::size_t i = 0; i < out.size(); ++i) {
        out[i] = i < 8 ? static_cast<std::uint8_t>(value >> (8 * i)) : std::uint8_t{0};
    }
}

std::uint64_t load(std::span<const std::uint8_t> bytes)
{
    std::uint64_t value = 0;
    for (std::size_t i = std::min<std::size_t>(bytes.size(), 8); i-- > 0;) {
        value = value << 8 | bytes[i];
    }
    return value;
}

}  // namespace

/// The registers behind the parameters: reading one calls its getter, writing one its setter.
class SoftwareParameterArray::Port final : public GenApi::IPort {
public:
    explicit Port(std::vector<SoftwareParameters::Any> parameters) : parameters_(std::move(parameters)) {}

    void read(std::int64_t address, std::span<std::uint8_t> out) override
    {
        const SoftwareParameters::Any& parameter = at(address);
        switch (address & block_mask) {
        case value_at: std::visit([&](const auto& p) { read_value(p, out); }, parameter); return;
        case available_at: store(out, base_of(parameter).available() ? 1 : 0); return;
        case locked_at: store(out, base_of(parameter).locked() ? 1 : 0); return;
        case max_at: store(out, static_cast<std::uint64_t>(std::get<SoftwareInteger>(parameter).dynamic_max())); return;
        default: unknown(address);
        }
    }

    void write(std::int64_t address, std::span<const std::uint8_t> data) override
    {
        if ((address & block_mask) != value_at) {
            unknown(address);
        }
        const PvResult result = std::visit([&](const auto& p) { return write_value(p, data); }, at(address));
        if (result.IsFailure()) {
            throw GenApi::PortError(result.GetCode(), std::string(result.description()));
        }
    }

    [[nodiscard]] bool is_open() const noexcept override { return true; }

private:
    [[noreturn]] static void unknown(std::int64_t address)
    {
        throw GenApi::PortError(PvResult::InvalidParameter, "there is no register at " + GenApi::to_text(address));
    }

    [[nodiscard]] const SoftwareParameters::Any& at(std::int64_t address) const
    {
        const std::int64_t index = address >> block_bits;
        if (index < 0 || index >= static_cast<std::int64_t>(parameters_.size())) {
            unknown(address);
        }
        return parameters_[static_cast<std::size_t>(index)];
    }

    static void read_value(const SoftwareInteger& p, std::span<std::uint8_t> out)
    {
        store(out, static_cast<std::uint64_t>(p.get()));
    }
    static void read_value(const SoftwareEnum& p, std::span<std::uint8_t> out)
    {
        store(out, static_cast<std::uint64_t>(p.get()));
    }
    static void read_value(const SoftwareFloat& p, std::span<std::uint8_t> out)
    {
        store(out, std::bit_cast<std::uint64_t>(p.get()));
    }
    static void read_value(const SoftwareBoolean& p, std::span<std::uint8_t> out) { store(out, p.get() ? 1 : 0); }
    static void read_value(const SoftwareCommand& p, std::span<std::uint8_t> out)
    {
        store(out, p.is_done && !p.is_done() ? 1 : 0);
    }
    static void read_value(const SoftwareString& p, std::span<std::uint8_t> out)
    {
        const std::string text = p.get();
        std::fill(out.begin(), out.end(), std::uint8_t{0});
        std::copy_n(text.begin(), std::min(text.size(), out.size()), out.begin());
    }

    static PvResult write_value(const SoftwareInteger& p, std::span<const std::uint8_t> data)
    {
        return p.set(static_cast<std::int64_t>(load(data)));
    }
    static PvResult write_value(const SoftwareEnum& p, std::span<const std::uint8_t> data)
    {
        return p.set(static_cast<std::int64_t>(load(data)));
    }
    static PvResult write_value(const SoftwareFloat& p, std::span<const std::uint8_t> data)
    {
        return p.set(std::bit_cast<double>(load(data)));
    }
    static PvResult write_value(const SoftwareBoolean& p, std::span<const std::uint8_t> data)
    {
        return p.set(load(data) != 0);
    }
    static PvResult write_value(const SoftwareCommand& p, std::span<const std::uint8_t>) { return p.execute(); }
    static PvResult write_value(const SoftwareString& p, std::span<const std::uint8_t> data)
    {
        const std::string_view all(reinterpret_cast<const char*>(data.data()), data.size());
        return p.set(std::string(all.substr(0, all.find('\0'))));
    }

    std::vector<SoftwareParameters::Any> parameters_;
};

namespace {

/// Writes the description that the node map engine is given.
class Description {
public:
    explicit Description(const std::vector<SoftwareParameters::Any>& parameters) : parameters_(parameters) {}

    std::string write(std::string_view model_name)
    {
        check_names();
        for (std::size_t i = 0; i < parameters_.size(); ++i) {
            block_ = static_cast<std::int64_t>(i) << block_bits;
            const SoftwareParameter& base = base_of(parameters_[i]);
            category(base.category) += element("pFeature", base.name);
            std::visit([this](const auto& p) { add(p); }, parameters_[i]);
        }
        std::string text = "<RegisterDescription ModelName=\"" + escaped(model_name) +
                           "\" SchemaMajorVersion=\"1\" SchemaMinorVersion=\"1\" SchemaSubMinorVersion=\"0\" "
                           "StandardNameSpace=\"None\"><Port Name=\"Device\"/>";
        for (const auto& [name, features] : categories_) {
            text += "<Category Name=\"" + name + "\">" + features + "</Category>";
        }
        return text + nodes_ + "</RegisterDescription>";
    }

private:
    [[noreturn]] static void fail(const std::string& name, const std::string& why)
    {
        throw GenApi::DescriptionError("the parameter \"" + name + "\" " + why);
    }

    void check_names()
    {
        std::set<std::string> names;
        for (const SoftwareParameters::Any& parameter : parameters_) {
            const std::string& name = base_of(parameter).name;
            if (!is_identifier(name)) {
                fail(name, "has a name that is no identifier");
            }
            if (!names.insert(name).second) {
                fail(name, "is there twice");
            }
        }
        for (const SoftwareParameters::Any& parameter : parameters_) {
            for (const std::string& other : base_of(parameter).invalidates) {
                if (!names.contains(other)) {
                    fail(base_of(parameter).name, "invalidates \"" + other + "\", which is not there");
                }
                invalidators_[other].push_back(base_of(parameter).name);
            }
            const std::string_view path = base_of(parameter).category;
            for (std::size_t begin = 0; begin < path.size();) {
                const std::size_t end = std::min(path.find('/', begin), path.size());
                const std::string part(path.substr(begin, end - begin));
                if (!is_identifier(part) || names.contains(part)) {
                    fail(base_of(parameter).name, "is in a category \"" + part + "\", which is no name for one");
                }
                begin = end + 1;
            }
        }
    }

    /// The features of a category; the categories on the way to it are made on first use.
    std::string& category(std::string_view path)
    {
        std::size_t found = 0;  // Root
        if (categories_.empty()) {
            categories_.emplace_back("Root", "");
        }
        for (std::size_t begin = 0; begin < path.size();) {
            const std::size_t end = std::min(path.find('/', begin), path.size());
            const std::string name(path.substr(begin, end - begin));
            const auto at = std::find_if(categories_.begin(), categories_.end(),
                                         [&](const auto& candidate) { return candidate.first == name; });
            if (at == categories_.end()) {
                categories_[found].second += element("pFeature", name);
                categories_.emplace_back(name, "");
                found = categories_.size() - 1;
            } else {
                found = static_cast<std::size_t>(at - categories_.begin());
            }
            begin = end + 1;
        }
        return categories_[found].second;
    }

    void open(std::string_view kind, const SoftwareParameter& p, bool writable)
    {
        nodes_ += "<" + std::string(kind) + " Name=\"" + p.name + "\">" + element_if("ToolTip", p.tool_tip) +
                  element_if("Description", p.description) + element_if("DisplayName", p.display_name) +
                  element("Visibility", name_of(p.visibility)) + element("Streamable", p.streamable ? "Yes" : "No");
        if (p.available) {
            nodes_ += element("pIsAvailable", p.name + "__Available");
        }
        if (p.locked) {
            nodes_ += element("pIsLocked", p.name + "__Locked");
        }
        nodes_ += element("ImposedAccessMode", writable ? "RW" : "RO");
    }

    /// Closes the parameter's element and adds the registers behind it.
    void close(std::string_view kind, const SoftwareParameter& p, std::string_view register_kind, std::int64_t length,
               std::string_view access, std::string_view more = "")
    {
        nodes_ += element("pValue", p.name + std::string(value_suffix)) + "</" + std::string(kind) + ">";
        nodes_ += "<" + std::string(register_kind) + " Name=\"" + p.name + std::string(value_suffix) + "\">";
        for (const std::string& invalidator : invalidators_[p.name]) {
            nodes_ += element("pInvalidator", invalidator);
        }
        // what a setter was given need not be what it made of it: written values are read again
        nodes_ += registers(value_at, length, access, p.is_volatile ? "NoCache" : "WriteAround") + std::string(more) +
                  "</" + std::string(register_kind) + ">";
        if (p.available) {
            condition(p.name + "__Available", available_at);
        }
        if (p.locked) {
            condition(p.name + "__Locked", locked_at);
        }
    }

    [[nodiscard]] std::string registers(std::int64_t offset, std::int64_t length, std::string_view access,
                                        std::string_view caching) const
    {
        return element("Address", block_ + offset) + element("Length", length) + element("AccessMode", access) +
               element("pPort", "Device") + element("Cachable", caching);
    }

    void condition(const std::string& name, std::int64_t offset)
    {
        nodes_ += "<IntReg Name=\"" + name + "\">" + registers(offset, 1, "RO", "NoCache") + "</IntReg>";
    }

    void add(const SoftwareInteger& p)
    {
        require(p, static_cast<bool>(p.get));
        open("Integer", p, static_cast<bool>(p.set));
        nodes_ += element("Min", p.min);
        nodes_ += p.dynamic_max ? element("pMax", p.name + "__Max") : element("Max", p.max);
        nodes_ += element("Inc", p.increment) + element_if("Unit", p.unit) +
                  element("Representation", name_of(p.representation));
        close("Integer", p, "IntReg", 8, access_of(p), "<Sign>Signed</Sign>");
        if (p.dynamic_max) {
            nodes_ += "<IntReg Name=\"" + p.name + "__Max\">" + registers(max_at, 8, "RO", "NoCache") +
                      "<Sign>Signed</Sign></IntReg>";
        }
    }

    void add(const SoftwareFloat& p)
    {
        require(p, static_cast<bool>(p.get));
        open("Float", p, static_cast<bool>(p.set));
        nodes_ += element("Min", GenApi::to_text(p.min)) + element("Max", GenApi::to_text(p.max)) +
                  element_if("Unit", p.unit) + element("Representation", name_of(p.representation));
        close("Float", p, "FloatReg", 8, access_of(p));
    }

    void add(const SoftwareEnum& p)
    {
        require(p, static_cast<bool>(p.get));
        open("Enumeration", p, static_cast<bool>(p.set));
        for (const SoftwareEnumEntry& entry : p.entries) {
            if (!is_identifier(entry.name)) {
                fail(p.name, "has an entry \"" + entry.name + "\", which is no identifier");
            }
            nodes_ += "<EnumEntry Name=\"" + entry.name + "\">" + element_if("ToolTip", entry.tool_tip) +
                      element_if("DisplayName", entry.display_name) + element("Value", entry.value) + "</EnumEntry>";
        }
        close("Enumeration", p, "IntReg", 8, access_of(p), "<Sign>Signed</Sign>");
    }

    void add(const SoftwareBoolean& p)
    {
        require(p, static_cast<bool>(p.get));
        open("Boolean", p, static_cast<bool>(p.set));
        close("Boolean", p, "IntReg", 1, access_of(p));
    }

    void add(const SoftwareCommand& p)
    {
        require(p, static_cast<bool>(p.execute));
        open("Command", p, true);
        nodes_ += element("CommandValue", 1);
        close("Command", p, "IntReg", 1, p.is_done ? "RW" : "WO");
    }

    void add(const SoftwareString& p)
    {
        require(p, static_cast<bool>(p.get));
        if (p.max_length < 1 || p.max_length > longest_string) {
            fail(p.name, "cannot have a length of " + GenApi::to_text(p.max_length) + " bytes");
        }
        open("String", p, static_cast<bool>(p.set));
        close("String", p, "StringReg", p.max_length, access_of(p));
    }

    template <class Parameter>
    static std::string_view access_of(const Parameter& p)
    {
        return p.set ? "RW" : "RO";
    }

    static void require(const SoftwareParameter& p, bool present)
    {
        if (!present) {
            fail(p.name, "has nothing to be read or executed");
        }
    }

    const std::vector<SoftwareParameters::Any>& parameters_;
    std::map<std::string, std::vector<std::string>> invalidators_;
    std::vector<std::pair<std::string, std::string>> categories_;
    std::string nodes_;
    std::int64_t block_ = 0;
};

}  // namespace

SoftwareParameterArray::SoftwareParameterArray() = default;

// the port is a member and would go before the node map of the base class does
SoftwareParameterArray::~SoftwareParameterArray() { clear(); }

void SoftwareParameterArray::changed(std::string_view name)
{
    if (GenApi::INode* const node = GetNodeMap()->node(name)) {
        GetNodeMap()->changed(*node);
    }
}

SoftwareParameters& SoftwareParameters::add(Any parameter)
{
    parameters_.push_back(std::move(parameter));
    return *this;
}

std::unique_ptr<SoftwareParameterArray> SoftwareParameters::build()
{
    std::string xml = Description(parameters_).write(model_name_);
    // the constructor is private: these arrays are made here only
    std::unique_ptr<SoftwareParameterArray> array(new SoftwareParameterArray);
    array->port_ = std::make_unique<SoftwareParameterArray::Port>(std::move(parameters_));
    parameters_.clear();
    array->PvGenParameterArray::build(GenApi::load_node_map(std::move(xml), *array->port_));
    return array;
}

}  // namespace vex
