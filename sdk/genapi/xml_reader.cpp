#include <algorithm>
#include <optional>
#include <pugixml.hpp>
#include <unordered_map>
#include <utility>

#include "sdk/genapi/loading.h"
#include "sdk/genapi/numbers.h"

namespace GenApi {

namespace {

/// The child elements that mean something; the others are passed over.
enum class Tag : std::uint8_t {
    unknown,
    ignored,  ///< known, and of no consequence
    tool_tip,
    description,
    display_name,
    visibility,
    docu_url,
    is_deprecated,
    event_id,
    p_is_implemented,
    p_is_available,
    p_is_locked,
    p_block_polling,
    imposed_access_mode,
    p_error,
    p_invalidator,
    streamable,
    address,
    p_address,
    int_swiss_knife,
    p_index,
    length,
    p_length,
    access_mode,
    p_port,
    cachable,
    polling_time,
    sign,
    endianess,
    unit,
    representation,
    p_selected,
    bit,
    lsb,
    msb,
    display_notation,
    display_precision,
    value,
    p_value,
    p_value_copy,
    value_indexed,
    p_value_indexed,
    value_default,
    p_value_default,
    min,
    p_min,
    max,
    p_max,
    inc,
    p_inc,
    valid_value_set,
    on_value,
    off_value,
    command_value,
    p_command_value,
    enum_entry,
    numeric_value,
    symbolic,
    is_self_clearing,
    p_variable,
    constant,
    expression,
    formula,
    formula_to,
    formula_from,
    slope,
    chunk_id,
    p_chunk_id,
    swap_endianess,
    cache_chunk_data,
    p_feature,
    struct_entry,
};

Tag tag_of(std::string_view name)
{
    static const std::unordered_map<std::string_view, Tag> tags = {
        {"ToolTip", Tag::tool_tip},
        {"Description", Tag::description},
        {"DisplayName", Tag::display_name},
        {"Visibility", Tag::visibility},
        {"DocuURL", Tag::docu_url},
        {"IsDeprecated", Tag::is_deprecated},
        {"EventID", Tag::event_id},
        {"pIsImplemented", Tag::p_is_implemented},
        {"pIsAvailable", Tag::p_is_available},
        {"pIsLocked", Tag::p_is_locked},
        {"pBlockPolling", Tag::p_block_polling},
        {"ImposedAccessMode", Tag::imposed_access_mode},
        {"pError", Tag::p_error},
        {"pInvalidator", Tag::p_invalidator},
        {"Streamable", Tag::streamable},
        {"Address", Tag::address},
        {"pAddress", Tag::p_address},
        {"IntSwissKnife", Tag::int_swiss_knife},
        {"pIndex", Tag::p_index},
        {"Length", Tag::length},
        {"pLength", Tag::p_length},
        {"AccessMode", Tag::access_mode},
        {"pPort", Tag::p_port},
        {"Cachable", Tag::cachable},
        {"PollingTime", Tag::polling_time},
        {"Sign", Tag::sign},
        {"Endianess", Tag::endianess},
        {"Endianness", Tag::endianess},
        {"Unit", Tag::unit},
        {"Representation", Tag::representation},
        {"pSelected", Tag::p_selected},
        {"Bit", Tag::bit},
        {"LSB", Tag::lsb},
        {"MSB", Tag::msb},
        {"DisplayNotation", Tag::display_notation},
        {"DisplayPrecision", Tag::display_precision},
        {"Value", Tag::value},
        {"pValue", Tag::p_value},
        {"pValueCopy", Tag::p_value_copy},
        {"ValueIndexed", Tag::value_indexed},
        {"pValueIndexed", Tag::p_value_indexed},
        {"ValueDefault", Tag::value_default},
        {"pValueDefault", Tag::p_value_default},
        {"Min", Tag::min},
        {"pMin", Tag::p_min},
        {"Max", Tag::max},
        {"pMax", Tag::p_max},
        {"Inc", Tag::inc},
        {"pInc", Tag::p_inc},
        {"ValidValueSet", Tag::valid_value_set},
        {"OnValue", Tag::on_value},
        {"OffValue", Tag::off_value},
        {"CommandValue", Tag::command_value},
        {"pCommandValue", Tag::p_command_value},
        {"EnumEntry", Tag::enum_entry},
        {"NumericValue", Tag::numeric_value},
        {"Symbolic", Tag::symbolic},
        {"IsSelfClearing", Tag::is_self_clearing},
        {"pVariable", Tag::p_variable},
        {"Constant", Tag::constant},
        {"Expression", Tag::expression},
        {"Formula", Tag::formula},
        {"FormulaTo", Tag::formula_to},
        {"FormulaFrom", Tag::formula_from},
        {"Slope", Tag::slope},
        {"ChunkID", Tag::chunk_id},
        {"pChunkID", Tag::p_chunk_id},
        {"SwapEndianess", Tag::swap_endianess},
        {"CacheChunkData", Tag::cache_chunk_data},
        {"pFeature", Tag::p_feature},
        {"StructEntry", Tag::struct_entry},
        {"Extension", Tag::ignored},
        {"pAlias", Tag::ignored},
        {"pCastAlias", Tag::ignored},
        {"IsLinear", Tag::ignored},
        {"pEnumEntry", Tag::ignored},
    };
    const auto found = tags.find(name);
    return found != tags.end() ? found->second : Tag::unknown;
}

struct NodeElement {
    Kind kind = Kind::inert;
    bool known = false;
    bool is_struct = false;
    bool is_group = false;
};

NodeElement node_element(std::string_view name)
{
    static const std::unordered_map<std::string_view, NodeElement> elements = {
        {"Category", {.kind = Kind::category, .known = true}},
        {"Integer", {.kind = Kind::integer, .known = true}},
        {"IntReg", {.kind = Kind::int_reg, .known = true}},
        {"MaskedIntReg", {.kind = Kind::masked_int_reg, .known = true}},
        {"StructReg", {.kind = Kind::struct_entry, .known = true, .is_struct = true}},
        {"Boolean", {.kind = Kind::boolean, .known = true}},
        {"Command", {.kind = Kind::command, .known = true}},
        {"Enumeration", {.kind = Kind::enumeration, .known = true}},
        {"Float", {.kind = Kind::floating, .known = true}},
        {"FloatReg", {.kind = Kind::float_reg, .known = true}},
        {"String", {.kind = Kind::string, .known = true}},
        {"StringReg", {.kind = Kind::string_reg, .known = true}},
        {"Register", {.kind = Kind::raw_register, .known = true}},
        {"Converter", {.kind = Kind::converter, .known = true}},
        {"IntConverter", {.kind = Kind::int_converter, .known = true}},
        {"SwissKnife", {.kind = Kind::swiss_knife, .known = true}},
        {"IntSwissKnife", {.kind = Kind::int_swiss_knife, .known = true}},
        {"Port", {.kind = Kind::port, .known = true}},
        {"Group", {.known = true, .is_group = true}},
        {"Node", {.known = true}},
        {"ConfRom", {.known = true}},
        {"TextDesc", {.known = true}},
        {"IntKey", {.known = true}},
        {"AdvFeatureLock", {.known = true}},
        {"DcamLock", {.known = true}},
        {"SmartFeature", {.known = true}},
    };
    const auto found = elements.find(name);
    return found != elements.end() ? found->second : NodeElement{};
}

std::string_view attribute(pugi::xml_node element, const char* name) noexcept
{
    return trimmed(element.attribute(name).value());
}

class Reader {
public:
    Reader(XmlText& text, Loading& loading) : text_(text), loading_(loading), model_(loading.model) {}

    void read()
    {
        pugi::xml_document document;
        // texts are wanted with entities resolved and without the white space around them; comments and processing
        // instructions are not wanted at all; a text directly inside its element saves a node
        constexpr unsigned options = pugi::parse_escapes | pugi::parse_eol | pugi::parse_cdata |
                                     pugi::parse_wconv_attribute | pugi::parse_trim_pcdata | pugi::parse_embed_pcdata;
        const auto result = document.load_buffer_inplace(text_.data(), text_.size(), options, pugi::encoding_utf8);
        if (!result) {
            throw DescriptionError("line " + std::to_string(text_.line_of(result.offset)) +
                                   " of the description: " + result.description());
        }
        pugi::xml_node root = document.document_element();
        if (std::string_view(root.name()) != "RegisterDescription") {
            throw DescriptionError("line " + std::to_string(line_of(root)) + " of the description: <" +
                                   std::string(root.name()) + "> is found where <RegisterDescription> is expected");
        }
        read_head(root);
        const std::size_t nodes = count_nodes(root);
        model_.nodes = std::make_unique<Node[]>(nodes);
        capacity_ = static_cast<std::uint32_t>(nodes);
        model_.names.reserve(nodes);
        walk(root, [this](pugi::xml_node element, const NodeElement& kind) { read_top_level(element, kind); });
    }

private:
    static constexpr std::size_t most_struct_parts = 2'000'000;

    [[nodiscard]] std::uint32_t line_of(pugi::xml_node element) const { return text_.line_of(element.offset_debug()); }

    void read_head(pugi::xml_node root)
    {
        DescriptionInfo& info = model_.info;
        info.model_name = attribute(root, "ModelName");
        info.vendor_name = attribute(root, "VendorName");
        info.tool_tip = attribute(root, "ToolTip");
        info.standard_name_space = attribute(root, "StandardNameSpace");
        info.product_guid = attribute(root, "ProductGuid");
        info.version_guid = attribute(root, "VersionGuid");
        info.schema_major = root.attribute("SchemaMajorVersion").as_int(1);
        info.schema_minor = root.attribute("SchemaMinorVersion").as_int(0);
        info.schema_sub_minor = root.attribute("SchemaSubMinorVersion").as_int(0);
        info.major = root.attribute("MajorVersion").as_int(0);
        info.minor = root.attribute("MinorVersion").as_int(0);
        info.sub_minor = root.attribute("SubMinorVersion").as_int(0);
    }

    /// Visits the node elements in document order; groups may be nested as deep as they like.
    template <class Visit>
    void walk(pugi::xml_node root, const Visit& visit)
    {
        std::vector<pugi::xml_node> stack{root.first_child()};
        while (!stack.empty()) {
            const pugi::xml_node element = stack.back();
            if (!element) {
                stack.pop_back();
                continue;
            }
            stack.back() = element.next_sibling();
            if (element.type() != pugi::node_element) {
                continue;
            }
            const NodeElement kind = node_element(element.name());
            if (kind.is_group) {
                stack.push_back(element.first_child());
            } else {
                visit(element, kind);
            }
        }
    }

    std::size_t count_nodes(pugi::xml_node root)
    {
        std::size_t nodes = 0;
        std::size_t struct_parts = 0;
        walk(root, [&](pugi::xml_node element, const NodeElement& kind) {
            if (!kind.known) {
                return;
            }
            std::size_t entries = 0;
            std::size_t knives = 0;
            std::size_t others = 0;
            if (kind.is_struct || kind.kind == Kind::enumeration || is_register(kind.kind)) {
                for (pugi::xml_node child = element.first_child(); child; child = child.next_sibling()) {
                    const Tag tag = tag_of(child.name());
                    if (tag == Tag::enum_entry || tag == Tag::struct_entry) {
                        ++entries;
                    } else if (tag == Tag::int_swiss_knife) {
                        ++knives;
                    } else {
                        ++others;
                    }
                }
            }
            if (kind.is_struct) {
                // what the entries share is read once for each of them
                struct_parts += entries * (knives + others);
                nodes += entries * (1 + knives);
                if (struct_parts > most_struct_parts) {
                    throw DescriptionError("line " + std::to_string(line_of(element)) +
                                           " of the description: the StructReg elements have too many entries");
                }
            } else {
                nodes += 1 + entries + knives;
            }
        });
        return nodes;
    }

    void read_top_level(pugi::xml_node element, const NodeElement& kind)
    {
        if (!kind.known) {
            loading_.note("", line_of(element), "unknown element <" + std::string(element.name()) + "> passed over");
        } else if (kind.is_struct) {
            read_struct(element);
        } else {
            begin(element, kind.kind, attribute(element, "Name"));
            read_children(element);
            finish(element);
        }
    }

    void read_struct(pugi::xml_node element)
    {
        const std::uint32_t structure = structures_++;
        for (pugi::xml_node entry = element.child("StructEntry"); entry; entry = entry.next_sibling("StructEntry")) {
            begin(entry, Kind::struct_entry, attribute(entry, "Name"));
            loading_.struct_members.push_back({node_->index, structure});
            read_children(element);
            read_children(entry);
            finish(entry);
        }
    }

    // One node.

    void begin(pugi::xml_node element, Kind kind, std::string_view name)
    {
        constexpr std::size_t longest_name = 256;
        create(element, kind, model_.arena.store(name.substr(0, longest_name)));
        if (name.size() > longest_name) {
            loading_.break_node(node_->index, line_,
                                "its name is longer than " + std::to_string(longest_name) + " characters");
        } else if (name.empty()) {
            loading_.break_node(node_->index, line_, "<" + std::string(element.name()) + "> has no Name");
        } else {
            enter_name(element);
        }
    }

    void create(pugi::xml_node element, Kind kind, std::string_view stored_name)
    {
        if (model_.node_count == capacity_) {
            throw DescriptionError("line " + std::to_string(line_of(element)) + " of the description: too many nodes");
        }
        node_ = &model_.nodes[model_.node_count];
        node_->index = model_.node_count++;
        node_->kind = kind;
        node_->text_name = stored_name;
        line_ = line_of(element);
        if (attribute(element, "NameSpace") == "Standard") {
            node_->space = NameSpace::standard;
        }
        node_->merge_priority =
            static_cast<std::int8_t>(std::clamp(element.attribute("MergePriority").as_int(0), -1, 1));
        create_data(kind);
    }

    void create_data(Kind kind)
    {
        const auto add = [this](auto& pool) {
            node_->data = static_cast<std::uint32_t>(pool.size());
            return &pool.emplace_back();
        };
        switch (kind) {
        case Kind::inert: break;
        case Kind::category: add(model_.categories); break;
        case Kind::integer:
        case Kind::floating: add(model_.numbers); break;
        case Kind::int_reg:
        case Kind::masked_int_reg:
        case Kind::struct_entry:
        case Kind::string_reg:
        case Kind::raw_register: begin_register(*add(model_.registers)); break;
        case Kind::float_reg: {
            RegisterData& reg = *add(model_.registers);
            begin_register(reg);
            reg.caching = Caching::write_around;
            break;
        }
        case Kind::boolean: add(model_.booleans); break;
        case Kind::command: add(model_.commands); break;
        case Kind::enumeration:
            add(model_.enumerations)->entries.begin = static_cast<std::uint32_t>(model_.lists.size());
            break;
        case Kind::enum_entry: add(model_.entries); break;
        case Kind::string: add(model_.strings); break;
        case Kind::converter:
        case Kind::int_converter:
        case Kind::swiss_knife:
        case Kind::int_swiss_knife: {
            FormulaData& formula = *add(model_.formulas);
            formula.variables.begin = static_cast<std::uint32_t>(model_.variables.size());
            formula_ = PendingFormula{.node = node_->index, .from = {}, .to = {}, .expressions = {}, .constants = {}};
            break;
        }
        case Kind::port: add(model_.ports); break;
        }
    }

    void begin_register(RegisterData& reg) { reg.terms.begin = static_cast<std::uint32_t>(model_.terms.size()); }

    void enter_name(pugi::xml_node element)
    {
        const auto name_of = [this](std::uint32_t index) { return model_.nodes[index].text_name; };
        if (model_.names.insert(node_->text_name, node_->index, name_of)) {
            return;
        }
        Node& earlier = model_.nodes[model_.find(node_->text_name)];
        if (node_->merge_priority > earlier.merge_priority) {
            model_.names.replace(node_->text_name, node_->index, name_of);
            loading_.break_node(earlier.index, line_of(element), "replaced by a later node of the same name");
        } else {
            loading_.break_node(node_->index, line_of(element), "an earlier node has the same name");
        }
    }

    void read_children(pugi::xml_node element)
    {
        for (pugi::xml_node child = element.first_child(); child; child = child.next_sibling()) {
            if (child.type() == pugi::node_element) {
                read_child(child);
            }
        }
    }

    void finish(pugi::xml_node element)
    {
        switch (node_->kind) {
        case Kind::converter:
        case Kind::int_converter:
        case Kind::swiss_knife:
        case Kind::int_swiss_knife: finish_formula(element); break;
        case Kind::enum_entry:
            if (!has_value_) {
                loading_.break_node(node_->index, line_of(element), "the entry has no Value");
            }
            break;
        default: break;
        }
        has_value_ = false;
    }

    void finish_formula(pugi::xml_node element)
    {
        formula_.node = node_->index;
        if (formula_.from.text.empty()) {
            const bool knife = node_->kind == Kind::swiss_knife || node_->kind == Kind::int_swiss_knife;
            loading_.break_node(node_->index, line_of(element), knife ? "it has no Formula" : "it has no FormulaFrom");
        }
        loading_.formulas.push_back(std::move(formula_));
        formula_ = {};
    }

    // Texts.

    /// The text of an element; parts that comments separate are put together.
    std::string_view text_of(pugi::xml_node element)
    {
        std::string_view text = element.child_value();
        bool several = false;
        const bool embedded = element.value()[0] != '\0';
        int parts = embedded ? 1 : 0;
        for (pugi::xml_node child = element.first_child(); child && !several; child = child.next_sibling()) {
            if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata) {
                several = ++parts > 1;
            }
        }
        if (several) {
            std::string all = embedded ? element.value() : "";
            for (pugi::xml_node child = element.first_child(); child; child = child.next_sibling()) {
                if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata) {
                    // a comment separates what it stands between
                    all += ' ';
                    all += child.value();
                }
            }
            text = model_.arena.store(all);
        }
        return trimmed(text);
    }

    Texts& texts()
    {
        if (node_->texts == 0) {
            node_->texts = static_cast<std::uint32_t>(model_.texts.size());
            model_.texts.emplace_back();
        }
        return model_.texts[node_->texts];
    }

    /// Descriptions often say the same thing twice; it is kept once.
    std::string_view stored_text(std::string_view text, std::string_view perhaps_same)
    {
        return text == perhaps_same ? perhaps_same : model_.arena.store(text);
    }

    // Values.

    void malformed(pugi::xml_node element, std::string_view text)
    {
        loading_.break_node(node_->index, line_of(element),
                            "<" + std::string(element.name()) + "> is not valid: \"" + std::string(text.substr(0, 80)) +
                                "\"");
    }

    void unexpected(pugi::xml_node element)
    {
        loading_.note(node_->text_name, line_of(element),
                      "element <" + std::string(element.name()) + "> passed over in <" +
                          std::string(element_name(node_->kind)) + ">");
    }

    std::optional<std::int64_t> integer_of(pugi::xml_node element)
    {
        const std::string_view text = text_of(element);
        const auto value = parse_integer(text);
        if (!value) {
            malformed(element, text);
        }
        return value;
    }

    std::optional<double> float_of(pugi::xml_node element)
    {
        const std::string_view text = text_of(element);
        const auto value = parse_float(text);
        if (!value) {
            malformed(element, text);
        }
        return value;
    }

    std::optional<bool> yes_or_no(pugi::xml_node element)
    {
        const std::string_view text = text_of(element);
        if (text == "Yes" || text == "yes" || text == "true" || text == "1") {
            return true;
        }
        return false;
    }

    std::optional<AccessMode> access_of(std::string_view text)
    {
        // "R" and "W" alone are not in the schema, but in cameras
        if (text == "RO" || text == "R") {
            return AccessMode::read_only;
        }
        if (text == "WO" || text == "W") {
            return AccessMode::write_only;
        }
        if (text == "RW" || text == "WR") {
            return AccessMode::read_write;
        }
        return std::nullopt;
    }

    void set_operand(pugi::xml_node element, Operand& operand)
    {
        if (is_float(node_->kind)) {
            if (const auto value = float_of(element)) {
                operand.d = *value;
                operand.given = true;
            }
        } else if (const auto value = integer_of(element)) {
            operand.i = *value;
            operand.given = true;
        }
    }

    void refer(pugi::xml_node element, Role role, std::uint32_t slot = 0)
    {
        refer_by_name(text_of(element), element, role, slot);
    }

    void refer_by_name(std::string_view name, pugi::xml_node element, Role role, std::uint32_t slot)
    {
        loading_.links.push_back(
            {.from = node_->index, .role = role, .slot = slot, .name = name, .line = line_of(element)});
    }

    void read_child(pugi::xml_node element)
    {
        const Tag tag = tag_of(element.name());
        switch (tag) {
        case Tag::ignored:
        case Tag::struct_entry: break;
        case Tag::unknown: unexpected(element); break;
        case Tag::p_is_implemented: refer(element, Role::is_implemented); break;
        case Tag::p_is_available: refer(element, Role::is_available); break;
        case Tag::p_is_locked: refer(element, Role::is_locked); break;
        case Tag::p_block_polling: refer(element, Role::block_polling); break;
        case Tag::p_error: refer(element, Role::error); break;
        case Tag::p_invalidator: refer(element, Role::invalidator); break;
        case Tag::p_selected: refer(element, Role::selected); break;
        case Tag::tool_tip:
        case Tag::description:
        case Tag::display_name:
        case Tag::docu_url:
        case Tag::unit: read_text(tag, element); break;
        case Tag::visibility:
        case Tag::is_deprecated:
        case Tag::imposed_access_mode:
        case Tag::streamable:
        case Tag::representation:
        case Tag::display_notation:
        case Tag::display_precision:
        case Tag::polling_time:
        case Tag::event_id: read_property(tag, element); break;
        default: read_special(tag, element); break;
        }
    }

    void read_text(Tag tag, pugi::xml_node element)
    {
        const std::string_view text = text_of(element);
        if (text.empty()) {
            return;
        }
        Texts& own = texts();
        switch (tag) {
        case Tag::tool_tip: own.tool_tip = stored_text(text, own.description); break;
        case Tag::description: own.description = stored_text(text, own.tool_tip); break;
        case Tag::display_name: own.display_name = stored_text(text, node_->text_name); break;
        case Tag::docu_url: own.docu_url = model_.arena.store(text); break;
        default: own.unit = model_.arena.store(text); break;
        }
    }

    void read_property(Tag tag, pugi::xml_node element)
    {
        const std::string_view text = text_of(element);
        switch (tag) {
        case Tag::visibility:
            node_->visible_to = text == "Expert"      ? Visibility::expert
                                : text == "Guru"      ? Visibility::guru
                                : text == "Invisible" ? Visibility::invisible
                                                      : Visibility::beginner;
            break;
        case Tag::is_deprecated: node_->deprecated = yes_or_no(element).value_or(false); break;
        case Tag::streamable: node_->streamable = yes_or_no(element).value_or(false); break;
        case Tag::imposed_access_mode:
            if (const auto mode = access_of(text)) {
                node_->imposed = *mode;
            } else {
                malformed(element, text);
            }
            break;
        case Tag::representation: read_representation(text); break;
        case Tag::display_notation:
            node_->notation = text == "Fixed"        ? DisplayNotation::fixed
                              : text == "Scientific" ? DisplayNotation::scientific
                                                     : DisplayNotation::automatic;
            break;
        case Tag::display_precision:
            if (const auto precision = parse_integer(text)) {
                node_->precision = static_cast<std::int8_t>(std::clamp<std::int64_t>(*precision, 0, 30));
            }
            break;
        case Tag::polling_time:
            if (const auto time = integer_of(element); time && *time > 0) {
                model_.polled.push_back({.node = node_->index, .period = *time});
            }
            break;
        default: read_event_id(text, element); break;
        }
    }

    void read_representation(std::string_view text)
    {
        static constexpr std::pair<std::string_view, Representation> names[] = {
            {"Linear", Representation::linear},          {"Logarithmic", Representation::logarithmic},
            {"Boolean", Representation::boolean},        {"PureNumber", Representation::pure_number},
            {"HexNumber", Representation::hex_number},   {"IPV4Address", Representation::ipv4_address},
            {"MACAddress", Representation::mac_address},
        };
        for (const auto& [name, representation] : names) {
            if (text == name) {
                node_->shown_as = representation;
                node_->has_representation = true;
            }
        }
    }

    void read_event_id(std::string_view text, pugi::xml_node element)
    {
        const auto id = parse_hex_identifier(text);
        if (!id) {
            malformed(element, text);
            return;
        }
        model_.event_ids.emplace_back(node_->index, *id);
        if (node_->kind == Kind::port) {
            model_.ports[node_->data].is_event = true;
            model_.ports[node_->data].event_id = *id;
        }
    }

    void read_special(Tag tag, pugi::xml_node element)
    {
        bool taken = false;
        switch (node_->kind) {
        case Kind::inert: return;
        case Kind::category: taken = read_category(tag, element); break;
        case Kind::integer:
        case Kind::floating: taken = read_number(tag, element); break;
        case Kind::int_reg:
        case Kind::masked_int_reg:
        case Kind::struct_entry:
        case Kind::float_reg:
        case Kind::string_reg:
        case Kind::raw_register: taken = read_register(tag, element); break;
        case Kind::boolean: taken = read_boolean(tag, element); break;
        case Kind::command: taken = read_command(tag, element); break;
        case Kind::enumeration: taken = read_enumeration(tag, element); break;
        case Kind::enum_entry: taken = read_entry(tag, element); break;
        case Kind::string: taken = read_string(tag, element); break;
        case Kind::converter:
        case Kind::int_converter:
        case Kind::swiss_knife:
        case Kind::int_swiss_knife: taken = read_formula(tag, element); break;
        case Kind::port: taken = read_port(tag, element); break;
        }
        if (!taken) {
            unexpected(element);
        }
    }

    bool read_category(Tag tag, pugi::xml_node element)
    {
        if (tag != Tag::p_feature) {
            return false;
        }
        refer(element, Role::feature);
        return true;
    }

    bool read_number(Tag tag, pugi::xml_node element)
    {
        NumberData& number = model_.numbers[node_->data];
        switch (tag) {
        case Tag::value: set_operand(element, number.value); return true;
        case Tag::p_value: refer(element, Role::value); return true;
        case Tag::p_value_copy: refer(element, Role::value_copy); return true;
        case Tag::min: set_operand(element, number.min); return true;
        case Tag::p_min: refer(element, Role::min); return true;
        case Tag::max: set_operand(element, number.max); return true;
        case Tag::p_max: refer(element, Role::max); return true;
        case Tag::inc: set_operand(element, number.increment); return true;
        case Tag::p_inc: refer(element, Role::increment); return true;
        case Tag::p_index: refer(element, Role::index); return true;
        case Tag::value_indexed:
        case Tag::p_value_indexed:
        case Tag::value_default:
        case Tag::p_value_default: read_indexed(tag, element, number); return true;
        case Tag::valid_value_set: read_valid_values(element, number); return true;
        default: return false;
        }
    }

    void read_indexed(Tag tag, pugi::xml_node element, NumberData& number)
    {
        IndexedValue indexed;
        indexed.is_default = tag == Tag::value_default || tag == Tag::p_value_default;
        if (!indexed.is_default) {
            const std::string_view text = attribute(element, "Index");
            const auto index = parse_integer(text);
            if (!index) {
                malformed(element, text);
                return;
            }
            indexed.index = *index;
        }
        const auto slot = static_cast<std::uint32_t>(model_.indexed_values.size());
        if (tag == Tag::value_indexed || tag == Tag::value_default) {
            set_operand(element, indexed.value);
        } else {
            refer(element, Role::indexed_value, slot);
        }
        if (number.indexed.count++ == 0) {
            number.indexed.begin = slot;
        }
        model_.indexed_values.push_back(indexed);
    }

    void read_valid_values(pugi::xml_node element, NumberData& number)
    {
        const bool floats = node_->kind == Kind::floating;
        number.valid_values.begin =
            static_cast<std::uint32_t>(floats ? model_.valid_floats.size() : model_.valid_ints.size());
        number.valid_values.count = 0;
        std::string_view rest = text_of(element);
        while (!rest.empty()) {
            const std::size_t end = std::min(rest.find(';'), rest.size());
            const std::string_view item = trimmed(rest.substr(0, end));
            rest.remove_prefix(std::min(end + 1, rest.size()));
            const auto whole = floats ? std::nullopt : parse_integer(item);
            const auto fraction = floats ? parse_float(item) : std::nullopt;
            if (whole) {
                model_.valid_ints.push_back(*whole);
            } else if (fraction) {
                model_.valid_floats.push_back(*fraction);
            } else if (!item.empty()) {
                malformed(element, item);
                continue;
            } else {
                continue;
            }
            ++number.valid_values.count;
        }
    }

    bool read_register(Tag tag, pugi::xml_node element)
    {
        RegisterData& reg = model_.registers[node_->data];
        switch (tag) {
        case Tag::address:
            if (const auto address = integer_of(element)) {
                // constant addresses are summed as the device would: modulo 2^64
                reg.address = static_cast<std::int64_t>(static_cast<std::uint64_t>(reg.address) +
                                                        static_cast<std::uint64_t>(*address));
            }
            return true;
        case Tag::p_address: refer(element, Role::address, add_term(reg, {})); return true;
        case Tag::p_index: read_address_index(element, reg); return true;
        case Tag::int_swiss_knife: read_address_knife(element); return true;
        case Tag::length:
            if (const auto length = integer_of(element)) {
                reg.length = *length;
            }
            return true;
        case Tag::p_length: refer(element, Role::length); return true;
        case Tag::p_port: refer(element, Role::port); return true;
        case Tag::access_mode:
            if (const auto mode = access_of(text_of(element))) {
                reg.access = *mode;
            } else {
                malformed(element, text_of(element));
            }
            return true;
        case Tag::cachable: {
            const std::string_view text = text_of(element);
            reg.caching = text == "NoCache"       ? Caching::none
                          : text == "WriteAround" ? Caching::write_around
                                                  : Caching::write_through;
            return true;
        }
        case Tag::sign: reg.is_signed = text_of(element) == "Signed"; return true;
        case Tag::endianess: reg.big_endian = text_of(element) == "BigEndian"; return true;
        case Tag::bit:
        case Tag::lsb:
        case Tag::msb: return read_bit(tag, element, reg);
        default: return false;
        }
    }

    bool read_bit(Tag tag, pugi::xml_node element, RegisterData& reg)
    {
        if (node_->kind != Kind::masked_int_reg && node_->kind != Kind::struct_entry) {
            return false;
        }
        const auto bit = integer_of(element);
        if (!bit) {
            return true;
        }
        if (*bit < 0 || *bit > 63) {
            malformed(element, text_of(element));
            return true;
        }
        reg.masked = true;
        if (tag != Tag::msb) {
            reg.lsb = static_cast<std::uint8_t>(*bit);
        }
        if (tag != Tag::lsb) {
            reg.msb = static_cast<std::uint8_t>(*bit);
        }
        return true;
    }

    std::uint32_t add_term(RegisterData& reg, const AddressTerm& term)
    {
        model_.terms.push_back(term);
        ++reg.terms.count;
        return static_cast<std::uint32_t>(model_.terms.size() - 1);
    }

    void read_address_index(pugi::xml_node element, RegisterData& reg)
    {
        AddressTerm term;
        term.is_index = true;
        if (const pugi::xml_attribute offset = element.attribute("Offset")) {
            const auto value = parse_integer(offset.value());
            if (!value) {
                malformed(element, offset.value());
                return;
            }
            term.offset = *value;
            if (term.offset == 0) {
                return;
            }
        }
        const std::uint32_t slot = add_term(reg, term);
        refer(element, Role::address, slot);
        if (const std::string_view offset = attribute(element, "pOffset"); !offset.empty()) {
            refer_by_name(offset, element, Role::address_offset, slot);
        }
    }

    /// An IntSwissKnife inside a register is a node without a name of its own.
    void read_address_knife(pugi::xml_node element)
    {
        Node* const owner = node_;
        const std::uint32_t owner_line = line_;
        create(element, Kind::int_swiss_knife, model_.arena.store(owner->text_name, " (address)"));
        read_children(element);
        finish(element);
        AddressTerm term;
        term.node = node_->index;
        node_ = owner;
        line_ = owner_line;
        add_term(model_.registers[owner->data], term);
    }

    bool read_boolean(Tag tag, pugi::xml_node element)
    {
        BooleanData& boolean = model_.booleans[node_->data];
        switch (tag) {
        case Tag::value:
            if (const std::string_view text = text_of(element); text == "true" || text == "false") {
                // an on and off in words means the values that stand for them
                boolean.value.i = text == "true" ? 1 : 0;
                boolean.value.given = true;
            } else {
                set_operand(element, boolean.value);
            }
            return true;
        case Tag::p_value: refer(element, Role::value); return true;
        case Tag::p_value_copy: refer(element, Role::value_copy); return true;
        case Tag::on_value: boolean.on = integer_of(element).value_or(1); return true;
        case Tag::off_value: boolean.off = integer_of(element).value_or(0); return true;
        default: return false;
        }
    }

    bool read_command(Tag tag, pugi::xml_node element)
    {
        CommandData& command = model_.commands[node_->data];
        switch (tag) {
        case Tag::value: set_operand(element, command.value); return true;
        case Tag::p_value: refer(element, Role::value); return true;
        case Tag::p_value_copy: refer(element, Role::value_copy); return true;
        case Tag::command_value: set_operand(element, command.command_value); return true;
        case Tag::p_command_value: refer(element, Role::command_value); return true;
        default: return false;
        }
    }

    bool read_enumeration(Tag tag, pugi::xml_node element)
    {
        switch (tag) {
        case Tag::value: set_operand(element, model_.enumerations[node_->data].value); return true;
        case Tag::p_value: refer(element, Role::value); return true;
        case Tag::p_value_copy: refer(element, Role::value_copy); return true;
        case Tag::enum_entry: read_enum_entry(element); return true;
        default: return false;
        }
    }

    void read_enum_entry(pugi::xml_node element)
    {
        Node* const owner = node_;
        const std::uint32_t owner_line = line_;
        const std::string prefix = "EnumEntry_" + std::string(owner->text_name) + "_";
        std::string_view short_name = attribute(element, "Name");
        if (short_name.starts_with(prefix)) {
            short_name.remove_prefix(prefix.size());
        }
        begin(element, Kind::enum_entry, short_name.empty() ? std::string() : prefix + std::string(short_name));
        const std::uint32_t data = node_->data;
        const std::string_view full_name = node_->text_name;
        model_.entries[data].symbolic = full_name.substr(std::min(prefix.size(), full_name.size()));
        model_.entries[data].enumeration = owner->index;
        const bool owner_has_value = has_value_;
        has_value_ = false;
        read_children(element);
        finish(element);
        has_value_ = owner_has_value;
        model_.lists.push_back(node_->index);
        node_ = owner;
        line_ = owner_line;
        ++model_.enumerations[owner->data].entries.count;
    }

    bool read_entry(Tag tag, pugi::xml_node element)
    {
        EntryData& entry = model_.entries[node_->data];
        switch (tag) {
        case Tag::value:
            if (const auto value = integer_of(element)) {
                entry.value = *value;
            }
            has_value_ = true;
            return true;
        case Tag::numeric_value:
            if (const auto value = float_of(element); value && !entry.has_numeric) {
                entry.numeric = *value;
                entry.has_numeric = true;
            }
            return true;
        case Tag::symbolic:
            if (const std::string_view text = text_of(element); !text.empty()) {
                entry.symbolic = model_.arena.store(text);
            }
            return true;
        case Tag::is_self_clearing: entry.self_clearing = yes_or_no(element).value_or(false); return true;
        default: return false;
        }
    }

    bool read_string(Tag tag, pugi::xml_node element)
    {
        switch (tag) {
        case Tag::value: model_.strings[node_->data].literal = text_of(element); return true;
        case Tag::p_value: refer(element, Role::value); return true;
        case Tag::p_value_copy: refer(element, Role::value_copy); return true;
        default: return false;
        }
    }

    /// Names are looked up one by one while a formula is compiled.
    bool has_too_many_names(pugi::xml_node element, const FormulaData& formula)
    {
        constexpr std::size_t most_names = 1000;
        const std::size_t names = formula.variables.count + formula_.constants.size() + formula_.expressions.size();
        if (names < most_names) {
            return false;
        }
        loading_.break_node(node_->index, line_of(element),
                            "it has more than " + std::to_string(most_names) + " variables");
        return true;
    }

    bool read_formula(Tag tag, pugi::xml_node element)
    {
        FormulaData& formula = model_.formulas[node_->data];
        if ((tag == Tag::p_variable || tag == Tag::constant || tag == Tag::expression) &&
            has_too_many_names(element, formula)) {
            return true;
        }
        switch (tag) {
        case Tag::p_value: refer(element, Role::value); return true;
        case Tag::p_variable: {
            Variable variable;
            variable.name = model_.arena.store(attribute(element, "Name"));
            refer(element, Role::variable, static_cast<std::uint32_t>(model_.variables.size()));
            model_.variables.push_back(variable);
            ++formula.variables.count;
            return true;
        }
        case Tag::constant: read_constant(element); return true;
        case Tag::expression:
            formula_.expressions.push_back({attribute(element, "Name"), text_of(element), line_of(element)});
            return true;
        case Tag::formula:
        case Tag::formula_from: formula_.from = {{}, text_of(element), line_of(element)}; return true;
        case Tag::formula_to: formula_.to = {{}, text_of(element), line_of(element)}; return true;
        case Tag::slope: {
            const std::string_view text = text_of(element);
            formula.slope = text == "Increasing"   ? Slope::increasing
                            : text == "Decreasing" ? Slope::decreasing
                            : text == "Varying"    ? Slope::varying
                                                   : Slope::automatic;
            return true;
        }
        default: return false;
        }
    }

    void read_constant(pugi::xml_node element)
    {
        const std::string_view text = text_of(element);
        NamedConstant constant{attribute(element, "Name"), {}};
        if (const auto whole = parse_integer(text); whole && text.find('.') == text.npos) {
            constant.value = *whole;
        } else if (const auto value = parse_float(text)) {
            constant.value = *value;
        } else {
            malformed(element, text);
            return;
        }
        formula_.constants.push_back(constant);
    }

    bool read_port(Tag tag, pugi::xml_node element)
    {
        PortData& port = model_.ports[node_->data];
        switch (tag) {
        case Tag::chunk_id:
            if (const auto id = parse_hex_identifier(text_of(element))) {
                port.chunk_id = *id;
                port.is_chunk = true;
            } else {
                malformed(element, text_of(element));
            }
            return true;
        case Tag::p_chunk_id:
            port.is_chunk = true;
            refer(element, Role::chunk_id);
            return true;
        case Tag::swap_endianess: port.swap_endianness = yes_or_no(element).value_or(false); return true;
        case Tag::cache_chunk_data: port.cache_data = yes_or_no(element).value_or(false); return true;
        default: return false;
        }
    }

    XmlText& text_;
    Loading& loading_;
    Model& model_;
    std::uint32_t capacity_ = 0;
    std::uint32_t structures_ = 0;
    // the node that is being read
    Node* node_ = nullptr;
    std::uint32_t line_ = 0;
    bool has_value_ = false;
    PendingFormula formula_;
};

}  // namespace

void Loading::note(std::string_view node, std::uint32_t line, std::string text)
{
    constexpr std::size_t most_diagnostics = 500;
    if (model.diagnostics.size() < most_diagnostics) {
        model.diagnostics.push_back({.line = line, .node = std::string(node), .text = std::move(text)});
    }
}

void Loading::break_node(NodeIndex node, std::uint32_t line, const std::string& reason)
{
    Node& broken = model.nodes[node];
    if (broken.broken) {
        return;
    }
    broken.broken = true;
    const std::string text = line != 0 ? "line " + std::to_string(line) + " of the description: " + reason : reason;
    model.defects.emplace(node, text);
    note(broken.text_name, line, reason);
}

void read_xml(XmlText& text, Loading& loading) { Reader(text, loading).read(); }

}  // namespace GenApi
